#include <gtest/gtest.h>
#include <pelta/spectrum.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

constexpr float untouched = -77.0f;
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

struct Solution {
    std::vector<float> filter, predictionError;
    int flag;
};

Solution emptySolution(int order) {
    const std::size_t count = std::max(1, order);
    return {std::vector<float>(count, untouched), std::vector<float>(count, untouched), -1};
}

Solution solve(int order, std::vector<float> lags, std::vector<float> wanted, int shaping) {
    Solution result = emptySolution(order);
    result.flag = Wiener(order, lags.data(), wanted.data(), result.filter.data(), result.predictionError.data(), shaping);
    return result;
}

/* The recursion step by step, in scalar single precision. */
Solution plainSolution(int order, const std::vector<float>& r, const std::vector<float>& g, int shaping) {
    Solution result = emptySolution(order);
    std::vector<float>&f = result.filter, &a = result.predictionError;
    result.flag = 0;
    a[0] = 1.0f;
    f[0] = g[0] / r[0];
    if (order < 2) return result;
    float v = r[0], d = r[1], q = f[0] * r[1];
    for (int l = 2; l <= order; ++l) {
        const float c = -d / v;
        if (v <= 0.0f) result.flag = l;
        a[l - 1] = c;
        if (shaping == 0) f[l - 1] = v;
        d = d * c;
        v = v + d;
        d = r[l] + c * r[1];
        for (int j = 1; j <= l / 2 - 1; ++j) {
            const float aj = a[j], ak = a[l - 1 - j];
            a[j] = aj + c * ak;
            d = d + a[j] * r[l - j];
            a[l - 1 - j] = ak + c * aj;
            d = d + a[l - 1 - j] * r[j + 1];
        }
        if (l % 2 == 1) {
            const int m = l / 2;
            a[m] = a[m] + c * a[m];
            d = d + a[m] * r[m + 1];
        }
        if (shaping == 0) continue;
        f[l - 1] = (g[l - 1] - q) / v;
        q = r[1] * f[l - 1];
        for (int k = 0; k <= l - 2; ++k) {
            f[k] = f[k] + a[l - 1 - k] * f[l - 1];
            q = q + f[k] * r[l - k];
        }
    }
    return result;
}

testing::AssertionResult sameSolution(const Solution& actual, const Solution& expected) {
    if (actual.flag != expected.flag)
        return testing::AssertionFailure() << "flag " << actual.flag << ", expected " << expected.flag;
    if (auto filters = sameSamples(actual.filter, expected.filter); !filters) return filters << " (filter)";
    return sameSamples(actual.predictionError, expected.predictionError) << " (operator)";
}

/* Lags 0 .. order of a random trace, with a little white noise. */
std::vector<float> randomLags(int order, unsigned seed) {
    std::vector<float> trace = randomTrace(2 * order + 5, seed), lags(order + 1);
    AutoCorr(trace.data(), static_cast<int>(trace.size()), lags.data(), order + 1);
    lags[0] *= 1.001f;
    return lags;
}

/* Left side of the normal equations, row by row, in double. */
std::vector<double> toeplitzTimes(const std::vector<float>& lags, const std::vector<float>& filter) {
    std::vector<double> product(filter.size());
    for (std::size_t row = 0; row < filter.size(); ++row)
        for (std::size_t column = 0; column < filter.size(); ++column)
            product[row] += static_cast<double>(lags[row > column ? row - column : column - row]) * filter[column];
    return product;
}

TEST(Wiener, SolvesTwoNormalEquationsByHand) {
    // 4 f0 + 2 f1 = 8, 2 f0 + 4 f1 = 10
    const Solution shaped = solve(2, {4, 2, 1}, {8, 10}, 1);
    EXPECT_EQ(shaped.flag, 0);
    EXPECT_TRUE(sameSamples(shaped.filter, std::vector<float>{1, 2}));
    EXPECT_TRUE(sameSamples(shaped.predictionError, std::vector<float>{1, -0.5f}));
}

constexpr double residualLimit = 2e-4;  // of the largest lag: float sums of up to 200 terms in 200 orders

TEST(Wiener, SolvesTheNormalEquationsOfAShapingFilter) {
    for (int order : {2, 3, 10, 51, 200}) {
        const std::vector<float> lags = randomLags(order, order), wanted = randomTrace(order, 7, lags[0]);
        const Solution shaped = solve(order, lags, wanted, 1);
        const std::vector<double> left = toeplitzTimes(lags, shaped.filter);
        for (int row = 0; row < order; ++row)
            EXPECT_NEAR(left[row], wanted[row], residualLimit * lags[0]) << order << ", " << row;
    }
}

TEST(Wiener, MakesAnOperatorThatLeavesOnlyTheErrorPower) {
    for (int order : {2, 3, 10, 51, 200}) {
        const std::vector<float> lags = randomLags(order, 40 + order);
        const std::vector<double> left = toeplitzTimes(lags, solve(order, lags, {1}, 0).predictionError);
        EXPECT_GT(left[0], 0.0);
        for (int row = 1; row < order; ++row) EXPECT_NEAR(left[row], 0.0, residualLimit * lags[0]) << order << ", " << row;
    }
}

