#ifndef PELTA_GMTSURFACE_H
#define PELTA_GMTSURFACE_H

#include "export.h"

PELTA_BEGIN_C

/* The second routine for surfaces through scattered points: the same splines in tension as gmtgrid.h, in double precision (the surface
 * and the points are single), with the grid given by origin and spacing and with bounds on what comes out. */

typedef int BOOLEAN;

/* Options. The field I steps in where <complex.h> has made a macro of its name. */
#pragma push_macro("I")
#undef I
typedef struct SURFACE_CTRL_STRUCT {
    struct {
        BOOLEAN active;
        double value;
    } A; /* aspect: unit of x over unit of y */
    struct {
        BOOLEAN active;
        double value;
    } C; /* convergence limit */
    struct {
        BOOLEAN active;
        char* file;
    } G;
    struct {
        BOOLEAN active;
        double xinc, yinc;
    } I;
    struct {
        BOOLEAN active;
        char *low, *high;
        double min, max;
        int lmode, hmode;
    } L; /* bounds */
    struct {
        BOOLEAN active;
        int value;
    } N; /* most sweeps at a level */
    struct {
        BOOLEAN active;
    } Q;
    struct {
        BOOLEAN active;
        double radius;
        char unit;
    } S; /* search radius; unit m: minutes, c: seconds */
    struct {
        BOOLEAN active;
        double b_tension, i_tension;
    } T;
    struct {
        BOOLEAN active;
        double value;
    } Z; /* over-relaxation factor */
} SURFACE_CTRL;
#pragma pop_macro("I")

/* A point. */
typedef struct SURFACE_DATA_STRUCT {
    float x, y, z;
    int index; /* number of the nearest node, i * block_ny + j; 2000000000 for a point that does not count */
} SURFACE_DATA;

typedef struct SURFACE_BRIGGS_STRUCT {
    double b[6]; /* of a point that is not on a node */
} SURFACE_BRIGGS;

/* What the comparison of points goes by. */
typedef struct SURFACE_GLOBAL_STRUCT {
    int block_ny;
    double grid_xinc, grid_yinc;
    double x_min, y_min;
} SURFACE_GLOBAL;

/* Working state. */
typedef struct SURFACE_INFO_STRUCT {
    char* iu;          /* [mx * my] 0 free; 1 .. 4 quadrant of the nearest point; 5 fixed */
    char mode_type[2]; /* "ID" */
    char format[8192];
    char *low_file, *high_file;
    int n_alloc, npoints;
    int nx, ny; /* nodes */
    int mx, my; /* with two more on each side */
    int ij_sw_corner, ij_se_corner, ij_nw_corner, ij_ne_corner;
    int block_nx, block_ny; /* nodes at the current stride */
    int max_iterations, total_iterations;
    int grid, old_grid; /* stride, and the one before */
    int grid_east;      /* index step to the eastern neighbour */
    int n_fact;
    int factors[32];
    int long_verbose;
    int n_empty;
    int set_low, set_high; /* 0 no bound, 1 the data's, 2 the limit as given */
    int constrained;
    int offset[25][12];   /* index steps of the stencil, for each nearness to the edges */
    float *lower, *upper; /* [nx * ny] bounds of the nodes */
    float* u;             /* [mx * my] node (i, j) stands at ij_sw_corner + i * my + j */
    double low_limit, high_limit;
    double grid_xinc, grid_yinc, r_xinc, r_yinc, r_grid_xinc, r_grid_yinc;
    double converge_limit, radius, tension, boundary_tension, interior_tension;
    double a0_const_1, a0_const_2, e_2, e_m2, one_plus_e2, eps_p2, eps_m2, two_plus_ep2, two_plus_em2;
    double x_edge_const, y_edge_const, l_epsilon;
    double z_mean, z_scale, r_z_scale, plane_c0, plane_c1, plane_c2;
    double small;
    double coeff[2][12];
    double relax_old, relax_new;
    SURFACE_DATA* data;
    SURFACE_BRIGGS* briggs;
    float x_min, y_min, x_inc, y_inc;
} SURFACE_INFO;

/* A grid size that is quicker to work on. */
typedef struct SURFACE_SUGGESTION_STRUCT {
    int nx, ny;
    double factor; /* estimated speed-up */
} SURFACE_SUGGESTION;

/* Of the gridding in hand; points to released memory afterwards. */
extern PELTA_API SURFACE_GLOBAL* SG;

