#ifndef PELTA_LIB_GRIDDING_SWEEP_H
#define PELTA_LIB_GRIDDING_SWEEP_H

#include "gridding/skewedgrid.h"

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

/* A node becomes a weighted sum over the stencil, with a data point near it one that is pulled to the point as well; over-relaxed. */
template <class Real>
struct Equations {
    Real free[stencilSize], withData[stencilSize];
    Real ofPull, ofNode; /* the pull, and the node itself beside it */
    Real ofOld, ofNew;
};

/* A node with a data point near it: its i, the quadrant in which the point lies, from 0, and the number of its Briggs record. */
struct DataNode {
    int i;
    unsigned quadrant : 2, record : 30;
};

/* Those of front t are nodes[starts[t]] up to nodes[starts[t + 1]], in any order. */
template <class Real>
struct DataNodes {
    const int* starts;
    const DataNode* nodes;
    const Real (*briggs)[6];
};

/* What the boundary values on the pad are computed with. Along x: the west and east edge. */
template <class Real>
struct EdgeConstants {
    Real x0, x1, y0, y1;
    Real eps_p2, eps_m2, two_plus_ep2, two_plus_em2;
};

template <class Real>
struct Level {
    SkewedGrid<Real>& grid;
    Equations<Real> equations;
    EdgeConstants<Real> edges;
    DataNodes<Real> dataNodes;
};

/* Sweeps over the level, at least once and at most so often, until the largest change of a sweep, times scale, is within the limit.
 * Before a sweep the boundary values are set. A node is free, or has data near it, or keeps its value. Returns the number of sweeps. */
int sweepUntilSettled(const Level<float>& level, float limit, double scale, int most);
int sweepUntilSettled(const Level<double>& level, double limit, double scale, int most);

#endif
