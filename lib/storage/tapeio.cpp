#include <pelta/tapeio.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mtio.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "storage/descriptor.h"

namespace {

/* What tapeCheck is told of the call that failed. */
constexpr int inRead = 23, inWrite = 24, inControl = 25;

constexpr int rewindByCommand = 8;

void report(const char* problem, const tapeIOStruct* t) {
    std::printf("\nError %s tape drive: %s\nmessage: %s\n\n", problem, t->cTapeName, std::strerror(errno));
    std::fflush(stdout);
}

/* "mt -f NAME rewind &" for the shell; null without memory. */
std::unique_ptr<char[]> rewindCommand(const char* name) {
    constexpr char plain[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./:-";
    constexpr char begin[] = "mt -f ", end[] = " rewind &", escapedQuote[] = "'\\''";
    const bool isPlain = name[std::strspn(name, plain)] == '\0';
    const std::size_t longest = sizeof begin + sizeof end + sizeof "''" + std::strlen(name) * (sizeof escapedQuote - 1);
    std::unique_ptr<char[]> command(new (std::nothrow) char[longest]);
    if (!command) return command;
    char* at = stpcpy(command.get(), begin);
    if (isPlain) {
        at = stpcpy(at, name);
    } else {
        // Between single quotes the shell takes everything as it stands but the single quote itself.
        *at++ = '\'';
        for (; *name; ++name)
            if (*name == '\'') at = stpcpy(at, escapedQuote);
            else *at++ = *name;
        *at++ = '\'';
    }
    stpcpy(at, end);
    return command;
}

int runRewindCommand(const char* name) {
    const std::unique_ptr<char[]> command = rewindCommand(name);
    return command ? std::system(command.get()) : -1;
}

/* The system's code of a function; -1 where it has none. */
short operationOf(int function) {
    constexpr short operations[rewindByCommand] = {MTWEOF, MTREW, MTNOP, MTUNLOAD, MTFSR, MTBSR, MTFSF, MTBSF};
    if (function < 0 || function > SHRT_MAX) return -1;
    return function < rewindByCommand ? operations[function] : static_cast<short>(function);
}

int control(const tapeIOStruct* t, short operation, int count) {
    if (t->iTape == 0) return nothingOpen();
    if (operation < 0) return errno = EINVAL, -1;
    mtop request = {operation, count};
    return ::ioctl(t->iTape, MTIOCTOP, &request);
}

/* Bounded by what the caller has been told to provide, which every English text fits into. */
void keepMessage(const tapeIOStruct* t, int error) {
    constexpr std::size_t roomForText = 64;
    if (t->cMessage)
        std::snprintf(t->cMessage, std::strlen(t->cTapeName) + roomForText, "%s   : %s", t->cTapeName, std::strerror(error));
}

/* Errors may be met without end: the count stays where it can go no further. */
void countError(tapeIOStruct* t) {
    if (t->tapeErrorCount < INT_MAX) ++t->tapeErrorCount;
}

/* Counts an error; false when it has used the budget up. */
bool hasTriesLeft(tapeIOStruct* t) {
    countError(t);
    return t->tapeErrorCount < t->tapeErrorMax;
}

}

int tapeOpen(tapeIOStruct* t, int mode) {
    t->tapeErrorCount = 0;
    t->tapeErrorMax = 1;
    t->iTape = openDescriptor(t->cTapeName, mode != 0 ? O_WRONLY : O_RDONLY);
    if (t->iTape == 0) {
        report("opening", t);
        return 0;
    }
    mtget status;
    if (::ioctl(t->iTape, MTIOCGET, &status) < 0) {
        report("status on", t);
        tapeClose(t);
        return 0;
    }
    if (GMT_ONLINE(status.mt_gstat)) {
        tapeFunction(t, MTSETBLK, 0);
        return 1;
    }
    // Kept on purpose: nothing failed, so the text is that of whatever failed last.
    report("tape not loaded on", t);
    tapeClose(t);
    return 0;
}

int tapeClose(tapeIOStruct* t) {
    if (t->iTape != 0) ::close(t->iTape);
    t->iTape = 0;
    return 1;
}

int tapeRead(tapeIOStruct* t, char* data, unsigned long maxlen) {
    for (;;) {
        int num = t->iTape != 0 ? static_cast<int>(::read(t->iTape, data, maxlen)) : nothingOpen();
        if (num >= 0) {
            t->tapeErrorCount = 0;
            return num;
        }
        if (!tapeCheck(t, &num, inRead)) return num;
    }
}

/* Kept on purpose: success leaves the error count alone, unlike in reading. */
int tapeWrite(tapeIOStruct* t, char* data, unsigned long maxlen) {
    int num;
    do num = t->iTape != 0 ? static_cast<int>(::write(t->iTape, data, maxlen)) : nothingOpen();
    while (tapeCheck(t, &num, inWrite));
    return num;
}

int tapeFunction(tapeIOStruct* t, int ifunc, int icount) {
    if (ifunc == rewindByCommand) {
        tapeClose(t);
        return runRewindCommand(t->cTapeName);
    }
    int num;
    do num = control(t, operationOf(ifunc), icount);
    while (tapeCheck(t, &num, inControl));
    return num;
}

int tapeCheck(tapeIOStruct* t, int* num, int id) {
    if (*num >= 0) return 0;
    const int error = errno;
    // Kept on purpose: the end of the tape is no error but a transfer of nothing.
    if (error == ENOSPC) {
        *num = 0;
        return 0;
    }
    keepMessage(t, error);
    const char* const name = t->cTapeName;
    if (error == EIO && id == inRead) {
        if (!hasTriesLeft(t)) return 0;
        std::printf("Error: %s: during tape read, try again, count=%d\n", name, t->tapeErrorCount);
        std::fflush(stdout);
        return 1;
    }
    if (error == ENOMEDIUM) {
        if (!hasTriesLeft(t)) return 0;
        std::printf("Tape drive %s: not ready, try again, count=%d\n", name, t->tapeErrorCount);
        std::fflush(stdout);
        ::sleep(1);
        return 1;
    }
    if (error == EACCES) {
        // Kept on purpose: without limit, until somebody lets the tape be written.
        countError(t);
        std::printf("Tape %s: is write protected\n", name);
        std::fflush(stdout);
        return 1;
    }
    return 0;
}
