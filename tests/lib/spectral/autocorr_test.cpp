#include <gtest/gtest.h>
#include <pelta/spectrum.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

constexpr float untouched = -77.0f;

std::vector<float> autocorrelation(std::vector<float> trace, int lagCount) {
    std::vector<float> lags(std::max(0, lagCount), untouched);
    AutoCorr(trace.data(), static_cast<int>(trace.size()), lags.data(), lagCount);
    return lags;
}

std::vector<float> plainAutocorrelation(const std::vector<float>& trace, int lagCount) {
    const int sampleCount = static_cast<int>(trace.size());
    std::vector<float> lags(lagCount, untouched);
    for (int i = 0; i < lagCount; ++i) {
        lags[i] = 0.0f;
        if (sampleCount - i < 1) break;
        for (int j = 0; j <= sampleCount - i - 1; ++j) {
            const float product = trace[j + i] * trace[j];
            lags[i] = lags[i] + product;
        }
    }
    return lags;
}

TEST(AutoCorr, AddsTheProductsOfSamplesOneLagApart) {
    EXPECT_TRUE(sameSamples(autocorrelation({1, 2, 3, 4}, 4), std::vector<float>{30, 20, 11, 4}));
}

TEST(AutoCorr, MatchesThePlainSumsOnRandomTraces) {
    for (int sampleCount : {1, 2, 3, 7, 8, 15, 16, 17, 31, 33, 63, 64, 65, 127, 128, 129, 130, 191, 200, 255, 257, 500, 777})
        for (int lagCount : {1, 2, 5, 16, 64, 65, sampleCount / 2, sampleCount - 1, sampleCount, sampleCount + 1}) {
            const std::vector<float> trace = randomTrace(sampleCount, 100u * sampleCount + lagCount, 1000.0f);
            EXPECT_TRUE(sameSamples(autocorrelation(trace, lagCount), plainAutocorrelation(trace, lagCount)))
                << sampleCount << " samples, " << lagCount << " lags";
        }
}

TEST(AutoCorr, MatchesThePlainSumsWhereSamplesAreInfiniteNaNOrDenormal) {
    const float odd[] = {std::numeric_limits<float>::infinity(),
                         -std::numeric_limits<float>::infinity(),
                         std::numeric_limits<float>::quiet_NaN(),
                         FLT_MAX,
                         -1e-30f,
                         FLT_TRUE_MIN,
                         -0.0f};
    for (int sampleCount : {5, 64, 100, 300})
        for (float value : odd)
            for (int position : {0, sampleCount / 3, sampleCount - 1}) {
                std::vector<float> trace = randomTrace(sampleCount, sampleCount);
                trace[position] = value;
                EXPECT_TRUE(sameSamples(autocorrelation(trace, sampleCount), plainAutocorrelation(trace, sampleCount)))
                    << value << " at " << position << " of " << sampleCount;
            }
}

TEST(AutoCorr, GivesPositiveZeroForATraceOfNegativeZeros) {
    EXPECT_TRUE(sameSamples(autocorrelation({-0.0f, 0.0f, -0.0f}, 3), std::vector<float>{0, 0, 0}));
}

TEST(AutoCorr, SetsTheLagBehindTheTraceToZeroAndLeavesLaterOnes) {
    EXPECT_TRUE(sameSamples(autocorrelation({2, 3}, 5), std::vector<float>{13, 6, 0, untouched, untouched}));
}

TEST(AutoCorr, SetsOnlyLagZeroForAnEmptyTrace) {
    for (int sampleCount : {0, -1, std::numeric_limits<int>::min()}) {
        std::vector<float> lags(3, untouched);
        float unread = 1.0f;
        AutoCorr(&unread, sampleCount, lags.data(), 3);
        EXPECT_TRUE(sameSamples(lags, std::vector<float>{0, untouched, untouched})) << sampleCount;
    }
}

TEST(AutoCorr, DoesNothingWithoutLags) {
    for (int lagCount : {0, -1, std::numeric_limits<int>::min()}) {
        std::vector<float> trace = {1, 2}, lags = {untouched};
        AutoCorr(trace.data(), 2, lags.data(), lagCount);
        EXPECT_EQ(lags[0], untouched) << lagCount;
    }
}

TEST(AutoCorr, KeepsTheTrace) {
    std::vector<float> trace = randomTrace(150, 3), lags(150);
    const std::vector<float> fresh = trace;
    AutoCorr(trace.data(), 150, lags.data(), 150);
    EXPECT_TRUE(sameSamples(trace, fresh));
}

}
