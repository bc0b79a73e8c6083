#include <gtest/gtest.h>
#include <pelta/phaseshift.h>
#include <pelta/semblance.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

struct Accumulators {
    explicit Accumulators(int count) : sum(count), sumh(count), sqrd(count), fold(count) {}
    std::vector<double> sum, sumh, sqrd, fold;

    void add(std::vector<float> trace, std::vector<float> quadrature) {
        buildSemblance(sum.data(), sumh.data(), sqrd.data(), fold.data(), trace.data(), quadrature.data(),
                       static_cast<int>(trace.size()));
    }
    void equalize(double foldmax) {
        equalizeSemblance(sum.data(), sumh.data(), sqrd.data(), fold.data(), foldmax, static_cast<int>(sum.size()));
    }
    std::vector<float> semblance(int nfold, int nwin) {
        std::vector<float> out(sum.size(), 9.0f);
        applySemblance(sum.data(), sumh.data(), sqrd.data(), nfold, nwin, out.data(), static_cast<int>(sum.size()));
        return out;
    }
};

void expectSameSums(const Accumulators& actual, const Accumulators& expected) {
    EXPECT_TRUE(sameDoubles(actual.sum, expected.sum)) << "sum";
    EXPECT_TRUE(sameDoubles(actual.sumh, expected.sumh)) << "sumh";
    EXPECT_TRUE(sameDoubles(actual.sqrd, expected.sqrd)) << "sqrd";
    EXPECT_TRUE(sameDoubles(actual.fold, expected.fold)) << "fold";
}

/* Sums that run along the mirrored trace, as published. */
std::vector<float> plainSemblance(const std::vector<double>& sum, std::vector<double>& sumh, const std::vector<double>& sqrd,
                                  int nfold, int nwin) {
    const int n = static_cast<int>(sum.size());
    std::vector<float> out(n);
    const double f = nfold;
    for (int i = 0; i < n; ++i) sumh[i] = sum[i] * sum[i] + sumh[i] * sumh[i];
    if (nwin < 2) {
        for (int i = 0; i < n; ++i) out[i] = sqrd[i] > 0 ? static_cast<float>(sumh[i] / (f * sqrd[i])) : 0.0f;
        return out;
    }
    const int nw2 = (2 * (nwin / 2) + 1) / 2;
    double sum1 = 0, sum2 = 0;
    for (int i = 0; i <= nw2; ++i) sum1 += sumh[i], sum2 += sqrd[i];
    sum1 = 2 * sum1 - sumh[0];
    sum2 = 2 * sum2 - sqrd[0];
    const auto write = [&](int j) { out[j] = sum2 > 0 ? static_cast<float>(sum1 / (f * sum2)) : 0.0f; };
    const auto step = [&](int j, int leaving, int entering) {
        sum1 = sum1 - sumh[leaving] + sumh[entering];
        sum2 = sum2 - sqrd[leaving] + sqrd[entering];
        write(j);
    };
    write(0);
    int j = 1;
    for (; j <= nw2; ++j) step(j, nw2 - j + 1, nw2 + j);
    for (; j < n - nw2; ++j) step(j, j - nw2 - 1, j + nw2);
    for (; j < n; ++j) step(j, j - nw2 - 1, n - 2 - (j - (n - nw2)));
    return out;
}

TEST(Semblance, OfTracesThatAreAlikeIsOne) {
    Accumulators gather(300);
    std::vector<float> trace = randomTrace(300, 1), quadrature(300);
    applyHilbert(trace.data(), quadrature.data(), 300);
    for (int k = 0; k < 24; ++k) gather.add(trace, quadrature);
    for (int nwin : {0, 1, 2, 11}) {
        Accumulators copy = gather;
        for (float value : copy.semblance(24, nwin)) EXPECT_FLOAT_EQ(value, 1.0f);
    }
}

