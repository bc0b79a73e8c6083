#include "mesh/square.h"

#include <array>

#include "mesh/allocation.h"
#include "mesh/links.h"
#include "mesh/records.h"

namespace {

/* A side from a vertex; its use goes into the vertex's ring. */
SideRecord* obtainSide(triModel& mesh, Vertex* from, Face* face) {
    auto* const side = obtainZeroed<SideRecord>(mesh);
    auto* const use = obtainZeroed<VertexUse>(mesh);
    if (!side || !use) return nullptr;
    side->f = face;
    startAt(use, side, from, from->x, from->y);
    if (!from->vu) {
        from->vu = use;
        follow(use, use);
    }
    follow(use, from->vu->vuNext);
    follow(from->vu, use);
    return side;
}

/* A face with corners clockwise, its sides without mates. */
FaceRecord* obtainFace(triModel& mesh, const std::array<Vertex*, 3>& corners) {
    auto* const face = obtainZeroed<FaceRecord>(mesh);
    if (!face) return nullptr;
    EdgeUse* sides[3];
    for (std::size_t i = 0; i < 3; ++i)
        if (!(sides[i] = obtainSide(mesh, corners[i], face))) return nullptr;
    makeLoop(sides[0], sides[1], sides[2]);
    face->m = mesh.model;
    face->eu = sides[0];
    return face;
}

/* The sides that have the square to their left: the one from the first corner. */
EdgeUse* obtainOutside(triModel& mesh, Vertex** corners) {
    EdgeUse* sides[4];
    for (int i = 0; i < 4; ++i)
        if (!(sides[i] = obtainSide(mesh, corners[i], nullptr))) return nullptr;
    for (int i = 0; i < 4; ++i) follow(sides[i], sides[(i + 1) % 4]);
    return sides[0];
}

bool join(triModel& mesh, EdgeUse* side, EdgeUse* mate, int fixed) {
    auto* const edge = obtainZeroed<Edge>(mesh);
    if (!edge) return false;
    *edge = {side, fixed};
    side->e = mate->e = edge;
    makeMates(side, mate);
    return true;
}

void noteSides(FaceRecord* face) {
    const EdgeUse* side = face->eu;
    for (int i = 0; i < 3; ++i, side = side->euCW) {
        face->x[i] = recordOf(side)->x;
        face->y[i] = recordOf(side)->y;
        face->behind[i] = recordOf(side->euMate->f);
    }
}

}

bool makeSquare(triModel& mesh, const Coord* x, const Coord* y, Vertex** corners) {
    constexpr float nothing = 0.0f;
    for (int i = 0; i < 4; ++i)
        if (!(corners[i] = obtainVertex(mesh, x[i], y[i], &nothing, &nothing, 1))) return false;
    FaceRecord* const southEast = obtainFace(mesh, {corners[0], corners[2], corners[1]});
    FaceRecord* const northWest = obtainFace(mesh, {corners[0], corners[3], corners[2]});
    EdgeUse* const outside = obtainOutside(mesh, corners);
    if (!southEast || !northWest || !outside) return false;
    EdgeUse *const diagonal = southEast->eu, *const west = northWest->eu;
    const bool areJoined = join(mesh, diagonal, west->euCCW, 0) && join(mesh, diagonal->euCCW, outside, 1) &&
                           join(mesh, diagonal->euCW, outside->euCW, 1) && join(mesh, west->euCW, outside->euCW->euCW, 1) &&
                           join(mesh, west, outside->euCCW, 1);
    if (!areJoined) return false;
    southEast->fNext = northWest;
    northWest->fPrev = southEast;
    mesh.model->f = mesh.model->Fcur = southEast;
    for (FaceRecord* face : {southEast, northWest}) {
        noteSides(face);
        mesh.tri_circle(face);
    }
    return true;
}
