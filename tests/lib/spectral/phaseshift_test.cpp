#include <gtest/gtest.h>
#include <pelta/host.h>
#include <pelta/phaseshift.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

/* The published steps, one after the other. */
std::vector<float> plainlyRotated(std::vector<float> trace, int constructed, float angle) {
    const int n = std::min(constructed, static_cast<int>(trace.size()));
    const int nfft = npfar(static_cast<int>(static_cast<float>(constructed) * 1.3f));
    std::vector<float> padded(nfft + 2), spectrum(nfft + 2);
    std::copy_n(trace.begin(), n, padded.begin());
    pfarc(1, nfft, padded.data(), reinterpret_cast<peltaComplex*>(spectrum.data()));
    const auto a = static_cast<float>(angle * 3.141592653589793 / 180.0f);
    const float c = std::cos(a), s = std::sin(a);
    for (int k = 0; k <= nfft / 2; ++k) {
        const float re = spectrum[2 * k], im = spectrum[2 * k + 1];
        const volatile float cre = c * re, sim = s * im, cim = c * im, sre = s * re;
        spectrum[2 * k] = cre + sim;
        spectrum[2 * k + 1] = cim - sre;
    }
    pfacr(-1, nfft, reinterpret_cast<peltaComplex*>(spectrum.data()), padded.data());
    for (int i = 0; i < n; ++i) trace[i] = padded[i] / static_cast<float>(nfft);
    return trace;
}

TEST(PeltaPhaseShift, HoldsWhatItWasBuiltWith) {
    PeltaPhaseShift shift(1000, 30.0f);
    EXPECT_EQ(shift._nsamples, 1000);
    EXPECT_EQ(shift._nfft, npfar(1300));
    EXPECT_EQ(shift._angle, 30.0f);
    shift.setAngle(-45.0f);
    EXPECT_EQ(shift._angle, -45.0f);
}

/* 170 times 1.3 falls just below 221 in single precision. */
TEST(PeltaPhaseShift, TruncatesItsLengthInSinglePrecision) {
    EXPECT_EQ(PeltaPhaseShift(170, 0.0f)._nfft, 220);
    EXPECT_EQ(PeltaPhaseShift(370, 0.0f)._nfft, npfar(480));
    EXPECT_EQ(PeltaPhaseShift(171, 0.0f)._nfft, npfar(222));
}

TEST(PeltaPhaseShift, FollowsThePublishedStepsToTheBit) {
    for (int length : {1, 2, 3, 7, 100, 501, 1500})
        for (float angle : {0.0f, 90.0f, 180.0f, -33.3f, 720.5f}) {
            std::vector<float> trace = randomTrace(length, 7u + length);
            const std::vector<float> expected = plainlyRotated(trace, length, angle);
            PeltaPhaseShift shift(length, angle);
            shift.applyPhaseShift(trace.data(), length);
            for (int i = 0; i < length; ++i) ASSERT_EQ(bitsOf(trace[i]), bitsOf(expected[i])) << length << " " << angle;
        }
}

TEST(PeltaPhaseShift, LeavesATraceAloneAtZeroAndTurnsItOverAtHalfATurn) {
    const std::vector<float> trace = randomTrace(500, 1);
    for (const auto& [angle, factor] : {std::pair{0.0f, 1.0f}, {180.0f, -1.0f}, {360.0f, 1.0f}}) {
        std::vector<float> rotated = trace;
        PeltaPhaseShift(500, angle).applyPhaseShift(rotated.data(), 500);
        constexpr float rounding = 1e-6f;
        for (int i = 0; i < 500; ++i) EXPECT_NEAR(rotated[i], factor * trace[i], rounding);
    }
}

