#ifndef PELTA_GMTSURFACE_H
#define PELTA_GMTSURFACE_H

/* The second routine for surfaces through scattered points: the same splines in tension as gmtgrid.h, in double precision (the
 * surface and the points are single), with the grid given by origin and spacing and with bounds on what comes out. The one to
 * take for new work, where no earlier surface has to be met.
 *
 * Example:
 *     float x[4] = {0, 100, 0, 100}, y[4] = {0, 0, 100, 100}, z[121] = {10, 20, 30, 40};  // points; then the surface
 *     computeGMT1Surface(x, y, z, 4, 0, 10, 11, 0, 10, 11, 1, 1.4f, 0.25f, 0);
 *     printf("corners %.1f %.1f, centre %.1f\n", z[0], z[120], z[60]);
 * Output:
 *     computeSurface relax: 1.400000   tension: 0.250000   aspect: 1.000000   constrain: 0
 *     corners 10.0 40.0, centre 25.0
 */

#include "export.h"

PELTA_BEGIN_C

/* 0 or 1. */
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
    } G; /* not used */
    struct {
        BOOLEAN active;
        double xinc, yinc;
    } I; /* not used */
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
    } Q; /* not used */
    struct {
        BOOLEAN active;
        double radius;
        char unit;
    } S; /* search radius; unit m or M: minutes, c: seconds */
    struct {
        BOOLEAN active;
        double b_tension, i_tension;
    } T; /* tension at the boundary and inside */
    struct {
        BOOLEAN active;
        double value;
    } Z; /* over-relaxation factor */
} SURFACE_CTRL;
#pragma pop_macro("I")

/* A point. */
typedef struct SURFACE_DATA_STRUCT {
    float x, y, z; /* place and value */
    int index;     /* number of the nearest node, i * block_ny + j; 2000000000 for a point that does not count */
} SURFACE_DATA;

/* Coefficients by which a point that is not on a node enters the equation of its node (Briggs). */
typedef struct SURFACE_BRIGGS_STRUCT {
    double b[6]; /* b[0] .. b[3] of neighbours, b[4] of the node itself, b[5] the point's value times its own */
} SURFACE_BRIGGS;

/* What the comparison of points goes by. */
typedef struct SURFACE_GLOBAL_STRUCT {
    int block_ny;                /* nodes along y at the current stride */
    double grid_xinc, grid_yinc; /* their spacing */
    double x_min, y_min;         /* the grid's origin */
} SURFACE_GLOBAL;

/* Working state. */
typedef struct SURFACE_INFO_STRUCT {
    char* iu;                   /* [mx * my] 0 free; 1 .. 4 quadrant of the nearest point; 5 fixed */
    char mode_type[2];          /* "ID" */
    char format[8192];          /* not used */
    char *low_file, *high_file; /* bounds as the options name them; no file is read */
    int n_alloc;                /* points given */
    int npoints;                /* points that count */
    int nx, ny;                 /* nodes */
    int mx, my;                 /* with two more on each side */
    int ij_sw_corner, ij_se_corner, ij_nw_corner, ij_ne_corner; /* index of the corner nodes in u */
    int block_nx, block_ny;                                     /* nodes at the current stride */
    int max_iterations;                                         /* most sweeps at a level */
    int total_iterations;                                       /* sweeps so far */
    int grid, old_grid;                                         /* stride, and the one before */
    int grid_east;                                              /* index step to the eastern neighbour */
    int n_fact;                                                 /* factors that are left */
    int factors[32];                                            /* primes of the first stride, ascending */
    int long_verbose;                                           /* not used */
    int n_empty;                                                /* not used */
    int set_low, set_high;                                      /* 0 no bound, 1 the data's, 2 the limit as given */
    int constrained;                                            /* not 0: there are bounds */
    int offset[25][12];                                         /* index steps of the stencil, for each nearness to the edges */
    float *lower, *upper;                                       /* [nx * ny] bounds of the nodes */
    float* u;                                                   /* [mx * my] node (i, j) stands at ij_sw_corner + i * my + j */
    double low_limit, high_limit;                               /* bounds, in z's unit */
    double grid_xinc, grid_yinc;                                /* spacing at the current stride */
    double r_xinc, r_yinc;                                      /* reciprocals of the finest spacing */
    double r_grid_xinc, r_grid_yinc;                            /* reciprocals of the spacing at the current stride */
    double converge_limit; /* a level is done when no node changes by more, in z's unit, divided by the stride */
    double radius;         /* of the search for a first surface; 0 for none */
    double tension;        /* not used */
    double boundary_tension, interior_tension;             /* 0 up to but not including 1 */
    double a0_const_1, a0_const_2, e_2, e_m2, one_plus_e2; /* of tension and aspect, by GMT1set_coefficients */
    double eps_p2, eps_m2, two_plus_ep2, two_plus_em2;     /* likewise */
    double x_edge_const, y_edge_const;                     /* of the equations at the edges, likewise */
    double l_epsilon;                                      /* aspect: unit of x over unit of y */
    double z_mean;                                         /* mean of the points given */
    double z_scale, r_z_scale;                             /* RMS of the points without their plane, and its reciprocal */
    double plane_c0, plane_c1, plane_c2;                   /* the plane: constant, per node along x, per node along y */
    double small;                                          /* a point nearer than this to its node fixes it */
    double coeff[2][12];         /* weights of the stencil: [0] of a free node, [1] of one with a point nearby */
    double relax_old, relax_new; /* weights of the old and the new value in a sweep */
    SURFACE_DATA* data;          /* [npoints] */
    SURFACE_BRIGGS* briggs;      /* [npoints] those of the points that fix no node, in the order of data */
    float x_min, y_min;          /* the grid's origin */
    float x_inc, y_inc;          /* its finest spacing */
} SURFACE_INFO;

