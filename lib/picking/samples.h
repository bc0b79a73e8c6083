#ifndef PELTA_LIB_PICKING_SAMPLES_H
#define PELTA_LIB_PICKING_SAMPLES_H

#include <cstdint>

#include "truncation.h"

namespace {

/* Windows and positions are counted in 64 bits: a sum of two parameters of any size stays a number. */
using Count = std::int64_t;

/* Rounds half away from zero, the half added in the precision of the value. */
template <class Real>
int rounded(Real value) {
    return truncated(value > 0 ? value + Real(0.5) : value - Real(0.5));
}

int samplesIn(int milliseconds, float sampleInterval) { return truncated(static_cast<float>(milliseconds) / sampleInterval); }

/* Entries outside the array count as 0. */
float entryAt(const float* array, Count length, Count index) { return index >= 0 && index < length ? array[index] : 0.0f; }

}

#endif
