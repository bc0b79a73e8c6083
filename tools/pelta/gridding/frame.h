#ifndef PELTA_TOOL_GRIDDING_FRAME_H
#define PELTA_TOOL_GRIDDING_FRAME_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "gridding/points.h"

namespace pelta::gridding {

/* Where the nodes of a grid stand: columns go right in x, rows up in y. */
struct Frame {
    double left = 0.0, bottom = 0.0; /* the first node */
    double columnSpacing = 1.0, rowSpacing = 1.0;
    int columns = 0, rows = 0;

    double right() const { return left + (columns - 1) * columnSpacing; }
    double top() const { return bottom + (rows - 1) * rowSpacing; }
    std::int64_t nodes() const { return std::int64_t{columns} * rows; }
    /* Places in node units from the first node on. */
    double column(double x) const { return (x - left) / columnSpacing; }
    double row(double y) const { return (y - bottom) / rowSpacing; }
    /* Within half a spacing of the nodes, as the gridding sees it. */
    bool holds(double x, double y) const;
    /* Number of the node next to a place that the frame holds. */
    std::int64_t nodeOf(double x, double y) const;
};

/* What the user says of the grid; everything else follows from the points. */
struct FrameRequest {
    std::optional<std::pair<Extent, Extent>> region;  /* x and y */
    std::optional<std::pair<double, double>> spacing; /* not with nodes */
    std::optional<std::pair<int, int>> nodes;         /* along x and y */
};

/* The spacing where none is asked for: a round number that gives about two nodes for every mean distance of points. A region
 * that was not given is grown, by a tenth at most, to a size that is quick to grid, and one that is no whole number of spacings
 * up to the next. Fails (UsageError) on requests that make no sense, and on more nodes than can be numbered. */
Frame frameFor(const FrameRequest& request, const Points& points);

/* Those of the points that the frame holds. */
Points pointsInside(const Frame& frame, const Points& points);

/* Of the points inside that are next to one node the nearest, and of equally near ones the first: what the gridding uses. */
Points nearestToNodes(const Frame& frame, const Points& points);

/* Node counts up to a tenth above those of a grid that the estimate of the run time likes best, and how much quicker they are
 * thought to be; the counts themselves, and 1, where nothing is better. */
struct BetterSize {
    int columns, rows;
    double factor;
};
BetterSize betterSize(int columns, int rows);

/* The estimate itself, in visits of nodes. */
double estimatedVisits(int columns, int rows);

}

#endif
