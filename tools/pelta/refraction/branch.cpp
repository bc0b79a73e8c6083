#include "refraction/branch.h"

#include <fmt/format.h>
#include <pelta/leastsquares.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>

namespace pelta::refraction {
namespace {

/* Distances and times of the refracted wave, moved to their means: single precision then resolves them, and a shift changes
 * neither slope nor weights. */
struct Points {
    std::vector<float> distances, times;
    double meanDistance = 0.0, meanTime = 0.0;
    int count() const { return static_cast<int>(distances.size()); }
};

Points pointsOf(const std::vector<FittedPick>& picks) {
    Points points;
    int count = 0;
    for (const FittedPick& pick : picks) {
        if (!pick.isRefracted) continue;
        points.meanDistance += pick.distance;
        points.meanTime += pick.arrival.timeMs;
        ++count;
    }
    points.meanDistance /= count;
    points.meanTime /= count;
    for (const FittedPick& pick : picks) {
        if (!pick.isRefracted) continue;
        points.distances.push_back(static_cast<float>(pick.distance - points.meanDistance));
        points.times.push_back(static_cast<float>(pick.arrival.timeMs - points.meanTime));
    }
    return points;
}

/* A line through moved points, in ms and ms/m. */
struct MovedLine {
    double intercept = 0.0, slope = 0.0, correlation = 0.0;

