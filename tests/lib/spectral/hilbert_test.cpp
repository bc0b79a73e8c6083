#include <gtest/gtest.h>
#include <pelta/phaseshift.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

float tap(int n) { return n % 2 == 0 ? 0.0f : static_cast<float>(-2.0 / (3.141592653589793 * n)); }

std::vector<float> plainQuadrature(const std::vector<float>& trace) {
    const int count = static_cast<int>(trace.size());
    std::vector<float> quadrature(trace.size());
    for (int i = 0; i < count; ++i)
        for (int n = -9; n <= 9; ++n)
            if (i - n >= 0 && i - n < count) {
                const volatile float product = tap(n) * trace[i - n];
                quadrature[i] += product;
            }
    return quadrature;
}

std::vector<float> quadratureOf(std::vector<float> trace) {
    std::vector<float> quadrature(trace.size(), 7.0f);
    applyHilbert(trace.data(), quadrature.data(), static_cast<int>(trace.size()));
    return quadrature;
}

TEST(ApplyHilbert, SpreadsASpikeIntoTheOperator) {
    std::vector<float> trace(50);
    trace[20] = 1.0f;
    const std::vector<float> quadrature = quadratureOf(trace);
    constexpr float digitsGiven = 1e-7f;
    EXPECT_NEAR(quadrature[21], -0.6366197f, digitsGiven);
    EXPECT_NEAR(quadrature[19], 0.6366197f, digitsGiven);
    EXPECT_EQ(quadrature[20], 0.0f);
    EXPECT_NEAR(quadrature[20 - 3], 0.2122066f, digitsGiven);
    EXPECT_NEAR(quadrature[20 - 5], 0.1273240f, digitsGiven);
    EXPECT_NEAR(quadrature[20 - 7], 0.0909457f, digitsGiven);
    EXPECT_NEAR(quadrature[20 - 9], 0.0707355f, digitsGiven);
    for (int i = 0; i < 50; ++i) EXPECT_EQ(quadrature[i], std::abs(i - 20) <= 9 ? tap(i - 20) : 0.0f) << i;
}

TEST(ApplyHilbert, AddsTheTermsInOrder) {
    for (int length : {1, 2, 5, 9, 10, 19, 20, 100, 1501}) {
        const std::vector<float> trace = randomTrace(length, 11u + length, 1000.0f);
        const std::vector<float> quadrature = quadratureOf(trace), expected = plainQuadrature(trace);
        for (int i = 0; i < length; ++i) ASSERT_EQ(bitsOf(quadrature[i]), bitsOf(expected[i])) << length << " " << i;
    }
}

TEST(ApplyHilbert, AddsInfinitiesNegativeZerosAndDenormalsLikeAnyOther) {
    std::vector<float> trace = randomTrace(200, 4);
    std::fill(trace.begin() + 20, trace.begin() + 60, -0.0f);
    for (int i = 60; i < 90; ++i) trace[i] *= 1e-40f;
    trace[120] = std::numeric_limits<float>::infinity();
    trace[131] = -std::numeric_limits<float>::infinity();
    trace[170] = std::numeric_limits<float>::quiet_NaN();
    const std::vector<float> quadrature = quadratureOf(trace);
    EXPECT_TRUE(sameSamples(quadrature, plainQuadrature(trace)));
    EXPECT_TRUE(std::isnan(quadrature[122])) << "a tap of 0 times infinity is no number";
}

/* Amplitude of the quadrature of a sine, at a fraction of Nyquist; it has to be a cosine. */
double amplitudeAt(double fractionOfNyquist) {
    constexpr int count = 400, reach = 9;
    std::vector<float> trace(count);
    for (int i = 0; i < count; ++i) trace[i] = static_cast<float>(std::sin(M_PI * fractionOfNyquist * i));
    const std::vector<float> quadrature = quadratureOf(trace);
    const double amplitude = quadrature[200] / std::cos(M_PI * fractionOfNyquist * 200);
    constexpr double rounding = 1e-5; /* near a zero of the cosine the quotient magnifies it */
    for (int i = reach; i < count - reach; ++i)
        EXPECT_NEAR(quadrature[i], amplitude * std::cos(M_PI * fractionOfNyquist * i), rounding) << fractionOfNyquist;
    return amplitude;
}

TEST(ApplyHilbert, TurnsASineIntoACosineWithinTheBand) {
    for (double fraction = 0.151; fraction < 0.85; fraction += 0.004) EXPECT_NEAR(amplitudeAt(fraction), 1.0, 0.11) << fraction;
    EXPECT_NEAR(amplitudeAt(0.1001), 1.18, 0.005);
    EXPECT_NEAR(amplitudeAt(0.8999), 1.18, 0.005);
    EXPECT_LT(amplitudeAt(0.01), 0.25);
}

TEST(ApplyHilbert, NoSamplesAreNoWork) {
    float out = 3.0f, in = 1.0f;
    applyHilbert(&in, &out, 0);
    applyHilbert(&in, &out, -5);
    EXPECT_EQ(out, 3.0f);
}

}
