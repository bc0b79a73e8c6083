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

struct Mean {
    float mean, deviation;
};

Mean meanOf(std::vector<float> trace) {
    Mean result{-1.0f, -1.0f};
    computeMean(trace.data(), static_cast<int>(trace.size()), &result.mean, &result.deviation);
    return result;
}

Mean plainMean(const std::vector<float>& trace) {
    const int count = static_cast<int>(trace.size());
    double sum = 0.0, squares = 0.0;
    for (float sample : trace) sum += sample;
    const float mean = static_cast<float>(sum / count);
    for (float sample : trace) {
        const float deviation = sample - mean;
        squares += std::pow(static_cast<double>(deviation), 2.0);
    }
    return {mean, count > 1 ? static_cast<float>(std::sqrt(squares / (count - 1))) : 0.0f};
}

void expectPlainBits(const std::vector<float>& trace, const char* what) {
    const Mean actual = meanOf(trace), expected = plainMean(trace);
    ASSERT_TRUE(sameBits(actual.mean, expected.mean))
        << what << ", " << trace.size() << " samples: " << actual.mean << " for " << expected.mean;
    ASSERT_TRUE(sameBits(actual.deviation, expected.deviation))
        << what << ", " << trace.size() << " samples: " << actual.deviation << " for " << expected.deviation;
}

TEST(ComputeMean, GivesMeanAndSampleDeviation) {
    const Mean result = meanOf({1, 2, 3, 4});
    EXPECT_EQ(result.mean, 2.5f);
    EXPECT_EQ(result.deviation, static_cast<float>(std::sqrt(5.0 / 3.0)));
}

TEST(ComputeMean, OfOneSampleIsThatSampleWithoutDeviation) {
    const Mean result = meanOf({7});
    EXPECT_EQ(result.mean, 7.0f);
    EXPECT_EQ(result.deviation, 0.0f);
}

TEST(ComputeMean, OfNoSamplesIsZero) {
    const Mean result = meanOf({});
    EXPECT_EQ(bitsOf(result.mean), 0u);
    EXPECT_EQ(bitsOf(result.deviation), 0u);
}

TEST(ComputeMean, OfANegativeCountIsZeroDividedByIt) {
    float trace[1] = {5.0f}, mean = 1.0f, deviation = 1.0f;
    for (int count : {-1, -7, std::numeric_limits<int>::min()}) {
        computeMean(trace, count, &mean, &deviation);
        EXPECT_EQ(bitsOf(mean), 0x80000000u);
        EXPECT_EQ(bitsOf(deviation), 0u);
    }
}

TEST(ComputeMean, TakesTheDeviationAboutTheStoredMean) {
    // The mean, 2^24 + 2/3, is stored as 2^24 + 1 or so; the deviation follows what was stored, not the exact mean.
    expectPlainBits({16777216.0f, 16777216.0f, 16777218.0f}, "large offset");
    const Mean result = meanOf({16777216.0f, 16777218.0f, 16777218.0f});
    EXPECT_EQ(result.mean, 16777218.0f);
    EXPECT_EQ(result.deviation, static_cast<float>(std::sqrt(4.0 / 2.0)));
}

TEST(ComputeMean, SumsInDouble) {
    std::vector<float> trace(1000, 1.0f);
    trace[0] = 1.0e10f;  // a float sum would not see the samples behind it
    EXPECT_EQ(meanOf(trace).mean, static_cast<float>((1.0e10 + 999.0) / 1000.0));
}

TEST(ComputeMean, MatchesThePlainFormOnRandomTraces) {
    for (int count = 1; count < 200; ++count) expectPlainBits(randomTrace(count, 100u + count), "noise");
    for (unsigned seed = 0; seed < 300; ++seed) {
        const int count = 200 + static_cast<int>(seed * 37 % 4000);
        expectPlainBits(randomTrace(count, seed, std::ldexp(1.0f, static_cast<int>(seed % 250) - 125)), "noise");
    }
}

