#include <gtest/gtest.h>
#include <pelta/spdpicker.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float callersPi = 3.1415927f, degreesPerRadian = 57.29578f;
constexpr float untouched = -77.0f;

struct Tables {
    std::vector<peltaComplex> table;
    std::vector<float> taper;
    int itw = 0;
};

struct TableSettings {
    int iwind = 32, ihalf = 16, opbias = 0, gaus = 1, itw = 100;
    float freq = 30.0f, dt = 0.002f;
};

Tables tablesOf(TableSettings at) {
    Tables tables{std::vector<peltaComplex>(std::max(at.iwind + 1, 0), {untouched, untouched}),
                  std::vector<float>(std::max(at.iwind, 0), untouched), at.itw};
    int nomega = 1;
    float pie = callersPi;
    spdtables_(tables.table.data(), &at.iwind, &nomega, &at.opbias, &at.gaus, tables.taper.data(), &tables.itw, &at.ihalf, &pie,
               &at.freq, &at.dt);
    return tables;
}

struct Settings {
    int ist = 1, iend = 100, nskip = 1, trbias = 0, phase = 0, live = 0, energy = 0, scratch = -1;
};

/* The routines as they are written down, in one-based positions: what the library has to give to the bit. */
namespace plain {

Tables tables(const TableSettings& at) {
    Tables result{std::vector<peltaComplex>(std::max(at.iwind + 1, 0)), std::vector<float>(std::max(at.iwind, 0)), at.itw};
    const float w = (at.freq + at.freq) * callersPi * at.dt;
    float mr = 0, mi = 0;
    if (at.opbias) {
        for (int k = 0; k <= at.iwind; ++k) {
            mr = static_cast<float>(static_cast<double>(mr) + std::cos(k * static_cast<double>(w)));
            mi = static_cast<float>(static_cast<double>(mi) - std::sin(k * static_cast<double>(w)));
        }
        mr /= static_cast<float>(at.iwind + 2);
        mi /= static_cast<float>(at.iwind + 2);
    }
    for (int k = 0; k <= at.iwind; ++k)
        result.table[k] = {static_cast<float>(std::cos(k * static_cast<double>(w)) - mr),
                           static_cast<float>(-std::sin(k * static_cast<double>(w)) - mi)};
    if (at.gaus) {
        const float sigma = static_cast<float>(at.iwind) / 6.0f;
        float largest = 0;
        for (int j = 1; j <= at.iwind; ++j) {
            const float d = static_cast<float>(j - 1 - at.ihalf);
            result.taper[j - 1] = std::exp(-(d * d) / (2.0f * (sigma * sigma))) / (std::sqrt(2.0f * callersPi) * sigma);
            largest = std::max(largest, result.taper[j - 1]);
        }
        for (int j = 1; j <= at.iwind; ++j) result.taper[j - 1] /= largest;
        return result;
    }
    result.itw = static_cast<int>(static_cast<float>(100 - at.itw) / 100.0f * static_cast<float>(at.iwind)) / 2;
    const int h = at.ihalf, f = result.itw;
    const float d = static_cast<float>(std::max(f - h, h - f));
    for (int j = 1; j <= at.iwind; ++j) {
        result.taper[j - 1] = 1.0f;
        if (j <= h - f) result.taper[j - 1] = (std::cos(static_cast<float>(j + f - h) / d * callersPi) + 1.0f) * 0.5f;
        else if (j > h + f + 1)
            result.taper[j - 1] = (std::cos(std::fabs(static_cast<float>(j - 1 - h - f) / d) * callersPi) + 1.0f) * 0.5f;
    }
    return result;
}

void decompose(const std::vector<float>& trace, const TableSettings& shape, const Tables& tables, const Settings& at,
               std::vector<float>& sums) {
    const int iwind = shape.iwind, ihalf = shape.ihalf, room = at.scratch < 0 ? iwind + 2 : at.scratch;
    const auto tri = [&](int i) { return i < 1 ? 0.0f : trace.at(i - 1); };
    if (at.nskip == 0) return;
    const int count = (at.iend - at.ist - ihalf + at.nskip) / at.nskip;
    for (int k = 0, c = at.ist + ihalf; k < count; ++k, c += at.nskip) {
        std::vector<float> b(iwind + 1, 0.0f);
        for (int j = 1; j <= std::min(iwind, room); ++j) b[j] = tri(c - ihalf + j - 1);
        float mean = 0;
        if (at.trbias) {
            for (int j = 1; j <= std::min(2 * ihalf + 1, iwind); ++j) mean += tri(c - ihalf + j - 1) * tables.taper[j - 1];
            mean /= static_cast<float>(2 * ihalf + 1);
        }
        if (at.energy) {
            float squares = 0;
            for (int j = 1; j <= iwind; ++j) squares += b[j] * b[j];
            const double norm = std::sqrt(static_cast<double>(squares));
            if (norm > 0)
                for (int j = 1; j <= iwind; ++j) b[j] = static_cast<float>(static_cast<double>(b[j]) / norm);
        }
        if (at.live) {
            int live = 0;
            for (int j = 1; j <= iwind; ++j) live += b[j] != 0.0f;
            if (live > 0)
                for (int j = 1; j <= iwind; ++j) b[j] /= static_cast<float>(live);
        }
        float xr = 0, xi = 0;
        for (int j = 1; j <= std::min(iwind, room); ++j) {
            float y = tables.taper[j - 1] * b[j];
            if (at.trbias) y = y - mean;
            xr += y * tables.table[j - 1].r;
            xi += y * tables.table[j - 1].i;
        }
        if (c < 1) continue;
        if (at.phase) sums[c - 1] = xr != 0.0f ? std::atan2(xi, xr) * degreesPerRadian : 0.0f;
        else sums[c - 1] = std::sqrt(xr * xr + xi * xi) / static_cast<float>(iwind);
    }
}

}

