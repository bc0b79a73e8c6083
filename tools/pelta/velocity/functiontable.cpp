#include "velocity/functiontable.h"

#include <algorithm>
#include <cctype>
#include <cmath>

#include "support/failure.h"
#include "support/numberlist.h"
#include "support/textlines.h"

namespace pelta::velocity {
namespace {

enum class Column { cdp, x, y, time, velocity, other };

/* The small-letter words of a column's name: "Time (ms)" is of time and ms. */
std::vector<std::string> piecesOf(std::string_view name) {
    std::vector<std::string> pieces(1);
    for (const char c : name)
        if (std::isalnum(static_cast<unsigned char>(c)))
            pieces.back() += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        else if (!pieces.back().empty()) pieces.emplace_back();
    return pieces;
}

bool isOneOf(const std::string& word, std::initializer_list<const char*> words) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

/* The first word of "CDP_corr" or "time_ms" tells what a column holds; "cdp_x" is no CDP. */
Column columnOf(const std::vector<std::string>& pieces) {
    const std::string& word = pieces.front();
    if (isOneOf(word, {"cdp", "cmp"}) && pieces.size() > 1 && isOneOf(pieces[1], {"x", "y"}))
        return pieces[1] == "x" ? Column::x : Column::y;
    if (isOneOf(word, {"x", "easting"})) return Column::x;
    if (isOneOf(word, {"y", "northing"})) return Column::y;
    if (isOneOf(word, {"cdp", "cmp"})) return Column::cdp;
    if (isOneOf(word, {"t", "time", "twt", "tnmo"})) return Column::time;
    if (isOneOf(word, {"v", "vel", "velocity", "vnmo", "vrms", "vstack"})) return Column::velocity;
    return Column::other;
}

/* What a column's numbers are multiplied by to become ms and m/s. */
double factorOf(Column column, const std::vector<std::string>& pieces) {
    for (auto piece = pieces.begin() + 1; piece != pieces.end(); ++piece) {
        if (column == Column::time && isOneOf(*piece, {"s", "sec", "secs", "second", "seconds"})) return 1000.0;
        if (column == Column::time && isOneOf(*piece, {"us", "usec"})) return 0.001;
        if (column == Column::velocity && isOneOf(*piece, {"ft", "feet"})) return 0.3048;
        if (column == Column::velocity && *piece == "km") return 1000.0;
    }
    return 1.0;
}

/* Names may hold blanks where something else separates them. */
std::vector<std::string> namesOf(std::string_view heading) {
    constexpr std::string_view separators = ",;";
    std::vector<std::string_view> names;
    if (heading.find_first_of(separators) == std::string_view::npos) names = wordsOf(heading);
    else splitFields(heading, separators, names);
    while (!names.empty() && names.back().empty()) names.pop_back();
    return {names.begin(), names.end()};
}

/* Which columns of a table hold what. Behind the last one of a time and a velocity more such pairs may follow in a row. */
class Heading {
  public:
    explicit Heading(const std::vector<std::string>& names) {
        for (const std::string& name : names) {
            const std::vector<std::string> pieces = piecesOf(name);
            _columns.push_back(columnOf(pieces));
            _factors.push_back(factorOf(_columns.back(), pieces));
        }
        dropRepeatedPairs();
    }

    bool has(Column column) const { return std::find(_columns.begin(), _columns.end(), column) != _columns.end(); }
    std::size_t at(Column column) const {
        return static_cast<std::size_t>(std::find(_columns.begin(), _columns.end(), column) - _columns.begin());
    }
    std::size_t count() const { return _columns.size(); }
    double factor(Column column) const { return _factors[at(column)]; }

    bool hasAny() const {
        return std::any_of(_columns.begin(), _columns.end(), [](Column column) { return column != Column::other; });
    }
    bool hasPairs() const { return has(Column::time) && has(Column::velocity); }
    bool hasPlaces() const { return has(Column::cdp) || (has(Column::x) && has(Column::y)); }
    /* A column that another one before it contradicts; the count without one. */
    std::size_t firstRepeated() const {
        std::size_t k = 0;
        while (k < count() && (_columns[k] == Column::other || at(_columns[k]) == k)) ++k;
        return k;
    }
    /* More pairs may follow the one that the columns name. */
    bool endsInPair() const { return hasPlaces() && at(Column::time) == count() - 2 && at(Column::velocity) == count() - 1; }

