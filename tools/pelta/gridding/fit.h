#ifndef PELTA_TOOL_GRIDDING_FIT_H
#define PELTA_TOOL_GRIDDING_FIT_H

#include <utility>

#include "gridding/points.h"
#include "grids/gridfile.h"

namespace pelta::gridding {

/* A grid's value at a place, linear between its nodes as those who read the grid take it; constant beyond the outer ones. */
double valueAt(const Grid& grid, double x, double y);

/* The grid less the values of points. */
struct Errors {
    std::size_t points = 0;
    double mean = 0.0, rms = 0.0;
    double median = 0.0; /* of what remains without the sign */
};
Errors errorsOf(const Grid& grid, const Points& points);

/* How much a grid bends: the RMS over its inner nodes of the sum of both second derivatives, in the values' unit per squared
 * unit of y; a unit of x is as long as aspect units of y. 0 without inner nodes. */
double curvatureOf(const Grid& grid, double aspect);

/* Splits points in those that stay and a share (percent) of them, 1 or more, that is held out. Which ones is decided by their
 * numbers alone, without any regularity. */
std::pair<Points, Points> holdOut(const Points& points, double percent);

}

#endif
