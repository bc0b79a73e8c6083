#ifndef PELTA_LIB_MESH_GEOMETRY_H
#define PELTA_LIB_MESH_GEOMETRY_H

#include <cmath>

#include "mesh/records.h"

/* The tests on places that everything in the mesh goes by. Kept on purpose: no tolerance, for a test that is exact in its own
 * arithmetic gives the same mesh everywhere. */

/* 1 when (x, y) lies to the left of the line from 1 to 2, 0 on it, -1 otherwise (coordinates that are no numbers too). */
inline int sideOf(Coord x1, Coord y1, Coord x2, Coord y2, Coord x, Coord y) {
    const double ahead = (x2 - x1) * (y - y1);
    const double aside = (x - x1) * (y2 - y1);
    return ahead > aside ? 1 : ahead == aside ? 0 : -1;
}

inline const Vertex* startOf(const EdgeUse* side) { return side->vu->v; }
inline const Vertex* endOf(const EdgeUse* side) { return side->euCW->vu->v; }

/* Where a side starts. Sides of the mesh know it themselves; of others the vertex is asked. */
inline const Vertex* placeOf(const EdgeUse* side) { return side->vu->v; }
inline const SideRecord* placeOf(const SideRecord* side) { return side; }

template <class Side>
const Side* nextOf(const Side* side) {
    return static_cast<const Side*>(side->euCW);
}

template <class Side>
int sideOf(const Side* side, Coord x, Coord y) {
    const auto *from = placeOf(side), *to = placeOf(nextOf(side));
    return sideOf(from->x, from->y, to->x, to->y, x, y);
}

/* The face of a side. Its sides and corners belong to a face. */
template <class Side>
bool contains(const Side* first, Coord x, Coord y) {
    const Side* side = first;
    do {
        if (sideOf(side, x, y) == 1) return false;
        side = nextOf(side);
    } while (side != first);
    return true;
}

/* The segment from 1 to 2 crosses or touches the side. */
template <class Side>
bool isCrossed(const Side* side, Coord x1, Coord y1, Coord x2, Coord y2) {
    const int ofEnds = sideOf(side, x1, y1) + sideOf(side, x2, y2);
    if (ofEnds == 2 || ofEnds == -2) return false;
    const auto *from = placeOf(side), *to = placeOf(nextOf(side));
    const int ofSide = sideOf(x1, y1, x2, y2, from->x, from->y) + sideOf(x1, y1, x2, y2, to->x, to->y);
    return ofSide != 2 && ofSide != -2;
}

inline double distance(Coord x1, Coord y1, Coord x2, Coord y2) {
    return std::sqrt((x1 - x2) * (x1 - x2) + (y1 - y2) * (y1 - y2));
}

template <class Place>
double squaredDistance(const Place* place, Coord x, Coord y) {
    const double dx = x - place->x, dy = y - place->y;
    return dx * dx + dy * dy;
}

#endif
