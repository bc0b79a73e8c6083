#include "gridding/pointtable.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string_view>

#include "support/failure.h"
#include "support/nearest.h"
#include "support/numberlist.h"

namespace pelta::gridding {
namespace {

using Fields = std::vector<std::string_view>;

/* By a separator; a blank stands for any number of blanks and tabs. */
void split(std::string_view line, char separator, Fields& fields) {
    if (separator != ' ') return splitFields(line, {&separator, 1}, fields);
    fields.clear();
    for (std::size_t end = 0;;) {
        const std::size_t begin = line.find_first_not_of(blanks, end);
        if (begin == std::string_view::npos) return;
        end = std::min(line.find_first_of(blanks, begin), line.size());
        fields.push_back(unquoted(line.substr(begin, end - begin)));
    }
}

char separatorOf(std::string_view line) {
    for (char separator : {',', ';', '\t'})
        if (line.find(separator) != std::string_view::npos) return separator;
    return ' ';
}

/* A column as it was asked for, and where it was found. */
struct Column {
    std::string asked;
    std::size_t place = 0;
    bool isNamed = false;
    std::string heading;

    explicit Column(const std::string& text) : asked(text) {
        constexpr std::size_t mostColumns = 1000000;
        isNamed = text.empty() || !std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
        if (isNamed) return;
        std::size_t number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc() || number < 1 || number > mostColumns) failUsage("column {}: columns count from 1", text);
        place = number - 1;
    }
    const std::string& name() const { return heading.empty() ? asked : heading; }
};

using Triple = std::array<Column, 3>;

void findNamed(Triple& columns, const Fields& heading, const std::string& place) {
    std::vector<std::string> names;
    for (std::string_view name : heading) names.emplace_back(name);
    for (Column& column : columns) {
        if (column.isNamed) {
            const auto found = std::find(names.begin(), names.end(), column.asked);
            if (found == names.end())
                fail("{}: there is no column '{}'{}; the headings are {}", place, column.asked, didYouMean(column.asked, names),
                     fmt::join(names, ", "));
            column.place = static_cast<std::size_t>(found - names.begin());
        }
        if (column.place < names.size()) column.heading = names[column.place];
    }
}

/* A first line is one of headings when columns are named, or when none of the three is a number. */
bool isHeading(const Triple& columns, const Fields& fields) {
    return std::any_of(columns.begin(), columns.end(), [](const Column& column) { return column.isNamed; }) ||
           std::none_of(columns.begin(), columns.end(), [&](const Column& column) {
               return column.place < fields.size() && realNumberIn(fields[column.place]).has_value();
           });
}

double numberOf(const Column& column, const Fields& fields, const TextLines& lines) {
    const std::string_view text = fields[column.place];
    const std::optional<double> value = realNumberIn(text);
    if (!value || !std::isfinite(*value)) fail("{}: column {} is '{}', expected a number", lines.place(), column.name(), text);
    return *value;
}

void takePoint(const Triple& columns, const Fields& fields, const TextLines& lines, PointSet& set) {
    const std::size_t needed = std::max({columns[0].place, columns[1].place, columns[2].place}) + 1;
    if (fields.size() < needed) fail("{}: expected {} columns or more, found '{}'", lines.place(), needed, lines.shown());
    const double x = numberOf(columns[0], fields, lines), y = numberOf(columns[1], fields, lines);
    if (fields[columns[2].place].empty()) {
        ++set.withoutValue;
        return;
    }
    const double z = numberOf(columns[2], fields, lines);
    if (!(std::abs(z) <= FLT_MAX))
        fail("{}: column {} is '{}', more than single precision holds", lines.place(), columns[2].name(),
             fields[columns[2].place]);
    set.points.add(x, y, z);
}

}

PointSet PointTable::read(const Columns& columns) {
    Triple triple = {Column(columns.x), Column(columns.y), Column(columns.z)};
    PointSet set;
    TextLines& lines = _lines;
    if (!lines.next()) fail("{}: holds no points", lines.name());
    const char separator = separatorOf(lines.line());
    Fields fields;
    split(lines.line(), separator, fields);
    if (isHeading(triple, fields)) {
        findNamed(triple, fields, lines.place());
        if (!triple[0].heading.empty()) set.xName = triple[0].heading;
        if (!triple[1].heading.empty()) set.yName = triple[1].heading;
        if (!triple[2].heading.empty()) set.zName = triple[2].heading;
    } else takePoint(triple, fields, lines, set);
    while (lines.next()) {
        split(lines.line(), separator, fields);
        takePoint(triple, fields, lines, set);
    }
    return set;
}

}
