#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <optional>
#include <set>

#include "commands/command.h"
#include "commands/options.h"
#include "picks/picktable.h"
#include "pictures/picturefile.h"
#include "pictures/section.h"
#include "support/failure.h"

namespace pelta {
namespace {

struct Request {
    std::string input, output, subtracted, style = "auto", palette = "gray", axis = "auto", title;
    InputOptions inputOptions;
    std::vector<std::string> pickFiles;
    std::vector<std::int64_t> records, traceRange, size = {1200, 800};
    std::vector<double> timesMs;
    double clip = 99.0, gain = 1.0;
    bool balancesTraces = false, overwrite = false;
};

constexpr std::int64_t mostTraces = 8000;

/* A long line is thinned out: more traces than this would fall on the same points. */
std::int64_t stepFor(const segy::Reader& reader, const Request& request) {
    if (!reader.traceCount() || !request.records.empty() || !request.traceRange.empty()) return 1;
    const std::int64_t step = (*reader.traceCount() + mostTraces - 1) / mostTraces;
    if (step > 1)
        warn(fmt::format("{}: {} traces are many for one picture; every {}th is drawn", request.input, *reader.traceCount(),
                         step));
    return std::max<std::int64_t>(step, 1);
}

struct Selection {
    std::vector<pictures::SectionTrace> traces;
    std::optional<double> clipAmplitude; /* of a difference: that of the traces before */
    std::set<std::int64_t> records;
    std::string axis;
};

/* Traces of different CDPs without offsets are a stacked section, whatever records their headers come from. */
class AxisChoice {
  public:
    void take(const segy::TraceFacts& facts) {
        _hasOffsets = _hasOffsets || facts.offset != 0.0;
        _cdps.push_back(static_cast<double>(facts.cdp));
    }
    bool isStackedSection() const {
        return !_hasOffsets && std::adjacent_find(_cdps.begin(), _cdps.end(), std::not_equal_to()) != _cdps.end();
    }
    double cdp(std::size_t trace) const { return _cdps[trace]; }

  private:
    bool _hasOffsets = false;
    std::vector<double> _cdps;
};

double axisValueOf(const Request& request, const segy::Trace& trace, const segy::TraceFacts& facts,
                   const segy::Layout& layout) {
    if (request.axis == "auto") return static_cast<double>(facts.channel);
    if (request.axis == "offset") return facts.offset;
    const auto word = naming("--axis", [&] { return layout.words.find(request.axis); });
    if (!word)
        failUsage("--axis: {} has no place in the trace header; give it one with --map {}=BYTE:SIZE", request.axis,
                  request.axis);
    return static_cast<double>(segy::readWord(trace.header.data(), *word, layout.byteOrder));
}

/* The line that is to be taken from another one, trace by trace. */
class Subtrahend {
  public:
    explicit Subtrahend(const Request& request) {
        if (!request.subtracted.empty()) _reader.emplace(request.subtracted, request.inputOptions.read());
    }

    bool isThere() const { return _reader.has_value(); }
    void check(const segy::Reader& minuend) const {
        if (!_reader) return;
        for (const std::string& warning : _reader->warnings()) warn(warning);
        const double interval = _reader->layout().intervalMs, expected = minuend.layout().intervalMs;
        if (interval != expected)
            fail("{}: a sample every {:g} ms, and every {:g} ms in {}", _reader->name(), interval, expected, minuend.name());
    }
    /* Follows the minuend to a trace of it. */
    void readUpTo(const segy::Trace& minuend, double startMs, const std::string& name) {
        while (_next <= minuend.number) {
            if (!_reader->next(_trace)) fail("{}: there are fewer traces than in {}", _reader->name(), name);
            ++_next;
        }
        segy::decode(_trace, _reader->layout());
        if (_trace.samples.size() != minuend.samples.size())
            fail("{}: trace {} has {} samples, and {} in {}", _reader->name(), minuend.number + 1, _trace.samples.size(),
                 minuend.samples.size(), name);
        const double start = segy::readFacts(_trace, _reader->layout()).delayMs;
        if (start != startMs)
            fail("{}: trace {} begins at {:g} ms, and at {:g} ms in {}", _reader->name(), minuend.number + 1, start, startMs,
                 name);
    }
    void takeFrom(std::vector<float>& samples) const {
        for (std::size_t k = 0; k < samples.size(); ++k) samples[k] -= _trace.samples[k];
    }

