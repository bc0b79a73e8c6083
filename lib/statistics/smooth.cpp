#include <pelta/statistics.h>

#include <algorithm>
#include <cstdint>

namespace {

/* Mean of the window of sample i: from i - half up to, not including, i + half, cut at the ends of the trace.
 * Kept on purpose: the window is off centre, an odd length counts as the even one below it, and an empty window gives 0/0. */
template <class Real>
Real windowMean(const Real* trace, int sampleCount, int half, int i) {
    const auto first = std::max<std::int64_t>(std::int64_t{i} - half, 0);
    const auto end = std::min<std::int64_t>(std::int64_t{i} + half, sampleCount);
    double sum = 0.0;
    for (std::int64_t j = first; j < end; ++j) sum += trace[j];
    return static_cast<Real>(sum / static_cast<float>(end - first));
}

template <class Real>
void runningMean(const Real* trace, Real* means, int sampleCount, int windowLength) {
    for (int i = 0; i < sampleCount; ++i) means[i] = windowMean(trace, sampleCount, windowLength / 2, i);
}

}

void smooth(float* trcin, float* trcout, int num, int nsmth) { runningMean(trcin, trcout, num, nsmth); }

void smooth2(float* trcin, int num, int nsmth, float* temp) {
    runningMean(trcin, temp, num, nsmth);
    if (num > 0) std::copy_n(temp, num, trcin);
}

void smooth2Double(double* trcin, int num, int nsmth, double* temp) {
    runningMean(trcin, temp, num, nsmth);
    if (num > 0) std::copy_n(temp, num, trcin);
}
