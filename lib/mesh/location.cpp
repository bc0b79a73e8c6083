#include "mesh/location.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

#include "mesh/geometry.h"

// --- the walk ---

namespace {

bool contains(const Face* face, Coord x, Coord y) { return contains(recordOf(face->eu), x, y); }

/* How far the point lies beyond the side of the face that it is farthest beyond. */
double violation(const Face* face, Coord x, Coord y) {
    double farthest = 0.0;
    for (const EdgeUse* side : {face->eu, face->eu->euCW, face->eu->euCCW}) {
        const SideRecord *from = recordOf(side), *to = recordOf(side->euCW);
        const double dx = to->x - from->x, dy = to->y - from->y;
        const double beyond = (dx * (y - from->y) - (x - from->x) * dy) / std::sqrt(dx * dx + dy * dy);
        if (beyond > farthest) farthest = beyond;
    }
    return farthest;
}

/* Where no walk leads there. */
Face* searchAllFaces(const Model& model, Coord x, Coord y) {
    for (Face* face = model.f; face; face = face->fNext)
        if (contains(face, x, y)) return face;
    Face* least = model.f;
    double leastViolation = std::numeric_limits<double>::infinity();
    for (Face* face = model.f; face; face = face->fNext) {
        const double here = violation(face, x, y);
        if (here < leastViolation) {
            leastViolation = here;
            least = face;
        }
    }
    return least;
}

/* The vertex from which no neighbour is nearer to the point. */
Vertex* descend(Vertex* vertex, Coord x, Coord y) {
    double distance = squaredDistance(vertex, x, y);
    const VertexUse* use = vertex->vu;
    do {
        const EdgeUse* const arrival = use->eu->euMate;
        const double there = squaredDistance(recordOf(arrival), x, y);
        if (there < distance) {
            vertex = arrival->vu->v;
            distance = there;
            use = vertex->vu;
            continue;
        }
        use = use->vuNext;
        if (use == vertex->vu) return vertex;
    } while (true);
}

Face* containingFaceAt(const Vertex* vertex, Coord x, Coord y) {
    const VertexUse* use = vertex->vu;
    do {
        if (use->eu->f && contains(recordOf(use->eu), x, y)) return use->eu->f;
        use = use->vuNext;
    } while (use != vertex->vu);
    return nullptr;
}

/* The segment from the vertex to the point crosses the side. */
bool isCrossed(const EdgeUse* side, const Vertex* vertex, Coord x, Coord y) {
    return isCrossed(recordOf(side), vertex->x, vertex->y, x, y);
}

/* The first side opposite the vertex that the way to the point crosses; null where there is none. */
const EdgeUse* firstSideCrossed(const Vertex* vertex, Coord x, Coord y) {
    const VertexUse* use = vertex->vu;
    do {
        if (isCrossed(use->eu->euCW, vertex, x, y)) return use->eu->euCW;
        use = use->vuNext;
    } while (use != vertex->vu);
    return nullptr;
}

/* Notices that a walk goes in circles, as rounding can make it: each step depends on the side to be crossed and the vertex aimed
 * from alone, so one pair that comes again comes for ever. Pairs are remembered at the 1st, 2nd, 4th, 8th ... step. */
class CircleWatch {
  public:
    bool comesAgain(const EdgeUse* side, const Vertex* vertex) {
        if (side == _side && vertex == _vertex) return true;
        if (++_steps == _nextAt) {
            _side = side;
            _vertex = vertex;
            _nextAt *= 2;
        }
        return false;
    }

  private:
    const EdgeUse* _side = nullptr;
    const Vertex* _vertex = nullptr;
    std::size_t _steps = 0, _nextAt = 1;
};

/* Walks from a vertex to a face that contains the point. */
Face* walkFrom(const Model& model, Vertex* vertex, Coord x, Coord y) {
    CircleWatch watch;
    while (true) {
        vertex = descend(vertex, x, y);
        if (Face* face = containingFaceAt(vertex, x, y)) return face;
        const EdgeUse* side = firstSideCrossed(vertex, x, y);
        int crossed = 0;
        while (side && crossed != 3) {
            const EdgeUse* const entered = side->euMate;
            if (!entered->f || watch.comesAgain(side, vertex)) {
                side = nullptr;
                break;
            }
            if (contains(recordOf(entered), x, y)) return entered->f;
            crossed = isCrossed(entered->euCW, vertex, x, y) + 2 * isCrossed(entered->euCCW, vertex, x, y);
            side = crossed == 0 ? nullptr : crossed == 1 ? entered->euCW : entered->euCCW;
        }
        if (!side) return searchAllFaces(model, x, y);
        vertex = side->vu->v; /* the way leads through the far corner */
    }
}

}

