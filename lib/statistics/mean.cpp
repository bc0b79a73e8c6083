#include <pelta/statistics.h>

#include <cmath>

#include "anyorder.h"

namespace {

double sumInOrder(const float* trace, int sampleCount) {
    double sum = 0.0;
    for (int i = 0; i < sampleCount; ++i) sum += trace[i];
    return sum;
}

PELTA_VECTORIZE double sumInAnyOrder(const float* trace, int sampleCount) {
    return sumOverLanes(trace, sampleCount, [](float sample) -> double { return sample; });
}

PELTA_VECTORIZE double sumOfSizes(const float* trace, int sampleCount) {
    return sumOverLanes(trace, sampleCount, [](float sample) -> double { return std::fabs(sample); });
}

PELTA_VECTORIZE bool isExact(const float* trace, int sampleCount, double size) {
    return isExactInAnyOrder(trace, sampleCount, size);
}

/* A mean close to zero is rarely settled, but its sum is often exact. */
float meanOf(const float* trace, int sampleCount) {
    const auto divided = [=](double sum) { return static_cast<float>(sum / sampleCount); };
    if (sampleCount < shortTrace) return divided(sumInOrder(trace, sampleCount));
    const double sum = sumInAnyOrder(trace, sampleCount), size = sumOfSizes(trace, sampleCount);
    if (const auto mean = settle({sum, sampleCount * reachPerTerm * size}, divided)) return *mean;
    return divided(isExact(trace, sampleCount, size) ? sum : sumInOrder(trace, sampleCount));
}

/* The deviation is a float, so its square is exact in double, however it is formed. */
PELTA_INLINE double squaredDeviation(float sample, float mean) {
    const double deviation = sample - mean;
    return deviation * deviation;
}

double squaresInOrder(const float* trace, int sampleCount, float mean) {
    double sum = 0.0;
    for (int i = 0; i < sampleCount; ++i) sum += squaredDeviation(trace[i], mean);
    return sum;
}

PELTA_VECTORIZE AnyOrderSum squaresInAnyOrder(const float* trace, int sampleCount, float mean) {
    const double sum = sumOverLanes(trace, sampleCount, [=](float sample) { return squaredDeviation(sample, mean); });
    return {sum, sampleCount * reachPerTerm * sum};
}

float deviationOf(const float* trace, int sampleCount, float mean) {
    const auto rooted = [=](double squares) { return static_cast<float>(std::sqrt(squares / (sampleCount - 1))); };
    if (sampleCount >= shortTrace)
        if (const auto deviation = settle(squaresInAnyOrder(trace, sampleCount, mean), rooted)) return *deviation;
    return rooted(squaresInOrder(trace, sampleCount, mean));
}

}

void computeMean(float* trace, int nsamp, float* fmean, float* fstd) {
    *fmean = nsamp == 0 ? 0.0f : meanOf(trace, nsamp);
    *fstd = nsamp > 1 ? deviationOf(trace, nsamp, *fmean) : 0.0f;
}
