#include <pelta/spectrum.h>

namespace {

float correlationAtLag(const float* trace, int sampleCount, int lag) {
    float sum = 0.0f;
    for (int j = 0; j < sampleCount - lag; ++j) sum += trace[j + lag] * trace[j];
    return sum;
}

}

void AutoCorr(float* trace, int nt, float* autocor, int na) {
    for (int lag = 0; lag < na; ++lag) {
        autocor[lag] = 0.0f;
        if (nt - lag < 1) return;
        autocor[lag] = correlationAtLag(trace, nt, lag);
    }
}
