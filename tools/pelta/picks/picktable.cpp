#include "picks/picktable.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <vector>

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
std::optional<std::size_t> columnOf(const std::vector<std::string>& heading, std::initializer_list<const char*> names) {
    for (const char* name : names) {
        const auto found = std::find(heading.begin(), heading.end(), name);
        if (found != heading.end()) return static_cast<std::size_t>(found - heading.begin());
    }
    return std::nullopt;
}

}

PickTable::PickTable(const std::string& fileName) {
    std::ifstream file(fileName);
    std::string line;
    if (!file || !std::getline(file, line)) fail("{}: cannot read a table of picks", fileName);
    const std::vector<std::string> heading = fieldsOf(line);
    const auto trace = columnOf(heading, {"trace"}), record = columnOf(heading, {"record", "ffid"});
    const auto channel = columnOf(heading, {"channel"}), valid = columnOf(heading, {"valid"});
    const auto time = columnOf(heading, {"pick_ms", "first_break_ms", "time_ms", "time_s"});
    if (!time || (!trace && (!record || !channel)))
        fail("{}:1: expected columns trace (or record and channel) and pick_ms, first_break_ms, time_ms or time_s, found '{}'",
             fileName, line);
    _byTrace = trace.has_value();
    const double msPerUnit = heading[*time] == "time_s" ? 1000.0 : 1.0;
    for (int number = 2; std::getline(file, line); ++number) {
        const std::vector<std::string> fields = fieldsOf(line);
        const auto numberIn = [&](std::size_t column) {
            double value = 0.0;
            if (column >= fields.size()) fail("{}:{}: expected {} fields, found '{}'", fileName, number, heading.size(), line);
            const std::string& text = fields[column];
            const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
            if (error != std::errc() || end != text.data() + text.size())
                fail("{}:{}: column {} is '{}', expected a number", fileName, number, heading[column], text);
            return value;
        };
        if (line.empty() || (*time < fields.size() && fields[*time].empty())) continue;
        if (valid && numberIn(*valid) == 0.0) continue;
        const auto key =
            _byTrace ? std::pair{static_cast<std::int64_t>(numberIn(*trace)), std::int64_t{0}}
                     : std::pair{static_cast<std::int64_t>(numberIn(*record)), static_cast<std::int64_t>(numberIn(*channel))};
        _times[key] = msPerUnit * numberIn(*time);
    }
}

std::optional<double> PickTable::timeMs(std::int64_t trace, std::int64_t record, std::int64_t channel) const {
    const auto found = _times.find(_byTrace ? std::pair{trace, std::int64_t{0}} : std::pair{record, channel});
    if (found == _times.end()) return std::nullopt;
    return found->second;
}

}
