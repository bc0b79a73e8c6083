#include <gtest/gtest.h>
#include <pelta/host.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

/* Random values with many ties, zeros of both signs and, in every second list, NaNs of both signs. */
std::vector<float> randomValues(int count, std::mt19937& engine) {
    std::vector<float> values(count);
    const bool withNaN = engine() % 2;
    for (float& value : values) {
        value = withNaN && engine() % 4 == 0 ? notANumber : static_cast<float>(engine() % 100) - 50.0f;
        if (engine() % 2) value = -value;
    }
    return values;
}

bool isBehind(float x, float y) {
    if (std::isnan(x) || std::isnan(y)) return !std::isnan(y);
    return x > y || (x == y && !std::signbit(x) && std::signbit(y));
}

/* Insertion sort: slow, and needs no order to end. */
std::vector<float> plainlySorted(std::vector<float> values) {
    for (std::size_t i = 1; i < values.size(); ++i)
        for (std::size_t j = i; j > 0 && isBehind(values[j - 1], values[j]); --j) std::swap(values[j - 1], values[j]);
    return values;
}

TEST(Qksort, SortsAscendingWithNotANumbersLast) {
    std::mt19937 engine(1);
    for (int count = 0; count < 200; ++count) {
        std::vector<float> values = randomValues(count, engine);
        const std::vector<float> expected = plainlySorted(values);
        qksort(count, values.data());
        EXPECT_TRUE(sameSamples(values, expected)) << count << " values";
    }
}

TEST(Qksort, TakesInfinitiesAndNothingButNotANumbers) {
    std::vector<float> values = {infinity, notANumber, -infinity, 1.0f};
    qksort(4, values.data());
    EXPECT_TRUE(sameSamples(values, std::vector{-infinity, 1.0f, infinity, notANumber}));
    std::vector<float> none(100, notANumber);
    qksort(100, none.data());
    EXPECT_TRUE(sameSamples(none, std::vector(100, notANumber)));
}

TEST(Qksort, PutsNegativeZerosBeforeZeros) {
    std::vector<float> values = {0.0f, -0.0f, -1.0f, 0.0f, -0.0f};
    qksort(5, values.data());
    EXPECT_TRUE(sameSamples(values, std::vector{-1.0f, -0.0f, -0.0f, 0.0f, 0.0f}));
}

TEST(Qksort, DoesNothingForOneValueOrLess) {
    float values[2] = {2.0f, 1.0f};
    for (int n : {1, 0, -1, INT_MIN}) qksort(n, values);
    EXPECT_EQ(values[0], 2.0f);
}

TEST(Qkifind, PutsTheIndexOfTheMthSmallestInItsPlace) {
    std::mt19937 engine(2);
    for (int count = 1; count < 120; ++count)
        for (int round = 0; round < 5; ++round) {
            std::vector<float> values = randomValues(count, engine);
            const std::vector<float> before = values, sorted = plainlySorted(values);
            std::vector<int> indices(count);
            std::iota(indices.begin(), indices.end(), 0);
            std::shuffle(indices.begin(), indices.end(), engine);
            const int m = static_cast<int>(engine() % count);
            qkifind(m, count, values.data(), indices.data());
            EXPECT_TRUE(sameBits(values[indices[m]], sorted[m]));
            for (int k = 0; k < m; ++k) EXPECT_FALSE(isBehind(values[indices[k]], values[indices[m]]));
            for (int k = m + 1; k < count; ++k) EXPECT_FALSE(isBehind(values[indices[m]], values[indices[k]]));
            EXPECT_TRUE(sameSamples(values, before));
            std::sort(indices.begin(), indices.end());
            for (int k = 0; k < count; ++k) EXPECT_EQ(indices[k], k);
        }
}

TEST(Qkifind, ChangesNothingForARankOutsideTheList) {
    float values[3] = {3.0f, 2.0f, 1.0f};
    int indices[3] = {0, 1, 2};
    for (auto [m, n] : {std::pair{-1, 3}, {3, 3}, {INT_MAX, 3}, {0, 0}, {0, -1}, {INT_MIN, INT_MIN}})
        qkifind(m, n, values, indices);
    EXPECT_EQ((std::vector<int>(indices, indices + 3)), (std::vector<int>{0, 1, 2}));
}

int bracketOf(std::vector<float> values, float x, int start) {
    xindex(static_cast<int>(values.size()), values.data(), x, &start);
    return start;
}

TEST(Xindex, FindsTheBracketFromAnyStart) {
    std::mt19937 engine(3);
    for (int count = 1; count < 60; ++count) {
        const std::vector<float> values = plainlySorted(randomValues(count, engine));
        for (int round = 0; round < 40; ++round) {
            const float x = static_cast<float>(engine() % 240) / 2.0f - 60.0f;
            int expected = 0;
            for (int i = 0; i < count; ++i)
                if (values[i] <= x) expected = i;
            const int start = static_cast<int>(engine() % 80) - 10;
            EXPECT_EQ(bracketOf(values, x, start), expected) << count << " values, " << x << " from " << start;
        }
    }
}

TEST(Xindex, StaysAtTheEnds) {
    for (int start : {INT_MIN, -1, 0, 1, 2, 3, INT_MAX}) {
        EXPECT_EQ(bracketOf({1.0f, 2.0f, 3.0f}, 0.5f, start), 0);
        EXPECT_EQ(bracketOf({1.0f, 2.0f, 3.0f}, -infinity, start), 0);
        EXPECT_EQ(bracketOf({1.0f, 2.0f, 3.0f}, 3.0f, start), 2);
        EXPECT_EQ(bracketOf({1.0f, 2.0f, 3.0f}, infinity, start), 2);
        EXPECT_EQ(bracketOf({1.0f, 2.0f, 3.0f}, notANumber, start), 2);
        EXPECT_EQ(bracketOf({1.0f}, 5.0f, start), 0);
        EXPECT_EQ(bracketOf({}, 5.0f, start), 0);
    }
}

}
