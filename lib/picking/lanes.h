#ifndef PELTA_LIB_PICKING_LANES_H
#define PELTA_LIB_PICKING_LANES_H

#include <cstddef>
#include <cstring>

/* Four samples side by side, and places in arrays of them. */

namespace {

using Index = std::ptrdiff_t;

using Lanes = float __attribute__((vector_size(16)));
constexpr int laneCount = sizeof(Lanes) / sizeof(float);

Lanes lanesAt(const float* values) {
    Lanes lanes;
    std::memcpy(&lanes, values, sizeof lanes);
    return lanes;
}

}

#endif
