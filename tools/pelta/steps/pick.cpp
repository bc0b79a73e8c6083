#include <pelta/fbpicker.h>

#include <algorithm>
#include <climits>
#include <cmath>

#include "flow/step.h"
#include "support/failure.h"
#include "support/textoutput.h"

namespace pelta {
namespace {

enum Method { energy = 1, deviation = 2, autoregressive = 3, spectral = 4 };
enum SearchStart { fromWindow = 0, fromOffset = 1 };
enum WordUnit { milliseconds = 0, microseconds = 1, samples = 2 };

/* Milliseconds of a window; where none is given, the whole trace. */
int windowMs(const Parameters& parameters, const std::string& name, const Line& line) {
    if (parameters.has(name)) return static_cast<int>(parameters.integer(name));
    return static_cast<int>(std::min(std::ceil(line.layout.sampleCount * line.layout.intervalMs), 2e9));
}

/* The parameters have the names of the fields of the picker's record, by which hosts know them. */
constexpr std::pair<const char*, int fbPickParm::*> wholeNumbers[] = {
    {"ipmethod", &fbPickParm::ipmethod}, {"method", &fbPickParm::method},       {"limkey", &fbPickParm::limkey},
    {"ilkey", &fbPickParm::ilkey},       {"shiftpick", &fbPickParm::shiftpick}, {"direction", &fbPickParm::direction},
    {"envelope", &fbPickParm::envelope}, {"delay", &fbPickParm::delay},         {"win1", &fbPickParm::win1},
    {"win2", &fbPickParm::win2},         {"wina", &fbPickParm::wina},           {"winar", &fbPickParm::winar},
    {"winspd", &fbPickParm::winspd},
};
constexpr std::pair<const char*, float fbPickParm::*> realNumbers[] = {
    {"velocity", &fbPickParm::velocity},   {"stablizer", &fbPickParm::stablizer}, {"threshold", &fbPickParm::threshold},
    {"threshspd", &fbPickParm::threshspd}, {"freqspd", &fbPickParm::freqspd},
};
constexpr std::pair<const char*, int fbPickParm::*> windows[] = {
    {"winlen", &fbPickParm::winlen},
    {"winlen1", &fbPickParm::winlen1},
    {"winlen2", &fbPickParm::winlen2},
    {"winlen3", &fbPickParm::winlen3},
};

fbPickParm recordOf(const Parameters& parameters, const Line& line) {
    fbPickParm record = {};
    for (const auto& [name, field] : wholeNumbers) record.*field = static_cast<int>(parameters.integer(name));
    for (const auto& [name, field] : realNumbers) record.*field = static_cast<float>(parameters.real(name));
    for (const auto& [name, field] : windows) record.*field = windowMs(parameters, name, line);
    return record;
}

/* Time of a pick after the shot, ms. */
double pickTimeMs(int pick, const segy::TraceFacts& facts, const segy::Layout& layout) {
    return facts.delayMs + pick * layout.intervalMs;
}

/* Where the energy method's search segment begins when the search starts at a sample of the trace. The method counts its pick
 * from there, and means its search window only where that is sample 0. */
int energySegmentStart(const fbPickParm& record, int searchStart, float intervalMs) {
    constexpr double shortestLag = 10.0;
    const double lag = std::max(std::floor(record.envelope / intervalMs + 0.5f) + 1.0, shortestLag);
    const double reach = std::floor(std::floor(record.winlen / intervalMs) / 2.0);
    return static_cast<int>(std::clamp(searchStart - reach - 2.0 * lag, 0.0, 1e9));
}

class Pick : public Step {
  public:
    Pick(const Parameters& parameters, const Line& line)
        : _layout(line.layout),
          _record(recordOf(parameters, line)),
          _delay(_record.delay),
          _picker(&_record, line.sampleCount(), line.intervalMs()),
          _word(line.layout.words.find("pick")),
          _wordUnit(parameters.choice("word_unit")) {}

    void apply(WorkTrace& work, Findings& findings) override {
        /* The search start counts from the shot, samples count from the delay. */
        const double lead = std::round(work.facts.delayMs / _layout.intervalMs);
        _record.delay = static_cast<int>(std::clamp(_delay - lead, -1e9, 1e9));
        const auto offset = static_cast<float>(std::abs(work.facts.offset) * _layout.metresPerUnit());
        const int pick = _record.ipmethod == energy && _record.method == fromOffset
                             ? pickFromSegment(work.trace.samples, offset)
                             : _picker.getPick(work.trace.samples.data(), offset, 0);
        findings.push_back(static_cast<float>(pick));
        if (_word) writePick(work, pick);
    }

  private:
    /* Hands the energy method a trace that begins with its search segment. */
    int pickFromSegment(std::vector<float>& samples, float offset) {
        const double searchStart = static_cast<double>(offset / _record.velocity) * 1000.0 / _picker._srate + _record.delay;
        if (!(searchStart >= 0.0 && searchStart < static_cast<double>(samples.size()))) return 0;
        const int start = energySegmentStart(_record, static_cast<int>(searchStart), _picker._srate);
        if (start == 0) return _picker.getPick(samples.data(), offset, 0);
        _segment.assign(samples.size(), 0.0f);
        std::copy(samples.begin() + start, samples.end(), _segment.begin());
        _record.delay -= start;
        const int pick = _picker.getPick(_segment.data(), offset, 0);
        return pick == 0 ? 0 : pick + start;
    }