  private:
    /* "cdp,time,velocity,time,velocity" says no more than "cdp,time,velocity". */
    void dropRepeatedPairs() {
        const auto isPair = [&](std::size_t k) {
            return k >= 2 && _columns[k - 2] == Column::time && _columns[k - 1] == Column::velocity;
        };
        const auto isSame = [&](std::size_t k) {
            return _factors[k - 2] == _factors[k - 4] && _factors[k - 1] == _factors[k - 3];
        };
        while (isPair(count()) && isPair(count() - 2) && isSame(count())) {
            _columns.resize(count() - 2);
            _factors.resize(count());
        }
    }

    std::vector<Column> _columns;
    std::vector<double> _factors;
};

/* A line of numbers and where it stands. */
struct Row {
    const TextLines& lines;
    std::vector<double> numbers;

    std::string place() const { return lines.place(); }
};

std::int64_t cdpOf(const Row& row, double number) {
    constexpr double highestCdp = 2147483647.0;
    if (number != std::trunc(number) || std::abs(number) > highestCdp)
        failUsage("{}: a CDP of {:.12g}, expected a whole number up to {:.0f}", row.place(), number, highestCdp);
    return static_cast<std::int64_t>(number);
}

/* What a row says of where its function stands, without pairs. */
GivenFunction functionAt(const Row& row, const Heading& heading) {
    GivenFunction function;
    function.line = static_cast<int>(row.lines.number());
    if (heading.has(Column::cdp)) function.cdp = cdpOf(row, row.numbers[heading.at(Column::cdp)]);
    if (heading.has(Column::x) && heading.has(Column::y))
        function.place = Place{row.numbers[heading.at(Column::x)], row.numbers[heading.at(Column::y)]};
    if (function.place && !isCovered(*function.place))
        failUsage("{}: x {:.10g}, y {:.10g} lies outside the square of {:.0f} to {:.0f} that velocities are interpolated in",
                  row.place(), function.place->x, function.place->y, -farthest, farthest);
    return function;
}

[[noreturn]] void failForCount(const TextLines& lines, const Heading& heading) {
    failUsage("{}: expected {} numbers, found '{}'", lines.place(), heading.count(), lines.shown());
}

void checkCount(const Row& row, const Heading& heading) {
    const std::size_t count = row.numbers.size(), placed = heading.count() - 2;
    if (count == heading.count()) return;
    if (!heading.endsInPair() || count <= placed) failForCount(row.lines, heading);
    const std::size_t times = (count - placed + 1) / 2, velocities = (count - placed) / 2;
    if (times != velocities)
        failUsage("{}: {} {} and {} {}; every time needs a velocity", row.place(), times, times == 1 ? "time" : "times",
                  velocities, velocities == 1 ? "velocity" : "velocities");
}

void addPair(GivenFunction& function, const Row& row, double timeMs, double velocity) {
    constexpr double latestMs = 1e8, highestVelocity = 1e6;
    if (!(std::abs(timeMs) <= latestMs))
        failUsage("{}: a time of {:g} ms, expected at most {:g}", row.place(), timeMs, latestMs);
    if (!(velocity > 0.0 && velocity <= highestVelocity))
        failUsage("{}: a velocity of {:g} m/s at {:g} ms, expected more than 0 and at most {:g}", row.place(), velocity, timeMs,
                  highestVelocity);
    /* In single precision, in which functions are interpolated. */
    if (!function.pairs.empty() && !(static_cast<float>(function.pairs.back().first) < static_cast<float>(timeMs)))
        failUsage("{}: times must ascend, but {:.9g} ms follows {:.9g} ms{}{}", row.place(), timeMs,
                  function.pairs.back().first, function.holdsEverywhere() ? "" : " at ", function.where());
    function.pairs.emplace_back(timeMs, velocity);
}

void checkWhole(const FunctionTable& table) {
    for (const GivenFunction& function : table.functions)
        if (function.pairs.size() < 2 && !function.holdsEverywhere())
            failUsage("{}:{}: the function at {} has one pair of time and velocity; it needs two at least", table.fileName,
                      function.line, function.where());
}

/* Takes the rows of a table of functions one after the other. */
class TableBuilder {
  public:
    TableBuilder(FunctionTable& table, Heading heading) : _table(table), _heading(std::move(heading)) {}

