#include <gtest/gtest.h>
#include <pelta/arpicker.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "support/bits.h"
#include "support/plainautoregression.h"
#include "support/signals.h"

namespace {

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

float accsum(std::vector<float> x, int nmm, int move) {
    int n = static_cast<int>(x.size());
    float sum = -1.0f;
    accsum_(x.data(), &n, &nmm, &move, &sum);
    return sum;
}

float accssq(int m, std::vector<float> x, std::vector<float> a, int icode) {
    int n = static_cast<int>(x.size());
    float ssq = -1.0f;
    accssq_(&m, &n, x.data(), a.data(), &icode, &ssq);
    return ssq;
}

int chfac(int n, std::vector<float>& a) {
    int nt = -5, ifail = -1;
    chfac_(&n, &nt, a.data(), &ifail);
    return ifail;
}

float chsol(int n, std::vector<float> l, std::vector<float>& b) {
    int nt = -5;
    float ss = -1.0f;
    chsol_(&n, &nt, l.data(), b.data(), &ss);
    return ss;
}

int akstop(float p, float pl, int m, int n, int akcode) {
    int itend = -1;
    akstop_(&p, &pl, &m, &n, &akcode, &itend);
    return itend;
}

struct Settings {
    int mstart = 2, mlast = 6, icode = 0, akcode = 0, rscode = 1;
};

using Fit = plain::Model;

/* Arrays of exactly the promised sizes, so that the address sanitizer sees what goes beyond them. */
Fit fabne(std::vector<float> x, Settings settings) {
    int n = static_cast<int>(x.size()), mdim = -5;
    Fit fit(settings.mlast);
    fabne_(x.data(), &n, &settings.mstart, &settings.mlast, &settings.icode, &settings.akcode, &settings.rscode, &mdim,
           fit.v.data(), fit.vc.data(), fit.s.data(), fit.sc.data(), fit.a.data(), &fit.m, &fit.ssq, &fit.p, &fit.ocode);
    return fit;
}

/* A second-order autoregressive series driven by noise. */
std::vector<float> resonantSeries(int n, unsigned seed, float noise = 1.0f) {
    std::vector<float> x = randomTrace(n, seed, noise);
    for (int t = 2; t < n; ++t) x[t] += 1.2f * x[t - 1] - 0.7f * x[t - 2];
    return x;
}

/* Sines of random frequency and phase in faint noise: the prediction error goes on falling with the order. */
std::vector<float> manySines(int n, int sines, unsigned seed) {
    std::vector<float> x = randomTrace(n, seed, 0.05f);
    std::mt19937 engine(seed);
    const auto uniform = [&] { return static_cast<double>(engine() >> 8) / 16777216.0; };
    for (int k = 0; k < sines; ++k) {
        const double frequency = M_PI * uniform(), phase = 2 * M_PI * uniform();
        for (int t = 0; t < n; ++t) x[t] += static_cast<float>(std::sin(frequency * t + phase));
    }
    return x;
}

std::vector<float> series(int kind, int n, unsigned seed) {
    switch (kind % 4) {
        case 0: return randomTrace(n, seed);
        case 1: return resonantSeries(n, seed);
        case 2: {
            const std::vector<float> trace = shotGather(1, 40 + n, 2.0f, seed)[0];
            return std::vector<float>(trace.begin(), trace.begin() + n);
        }
        default: {
            std::vector<float> x = randomTrace(n, seed, 3.0f);
            for (float& sample : x) sample = std::trunc(sample);
            return x;
        }
    }
}

/* The least-squares problem as it is defined, in double. */
struct Equations {
    std::vector<std::vector<double>> v;
    std::vector<double> s;
    double yty = 0;
};

Equations equations(const std::vector<float>& x0, int m, int icode) {
    const int n = static_cast<int>(x0.size());
    const plain::Constant x{x0.data()};
    Equations result{std::vector<std::vector<double>>(m, std::vector<double>(m)), std::vector<double>(m)};
    const auto add = [&](int target, int step) {
        result.yty += static_cast<double>(x[target]) * x[target];
        for (int i = 1; i <= m; ++i) {
            result.s[i - 1] += static_cast<double>(x[target]) * x[target + i * step];
            for (int j = 1; j <= m; ++j)
                result.v[i - 1][j - 1] += static_cast<double>(x[target + i * step]) * x[target + j * step];
        }
    };
    if (icode >= 0)
        for (int t = m + 1; t <= n; ++t) add(t, -1);
    if (icode <= 0)
        for (int t = 1; t <= n - m; ++t) add(t, 1);
    return result;
}

std::vector<double> solved(std::vector<std::vector<double>> v, std::vector<double> s) {
    const std::size_t m = s.size();
    for (std::size_t k = 0; k < m; ++k) {
        for (std::size_t i = k + 1; i < m; ++i) {
            const double factor = v[i][k] / v[k][k];
            for (std::size_t j = k; j < m; ++j) v[i][j] -= factor * v[k][j];
            s[i] -= factor * s[k];
        }
    }
    for (std::size_t i = m; i-- > 0;) {
        for (std::size_t j = i + 1; j < m; ++j) s[i] -= v[i][j] * s[j];
        s[i] /= v[i][i];
    }
    return s;
}

TEST(AccSum, AddsLaggedProducts) {
    EXPECT_EQ(accsum({1, 2, 3, 4}, 4, 0), 30.0f);
    EXPECT_EQ(accsum({1, 2, 3, 4}, 3, 1), 20.0f);
    EXPECT_EQ(accsum({1, 2, 3, 4}, 1, 3), 4.0f);
}

TEST(AccSum, KeepsWhatAPlainSumLoses) {
    std::vector<float> x(1001, 1.0f);
    x[0] = 4096.0f;  // its square is 2^24: adding 1 to that is lost in single precision
    EXPECT_EQ(accsum(x, 1001, 0), 16778216.0f);
}

TEST(AccSum, IsZeroWithoutProducts) {
    EXPECT_EQ(bitsOf(accsum({5, 6}, 0, 1)), 0u);
    EXPECT_EQ(bitsOf(accsum({5, 6}, -3, 0)), 0u);
}

TEST(AccSum, TakesNoNoticeOfTheSeriesLength) {
    float x[3] = {1, 2, 3}, sum;
    for (int n : {-1, 0, 1, 100}) {
        int nmm = 2, move = 1;
        accsum_(x, &n, &nmm, &move, &sum);
        EXPECT_EQ(sum, 8.0f);
    }
}

TEST(AccSum, MatchesTheCompensatedSumStepByStep) {
    for (unsigned seed = 0; seed < 400; ++seed) {
        std::vector<float> x = series(seed, 2 + seed % 150, seed);
        if (seed % 9 == 8) x[seed % x.size()] = seed % 2 ? nan : infinity;
        if (seed % 5 == 4) x[0] *= 3e7f;
        for (int move : {0, 1, 2, 7}) {
            const int nmm = static_cast<int>(x.size()) - move;
            if (nmm < 0) continue;
            EXPECT_TRUE(sameBits(accsum(x, nmm, move), plain::accsum(x.data(), nmm, move))) << seed << " " << move;
        }
    }
}

TEST(AccSsq, AddsTheSquaredResidualsOfBothDirections) {
    // forward: 2 - 1/2, 4 - 2/2; backward: 1 - 2/2, 2 - 4/2
    EXPECT_EQ(accssq(1, {1, 2, 4}, {0.5f}, 1), 2.25f + 9.0f);
    EXPECT_EQ(accssq(1, {1, 2, 4}, {0.5f}, 7), 2.25f + 9.0f);
    EXPECT_EQ(accssq(1, {1, 2, 4}, {0.5f}, -1), 0.0f);
    EXPECT_EQ(accssq(1, {1, 2, 4}, {0.25f}, -1), 0.25f + 1.0f);
    EXPECT_EQ(accssq(1, {1, 2, 4}, {0.25f}, 0), 0.25f + 1.0f + 3.0625f + 12.25f);
    EXPECT_EQ(accssq(2, {1, 2, 4}, {1.0f, 1.0f}, 1), 1.0f);
    EXPECT_EQ(accssq(2, {1, 2, 4}, {1.0f, 1.0f}, -1), 25.0f);
}

TEST(AccSsq, OfOrderZeroIsTheEnergy) {
    for (int order : {0, -1, INT_MIN})
        for (int icode : {1, -1, 0}) EXPECT_EQ(accssq(order, {3, 4}, {}, icode), icode == 0 ? 50.0f : 25.0f);
}

TEST(AccSsq, IsZeroWithoutTargets) {
    for (int icode : {1, -1, 0}) {
        EXPECT_EQ(bitsOf(accssq(3, {3, 4, 5}, {1, 2, 3}, icode)), 0u);
        EXPECT_EQ(bitsOf(accssq(4, {3, 4, 5}, {1, 2, 3, 4}, icode)), 0u);
        EXPECT_EQ(bitsOf(accssq(1, {}, {1}, icode)), 0u);
        int m = 1, n = -9;
        float x = 2, a = 3, ssq = -1;
        accssq_(&m, &n, &x, &a, &icode, &ssq);
        EXPECT_EQ(bitsOf(ssq), 0u);
    }
}

TEST(AccSsq, MatchesThePlainFormulaOnRandomSeries) {
    for (unsigned seed = 0; seed < 600; ++seed) {
        const int n = 1 + static_cast<int>(seed * 7 % 160), m = static_cast<int>(seed % 37);
        std::vector<float> x = series(seed, n, seed);
        const std::vector<float> a = randomTrace(m, seed + 1);
        if (seed % 11 == 10) x[seed % n] = seed % 2 ? nan : infinity;
        for (int icode : {1, 0, -1})
            EXPECT_TRUE(sameBits(accssq(m, x, a, icode), plain::accssq(m, n, x.data(), a.data(), icode)))
                << seed << " " << icode;
    }
}

TEST(ChFac, StoresTheFactorWithReciprocalDiagonal) {
    std::vector<float> a = {4, 2, 5, -6, 3, 45.25f};
    EXPECT_EQ(chfac(3, a), 0);
    EXPECT_EQ(a, (std::vector<float>{0.5f, 1, 0.5f, -3, 3, 1 / 5.220153254f}));
}

TEST(ChFac, TakesTheRootAndItsReciprocalInDouble) {
    std::mt19937 engine(3);
    int apart = 0;
    for (int k = 0; k < 1000; ++k) {
        const float pivot = 1.0f + static_cast<float>(engine() >> 8) / 16777216.0f * 3.0f;
        std::vector<float> a = {pivot};
        EXPECT_EQ(chfac(1, a), 0);
        EXPECT_EQ(bitsOf(a[0]), bitsOf(static_cast<float>(1.0 / std::sqrt(static_cast<double>(pivot)))));
        apart += a[0] != 1.0f / std::sqrt(pivot);
    }
    EXPECT_GT(apart, 0);
}

TEST(ChFac, StopsAtAPivotOfZeroOrLess) {
    std::vector<float> zero = {4, 2, 1, 7, 7, 7}, negative = {4, 2, 0.5f, 7, 7, 7}, first = {-0.0f, 1, 1};
    EXPECT_EQ(chfac(3, zero), 1);
    EXPECT_EQ(zero, (std::vector<float>{0.5f, 1, 1, 7, 7, 7}));
    EXPECT_EQ(chfac(3, negative), 1);
    EXPECT_EQ(negative, (std::vector<float>{0.5f, 1, 0.5f, 7, 7, 7}));
    EXPECT_EQ(chfac(2, first), 1);
    EXPECT_EQ(first, (std::vector<float>{-0.0f, 1, 1}));
}

TEST(ChFac, GoesOnWithAPivotThatIsNotANumber) {
    std::vector<float> a = {nan, 1, 1};
    EXPECT_EQ(chfac(2, a), 0);
    for (float element : a) EXPECT_TRUE(std::isnan(element));
}

TEST(ChFac, SucceedsOnAnEmptyMatrix) {
    std::vector<float> a = {-1};
    EXPECT_EQ(chfac(0, a), 0);
    EXPECT_EQ(chfac(-2, a), 0);
    EXPECT_EQ(a[0], -1.0f);
}

/* Random packed matrices, nearly all positive definite for a strong diagonal. */
std::vector<float> randomMatrix(int n, unsigned seed, float diagonal) {
    std::vector<float> a = randomTrace(n * (n + 1) / 2, seed);
    for (int i = 1; i <= n; ++i) a[plain::at(i, i) - 1] += diagonal;
    return a;
}

TEST(ChFac, MatchesThePlainFormOnRandomMatrices) {
    int failures = 0;
    for (unsigned seed = 0; seed < 500; ++seed) {
        const int n = 1 + static_cast<int>(seed % 40);
        std::vector<float> a = randomMatrix(n, seed, static_cast<float>(seed % 7)), expected = a;
        const int failed = plain::chfac(n, expected.data());
        failures += failed;
        EXPECT_EQ(chfac(n, a), failed) << seed;
        EXPECT_TRUE(sameSamples(a, expected)) << seed;
    }
    EXPECT_GT(failures, 50);
    EXPECT_LT(failures, 450);
}

TEST(ChSol, SolvesAndGivesTheExplainedSum) {
    std::vector<float> l = {4, 2, 5}, b = {8, 12};
    ASSERT_EQ(chfac(2, l), 0);
    EXPECT_EQ(chsol(2, l, b), 32.0f);
    EXPECT_EQ(b, (std::vector<float>{1, 2}));
}

TEST(ChSol, GivesZeroForAnEmptySystem) {
    std::vector<float> b = {5};
    EXPECT_EQ(bitsOf(chsol(0, {1}, b)), 0u);
    EXPECT_EQ(bitsOf(chsol(-1, {1}, b)), 0u);
    EXPECT_EQ(b[0], 5.0f);
}

TEST(ChSol, MatchesThePlainFormOnRandomFactors) {
    for (unsigned seed = 0; seed < 400; ++seed) {
        const int n = 1 + static_cast<int>(seed % 40);
        const std::vector<float> l = randomMatrix(n, seed, seed % 3 ? 0.5f : 0.0f);
        std::vector<float> b = randomTrace(n, seed + 5), expected = b;
        if (seed % 10 == 9) b[n / 2] = expected[n / 2] = nan;
        const float ss = plain::chsol(n, l.data(), expected.data());
        EXPECT_TRUE(sameBits(chsol(n, l, b), ss)) << seed;
        EXPECT_TRUE(sameSamples(b, expected)) << seed;
    }
}

TEST(AkStop, ComparesTheFinalPredictionErrors) {
    // n = 10, m = 2: 12/8 p against 11/9 pl; with the mean counted 13/7 p against 12/8 pl
    EXPECT_EQ(akstop(0.81f, 1.0f, 2, 10, 0), 0);
    EXPECT_EQ(akstop(0.82f, 1.0f, 2, 10, 0), 1);
    EXPECT_EQ(akstop(0.80f, 1.0f, 2, 10, 1), 0);
    EXPECT_EQ(akstop(0.81f, 1.0f, 2, 10, 1), 1);
    EXPECT_EQ(akstop(0.81f, 1.0f, 2, 10, 2), 0);
}

TEST(AkStop, StopsOnlyWhenTheErrorStrictlyRises) {
    EXPECT_EQ(akstop(0.0f, 0.0f, 2, 10, 0), 0);
    EXPECT_EQ(akstop(0.0f, 0.0f, 2, 10, 1), 0);
    EXPECT_EQ(akstop(5.0f, 7.5f, 2, 7, 0), 0);   // 9/5 x 5 against 8/6 x 7.5 is 9 against 10
    EXPECT_EQ(akstop(5.0f, 6.0f, 2, 7, 0), 1);   // 9 against 8
    EXPECT_EQ(akstop(1.0f, 1.5f, 1, 3, 0), 1);   // 2 against 1.5
    EXPECT_EQ(akstop(0.75f, 1.5f, 1, 3, 0), 0);  // 1.5 against 1.5
    EXPECT_EQ(akstop(nan, 1.0f, 2, 10, 0), 0);
    EXPECT_EQ(akstop(1.0f, nan, 2, 10, 1), 0);
}

TEST(AkStop, MatchesThePlainFormulaOnRandomErrors) {
    std::mt19937 engine(4);
    int stops = 0;
    for (int k = 0; k < 20000; ++k) {
        const int n = static_cast<int>(engine() % 60), m = static_cast<int>(engine() % 60), akcode = k % 3;
        const float p = static_cast<float>(engine() >> 8), pl = p * (0.5f + static_cast<float>(engine() >> 8) / 16777216.0f);
        const int expected = plain::akstop(p, pl, m, n, akcode);
        EXPECT_EQ(akstop(p, pl, m, n, akcode), expected) << p << " " << pl << " " << m << " " << n;
        stops += expected;
    }
    EXPECT_GT(stops, 4000);
}

TEST(Fabne, FindsTheCoefficientsOfAResonantSeries) {
    constexpr float sampling = 0.1f;  // the spread of an estimate from 400 samples is about sqrt((1 - 0.7^2) / 400) = 0.036
    const Fit fit = fabne(resonantSeries(400, 5), {2, 20});
    EXPECT_GE(fit.m, 2);
    EXPECT_NEAR(fit.a[0], 1.2f, sampling);
    EXPECT_NEAR(fit.a[1], -0.7f, sampling);
    EXPECT_EQ(fit.ocode, 0);
}

TEST(Fabne, PredictsASineExactlyWithTwoTerms) {
    std::vector<float> x(60);
    for (int t = 0; t < 60; ++t) x[t] = std::sin(0.9f * static_cast<float>(t));
    for (int icode : {1, 0, -1}) {
        const Fit fit = fabne(x, {2, 2, icode});
        EXPECT_EQ(fit.m, 2);
        EXPECT_EQ(fit.ocode, 1);
        EXPECT_NEAR(fit.a[0], 2 * std::cos(0.9f), 20 * FLT_EPSILON);  // sums of 60 rounded samples, condition about 5
        EXPECT_NEAR(fit.a[1], -1.0f, 20 * FLT_EPSILON);
    }
}

TEST(Fabne, ReturnsTheFirstOrderWhenItIsTheLast) {
    // forward: targets 2 3, predictors 1 2; backward: targets 1 2, predictors 2 3
    const std::vector<float> x = {1, 2, 3};
    for (int mstart : {1, 2}) {
        Fit fit = fabne(x, {mstart, 1, 1, 0, 0});
        EXPECT_EQ(fit.m, 1);
        EXPECT_EQ(fit.a[0], 8.0f / 5.0f);
        EXPECT_EQ(fit.v[0], 5.0f);
        EXPECT_EQ(fit.s[0], 8.0f);
        EXPECT_EQ(fit.ssq, 13.0f - 1.6f * 8.0f);
        EXPECT_EQ(fit.p, fit.ssq / 2.0f);
        fit = fabne(x, {mstart, 1, -1, 0, 0});
        EXPECT_EQ(fit.a[0], 8.0f / 13.0f);
        EXPECT_EQ(fit.ssq, 5.0f - 8.0f / 13.0f * 8.0f);
        fit = fabne(x, {mstart, 1, 0, 0, 1});
        EXPECT_EQ(fit.a[0], 16.0f / 18.0f);
        EXPECT_EQ(fit.ssq, plain::accssq(1, 3, x.data(), fit.a.data(), 0));
        EXPECT_EQ(fit.p, fit.ssq / 4.0f);
        EXPECT_EQ(fit.ocode, 0);
    }
}

TEST(Fabne, AcceptsTheSecondOrderWhateverItsErrorWhenItIsTheFirstTested) {
    // white noise: order 2 is seldom better than order 1, and it is taken all the same
    int worse = 0;
    for (unsigned seed = 0; seed < 50; ++seed) {
        const std::vector<float> x = randomTrace(40, seed);
        worse += fabne(x, {1, 10}).m == 1;
        EXPECT_GE(fabne(x, {2, 10}).m, 2) << seed;
    }
    EXPECT_GT(worse, 10);
}

TEST(Fabne, ReturnsTheModelBeforeTheErrorRises) {
    int stops = 0;
    for (unsigned seed = 0; seed < 60; ++seed) {
        const std::vector<float> x = resonantSeries(80, seed);
        const Fit fit = fabne(x, {2, 20});
        if (fit.ocode != 0) continue;
        ++stops;
        const Fit kept = fabne(x, {fit.m, fit.m}), next = fabne(x, {fit.m + 1, fit.m + 1});
        EXPECT_EQ(kept.ocode, 1);
        EXPECT_TRUE(sameBits(fit.ssq, kept.ssq) && sameBits(fit.p, kept.p)) << seed;
        EXPECT_TRUE(sameSamples({fit.a.data(), static_cast<std::size_t>(fit.m)}, kept.a)) << seed;
        EXPECT_EQ(akstop(next.p, fit.p, fit.m + 1, 80, 0), 1) << seed;
    }
    EXPECT_GT(stops, 40);
}

TEST(Fabne, FailsOnAWindowOfZeros) {
    for (int mstart : {2, 3, 6}) {
        const Fit fit = fabne(std::vector<float>(24, 0.0f), {mstart, 6});
        EXPECT_EQ(fit.ocode, 2);
        EXPECT_EQ(fit.m, 1);
        EXPECT_EQ(fit.ssq, 1.0e20f);
        EXPECT_EQ(fit.p, 1.0e20f);
        EXPECT_TRUE(std::isnan(fit.a[0]));
    }
}

TEST(Fabne, KeepsTheLastGoodModelWhenAMatrixFails) {
    // an alternating series is predicted by one term; with 64 equations the matrix of order 2 is exactly singular
    std::vector<float> x(34);
    for (int t = 0; t < 34; ++t) x[t] = t % 2 ? -1.0f : 1.0f;
    Fit fit = fabne(x, {1, 6});
    EXPECT_EQ(fit.ocode, 2);
    EXPECT_EQ(fit.m, 1);
    EXPECT_EQ(fit.a[0], -1.0f);
    EXPECT_EQ(fit.ssq, 0.0f);
    EXPECT_EQ(fit.p, 0.0f);
    fit = fabne(x, {2, 6});
    EXPECT_EQ(fit.ocode, 2);
    EXPECT_EQ(fit.m, 1);
    EXPECT_EQ(fit.a[0], -1.0f);
    EXPECT_EQ(fit.ssq, 1.0e20f);
    // one sample and zeros: order 2 is solvable forward, order 3 is not
    x.assign(12, 0.0f);
    x[1] = x[0] = 1.0f;
    fit = fabne(x, {2, 6, 1});
    EXPECT_EQ(fit.ocode, 2);
    EXPECT_EQ(fit.m, 2);
    EXPECT_EQ(fit.ssq, 0.0f);
    EXPECT_EQ(fit.a, (std::vector<float>{0, 0, -3, -3, -3, -3}));
}

TEST(Fabne, NamesAnOrderThatItNeverSolvedWhenTheFirstTestedErrorIsHuge) {
    // kept on purpose, see the comment in the unit
    std::vector<float> x = randomTrace(40, 8, 1.0e15f);
    const Fit fit = fabne(x, {4, 8});
    EXPECT_EQ(fit.ocode, 0);
    EXPECT_EQ(fit.m, 3);
    EXPECT_EQ(fit.ssq, 1.0e20f);
    EXPECT_EQ(fit.p, 1.0e20f);
    EXPECT_EQ(fit.a[1], -3.0f);
}

TEST(Fabne, HasNoModelWithoutOrdersOrSamples) {
    for (int mlast : {0, -1, INT_MIN}) {
        const Fit fit = fabne(randomTrace(3, 1), {2, mlast});
        EXPECT_EQ(fit.m, 0);
        EXPECT_EQ(fit.ssq, 0.0f);
        EXPECT_EQ(fit.p, 0.0f);
        EXPECT_EQ(fit.ocode, 0);
    }
    const Fit fit = fabne({}, {2, 3});
    EXPECT_EQ(fit.m, 0);
    EXPECT_EQ(fit.a, (std::vector<float>{-3, -3, -3}));
}

TEST(Fabne, TestsNoOrderWhenTheLowestIsAboveTheHighest) {
    for (int mstart : {4, 100, INT_MAX}) {
        const std::vector<float> x = randomTrace(30, 2);
        const Fit fit = fabne(x, {mstart, 3});
        EXPECT_EQ(fit.m, 1);
        EXPECT_EQ(fit.a[0], fit.s[0] / fit.v[0]);
        EXPECT_EQ(fit.ssq, 1.0e20f);
        EXPECT_EQ(fit.p, 1.0e20f);
        EXPECT_EQ(fit.ocode, 1);
    }
}

TEST(Fabne, CountsOrdersWithoutEquationsAsFailed) {
    for (int icode : {1, 0, -1})
        for (int n = 1; n <= 6; ++n) {
            const Fit fit = fabne(randomTrace(n, n), {n + 1, n + 3, icode});
            EXPECT_EQ(fit.ocode, 2) << n;
            EXPECT_EQ(fit.m, 1) << n;
            EXPECT_EQ(fit.p, 1.0e20f) << n;
            EXPECT_LT(fabne(randomTrace(n, n), {1, n + 3, icode}).m, std::max(n, 2)) << n;
        }
    EXPECT_EQ(fabne(randomTrace(4, 1), {60, 60}).ocode, 2);
}

TEST(Fabne, RaisesTheSumsToTheirDefinitions) {
    for (unsigned seed = 0; seed < 60; ++seed)
        for (int icode : {1, 0, -1})
            for (int m : {2, 3, 5, 12, 20}) {
                const std::vector<float> x = series(seed, 64, seed);
                const Fit fit = fabne(x, {m, m, icode});
                const Equations expected = equations(x, m, icode);
                double scale = 0;
                for (float sample : x) scale += 2.0 * sample * sample;
                // a sum keeps two roundings, and each order adds at most two
                const double tolerance = (2 + 2 * m) * FLT_EPSILON * scale;
                for (int i = 1; i <= m; ++i) {
                    EXPECT_NEAR(fit.s[i - 1], expected.s[i - 1], tolerance);
                    for (int j = 1; j <= i; ++j)
                        EXPECT_NEAR(fit.v[plain::at(i, j) - 1], expected.v[i - 1][j - 1], tolerance) << i << " " << j;
                }
            }
}

TEST(Fabne, AgreesWithLeastSquaresInDouble) {
    // Noise keeps the condition of the matrix below 100: a coefficient is then within some 100 x m roundings.
    constexpr double coefficientError = 2e-4, squaresError = 2e-5;
    for (unsigned seed = 0; seed < 40; ++seed)
        for (int icode : {1, 0, -1})
            for (int rscode : {0, 1})
                for (int akcode : {0, 1})
                    for (int mstart : {1, 2, 3, 5})
                        for (int mlast : {5, 16}) {
                            const std::vector<float> x = seed % 2 ? randomTrace(64, seed) : resonantSeries(64, seed);
                            const Fit fit = fabne(x, {mstart, mlast, icode, akcode, rscode});
                            ASSERT_NE(fit.ocode, 2);
                            const Equations normal = equations(x, fit.m, icode);
                            const std::vector<double> a = solved(normal.v, normal.s);
                            double squares = normal.yty;
                            for (int i = 0; i < fit.m; ++i) squares -= a[i] * normal.s[i];
                            for (int i = 0; i < fit.m; ++i) EXPECT_NEAR(fit.a[i], a[i], coefficientError);
                            EXPECT_NEAR(fit.ssq, squares, squaresError * normal.yty);
                            EXPECT_FLOAT_EQ(fit.p, fit.ssq / static_cast<float>((icode == 0 ? 2 : 1) * (64 - fit.m)));
                            EXPECT_EQ(fit.ocode == 1, fit.m == mlast);
                        }
}

void expectSameModel(const std::vector<float>& x, const Settings& at, const std::string& where) {
    const Fit fit = fabne(x, at);
    const plain::Model expected =
        plain::fabne(x.data(), static_cast<int>(x.size()), at.mstart, at.mlast, at.icode, at.akcode, at.rscode);
    EXPECT_EQ(fit.m, expected.m) << where;
    EXPECT_EQ(fit.ocode, expected.ocode) << where;
    EXPECT_TRUE(sameBits(fit.ssq, expected.ssq)) << where << ": " << fit.ssq << " " << expected.ssq;
    EXPECT_TRUE(sameBits(fit.p, expected.p)) << where << ": " << fit.p << " " << expected.p;
    EXPECT_TRUE(sameSamples(fit.a, expected.a)) << where;
    const std::size_t tried = expected.tried, elements = tried * (tried + 1) / 2;
    EXPECT_TRUE(sameSamples({fit.v.data(), elements}, {expected.v.data(), elements})) << where << ", normal matrix";
    EXPECT_TRUE(sameSamples(fit.vc, expected.vc)) << where << ", factor";
    EXPECT_TRUE(sameSamples({fit.s.data(), tried}, {expected.s.data(), tried})) << where << ", right-hand side";
    EXPECT_TRUE(sameSamples(fit.sc, expected.sc)) << where << ", solution";
}

TEST(Fabne, MatchesThePlainFormOnRandomWindows) {
    std::mt19937 engine(17);
    for (unsigned trial = 0; trial < 3000; ++trial) {
        const int n = 1 + static_cast<int>(engine() % (trial % 10 ? 60 : 300));
        std::vector<float> x = series(trial, n, trial);
        if (trial % 13 == 12) x[engine() % n] = floatFromBits(static_cast<std::uint32_t>(engine()));
        if (trial % 17 == 16) x[engine() % n] = trial % 2 ? nan : -infinity;
        if (trial % 19 == 18)
            for (float& sample : x) sample *= trial % 2 ? 1e-21f : 1e18f;
        const Settings at = {static_cast<int>(engine() % 6), static_cast<int>(engine() % (n / 3 + 4)),
                             static_cast<int>(engine() % 3) - 1, static_cast<int>(engine() % 2),
                             static_cast<int>(engine() % 2)};
        expectSameModel(x, at, "trial " + std::to_string(trial));
    }
}

TEST(Fabne, MatchesThePlainFormBeyondTheOrdersThatRunSideBySide) {
    int reached = 0;
    for (unsigned seed = 0; seed < 12; ++seed) {
        const std::vector<float> x = manySines(300, 45, seed);
        for (int mstart : {2, 55, 70}) {
            expectSameModel(x, {mstart, 80, 0, 0, 1}, "seed " + std::to_string(seed));
            reached += fabne(x, {mstart, 80}).m > 64;
        }
    }
    EXPECT_GT(reached, 5);
}

TEST(Fabne, MatchesThePlainFormAtEveryOrderThatEndsTheSearch) {
    for (int n : {24, 48, 100, 141})
        for (int m = 1; m < 40 && m < n; ++m)
            for (int icode : {1, 0, -1})
                expectSameModel(resonantSeries(n, n + m), {m, m, icode, 0, m % 2}, std::to_string(n) + " " + std::to_string(m));
}

}
