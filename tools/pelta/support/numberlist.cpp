#include "support/numberlist.h"

#include <pelta/numeric.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>

#include "support/textlines.h"

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

std::optional<double> realNumberIn(std::string_view text) {
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::optional<std::vector<double>> realNumbersIn(std::string_view line) {
    std::vector<double> numbers;
    for (std::string_view word : wordsOf(line)) {
        const std::optional<double> number = realNumberIn(word);
        if (!number || !std::isfinite(*number)) return std::nullopt;
        numbers.push_back(*number);
    }
    return numbers;
}

}