/* The trace is a copy of its own, so that the address sanitizer sees what is read outside it. */
std::vector<float> decomposed(std::vector<float> trace, TableSettings shape, Tables tables, Settings at,
                              std::vector<float>* scratch = nullptr, int sumCount = -1) {
    std::vector<float> sums(sumCount < 0 ? trace.size() : sumCount, untouched), own;
    int nsamp = -5, nomega = -5, room = at.scratch < 0 ? shape.iwind + 2 : at.scratch;
    float radeg = degreesPerRadian;
    if (!scratch) scratch = &own;
    scratch->assign(std::max(room, 0), untouched);
    spddecompose_(trace.data(), &nsamp, scratch->data(), &room, &at.ist, &at.iend, &at.nskip, &at.trbias, &nomega, &shape.iwind,
                  &shape.ihalf, tables.table.data(), tables.taper.data(), sums.data(), &radeg, &at.phase, &at.live, &at.energy);
    return sums;
}

/* By the library's atan2f: a compiler that knows its arguments would round better. */
float degrees(float imaginary, float real) {
    volatile float unknownImaginary = imaginary, unknownReal = real;
    return std::atan2(unknownImaginary, unknownReal) * degreesPerRadian;
}

std::vector<float> sine(int count, float freq, float dt, float amplitude = 1.0f) {
    std::vector<float> trace(count);
    for (int i = 0; i < count; ++i) trace[i] = amplitude * static_cast<float>(std::sin(2 * M_PI * freq * dt * i));
    return trace;
}

TEST(SpdTables, TurnsTheFrequencyIntoAClockwiseTable) {
    const Tables tables = tablesOf({16, 8, 0, 1, 100, 125.0f, 0.002f});  // a quarter turn a sample
    constexpr float w = (125.0f + 125.0f) * callersPi * 0.002f;
    for (int k = 0; k <= 16; ++k) {
        EXPECT_NEAR(tables.table[k].r, std::cos(M_PI / 2 * k), 16 * 2 * FLT_EPSILON);  // w is within 2 epsilon, k times
        EXPECT_NEAR(tables.table[k].i, -std::sin(M_PI / 2 * k), 16 * 2 * FLT_EPSILON);
        EXPECT_EQ(bitsOf(tables.table[k].r), bitsOf(static_cast<float>(std::cos(k * static_cast<double>(w)))));
    }
    EXPECT_EQ(tables.itw, 100);
}

