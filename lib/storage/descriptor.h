#ifndef PELTA_LIB_STORAGE_DESCRIPTOR_H
#define PELTA_LIB_STORAGE_DESCRIPTOR_H

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

/* Descriptors in records whose 0 means "not open". */

/* Opens a file, one that is made with mode 0666 less the umask. 0 after a failure; errno says which. */
inline int openDescriptor(const char* name, int flags) {
    const int descriptor = ::open(name, flags, 0666);
    if (descriptor != 0) return std::max(descriptor, 0);
    // A program whose standard input is closed gets number 0, which the record takes for "not open".
    ::close(descriptor);
    errno = EBADF;
    return 0;
}

/* What a transfer gives when nothing is open. */
inline int nothingOpen() {
    errno = EBADF;
    return -1;
}

#endif
