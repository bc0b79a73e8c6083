#include <fmt/format.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <filesystem>
#include <optional>
#include <thread>

#include "commands/command.h"
#include "commands/options.h"
#include "grids/gridfile.h"
#include "support/failure.h"
#include "support/textoutput.h"
#include "velocity/analysispicture.h"
#include "velocity/field.h"
#include "velocity/picking.h"

namespace pelta {
namespace {

struct Request {
    std::string input, output, panelName, truthName;
    PictureOptions picture{1400, 800};
    InputOptions inputOptions;
    std::optional<std::int64_t> cdp, record;
    std::vector<std::int64_t> cdps;
    std::vector<double> velocities = {1500, 4500, 101}, intervalVelocities;
    double stretchPercent = 30.0, windowMs = 40.0;
    velocity::PickSettings picking;
    int threads = 1;
    bool hasCdpColumn = false, overwrite = false;
};

velocity::GatherChoice choiceOf(const Request& request) {
    using Kind = velocity::GatherChoice::Kind;
    if (request.cdp.has_value() + request.record.has_value() + !request.cdps.empty() != 1)
        failUsage("velan: give one of --cdp, --cdps and --record");
    if (request.record && request.hasCdpColumn) failUsage("--cdp-column: a record has no CDP; give --cdp or --cdps");
    if (request.record) return {Kind::record, *request.record, *request.record};
    if (request.cdp) return {Kind::cdp, *request.cdp, *request.cdp};
    if (request.cdps[0] > request.cdps[1]) failUsage("--cdps: {} to {} is no range", request.cdps[0], request.cdps[1]);
    return {Kind::cdp, request.cdps[0], request.cdps[1]};
}

velocity::Fan fanOf(const Request& request) {
    constexpr double fewest = 3, most = 10000;
    const double from = request.velocities[0], to = request.velocities[1], count = request.velocities[2];
    if (!(from > 0.0 && std::isfinite(from) && std::isfinite(to)))
        failUsage("--velocities: {:g} to {:g} m/s: velocities must be above 0", from, to);
    if (!(from < to)) failUsage("--velocities: {:g} to {:g} m/s do not ascend", from, to);
    if (!(count >= fewest && count <= most && count == std::floor(count)))
        failUsage("--velocities: a count of {:g}, expected a whole number of {:g} to {:g}", count, fewest, most);
    return {from, to, static_cast<int>(count)};
}

velocity::PickSettings pickSettings(const Request& request) {
    velocity::PickSettings settings = request.picking;
    if (request.intervalVelocities.empty()) return settings;
    settings.lowestIntervalVelocity = request.intervalVelocities[0];
    settings.highestIntervalVelocity = request.intervalVelocities[1];
    if (!(settings.lowestIntervalVelocity >= 0.0 && settings.lowestIntervalVelocity < settings.highestIntervalVelocity))
        failUsage("--interval-velocities: {:g} to {:g} m/s is no range", settings.lowestIntervalVelocity,
                  settings.highestIntervalVelocity);
    return settings;
}

/* The true velocities: those the user names, or those that stand beside a synthetic line. */
std::string truthName(const Request& request) {
    if (!request.truthName.empty()) return request.truthName;
    const std::string beside = request.input + ".velocities.csv";
    std::error_code ignored;
    return std::filesystem::is_regular_file(beside, ignored) ? beside : "";
}

/* The true function where the gather lies. */
TimeFunction truthAt(const velocity::FunctionTable& truth, const velocity::Place& place, segy::Reader& reader) {
    if (truth.holdsEverywhere()) return TimeFunction(truth.onlyPairs(), truth.fileName);
    if (reader.traceCount()) reader.seek(0);
    const velocity::ControlPoints placed = velocity::placeFunctions(truth, velocity::PlacedBy::coordinates, &reader);
    for (const std::string& warning : placed.warnings) warn(warning);
    return velocity::Field(placed.points).timeFunctionAt(place);
}

velocity::PanelSettings panelSettings(const Request& request, const velocity::Gather& gather) {
    constexpr int fewestTraces = 4, part = 4; /* a quarter of the gather's, but not too few to tell chance from a reflection */
    velocity::PanelSettings settings;
    settings.fan = fanOf(request);
    settings.stretch = static_cast<float>(request.stretchPercent / 100.0);
    const double window = std::round(request.windowMs / gather.intervalMs);
    if (!(window < gather.sampleCount))
        failUsage("--window: {:g} ms is not shorter than the traces of {:g} ms", request.windowMs,
                  (gather.sampleCount - 1) * gather.intervalMs);
    settings.windowSamples = static_cast<int>(window);
    settings.leastFold = std::min(std::max(fewestTraces, gather.traceCount() / part), gather.traceCount());
    if (static_cast<std::int64_t>(settings.fan.count) * gather.sampleCount > INT_MAX / 8)
        failUsage("--velocities: {} velocities of {} samples are too many for one panel", settings.fan.count,
                  gather.sampleCount);
    return settings;
}

/* Noise alone has a semblance of one over the number of traces; the share is of what lies above that. */
double beyondNoise(double share, int traceCount) { return share + (1.0 - share) / traceCount; }

/* Velocity to the right, time down: rows stand at y = -time in ms. */
Grid gridOf(const velocity::Panel& panel) {
    Grid grid;
    grid.columns = panel.fan.count;
    grid.rows = panel.sampleCount;
    grid.left = panel.fan.from;
    grid.columnSpacing = panel.fan.step();
    grid.rowSpacing = panel.intervalMs;
    grid.values.reserve(panel.semblance.size());
    for (int sample = 0; sample < panel.sampleCount; ++sample)
        for (int k = 0; k < panel.fan.count; ++k) grid.values.push_back(panel.at(k)[sample]);
    return grid;
}

/* cdp: of a first column, or nothing */
void writePicks(TextOutput& file, const std::vector<velocity::Pick>& picks, std::optional<std::int64_t> cdp) {
    file.write(cdp ? "cdp,time_ms,velocity_m_per_s\n" : "time_ms,velocity_m_per_s\n");
    for (const velocity::Pick& pick : picks)
        file.write(fmt::format("{}{:g},{:.2f}\n", cdp ? fmt::format("{},", *cdp) : "", pick.timeMs, pick.velocity));
}

void say(std::FILE* to, const velocity::Analysis& analysis) {
    printTo(to, "{}\n{:>9} {:>14} {:>10} {:>14}\n", analysis.title, "time, ms", "velocity, m/s", "semblance", "interval, m/s");
    const std::vector<double> layers = velocity::intervalVelocities(analysis.picks);
    for (std::size_t k = 0; k < analysis.picks.size(); ++k)
        printTo(to, "{:9.1f} {:14.1f} {:10.3f} {:14.1f}\n", analysis.picks[k].timeMs, analysis.picks[k].velocity,
                analysis.picks[k].semblance, layers[k]);
}

void sayComparison(std::FILE* to, const std::string& name, const velocity::Comparison& comparison) {
    printTo(to, "\nbeside {}\n{:>9} {:>14} {:>14} {:>11} {:>9}\n", name, "time, ms", "true, m/s", "picked, m/s", "error, m/s",
            "error, %");
    for (const velocity::Comparison::Row& row : comparison.rows)
        printTo(to, "{:9.1f} {:14.1f} {:14.1f} {:11.1f} {:9.2f}\n", row.timeMs, row.truth, row.picked, row.error(),
                row.errorPercent());
    printTo(to, "RMS error {:.1f} m/s, {:.2f} %\n", comparison.rmsError, comparison.rmsErrorPercent);
}

/* Everything that the command writes, opened before the work. */
struct Outputs {
    explicit Outputs(const Request& request) : picks(request.output, request.overwrite) {
        if (!request.panelName.empty()) panel.emplace(request.panelName, request.overwrite);
        picture = request.picture.open(request.overwrite);
    }
    void write(const velocity::Analysis& analysis, std::optional<std::int64_t> cdp) {
        writePicks(picks, analysis.picks, cdp);
        if (panel) panel->write(gridOf(analysis.panel), "semblance; x is the velocity in m/s; y is minus the time in ms");
        if (picture) {
            drawAnalysis(picture->canvas(), analysis);
            picture->commit();
        }
        if (panel) panel->commit();
        picks.commit();
    }
    TextOutput picks;
    std::optional<GridFile> panel;
    std::unique_ptr<pictures::PictureFile> picture;
};

std::string titleOf(const Request& request, const velocity::GatherChoice& choice, const velocity::Gather& gather) {
    return fmt::format("{}, {}: {} traces, offsets {:g} to {:g} m", bareName(request.input), choice.name(), gather.traceCount(),
                       gather.offsets.front(), gather.offsets.back());
}

int analyse(const Request& request) {
    const velocity::GatherChoice choice = choiceOf(request);
    velocity::PickSettings picking = pickSettings(request);
    fanOf(request);
    const std::string truthFile = truthName(request);
    velocity::Analysis analysis;
    std::optional<velocity::FunctionTable> truth;
    if (!truthFile.empty()) truth = velocity::readFunctions(truthFile);
    segy::Reader reader(request.input, request.inputOptions.read());
    Outputs outputs(request);
    for (const std::string& warning : reader.warnings()) warn(warning);
    analysis.gather = velocity::readGather(reader, choice);
    if (truth) analysis.truth = truthAt(*truth, analysis.gather.place, reader);
    analysis.title = titleOf(request, choice, analysis.gather);
    const velocity::PanelSettings settings = panelSettings(request, analysis.gather);
    analysis.stretch = settings.stretch;
    analysis.panel = velocity::computePanel(analysis.gather, settings, request.threads);
    picking.leastSemblance = beyondNoise(picking.leastSemblance, analysis.gather.traceCount());
    analysis.picks = velocity::pickVelocities(analysis.panel, picking);
    if (analysis.picks.empty()) {
        const velocity::Pick best = velocity::strongestValue(analysis.panel);
        fail(
            "{}: no reflection of {} has a semblance of {:.3f} (the highest is {:.3f} at {:g} ms and {:g} m/s); "
            "--least-semblance takes less",
            request.input, choice.name(), picking.leastSemblance, best.semblance, best.timeMs, best.velocity);
    }
    outputs.write(analysis, request.hasCdpColumn ? std::optional((choice.first + choice.last) / 2) : std::nullopt);
    std::FILE* report = request.output == "-" ? stderr : stdout;
    say(report, analysis);
    if (analysis.truth)
        sayComparison(report, truthFile, velocity::compare(velocity::functionOf(analysis.picks), *analysis.truth));
    return 0;
}

std::function<int()> define(CLI::App& app) {
    auto request = std::make_shared<Request>();
    app.add_option("IN", request->input, "SEG-Y file to read; - is standard input")->required()->type_name("FILE");
    app.add_option("OUT", request->output, "CSV file of the picked function, which moveout reads with --velocity-file")
        ->required()
        ->type_name("FILE");
    request->inputOptions.add(app);
    app.add_option("--cdp", request->cdp, "CDP to analyse");
    addWholeNumbers(app, "--cdps", request->cdps, "first and last of several CDPs that are analysed together: 148,152", 2)
        ->type_name("FIRST,LAST");
    app.add_option("--record", request->record, "record to analyse");
    app.add_flag("--cdp-column", request->hasCdpColumn,
                 "write the CDP (of several the middle one) in a first column: such tables, joined with cat, make a field of "
                 "velocities, which moveout and velocity read");
    app.add_option("--velocities", request->velocities, "first, last and number of the velocities, m/s: 1500,4500,101")
        ->delimiter(',')
        ->expected(3)
        ->type_name("FIRST,LAST,COUNT");
    app.add_option("--stretch", request->stretchPercent, "mute where a sample is stretched by more, percent; 100 mutes nothing")
        ->check(inRange(0.0, 100.0))
        ->capture_default_str();
    app.add_option("--window", request->windowMs, "window over which semblance is smoothed, ms; 0 for none")
        ->check(inRange(0.0, 1e6))
        ->capture_default_str();
    app.add_option("--least-semblance", request->picking.leastSemblance,
                   "pick nothing with less semblance: a share of the way from 1/traces, which noise has, to 1")
        ->check(inRange(0.01, 1.0))
        ->capture_default_str();
    app.add_option("--least-spacing", request->picking.leastSpacingMs, "least time between two picks, ms")
        ->check(inRange(0.001, 1e6))
        ->capture_default_str();
    app.add_option("--interval-velocities", request->intervalVelocities,
                   "lowest and highest velocity of a layer between picks, m/s (1400,7000)")
        ->delimiter(',')
        ->expected(2)
        ->type_name("FROM,TO");
    app.add_option(
           "--panel", request->panelName,
           "grid file of the semblance: .asc, or .bin or .img with a header .hdr beside it; rows stand at y = -time in ms")
        ->type_name("FILE");
    request->picture.add(app, "picture of gather, panel and picks", {600, 300});
    app.add_option("--truth", request->truthName,
                   "CSV file of known velocities, one function or several in their places, to judge the picks by "
                   "(IN.velocities.csv where "
                   "there is one)")
        ->type_name("FILE");
    addThreads(app, request->threads);
    addOverwrite(app, request->overwrite);
    return [request] { return analyse(*request); };
}

const CommandRegistration registration({"velan", "analyses the velocities of a gather by semblance and picks them",
                                        "pelta velan line.sgy velocities.csv --cdp 150 --picture panel.png", define,
                                        "One of --cdp, --cdps and --record chooses the gather."});

}
}
