#include <gtest/gtest.h>
#include <pelta/statistics.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

std::vector<float> smoothed(std::vector<float> trace, int window) {
    std::vector<float> means(trace.size(), -99.0f);
    smooth(trace.data(), means.data(), static_cast<int>(trace.size()), window);
    return means;
}

std::vector<float> smoothedInPlace(std::vector<float> trace, int window) {
    std::vector<float> scratch(trace.size());
    smooth2(trace.data(), static_cast<int>(trace.size()), window, scratch.data());
    return trace;
}

std::vector<double> smoothedInPlace(std::vector<double> trace, int window) {
    std::vector<double> scratch(trace.size());
    smooth2Double(trace.data(), static_cast<int>(trace.size()), window, scratch.data());
    return trace;
}

template <class Real>
std::vector<Real> plainMeans(const std::vector<Real>& trace, int window) {
    const int count = static_cast<int>(trace.size()), half = window / 2;
    std::vector<Real> means(trace.size());
    for (int i = 0; i < count; ++i) {
        const int first = std::max(i - half, 0), end = std::min(i + half, count);
        double sum = 0.0;
        for (int j = first; j < end; ++j) sum += trace[j];
        means[i] = static_cast<Real>(sum / static_cast<float>(end - first));
    }
    return means;
}

void expectPlainBits(const std::vector<float>& trace, int window, const char* what) {
    const std::vector<float> expected = plainMeans(trace, window);
    ASSERT_TRUE(sameSamples(smoothed(trace, window), expected)) << what << ", " << trace.size() << " by " << window;
    ASSERT_TRUE(sameSamples(smoothedInPlace(trace, window), expected)) << what << ", " << trace.size() << " by " << window;
}

void expectPlainDoubleBits(const std::vector<double>& trace, int window) {
    ASSERT_TRUE(sameDoubles(smoothedInPlace(trace, window), plainMeans(trace, window))) << trace.size() << " by " << window;
}

TEST(Smooth, AveragesTheWindowsOfARamp) {
    EXPECT_EQ(smoothed({1, 2, 3, 4, 5}, 3), (std::vector<float>{1, 1.5f, 2.5f, 3.5f, 4.5f}));
}

TEST(Smooth, LooksFurtherBackThanAhead) {
    const std::vector<float> means = smoothed({1, 2, 4, 8, 16, 32}, 4);
    EXPECT_EQ(means[0], 1.5f);                            // samples 0 and 1
    EXPECT_EQ(means[2], 3.75f);                           // samples 0 to 3
    EXPECT_EQ(means[5], static_cast<float>(56.0 / 3.0));  // the last three
}

TEST(Smooth, TakesAnOddWindowAsTheEvenOneBelow) {
    const std::vector<float> trace = randomTrace(300, 1);
    for (int window : {2, 4, 50}) EXPECT_TRUE(sameSamples(smoothed(trace, window + 1), smoothed(trace, window)));
}

TEST(Smooth, KeepsItsInput) {
    std::vector<float> trace = randomTrace(300, 2), means(300);
    const std::vector<float> fresh = trace;
    smooth(trace.data(), means.data(), 300, 20);
    EXPECT_TRUE(sameSamples(trace, fresh));
}

TEST(Smooth, GivesNanForAnEmptyWindow) {
    for (int window : {1, 0, -1}) {
        for (float mean : smoothed({1, 2, 3}, window)) EXPECT_TRUE(std::isnan(mean));
        for (float mean : smoothedInPlace(std::vector<float>{1, 2, 3}, window)) EXPECT_TRUE(std::isnan(mean));
        for (double mean : smoothedInPlace(std::vector<double>{1, 2, 3}, window)) EXPECT_TRUE(std::isnan(mean));
    }
}

TEST(Smooth, GivesNegativeZeroForAWindowThatEndsBeforeItStarts) {
    for (int window : {-2, -3, -50, INT_MIN}) {
        for (float mean : smoothed({1, 2, 3}, window)) EXPECT_EQ(bitsOf(mean), 0x80000000u);
        for (double mean : smoothedInPlace(std::vector<double>{1, 2, 3}, window)) EXPECT_TRUE(mean == 0 && std::signbit(mean));
    }
}

TEST(Smooth, AveragesTheWholeTraceInAWideWindow) {
    for (int window : {10, 100, INT_MAX})
        EXPECT_EQ(smoothed({1, 2, 3, 6}, window), (std::vector<float>{3, 3, 3, 3})) << "window " << window;
}

TEST(Smooth, DoesNothingForACountOfZeroOrLess) {
    float trace[2] = {1, 2}, means[2] = {3, 4};
    double doubles[2] = {1, 2}, scratch[2] = {3, 4};
    for (int count : {0, -1, INT_MIN}) {
        smooth(trace, means, count, 2);
        smooth2(trace, count, 2, means);
        smooth2Double(doubles, count, 2, scratch);
    }
    EXPECT_EQ(trace[0], 1);
    EXPECT_EQ(means[0], 3);
    EXPECT_EQ(doubles[0], 1);
    EXPECT_EQ(scratch[0], 3);
}

