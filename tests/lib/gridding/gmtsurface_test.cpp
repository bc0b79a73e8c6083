#include <gtest/gtest.h>
#include <pelta/gmtsurface.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "support/bits.h"
#include "support/files.h"
#include "support/memory.h"
#include "support/plaingridding.h"

namespace {

struct Request : ScatteredPoints {
    float xmin = 0, xinc = 5, ymin = 0, yinc = 5;
    int nx = 21, ny = 21, constrain = 0;
    float aspect = 1, relax = 1.4f, tension = 0.25f;
};

std::vector<float> surfaceOf(Request r) {
    const std::size_t nodes = static_cast<std::size_t>(r.nx * r.ny);
    std::vector<float> z = r.z;
    z.resize(std::max(nodes, z.size()) + 1, 12345.0f);
    testing::internal::CaptureStdout();
    EXPECT_EQ(computeGMT1Surface(r.x.data(), r.y.data(), z.data(), r.count(), r.xmin, r.xinc, r.nx, r.ymin, r.yinc, r.ny,
                                 r.aspect, r.relax, r.tension, r.constrain),
              0);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(z.back(), 12345.0f);
    z.resize(nodes);
    return z;
}

std::vector<float> plainSurfaceOf(const Request& r) {
    GriddingProblem problem;
    problem.nx = r.nx;
    problem.ny = r.ny;
    problem.xmin = r.xmin;
    problem.ymin = r.ymin;
    problem.xinc = r.xinc;
    problem.yinc = r.yinc;
    problem.boundaryTension = problem.interiorTension = r.tension;
    problem.epsilon = r.aspect;
    problem.relax = r.relax;
    problem.convergeLimit = 2.0;
    problem.maxIterations = 100;
    problem.zeroScale = 1.0;
    problem.take(r);
    float smallest = 3.4e38f, largest = -3.4e38f;
    for (std::size_t k = 0; k < r.x.size(); ++k) {
        const double i = std::floor((static_cast<double>(r.x[k]) - r.xmin) * (1.0 / r.xinc) + 0.5);
        const double j = std::floor((static_cast<double>(r.y[k]) - r.ymin) * (1.0 / r.yinc) + 0.5);
        if (!(i >= 0 && i < r.nx && j >= 0 && j < r.ny)) continue;
        smallest = std::min(smallest, r.z[k]);
        largest = std::max(largest, r.z[k]);
    }
    const std::vector<float> nodes = PlainGridding<double>(problem).solve();
    std::vector<float> surface(nodes.size());
    for (int i = 0; i < r.nx; ++i)
        for (int j = 0; j < r.ny; ++j) {
            float value = nodes[static_cast<std::size_t>(i * r.ny + j)];
            if (r.constrain == 1) value = value > largest ? largest : value < smallest ? smallest : value;
            surface[static_cast<std::size_t>(j * r.nx + i)] = value;
        }
    return surface;
}

Request randomRequest(int nx, int ny, int points, unsigned seed) {
    Request r;
    r.nx = nx;
    r.ny = ny;
    std::mt19937 engine(seed);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    for (int k = 0; k < points; ++k) {
        const float x = unit(engine) * r.xinc * static_cast<float>(nx - 1),
                    y = unit(engine) * r.yinc * static_cast<float>(ny - 1);
        r.add(x, y, 40.0f * std::sin(x / 20.0f) * std::cos(y / 30.0f) + 0.2f * x);
    }
    return r;
}

TEST(ComputeGMT1Surface, GivesWhatAPlainSweepGivesToTheBit) {
    std::mt19937 engine(2);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    constexpr int sizes[] = {2, 3, 4, 5, 6, 7, 8, 9, 11, 13, 16, 17, 21, 25, 31, 33, 41, 49, 61};
    for (int trial = 0; trial < 150; ++trial) {
        const int nx = sizes[engine() % 19], ny = trial % 3 ? nx : sizes[engine() % 19];
        Request r = randomRequest(nx, ny, static_cast<int>(engine() % 200), 10 + trial);
        r.xmin = trial % 2 ? 500000.0f : -3.0f;
        r.tension = 0.9f * unit(engine);
        r.relax = 1.0f + 0.6f * unit(engine);
        r.aspect = trial % 4 ? 1.0f : 0.5f + unit(engine);
        r.constrain = trial % 5 == 0;
        for (std::size_t k = 0; k < r.x.size(); ++k) {
            r.x[k] += r.xmin + (k % 11 == 0 ? -20.0f : 0.0f);
            r.z[k] *= 1000.0f;
            if (trial % 7 == 0) r.x[k] = std::round(r.x[k]), r.y[k] = std::round(r.y[k]);
        }
        ASSERT_TRUE(sameSamples(surfaceOf(r), plainSurfaceOf(r))) << "trial " << trial << ": " << nx << " x " << ny;
    }
}

TEST(ComputeGMT1Surface, SaysItsParameters) {
    Request r = randomRequest(5, 5, 10, 1);
    r.z.resize(25);
    const Printed printed =
        printedBy([&] { computeGMT1Surface(r.x.data(), r.y.data(), r.z.data(), 10, 0, 5, 5, 0, 5, 5, 1.5f, 1.25f, 0.5f, 1); });
    EXPECT_EQ(printed.text, "computeSurface relax: 1.250000   tension: 0.500000   aspect: 1.500000   constrain: 1\n");
    EXPECT_EQ(printed.unflushed, 0u);
}

TEST(ComputeGMT1Surface, WarnsOfLimitsThatCutThePoints) {
    Request r = randomRequest(5, 5, 10, 1);
    std::fill(r.z.begin(), r.z.end(), -3.0f);
    r.z[0] = 4.0f;
    r.z.resize(25);
    const std::string text =
        printedBy([&] { computeGMT1Surface(r.x.data(), r.y.data(), r.z.data(), 10, 0, 5, 5, 0, 5, 5, 1, 1.4f, 0.5f, 2); }).text;
    EXPECT_NE(text.find("\nSURFACE: Warning:  Your lower value is > than min data value.\n"
                        "SURFACE: Warning:  Your upper value is < than max data value.\n"),
              std::string::npos);
    EXPECT_EQ(r.z, std::vector<float>(25, 0.0f)) << "the limits of options that nobody set";
    const std::string atLimits =
        printedBy([&] { computeGMT1Surface(r.x.data(), r.y.data(), r.z.data(), 10, 0, 5, 5, 0, 5, 5, 1, 1.4f, 0.5f, 2); }).text;
    EXPECT_EQ(atLimits, "computeSurface relax: 1.400000   tension: 0.500000   aspect: 1.000000   constrain: 2\n");
}

TEST(ComputeGMT1Surface, StaysInTheRangeOfThePoints) {
    Request r = randomRequest(61, 41, 60, 3);
    r.constrain = 1;
    const std::vector<float> surface = surfaceOf(r);
    EXPECT_GE(*std::min_element(surface.begin(), surface.end()), *std::min_element(r.z.begin(), r.z.end()));
    EXPECT_LE(*std::max_element(surface.begin(), surface.end()), *std::max_element(r.z.begin(), r.z.end()));
    r.constrain = 0;
    const std::vector<float> free = surfaceOf(r);
    EXPECT_LT(*std::min_element(free.begin(), free.end()), *std::min_element(r.z.begin(), r.z.end()));
    r.constrain = 3;
    EXPECT_EQ(surfaceOf(r), free) << "a bound that would come from a file";
    r.constrain = -1;
    EXPECT_EQ(surfaceOf(r), free);
}

TEST(ComputeGMT1Surface, EndsForTheSmallestGridsAndWithoutPoints) {
    for (int nx = 0; nx < 5; ++nx)
        for (int ny = 0; ny < 5; ++ny) surfaceOf(randomRequest(nx, ny, 20, 5));
    Request none;
    EXPECT_EQ(surfaceOf(none), std::vector<float>(441, 0.0f));
    none.add(1e6f, 0, 5);
    none.add(std::nanf(""), 0, 5);
    for (int constrain : {1, 2, 3}) {
        none.constrain = constrain;
        EXPECT_EQ(surfaceOf(none), std::vector<float>(441, 0.0f)) << constrain;
    }
}

/* Nodes 4 apart at first: both points then belong to the one at (4, 4). */
TEST(ComputeGMT1Surface, OfPointsEquallyNearToACoarseNodeTheFirstCounts) {
    const auto with = [](float x1, float x2) {
        Request r;
        r.nx = r.ny = 13;
        r.xinc = r.yinc = 1;
        for (float corner : {0.0f, 12.0f}) r.add(corner, 0, 0), r.add(corner, 12, 0);
        for (float x : {x1, x2}) r.add(x, 4, 1000 * x);
        return r;
    };
    const Request westFirst = with(3, 5), eastFirst = with(5, 3);
    EXPECT_NE(surfaceOf(westFirst), surfaceOf(eastFirst));
    EXPECT_TRUE(sameSamples(surfaceOf(westFirst), plainSurfaceOf(westFirst)));
    EXPECT_TRUE(sameSamples(surfaceOf(eastFirst), plainSurfaceOf(eastFirst)));
}

#if !defined(__SANITIZE_ADDRESS__) /* which needs the address space itself */

/* Ends the process: with 0 if memory sufficed, since z is left alone otherwise. */
void gridWithin(std::size_t bytes, int nodes, int points) {
    Request r = randomRequest(nodes, nodes, points, 8);
    r.z.resize(std::max(r.z.size(), static_cast<std::size_t>(nodes) * static_cast<std::size_t>(nodes)));
    constexpr float untouched = 12345.0f;
    r.z[0] = untouched;
    leaveMemory(bytes);
    computeGMT1Surface(r.x.data(), r.y.data(), r.z.data(), points, r.xmin, r.xinc, nodes, r.ymin, r.yinc, nodes, 1, 1.4f, 0.25f,
                       1);
    std::_Exit(r.z[0] == untouched);
}

TEST(ComputeGMT1SurfaceDeathTest, TakesSixteenBytesANodeAndFortyEightAPoint) {
    const auto enough = [](std::size_t nodes, std::size_t points) { return 16 * nodes * nodes + 48 * points; };
    const auto ends = testing::ExitedWithCode(0);
    EXPECT_EXIT(gridWithin(enough(501, 10000), 501, 10000), ends, "^$");
    EXPECT_EXIT(gridWithin(enough(1001, 1000), 1001, 1000), ends, "^$");
    EXPECT_EXIT(gridWithin(enough(101, 300000), 101, 300000), ends, "^$");
    EXPECT_EXIT(gridWithin(8 * 501 * 501, 501, 10000), testing::ExitedWithCode(1), "^$");
}

#endif

TEST(ComputeGMT1Surface, PointsOfOneValueGiveThatValue) {
    Request r = randomRequest(13, 13, 40, 4);
    std::fill(r.z.begin(), r.z.end(), 4.0f);
    for (float value : surfaceOf(r)) EXPECT_FLOAT_EQ(value, 4.0f);
}

TEST(SurfaceOptions, StartFromTheUsualValues) {
    SURFACE_CTRL* options = GMT1New_Surface_Ctrl();
    EXPECT_EQ(options->N.value, 250);
    EXPECT_EQ(options->A.value, 1.0);
    EXPECT_EQ(options->Z.value, 1.4);
    EXPECT_EQ(options->C.value, 0.0);
    EXPECT_EQ(options->L.low, nullptr);
    options->S.active = 1;
    options->S.radius = 120.0;
    auto state = std::make_unique<SURFACE_INFO>();
    for (const auto& [unit, radius] : {std::pair{'m', 2.0}, {'M', 2.0}, {'c', 120.0 / 3600.0}, {'k', 120.0}}) {
        options->S.unit = unit;
        GMT1load_parameters(state.get(), options);
        EXPECT_EQ(state->radius, radius) << unit;
    }
    GMT1Free_Surface_Ctrl(options);
    EXPECT_EQ(state->max_iterations, 250);
    EXPECT_EQ(state->relax_new, 1.4);
}

/* A working state of nx by ny nodes at a stride, the finest ones 1 apart from (0, 0) on, with its pad. */
struct Nodes {
    std::unique_ptr<SURFACE_INFO> state = std::make_unique<SURFACE_INFO>();
    SURFACE_INFO& s = *state;
    SURFACE_GLOBAL global = {};
    std::vector<float> u;
    std::vector<char> states;
    std::vector<SURFACE_DATA> points;
    std::vector<SURFACE_BRIGGS> records;

