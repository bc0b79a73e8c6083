#ifndef PELTA_TESTS_PLAINIBM_H
#define PELTA_TESTS_PLAINIBM_H

#include <cstdint>

/* The conversions between IBM and IEEE words step by step: what the library has to give to the bit. */

inline std::uint32_t plainIbmToIeee(std::uint32_t word) {
    std::uint32_t fraction = word & 0xFFFFFF;
    if (fraction == 0) return word;
    std::int32_t exponent = static_cast<std::int32_t>((word & 0x3F000000) >> 22) + 126;
    for (; (fraction & 0x800000) == 0; fraction <<= 1) --exponent;
    return (word & 0x80000000) | ((static_cast<std::uint32_t>(exponent) << 23) & 0x7F800000) | (fraction & 0x7FFFFF);
}

inline std::uint32_t plainIeeeToIbm(std::uint32_t word) {
    if (word == 0) return word;
    const int exponent = static_cast<int>((word & 0x7F800000) >> 23) - 127;
    const int shift = 3 - (exponent & 3);
    const auto hexExponent = static_cast<std::uint32_t>((exponent >> 2) + 65);
    return (word & 0x80000000) | hexExponent << 24 | ((word & 0x7FFFFF) | 0x800000) >> shift;
}

#endif
