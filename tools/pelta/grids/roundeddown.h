#ifndef PELTA_TOOL_ROUNDEDDOWN_H
#define PELTA_TOOL_ROUNDEDDOWN_H

#include <cmath>

namespace pelta {

/* The largest of 1, 2 and 5 times a power of ten that is not above a size (above 0): a round distance of nodes. */
inline double roundedDown(double size) {
    const double power = std::pow(10.0, std::floor(std::log10(size)));
    for (double factor : {5.0, 2.0})
        if (factor * power <= size) return factor * power;
    return power;
}

}

#endif
