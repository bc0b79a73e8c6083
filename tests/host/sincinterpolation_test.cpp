#include <gtest/gtest.h>
#include <pelta/host.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <limits>
#include <thread>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr int fractionCount = 1024;
constexpr double bandError = 0.0042;  // of the amplitude, for frequencies up to 0.6 Nyquist: what the header promises

std::vector<float> resampled(std::vector<float> series, std::vector<float> positions, float left = 0.0f, float right = 0.0f,
                             float interval = 1.0f, float first = 0.0f) {
    std::vector<float> values(positions.size() + 2, 77.0f);
    ints8r(static_cast<int>(series.size()), interval, first, series.data(), left, right, static_cast<int>(positions.size()),
           positions.data(), values.data());
    EXPECT_EQ(values[positions.size()], 77.0f);
    EXPECT_EQ(values[positions.size() + 1], 77.0f);
    values.resize(positions.size());
    return values;
}

/* The taps of the operator for a fraction, read off with unit spikes: tap j belongs to the sample at j - 3. */
std::vector<float> operatorTaps(int fraction) {
    std::vector<float> taps(8);
    for (int j = 0; j < 8; ++j) {
        std::vector<float> spike(32, 0.0f);
        spike[16 - 3 + j] = 1.0f;
        taps[j] = resampled(spike, {16.0f + static_cast<float>(fraction) / fractionCount})[0];
    }
    return taps;
}

TEST(SincInterpolation, StaysWithinItsErrorOverTheBand) {
    double largest = 0.0;
    for (double frequency = 0.0; frequency <= 0.3; frequency += 0.004) {  // cycles per sample; 0.3 is 0.6 Nyquist
        for (double phase : {0.0, 0.7, 2.1}) {
            std::vector<float> series(64), positions;
            const auto wave = [&](double x) { return std::sin(2.0 * M_PI * frequency * x + phase); };
            for (int i = 0; i < 64; ++i) series[i] = static_cast<float>(wave(i));
            for (int k = 0; k < 1000; ++k) positions.push_back(10.0f + 0.0437f * static_cast<float>(k));
            const std::vector<float> values = resampled(series, positions);
            for (std::size_t k = 0; k < values.size(); ++k)
                largest = std::max(largest, std::abs(values[k] - wave(positions[k])));
        }
    }
    EXPECT_LT(largest, bandError);
    EXPECT_GT(largest, bandError / 2) << "the promise in the header could be tighter";
}

double sinc(double x) { return x == 0.0 ? 1.0 : std::sin(M_PI * x) / (M_PI * x); }

/* A least-squares operator satisfies the normal equations of its band. The residual of the taps as floats is at most 8 products
 * of a tap's half unit in the last place, 8 * 2^-25 for taps up to 1. */
TEST(SincInterpolation, UsesLeastSquaresOperators) {
    constexpr double band = 0.617, residualError = 8 * FLT_EPSILON / 4 + 1e-9;
    for (int fraction = 1; fraction < fractionCount; ++fraction) {
        const std::vector<float> taps = operatorTaps(fraction);
        for (int j = 0; j < 8; ++j) {
            double sum = 0.0;
            for (int k = 0; k < 8; ++k) sum += sinc(band * (j - k)) * taps[k];
            EXPECT_NEAR(sum, sinc(band * (static_cast<double>(fraction) / fractionCount - (j - 3))), residualError)
                << "fraction " << fraction << " equation " << j;
        }
    }
}

TEST(SincInterpolation, MirrorsItsOperatorsToTheBit) {
    for (int fraction = 1; fraction <= fractionCount / 2; ++fraction) {
        std::vector<float> mirrored = operatorTaps(fractionCount - fraction);
        std::reverse(mirrored.begin(), mirrored.end());
        EXPECT_TRUE(sameSamples(operatorTaps(fraction), mirrored)) << fraction;
    }
}

