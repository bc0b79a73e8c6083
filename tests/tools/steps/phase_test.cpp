#include <gtest/gtest.h>
#include <pelta/phaseshift.h>

#include "support/bits.h"
#include "support/signals.h"
#include "tools/steps/applystep.h"

namespace pelta {
namespace {

std::vector<float> rotated(std::vector<float> samples, float angle) {
    PeltaPhaseShift(sampleCount, angle).applyPhaseShift(samples.data(), sampleCount);
    return samples;
}

/* A wave of 30 Hz at 4 ms that fades out before the ends of the trace. */
std::vector<float> wavePacket(double phaseDegrees) {
    std::vector<float> samples(sampleCount);
    for (int i = 0; i < sampleCount; ++i) {
        const double t = i - 0.5 * sampleCount;
        samples[i] =
            static_cast<float>(std::exp(-t * t / 5000.0) * std::cos(2.0 * M_PI * 0.12 * t + phaseDegrees * M_PI / 180.0));
    }
    return samples;
}

TEST(PhaseStep, IsTheLibrarysRotation) {
    const std::vector<float> samples = randomTrace(sampleCount, 1);
    const Applied result = apply("phase", {{"angle", "-33.5"}}, traceOf(samples));
    EXPECT_TRUE(sameSamples(result.samples, rotated(samples, -33.5f)));
    EXPECT_TRUE(result.isChanged);
}

TEST(PhaseStep, AdvancesThePhaseByAPositiveAngle) {
    for (int angle : {30, 90, -120, 180}) {
        const Applied result = apply("phase", {{"angle", std::to_string(angle)}}, traceOf(wavePacket(0)));
        const std::vector<float> expected = wavePacket(angle);
        constexpr float rounding = 1e-5f; /* of a forward and an inverse transform in single precision */
        for (int i = 0; i < sampleCount; ++i) ASSERT_NEAR(result.samples[i], expected[i], rounding) << angle << ' ' << i;
    }
}

TEST(PhaseStep, WantsAnAngle) {
    EXPECT_EQ(
        refusal("phase", {}),
        "phase: angle_deg is missing: angle of the rotation; cos(w t) becomes cos(w t + angle), 180 reverses the polarity");
    EXPECT_EQ(refusal("phase", {{"angle", "361"}}), "--angle: 361 lies outside -360 .. 360");
}

TEST(HilbertStep, IsTheLibrarysQuadratureTrace) {
    std::vector<float> samples = randomTrace(sampleCount, 2), expected(sampleCount);
    const Applied result = apply("hilbert", {}, traceOf(samples));
    applyHilbert(samples.data(), expected.data(), sampleCount);
    EXPECT_TRUE(sameSamples(result.samples, expected));
    EXPECT_TRUE(result.isChanged);
}

TEST(HilbertStep, IsTheRotationBy90DegreesInTheMiddleOfTheBand) {
    const std::vector<float> quadrature = apply("hilbert", {}, traceOf(wavePacket(0))).samples, expected = wavePacket(90);
    constexpr float ripple = 0.1f; /* of an operator of 19 samples, cut off without a taper, around half of Nyquist */
    for (int i = 0; i < sampleCount; ++i) EXPECT_NEAR(quadrature[i], expected[i], ripple) << i;
}

}
}