    bool isWave() const { return slope > 0.0 && std::isfinite(1000.0 / slope) && std::isfinite(intercept); }
    Line movedBack(const Points& points) const {
        return {1000.0 / slope, points.meanTime + intercept - slope * points.meanDistance, correlation};
    }
};

MovedLine leastSquaresLine(Points& points) {
    int count = points.count();
    float intercept, slope, correlation;
    lstSquare(points.distances.data(), points.times.data(), &count, &intercept, &slope, &correlation);
    return {intercept, slope, correlation};
}

MovedLine robustLine(Points& points, std::vector<float>& weights) {
    int count = points.count();
    weights.assign(points.distances.size(), 0.0f);
    float intercept, slope, correlation;
    wghtLstSquare(points.distances.data(), points.times.data(), weights.data(), &count, &intercept, &slope, &correlation);
    return {intercept, slope, correlation};
}

/* What is left of a line after the robust fit, and its errors. */
struct Refinement {
    double slope = 0.0, intercept = 0.0; /* to be added to the line, at the source */
    double slopeError = 0.0, interceptError = 0.0;
    double rms = 0.0;
};

/* Fits the residuals of the points that were not rejected: sums of residuals lose nothing in single precision, those of the
 * times themselves would hide errors below a tenth of a millisecond. Distances count from the weighted mean, where the
 * errors of slope and intercept are independent. */
Refinement refine(const Points& points, const MovedLine& line, const std::vector<float>& weights) {
    double weightSum = 0.0, distanceSum = 0.0;
    int live = 0;
    for (std::size_t k = 0; k < weights.size(); ++k) {
        weightSum += weights[k];
        distanceSum += static_cast<double>(weights[k]) * points.distances[k];
        live += weights[k] > 0.0f;
    }
    const double middle = distanceSum / weightSum;
    std::vector<float> distances, residuals, liveWeights;
    Refinement refinement;
    for (std::size_t k = 0; k < weights.size(); ++k) {
        if (!(weights[k] > 0.0f)) continue;
        const double residual = points.times[k] - (line.intercept + line.slope * points.distances[k]);
        distances.push_back(static_cast<float>(points.distances[k] - middle));
        residuals.push_back(static_cast<float>(residual));
        liveWeights.push_back(static_cast<float>(weights[k] * live / weightSum));
        refinement.rms += residual * residual / live;
    }
    refinement.rms = std::sqrt(refinement.rms);
    float oneSigma = 1.0f, intercept, slope, interceptError, slopeError, correlation, unused, unusedToo;
    wghtCalcLstsqr(distances.data(), residuals.data(), liveWeights.data(), &live, &oneSigma, &intercept, &slope,
                   &interceptError, &slopeError, &correlation, &unused, &unusedToo);
    const double fromSource = middle + points.meanDistance;
    refinement.slope = slope;
    refinement.intercept = intercept - slope * middle;
    refinement.slopeError = slopeError;
    refinement.interceptError = std::hypot(interceptError, slopeError * fromSource);
    return refinement;
}

void setWeights(Branch& branch, const std::vector<float>& weights) {
    const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
    const auto live =
        static_cast<double>(weights.size()) - static_cast<double>(std::count(weights.begin(), weights.end(), 0.0f));
    std::size_t next = 0;
    for (FittedPick& pick : branch.picks) {
        if (!pick.isRefracted) continue;
        pick.weight = weights[next++] * live / sum;
        pick.residualMs = pick.arrival.timeMs - branch.fit->robust.timeMs(pick.distance);
        branch.rejected += pick.weight == 0.0;
    }
}

void fitRefracted(Branch& branch, const Settings& settings) {
    for (FittedPick& pick : branch.picks) branch.refracted += pick.isRefracted = settings.refracted.holds(pick.distance);
    if (branch.refracted < settings.leastPicks) {
        branch.whyNoFit = fmt::format("{} pick{} in the window; {} are needed", branch.refracted,
                                      branch.refracted == 1 ? "" : "s", settings.leastPicks);
        return;
    }
    Points points = pointsOf(branch.picks);
    if (points.distances.front() == points.distances.back()) {
        branch.whyNoFit = fmt::format("all {} picks have the same offset", branch.refracted);
        return;
    }
    std::vector<float> weights;
    MovedLine robust = robustLine(points, weights);
    const MovedLine leastSquares = leastSquaresLine(points);
    if (!robust.isWave() || !leastSquares.isWave()) {
        branch.whyNoFit = "times do not grow with offset";
        return;
    }
    const Refinement refinement = refine(points, robust, weights);
    robust.slope += refinement.slope;
    robust.intercept += refinement.intercept;
    Fit& fit = branch.fit.emplace();
    fit.robust = robust.movedBack(points);
    fit.leastSquares = leastSquares.movedBack(points);
    fit.velocityError = fit.robust.velocity * refinement.slopeError / robust.slope;
    fit.interceptErrorMs = refinement.interceptError;
    fit.rmsMs = refinement.rms;
    setWeights(branch, weights);
}

/* A line through source and origin. */
void fitDirect(Branch& branch, const Settings& settings) {
    if (!settings.direct) return;
    std::vector<float> distances, times;
    for (const FittedPick& pick : branch.picks)
        if (settings.direct->holds(pick.distance) && pick.distance > 0.0) {
            distances.push_back(static_cast<float>(pick.distance));
            times.push_back(static_cast<float>(pick.arrival.timeMs));
        }
    branch.direct = static_cast<int>(distances.size());
    std::vector<float> work(distances.size());
    float slope = 0.0f;
    meanAlphaTrim(distances.data(), times.data(), branch.direct, settings.trimPercent, work.data(), &slope);
    if (slope > 0.0f && std::isfinite(1000.0 / slope)) branch.directVelocity = 1000.0 / slope;
}

}

std::optional<double> Branch::delayMs() const {
    if (!fit || !(fit->robust.interceptMs > 0.0)) return std::nullopt;
    return 0.5 * fit->robust.interceptMs;
}

std::optional<double> Branch::thickness() const {
    if (!delayMs() || !directVelocity || !(*directVelocity < fit->robust.velocity)) return std::nullopt;
    const double above = *directVelocity, below = fit->robust.velocity;
    return *delayMs() / 1000.0 * above * below / std::sqrt(below * below - above * above);
}

std::vector<Branch> fitBranches(const std::vector<Arrival>& arrivals, const Settings& settings) {
    std::map<std::pair<std::int64_t, bool>, Branch> sides;
    for (const Arrival& arrival : arrivals) {
        const bool isPositive = arrival.offset >= 0.0;
        Branch& branch = sides[{arrival.record, isPositive}];
        branch.record = arrival.record;
        branch.isPositive = isPositive;
        branch.picks.push_back({arrival, std::abs(arrival.offset)});
    }
    std::vector<Branch> branches;
    for (auto& [key, branch] : sides) {
        /* The median line halves the points by their order. */
        std::stable_sort(branch.picks.begin(), branch.picks.end(),
                         [](const FittedPick& a, const FittedPick& b) { return a.distance < b.distance; });
        fitRefracted(branch, settings);
        fitDirect(branch, settings);
        branches.push_back(std::move(branch));
    }
    return branches;
}

double median(const std::vector<double>& values) {
    std::vector<float> copies(values.begin(), values.end());
    std::vector<int> order(values.size());
    return wghtMedian(copies.data(), order.data(), static_cast<int>(values.size()));
}

}
