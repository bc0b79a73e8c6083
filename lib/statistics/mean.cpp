#include <pelta/statistics.h>

#include <cmath>

namespace {

double sumOf(const float* trace, int sampleCount) {
    double sum = 0.0;
    for (int i = 0; i < sampleCount; ++i) sum += trace[i];
    return sum;
}

/* The deviation is a float, so its square is exact in double, however it is formed. */
double sumOfSquaredDeviations(const float* trace, int sampleCount, float mean) {
    double sum = 0.0;
    for (int i = 0; i < sampleCount; ++i) {
        const double deviation = trace[i] - mean;
        sum += deviation * deviation;
    }
    return sum;
}

}

void computeMean(float* trace, int nsamp, float* fmean, float* fstd) {
    *fstd = 0.0f;
    *fmean = nsamp == 0 ? 0.0f : static_cast<float>(sumOf(trace, nsamp) / nsamp);
    if (nsamp > 1) *fstd = static_cast<float>(std::sqrt(sumOfSquaredDeviations(trace, nsamp, *fmean) / (nsamp - 1)));
}
