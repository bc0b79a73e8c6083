#include <gtest/gtest.h>
#include <pelta/wavelet.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "support/bits.h"

namespace {

const float nan = std::numeric_limits<float>::quiet_NaN(), infinity = std::numeric_limits<float>::infinity();

TEST(Ricker, PeaksAtItsDelay) {
    std::vector<float> wave(100, 9.0f);
    ricker(0.1f, 0.004f, 25.0f, 100, 1.0f, wave.data());
    EXPECT_EQ(wave[25], 1.0f);
    EXPECT_NEAR(wave[24], wave[26], 1e-6f);
    EXPECT_LT(wave[30], 0.0f);
}

/* 1.5 / dt / freq falls just below 15 in single precision. */
TEST(Ricker, WritesTheSamplesAroundItsPeakOnly) {
    std::vector<float> wave(100, 9.0f);
    ricker(0.1f, 0.004f, 25.0f, 100, 1.0f, wave.data());
    for (int i = 0; i < 100; ++i) EXPECT_EQ(wave[i] == 9.0f, i < 10 || i > 39) << i;
}

/* The published formula: every constant, product and sum a float, from left to right. */
float plainSample(int i, float delay, float dt, float freq, float amp) {
    const volatile float time = static_cast<float>(i) * dt;
    const float t = time - delay;
    const volatile float f2 = freq * freq, t2 = t * t;
    const volatile float twice = 19.739208802178716f * f2, once = -9.869604401089358f * f2;
    const volatile float twiceSquared = twice * t2, onceSquared = once * t2;
    return (1.0f - twiceSquared) * std::exp(onceSquared) * amp;
}

TEST(Ricker, FollowsTheFormulaToTheBit) {
    for (const float freq : {0.9f, 5.0f, 25.0f, 33.3f, 90.0f})
        for (const float delay : {-0.01f, 0.0f, 0.0731f, 0.19f}) {
            std::vector<float> wave(150, 9.0f);
            ricker(delay, 0.002f, freq, 150, -2.5f, wave.data());
            for (int i = 0; i < 150; ++i) {
                if (wave[i] == 9.0f) continue;
                ASSERT_EQ(bitsOf(wave[i]), bitsOf(plainSample(i, delay, 0.002f, freq, -2.5f))) << freq << " Hz, " << i;
            }
        }
}

TEST(Ricker, HasTheShapeOfARickerWavelet) {
    constexpr float dt = 0.002f, freq = 33.0f, amp = -2.5f, delay = 0.0731f;
    std::vector<float> wave(80, 9.0f);
    ricker(delay, dt, freq, 80, amp, wave.data());
    const int peak = static_cast<int>(delay / dt + 0.5f), half = static_cast<int>(1.5f / dt / freq + 1.0f);
    int written = 0;
    for (int i = 0; i < 80; ++i) {
        if (wave[i] == 9.0f) continue;
        ++written;
        const float t = static_cast<float>(i) * dt - delay;
        const double b = M_PI * freq * t, exact = (1.0 - 2.0 * b * b) * std::exp(-b * b) * amp;
        constexpr double rounding = 2e-6; /* of some steps in single precision, at an amplitude of 2.5 */
        EXPECT_NEAR(wave[i], exact, rounding);
        EXPECT_GE(i, peak + 1 - half - 1);
        EXPECT_LT(i, peak + 1 + half - 1);
    }
    EXPECT_EQ(written, 2 * half);
}

/* Kept on purpose. */
TEST(Ricker, LeavesTheLastSampleOfAnArrayThatEndsWithinTheWavelet) {
    std::vector<float> wave(30, 9.0f);
    ricker(0.1f, 0.004f, 25.0f, 30, 1.0f, wave.data());
    for (int i = 0; i < 30; ++i) EXPECT_EQ(wave[i] == 9.0f, i < 10 || i == 29) << i;
}

TEST(Ricker, BeginsWithTheArrayWhereThePeakLiesEarly) {
    std::vector<float> wave(30, 9.0f);
    ricker(0.0f, 0.004f, 25.0f, 30, 1.0f, wave.data());
    EXPECT_EQ(wave[0], 1.0f);
    for (int i = 0; i < 30; ++i) EXPECT_EQ(wave[i] == 9.0f, i > 14) << i;
}

/* 1.5 / dt / freq rounds up to 100 in single precision and falls short of it in double. */
TEST(Ricker, TruncatesItsHalfWidthInSinglePrecision) {
    std::vector<float> wave(400, 9.0f);
    ricker(0.3f, 0.0015f, 10.0f, 400, 1.0f, wave.data());
    EXPECT_EQ(std::count(wave.begin(), wave.end(), 9.0f), 400 - 2 * 101);
}

TEST(Ricker, StaysInItsArray) {
    for (const float delay : {-1.0f, 0.0f, 0.01f, 0.37f, 0.4f, 5.0f, 1e30f, -1e30f, nan, infinity}) {
        for (const float dt : {0.004f, 0.0f, -0.004f, nan, infinity, 1e-30f})
            for (const float freq : {25.0f, 0.0f, -3.0f, nan, infinity, 1e-30f}) {
                std::vector<float> wave(102, 9.0f);
                ricker(delay, dt, freq, 100, 1.0f, wave.data() + 1);
                EXPECT_EQ(wave.front(), 9.0f);
                EXPECT_EQ(wave[100], 9.0f) << "the last sample is never written";
                EXPECT_EQ(wave.back(), 9.0f);
            }
    }
    float untouched = 9.0f;
    for (int count : {1, 0, -3}) ricker(0.0f, 0.004f, 25.0f, count, 1.0f, &untouched);
    EXPECT_EQ(untouched, 9.0f);
}

/* The wavelet at the n-th sample from the peak: b in double, its square and all that follows single. */
float plainLobe(int n, float dt, float freq) {
    const volatile float time = static_cast<float>(n) * dt;
    const double b = static_cast<double>(time) * 3.141592653589793 * freq;
    const volatile auto squared = static_cast<float>(std::pow(b, 2.0));
    return (1.0f - 2.0f * squared) * std::exp(-squared);
}

/* The published search, without the guards. */
int plainLength(float dt, float freq, float amp) {
    for (int length = 1;; ++length) {
        const float r = plainLobe(length - 1, dt, freq);
        if (r < 0.0f && std::abs(r) < amp) return 2 * length - 1;
    }
}

TEST(RickerLength, EndsInTheNegativeLobeBelowTheAmplitude) {
    const int length = rickerLength(0.004f, 25.0f, 0.01f);
    EXPECT_EQ(length, 19);
    const auto lobe = [](int n) {
        const double b = n * 0.004 * M_PI * 25.0;
        return (1.0 - 2.0 * b * b) * std::exp(-b * b);
    };
    EXPECT_LT(lobe(length / 2), 0.0);
    EXPECT_GT(lobe(length / 2), -0.01);
    EXPECT_LE(lobe(length / 2 - 1), -0.01);
}

TEST(RickerLength, IsTheFirstThatSatisfiesTheRule) {
    for (float dt : {0.0005f, 0.001f, 0.002f, 0.004f, 0.0061f})
        for (float freq = 1.0f; freq < 80.0f; freq += 0.37f)
            for (float amp : {0.4f, 0.1f, 0.01f, 0.001f, 1e-6f})
                ASSERT_EQ(rickerLength(dt, freq, amp), plainLength(dt, freq, amp)) << dt << " " << freq << " " << amp;
}

/* Amplitudes that a sample has to the bit, and their neighbours. */
TEST(RickerLength, DemandsLessThanTheAmplitudeToTheBit) {
    for (float freq : {11.0f, 25.0f, 47.3f, 60.0f})
        for (int n = 1; n < 40; ++n) {
            const float lobe = std::abs(plainLobe(n, 0.004f, freq));
            if (lobe < 1e-36f) break;
            for (float amp : {std::nextafter(lobe, 0.0f), lobe, std::nextafter(lobe, 1.0f)})
                ASSERT_EQ(rickerLength(0.004f, freq, amp), plainLength(0.004f, freq, amp)) << freq << " " << n;
        }
}

TEST(RickerLength, AZeroAtTheCrossingIsNoLobe) {
    EXPECT_EQ(rickerLength(0.0450158156f, 5.0f, 0.9f), 5);
    EXPECT_EQ(plainLength(0.0450158156f, 5.0f, 0.9f), 5);
}

TEST(RickerLength, EndsWhereTheRuleIsNeverMet) {
    for (float amp : {0.0f, -1.0f, nan}) EXPECT_EQ(rickerLength(0.004f, 25.0f, amp), 1);
    for (float dt : {0.0f, nan, infinity}) EXPECT_EQ(rickerLength(dt, 25.0f, 0.01f), 1);
    EXPECT_EQ(rickerLength(1.0f, 1000.0f, 0.01f), 3) << "vanishes with the second sample";
    EXPECT_EQ(rickerLength(1e30f, 1e30f, 0.01f), 3) << "the square leaves the range of a float";
    EXPECT_EQ(rickerLength(0.004f, 25.0f, std::numeric_limits<float>::denorm_min()), 67) << "no float lies between";
    EXPECT_EQ(rickerLength(1e-20f, 1e-20f, 0.01f), INT_MAX);
    EXPECT_EQ(rickerLength(-0.004f, 25.0f, 0.01f), rickerLength(0.004f, 25.0f, 0.01f));
}

}
