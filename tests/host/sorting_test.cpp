#include <gtest/gtest.h>
#include <pelta/host.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

/* The host's scratch goes through the test, which can refuse it. */

namespace {
bool isMemoryShort = false;
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    void* memory = nullptr;
    return isMemoryShort || posix_memalign(&memory, alignment, size) != 0 ? nullptr : memory;
}

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

/* Any bits: numbers of all sizes, denormals, infinities and NaNs; or few or close values. */
std::vector<std::vector<float>> longLists() {
    std::mt19937 engine(4);
    std::vector<std::vector<float>> lists;
    for (int count : {127, 128, 129, 500, 4095, 20000}) {
        std::vector<float> any(count), close(count), few(count), outlying(count, -1.0e-30f);
        for (float& value : any) value = floatFromBits(static_cast<std::uint32_t>(engine()));
        for (float& value : close) value = 1.0f + static_cast<float>(engine() % 4096) * 0x1p-23f;
        for (float& value : few) value = static_cast<float>(engine() % 3) * (engine() % 2 ? 1.0f : -1.0f);
        outlying[count / 3] = infinity;
        outlying[count / 2] = -3.0e38f;
        std::vector<float> falling = any;
        std::stable_sort(falling.begin(), falling.end(), isBehind);
        for (auto& list : {any, close, few, outlying, falling, std::vector<float>(count, notANumber)}) lists.push_back(list);
    }
    return lists;
}

std::vector<float> stablySorted(std::vector<float> values) {
    std::stable_sort(values.begin(), values.end(), [](float x, float y) { return isBehind(y, x); });
    return values;
}

TEST(Qksort, SortsLongListsOfAnyValues) {
    for (std::vector<float> values : longLists()) {
        const std::vector<float> expected = stablySorted(values);
        qksort(static_cast<int>(values.size()), values.data());
        EXPECT_TRUE(sameSamples(values, expected)) << values.size() << " values";
    }
}

TEST(Qksort, KeepsTheBitsOfNotANumbers) {
    for (std::vector<float> values : longLists()) {
        const auto bitsOfAll = [&] {
            std::vector<std::uint32_t> bits;
            for (float value : values) bits.push_back(bitsOf(value));
            std::sort(bits.begin(), bits.end());
            return bits;
        };
        const auto expected = bitsOfAll();
        qksort(static_cast<int>(values.size()), values.data());
        EXPECT_EQ(bitsOfAll(), expected) << values.size() << " values";
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

/* Whether the indices are all there, the m-th is that of the m-th smallest, and none stands on the wrong side of it. */
testing::AssertionResult isSelection(const std::vector<float>& values, const std::vector<float>& sorted, int m,
                                     std::vector<int> indices) {
    const float selected = values[indices[m]];
    if (!sameBits(selected, sorted[m])) return testing::AssertionFailure() << selected << " in place of " << sorted[m];
    for (int k = 0; k < static_cast<int>(indices.size()); ++k)
        if (k < m ? isBehind(values[indices[k]], selected) : isBehind(selected, values[indices[k]]))
            return testing::AssertionFailure() << values[indices[k]] << " at " << k << " beside " << selected << " at " << m;
    std::sort(indices.begin(), indices.end());
    for (int k = 0; k < static_cast<int>(indices.size()); ++k)
        if (indices[k] != k) return testing::AssertionFailure() << "index " << k << " is lost";
    return testing::AssertionSuccess();
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
            EXPECT_TRUE(isSelection(values, sorted, m, indices)) << "rank " << m << " of " << count;
            EXPECT_TRUE(sameSamples(values, before));
        }
}

TEST(Qkifind, SelectsFromLongListsOfAnyValues) {
    std::mt19937 engine(5);
    for (std::vector<float> values : longLists()) {
        const std::vector<float> sorted = stablySorted(values);
        const int count = static_cast<int>(values.size());
        for (int m : {0, 1, count / 4, count / 2, count - 2, count - 1}) {
            std::vector<int> indices(count);
            std::iota(indices.begin(), indices.end(), 0);
            if (m % 2) std::shuffle(indices.begin(), indices.end(), engine);
            qkifind(m, count, values.data(), indices.data());
            EXPECT_TRUE(isSelection(values, sorted, m, indices)) << "rank " << m << " of " << count;
        }
    }
}

TEST(Sorting, NeedsNoScratch) {
    /* A thread that has none yet. */
    std::thread([] {
        for (std::vector<float> values : longLists()) {
            const std::vector<float> sorted = stablySorted(values);
            const int count = static_cast<int>(values.size());
            std::vector<int> indices(count);
            std::iota(indices.begin(), indices.end(), 0);
            isMemoryShort = true;
            qkifind(count / 2, count, values.data(), indices.data());
            EXPECT_TRUE(isSelection(values, sorted, count / 2, indices)) << count << " values";
            qksort(count, values.data());
            isMemoryShort = false;
            EXPECT_TRUE(sameSamples(values, sorted)) << count << " values";
        }
    }).join();
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
