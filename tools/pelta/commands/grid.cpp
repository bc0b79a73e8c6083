#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "commands/command.h"
#include "commands/options.h"
#include "gridding/fit.h"
#include "gridding/frame.h"
#include "gridding/headerpoints.h"
#include "gridding/picture.h"
#include "gridding/pointtable.h"
#include "gridding/surface.h"
#include "support/failure.h"
#include "support/statusline.h"

namespace pelta {
namespace {

using namespace gridding;

struct Request {
    std::string input, output, x, y, z, picksName, wordUnit = "ms", variant = "gmtsurface", block = "none";
    PictureOptions picture{1000, 800};
    InputOptions inputOptions;
    bool isSegy = false;
    std::vector<double> region, spacing;
    std::vector<std::int64_t> nodes;
    std::vector<std::string> bounds;
    Settings settings;
    std::optional<double> boundaryTension, converge;
    bool check = false;
    double heldOutPercent = 10.0;
    Map map;
    bool hidesPoints = false, quiet = false, overwrite = false;
};

bool isSegyName(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
    return name.ends_with(".sgy") || name.ends_with(".segy");
}

/* Where the points come from: a table, or the trace headers of a line and its picks. Its files are open from the beginning:
 * no output can take their place. */
class Source {
  public:
    explicit Source(const Request& request) : _request(request) {
        if (request.isSegy || isSegyName(request.input)) {
            if (request.z.empty()) failUsage("--z: which header word is to be gridded? (--z receiver_elevation, --z pick ...)");
            _reader.emplace(request.input, request.inputOptions.read());
            if (!request.picksName.empty()) _picks.emplace(request.picksName);
        } else {
            if (!request.picksName.empty()) failUsage("--picks: picks belong to traces; {} is no SEG-Y file", request.input);
            _table.emplace(request.input);
        }
    }
    PointSet read() {
        if (_reader) return readHeaders();
        const auto usual = [](const std::string& text, const char* column) { return text.empty() ? column : text; };
        return _table->read({usual(_request.x, "1"), usual(_request.y, "2"), usual(_request.z, "3")});
    }

  private:
    PointSet readHeaders() {
        for (const std::string& warning : _reader->warnings()) warn(warning);
        return readHeaderPoints(*_reader, withUsualPlaces({_request.x, _request.y, _request.z}), pickOf());
    }
    PickOf pickOf() const {
        if (_picks) return picksOf(*_picks);
        if (_request.z != "pick") return {};
        const auto word = _reader->layout().words.find("pick");
        if (!word) failUsage("--z pick: give the first breaks by --picks FILE or by --map pick=BYTE:SIZE");
        return picksOf(*word, _request.wordUnit, _reader->layout());
    }

