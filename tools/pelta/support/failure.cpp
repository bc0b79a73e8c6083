#include "support/failure.h"

#include <algorithm>
#include <cstdio>

namespace pelta {

std::string oneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }, '?');
    return text;
}

void warn(const std::string& text) {
    /* In one piece: the stream's lock keeps lines of several threads apart. */
    const std::string line = fmt::format("pelta: warning: {}\n", oneLine(text));
    std::fwrite(line.data(), 1, line.size(), stderr);
}

}
