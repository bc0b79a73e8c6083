#include <gtest/gtest.h>
#include <pelta/host.h>
#include <pelta/mute.h>

#include <cmath>
#include <limits>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

std::vector<float> shifted(std::vector<float> trace, float stat) {
    std::vector<float> out(trace.size(), 9.0f), work(trace.size());
    applyStatic(trace.data(), out.data(), work.data(), static_cast<int>(trace.size()), stat);
    return out;
}

TEST(ApplyStatic, OfZeroReturnsTheTrace) {
    const std::vector<float> trace = randomTrace(200, 1);
    EXPECT_EQ(shifted(trace, 0.0f), trace);
}

TEST(ApplyStatic, MovesEventsUpByAPositiveNumberOfSamples) {
    const std::vector<float> trace = randomTrace(50, 2);
    const std::vector<float> up = shifted(trace, 3.0f), down = shifted(trace, -3.0f);
    for (int i = 0; i < 47; ++i) {
        EXPECT_EQ(up[i], trace[i + 3]);
        EXPECT_EQ(down[i + 3], trace[i]);
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(up[47 + i], 0.0f);
        EXPECT_EQ(down[i], 0.0f);
    }
}

TEST(ApplyStatic, ReadsBetweenSamplesWithTheHostsInterpolation) {
    for (float stat : {2.5f, -0.3f, 17.77f, -199.9f, 199.0f}) {
        std::vector<float> trace = randomTrace(200, 3), positions(200), expected(200);
        for (int i = 0; i < 200; ++i) positions[i] = static_cast<float>(i) + stat;
        ints8r(200, 1.0f, 0.0f, trace.data(), 0.0f, 0.0f, 200, positions.data(), expected.data());
        EXPECT_TRUE(sameSamples(shifted(trace, stat), expected)) << stat;
    }
}

TEST(ApplyStatic, WritesItsPositionsUnlessTheyAreAllOutside) {
    std::vector<float> trace(10, 1.0f), out(10), work(10, 9.0f);
    applyStatic(trace.data(), out.data(), work.data(), 10, 10.0f);
    EXPECT_EQ(work, std::vector<float>(10, 9.0f));
    applyStatic(trace.data(), out.data(), work.data(), 10, -0.3f);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(work[i], static_cast<float>(i) + -0.3f);
}

TEST(ApplyStatic, KeepsASmoothWaveAndMovesIt) {
    std::vector<float> trace(300);
    addRicker(trace, 150.0f, 25.0f, 4.0f, 1.0f);
    std::vector<float> expected(300);
    addRicker(expected, 147.5f, 25.0f, 4.0f, 1.0f);
    const std::vector<float> moved = shifted(trace, 2.5f);
    constexpr float interpolation = 5e-3f;
    for (int i = 0; i < 300; ++i) EXPECT_NEAR(moved[i], expected[i], interpolation);
}

TEST(ApplyStatic, AsLargeAsTheTraceLeavesZeros) {
    const std::vector<float> trace(10, 1.0f);
    for (float stat : {10.0f, -10.0f, 1e9f, std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity()})
        EXPECT_EQ(shifted(trace, stat), std::vector<float>(10, 0.0f));
    EXPECT_NE(shifted(trace, 9.5f), std::vector<float>(10, 0.0f));
    EXPECT_EQ(shifted(trace, -10.5f), std::vector<float>(10, 0.0f)) << "which interpolation would leave a tail of";
    EXPECT_EQ(shifted(trace, 9.0f).front(), 1.0f);
    EXPECT_EQ(shifted(trace, std::nanf("")), std::vector<float>(10, 0.0f)) << "no shift at all";
}

/* A host's interpolation need not know what to do there. */
TEST(ApplyStatic, DoesNotAskTheHostForPositionsThatAreNone) {
    std::vector<float> trace(10, 1.0f), out(10, 9.0f), work(10, 9.0f);
    applyStatic(trace.data(), out.data(), work.data(), 10, std::nanf(""));
    EXPECT_EQ(out, std::vector<float>(10, 0.0f));
    EXPECT_EQ(work, std::vector<float>(10, 9.0f));
}

TEST(ApplyStatic, NoSamplesAreNoWork) {
    float in = 1, out = 2, work = 3;
    applyStatic(&in, &out, &work, 0, 0.0f);
    applyStatic(&in, &out, &work, -1, 5.0f);
    EXPECT_EQ(out, 2.0f);
    EXPECT_EQ(work, 3.0f);
}

}
