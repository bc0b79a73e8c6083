#include "segy/headerwords.h"

#include <algorithm>
#include <charconv>

#include "support/failure.h"
#include "support/nearest.h"
#include "support/textlines.h"

namespace pelta::segy {
namespace {

std::uint64_t readBits(const unsigned char* bytes, int size, ByteOrder order) {
    std::uint64_t bits = 0;
    for (int k = 0; k < size; ++k) bits = bits << 8 | bytes[order == ByteOrder::big ? k : size - 1 - k];
    return bits;
}

void writeBits(unsigned char* bytes, int size, ByteOrder order, std::uint64_t bits) {
    for (int k = 0; k < size; ++k, bits >>= 8) bytes[order == ByteOrder::big ? size - 1 - k : k] = bits & 0xFF;
}

}

std::int64_t readWord(const unsigned char* header, HeaderWord word, ByteOrder order) {
    if (word.size == 0) return 0;
    const int unusedBits = 64 - 8 * word.size;
    const std::uint64_t bits = readBits(header + word.position - 1, word.size, order);
    return static_cast<std::int64_t>(bits << unusedBits) >> unusedBits;
}

bool writeWord(unsigned char* header, HeaderWord word, ByteOrder order, std::int64_t value) {
    if (word.size == 0) return false;
    const std::int64_t largest = INT64_MAX >> (64 - 8 * word.size);
    if (value > largest || value < -largest - 1) return false;
    writeBits(header + word.position - 1, word.size, order, static_cast<std::uint64_t>(value));
    return true;
}

std::int64_t readUnsignedWord(const unsigned char* header, HeaderWord word, ByteOrder order) {
    return static_cast<std::int64_t>(readBits(header + word.position - 1, word.size, order));
}

bool writeUnsignedWord(unsigned char* header, HeaderWord word, ByteOrder order, std::int64_t value) {
    if (word.size == 0 || value < 0 || (word.size < 8 && value >> (8 * word.size) != 0)) return false;
    writeBits(header + word.position - 1, word.size, order, static_cast<std::uint64_t>(value));
    return true;
}

bool isScalar(std::int64_t scalar) {
    static constexpr std::int64_t sizes[] = {0, 1, 10, 100, 1000, 10000};
    return std::any_of(std::begin(sizes), std::end(sizes),
                       [scalar](std::int64_t size) { return scalar == size || scalar == -size; });
}

double scaled(std::int64_t value, std::int64_t scalar) {
    const auto plain = static_cast<double>(value);
    if (scalar == 0 || !isScalar(scalar)) return plain;
    return scalar > 0 ? plain * static_cast<double>(scalar) : plain / -static_cast<double>(scalar);
}

double unscaled(double value, std::int64_t scalar) {
    if (scalar == 0 || !isScalar(scalar)) return value;
    return scalar > 0 ? value / static_cast<double>(scalar) : value * -static_cast<double>(scalar);
}

namespace {

struct KnownWord {
    const char* name;
    HeaderWord word;
};

/* In the order of Word. */
constexpr std::array<KnownWord, wordCount> knownWords = {{
    {"trace", {1, 4}},
    {"trace_in_file", {5, 4}},
    {"record", {9, 4}},
    {"channel", {13, 4}},
    {"source", {17, 4}},
    {"cdp", {21, 4}},
    {"trace_in_cdp", {25, 4}},
    {"trace_type", {29, 2}},
    {"fold", {33, 2}},
    {"offset", {37, 4}},
    {"receiver_elevation", {41, 4}},
    {"source_elevation", {45, 4}},
    {"source_depth", {49, 4}},
    {"elevation_scalar", {69, 2}},
    {"coordinate_scalar", {71, 2}},
    {"source_x", {73, 4}},
    {"source_y", {77, 4}},
    {"receiver_x", {81, 4}},
    {"receiver_y", {85, 4}},
    {"coordinate_units", {89, 2}},
    {"source_static", {99, 2}},
    {"receiver_static", {101, 2}},
    {"total_static", {103, 2}},
    {"delay", {109, 2}},
    {"mute_start", {111, 2}},
    {"mute_end", {113, 2}},
    {"samples", {115, 2}},
    {"interval", {117, 2}},
    {"cdp_x", {181, 4}},
    {"cdp_y", {185, 4}},
    {"inline", {189, 4}},
    {"crossline", {193, 4}},
    {"time_scalar", {215, 2}},
    {"pick", {0, 0}},
}};

std::size_t indexOf(std::string_view name) {
    const auto found =
        std::find_if(knownWords.begin(), knownWords.end(), [&](const KnownWord& known) { return name == known.name; });
    if (found != knownWords.end()) return static_cast<std::size_t>(found - knownWords.begin());
    failUsage("'{}' is no trace-header word{}", name, didYouMean(name, HeaderMap::names()));
}

std::optional<int> wholeNumber(std::string_view text) {
    int number = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (problem != std::errc() || end != text.data() + text.size()) return {};
    return number;
}

/* A place written as "37:4". */
HeaderWord placeOf(std::string_view text) {
    const std::size_t colon = text.find(':');
    const auto position = wholeNumber(text.substr(0, colon));
    const auto size = colon == std::string_view::npos ? std::nullopt : wholeNumber(text.substr(colon + 1));
    if (!position || !size) failUsage("'{}' is no place in the trace header, expected BYTE:SIZE such as 37:4", text);
    if (*size != 1 && *size != 2 && *size != 4 && *size != 8)
        failUsage("'{}': a trace-header word has 1, 2, 4 or 8 bytes, not {}", text, *size);
    if (*position < 1 || *position > traceHeaderBytes - *size + 1)
        failUsage("'{}' lies outside the trace header, whose bytes count from 1 to {}", text, traceHeaderBytes);
    return {*position, *size};
}

}

HeaderMap::HeaderMap() {
    std::transform(knownWords.begin(), knownWords.end(), _words.begin(), [](const KnownWord& known) { return known.word; });
}

void HeaderMap::remap(std::string_view assignments) {
    while (true) {
        const std::size_t comma = assignments.find(',');
        const std::string_view assignment = trimmed(assignments.substr(0, comma));
        const std::size_t equals = assignment.find('=');
        if (equals == std::string_view::npos)
            failUsage("'{}' is no header assignment, expected NAME=BYTE:SIZE such as offset=37:4", assignment);
        _words[indexOf(trimmed(assignment.substr(0, equals)))] = placeOf(trimmed(assignment.substr(equals + 1)));
        if (comma == std::string_view::npos) return;
        assignments.remove_prefix(comma + 1);
    }
}

std::optional<HeaderWord> HeaderMap::find(std::string_view name) const {
    if (name.find(':') != std::string_view::npos) return placeOf(name);
    const HeaderWord word = _words[indexOf(name)];
    if (word.size == 0) return {};
    return word;
}

std::vector<std::string> HeaderMap::names() {
    std::vector<std::string> names;
    for (const KnownWord& known : knownWords) names.emplace_back(known.name);
    return names;
}

}
