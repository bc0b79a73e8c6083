#include <gtest/gtest.h>
#include <pelta/statistics.h>

#include <cmath>
#include <random>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

struct Crest {
    float value, offset;
};

Crest crestOf(std::vector<float> triple) {
    Crest crest{-1.0f, -1.0f};
    parabolic(triple.data(), 1, &crest.value, &crest.offset);
    return crest;
}

TEST(Parabolic, FindsTheCrestBetweenSamples) {
    EXPECT_EQ(crestOf({0, 1, 0}).offset, 0.0f);
    EXPECT_EQ(crestOf({0, 1, 0}).value, 1.0f);
    EXPECT_EQ(crestOf({1, 2, 2}).offset, 0.5f);
    EXPECT_EQ(crestOf({1, 2, 2}).value, 2.125f);
    EXPECT_EQ(crestOf({2, 2, 1}).offset, -0.5f);
    EXPECT_EQ(crestOf({-1, -2, -2}).value, -2.125f) << "a trough";
}

TEST(Parabolic, ReturnsTheVertexOfAParabola) {
    for (float vertex : {-0.5f, -0.25f, 0.0f, 0.125f, 0.4375f}) {
        std::vector<float> trace(5);
        for (int i = 0; i < 5; ++i) trace[i] = 3.0f - 2.0f * (i - 2 - vertex) * (i - 2 - vertex);
        float value, offset;
        parabolic(trace.data(), 2, &value, &offset);
        EXPECT_EQ(offset, vertex);
        EXPECT_EQ(value, 3.0f);
    }
}

TEST(Parabolic, TakesALevelLineAsItsOwnCrest) {
    EXPECT_EQ(crestOf({2, 2, 2}).offset, 0.0f);
    EXPECT_EQ(crestOf({2, 2, 2}).value, 2.0f);
}

TEST(Parabolic, TakesTheCurvatureOfASlopeAsALeastOne) {
    const Crest crest = crestOf({1, 2, 3});
    EXPECT_EQ(crest.offset, 0.5f / floatFromBits(0x0DA24260) * -2.0f);
    EXPECT_EQ(crest.value, 2.0f - 0.25f * crest.offset * -2.0f);
}

/* Each step rounded to single precision. */
Crest plainCrest(float before, float at, float after) {
    volatile float twice = 2.0f * at, bottom = before - twice;
    bottom = bottom + after;
    if (bottom == 0.0f) bottom = 1.0e-30f;
    volatile float half = 0.5f / bottom, difference = before - after, offset = half * difference;
    volatile float quarter = 0.25f * offset, correction = quarter * difference, value = at - correction;
    return {value, offset};
}

TEST(Parabolic, RoundsEveryStepToSinglePrecision) {
    std::mt19937 engine(9);
    for (int turn = 0; turn < 200000; ++turn) {
        std::vector<float> triple = randomTrace(3, static_cast<unsigned>(turn));
        if (turn % 4 == 0)
            for (float& sample : triple) sample = floatFromBits(static_cast<std::uint32_t>(engine()));
        if (turn % 4 == 1) triple[2] = 2.0f * triple[1] - triple[0];
        const Crest actual = crestOf(triple), expected = plainCrest(triple[0], triple[1], triple[2]);
        ASSERT_TRUE(sameBits(actual.offset, expected.offset)) << triple[0] << " " << triple[1] << " " << triple[2];
        ASSERT_TRUE(sameBits(actual.value, expected.value)) << triple[0] << " " << triple[1] << " " << triple[2];
    }
}

TEST(Parabolic2, ReadsAnAttributeAtAGivenOffset) {
    float trace[4] = {9, 1, 2, 2}, value = 0.0f;
    parabolic2(trace, 2, &value, 0.5f);
    EXPECT_EQ(value, 2.125f);
    parabolic2(trace, 2, &value, 0.0f);
    EXPECT_EQ(value, 2.0f);
    parabolic2(trace, 1, &value, -0.25f);
    EXPECT_EQ(value, 1.0f + 0.0625f * 7.0f);
}

TEST(Parabolic2, GivesTheValueOfParabolicAtItsOffset) {
    for (unsigned seed = 0; seed < 1000; ++seed) {
        std::vector<float> triple = randomTrace(3, seed);
        const Crest crest = crestOf(triple);
        float value;
        parabolic2(triple.data(), 1, &value, crest.offset);
        ASSERT_TRUE(sameBits(value, crest.value));
    }
}

}
