#include <pelta/fileio.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/types.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "storage/descriptor.h"
#include "transfer.h"

static_assert(sizeof(off_t) == 8, "files beyond 2 GiB need 64-bit offsets in both word sizes");

namespace {

/* What Linux moves in one call at most; also the largest count that a result can carry. */
constexpr unsigned long longestTransfer = 0x7ffff000;

void report(const char* action, const char* fileName) {
    std::printf("\nError %s file: %s\nmessage: %s\n\n", action, fileName, std::strerror(errno));
    std::fflush(stdout);
}

/* Begun again after a signal: a named pipe waits for its other end. */
int openFile(const char* fileName, bool forWriting) {
    // Kept on purpose: an existing file is not truncated, so that a longer one keeps its tail.
    const int flags = forWriting ? O_WRONLY | O_CREAT : O_RDONLY;
    int descriptor;
    do descriptor = openDescriptor(fileName, flags);
    while (descriptor == 0 && errno == EINTR);
    return descriptor;
}

std::FILE* openStream(const char* fileName, bool forWriting) {
    std::FILE* stream;
    do stream = std::fopen(fileName, forWriting ? "w" : "r");
    while (!stream && errno == EINTR);
    return stream;
}

/* The next byte of the stream, EOF at its end or after an error. A signal is no error. */
int nextByte(std::FILE* stream) {
    int byte;
    while ((byte = ::getc_unlocked(stream)) == EOF && ::ferror_unlocked(stream) && errno == EINTR) ::clearerr_unlocked(stream);
    return byte;
}

/* Bytes of the next line, 0 at the end of the stream, -1 on an error. */
int readLine(std::FILE* stream, char* line, unsigned long capacity) {
    if (capacity == 0) return 0;
    const unsigned long longest = std::min<unsigned long>(capacity, INT_MAX) - 1;
    unsigned long length = 0;
    ::flockfile(stream);
    int byte = 0;
    while (length < longest && byte != '\n' && (byte = nextByte(stream)) != EOF) line[length++] = static_cast<char>(byte);
    const bool failed = byte == EOF && !::feof_unlocked(stream);
    ::funlockfile(stream);
    if (failed) return -1;
    if (byte == EOF && length == 0) return 0;
    line[length] = '\0';
    return static_cast<int>(std::strlen(line));
}

/* Bytes of the text, -1 on an error. */
int writeText(std::FILE* stream, const char* text) {
    if (std::fputs(text, stream) < 0) return -1;
    return static_cast<int>(std::min<std::size_t>(std::strlen(text), INT_MAX));
}

}

int fileOpen(fileIOStruct* f, int mode, int type) {
    const bool forWriting = mode != 0;
    f->iFile = 0;
    f->fp = nullptr;
    if (type != 0) f->fp = openStream(f->cFileName, forWriting);
    else f->iFile = openFile(f->cFileName, forWriting);
    if (f->fp || f->iFile != 0) return 1;
    report("opening", f->cFileName);
    return 0;
}

int fileClose(fileIOStruct* f) {
    if (f->iFile != 0) {
        ::close(f->iFile);
        f->iFile = 0;
    } else if (f->fp) {
        std::fclose(f->fp);
        f->fp = nullptr;
    }
    return 1;
}

int fileRead(fileIOStruct* f, char* data, unsigned long maxlen) {
    const int count = f->iFile != 0 ? static_cast<int>(readOnce(f->iFile, data, maxlen))
                      : f->fp       ? readLine(f->fp, data, maxlen)
                                    : nothingOpen();
    if (count < 0) report("reading", f->cFileName);
    return count;
}

/* Kept on purpose: writing nothing counts as a failure. */
int fileWrite(fileIOStruct* f, char* data, unsigned long maxlen) {
    const int count = f->iFile != 0 ? static_cast<int>(writeAll(f->iFile, data, std::min(maxlen, longestTransfer)))
                      : f->fp       ? writeText(f->fp, data)
                                    : nothingOpen();
    if (count <= 0) report("writing", f->cFileName);
    return count;
}

void fileFlush(fileIOStruct* f) {
    // Kept on purpose: a descriptor gets device-control request 2, which most devices refuse; write leaves nothing to flush.
    constexpr unsigned long flushRequest = 2;
    if (f->iFile != 0) ::ioctl(f->iFile, flushRequest, 0L);
    else if (f->fp) std::fflush(f->fp);
}