    explicit Nodes(int nx = 5, int ny = 5, int stride = 1, float spacing = 1.0f) {
        s.nx = nx;
        s.ny = ny;
        s.mx = nx + 4;
        s.my = ny + 4;
        s.ij_sw_corner = 2 * s.my + 2;
        s.grid = stride;
        s.x_inc = s.y_inc = spacing;
        s.r_xinc = s.r_yinc = 1.0 / spacing;
        s.z_scale = s.l_epsilon = 1.0;
        u.resize(static_cast<std::size_t>(s.mx * s.my));
        states.resize(u.size());
        s.u = u.data();
        s.iu = states.data();
        GMT1set_grid_parameters(&s, &global);
        GMT1set_offset(&s);
    }
    std::size_t place(int i, int j) const { return static_cast<std::size_t>(s.ij_sw_corner + i * s.my + j); }
    float& node(int i, int j) { return u[place(i, j)]; }
    char& stateOf(int i, int j) { return states[place(i, j)]; }
    void setPoints(std::vector<SURFACE_DATA> given) {
        points = std::move(given);
        records.assign(points.size(), {});
        s.data = points.data();
        s.briggs = records.data();
        s.npoints = static_cast<int>(points.size());
    }
    void fillRandomly(unsigned seed, float size) {
        std::mt19937 engine(seed);
        for (float& value : u) value = std::uniform_real_distribution<float>(-size, size)(engine);
    }
};

TEST(SurfaceSteps, OffsetsStepOntoThePadBeyondTheEdges) {
    Nodes nodes(41, 41, 4);
    SURFACE_INFO& s = nodes.s;
    EXPECT_EQ(s.block_nx, 11);
    EXPECT_EQ(nodes.global.block_ny, 11);
    EXPECT_EQ(nodes.global.grid_xinc, 4.0);
    const int inside[12] = {8, -180 + 4, 4, 180 + 4, -360, -180, 180, 360, -180 - 4, -4, 180 - 4, -8};
    for (int k = 0; k < 12; ++k) EXPECT_EQ(s.offset[12][k], inside[k]);
    EXPECT_EQ(s.offset[0][4], -90) << "two west of the first line";
    EXPECT_EQ(s.offset[0][5], -45);
    EXPECT_EQ(s.offset[0][8], -45 - 1);
    EXPECT_EQ(s.offset[0][11], -2);
    EXPECT_EQ(s.offset[5][4], -180 - 45) << "one step inside";
    EXPECT_EQ(s.offset[24][0], 2);
    EXPECT_EQ(s.offset[24][7], 90);
    EXPECT_EQ(s.offset[18][0], 4 + 1);
    EXPECT_EQ(s.offset[18][7], 180 + 45);
}

TEST(SurfaceSteps, BoundsAreTransformedLikeThePoints) {
    Nodes nodes(3, 2);
    SURFACE_INFO& s = nodes.s;
    s.set_low = 1;
    s.low_limit = 10.0;
    s.plane_c0 = 1.0;
    s.plane_c1 = 2.0;
    s.plane_c2 = 4.0;
    s.r_z_scale = 0.5;
    EXPECT_EQ(GMT1load_constraints(&s, 1), 0);
    EXPECT_EQ(s.constrained, 1);
    EXPECT_EQ(s.upper, nullptr);
    const float expected[6] = {2.5f, 1.5f, 0.5f, 4.5f, 3.5f, 2.5f}; /* the last row is the lowest of the plane */
    for (int k = 0; k < 6; ++k) EXPECT_EQ(s.lower[k], expected[k]) << k;
    s.set_low = 0;
    s.set_high = 2;
    s.high_limit = 20.0;
    EXPECT_EQ(GMT1load_constraints(&s, 1), 0);
    for (int k = 0; k < 6; ++k) EXPECT_EQ(s.upper[k], expected[k] + 5.0f) << k;
    std::free(s.lower);
    std::free(s.upper);
}

/* The plane, the difference and the factor are single. */
TEST(SurfaceSteps, TransformedBoundsAreRoundedAtEveryStep) {
    Nodes nodes(7, 5);
    SURFACE_INFO& s = nodes.s;
    s.set_low = 2;
    s.low_limit = 1.0 / 3.0;
    s.plane_c0 = 0.1;
    s.plane_c1 = -0.7;
    s.plane_c2 = 1.3;
    s.r_z_scale = 1.0 / 0.7;
    EXPECT_EQ(GMT1load_constraints(&s, 1), 0);
    for (int row = 0; row < 5; ++row)
        for (int i = 0; i < 7; ++i) {
            const auto plane = static_cast<float>(0.1 - 0.7 * i + 1.3 * (4 - row));
            const float difference = static_cast<float>(1.0 / 3.0) - plane;
            EXPECT_EQ(s.lower[7 * row + i], difference * static_cast<float>(1.0 / 0.7)) << row << " " << i;
        }
    std::free(s.lower);
}

/* Kept on purpose. */
TEST(SurfaceSteps, BoundsOfAnEarlierCallStayTheirOwners) {
    Nodes nodes(2, 2);
    SURFACE_INFO& s = nodes.s;
    s.plane_c0 = 1.0;
    s.r_z_scale = 0.5;
    s.low_limit = 10.0;
    s.high_limit = 20.0;
    float lower[4] = {1, 2, 3, 4}, upper[4] = {5, 6, 7, 8};
    s.lower = lower;
    s.upper = upper;
    for (int mode : {0, -1}) {
        s.set_low = s.set_high = mode;
        EXPECT_EQ(GMT1load_constraints(&s, 0), 0);
        EXPECT_EQ(s.lower, lower);
        EXPECT_EQ(s.upper, upper);
        EXPECT_EQ(s.constrained, 0);
    }
    s.set_low = s.set_high = 1;
    EXPECT_EQ(GMT1load_constraints(&s, 0), 0);
    ASSERT_NE(s.lower, lower);
    ASSERT_NE(s.upper, upper);
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(s.lower[k], 10.0f);
        EXPECT_EQ(s.upper[k], 20.0f);
        EXPECT_EQ(lower[k], static_cast<float>(k + 1));
        EXPECT_EQ(upper[k], static_cast<float>(k + 5));
    }
    std::free(s.lower);
    std::free(s.upper);
}