/* A grid size that is quicker to work on. */
typedef struct SURFACE_SUGGESTION_STRUCT {
    int nx, ny;    /* nodes */
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
/* Greatest common divisor. */
PELTA_API int GMT1gcd_euclid(int a, int b);
/* Primes with multiplicity into f [32], ascending; returns their count. */
PELTA_API int GMT1get_prime_factors(int n, int* f);

/* Options with their usual values (250 sweeps, aspect 1, over-relaxation 1.4), or null. */
PELTA_API SURFACE_CTRL* GMT1New_Surface_Ctrl(void);
/* Frees options. */
PELTA_API void GMT1Free_Surface_Ctrl(SURFACE_CTRL* C);

/* --- The steps of a gridding, on a working state whose records are allocated. 0 unless said otherwise. --- */

/* Takes the options over into the state. */
PELTA_API int GMT1load_parameters(SURFACE_INFO* C, SURFACE_CTRL* Ctrl);
/* Counts the nodes of the current stride and their spacing, for the state and for the comparison of points. */
PELTA_API int GMT1set_grid_parameters(SURFACE_INFO* C, SURFACE_GLOBAL* G);
/* Keeps of the points nearest to one node only the nearest one, and none outside; npoints becomes their count. 1 where memory
 * for sorting cannot be had. */
PELTA_API int GMT1throw_away_unusables(SURFACE_INFO* C);
/* Takes the plane of least squares out of the points. */
PELTA_API int GMT1remove_planar_trend(SURFACE_INFO* C);
/* Divides the points by their RMS; a convergence limit of 0 becomes a thousandth of it. */
PELTA_API int GMT1rescale_z_values(SURFACE_INFO* C);
/* Makes new grids of bounds, with malloc, and leaves those of an earlier call to their owner; transform: in terms of the scaled points
 * instead of z's unit. */
PELTA_API int GMT1load_constraints(SURFACE_INFO* C, int transform);
/* Goes to the next finer stride, by the largest factor that is left. */
PELTA_API int GMT1smart_divide(SURFACE_INFO* C);
/* Makes the index steps of the stencil at the current stride. */
PELTA_API int GMT1set_offset(SURFACE_INFO* C);
/* Numbers the points by the nodes of the current stride, sorts them so and leaves out what lies outside. 1 where memory for
 * sorting cannot be had. */
PELTA_API int GMT1set_index(SURFACE_INFO* C);
/* Makes the weights of the stencil of tension and aspect, and the corners' indices. */
PELTA_API int GMT1set_coefficients(SURFACE_INFO* C);
/* Each node the mean of the points within the radius, weighted by their nearness; nodes without one keep their value. */
PELTA_API int GMT1initialize_grid(SURFACE_INFO* C);
/* Each node the value of the nearest point in its own cell of the current stride; others keep theirs. */
PELTA_API int GMT1new_initialize_grid(SURFACE_INFO* C);
/* Fixes the nodes that have a point on them, and enters the others by the quadrant of their nearest point. */
PELTA_API int GMT1find_nearest_point(SURFACE_INFO* C);
/* Gives the nodes between those of the stride before their values, bilinearly. */
PELTA_API int GMT1fill_in_forecast(SURFACE_INFO* C);
/* Sweeps until the level is done; mode is not used. Returns the number of sweeps. */
PELTA_API int GMT1iterate(SURFACE_INFO* C, int mode);
/* Scales the surface back and adds the plane. */
PELTA_API int GMT1replace_planar_trend(SURFACE_INFO* C);
/* Order of two SURFACE_DATA by their node, and at one node by their nearness to it, for qsort; reads SG. */
PELTA_API int GMT1compare_points(const void* point_1, const void* point_2);
/* Prints to standard error how well the surface fits its points and how much it bends: a heading, and below it the counts of points and
 * nodes, the mean and the RMS of surface less point (of second order about the nearest node), and the sum over the nodes of the squared
 * Laplacian in node units. Call it before the trend is replaced; values are in z's unit. */
PELTA_API void GMT1check_errors(SURFACE_INFO* C);

PELTA_END_C

#endif
