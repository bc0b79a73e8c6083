#ifndef PELTA_LIB_SPECTRAL_SPECTRA_H
#define PELTA_LIB_SPECTRAL_SPECTRA_H

#include <pelta/types.h>

#include "vectorize.h"

/* The bins that overlay an array of floats. */
inline peltaComplex* bins(float* floats) { return reinterpret_cast<peltaComplex*>(floats); }

/* Kernels between transforms and behind them keep to the width of register that those use: 512 bits would slow the transforms
 * down. */
namespace {

/* Scales what comes back from a transform. */
PELTA_VECTORIZE_256 void divide(const float* values, float divisor, float* quotients, int count) {
    for (int i = 0; i < count; ++i) quotients[i] = values[i] / divisor;
}

}

#endif
