#include "synthesis/line.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/bits.h"

namespace pelta::synthesis {
namespace {

/* Nothing but the waves. */
Survey silentSurvey() {
    Survey survey;
    survey.noise = survey.groundRoll = survey.deadShare = survey.reversedShare = 0.0;
    return survey;
}

std::vector<float> traceOf(TraceMaker& maker, int record, int channel) {
    std::vector<float> samples;
    maker.make(maker.station(record, channel), samples);
    return samples;
}

TEST(SyntheticLine, RollsAlongWithOneCdpForEveryMidpoint) {
    const TraceMaker maker({});
    const Station first = maker.station(0, 0), rolled = maker.station(2, 3);
    EXPECT_EQ(first.record, 1);
    EXPECT_EQ(first.channel, 1);
    EXPECT_EQ(first.offset(), 50.0);
    EXPECT_EQ(first.cdp, TraceMaker::firstCdp);
    EXPECT_EQ(rolled.sourceX, 100.0);
    EXPECT_EQ(rolled.offset(), 125.0);
    for (int record = 0; record < 24; ++record)
        for (int channel = 0; channel < 48; ++channel) {
            const Station station = maker.station(record, channel);
            ASSERT_EQ(maker.midpointOf(station.cdp), 0.5 * (station.sourceX + station.receiverX));
        }
    EXPECT_EQ(maker.lastCdp(), maker.station(23, 47).cdp);
}

TEST(SyntheticLine, HasTheFirstBreaksOfALayerOverARefractor) {
    const TraceMaker maker({});
    EXPECT_DOUBLE_EQ(maker.firstBreakMs(maker.station(0, 0)), 1000.0 * 50.0 / weatheredVelocity);
    const double cosine = std::sqrt(1.0 - std::pow(weatheredVelocity / refractorVelocity, 2.0));
    const double intercept = 2000.0 * weatheredThickness * cosine / weatheredVelocity;
    constexpr double rounding = 1e-9; /* ms */
    EXPECT_NEAR(maker.firstBreakMs(maker.station(0, 47)), 1000.0 * 1225.0 / refractorVelocity + intercept, rounding);
}

TEST(SyntheticLine, IsSilentBeforeItsFirstBreaksAndLoudBehindThem) {
    const Survey survey = silentSurvey();
    TraceMaker maker(survey);
    for (int channel = 0; channel < survey.channelCount; ++channel) {
        const std::vector<float> samples = traceOf(maker, 0, channel);
        const auto isLive = [](float sample) { return sample != 0.0f; };
        const auto first = std::find_if(samples.begin(), samples.end(), isLive) - samples.begin();
        const double breakMs = maker.firstBreakMs(maker.station(0, channel));
        EXPECT_EQ(first, static_cast<std::ptrdiff_t>(std::floor(breakMs / survey.intervalMs)) + 1) << channel;
        const float peak = std::abs(*std::max_element(samples.begin() + first, samples.begin() + first + 20));
        EXPECT_GT(peak, 0.5f) << channel;
    }
}

TEST(SyntheticLine, ReflectsAtTheTimesOfItsStackingVelocities) {
    Survey survey = silentSurvey();
    survey.lateral = 0.3;
    TraceMaker maker(survey);
    for (int record : {0, 12, 23}) {
        const Station station = maker.station(record, 20);
        const double factor = maker.velocityFactor(0.5 * (station.sourceX + station.receiverX));
        const Reflection& last = reflections[4];
        const double arrival = std::hypot(last.time, 1000.0 * station.offset() / (factor * last.velocity));
        const std::vector<float> samples = traceOf(maker, record, 20);
        const auto window = samples.begin() + 1000; /* 2000 ms: behind the other reflections */
        const auto crest = std::max_element(window, samples.end()) - samples.begin();
        EXPECT_NEAR(static_cast<double>(crest) * survey.intervalMs, arrival, survey.intervalMs) << record;
    }
    EXPECT_DOUBLE_EQ(maker.velocityFactor(maker.midpointOf(TraceMaker::firstCdp)), 0.85);
    EXPECT_DOUBLE_EQ(maker.velocityFactor(maker.midpointOf(maker.lastCdp())), 1.15);
}

TEST(SyntheticLine, GivesATraceTheSameSamplesWhateverWasMadeBefore) {
    TraceMaker once({}), again({}), other({.seed = 2});
    const std::vector<float> trace = traceOf(once, 3, 5);
    traceOf(again, 0, 0);
    EXPECT_TRUE(sameSamples(traceOf(again, 3, 5), trace));
    EXPECT_FALSE(sameSamples(traceOf(other, 3, 5), trace));
}

TEST(SyntheticLine, HasDeadAndReversedTracesByTheirShares) {
    Survey survey = silentSurvey();
    TraceMaker plain(survey);
    survey.reversedShare = 1.0;
    TraceMaker reversing(survey);
    std::vector<float> expected = traceOf(plain, 1, 1);
    for (float& sample : expected) sample = -sample;
    EXPECT_TRUE(sameSamples(traceOf(reversing, 1, 1), expected));
    survey.deadShare = 1.0;
    TraceMaker killing(survey);
    EXPECT_TRUE(killing.station(1, 1).isDead);
    EXPECT_TRUE(sameSamples(traceOf(killing, 1, 1), std::vector<float>(1500, 0.0f)));
}

}
}
