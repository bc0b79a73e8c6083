#ifndef PELTA_LIB_MESH_LINKS_H
#define PELTA_LIB_MESH_LINKS_H

#include "mesh/records.h"

/* How records are linked; the link setters of triModel are these. */

inline void startAt(VertexUse* use, EdgeUse* side) {
    use->eu = side;
    side->vu = use;
}

/* A side from a vertex, which stands at (x, y). */
inline void startAt(VertexUse* use, SideRecord* side, Vertex* vertex, Coord x, Coord y) {
    use->v = vertex;
    startAt(use, side);
    side->x = x;
    side->y = y;
}

inline void follow(EdgeUse* side, EdgeUse* next) {
    side->euCW = next;
    next->euCCW = side;
}

inline void follow(VertexUse* use, VertexUse* next) {
    use->vuNext = next;
    next->vuPrev = use;
}

inline void makeMates(EdgeUse* one, EdgeUse* other) {
    one->euMate = other;
    other->euMate = one;
}

template <class Record>
void makeLoop(Record* first, Record* second, Record* third) {
    follow(first, second);
    follow(second, third);
    follow(third, first);
}

#endif