TEST(SpdTables, FormsTheAngleInDouble) {
    constexpr TableSettings settings = {400, 200, 0, 1, 100, 33.3f, 0.004f};
    const Tables tables = tablesOf(settings);
    const float w = (settings.freq + settings.freq) * callersPi * settings.dt;
    int apart = 0;
    for (int k = 0; k <= 400; ++k) {
        const double angle = static_cast<float>(k) * w;
        apart += tables.table[k].r != static_cast<float>(std::cos(angle));
    }
    EXPECT_GT(apart, 100);
}

TEST(SpdTables, DividesTheTablesSumByOneMoreThanItsTerms) {
    // kept on purpose, see the comment in the unit; at frequency 0 every cosine is 1: 1 - 9/10
    const Tables tables = tablesOf({8, 4, 1, 1, 100, 0.0f, 0.002f});
    for (const peltaComplex& entry : tables.table) {
        EXPECT_EQ(entry.r, static_cast<float>(1.0 - 0.9f));
        EXPECT_EQ(entry.i, 0.0f);
    }
}

TEST(SpdTables, MakesAGaussianOfPeakOne) {
    for (int iwind : {1, 5, 8, 31, 64}) {
        const Tables tables = tablesOf({iwind, iwind / 2});
        EXPECT_EQ(tables.taper[iwind / 2], 1.0f);
        EXPECT_EQ(*std::max_element(tables.taper.begin(), tables.taper.end()), 1.0f);
        for (int j = 0; j < iwind; ++j) {
            const double sigmas = (j - iwind / 2) / (iwind / 6.0);
            EXPECT_NEAR(tables.taper[j], std::exp(-sigmas * sigmas / 2), 4 * FLT_EPSILON) << iwind << " " << j;
        }
    }
}

TEST(SpdTables, TakesTheGaussiansWidthAsARealQuotient) {
    const Tables tables = tablesOf({8, 4});  // sigma is 4/3: an integer quotient would be 1
    EXPECT_NEAR(tables.taper[0], std::exp(-4.5f), 4 * FLT_EPSILON);
}

TEST(SpdTables, MakesACosineTaperByItsFormula) {
    // itw 60 of 20 samples: 0.4 x 20 / 2 = 4, ramps of 6
    const Tables tables = tablesOf({20, 10, 0, 0, 60});
    EXPECT_EQ(tables.itw, 4);
    for (int j = 1; j <= 20; ++j) {
        const double expected = j <= 6   ? (std::cos((j - 6) / 6.0 * M_PI) + 1) / 2
                                : j > 15 ? (std::cos((j - 15) / 6.0 * M_PI) + 1) / 2
                                         : 1.0;
        EXPECT_NEAR(tables.taper[j - 1], expected, 4 * FLT_EPSILON) << j;
    }
}

TEST(SpdTables, LeavesASmallFlatPartForAWideOne) {
    const Tables narrow = tablesOf({20, 10, 0, 0, 100}), wide = tablesOf({20, 10, 0, 0, 0});
    EXPECT_EQ(narrow.itw, 0);
    EXPECT_EQ(std::count(narrow.taper.begin(), narrow.taper.end(), 1.0f), 2);
    EXPECT_EQ(wide.itw, 10);
    EXPECT_EQ(std::count(wide.taper.begin(), wide.taper.end(), 1.0f), 20);
    EXPECT_EQ(tablesOf({21, 10, 0, 0, 50}).itw, 5);  // 10.5, truncated and halved
    EXPECT_EQ(tablesOf({30, 15, 0, 0, 70}).itw, 4);  // 9.000001 in single precision
    EXPECT_EQ(tablesOf({20, 10, 0, 0, 140}).itw, -4);
}

TEST(SpdTables, SurvivesExtremeFlatPartsAndHalfLengths) {
    EXPECT_EQ(tablesOf({200, 10, 0, 0, INT_MIN}).itw, INT_MAX / 2);
    EXPECT_EQ(tablesOf({200, 10, 0, 0, INT_MAX}).itw, INT_MIN / 2);
    EXPECT_EQ(tablesOf({4, INT_MIN, 0, 1, 100}).taper.size(), 4u);
    EXPECT_EQ(tablesOf({4, INT_MIN, 0, 0, 100}).itw, 0);
    EXPECT_EQ(tablesOf({4, INT_MAX, 0, 0, 100}).itw, 0);
}

