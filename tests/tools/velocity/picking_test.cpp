#include "velocity/picking.h"

#include <gtest/gtest.h>

#include <cmath>

namespace pelta::velocity {
namespace {

constexpr int sampleCount = 300;

Panel emptyPanel() {
    Panel panel{{1500.0, 4500.0, 61}, sampleCount, 10.0, {}};
    panel.semblance.assign(61 * sampleCount, 0.0f);
    return panel;
}

/* A hill of the given height round a time (ms) and velocity (m/s); its crest over velocity is a parabola. */
void addHill(Panel& panel, double time, double velocity, double height) {
    constexpr double halfTime = 60.0, halfVelocity = 400.0;
    for (int k = 0; k < panel.fan.count; ++k)
        for (int s = 0; s < sampleCount; ++s) {
            const double away = std::pow((s * panel.intervalMs - time) / halfTime, 2.0) +
                                std::pow((panel.fan.at(k) - velocity) / halfVelocity, 2.0);
            float& semblance = panel.semblance[static_cast<std::size_t>(k) * sampleCount + s];
            semblance = std::max(semblance, static_cast<float>(height * (1.0 - away)));
        }
}

TEST(PickVelocities, FollowsTheRidgeBetweenTheVelocitiesOfTheFan) {
    Panel panel = emptyPanel();
    const Pairs hills = {{400.0, 1813.0}, {900.0, 2170.0}, {1600.0, 2631.0}, {2400.0, 3100.0}};
    for (const auto& [time, velocity] : hills) addHill(panel, time, velocity, 0.8);
    const std::vector<Pick> picks = pickVelocities(panel, {});
    ASSERT_EQ(picks.size(), hills.size());
    for (std::size_t k = 0; k < hills.size(); ++k) {
        EXPECT_EQ(picks[k].timeMs, hills[k].first);
        constexpr double rounding = 0.05; /* m/s: of the semblance to single precision */
        EXPECT_NEAR(picks[k].velocity, hills[k].second, rounding);
        EXPECT_NEAR(picks[k].semblance, 0.8, 1e-6);
    }
}

TEST(PickVelocities, LeavesOutWhatNoLayersCanGive) {
    Panel panel = emptyPanel();
    addHill(panel, 600.0, 2000.0, 0.6);
    addHill(panel, 1200.0, 4100.0, 0.7); /* a layer of 5445 m/s */
    addHill(panel, 1800.0, 2500.0, 0.6);
    addHill(panel, 2200.0, 1550.0, 0.7); /* a layer of 1342 m/s below 600 ms, none at all below 1800 ms */
    PickSettings settings;
    settings.highestIntervalVelocity = 5000.0;
    std::vector<Pick> picks = pickVelocities(panel, settings);
    ASSERT_EQ(picks.size(), 2u);
    EXPECT_EQ(picks[0].timeMs, 600.0);
    EXPECT_EQ(picks[1].timeMs, 1800.0);
    settings.highestIntervalVelocity = 6000.0;
    picks = pickVelocities(panel, settings);
    ASSERT_EQ(picks.size(), 2u) << "nor do 1800 and 2200 ms follow 1200 ms";
    EXPECT_EQ(picks[1].timeMs, 1200.0) << "the stronger of the two";
}

TEST(PickVelocities, KeepsPicksApart) {
    Panel panel = emptyPanel();
    for (double time : {1000.0, 1090.0, 1180.0}) addHill(panel, time, 2500.0, time == 1090.0 ? 0.9 : 0.5);
    EXPECT_EQ(pickVelocities(panel, {}).size(), 1u);
    EXPECT_EQ(pickVelocities(panel, {})[0].timeMs, 1090.0);
    PickSettings near;
    near.leastSpacingMs = 90.0;
    EXPECT_EQ(pickVelocities(panel, near).size(), 3u);
}

TEST(PickVelocities, TakesTheFirstOfEqualNeighbours) {
    Panel panel = emptyPanel();
    for (int k : {20, 21})
        for (int s : {100, 101}) panel.semblance[static_cast<std::size_t>(k) * sampleCount + s] = 0.5f;
    const std::vector<Pick> picks = pickVelocities(panel, {});
    ASSERT_EQ(picks.size(), 1u);
    EXPECT_EQ(picks[0].timeMs, 1000.0);
    EXPECT_EQ(picks[0].velocity, panel.fan.at(20.5)) << "half-way between the two";
}

TEST(PickVelocities, FindsNothingBelowTheLeastSemblanceOrAtTheEdges) {
    Panel panel = emptyPanel();
    addHill(panel, 1000.0, 2500.0, 0.29);
    for (int s = 0; s < sampleCount; ++s) panel.semblance[s] = 0.9f;
    EXPECT_TRUE(pickVelocities(panel, {}).empty());
    EXPECT_TRUE(pickVelocities(emptyPanel(), {}).empty());
}

TEST(StrongestValue, KnowsItsPlace) {
    Panel panel = emptyPanel();
    addHill(panel, 1000.0, 2500.0, 0.29);
    EXPECT_EQ(strongestValue(panel).timeMs, 1000.0);
    EXPECT_EQ(strongestValue(panel).velocity, 2500.0);
    EXPECT_EQ(strongestValue(panel).semblance, 0.29f);
}

TEST(IntervalVelocities, AreThoseOfTheLayers) {
    /* 2000 m/s down to 500 ms, then 3000 m/s: v^2 = (4 * 0.5 + 9 * 0.5) / 1. */
    const std::vector<double> layers = intervalVelocities({{500.0, 2000.0, 1.0}, {1000.0, std::sqrt(6.5e6), 1.0}});
    ASSERT_EQ(layers.size(), 2u);
    EXPECT_EQ(layers[0], 2000.0);
    EXPECT_NEAR(layers[1], 3000.0, 0.01);
    EXPECT_EQ(intervalVelocities({{500.0, 2000.0, 1.0}}), (std::vector<double>{2000.0}));
}

TEST(Comparison, MeasuresThePicksAtTheTrueTimes) {
    const TimeFunction picked(Pairs{{500.0, 2000.0}, {1500.0, 3000.0}}, "picks");
    const TimeFunction truth(Pairs{{1000.0, 2400.0}, {2000.0, 3000.0}}, "truth");
    const Comparison comparison = compare(picked, truth);
    ASSERT_EQ(comparison.rows.size(), 2u);
    EXPECT_EQ(comparison.rows[0].error(), 100.0);
    EXPECT_EQ(comparison.rows[1].error(), 0.0) << "constant below the last pick";
    EXPECT_EQ(comparison.rmsError, std::sqrt(0.5e4));
    EXPECT_EQ(comparison.rmsErrorPercent, std::sqrt(0.5 * std::pow(100.0 * 100.0 / 2400.0, 2.0)));
}

}
}
