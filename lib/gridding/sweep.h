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

/* A node becomes a weighted sum over the stencil, with a data point near it one that is pulled to the point as well; over-relaxed. */
template <class Real>
struct Equations {
    Real free[stencilSize], withData[stencilSize];
    Real ofPull, ofNode; /* the pull, and the node itself beside it */
    Real ofOld, ofNew;
};

/* A node with a data point near it: its i, and the number of its Briggs record. */
struct DataNode {
    int i, record;
};

/* Those of front t are nodes[starts[t]] up to nodes[starts[t + 1]], in any order. */
template <class Real>
struct DataNodes {
    const int* starts;
    const DataNode* nodes;
    const Real (*briggs)[6];
};

/* Goes over the level once. A node is free (state 0), pulled by a point in a quadrant round it (1 .. 4) or keeps its value. Returns
 * the largest change. */
float sweep(const SkewedGrid<float>& grid, const Equations<float>& equations, const DataNodes<float>& dataNodes);
double sweep(const SkewedGrid<double>& grid, const Equations<double>& equations, const DataNodes<double>& dataNodes);

#endif
