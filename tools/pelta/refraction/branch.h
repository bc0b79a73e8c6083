#ifndef PELTA_TOOL_REFRACTION_BRANCH_H
#define PELTA_TOOL_REFRACTION_BRANCH_H

#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "refraction/arrivals.h"

namespace pelta::refraction {

/* Distances from the source in m, both ends included. */
struct Window {
    double from = 0.0, to = std::numeric_limits<double>::infinity();
    bool holds(double distance) const { return distance >= from && distance <= to; }
};

struct Settings {
    Window refracted;             /* where the refracted wave arrives first */
    std::optional<Window> direct; /* where the direct wave does */
    int leastPicks = 4;           /* on a side of a record, for a fit */
    int trimPercent = 20;         /* of the ratios of time and offset that the direct wave's mean leaves out */
};

/* time = intercept + distance / velocity. */
struct Line {
    double velocity = 0.0;    /* m/s */
    double interceptMs = 0.0; /* time at the source */
    double correlation = 0.0;
    double timeMs(double distance) const { return interceptMs + 1000.0 * distance / velocity; }
};

/* What became of a first break. */
struct FittedPick {
    Arrival arrival;
    double distance = 0.0;    /* m, from the source */
    bool isRefracted = false; /* it lies in the window of the refracted wave and went into the fit ... */
    double weight = 0.0;      /* ... with this weight, 1 on average; 0 means that it was rejected */
    double residualMs = 0.0;  /* its time less that of the fitted line */
};

/* The fit, and one standard error of its results. */
struct Fit {
    Line robust, leastSquares;
    double velocityError = 0.0, interceptErrorMs = 0.0;
    double rmsMs = 0.0; /* of the residuals of what was not rejected */
};

/* The first breaks on one side of a record's source. */
struct Branch {
    std::int64_t record = 0;
    bool isPositive = true;        /* the side; a trace at the source counts with this one */
    std::vector<FittedPick> picks; /* by rising distance */
    int refracted = 0, rejected = 0, direct = 0;
    std::optional<Fit> fit;
    std::string whyNoFit;                 /* without a comma: it becomes a cell of a table */
    std::optional<double> directVelocity; /* m/s */

    /* Half the intercept: what the way through the layer takes at one end of the ray, ms, over a flat refractor. Nothing where
     * the intercept is not above 0. */
    std::optional<double> delayMs() const;
    /* Of a flat layer in which the direct wave runs, m; nothing without a delay or where the direct wave is not the slower. */
    std::optional<double> thickness() const;
};

/* Sorts first breaks by record and side and fits each by itself. */
std::vector<Branch> fitBranches(const std::vector<Arrival>& arrivals, const Settings& settings);

/* The middle one of the values, the upper of two. */
double median(const std::vector<double>& values);

}

#endif