TEST(Semblance, OfNoiseIsOneOverTheFold) {
    constexpr int traces = 50, count = 2000;
    Accumulators gather(count);
    for (int k = 0; k < traces; ++k) gather.add(randomTrace(count, 10 + k), randomTrace(count, 1000 + k));
    const std::vector<float> semblance = gather.semblance(traces, 401);
    for (int i = 300; i < count - 300; ++i) EXPECT_NEAR(semblance[i], 1.0 / traces, 0.3 / traces);
}

TEST(BuildSemblance, PassesOverDeadSamplesWhateverTheirQuadrature) {
    Accumulators gather(3);
    gather.add({0.0f, -0.0f, 3.0f}, {5.0f, 5.0f, 4.0f});
    EXPECT_EQ(gather.fold, (std::vector<double>{0, 0, 1}));
    EXPECT_EQ(gather.sum, (std::vector<double>{0, 0, 3}));
    EXPECT_EQ(gather.sumh, (std::vector<double>{0, 0, 4}));
    EXPECT_EQ(gather.sqrd, (std::vector<double>{0, 0, 25}));
}

TEST(BuildSemblance, ADeadSampleLeavesTheSignOfAZero) {
    Accumulators gather(40);
    for (auto* sums : {&gather.sum, &gather.sumh, &gather.sqrd, &gather.fold}) std::fill(sums->begin(), sums->end(), -0.0);
    const Accumulators before = gather;
    gather.add(std::vector<float>(40, 0.0f), std::vector<float>(40, 0.0f));
    expectSameSums(gather, before);
}

TEST(BuildSemblance, AddsInDoublePrecisionToTheBit) {
    const float special[] = {0.0f, -0.0f, std::nanf(""), std::numeric_limits<float>::infinity(), 1e-45f, 3e38f, 1e-30f};
    for (int count : {1, 7, 64, 1501}) {
        Accumulators gather(count), expected(count);
        for (int k = 0; k < 20; ++k) {
            std::vector<float> trace = randomTrace(count, 3 * k), quadrature = randomTrace(count, 3 * k + 1, 1e4f);
            for (int i = k; i < count; i += 13) trace[i] = special[(i + k) % 7];
            if (k == 7) quadrature[0] = -std::numeric_limits<float>::infinity();
            gather.add(trace, quadrature);
            for (int i = 0; i < count; ++i) {
                if (trace[i] == 0.0f) continue;
                const double real = trace[i], imaginary = quadrature[i];
                expected.fold[i] += 1.0;
                expected.sum[i] += real;
                expected.sqrd[i] += real * real + imaginary * imaginary;
                expected.sumh[i] += imaginary;
            }
        }
        expectSameSums(gather, expected);
    }
}

TEST(EqualizeSemblance, ScalesPartlyDeadSamplesUp) {
    Accumulators gather(4);
    gather.sum = {8, 8, 8, 8};
    gather.sumh = {-4, -4, -4, -4};
    gather.sqrd = {2, 2, 2, 2};
    gather.fold = {8, 4, 0, 1};
    gather.equalize(8.0);
    EXPECT_EQ(gather.sum, (std::vector<double>{8, 16, 8, 64}));
    EXPECT_EQ(gather.sumh, (std::vector<double>{-4, -8, -4, -32}));
    EXPECT_EQ(gather.sqrd, (std::vector<double>{2, 4, 2, 16}));
    EXPECT_EQ(gather.fold, (std::vector<double>{8, 4, 0, 1}));
}

TEST(EqualizeSemblance, IsTheSameAsKeepingTheLastScale) {
    constexpr int count = 500;
    Accumulators gather(count);
    for (int i = 0; i < count; ++i) {
        gather.sum[i] = 0.1 * i - 7;
        gather.sumh[i] = 1.0 / (i + 1);
        gather.sqrd[i] = 3.0 * i;
        gather.fold[i] = i / 17 % 9;
    }
    Accumulators expected = gather;
    double scale = 1, sfold = 0;
    for (int i = 0; i < count; ++i) {
        if (expected.fold[i] != sfold) {
            scale = expected.fold[i] != 0.0 ? 48.0 / expected.fold[i] : 1.0;
            sfold = expected.fold[i];
        }
        expected.sum[i] *= scale;
        expected.sumh[i] *= scale;
        expected.sqrd[i] *= scale;
    }
    gather.equalize(48.0);
    expectSameSums(gather, expected);
}

