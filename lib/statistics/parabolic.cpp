#include <pelta/statistics.h>

namespace {

constexpr float leastCurvature = 1.0e-30f;

}

void parabolic(float* amparray, int n, float* ampval, float* xposn) {
    const float before = amparray[n - 1], after = amparray[n + 1];
    float curvature = before - 2.0f * amparray[n] + after;
    if (curvature == 0.0f) curvature = leastCurvature;
    *xposn = (0.5f / curvature) * (before - after);
    parabolic2(amparray, n, ampval, *xposn);
}

void parabolic2(float* amparray, int n, float* ampval, float xposn) {
    *ampval = amparray[n] - 0.25f * xposn * (amparray[n - 1] - amparray[n + 1]);
}
