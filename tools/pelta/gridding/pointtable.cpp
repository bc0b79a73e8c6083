#include "gridding/pointtable.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "support/failure.h"
#include "support/nearest.h"

namespace pelta::gridding {
namespace {

constexpr std::string_view blanks = " \t\r";

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = std::min(text.find_first_not_of(blanks), text.size());
    text.remove_prefix(begin);
    text.remove_suffix(text.size() - (text.find_last_not_of(blanks) + 1));
    return text;
}

/* Without blanks and quotes round it. */
std::string_view cleaned(std::string_view field) {
    field = trimmed(field);
    if (field.size() >= 2 && field.front() == '"' && field.back() == '"') field = trimmed(field.substr(1, field.size() - 2));
    return field;
}

using Fields = std::vector<std::string_view>;

/* By a separator; a blank stands for any number of blanks and tabs. */
void split(std::string_view line, char separator, Fields& fields) {
    fields.clear();
    if (separator != ' ') {
        for (std::size_t begin = 0; begin <= line.size();) {
            const std::size_t end = std::min(line.find(separator, begin), line.size());
            fields.push_back(cleaned(line.substr(begin, end - begin)));
            begin = end + 1;
        }
        return;
    }
    for (std::size_t end = 0;;) {
        const std::size_t begin = line.find_first_not_of(blanks, end);
        if (begin == std::string_view::npos) return;
        end = std::min(line.find_first_of(blanks, begin), line.size());
        fields.push_back(cleaned(line.substr(begin, end - begin)));
    }
}

char separatorOf(std::string_view line) {
    for (char separator : {',', ';', '\t'})
        if (line.find(separator) != std::string_view::npos) return separator;
    return ' ';
}

/* NaN and infinities are numbers here. */
std::optional<double> numberIn(std::string_view text) {
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

/* Lines that hold something, with their numbers in the file. */
class Lines {
  public:
    Lines(std::FILE* file, const std::string& name) : _file(file), _name(name) {}
    ~Lines() { std::free(_text); }
    Lines(const Lines&) = delete;
    Lines& operator=(const Lines&) = delete;

    bool next() {
        while (true) {
            errno = 0;
            const ssize_t length = getline(&_text, &_room, _file);
            if (length < 0 && (errno == ENOMEM)) throw std::bad_alloc();
            if (length < 0 && std::ferror(_file)) fail("{}: cannot be read: {}", _name, std::strerror(errno));
            if (length < 0) return false;
            ++_number;
            _line = std::string_view(_text, static_cast<std::size_t>(length));
            if (_line.ends_with('\n')) _line.remove_suffix(1);
            if (_number == 1 && _line.starts_with("\xEF\xBB\xBF")) _line.remove_prefix(3); /* byte order mark */
            const std::string_view held = trimmed(_line);
            if (!held.empty() && held.front() != '#') return true;
        }
    }
    std::string_view line() const { return _line; }
    /* "points.csv:12" */
    std::string place() const { return fmt::format("{}:{}", _name, _number); }
    /* For a message: a line may be as long as a file. */
    std::string shown() const {
        constexpr std::size_t most = 60;
        const std::string_view held = trimmed(_line);
        return held.size() <= most ? std::string(held) : fmt::format("{} ...", held.substr(0, most));
    }

  private:
    std::FILE* _file;
    const std::string& _name;
    char* _text = nullptr;
    std::size_t _room = 0;
    std::string_view _line;
    std::int64_t _number = 0;
};

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
               return column.place < fields.size() && numberIn(fields[column.place]).has_value();
           });
}

double numberOf(const Column& column, const Fields& fields, const Lines& lines) {
    const std::string_view text = fields[column.place];
    const std::optional<double> value = numberIn(text);
    if (!value || !std::isfinite(*value)) fail("{}: column {} is '{}', expected a number", lines.place(), column.name(), text);
    return *value;
}

void takePoint(const Triple& columns, const Fields& fields, const Lines& lines, PointSet& set) {
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

void PointTable::Close::operator()(std::FILE* file) const {
    if (file != stdin) std::fclose(file);
}

PointTable::PointTable(const std::string& fileName)
    : _name(fileName == "-" ? "standard input" : fileName),
      _file(fileName == "-" ? stdin : std::fopen(fileName.c_str(), "re")) {
    if (!_file) fail("{}: cannot be read: {}", _name, std::strerror(errno));
    _protected.emplace(fileno(_file.get()));
}

PointSet PointTable::read(const Columns& columns) {
    Triple triple = {Column(columns.x), Column(columns.y), Column(columns.z)};
    PointSet set;
    Lines lines(_file.get(), _name);
    if (!lines.next()) fail("{}: holds no points", _name);
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
