#include <gtest/gtest.h>
#include <pelta/host.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <complex>
#include <limits>
#include <thread>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

using Bins = std::vector<peltaComplex>;

const std::vector<int> someLengths = {1,  2,  3,  4,  5,  6,   7,   8,   10,  12,  15,  16,  22,
                                      26, 46, 64, 74, 97, 100, 144, 180, 251, 252, 254, 360, 520};

/* Rounding of a fast transform grows with the logarithm of the length: 8 rounding errors of the root of the energy are ample. */
double roundingError(double energy) { return 8 * FLT_EPSILON * std::sqrt(energy) + 1e-30; }

std::complex<double> turn(int sign, long long j, long long k, int n) {
    return std::polar(1.0, sign * 2.0 * M_PI * static_cast<double>(j * k % n) / n);
}

std::vector<std::complex<double>> plainTransform(int sign, const std::vector<std::complex<double>>& series) {
    const int n = static_cast<int>(series.size());
    std::vector<std::complex<double>> sums(n);
    for (int k = 0; k < n; ++k)
        for (int j = 0; j < n; ++j) sums[k] += series[j] * turn(sign, j, k, n);
    return sums;
}

double energyOf(const std::vector<std::complex<double>>& series) {
    double energy = 0.0;
    for (auto value : series) energy += std::norm(value);
    return energy * static_cast<double>(series.size());
}

Bins randomBins(int count, unsigned seed) {
    const std::vector<float> floats = randomTrace(2 * count, seed);
    Bins bins(count);
    for (int k = 0; k < count; ++k) bins[k] = {floats[2 * k], floats[2 * k + 1]};
    return bins;
}

/* All n bins of the real series whose bins 0 .. n/2 are given. */
std::vector<std::complex<double>> wholeSpectrum(const Bins& half, int n) {
    std::vector<std::complex<double>> whole(n);
    for (int k = 0; k <= n / 2; ++k) {
        const bool real = 2 * k % n == 0;
        whole[k] = {half[k].r, real ? 0.0 : half[k].i};
        if (!real) whole[n - k] = std::conj(whole[k]);
    }
    return whole;
}

TEST(RealToComplex, IsTheTransformOfEitherSign) {
    for (int n : someLengths)
        for (int sign : {1, -1}) {
            std::vector<float> series = randomTrace(n, 10 + n);
            Bins bins(n / 2 + 1);
            pfarc(sign, n, series.data(), bins.data());
            const std::vector<std::complex<double>> exact(series.begin(), series.end());
            const auto expected = plainTransform(sign, exact);
            for (int k = 0; k <= n / 2; ++k)
                EXPECT_LE(std::abs(std::complex<double>(bins[k].r, bins[k].i) - expected[k]), roundingError(energyOf(exact)))
                    << "length " << n << " sign " << sign << " bin " << k;
            EXPECT_EQ(bitsOf(bins[0].i), 0u);
            if (n % 2 == 0) { EXPECT_EQ(bitsOf(bins[n / 2].i), 0u) << "length " << n; }
        }
}

TEST(RealToComplex, KeepsItsInput) {
    std::vector<float> series = randomTrace(360, 3);
    const std::vector<float> before = series;
    Bins bins(181);
    pfarc(1, 360, series.data(), bins.data());
    EXPECT_TRUE(sameSamples(series, before));
}

TEST(ComplexToReal, IsTheTransformOfEitherSign) {
    for (int n : someLengths)
        for (int sign : {1, -1}) {
            Bins bins = randomBins(n / 2 + 1, 20 + n);
            std::vector<float> series(n);
            pfacr(sign, n, bins.data(), series.data());
            const auto spectrum = wholeSpectrum(bins, n);
            const auto expected = plainTransform(sign, spectrum);
            for (int j = 0; j < n; ++j)
                EXPECT_LE(std::abs(series[j] - expected[j].real()), roundingError(energyOf(spectrum)))
                    << "length " << n << " sign " << sign << " sample " << j;
        }
}