TEST(SpdTables, WritesOneEntryForAnEmptyWindowAndNoneBelow) {
    const Tables empty = tablesOf({0, 0});
    EXPECT_EQ(empty.table[0].r, 1.0f);
    EXPECT_EQ(bitsOf(empty.table[0].i), bitsOf(-0.0f));
    EXPECT_TRUE(tablesOf({-1, 0}).table.empty());
    EXPECT_TRUE(tablesOf({-5, 0, 1, 0}).table.empty());
}

TEST(SpdTables, MatchesThePlainFormulasOnRandomSettings) {
    std::mt19937 engine(11);
    for (int trial = 0; trial < 3000; ++trial) {
        const int iwind = static_cast<int>(engine() % 130);
        TableSettings at = {iwind,
                            trial % 3 ? iwind / 2 : static_cast<int>(engine() % (iwind + 5)),
                            trial / 2 % 2,
                            trial % 2,
                            static_cast<int>(engine() % 101),
                            static_cast<float>(engine() % 2000) / 16.0f,
                            static_cast<float>(1 + engine() % 16) / 2000.0f};
        const Tables tables = tablesOf(at), expected = plain::tables(at);
        const auto flat = [](const std::vector<peltaComplex>& table) {
            std::vector<float> values;
            for (const peltaComplex& entry : table) values.insert(values.end(), {entry.r, entry.i});
            return values;
        };
        EXPECT_EQ(tables.itw, expected.itw) << trial;
        EXPECT_TRUE(sameSamples(tables.taper, expected.taper)) << trial;
        EXPECT_TRUE(sameSamples(flat(tables.table), flat(expected.table))) << trial;
    }
}

TEST(SpdDecompose, GivesASteadyAmplitudeForItsOwnFrequency) {
    const TableSettings shape = {64, 32, 0, 1, 100, 60.0f, 0.002f};
    const std::vector<float> sums = decomposed(sine(400, 60.0f, 0.002f), shape, tablesOf(shape), {1, 300});
    // half the taper's area over the window: sqrt(2 pi) sigma / 2 / iwind = sqrt(2 pi) / 12
    for (int c = 33; c <= 300; ++c) EXPECT_NEAR(sums[c - 1], std::sqrt(2 * M_PI) / 12, 0.002) << c;
}

TEST(SpdDecompose, GivesTheCoefficientByHand) {
    const TableSettings shape = {3, 1};
    Tables tables{{{1, 2}, {3, 4}, {5, 6}, {9, 9}}, {0.5f, 1.0f, 2.0f}};
    const std::vector<float> trace = {2, 1, 3, 4};
    // centre 2: y = 1, 1, 6; xr = 1 + 3 + 30 = 34, xi = 2 + 4 + 36 = 42
    std::vector<float> sums = decomposed(trace, shape, tables, {1, 3});
    EXPECT_EQ(sums[1], std::sqrt(34.0f * 34.0f + 42.0f * 42.0f) / 3.0f);
    sums = decomposed(trace, shape, tables, {1, 3, 1, 0, 1});
    EXPECT_EQ(sums[1], degrees(42.0f, 34.0f));
    // the tapered mean (1 + 1 + 6) / 3 comes off every tapered sample
    sums = decomposed(trace, shape, tables, {1, 3, 1, 1, 1});
    const float mean = 8.0f / 3.0f, low = 1.0f - mean, high = 6.0f - mean;
    EXPECT_EQ(sums[1], degrees(low * 2 + low * 4 + high * 6, low + low * 3 + high * 5));
}