/* Nodes that all stand fixed: a sweep does no more than set the pad. */
TEST(SurfaceSteps, ASweepSetsThePadFromTheEdges) {
    Nodes nodes(13, 10, 3);
    SURFACE_INFO& s = nodes.s;
    s.l_epsilon = 1.5;
    s.boundary_tension = 0.375;
    s.converge_limit = 0.0; /* which no change at all does not exceed */
    s.max_iterations = 5;
    s.ij_sw_corner = 0;
    GMT1set_coefficients(&s);
    EXPECT_EQ(s.ij_sw_corner, 30);
    EXPECT_EQ(s.ij_se_corner, 30 + 12 * 14);
    EXPECT_EQ(s.ij_nw_corner, 39);
    EXPECT_EQ(s.ij_ne_corner, 39 + 12 * 14);
    nodes.states.assign(nodes.states.size(), 5);
    nodes.fillRandomly(11, 9.0f);
    const std::vector<float> before = nodes.u;
    EXPECT_EQ(GMT1iterate(&s, 1), 1);
    EXPECT_EQ(GMT1iterate(&s, 0), 1);
    EXPECT_EQ(s.total_iterations, 2);

    const double tension = 0.375, y = 2 * 1.5 * (1 - tension) + tension;
    const double x0 = 4 * (1 - tension) / (2 - tension), x1 = (3 * tension - 2) / (2 - tension);
    const double y0 = 4 * 1.5 * (1 - tension) / y, y1 = (tension - 2 * 1.5 * (1 - tension)) / y;
    const auto at = [&](int i, int j) -> double { return nodes.node(i, j); };
    const auto rounded = [](double value) { return static_cast<double>(static_cast<float>(value)); };
    for (int i = 0; i < 13; ++i)
        for (int j = 0; j < 10; ++j) EXPECT_EQ(at(i, j), before[nodes.place(i, j)]);
    for (int i = 0; i < 13; i += 3) {
        EXPECT_EQ(at(i, -1), rounded(y0 * at(i, 0) + y1 * at(i, 3)));
        EXPECT_EQ(at(i, 10), rounded(y0 * at(i, 9) + y1 * at(i, 6)));
        const int w = i == 0 ? -1 : i - 3, e = i == 12 ? 13 : i + 3;
        EXPECT_EQ(at(i, -2), rounded(at(i, 6) + s.eps_m2 * (at(w, 3) + at(e, 3) - at(w, -1) - at(e, -1)) +
                                     s.two_plus_em2 * (at(i, -1) - at(i, 3))));
        EXPECT_EQ(at(i, 11), rounded(-(s.eps_m2 * (at(w, 10) + at(e, 10) - at(w, 6) - at(e, 6)) - at(i, 3) +
                                       s.two_plus_em2 * (at(i, 6) - at(i, 10)))));
    }
    for (int j = 0; j < 10; j += 3) {
        EXPECT_EQ(at(-1, j), rounded(x1 * at(3, j) + x0 * at(0, j)));
        EXPECT_EQ(at(13, j), rounded(x1 * at(9, j) + x0 * at(12, j)));
        const int t = j == 0 ? -1 : j - 3, n = j == 9 ? 10 : j + 3;
        EXPECT_EQ(at(-2, j), rounded(at(6, j) + s.eps_p2 * (at(3, n) + at(3, t) - at(-1, n) - at(-1, t)) +
                                     s.two_plus_ep2 * (at(-1, j) - at(3, j))));
        EXPECT_EQ(at(14, j), rounded(-(s.eps_p2 * (at(13, n) + at(13, t) - at(9, n) - at(9, t)) - at(6, j) +
                                       s.two_plus_ep2 * (at(9, j) - at(13, j)))));
    }
    EXPECT_EQ(at(-1, -1), rounded(at(-1, 3) + at(3, -1) - at(3, 3)));
    EXPECT_EQ(at(-1, 10), rounded(at(-1, 6) + at(3, 10) - at(3, 6)));
    EXPECT_EQ(at(13, -1), rounded(at(13, 3) + at(9, -1) - at(9, 3)));
    EXPECT_EQ(at(13, 10), rounded(at(13, 6) + at(9, 10) - at(9, 6)));
}

