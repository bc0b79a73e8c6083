#include <pelta/host.h>
#include <pelta/normalmoveout.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include "truncation.h"
#include "vectorize.h"
#include "workarray.h"

namespace {

enum class Formula { hyperbola, fourthOrder, convertedWave };

/* What the moveout of a trace depends on, besides the velocities. */
struct Moveout {
    float sampleInterval;
    float startTime;
    float offset;
    float stretchLimit;
    bool mutesStretch;
    bool isTwoWay;
};

/* Time at which a reflection of the given two-way zero-offset time arrives. Every intermediate value is single precision
 * but for the two that are named. */
template <Formula formula>
PELTA_INLINE float arrivalTime(float time, float offset, float velocity, float fourthOrder) {
    const float offsetSquared = offset * offset, timeSquared = time * time, velocitySquared = velocity * velocity;
    if constexpr (formula == Formula::convertedWave) {
        const double slownessTerm = offsetSquared / (2.0 * velocitySquared);  // in double, as is the root
        const float legSquared = static_cast<float>(0.25 * timeSquared + slownessTerm);
        return static_cast<float>(std::sqrt(static_cast<double>(legSquared)) + 0.5f * time);
    }
    const float slownessTerm = offsetSquared / velocitySquared;
    const float hyperbolaSquared = timeSquared + slownessTerm;
    // A root taken in double and rounded to single has the bits of the root taken in single.
    if constexpr (formula == Formula::hyperbola) return std::sqrt(hyperbolaSquared);
    const float correction = static_cast<float>(2.0 * fourthOrder * slownessTerm);
    const float denominator = hyperbolaSquared + correction;
    // Without a denominator the plain hyperbola holds. The quotient is masked, since a branch would keep the loop from
    // being vectorised.
    const std::uint32_t mask = denominator != 0.0f ? ~0u : 0u;
    const float quartic = std::bit_cast<float>(std::bit_cast<std::uint32_t>(correction * slownessTerm / denominator) & mask);
    return std::sqrt(hyperbolaSquared - quartic);
}

/* Positions, in samples, from which the samples first <= i < last are read. Returns the sample behind the last one that is
 * stretched beyond the limit, 0 when none is. */
template <Formula formula>
PELTA_INLINE int fillPositions(const Moveout& moveout, const float* __restrict velocity, const float* __restrict fourthOrder,
                               int first, int last, float* __restrict positions) {
    const auto [sampleInterval, startTime, offset, stretchLimit, mutesStretch, isTwoWay] = moveout;
    int firstKept = 0;
    for (int i = first; i < last; ++i) {
        const float time = static_cast<float>(i) * sampleInterval + startTime;
        const float coefficient = formula == Formula::fourthOrder ? fourthOrder[i] : 0.0f;
        const float arrival = arrivalTime<formula>(time, offset, velocity[i], coefficient);
        const bool isMuted = mutesStretch & (arrival - time > stretchLimit * time);
        firstKept = std::max(firstKept, isMuted ? i + 1 : 0);
        const float halfway = time + 0.5f * (arrival - time);
        positions[i] = (isTwoWay ? arrival : halfway) / sampleInterval;
    }
    return firstKept;
}

PELTA_VECTORIZE int fillHyperbola(const Moveout& moveout, const float* velocity, int first, int last, float* positions) {
    return fillPositions<Formula::hyperbola>(moveout, velocity, nullptr, first, last, positions);
}

PELTA_VECTORIZE int fillFourthOrder(const Moveout& moveout, const float* velocity, const float* fourthOrder, int first,
                                    int last, float* positions) {
    return fillPositions<Formula::fourthOrder>(moveout, velocity, fourthOrder, first, last, positions);
}

PELTA_VECTORIZE int fillConvertedWave(const Moveout& moveout, const float* velocity, int first, int last, float* positions) {
    return fillPositions<Formula::convertedWave>(moveout, velocity, nullptr, first, last, positions);
}

int fillByFormula(const NormalMoveout& settings, const Moveout& moveout, const float* velocity, const float* fourthOrder,
                  int first, int last, float* positions) {
    if (settings._isConvertedWave) return fillConvertedWave(moveout, velocity, first, last, positions);
    if (settings._4thorder) return fillFourthOrder(moveout, velocity, fourthOrder, first, last, positions);
    return fillHyperbola(moveout, velocity, first, last, positions);
}

/* Kept on purpose: the mute looks at the signed offset, so that negative offsets escape a limit of 0. */
Moveout moveoutOf(const NormalMoveout& settings, float startTime, float offset) {
    const bool mutesStretch = offset >= settings._stroffset && settings._stretch < 1.0f;
    return {settings._srate, startTime, std::fabs(offset), settings._stretch, mutesStretch, settings._twoway};
}

/* Samples that can be worked on: those the work arrays have room for, none where an array could not be had. */
int workableCount(const NormalMoveout& settings, int sampleCount) {
    const bool hasArrays = settings._tempTrc && settings._tempSamp && settings._tempSampCopy;
    return hasArrays ? std::min(sampleCount, settings._nsamples) : 0;
}

/* Resamples the copy of the trace at the positions of the samples first .. first + count - 1. */
void interpolate(const NormalMoveout& settings, int sampleCount, int first, int count, float* trace) {
    ints8r(sampleCount, 1.0f, 0.0f, settings._tempTrc, 0.0f, 0.0f, count, settings._tempSamp + first, trace + first);
}

/* Of the trace, copies the samples first <= i < last that lie in it to the same places of an otherwise zero trace. */
void copyWindow(const float* trace, int sampleCount, std::int64_t first, std::int64_t last, float* window) {
    std::fill_n(window, sampleCount, 0.0f);
    const std::int64_t begin = std::clamp<std::int64_t>(first, 0, sampleCount);
    const std::int64_t end = std::clamp<std::int64_t>(last, begin, sampleCount);
    std::copy(trace + begin, trace + end, window + begin);
}

/* Positions one sample apart from the centre's outwards, halfLength + 1 samples back and halfLength on. */
void shiftAsBlock(float* positions, int sampleCount, std::int64_t centre, std::int64_t halfLength) {
    const std::int64_t end = std::min<std::int64_t>(centre + halfLength + 1, sampleCount);
    for (std::int64_t j = centre + 1; j < end; ++j) positions[j] = positions[j - 1] + 1.0f;
    const std::int64_t begin = std::max<std::int64_t>(centre - halfLength - 1, 0);
    for (std::int64_t j = centre - 1; j >= begin; --j) positions[j] = positions[j + 1] - 1.0f;
}

/* Inverts a table of recorded positions (one-based) by linear interpolation: each recorded sample that lies between two of
 * them gets the position, in the corrected trace, from which it is read. Samples beyond the arrays and intervals that end
 * in a NaN are passed over. Returns the earliest recorded position that was used, sampleCount when none was. */
float invertPositions(const float* recorded, int sampleCount, float* positions) {
    constexpr int mostSamples = 100;
    const auto store = [=](std::int64_t sample, float position) {
        if (sample >= 0 && sample < sampleCount) positions[sample] = position;
    };
    float earliest = static_cast<float>(sampleCount);
    for (int j = 1; j < sampleCount; ++j) {
        const float begin = recorded[j - 1], end = recorded[j];
        if (std::isnan(begin) || std::isnan(end)) continue;
        const std::int64_t first = truncated(begin + 1.0f), last = truncated(end);
        if (first >= sampleCount) break;
        if (first > last) continue;
        earliest = std::min(begin, earliest);
        const float step = 1.0f / (end - begin);
        const float position = static_cast<float>(j - 1) + (static_cast<float>(first) - begin) * step;
        store(first - 1, position);
        // Kept on purpose: each further position goes one sample before its own, the first of them over the one just stored;
        // and at most 99 samples of an interval get one.
        for (int k = 1; k < mostSamples && first + k <= last; ++k)
            store(first + k - 2, static_cast<float>(k) * step + position);
    }
    return earliest;
}

}

