#include <gtest/gtest.h>
#include <pelta/gmtsurface.h>

#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "support/bits.h"
#include "support/files.h"
#include "support/plaingridding.h"

namespace {

struct Request {
    float xmin = 0, xinc = 5, ymin = 0, yinc = 5;
    int nx = 21, ny = 21, constrain = 0;
    float aspect = 1, relax = 1.4f, tension = 0.25f;
    std::vector<float> x, y, z;

    void add(float px, float py, float pz) {
        x.push_back(px);
        y.push_back(py);
        z.push_back(pz);
    }
};

std::vector<float> surfaceOf(Request r) {
    const std::size_t nodes = static_cast<std::size_t>(r.nx * r.ny);
    std::vector<float> z = r.z;
    z.resize(std::max(nodes, z.size()) + 1, 12345.0f);
    testing::internal::CaptureStdout();
    EXPECT_EQ(computeGMT1Surface(r.x.data(), r.y.data(), z.data(), static_cast<int>(r.x.size()), r.xmin, r.xinc, r.nx, r.ymin,
                                 r.yinc, r.ny, r.aspect, r.relax, r.tension, r.constrain),
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
    float smallest = 3.4e38f, largest = -3.4e38f;
    for (std::size_t k = 0; k < r.x.size(); ++k) {
        problem.points.push_back({r.x[k], r.y[k], r.z[k], 0});
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
    none.constrain = 1;
    surfaceOf(none);
}

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

TEST(SurfaceSteps, OffsetsStepOntoThePadBeyondTheEdges) {
    auto state = std::make_unique<SURFACE_INFO>();
    SURFACE_INFO& s = *state;
    s.nx = s.ny = 41;
    s.my = 45;
    s.grid = 4;
    s.x_inc = s.y_inc = 1;
    SURFACE_GLOBAL global;
    GMT1set_grid_parameters(&s, &global);
    EXPECT_EQ(s.block_nx, 11);
    EXPECT_EQ(global.block_ny, 11);
    EXPECT_EQ(global.grid_xinc, 4.0);
    GMT1set_offset(&s);
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
    auto state = std::make_unique<SURFACE_INFO>();
    SURFACE_INFO& s = *state;
    s.nx = 3;
    s.ny = 2;
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
    EXPECT_EQ(GMT1load_constraints(&s, 0), 0);
    for (int k = 0; k < 6; ++k) EXPECT_EQ(s.lower[k], 10.0f);
    std::free(s.lower);
}

TEST(SurfaceSteps, PointsAreOrderedByNodeAndNearness) {
    SURFACE_GLOBAL global = {10, 1.0, 1.0, 0.0, 0.0};
    SG = &global;
    const SURFACE_DATA near = {1.1f, 2.0f, 0, 12}, far = {1.3f, 2.0f, 0, 12}, next = {1.0f, 3.0f, 0, 13},
                       out = {0, 0, 0, 2000000000};
    EXPECT_LT(GMT1compare_points(&near, &far), 0);
    EXPECT_GT(GMT1compare_points(&far, &near), 0);
    EXPECT_EQ(GMT1compare_points(&near, &near), 0);
    EXPECT_LT(GMT1compare_points(&far, &next), 0);
    EXPECT_GT(GMT1compare_points(&out, &next), 0);
    EXPECT_EQ(GMT1compare_points(&out, &out), 0);
    SG = nullptr;
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
    /* 20 = 2 2 5 is common, leaving 2 by 3: 10 by 15 nodes, then doubled twice */
    EXPECT_EQ(GMT1guess_surface_time(factors, 40, 60), 10.0 * 15.0 * 15.0 + 20.0 * 30.0 * 2.0 + 40.0 * 60.0 * 2.0);
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

}
