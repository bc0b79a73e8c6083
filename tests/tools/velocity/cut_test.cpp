#include "velocity/cut.h"

#include <gtest/gtest.h>

#include <cmath>

namespace pelta::velocity {
namespace {

constexpr double rounding = 1e-3; /* m/s: single precision resolves 2.4e-4 of a velocity of 3000 */

/* 2000 m/s at the origin and time 0; 1 more every metre in x, 2 more every metre in y, 1 more every ms. */
double planeAt(const Place& place, double timeMs) { return 2000 + place.x + 2 * place.y + timeMs; }

ControlPoint pointAt(double x, double y) { return {{x, y}, {{0, planeAt({x, y}, 0)}, {1000, planeAt({x, y}, 1000)}}}; }

std::vector<ControlPoint> square() { return {pointAt(0, 0), pointAt(100, 0), pointAt(100, 100), pointAt(0, 100)}; }

TEST(TimeSlice, HoldsTheVelocitiesOfAMapFromTheNorth) {
    Field field(square());
    const TimeSlice slice = cutTimeSlice(field, 250, {{-20, 100}, {0, 60}}, 20, false);
    const Grid& grid = slice.grid;
    ASSERT_EQ(grid.columns, 7);
    ASSERT_EQ(grid.rows, 4);
    EXPECT_EQ(grid.left, -20);
    EXPECT_EQ(grid.top, 60);
    for (std::int64_t row = 0; row < 4; ++row)
        for (std::int64_t column = 0; column < 7; ++column) {
            const Place place = {-20.0 + 20.0 * column, 60.0 - 20.0 * row};
            const auto node = static_cast<std::size_t>(row * 7 + column);
            EXPECT_EQ(slice.isInside[node], column > 0);
            if (column > 0) EXPECT_NEAR(grid.values[node], planeAt(place, 250), rounding);
            else EXPECT_TRUE(grid.values[node] > 2000 && grid.values[node] < 2600);
        }
}

TEST(TimeSlice, EndsAtOrBeforeTheEdgesOfItsArea) {
    Field field(square());
    const Grid partial = cutTimeSlice(field, 250, {{0, 95}, {0, 70}}, 20, false).grid;
    EXPECT_EQ(partial.columns, 5);
    EXPECT_EQ(partial.rows, 4);
    EXPECT_EQ(partial.top, 60) << "counted from the south";
    EXPECT_NEAR(partial.values[0], planeAt({0, 60}, 250), rounding);
    const Grid tenths = cutTimeSlice(field, 250, {{0, 0.3}, {0, 0.7}}, 0.1, false).grid;
    EXPECT_EQ(tenths.columns, 4) << "a rounding error loses none";
    EXPECT_EQ(tenths.rows, 8);
}

TEST(TimeSlice, MayEndAtTheHull) {
    Field field(square());
    const TimeSlice slice = cutTimeSlice(field, 250, {{-20, 100}, {0, 60}}, 20, true);
    for (std::size_t node = 0; node < slice.grid.values.size(); ++node)
        EXPECT_EQ(std::isfinite(slice.grid.values[node]), slice.isInside[node]) << node;
}

TEST(VerticalSection, RunsStraightWithTimeDown) {
    Field field(square());
    const Section section = cutSection(field, straightPath({10, 20}, {90, 80}, 25), {100, 500}, 50, false);
    const Grid& grid = section.grid;
    ASSERT_EQ(grid.columns, 5) << "100 m";
    ASSERT_EQ(grid.rows, 9);
    EXPECT_EQ(grid.left, 0);
    EXPECT_EQ(grid.top, -100);
    EXPECT_EQ(grid.columnSpacing, 25);
    EXPECT_EQ(grid.rowSpacing, 50);
    for (std::size_t row = 0; row < 9; ++row)
        for (std::size_t column = 0; column < 5; ++column)
            EXPECT_NEAR(grid.values[row * 5 + column],
                        planeAt({10.0 + 20.0 * column, 20.0 + 15.0 * column}, 100.0 + 50.0 * row), rounding);
}

TEST(VerticalSection, TellsInsideFromOutsideAndTriangleFromTriangle) {
    Field field(square());
    const Section section = cutSection(field, straightPath({-20, 45}, {120, 45}, 10), {0, 100}, 50, true);
    ASSERT_EQ(section.regions.size(), 15u);
    for (std::size_t k = 0; k < 15; ++k) {
        const bool isInside = k >= 2 && k <= 12;
        EXPECT_EQ(section.regions[k] != Field::outside, isInside) << k;
        EXPECT_EQ(std::isfinite(section.grid.values[k]), isInside) << k;
    }
    EXPECT_NE(section.regions[3], section.regions[11]) << "a diagonal lies between them";
    EXPECT_EQ(section.regions[10], section.regions[11]);
}

TEST(VerticalSection, LeavesUnknownPlacesEmptyAndShowsPointsNearIt) {
    Field field({pointAt(0, 0), pointAt(100, 0), pointAt(50, 80)});
    Path path = straightPath({0, 0}, {100, 0}, 1);
    path.places[30].reset();
    const Section section = cutSection(field, path, {0, 1000}, 500, false);
    EXPECT_TRUE(std::isnan(section.grid.values[30]));
    EXPECT_EQ(section.regions[30], Field::outside);
    EXPECT_NEAR(section.grid.values[31], planeAt({31, 0}, 0), rounding);
    ASSERT_EQ(section.points.size(), 2u);
    EXPECT_EQ(section.points[0].column, 0u);
    EXPECT_EQ(section.points[1].column, 100u);
    EXPECT_EQ(section.points[1].pairs, pointAt(100, 0).pairs);
}

TEST(VerticalSection, ShowsPointsWithinAHundredthOfItsLengthOrAColumn) {
    Field field({pointAt(0, 0), pointAt(50, 5), pointAt(50, 80), pointAt(51, -0.9)});
    const auto columnsShown = [&](double spacing) {
        std::vector<std::size_t> columns;
        for (const auto& point : cutSection(field, straightPath({0, 0}, {100, 0}, spacing), {0, 1000}, 500, false).points)
            columns.push_back(point.column);
        return columns;
    };
    EXPECT_EQ(columnsShown(1), (std::vector<std::size_t>{0, 51}));
    EXPECT_EQ(columnsShown(10), (std::vector<std::size_t>{0, 5, 5}));
}

TEST(VerticalSection, BeginsAtZeroWithoutASign) {
    Field field(square());
    EXPECT_FALSE(std::signbit(cutSection(field, straightPath({0, 0}, {100, 0}, 50), {0, 1000}, 500, false).grid.top));
}

TEST(AreaAroundFunctions, HasAMarginAndRoundCorners) {
    const Area area = areaAround({pointAt(1003, 500), pointAt(3500, 512), pointAt(2000, 900)});
    EXPECT_EQ(area.x.from, 750);
    EXPECT_EQ(area.x.to, 3750);
    EXPECT_EQ(area.y.from, 250);
    EXPECT_EQ(area.y.to, 1150);
    EXPECT_EQ(spacingFor(area), 10);
    const Area point = areaAround({pointAt(5, 6)});
    EXPECT_EQ(point.x.from, point.x.to);
}

}
}