/* The change of a sweep is that of the sum in double: it stays above 0 when the rounded value has long come to rest. */
TEST(SurfaceSteps, AChangeIsMeasuredBeforeTheValueIsRounded) {
    Nodes nodes;
    SURFACE_INFO& s = nodes.s;
    s.interior_tension = 0.3;
    s.relax_new = 1.4;
    s.relax_old = 1.0 - s.relax_new;
    s.max_iterations = 300;
    GMT1set_coefficients(&s);
    nodes.setPoints({{2.25f, 2.125f, 0.7f, 12}});
    for (unsigned trial = 0; trial < 20; ++trial) {
        s.npoints = trial % 2; /* a free node, or one with a point near it */
        nodes.fillRandomly(trial, 1.0f);
        GMT1find_nearest_point(&s);
        const char ofMiddle = nodes.stateOf(2, 2);
        nodes.states.assign(81, 5);
        nodes.stateOf(2, 2) = ofMiddle;
        EXPECT_EQ(GMT1iterate(&s, 1), 300) << trial;
        const float settled = nodes.node(2, 2);
        EXPECT_EQ(GMT1iterate(&s, 1), 300) << trial;
        EXPECT_EQ(nodes.node(2, 2), settled) << trial;
    }
}

TEST(SurfaceSteps, CoefficientsOfTheEquations) {
    Nodes nodes;
    SURFACE_INFO& s = nodes.s;
    s.l_epsilon = 2.0;
    s.interior_tension = 0.5;
    GMT1set_coefficients(&s);
    EXPECT_EQ(s.eps_p2, 4.0);
    EXPECT_EQ(s.eps_m2, 0.25);
    EXPECT_EQ(s.one_plus_e2, 5.0);
    EXPECT_EQ(s.two_plus_ep2, 10.0);
    EXPECT_EQ(s.two_plus_em2, 2.5);
    EXPECT_EQ(s.e_2, 8.0);
    EXPECT_EQ(s.e_m2, 0.5);
    EXPECT_EQ(s.x_edge_const, 20.0 - 2.0);
    EXPECT_EQ(s.y_edge_const, 5.0 - 0.5);
    EXPECT_EQ(s.a0_const_1, 17.0);
    EXPECT_EQ(s.a0_const_2, 5.5);
    const double a0 = 1.0 / (48.0 + 20.0 + 4.0 - 10.0 + 10.0);
    const double withData[12] = {-8, -4, 20, -4, -0.5, 5, 5, -0.5, -4, 20, -4, -8};
    const double without[12] = {-8, -4, 42, -4, -0.5, 10.5, 10.5, -0.5, -4, 42, -4, -8};
    for (int k = 0; k < 12; ++k) {
        EXPECT_EQ(s.coeff[1][k], withData[k]) << k;
        EXPECT_EQ(s.coeff[0][k], without[k] * a0) << k;
    }
}

