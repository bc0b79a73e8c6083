#include "flow/tracetable.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>

#include "support/failure.h"

namespace pelta {
namespace {

std::vector<std::string> fieldsOf(std::string line) {
    if (line.ends_with('\r')) line.pop_back();
    std::vector<std::string> fields;
    for (std::size_t begin = 0; begin <= line.size();) {
        const std::size_t end = std::min(line.find(',', begin), line.size());
        fields.push_back(line.substr(begin, end - begin));
        begin = end + 1;
    }
    return fields;
}

/* The place of the first of several headings; nothing when none is there. */
std::optional<std::size_t> columnOf(const std::vector<std::string>& heading, const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        const auto found = std::find(heading.begin(), heading.end(), name);
        if (found != heading.end()) return static_cast<std::size_t>(found - heading.begin());
    }
    return std::nullopt;
}

/* "a, b or c". */
std::string alternatives(const std::vector<std::string>& names) {
    const auto last = names.end() - 1;
    return names.size() == 1 ? *last : fmt::format("{} or {}", fmt::join(names.begin(), last, ", "), *last);
}

/* One line behind the heading. */
struct Row {
    const std::string& fileName;
    int number;
    const std::vector<std::string>& heading;
    std::string line;
    std::vector<std::string> fields;

    double real(std::size_t column) const {
        if (column >= fields.size()) fail("{}:{}: expected {} fields, found '{}'", fileName, number, heading.size(), line);
        double value = 0.0;
        const std::string& text = fields[column];
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value))
            fail("{}:{}: column {} is '{}', expected a number", fileName, number, heading[column], text);
        return value;
    }
    std::int64_t integer(std::size_t column) const {
        constexpr double beyondExactIntegers = 9007199254740992.0;
        const double value = real(column);
        if (!(std::abs(value) < beyondExactIntegers) || value != std::trunc(value))
            fail("{}:{}: column {} is '{}', expected a whole number", fileName, number, heading[column], fields[column]);
        return static_cast<std::int64_t>(value);
    }
};

}

TraceTable::TraceTable(const std::string& fileName, const TraceTableKind& kind) {
    std::ifstream file(fileName);
    std::string line;
    if (!file || !std::getline(file, line)) fail("{}: cannot read a {}", fileName, kind.what);
    const std::vector<std::string> heading = fieldsOf(line);
    std::vector<std::string> valueNames;
    for (const ValueColumn& column : kind.columns) valueNames.push_back(column.heading);
    const auto trace = columnOf(heading, {"trace"}), record = columnOf(heading, {"record", "ffid"});
    const auto channel = columnOf(heading, {"channel"}), valid = columnOf(heading, {"valid"});
    const auto value = columnOf(heading, valueNames);
    if (!value || (!trace && (!record || !channel)))
        fail("{}:1: expected columns trace (or record and channel) and {}, found '{}'", fileName, alternatives(valueNames),
             line);
    _byTrace = trace.has_value();
    const double factor = std::find_if(kind.columns.begin(), kind.columns.end(), [&](const ValueColumn& column) {
                              return column.heading == heading[*value];
                          })->factor;
    std::map<std::pair<std::int64_t, std::int64_t>, int> lines;
    for (int number = 2; std::getline(file, line); ++number) {
        const Row row = {fileName, number, heading, line, fieldsOf(line)};
        if (line.empty() || line == "\r" || (*value < row.fields.size() && row.fields[*value].empty())) continue;
        if (valid && row.real(*valid) == 0.0) continue;
        const auto key =
            _byTrace ? std::pair{row.integer(*trace), std::int64_t{0}} : std::pair{row.integer(*record), row.integer(*channel)};
        const double found = factor * row.real(*value);
        const auto [place, isNew] = _values.try_emplace(key, found);
        if (isNew && !kind.takesLastOfSeveral) lines[key] = number;
        if (!isNew && !kind.takesLastOfSeveral && place->second != found)
            fail("{}:{}: another {} of this trace stands in line {}", fileName, number, heading[*value], lines[key]);
        place->second = found;
    }
}

std::optional<double> TraceTable::value(std::int64_t trace, std::int64_t record, std::int64_t channel) const {
    const auto found = _values.find(_byTrace ? std::pair{trace, std::int64_t{0}} : std::pair{record, channel});
    if (found == _values.end()) return std::nullopt;
    return found->second;
}

}
