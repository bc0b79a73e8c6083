#ifndef PELTA_LIB_TRUNCATION_H
#define PELTA_LIB_TRUNCATION_H

#include <limits>

/* Truncates towards zero; saturates at the ends of the int range, and a NaN goes to its lower end. */
inline int truncated(float value) {
    constexpr int largest = std::numeric_limits<int>::max(), smallest = std::numeric_limits<int>::min();
    if (value >= static_cast<float>(largest)) return largest;
    return value > static_cast<float>(smallest) ? static_cast<int>(value) : smallest;
}

#endif
