#include <pelta/statistics.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "anyorder.h"

namespace {

/* Kept on purpose: with half the window's length, rounded down, the window of sample i runs from i - half up to, not including,
 * i + half. An even one so reaches a sample further back than ahead, an odd one counts as the even one below it. */

/* The means of a trace are made a group at a time, those of floats a stretch of groups at a time. */
constexpr int groupLength = 32;
constexpr int stretchLength = 512;

/* The samples from first on, in double, with zeros where the trace has none. */
template <class Real>
PELTA_INLINE void copyPadded(const Real* trace, int sampleCount, std::int64_t first, int count, double* samples) {
    const int leading = static_cast<int>(std::clamp<std::int64_t>(-first, 0, count));
    const int end = static_cast<int>(std::clamp<std::int64_t>(sampleCount - first, leading, count));
    std::fill_n(samples, leading, 0.0);
    for (int k = leading; k < end; ++k) samples[k] = trace[first + k];
    std::fill(samples + end, samples + count, 0.0);
}

/* Kept on purpose: an empty window has the count 0, and one that ends before it starts a count below 0. */
PELTA_INLINE float countInWindow(int sampleCount, int half, int i) {
    return static_cast<float>(std::min(half, i) + std::min(half, sampleCount - i));
}

template <class Real>
PELTA_INLINE void divideSums(const double* sums, Real* means, int sampleCount, int half, std::int64_t first) {
    const int outputs = static_cast<int>(std::min<std::int64_t>(groupLength, sampleCount - first));
    for (int k = 0; k < outputs; ++k) {
        const int i = static_cast<int>(first) + k;
        means[i] = static_cast<Real>(sums[k] / countInWindow(sampleCount, half, i));
    }
}

using GroupSums = std::array<double, groupLength>;

/* Adds samples[k], samples[k + 1] ... to the sum of window k. The sums are vectors by type, since the compiler leaves an array
 * of so many in memory. */
PELTA_INLINE void addTerms(const double* samples, int terms, GroupSums& sums) {
    typedef double Vector __attribute__((vector_size(32)));
    Vector sum[groupLength / 4], next;
    std::memcpy(sum, sums.data(), sizeof sum);
    for (int term = 0; term < terms; ++term)
#pragma GCC unroll 8
        for (int k = 0; k < groupLength / 4; ++k) {
            std::memcpy(&next, samples + term + 4 * k, sizeof next);
            sum[k] += next;
        }
    std::memcpy(sums.data(), sum, sizeof sum);
}

/* Means of a group whose windows are summed side by side, one to a lane, so that each sum takes its samples in their order. The
 * zeros beside the trace stand for the cut ends of windows: a sum that starts from 0 does not see them. */
template <class Real>
PELTA_INLINE void meansInOrder(const Real* trace, Real* means, int sampleCount, int half, std::int64_t first) {
    constexpr int pieceLength = 224;
    double samples[pieceLength + groupLength];
    GroupSums sums{};
    const auto end = std::min<std::int64_t>(half, sampleCount - first);
    auto offset = std::max<std::int64_t>(-std::int64_t{half}, 1 - first - groupLength);
    for (; offset < end; offset += pieceLength) {
        const int terms = static_cast<int>(std::min<std::int64_t>(pieceLength, end - offset));
        copyPadded(trace, sampleCount, first + offset, terms + groupLength - 1, samples);
        addTerms(samples, terms, sums);
    }
    divideSums(sums.data(), means, sampleCount, half, first);
}

/* Window sums of neighbouring samples, and how far they can be from the sums in order. */
struct Stretch {
    double sums[stretchLength];
    double reach;
    bool isExact; /* every partial sum is */
};

template <int shift>
PELTA_INLINE void addShifted(double* values) {
    for (int k = 0; k < stretchLength - shift; ++k) values[k] += values[k + shift];
}

/* Each window sum follows from the one a row before it by what enters and leaves the window over a row; only within the first
 * row each follows from its neighbour.
 * With S the sizes of all samples seen and u = 2^-53, the first window strays by at most (length - 1) u S, and so does any sum
 * in order; the changes by 2 u S, and over a row by 8 u S more; 46 steps along and down the rows by u S each, and the factor
 * that stands for a division by 4 u S. All that is below (2 length + 64) u S; an eighth more covers the products of errors. */
PELTA_INLINE void slideWindows(const float* trace, int sampleCount, int half, std::int64_t first, Stretch& stretch) {
    constexpr int row = 16;
    double change[stretchLength], leaving[stretchLength];
    copyPadded(trace, sampleCount, first + half, stretchLength, change);
    copyPadded(trace, sampleCount, first - half, stretchLength, leaving);
    for (int k = 0; k < stretchLength; ++k) change[k] -= leaving[k];

    const auto begin = std::max<std::int64_t>(first - half, 0);
    const auto end = std::min<std::int64_t>(first + stretchLength + half, sampleCount);
    const auto length = static_cast<int>(std::min<std::int64_t>(first + half, sampleCount) - begin);
    double* sums = stretch.sums;
    sums[0] = sumOverLanes(trace + begin, length, [](float sample) -> double { return sample; });
    for (int k = 1; k < row; ++k) sums[k] = sums[k - 1] + change[k - 1];
    addShifted<1>(change);
    addShifted<2>(change);
    addShifted<4>(change);
    addShifted<8>(change);
    for (int k = row; k < stretchLength; ++k) sums[k] = sums[k - row] + change[k - row];

    const auto seen = static_cast<int>(end - begin);
    const double size = sumOverLanes(trace + begin, seen, [](float sample) -> double { return std::fabs(sample); });
    const auto longest = static_cast<double>(std::min<std::int64_t>(2 * std::int64_t{half}, sampleCount));
    stretch.reach = (longest + 32.0) * 0x1.2p-52 * size;
    stretch.isExact = isExactInAnyOrder(trace + begin, seen, size);
}

/* Lower ends of the means of a group whose sums in order lie within reach; true if no upper end is another float. */
template <class InverseCount>
PELTA_INLINE bool settleGroup(const double* sums, double reach, int outputs, InverseCount inverseCount, float* means) {
    std::uint32_t differing = 0;
    for (int k = 0; k < groupLength; ++k) {
        const auto high = static_cast<float>((sums[k] + reach) * inverseCount(k));
        means[k] = static_cast<float>((sums[k] - reach) * inverseCount(k));
        const std::uint32_t wanted = k < outputs ? 0xFFFFFFFF : 0;
        differing |= (std::bit_cast<std::uint32_t>(means[k]) ^ std::bit_cast<std::uint32_t>(high)) & wanted;
    }
    return differing == 0;
}

/* Means of a group if every sum within reach leads to them, else false. */
PELTA_INLINE bool settleMeans(const double* sums, double reach, float* means, int sampleCount, int half, int first) {
    const int outputs = std::min(groupLength, sampleCount - first);
    const auto inverseCount = [=](int k) { return 1.0 / countInWindow(sampleCount, half, first + std::min(k, outputs - 1)); };
    const auto sameInverse = [inverse = inverseCount(0)](int) { return inverse; };
    const bool isCut = first < half || sampleCount - first - groupLength < half;
    float settled[groupLength];
    const bool isSettled = isCut ? settleGroup(sums, reach, outputs, inverseCount, settled)
                                 : settleGroup(sums, reach, outputs, sameInverse, settled);
    if (!isSettled) return false;
    std::copy_n(settled, outputs, means + first);
    return true;
}

PELTA_VECTORIZE void runningMean(const float* trace, float* means, int sampleCount, int windowLength) {
    const int half = windowLength / 2;
    Stretch stretch;
    for (std::int64_t first = 0; first < sampleCount; first += groupLength) {
        const auto inStretch = first % stretchLength;
        if (inStretch == 0 && half > 0) slideWindows(trace, sampleCount, half, first, stretch);
        const double* sums = stretch.sums + inStretch;
        const bool isBounded = half > 0 && std::isfinite(stretch.reach);
        if (isBounded && settleMeans(sums, stretch.reach, means, sampleCount, half, static_cast<int>(first))) continue;
        if (isBounded && stretch.isExact) divideSums(sums, means, sampleCount, half, first);
        else meansInOrder(trace, means, sampleCount, half, first);
    }
}

PELTA_VECTORIZE void runningMean(const double* trace, double* means, int sampleCount, int windowLength) {
    for (std::int64_t first = 0; first < sampleCount; first += groupLength)
        meansInOrder(trace, means, sampleCount, windowLength / 2, first);
}

template <class Real>
void runningMeanInPlace(Real* trace, int sampleCount, int windowLength, Real* scratch) {
    runningMean(trace, scratch, sampleCount, windowLength);
    if (sampleCount > 0) std::copy_n(scratch, sampleCount, trace);
}

}

void smooth(float* trcin, float* trcout, int num, int nsmth) { runningMean(trcin, trcout, num, nsmth); }

void smooth2(float* trcin, int num, int nsmth, float* temp) { runningMeanInPlace(trcin, num, nsmth, temp); }

void smooth2Double(double* trcin, int num, int nsmth, double* temp) { runningMeanInPlace(trcin, num, nsmth, temp); }