TEST(ApplySemblance, SlidesItsSumsToTheBit) {
    for (int count : {1, 2, 3, 5, 6, 17, 256, 257, 700})
        for (int nwin : {-3, 0, 1, 2, 3, 4, 5, 11, 64, 255, 256}) {
            if (nwin >= 2 && 2 * (nwin / 2) + 1 > count) continue;
            Accumulators gather(count);
            for (int k = 0; k < 6; ++k) gather.add(randomTrace(count, 7 * k + count), randomTrace(count, 7 * k + 3));
            if (count > 20) std::fill(gather.sqrd.begin() + 10, gather.sqrd.begin() + 15, 0.0);
            std::vector<double> sumh = gather.sumh;
            const std::vector<float> expected = plainSemblance(gather.sum, sumh, gather.sqrd, 6, nwin);
            const std::vector<float> semblance = gather.semblance(6, nwin);
            for (int i = 0; i < count; ++i)
                ASSERT_TRUE(sameBits(semblance[i], expected[i])) << count << " " << nwin << " " << i;
            EXPECT_TRUE(sameDoubles(gather.sumh, sumh)) << "the energy of the stack";
        }
}

/* Where loud and quiet samples stand side by side every sum depends on its order. */
TEST(ApplySemblance, SubtractsWhatLeavesBeforeItAddsWhatEnters) {
    for (int count : {40, 700})
        for (int nwin : {2, 5, 12}) {
            Accumulators gather(count);
            const std::vector<float> trace = randomTrace(count, 5u + nwin), loudness = randomTrace(count, 6u + nwin, 20.0f);
            for (int i = 0; i < count; ++i) {
                gather.sum[i] = std::ldexp(trace[i], static_cast<int>(loudness[i]));
                gather.sqrd[i] = std::ldexp(std::abs(trace[i]), static_cast<int>(loudness[(i + 1) % count]));
            }
            std::vector<double> sumh = gather.sumh;
            const std::vector<float> expected = plainSemblance(gather.sum, sumh, gather.sqrd, 3, nwin);
            EXPECT_TRUE(sameSamples(gather.semblance(3, nwin), expected));
        }
}

TEST(ApplySemblance, FormsItsDenominatorFromTheFoldInDouble) {
    for (int nwin : {0, 3}) {
        Accumulators gather(2);
        gather.sum = {1, 1e150};
        gather.sqrd = {1, 1e308};
        const std::vector<float> semblance = gather.semblance(16777217, nwin);
        EXPECT_EQ(semblance[0], static_cast<float>(1.0 / 16777217.0));
        EXPECT_EQ(semblance[1], 0.0f) << "the fold's multiple overflows";
    }
}

TEST(ApplySemblance, EnergyBelowZeroCountsAsNone) {
    Accumulators gather(3);
    gather.sum = {1, 1, 1};
    gather.sqrd = {-1, std::nan(""), 2};
    EXPECT_EQ(gather.semblance(1, 0), (std::vector<float>{0, 0, 0.5f}));
}

TEST(ApplySemblance, AWindowOfOneSampleRunsNoSums) {
    Accumulators gather(3);
    gather.sum = {INFINITY, 1, 1};
    gather.sqrd = {1, 1, 1};
    EXPECT_EQ(gather.semblance(1, 1), (std::vector<float>{INFINITY, 1, 1}));
}

