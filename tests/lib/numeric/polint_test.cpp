#include <gtest/gtest.h>
#include <pelta/numeric.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "support/bits.h"
#include "support/files.h"

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
constexpr float untouched = -77.0f;

using Routine = void (*)(float*, float*, int, float, float*, float*, float*, float*);

struct Interpolated {
    float value = untouched, correction = untouched;
};

/* A table of pairs; entry 0 of every array is marked and has to stay so. */
struct Table {
    std::vector<float> abscissae, ordinates;
};

Interpolated interpolate(Routine routine, const Table& table, float x, int count) {
    const std::size_t length = table.abscissae.size() + 1;
    std::vector<float> xa(1, untouched), ya(1, untouched), c(length, untouched), d(length, untouched);
    xa.insert(xa.end(), table.abscissae.begin(), table.abscissae.end());
    ya.insert(ya.end(), table.ordinates.begin(), table.ordinates.end());
    const std::vector<float> xaBefore = xa, yaBefore = ya;
    Interpolated result;
    routine(xa.data(), ya.data(), count, x, &result.value, &result.correction, c.data(), d.data());
    EXPECT_TRUE(sameSamples(xa, xaBefore));
    EXPECT_TRUE(sameSamples(ya, yaBefore));
    EXPECT_EQ(c[0], untouched);
    EXPECT_EQ(d[0], untouched);
    return result;
}

Interpolated interpolate(Routine routine, const Table& table, float x) {
    return interpolate(routine, table, x, static_cast<int>(table.abscissae.size()));
}

/* The schemes step by step, in single precision, with vectors that count from 1. */

void plainPolint(float* xa, float* ya, int n, float x, float* y, float* dy, float* c, float* d) {
    int ns = 1;
    float dif = std::fabs(x - xa[1]);
    for (int i = 1; i <= n; ++i) {
        const float dift = std::fabs(x - xa[i]);
        if (dift < dif) {
            ns = i;
            dif = dift;
        }
        c[i] = ya[i];
        d[i] = ya[i];
    }
    *y = ya[ns--];
    for (int m = 1; m < n; ++m) {
        for (int i = 1; i <= n - m; ++i) {
            volatile float ho = xa[i] - x, hp = xa[i + m] - x, w = c[i + 1] - d[i];
            volatile float den = ho - hp;
            if (den == 0.0f) std::fputs("Error in routine polint2", stdout);
            den = w / den;
            d[i] = hp * den;
            c[i] = ho * den;
        }
        *y += (*dy = (2 * ns < n - m ? c[ns + 1] : d[ns--]));
    }
}

void plainRatint(float* xa, float* ya, int n, float x, float* y, float* dy, float* c, float* d) {
    int ns = 1;
    float hh = std::fabs(x - xa[1]);
    for (int i = 1; i <= n; ++i) {
        const float h = std::fabs(x - xa[i]);
        if (h == 0.0f) {
            *y = ya[i];
            *dy = 0.0f;
            return;
        }
        if (h < hh) {
            ns = i;
            hh = h;
        }
        c[i] = ya[i];
        d[i] = ya[i] + 1.0e-25f;
    }
    *y = ya[ns--];
    for (int m = 1; m < n; ++m) {
        for (int i = 1; i <= n - m; ++i) {
            volatile float w = c[i + 1] - d[i], h = xa[i + m] - x, product = (xa[i] - x) * d[i], t = product / h;
            volatile float dd = t - c[i + 1];
            if (dd == 0.0f) return;
            dd = w / dd;
            d[i] = c[i + 1] * dd;
            c[i] = t * dd;
        }
        *y += (*dy = (2 * ns < n - m ? c[ns + 1] : d[ns--]));
    }
}

void expectPlainBits(const Table& table, float x) {
    const struct {
        Routine routine, plain;
        const char* name;
    } pairs[] = {{polint, plainPolint, "polint"}, {ratint, plainRatint, "ratint"}};
    for (const auto& pair : pairs) {
        Interpolated actual, expected;
        const Printed printed = printedBy([&] { actual = interpolate(pair.routine, table, x); });
        const Printed wanted = printedBy([&] { expected = interpolate(pair.plain, table, x); });
        ASSERT_TRUE(sameBits(actual.value, expected.value) && sameBits(actual.correction, expected.correction))
            << pair.name << " of " << table.abscissae.size() << " at " << x << ": " << actual.value << " " << actual.correction
            << " for " << expected.value << " " << expected.correction;
        ASSERT_EQ(printed.text, wanted.text) << pair.name;
    }
}

TEST(Polint, FindsAParabola) {
    const Interpolated result = interpolate(polint, {{1, 2, 3}, {1, 4, 9}}, 2.5f);
    EXPECT_EQ(result.value, 6.25f);
    EXPECT_NE(result.correction, 0.0f);
    EXPECT_NE(result.correction, untouched);
}

TEST(Polint, ReturnsTheOrdinatesAtTheAbscissae) {
    const Table table{{-2, 0, 1, 4, 6}, {3, 1, -5, 2, 8}};
    for (std::size_t i = 0; i < 5; ++i)
        EXPECT_EQ(interpolate(polint, table, table.abscissae[i]).value, table.ordinates[i]) << "in any order of corrections";
}

/* Ordinates are whole numbers below 2^24 and so are all steps: no rounding. */
TEST(Polint, IsExactForPolynomialsOfItsDegree) {
    const auto cubic = [](float x) { return x * x * x - 4.0f * x * x + 3.0f; };
    Table table;
    for (float x : {4.0f, -4.0f, 2.0f, 0.0f}) {
        table.abscissae.push_back(x);
        table.ordinates.push_back(cubic(x));
    }
    for (float x : {-6.0f, -2.0f, 1.0f, 3.0f, 8.0f}) EXPECT_EQ(interpolate(polint, table, x).value, cubic(x)) << x;
}

