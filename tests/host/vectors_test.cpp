#include <gtest/gtest.h>
#include <pelta/host.h>

#include <cmath>
#include <limits>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

TEST(Vclr, ClearsEveryStrideThEntry) {
    for (int stride : {1, 2, 5}) {
        std::vector<float> values(40, 3.0f), expected = values;
        int n = 7;
        for (int k = 0; k < n; ++k) expected[k * stride] = 0.0f;
        vclr_(values.data(), &stride, &n);
        EXPECT_TRUE(sameSamples(values, expected)) << "stride " << stride;
    }
}

TEST(Vclr, TakesNegativeStridesAndNoEntries) {
    std::vector<float> values = {1.0f, 2.0f, 3.0f};
    int stride = -1, n = 2;
    vclr_(values.data() + 2, &stride, &n);
    EXPECT_TRUE(sameSamples(values, std::vector{1.0f, 0.0f, 0.0f}));
    for (int none : {0, -3}) vclr_(values.data(), &stride, &none);
    EXPECT_EQ(values[0], 1.0f);
}

TEST(Cvabs, TakesMagnitudesAtItsStrides) {
    for (auto [from, to] : {std::pair{2, 1}, {3, 2}, {4, 1}}) {
        std::vector<float> bins = randomTrace(100, 1, 10.0f), magnitudes(50, 7.0f), expected = magnitudes;
        int ia = from, ic = to, n = 20;
        for (int k = 0; k < n; ++k) {
            const float realSquare = bins[k * from] * bins[k * from];
            const float imaginarySquare = bins[k * from + 1] * bins[k * from + 1];
            const float sum = realSquare + imaginarySquare;
            expected[k * to] = static_cast<float>(std::sqrt(static_cast<double>(sum)));
        }
        cvabs_(bins.data(), &ia, magnitudes.data(), &ic, &n);
        EXPECT_TRUE(sameSamples(magnitudes, expected)) << "strides " << from << " and " << to;
    }
}

TEST(Cvabs, PassesInfinitiesAndNotANumbersOn) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
    std::vector<float> bins = {-infinity, 1.0f, notANumber, 0.0f, -0.0f, -0.0f, 3.0f, -4.0f}, magnitudes(4);
    int ia = 2, ic = 1, n = 4;
    cvabs_(bins.data(), &ia, magnitudes.data(), &ic, &n);
    EXPECT_TRUE(sameSamples(magnitudes, std::vector{infinity, notANumber, 0.0f, 5.0f}));
    for (int none : {0, -1}) cvabs_(bins.data(), &ia, magnitudes.data(), &ic, &none);
    EXPECT_EQ(magnitudes[3], 5.0f);
}

}
