#include <gtest/gtest.h>
#include <pelta/velocity.h>

#include <cmath>
#include <random>
#include <vector>

namespace {

std::vector<float> interval(std::vector<float> time, std::vector<float> velocity, float vmin = 0.0f) {
    EXPECT_EQ(dixIntVelocity(time.data(), velocity.data(), static_cast<int>(velocity.size()), vmin), velocity.data());
    return velocity;
}

TEST(DixIntVelocity, OfAConstantVelocityIsThatVelocity) {
    EXPECT_EQ(interval({0, 1, 2, 4}, {2000, 2000, 2000, 2000}), (std::vector<float>{2000, 2000, 2000, 2000}));
}

TEST(DixIntVelocity, FindsTheLayersBehindRmsVelocities) {
    const std::vector<float> layers = {1500, 1800, 2500, 2200, 4000};
    std::vector<float> time, rms;
    double energy = 0, at = 0;
    for (float velocity : layers) {
        energy += 0.4 * velocity * velocity;
        at += 0.4;
        time.push_back(static_cast<float>(at));
        rms.push_back(static_cast<float>(std::sqrt(energy / at)));
    }
    const std::vector<float> found = interval(time, rms);
    constexpr float rounding = 0.01f; /* differences of squares in single precision */
    for (std::size_t i = 0; i < layers.size(); ++i) EXPECT_NEAR(found[i], layers[i], rounding * 10);
}

TEST(DixIntVelocity, GivesTheLeastVelocityWhereALayerWouldBeImaginary) {
    EXPECT_EQ(interval({1, 2, 3}, {3000, 1000, 1000}, 1400), (std::vector<float>{3000, 1400, 1400}));
    EXPECT_EQ(interval({1, 2}, {1000, 1000}, 1400), (std::vector<float>{1400, 1400})) << "smaller ones are raised";
}

TEST(DixIntVelocity, ALayerWithoutThicknessHasTheLeastVelocity) {
    EXPECT_EQ(interval({1, 1, 0, 0}, {2000, 2000, 0, 0}, 1400), (std::vector<float>{2000, 1400, 1400, 1400}));
    EXPECT_EQ(interval({1, 1}, {2000, 2100}, 1400), (std::vector<float>{2000, INFINITY})) << "a step of it divides by zero";
}

TEST(DixIntVelocity, ComputesWithTheRmsVelocitiesAsGiven) {
    std::mt19937 engine(1);
    std::uniform_real_distribution<float> uniform(0.0f, 1.0f);
    for (int trial = 0; trial < 300; ++trial) {
        std::vector<float> time, rms, expected;
        float at = 0;
        for (int i = 0; i < 20; ++i, at += 0.01f + uniform(engine)) {
            time.push_back(at);
            rms.push_back(1500.0f + 200.0f * i * uniform(engine));
        }
        expected.push_back(std::max(rms[0], 1600.0f));
        for (int i = 1; i < 20; ++i) {
            const float d = rms[i] * rms[i] * time[i] - rms[i - 1] * rms[i - 1] * time[i - 1];
            expected.push_back(d > 0 ? std::max(std::sqrt(d / (time[i] - time[i - 1])), 1600.0f) : 1600.0f);
        }
        EXPECT_EQ(interval(time, rms, 1600.0f), expected);
    }
}

TEST(DixIntVelocity, NothingBelowTheLeastVelocityComesOutOfNaNsOrTimesThatFall) {
    const float nan = std::nanf("");
    EXPECT_EQ(interval({1, 2, 3, 4}, {nan, 2000, nan, 2000}, 1400), (std::vector<float>{1400, 1400, 1400, 1400}));
    EXPECT_EQ(interval({4, 3}, {2000, 4000}, 1400), (std::vector<float>{2000, 1400}));
    EXPECT_EQ(interval({nan}, {nan}, 1400), std::vector<float>{1400});
}

TEST(DixIntVelocity, OneSampleIsRaisedAndNoneIsNoWork) {
    EXPECT_EQ(interval({3}, {1000}, 1500), std::vector<float>{1500});
    EXPECT_EQ(interval({3}, {2000}, 1500), std::vector<float>{2000});
    float velocity = 7, time = 1;
    EXPECT_EQ(dixIntVelocity(&time, &velocity, 0, 1500), &velocity);
    EXPECT_EQ(dixIntVelocity(&time, &velocity, -4, 1500), &velocity);
    EXPECT_EQ(velocity, 7.0f);
}

std::vector<float> rms(std::vector<float> velocity) {
    EXPECT_EQ(dixRmsVelocity(velocity.data(), static_cast<int>(velocity.size())), velocity.data());
    return velocity;
}

TEST(DixRmsVelocity, OfAConstantSeriesIsTheSeries) {
    EXPECT_EQ(rms(std::vector<float>(100, 2048.0f)), std::vector<float>(100, 2048.0f));
}

/* Kept on purpose: the first sample stays and does not count. */
TEST(DixRmsVelocity, LeavesTheFirstSampleOut) {
    EXPECT_EQ(rms({9999, 3, 4}), (std::vector<float>{9999, 3, std::sqrt(12.5f)}));
    EXPECT_EQ(rms({5}), std::vector<float>{5});
    float velocity = 7;
    EXPECT_EQ(dixRmsVelocity(&velocity, 0), &velocity);
    EXPECT_EQ(dixRmsVelocity(&velocity, -1), &velocity);
}

TEST(DixRmsVelocity, SumsInSinglePrecision) {
    std::mt19937 engine(2);
    std::vector<float> velocity, expected;
    for (int i = 0; i < 500; ++i) velocity.push_back(1500.0f + static_cast<float>(engine() % 3000));
    expected = velocity;
    float sum = 0;
    for (int i = 1; i < 500; ++i) {
        const volatile float squared = velocity[i] * velocity[i];
        sum += squared;
        expected[i] = std::sqrt(sum / static_cast<float>(i));
    }
    EXPECT_EQ(rms(velocity), expected);
}

}
