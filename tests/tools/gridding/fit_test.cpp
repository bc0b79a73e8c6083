#include "gridding/fit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

namespace pelta::gridding {
namespace {

/* 3 x 2 nodes from (10, 5) down to (14, 2). */
Grid smallGrid() { return {3, 2, 10.0, 5.0, 2.0, 3.0, {0, 2, 4, 10, 20, 30}}; }

TEST(ValueAt, IsLinearBetweenNodesAndConstantBeyond) {
    const Grid grid = smallGrid();
    EXPECT_EQ(valueAt(grid, 10, 5), 0);
    EXPECT_EQ(valueAt(grid, 14, 2), 30);
    EXPECT_EQ(valueAt(grid, 11, 5), 1);
    EXPECT_EQ(valueAt(grid, 12, 3.5), 11);
    EXPECT_EQ(valueAt(grid, 13, 3.5), 14);
    EXPECT_EQ(valueAt(grid, 9, 6), 0);
    EXPECT_EQ(valueAt(grid, 100, -100), 30);
}

TEST(Errors, AreGridLessPoint) {
    Points points;
    points.add(10, 5, 1);  /* -1 */
    points.add(12, 5, 2);  /* 0 */
    points.add(14, 2, 27); /* 3 */
    points.add(12, 2, 22); /* -2 */
    const Errors errors = errorsOf(smallGrid(), points);
    EXPECT_EQ(errors.points, 4u);
    EXPECT_DOUBLE_EQ(errors.mean, 0.0);
    EXPECT_DOUBLE_EQ(errors.rms, std::sqrt(14.0 / 4.0));
    EXPECT_DOUBLE_EQ(errors.median, 2.0);
    EXPECT_EQ(errorsOf(smallGrid(), {}).points, 0u);
}

TEST(Curvature, IsTheSumOfBothSecondDerivatives) {
    Grid grid;
    grid.columns = 9;
    grid.rows = 7;
    grid.columnSpacing = 0.5;
    grid.rowSpacing = 0.25;
    for (int row = 0; row < 7; ++row)
        for (int column = 0; column < 9; ++column) {
            const double x = 0.5 * column, y = -0.25 * row;
            grid.values.push_back(static_cast<float>(3.0 * x * x + 4.0 * x * y - 5.0 * y * y + x + 9.0));
        }
    EXPECT_DOUBLE_EQ(curvatureOf(grid, 1.0), 4.0) << "|6 - 10|";
    EXPECT_DOUBLE_EQ(curvatureOf(grid, 0.5), 14.0) << "x is half as long: |24 - 10|";
    grid.columns = 2;
    EXPECT_EQ(curvatureOf(grid, 1.0), 0.0);
}

TEST(HoldOut, TakesTheShareAndAlwaysTheSamePoints) {
    Points points;
    for (int k = 0; k < 1000; ++k) points.add(k, -k, 10.0 * k);
    const auto [rest, held] = holdOut(points, 10.0);
    EXPECT_EQ(held.size(), 100u);
    EXPECT_EQ(rest.size(), 900u);
    std::set<double> all(rest.z.begin(), rest.z.end());
    all.insert(held.z.begin(), held.z.end());
    EXPECT_EQ(all.size(), 1000u) << "every point is in one part";
    for (std::size_t k = 0; k < held.size(); ++k) EXPECT_EQ(held.z[k], 10.0 * held.x[k]);
    for (std::size_t k = 1; k < held.size(); ++k) EXPECT_LT(held.x[k - 1], held.x[k]) << "in their order";
    EXPECT_EQ(holdOut(points, 10.0).second.x, held.x);
    std::set<double> distances;
    for (std::size_t k = 1; k < held.size(); ++k) distances.insert(held.x[k] - held.x[k - 1]);
    EXPECT_GT(distances.size(), 15u) << "not every tenth point";
}

TEST(HoldOut, TakesOneOfFew) {
    Points points;
    for (int k = 0; k < 4; ++k) points.add(k, k, k);
    EXPECT_EQ(holdOut(points, 1.0).second.size(), 1u);
    EXPECT_EQ(holdOut(points, 1.0).first.size(), 3u);
}

}
}
