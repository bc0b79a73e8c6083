#include "inspection/finding.h"

#include <charconv>

namespace pelta::inspection {

const char* nameOf(Severity severity) { return severity == Severity::error ? "error" : "warning"; }

namespace {

template <class Number>
std::optional<Number> wholly(std::string_view text) {
    Number number = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (problem != std::errc() || end != text.data() + text.size()) return {};
    return number;
}

Value valueFrom(std::string_view text) {
    if (text.empty()) return {};
    if (const auto whole = wholly<std::int64_t>(text)) return *whole;
    if (const auto real = wholly<double>(text)) return *real;
    return std::string(text);
}

/* What follows the mark, up to the first of the stops; empty without the mark. */
std::string_view behind(std::string_view line, std::string_view mark, std::string_view stops) {
    const std::size_t start = line.find(mark);
    if (start == std::string_view::npos) return {};
    line.remove_prefix(start + mark.size());
    return line.substr(0, line.find_first_of(stops));
}

}

Finding findingFromLine(Severity severity, std::string_view line, std::string_view fileName) {
    const std::string prefix = std::string(fileName) + ": ";
    if (line.starts_with(prefix)) line.remove_prefix(prefix.size());
    Finding finding{severity, std::string(line)};
    const std::string_view byte = behind(line, "byte ", " ,;");
    finding.byte = wholly<std::int64_t>(byte);
    finding.found = valueFrom(behind(line, "byte " + std::string(byte) + " is ", " ,;"));
    finding.expected = valueFrom(behind(line, "expected ", ";"));
    if (const std::string_view option = behind(line, "--", " ,;"); !option.empty()) finding.option = "--" + std::string(option);
    return finding;
}

}
