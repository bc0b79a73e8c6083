#ifndef PELTA_LIB_GRIDDING_SWEEP_H
#define PELTA_LIB_GRIDDING_SWEEP_H

#include "gridding/skewedgrid.h"
#include "vectorize.h"

/* The 12 nodes of the finite-difference stencil, in the order in which their terms are added. */
enum StencilNode {
    north2,
    northWest,
    north,
    northEast,
    west2,
    west,
    east,
    east2,
    southWest,
    south,
    southEast,
    south2,
    stencilSize
};

/* Steps along i (eastward) and j (northward). */
struct StencilStep {
    int i, j;
    constexpr int fronts() const { return 2 * i + j; }
};
inline constexpr StencilStep stencil[stencilSize] = {{0, 2}, {-1, 1}, {0, 1},   {1, 1},  {-2, 0}, {-1, 0},
                                                     {1, 0}, {2, 0},  {-1, -1}, {0, -1}, {1, -1}, {0, -2}};

/* What a node without data becomes: a weighted sum over the stencil, over-relaxed. */
template <class Real>
struct Relaxation {
    Real coefficients[stencilSize];
    Real ofOld, ofNew;
};

/* Goes over a front of count nodes from firstI on; those whose state is not 0 keep their value. Returns the largest change. */
float sweepFront(const SkewedGrid& grid, int front, const Relaxation<float>& relaxation);
double sweepFront(const SkewedGrid& grid, int front, const Relaxation<double>& relaxation);

#endif
