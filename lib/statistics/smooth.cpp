#include <pelta/statistics.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "vectorize.h"

namespace {

/* Windows are summed side by side, one to a lane, so that each sum takes its samples in their order. */
constexpr int lanes = 32;
constexpr int pieceLength = 224;

using Samples = std::array<double, lanes + pieceLength>;
using Sums = std::array<double, lanes>;

/* The samples from first on, in double, with zeros where the trace has none: a sum that starts from 0 does not see them. */
template <class Real>
PELTA_INLINE void copyPadded(const Real* trace, int sampleCount, std::int64_t first, int count, Samples& samples) {
    const int leading = static_cast<int>(std::clamp<std::int64_t>(-first, 0, count));
    const int end = static_cast<int>(std::clamp<std::int64_t>(sampleCount - first, leading, count));
    std::fill_n(samples.begin(), leading, 0.0);
    for (int k = leading; k < end; ++k) samples[k] = trace[first + k];
    std::fill(samples.begin() + end, samples.begin() + count, 0.0);
}

/* Adds samples[lane], samples[lane + 1] ... to the sum in each lane. The sums are vectors by type, since the compiler leaves an
 * array of so many in memory. */
PELTA_INLINE void addTerms(const Samples& samples, int terms, Sums& sums) {
    typedef double Vector __attribute__((vector_size(32)));
    Vector sum[lanes / 4], next;
    std::memcpy(sum, sums.data(), sizeof sum);
    for (int term = 0; term < terms; ++term)
#pragma GCC unroll 8
        for (int k = 0; k < lanes / 4; ++k) {
            std::memcpy(&next, &samples[term + 4 * k], sizeof next);
            sum[k] += next;
        }
    std::memcpy(sums.data(), sum, sizeof sum);
}

/* Sums of the windows of one sample to a lane, from sample first on: offsets -half up to, not including, half. */
template <class Real>
PELTA_INLINE Sums windowSums(const Real* trace, int sampleCount, int half, std::int64_t first) {
    Sums sums{};
    Samples samples;
    const auto end = std::min<std::int64_t>(half, sampleCount - first);
    for (auto offset = std::max<std::int64_t>(-std::int64_t{half}, 1 - first - lanes); offset < end; offset += pieceLength) {
        const int terms = static_cast<int>(std::min<std::int64_t>(pieceLength, end - offset));
        copyPadded(trace, sampleCount, first + offset, terms + lanes - 1, samples);
        addTerms(samples, terms, sums);
    }
    return sums;
}

/* Kept on purpose: the window is off centre, an odd length counts as the even one below it, and an empty window gives 0/0. The
 * count of its samples goes through single precision. */
template <class Real>
PELTA_INLINE void meansOfWindows(const Real* trace, Real* means, int sampleCount, int windowLength) {
    const int half = windowLength / 2;
    for (std::int64_t first = 0; first < sampleCount; first += lanes) {
        const auto sums = windowSums(trace, sampleCount, half, first);
        const int outputs = static_cast<int>(std::min<std::int64_t>(lanes, sampleCount - first));
        for (int lane = 0; lane < outputs; ++lane) {
            const int i = static_cast<int>(first) + lane;
            const auto count = static_cast<float>(std::min(half, i) + std::min(half, sampleCount - i));
            means[i] = static_cast<Real>(sums[lane] / count);
        }
    }
}

PELTA_VECTORIZE void runningMean(const float* trace, float* means, int sampleCount, int windowLength) {
    meansOfWindows(trace, means, sampleCount, windowLength);
}

PELTA_VECTORIZE void runningMean(const double* trace, double* means, int sampleCount, int windowLength) {
    meansOfWindows(trace, means, sampleCount, windowLength);
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