TEST(ComputeMean, MatchesThePlainFormWhereTheOrderOfTheSumMatters) {
    std::mt19937 engine(3);
    for (int turn = 0; turn < 2000; ++turn) {
        std::vector<float> trace = randomTrace(1 + static_cast<int>(engine() % 700), static_cast<unsigned>(engine()));
        for (float& sample : trace) sample = std::ldexp(sample, static_cast<int>(engine() % 120) - 60);
        for (std::size_t i = 0; i + 1 < trace.size(); i += 2)
            if (engine() % 2) trace[i + 1] = -trace[i];
        expectPlainBits(trace, "wild exponents");
    }
}

/* Samples that cancel but for the roundings of their sum, which are then all that is left of the mean. */
TEST(ComputeMean, MatchesThePlainFormWhereOnlyRoundingsRemain) {
    std::mt19937 engine(8);
    for (int turn = 0; turn < 300; ++turn) {
        std::vector<float> trace = randomTrace(40 + turn, static_cast<unsigned>(engine()));
        for (float& sample : trace) sample = std::ldexp(sample, static_cast<int>(engine() % 60));
        std::vector<float> opposite = trace;
        for (float& sample : opposite) sample = -sample;
        std::shuffle(opposite.begin(), opposite.end(), engine);
        trace.insert(trace.end(), opposite.begin(), opposite.end());
        expectPlainBits(trace, "cancelling samples");
    }
}

/* While the loud sample is in the sum, the last places of the quiet ones are rounded away, those of the ones before it not. */
TEST(ComputeMean, MatchesThePlainFormWhereALoudPairRoundsTheQuietSamples) {
    for (int exponent = 27; exponent <= 40; ++exponent)
        for (unsigned seed = 0; seed < 40; ++seed) {
            std::vector<float> trace = randomTrace(70 + 3 * static_cast<int>(seed), seed, 0.001f);
            for (std::size_t i = 0; i < trace.size(); ++i) trace[i] += i % 2 ? 1.0f : -1.0f;
            trace[seed] = std::ldexp(1.0f, exponent);
            trace[trace.size() - 20] = -std::ldexp(1.0f, exponent);
            expectPlainBits(trace, "loud pair");
        }
}

/* In order, the sum of squares stays just below the middle between two roots: each small sample is lost beside it. Summed by
 * themselves first, the small ones would take it across. */
TEST(ComputeMean, LosesSmallSquaresBehindLargeOnes) {
    constexpr double middle = 1.0 + 0x1p-24, spacing = 0x1p-44; /* of doubles at 256 */
    double rest = (256.0 * middle * middle - 4 * spacing) / 2;
    std::vector<float> trace{0.0f};
    const auto addPair = [&](float size) { trace.insert(trace.end(), {size, -size}); };
    while (rest > spacing) {
        float size = static_cast<float>(std::sqrt(rest));
        if (static_cast<double>(size) * size > rest) size = std::nextafter(size, 0.0f);
        addPair(size);
        rest -= static_cast<double>(size) * size;
    }
    while (trace.size() < 257) addPair(static_cast<float>(std::sqrt(0.4 * spacing)));
    const Mean result = meanOf(trace);
    EXPECT_EQ(result.mean, 0.0f);
    EXPECT_EQ(result.deviation, 1.0f);
    std::reverse(trace.begin(), trace.end());
    EXPECT_EQ(meanOf(trace).deviation, 1.0f + FLT_EPSILON);
}

TEST(ComputeMean, GivesPositiveZeroForSubnormalsThatCancel) {
    std::vector<float> trace;
    for (int i = 0; i < 500; ++i) trace.insert(trace.end(), {1.0e-45f, -1.0e-45f});
    EXPECT_EQ(bitsOf(meanOf(trace).mean), 0u);
}

TEST(ComputeMean, MatchesThePlainFormOnShotRecords) {
    for (const std::vector<float>& trace : shotGather(40, 1500)) expectPlainBits(trace, "shot record");
}

TEST(ComputeMean, MatchesThePlainFormOnOddValues) {
    constexpr float infinity = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    for (float odd : {infinity, -infinity, nan, -0.0f, 1.0e-45f, 3.4e38f, 1.2e-38f})
        for (int count : {1, 2, 5, 64, 1500}) {
            std::vector<float> trace = randomTrace(count, 5);
            trace[count / 2] = odd;
            expectPlainBits(trace, "one odd value");
            expectPlainBits(std::vector<float>(count, odd), "odd values alone");
        }
    expectPlainBits({infinity, -infinity, 1.0f}, "both infinities");
}

}
