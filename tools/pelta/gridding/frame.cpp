#include "gridding/frame.h"

#include <pelta/gmtsurface.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <compare>

#include "grids/roundeddown.h"
#include "support/failure.h"

namespace pelta::gridding {
namespace {

constexpr int fewestNodes = 4;              /* in a direction: fewer have no room for the equations */
constexpr double mostNodes = 1'900'000'000; /* with the pad round them; an index beyond means something else to the library */
constexpr double pad = 4;
constexpr double mostDerivedNodes = 4'000'000;

double span(const Extent& extent) { return extent.second - extent.first; }

/* Equal along x and y. */
double derivedSpacing(const Extent& x, const Extent& y, std::size_t count) {
    constexpr double nodesPerDistance = 2.0;
    const double distance = std::sqrt(span(x)) * std::sqrt(span(y) / static_cast<double>(std::max<std::size_t>(count, 1)));
    double spacing = roundedDown(distance / nodesPerDistance);
    while ((span(x) / spacing) * (span(y) / spacing) > mostDerivedNodes) spacing *= 2.0;
    return spacing;
}

std::size_t countWithin(const std::array<Extent, 2>& region, const Points& points) {
    const auto isWithin = [](const Extent& extent, double value) { return value >= extent.first && value <= extent.second; };
    std::size_t count = 0;
    for (std::size_t k = 0; k < points.size(); ++k)
        count += isWithin(region[0], points.x[k]) && isWithin(region[1], points.y[k]);
    return count;
}

void checkRegion(const Extent& extent, char axis) {
    if (!std::isfinite(extent.first) || !std::isfinite(extent.second) || !(extent.first < extent.second))
        failUsage("--region: {} from {:g} to {:g} is no region; the order is left,right,bottom,top", axis, extent.first,
                  extent.second);
}

void checkSpacing(double spacing, char axis) {
    if (!(spacing > 0.0 && std::isfinite(spacing))) failUsage("--spacing: {:g} along {} is not above 0", spacing, axis);
}

/* Whole spacings of a span, up to the next; a rounding error is none. */
double intervalsIn(double length, double spacing) {
    constexpr double rounding = 1e-6;
    return std::max(std::ceil(length / spacing - rounding), fewestNodes - 1.0);
}

/* Counts of intervals along x and y, before they are known to be reasonable. */
using Intervals = std::array<double, 2>;

void checkCounts(const Intervals& intervals) {
    if (!((intervals[0] + 1.0 + pad) * (intervals[1] + 1.0 + pad) <= mostNodes))
        failUsage("a grid of {:.10g} x {:.10g} nodes is beyond what can be numbered; give a larger --spacing",
                  intervals[0] + 1.0, intervals[1] + 1.0);
}

Frame frameOf(const std::array<Extent, 2>& region, const std::array<double, 2>& spacing, const Intervals& intervals) {
    checkCounts(intervals);
    const Frame frame = {region[0].first,
                         region[1].first,
                         spacing[0],
                         spacing[1],
                         static_cast<int>(intervals[0]) + 1,
                         static_cast<int>(intervals[1]) + 1};
    if (!(frame.left + frame.columnSpacing > frame.left && frame.right() - frame.columnSpacing < frame.right() &&
          frame.bottom + frame.rowSpacing > frame.bottom && frame.top() - frame.rowSpacing < frame.top()))
        failUsage("a spacing of {:g} x {:g} is lost in the digits of the coordinates", spacing[0], spacing[1]);
    return frame;
}

/* A coordinate of twelve digits: without the rounding error of a product with 0.1. */
double withoutRoundingError(double value) { return std::stod(fmt::format("{:.12g}", value)); }

/* Grown evenly to both sides, by whole spacings. */
Frame grown(const Frame& frame) {
    const BetterSize size = betterSize(frame.columns, frame.rows);
    checkCounts({size.columns - 1.0, size.rows - 1.0});
    Frame larger = frame;
    larger.left = withoutRoundingError(frame.left - (size.columns - frame.columns) / 2 * frame.columnSpacing);
    larger.bottom = withoutRoundingError(frame.bottom - (size.rows - frame.rows) / 2 * frame.rowSpacing);
    larger.columns = size.columns;
    larger.rows = size.rows;
    return larger;
}

Extent outward(const Extent& extent, double spacing) {
    return {std::floor(extent.first / spacing) * spacing, std::ceil(extent.second / spacing) * spacing};
}

}

bool Frame::holds(double x, double y) const {
    const double i = std::floor(column(x) + 0.5), j = std::floor(row(y) + 0.5);
    return i >= 0.0 && i < columns && j >= 0.0 && j < rows;
}

std::int64_t Frame::nodeOf(double x, double y) const {
    return static_cast<std::int64_t>(std::floor(row(y) + 0.5)) * columns +
           static_cast<std::int64_t>(std::floor(column(x) + 0.5));
}

/* The factors that its levels go by are those of the intervals, which are one fewer than the nodes. */
double estimatedVisits(int columns, int rows) {
    int factors[32];
    return GMT1guess_surface_time(factors, columns - 1, rows - 1);
}

BetterSize betterSize(int columns, int rows) {
    constexpr int share = 10; /* one part in so many more */
    constexpr int mostSteps = 200;
    const double visits = estimatedVisits(columns, rows);
    BetterSize best = {columns, rows, 1.0};
    const auto last = [](int count) { return count + std::min(count / share, int{mostSteps}); };
    for (int c = columns; c <= last(columns); ++c)
        for (int r = rows; r <= last(rows); ++r)
            if (const double factor = visits / estimatedVisits(c, r); factor > best.factor) best = {c, r, factor};
    return best;
}

Frame frameFor(const FrameRequest& request, const Points& points) {
    if (request.spacing && request.nodes) failUsage("give --spacing or --nodes; one follows from the other");
    if (request.spacing) {
        checkSpacing(request.spacing->first, 'x');
        checkSpacing(request.spacing->second, 'y');
    }
    if (request.nodes && std::min(request.nodes->first, request.nodes->second) < fewestNodes)
        failUsage("--nodes: {},{}: a grid has {} or more along x and y", request.nodes->first, request.nodes->second,
                  fewestNodes);
    std::array<Extent, 2> region = {extentOf(points.x), extentOf(points.y)};
    if (request.region) {
        region = {request.region->first, request.region->second};
        checkRegion(region[0], 'x');
        checkRegion(region[1], 'y');
    }
    if (request.nodes) {
        const Intervals intervals = {request.nodes->first - 1.0, request.nodes->second - 1.0};
        return frameOf(region, {span(region[0]) / intervals[0], span(region[1]) / intervals[1]}, intervals);
    }
    std::array<double, 2> spacing;
    if (request.spacing) spacing = {request.spacing->first, request.spacing->second};
    else spacing.fill(derivedSpacing(region[0], region[1], countWithin(region, points)));
    if (!request.region) region = {outward(region[0], spacing[0]), outward(region[1], spacing[1])};
    const Frame frame =
        frameOf(region, spacing, {intervalsIn(span(region[0]), spacing[0]), intervalsIn(span(region[1]), spacing[1])});
    return request.region ? frame : grown(frame);
}

Points pointsInside(const Frame& frame, const Points& points) {
    Points inside;
    for (std::size_t k = 0; k < points.size(); ++k)
        if (frame.holds(points.x[k], points.y[k])) inside.add(points.x[k], points.y[k], points.z[k]);
    return inside;
}

Points nearestToNodes(const Frame& frame, const Points& points) {
    struct Candidate {
        std::int64_t node;
        double distance;
        std::size_t point;
        auto operator<=>(const Candidate&) const = default;
    };
    const auto fromNode = [](double place) { return place - std::floor(place + 0.5); };
    std::vector<Candidate> candidates;
    for (std::size_t k = 0; k < points.size(); ++k)
        candidates.push_back({frame.nodeOf(points.x[k], points.y[k]),
                              std::hypot(fromNode(frame.column(points.x[k])), fromNode(frame.row(points.y[k]))), k});
    std::sort(candidates.begin(), candidates.end());
    Points nearest;
    for (std::size_t k = 0; k < candidates.size(); ++k)
        if (const std::size_t p = candidates[k].point; k == 0 || candidates[k].node != candidates[k - 1].node)
            nearest.add(points.x[p], points.y[p], points.z[p]);
    return nearest;
}

}