/* Grids points onto the nodes xmin + i * xinc, ymin + j * yinc. Always 0.
 *   x, y       [npts] kept; points more than half a spacing outside the grid do not count, and of those nearest to one node only the
 *              nearest one does
 *   z          [npts] values in; [nx * ny] out: node (i, j) at j * nx + i. Room for the larger of the two
 *   aspect     unit of x over unit of y      relax    over-relaxation factor, 1 .. 2 (1.4)
 *   tension    interior and boundary, 0 up to but not including 1
 *   constrain  1: no value leaves the range of the points; 2: every value is 0, the limit of options that nobody set; else no bound
 * At most 100 sweeps at a level; a level is done when no node changes by more than 2, in z's unit, divided by the level's stride.
 * Says its parameters on standard output. Without a point on the grid every value is 0. Where memory runs out z is left alone. */
PELTA_API int computeGMT1Surface(float* x, float* y, float* z, int npts, float xmin, float xinc, int nx, float ymin, float yinc,
                                 int ny, float aspect, float relax, float tension, int constrain);

/* Cost of gridding nx by ny nodes, in node visits of its own kind: good for comparisons only.
 *   factors  [32] scratch */
PELTA_API double GMT1guess_surface_time(int* factors, int nx, int ny);
/* Prints up to ten sizes, up to twice as large, that are quicker. factors as above. */
PELTA_API void GMT1suggest_sizes_for_surface(int* factors, int nx, int ny);
/* For sorting suggestions: the larger factor first. */
PELTA_API int GMT1compare_sugs(const void* point_1, const void* point_2);
PELTA_API int GMT1gcd_euclid(int a, int b);
/* Primes with multiplicity into f [32], ascending; returns their count. */
PELTA_API int GMT1get_prime_factors(int n, int* f);

/* Options with their usual values (250 sweeps, aspect 1, over-relaxation 1.4), or null. */
PELTA_API SURFACE_CTRL* GMT1New_Surface_Ctrl(void);
PELTA_API void GMT1Free_Surface_Ctrl(SURFACE_CTRL* C);

/* --- The steps of a gridding, on a working state whose records are allocated. 0 unless said otherwise. --- */

PELTA_API int GMT1load_parameters(SURFACE_INFO* C, SURFACE_CTRL* Ctrl);
PELTA_API int GMT1set_grid_parameters(SURFACE_INFO* C, SURFACE_GLOBAL* G);
PELTA_API int GMT1throw_away_unusables(SURFACE_INFO* C);
PELTA_API int GMT1remove_planar_trend(SURFACE_INFO* C);
PELTA_API int GMT1rescale_z_values(SURFACE_INFO* C);
/* Makes new grids of bounds, with malloc, and leaves those of an earlier call to their owner; transform: in terms of the scaled points
 * instead of z's unit. */
PELTA_API int GMT1load_constraints(SURFACE_INFO* C, int transform);
PELTA_API int GMT1smart_divide(SURFACE_INFO* C);
PELTA_API int GMT1set_offset(SURFACE_INFO* C);
PELTA_API int GMT1set_index(SURFACE_INFO* C);
PELTA_API int GMT1set_coefficients(SURFACE_INFO* C);
/* Each node the mean of the points within the radius, weighted by their nearness; nodes without one keep their value. */
PELTA_API int GMT1initialize_grid(SURFACE_INFO* C);
/* Each node the value of the nearest point in its own cell of the current stride; others keep theirs. */
PELTA_API int GMT1new_initialize_grid(SURFACE_INFO* C);
PELTA_API int GMT1find_nearest_point(SURFACE_INFO* C);
PELTA_API int GMT1fill_in_forecast(SURFACE_INFO* C);
/* Sweeps until the level is done; mode is not used. Returns the number of sweeps. */
PELTA_API int GMT1iterate(SURFACE_INFO* C, int mode);
PELTA_API int GMT1replace_planar_trend(SURFACE_INFO* C);
/* Order of two SURFACE_DATA by their node, and at one node by their nearness to it, for qsort; reads SG. */
PELTA_API int GMT1compare_points(const void* point_1, const void* point_2);
/* Prints to standard error how well the surface fits its points and how much it bends: a heading, and below it the counts of points and
 * nodes, the mean and the RMS of surface less point (of second order about the nearest node), and the sum over the nodes of the squared
 * Laplacian in node units. Call it before the trend is replaced; values are in z's unit. */
PELTA_API void GMT1check_errors(SURFACE_INFO* C);

PELTA_END_C

#endif