    const Request& _request;
    std::optional<segy::Reader> _reader;
    std::optional<PickTable> _picks;
    std::optional<PointTable> _table;
};

/* Everything that the command writes, opened before the work. */
struct Outputs {
    explicit Outputs(const Request& request) {
        if (!request.output.empty()) grid.emplace(request.output, request.overwrite);
        picture = request.picture.open(request.overwrite);
    }
    void commit() {
        if (picture) picture->commit();
        if (grid) grid->commit();
    }
    std::optional<GridFile> grid;
    std::unique_ptr<pictures::PictureFile> picture;
};

void requireShare(const char* option, double value, double most, const char* range) {
    if (!(value >= 0.0 && value <= most)) failUsage("{}: {} lies outside {}", option, value, range);
}

void checkOptions(const Request& request) {
    constexpr double belowOne = 0.999999;
    requireShare("--tension", request.settings.tension, belowOne, "0 .. 0.999999 (1 divides by zero)");
    if (request.boundaryTension) requireShare("--boundary-tension", *request.boundaryTension, 1.0, "0 .. 1");
    if (request.converge && !(*request.converge > 0.0)) failUsage("--converge: {:g} is not above 0", *request.converge);
    if (request.map.contourStep && !(*request.map.contourStep >= 0.0))
        failUsage("--contours: {:g} is no distance of values", *request.map.contourStep);
    for (std::int64_t count : request.nodes)
        if (count < 4 || count > 1000000000) failUsage("--nodes: {} lies outside 4 .. 1000000000", count);
}

FrameRequest frameRequest(const Request& request) {
    FrameRequest wanted;
    const std::vector<double>& region = request.region;
    if (!region.empty()) wanted.region = {{region[0], region[1]}, {region[2], region[3]}};
    if (!request.spacing.empty()) wanted.spacing = {request.spacing.front(), request.spacing.back()};
    if (!request.nodes.empty()) wanted.nodes = {static_cast<int>(request.nodes[0]), static_cast<int>(request.nodes[1])};
    return wanted;
}

/* A surface needs three points that are not on one line. */
Trend requireSurface(const Request& request, const Points& points, const char* where) {
    const Trend trend = trendOf(points);
    if (points.size() < 3)
        fail("{}: {} point{}{}; a surface needs three that are not on one line", request.input, points.size(),
             points.size() == 1 ? "" : "s", where);
    if (!trend.isDefined)
        fail("{}: its {} points{} lie on one line; a surface needs others beside it (--x and --y choose what places them)",
             request.input, points.size(), where);
    return trend;
}

Points blocked(const Request& request, const Frame& frame, const Points& points) {
    if (request.block == "none") return points;
    std::vector<std::int64_t> nodes;
    for (std::size_t k = 0; k < points.size(); ++k) nodes.push_back(frame.nodeOf(points.x[k], points.y[k]));
    return mergedByKey(points, nodes, request.block == "mean" ? Merge::mean : Merge::median);
}

/* Nodes too far apart leave no three points. Returns how many they leave. */
std::size_t requireSurfaceOfNodes(const Request& request, const Frame& frame, const Points& points) {
    const Points nearest = nearestToNodes(frame, points);
    requireSurface(request, nearest, " left with one a node (a smaller --spacing keeps more)");
    return nearest.size();
}

/* One end of --bounds. */
double boundOf(const std::string& text, double ofData, double none) {
    if (text == "data") return ofData;
    if (text == "none") return none;
    std::size_t used = 0;
    double value = 0.0;
    try {
        value = std::stod(text, &used);
    } catch (const std::logic_error&) { used = 0; }
    if (used == 0 || used < text.size() || !std::isfinite(value))
        failUsage("--bounds: '{}' is neither a number nor data nor none", text);
    return value;
}

Settings settingsFor(const Request& request, const Points& points) {
    constexpr double usualConverge = 1e-3; /* of the RMS about the plane */
    Settings settings = request.settings;
    settings.variant = request.variant == "gmtgrid" ? Variant::gmtgrid : Variant::gmtsurface;
    settings.boundaryTension = request.boundaryTension.value_or(settings.tension);
    settings.converge = request.converge.value_or(usualConverge * trendOf(points).rms);
    if (request.bounds.empty()) return settings;
    const Extent data = extentOf(points.z);
    settings.lowest = boundOf(request.bounds.front(), data.first, settings.lowest);
    settings.highest = boundOf(request.bounds.back(), data.second, settings.highest);
    if (!(settings.lowest <= settings.highest)) failUsage("--bounds: {:g} lies above {:g}", settings.lowest, settings.highest);
    return settings;
}

Surface surfaceThrough(const Request& request, const Frame& frame, const Points& points, const char* stage, StatusLine& line) {
    const auto report = [&](const std::string& level) { line.show(stage + level); };
    Surface surface = computeSurface(points, frame, settingsFor(request, points), report);
    if (!std::all_of(surface.grid.values.begin(), surface.grid.values.end(), [](float value) { return std::isfinite(value); }))
        fail("{}: the surface runs off to infinity; an --aspect nearer to 1 or another --spacing helps", request.input);
    return surface;
}

/* What is to be gridded. */
struct Task {
    PointSet set;
    std::size_t places; /* with points */
    Frame frame;
    Points inside;  /* the frame */
    Points gridded; /* those, or one for each node */
    Trend trend;
    std::size_t used; /* of them: no node has room for more than one */
};

std::string rangeText(double from, double to) { return fmt::format("{:.10g} .. {:.10g}", from, to); }
std::string rangeText(const Extent& extent) { return rangeText(extent.first, extent.second); }

Task prepare(const Request& request, PointSet set) {
    if (set.points.size() == 0) fail("{}: holds no points", request.input);
    const Points places = mergedPlaces(set.points);
    if (places.size() == 1 && set.points.size() > 1)
        fail("{}: its {} points all lie at {} {:.10g}, {} {:.10g} (--x and --y choose what places them)", request.input,
             set.points.size(), set.xName, places.x[0], set.yName, places.y[0]);
    if (request.region.empty()) requireSurface(request, places, "");
    const Frame frame = frameFor(frameRequest(request), places);
    Points inside = pointsInside(frame, places);
    if (inside.size() == 0)
        fail("{}: none of its {} points lies in the region {} x {}", request.input, places.size(),
             rangeText(frame.left, frame.right()), rangeText(frame.bottom, frame.top()));
    const Trend trend = requireSurface(request, inside, " in the region");
    Points gridded = blocked(request, frame, inside);
    const std::size_t used = requireSurfaceOfNodes(request, frame, gridded);
    return {std::move(set), places.size(), frame, std::move(inside), std::move(gridded), trend, used};
}

/* A cell that is no square is said before the work too. */
void warnOfCells(const Request& request, const Frame& frame) {
    constexpr double mostUneven = 2.0;
    const double aspect = cellAspect(frame, request.settings);
    if (aspect > mostUneven || aspect < 1.0 / mostUneven)
        warn(
            fmt::format("{}: a cell of the grid is {:.3g} times as wide as high, and the surface passes points by that lie "
                        "between its nodes; --spacing {:.3g},{:.3g} makes cells square",
                        request.input, aspect, frame.columnSpacing, request.settings.aspect * frame.columnSpacing));
}

/* Before a long run: other node counts may be much quicker. */
void hint(const Frame& frame) {
    constexpr double longRun = 1e7; /* visits */
    constexpr double worthIt = 1.5;
    if (estimatedVisits(frame.columns, frame.rows) < longRun) return;
    const BetterSize better = betterSize(frame.columns, frame.rows);
    if (better.factor < worthIt) return;
    tell(fmt::format("pelta: hint: {} x {} nodes over the same region (--nodes {},{}) may be {:.3g} times as quick to grid\n",
                     better.columns, better.rows, better.columns, better.rows, better.factor));
}

/* What a surface through the other points makes of those that are held out. */
Errors heldOutErrors(const Request& request, const Task& task, StatusLine& line) {
    const auto [rest, held] = holdOut(task.inside, request.heldOutPercent);
    requireSurface(request, rest, " that are not held out");
    const Points gridded = blocked(request, task.frame, rest);
    requireSurfaceOfNodes(request, task.frame, gridded);
    return errorsOf(surfaceThrough(request, task.frame, gridded, "check: ", line).grid, held);
}

void write(const Request& request, Outputs& outputs, const Task& task, const Surface& surface) {
    if (outputs.grid) outputs.grid->write(surface.grid, "surface through points");
    if (outputs.picture) {
        Map map = request.map;
        map.title = bareName(request.input);
        map.xTitle = task.set.xName;
        map.yTitle = task.set.yName;
        map.zTitle = task.set.zName;
        map.aspect = request.settings.aspect;
        map.hasPoints = !request.hidesPoints;
        drawMap(outputs.picture->canvas(), map, surface.grid, task.inside);
    }
    outputs.commit();
}

void sayPoints(const Request& request, const Task& task) {
    const std::size_t read = task.set.points.size();
    printTo(stdout, "points        {}: {} read", bareName(request.input), read);
    if (task.places < read) printTo(stdout, ", at {} places", task.places);
    if (task.inside.size() < task.places) printTo(stdout, ", {} of them in the region", task.inside.size());
    if (task.set.withoutValue > 0) printTo(stdout, "; {} without a value", task.set.withoutValue);
    printTo(stdout, "\n{:13} {}\n", task.set.zName, rangeText(extentOf(task.inside.z)));
}

void sayGrid(const Task& task) {
    const Frame& frame = task.frame;
    printTo(stdout, "grid          {} x {} nodes, spacing {:g} x {:g}\n", frame.columns, frame.rows, frame.columnSpacing,
            frame.rowSpacing);
    printTo(stdout, "{:13} {}\n", task.set.xName, rangeText(frame.left, frame.right()));
    printTo(stdout, "{:13} {}\n", task.set.yName, rangeText(frame.bottom, frame.top()));
}

void saySurface(const Request& request, const Task& task, const Surface& surface) {
    const Settings settings = settingsFor(request, task.gridded);
    printTo(stdout, "surface       {}, tension {:g} inside and {:g} at the edge, aspect {:g}\n", request.variant,
            settings.tension, settings.boundaryTension, settings.aspect);
    const auto [lowest, highest] = std::minmax_element(surface.grid.values.begin(), surface.grid.values.end());
    printTo(stdout, "values        {:.7g} .. {:.7g}\n", *lowest, *highest);
    printTo(stdout, "used          {} points, one a node\n", task.used);
}

std::string errorText(const Errors& errors) {
    return fmt::format("{} points: mean error {:.4g}, RMS error {:.4g}, half of them within {:.4g}", errors.points, errors.mean,
                       errors.rms, errors.median);
}

/* The fit of the grid as others will read it, to all points of the region: to those, too, that no node had room for. */
void sayFit(const Request& request, const Task& task, const Surface& surface) {
    printTo(stdout, "fit           {}\n", errorText(errorsOf(surface.grid, task.inside)));
    printTo(stdout, "plane         RMS error {:.4g}\n", task.trend.rms);
    printTo(stdout, "curvature     RMS {:.4g}\n", curvatureOf(surface.grid, request.settings.aspect));
}

int grid(const Request& request) {
    checkOptions(request);
    Source source(request);
    Outputs outputs(request);
    const Task task = prepare(request, source.read());
    settingsFor(request, task.gridded); /* fails on bounds that are none */
    requireMemory(task.frame, task.set.points.size());
    warnOfCells(request, task.frame);
    if (!request.quiet) hint(task.frame);
    std::optional<Errors> heldOut;
    std::optional<Surface> surface;
    {
        StatusLine line(request.quiet);
        if (request.check) heldOut = heldOutErrors(request, task, line);
        surface = surfaceThrough(request, task.frame, task.gridded, "", line);
    }
    if (surface->unsettledStride > 0)
        warn(fmt::format("{}: the level of stride {} had not settled after {} sweeps; --sweeps allows more", request.input,
                         surface->unsettledStride, request.settings.sweeps));
    write(request, outputs, task, *surface);
    if (!request.quiet) {
        sayPoints(request, task);
        sayGrid(task);
        saySurface(request, task, *surface);
        sayFit(request, task, *surface);
    }
    if (heldOut) printTo(stdout, "held out      {}\n", errorText(*heldOut));
    return 0;
}

std::function<int()> define(CLI::App& app) {
    auto request = std::make_shared<Request>();
    Settings& settings = request->settings;
    app.add_option("IN", request->input, "file of points: text, one point a line, or SEG-Y (.sgy, .segy); - is standard input")
        ->required()
        ->type_name("FILE");
    app.add_option("OUT", request->output,
                   "grid file to write: .asc (ESRI text), or .bin or .img (floats) with a header .hdr beside it")
        ->type_name("FILE");
    app.add_option("--x", request->x, "column of x, heading or number; in SEG-Y a header word (1; cdp_x, or as z asks)")
        ->type_name("WORD");
    app.add_option("--y", request->y, "column of y, heading or number; in SEG-Y a header word (2; cdp_y, or as z asks)")
        ->type_name("WORD");
    app.add_option(
           "--z", request->z,
           "column of the values, heading or number; in SEG-Y a header word, pick (first breaks, ms) or traces (how many "
           "there are at a place) (3; in SEG-Y none)")
        ->type_name("WORD");
    app.add_flag("--segy", request->isSegy, "IN is SEG-Y whatever its name");
    request->inputOptions.add(app);
    app.add_option("--picks", request->picksName, "CSV file of first breaks for --z pick (the word of --map pick=)")
        ->type_name("FILE");
    addWordUnit(app, request->wordUnit);
    app.add_option("--region", request->region, "edges of the grid (round the points)")
        ->delimiter(',')
        ->expected(4)
        ->type_name("LEFT,RIGHT,BOTTOM,TOP");
    app.add_option("--spacing", request->spacing,
                   "distance of nodes along x and y: 25 or 25,50 (about half that of the points)")
        ->delimiter(',')
        ->expected(1, 2)
        ->type_name("X[,Y]");
    app.add_option("--nodes", request->nodes, "number of nodes along x and y instead of a spacing: 201,101")
        ->delimiter(',')
        ->expected(2)
        ->type_name("X,Y");
    app.add_option("--block", request->block,
                   "what stands for all points that are nearest to one node; none takes the nearest of them")
        ->check(oneOf({"none", "mean", "median"}))
        ->capture_default_str();
    app.add_option("--tension", settings.tension,
                   "0 for the least curvature, towards 1 for a surface that swings less between the points")
        ->capture_default_str();
    app.add_option("--boundary-tension", request->boundaryTension, "the same at the edge of the grid (as --tension)");
    app.add_option("--aspect", settings.aspect, "length of a unit of x in units of y: 0.87 for degrees at 30 N")
        ->check(inRange(1e-6, 1e6))
        ->capture_default_str();
    app.add_option("--bounds", request->bounds,
                   "keeps the surface within data (that of the points) or values: 0,40 or 0,none (none)")
        ->delimiter(',')
        ->expected(1, 2)
        ->type_name("LEAST[,MOST]");
    app.add_option("--variant", request->variant,
                   "routine; gmtsurface works in double precision, gmtgrid in single and shows no progress")
        ->check(oneOf({"gmtsurface", "gmtgrid"}))
        ->capture_default_str();
    app.add_option("--sweeps", settings.sweeps, "most sweeps at a level")->check(inRange(1, 1000000))->capture_default_str();
    app.add_option("--converge", request->converge,
                   "a level is done when no node changes by more, over the level's stride (a thousandth of the points' RMS "
                   "about a plane)");
    app.add_flag("--check", request->check, "grid a second time without a share of the points and say how far off it is there");
    app.add_option("--held-out", request->heldOutPercent, "that share, percent")
        ->check(inRange(0.01, 90.0))
        ->capture_default_str();
    request->picture.add(app, "map of the surface", {300, 200});
    app.add_flag("--shaded", request->map.isShaded, "draw the surface as a relief");
    app.add_option("--contours", request->map.contourStep, "distance of contour lines; 0 draws none (about a dozen lines)");
    app.add_flag("--no-points", request->hidesPoints, "do not draw the points");
    app.add_flag("--quiet", request->quiet, "no progress, no hint and no report but that of --check");
    addOverwrite(app, request->overwrite);
    return [request] { return grid(*request); };
}

const CommandRegistration registration(
    {"grid", "puts a surface through scattered points, on a regular grid",
     "pelta grid points.csv surface.asc --x easting --y northing --z depth --picture map.png\n"
     "pelta grid line.sgy times.asc --x channel --y record --z pick --picks picks.csv",
     define,
     "A continuous-curvature spline in tension through the points, on a regular grid. Numbers stand between "
     "commas, semicolons, tabs or blanks; the first line may hold headings. Errors are those of the grid, linear "
     "between its nodes, less the points; the curvature is the RMS of the sum of both second derivatives."});

}
}
