#include <pelta/host.h>
#include <pelta/mute.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "flow/linearfunction.h"
#include "flow/step.h"
#include "support/failure.h"
#include "support/outputfile.h"

namespace pelta {
namespace {

enum Shape { cosine = 0, linear = 1 };

/* Mute times over offset as given: pairs or a file of such pairs; nothing where neither is. */
std::optional<LinearFunction> muteTimesOf(const Parameters& parameters, const std::string& name) {
    const std::string file = name + "_file";
    if (parameters.has(name) && parameters.has(file)) failUsage("mute: give one of {}_m_ms and {}", name, file);
    if (!parameters.has(name) && !parameters.has(file)) return std::nullopt;
    const bool isFile = parameters.has(file);
    const std::string what = isFile ? inputName(parameters.text(file)) : fmt::format("mute: {}_m_ms", name);
    LinearFunction times(isFile ? readPairs(parameters.text(file), offsetAndTime) : parameters.pairs(name), offsetAndTime,
                         what);
    if (times.smallestKey() < 0.0)
        failUsage("{}: {:g} m is below 0, and offsets count without their sign", what, times.smallestKey());
    if (times.smallestValue() < 0.0) failUsage("{}: {:g} ms is below 0, the time of the shot", what, times.smallestValue());
    return times;
}

struct MuteTimes : Preparation {
    std::optional<LinearFunction> top, bottom;
};

std::shared_ptr<const Preparation> prepare(const Parameters& parameters, segy::Reader&) {
    auto times = std::make_shared<MuteTimes>();
    times->top = muteTimesOf(parameters, "top");
    times->bottom = muteTimesOf(parameters, "bottom");
    times->needsOffsets = (times->top && !times->top->isConstant()) || (times->bottom && !times->bottom->isConstant());
    return times;
}

/* Where an edge of the live zone stands: samples from the start of the trace as the library counts them in its header times. */
struct Edge {
    double live, full;
};

/* Fades the edges of a live zone by the library's mute.
 *
 * The library reads one taper from its end at the top and from its start at the bottom, so that a fade at both edges takes two
 * tapers and a call for each edge; the edge that a call is not meant for lies in spare samples. It looks for the edges among
 * samples that are 0 and would take a quiet stretch behind the mute for muted: it is handed weights, not the trace. */
class EdgeFader {
  public:
    EdgeFader(int length, int shape) : _spare(static_cast<std::size_t>(length) + 2) {
        /* Neither is the outermost weight 0 nor the innermost 1: live samples stay live, and the fade has its whole length. */
        for (int k = 1; k <= length; ++k) {
            const double share = k / (length + 1.0);
            const double weight = shape == cosine ? 0.5 - 0.5 * std::cos(std::numbers::pi * share) : share;
            _bottomTaper.push_back(static_cast<float>(weight));
        }
        _topTaper.assign(_bottomTaper.rbegin(), _bottomTaper.rend());
        _times.resize(
            static_cast<std::size_t>(std::max({stdHdr->itlive_s, stdHdr->itfull_s, stdHdr->itfull_e, stdHdr->itlive_e})));
    }

    /* The trace is live from sample first on, which may be the one behind its last. */
    Edge fadeTop(std::vector<float>& samples, int first) {
        _weights.assign(samples.size() + _spare, 1.0f);
        std::fill_n(_weights.begin(), first, 0.0f);
        fade(_topTaper);
        weigh(samples, _weights.data());
        return {timeAt(stdHdr->itlive_s), std::min(timeAt(stdHdr->itfull_s), static_cast<double>(samples.size()))};
    }

    /* The trace is live up to sample last, which may be -1. */
    Edge fadeBottom(std::vector<float>& samples, int last) {
        _weights.assign(samples.size() + _spare, 0.0f);
        std::fill_n(_weights.begin(), static_cast<std::ptrdiff_t>(_spare) + last + 1, 1.0f);
        fade(_bottomTaper);
        weigh(samples, _weights.data() + _spare);
        const auto spare = static_cast<double>(_spare);
        return {timeAt(stdHdr->itlive_e) - spare, std::max(timeAt(stdHdr->itfull_e) - spare, 0.0)};
    }

  private:
    void fade(std::vector<float>& taper) {
        constexpr float countSamples = 1.0f;
        applyMute(_weights.data(), static_cast<int>(_weights.size()), countSamples, _times.data(),
                  static_cast<int>(taper.size()), taper.data());
    }

    /* What is muted becomes 0 whatever it was, NaN included. */
    static void weigh(std::vector<float>& samples, const float* weights) {
        for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = weights[i] == 0.0f ? 0.0f : samples[i] * weights[i];
    }

    double timeAt(int entry) const { return _times[static_cast<std::size_t>(entry - 1)]; }

