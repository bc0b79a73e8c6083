#include <pelta/statistics.h>

#include <cmath>

void computeMeanRms(float* trace, int nsamp, float* rms) {
    double sum = 0.0;
    int liveCount = 0;
    for (int i = 0; i < nsamp; ++i) {
        if (trace[i] == 0.0f) continue;
        sum += trace[i] * trace[i];
        ++liveCount;
    }
    *rms = liveCount > 0 ? static_cast<float>(std::sqrt(sum / liveCount)) : 0.0f;
}
