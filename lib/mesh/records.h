#ifndef PELTA_LIB_MESH_RECORDS_H
#define PELTA_LIB_MESH_RECORDS_H

#include <pelta/trimodel.h>

/* The published records with what the mesh keeps behind them. */

/* A side with the place where it starts: who walks across faces need not look at uses and vertices. */
struct SideRecord : EdgeUse {
    Coord x, y;
};

inline const SideRecord* recordOf(const EdgeUse* side) { return static_cast<const SideRecord*>(side); }

/* A face whose corners may lie on a line, as far as rounding can tell, or even the wrong way round: then it may seem to contain
 * places far off. */
struct FaceRecord : Face {
    bool isFlat;
};

/* Everything that one more point needs, the uses apart from the sides: locations look at sides only. */
struct Addition {
    SideRecord sides[6];
    FaceRecord faces[2];
    VertexUse uses[6];
    Edge edges[3];
};

#endif