TEST(SurfaceSteps, AnRmsOfNothingIsAScaleOfOne) {
    Nodes nodes;
    SURFACE_INFO& s = nodes.s;
    nodes.setPoints({{0, 0, 0, 0}, {1, 1, 0, 5}});
    s.converge_limit = 2.0;
    GMT1rescale_z_values(&s);
    EXPECT_EQ(s.z_scale, 1.0);
    EXPECT_EQ(s.r_z_scale, 1.0);
    EXPECT_EQ(s.converge_limit, 2.0);
    s.converge_limit = 0.0;
    GMT1rescale_z_values(&s);
    EXPECT_EQ(s.converge_limit, 0.001);
    nodes.points[0].z = 10.0f;
    nodes.points[1].z = -10.0f;
    s.converge_limit = 0.0;
    GMT1rescale_z_values(&s);
    EXPECT_EQ(s.z_scale, 10.0);
    EXPECT_EQ(s.r_z_scale, 0.1);
    EXPECT_EQ(s.converge_limit, 0.001 * 10.0);
    EXPECT_EQ(nodes.points[1].z, -1.0f);
    nodes.points[0].z = nodes.points[1].z = 13.0f;
    s.converge_limit = 0.0;
    GMT1rescale_z_values(&s);
    EXPECT_EQ(s.converge_limit, 0.001 * 13.0);
}

TEST(SurfaceSteps, TheNearestPointGivesItsNodeAStateAndARecord) {
    Nodes nodes(5, 5, 2, 0.5f);
    SURFACE_INFO& s = nodes.s;
    GMT1set_coefficients(&s);
    /* 3 by 3 nodes, 1 apart; on a node means within 0.05 */
    nodes.setPoints({{0.25f, 0.125f, 3, 0},
                     {0.03125f, 1.03125f, 7, 1},
                     {0.9375f, 0.0f, 4, 3},
                     {0.5f, 0.5f, 9, 3},
                     {0.75f, 0.75f, 5, 4},
                     {2.0f, 1.75f, 6, 8}});
    nodes.u.assign(81, 100.0f);
    nodes.states.assign(81, 3);
    GMT1find_nearest_point(&s);
    EXPECT_EQ(s.small, 0.05);
    const int expected[3][3] = {{1, 5, 0}, {2, 3, 0}, {0, 0, 4}};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_EQ(nodes.stateOf(2 * i, 2 * j), expected[i][j]) << i << j;
    EXPECT_EQ(nodes.stateOf(0, 1), 3) << "between the nodes of this stride";
    EXPECT_EQ(nodes.node(0, 2), 7.0f);
    EXPECT_EQ(nodes.node(0, 0), 100.0f);
    /* dx = dy = 1 / 4 at the third record: last = 4 / (1 / 2 * 3 / 2) */
    const double last = 4.0 / 0.75, far = 1.5;
    const double b[4] = {1 - 0.5 * 0.3125 * last, (2 * far - 1) / far, 2 / far, 0.5 * (2 - 0.3125 * last)};
    for (int k = 0; k < 4; ++k) EXPECT_EQ(nodes.records[2].b[k], b[k]) << k;
    EXPECT_EQ(nodes.records[2].b[4], b[0] + b[1] + b[2] + b[3] + last);
    EXPECT_EQ(nodes.records[2].b[5], last * 5);
    EXPECT_EQ(nodes.records[4].b[5], 0.0) << "one record for each node that is not fixed";
    EXPECT_NE(nodes.records[3].b[5], 0.0);
}

