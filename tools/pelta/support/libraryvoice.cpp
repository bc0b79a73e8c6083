#include "support/libraryvoice.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace pelta {

LibraryVoice::LibraryVoice() {
    std::fflush(stdout);
    _standardOutput = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere >= 0) {
        dup2(nowhere, STDOUT_FILENO);
        close(nowhere);
    }
}

LibraryVoice::~LibraryVoice() {
    std::fflush(stdout);
    if (_standardOutput < 0) return;
    dup2(_standardOutput, STDOUT_FILENO);
    close(_standardOutput);
}

}
