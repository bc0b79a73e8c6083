#include <pelta/statistics.h>

#include <cmath>

#include "anyorder.h"

namespace {

/* Squared in single precision. A dead sample adds 0, which changes no bit of the sum. */
PELTA_INLINE double squareOf(float sample) { return sample * sample; }

double squaresInOrder(const float* trace, int sampleCount) {
    double sum = 0.0;
    for (int i = 0; i < sampleCount; ++i) sum += squareOf(trace[i]);
    return sum;
}

PELTA_VECTORIZE AnyOrderSum squaresInAnyOrder(const float* trace, int sampleCount) {
    const double sum = sumOverLanes(trace, sampleCount, [](float sample) { return squareOf(sample); });
    return {sum, sampleCount * reachPerTerm * sum};
}

PELTA_VECTORIZE int countLive(const float* trace, int sampleCount) {
    int count = 0;
    for (int i = 0; i < sampleCount; ++i) count += trace[i] != 0.0f;
    return count;
}

}

void computeMeanRms(float* trace, int nsamp, float* rms) {
    const int liveCount = countLive(trace, nsamp);
    const auto rooted = [=](double squares) { return static_cast<float>(std::sqrt(squares / liveCount)); };
    *rms = 0.0f;
    if (liveCount == 0) return;
    if (nsamp >= shortTrace)
        if (const auto settled = settle(squaresInAnyOrder(trace, nsamp), rooted)) {
            *rms = *settled;
            return;
        }
    *rms = rooted(squaresInOrder(trace, nsamp));
}
