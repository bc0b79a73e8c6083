#ifndef PELTA_LIB_GRIDDING_TENSIONSPLINE_H
#define PELTA_LIB_GRIDDING_TENSIONSPLINE_H

#include <cstdlib>
#include <utility>

#include "gridding/equations.h"
#include "gridding/levels.h"
#include "gridding/memory.h"
#include "gridding/points.h"
#include "gridding/relaxation.h"
#include "gridding/trend.h"

/* Continuous-curvature splines in tension on a regular grid, level by level from coarse to fine: what both gridding routines
 * share. Their working states bear the same names and differ in where they live and in their arithmetic: every step computes in
 * the type of State::grid_xinc. The surface u and the points are in single precision in both.
 *
 * W. H. F. Smith and P. Wessel, Gridding with continuous curvature splines in tension, Geophysics 55 (1990); I. C. Briggs, Machine
 * contouring using minimum curvature, Geophysics 39 (1974). */
namespace tension {

/* What memory ran out for. */
enum class Shortage { none, points, surface };

/* Solves the level at hand and all finer ones, each from a forecast by the one before. The points are indexed at the first level;
 * enterLevel() makes what belongs to a stride that has just been chosen. Releases the points when the last level has them. */
template <class State, class EnterLevel>
Shortage solveLevels(State& s, Block<int> numbers, EnterLevel enterLevel) {
    while (true) {
        s.old_grid = s.grid;
        findNearestPoint(s);
        if (s.grid < 2) {
            numbers.reset();
            std::free(std::exchange(s.data, nullptr));
        }
        if (!iterate(s)) return Shortage::surface;
        if (s.grid < 2) return Shortage::none;
        smartDivide(s);
        enterLevel();
        if (!setIndex(s, numbers.get())) return Shortage::points;
        fillInForecast(s);
        if (!iterate(s)) return Shortage::surface;
    }
}

}

#endif
