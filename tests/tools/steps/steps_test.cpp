#include <gtest/gtest.h>
#include <pelta/bandpassfilter.h>
#include <pelta/fbpicker.h>
#include <pelta/normalmoveout.h>
#include <pelta/peltaagc.h>

#include "support/bits.h"
#include "support/failure.h"
#include "support/signals.h"
#include "tools/steps/applystep.h"

namespace pelta {
namespace {

/* Steps hand a trace to the library and nothing else: their results are the library's, bit by bit. */

TEST(BandPassStep, IsTheLibrarysFilterAtTheInputsLevel) {
    std::vector<float> expected = randomTrace(sampleCount, 1);
    const Applied result = apply("bandpass", {{"corners", "5,10,40,60"}, {"truncation", "0.01"}}, traceOf(expected));
    BandPassFilter filter(0, 0, 0, 0.01f, 5, 10, 40, 60, sampleCount, intervalMs);
    filter.applyFilter(expected.data(), sampleCount);
    const float level = 1.0f / static_cast<float>(filter._nfft);
    for (float& sample : expected) sample *= level;
    EXPECT_TRUE(sameSamples(result.samples, expected));
    EXPECT_TRUE(result.isChanged);
}

TEST(BandPassStep, WorksInTheFrequencyDomain) {
    std::vector<float> expected = randomTrace(sampleCount, 2);
    const Applied result = apply(
        "bandpass",
        {{"shape", "butterworth"}, {"corners", "10,40"}, {"slopes", "18,36"}, {"domain", "frequency"}, {"inverse", "true"}},
        traceOf(expected));
    BandPassFilter filter(1, 0, 1, 0.001f, 18, 10, 40, 36, sampleCount, intervalMs);
    filter.setTimeDomain(0);
    filter.buildFilter(18, 10, 40, 36);
    filter.applyFilter(expected.data(), sampleCount);
    EXPECT_TRUE(sameSamples(result.samples, expected));
}

TEST(BandPassStep, RefusesCornersThatMakeNoBand) {
    for (const char* corners : {"5,10,60", "10,5,40,60", "5,10,130,140"})
        EXPECT_THROW(apply("bandpass", {{"corners", corners}}, traceOf(randomTrace(sampleCount, 3))), UsageError) << corners;
    EXPECT_THROW(apply("bandpass", {}, traceOf(randomTrace(sampleCount, 3))), UsageError);
    EXPECT_THROW(apply("bandpass", {{"shape", "butterworth"}, {"corners", "5,10,40,60"}}, traceOf(randomTrace(sampleCount, 3))),
                 UsageError);
}

std::vector<float> corrected(std::vector<float> samples, float offset, float velocity, float stretch) {
    NormalMoveout moveout(static_cast<int>(samples.size()), intervalMs / 1000.0f, stretch, -1e9f, true, false);
    std::vector<float> velocities(samples.size(), velocity), none(samples.size(), 0.0f);
    const int count = static_cast<int>(samples.size());
    moveout.applyNMO(samples.data(), velocities.data(), none.data(), count, 0.0f, offset, 0, count);
    return samples;
}

TEST(MoveoutStep, IsTheLibrarysMoveoutInSecondsAndMetres) {
    const std::vector<float> samples = randomTrace(sampleCount, 4);
    const Applied result = apply("moveout", {{"velocity", "2000"}, {"stretch", "30"}}, traceOf(samples, -800.0));
    EXPECT_TRUE(sameSamples(result.samples, corrected(samples, -800.0f, 2000.0f, 0.3f)));
}

TEST(MoveoutStep, TakesOffsetsOfAFileInFeet) {
    const std::vector<float> samples = randomTrace(sampleCount, 5);
    const Applied result = apply("moveout", {{"velocity", "2000"}}, traceOf(samples, 1000.0), testLine(true));
    EXPECT_TRUE(sameSamples(result.samples, corrected(samples, static_cast<float>(304.8), 2000.0f, 0.3f)));
}

TEST(MoveoutStep, HonoursTheTimeOfTheFirstSample) {
    /* A trace that begins at 40 ms is corrected like one from time 0 whose first 10 samples are missing. */
    std::vector<float> fromZero = randomTrace(sampleCount + 10, 6);
    std::fill_n(fromZero.begin(), 10, 0.0f);
    const std::vector<float> expected = corrected(fromZero, 700.0f, 2000.0f, 1.0f);
    const std::vector<float> late(fromZero.begin() + 10, fromZero.end());
    const Applied result = apply("moveout", {{"velocity", "2000"}, {"stretch", "100"}}, traceOf(late, 700.0, 40.0));
    EXPECT_TRUE(sameSamples(result.samples, std::vector<float>(expected.begin() + 10, expected.end())));

    /* One that begins before the shot keeps what was recorded before it. */
    const std::vector<float> early = randomTrace(sampleCount, 7);
    const Applied second = apply("moveout", {{"velocity", "2000"}, {"stretch", "100"}}, traceOf(early, 700.0, -40.0));
    std::vector<float> expectedEarly(early.begin(), early.begin() + 10);
    for (float sample : corrected({early.begin() + 10, early.end()}, 700.0f, 2000.0f, 1.0f)) expectedEarly.push_back(sample);
    EXPECT_TRUE(sameSamples(second.samples, expectedEarly));
}

TEST(MoveoutStep, UndoesItselfWithinTheTrace) {
    std::vector<float> samples(sampleCount, 0.0f);
    addRicker(samples, 300.0f, 20.0f, intervalMs, 1.0f);
    const Applied flat = apply("moveout", {{"velocity", "2500"}, {"stretch", "100"}}, traceOf(samples, 600.0));
    const Applied back = apply("moveout", {{"velocity", "2500"}, {"mode", "inverse"}}, traceOf(flat.samples, 600.0));
    for (int i = 250; i < 350; ++i) EXPECT_NEAR(back.samples[i], samples[i], 0.02) << i;
}

TEST(MoveoutStep, RefusesContradictoryVelocities) {
    const WorkTrace work = traceOf(randomTrace(sampleCount, 8));
    EXPECT_THROW(apply("moveout", {}, work), UsageError);
    EXPECT_THROW(apply("moveout", {{"velocity", "2000"}, {"velocity_table", "0:1500"}}, work), UsageError);
    EXPECT_THROW(apply("moveout", {{"velocity_table", "0:1500,0:1600"}}, work), UsageError);
    EXPECT_THROW(apply("moveout", {{"velocity_table", "0:0"}}, work), UsageError);
    EXPECT_THROW(apply("moveout", {{"velocity", "2000"}, {"mode", "block"}}, work), UsageError);
}

TEST(GainStep, IsTheLibrarysGainAndReportsIt) {
    std::vector<float> expected = randomTrace(sampleCount, 9);
    const Applied result = apply("gain", {{"window", "200"}, {"gains_file", "unused"}}, traceOf(expected));
    PeltaAGC agc(sampleCount, 200, intervalMs);
    agc.applyAGC(expected.data(), sampleCount);
    EXPECT_TRUE(sameSamples(result.samples, expected));
    EXPECT_TRUE(sameSamples(result.findings, std::span(agc.savedGain(), sampleCount)));
}

class PickStep : public testing::TestWithParam<const char*> {};

TEST_P(PickStep, FindsAnArrivalCountedFromTheShot) {
    std::vector<float> samples = randomTrace(sampleCount, 10, 0.01f);
    for (int i = 250; i < 330; ++i) samples[i] += static_cast<float>(std::exp(-0.03 * (i - 250)) * std::sin(0.5 * (i - 249.5)));
    for (double delayMs : {0.0, 100.0, -100.0}) {
        const Applied result = apply("pick", {{"ipmethod", GetParam()}}, traceOf(samples, 900.0, delayMs));
        ASSERT_EQ(result.findings.size(), 1u);
        EXPECT_NEAR(result.findings[0], 250.0f, 12.0f) << delayMs;
        EXPECT_TRUE(sameSamples(result.samples, samples));
        EXPECT_FALSE(result.isChanged);
    }
    /* With a search that starts from offset and velocity the delay moves the start: 3000 m at 2000 m/s are 1500 ms. */
    const Applied late =
        apply("pick", {{"ipmethod", GetParam()}, {"method", "offset"}, {"velocity", "2000"}}, traceOf(samples, -4200.0));
    EXPECT_EQ(late.findings[0], 0.0f) << "the search starts behind the trace";
}

INSTANTIATE_TEST_SUITE_P(Methods, PickStep, testing::Values("energy", "deviation", "spectral"));

TEST(PickStep, WritesTheTimeIntoTheHeaderWord) {
    Line line = testLine();
    line.layout.words.remap("pick=233:4");
    std::vector<float> samples = randomTrace(sampleCount, 11, 0.01f);
    for (int i = 250; i < 330; ++i) samples[i] += static_cast<float>(std::exp(-0.03 * (i - 250)) * std::sin(0.5 * (i - 249.5)));
    const Applied result = apply("pick", {}, traceOf(samples, 0.0, 100.0), line);
    EXPECT_EQ(segy::readWord(result.work.trace.header.data(), {233, 4}, segy::ByteOrder::big),
              std::llround(100.0 + intervalMs * result.findings[0]));
}

}
}