TEST(ComplexToReal, KeepsItsInputAndIgnoresTheImaginaryPartsOfTheEndBins) {
    for (int sign : {1, -1}) {
        Bins bins = randomBins(91, 4);
        bins[0].i = bins[90].i = 0.0f;
        std::vector<float> expected(180), series(180);
        pfacr(sign, 180, bins.data(), expected.data());
        bins[0].i = std::numeric_limits<float>::quiet_NaN();
        bins[90].i = -7.0f;
        const Bins before = bins;
        pfacr(sign, 180, bins.data(), series.data());
        EXPECT_TRUE(sameSamples(series, expected));
        EXPECT_EQ(std::memcmp(bins.data(), before.data(), sizeof(peltaComplex) * bins.size()), 0);
    }
}

TEST(ComplexToReal, GivesTheSeriesBackTimesTheLength) {
    for (int n : {2, 144, 1980, 5280}) {
        std::vector<float> series = randomTrace(n, n), back(n);
        Bins bins(n / 2 + 1);
        pfarc(1, n, series.data(), bins.data());
        pfacr(-1, n, bins.data(), back.data());
        for (int j = 0; j < n; ++j) EXPECT_NEAR(back[j] / n, series[j], 8 * FLT_EPSILON) << "length " << n << " sample " << j;
    }
}

TEST(ComplexTransform, WorksInPlaceWithEitherSign) {
    for (int n : someLengths)
        for (int sign : {1, -1}) {
            Bins bins = randomBins(n, 30 + n);
            std::vector<std::complex<double>> exact;
            for (peltaComplex bin : bins) exact.emplace_back(bin.r, bin.i);
            const auto expected = plainTransform(sign, exact);
            pfacc(sign, n, bins.data());
            for (int k = 0; k < n; ++k)
                EXPECT_LE(std::abs(std::complex<double>(bins[k].r, bins[k].i) - expected[k]), roundingError(energyOf(exact)))
                    << "length " << n << " sign " << sign << " bin " << k;
        }
}

TEST(Transforms, GiveTheSameBitsWhereverTheArraysLie) {
    const int n = 1980;
    const std::vector<float> series = randomTrace(n, 5), spectrum = randomTrace(2 * n, 6);
    std::vector<float> bins, back, whole;
    for (int offset = 0; offset < 8; ++offset) {
        std::vector<float> in(2 * n + 16), out(2 * n + 16);
        std::copy(series.begin(), series.end(), in.begin() + offset);
        pfarc(1, n, in.data() + offset, reinterpret_cast<peltaComplex*>(out.data() + (offset * 3) % 8));
        const std::vector<float> theseBins(out.begin() + (offset * 3) % 8, out.begin() + (offset * 3) % 8 + n + 2);
        std::copy(spectrum.begin(), spectrum.end(), in.begin() + offset);
        pfacr(-1, n, reinterpret_cast<peltaComplex*>(in.data() + offset), out.data() + (offset * 5) % 8);
        const std::vector<float> thisBack(out.begin() + (offset * 5) % 8, out.begin() + (offset * 5) % 8 + n);
        pfacc(-1, n, reinterpret_cast<peltaComplex*>(in.data() + offset));
        const std::vector<float> thisWhole(in.begin() + offset, in.begin() + offset + 2 * n);
        if (offset == 0) {
            bins = theseBins;
            back = thisBack;
            whole = thisWhole;
        }
        EXPECT_TRUE(sameSamples(theseBins, bins)) << "offset " << offset;
        EXPECT_TRUE(sameSamples(thisBack, back)) << "offset " << offset;
        EXPECT_TRUE(sameSamples(thisWhole, whole)) << "offset " << offset;
    }
}

TEST(Transforms, MayOverlayTheirArrays) {
    const int n = 720;
    std::vector<float> series = randomTrace(n, 8), overlaid = series, back(n);
    overlaid.resize(n + 2);
    Bins bins(n / 2 + 1);
    auto* overlaidBins = reinterpret_cast<peltaComplex*>(overlaid.data());
    pfarc(1, n, series.data(), bins.data());
    pfarc(1, n, overlaid.data(), overlaidBins);
    EXPECT_EQ(std::memcmp(overlaid.data(), bins.data(), sizeof(float) * (n + 2)), 0);
    pfacr(-1, n, bins.data(), back.data());
    pfacr(-1, n, overlaidBins, overlaid.data());
    EXPECT_TRUE(sameSamples(std::span(overlaid).first(n), back));
}

