#include <fmt/format.h>

#include <cmath>
#include <optional>

#include "commands/command.h"
#include "commands/options.h"
#include "picks/picksource.h"
#include "refraction/picture.h"
#include "support/failure.h"
#include "support/textoutput.h"

namespace pelta {
namespace {

using refraction::Branch;

struct Request {
    std::string input, output, picksName, residualsName, wordUnit = "ms", offsetsFrom = "auto";
    PictureOptions picture{1400, 1000};
    InputOptions inputOptions;
    std::vector<double> refracted, direct;
    std::vector<std::int64_t> records;
    refraction::Settings settings;
    bool overwrite = false;
};

refraction::Window windowOf(const char* option, const std::vector<double>& bounds) {
    if (!(bounds[0] >= 0.0 && bounds[0] < bounds[1]))
        failUsage("{}: {:g} to {:g} m is no range of distances from the source", option, bounds[0], bounds[1]);
    return {bounds[0], bounds[1]};
}

refraction::Settings settingsOf(const Request& request) {
    refraction::Settings settings = request.settings;
    if (!request.refracted.empty()) settings.refracted = windowOf("--offsets", request.refracted);
    if (!request.direct.empty()) settings.direct = windowOf("--direct", request.direct);
    return settings;
}

refraction::OffsetSource offsetSource(const Request& request) {
    if (request.offsetsFrom == "word") return refraction::OffsetSource::word;
    return request.offsetsFrom == "coordinates" ? refraction::OffsetSource::coordinates : refraction::OffsetSource::automatic;
}

refraction::Arrivals readArrivals(segy::Reader& reader, const Request& request, const std::optional<PickTable>& table) {
    const std::set<std::int64_t> records(request.records.begin(), request.records.end());
    const char* among = records.empty() ? "" : " of --records";
    if (!table) {
        const auto word = reader.layout().words.find("pick");
        if (!word) failUsage("refract: give the first breaks by --picks FILE or by --map pick=BYTE:SIZE");
        auto arrivals = readArrivals(reader, picksOf(*word, request.wordUnit, reader.layout()), offsetSource(request), records);
        if (arrivals.list.empty())
            fail("{}: no trace{} has a pick in the {} bytes at byte {}", reader.name(), among, word->size, word->position);
        return arrivals;
    }
    auto arrivals = readArrivals(reader, picksOf(*table), offsetSource(request), records);
    if (arrivals.list.empty())
        fail("{}: none of its {} picks belongs to a trace{} of {}", request.picksName, table->size(), among, reader.name());
    return arrivals;
}

const char* sideOf(const Branch& branch) { return branch.isPositive ? "+" : "-"; }

std::string numberOrBlank(const std::optional<double>& value, int digits) {
    return value ? fmt::format("{:.{}f}", *value, digits) : "";
}

void writeResults(TextOutput& file, const std::vector<Branch>& branches) {
    file.write(
        "record,side,picks,rejected,velocity_m_per_s,velocity_error_m_per_s,intercept_ms,intercept_error_ms,correlation,"
        "rms_ms,delay_ms,least_squares_velocity_m_per_s,least_squares_intercept_ms,least_squares_correlation,"
        "direct_picks,direct_velocity_m_per_s,thickness_m,note\n");
    for (const Branch& branch : branches) {
        file.write(fmt::format("{},{},{},{},", branch.record, sideOf(branch), branch.refracted, branch.rejected));
        if (const auto& fit = branch.fit)
            file.write(fmt::format("{:.3f},{:.3f},{:.4f},{:.4f},{:.6f},{:.4f},{},{:.3f},{:.4f},{:.6f},", fit->robust.velocity,
                                   fit->velocityError, fit->robust.interceptMs, fit->interceptErrorMs, fit->robust.correlation,
                                   fit->rmsMs, numberOrBlank(branch.delayMs(), 4), fit->leastSquares.velocity,
                                   fit->leastSquares.interceptMs, fit->leastSquares.correlation));
        else file.write(",,,,,,,,,,");
        file.write(fmt::format("{},{},{},{}\n", branch.direct, numberOrBlank(branch.directVelocity, 3),
                               numberOrBlank(branch.thickness(), 3), branch.whyNoFit));
    }
}

void writeResiduals(TextOutput& file, const std::vector<Branch>& branches) {
    file.write("trace,record,channel,side,offset_m,pick_ms,weight,residual_ms\n");
    for (const Branch& branch : branches)
        for (const refraction::FittedPick& pick : branch.picks) {
            const refraction::Arrival& arrival = pick.arrival;
            file.write(fmt::format("{},{},{},{},{:.10g},{:.6g},", arrival.trace, arrival.record, arrival.channel,
                                   sideOf(branch), arrival.offset, arrival.timeMs));
            file.write(pick.isRefracted && branch.fit ? fmt::format("{:.4f},{:.4f}\n", pick.weight, pick.residualMs) : ",\n");
        }
}

std::string text(const refraction::Window& window) {
    return std::isfinite(window.to) ? fmt::format("{:g} to {:g} m", window.from, window.to)
                                    : fmt::format("{:g} m and more", window.from);
}

void sayBranch(std::FILE* to, const Branch& branch) {
    printTo(to, "{:>8} {:>4} {:>6}", branch.record, sideOf(branch), branch.refracted);
    if (!branch.fit) {
        printTo(to, "  no fit: {}\n", branch.whyNoFit);
        return;
    }
    const refraction::Fit& fit = *branch.fit;
    printTo(to, " {:>9} {:9.1f} +- {:<7.1f} {:7.2f} +- {:<6.2f} {:7.2f} {:9.1f} {:8.2f} {:>8} {:>9} {:>8} {:>9}\n",
            branch.rejected, fit.robust.velocity, fit.velocityError, fit.robust.interceptMs, fit.interceptErrorMs, fit.rmsMs,
            fit.leastSquares.velocity, fit.leastSquares.interceptMs, branch.direct, numberOrBlank(branch.directVelocity, 1),
            numberOrBlank(branch.delayMs(), 2), numberOrBlank(branch.thickness(), 1));
}

void sayRejected(std::FILE* to, const std::vector<Branch>& branches) {
    const char* heading = "\nrejected picks, and their times less those of the fit\n";
    for (const Branch& branch : branches)
        for (const refraction::FittedPick& pick : branch.picks) {
            if (!branch.fit || !pick.isRefracted || pick.weight > 0.0) continue;
            printTo(to, "{}record {} channel {} (trace {}) at {:g} m: {:+.2f} ms\n", heading, pick.arrival.record,
                    pick.arrival.channel, pick.arrival.trace, pick.arrival.offset, pick.residualMs);
            heading = "";
        }
}

void sayMedians(std::FILE* to, const std::vector<Branch>& branches) {
    std::vector<double> velocities, intercepts, directs, thicknesses;
    for (const Branch& branch : branches) {
        if (branch.directVelocity) directs.push_back(*branch.directVelocity);
        if (const auto thickness = branch.thickness()) thicknesses.push_back(*thickness);
        if (!branch.fit) continue;
        velocities.push_back(branch.fit->robust.velocity);
        intercepts.push_back(branch.fit->robust.interceptMs);
    }
    printTo(to, "\nmedian of {} fits: velocity {:.1f} m/s, intercept {:.2f} ms", velocities.size(),
            refraction::median(velocities), refraction::median(intercepts));
    if (!directs.empty()) printTo(to, ", direct wave {:.1f} m/s", refraction::median(directs));
    if (!thicknesses.empty()) printTo(to, ", thickness {:.1f} m", refraction::median(thicknesses));
    printText(to, "\n");
}

void say(std::FILE* to, const Request& request, const refraction::Settings& settings, const refraction::Arrivals& arrivals,
         const std::vector<Branch>& branches) {
    printTo(to, "{}: {} first breaks; offsets from {}\n", bareName(request.input), arrivals.list.size(), arrivals.offsetsFrom);
    printTo(to, "refracted wave at {}, direct wave {}; errors are one standard error\n\n", text(settings.refracted),
            settings.direct ? "at " + text(*settings.direct) : "not asked for");
    printTo(to, "{:>24} {:^51} {:^18} {:^18}\n", "", "robust fit", "least squares", "direct wave");
    printTo(to, "{:>8} {:>4} {:>6} {:>9} {:>20} {:>17} {:>7} {:>9} {:>8} {:>8} {:>9} {:>8} {:>9}\n", "record", "side", "picks",
            "rejected", "velocity, m/s", "intercept, ms", "rms, ms", "m/s", "ms", "picks", "m/s", "delay,ms", "depth, m");
    for (const Branch& branch : branches) sayBranch(to, branch);
    sayMedians(to, branches);
    sayRejected(to, branches);
}

/* Everything that the command writes, opened before the work. */
struct Outputs {
    explicit Outputs(const Request& request) {
        const auto open = [&](std::optional<TextOutput>& file, const std::string& name) {
            if (!name.empty()) file.emplace(name, request.overwrite);
        };
        open(results, request.output);
        open(residuals, request.residualsName);
        picture = request.picture.open(request.overwrite);
    }
    std::optional<TextOutput> results, residuals;
    std::unique_ptr<pictures::PictureFile> picture;
};

int refract(const Request& request) {
    const refraction::Settings settings = settingsOf(request);
    std::optional<PickTable> table;
    if (!request.picksName.empty()) table.emplace(request.picksName);
    segy::Reader reader(request.input, request.inputOptions.read());
    Outputs outputs(request); /* which cannot take an input's place from here on */
    for (const std::string& warning : reader.warnings()) warn(warning);
    const refraction::Arrivals arrivals = readArrivals(reader, request, table);
    if (arrivals.repeated > 0)
        warn(fmt::format("{}: {} picks stand twice, with record, channel, offset and time; they count once", request.input,
                         arrivals.repeated));
    const std::vector<Branch> branches = fitBranches(arrivals.list, settings);
    const auto fitted = std::find_if(branches.begin(), branches.end(), [](const Branch& branch) { return branch.fit; });
    if (fitted == branches.end())
        fail("{}: nothing could be fitted on {} side{} of records; record {} side {}: {}", request.input, branches.size(),
             branches.size() == 1 ? "" : "s", branches.front().record, sideOf(branches.front()), branches.front().whyNoFit);
    if (outputs.results) writeResults(*outputs.results, branches);
    if (outputs.residuals) writeResiduals(*outputs.residuals, branches);
    if (outputs.picture) drawBranches(outputs.picture->canvas(), bareName(request.input), branches, settings);
    if (outputs.picture) outputs.picture->commit();
    if (outputs.residuals) outputs.residuals->commit();
    if (outputs.results) outputs.results->commit();
    say(request.output == "-" || request.residualsName == "-" ? stderr : stdout, request, settings, arrivals, branches);
    return 0;
}

std::function<int()> define(CLI::App& app) {
    auto request = std::make_shared<Request>();
    app.add_option("IN", request->input, "SEG-Y file to read; - is standard input")->required()->type_name("FILE");
    app.add_option("OUT", request->output,
                   "CSV file of the results; - is standard output, and then the table goes to standard error")
        ->type_name("FILE");
    request->inputOptions.add(app);
    app.add_option("--picks", request->picksName,
                   "CSV file of first breaks, by pelta pick or by hand (the word of --map pick=)")
        ->type_name("FILE");
    addWordUnit(app, request->wordUnit);
    app.add_option("--offsets", request->refracted, "distances at which the refracted wave arrives first, m: 150,1250 (all)")
        ->delimiter(',')
        ->expected(2)
        ->type_name("FROM,TO");
    app.add_option("--direct", request->direct, "distances at which the direct wave arrives first, m: 0,120 (not looked at)")
        ->delimiter(',')
        ->expected(2)
        ->type_name("FROM,TO");
    addWholeNumbers(app, "--records", request->records, "records to fit: 3,5 (all)");
    app.add_option("--offsets-from", request->offsetsFrom,
                   "where offsets come from; auto: the coordinates where the offset word says the same or is 0, else the word")
        ->check(oneOf({"auto", "word", "coordinates"}))
        ->capture_default_str();
    app.add_option("--least-picks", request->settings.leastPicks, "picks that a side of a record needs for a fit")
        ->check(inRange(3, 1000000))
        ->capture_default_str();
    app.add_option("--trim", request->settings.trimPercent, "percentage of outer ratios that the direct wave's mean leaves out")
        ->check(inRange(0, 99))
        ->capture_default_str();
    app.add_option("--residuals", request->residualsName, "CSV file of every pick with its weight and residual")
        ->type_name("FILE");
    request->picture.add(app, "picture of times and lines", {400, 300});
    addOverwrite(app, request->overwrite);
    return [request] { return refract(*request); };
}

const CommandRegistration registration(
    {"refract", "fits lines to first breaks: refractor velocities, intercept times, delays",
     "pelta refract line.sgy refractor.csv --picks picks.csv --offsets 150,1250 --direct 0,120 --picture refractor.png", define,
     "The two sides of a record's source are fitted each by itself: side + where the offset is positive (a trace "
     "at the source counts there), - where it is negative. time = intercept + distance / velocity is fitted "
     "robustly (weights by the residuals from a median line, 0 for outliers) and by least squares; the direct "
     "wave's velocity is a trimmed mean of distance over time. The delay is half the intercept; the depth that of "
     "a flat refractor under the direct wave's layer.\n"
     "Of several picks of one trace in a table the last one counts."});

}
}