/* The plain form: the nearest fraction's operator on the extended series, the products added crosswise. */
float plainValue(const std::vector<std::vector<float>>& operators, const std::vector<float>& series, float left, float right,
                 double position) {
    const int count = static_cast<int>(series.size());
    if (!(position > -8.0)) return left;
    if (position >= count + 7.0) return right;
    const double rounded = std::floor((position - std::floor(position)) * fractionCount + 0.5);
    const int below = static_cast<int>(std::floor(position)) + (rounded == fractionCount ? 1 : 0);
    const auto sample = [&](int i) { return i < 0 ? left : i >= count ? right : series[i]; };
    const int fraction = static_cast<int>(rounded) % fractionCount;
    if (fraction == 0) return sample(below);
    float products[8];
    for (int j = 0; j < 8; ++j) products[j] = operators[fraction][j] * sample(below - 3 + j);
    return ((products[0] + products[4]) + (products[2] + products[6])) +
           ((products[1] + products[5]) + (products[3] + products[7]));
}

TEST(SincInterpolation, MatchesThePlainFormOnRandomSeries) {
    std::vector<std::vector<float>> operators;
    for (int fraction = 0; fraction < fractionCount; ++fraction) operators.push_back(operatorTaps(fraction));
    for (int count : {0, 1, 2, 7, 8, 9, 50, 1500})
        for (auto [interval, first] : {std::pair{1.0f, 0.0f}, {4.0f, 100.0f}, {0.004f, -0.1f}, {-2.0f, 7.0f}, {1.0f, 0.3f}}) {
            const std::vector<float> series = randomTrace(count, 11 + count);
            std::vector<float> positions = randomTrace(2 * count + 300, 12, 0.6f * static_cast<float>(count) + 12.0f);
            for (float& position : positions) position = (position + 0.5f * static_cast<float>(count)) * interval + first;
            const std::vector<float> values = resampled(series, positions, 2.5f, -3.5f, interval, first);
            for (std::size_t k = 0; k < positions.size(); ++k) {
                const double position = (static_cast<double>(positions[k]) - first) / interval;
                EXPECT_TRUE(sameBits(values[k], plainValue(operators, series, 2.5f, -3.5f, position)))
                    << count << " samples, interval " << interval << ", position " << position << ": " << values[k];
            }
        }
}

/* Positions are taken in groups, and a group within the series is read without regard to its ends. */
TEST(SincInterpolation, GivesAPositionTheSameValueAloneAndAmongOthers) {
    const std::vector<float> series = randomTrace(50, 19);
    std::vector<float> positions;
    for (float position = -9.0f; position < 59.0f; position += 0.25f) positions.push_back(position);
    const std::vector<float> together = resampled(series, positions, 2.5f, -3.5f);
    for (std::size_t k = 0; k < positions.size(); ++k)
        EXPECT_TRUE(sameBits(resampled(series, {positions[k]}, 2.5f, -3.5f)[0], together[k])) << positions[k];
}

/* Beside the ends a group that lies close together is read from a copy. */
TEST(SincInterpolation, GivesTheSameValuesBesideTheEndsHoweverFarAGroupSpreads) {
    const std::vector<float> series = randomTrace(600, 20);
    for (float spread : {1.5f, 120.5f, 503.5f, 504.5f, 505.5f, 590.5f})
        for (float from : {-7.25f, -0.5f, 606.75f - spread}) {
            std::vector<float> positions;
            for (int k = 0; k <= 100; ++k) positions.push_back(from + spread * static_cast<float>(k) / 100.0f);
            const std::vector<float> together = resampled(series, positions, 2.5f, -3.5f);
            for (std::size_t k = 0; k < positions.size(); ++k)
                EXPECT_TRUE(sameBits(resampled(series, {positions[k]}, 2.5f, -3.5f)[0], together[k])) << spread << positions[k];
        }
}

