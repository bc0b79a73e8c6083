#include <gtest/gtest.h>
#include <pelta/gmtgrid.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <vector>

#include "support/bits.h"
#include "support/memory.h"
#include "support/plaingridding.h"

namespace {

struct Request : ScatteredPoints {
    float xmin = 0, xmax = 100, ymin = 0, ymax = 100, zmin = -1e9f, zmax = 1e9f;
    int ncols = 21, nrows = 21, iterations = 250;
    float boundaryTension = 0.25f, limit = 0.001f, epsilon = 1, interiorTension = 0.25f;
};

void grid(Request& r, std::vector<float>& surface) {
    int count = r.count();
    makeGMTGrid(&r.xmin, &r.xmax, &r.ymin, &r.ymax, &r.zmin, &r.zmax, &r.ncols, &r.nrows, r.x.data(), r.y.data(), r.z.data(),
                &count, &r.iterations, &r.boundaryTension, &r.limit, &r.epsilon, &r.interiorTension, surface.data());
}

std::vector<float> surfaceOf(Request r) {
    std::vector<float> surface(static_cast<std::size_t>(r.ncols * r.nrows) + 1, 12345.0f);
    grid(r, surface);
    EXPECT_EQ(surface.back(), 12345.0f);
    surface.pop_back();
    return surface;
}

/* The same by the plain way; crossed counts as published. */
std::vector<float> plainSurfaceOf(const Request& r) {
    GriddingProblem problem;
    problem.nx = r.nrows;
    problem.ny = r.ncols;
    problem.xmin = r.xmin;
    problem.ymin = r.ymin;
    problem.xinc = (r.xmax - r.xmin) / static_cast<float>(r.ncols - 1);
    problem.yinc = (r.ymax - r.ymin) / static_cast<float>(r.nrows - 1);
    problem.boundaryTension = r.boundaryTension;
    problem.interiorTension = r.interiorTension;
    problem.epsilon = r.epsilon;
    problem.relax = 1.4f;
    problem.convergeLimit = r.limit;
    problem.maxIterations = r.iterations;
    problem.take(r);
    const std::vector<float> nodes = PlainGridding<float>(problem).solve();
    std::vector<float> surface(nodes.size());
    for (int i = 0; i < problem.nx; ++i)
        for (int j = 0; j < problem.ny; ++j) {
            const float value = nodes[static_cast<std::size_t>(i * problem.ny + j)];
            surface[static_cast<std::size_t>(j * problem.nx + i)] = value < r.zmin ? r.zmin : value > r.zmax ? r.zmax : value;
        }
    return surface;
}

double wave(double x, double y) { return 50.0 * std::sin(x / 17.0) * std::cos(y / 23.0) + 0.3 * x - 0.1 * y; }

Request waveRequest(int nodes, int points, unsigned seed) {
    Request r;
    r.ncols = r.nrows = nodes;
    std::mt19937 engine(seed);
    std::uniform_real_distribution<float> uniform(0.0f, 100.0f);
    for (int k = 0; k < points; ++k) {
        const float x = uniform(engine), y = uniform(engine);
        r.add(x, y, static_cast<float>(wave(x, y)));
    }
    return r;
}

TEST(MakeGMTGrid, HonoursAKnownSurface) {
    const Request r = waveRequest(101, 3000, 1);
    const std::vector<float> surface = surfaceOf(r);
    double squares = 0;
    for (int j = 0; j < 101; ++j)
        for (int i = 0; i < 101; ++i) squares += std::pow(surface[static_cast<std::size_t>(j * 101 + i)] - wave(i, j), 2.0);
    EXPECT_LT(std::sqrt(squares / (101 * 101)), 0.35);
}

TEST(MakeGMTGrid, GivesWhatAPlainSweepGivesToTheBit) {
    std::mt19937 engine(2);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    for (int trial = 0; trial < 150; ++trial) {
        Request r;
        constexpr int sizes[] = {2, 3, 4, 5, 6, 7, 8, 9, 11, 13, 16, 17, 21, 25, 31, 33, 41, 49, 61};
        r.ncols = sizes[engine() % 19];
        r.nrows = trial % 3 ? r.ncols : sizes[engine() % 19];
        r.xmin = trial % 2 ? 500000.0f : -3.0f;
        r.xmax = r.xmin + static_cast<float>(r.ncols - 1) * (trial % 5 ? 2.5f : 0.05f);
        r.ymin = -17.0f;
        r.ymax = r.ymin + static_cast<float>(r.nrows - 1) * 3.0f;
        r.iterations = 1 + static_cast<int>(engine() % 60);
        r.interiorTension = 0.9f * unit(engine);
        r.boundaryTension = unit(engine);
        r.epsilon = trial % 4 ? 1.0f : 0.5f + unit(engine);
        r.limit = 0.01f;
        const int points = static_cast<int>(engine() % 200);
        for (int k = 0; k < points; ++k) {
            const float east = unit(engine), north = unit(engine);
            float x = r.xmin + (r.xmax - r.xmin) * (1.2f * east - 0.1f), y = r.ymin + (r.ymax - r.ymin) * (1.2f * north - 0.1f);
            if (trial % 7 == 0) x = std::round(x), y = std::round(y); /* ties */
            r.add(x, y, 100.0f * unit(engine) - 30.0f);
        }
        ASSERT_TRUE(sameSamples(surfaceOf(r), plainSurfaceOf(r))) << "trial " << trial << ": " << r.ncols << " x " << r.nrows;
    }
}

/* Kept on purpose: rows of nrows values, ncols of them. */
TEST(MakeGMTGrid, CrossesTheNodeCounts) {
    Request r;
    r.ncols = 5;
    r.nrows = 9;
    r.xmax = 40; /* nodes along x stand 10 apart and reach 80 */
    r.ymax = 80;
    for (int i = 0; i < 9; ++i)
        for (int j = 0; j < 5; ++j)
            r.add(10.0f * static_cast<float>(i), 10.0f * static_cast<float>(j), static_cast<float>(100 * i + j));
    const std::vector<float> surface = surfaceOf(r);
    constexpr float rounding = 1e-2f;
    for (int i = 0; i < 9; ++i)
        for (int j = 0; j < 5; ++j)
            EXPECT_NEAR(surface[static_cast<std::size_t>(j * 9 + i)], static_cast<float>(100 * i + j), rounding);
}

TEST(MakeGMTGrid, APointOnANodeFixesIt) {
    Request r = waveRequest(21, 0, 1);
    std::mt19937 engine(3);
    for (int k = 0; k < 30; ++k)
        r.add(5.0f * static_cast<float>(engine() % 21), 5.0f * static_cast<float>(engine() % 21), 0.0f);
    for (std::size_t k = 0; k < r.z.size(); ++k) r.z[k] = static_cast<float>(wave(r.x[k], r.y[k]));
    const std::vector<float> surface = surfaceOf(r);
    constexpr float rounding = 1e-4f;
    for (std::size_t k = 0; k < r.z.size(); ++k)
        EXPECT_NEAR(surface[static_cast<std::size_t>(r.y[k] / 5) * 21 + static_cast<std::size_t>(r.x[k] / 5)], r.z[k],
                    rounding);
}

TEST(MakeGMTGrid, OfTwoPointsAtANodeTheNearerCountsAndOfEquallyNearOnesTheFirst) {
    const auto with = [](float x1, float z1, float x2, float z2) {
        Request r = waveRequest(11, 0, 1);
        for (float corner : {0.0f, 100.0f}) r.add(corner, 0, 0), r.add(corner, 100, 0);
        if (z1 != 0) r.add(x1, 50, z1);
        if (z2 != 0) r.add(x2, 50, z2);
        return surfaceOf(r);
    };
    EXPECT_EQ(with(51, 7, 52, 9), with(51, 7, 0, 0));
    EXPECT_EQ(with(52, 9, 51, 7), with(51, 7, 0, 0));
    EXPECT_EQ(with(49, 7, 51, 9), with(49, 7, 0, 0));
}

/* Nodes 4 apart at first: both points then belong to the one at (4, 4). */
TEST(MakeGMTGrid, OfPointsEquallyNearToACoarseNodeTheFirstCounts) {
    const auto with = [](float x1, float x2) {
        Request r = waveRequest(13, 0, 1);
        r.xmax = r.ymax = 12;
        r.iterations = 1;
        for (float corner : {0.0f, 12.0f}) r.add(corner, 0, 0), r.add(corner, 12, 0);
        for (float x : {x1, x2}) r.add(x, 4, x);
        return r;
    };
    const Request westFirst = with(3, 5), eastFirst = with(5, 3);
    EXPECT_NE(surfaceOf(westFirst), surfaceOf(eastFirst));
    EXPECT_TRUE(sameSamples(surfaceOf(westFirst), plainSurfaceOf(westFirst)));
    EXPECT_TRUE(sameSamples(surfaceOf(eastFirst), plainSurfaceOf(eastFirst)));
}

TEST(MakeGMTGrid, PointsOfOneValueGiveThatValueWithinTheLimits) {
    Request r = waveRequest(13, 40, 4);
    std::fill(r.z.begin(), r.z.end(), 4.0f);
    for (float value : surfaceOf(r)) EXPECT_FLOAT_EQ(value, 4.0f);
    r.zmax = 3.0f;
    for (float value : surfaceOf(r)) EXPECT_EQ(value, 3.0f);
    r.zmax = 9.0f;
    r.zmin = 5.0f;
    for (float value : surfaceOf(r)) EXPECT_EQ(value, 5.0f);
}

TEST(MakeGMTGrid, KeepsTheSurfaceWithinItsLimits) {
    Request r = waveRequest(31, 300, 5);
    r.zmin = -20;
    r.zmax = 25;
    const std::vector<float> surface = surfaceOf(r);
    EXPECT_EQ(*std::min_element(surface.begin(), surface.end()), -20.0f);
    EXPECT_EQ(*std::max_element(surface.begin(), surface.end()), 25.0f);
}

TEST(MakeGMTGrid, SizesWithoutACommonFactorAreASingleLevel) {
    Request r = waveRequest(21, 100, 6);
    r.ncols = 18;
    r.nrows = 20;
    EXPECT_TRUE(sameSamples(surfaceOf(r), plainSurfaceOf(r)));
}

TEST(MakeGMTGrid, WithoutPointsInsideEveryNodeIsWritten) {
    Request r = waveRequest(9, 0, 1);
    EXPECT_EQ(surfaceOf(r), std::vector<float>(81, 0.0f));
    r.add(500, 500, 3);
    r.add(std::nanf(""), 3, 3);
    r.add(3, std::numeric_limits<float>::infinity(), 3);
    EXPECT_EQ(surfaceOf(r), std::vector<float>(81, 0.0f));
    r.zmin = 2;
    EXPECT_EQ(surfaceOf(r), std::vector<float>(81, 2.0f));
}

#if !defined(__SANITIZE_ADDRESS__) /* which needs the address space itself */

/* Ends the process by itself if memory suffices. */
void gridWithin(std::size_t bytes, int nodes, int points) {
    Request r = waveRequest(nodes, points, 8);
    r.iterations = 1;
    std::vector<float> surface(static_cast<std::size_t>(nodes * nodes));
    leaveMemory(bytes);
    grid(r, surface);
    std::_Exit(0);
}

TEST(MakeGMTGridDeathTest, OutOfMemoryEndsTheProcess) {
    constexpr std::size_t mega = 1000000;
    const auto ends = testing::ExitedWithCode(255);
    EXPECT_EXIT(gridWithin(mega, 11, 300000), ends, "^grid: out of memory \\(data\\) \n$");
    EXPECT_EXIT(gridWithin(mega, 2001, 100), ends, "^grid : out of memory \\(iu\\) \n$");
    EXPECT_EXIT(gridWithin(10 * mega, 2001, 100), ends, "^grid : out of memory \\(u\\) \n$");
    EXPECT_EXIT(gridWithin(23 * mega, 2001, 100), ends, "^grid : out of memory \\(u\\) \n$") << "one level's nodes";
    EXPECT_EXIT(gridWithin(500 * mega, 2001, 100), testing::ExitedWithCode(0), "^$");
}

TEST(MakeGMTGridDeathTest, TakesSixteenBytesANodeAndFortyEightAPoint) {
    const auto enough = [](std::size_t nodes, std::size_t points) { return 16 * nodes * nodes + 48 * points; };
    const auto ends = testing::ExitedWithCode(0);
    EXPECT_EXIT(gridWithin(enough(501, 10000), 501, 10000), ends, "^$");
    EXPECT_EXIT(gridWithin(enough(1001, 1000), 1001, 1000), ends, "^$");
    EXPECT_EXIT(gridWithin(enough(101, 300000), 101, 300000), ends, "^$");
}

#endif

TEST(MakeGMTGrid, EndsForTheSmallestGrids) {
    for (int ncols = 1; ncols < 5; ++ncols)
        for (int nrows = 1; nrows < 5; ++nrows) {
            Request r = waveRequest(1, 20, 7);
            r.ncols = ncols;
            r.nrows = nrows;
            surfaceOf(r);
        }
}

TEST(MakeGMTGrid, WithoutNodesWritesNothing) {
    for (const auto& [ncols, nrows] : {std::pair(0, 5), {5, 0}, {0, 0}}) {
        Request none = waveRequest(1, 20, 7);
        none.ncols = ncols;
        none.nrows = nrows;
        EXPECT_TRUE(surfaceOf(none).empty());
    }
}

/* A direction of one node has no spacing. */
TEST(MakeGMTGrid, OfOneNodeAlongXOrYIsNoNumber) {
    for (const auto& [ncols, nrows] : {std::pair(1, 5), {5, 1}, {1, 1}}) {
        Request line = waveRequest(1, 20, 7);
        line.ncols = ncols;
        line.nrows = nrows;
        for (float value : surfaceOf(line)) EXPECT_TRUE(std::isnan(value)) << ncols << " " << nrows;
    }
}

}
