#include "refraction/branch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "synthesis/line.h"

namespace pelta::refraction {
namespace {

constexpr double velocity = synthesis::refractorVelocity, above = synthesis::weatheredVelocity;
constexpr double thickness = synthesis::weatheredThickness;
const double interceptMs = 2000.0 * thickness * std::sqrt(1.0 / (above * above) - 1.0 / (velocity * velocity));

/* Single precision holds times and distances that were moved to their means to 1e-4 ms and m. */
constexpr double velocityRounding = 0.01, interceptRounding = 0.001; /* m/s, ms */

double headWaveMs(double distance) { return interceptMs + 1000.0 * distance / velocity; }

/* A record of arrivals at offsets from .. to m. */
template <class Time>
std::vector<Arrival> recordOf(double from, double to, double step, Time time) {
    std::vector<Arrival> arrivals;
    for (double offset = from; offset <= to; offset += step) {
        const auto number = static_cast<std::int64_t>(arrivals.size()) + 1;
        arrivals.push_back({number, 1, number, offset, time(std::abs(offset))});
    }
    return arrivals;
}

Branch onlyBranch(const std::vector<Arrival>& arrivals, const Settings& settings = {}) {
    std::vector<Branch> branches = fitBranches(arrivals, settings);
    EXPECT_EQ(branches.size(), 1u);
    return branches.front();
}

TEST(Branches, FindTheRefractorAndTheLayerOfTheSyntheticLine) {
    const synthesis::Survey survey;
    const synthesis::TraceMaker maker(survey);
    std::vector<Arrival> arrivals;
    for (int record = 0; record < 3; ++record)
        for (int channel = 0; channel < survey.channelCount; ++channel) {
            const synthesis::Station station = maker.station(record, channel);
            arrivals.push_back({1, station.record, station.channel, station.offset(), maker.firstBreakMs(station)});
        }
    Settings settings;
    settings.refracted = {150.0, 2000.0};
    settings.direct = Window{0.0, 120.0};
    const std::vector<Branch> branches = fitBranches(arrivals, settings);
    ASSERT_EQ(branches.size(), 3u);
    for (const Branch& branch : branches) {
        ASSERT_TRUE(branch.fit) << branch.whyNoFit;
        EXPECT_NEAR(branch.fit->robust.velocity, velocity, velocityRounding);
        EXPECT_NEAR(branch.fit->robust.interceptMs, interceptMs, interceptRounding);
        EXPECT_NEAR(branch.fit->leastSquares.velocity, velocity, velocityRounding);
        EXPECT_NEAR(branch.fit->leastSquares.interceptMs, interceptMs, interceptRounding);
        EXPECT_NEAR(branch.fit->robust.correlation, 1.0, 1e-6);
        EXPECT_LT(branch.fit->velocityError, velocityRounding);
        EXPECT_LT(branch.fit->interceptErrorMs, interceptRounding);
        EXPECT_EQ(branch.direct, 3);
        EXPECT_NEAR(branch.directVelocity.value(), above, velocityRounding);
        EXPECT_NEAR(branch.delayMs().value(), 0.5 * interceptMs, interceptRounding);
        EXPECT_NEAR(branch.thickness().value(), thickness, 0.001);
    }
}

TEST(Branches, RejectWildPicksThatMoveLeastSquares) {
    std::vector<Arrival> arrivals = recordOf(150, 1250, 25, headWaveMs);
    std::mt19937 random(1);
    for (Arrival& arrival : arrivals) arrival.timeMs += std::uniform_real_distribution<>(-1.0, 1.0)(random);
    for (std::size_t wild : {0u, 1u, 40u}) arrivals[wild].timeMs += 80.0;
    const Branch branch = onlyBranch(arrivals);
    EXPECT_EQ(branch.rejected, 3);
    for (std::size_t k = 0; k < branch.picks.size(); ++k) {
        const bool isWild = k == 0 || k == 1 || k == 40;
        EXPECT_EQ(branch.picks[k].weight == 0.0, isWild) << k;
        EXPECT_NEAR(branch.picks[k].residualMs, isWild ? 80.0 : 0.0, 1.5) << k;
    }
    EXPECT_NEAR(branch.fit->robust.velocity, velocity, 4.0 * branch.fit->velocityError);
    EXPECT_NEAR(branch.fit->robust.interceptMs, interceptMs, 4.0 * branch.fit->interceptErrorMs);
    EXPECT_GT(branch.fit->leastSquares.interceptMs, interceptMs + 10.0);
}

/* The same sums in double, from the weights that the fit reports. */
TEST(Branches, FitAndErrorsAreThoseOfTheWeightedSums) {
    std::mt19937 random(7);
    for (double farAway : {0.0, 5000.0}) {
        std::vector<Arrival> arrivals = recordOf(farAway + 100, farAway + 600, 20, headWaveMs);
        for (Arrival& arrival : arrivals) arrival.timeMs += std::normal_distribution<>(0.0, 0.05)(random);
        arrivals[9].timeMs += 30.0;
        const Branch branch = onlyBranch(arrivals);
        ASSERT_EQ(branch.rejected, 1);
        double count = 0, x = 0, y = 0, xx = 0, xy = 0, scatter = 0;
        for (const FittedPick& pick : branch.picks) {
            count += pick.weight;
            x += pick.weight * pick.distance;
            y += pick.weight * pick.arrival.timeMs;
        }
        for (const FittedPick& pick : branch.picks) {
            xx += pick.weight * (pick.distance - x / count) * (pick.distance - x / count);
            xy += pick.weight * (pick.distance - x / count) * (pick.arrival.timeMs - y / count);
        }
        const double slope = xy / xx, intercept = (y - slope * x) / count;
        for (const FittedPick& pick : branch.picks)
            scatter += pick.weight * std::pow(pick.arrival.timeMs - intercept - slope * pick.distance, 2.0);
        scatter = std::sqrt(scatter / (count - 2.0));
        const double slopeError = scatter / std::sqrt(xx);
        const double interceptError = scatter * std::sqrt(1.0 / count + x * x / (count * count * xx));
        EXPECT_NEAR(count, static_cast<double>(branch.refracted - branch.rejected), 1e-4) << "weights are 1 on average";
        EXPECT_NEAR(branch.fit->robust.velocity, 1000.0 / slope, velocityRounding);
        EXPECT_NEAR(branch.fit->robust.interceptMs, intercept, interceptRounding * (1.0 + farAway / 500.0));
        constexpr double ofSinglePrecision = 1e-3; /* relative: sums of squares that nearly cancel */
        EXPECT_NEAR(branch.fit->velocityError, 1000.0 / (slope * slope) * slopeError,
                    ofSinglePrecision * 1000.0 / (slope * slope) * slopeError);
        EXPECT_NEAR(branch.fit->interceptErrorMs, interceptError, ofSinglePrecision * interceptError);
    }
}

TEST(Branches, ErrorsAreAsLargeAsTheScatterOfManyFits) {
    std::mt19937 random(3);
    constexpr int fits = 400;
    double velocities = 0, intercepts = 0, velocityErrors = 0, interceptErrors = 0;
    for (int k = 0; k < fits; ++k) {
        std::vector<Arrival> arrivals = recordOf(150, 1250, 25, headWaveMs);
        for (Arrival& arrival : arrivals) arrival.timeMs += std::normal_distribution<>(0.0, 2.0)(random);
        const Branch branch = onlyBranch(arrivals);
        velocities += std::pow(branch.fit->robust.velocity - velocity, 2.0) / fits;
        intercepts += std::pow(branch.fit->robust.interceptMs - interceptMs, 2.0) / fits;
        velocityErrors += branch.fit->velocityError / fits;
        interceptErrors += branch.fit->interceptErrorMs / fits;
    }
    /* Weights fall with the residuals, so that the scatter they leave is somewhat too small; 400 fits tell it to 4 %. */
    EXPECT_GT(velocityErrors, 0.75 * std::sqrt(velocities));
    EXPECT_LT(velocityErrors, 1.1 * std::sqrt(velocities));
    EXPECT_GT(interceptErrors, 0.75 * std::sqrt(intercepts));
    EXPECT_LT(interceptErrors, 1.1 * std::sqrt(intercepts));
}

TEST(Branches, FitEachSideOfTheSourceByItself) {
    const std::vector<Arrival> arrivals = recordOf(-500, 500, 50, [](double distance) { return 10.0 + distance; });
    std::vector<Arrival> dipping = arrivals;
    for (Arrival& arrival : dipping)
        if (arrival.offset < 0.0) arrival.timeMs = 30.0 - 0.5 * arrival.offset;
    const std::vector<Branch> branches = fitBranches(dipping, {});
    ASSERT_EQ(branches.size(), 2u);
    EXPECT_FALSE(branches[0].isPositive);
    EXPECT_EQ(branches[0].refracted, 10);
    EXPECT_NEAR(branches[0].fit->robust.velocity, 2000.0, velocityRounding);
    EXPECT_NEAR(branches[0].fit->robust.interceptMs, 30.0, interceptRounding);
    EXPECT_TRUE(branches[1].isPositive);
    EXPECT_EQ(branches[1].refracted, 11) << "a trace at the source counts here";
    EXPECT_NEAR(branches[1].fit->robust.velocity, 1000.0, velocityRounding);
    EXPECT_NEAR(branches[1].fit->robust.interceptMs, 10.0, interceptRounding);
}

TEST(Branches, DoNotDependOnTheOrderOfTheTraces) {
    std::mt19937 random(5);
    std::vector<Arrival> arrivals = recordOf(150, 1250, 25, headWaveMs);
    for (Arrival& arrival : arrivals) arrival.timeMs += std::normal_distribution<>(0.0, 2.0)(random);
    const Branch ordered = onlyBranch(arrivals);
    std::shuffle(arrivals.begin(), arrivals.end(), random);
    const Branch shuffled = onlyBranch(arrivals);
    EXPECT_EQ(ordered.fit->robust.velocity, shuffled.fit->robust.velocity);
    EXPECT_EQ(ordered.fit->interceptErrorMs, shuffled.fit->interceptErrorMs);
}

TEST(Branches, SayWhyThereIsNoFit) {
    Settings settings;
    settings.refracted = {100.0, 160.0};
    EXPECT_EQ(onlyBranch(recordOf(50, 1250, 25, headWaveMs), settings).whyNoFit, "3 picks in the window; 4 are needed");
    settings.refracted = {100.0, 120.0};
    EXPECT_EQ(onlyBranch(recordOf(50, 1250, 25, headWaveMs), settings).whyNoFit, "1 pick in the window; 4 are needed");
    std::vector<Arrival> arrivals = recordOf(50, 1250, 25, headWaveMs);
    for (Arrival& arrival : arrivals) arrival.offset = 300.0;
    EXPECT_EQ(onlyBranch(arrivals).whyNoFit, "all 49 picks have the same offset");
    EXPECT_EQ(onlyBranch(recordOf(50, 1250, 25, [](double distance) { return 900.0 - 0.5 * distance; })).whyNoFit,
              "times do not grow with offset");
    EXPECT_EQ(onlyBranch(recordOf(50, 1250, 25, [](double) { return 20.0; })).whyNoFit, "times do not grow with offset");
    EXPECT_TRUE(fitBranches({}, {}).empty());
}

TEST(Branches, HaveNoDelayWithoutAnInterceptAndNoDepthOverASlowerRefractor) {
    const Branch early = onlyBranch(recordOf(50, 500, 50, [](double distance) { return distance - 5.0; }));
    ASSERT_TRUE(early.fit);
    EXPECT_EQ(early.delayMs(), std::nullopt);
    Settings settings;
    settings.refracted = {200.0, 500.0};
    settings.direct = Window{0.0, 150.0};
    const Branch slower = onlyBranch(recordOf(50, 500, 50, [](double x) { return x < 200.0 ? 0.2 * x : 10.0 + x; }), settings);
    EXPECT_NEAR(slower.directVelocity.value(), 5000.0, velocityRounding);
    EXPECT_NEAR(slower.delayMs().value(), 5.0, interceptRounding);
    EXPECT_EQ(slower.thickness(), std::nullopt);
}

TEST(Branches, TrimTheRatiosOfTheDirectWave) {
    std::vector<Arrival> arrivals = recordOf(0, 500, 10, [](double distance) { return 1000.0 * distance / above; });
    arrivals[5].timeMs = 3000.0;
    Settings settings;
    settings.direct = Window{0.0, 100.0};
    const Branch branch = onlyBranch(arrivals, settings);
    EXPECT_EQ(branch.direct, 10) << "not the trace at the source, where every velocity fits";
    EXPECT_NEAR(branch.directVelocity.value(), above, velocityRounding);
    settings.trimPercent = 0;
    EXPECT_LT(onlyBranch(arrivals, settings).directVelocity.value(), 0.3 * above);
}

TEST(Median, IsTheUpperOfTwoMiddleValues) {
    EXPECT_EQ(median({3.0, 1.0, 2.0}), 2.0);
    EXPECT_EQ(median({4.0, 1.0, 3.0, 2.0}), 3.0);
}

}
}