Face* walkFrom(const Model& model, Face* face, Coord x, Coord y) {
    return contains(face, x, y) ? face : walkFrom(model, face->eu->vu->v, x, y);
}

// --- shorter ways ---

namespace {

/* 1 where the point is to the left of the face's side, -1 where it is to the right of it by more than any test may err, 0
 * otherwise. Tests err by less than the spacing of numbers at the size of the square, times the length of the side. */
int clearSideOf(const FaceRecord* face, int side, Coord x, Coord y) {
    constexpr double clear = 1e-7;
    const int next = side < 2 ? side + 1 : 0;
    const double dx = face->x[next] - face->x[side], dy = face->y[next] - face->y[side];
    const double ahead = dx * (y - face->y[side]), aside = (x - face->x[side]) * dy;
    if (ahead > aside) return 1;
    return aside - ahead > clear * (std::abs(dx) + std::abs(dy)) ? -1 : 0;
}

/* Follows the sides that have the point to their left, back where it came from only if there is no other. Null unless the walk
 * ends in a face that has the point clearly inside. In a mesh without flat faces no other face contains it then, whichever way
 * one comes. */
FaceRecord* clearlyContainingFace(FaceRecord* face, Coord x, Coord y) {
    constexpr int longestWalk = 1000;
    const FaceRecord* previous = nullptr;
    for (int i = 0; i < longestWalk && face; ++i) {
        int clearSides = 0, side = 0, wayBack = 3;
        for (; side < 3; ++side) {
            const int here = clearSideOf(face, side, x, y);
            clearSides += here == -1;
            if (here != 1) continue;
            if (face->behind[side] != previous) break;
            wayBack = side;
        }
        if (clearSides == 3) return face;
        if (side == 3) side = wayBack;
        if (side == 3) return nullptr;
        previous = std::exchange(face, face->behind[side]);
    }
    return nullptr;
}

/* False where another descent could have ended elsewhere: at a neighbour that is about as near, however circles were rounded. */
bool isNearestByFar(const Vertex* vertex, Coord x, Coord y) {
    constexpr double margin = 1.001;
    const double distance = squaredDistance(vertex, x, y);
    const VertexUse* use = vertex->vu;
    do {
        if (squaredDistance(recordOf(use->eu->euMate), x, y) <= margin * distance) return false;
        use = use->vuNext;
    } while (use != vertex->vu);
    return true;
}

}

/* Where one face alone can have the point, any way there will do. Otherwise the vertex nearest to the point decides: it is the
 * same wherever the descent begins, unless two are as near. */
FaceRecord* locate(ModelRecord& model, Coord x, Coord y) {
    FaceRecord* const last = recordOf(model.Fcur);
    FaceRecord* const known = model.grid.isNear(last->x[2], last->y[2], x, y) ? nullptr : model.grid.near(x, y);
    FaceRecord* found = model.flatFaces == 0 ? clearlyContainingFace(known ? known : last, x, y) : nullptr;
    if (!found) {
        if (contains(recordOf(last->eu), x, y)) return last;
        Vertex* vertex = last->eu->vu->v;
        if (known && !model.hadTurnedFaces)
            if (Vertex* nearest = descend(known->eu->vu->v, x, y); isNearestByFar(nearest, x, y)) vertex = nearest;
        found = recordOf(walkFrom(model, vertex, x, y));
    }
    if (found == last) return last;
    for (const FaceRecord* behind : found->behind) /* the next place may lie there */
        if (behind) __builtin_prefetch(behind->x);
    model.Fcur = found;
    return found;
}

Vertex* cornerAt(const FaceRecord* face, Coord x, Coord y) {
    for (int i = 0; i < 3; ++i)
        if (face->x[i] == x && face->y[i] == y) return (i == 0 ? face->eu : i == 1 ? face->eu->euCW : face->eu->euCCW)->vu->v;
    return nullptr;
}
