#include "support/statusline.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>

#include "support/failure.h"

namespace pelta {

StatusLine::StatusLine(bool quiet) : _isShown(!quiet && isatty(STDERR_FILENO)) {}

StatusLine::~StatusLine() {
    if (_isShown) tell("\r\033[K");
}

void StatusLine::show(const std::string& text) {
    if (!_isShown) return;
    tell(fmt::format("\r\033[K{}", text));
    std::fflush(stderr);
}

}
