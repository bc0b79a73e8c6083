#include "inspection/samplescan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

using namespace pelta::inspection;

namespace {

std::vector<float> noise(std::size_t count, float level, unsigned seed = 1) {
    std::mt19937 random(seed);
    std::normal_distribution<float> normal(0.0f, level);
    std::vector<float> samples(count);
    for (float& sample : samples) sample = normal(random);
    return samples;
}

TEST(JudgeSamples, MeasuresRangeMeanDeviationAndRms) {
    std::vector<float> samples = {3.0f, -5.0f, 0.0f, 4.0f};
    const TraceQuality quality = judgeSamples(samples, 0.0f);
    EXPECT_EQ(quality.min, -5.0f);
    EXPECT_EQ(quality.max, 4.0f);
    EXPECT_EQ(quality.mean, 0.5f);
    EXPECT_FLOAT_EQ(quality.deviation, std::sqrt(49.0f / 3.0f));
    EXPECT_FLOAT_EQ(quality.rms, std::sqrt(50.0f / 3.0f)) << "of what is not 0";
    EXPECT_FALSE(quality.isFlat);
    EXPECT_TRUE(quality.isFinite());
}

TEST(JudgeSamples, FindsTheRangeOfAnyFiniteTrace) {
    for (unsigned seed = 0; seed < 200; ++seed) {
        std::vector<float> samples = noise(1 + seed % 37, seed % 2 ? 1e-42f : 1e30f, seed);
        if (seed % 3 == 0) samples.front() = -0.0f;
        const TraceQuality quality = judgeSamples(samples, 0.0f);
        EXPECT_EQ(quality.min, *std::min_element(samples.begin(), samples.end()));
        EXPECT_EQ(quality.max, *std::max_element(samples.begin(), samples.end()));
    }
}

TEST(JudgeSamples, CallsATraceFlatWhoseSamplesAreAllEqual) {
    for (float level : {0.0f, -0.0f, 7.0f, -1e-40f}) {
        std::vector<float> samples(50, level);
        EXPECT_TRUE(judgeSamples(samples, 0.0f).isFlat) << level;
    }
    std::vector<float> zeros = {0.0f, -0.0f, 0.0f};
    EXPECT_TRUE(judgeSamples(zeros, 0.0f).isFlat) << "zeros of both signs are equal";
}

TEST(JudgeSamples, CountsSamplesThatAreNotFinite) {
    const float infinity = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    for (float bad : {nan, -nan, infinity, -infinity}) {
        std::vector<float> samples = noise(100, 1.0f);
        samples[40] = samples[70] = bad;
        const TraceQuality quality = judgeSamples(samples, 0.0f);
        EXPECT_FALSE(quality.isFinite());
        EXPECT_EQ(quality.firstBad, 40);
        EXPECT_EQ(quality.nanCount, std::isnan(bad) ? 2 : 0);
        EXPECT_EQ(quality.infiniteCount, std::isnan(bad) ? 0 : 2);
    }
}

TEST(JudgeSamples, TakesShortTraces) {
    std::vector<float> none, one = {5.0f}, two = {5.0f, -1e38f};
    EXPECT_FALSE(judgeSamples(none, 0.0f).isFlat);
    EXPECT_TRUE(judgeSamples(one, 0.0f).isFlat);
    EXPECT_EQ(judgeSamples(two, 0.0f).spike, -1);
}

TEST(JudgeSamples, FindsASpikeAnywhere) {
    for (std::size_t place : {0u, 1u, 250u, 498u, 499u}) {
        std::vector<float> samples = noise(500, 1.0f);
        samples[place] = -30.0f;
        EXPECT_EQ(judgeSamples(samples, 0.0f).spike, static_cast<std::int64_t>(place));
    }
}

TEST(JudgeSamples, TakesNeitherNoiseNorAWaveletForASpike) {
    for (unsigned seed = 0; seed < 100; ++seed) {
        std::vector<float> samples = noise(1000, 1.0f, seed);
        EXPECT_EQ(judgeSamples(samples, 0.0f).spike, -1) << seed;
    }
    std::vector<float> samples = noise(1000, 0.001f);
    for (int k = -20; k <= 20; ++k) { /* a Ricker wavelet of a tenth of the sampling rate */
        const double x = std::pow(3.14159 * 0.1 * k, 2);
        samples[static_cast<std::size_t>(500 + k)] += static_cast<float>((1.0 - 2.0 * x) * std::exp(-x));
    }
    EXPECT_EQ(judgeSamples(samples, 0.0f).spike, -1) << "1000 times the noise, but no pulse";
}

TEST(JudgeSamples, AsksASpikeToBeTenTimesTheRmsOfTheRest) {
    std::vector<float> samples(1000);
    for (std::size_t k = 0; k < samples.size(); ++k) samples[k] = k % 2 ? 1.0f : -1.0f;
    samples[500] = 9.9f;
    EXPECT_EQ(judgeSamples(samples, 0.0f).spike, -1);
    samples[500] = 10.1f;
    EXPECT_EQ(judgeSamples(samples, 0.0f).spike, 500);
    samples[502] = -2.1f;
    EXPECT_EQ(judgeSamples(samples, 0.0f).spike, -1) << "more than a fifth, two samples away";
}

TEST(JudgeSamples, CountsClippedSamplesInRunsAtTheLargestAmplitude) {
    std::vector<float> samples(200);
    for (std::size_t k = 0; k < samples.size(); ++k)
        samples[k] = std::clamp(300.0f * std::sin(0.2f * static_cast<float>(k)), -200.0f, 200.0f);
    const auto atLevel = std::count_if(samples.begin(), samples.end(), [](float a) { return std::fabs(a) == 200.0f; });
    EXPECT_EQ(judgeSamples(samples, 0.0f).clippedCount, atLevel);
    EXPECT_EQ(judgeSamples(samples, 201.0f).clippedCount, 0) << "too small for the format";
}

TEST(JudgeSamples, TakesShortRunsForCrests) {
    std::vector<float> samples = noise(200, 0.1f);
    for (std::size_t start : {20u, 60u, 100u, 140u}) samples[start] = samples[start + 1] = 9.0f;
    EXPECT_EQ(judgeSamples(samples, 0.0f).clippedCount, 0) << "runs of two";
    samples[22] = 9.0f;
    EXPECT_EQ(judgeSamples(samples, 0.0f).clippedCount, 0) << "three samples in all";
    samples[62] = 9.0f;
    EXPECT_EQ(judgeSamples(samples, 0.0f).clippedCount, 6);
    samples[61] = -9.0f;
    EXPECT_EQ(judgeSamples(samples, 0.0f).clippedCount, 0) << "a run has one sign";
}

TEST(RoughMedian, IsWithinOnePercent) {
    std::vector<float> values = noise(999, 1.0f);
    RoughMedian median;
    for (float& value : values) median.take(value = std::exp(4.0f * value));
    std::nth_element(values.begin(), values.begin() + 499, values.end());
    EXPECT_NEAR(median.median(), values[499], 0.01f * values[499]);
    EXPECT_EQ(RoughMedian().median(), 0.0f);
}

TEST(SampleScan, SortsTracesIntoKinds) {
    SampleScan scan;
    TraceQuality live{.min = -2.0f, .max = 3.0f, .mean = 0.5f, .rms = 2.0f}, flat{.isFlat = true};
    TraceQuality bad{.nanCount = 2, .infiniteCount = 1, .firstBad = 7},
        spiky{.min = -40.0f, .max = 1.0f, .rms = 4.0f, .spike = 3};
    scan.take(live, 1, 1);
    scan.take(flat, 1, 2);
    scan.take(live, 2, 3);
    scan.take(bad, 1, 4);
    scan.take(spiky, 1, 5);
    EXPECT_EQ(scan.live.first, (std::vector<std::int64_t>{1, 5}));
    EXPECT_EQ(scan.dead.first, (std::vector<std::int64_t>{2, 3}));
    EXPECT_EQ(scan.markedButLive.first, std::vector<std::int64_t>{3});
    EXPECT_EQ(scan.bad.first, std::vector<std::int64_t>{4});
    EXPECT_EQ(scan.spiky.first, std::vector<std::int64_t>{5});
    EXPECT_EQ(scan.largestSpike, 10.0f);
    EXPECT_EQ(scan.firstBadSample, 8);
    EXPECT_EQ(scan.nanCount, 2);
    EXPECT_EQ(scan.infiniteCount, 1);
    EXPECT_EQ(scan.amplitude.min, -40.0f);
    EXPECT_EQ(scan.amplitude.minTrace, 5);
    EXPECT_EQ(scan.amplitude.max, 3.0f);
    EXPECT_EQ(scan.amplitude.maxTrace, 1);
    EXPECT_EQ(scan.rms.max, 4.0f);
    EXPECT_EQ(scan.mean.mean(), 0.25);
}

TEST(SampleScan, ListsTheFirstEightOfAKind) {
    SampleScan scan;
    for (std::int64_t trace = 1; trace <= 1000; ++trace) scan.take({.isFlat = true}, 1, trace);
    EXPECT_EQ(scan.dead.count, 1000);
    EXPECT_EQ(scan.dead.first, (std::vector<std::int64_t>{1, 2, 3, 4, 5, 6, 7, 8}));
}

}
