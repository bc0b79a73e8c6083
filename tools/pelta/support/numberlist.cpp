#include "support/numberlist.h"

#include <pelta/numeric.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>

namespace pelta {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isBlank(char c) { return c == ' ' || c == '\t'; }

/* How many numbers the text lists; 0 unless it holds digits, blanks and one comma at most between two numbers. */
std::size_t listedNumbers(std::string_view text) {
    constexpr int mostDigits = 9;
    std::size_t count = 0;
    int digits = 0, commas = 1; /* a comma would be out of place at the start */
    for (char c : text) {
        if (isDigit(c)) {
            if (digits == 0) ++count;
            if (++digits > mostDigits) return 0;
            commas = 0;
        } else if (isBlank(c) || (c == ',' && commas == 0)) {
            digits = 0;
            commas += c == ',';
        } else return 0;
    }
    return commas == 0 ? count : 0;
}

}

/* The library's parser passes over what is no number, and takes a minus for a blank: it only gets what it cannot misread. */
std::optional<std::vector<std::int64_t>> wholeNumbersIn(std::string_view text) {
    const std::size_t listed = listedNumbers(text);
    if (listed == 0) return std::nullopt;
    std::string changeable(text);
    int* numbers = nullptr;
    int count = 0;
    peltaParseInt(changeable.data(), &numbers, &count);
    const std::unique_ptr<int, decltype(&std::free)> owner(numbers, &std::free);
    if (static_cast<std::size_t>(count) != listed) return std::nullopt;
    return std::vector<std::int64_t>(numbers, numbers + count);
}

std::optional<std::vector<double>> realNumbersIn(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c == ',' || c == ';' || std::isspace(c); }, ' ');
    std::vector<double> numbers;
    const char* rest = text.c_str();
    for (;;) {
        while (*rest == ' ') ++rest;
        if (*rest == '\0') return numbers;
        char* end = nullptr;
        numbers.push_back(std::strtod(rest, &end));
        if (end == rest || (*end != ' ' && *end != '\0') || !std::isfinite(numbers.back())) return std::nullopt;
        rest = end;
    }
}

}