TEST(SurfaceSteps, TheForecastIsBilinearAndKeepsTheOldNodes) {
    Nodes nodes(9, 5);
    SURFACE_INFO& s = nodes.s;
    s.old_grid = 4;
    nodes.states.assign(nodes.states.size(), 3);
    const auto bilinear = [](int i, int j) { return static_cast<float>(2 * i - 3 * j + i * j); };
    for (int i = 0; i < 9; i += 4)
        for (int j = 0; j < 5; j += 4) nodes.node(i, j) = bilinear(i, j);
    GMT1fill_in_forecast(&s);
    for (int i = 0; i < 9; ++i)
        for (int j = 0; j < 5; ++j) {
            EXPECT_EQ(nodes.node(i, j), bilinear(i, j)) << i << " " << j;
            EXPECT_EQ(nodes.stateOf(i, j), i % 4 == 0 && j % 4 == 0 ? 5 : 0) << i << " " << j;
        }
    EXPECT_EQ(nodes.stateOf(-1, 0), 3);
}

/* A quotient of steps, not a product with a reciprocal: 3 / 5 of the way from -3 to 2 is exactly 0. */
TEST(SurfaceSteps, TheForecastDividesStepsByTheCell) {
    Nodes nodes(11, 11, 2);
    SURFACE_INFO& s = nodes.s;
    s.old_grid = 10;
    for (int j : {0, 10}) nodes.node(0, j) = -3.0f, nodes.node(10, j) = 2.0f;
    GMT1fill_in_forecast(&s);
    for (int j = 0; j < 11; j += 2) EXPECT_EQ(nodes.node(6, j), 0.0f) << j;
}

/* Term by term: what is lost behind the first sum does not come back. */
TEST(SurfaceSteps, TheTrendIsAddedInTheOrderOfItsTerms) {
    Nodes nodes(2, 2);
    SURFACE_INFO& s = nodes.s;
    constexpr double large = 1152921504606846976.0; /* 2^60 */
    s.z_scale = large;
    s.plane_c0 = -large;
    s.plane_c1 = 3.0;
    s.plane_c2 = 5.0;
    nodes.u.assign(36, 1.0f);
    EXPECT_EQ(GMT1replace_planar_trend(&s), 0);
    EXPECT_EQ(nodes.node(0, 0), 0.0f);
    EXPECT_EQ(nodes.node(0, 1), 5.0f);
    EXPECT_EQ(nodes.node(1, 0), 3.0f);
    EXPECT_EQ(nodes.node(1, 1), 8.0f);
    EXPECT_EQ(nodes.node(1, 2), 1.0f) << "the pad";
}

TEST(SurfaceSteps, PointsOutsideTheGridGoBehindThoseThatCount) {
    Nodes nodes(5, 5, 2);
    SURFACE_INFO& s = nodes.s;
    /* 3 by 3 nodes, 2 apart: from -1 up to, but not including, 5 */
    nodes.setPoints(
        {{5, 0, 1, 0}, {4, 4, 2, 0}, {0, -1.25f, 3, 0}, {-1, 2.5f, 4, 0}, {-1, 2.25f, 5, 0}, {std::nanf(""), 0, 6, 0}});
    EXPECT_EQ(GMT1set_index(&s), 0);
    ASSERT_EQ(s.npoints, 3);
    const float values[3] = {5, 4, 2};
    const int numbers[3] = {1, 1, 8};
    for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(nodes.points[k].z, values[k]) << k;
        EXPECT_EQ(nodes.points[k].index, numbers[k]) << k;
    }
    for (int k = 3; k < 6; ++k) EXPECT_EQ(nodes.points[k].index, 2000000000) << k;
}

TEST(SurfaceSteps, PointsAreOrderedByNodeAndNearness) {
    SURFACE_GLOBAL global = {10, 1.0, 1.0, 0.0, 0.0};
    SG = &global;
    const SURFACE_DATA near = {1.1f, 2.0f, 0, 12}, far = {1.3f, 2.0f, 0, 12}, next = {1.0f, 3.0f, 0, 13},
                       out = {0, 0, 0, 2000000000}, further = {9, 9, 0, 2000000000};
    EXPECT_LT(GMT1compare_points(&near, &far), 0);
    EXPECT_GT(GMT1compare_points(&far, &near), 0);
    EXPECT_EQ(GMT1compare_points(&near, &near), 0);
    EXPECT_LT(GMT1compare_points(&far, &next), 0);
    EXPECT_GT(GMT1compare_points(&out, &next), 0);
    EXPECT_EQ(GMT1compare_points(&out, &further), 0);
    EXPECT_EQ(GMT1compare_points(&further, &out), 0);
    SG = nullptr;
}

TEST(SurfaceSteps, OfThePointsAtANodeTheNearestIsKept) {
    Nodes nodes;
    constexpr int out = 2000000000;
    nodes.setPoints({{1.3f, 1.0f, 10, 6}, {9.0f, 9.0f, 20, out}, {1.0f, 1.1f, 30, 6}, {0.0f, 3.0f, 40, 3}});
    EXPECT_EQ(GMT1throw_away_unusables(&nodes.s), 0);
    ASSERT_EQ(nodes.s.npoints, 2);
    EXPECT_EQ(nodes.points[0].z, 40.0f);
    EXPECT_EQ(nodes.points[1].z, 30.0f);
}