TEST(SpdDecompose, WritesTheCentresAndNothingElse) {
    const TableSettings shape = {4, 2};
    const std::vector<float> trace = randomTrace(30, 1);
    const auto written = [&](Settings at) {
        std::vector<int> centres;
        const std::vector<float> sums = decomposed(trace, shape, tablesOf(shape), at);
        for (int c = 1; c <= 30; ++c)
            if (sums[c - 1] != untouched) centres.push_back(c);
        return centres;
    };
    EXPECT_EQ(written({1, 6}), (std::vector<int>{3, 4, 5, 6}));
    EXPECT_EQ(written({1, 6, 2}), (std::vector<int>{3, 5}));
    EXPECT_EQ(written({1, 7, 2}), (std::vector<int>{3, 5, 7}));
    EXPECT_EQ(written({4, 6}), (std::vector<int>{6}));
    EXPECT_EQ(written({4, 5}), (std::vector<int>{}));
    EXPECT_EQ(written({4, -90}), (std::vector<int>{}));
    EXPECT_EQ(written({8, 6, -2}), (std::vector<int>{6, 8, 10}));  // by the integer division (6 - 8 - 2 - 2) / -2 = 3 downwards
}

TEST(SpdDecompose, DoesNothingForAStepOfZero) {
    const TableSettings shape = {4, 2};
    for (float value : decomposed(randomTrace(30, 1), shape, tablesOf(shape), {1, 20, 0})) EXPECT_EQ(value, untouched);
}

TEST(SpdDecompose, TakesTheSampleBeforeTheTraceAsZero) {
    const TableSettings shape = {8, 4};
    const std::vector<float> trace = randomTrace(40, 3);
    std::vector<float> padded = trace;
    padded.insert(padded.begin(), 0.0f);
    const std::vector<float> sums = decomposed(trace, shape, tablesOf(shape), {0, 20});
    const std::vector<float> shifted = decomposed(padded, shape, tablesOf(shape), {1, 21});
    EXPECT_EQ(sums[2], untouched);
    for (int c = 4; c <= 20; ++c) EXPECT_TRUE(sameBits(sums[c - 1], shifted[c])) << c;
}

TEST(SpdDecompose, WritesNoCentreBeforeTheTrace) {
    const TableSettings shape = {8, 4};
    const std::vector<float> trace = randomTrace(40, 3);
    const std::vector<float> sums = decomposed(trace, shape, tablesOf(shape), {-9, 20});
    for (int c = 1; c <= 20; ++c) EXPECT_NE(sums[c - 1], untouched) << c;
}

TEST(SpdDecompose, GivesPhaseZeroWhereTheRealPartIsZero) {
    const TableSettings shape = {2, 1};
    const Tables turned{{{0, 1}, {0, 1}, {0, 1}}, {1, 1}}, broken{{{nan, 1}, {0, 1}, {0, 1}}, {1, 1}};
    EXPECT_EQ(bitsOf(decomposed({1, 2, 3}, shape, turned, {1, 2, 1, 0, 1})[1]), bitsOf(0.0f));
    EXPECT_TRUE(std::isnan(decomposed({1, 2, 3}, shape, broken, {1, 2, 1, 0, 1})[1]));
}

TEST(SpdDecompose, DividesByTheNormOfTheWindow) {
    const TableSettings shape = {2, 1};
    const Tables ones{{{1, 0}, {1, 0}, {1, 0}}, {1, 1}};
    EXPECT_EQ(decomposed({3, 4, 9}, shape, ones, {1, 2, 1, 0, 0, 0, 1})[1],
              (static_cast<float>(3 / 5.0) + static_cast<float>(4 / 5.0)) / 2);
}

TEST(SpdDecompose, DividesByTheCountOfLiveSamples) {
    const TableSettings shape = {4, 2};
    const Tables ones{std::vector<peltaComplex>(5, {1, 0}), {1, 1, 1, 1}};
    EXPECT_EQ(decomposed({3, 0, -0.0f, 9, 5}, shape, ones, {1, 3, 1, 0, 0, 1})[2], 6.0f / 4);
}

TEST(SpdDecompose, LeavesAWindowOfZerosAlone) {
    const TableSettings shape = {8, 4};
    const std::vector<float> sums = decomposed(std::vector<float>(40, 0.0f), shape, tablesOf(shape), {1, 20, 1, 0, 0, 1, 1});
    for (int c = 5; c <= 20; ++c) EXPECT_EQ(bitsOf(sums[c - 1]), 0u) << c;
}

