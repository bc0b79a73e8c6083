#ifndef PELTA_LIB_STORAGE_SCRATCHFILE_H
#define PELTA_LIB_STORAGE_SCRATCHFILE_H

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

static_assert(sizeof(off_t) == 8, "scratch files beyond 2 GiB need 64-bit offsets in both word sizes");

/* Scratch files: made empty under a unique name by mkstemp, then opened once more by that name. */

using ScratchName = char[1024];

/* Makes a file in the scratch folder and returns its descriptor; -1 with errno set when there is no folder, its path is too long
 * (both leave name empty) or the file could not be made. */
inline int makeScratchFile(ScratchName& name) {
    const char* const folder = std::getenv("PROMAX_SCRATCH_HOME");
    const int length = folder ? std::snprintf(name, sizeof name, "%s/peltaXXXXXX", folder) : 0;
    if (length > 0 && length < static_cast<int>(sizeof name)) return ::mkstemp(name);
    name[0] = '\0';
    errno = folder ? ENAMETOOLONG : ENOENT;
    return -1;
}

inline bool isSameFile(const struct stat& a, const struct stat& b) { return a.st_dev == b.st_dev && a.st_ino == b.st_ino; }

/* Removes the name if it still is that of the open file. */
inline void removeScratchFile(const char* name, int file) {
    struct stat named, open;
    if (::lstat(name, &named) == 0 && ::fstat(file, &open) == 0 && isSameFile(named, open)) ::unlink(name);
}

/* Opens the file that makeScratchFile has made, or where it made none (made is -1) a new one, and closes made. Somebody else may
 * have put a link or another file under the name: neither is taken, let alone emptied (a new file needs no O_TRUNC). Both
 * descriptors are open while they are compared, since the number of a file that is gone may be given to the next.
 * Returns -1 with errno set on failure, leaving no file behind. */
inline int openScratchFile(const char* name, int made) {
    const int newOnly = made < 0 ? O_EXCL : 0;
    const int file = ::open(name, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | newOnly, 0666);
    if (made < 0) return file;

    struct stat first, second;
    const bool isKnown = file >= 0 && ::fstat(made, &first) == 0 && ::fstat(file, &second) == 0;
    if (isKnown && isSameFile(first, second)) {
        ::close(made);
        return file;
    }
    const int error = isKnown ? EEXIST : errno;
    removeScratchFile(name, made);
    ::close(made);
    if (file >= 0) ::close(file);
    errno = error;
    return -1;
}

#endif
