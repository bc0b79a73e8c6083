#include "velocity/gather.h"

#include <pelta/normalmoveout.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "support/failure.h"

namespace pelta::velocity {
namespace {

constexpr std::int64_t mostSamples = std::int64_t{1} << 27; /* of a gather */
constexpr double longestLead = 1 << 24;                     /* samples between time 0 and a trace's first */

struct ChosenTrace {
    double offset = 0.0;
    Place place;
    std::vector<float> fromTimeZero;
};

std::int64_t keyOf(const segy::TraceFacts& facts, GatherChoice::Kind kind) {
    return kind == GatherChoice::Kind::cdp ? facts.cdp : facts.record;
}

/* The samples from time 0 on. */
std::vector<float> fromTimeZero(const segy::Trace& trace, double delayMs, double intervalMs) {
    const double lead = std::round(delayMs / intervalMs);
    if (!(std::abs(lead) < longestLead))
        fail("trace {}: a delay of {:g} ms is more than velocity analysis takes; --map delay=BYTE:SIZE names the right word",
             trace.number + 1, delayMs);
    const auto& samples = trace.samples;
    if (lead < 0.0)
        return {samples.begin() + std::min<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(-lead), std::ssize(samples)),
                samples.end()};
    std::vector<float> padded(static_cast<std::size_t>(lead), 0.0f);
    padded.insert(padded.end(), samples.begin(), samples.end());
    return padded;
}

std::int64_t clearNotFinite(std::vector<float>& samples) {
    std::int64_t count = 0;
    for (float& sample : samples)
        if (!std::isfinite(sample)) {
            sample = 0.0f;
            ++count;
        }
    return count;
}

bool isDead(const std::vector<float>& samples) {
    return std::all_of(samples.begin(), samples.end(), [](float sample) { return sample == 0.0f; });
}

/* What the chosen traces were like, and which others there are. */
struct Count {
    std::int64_t chosen = 0, badSamples = 0, fileTraces = 0;
    std::int64_t lowestKey = std::numeric_limits<std::int64_t>::max(), highestKey = std::numeric_limits<std::int64_t>::min();
};

std::vector<ChosenTrace> readChosen(segy::Reader& reader, const GatherChoice& choice, Count& count) {
    const segy::Layout& layout = reader.layout();
    std::vector<ChosenTrace> traces;
    std::int64_t sampleCount = 0;
    segy::Trace trace;
    while (reader.next(trace)) {
        const segy::TraceFacts facts = segy::readFacts(trace, layout);
        const std::int64_t key = keyOf(facts, choice.kind);
        ++count.fileTraces;
        count.lowestKey = std::min(count.lowestKey, key);
        count.highestKey = std::max(count.highestKey, key);
        if (key < choice.first || key > choice.last) continue;
        ++count.chosen;
        segy::decode(trace, layout);
        count.badSamples += clearNotFinite(trace.samples);
        std::vector<float> samples = fromTimeZero(trace, facts.delayMs, layout.intervalMs);
        if (facts.traceType == segy::deadTrace || isDead(samples)) continue;
        traces.push_back({facts.offset * layout.metresPerUnit(), placeOf(facts), std::move(samples)});
        sampleCount = std::max<std::int64_t>(sampleCount, std::ssize(traces.back().fromTimeZero));
        if (sampleCount * std::ssize(traces) > mostSamples)
            fail("{}: {} has more than {} samples, too many for one analysis", reader.name(), choice.name(), mostSamples);
    }
    return traces;
}

void checkChosen(const std::string& file, const GatherChoice& choice, const Count& count,
                 const std::vector<ChosenTrace>& traces) {
    const std::string name = choice.name();
    if (count.fileTraces == 0) fail("{}: the file has no traces", file);
    if (count.chosen == 0)
        fail("{}: no trace of {}; there are {} {} to {}", file, name,
             choice.kind == GatherChoice::Kind::cdp ? "CDPs" : "records", count.lowestKey, count.highestKey);
    if (traces.empty())
        fail("{}: {} of {} {} dead", file, count.chosen == 1 ? "the only trace" : fmt::format("all {} traces", count.chosen),
             name, count.chosen == 1 ? "is" : "are");
    if (traces.size() == 1)
        fail("{}: {} has one live trace, and velocity analysis compares several; --cdps FIRST,LAST puts CDPs together", file,
             name);
    const auto sameOffset = [&](const ChosenTrace& trace) { return std::abs(trace.offset) == std::abs(traces[0].offset); };
    if (!std::all_of(traces.begin(), traces.end(), sameOffset)) return;
    if (traces[0].offset == 0.0)
        fail("{}: the offset of all {} traces of {} is 0; --map offset=BYTE:SIZE names the right word", file, traces.size(),
             name);
    fail("{}: all {} traces of {} have the offset {:g} m, which tells no velocity", file, traces.size(), name,
         traces[0].offset);
}

}

std::string GatherChoice::name() const {
    if (kind == Kind::record) return fmt::format("record {}", first);
    return first == last ? fmt::format("CDP {}", first) : fmt::format("CDPs {} to {}", first, last);
}

Gather readGather(segy::Reader& reader, const GatherChoice& choice) {
    Count count;
    std::vector<ChosenTrace> traces = readChosen(reader, choice, count);
    checkChosen(reader.name(), choice, count, traces);
    if (count.badSamples > 0)
        warn(fmt::format("{}: {} samples of {} are NaN or infinite and count as 0", reader.name(), count.badSamples,
                         choice.name()));
    std::stable_sort(traces.begin(), traces.end(),
                     [](const ChosenTrace& a, const ChosenTrace& b) { return a.offset < b.offset; });
    Gather gather;
    gather.intervalMs = reader.layout().intervalMs;
    for (const ChosenTrace& trace : traces)
        gather.sampleCount = std::max(gather.sampleCount, static_cast<int>(trace.fromTimeZero.size()));
    gather.samples.assign(traces.size() * static_cast<std::size_t>(gather.sampleCount), 0.0f);
    for (const ChosenTrace& trace : traces) {
        std::copy(trace.fromTimeZero.begin(), trace.fromTimeZero.end(), gather.trace(gather.traceCount()));
        gather.offsets.push_back(trace.offset);
        gather.place.x += trace.place.x / static_cast<double>(traces.size());
        gather.place.y += trace.place.y / static_cast<double>(traces.size());
    }
    return gather;
}

Gather correctedGather(const Gather& gather, const TimeFunction& velocities, float stretch) {
    Gather corrected = gather;
    const int count = gather.sampleCount;
    std::vector<float> function(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) function[i] = static_cast<float>(velocities.at(i * gather.intervalMs));
    NormalMoveout moveout(count, static_cast<float>(gather.intervalMs / 1000.0), stretch, -1e9f, true, false);
    for (int k = 0; k < gather.traceCount(); ++k)
        moveout.applyNMO(corrected.trace(k), function.data(), nullptr, count, 0.0f, static_cast<float>(gather.offsets[k]), 0,
                         count);
    return corrected;
}

}
