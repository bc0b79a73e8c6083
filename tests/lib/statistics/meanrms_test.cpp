#include <gtest/gtest.h>
#include <pelta/statistics.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

float rmsOf(std::vector<float> trace) {
    float rms = -1.0f;
    computeMeanRms(trace.data(), static_cast<int>(trace.size()), &rms);
    return rms;
}

float plainRms(const std::vector<float>& trace) {
    double sum = 0.0;
    int live = 0;
    for (float sample : trace)
        if (sample != 0.0f) {
            const float square = sample * sample;
            sum += square;
            ++live;
        }
    return live > 0 ? static_cast<float>(std::sqrt(sum / live)) : 0.0f;
}

void expectPlainBits(const std::vector<float>& trace, const char* what) {
    const float actual = rmsOf(trace), expected = plainRms(trace);
    ASSERT_TRUE(sameBits(actual, expected)) << what << ", " << trace.size() << " samples: " << actual << " for " << expected;
}

TEST(ComputeMeanRms, LeavesDeadSamplesOut) {
    EXPECT_EQ(rmsOf({0, 3, 0, -4}), static_cast<float>(std::sqrt(12.5)));
    EXPECT_EQ(rmsOf({-0.0f, 2, 0, 0}), 2.0f);
}

TEST(ComputeMeanRms, OfADeadTraceIsZero) {
    EXPECT_EQ(bitsOf(rmsOf({})), 0u);
    for (int count : {1, 7, 100}) EXPECT_EQ(bitsOf(rmsOf(std::vector<float>(count, 0.0f))), 0u);
}

TEST(ComputeMeanRms, OfANegativeCountIsZero) {
    float trace[1] = {3.0f}, rms = 1.0f;
    computeMeanRms(trace, -1, &rms);
    EXPECT_EQ(bitsOf(rms), 0u);
}

TEST(ComputeMeanRms, CountsANanAsLive) { EXPECT_TRUE(std::isnan(rmsOf({0, 1, std::nanf(""), 2}))); }

TEST(ComputeMeanRms, SquaresInSinglePrecision) {
    EXPECT_EQ(rmsOf({1.0e-23f}), static_cast<float>(std::sqrt(static_cast<double>(1.0e-23f * 1.0e-23f))));
    EXPECT_EQ(rmsOf({1.0e-30f, 1.0f}), static_cast<float>(std::sqrt(0.5))) << "the square of 1e-30 is 0, but it is counted";
    EXPECT_EQ(rmsOf({1.0e20f}), std::numeric_limits<float>::infinity());
}

TEST(ComputeMeanRms, MatchesThePlainFormOnRandomTraces) {
    for (int count = 1; count < 300; ++count) {
        std::vector<float> trace = randomTrace(count, 400u + count);
        expectPlainBits(trace, "noise");
        for (int i = 0; i < count / 3; ++i) trace[(i * 7) % count] = i % 2 ? 0.0f : -0.0f;
        expectPlainBits(trace, "noise with gaps");
    }
    for (unsigned seed = 0; seed < 300; ++seed)
        expectPlainBits(randomTrace(1500, seed, std::ldexp(1.0f, static_cast<int>(seed % 250) - 125)), "noise");
}

TEST(ComputeMeanRms, MatchesThePlainFormWhereTheOrderOfTheSumMatters) {
    std::mt19937 engine(4);
    for (int turn = 0; turn < 2000; ++turn) {
        std::vector<float> trace = randomTrace(1 + static_cast<int>(engine() % 700), static_cast<unsigned>(engine()));
        for (float& sample : trace) sample = std::ldexp(sample, static_cast<int>(engine() % 60) - 30);
        expectPlainBits(trace, "wild exponents");
    }
}

/* In order, the sum of squares stays just below the middle between two roots: each small sample is lost beside it. Summed by
 * themselves first, the small ones would take it across. */
TEST(ComputeMeanRms, LosesSmallSquaresBehindLargeOnes) {
    constexpr double middle = 1.0 + 0x1p-24, spacing = 0x1p-44; /* of doubles at 256 */
    double rest = 256.0 * middle * middle - 4 * spacing;
    std::vector<float> trace;
    while (rest > spacing) {
        float sample = static_cast<float>(std::sqrt(rest));
        while (static_cast<double>(sample * sample) > rest) sample = std::nextafter(sample, 0.0f);
        trace.push_back(sample);
        rest -= sample * sample;
    }
    trace.resize(256, static_cast<float>(std::sqrt(0.4 * spacing)));
    EXPECT_EQ(rmsOf(trace), 1.0f);
    std::reverse(trace.begin(), trace.end());
    EXPECT_EQ(rmsOf(trace), 1.0f + FLT_EPSILON);
}

TEST(ComputeMeanRms, MatchesThePlainFormOnOddValues) {
    constexpr float infinity = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    for (float odd : {infinity, -infinity, nan, -0.0f, 1.0e-45f, 1.0e-22f, 3.4e38f})
        for (int count : {1, 2, 5, 64, 1500}) {
            std::vector<float> trace = randomTrace(count, 6);
            trace[count / 2] = odd;
            expectPlainBits(trace, "one odd value");
            expectPlainBits(std::vector<float>(count, odd), "odd values alone");
        }
}

}
