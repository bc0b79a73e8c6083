#include "gridding/points.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace pelta::gridding {
namespace {

Points pointsOf(const std::vector<std::array<double, 3>>& list) {
    Points points;
    for (const auto& [x, y, z] : list) points.add(x, y, z);
    return points;
}

TEST(MergedPoints, KeepOnePointAPlaceWithTheMeanValue) {
    const Points merged = mergedPlaces(pointsOf({{1, 2, 10}, {3, 2, 5}, {1, 2, 20}, {1, 2.5, 7}, {1, 2, 60}}));
    EXPECT_EQ(merged.x, (std::vector<double>{1, 3, 1}));
    EXPECT_EQ(merged.y, (std::vector<double>{2, 2, 2.5}));
    EXPECT_EQ(merged.z, (std::vector<double>{30, 5, 7}));
}

TEST(MergedPoints, LeavePlacesThatAreAloneAsTheyAre) {
    const Points points = pointsOf({{0.1, 0.7, 0.3}, {1e300, -1e300, 3e38}, {0.1, 0.2, -0.3}});
    const Points merged = mergedPlaces(points);
    EXPECT_EQ(merged.x, points.x);
    EXPECT_EQ(merged.y, points.y);
    EXPECT_EQ(merged.z, points.z);
}

TEST(MergedPoints, AreMeansOrMediansOfAllThreeForEachKey) {
    const Points points = pointsOf({{0, 0, 1}, {8, 8, 8}, {3, 6, 100}, {6, 3, 4}, {10, 8, 8}});
    const std::vector<std::int64_t> keys = {7, -2, 7, 7, -2};
    const Points means = mergedByKey(points, keys, Merge::mean), medians = mergedByKey(points, keys, Merge::median);
    EXPECT_EQ(means.x, (std::vector<double>{3, 9}));
    EXPECT_EQ(means.z, (std::vector<double>{35, 8}));
    EXPECT_EQ(medians.x, (std::vector<double>{3, 9})) << "of two, their mean";
    EXPECT_EQ(medians.y, (std::vector<double>{3, 8}));
    EXPECT_EQ(medians.z, (std::vector<double>{4, 8})) << "a blunder has no weight";
}

TEST(CountedPlaces, HaveTheirNumberOfPointsForAValue) {
    const Points counted = countedPlaces(pointsOf({{1, 2, 1}, {3, 2, 1}, {1, 2, 1}}));
    EXPECT_EQ(counted.x, (std::vector<double>{1, 3}));
    EXPECT_EQ(counted.z, (std::vector<double>{2, 1}));
}

TEST(Trend, IsThePlaneOfLeastSquares) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> place(0.0, 1000.0);
    std::normal_distribution<double> noise(0.0, 3.0);
    Points points;
    for (int k = 0; k < 20000; ++k) {
        const double x = 644000.0 + place(random), y = 1894000.0 + place(random);
        points.add(x, y, 0.25 * x - 3.0 * y + noise(random));
    }
    const Trend trend = trendOf(points);
    EXPECT_TRUE(trend.isDefined);
    EXPECT_NEAR(trend.rms, 3.0, 0.05) << "the noise's own spread, 1/sqrt(2n) of it off on average";
}

TEST(Trend, IsExactForThreePointsAndOneValue) {
    EXPECT_NEAR(trendOf(pointsOf({{0, 0, 1}, {1, 0, 2}, {0, 1, 5}})).rms, 0.0, 1e-7);
    const Trend flat = trendOf(pointsOf({{0, 0, 7}, {1, 0, 7}, {0, 1, 7}, {5, 5, 7}}));
    EXPECT_TRUE(flat.isDefined);
    EXPECT_EQ(flat.rms, 0.0);
}

TEST(Trend, NeedsThreePointsThatAreOnNoLine) {
    EXPECT_FALSE(trendOf({}).isDefined);
    EXPECT_FALSE(trendOf(pointsOf({{0, 0, 1}, {1, 2, 2}})).isDefined);
    EXPECT_FALSE(trendOf(pointsOf({{0, 5, 1}, {1, 5, 2}, {2, 5, 4}})).isDefined) << "along x";
    EXPECT_FALSE(trendOf(pointsOf({{5, 0, 1}, {5, 1, 2}, {5, 2, 4}})).isDefined) << "along y";
    EXPECT_FALSE(trendOf(pointsOf({{644000.1, 1894000.1, 1}, {644000.2, 1894000.3, 2}, {644000.4, 1894000.7, 4}})).isDefined)
        << "slanted, far from the origin";
    EXPECT_TRUE(trendOf(pointsOf({{0, 0, 1}, {1e6, 1e-3, 2}, {2e6, 0, 4}})).isDefined) << "metres and seconds";
}

}
}
