#ifndef PELTA_LIB_SPECTRAL_SPECTRA_H
#define PELTA_LIB_SPECTRAL_SPECTRA_H

#include <pelta/types.h>

#include <cmath>

#include "vectorize.h"

/* The bins that overlay an array of floats. */
inline peltaComplex* bins(float* floats) { return reinterpret_cast<peltaComplex*>(floats); }

inline float largestMagnitude(const float* values, int count) {
    float largest = 0.0f;
    for (int i = 0; i < count; ++i)
        if (std::fabs(values[i]) > largest) largest = std::fabs(values[i]);
    return largest;
}

/* Kernels between transforms and behind them keep to the width of register that those use: 512 bits would slow the transforms
 * down. */
namespace {

/* Scales what comes back from a transform. */
[[maybe_unused]] PELTA_VECTORIZE_256 void divide(const float* values, float divisor, float* quotients, int count) {
    for (int i = 0; i < count; ++i) quotients[i] = values[i] / divisor;
}

}

#endif
