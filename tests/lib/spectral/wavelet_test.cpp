#include <gtest/gtest.h>
#include <pelta/wavelet.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

/* The published steps. */
void plainForward(std::vector<float>& data, int num) {
    std::vector<float> work(data.size() + 2);
    int m = num - 1;
    do {
        for (int j = 0; j < m; j += 2) {
            work[j] = (data[j] + data[j + 1]) * 0.5f;
            work[j + 1] = (data[j] - data[j + 1]) * 0.5f;
        }
        m /= 2;
        for (int i = 0; i < m; ++i) {
            data[i] = work[2 * i];
            data[m + i] = work[2 * i + 1];
        }
    } while (m > 1);
}

void plainInverse(std::vector<float>& data, int num) {
    std::vector<float> work(data.size());
    int m = 1;
    do {
        for (int i = 0; i < m; ++i) {
            work[2 * i] = data[i];
            work[2 * i + 1] = data[m + i];
        }
        m *= 2;
        for (int j = 0; j < m; j += 2) {
            data[j] = work[j] + work[j + 1];
            data[j + 1] = work[j] - work[j + 1];
        }
    } while (m < num);
}

TEST(Wavelet, AnalysesTheFirstSamplesOfAPowerOfTwoAndOne) {
    std::vector<float> data = {1, 3, 5, 7, 9}, work(5);
    Wavelet(data.data(), 5, 1, work.data());
    EXPECT_EQ(data, (std::vector<float>{4, -2, -1, -1, 9}));
    Wavelet(data.data(), 4, 0, work.data());
    EXPECT_EQ(data, (std::vector<float>{1, 3, 5, 7, 9}));
}

TEST(Wavelet, FollowsThePublishedStepsForEveryCount) {
    for (int num = 1; num < 700; ++num) {
        const std::vector<float> trace = randomTrace(2048, 5u + num);
        std::vector<float> data = trace, expected = trace, work(2048);
        Wavelet(data.data(), num, 1, work.data());
        plainForward(expected, num);
        for (int i = 0; i < 2048; ++i) ASSERT_EQ(bitsOf(data[i]), bitsOf(expected[i])) << "forward " << num << " " << i;
        data = expected = trace;
        Wavelet(data.data(), num, num % 2 ? 0 : -1, work.data());
        plainInverse(expected, num);
        for (int i = 0; i < 2048; ++i) ASSERT_EQ(bitsOf(data[i]), bitsOf(expected[i])) << "inverse " << num << " " << i;
    }
}

/* Of the smallest number half is 0, of the largest ones the sum is infinite. */
TEST(Wavelet, HalvesTheSumNotItsTerms) {
    constexpr float smallest = std::numeric_limits<float>::denorm_min(), infinity = std::numeric_limits<float>::infinity();
    for (int num : {3, 65}) {
        std::vector<float> data(num, smallest), work(num), expected(num, 0.0f);
        expected.front() = expected.back() = smallest;
        Wavelet(data.data(), num, 1, work.data());
        EXPECT_EQ(data, expected);
        data.assign(num, 3e38f);
        Wavelet(data.data(), num, 1, work.data());
        EXPECT_EQ(data.front(), infinity);
    }
}

/* Kept on purpose: with a power of two itself the last pair is left out. */
TEST(Wavelet, WorksOnOneSampleLessThanItsCount) {
    std::vector<float> data = {1, 3, 5, 7}, work(4);
    Wavelet(data.data(), 4, 1, work.data());
    EXPECT_EQ(data, (std::vector<float>{2, -1, 5, 7}));
}

TEST(Wavelet, TheInverseUndoesTheAnalysis) {
    std::vector<float> data(4097), work(8192);
    for (int i = 0; i < 4097; ++i) data[i] = static_cast<float>(i * 37 % 101); /* small whole numbers: exact */
    const std::vector<float> before = data;
    Wavelet(data.data(), 4097, 1, work.data());
    EXPECT_NE(data, before);
    Wavelet(data.data(), 4096, 0, work.data());
    EXPECT_EQ(data, before);
}

TEST(Wavelet, OneSampleInvertsToTwoAndNoneToNothing) {
    std::vector<float> data = {5, 2}, work(2);
    Wavelet(data.data(), 1, 0, work.data());
    EXPECT_EQ(data, (std::vector<float>{7, 3}));
    for (int num : {0, -4})
        for (int direction : {-1, 0, 1}) Wavelet(data.data(), num, direction, work.data());
    EXPECT_EQ(data, (std::vector<float>{7, 3}));
}

}