  private:
    std::optional<segy::Reader> _reader;
    segy::Trace _trace;
    std::int64_t _next = 0;
};

Selection select(segy::Reader& reader, Subtrahend& subtrahend, const Request& request) {
    subtrahend.check(reader);
    std::vector<pictures::SectionTrace> minuends;
    std::vector<PickTable> tables;
    for (const std::string& name : request.pickFiles) tables.emplace_back(name);
    const std::set<std::int64_t> wanted(request.records.begin(), request.records.end());
    const std::int64_t first = request.traceRange.empty() ? 1 : request.traceRange[0];
    const std::int64_t last = request.traceRange.empty() ? std::numeric_limits<std::int64_t>::max() : request.traceRange[1];
    const std::int64_t step = stepFor(reader, request);
    Selection selection;
    AxisChoice choice;
    segy::Trace trace;
    while (reader.next(trace) && trace.number < last) {
        const segy::TraceFacts facts = segy::readFacts(trace, reader.layout());
        if (trace.number + 1 < first || trace.number % step != 0) continue;
        if (!wanted.empty() && !wanted.contains(facts.record)) continue;
        if (static_cast<std::int64_t>(selection.traces.size()) == 4 * mostTraces)
            fail("{}: more than {} traces for one picture; choose with --records or --traces", request.input, 4 * mostTraces);
        segy::decode(trace, reader.layout());
        pictures::SectionTrace& shown = selection.traces.emplace_back();
        shown.samples = trace.samples;
        if (subtrahend.isThere()) {
            subtrahend.readUpTo(trace, facts.delayMs, request.input);
            minuends.push_back(shown);
            subtrahend.takeFrom(shown.samples);
        }
        shown.startMs = facts.delayMs;
        shown.record = facts.record;
        shown.axisValue = axisValueOf(request, trace, facts, reader.layout());
        for (const PickTable& table : tables)
            shown.pickTimesMs.push_back(
                table.timeMs(trace.number + 1, facts.record, facts.channel).value_or(std::numeric_limits<double>::quiet_NaN()));
        selection.records.insert(facts.record);
        choice.take(facts);
    }
    if (selection.traces.empty()) fail("{}: no trace was chosen by --records or --traces", request.input);
    if (subtrahend.isThere()) selection.clipAmplitude = pictures::percentileAmplitude(minuends, request.clip);
    selection.axis = request.axis != "auto" ? request.axis : choice.isStackedSection() ? "cdp" : "channel";
    if (request.axis == "auto" && selection.axis == "cdp")
        for (std::size_t t = 0; t < selection.traces.size(); ++t) selection.traces[t].axisValue = choice.cdp(t);
    return selection;
}

pictures::Style styleOf(const Request& request, std::size_t traceCount) {
    constexpr double narrowestWiggle = 4.0;
    if (request.style == "wiggle") return pictures::Style::wiggle;
    if (request.style == "density") return pictures::Style::density;
    return static_cast<double>(request.size[0]) / static_cast<double>(traceCount) >= narrowestWiggle ? pictures::Style::wiggle
                                                                                                     : pictures::Style::density;
}

pictures::SectionStyle sectionStyle(const Request& request, const Selection& selection, const segy::Layout& layout) {
    pictures::SectionStyle style;
    style.style = styleOf(request, selection.traces.size());
    style.palette = request.palette == "seismic" ? pictures::Palette::seismic : pictures::Palette::gray;
    style.clipPercent = request.clip;
    style.clipAmplitude = selection.clipAmplitude;
    style.gain = request.gain;
    style.balancesTraces = request.balancesTraces;
    style.intervalMs = layout.intervalMs;
    style.fromMs = std::numeric_limits<double>::max();
    style.toMs = std::numeric_limits<double>::lowest();
    for (const pictures::SectionTrace& trace : selection.traces) {
        style.fromMs = std::min(style.fromMs, trace.startMs);
        style.toMs =
            std::max(style.toMs, trace.startMs + (static_cast<double>(trace.samples.size()) - 1.0) * layout.intervalMs);
    }
    if (!request.timesMs.empty()) {
        style.fromMs = request.timesMs[0];
        style.toMs = request.timesMs[1];
    }
    if (!(style.fromMs < style.toMs)) failUsage("--times: {:g} to {:g} ms is no range", style.fromMs, style.toMs);
    constexpr std::size_t mostRecordsApart = 40;
    style.separatesRecords =
        selection.axis != "cdp" && selection.records.size() > 1 && selection.records.size() <= mostRecordsApart;
    const std::string minus = request.subtracted.empty() ? "" : " - " + bareName(request.subtracted);
    style.title = request.title.empty() ? bareName(request.input) + minus : request.title;
    style.axisTitle = selection.axis;
    for (const std::string& file : request.pickFiles) style.pickNames.push_back(bareName(file));
    return style;
}

int plot(const Request& request) {
    segy::Reader reader(request.input, request.inputOptions.read());
    Subtrahend subtrahend(request);
    pictures::PictureFile picture(request.output, static_cast<int>(request.size[0]), static_cast<int>(request.size[1]),
                                  request.overwrite); /* which cannot take an input's place from here on */
    for (const std::string& warning : reader.warnings()) warn(warning);
    const Selection selection = select(reader, subtrahend, request);
    pictures::drawSection(picture.canvas(), selection.traces, sectionStyle(request, selection, reader.layout()));
    picture.commit();
    return 0;
}

std::function<int()> define(CLI::App& app) {
    auto request = std::make_shared<Request>();
    app.add_option("IN", request->input, "SEG-Y file to read; - is standard input")->required()->type_name("FILE");
    app.add_option("OUT", request->output, "picture to write: .png, .svg or .pdf")->required()->type_name("FILE");
    request->inputOptions.add(app);
    app.add_option("--style", request->style, "how traces are drawn; auto goes by the room there is")
        ->check(oneOf({"auto", "wiggle", "density"}))
        ->capture_default_str();
    app.add_option("--palette", request->palette, "colours of a density picture")
        ->check(oneOf({"gray", "seismic"}))
        ->capture_default_str();
    app.add_option("--axis", request->axis,
                   "header word of the horizontal axis, by name or as BYTE:SIZE; auto: cdp for a stacked section, else channel")
        ->type_name("WORD")
        ->capture_default_str();
    addWholeNumbers(app, "--records", request->records, "records to draw, side by side: 3,5 (all)");
    addWholeNumbers(app, "--traces", request->traceRange, "first and last trace to draw: 100,400 (all)", 2)
        ->type_name("FIRST,LAST");
    app.add_option("--times", request->timesMs, "first and last time to draw, ms: 0,1200 (all)")
        ->delimiter(',')
        ->expected(2)
        ->type_name("FROM,TO");
    app.add_option("--clip", request->clip, "percentile of amplitudes that fills a trace's place")
        ->check(inRange(1.0, 100.0))
        ->capture_default_str();
    app.add_option("--gain", request->gain, "factor on amplitudes beyond that")
        ->check(inRange(0.01, 100.0))
        ->capture_default_str();
    CLI::Option* balance =
        app.add_flag("--balance", request->balancesTraces, "clip every trace by its own amplitudes instead of by all traces'");
    app.add_option("--minus", request->subtracted,
                   "SEG-Y file whose traces are taken from those of IN, one by one; amplitudes are clipped as IN's would be")
        ->type_name("FILE")
        ->excludes(balance);
    app.add_option("--picks", request->pickFiles, "CSV files of picks to draw over it")->delimiter(',')->type_name("FILE,...");
    app.add_option("--title", request->title, "title (the file's name)");
    addPictureSize(app, request->size, {200, 150});
    addOverwrite(app, request->overwrite);
    return [request] { return plot(*request); };
}

const CommandRegistration registration(
    {"plot", "draws a gather or section as PNG, SVG or PDF", "pelta plot in.sgy out.png --records 3,5 --picks picks.csv",
     define, "A line of more than 8000 traces is thinned out, unless --records or --traces chooses some of them."});

}
}
