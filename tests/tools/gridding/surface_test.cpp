#include "gridding/surface.h"

#include <gtest/gtest.h>
#include <pelta/gmtsurface.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "gridding/fit.h"
#include "support/failure.h"
#include "support/files.h"

namespace pelta::gridding {
namespace {

double hills(double x, double y) { return 100.0 * std::sin(3.0 * x) * std::cos(2.0 * y); }

/* Scattered over 0 .. 1. */
Points hillPoints(int count) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> place(0.0, 1.0);
    Points points;
    for (int k = 0; k < count; ++k) {
        const double x = place(random), y = place(random);
        points.add(x, y, hills(x, y));
    }
    return points;
}

Frame unitFrame(int columns, int rows) { return {0.0, 0.0, 1.0 / (columns - 1), 1.0 / (rows - 1), columns, rows}; }

const LevelReport silent = [](const std::string&) {};

class BothVariants : public testing::TestWithParam<Variant> {
  protected:
    Settings settings(double tension = 0.0) const {
        Settings settings;
        settings.variant = GetParam();
        settings.tension = settings.boundaryTension = tension;
        settings.converge = 1e-3;
        return settings;
    }
};

TEST_P(BothVariants, ReturnAPlaneUprightOnAGridThatIsNotSquare) {
    Points points;
    for (int k = 0; k < 40; ++k) {
        const double x = 1e6 + (k * 37 % 41) / 4.1, y = -2e6 + (k * 23 % 37) / 1.85;
        points.add(x, y, 5e5 + 3.0 * (x - 1e6) + 10.0 * (y + 2e6));
    }
    const Frame frame = {1e6, -2e6, 1.0, 1.0, 11, 21};
    const Grid grid = computeSurface(points, frame, settings(), silent).grid;
    ASSERT_EQ(grid.columns, 11);
    ASSERT_EQ(grid.rows, 21);
    EXPECT_EQ(grid.left, 1e6);
    EXPECT_EQ(grid.top, -2e6 + 20.0);
    constexpr double singleAtHalfAMillion = 0.05; /* the nodes are stored so; and what the plane's fit leaves */
    for (int row = 0; row < 21; ++row)
        for (int column = 0; column < 11; ++column)
            EXPECT_NEAR(grid.values[static_cast<std::size_t>(row * 11 + column)], 5e5 + 3.0 * column + 10.0 * (20 - row),
                        singleAtHalfAMillion);
}

TEST_P(BothVariants, ComeNearASmoothSurface) {
    const Frame frame = unitFrame(49, 49);
    const Grid grid = computeSurface(hillPoints(2000), frame, settings(), silent).grid;
    double squares = 0.0;
    for (int row = 0; row < 49; ++row)
        for (int column = 0; column < 49; ++column) {
            const double error =
                grid.values[static_cast<std::size_t>(row * 49 + column)] - hills(column / 48.0, 1.0 - row / 48.0);
            squares += error * error;
        }
    EXPECT_LT(std::sqrt(squares) / 49.0, 0.1) << "of values up to 100; a node fixed to its nearest point would be 0.7 off";
}

TEST_P(BothVariants, KeepWithinBounds) {
    Settings bounded = settings();
    bounded.lowest = -20.5;
    bounded.highest = 40.25;
    const Grid grid = computeSurface(hillPoints(200), unitFrame(17, 25), bounded, silent).grid;
    const auto [lowest, highest] = std::minmax_element(grid.values.begin(), grid.values.end());
    EXPECT_EQ(*lowest, -20.5f);
    EXPECT_EQ(*highest, 40.25f);
}

TEST_P(BothVariants, DoNotDependOnTheUnitOfLengthOrTheOrigin) {
    const Points points = hillPoints(200);
    const Grid near = computeSurface(points, unitFrame(17, 17), settings(0.25), silent).grid;
    Points far;
    for (std::size_t k = 0; k < points.size(); ++k) far.add(4096.0 * points.x[k], 4096.0 * points.y[k], points.z[k]);
    const Grid other = computeSurface(far, {0.0, 0.0, 256.0, 256.0, 17, 17}, settings(0.25), silent).grid;
    EXPECT_EQ(near.values, other.values) << "bits: the scale is a power of two";
}

TEST_P(BothVariants, FlattenUnderTension) {
    const Points points = hillPoints(60);
    const Frame frame = unitFrame(33, 33);
    EXPECT_LT(curvatureOf(computeSurface(points, frame, settings(), silent).grid, 1.0),
              curvatureOf(computeSurface(points, frame, settings(0.9), silent).grid, 1.0));
}

TEST_P(BothVariants, TakeGridsTooSmallForSeveralLevelsAndEqualValues) {
    for (const auto& [columns, rows] : {std::pair{4, 4}, {4, 5}, {9, 4}, {4, 30}}) {
        const Grid grid = computeSurface(hillPoints(50), {0.0, 0.0, 0.05, 0.05, columns, rows}, settings(0.25), silent).grid;
        EXPECT_TRUE(std::all_of(grid.values.begin(), grid.values.end(), [](float value) { return std::isfinite(value); }))
            << columns << " x " << rows;
    }
    Points flat = hillPoints(50);
    std::fill(flat.z.begin(), flat.z.end(), 7.25);
    Settings exact = settings();
    exact.converge = 0.0;
    EXPECT_EQ(computeSurface(flat, unitFrame(9, 9), exact, silent).grid.values, std::vector<float>(81, 7.25f));
}

INSTANTIATE_TEST_SUITE_P(Variants, BothVariants, testing::Values(Variant::gmtsurface, Variant::gmtgrid),
                         [](const auto& variant) { return variant.param == Variant::gmtgrid ? "gmtgrid" : "gmtsurface"; });

/* Step by step or in one call: the same bits. The call has limits of its own. */
TEST(StepwiseSurface, IsThatOfTheWholeRoutine) {
    constexpr float units = 1.0f / 64.0f;
    constexpr int columns = 25, rows = 37;
    const Points points = hillPoints(300);
    const Frame frame = {0.0, 0.0, 0.0625, 0.03125, columns, rows};
    Settings settings;
    settings.tension = settings.boundaryTension = 0.35;
    settings.aspect = 0.4;
    settings.sweeps = 100;
    settings.converge = 2.0;
    const auto [lowest, highest] = std::minmax_element(points.z.begin(), points.z.end());
    const double reference = 0.5 * *lowest + 0.5 * *highest;
    std::vector<float> x, y, z;
    for (std::size_t k = 0; k < points.size(); ++k) {
        x.push_back(static_cast<float>(points.x[k] / 0.0625) * units);
        y.push_back(static_cast<float>(points.y[k] / 0.03125) * units);
        z.push_back(static_cast<float>(points.z[k] - reference));
    }
    z.resize(columns * rows);
    printedBy([&] {
        computeGMT1Surface(x.data(), y.data(), z.data(), static_cast<int>(points.size()), 0.0f, units, columns, 0.0f, units,
                           rows, static_cast<float>(cellAspect(frame, settings)), 1.4f, 0.35f, 0);
    });
    settings.aspect = static_cast<double>(0.8f) / 2.0; /* the call's arguments are in single precision */
    settings.tension = settings.boundaryTension = 0.35f;
    settings.relax = 1.4f;
    const Grid grid = computeSurface(points, frame, settings, silent).grid;
    for (int row = 0; row < rows; ++row)
        for (int column = 0; column < columns; ++column)
            ASSERT_EQ(grid.values[static_cast<std::size_t>(row * columns + column)],
                      static_cast<float>(z[static_cast<std::size_t>((rows - 1 - row) * columns + column)] + reference))
                << row << " " << column;
}

TEST(StepwiseSurface, SaysEveryLevelAndWhichDidNotSettle) {
    std::vector<std::string> levels;
    Settings settings;
    settings.converge = 0.5;
    const LevelReport report = [&](const std::string& text) { levels.push_back(text); };
    const Points points = hillPoints(100);
    EXPECT_EQ(computeSurface(points, unitFrame(25, 49), settings, report).unsettledStride, 0);
    EXPECT_EQ(levels, (std::vector<std::string>{"gridding 4 x 7 nodes, stride 8", "gridding 7 x 13 nodes, stride 4",
                                                "gridding 13 x 25 nodes, stride 2", "gridding 25 x 49 nodes, stride 1"}));
    settings.sweeps = 1;
    EXPECT_EQ(computeSurface(points, unitFrame(25, 49), settings, report).unsettledStride, 1);
}

TEST(Memory, IsRefusedForGridsThatCannotBeHad) {
    EXPECT_NO_THROW(requireMemory(unitFrame(100, 100), 1000));
    const Frame huge = {0.0, 0.0, 1.0, 1.0, 2000000000, 2000000000};
    try {
        requireMemory(huge, 3);
        ADD_FAILURE() << "96 exabytes";
    } catch (const Failure& failure) {
        EXPECT_STREQ(
            failure.what(),
            "a grid of 2000000000 x 2000000000 nodes needs 96000000000.0 GB of memory, which cannot be had; give a larger "
            "--spacing or a smaller --region");
    }
}

}
}