TEST(Wiener, MatchesThePlainRecursionOnRandomLags) {
    for (int order = 1; order <= 140; ++order)
        for (int shaping : {0, 1, -3}) {
            const std::vector<float> lags = randomLags(order, 900 + order), wanted = randomTrace(order, 5, 10.0f);
            EXPECT_TRUE(sameSolution(solve(order, lags, wanted, shaping), plainSolution(order, lags, wanted, shaping)))
                << "order " << order << ", isw " << shaping;
        }
    for (int order : {255, 256, 257, 258, 505, 700})
        for (int shaping : {0, 1}) {
            const std::vector<float> lags = randomLags(order, order), wanted = randomTrace(order, 6, 10.0f);
            EXPECT_TRUE(sameSolution(solve(order, lags, wanted, shaping), plainSolution(order, lags, wanted, shaping)))
                << "order " << order << ", isw " << shaping;
        }
}

TEST(Wiener, MatchesThePlainRecursionOnLagsThatAreNoAutocorrelation) {
    for (int order : {2, 3, 9, 40, 150})
        for (unsigned seed = 0; seed < 20; ++seed)
            for (int shaping : {0, 1}) {
                const std::vector<float> lags = randomTrace(order + 1, seed), wanted = randomTrace(order, seed + 50);
                EXPECT_TRUE(sameSolution(solve(order, lags, wanted, shaping), plainSolution(order, lags, wanted, shaping)))
                    << "order " << order << ", seed " << seed << ", isw " << shaping;
            }
}

TEST(Wiener, MatchesThePlainRecursionWhereALagIsNotFinite) {
    for (float value : {nan, std::numeric_limits<float>::infinity(), 1e38f, 1e-44f})
        for (int order : {4, 33, 120})
            for (int lag : {0, 1, order / 2, order})
                for (int shaping : {0, 1}) {
                    std::vector<float> lags = randomLags(order, order);
                    lags[lag] = value;
                    const std::vector<float> wanted = randomTrace(order, 8);
                    EXPECT_TRUE(sameSolution(solve(order, lags, wanted, shaping), plainSolution(order, lags, wanted, shaping)))
                        << value << " at lag " << lag << " of " << order << ", isw " << shaping;
                }
}

TEST(Wiener, RecordsTheErrorPowerBeforeEveryOrderInTheFilterOfASpikingOperator) {
    // reflection -1/2: 4, then 4 (1 - 1/4) = 3; the next cross term is 1 - 1/2 * 2 = 0, so the power stays
    EXPECT_TRUE(sameSamples(solve(4, {4, 2, 1, 0.5f, 9}, {1}, 0).filter, std::vector<float>{0.25f, 4, 3, 3}));
}

TEST(Wiener, ErrorPowersNeverGrow) {
    const std::vector<float> powers = solve(120, randomLags(120, 3), {1}, 0).filter;
    for (int order = 2; order < 120; ++order) EXPECT_LE(powers[order], powers[order - 1]) << order;
    EXPECT_GT(powers.back(), 0.0f);
}

TEST(Wiener, ReadsTheLastLagWithoutAnyEffect) {
    std::vector<float> lags = randomLags(50, 1);
    const std::vector<float> wanted = randomTrace(50, 2);
    const Solution before = solve(50, lags, wanted, 1);
    lags[50] = 1e30f;
    EXPECT_TRUE(sameSolution(solve(50, lags, wanted, 1), before));
}

TEST(Wiener, ReportsTheLastOrderWhoseErrorPowerWasNotPositive) {
    // powers 1, 1 - 4 = -3, then -3 - d^2 / -3 with d = 0 - 2 * 2: -3 + 16/3 > 0
    const Solution result = solve(4, {1, 2, 0, 0, 0}, {1}, 0);
    EXPECT_LT(result.filter[2], 0.0f);
    EXPECT_GT(result.filter[3], 0.0f);
    EXPECT_EQ(result.flag, 3);
}

TEST(Wiener, RunsToTheEndAfterABadOrder) {
    const std::vector<float> lags = {0, 0, 0, 0, 0, 0};
    const Solution result = solve(5, lags, {1}, 0);
    EXPECT_EQ(result.flag, 2);  // 0/0: the powers are NaN from then on
    EXPECT_TRUE(sameSamples(result.filter, std::vector<float>{std::numeric_limits<float>::infinity(), 0, nan, nan, nan}));
    EXPECT_TRUE(sameSamples(result.predictionError, std::vector<float>{1, nan, nan, nan, nan}));
}

TEST(Wiener, DoesNotReportANaNErrorPower) {
    EXPECT_EQ(solve(6, {nan, 1, 1, 1, 1, 1, 1}, {1}, 0).flag, 0);
    EXPECT_EQ(solve(3, {4, nan, 1, 1}, {1}, 0).flag, 0);
}

TEST(Wiener, WritesOnlyTheFirstElementsBelowOrderTwo) {
    for (int order : {1, 0, -1, std::numeric_limits<int>::min()})
        for (int shaping : {0, 1}) {
            std::vector<float> lags = {4}, wanted = {2}, filter = {untouched, untouched}, predictionError = filter;
            EXPECT_EQ(Wiener(order, lags.data(), wanted.data(), filter.data(), predictionError.data(), shaping), 0);
            EXPECT_TRUE(sameSamples(filter, std::vector<float>{0.5f, untouched})) << order;
            EXPECT_TRUE(sameSamples(predictionError, std::vector<float>{1, untouched})) << order;
        }
}

TEST(Wiener, KeepsTheLagsAndTheWantedCorrelation) {
    std::vector<float> lags = randomLags(60, 4), wanted = randomTrace(60, 5), filter(60), predictionError(60);
    const std::vector<float> freshLags = lags, freshWanted = wanted;
    Wiener(60, lags.data(), wanted.data(), filter.data(), predictionError.data(), 1);
    EXPECT_TRUE(sameSamples(lags, freshLags));
    EXPECT_TRUE(sameSamples(wanted, freshWanted));
}

}