TEST(SpdDecompose, TakesTheTaperBehindItsEndAsZero) {
    // the mean runs over 2 x 2 + 1 samples, the taper has 4
    const TableSettings shape = {4, 2};
    const Tables ones{std::vector<peltaComplex>(5, {1, 0}), {1, 1, 1, 1}};
    const float mean = 10.0f / 5.0f;
    EXPECT_EQ(decomposed({1, 2, 3, 4, 5}, shape, ones, {1, 3, 1, 1})[2], (1 - mean + (2 - mean) + (3 - mean) + (4 - mean)) / 4);
}

TEST(SpdDecompose, LeavesTheLastWindowInTheScratch) {
    const TableSettings shape = {4, 2};
    std::vector<float> scratch;
    std::vector<float> trace(200);
    for (int i = 0; i < 200; ++i) trace[i] = static_cast<float>(i + 1);
    decomposed(trace, shape, tablesOf(shape), {1, 150}, &scratch);
    EXPECT_EQ(scratch, (std::vector<float>{148, 149, 150, 151, 0, 0}));
}

TEST(SpdDecompose, CountsWhatTheScratchCannotHoldAsZero) {
    const TableSettings shape = {8, 4};
    std::vector<float> trace = randomTrace(60, 4), scratch, expected(60, untouched);
    for (int room : {0, 1, 5, 8}) {
        const Settings at = {1, 50, 1, 0, 0, 0, 0, room};
        plain::decompose(trace, shape, tablesOf(shape), at, expected);
        EXPECT_TRUE(sameSamples(decomposed(trace, shape, tablesOf(shape), at, &scratch), expected)) << room;
        EXPECT_EQ(scratch.size(), static_cast<std::size_t>(room));
    }
}

TEST(SpdDecompose, DividesByAWindowLengthOfZero) {
    const TableSettings shape = {0, 0};
    EXPECT_TRUE(std::isnan(decomposed(randomTrace(5, 1), shape, tablesOf(shape), {1, 3})[0]));
}

TEST(SpdDecompose, ReadsNothingBehindTheLastWindow) {
    const TableSettings shape = {9, 4};
    const std::vector<float> whole = randomTrace(200, 6), sums = decomposed(whole, shape, tablesOf(shape), {1, 150});
    const std::vector<float> exact(whole.begin(), whole.begin() + 154);
    const std::vector<float> same = decomposed(exact, shape, tablesOf(shape), {1, 150}, nullptr, 150);
    EXPECT_TRUE(sameSamples(same, {sums.data(), 150}));
}

TEST(SpdDecompose, MatchesThePlainFormOnRandomTraces) {
    std::mt19937 engine(23);
    for (int trial = 0; trial < 3000; ++trial) {
        const int iwind = 1 + static_cast<int>(engine() % 70), count = 20 + static_cast<int>(engine() % 400);
        TableSettings shape = {
            iwind, iwind / 2, trial / 3 % 2, trial % 2, static_cast<int>(engine() % 101), static_cast<float>(engine() % 100),
            0.002f};
        if (trial % 12 == 11) shape.ihalf = static_cast<int>(engine() % (iwind + 3));
        std::vector<float> trace = randomTrace(count + 2 * iwind + 10, trial);
        if (trial % 7 == 6) trace[engine() % count] = trial % 2 ? nan : infinity;
        if (trial % 5 == 4) std::fill_n(trace.begin() + engine() % count, engine() % iwind, 0.0f);
        if (trial % 9 == 8)
            for (float& sample : trace) sample *= trial % 2 ? 1e-22f : 1e20f;
        Settings at = {static_cast<int>(engine() % 30) - 2, count, 1, 0, 0, 0, 0, -1};
        if (trial % 4 == 3) at.nskip = 1 + static_cast<int>(engine() % 5);
        if (trial % 2) {
            at.trbias = static_cast<int>(engine() % 2);
            at.phase = static_cast<int>(engine() % 2);
            at.live = static_cast<int>(engine() % 2);
            at.energy = static_cast<int>(engine() % 2);
        }
        const Tables tables = tablesOf(shape);
        std::vector<float> expected(trace.size(), untouched);
        plain::decompose(trace, shape, tables, at, expected);
        EXPECT_TRUE(sameSamples(decomposed(trace, shape, tables, at), expected)) << "trial " << trial;
    }
}

}