TEST(SurfaceSteps, PointsAreNumberedByTheNodesOfTheStride) {
    Nodes nodes(5, 5, 2);
    nodes.setPoints({{4.0f, 2.9f, 10, 0}, {1.2f, 0.2f, 20, 0}, {5.1f, 0.0f, 30, 0}, {1.9f, 0.2f, 40, 0}, {0.9f, 3.5f, 50, 0}});
    EXPECT_EQ(GMT1set_index(&nodes.s), 0);
    ASSERT_EQ(nodes.s.npoints, 4) << "one lies outside";
    const std::pair<int, float> expected[4] = {{2, 50.0f}, {3, 40.0f}, {3, 20.0f}, {7, 10.0f}};
    for (std::size_t k = 0; k < 4; ++k) {
        EXPECT_EQ(nodes.points[k].index, expected[k].first) << k;
        EXPECT_EQ(nodes.points[k].z, expected[k].second) << k;
    }
}

TEST(SurfaceSteps, ThePlaneOfThePointsGoesAndComesBack) {
    Nodes nodes;
    nodes.setPoints({{0, 0, 1, 0}, {4, 0, 9, 0}, {0, 4, 17, 0}, {4, 4, 25, 0}, {2, 2, 13, 0}});
    EXPECT_EQ(GMT1remove_planar_trend(&nodes.s), 0);
    EXPECT_EQ(nodes.s.plane_c0, 1.0);
    EXPECT_EQ(nodes.s.plane_c1, 2.0);
    EXPECT_EQ(nodes.s.plane_c2, 4.0);
    for (const SURFACE_DATA& point : nodes.points) EXPECT_EQ(point.z, 0.0f);
    nodes.s.z_scale = 3.0;
    nodes.node(3, 1) = 2.0f;
    EXPECT_EQ(GMT1replace_planar_trend(&nodes.s), 0);
    EXPECT_EQ(nodes.node(3, 1), 2.0f * 3.0f + 1.0f + 2.0f * 3.0f + 4.0f);
    EXPECT_EQ(nodes.node(4, 4), 25.0f);
    EXPECT_EQ(nodes.node(5, 4), 0.0f) << "the pad";
}

TEST(SurfaceSteps, PointsOnALineHaveNoPlane) {
    Nodes nodes;
    nodes.setPoints({{0, 0, 5, 0}, {1, 1, 6, 0}, {2, 2, 7, 0}});
    GMT1remove_planar_trend(&nodes.s);
    EXPECT_EQ(nodes.s.plane_c0, 0.0);
    EXPECT_EQ(nodes.points[2].z, 7.0f);
}

TEST(SurfaceSteps, StridesAreDividedByTheLargestFactorLeft) {
    Nodes nodes;
    nodes.s.grid = 12;
    nodes.s.n_fact = GMT1get_prime_factors(12, nodes.s.factors);
    for (int expected : {4, 2, 1, 1}) {
        EXPECT_EQ(GMT1smart_divide(&nodes.s), 0);
        EXPECT_EQ(nodes.s.grid, expected);
    }
    EXPECT_EQ(nodes.s.n_fact, 0);
}

TEST(SurfaceSteps, AFirstSurfaceIsTheMeanOfThePointsWithinTheRadius) {
    Nodes nodes;
    nodes.u.assign(81, 100.0f);
    nodes.s.radius = 1.0;
    nodes.setPoints({{1, 1, 4, 0}, {3, 1, 8, 0}});
    EXPECT_EQ(GMT1initialize_grid(&nodes.s), 0);
    for (const auto& [i, j] : {std::pair{1, 1}, {0, 1}, {1, 0}, {1, 2}}) EXPECT_EQ(nodes.node(i, j), 4.0f) << i << j;
    EXPECT_EQ(nodes.node(2, 1), 6.0f) << "as far from both";
    EXPECT_EQ(nodes.node(4, 1), 8.0f);
    EXPECT_EQ(nodes.node(2, 2), 100.0f);
    EXPECT_EQ(nodes.node(0, 0), 100.0f);
    nodes.s.radius = 2.0;
    GMT1initialize_grid(&nodes.s);
    const double far = std::exp(-3.0);
    EXPECT_EQ(nodes.node(1, 1), static_cast<float>((4.0 + far * 8.0) / (1.0 + far))) << "the nearer one weighs more";
}

TEST(SurfaceSteps, AFirstSurfaceCanBeTheNearestPointOfEachCell) {
    Nodes nodes(5, 5, 2);
    nodes.u.assign(81, 100.0f);
    nodes.setPoints({{0, 0, 4, 0}, {0.5f, 0, 5, 0}, {2, 4, 6, 5}});
    EXPECT_EQ(GMT1new_initialize_grid(&nodes.s), 0);
    EXPECT_EQ(nodes.node(0, 0), 4.0f);
    EXPECT_EQ(nodes.node(2, 4), 6.0f);
    EXPECT_EQ(std::count(nodes.u.begin(), nodes.u.end(), 100.0f), 79);
}

TEST(SurfaceSteps, ErrorsAreThoseOfPointsAndCurvatureThatOfNodes) {
    Nodes nodes;
    nodes.node(2, 2) = 1.0f; /* a spike: the Laplacian is -4 there and 1 at its neighbours */
    nodes.setPoints({{2, 2, 0, 0}, {4, 2, 2, 0}});
    testing::internal::CaptureStderr();
    GMT1check_errors(&nodes.s);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Fit info: N data points  N nodes\tmean error\trms error\tcurvature\n"
              "\t       2\t      25\t-0.5\t1.5811388\t20\n");
    nodes.s.z_scale = 2.0;
    testing::internal::CaptureStderr();
    GMT1check_errors(&nodes.s);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("\t-1\t3.1622777\t80\n"), std::string::npos) << "in z's unit";
}

TEST(SurfaceSizes, TheQuickerSizeComesFirst) {
    const SURFACE_SUGGESTION slow = {10, 12, 1.5}, quick = {12, 12, 3.0};
    EXPECT_LT(GMT1compare_sugs(&quick, &slow), 0);
    EXPECT_GT(GMT1compare_sugs(&slow, &quick), 0);
    EXPECT_EQ(GMT1compare_sugs(&slow, &slow), 0);
}

