#include <gtest/gtest.h>
#include <pelta/numeric.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "support/bits.h"

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();

struct Polygon {
    std::vector<float> x, y;

    int size() const { return static_cast<int>(x.size()); }
    void add(float vertexX, float vertexY) {
        x.push_back(vertexX);
        y.push_back(vertexY);
    }
};

Polygon closed(Polygon polygon) {
    polygon.add(polygon.x.front(), polygon.y.front());
    return polygon;
}

using Inside = int (*)(int, float*, float*, float, float);

int result(Inside test, Polygon polygon, float x, float y) {
    return test(polygon.size(), polygon.x.data(), polygon.y.data(), x, y);
}

const Polygon unitSquare{{0, 1, 1, 0}, {0, 0, 1, 1}};
const Polygon square100{{0, 100, 100, 0}, {0, 0, 100, 100}};

/* The tests edge by edge, every step rounded to single precision. */

int plainLeft(float x1, float y1, float x2, float y2, float x3, float y3) {
    volatile float first = (x2 - x1) * (y3 - y1), second = (x3 - x1) * (y2 - y1);
    const float cross = first - second;
    if (cross >= 0x1p31f) return INT_MAX;
    return cross > -0x1p31f ? static_cast<int>(cross) : INT_MIN;
}

int plainPolygon(int npol, float* xp, float* yp, float x, float y) {
    int c = 0;
    for (int i = 0, j = npol - 1; i < npol; j = i++) {
        if (!((yp[i] <= y && y < yp[j]) || (yp[j] <= y && y < yp[i]))) continue;
        volatile float product = (xp[j] - xp[i]) * (y - yp[i]), quotient = product / (yp[j] - yp[i]);
        if (x < quotient + xp[i]) c = 1 - c;
    }
    return c;
}

int plainPolygon2(int npol, float* xp, float* yp, float x, float y) {
    int counter = 0;
    for (int i = 1; i < npol; ++i) {
        const float x1 = xp[i - 1], y1 = yp[i - 1], x2 = xp[i], y2 = yp[i];
        if (!(y > std::fmin(y1, y2) && y <= std::fmax(y1, y2) && x <= std::fmax(x1, x2) && y1 != y2)) continue;
        volatile float product = (y - y1) * (x2 - x1), quotient = product / (y2 - y1);
        if (x1 == x2 || x <= quotient + x1) ++counter;
    }
    return counter & 1;
}

int plainPolygon1(int npol, float* xp, float* yp, float x, float y) {
    int winding = 0;
    for (int i = 0; i + 1 < npol; ++i) {
        const int side = plainLeft(xp[i], yp[i], xp[i + 1], yp[i + 1], x, y);
        if (yp[i] <= y && yp[i + 1] > y && side >= 0) ++winding;
        if (yp[i] > y && yp[i + 1] <= y && side < 0) --winding;
    }
    return winding;
}

void expectPlainResults(const Polygon& polygon, float x, float y) {
    const auto said = [&](const char* name) {
        return testing::Message() << name << ", " << polygon.size() << " vertices, point " << x << " " << y;
    };
    ASSERT_EQ(result(peltaPnPolygon, polygon, x, y), result(plainPolygon, polygon, x, y)) << said("peltaPnPolygon");
    ASSERT_EQ(result(peltaPnPolygon2, polygon, x, y), result(plainPolygon2, polygon, x, y)) << said("peltaPnPolygon2");
    ASSERT_EQ(result(peltaPnPolygon1, polygon, x, y), result(plainPolygon1, polygon, x, y)) << said("peltaPnPolygon1");
}

/* A star-shaped polygon about the origin. */
Polygon star(int vertexCount, float radius) {
    Polygon polygon;
    for (int k = 0; k < vertexCount; ++k) {
        const double angle = 2 * M_PI * k / vertexCount, distance = radius * (k % 2 ? 0.6 : 1.0);
        polygon.add(static_cast<float>(distance * std::cos(angle)), static_cast<float>(distance * std::sin(angle)));
    }
    return polygon;
}

TEST(Polygon, HoldsWhatIsInside) {
    EXPECT_EQ(result(peltaPnPolygon, unitSquare, 0.5f, 0.5f), 1);
    EXPECT_EQ(result(peltaPnPolygon, unitSquare, 1.5f, 0.5f), 0);
    EXPECT_EQ(result(peltaPnPolygon2, closed(unitSquare), 0.5f, 0.5f), 1);
    EXPECT_EQ(result(peltaPnPolygon2, closed(unitSquare), 1.5f, 0.5f), 0);
    EXPECT_EQ(result(peltaPnPolygon1, closed(unitSquare), 0.5f, 0.5f), 1);
    EXPECT_EQ(result(peltaPnPolygon1, closed(square100), 150, 50), 0);
    EXPECT_EQ(result(peltaPnPolygon1, closed(square100), -50, 50), 0);
}

