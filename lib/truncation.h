#ifndef PELTA_LIB_TRUNCATION_H
#define PELTA_LIB_TRUNCATION_H

#include <limits>

/* Truncates towards zero; saturates at the ends of the int range, and a NaN goes to its lower end. */
template <class Real>
int truncated(Real value) {
    constexpr int largest = std::numeric_limits<int>::max(), smallest = std::numeric_limits<int>::min();
    if (value >= static_cast<Real>(largest)) return largest;
    return value > static_cast<Real>(smallest) ? static_cast<int>(value) : smallest;
}

#endif
