#include "support/failure.h"

#include <algorithm>
#include <cstdio>

namespace pelta {

std::string oneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }, '?');
    return text;
}

void tell(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stderr); }

void printText(std::FILE* to, std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), to) < text.size() && to == stdout) fail("standard output: cannot be written");
}

void warn(const std::string& text) { tell(fmt::format("pelta: warning: {}\n", oneLine(text))); }

}