    std::size_t _spare;
    std::vector<float> _topTaper, _bottomTaper, _weights, _times;
};

class Mute : public Step {
  public:
    Mute(const Parameters& parameters, const Line& line, const MuteTimes& times)
        : _layout(line.layout),
          _top(times.top),
          _bottom(times.bottom),
          _fader(static_cast<int>(std::lround(parameters.real("taper") / line.layout.intervalMs)),
                 parameters.choice("taper_shape")) {}

    void apply(WorkTrace& work, Findings&) override {
        std::vector<float>& samples = work.trace.samples;
        const int count = static_cast<int>(samples.size());
        const double offset = std::abs(work.facts.offset) * _layout.metresPerUnit();
        int first = 0, last = count - 1;
        if (_top) first = sampleAt(std::ceil(positionOf(_top->at(offset), work) - tolerance), 0, count);
        if (_bottom) last = sampleAt(std::floor(positionOf(_bottom->at(offset), work) + tolerance), -1, count - 1);
        Edge start = {first + 1.0, static_cast<double>(first)}, end = {last + 1.0, static_cast<double>(last)};
        if (first > 0) start = _fader.fadeTop(samples, first);
        if (last < count - 1) end = _fader.fadeBottom(samples, last);
        work.trace.samplesChanged = work.trace.samplesChanged || first > 0 || last < count - 1;
        keepTimes(work, start, end);
        if (_top) writeTime(work, segy::Word::muteStart, "mute_start", start.live);
        if (_bottom) writeTime(work, segy::Word::muteEnd, "mute_end", end.live);
    }

  private:
    /* Of a sample: times that are a sample's but for rounding are that sample's. */
    static constexpr double tolerance = 1e-6;

    double positionOf(double timeMs, const WorkTrace& work) const { return (timeMs - work.facts.delayMs) / _layout.intervalMs; }
    static int sampleAt(double position, int lowest, int highest) {
        return static_cast<int>(std::clamp(position, static_cast<double>(lowest), static_cast<double>(highest)));
    }

    void keepTimes(WorkTrace& work, const Edge& start, const Edge& end) const {
        const auto keep = [&](int entry, double samples) {
            const auto place = static_cast<std::size_t>(entry - 1);
            if (work.hostHeader.size() <= place) work.hostHeader.resize(place + 1, 0.0f);
            work.hostHeader[place] = static_cast<float>(work.facts.delayMs + samples * _layout.intervalMs);
        };
        keep(stdHdr->itlive_s, start.live);
        keep(stdHdr->itfull_s, start.full);
        keep(stdHdr->itfull_e, end.full);
        keep(stdHdr->itlive_e, end.live);
    }

    /* The library counts the edge samples of the live zone from 1, a SEG-Y header from 0. */
    void writeTime(WorkTrace& work, segy::Word which, const char* name, double live) const {
        const segy::HeaderWord word = _layout.words[which];
        const double timeMs = work.facts.delayMs + (live - 1.0) * _layout.intervalMs;
        unsigned char* header = work.trace.header.data();
        const std::int64_t scalar = segy::readWord(header, _layout.words[segy::Word::timeScalar], _layout.byteOrder);
        if (!segy::writeWord(header, word, _layout.byteOrder, std::llround(segy::unscaled(timeMs, scalar))))
            fail(
                "trace {}: the mute time of {:g} ms does not fit the {} bytes at byte {} with the time scalar {}; choose a "
                "longer word with --map {}=BYTE:SIZE",
                work.trace.number + 1, timeMs, word.size, word.position, scalar, name);
    }

    segy::Layout _layout;
    std::optional<LinearFunction> _top, _bottom;
    EdgeFader _fader;
};

std::unique_ptr<Step> make(const Parameters& parameters, const Line& line) {
    const auto& times = static_cast<const MuteTimes&>(*line.prepared);
    if (!times.top && !times.bottom) failUsage("mute: give top_m_ms or top_file, bottom_m_ms or bottom_file, or one of each");
    return std::make_unique<Mute>(parameters, line, times);
}

const StepKind kind = {
    .name = "mute",
    .summary = "zeroes traces above and below times that change with offset, and softens the edges",
    .example = "pelta mute in.sgy out.sgy --top 0:0,300:0,3000:2100 --taper 40",
    .parameters =
        {
            {"top",
             "m_ms",
             Kind::pairs,
             "pairs of offset, whatever its sign, and time; what is earlier is zeroed; linear between, constant beyond",
             {},
             0,
             1e9},
            inputFileParameter("top_file", "CSV file of the same pairs, an offset and a time a line"),
            {"bottom", "m_ms", Kind::pairs, "the same for the end of the trace: what is later is zeroed", {}, 0, 1e9},
            inputFileParameter("bottom_file", "CSV file of the same pairs"),
            {"taper", "ms", Kind::real, "length of the fade from an edge inwards", 20.0, 0, 1e5},
            choiceParameter("taper_shape", "shape of the fade, the same at both edges", cosine,
                            {{"cosine", cosine}, {"linear", linear}}),
        },
    .make = make,
    .prepare = prepare,
};
const Registration registration(kind);

}
}