TEST(Polygon, OfFewerThanTwoVerticesHoldsNothing) {
    for (Inside test : {peltaPnPolygon, peltaPnPolygon2, peltaPnPolygon1}) {
        EXPECT_EQ(test(0, nullptr, nullptr, 0, 0), 0);
        EXPECT_EQ(test(-3, nullptr, nullptr, 0, 0), 0);
        EXPECT_EQ(test(INT_MIN, nullptr, nullptr, 0, 0), 0);
        EXPECT_EQ(result(test, {{0}, {0}}, 0, 0), 0);
    }
}

TEST(Polygon, AgreesWithTheDistanceInEveryDirection) {
    for (int vertexCount : {3, 16, 17, 100, 333}) {
        const Polygon polygon = star(vertexCount * 2, 1000.0f);
        for (int k = 0; k < 360; ++k) {
            const double angle = M_PI / 180 * k + 0.001;
            const auto x = static_cast<float>(std::cos(angle)), y = static_cast<float>(std::sin(angle));
            const float inner = vertexCount == 3 ? 280.0f : 580.0f;
            for (float distance : {0.0f, inner, 1001.0f}) {
                const int isInside = distance < 1000.0f;
                ASSERT_EQ(result(peltaPnPolygon, polygon, distance * x, distance * y), isInside);
                ASSERT_EQ(result(peltaPnPolygon2, closed(polygon), distance * x, distance * y), isInside);
                ASSERT_EQ(result(peltaPnPolygon1, closed(polygon), distance * x, distance * y), isInside);
            }
        }
    }
}

TEST(Polygon, ClosesItselfOnlyInTheFirstTest) {
    const Polygon open{{0, 0, 100, 100}, {100, 0, 0, 100}}, missingRight{{100, 0, 0, 100}, {100, 100, 0, 0}};
    EXPECT_EQ(result(peltaPnPolygon, missingRight, 50, 50), 1);
    EXPECT_EQ(result(peltaPnPolygon2, missingRight, 50, 50), 0);
    EXPECT_EQ(result(peltaPnPolygon1, missingRight, 50, 50), 0);
    EXPECT_EQ(result(peltaPnPolygon2, open, 50, 50), 1) << "only the level edge is missing";
    EXPECT_EQ(result(peltaPnPolygon2, closed(missingRight), 50, 50), 1);
    EXPECT_EQ(result(peltaPnPolygon1, closed(missingRight), 50, 50), 1);
}

TEST(Polygon, OwnsItsLowerAndLeftEdgesInTheFirstTest) {
    EXPECT_EQ(result(peltaPnPolygon, unitSquare, 0.5f, 0), 1);
    EXPECT_EQ(result(peltaPnPolygon, unitSquare, 0.5f, 1), 0);
    EXPECT_EQ(result(peltaPnPolygon, unitSquare, 0, 0.5f), 1);
    EXPECT_EQ(result(peltaPnPolygon, unitSquare, 1, 0.5f), 0);
    EXPECT_EQ(result(peltaPnPolygon, unitSquare, 0, 0), 1);
    EXPECT_EQ(result(peltaPnPolygon, unitSquare, 1, 1), 0);
}

TEST(Polygon, OwnsItsUpperAndRightEdgesInTheSecondTest) {
    const Polygon square = closed(unitSquare);
    EXPECT_EQ(result(peltaPnPolygon2, square, 0.5f, 0), 0);
    EXPECT_EQ(result(peltaPnPolygon2, square, 0.5f, 1), 1);
    EXPECT_EQ(result(peltaPnPolygon2, square, 0, 0.5f), 0) << "left of both edges";
    EXPECT_EQ(result(peltaPnPolygon2, square, 1, 0.5f), 1);
}

TEST(Polygon, WindsAsOftenAsItGoesRound) {
    Polygon twice = square100;
    for (int k = 0; k < 4; ++k) twice.add(square100.x[k], square100.y[k]);
    twice = closed(twice);
    EXPECT_EQ(result(peltaPnPolygon1, twice, 50, 50), 2);
    EXPECT_EQ(result(peltaPnPolygon2, twice, 50, 50), 0);
    std::reverse(twice.x.begin(), twice.x.end());
    std::reverse(twice.y.begin(), twice.y.end());
    EXPECT_EQ(result(peltaPnPolygon1, twice, 50, 50), -2);
}

TEST(Polygon, CountsAPointWithinAnAreaOfOneAsLeftOfAnEdge) {
    const Polygon small = closed({{0, 0.5f, 0.5f, 0}, {0, 0, 0.5f, 0.5f}});
    EXPECT_EQ(result(peltaPnPolygon1, small, 0.25f, 0.25f), 1);
    EXPECT_EQ(result(peltaPnPolygon1, small, 0.75f, 0.25f), 1) << "right of it, where the rising edge counts and the other not";
    EXPECT_EQ(result(peltaPnPolygon1, small, -0.25f, 0.25f), 1);
    Polygon clockwise = small;
    std::reverse(clockwise.x.begin(), clockwise.x.end());
    std::reverse(clockwise.y.begin(), clockwise.y.end());
    EXPECT_EQ(result(peltaPnPolygon1, clockwise, 0.25f, 0.25f), 1) << "the falling edge never counts";
    EXPECT_EQ(result(peltaPnPolygon1, closed(unitSquare), 1, 0.5f), 1) << "on the rising edge";
}