NormalMoveout::NormalMoveout(int nsamples, float srate, float stretch, float stroff, bool twoway, bool forthord)
    : _nsamples(nsamples),
      _srate(srate),
      _stretch(stretch),
      _stroffset(stroff),
      _twoway(twoway),
      _4thorder(forthord),
      _tempTrc(allocateWorkArray<float>(nsamples)),
      _tempSamp(allocateWorkArray<float>(nsamples)),
      _tempSampCopy(allocateWorkArray<float>(nsamples)),
      _isConvertedWave(false),
      _sampleAtStretch(0) {
    if (!_tempSampCopy) return;
    for (int i = 0; i < nsamples; ++i) _tempSampCopy[i] = static_cast<float>(i);
}

NormalMoveout::~NormalMoveout() {
    std::free(_tempTrc);
    std::free(_tempSamp);
    std::free(_tempSampCopy);
}

void NormalMoveout::setStretch(float stretch) { _stretch = stretch; }

float NormalMoveout::getStretch() { return _stretch; }

void NormalMoveout::setConvertedWave(bool state) { _isConvertedWave = state; }

bool NormalMoveout::isConvertedWave() { return _isConvertedWave; }

void NormalMoveout::setFourthOrder(bool state) { _4thorder = state; }

bool NormalMoveout::isFourthOrder() { return _4thorder; }

