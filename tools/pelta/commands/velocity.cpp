#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "commands/command.h"
#include "commands/options.h"
#include "grids/roundeddown.h"
#include "support/failure.h"
#include "velocity/cutpicture.h"

namespace pelta {
namespace {

using velocity::Area;
using velocity::Field;
using velocity::Place;
using velocity::PlacedBy;
using velocity::Range;

struct Request {
    std::string input, output, lineName, by = "coordinates";
    PictureOptions picture{1000, 640};
    InputOptions inputOptions;
    std::optional<double> timeMs;
    std::vector<double> section, region, timesMs;
    std::vector<std::int64_t> cdps;
    double spacing = 0.0, timeSpacingMs = 0.0; /* 0: by the size */
    bool onlyInside = false, overwrite = false;

    PlacedBy placedBy() const { return by == "cdp" ? PlacedBy::cdp : PlacedBy::coordinates; }
};

Range rangeOf(const std::string& option, double from, double to) {
    if (!(from < to && std::isfinite(to - from))) failUsage("{}: {:g} to {:g} do not ascend", option, from, to);
    return {from, to};
}

void checkRequest(const Request& request) {
    if (request.timeMs.has_value() + !request.section.empty() + !request.cdps.empty() != 1)
        failUsage("velocity: give one of --time, --section and --cdps");
    constexpr double latestMs = 1e8;
    if (request.timeMs && !(std::abs(*request.timeMs) <= latestMs))
        failUsage("--time: {:g} ms, expected at most {:g}", *request.timeMs, latestMs);
    if (request.placedBy() == PlacedBy::cdp && request.cdps.empty())
        failUsage("--velocity-by cdp knows no map: --cdps FIRST,LAST makes a section");
    if (!request.timeMs && !request.region.empty()) failUsage("--region: is for a time slice, which --time makes");
    if (request.timeMs && !(request.timesMs.empty() && request.timeSpacingMs == 0.0))
        failUsage("--times and --time-spacing: are for a section, which --section or --cdps makes");
    if (!request.cdps.empty() && request.spacing != 0.0) failUsage("--spacing: --cdps makes a column for each CDP");
}

/* The functions that the mesh is made of; one that holds everywhere makes none. */
velocity::ControlPoints controlPoints(const Request& request, const velocity::FunctionTable& table, segy::Reader* line) {
    if (table.holdsEverywhere())
        failUsage("{}: one function that holds everywhere; a field has a column cdp, or columns x and y", request.input);
    velocity::ControlPoints placed = velocity::placeFunctions(table, request.placedBy(), line);
    for (const std::string& warning : placed.warnings) warn(warning);
    return placed;
}

void checkNodes(double columns, double rows) {
    if (!(columns >= 2.0 && rows >= 2.0))
        failUsage("velocity: a grid of {:.0f} by {:.0f} nodes, expected two each way", columns, rows);
    if (!(columns * rows <= velocity::mostNodes))
        failUsage("velocity: a grid of {:.0f} by {:.0f} nodes is too large; a larger spacing makes fewer", columns, rows);
}

Area areaOf(const Request& request, const Field& field) {
    if (request.region.empty()) {
        const Area area = velocity::areaAround(field.points());
        if (!(area.x.from < area.x.to))
            failUsage("{}: one place has no extent; --region LEFT,RIGHT,BOTTOM,TOP tells which", request.input);
        return area;
    }
    const std::vector<double>& edges = request.region;
    return {rangeOf("--region", edges[0], edges[1]), rangeOf("--region", edges[2], edges[3])};
}

Place placeFrom(const std::string& option, double x, double y) {
    const Place place = {x, y};
    if (!velocity::isCovered(place)) failUsage("{}: x {:g}, y {:g} lies too far out", option, x, y);
    return place;
}

velocity::TimeSlice timeSlice(const Request& request, Field& field) {
    const Area area = areaOf(request, field);
    placeFrom("--region", area.x.from, area.y.from);
    placeFrom("--region", area.x.to, area.y.to);
    const double spacing = request.spacing > 0.0 ? request.spacing : velocity::spacingFor(area);
    checkNodes((area.x.to - area.x.from) / spacing + 1.0, (area.y.to - area.y.from) / spacing + 1.0);
    return velocity::cutTimeSlice(field, *request.timeMs, area, spacing, request.onlyInside);
}

velocity::Path straightPath(const Request& request) {
    const Place from = placeFrom("--section", request.section[0], request.section[1]);
    const Place to = placeFrom("--section", request.section[2], request.section[3]);
    const double length = distance(from, to);
    if (!(length > 0.0)) failUsage("--section: both ends are x {:g}, y {:g}", from.x, from.y);
    constexpr double columns = 400.0;
    const double spacing = request.spacing > 0.0 ? request.spacing : roundedDown(length / columns);
    checkNodes(length / spacing + 1.0, 2.0);
    return velocity::straightPath(from, to, spacing);
}

velocity::Path cdpPath(const Request& request, segy::Reader* line) {
    const std::int64_t first = request.cdps[0], last = request.cdps[1];
    if (!(first < last)) failUsage("--cdps: {} to {} do not ascend", first, last);
    checkNodes(static_cast<double>(last - first) + 1.0, 2.0);
    velocity::Path path = {static_cast<double>(first), 1.0, {}, "CDP"};
    if (request.placedBy() == PlacedBy::cdp) {
        for (std::int64_t cdp = first; cdp <= last; ++cdp) path.places.push_back(Place{static_cast<double>(cdp), 0.0});
        return path;
    }
    if (!line) failUsage("--cdps: --line names the file whose trace headers tell where they lie");
    const auto places = velocity::cdpPlaces(*line, [&](std::int64_t cdp) { return cdp >= first && cdp <= last; });
    if (places.empty()) fail("{}: no trace has coordinates and one of the CDPs {} to {}", request.lineName, first, last);
    for (std::int64_t cdp = first; cdp <= last; ++cdp) {
        const auto found = places.find(cdp);
        path.places.push_back(found == places.end() ? std::nullopt : std::optional(found->second));
    }
    return path;
}

velocity::Section section(const Request& request, Field& field, segy::Reader* line) {
    const velocity::Path path = request.cdps.empty() ? straightPath(request) : cdpPath(request, line);
    double latest = 0.0;
    for (const velocity::ControlPoint& point : field.points()) latest = std::max(latest, point.pairs.back().first);
    const Range times =
        request.timesMs.empty() ? rangeOf("--times", 0.0, latest) : rangeOf("--times", request.timesMs[0], request.timesMs[1]);
    constexpr double rows = 400.0;
    const double interval = request.timeSpacingMs > 0.0 ? request.timeSpacingMs : roundedDown((times.to - times.from) / rows);
    checkNodes(static_cast<double>(path.places.size()), (times.to - times.from) / interval + 1.0);
    return velocity::cutSection(field, path, times, interval, request.onlyInside);
}

/* Everything that the command writes, opened before the work. */
struct Outputs {
    explicit Outputs(const Request& request)
        : grid(request.output, request.overwrite), picture(request.picture.open(request.overwrite)) {}
    void commit() {
        if (picture) picture->commit();
        grid.commit();
    }
    GridFile grid;
    std::unique_ptr<pictures::PictureFile> picture;
};

/* Before anything of it is written. */
void checkHeld(const Request& request, const Grid& grid) {
    const auto [lowest, highest] = extentOf(grid);
    if (lowest <= highest) return;
    fail("{}: the hull of its functions is missed by every node; without --only-inside they are continued beyond it",
         request.input);
}

void say(const std::string& title, const Field& field, const Grid& grid, double insideShare) {
    const auto [lowest, highest] = extentOf(grid);
    printTo(stdout, "{}\n{} functions {}\n", title, field.points().size(),
            field.points().size() == 1 ? "hold everywhere"
            : field.isLine()           ? "along a line"
                                       : fmt::format("over an area, with {} sides of triangles and {} corners of the hull",
                                                     field.sides().size(), field.hull().size()));
    printTo(stdout, "{} x {} nodes, {:.1f} to {:.1f} m/s, {:.0f} % of them inside the hull\n", grid.columns, grid.rows, lowest,
            highest, 100.0 * insideShare);
}

template <class Values, class IsInside>
double shareOf(const Values& values, const IsInside& isInside) {
    return static_cast<double>(std::count_if(values.begin(), values.end(), isInside)) / static_cast<double>(values.size());
}

int cut(const Request& request) {
    checkRequest(request);
    std::optional<segy::Reader> line;
    if (!request.lineName.empty()) {
        line.emplace(request.lineName, request.inputOptions.read());
        for (const std::string& warning : line->warnings()) warn(warning);
    }
    segy::Reader* const headers = line ? &*line : nullptr;
    const velocity::FunctionTable table = velocity::readFunctions(request.input);
    Field field(controlPoints(request, table, headers).points);
    Outputs outputs(request);
    const std::string name = bareName(request.input);
    if (request.timeMs) {
        const velocity::TimeSlice slice = timeSlice(request, field);
        checkHeld(request, slice.grid);
        const std::string title = fmt::format("{} at {:g} ms", name, *request.timeMs);
        outputs.grid.write(slice.grid, fmt::format("velocity in m/s at {:g} ms", *request.timeMs));
        if (outputs.picture) drawCut(outputs.picture->canvas(), slice, field, title);
        outputs.commit();
        say(title, field, slice.grid, shareOf(slice.isInside, [](bool isInside) { return isInside; }));
        return 0;
    }
    const velocity::Section vertical = section(request, field, headers);
    checkHeld(request, vertical.grid);
    const std::string title = request.cdps.empty()
                                  ? fmt::format("{} from {:g},{:g} to {:g},{:g}", name, request.section[0], request.section[1],
                                                request.section[2], request.section[3])
                                  : fmt::format("{} along CDPs {} to {}", name, request.cdps[0], request.cdps[1]);
    outputs.grid.write(vertical.grid,
                       fmt::format("velocity in m/s; x is the {}; y is minus the time in ms", vertical.path.axisTitle));
    if (outputs.picture) drawCut(outputs.picture->canvas(), vertical, title);
    outputs.commit();
    say(title, field, vertical.grid, shareOf(vertical.regions, [](std::ptrdiff_t region) { return region != Field::outside; }));
    return 0;
}

std::function<int()> define(CLI::App& app) {
    auto request = std::make_shared<Request>();
    app.add_option("IN", request->input, "CSV file of velocity functions by cdp, or by x and y; - is standard input")
        ->required()
        ->type_name("FILE");
    app.add_option("OUT", request->output,
                   "grid file of the velocities: .asc, or .bin or .img with a header .hdr beside it; the rows of a section "
                   "stand at y = -time in ms")
        ->required()
        ->type_name("FILE");
    app.add_option("--time", request->timeMs, "slice at this time, ms");
    app.add_option("--section", request->section, "section from a place straight to another")
        ->delimiter(',')
        ->expected(4)
        ->type_name("X,Y,X,Y");
    addWholeNumbers(app, "--cdps", request->cdps, "section along these CDPs, first and last: 101,240", 2)
        ->type_name("FIRST,LAST");
    app.add_option("--line", request->lineName, "SEG-Y file whose trace headers tell where CDPs lie")->type_name("FILE");
    app.add_option("--velocity-by", request->by,
                   "how places are told: by the CDP's coordinates (where they are 0, the midpoint's), or by its number alone")
        ->check(oneOf({"coordinates", "cdp"}))
        ->capture_default_str();
    app.add_option("--region", request->region, "edges of a slice (all functions and a margin)")
        ->delimiter(',')
        ->expected(4)
        ->type_name("LEFT,RIGHT,BOTTOM,TOP");
    app.add_option("--spacing", request->spacing, "distance of nodes (by the size)")->check(inRange(1e-3, 1e8));
    app.add_option("--times", request->timesMs, "first and last time of a section, ms (0 to that of the last pair)")
        ->delimiter(',')
        ->expected(2)
        ->type_name("FROM,TO");
    app.add_option("--time-spacing", request->timeSpacingMs, "distance of nodes in time, ms (by the size)")
        ->check(inRange(1e-3, 1e6));
    app.add_flag("--only-inside", request->onlyInside, "no values outside the hull of the functions");
    request->picture.add(app, "picture of the velocities and the mesh", {400, 300});
    addOverwrite(app, request->overwrite);
    request->inputOptions.add(app);
    return [request] { return cut(*request); };
}

const CommandRegistration registration({"velocity",
                                        "interpolates velocity functions known at some places, as slices and sections",
                                        "pelta synth line.sgy --lateral 10\n"
                                        "pelta velocity line.sgy.velocities.csv slice.asc --time 1000 --picture slice.png",
                                        define, "One of --time, --section and --cdps chooses the cut."});

}
}
