#ifndef PELTA_LIB_MESH_LINKS_H
#define PELTA_LIB_MESH_LINKS_H

#include <pelta/trimodel.h>

/* How records are linked; the link setters of triModel are these. */

inline void startAt(VertexUse* use, EdgeUse* side) {
    use->eu = side;
    side->vu = use;
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