TEST(Smooth, WritesOnlyTheTrace) {
    for (int count : {1, 2, 63, 64, 65, 200}) {
        std::vector<float> trace = randomTrace(count + 3, 8), means(count + 3, 5.0f);
        smooth(trace.data(), means.data(), count, 8);
        EXPECT_EQ(std::vector<float>(means.begin() + count, means.end()), std::vector<float>(3, 5.0f));
    }
}

TEST(Smooth, MatchesThePlainFormForManyLengthsAndWindows) {
    for (int count : {1, 2, 3, 5, 8, 31, 64, 65, 100, 127, 129, 200, 257, 600})
        for (int window : {-2, 0, 1, 2, 3, 4, 5, 7, 10, 16, 31, 32, 33, 50, 63, 64, 65, 100, 127, 128, 255, 300, 1000, 5000})
            expectPlainBits(randomTrace(count, 17u * count + window), window, "noise");
}

TEST(Smooth, MatchesThePlainFormWhereTheOrderOfTheSumMatters) {
    std::mt19937 engine(5);
    for (int turn = 0; turn < 600; ++turn) {
        std::vector<float> trace = randomTrace(1 + static_cast<int>(engine() % 900), static_cast<unsigned>(engine()));
        const int range = turn % 3 == 0 ? 8 : turn % 3 == 1 ? 40 : 120;
        for (float& sample : trace) sample = std::ldexp(sample, static_cast<int>(engine() % range) - range / 2);
        for (std::size_t i = 0; i + 1 < trace.size(); i += 2)
            if (engine() % 2) trace[i + 1] = -trace[i];
        expectPlainBits(trace, 2 + static_cast<int>(engine() % 120), "wild exponents");
    }
}

/* Means that lie on or next to the middle between two floats: the last rounding shows every bit of the sum. */
TEST(Smooth, MatchesThePlainFormAtTheEdgeOfRounding) {
    std::mt19937 engine(6);
    for (int turn = 0; turn < 400; ++turn) {
        std::vector<float> trace(400);
        for (float& sample : trace) {
            const int kind = static_cast<int>(engine() % 4);
            sample = kind == 0   ? 1.0f
                     : kind == 1 ? 1.0f + FLT_EPSILON
                     : kind == 2 ? std::ldexp(1.0f, -20 - static_cast<int>(engine() % 12))
                                 : 0.0f;
            if (engine() % 3 == 0) sample = -sample;
        }
        expectPlainBits(trace, 2 << turn % 6, "ties");
    }
}

/* A sum that slides past the loud samples keeps their roundings when they have left the window. */
TEST(Smooth, MatchesThePlainFormBehindALoudPair) {
    for (int exponent = 27; exponent <= 40; ++exponent)
        for (int window : {6, 40, 130}) {
            std::vector<float> trace = randomTrace(400, static_cast<unsigned>(exponent), 0.001f);
            for (std::size_t i = 0; i < trace.size(); ++i) trace[i] += i % 2 ? 1.0f : -1.0f;
            trace[50] = std::ldexp(1.0f, exponent);
            trace[90] = -std::ldexp(1.0f, exponent);
            expectPlainBits(trace, window, "loud pair");
        }
}

TEST(Smooth, MatchesThePlainFormOnMutedAndOddTraces) {
    constexpr float infinity = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    for (int window : {2, 10, 50, 101}) {
        std::vector<float> muted = shotGather(1, 1500)[0];
        std::fill_n(muted.begin(), 700, 0.0f);
        std::fill_n(muted.begin() + 1100, 90, -0.0f);
        expectPlainBits(muted, window, "muted");
        for (float odd : {infinity, -infinity, nan, 1.0e-45f, 3.4e38f, -0.0f, 1.0e-38f}) {
            std::vector<float> trace = randomTrace(500, 3);
            trace[250] = odd;
            expectPlainBits(trace, window, "one odd value");
            expectPlainBits(std::vector<float>(300, odd), window, "odd values alone");
        }
        std::vector<float> tiny = randomTrace(500, 4, 1.0e-40f);
        expectPlainBits(tiny, window, "subnormals");
    }
}

TEST(Smooth, GivesPositiveZeroForSubnormalsThatCancel) {
    std::vector<float> trace;
    for (int i = 0; i < 250; ++i) trace.insert(trace.end(), {1.0e-45f, -1.0e-45f});
    for (int window : {2, 4, 50}) expectPlainBits(trace, window, "alternating subnormals");
    EXPECT_EQ(bitsOf(smoothed(trace, 4)[100]), 0u);
}

TEST(Smooth2Double, MatchesThePlainFormOnRandomTraces) {
    std::mt19937 engine(7);
    for (int turn = 0; turn < 600; ++turn) {
        std::vector<double> trace(1 + engine() % 700);
        for (double& sample : trace)
            sample = std::ldexp(static_cast<double>(engine()) - 2147483648.0 + 1.0 / (1.0 + engine() % 1000),
                                static_cast<int>(engine() % 60) - 30);
        if (turn % 10 == 0) trace[trace.size() / 2] = std::numeric_limits<double>::infinity();
        if (turn % 15 == 0) trace[trace.size() / 3] = std::nan("");
        expectPlainDoubleBits(trace, static_cast<int>(engine() % 130) - 4);
    }
}

}