TEST(SurfaceSizes, FactorsAndDivisors) {
    int factors[32];
    EXPECT_EQ(GMT1gcd_euclid(84, 36), 12);
    EXPECT_EQ(GMT1gcd_euclid(7, 0), 7);
    EXPECT_EQ(GMT1get_prime_factors(360, factors), 6);
    EXPECT_EQ(std::vector<int>(factors, factors + 6), (std::vector<int>{2, 2, 2, 3, 3, 5}));
    EXPECT_EQ(GMT1get_prime_factors(2147483647, factors), 1);
    EXPECT_EQ(GMT1get_prime_factors(1, factors), 0);
    EXPECT_EQ(GMT1get_prime_factors(0, factors), 0);
}

TEST(SurfaceSizes, TheCostIsThatOfTheLevels) {
    int factors[32];
    EXPECT_EQ(GMT1guess_surface_time(factors, 7, 5), 7.0 * 5.0 * 7.0);
    /* 12 and 18: 6 is common, leaving 2 by 3: the last factor, 3, is given back; 6 by 9 nodes, then doubled */
    EXPECT_EQ(GMT1guess_surface_time(factors, 12, 18), 6.0 * 9.0 * 9.0 + 12.0 * 18.0 * 2.0);
    EXPECT_EQ(GMT1guess_surface_time(factors, 18, 12), 9.0 * 6.0 * 9.0 + 18.0 * 12.0 * 2.0);
    /* 20 = 2 2 5 is common, leaving 2 by 3: 10 by 15 nodes, then doubled twice */
    EXPECT_EQ(GMT1guess_surface_time(factors, 40, 60), 10.0 * 15.0 * 15.0 + 20.0 * 30.0 * 2.0 + 40.0 * 60.0 * 2.0);
}

/* 5 nodes at first, then by four fives and five twos up to 100,000: more than an int counts. */
TEST(SurfaceSizes, TheCostOfLargeGridsIsCountedInDouble) {
    int factors[32];
    double expected = 5.0 * 5.0 * 5.0, nodes = 5.0;
    for (double factor : {5.0, 5.0, 5.0, 5.0, 2.0, 2.0, 2.0, 2.0, 2.0}) {
        nodes *= factor;
        expected += nodes * nodes * factor;
    }
    EXPECT_EQ(nodes, 100000.0);
    EXPECT_EQ(GMT1guess_surface_time(factors, 100000, 100000), expected);
    EXPECT_EQ(GMT1guess_surface_time(factors, 99991, 100000), 99991.0 * 100000.0 * 100000.0) << "a prime";
}

TEST(SurfaceSizes, SuggestsTenBestFirstOrNone) {
    int factors[32];
    const Printed printed = printedBy([&] { GMT1suggest_sizes_for_surface(factors, 501, 334); });
    EXPECT_EQ(printed.unflushed, 0u);
    EXPECT_EQ(std::count(printed.text.begin(), printed.text.end(), '\n'), 10);
    double before = std::numeric_limits<double>::infinity();
    for (std::size_t at = 0; at < printed.text.size(); at = printed.text.find('\n', at) + 1) {
        int nx, ny;
        double factor;
        ASSERT_EQ(std::sscanf(printed.text.c_str() + at,
                              "HINT:  Choosing nx = %d, ny = %d might cut run time by a factor of %lf\n", &nx, &ny, &factor),
                  3);
        EXPECT_LE(factor, before);
        EXPECT_NEAR(factor, GMT1guess_surface_time(factors, 501, 334) / GMT1guess_surface_time(factors, nx, ny), 1e-6 * factor);
        before = factor;
    }
    EXPECT_EQ(printedBy([&] { GMT1suggest_sizes_for_surface(factors, 2, 2); }).text,
              "Cannot suggest any nx,ny better than your -R -I define.\n");
}

TEST(SurfaceSizes, SuggestsNothingBeyondTheIntRange) {
    int factors[32];
    const std::string text = printedBy([&] { GMT1suggest_sizes_for_surface(factors, 1500000001, 1500000001); }).text;
    EXPECT_TRUE(text.starts_with("HINT:  Choosing nx = ")) << text;
    EXPECT_EQ(text.find('-'), std::string::npos) << text;
}

TEST(SurfaceSizes, SuggestsFromAllSizesOfSmallPrimesUpToTwice) {
    int factors[32];
    const auto candidates = [](int size) {
        std::vector<int> found;
        for (int twos = 2; twos <= 2 * size; twos *= 2)
            for (int threes = twos; threes <= 2 * size; threes *= 3)
                for (int fives = threes; fives <= 2 * size; fives *= 5)
                    if (fives >= size) found.push_back(fives);
        return found;
    };
    for (int nx : {1, 2, 3, 5, 6, 8, 11, 27, 64, 135})
        for (int ny : {2, 3, 4, 7, 13, 27, 81, 100}) {
            const double usual = GMT1guess_surface_time(factors, nx, ny);
            std::vector<SURFACE_SUGGESTION> better;
            for (int x : candidates(nx))
                for (int y : candidates(ny))
                    if (const double time = GMT1guess_surface_time(factors, x, y); time < usual)
                        better.push_back({x, y, usual / time});
            std::stable_sort(better.begin(), better.end(), [](const auto& a, const auto& b) { return a.factor > b.factor; });
            better.resize(std::min<std::size_t>(better.size(), 10));
            std::string expected = better.empty() ? "Cannot suggest any nx,ny better than your -R -I define.\n" : "";
            for (const SURFACE_SUGGESTION& b : better) {
                char line[120];
                std::snprintf(line, sizeof line, "HINT:  Choosing nx = %d, ny = %d might cut run time by a factor of %.8g\n",
                              b.nx, b.ny, b.factor);
                expected += line;
            }
            EXPECT_EQ(printedBy([&] { GMT1suggest_sizes_for_surface(factors, nx, ny); }).text, expected) << nx << " by " << ny;
        }
}

}
