#include "flow/tracetable.h"

#include <algorithm>
#include <cmath>

#include "support/failure.h"
#include "support/numberlist.h"
#include "support/textlines.h"

namespace pelta {
namespace {

std::vector<std::string_view> fieldsOf(std::string_view line) {
    std::vector<std::string_view> fields;
    splitFields(line, ",", fields);
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
    const TextLines& lines;
    const std::vector<std::string>& heading;
    std::vector<std::string_view> fields;

    double real(std::size_t column) const {
        if (column >= fields.size()) fail("{}: expected {} fields, found '{}'", lines.place(), heading.size(), lines.shown());
        const std::optional<double> value = realNumberIn(fields[column]);
        if (!value || !std::isfinite(*value))
            fail("{}: column {} is '{}', expected a number", lines.place(), heading[column], fields[column]);
        return *value;
    }
    std::int64_t integer(std::size_t column) const {
        constexpr double beyondExactIntegers = 9007199254740992.0;
        const double value = real(column);
        if (!(std::abs(value) < beyondExactIntegers) || value != std::trunc(value))
            fail("{}: column {} is '{}', expected a whole number", lines.place(), heading[column], fields[column]);
        return static_cast<std::int64_t>(value);
    }
};

}

TraceTable::TraceTable(const std::string& fileName, const TraceTableKind& kind) {
    const auto file = std::make_shared<TextLines>(fileName);
    _file = file;
    TextLines& lines = *file;
    if (!lines.next()) fail("{}: holds nothing, expected a {}", lines.name(), kind.what);
    const std::vector<std::string_view> names = fieldsOf(lines.line());
    const std::vector<std::string> heading(names.begin(), names.end());
    std::vector<std::string> valueNames;
    for (const ValueColumn& column : kind.columns) valueNames.push_back(column.heading);
    const auto trace = columnOf(heading, {"trace"}), record = columnOf(heading, {"record", "ffid"});
    const auto channel = columnOf(heading, {"channel"}), valid = columnOf(heading, {"valid"});
    const auto value = columnOf(heading, valueNames);
    if (!value || (!trace && (!record || !channel)))
        fail("{}: expected columns trace (or record and channel) and {}, found '{}'", lines.place(), alternatives(valueNames),
             lines.shown());
    _byTrace = trace.has_value();
    const double factor = std::find_if(kind.columns.begin(), kind.columns.end(), [&](const ValueColumn& column) {
                              return column.heading == heading[*value];
                          })->factor;
    std::map<std::pair<std::int64_t, std::int64_t>, std::int64_t> numbers;
    while (lines.next()) {
        const Row row = {lines, heading, fieldsOf(lines.line())};
        if (*value < row.fields.size() && row.fields[*value].empty()) continue;
        if (valid && row.real(*valid) == 0.0) continue;
        const auto key =
            _byTrace ? std::pair{row.integer(*trace), std::int64_t{0}} : std::pair{row.integer(*record), row.integer(*channel)};
        const double found = factor * row.real(*value);
        const auto [place, isNew] = _values.try_emplace(key, found);
        if (isNew && !kind.takesLastOfSeveral) numbers[key] = lines.number();
        if (!isNew && !kind.takesLastOfSeveral && place->second != found)
            fail("{}: another {} of this trace stands in line {}", lines.place(), heading[*value], numbers[key]);
        place->second = found;
    }
}

std::optional<double> TraceTable::value(std::int64_t trace, std::int64_t record, std::int64_t channel) const {
    const auto found = _values.find(_byTrace ? std::pair{trace, std::int64_t{0}} : std::pair{record, channel});
    if (found == _values.end()) return std::nullopt;
    return found->second;
}

}