TEST(SincInterpolation, IsExactAtSamplePositionsEvenBesideInfinities) {
    std::vector<float> series = randomTrace(100, 13), positions(100);
    series[20] = infinity;
    series[40] = notANumber;
    series[50] = -0.0f;
    for (int i = 0; i < 100; ++i) positions[i] = static_cast<float>(i);
    EXPECT_TRUE(sameSamples(resampled(series, positions), series));
    for (float& position : positions) position = 0.004f * position + 1.0f;
    EXPECT_TRUE(sameSamples(resampled(series, positions, 0.0f, 0.0f, 0.004f, 1.0f), series));
}

TEST(SincInterpolation, SeesTheSeriesExtendedByTheOutsideValues) {
    const std::vector<float> series = randomTrace(30, 14);
    std::vector<float> extended(12, 5.0f), positions, moved;
    extended.insert(extended.end(), series.begin(), series.end());
    extended.insert(extended.end(), 12, -6.0f);
    for (float position = -7.9375f; position < 36.9f; position += 0.0625f) {
        positions.push_back(position);
        moved.push_back(position + 12.0f);
    }
    EXPECT_TRUE(sameSamples(resampled(series, positions, 5.0f, -6.0f), resampled(extended, moved, 5.0f, -6.0f)));
}

TEST(SincInterpolation, GivesTheOutsideValuesFurtherOut) {
    const std::vector<float> series(30, 1.0f);
    for (float position : {-8.0f, -8.5f, -1e9f, -3e38f, -infinity, notANumber})
        EXPECT_EQ(resampled(series, {position}, 5.0f, -6.0f)[0], 5.0f) << position;
    for (float position : {37.0f, 37.5f, 3e9f, 3e38f, infinity})
        EXPECT_EQ(resampled(series, {position}, 5.0f, -6.0f)[0], -6.0f) << position;
}

TEST(SincInterpolation, TakesAnIntervalOfZeroOrNoNumber) {
    const std::vector<float> series(30, 1.0f);
    EXPECT_EQ(resampled(series, {1.0f}, 5.0f, -6.0f, 0.0f)[0], -6.0f);
    EXPECT_EQ(resampled(series, {-1.0f}, 5.0f, -6.0f, 0.0f)[0], 5.0f);
    EXPECT_EQ(resampled(series, {0.0f}, 5.0f, -6.0f, 0.0f)[0], 5.0f);
    EXPECT_EQ(resampled(series, {1.0f}, 5.0f, -6.0f, notANumber)[0], 5.0f);
    EXPECT_EQ(resampled(series, {1.0f}, 5.0f, -6.0f, 1.0f, notANumber)[0], 5.0f);
}

TEST(SincInterpolation, DoesNothingForNoPositions) {
    float series[1] = {1.0f}, value = 3.0f;
    ints8r(1, 1.0f, 0.0f, series, 0.0f, 0.0f, 0, series, &value);
    ints8r(1, 1.0f, 0.0f, series, 0.0f, 0.0f, -5, series, &value);
    EXPECT_EQ(value, 3.0f);
}

TEST(SincInterpolation, MayWriteOverItsPositions) {
    std::vector<float> series = randomTrace(900, 15), positions = randomTrace(900, 16, 1000.0f);
    const std::vector<float> expected = resampled(series, positions);
    ints8r(900, 1.0f, 0.0f, series.data(), 0.0f, 0.0f, 900, positions.data(), positions.data());
    EXPECT_TRUE(sameSamples(positions, expected));
}

TEST(SincInterpolation, GivesEveryThreadTheSameBits) {
    const std::vector<float> series = randomTrace(900, 17), positions = randomTrace(900, 18, 1000.0f);
    std::vector<std::vector<float>> results(4);
    std::vector<std::thread> threads;
    for (auto& result : results) threads.emplace_back([&] { result = resampled(series, positions); });
    for (std::thread& thread : threads) thread.join();
    for (const auto& result : results) EXPECT_TRUE(sameSamples(result, results[0]));
}

}
