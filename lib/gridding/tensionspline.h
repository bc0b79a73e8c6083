#ifndef PELTA_LIB_GRIDDING_TENSIONSPLINE_H
#define PELTA_LIB_GRIDDING_TENSIONSPLINE_H

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

#endif
