#ifndef PELTA_GMTGRID_H
#define PELTA_GMTGRID_H

/* Surface through scattered points on a regular grid, with limits to its values: for horizons, velocities or statics that are
 * known at wells or control points and wanted everywhere, without bumps between them.
 *
 * Example:
 *     float xmin = 0, xmax = 10, ymin = 0, ymax = 10, zmin = 0, zmax = 100, aspect = 1;
 *     float boundary = 0, interior = 0.25f, limit = 0.001f;
 *     float x[4] = {0, 10, 0, 10}, y[4] = {0, 0, 10, 10}, z[4] = {10, 20, 30, 40}, grid[121];
 *     int columns = 11, rows = 11, points = 4, sweeps = 250;
 *     makeGMTGrid(&xmin, &xmax, &ymin, &ymax, &zmin, &zmax, &columns, &rows, x, y, z, &points, &sweeps, &boundary, &limit,
 *                 &aspect, &interior, grid);
 *     printf("corners %.1f %.1f, centre %.1f\n", grid[0], grid[120], grid[60]);
 * Output:
 *     corners 10.0 40.0, centre 25.0
 */

#include "export.h"

PELTA_BEGIN_C

/* Surface through scattered points on a regular grid: a continuous-curvature spline in tension, in single precision, solved from
 * coarse to fine through the common factors of the grid's sizes. Every argument by address.
 *   p_xmin .. p_ymax    region: first and last line of nodes in both directions
 *   p_zmin, p_zmax      the surface is kept within these
 *   p_ncols, p_nrows    node counts, 2 or more; less 1 they should have many common factors. A count of 1 leaves no
 *                       spacing: where a point counts, no value is a number
 *   p_x, p_y, p_z       [*p_npts] points, kept; those more than half a spacing outside the region do not count, and of those nearest
 *                       to one node only the nearest one does
 *   p_max_iteration     most sweeps at a level
 *   p_b_tension         tension at the boundary, 0 .. 1
 *   p_converge_limit    a level is done when a sweep changes no node by more than this, divided by the level's stride, in z's unit
 *   p_epsilon           aspect: the unit of x over the unit of y
 *   p_i_tension         interior tension, 0 (least curvature) up to but not including 1
 *   final_grid          [*p_ncols * *p_nrows] the surface
 * Kept on purpose: the counts are crossed. There are *p_nrows nodes along x, although their spacing comes from *p_ncols, and *p_ncols
 * along y, likewise; final_grid holds *p_ncols rows of *p_nrows values, from ymin on. With equal counts this cannot be seen.
 * Without a point inside the region every value is 0, kept within the limits; points of one value give that value.
 * When memory runs out the process ends with status -1 and says on standard error which part it was for.
 * One surface at a time: the state is the unit's own.
 *
 * W. H. F. Smith and P. Wessel, Gridding with continuous curvature splines in tension, Geophysics 55 (1990). */
PELTA_API void makeGMTGrid(float* p_xmin, float* p_xmax, float* p_ymin, float* p_ymax, float* p_zmin, float* p_zmax,
                           int* p_ncols, int* p_nrows, float* p_x, float* p_y, float* p_z, int* p_npts, int* p_max_iteration,
                           float* p_b_tension, float* p_converge_limit, float* p_epsilon, float* p_i_tension,
                           float* final_grid);

PELTA_END_C

#endif