    void writePick(WorkTrace& work, int pick) {
        const double timeMs = pick == 0 ? 0.0 : pickTimeMs(pick, work.facts, _layout);
        const double value = _wordUnit == milliseconds ? timeMs : _wordUnit == microseconds ? timeMs * 1000.0 : pick;
        if (!segy::writeWord(work.trace.header.data(), *_word, _layout.byteOrder, std::llround(value)))
            fail(
                "trace {}: the pick of {:g} does not fit the {} bytes at byte {}; choose a longer word with --map "
                "pick=BYTE:SIZE or another word_unit",
                work.trace.number + 1, value, _word->size, _word->position);
    }

    segy::Layout _layout;
    fbPickParm _record;
    int _delay;
    fbPicker _picker;
    std::optional<segy::HeaderWord> _word;
    int _wordUnit;
    std::vector<float> _segment;
};

class PicksFile : public Collector {
  public:
    PicksFile(const std::string& name, const Line& line) : _layout(line.layout), _file(name, line.overwrite) {
        _file.write(
            fmt::format("trace,record,channel,offset_{0},source_x,source_y,receiver_x,receiver_y,pick_samples,pick_ms\n",
                        _layout.lengthUnit()));
    }
    void collect(const WorkTrace& work, const Findings& findings) override {
        const segy::TraceFacts& facts = work.facts;
        const int pick = static_cast<int>(findings.front());
        const std::string time = pick == 0 ? "" : fmt::format("{:.6g}", pickTimeMs(pick, facts, _layout));
        _file.write(fmt::format("{},{},{},{:.10g},{:.12g},{:.12g},{:.12g},{:.12g},{},{}\n", work.trace.number + 1, facts.record,
                                facts.channel, facts.offset, facts.sourceX, facts.sourceY, facts.receiverX, facts.receiverY,
                                pick, time));
    }
    void finish() override { _file.commit(); }

  private:
    segy::Layout _layout;
    TextOutput _file;
};

std::unique_ptr<Step> make(const Parameters& parameters, const Line& line) { return std::make_unique<Pick>(parameters, line); }

std::unique_ptr<Collector> makeCollector(const Parameters& parameters, const Line& line) {
    if (!parameters.has("picks_file")) return nullptr;
    return std::make_unique<PicksFile>(parameters.text("picks_file"), line);
}

const StepKind kind = {
    .name = "pick",
    .summary = "picks first breaks, written as CSV and into a trace-header word (--map pick=BYTE:SIZE)",
    .example = "pelta pick in.sgy out.sgy --ipmethod energy --picks-file picks.csv",
    .parameters =
        {
            choiceParameter(
                "ipmethod", "picking method", energy,
                {{"energy", energy}, {"deviation", deviation}, {"autoregressive", autoregressive}, {"spectral", spectral}}),
            choiceParameter("method",
                            "where the search starts: half of winlen (others: sample 0), or offset / velocity + delay",
                            fromWindow, {{"window", fromWindow}, {"offset", fromOffset}}),
            {"velocity", "m_per_s", Kind::real, "moveout velocity of the search start", 2000.0, 1e-3, 1e9},
            {"delay", "samples", Kind::integer, "added to the search start", std::int64_t{0}, -1e9, 1e9},
            choiceParameter("shiftpick", "phase that the pick is moved to", 5,
                            {{"trough", 1}, {"peak", 2}, {"falling", 3}, {"rising", 4}, {"none", 5}}),
            choiceParameter("direction", "where to look for that phase", 0, {{"backward", -1}, {"both", 0}, {"forward", 1}}),
            {"envelope", "ms", Kind::integer, "energy: nominal window length", std::int64_t{20}, 0, INT_MAX},
            {"stablizer", "percent", Kind::real, "energy: stabiliser, share of the mean absolute amplitude", 10.0, 0, 1e6},
            {"winlen", "ms", Kind::integer, "energy: width of the search window round its start (whole trace)", {}, 0, INT_MAX},
            {"winlen1", "ms", Kind::integer, "deviation: length of trace to scan (whole trace)", {}, 0, INT_MAX},
            {"winlen2", "ms", Kind::integer, "autoregressive: end of the search (whole trace)", {}, 0, INT_MAX},
            {"winlen3", "ms", Kind::integer, "spectral: end of the search (whole trace)", {}, 0, INT_MAX},
            {"win1", "ms", Kind::integer, "deviation: earlier window, the noise", std::int64_t{50}, 0, INT_MAX},
            {"win2", "ms", Kind::integer, "deviation: later window, the signal", std::int64_t{25}, 0, INT_MAX},
            {"wina", "ms", Kind::integer, "autoregressive: leading positions that the reference is taken from",
             std::int64_t{50}, 0, INT_MAX},
            {"winar", "ms", Kind::integer, "autoregressive: analysis window", std::int64_t{40}, 0, INT_MAX},
            {"threshold", "", Kind::real, "autoregressive: multiple of the reference that is an onset", 1.5, -1e30, 1e30},
            {"threshspd", "", Kind::real, "spectral: multiple of the reference that is an onset", 5.0, -1e30, 1e30},
            {"freqspd", "hz", Kind::real, "spectral: analysis frequency", 40.0, 0, 1e6},
            {"winspd", "ms", Kind::integer, "spectral: window length", std::int64_t{50}, 0, INT_MAX},
            {"limkey", "", Kind::integer, "carried for hosts, not read", std::int64_t{0}, INT_MIN, INT_MAX},
            {"ilkey", "", Kind::integer, "carried for hosts, not read", std::int64_t{0}, INT_MIN, INT_MAX},
            outputFileParameter("picks_file", "write the picks to this CSV file"),
            choiceParameter("word_unit", "unit of the picks in trace headers, where 0 is no pick", milliseconds,
                            {{"ms", milliseconds}, {"us", microseconds}, {"samples", samples}}),
        },
    .make = make,
    .makeCollector = makeCollector,
};
const Registration registration(kind);

}
}
