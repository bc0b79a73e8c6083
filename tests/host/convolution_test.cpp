#include <gtest/gtest.h>
#include <pelta/host.h>

#include <climits>
#include <cmath>
#include <limits>
#include <random>
#include <thread>
#include <tuple>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();

/* The definition: ascending index of x, every product and sum rounded to float. */
std::vector<float> plainConvolution(const std::vector<float>& x, int ifx, const std::vector<float>& y, int ify, int lz,
                                    int ifz) {
    std::vector<float> z(lz);
    for (int k = 0; k < lz; ++k) {
        float sum = 0.0f;
        for (std::size_t j = 0; j < x.size(); ++j) {
            const long long i = static_cast<long long>(k) + ifz - ifx - ify - static_cast<long long>(j);
            if (i < 0 || i >= static_cast<long long>(y.size())) continue;
            const float product = x[j] * y[i];
            sum += product;
        }
        z[k] = sum;
    }
    return z;
}

std::vector<float> convolved(std::vector<float> x, int ifx, std::vector<float> y, int ify, int lz, int ifz) {
    std::vector<float> z(lz + 3, 77.0f);
    conv(static_cast<int>(x.size()), ifx, x.data(), static_cast<int>(y.size()), ify, y.data(), lz, ifz, z.data());
    for (int k = lz; k < lz + 3; ++k) EXPECT_EQ(z[k], 77.0f) << "written beyond the output";
    z.resize(lz);
    return z;
}

TEST(Conv, MultipliesPolynomials) {
    EXPECT_TRUE(sameSamples(convolved({1, 2}, 0, {1, 3, 5}, 0, 4, 0), std::vector<float>{1, 5, 11, 10}));
    EXPECT_TRUE(sameSamples(convolved({1, 2}, -1, {1, 3, 5}, 4, 6, 2), std::vector<float>{0, 1, 5, 11, 10, 0}));
}

TEST(Conv, AddsItsTermsInAscendingOrderOfTheFirstSeries) {
    std::mt19937 engine(1);
    for (int round = 0; round < 400; ++round) {
        const auto length = [&](int limit) { return static_cast<int>(engine() % limit); };
        const std::vector<float> x = randomTrace(1 + length(300), engine()), y = randomTrace(1 + length(700), engine(), 100.0f);
        const int ifx = length(200) - 150, ify = length(60) - 30, ifz = length(300) - 200, lz = length(900);
        EXPECT_TRUE(sameSamples(convolved(x, ifx, y, ify, lz, ifz), plainConvolution(x, ifx, y, ify, lz, ifz)))
            << x.size() << " taps at " << ifx << ", " << y.size() << " samples at " << ify << ", " << lz << " outputs at "
            << ifz;
    }
}

TEST(Conv, AppliesACentredOperator) {
    const std::vector<float> taps = randomTrace(505, 2), trace = randomTrace(1500, 3);
    EXPECT_TRUE(sameSamples(convolved(taps, -252, trace, 0, 1500, 0), plainConvolution(taps, -252, trace, 0, 1500, 0)));
}

TEST(Conv, KeepsSamplesOutsideTheSeriesApartFromInfiniteTaps) {
    std::vector<float> x = randomTrace(70, 4), y = randomTrace(200, 5);
    x[3] = infinity;
    x[69] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(sameSamples(convolved(x, -20, y, 0, 300, -50), plainConvolution(x, -20, y, 0, 300, -50)));
}

TEST(Conv, FollowsTheDefinitionOnInfiniteSamplesAndDenormals) {
    std::vector<float> x = randomTrace(70, 6), y = randomTrace(400, 7);
    x[5] = 0.0f;
    x[6] = -0.0f;
    y[100] = infinity;
    y[200] = -infinity;
    y[201] = std::numeric_limits<float>::quiet_NaN();
    for (int i = 300; i < 320; ++i) y[i] *= 1e-40f;
    EXPECT_TRUE(sameSamples(convolved(x, 0, y, 0, 480, -5), plainConvolution(x, 0, y, 0, 480, -5)));
}

