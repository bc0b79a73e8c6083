#include "gridding/frame.h"

#include <gtest/gtest.h>

#include <pelta/gmtsurface.h>

#include <cmath>
#include <limits>

#include "support/failure.h"

namespace pelta::gridding {
namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN(), infinity = std::numeric_limits<double>::infinity();

/* 100 points over 1000 x 500. */
Points scattered() {
    Points points;
    for (int k = 0; k < 100; ++k) points.add(1000.0 * (k % 10) / 9.0, 500.0 * (k / 10) / 9.0, 1.0);
    return points;
}

FrameRequest within(const Extent& x, const Extent& y) {
    FrameRequest request;
    request.region = {x, y};
    return request;
}

TEST(Frame, KeepsRegionAndSpacingAsTheyAreGiven) {
    FrameRequest request = within({10, 110}, {-50, 150});
    request.spacing = {2.5, 10};
    const Frame frame = frameFor(request, scattered());
    EXPECT_EQ(frame.left, 10);
    EXPECT_EQ(frame.bottom, -50);
    EXPECT_EQ(frame.columns, 41);
    EXPECT_EQ(frame.rows, 21);
    EXPECT_EQ(frame.right(), 110);
    EXPECT_EQ(frame.top(), 150);
    request.spacing = {30, 10};
    EXPECT_EQ(frameFor(request, scattered()).right(), 130) << "the next whole spacing";
    request.spacing = {90, 10};
    EXPECT_EQ(frameFor(request, scattered()).columns, 4) << "there are no fewer";
}

TEST(Frame, DividesARegionByTheNumberOfNodes) {
    FrameRequest request = within({0, 1}, {0, 3});
    request.nodes = {101, 31};
    const Frame frame = frameFor(request, scattered());
    EXPECT_EQ(frame.columns, 101);
    EXPECT_EQ(frame.rows, 31);
    EXPECT_DOUBLE_EQ(frame.columnSpacing, 0.01);
    EXPECT_DOUBLE_EQ(frame.rowSpacing, 0.1);
    request.region.reset();
    EXPECT_DOUBLE_EQ(frameFor(request, scattered()).columnSpacing, 10.0) << "the region is that of the points";
}

TEST(Frame, DerivesARoundSpacingOfHalfThePointsMeanDistance) {
    const Frame frame = frameFor({}, scattered()); /* sqrt(1000 * 500 / 100) = 71 */
    EXPECT_EQ(frame.columnSpacing, 20.0);
    EXPECT_EQ(frame.rowSpacing, 20.0);
    EXPECT_LE(frame.left, 0.0);
    EXPECT_GE(frame.right(), 1000.0);
    EXPECT_LE(frame.bottom, 0.0);
    EXPECT_GE(frame.top(), 500.0);
    const Frame part = frameFor(within({0, 500}, {0, 500}), scattered());
    EXPECT_EQ(part.columnSpacing, 20.0) << "by the points in the region";
    EXPECT_EQ(part.right(), 500.0);
}

TEST(Frame, GrowsADerivedRegionByATenthAtMostToAQuickSize) {
    for (int k = 2; k < 40; ++k) {
        Points points = scattered();
        points.add(1000.0 + 17.0 * k, 500.0 + 7.0 * k, 1.0);
        FrameRequest request;
        request.spacing = {10, 10};
        const Frame frame = frameFor(request, points);
        const double columns = std::ceil((1000.0 + 17.0 * k) / 10.0) + 1.0, rows = std::ceil((500.0 + 7.0 * k) / 10.0) + 1.0;
        EXPECT_LE(frame.columns, 1.1 * columns);
        EXPECT_LE(frame.rows, 1.1 * rows);
        EXPECT_GE(GMT1gcd_euclid(frame.columns - 1, frame.rows - 1), 2);
        for (std::size_t p = 0; p < points.size(); ++p) EXPECT_TRUE(frame.holds(points.x[p], points.y[p]));
    }
}

TEST(Frame, HoldsWhatLiesWithinHalfASpacing) {
    FrameRequest request = within({0, 10}, {0, 20});
    request.spacing = {1, 2};
    const Frame frame = frameFor(request, {});
    EXPECT_TRUE(frame.holds(-0.5, 0));
    EXPECT_FALSE(frame.holds(-0.51, 0));
    EXPECT_TRUE(frame.holds(10.49, 20.99));
    EXPECT_FALSE(frame.holds(10.5, 0));
    EXPECT_FALSE(frame.holds(0, 21));
    EXPECT_FALSE(frame.holds(1e300, 0));
    EXPECT_EQ(frame.nodeOf(2.4, 0.9), 2);
    EXPECT_EQ(frame.nodeOf(2.6, 1.1), 11 + 3);
    Points points;
    points.add(-1, 0, 1);
    points.add(5, 5, 2);
    EXPECT_EQ(pointsInside(frame, points).z, std::vector<double>{2});
}

TEST(Frame, LeavesEveryNodeItsNearestPoint) {
    FrameRequest request = within({0, 10}, {0, 20});
    request.spacing = {1, 2};
    Points points;
    points.add(0.3, 0, 1);
    points.add(5.25, 10, 2);
    points.add(0, 0.4, 3);   /* nearer: 0.2 of a spacing */
    points.add(4.75, 10, 4); /* as near as the second */
    points.add(5, 9.25, 5);
    points.add(0.6, 0, 6); /* of the next node */
    EXPECT_EQ(nearestToNodes(frameFor(request, {}), points).z, (std::vector<double>{3, 6, 2}));
    EXPECT_EQ(nearestToNodes(frameFor(request, {}), {}).size(), 0u);
}

TEST(Frame, RefusesRequestsThatMakeNoSense) {
    const auto expectRefusal = [](const FrameRequest& request) { EXPECT_THROW(frameFor(request, scattered()), UsageError); };
    for (const Extent& extent : {Extent{3, 3}, Extent{4, 3}, Extent{notANumber, 3}, Extent{0, infinity}}) {
        expectRefusal(within(extent, {0, 1}));
        expectRefusal(within({0, 1}, extent));
    }
    FrameRequest request = within({0, 1}, {0, 1});
    for (double spacing : {0.0, -1.0, notANumber, infinity, 1e-9}) {
        request.spacing = {0.1, spacing};
        expectRefusal(request);
        request.spacing = {spacing, 0.1};
        expectRefusal(request);
    }
    request.spacing = {0.1, 0.1};
    request.nodes = {10, 10};
    expectRefusal(request);
    request.spacing.reset();
    request.nodes = {3, 10};
    expectRefusal(request);
    request.nodes = {50000, 50000};
    expectRefusal(request);
    request = within({1e17, 1e17 + 1000}, {0, 1});
    request.nodes = {1001, 4};
    expectRefusal(request); /* a step of 1 is no step there */
}

TEST(BetterSize, IsTheQuickestByTheEstimateAndNoSmaller) {
    const BetterSize size = betterSize(2001, 1999);
    EXPECT_EQ(size.columns, 2001);
    EXPECT_EQ(size.rows, 2001);
    EXPECT_DOUBLE_EQ(size.factor, estimatedVisits(2001, 1999) / estimatedVisits(2001, 2001));
    EXPECT_EQ(betterSize(97, 97).factor, 1.0) << "nothing is quicker than 96 = 2^5 * 3";
    int factors[32];
    EXPECT_EQ(estimatedVisits(101, 81), GMT1guess_surface_time(factors, 100, 80)) << "of intervals, not nodes";
    for (int columns = 2; columns < 40; ++columns)
        for (int rows = 2; rows < 40; ++rows) {
            const BetterSize better = betterSize(columns, rows);
            EXPECT_GE(better.factor, 1.0);
            EXPECT_TRUE(better.columns >= columns && better.rows >= rows);
        }
}

}
}
