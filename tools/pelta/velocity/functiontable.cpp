#include "velocity/functiontable.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <fstream>

#include "flow/timefunction.h"
#include "support/failure.h"
#include "support/numberlist.h"

namespace pelta::velocity {
namespace {

constexpr double msPerSecond = 1000.0;

enum class Column { cdp, x, y, time, velocity, other };

/* The first word of "CDP_corr" or "time_ms", in small letters, tells what a column holds; "cdp_x" is no CDP. */
Column columnOf(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
    const std::string word = name.substr(0, name.find('_'));
    const auto isOneOf = [](const std::string& text, std::initializer_list<const char*> names) {
        return std::find(names.begin(), names.end(), text) != names.end();
    };
    if (name == "cdp_x" || isOneOf(word, {"x", "easting"})) return Column::x;
    if (name == "cdp_y" || isOneOf(word, {"y", "northing"})) return Column::y;
    if (isOneOf(word, {"cdp", "cmp"})) return Column::cdp;
    if (isOneOf(word, {"t", "time", "twt", "tnmo"})) return Column::time;
    if (isOneOf(word, {"v", "vel", "velocity", "vnmo", "vrms", "vstack"})) return Column::velocity;
    return Column::other;
}

std::vector<std::string> wordsOf(const std::string& line) {
    const auto separates = [](unsigned char c) { return c == ',' || c == ';' || std::isspace(c); };
    std::vector<std::string> words(1);
    for (char c : line)
        if (!separates(static_cast<unsigned char>(c))) words.back() += c;
        else if (!words.back().empty()) words.emplace_back();
    if (words.back().empty()) words.pop_back();
    return words;
}

/* Which columns of a table hold what. */
class Heading {
  public:
    explicit Heading(const std::vector<std::string>& names) : _count(names.size()) {
        for (const std::string& name : names) _columns.push_back(columnOf(name));
        if (has(Column::time) && names[at(Column::time)].ends_with("_s")) _msPerTime = msPerSecond;
    }

    bool has(Column column) const { return std::find(_columns.begin(), _columns.end(), column) != _columns.end(); }
    std::size_t at(Column column) const {
        return static_cast<std::size_t>(std::find(_columns.begin(), _columns.end(), column) - _columns.begin());
    }
    std::size_t count() const { return _count; }
    double msPerTime() const { return _msPerTime; }

    bool hasPairs() const { return has(Column::time) && has(Column::velocity); }
    bool hasPlaces() const { return has(Column::cdp) || (has(Column::x) && has(Column::y)); }
    /* More pairs may follow the one that the columns name. */
    bool endsInPair() const { return at(Column::time) == _count - 2 && at(Column::velocity) == _count - 1; }

  private:
    std::vector<Column> _columns;
    std::size_t _count;
    double _msPerTime = 1.0;
};

/* A line of numbers and where it stands. */
struct Row {
    const std::string& fileName;
    int line;
    std::string text;
    std::vector<double> numbers;
};

std::int64_t cdpOf(const Row& row, double number) {
    constexpr double highestCdp = 2147483647.0;
    if (number != std::trunc(number) || std::abs(number) > highestCdp)
        failUsage("{}:{}: a CDP of {:g}, expected a whole number", row.fileName, row.line, number);
    return static_cast<std::int64_t>(number);
}

/* What a row says of where its function stands, without pairs. */
GivenFunction functionAt(const Row& row, const Heading& heading) {
    GivenFunction function;
    function.line = row.line;
    if (heading.has(Column::cdp)) function.cdp = cdpOf(row, row.numbers[heading.at(Column::cdp)]);
    if (heading.has(Column::x) && heading.has(Column::y))
        function.place = Place{row.numbers[heading.at(Column::x)], row.numbers[heading.at(Column::y)]};
    if (function.place && !isCovered(*function.place))
        failUsage("{}:{}: x {:.10g}, y {:.10g} lies outside the square of {:.0f} to {:.0f} that velocities are interpolated in",
                  row.fileName, row.line, function.place->x, function.place->y, -farthest, farthest);
    return function;
}

void checkCount(const Row& row, const Heading& heading) {
    const std::size_t count = row.numbers.size(), placed = heading.count() - 2;
    if (count == heading.count()) return;
    if (!heading.endsInPair() || count <= placed)
        failUsage("{}:{}: expected {} numbers, found '{}'", row.fileName, row.line, heading.count(), row.text);
    const std::size_t times = (count - placed + 1) / 2, velocities = (count - placed) / 2;
    if (times != velocities)
        failUsage("{}:{}: {} {} and {} {}; every time needs a velocity", row.fileName, row.line, times,
                  times == 1 ? "time" : "times", velocities, velocities == 1 ? "velocity" : "velocities");
}

void addPair(GivenFunction& function, const Row& row, double timeMs, double velocity) {
    constexpr double latestMs = 1e8, highestVelocity = 1e6;
    if (!(std::abs(timeMs) <= latestMs))
        failUsage("{}:{}: a time of {:g} ms, expected at most {:g}", row.fileName, row.line, timeMs, latestMs);
    if (!(velocity > 0.0 && velocity <= highestVelocity))
        failUsage("{}:{}: a velocity of {:g} m/s at {:g} ms, expected more than 0 and at most {:g}", row.fileName, row.line,
                  velocity, timeMs, highestVelocity);
    /* In single precision, in which functions are interpolated. */
    if (!function.pairs.empty() && !(static_cast<float>(function.pairs.back().first) < static_cast<float>(timeMs)))
        failUsage("{}:{}: times must ascend, but {:g} ms follows {:g} ms at {}", row.fileName, row.line, timeMs,
                  function.pairs.back().first, function.where());
    function.pairs.emplace_back(timeMs, velocity);
}

void checkWhole(const FunctionTable& table) {
    if (table.functions.empty()) failUsage("{}: no velocity functions", table.fileName);
    for (const GivenFunction& function : table.functions)
        if (function.pairs.size() < 2)
            failUsage("{}:{}: the function at {} has one pair of time and velocity; it needs two at least", table.fileName,
                      function.line, function.where());
}

/* Takes the rows of a table of functions one after the other. */
class TableBuilder {
  public:
    TableBuilder(FunctionTable& table, Heading heading) : _table(table), _heading(std::move(heading)) {}