TEST(Conv, FollowsTheDefinitionWhereTapsAreZero) {
    std::mt19937 engine(2);
    for (int round = 0; round < 400; ++round) {
        const auto length = [&](int limit) { return static_cast<int>(engine() % limit); };
        std::vector<float> x = randomTrace(1 + length(70), engine()), y = randomTrace(1 + length(400), engine(), 100.0f);
        const unsigned share = engine() % 5;
        for (float& tap : x)
            if (engine() % 4 < share) tap = engine() % 2 ? 0.0f : -0.0f;
        if (round % 3 == 0) y[length(static_cast<int>(y.size()))] = round % 2 ? infinity : -infinity;
        if (round % 5 == 0) y[length(static_cast<int>(y.size()))] = std::numeric_limits<float>::quiet_NaN();
        for (int i = length(100); i < static_cast<int>(y.size()); i += 3) y[i] = round % 2 ? -0.0f : y[i] * 1e-41f;
        const int ifx = length(60) - 45, ify = length(60) - 30, ifz = length(200) - 100, lz = length(600);
        EXPECT_TRUE(sameSamples(convolved(x, ifx, y, ify, lz, ifz), plainConvolution(x, ifx, y, ify, lz, ifz)))
            << x.size() << " taps at " << ifx << ", " << y.size() << " samples at " << ify << ", " << lz << " outputs at "
            << ifz;
    }
}

TEST(Conv, NeverGivesANegativeZero) {
    const std::vector<float> z = convolved({-0.0f, -1.0f}, 0, {0.0f, 0.0f, 0.0f}, 0, 8, -2);
    for (float sample : z) EXPECT_EQ(bitsOf(sample), 0u);
}

TEST(Conv, GivesZerosForAnEmptySeries) {
    float x[1] = {2.0f}, z[3] = {1.0f, 1.0f, 1.0f};
    for (auto [lx, ly] : {std::pair{0, 1}, {1, 0}, {-3, 1}, {1, -3}, {0, 0}}) {
        std::fill_n(z, 3, 1.0f);
        conv(lx, 0, x, ly, 0, x, 3, 0, z);
        EXPECT_TRUE(sameSamples(z, std::vector{0.0f, 0.0f, 0.0f})) << lx << " and " << ly << " samples";
    }
}

TEST(Conv, WritesNothingForNoOutputs) {
    float x[1] = {2.0f}, z[1] = {5.0f};
    conv(1, 0, x, 1, 0, x, 0, 0, z);
    conv(1, 0, x, 1, 0, x, -4, 0, z);
    EXPECT_EQ(z[0], 5.0f);
}

TEST(Conv, GivesZerosWhereFirstIndicesAreFarApart) {
    /* The last two are 2^32 apart, which an int takes for 0. */
    for (auto [ifx, ify, ifz] : {std::tuple{INT_MIN, INT_MIN, INT_MAX},
                                 {INT_MAX, INT_MAX, INT_MIN},
                                 {INT_MAX, INT_MAX, INT_MAX},
                                 {INT_MIN, -1, INT_MAX},
                                 {INT_MAX, 1, INT_MIN}})
        EXPECT_TRUE(sameSamples(convolved({1.0f, 2.0f}, ifx, {3.0f}, ify, 3, ifz), std::vector{0.0f, 0.0f, 0.0f}));
}

TEST(Conv, GivesEveryThreadTheSameBits) {
    const std::vector<float> taps = randomTrace(127, 8), trace = randomTrace(2000, 9);
    const std::vector<float> expected = plainConvolution(taps, -63, trace, 0, 2000, 0);
    std::vector<std::vector<float>> results(4);
    std::vector<std::thread> threads;
    for (auto& result : results) threads.emplace_back([&] { result = convolved(taps, -63, trace, 0, 2000, 0); });
    for (std::thread& thread : threads) thread.join();
    for (const auto& result : results) EXPECT_TRUE(sameSamples(result, expected));
}

}
