#ifndef PELTA_TOOL_VELOCITY_PICKING_H
#define PELTA_TOOL_VELOCITY_PICKING_H

#include <vector>

#include "flow/timefunction.h"
#include "velocity/panel.h"

namespace pelta::velocity {

struct Pick {
    double timeMs = 0.0, velocity = 0.0; /* m/s */
    double semblance = 0.0;
};

struct PickSettings {
    double leastSemblance = 0.3;
    double leastSpacingMs = 100.0;                                            /* between two picks */
    double lowestIntervalVelocity = 1400.0, highestIntervalVelocity = 7000.0; /* m/s, of the layers between picks */
};

/* The ridge of a panel: of all chains of crests that go down in time, whose layers have interval velocities within the bounds,
 * the one with the most semblance above the least. A crest is higher than the eight values around it (of equal ones the first
 * counts) and is refined between velocities by the parabola through its three. Nothing when no crest is high enough. */
std::vector<Pick> pickVelocities(const Panel& panel, const PickSettings& settings);

/* The highest semblance anywhere. */
Pick strongestValue(const Panel& panel);

/* Velocity (m/s) of each layer that ends at a pick, the first from time 0 on. */
std::vector<double> intervalVelocities(const std::vector<Pick>& picks);

/* Linear between picks. */
TimeFunction functionOf(const std::vector<Pick>& picks);

/* A picked function held against known stacking velocities. */
struct Comparison {
    struct Row {
        double timeMs, truth, picked;
        double error() const { return picked - truth; }
        double errorPercent() const { return 100.0 * error() / truth; }
    };
    std::vector<Row> rows;
    double rmsError = 0.0, rmsErrorPercent = 0.0;
};
Comparison compare(const TimeFunction& picked, const TimeFunction& truth);

}

#endif