TEST(ApplySemblance, AnEvenWindowGrowsByOne) {
    Accumulators gather(50);
    for (int k = 0; k < 3; ++k) gather.add(randomTrace(50, k), randomTrace(50, 9 + k));
    Accumulators copy = gather;
    EXPECT_EQ(gather.semblance(3, 4), copy.semblance(3, 5));
}

TEST(ApplySemblance, AWindowLongerThanTheTraceIsShortened) {
    for (int count : {1, 2, 3, 8, 9}) {
        Accumulators gather(count);
        for (int k = 0; k < 3; ++k) gather.add(randomTrace(count, k), randomTrace(count, 9 + k));
        Accumulators copy = gather;
        const int longest = 2 * ((count - 1) / 2) + 1;
        const std::vector<float> shortened = gather.semblance(3, 1000), whole = copy.semblance(3, longest);
        if (longest > 1) EXPECT_EQ(shortened, whole);
        else
            for (float value : shortened) EXPECT_TRUE(value >= 0.0f && value <= 1.0f + 1e-6f);
    }
}

TEST(ApplySemblance, NothingGivesNothing) {
    Accumulators gather(40);
    EXPECT_EQ(gather.semblance(12, 9), std::vector<float>(40, 0.0f));
    EXPECT_EQ(gather.semblance(12, 0), std::vector<float>(40, 0.0f));
}

/* Lengths around the stretches in which the work is done. */
TEST(ApplySemblance, IsThePlainFormAmongNaNsInfinitiesAndDenormals) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN(), infinity = std::numeric_limits<double>::infinity();
    const double special[] = {0.0, -0.0, 5e-324, 1e-310, 1e300, -1e200, infinity, -infinity, nan};
    for (int count : {31, 32, 33, 34, 63, 65, 75, 97, 300})
        for (int kinds : {0, 3, 6, 8, 9})
            for (int nwin : {0, 2, 11, 30}) {
                Accumulators gather(count);
                for (int k = 0; k < 4; ++k) gather.add(randomTrace(count, 5 * k + kinds), randomTrace(count, 5 * k + 9, 1e3f));
                for (int i = 0; kinds > 0 && i < count; i += 19) {
                    gather.sum[i] = special[i % kinds];
                    gather.sumh[(i + 7) % count] = special[(i + 1) % kinds];
                    gather.sqrd[(i + 11) % count] = special[(i + 2) % kinds];
                }
                std::vector<double> sumh = gather.sumh;
                const std::vector<float> expected = plainSemblance(gather.sum, sumh, gather.sqrd, 4, nwin);
                EXPECT_TRUE(sameSamples(gather.semblance(4, nwin), expected)) << count << " " << kinds << " " << nwin;
                EXPECT_TRUE(sameDoubles(gather.sumh, sumh)) << "the energy of the stack";
            }
}

TEST(ApplySemblance, AWindowAsLongAsTheTraceSlidesOverItsMirrorImages) {
    for (int count : {3, 5, 33, 65, 257}) {
        Accumulators gather(count);
        for (int k = 0; k < 4; ++k) gather.add(randomTrace(count, k), randomTrace(count, 20 + k));
        std::vector<double> sumh = gather.sumh;
        const std::vector<float> expected = plainSemblance(gather.sum, sumh, gather.sqrd, 4, count);
        EXPECT_TRUE(sameSamples(gather.semblance(4, count), expected)) << count;
    }
}

TEST(Semblance, CountsOfZeroOrLessDoNothing) {
    double sums[4] = {1, 2, 3, 4};
    float trace = 5, out = 6;
    for (int count : {0, -2}) {
        buildSemblance(sums, sums + 1, sums + 2, sums + 3, &trace, &trace, count);
        equalizeSemblance(sums, sums + 1, sums + 2, sums + 3, 9.0, count);
        applySemblance(sums, sums + 1, sums + 2, 3, 5, &out, count);
    }
    EXPECT_EQ(sums[0], 1);
    EXPECT_EQ(sums[1], 2);
    EXPECT_EQ(out, 6.0f);
}

}
