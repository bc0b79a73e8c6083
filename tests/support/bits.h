#ifndef PELTA_TESTS_BITS_H
#define PELTA_TESTS_BITS_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

/* Comparison of floats bit by bit and in units in the last place. */

inline std::uint32_t bitsOf(float value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

inline std::uint64_t bitsOfDouble(double value) {
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

inline float floatFromBits(std::uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

/* Distance in units in the last place; both zeros count as one value, a NaN is far from everything. */
inline std::int64_t ulpDistance(float a, float b) {
    if (a != a || b != b) return INT64_MAX;
    const auto ordered = [](float value) {
        const auto bits = static_cast<std::int32_t>(bitsOf(value));
        return bits < 0 ? -static_cast<std::int64_t>(bits & 0x7FFFFFFF) : static_cast<std::int64_t>(bits);
    };
    const std::int64_t distance = ordered(a) - ordered(b);
    return distance < 0 ? -distance : distance;
}

/* Same bits; any two NaNs are taken as the same, since their payload depends on the operand order that a compiler chose. */
inline bool sameBits(float a, float b) { return bitsOf(a) == bitsOf(b) || (a != a && b != b); }

/* EXPECT_TRUE(sameSamples(a, b)) names the first sample that differs. */
inline testing::AssertionResult sameSamples(std::span<const float> actual, std::span<const float> expected) {
    if (actual.size() != expected.size())
        return testing::AssertionFailure() << actual.size() << " samples, expected " << expected.size();
    for (std::size_t i = 0; i < actual.size(); ++i)
        if (!sameBits(actual[i], expected[i]))
            return testing::AssertionFailure() << "sample " << i << " is " << actual[i] << " (" << std::hex << bitsOf(actual[i])
                                               << "), expected " << expected[i] << " (" << bitsOf(expected[i]) << ")";
    return testing::AssertionSuccess();
}

/* The same for doubles. */
inline testing::AssertionResult sameDoubles(std::span<const double> actual, std::span<const double> expected) {
    if (actual.size() != expected.size())
        return testing::AssertionFailure() << actual.size() << " values, expected " << expected.size();
    for (std::size_t i = 0; i < actual.size(); ++i) {
        const bool same =
            bitsOfDouble(actual[i]) == bitsOfDouble(expected[i]) || (actual[i] != actual[i] && expected[i] != expected[i]);
        if (!same) return testing::AssertionFailure() << "value " << i << " is " << actual[i] << ", expected " << expected[i];
    }
    return testing::AssertionSuccess();
}

#endif