TEST(IsLeft, TellsTheSideByTwiceTheArea) {
    EXPECT_EQ(isLeft(0, 0, 10, 0, 5, 3), 30);
    EXPECT_EQ(isLeft(0, 0, 10, 0, 5, -3), -30);
    EXPECT_EQ(isLeft(0, 0, 10, 0, 20, 0), 0);
}

TEST(IsLeft, CutsTowardsZero) {
    EXPECT_EQ(isLeft(0, 0, 1, 0, 0, 0.99f), 0);
    EXPECT_EQ(isLeft(0, 0, 1, 0, 0, -0.99f), 0);
    EXPECT_EQ(isLeft(0, 0, 1, 0, 0, 2.75f), 2);
    EXPECT_EQ(isLeft(0, 0, 1, 0, 0, -2.75f), -2);
}

TEST(IsLeft, RoundsEachProductToSinglePrecision) {
    EXPECT_EQ(isLeft(0, 0, 4097, 4097, 4097, 4097), 0);
    EXPECT_EQ(isLeft(0, 0, 4097, 4095, 4096, 4097), 4097 * 4097 - 1 - 4095 * 4096) << "4097 * 4097 is a tie of floats";
}

TEST(IsLeft, SaturatesBeyondTheIntRange) {
    EXPECT_EQ(isLeft(0, 0, 1e6f, 0, 0, 1e6f), INT_MAX);
    EXPECT_EQ(isLeft(0, 0, 1e6f, 0, 0, -1e6f), INT_MIN);
    EXPECT_EQ(isLeft(0, 0, 65536, 0, 0, 32768), INT_MAX) << "2^31";
    EXPECT_EQ(isLeft(0, 0, 65536, 0, 0, -32768), INT_MIN);
    EXPECT_EQ(isLeft(0, 0, infinity, 0, 0, 1), INT_MAX);
    EXPECT_EQ(isLeft(0, 0, nan, 0, 0, 1), INT_MIN);
}

TEST(Polygon, MatchesThePlainFormOnRandomPolygons) {
    std::mt19937 engine(1);
    for (int vertexCount = 0; vertexCount < 150; ++vertexCount)
        for (int turn = 0; turn < 40; ++turn) {
            std::uniform_real_distribution<float> coordinate(-1000.0f, 1000.0f);
            Polygon polygon;
            for (int k = 0; k < vertexCount; ++k) polygon.add(coordinate(engine), coordinate(engine));
            for (int point = 0; point < 20; ++point)
                ASSERT_NO_FATAL_FAILURE(expectPlainResults(polygon, coordinate(engine), coordinate(engine)));
        }
}

/* Few different coordinates: vertices, level and upright edges through the point, points on edges. */
TEST(Polygon, MatchesThePlainFormOnCoarseCoordinates) {
    std::mt19937 engine(2);
    for (int turn = 0; turn < 40000; ++turn) {
        const auto coordinate = [&] { return static_cast<float>(engine() % 7) - (engine() % 9 ? 3.0f : 2.75f); };
        Polygon polygon;
        for (int k = engine() % 70; k > 0; --k) polygon.add(coordinate(), coordinate());
        ASSERT_NO_FATAL_FAILURE(expectPlainResults(polygon, coordinate(), coordinate()));
    }
}

/* Points on the rounded meeting places and next to them. */
TEST(Polygon, MatchesThePlainFormBesideItsEdges) {
    std::mt19937 engine(3);
    for (int turn = 0; turn < 40000; ++turn) {
        std::uniform_real_distribution<float> coordinate(500000.0f, 501000.0f), place(0.0f, 1.0f);
        Polygon polygon;
        for (int k = 2 + engine() % 40; k > 0; --k) polygon.add(coordinate(engine), coordinate(engine));
        const int k = static_cast<int>(engine() % (polygon.size() - 1));
        const float y = polygon.y[k] + place(engine) * (polygon.y[k + 1] - polygon.y[k]);
        const float product = (polygon.x[k] - polygon.x[k + 1]) * (y - polygon.y[k + 1]);
        float x = product / (polygon.y[k] - polygon.y[k + 1]) + polygon.x[k + 1];
        if (engine() % 2) x = std::nextafter(x, engine() % 2 ? 0.0f : infinity);
        ASSERT_NO_FATAL_FAILURE(expectPlainResults(polygon, x, y));
    }
}

TEST(Polygon, MatchesThePlainFormOnOddValues) {
    std::mt19937 engine(4);
    const float odd[] = {0.0f, -0.0f, 1.0f, -1.0f, 1e-45f, -1e-40f, 3e38f, -3e38f, infinity, -infinity, nan, 2.0f, 0.5f};
    for (int turn = 0; turn < 100000; ++turn) {
        const auto coordinate = [&] { return odd[engine() % 13]; };
        Polygon polygon;
        for (int k = engine() % 40; k > 0; --k) polygon.add(coordinate(), coordinate());
        ASSERT_NO_FATAL_FAILURE(expectPlainResults(polygon, coordinate(), coordinate()));
    }
}

}