    void take(const Row& row) {
        checkCount(row, _heading);
        GivenFunction found = functionAt(row, _heading);
        auto& functions = _table.functions;
        if (functions.empty() || functions.back().cdp != found.cdp || functions.back().place != found.place)
            functions.push_back(std::move(found));
        const std::size_t time = _heading.at(Column::time), velocity = _heading.at(Column::velocity);
        const std::size_t pairs = 1 + (row.numbers.size() - _heading.count()) / 2;
        for (std::size_t k = 0; k < pairs; ++k)
            addPair(functions.back(), row, _heading.msPerTime() * row.numbers[time + 2 * k], row.numbers[velocity + 2 * k]);
    }

  private:
    FunctionTable& _table;
    Heading _heading;
};

bool isPassedOver(const std::string& line) { return line.starts_with('#') || wordsOf(line).empty(); }

/* The heading and the first row of a file tell what kind of table it is. */
struct Beginning {
    std::vector<std::string> heading; /* empty without one */
    std::size_t numbers = 0;          /* of the first row; 0 without one */
};

Beginning beginningOf(const std::string& fileName) {
    std::ifstream file(fileName);
    Beginning beginning;
    for (std::string line; std::getline(file, line);) {
        if (isPassedOver(line)) continue;
        if (const auto numbers = realNumbersIn(line)) {
            beginning.numbers = numbers->size();
            break;
        }
        if (!beginning.heading.empty()) break;
        beginning.heading = wordsOf(line);
    }
    return beginning;
}

/* The columns, or nothing where a time and a velocity are all that there is. */
std::optional<Heading> columnsOf(const std::string& fileName, const Beginning& beginning) {
    const Heading heading(beginning.heading);
    if (heading.hasPairs() && heading.hasPlaces()) return heading;
    if (beginning.numbers == 0 || beginning.numbers == 2) return std::nullopt;
    if (beginning.heading.empty() && beginning.numbers == 3) return Heading({"cdp", "time_ms", "velocity_m_per_s"});
    if (beginning.heading.empty() && beginning.numbers < 3) return std::nullopt;
    failUsage(
        "{}: expected two columns, time and velocity, or a heading that names the columns cdp (or x and y), time_ms and "
        "velocity_m_per_s{}",
        fileName, beginning.heading.empty() ? "" : fmt::format(", found '{}'", fmt::join(beginning.heading, ",")));
}

}

std::string GivenFunction::where() const {
    return cdp ? fmt::format("CDP {}", *cdp) : fmt::format("x {:.10g}, y {:.10g}", place->x, place->y);
}

FunctionTable readFunctions(const std::string& fileName) {
    FunctionTable table = {fileName, {}};
    const Beginning beginning = beginningOf(fileName);
    const std::optional<Heading> columns = columnsOf(fileName, beginning);
    if (!columns) {
        table.functions.push_back({{}, {}, readTimeFunction(fileName).pairs(), 1});
        return table;
    }
    TableBuilder builder(table, *columns);
    std::ifstream file(fileName);
    std::string line;
    for (int number = 1; std::getline(file, line); ++number) {
        if (isPassedOver(line) || wordsOf(line) == beginning.heading) continue;
        const auto numbers = realNumbersIn(line);
        if (!numbers) failUsage("{}:{}: expected {} numbers, found '{}'", fileName, number, columns->count(), line);
        builder.take({fileName, number, line, *numbers});
    }
    checkWhole(table);
    return table;
}

}