TEST(Transforms, StayWithinTheirArrays) {
    for (int n : {2, 6, 17, 520}) {
        std::vector<float> series = randomTrace(n, 9), out(n + 6, 77.0f);
        const int floats = 2 * (n / 2 + 1);
        pfarc(1, n, series.data(), reinterpret_cast<peltaComplex*>(out.data()));
        for (int i = floats; i < n + 6; ++i) EXPECT_EQ(out[i], 77.0f);
        std::vector<float> back(n + 4, 77.0f);
        pfacr(-1, n, reinterpret_cast<peltaComplex*>(out.data()), back.data());
        for (int i = n; i < n + 4; ++i) EXPECT_EQ(back[i], 77.0f);
    }
}

TEST(Transforms, DoNothingForLengthsOfZeroOrLess) {
    float series[4] = {1.0f, 2.0f, 3.0f, 4.0f};
    peltaComplex bins[2] = {{5.0f, 6.0f}, {7.0f, 8.0f}};
    for (int n : {0, -1, -2, INT_MIN}) {
        pfarc(1, n, series, bins);
        pfacr(-1, n, bins, series);
        pfacc(-1, n, bins);
    }
    EXPECT_TRUE(sameSamples(series, std::vector{1.0f, 2.0f, 3.0f, 4.0f}));
    EXPECT_EQ(bins[1].i, 8.0f);
}

TEST(Transforms, GiveEveryThreadTheSameBits) {
    std::vector<std::vector<float>> expected, results[8];
    const auto run = [](std::vector<std::vector<float>>& spectra) {
        for (int round = 0; round < 3; ++round)
            for (int n : {34, 38, 58, 62, 82, 1848, 2288}) {
                std::vector<float> series = randomTrace(n, n), bins(n + 2), back(n);
                pfarc(1, n, series.data(), reinterpret_cast<peltaComplex*>(bins.data()));
                pfacr(-1, n, reinterpret_cast<peltaComplex*>(bins.data()), back.data());
                pfacc(1, n / 2, reinterpret_cast<peltaComplex*>(series.data()));
                spectra.insert(spectra.end(), {bins, back, series});
            }
    };
    std::vector<std::thread> threads;
    for (auto& result : results) threads.emplace_back(run, std::ref(result));
    for (std::thread& thread : threads) thread.join();
    run(expected);
    for (const auto& result : results) {
        ASSERT_EQ(result.size(), expected.size());
        for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_TRUE(sameSamples(result[i], expected[i]));
    }
}

/* Plain check of a half length: a product of mutually prime factors out of 2, 3, 4, 5, 7, 8, 9, 11, 13, 16. */
bool isPrimeFactorHalf(int half) {
    for (int factor : {16, 9, 5, 7, 11, 13}) {
        int largest = 1;
        for (int divisor = factor; divisor > 1; divisor = divisor == 9                                    ? 3
                                                          : divisor == 16 || divisor == 8 || divisor == 4 ? divisor / 2
                                                                                                          : 1)
            if (half % divisor == 0) {
                largest = divisor;
                break;
            }
        half /= largest;
    }
    return half == 1;
}

TEST(TransformLength, IsTheSmallestValidOneUpToTheLargestPrimeFactorLength) {
    int next = 720720;
    for (int half = 720720; half >= 1; --half) {
        if (isPrimeFactorHalf(half)) next = half;
        ASSERT_EQ(npfar(2 * half), 2 * next);
        ASSERT_EQ(npfar(2 * half - 1), 2 * next);
    }
}

TEST(TransformLength, HasNoPrimeFactorAboveSevenPastTheLargest) {
    EXPECT_EQ(npfar(1441440), 1441440);
    for (int nmin : {1441441, 1500000, 2000001, 99999999, 2000000000}) {
        int expected = nmin + nmin % 2;
        const auto smooth = [](int n) {
            for (int factor : {2, 3, 5, 7})
                while (n % factor == 0) n /= factor;
            return n == 1;
        };
        while (!smooth(expected)) expected += 2;
        EXPECT_EQ(npfar(nmin), expected) << "at least " << nmin;
    }
}

TEST(TransformLength, IsTwoForTwoOrLess) {
    for (int nmin : {2, 1, 0, -1, -7, INT_MIN}) EXPECT_EQ(npfar(nmin), 2) << nmin;
    EXPECT_EQ(npfar(3), 4);
}

TEST(TransformLength, IsTheLargestEvenIntWhereNoValidLengthIsLeft) { EXPECT_EQ(npfar(INT_MAX), INT_MAX - 1); }

}
