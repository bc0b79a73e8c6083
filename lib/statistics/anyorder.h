#ifndef PELTA_LIB_STATISTICS_ANYORDER_H
#define PELTA_LIB_STATISTICS_ANYORDER_H

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <optional>

#include "vectorize.h"

/* Sums over lanes that lead to the bits of the sum in order.
 *
 * The sums of this family run in the order of the samples, a chain of additions in which each waits for the one before. Summed
 * over lanes they come much faster, with other roundings in the last bits of a double. But the results are floats, 29 bits
 * shorter: where every double that the sum in order can possibly be leads to the same float, that float is the result. Where
 * not, or where the trace holds infinities or NaNs, the caller sums in order.
 *
 * How far two orders can be apart: summing n terms, either strays from the exact sum by at most n u / (1 - n u) of the sum of
 * their sizes, u = 2^-53 (N. J. Higham, Accuracy and Stability of Numerical Algorithms, 2nd ed., section 4.2). Twice that for
 * two orders, doubled for the rounding of the bound itself, makes n 2^-51. */

struct AnyOrderSum {
    double sum;
    double reach; /* the sum in order lies within sum - reach .. sum + reach */
};

constexpr double reachPerTerm = 0x1p-51;

constexpr int shortTrace = 64; /* samples that are summed in order in less time than over lanes */

/* The float to which every sum within reach leads, if there is one. resultOf must not fall where its argument rises. */
template <class ResultOf>
PELTA_INLINE std::optional<float> settle(AnyOrderSum approximate, ResultOf resultOf) {
    const float low = resultOf(approximate.sum - approximate.reach);
    const float high = resultOf(approximate.sum + approximate.reach);
    const bool same = low == high && std::bit_cast<std::uint32_t>(low) == std::bit_cast<std::uint32_t>(high);
    return same ? std::optional(low) : std::nullopt;
}

/* Whether a sum of samples has no rounding in it, in any order: every sample is a multiple of the spacing of floats at the
 * smallest one that is not 0, and with it every partial sum, which a double holds up to 2^53 spacings. A quarter of that leaves
 * room for the difference of two partial sums and for the rounding of size, the sum of the samples' sizes. */
PELTA_INLINE bool isExactInAnyOrder(const float* trace, int sampleCount, double size) {
    std::uint32_t least = 0xFFFFFFFF;
    for (int i = 0; i < sampleCount; ++i) least = std::min(least, (std::bit_cast<std::uint32_t>(trace[i]) << 1) - 1);
    const auto exponent = static_cast<int>(std::max(least >> 24, 1u));
    return size <= std::ldexp(1.0, exponent - 150 + 51);
}

/* Sum of term(sample) over lanes. Sixteen sums hide the latency of an addition at every level. */
template <class Term>
PELTA_INLINE double sumOverLanes(const float* trace, int sampleCount, Term term) {
    constexpr int lanes = 16;
    double sums[lanes] = {};
    int i = 0;
    for (; sampleCount - i >= lanes; i += lanes)
        for (int lane = 0; lane < lanes; ++lane) sums[lane] += term(trace[i + lane]);
    for (; i < sampleCount; ++i) sums[0] += term(trace[i]);
    double sum = 0.0;
    for (double laneSum : sums) sum += laneSum;
    return sum;
}

#endif
