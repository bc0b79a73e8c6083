#include "velocity/controlpoints.h"

#include <set>

#include "support/failure.h"

namespace pelta::velocity {
namespace {

/* Functions in their places as the table lists them, several at a place among them. */
struct Placed {
    std::vector<Place> places;
    std::vector<const GivenFunction*> functions;

    void add(const Place& place, const GivenFunction& function) {
        places.push_back(place);
        functions.push_back(&function);
    }
};

Placed placeByCdp(const FunctionTable& table) {
    Placed placed;
    for (const GivenFunction& function : table.functions) {
        if (!function.cdp) failUsage("{}: there is no column cdp, by which its functions are to be placed", table.fileName);
        const Place place = {static_cast<double>(*function.cdp), 0.0};
        if (!isCovered(place))
            failUsage("{}:{}: CDP {} lies beyond {:.0f}, the last one that velocities are interpolated at", table.fileName,
                      function.line, *function.cdp, farthest);
        placed.add(place, function);
    }
    return placed;
}

Placed placeByColumns(const FunctionTable& table) {
    Placed placed;
    for (const GivenFunction& function : table.functions) placed.add(*function.place, function);
    return placed;
}

/* One line on all functions whose CDP is on no trace. */
std::string leftOut(const FunctionTable& table, const std::vector<const GivenFunction*>& functions, const std::string& line) {
    const std::string others = functions.size() == 1 ? "" : fmt::format(" (and those of {} more)", functions.size() - 1);
    return fmt::format("{}:{}: no trace of {} has CDP {} and coordinates: its function is left out{}", table.fileName,
                       functions.front()->line, line, *functions.front()->cdp, others);
}

Placed placeByHeaders(const FunctionTable& table, segy::Reader& line, std::vector<std::string>& warnings) {
    std::set<std::int64_t> wanted;
    for (const GivenFunction& function : table.functions) wanted.insert(*function.cdp);
    const std::map<std::int64_t, Place> places = cdpPlaces(line, [&](std::int64_t cdp) { return wanted.contains(cdp); });
    Placed placed;
    std::vector<const GivenFunction*> missing;
    for (const GivenFunction& function : table.functions) {
        const auto found = places.find(*function.cdp);
        if (found == places.end()) {
            missing.push_back(&function);
            continue;
        }
        if (!isCovered(found->second))
            fail(
                "{}: CDP {}, of which {}:{} has a function, lies at x {:.10g}, y {:.10g}, beyond {:.0f}; "
                "--map coordinate_scalar=BYTE:SIZE names the word that scales coordinates",
                line.name(), *function.cdp, table.fileName, function.line, found->second.x, found->second.y, farthest);
        placed.add(found->second, function);
    }
    if (placed.functions.empty())
        fail(
            "{}: no trace has coordinates and one of the CDPs of {}; --map cdp=BYTE:SIZE,cdp_x=BYTE:SIZE,cdp_y=BYTE:SIZE names "
            "the right words, and --velocity-by cdp does without coordinates",
            line.name(), table.fileName);
    if (!missing.empty()) warnings.push_back(leftOut(table, missing, line.name()));
    return placed;
}

Placed place(const FunctionTable& table, PlacedBy by, segy::Reader* line, std::vector<std::string>& warnings) {
    if (by == PlacedBy::cdp) return placeByCdp(table);
    if (table.functions.front().place) return placeByColumns(table);
    if (line && line->traceCount()) return placeByHeaders(table, *line, warnings);
    failUsage(
        "{}: its CDPs have no coordinates: there are no columns x and y, and no file whose headers could be looked through "
        "ahead; --velocity-by cdp does without",
        table.fileName);
}

/* Leaves the last function of each place. */
std::vector<ControlPoint> oneAPlace(const FunctionTable& table, const Placed& placed, std::vector<std::string>& warnings) {
    std::vector<ControlPoint> points;
    std::map<std::pair<double, double>, std::size_t> standing;
    std::vector<const GivenFunction*> replaced;
    const GivenFunction* replacing = nullptr;
    std::vector<const GivenFunction*> functions;
    for (std::size_t k = 0; k < placed.places.size(); ++k) {
        const Place& place = placed.places[k];
        const GivenFunction& function = *placed.functions[k];
        const auto [found, isNew] = standing.try_emplace({place.x, place.y}, points.size());
        if (isNew) {
            points.push_back({place, function.pairs, function.cdp});
            functions.push_back(&function);
            continue;
        }
        if (replaced.empty()) replacing = &function;
        replaced.push_back(functions[found->second]);
        points[found->second] = {place, function.pairs, function.cdp};
        functions[found->second] = &function;
    }
    if (!replaced.empty())
        warnings.push_back(fmt::format("{}:{}: another function of the place of {} in line {}; the last one counts{}",
                                       table.fileName, replacing->line, replaced[0]->where(), replaced[0]->line,
                                       replaced.size() == 1 ? "" : fmt::format(" (so do {} more)", replaced.size() - 1)));
    return points;
}

}

ControlPoints placeFunctions(const FunctionTable& table, PlacedBy by, segy::Reader* line) {
    ControlPoints result;
    const Placed placed = place(table, by, line, result.warnings);
    result.points = oneAPlace(table, placed, result.warnings);
    return result;
}

std::map<std::int64_t, Place> cdpPlaces(segy::Reader& line, const std::function<bool(std::int64_t)>& isWanted) {
    struct Sum {
        double x = 0.0, y = 0.0, count = 0.0;
    };
    std::map<std::int64_t, Sum> sums;
    segy::Trace trace;
    while (line.nextHeader(trace)) {
        const segy::TraceFacts facts = segy::readFacts(trace, line.layout());
        if (!hasPlace(facts) || !isWanted(facts.cdp)) continue;
        const Place place = placeOf(facts);
        Sum& sum = sums[facts.cdp];
        sum = {sum.x + place.x, sum.y + place.y, sum.count + 1.0};
    }
    line.seek(0);
    std::map<std::int64_t, Place> places;
    for (const auto& [cdp, sum] : sums) places[cdp] = {sum.x / sum.count, sum.y / sum.count};
    return places;
}

}