    void take(const TextLines& lines) {
        const auto numbers = realNumbersIn(lines.line());
        if (!numbers) failForCount(lines, _heading);
        const Row row = {lines, *numbers};
        checkCount(row, _heading);
        GivenFunction found = functionAt(row, _heading);
        auto& functions = _table.functions;
        if (functions.empty() || functions.back().cdp != found.cdp || functions.back().place != found.place)
            functions.push_back(std::move(found));
        const std::size_t time = _heading.at(Column::time), velocity = _heading.at(Column::velocity);
        const std::size_t pairs = 1 + (row.numbers.size() - _heading.count()) / 2;
        for (std::size_t k = 0; k < pairs; ++k)
            addPair(functions.back(), row, _heading.factor(Column::time) * row.numbers[time + 2 * k],
                    _heading.factor(Column::velocity) * row.numbers[velocity + 2 * k]);
    }

  private:
    FunctionTable& _table;
    Heading _heading;
};

/* What a table begins with, which tells its kind. */
struct Beginning {
    std::string place;              /* "v.csv:1" */
    std::vector<std::string> names; /* of its columns; empty without a heading */
    std::size_t numbers = 0;        /* of the first row; 0 where that holds anything else */
};

Heading columnsOf(const Beginning& beginning) {
    const Heading everywhere({"time_ms", "velocity_m_per_s"});
    if (beginning.names.empty() && beginning.numbers == 2) return everywhere;
    if (beginning.names.empty() && beginning.numbers == 3) return Heading({"cdp", "time_ms", "velocity_m_per_s"});
    const Heading heading(beginning.names);
    if (const std::size_t repeated = heading.firstRepeated(); repeated < heading.count())
        failUsage("{}: '{}' repeats what a column before it holds", beginning.place, beginning.names[repeated]);
    if (heading.hasPairs() && (heading.hasPlaces() || heading.count() == 2)) return heading;
    if (!heading.hasAny() && beginning.numbers == 2) return everywhere;
    failUsage(
        "{}: expected two columns, time and velocity, or a heading that names the columns cdp (or x and y), time_ms and "
        "velocity_m_per_s{}",
        beginning.place, beginning.names.empty() ? "" : fmt::format(", found '{}'", fmt::join(beginning.names, ",")));
}

}

bool GivenFunction::holdsEverywhere() const { return !cdp && !place; }

std::string GivenFunction::where() const {
    if (holdsEverywhere()) return "";
    return cdp ? fmt::format("CDP {}", *cdp) : fmt::format("x {:.10g}, y {:.10g}", place->x, place->y);
}

FunctionTable readFunctions(const std::string& fileName) {
    const auto file = std::make_shared<TextLines>(fileName);
    TextLines& lines = *file;
    FunctionTable table = {fileName, {}, file};
    const auto fileEnds = [&] { failUsage("{}: no velocity functions", fileName); };
    if (!lines.next()) fileEnds();
    Beginning beginning = {lines.place(), {}, 0};
    std::string heading;
    if (!realNumbersIn(lines.line())) {
        heading = trimmed(lines.line());
        beginning.names = namesOf(heading);
        if (!lines.next()) fileEnds();
    }
    if (const auto numbers = realNumbersIn(lines.line())) beginning.numbers = numbers->size();
    TableBuilder builder(table, columnsOf(beginning));
    do
        if (heading.empty() || trimmed(lines.line()) != heading) builder.take(lines);
    while (lines.next());
    if (table.functions.empty()) fileEnds();
    checkWhole(table);
    return table;
}

}
