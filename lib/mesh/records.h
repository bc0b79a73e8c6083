#ifndef PELTA_LIB_MESH_RECORDS_H
#define PELTA_LIB_MESH_RECORDS_H

#include <pelta/trimodel.h>

/* The published records with what the mesh keeps behind them. */

/* A side with the place where it starts: who walks across faces need not look at uses and vertices. */
struct SideRecord : EdgeUse {
    Coord x, y;
};

inline const SideRecord* recordOf(const EdgeUse* side) { return static_cast<const SideRecord*>(side); }

/* A face with what a walk across it asks for, in two cache lines with the published part: the places of its corners in the order
 * of its sides from eu on, and the faces behind those sides (null outside the square). */
struct FaceRecord : Face {
    FaceRecord* behind[3];
    Coord x[3], y[3];
};

inline FaceRecord* recordOf(Face* face) { return static_cast<FaceRecord*>(face); }
inline const FaceRecord* recordOf(const Face* face) { return static_cast<const FaceRecord*>(face); }

/* Everything that one more point needs, the uses apart from the sides: most steps look at sides only. */
struct Addition {
    FaceRecord faces[2];
    SideRecord sides[6];
    VertexUse uses[6];
    Edge edges[3];
};

#endif
