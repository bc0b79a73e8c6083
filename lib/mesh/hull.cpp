#include "mesh/hull.h"

#include <algorithm>

#include "mesh/allocation.h"
#include "mesh/geometry.h"

namespace {

/* The side of an inner face that runs along the square from one corner to the next, clockwise. */
EdgeUse* sideOfSquare(const Vertex* from, const Vertex* to) {
    const VertexUse* use = from->vu;
    while (!(use->eu->f && endOf(use->eu) == to)) use = use->vuNext;
    return use->eu;
}

}

bool hasPoints(const Model& model) { return startOf(sideOfSquare(model.CV[3], model.CV[2])->euCCW) != model.CV[0]; }

void releaseRing(ModelRecord& model) {
    VertexHull* record = model.hull.vh;
    for (int i = 0; i < model.hull.n; ++i) {
        VertexHull* const next = record->vhNext;
        model.store.giveBack(record, sizeof(VertexHull));
        record = next;
    }
    model.hull = {0, nullptr};
    model.sides.clear();
}

namespace {

/* Appends a record to the ring, which stays closed. */
bool appendToRing(triModel& mesh, Vertex* vertex) {
    auto* record = static_cast<VertexHull*>(obtainTracked(mesh, sizeof(VertexHull)));
    if (!record) return false;
    Hull& hull = mesh.model->hull;
    if (hull.n == 0) hull.vh = record->vhPrev = record->vhNext = record;
    record->v = vertex;
    record->x = record->y = 0.0;
    record->vhPrev = hull.vh->vhPrev;
    record->vhNext = hull.vh;
    record->vhPrev->vhNext = record;
    hull.vh->vhPrev = record;
    ++hull.n;
    return true;
}

void removeLastOfRing(ModelRecord& model) {
    VertexHull* const last = model.hull.vh->vhPrev;
    last->vhPrev->vhNext = last->vhNext;
    last->vhNext->vhPrev = last->vhPrev;
    model.store.giveBack(last, sizeof(VertexHull));
    --model.hull.n;
}

bool isCornerOfSquare(const Model& model, const Vertex* vertex) {
    return std::find(model.CV, model.CV + 4, vertex) != model.CV + 4;
}

/* The points that a corner of the square is linked to, but the one that the ring ends with. */
bool appendFan(triModel& mesh, const Vertex* before, const Vertex* corner) {
    const Hull& hull = mesh.model->hull;
    for (EdgeUse* spoke = sideOfSquare(before, corner)->euCW;; spoke = spoke->euMate->euCW) {
        Vertex* const vertex = spoke->euMate->vu->v;
        const bool isKnown = hull.n > 0 && hull.vh->vhPrev->v == vertex;
        if (!isKnown && !isCornerOfSquare(*mesh.model, vertex) && !appendToRing(mesh, vertex)) return false;
        if (!spoke->euMate->f) return true;
    }
}

}

bool makeRing(triModel& mesh) {
    constexpr int clockwise[5] = {1, 0, 3, 2, 1};
    ModelRecord& model = *recordOf(mesh.model);
    for (int i = 0; i < 4; ++i)
        if (!appendFan(mesh, model.CV[clockwise[i]], model.CV[clockwise[i + 1]])) return false;
    const Hull& hull = model.hull;
    if (hull.n > 1 && hull.vh->vhPrev->v == hull.vh->v) removeLastOfRing(model);
    return true;
}

namespace {

/* The point is outside of the side from a hull vertex to the next. */
bool isBeyond(const VertexHull* from, Coord x, Coord y) {
    const Vertex *start = from->v, *end = from->vhNext->v;
    return sideOf(start->x, start->y, end->x, end->y, x, y) == 1;
}

}

bool isOutside(const ModelRecord& model, Coord x, Coord y) {
    if (model.sides.count() == model.hull.n) return model.sides.countPassed(x, y) > 0;
    const VertexHull* record = model.hull.vh;
    for (int i = 0; i < model.hull.n; ++i, record = record->vhNext)
        if (isBeyond(record, x, y)) return true;
    return false;
}

namespace {

bool seesSideAt(const VertexHull* record, Coord x, Coord y) { return isBeyond(record, x, y) || isBeyond(record->vhPrev, x, y); }

}

VertexHull* nearestVisible(const Hull& hull, Coord x, Coord y) {
    VertexHull* first = hull.vh;
    for (int i = 1; i < hull.n && !seesSideAt(first, x, y); ++i) first = first->vhNext;
    VertexHull* nearest = first;
    double least = squaredDistance(nearest->v, x, y);
    VertexHull* record = first->vhNext;
    for (int i = 1; i < hull.n; ++i, record = record->vhNext) {
        const double there = squaredDistance(record->v, x, y);
        if (!(there < least) || !seesSideAt(record, x, y)) continue;
        least = there;
        nearest = record;
    }
    return nearest;
}
