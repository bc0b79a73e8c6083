#ifndef PELTA_LIB_TRANSFER_H
#define PELTA_LIB_TRANSFER_H

#include <unistd.h>

#include <cerrno>
#include <cstddef>

/* One read, begun again when a signal came before any byte. */
inline ssize_t readOnce(int descriptor, void* bytes, std::size_t length) {
    ssize_t count;
    do count = ::read(descriptor, bytes, length);
    while (count < 0 && errno == EINTR);
    return count;
}

/* One write, begun again when a signal came before any byte. */
inline ssize_t writeOnce(int descriptor, const void* bytes, std::size_t length) {
    ssize_t count;
    do count = ::write(descriptor, bytes, length);
    while (count < 0 && errno == EINTR);
    return count;
}

/* Writes on after short transfers. Returns the bytes that went out, fewer than length only after a failure (errno says which),
 * or what the failing write gave when none did. A length of 0 still makes one call. */
inline ssize_t writeAll(int descriptor, const void* bytes, std::size_t length) {
    std::size_t done = 0;
    do {
        const ssize_t count = writeOnce(descriptor, static_cast<const char*>(bytes) + done, length - done);
        if (count <= 0) return done > 0 ? static_cast<ssize_t>(done) : count;
        done += static_cast<std::size_t>(count);
    } while (done < length);
    return static_cast<ssize_t>(done);
}

#endif
