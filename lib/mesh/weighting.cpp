#include "mesh/weighting.h"

#include "vectorize.h"

namespace {

PELTA_VECTORIZE void mixInPlace(float* ord, const float* low, double weight, int count) {
    const double rest = 1.0 - weight;
    for (int i = 0; i < count; ++i) ord[i] = static_cast<float>(ord[i] * weight + low[i] * rest);
}

}

void mix(float* ord, const float* low, double weight, int count) { mixInPlace(ord, low, weight, count); }

namespace {

PELTA_INLINE float onPlane(double z1, double z2, double z3, double f1, double f2) {
    return static_cast<float>(z1 + (z3 - z1) * f1 + (z2 - z1) * f2);
}

PELTA_VECTORIZE void setApart(float* vel, const float* z1, const float* z2, const float* z3, double f1, double f2, int count) {
    for (int i = 0; i < count; ++i) vel[i] = onPlane(z1[i], z2[i], z3[i], f1, f2);
}

PELTA_VECTORIZE void setInPlace(float* z1, const float* z2, const float* z3, double f1, double f2, int count) {
    for (int i = 0; i < count; ++i) z1[i] = onPlane(z1[i], z2[i], z3[i], f1, f2);
}

}

void setPlanes(float* vel, const float* z1, const float* z2, const float* z3, double f1, double f2, int count) {
    if (vel == z1) setInPlace(vel, z2, z3, f1, f2, count);
    else setApart(vel, z1, z2, z3, f1, f2, count);
}

void weightNearestTwo(float* vel, const float* z1, const float* z2, const float* z3, double d1, double d2, double d3,
                      int count) {
    const bool dropsFirst = d1 >= d2 && d1 >= d3, dropsSecond = !dropsFirst && d2 >= d1 && d2 >= d3;
    const float* const lower = dropsFirst ? z2 : z1;
    const float* const upper = dropsFirst || dropsSecond ? z3 : z2;
    const double ofLower = dropsFirst ? d2 : d1, ofUpper = dropsFirst || dropsSecond ? d3 : d2;
    const double sum = ofLower + ofUpper;
    for (int i = 0; i < count; ++i) vel[i] = static_cast<float>(lower[i] * ofUpper / sum + upper[i] * ofLower / sum);
}
