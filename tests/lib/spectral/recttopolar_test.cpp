#include <gtest/gtest.h>
#include <pelta/spectrum.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

constexpr float pi = 3.1415927f;
constexpr float untouched = -77.0f;
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

struct Polar {
    std::vector<float> magnitude, phase;
};

Polar polarOf(std::vector<float> bins) {
    const std::size_t count = bins.size() / 2;
    Polar polar = {std::vector<float>(count, untouched), std::vector<float>(count, untouched)};
    rectToPolar(bins.data(), 2, polar.magnitude.data(), 1, polar.phase.data(), 1, static_cast<int>(count));
    return polar;
}

Polar plainPolarOf(const std::vector<float>& bins) {
    Polar polar;
    for (std::size_t k = 0; k < bins.size() / 2; ++k) {
        const float vr = bins[2 * k], vi = bins[2 * k + 1];
        const float d = vr * vr + vi * vi;
        polar.magnitude.push_back(d > 0.0f ? std::sqrt(d) : 0.0f);
        float p = nan;
        if (vr != 0.0f && vi != 0.0f) p = std::atan2(vi, vr);
        else if (vi == 0.0f && vr >= 0.0f) p = 0.0f;
        else if (vi == 0.0f && vr < 0.0f) p = -pi;
        else if (vr == 0.0f && vi > 0.0f) p = pi / 2;
        else if (vr == 0.0f && vi < 0.0f) p = -pi / 2;
        polar.phase.push_back(p);
    }
    return polar;
}

/* Values of every size, with zeros of both signs, infinities, NaNs and denormals among them. */
std::vector<float> valuesOfAllSizes(int count, unsigned seed) {
    const float special[] = {0.0f, -0.0f,   1.0f,     -1.0f,        infinity,     -infinity,
                             nan,  FLT_MAX, -FLT_MAX, FLT_TRUE_MIN, -FLT_TRUE_MIN};
    std::mt19937 engine(seed);
    std::vector<float> values(count);
    for (float& value : values) value = engine() % 4 == 0 ? special[engine() % std::size(special)] : floatFromBits(engine());
    return values;
}

TEST(RectToPolar, GivesMagnitudeAndPhaseOfEveryQuarter) {
    const Polar polar = polarOf({3, 4, -3, 4, -3, -4, 3, -4});
    EXPECT_TRUE(sameSamples(polar.magnitude, std::vector<float>{5, 5, 5, 5}));
    const float acute = std::atan2(4.0f, 3.0f), obtuse = std::atan2(4.0f, -3.0f);
    EXPECT_TRUE(sameSamples(polar.phase, std::vector<float>{acute, obtuse, -obtuse, -acute}));
}

TEST(RectToPolar, GivesQuarterTurnsOnTheAxes) {
    const Polar polar = polarOf({2, 0, 0, 3, 0, -1, 0, 0});
    EXPECT_TRUE(sameSamples(polar.magnitude, std::vector<float>{2, 3, 1, 0}));
    EXPECT_TRUE(sameSamples(polar.phase, std::vector<float>{0, 1.5707964f, -1.5707964f, 0}));
}

TEST(RectToPolar, GivesANegativeRealValuePhaseMinusPi) {
    for (float zero : {0.0f, -0.0f}) {
        const Polar polar = polarOf({-2, zero});
        EXPECT_EQ(polar.magnitude[0], 2.0f);
        EXPECT_EQ(bitsOf(polar.phase[0]), bitsOf(-3.1415927f));
    }
}

TEST(RectToPolar, GivesZerosOfAnySignPhaseZero) {
    for (float real : {0.0f, -0.0f})
        for (float imaginary : {0.0f, -0.0f}) EXPECT_EQ(bitsOf(polarOf({real, imaginary}).phase[0]), bitsOf(0.0f));
}

TEST(RectToPolar, MatchesThePlainFormulaOnRandomBins) {
    for (int count : {1, 2, 7, 31, 64, 65, 1001}) {
        const std::vector<float> bins = randomTrace(2 * count, count, 100.0f);
        const Polar polar = polarOf(bins), expected = plainPolarOf(bins);
        EXPECT_TRUE(sameSamples(polar.magnitude, expected.magnitude)) << count;
        EXPECT_TRUE(sameSamples(polar.phase, expected.phase)) << count;
    }
}

TEST(RectToPolar, MatchesThePlainFormulaOnValuesOfAllSizes) {
    const std::vector<float> bins = valuesOfAllSizes(40000, 11);
    const Polar polar = polarOf(bins), expected = plainPolarOf(bins);
    EXPECT_TRUE(sameSamples(polar.magnitude, expected.magnitude));
    EXPECT_TRUE(sameSamples(polar.phase, expected.phase));
}

TEST(RectToPolar, GivesMagnitudeZeroWhereTheSquareUnderflowsOrIsNaN) {
    const Polar polar = polarOf({1e-30f, -1e-30f, nan, 1, 2, nan});
    EXPECT_TRUE(sameSamples(polar.magnitude, std::vector<float>{0, 0, 0}));
    EXPECT_TRUE(sameSamples(polar.phase, std::vector<float>{-pi / 4, nan, nan}));
}

TEST(RectToPolar, GivesANaNBesideAZeroANaNPhase) {
    EXPECT_TRUE(sameSamples(polarOf({nan, 0, 0, nan}).phase, std::vector<float>{nan, nan}));
}

TEST(RectToPolar, GivesAnInfiniteMagnitudeWhereTheSquareOverflows) {
    EXPECT_TRUE(sameSamples(polarOf({1e30f, 1, infinity, infinity}).magnitude, std::vector<float>{infinity, infinity}));
}