TEST(Polint, ReportsEqualAbscissaeAndDividesAllTheSame) {
    Interpolated result;
    const Printed printed = printedBy([&] { result = interpolate(polint, {{1, 1, 2}, {3, 4, 5}}, 1.5f); });
    EXPECT_EQ(printed.text, "Error in routine polint2");
    EXPECT_EQ(printed.unflushed, 0u);
    EXPECT_FALSE(std::isfinite(result.value));
    EXPECT_FALSE(std::isfinite(result.correction));
    EXPECT_EQ(printedBy([] {
                  interpolate(polint, {{1, 1, 1}, {3, 4, 5}}, 0);
              }).text,
              "Error in routine polint2Error in routine polint2Error in routine polint2")
        << "once for each pair";
}

TEST(Polint, OfOneOrNoPointIsTheFirstOrdinate) {
    for (int count : {1, 0, -5}) {
        const Interpolated result = interpolate(polint, {{2}, {9}}, 3, count);
        EXPECT_EQ(result.value, 9.0f);
        EXPECT_EQ(result.correction, untouched);
    }
}

/* Corrections away from the nearest abscissa would be other ones. */
TEST(Polint, StartsAtTheFirstOfEquallyNearAbscissae) {
    const Interpolated result = interpolate(polint, {{1, 3}, {10, 20}}, 2);
    EXPECT_EQ(result.value, 15.0f);
    EXPECT_EQ(result.correction, 5.0f);
    EXPECT_EQ(interpolate(polint, {{3, 1}, {20, 10}}, 2).correction, -5.0f);
}

TEST(Ratint, ReturnsTheOrdinateAtAnAbscissa) {
    const Table table{{-2, 0, 1, 4}, {3, 1, -5, 2}};
    for (std::size_t i = 0; i < 4; ++i) {
        const Interpolated result = interpolate(ratint, table, table.abscissae[i]);
        EXPECT_EQ(result.value, table.ordinates[i]);
        EXPECT_EQ(bitsOf(result.correction), 0u);
    }
    EXPECT_EQ(interpolate(ratint, {{2}, {9}}, 2).correction, 0.0f) << "also of one point";
}

TEST(Ratint, FollowsAPoleThatPolynomialsMiss) {
    Table table;
    for (int i = 0; i < 6; ++i) {
        table.abscissae.push_back(1.0f + i);
        table.ordinates.push_back(1.0f / (0.5f + i));
    }
    constexpr float error = 1e-5f; /* relative, of some twenty roundings */
    EXPECT_NEAR(interpolate(ratint, table, 0.75f).value, 4.0f, 4.0f * error);
    EXPECT_GT(std::fabs(interpolate(polint, table, 0.75f).value - 4.0f), 0.5f);
}

TEST(Ratint, OfOneOrNoPointIsTheFirstOrdinate) {
    for (int count : {1, 0, -5}) {
        const Interpolated result = interpolate(ratint, {{2}, {9}}, 3, count);
        EXPECT_EQ(result.value, 9.0f);
        EXPECT_EQ(result.correction, untouched);
    }
    EXPECT_EQ(interpolate(ratint, {{2}, {9}}, 2, 0).correction, untouched) << "no point, no hit";
}

TEST(Ratint, EndsSilentlyAtAPole) {
    Interpolated result;
    const Printed printed = printedBy([&] { result = interpolate(ratint, {{1, 3}, {-1, 1}}, 2); });
    EXPECT_EQ(result.value, -1.0f) << "between two opposite ordinates";
    EXPECT_EQ(result.correction, untouched);
    EXPECT_EQ(printed.text, "");
}

TEST(Ratint, OfZeroOrdinatesIsNearlyZero) {
    const Interpolated result = interpolate(ratint, {{1, 2, 4}, {0, 0, 0}}, 3);
    EXPECT_LE(std::fabs(result.value), 1e-24f) << "neither a pole nor a NaN";
}

TEST(Interpolation, MatchesThePlainFormOnRandomTables) {
    std::mt19937 engine(1);
    for (int turn = 0; turn < 5000; ++turn) {
        std::uniform_real_distribution<float> number(-10.0f, 10.0f);
        Table table;
        for (int k = 1 + engine() % 12; k > 0; --k) {
            table.abscissae.push_back(number(engine));
            table.ordinates.push_back(number(engine));
        }
        ASSERT_NO_FATAL_FAILURE(expectPlainBits(table, number(engine)));
    }
}

TEST(Interpolation, MatchesThePlainFormOnCoarseAndOddTables) {
    std::mt19937 engine(2);
    const float odd[] = {0, -0.0f, 1, 2, 3, 4, 5, 6, -1, -2, -3, 0.5f, 1e-45f, 3e38f, 1e-25f, infinity, -infinity, nan};
    for (int turn = 0; turn < 5000; ++turn) {
        const unsigned kinds = turn % 2 ? 18 : 11;
        Table table;
        for (int k = 1 + engine() % 9; k > 0; --k) {
            table.abscissae.push_back(odd[engine() % kinds]);
            table.ordinates.push_back(odd[engine() % kinds]);
        }
        ASSERT_NO_FATAL_FAILURE(expectPlainBits(table, odd[engine() % kinds] + 0.5f * (engine() % 2)));
    }
}

}