TEST(PeltaPhaseShift, AQuarterTurnMakesANegativeSineOfACosine) {
    constexpr int length = 1000;
    std::vector<float> trace(length);
    for (int i = 0; i < length; ++i) trace[i] = std::cos(0.3f * i) * std::exp(-1e-4f * (i - 500.0f) * (i - 500.0f));
    PeltaPhaseShift(length, 90.0f).applyPhaseShift(trace.data(), length);
    constexpr float widthOfTheEnvelope = 1e-2f; /* its frequencies around the cosine's turn the envelope a little too */
    for (int i = 400; i < 600; ++i)
        EXPECT_NEAR(trace[i], -std::sin(0.3f * i) * std::exp(-1e-4f * (i - 500.0f) * (i - 500.0f)), widthOfTheEnvelope);
}

TEST(PeltaPhaseShift, RotatesNoMoreSamplesThanItWasBuiltFor) {
    std::vector<float> trace = randomTrace(120, 3);
    const std::vector<float> expected = plainlyRotated(trace, 100, 40.0f), before = trace;
    PeltaPhaseShift shift(100, 40.0f);
    shift.applyPhaseShift(trace.data(), 120);
    EXPECT_EQ(trace, expected);
    EXPECT_TRUE(std::equal(trace.begin() + 100, trace.end(), before.begin() + 100));
}

TEST(PeltaPhaseShift, CountsOfZeroOrLessDoNothing) {
    float sample = 5.0f;
    for (int length : {0, -1, -1000}) {
        PeltaPhaseShift none(length, 90.0f);
        none.applyPhaseShift(&sample, 1);
        PeltaPhaseShift(10, 90.0f).applyPhaseShift(&sample, length);
        EXPECT_EQ(sample, 5.0f);
    }
}

TEST(PeltaPhaseShift, HasRoomForTheSpectrumOfTheShortestTrace) {
    PeltaPhaseShift shift(1, 45.0f);
    ASSERT_EQ(shift._nfft, 2);
    float sample = 2.0f;
    shift.applyPhaseShift(&sample, 1); /* both of its bins are real: the sanitizers watch the arrays */
    EXPECT_EQ(sample, 2.0f * std::cos(static_cast<float>(45.0f * 3.141592653589793 / 180.0f)));
}

TEST(PeltaPhaseShift, SpreadsWhatIsNoNumberOverTheWholeTrace) {
    for (float sample : {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
        std::vector<float> trace = randomTrace(300, 5);
        trace[120] = sample;
        PeltaPhaseShift(300, 30.0f).applyPhaseShift(trace.data(), 300);
        for (float rotated : trace) EXPECT_TRUE(std::isnan(rotated));
    }
}

TEST(PeltaPhaseShift, FollowsThePublishedStepsOnTinyAmplitudes) {
    const std::vector<float> trace = randomTrace(300, 5, 1e-41f), expected = plainlyRotated(trace, 300, 30.0f);
    std::vector<float> rotated = trace;
    PeltaPhaseShift(300, 30.0f).applyPhaseShift(rotated.data(), 300);
    EXPECT_TRUE(sameSamples(rotated, expected));
}

TEST(PeltaPhaseShift, RotatesNoMoreSamplesThanItsTransformHolds) {
    PeltaPhaseShift shift(100, 180.0f);
    shift._nfft = 60;
    std::vector<float> trace(100, 1.0f);
    shift.applyPhaseShift(trace.data(), 100);
    EXPECT_LT(trace[59], 0.0f);
    EXPECT_EQ(trace[60], 1.0f);
}

TEST(PeltaPhaseShift, LeavesTheTraceAloneWithoutWorkArrays) {
    for (float* PeltaPhaseShift::*workArray : {&PeltaPhaseShift::_tempTrc1, &PeltaPhaseShift::_tempTrc2}) {
        PeltaPhaseShift shift(10, 180.0f);
        std::free(shift.*workArray);
        shift.*workArray = nullptr;
        std::vector<float> trace(10, 1.0f);
        shift.applyPhaseShift(trace.data(), 10);
        EXPECT_EQ(trace, std::vector<float>(10, 1.0f));
    }
}

}
