#include "support/libraryvoice.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <mutex>

namespace pelta {
namespace {

constexpr int firstFreeDescriptor = 3;

std::mutex silenceMutex;
int silenceCount = 0;
int standardOutput = -1; /* the real one while silenceCount > 0 */

/* Kept open: this stands round every block that is read or written. */
int nowhere() {
    static const int descriptor = [] {
        const int opened = open("/dev/null", O_WRONLY | O_CLOEXEC);
        const int moved = opened < 0 ? -1 : fcntl(opened, F_DUPFD_CLOEXEC, firstFreeDescriptor);
        if (opened >= 0) close(opened);
        return moved;
    }();
    return descriptor;
}

void turnStandardOutputAway() {
    std::fflush(stdout);
    standardOutput = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, firstFreeDescriptor);
    if (standardOutput >= 0 && nowhere() >= 0) dup2(nowhere(), STDOUT_FILENO);
}

void bringStandardOutputBack() {
    std::fflush(stdout);
    if (standardOutput < 0) return;
    dup2(standardOutput, STDOUT_FILENO);
    close(standardOutput);
    standardOutput = -1;
}

}

LibraryVoice::LibraryVoice() {
    const std::lock_guard lock(silenceMutex);
    if (silenceCount++ == 0) turnStandardOutputAway();
}

/* Callers look at errno behind the silence. */
LibraryVoice::~LibraryVoice() {
    const int error = errno;
    const std::lock_guard lock(silenceMutex);
    if (--silenceCount == 0) bringStandardOutputBack();
    errno = error;
}

int duplicateStandardOutput() {
    const std::lock_guard lock(silenceMutex);
    return fcntl(standardOutput >= 0 ? standardOutput : STDOUT_FILENO, F_DUPFD_CLOEXEC, firstFreeDescriptor);
}

void occupyStandardDescriptors() {
    for (int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(number, F_GETFD) >= 0) continue;
        /* The wrong way round, so that its use fails instead of losing data. The lowest free number is the missing one. */
        const int direction = number == STDIN_FILENO ? O_WRONLY : O_RDONLY;
        if (open("/dev/null", direction) < 0) return;
    }
}

}
