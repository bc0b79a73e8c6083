#include "inspection/samplescan.h"

#include <pelta/statistics.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>

namespace pelta::inspection {
namespace {

/* Integers in the order of the floats whose bits they are; their own inverse. NaN lies beyond the infinities. Comparing them
 * takes vector instructions, which comparing floats would not, for the sake of NaN. */
std::int32_t orderedBits(float sample) {
    const auto bits = std::bit_cast<std::int32_t>(sample);
    return bits ^ ((bits >> 31) & INT32_MAX);
}
float fromOrderedBits(std::int32_t bits) { return std::bit_cast<float>(bits ^ ((bits >> 31) & INT32_MAX)); }

void findExtremes(const std::vector<float>& samples, TraceQuality& quality) {
    std::int32_t smallest = INT32_MAX, largest = INT32_MIN;
    for (float sample : samples) {
        const std::int32_t bits = orderedBits(sample);
        smallest = std::min(smallest, bits);
        largest = std::max(largest, bits);
    }
    quality.min = fromOrderedBits(smallest);
    quality.max = fromOrderedBits(largest);
}

void countBad(const std::vector<float>& samples, TraceQuality& quality) {
    for (std::size_t k = 0; k < samples.size(); ++k) {
        if (std::isfinite(samples[k])) continue;
        if (quality.firstBad < 0) quality.firstBad = static_cast<std::int64_t>(k);
        ++(std::isnan(samples[k]) ? quality.nanCount : quality.infiniteCount);
    }
}

float peakOf(const TraceQuality& quality) { return std::max(std::fabs(quality.min), std::fabs(quality.max)); }

/* RMS of the trace without its largest sample, zeros included. */
double rmsOfRest(const TraceQuality& quality, std::size_t count) {
    const double n = static_cast<double>(count), mean = quality.mean, deviation = quality.deviation, peak = peakOf(quality);
    const double energy = deviation * deviation * (n - 1.0) + mean * mean * n - peak * peak;
    return std::sqrt(std::max(energy, 0.0) / (n - 1.0));
}

std::int64_t findSpike(const std::vector<float>& samples, const TraceQuality& quality) {
    constexpr double timesRms = 10.0;
    constexpr float timesNeighbours = 5.0f;
    constexpr std::ptrdiff_t nearest = 2, farthest = 8, fewestSamples = 2 * farthest;
    const float peak = peakOf(quality);
    const auto count = static_cast<std::ptrdiff_t>(samples.size());
    if (count < fewestSamples || peak < timesRms * rmsOfRest(quality, samples.size())) return -1;
    const auto place = std::find_if(samples.begin(), samples.end(), [&](float a) { return std::fabs(a) == peak; });
    const std::ptrdiff_t k = place - samples.begin();
    float neighbour = 0.0f;
    for (std::ptrdiff_t distance = nearest; distance <= farthest; ++distance) {
        if (k >= distance) neighbour = std::max(neighbour, std::fabs(samples[static_cast<std::size_t>(k - distance)]));
        if (k + distance < count) neighbour = std::max(neighbour, std::fabs(samples[static_cast<std::size_t>(k + distance)]));
    }
    return peak >= timesNeighbours * neighbour ? k : -1;
}

std::int64_t countClipped(const std::vector<float>& samples, float peak) {
    constexpr std::int64_t shortestRun = 3, fewest = 6;
    std::int64_t atPeak = 0;
    for (float sample : samples) atPeak += std::fabs(sample) == peak;
    if (atPeak < fewest) return 0;
    std::int64_t clipped = 0, run = 0;
    float before = 0.0f;
    for (float sample : samples) {
        run = std::fabs(sample) != peak ? 0 : sample == before ? run + 1 : 1;
        before = sample;
        if (run >= shortestRun) clipped += run == shortestRun ? shortestRun : 1;
    }
    return clipped >= fewest ? clipped : 0;
}

}

float smallestClipOf(segy::SampleFormat format) {
    switch (format) {
        case segy::SampleFormat::int8: return 127.0f;
        case segy::SampleFormat::int16:
        case segy::SampleFormat::int32: return 100.0f;
        default: return 0.0f;
    }
}

TraceQuality judgeSamples(std::vector<float>& samples, float smallestClip) {
    TraceQuality quality;
    if (samples.empty()) return quality;
    findExtremes(samples, quality);
    if (!std::isfinite(quality.min) || !std::isfinite(quality.max)) {
        countBad(samples, quality);
        return quality;
    }
    const int count = static_cast<int>(samples.size());
    computeMean(samples.data(), count, &quality.mean, &quality.deviation);
    computeMeanRms(samples.data(), count, &quality.rms);
    quality.isFlat = quality.min == quality.max;
    if (quality.isFlat) return quality;
    quality.spike = findSpike(samples, quality);
    const float peak = peakOf(quality);
    if (peak >= smallestClip) quality.clippedCount = countClipped(samples, peak);
    return quality;
}

namespace {

constexpr int binShift = 16; /* leaves 7 bits of the fraction */

}

RoughMedian::RoughMedian() : _bins(std::size_t{1} << (31 - binShift)) {}

void RoughMedian::take(float value) {
    ++_bins[(std::bit_cast<std::uint32_t>(value) & INT32_MAX) >> binShift];
    ++_count;
}

float RoughMedian::median() const {
    std::int64_t below = 0;
    for (std::size_t bin = 0; bin < _bins.size(); ++bin) {
        below += _bins[bin];
        if (2 * below < _count || _count == 0) continue;
        constexpr std::uint32_t middle = 1u << (binShift - 1);
        return bin == 0 ? 0.0f : std::bit_cast<float>((static_cast<std::uint32_t>(bin) << binShift) + middle);
    }
    return 0.0f;
}

void SampleScan::Span::take(float smallest, float largest, std::int64_t trace) {
    if (count == 0 || smallest < min) min = smallest, minTrace = trace;
    if (count == 0 || largest > max) max = largest, maxTrace = trace;
    sum += smallest;
    ++count;
}

void SampleScan::Kind::take(std::int64_t trace) {
    if (first.size() < mostListed) first.push_back(trace);
    ++count;
}

void SampleScan::take(const TraceQuality& quality, std::int64_t traceType, std::int64_t trace) {
    if (!quality.isFinite()) {
        if (bad.count == 0) firstBadSample = quality.firstBad + 1;
        bad.take(trace);
        nanCount += quality.nanCount;
        infiniteCount += quality.infiniteCount;
        return;
    }
    amplitude.take(quality.min, quality.max, trace);
    if (quality.isFlat || traceType == segy::deadTrace) dead.take(trace);
    if (quality.isFlat) return;
    if (traceType == segy::deadTrace) {
        markedButLive.take(trace);
        return;
    }
    live.take(trace);
    rms.take(quality.rms, trace);
    mean.take(quality.mean, trace);
    rmsMedian.take(quality.rms);
    if (quality.spike >= 0) {
        spiky.take(trace);
        largestSpike = std::max(largestSpike, peakOf(quality) / quality.rms);
    }
    if (quality.clippedCount > 0) {
        clipped.take(trace);
        clippedCount += quality.clippedCount;
    }
}

}
