#include <gtest/gtest.h>
#include <pelta/wavelet.h>

#include <cmath>
#include <vector>

namespace {

TEST(SineWave, AdvancedByAQuarterPeriodIsACosine) {
    std::vector<float> wave(9, 5.0f);
    EXPECT_EQ(peltaSineWave(wave.data(), 8, 3.0f, 4, 1), 0);
    const float expected[] = {3, 0, -3, 0, 3, 0, -3, 0};
    constexpr float rounding = 1e-6f;
    for (int i = 0; i < 8; ++i) EXPECT_NEAR(wave[i], expected[i], rounding);
    EXPECT_EQ(wave[8], 5.0f);
}

TEST(SineWave, AddsItsStepInDoublePrecision) {
    std::vector<float> wave(1000);
    peltaSineWave(wave.data(), 1000, 0.7f, 7, -3);
    const double step = 360.0 / 7;
    double angle = -3 * step;
    for (int i = 0; i < 1000; ++i, angle += step)
        ASSERT_EQ(wave[i], static_cast<float>(std::sin(angle * 3.141592653589793 / 180) * 0.7f)) << i;
}

TEST(SineWave, HasNoPeriodAtAResolutionOfZero) {
    float wave[2] = {1, 1};
    EXPECT_EQ(peltaSineWave(wave, 2, 1.0f, 0, 0), 0);
    EXPECT_TRUE(std::isnan(wave[0]) && std::isnan(wave[1]));
}

TEST(SineWave, NoSamplesAreNoWork) {
    float wave = 2.0f;
    EXPECT_EQ(peltaSineWave(&wave, 0, 1.0f, 4, 1), 0);
    EXPECT_EQ(peltaSineWave(&wave, -1, 1.0f, 4, 1), 0);
    EXPECT_EQ(wave, 2.0f);
}

}