int NormalMoveout::sampleAtStretch() { return _sampleAtStretch; }

int NormalMoveout::applyNMO(float* trace, float* velocity, float* forth, int nsamp, float t0, float offset, int istrt,
                            int iend) {
    const int sampleCount = workableCount(*this, nsamp);
    if (sampleCount <= 0) return 0;
    std::copy_n(_tempSampCopy, sampleCount, _tempSamp);
    std::copy_n(trace, sampleCount, _tempTrc);
    std::fill_n(trace, sampleCount, 0.0f);
    // Kept on purpose: the start time is in the arrival times and is not taken off the positions, so that the trace is read as
    // if it began at time 0.
    const int first = std::max(istrt, 0), last = std::min(iend, sampleCount);
    _sampleAtStretch = fillByFormula(*this, moveoutOf(*this, t0, offset), velocity, forth, first, last, _tempSamp);
    if (_sampleAtStretch < sampleCount)
        interpolate(*this, sampleCount, _sampleAtStretch, sampleCount - _sampleAtStretch, trace);
    return 0;
}

int NormalMoveout::applyBlockNMO(float* trace, float* velocity, float* forth, int nsamp, float t0, float offset, int istrt,
                                 int iend) {
    const int sampleCount = workableCount(*this, nsamp);
    if (sampleCount <= 0) return 0;
    std::copy_n(_tempSampCopy, sampleCount, _tempSamp);
    const std::int64_t length = static_cast<std::int64_t>(iend) - istrt, halfLength = length / 2;
    const std::int64_t centreSample = istrt + halfLength;
    const bool isInside = centreSample >= 0 && centreSample < sampleCount;
    const int centre = isInside ? static_cast<int>(centreSample) : 0;
    if (!isInside || fillByFormula(*this, moveoutOf(*this, t0, offset), velocity, forth, centre, centre + 1, _tempSamp) > 0) {
        std::fill_n(trace, sampleCount, 0.0f);
        return 0;
    }
    const std::int64_t first = truncated(_tempSamp[centre]) - length;
    copyWindow(trace, sampleCount, first, first + 2 * length, _tempTrc);
    shiftAsBlock(_tempSamp, sampleCount, centre, halfLength);
    interpolate(*this, sampleCount, 0, sampleCount, trace);
    return 0;
}

int NormalMoveout::unApplyNMO(float* trace, float* velocity, float* forth, int nsamp, float t0, float offset, int, int) {
    const int sampleCount = workableCount(*this, nsamp);
    if (sampleCount <= 0) return 0;
    std::copy_n(_tempSampCopy, sampleCount, _tempSamp);
    fillByFormula(*this, moveoutOf(*this, t0, offset), velocity, forth, 1, sampleCount, _tempTrc);
    // Kept on purpose: sample 0 is taken at x/v whatever the start time, the formula and the halving.
    _tempTrc[0] = std::fabs(offset) / velocity[0] / _srate;
    for (int i = 0; i < sampleCount; ++i) _tempTrc[i] += 1.0f;
    const int earliest = truncated(invertPositions(_tempTrc, sampleCount, _tempSamp));
    std::copy_n(trace, sampleCount, _tempTrc);
    if (earliest >= sampleCount) {
        _sampleAtStretch = earliest;
        std::fill_n(trace, sampleCount, 0.0f);
        return 0;
    }
    // Negative times may put the first recorded position before the trace.
    const int first = std::max(earliest, 1) - 1;
    std::fill_n(trace, first, 0.0f);
    _sampleAtStretch = first;
    // Kept on purpose: the count stops one short, so that the last sample keeps its value.
    interpolate(*this, sampleCount, first, sampleCount - 1 - first, trace);
    return 0;
}
