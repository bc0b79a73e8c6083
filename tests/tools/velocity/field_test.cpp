#include "velocity/field.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <new>
#include <random>

#include "support/bits.h"
#include "support/files.h"

namespace {

/* Allocations so far, by the command's side of the work. */
std::size_t allocations = 0;

}

[[gnu::noinline]] void* operator new(std::size_t bytes) {
    ++allocations;
    if (void* memory = std::malloc(bytes)) return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    ++allocations;
    return std::malloc(bytes);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace pelta::velocity {
namespace {

constexpr double rounding = 1e-3; /* m/s: single precision resolves 2.4e-4 of a velocity of 3000 */
constexpr int count = 200;
constexpr double intervalMs = 10.0;

std::vector<float> functionAt(Field& field, const Place& place) {
    std::vector<float> velocities(count);
    field.functionAt(place, 0.0, intervalMs, count, velocities.data());
    return velocities;
}

/* Linear between pairs, constant beyond. */
double valueOf(const Pairs& pairs, double time) {
    if (time <= pairs.front().first) return pairs.front().second;
    for (std::size_t k = 1; k < pairs.size(); ++k)
        if (time <= pairs[k].first)
            return pairs[k - 1].second + (pairs[k].second - pairs[k - 1].second) * (time - pairs[k - 1].first) /
                                             (pairs[k].first - pairs[k - 1].first);
    return pairs.back().second;
}

/* Weighted functions of points. */
void expectMix(const std::vector<float>& found, const std::vector<std::pair<double, Pairs>>& parts, const Place& place) {
    for (int i = 0; i < count; ++i) {
        double expected = 0.0;
        for (const auto& [weight, pairs] : parts) expected += weight * valueOf(pairs, i * intervalMs);
        ASSERT_NEAR(found[static_cast<std::size_t>(i)], expected, rounding) << place.x << " " << place.y << " sample " << i;
    }
}

const Pairs a = {{0, 1500}, {1000, 2000}}, b = {{400, 1800}, {1100, 2300}, {1500, 3000}}, c = {{-50, 2500}, {5000, 3500}};

TEST(VelocityField, IsThePlaneThroughTheCornersOfATriangle) {
    Field field({{{100, 100}, a}, {{500, 100}, b}, {{100, 300}, c}});
    EXPECT_FALSE(field.isLine());
    std::mt19937 engine(1);
    std::uniform_real_distribution<double> share(0.0, 1.0);
    for (int turn = 0; turn < 200; ++turn) {
        double ofB = share(engine), ofC = share(engine);
        if (ofB + ofC > 1.0) std::tie(ofB, ofC) = std::pair{1.0 - ofB, 1.0 - ofC};
        const Place place = {100 + 400 * ofB, 100 + 200 * ofC};
        expectMix(functionAt(field, place), {{1 - ofB - ofC, a}, {ofB, b}, {ofC, c}}, place);
    }
}

/* The mesh moves functions that begin at or behind the first sample; these here do. */
TEST(VelocityField, HonoursEveryFunctionAtItsTimes) {
    Field field({{{0, 0}, a}, {{500, 0}, b}, {{0, 300}, c}});
    expectMix(functionAt(field, {0, 0}), {{1, a}}, {0, 0});
    expectMix(functionAt(field, {500, 0}), {{1, b}}, {500, 0});
    expectMix(functionAt(field, {0, 300}), {{1, c}}, {0, 300});
}

TEST(VelocityField, AnswersAtTimesLongBeforeItsFunctions) {
    Field field({{{0, 0}, a}, {{500, 0}, b}, {{0, 300}, c}});
    float velocities[3];
    field.functionAt({500, 0}, -50000, 50750, 3, velocities);
    EXPECT_NEAR(velocities[0], 1800, rounding);
    EXPECT_NEAR(velocities[1], 2050, rounding) << "at 750 ms";
    EXPECT_NEAR(velocities[2], 3000, rounding);
}

TEST(VelocityField, HasAFunctionAtTheTimesOfTheNearestPoint) {
    Field field({{{0, 0}, a}, {{500, 0}, b}, {{0, 300}, c}});
    EXPECT_EQ(field.timeFunctionAt({500, 0}).pairs(), b);
    const Pairs near = field.timeFunctionAt({400, 0}).pairs();
    ASSERT_EQ(near.size(), 3u);
    EXPECT_EQ(near[1].first, 1100);
    EXPECT_NEAR(near[1].second, 0.2 * 2000 + 0.8 * 2300, rounding);
}

TEST(VelocityField, ContinuesBeyondItsHull) {
    Field field({{{0, 0}, a}, {{400, 0}, b}, {{400, 400}, c}, {{0, 400}, a}});
    expectMix(functionAt(field, {200, -100}), {{0.5, a}, {0.5, b}}, {200, -100});
    expectMix(functionAt(field, {-1e6, -1e6}), {{1, a}}, {-1e6, -1e6});
    const std::vector<float> far = functionAt(field, {39000000, 200});
    for (float velocity : far) EXPECT_TRUE(velocity >= 1500 && velocity <= 3500);
}

TEST(VelocityField, HoldsEverywhereWithOnePoint) {
    Field field({{{4e7, -4e7}, b}});
    EXPECT_TRUE(field.isLine());
    for (const Place& place : {Place{4e7, -4e7}, Place{0, 0}, Place{-5e7, 1}})
        expectMix(functionAt(field, place), {{1, b}}, place);
}

/* Along a line whatever its direction, rounded coordinates included, by the foot of the perpendicular. */
TEST(VelocityField, IsLinearAlongAStraightLine) {
    std::mt19937 engine(2);
    std::uniform_real_distribution<double> share(-0.5, 1.5), off(-300.0, 300.0);
    for (double degrees : {0.0, 37.0, 90.0, 123.4, -5.6}) {
        const double alongX = std::cos(degrees * M_PI / 180), alongY = std::sin(degrees * M_PI / 180);
        const auto at = [&](double along, double across) {
            return Place{533370.0 + along * alongX - across * alongY, 4686733.0 + along * alongY + across * alongX};
        };
        const auto inTenths = [](Place place) { return Place{std::round(10 * place.x) / 10, std::round(10 * place.y) / 10}; };
        Field field({{inTenths(at(4000, 0)), c}, {inTenths(at(0, 0)), a}, {inTenths(at(1500, 0)), b}});
        ASSERT_TRUE(field.isLine());
        for (int turn = 0; turn < 40; ++turn) {
            const double along = 4000 * share(engine), across = off(engine);
            const Place place = at(along, across);
            const std::vector<float> found = functionAt(field, place);
            const double ofC = std::clamp((along - 1500) / 2500, 0.0, 1.0), ofA = std::clamp(1 - along / 1500, 0.0, 1.0);
            constexpr double rounded = 0.5; /* m/s: a tenth of a metre of some 1500, over which functions differ by 1000 m/s */
            for (int i = 0; i < count; ++i) {
                const double t = i * intervalMs;
                ASSERT_NEAR(found[i], ofA * valueOf(a, t) + (1 - ofA - ofC) * valueOf(b, t) + ofC * valueOf(c, t), rounded);
            }
        }
    }
}

TEST(VelocityField, SpansTheWholeSquare) {
    const double x = farthest, y = farthest - 1;
    Field diagonal({{{-x, -y}, a}, {{x, y}, c}});
    EXPECT_TRUE(diagonal.isLine());
    expectMix(functionAt(diagonal, {0, 0}), {{0.5, a}, {0.5, c}}, {0, 0});
    Field whole({{{-x, -y}, a}, {{x, -y}, a}, {{x, y}, c}, {{-x, y}, c}});
    expectMix(functionAt(whole, {100, 0}), {{0.5, a}, {0.5, c}}, {100, 0});
    EXPECT_FALSE(isCovered({x, -x}));
    EXPECT_FALSE(isCovered({0, 1.0000001 * x}));
    EXPECT_FALSE(isCovered({NAN, 0}));
}

TEST(VelocityField, IsALineUpToAHundredthOfItsLength) {
    const auto isLine = [](double off) { return Field({{{0, 0}, a}, {{500, off}, b}, {{1000, 0}, c}}).isLine(); };
    EXPECT_TRUE(isLine(9.9));
    EXPECT_FALSE(isLine(10.1));
    EXPECT_FALSE(Field({{{0, 0}, a}, {{500, 3}, b}, {{500, -3}, b}, {{1000, 0}, c}}).isLine()) << "two points, one foot";
}

/* On the sides of triangles two of them can have a place, and which does decides the last bit. */
TEST(VelocityField, GivesTheSameBitsWhateverWasAskedBefore) {
    std::vector<ControlPoint> points;
    std::mt19937 engine(3);
    std::uniform_real_distribution<double> velocity(1500, 4000);
    for (int x = 0; x < 6; ++x)
        for (int y = 0; y < 6; ++y)
            points.push_back({{x * 100.0 / 3.0, y * 100.0 / 3.0}, {{0, velocity(engine)}, {1000, velocity(engine)}}});
    std::vector<Place> places;
    for (int k = 0; k < 300; ++k)
        places.push_back(
            {static_cast<double>(engine() % 40) * 100.0 / 18.0, static_cast<double>(engine() % 40) * 100.0 / 18.0});
    Field field(points);
    std::vector<std::vector<float>> first;
    for (const Place& place : places) first.push_back(functionAt(field, place));
    for (std::size_t k = places.size(); k-- > 0;) EXPECT_TRUE(sameSamples(functionAt(field, places[k]), first[k])) << k;
}

TEST(VelocityField, AllocatesNothingForAnotherPlace) {
    Field field({{{0, 0}, a}, {{500, 0}, b}, {{0, 300}, c}});
    std::vector<float> velocities(count);
    field.functionAt({1, 1}, 0.0, intervalMs, count, velocities.data());
    const std::size_t before = allocations;
    for (int k = 0; k < 100; ++k) field.functionAt({10.0 * k, 5.0 * k}, 0.0, intervalMs, count, velocities.data());
    EXPECT_EQ(allocations, before);
}

/* The mesh reports a face of three points on a line, as one on the square's border makes. */
TEST(VelocityField, PrintsNothing) {
    const std::vector<ControlPoint> points = {{{0, farthest}, a}, {{100, 0}, b}, {{30000000, 500}, c}};
    EXPECT_EQ(printedBy([&] { Field field(points); }).text, "");
}

TEST(VelocityField, KnowsItsTrianglesAndItsHull) {
    Field square({{{0, 0}, a}, {{400, 0}, b}, {{400, 400}, c}, {{0, 400}, a}, {{200, 190}, b}});
    EXPECT_EQ(square.sides().size(), 8u);
    const std::vector<Place> hull = square.hull();
    ASSERT_EQ(hull.size(), 4u);
    for (std::size_t k = 0; k < 4; ++k) { /* each of the corners, next to one that it shares a side with */
        const Place &corner = hull[k], &next = hull[(k + 1) % 4];
        EXPECT_EQ(std::abs(corner.x - next.x) + std::abs(corner.y - next.y), 400);
    }
    EXPECT_EQ(square.regionOf({200, -1}), Field::outside);
    EXPECT_EQ(square.regionOf({401, 200}), Field::outside);
    EXPECT_NE(square.regionOf({200, 10}), Field::outside);
    EXPECT_EQ(square.regionOf({200, 10}), square.regionOf({200, 100}));
    EXPECT_NE(square.regionOf({200, 10}), square.regionOf({200, 390}));
}

TEST(VelocityField, KnowsTheStretchesOfALine) {
    Field line({{{0, 0}, a}, {{2000, 2000}, c}, {{1000, 1001}, b}});
    EXPECT_EQ(line.sides().size(), 2u);
    EXPECT_EQ(line.hull(), (std::vector<Place>{line.points()[0].place, line.points()[2].place}));
    EXPECT_EQ(line.points()[1].place, (Place{1000, 1001}));
    EXPECT_EQ(line.regionOf({-10, -10}), Field::outside);
    EXPECT_EQ(line.regionOf({2010, 2010}), Field::outside);
    EXPECT_NE(line.regionOf({2000, 2000}), Field::outside);
    EXPECT_NE(line.regionOf({0, 0}), Field::outside);
    EXPECT_EQ(line.regionOf({500, 500}), line.regionOf({600, 500}));
    EXPECT_NE(line.regionOf({500, 500}), line.regionOf({1500, 1500}));
}

}
}