TEST(RectToPolar, HonoursItsStrides) {
    const std::vector<float> values = valuesOfAllSizes(300, 5);
    std::vector<float> spread(500, untouched), magnitude(200, untouched), phase(300, untouched);
    for (int k = 0; k < 100; ++k) {
        spread[5 * k] = values[2 * k];
        spread[5 * k + 1] = values[2 * k + 1];
    }
    rectToPolar(spread.data(), 5, magnitude.data(), 2, phase.data(), 3, 100);
    const Polar expected = plainPolarOf({values.begin(), values.begin() + 200});
    for (int k = 0; k < 100; ++k) {
        EXPECT_TRUE(sameBits(magnitude[2 * k], expected.magnitude[k])) << k;
        EXPECT_TRUE(sameBits(phase[3 * k], expected.phase[k])) << k;
        EXPECT_EQ(magnitude[2 * k + 1], untouched);
        EXPECT_EQ(phase[3 * k + 1], untouched);
        EXPECT_EQ(phase[3 * k + 2], untouched);
    }
}

TEST(RectToPolar, WorksInPlace) {
    std::vector<float> bins = randomTrace(400, 9);
    const Polar expected = plainPolarOf(bins);
    rectToPolar(bins.data(), 2, bins.data(), 2, bins.data() + 1, 2, 200);
    for (int k = 0; k < 200; ++k) {
        EXPECT_TRUE(sameBits(bins[2 * k], expected.magnitude[k])) << k;
        EXPECT_TRUE(sameBits(bins[2 * k + 1], expected.phase[k])) << k;
    }
}

TEST(RectToPolar, PacksTheMagnitudesIntoTheFrontOfTheSpectrum) {
    std::vector<float> bins = randomTrace(400, 10), phase(200);
    const Polar expected = plainPolarOf(bins);
    rectToPolar(bins.data(), 2, bins.data(), 1, phase.data(), 1, 200);
    bins.resize(200);
    EXPECT_TRUE(sameSamples(bins, expected.magnitude));
    EXPECT_TRUE(sameSamples(phase, expected.phase));
}

TEST(RectToPolar, DoesNothingForNoBins) {
    for (int count : {0, -1, std::numeric_limits<int>::min()}) {
        float bin[] = {3, 4}, magnitude = untouched, phase = untouched;
        rectToPolar(bin, 2, &magnitude, 1, &phase, 1, count);
        EXPECT_EQ(magnitude, untouched);
        EXPECT_EQ(phase, untouched);
    }
}

TEST(PolarToRect, MatchesThePlainFormulaOnRandomBins) {
    for (float largestPhase : {3.2f, 100.0f, 1e6f}) {
        std::vector<float> magnitude = randomTrace(1001, 1, 50.0f), phase = randomTrace(1001, 2, largestPhase), bins(2002),
                           expected;
        for (int k = 0; k < 1001; ++k) {
            expected.push_back(magnitude[k] * std::cos(phase[k]));
            expected.push_back(magnitude[k] * std::sin(phase[k]));
        }
        polarToRect(magnitude.data(), 1, phase.data(), 1, bins.data(), 2, 1001);
        EXPECT_TRUE(sameSamples(bins, expected));
    }
}

TEST(PolarToRect, MatchesThePlainFormulaOnValuesOfAllSizes) {
    std::vector<float> magnitude = valuesOfAllSizes(20000, 3), phase = valuesOfAllSizes(20000, 4), bins(40000), expected;
    for (std::size_t k = 0; k < phase.size(); ++k) {
        expected.push_back(magnitude[k] * std::cos(phase[k]));
        expected.push_back(magnitude[k] * std::sin(phase[k]));
    }
    polarToRect(magnitude.data(), 1, phase.data(), 1, bins.data(), 2, 20000);
    EXPECT_TRUE(sameSamples(bins, expected));
}

constexpr float roundTripError =
    4 * FLT_EPSILON;  // of the magnitude: half a unit of a phase near pi is 1.2, the rest roundings

TEST(PolarToRect, UndoesRectToPolar) {
    const std::vector<float> bins = randomTrace(2000, 12);
    Polar polar = polarOf(bins);
    std::vector<float> back(2000);
    polarToRect(polar.magnitude.data(), 1, polar.phase.data(), 1, back.data(), 2, 1000);
    for (int i = 0; i < 2000; ++i) EXPECT_NEAR(back[i], bins[i], roundTripError * polar.magnitude[i / 2]) << i;
}

TEST(PolarToRect, HonoursItsStrides) {
    std::vector<float> magnitude = {1, untouched, 2, untouched}, phase = {0, 9, 9, pi / 2, 9, 9}, bins(8, untouched);
    polarToRect(magnitude.data(), 2, phase.data(), 3, bins.data(), 4, 2);
    EXPECT_TRUE(
        sameSamples(bins, std::vector<float>{1, 0, untouched, untouched, 2 * std::cos(pi / 2), 2, untouched, untouched}));
}

TEST(PolarToRect, WorksInPlace) {
    std::vector<float> bins = {2, 0, 3, pi / 2, 4, 0};
    polarToRect(bins.data(), 2, bins.data() + 1, 2, bins.data(), 2, 3);
    EXPECT_TRUE(sameSamples(bins, std::vector<float>{2, 0, 3 * std::cos(pi / 2), 3, 4, 0}));
}

TEST(PolarToRect, DoesNothingForNoBins) {
    for (int count : {0, -1, std::numeric_limits<int>::min()}) {
        float magnitude = 1, phase = 0, bin[] = {untouched, untouched};
        polarToRect(&magnitude, 1, &phase, 1, bin, 2, count);
        EXPECT_EQ(bin[0], untouched);
        EXPECT_EQ(bin[1], untouched);
    }
}

}
