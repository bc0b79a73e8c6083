#ifndef PELTA_LIB_MESH_GEOMETRY_H
#define PELTA_LIB_MESH_GEOMETRY_H

#include <pelta/trimodel.h>

/* The tests on places that everything in the mesh goes by. No tolerance: kept on purpose, for a test that is exact in its own
 * arithmetic gives the same mesh everywhere. */

/* 1 when (x, y) lies to the left of the line from 1 to 2, 0 on it, -1 otherwise (coordinates that are no numbers too). */
inline int sideOf(Coord x1, Coord y1, Coord x2, Coord y2, Coord x, Coord y) {
    const double ahead = (x2 - x1) * (y - y1);
    const double aside = (x - x1) * (y2 - y1);
    return ahead > aside ? 1 : ahead == aside ? 0 : -1;
}

inline const Vertex* startOf(const EdgeUse* side) { return side->vu->v; }
inline const Vertex* endOf(const EdgeUse* side) { return side->euCW->vu->v; }

inline int sideOf(const EdgeUse* side, Coord x, Coord y) {
    const Vertex *from = startOf(side), *to = endOf(side);
    return sideOf(from->x, from->y, to->x, to->y, x, y);
}

inline double squaredDistance(const Vertex* vertex, Coord x, Coord y) {
    const double dx = x - vertex->x, dy = y - vertex->y;
    return dx * dx + dy * dy;
}

#endif
