#ifndef PELTA_TOOL_GRIDDING_SURFACE_H
#define PELTA_TOOL_GRIDDING_SURFACE_H

#include <functional>
#include <limits>
#include <string>

#include "gridding/frame.h"
#include "gridding/points.h"
#include "grids/gridfile.h"

namespace pelta::gridding {

/* The library has two gridding routines, by the names of their headers. */
enum class Variant { gmtgrid, gmtsurface };

struct Settings {
    Variant variant = Variant::gmtsurface;
    double tension = 0.25, boundaryTension = 0.25; /* 0 .. 1; the first of them below 1 */
    double aspect = 1.0;                           /* length of a unit of x, in units of y */
    double relax = 1.4;                            /* over-relaxation, 1 .. 2; that of gmtgrid is its own */
    int sweeps = 1000;                             /* most at a level */
    double converge = 0.0; /* a level is done when a sweep changes no node by more than this, divided by the level's stride */
    double lowest = -std::numeric_limits<double>::infinity(), highest = std::numeric_limits<double>::infinity(); /* bounds */
};

/* A surface, and how it came about. */
struct Surface {
    Grid grid;
    int unsettledStride = 0; /* of the finest level whose last sweep still changed too much; 0 where all settled, or the routine
                                does not tell */
};

/* How much wider than high a cell of four nodes is. The surface comes near to points that are on no node where this is near 1,
 * and worse the further from it. */
double cellAspect(const Frame& frame, const Settings& settings);

/* Told of each level before it is worked on, as far as the routine lets know. */
using LevelReport = std::function<void(const std::string& text)>;

/* Fails with one line unless the memory for a gridding, and for its points, can be had: the routine of gmtgrid ends the process
 * where it runs out. */
void requireMemory(const Frame& frame, std::size_t points);

/* The surface through the points, which the frame holds. Throws std::bad_alloc where memory runs out. */
Surface computeSurface(const Points& points, const Frame& frame, const Settings& settings, const LevelReport& report);

}

#endif
