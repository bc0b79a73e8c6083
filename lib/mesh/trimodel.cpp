#include <pelta/trimodel.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "mesh/circles.h"
#include "mesh/facegrid.h"
#include "mesh/geometry.h"
#include "mesh/links.h"
#include "mesh/records.h"
#include "mesh/recordstore.h"
#include "mesh/resampling.h"
#include "truncation.h"
#include "vectorize.h"

namespace {

constexpr Coord squareHalf = 40000000.0;

/* The sides of the hull beside one another, for a test of all of them at once. */
struct HullSides {
    double *x = nullptr, *y = nullptr, *dx = nullptr, *dy = nullptr; /* start and direction */
    int count = 0, room = 0;
};

/* A model with what keeps it fast behind the published part. */
struct Store : Model {
    RecordStore records;
    FaceGrid grid;
    AbscissaChain abscissae;
    ResampledFunctions functions;
    HullSides sides;
    std::size_t flatFaces = 0;
    bool hadTurnedFaces = false; /* flat ones, the wrong way round */

    ~Store() { std::free(sides.x); }
};

Store& storeOf(Model* model) { return *static_cast<Store*>(model); }

bool isInSquare(const Model& model, Coord x, Coord y) {
    return x >= model.Xc[0] && x <= model.Xc[1] && y >= model.Yc[0] && y <= model.Yc[2];
}

}

// --- memory ---

void triModel::tri_add_ptr(Tracker** list, void* p) {
    auto* node = static_cast<Tracker*>(std::malloc(sizeof(Tracker)));
    if (!node) return;
    *node = {p, *list};
    *list = node;
}

void triModel::tri_rem_ptr(Tracker** list, void* p) {
    while (*list && (*list)->p != p) list = &(*list)->next;
    if (!*list) return;
    Tracker* node = *list;
    *list = node->next;
    std::free(node);
}

/* The node comes first: a block that could not be listed would be lost. */
void* triModel::trimalloc(Tracker** list, size_t bytes) {
    Tracker* const before = *list;
    tri_add_ptr(list, nullptr);
    if (*list == before) return nullptr;
    return (*list)->p = std::malloc(bytes);
}

void triModel::trifree(Tracker** list, void* p) {
    Tracker* node = *list;
    while (node && node->p != p) node = node->next;
    if (!node || !p) return;
    tri_rem_ptr(list, p);
    std::free(p);
}

void triModel::trigfree(Tracker** list, void* p) { trifree(list, p); }

void triModel::tri_free_all(Tracker** list) {
    while (Tracker* node = *list) {
        *list = node->next;
        std::free(node->p);
        std::free(node);
    }
}

char* triModel::tri_malloc_mem(int n) {
    if (!model || n < 0 || model->mbytes - model->mused < n) {
        std::puts("triModel: error, no space left in memory pool.");
        std::fflush(stdout);
        return nullptr;
    }
    char* const memory = model->pntr;
    model->pntr += n;
    model->mused += n;
    return memory;
}

namespace {

/* A record from the pool or from tracked memory. */
void* obtain(triModel& mesh, std::size_t bytes) {
    if (mesh.model->npnts >= 1)
        return bytes <= static_cast<std::size_t>(std::numeric_limits<int>::max()) ? mesh.tri_malloc_mem(static_cast<int>(bytes))
                                                                                  : nullptr;
    return storeOf(mesh.model).records.take(bytes, [&](std::size_t block) {
        return mesh.trimalloc(&mesh.model->tracker, block);
    });
}

/* What the pool gave stays used. */
void giveBack(triModel& mesh, void* record, std::size_t bytes) {
    if (mesh.model->npnts < 1) storeOf(mesh.model).records.giveBack(record, bytes);
}

template <class Record>
Record* obtainZeroed(triModel& mesh) {
    void* const record = obtain(mesh, sizeof(Record));
    return record ? static_cast<Record*>(std::memset(record, 0, sizeof(Record))) : nullptr;
}

/* More than can be had where the count does not fit the address space. */
std::size_t vertexBytes(int pairs) {
    constexpr std::size_t pairBytes = 2 * sizeof(float), most = (PTRDIFF_MAX - sizeof(Vertex)) / pairBytes;
    const auto count = static_cast<std::size_t>(pairs);
    return count <= most ? sizeof(Vertex) + count * pairBytes : SIZE_MAX;
}

Vertex* obtainVertex(triModel& mesh, Coord x, Coord y, int pairs) {
    auto* vertex = static_cast<Vertex*>(obtain(mesh, vertexBytes(pairs)));
    if (!vertex) return nullptr;
    vertex->vu = nullptr;
    vertex->x = x;
    vertex->y = y;
    vertex->nabs = pairs;
    return vertex;
}

float* abscissaeOf(const Vertex* vertex) { return const_cast<float*>(vertex->va); }
float* ordinatesOf(const Vertex* vertex) { return const_cast<float*>(vertex->va) + vertex->nabs; }

void setFunction(Vertex* vertex, const float* abscissae, const float* ordinates) {
    std::copy_n(abscissae, vertex->nabs, abscissaeOf(vertex));
    std::copy_n(ordinates, vertex->nabs, ordinatesOf(vertex));
}

}

// --- links ---

void triModel::tri_vu_eu(VertexUse* vu, EdgeUse* eu) { startAt(vu, eu); }

void triModel::tri_eu_eu(EdgeUse* eu1, EdgeUse* eu2) { follow(eu1, eu2); }

void triModel::tri_vu_vu(VertexUse* vu1, VertexUse* vu2) { follow(vu1, vu2); }

void triModel::tri_mate(EdgeUse* eu1, EdgeUse* eu2) { makeMates(eu1, eu2); }

void triModel::tri_vu_loop(VertexUse* vu1, VertexUse* vu2, VertexUse* vu3) { makeLoop(vu1, vu2, vu3); }

void triModel::tri_eu_loop(EdgeUse* eu1, EdgeUse* eu2, EdgeUse* eu3) { makeLoop(eu1, eu2, eu3); }

// --- tests on places ---

int triModel::tri_left(Coord x1, Coord y1, Coord x2, Coord y2, Coord x, Coord y) { return sideOf(x1, y1, x2, y2, x, y); }

int triModel::tri_left_1(Coord x1, Coord y1, Cflt x2, Cflt y2, Coord x, Coord y) { return sideOf(x1, y1, x2, y2, x, y); }

int triModel::tri_inside(Face* F, Coord x, Coord y) { return contains(F->eu, x, y); }

int triModel::tri_sect(EdgeUse* EU, Coord x1, Coord y1, Coord x2, Coord y2) { return isCrossed(EU, x1, y1, x2, y2); }

int triModel::tri_onvertex(Coord x, Coord y, Face* F, VertexUse** VU) {
    EdgeUse* side = F->eu;
    do {
        if (startOf(side)->x == x && startOf(side)->y == y) {
            *VU = side->vu;
            return 1;
        }
        side = side->euCW;
    } while (side != F->eu);
    return 0;
}

void triModel::tri_circ(Coord x1, Coord y1, Coord x2, Coord y2, Coord x3, Coord y3, Cflt* xc, Cflt* yc, Cflt* rs) {
    const Circle circle = circleThrough(x1, y1, x2, y2, x3, y3);
    if (circle.ahead == circle.aside) {
        std::printf("Given points are on straight line");
        std::printf("(%g,%g) (%g,%g) (%g,%g)\n", x1, y1, x2, y2, x3, y3);
        std::fflush(stdout);
        *rs = -1.0;
        return;
    }
    *xc = circle.xc;
    *yc = circle.yc;
    *rs = circle.rs;
}

void triModel::tri_circle(Face* F) {
    const Vertex *v1 = startOf(F->eu), *v2 = startOf(F->eu->euCW), *v3 = startOf(F->eu->euCCW);
    tri_circ(v1->x, v1->y, v2->x, v2->y, v3->x, v3->y, &F->xc, &F->yc, &F->rs);
}

// --- location ---

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

void triModel::tri_face(Coord x, Coord y, Face** F) {
    if (!model) return;
    if (!*F) *F = model->f;
    if (!contains(*F, x, y)) *F = walkFrom(*model, (*F)->eu->vu->v, x, y);
}

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

/* The corner of the face that stands exactly at a place; null where there is none. */
Vertex* cornerAt(const FaceRecord* face, Coord x, Coord y) {
    for (int i = 0; i < 3; ++i)
        if (face->x[i] == x && face->y[i] == y) return (i == 0 ? face->eu : i == 1 ? face->eu->euCW : face->eu->euCCW)->vu->v;
    return nullptr;
}

/* Sets Fcur to the face of a point inside the square that tri_face finds from there, by a shorter way. Where one face alone
 * can have the point, any way there will do. Otherwise the vertex nearest to the point decides: it is the same wherever the
 * descent begins, unless two are as near. */
FaceRecord* locate(Store& store, Coord x, Coord y) {
    FaceRecord* const last = recordOf(store.Fcur);
    FaceRecord* const known = store.grid.isNear(last->x[2], last->y[2], x, y) ? nullptr : store.grid.near(x, y);
    FaceRecord* found = store.flatFaces == 0 ? clearlyContainingFace(known ? known : last, x, y) : nullptr;
    if (!found) {
        if (contains(recordOf(last->eu), x, y)) return last;
        Vertex* vertex = last->eu->vu->v;
        if (known && !store.hadTurnedFaces)
            if (Vertex* nearest = descend(known->eu->vu->v, x, y); isNearestByFar(nearest, x, y)) vertex = nearest;
        found = recordOf(walkFrom(store, vertex, x, y));
    }
    if (found == last) return last;
    for (const FaceRecord* behind : found->behind) /* the next place may lie there */
        if (behind) __builtin_prefetch(behind->x);
    store.Fcur = found;
    return found;
}

}

// --- insertion ---

namespace {

void linkFaceAfter(FaceRecord* face, Face* before) {
    static_cast<Face&>(*face) = {};
    face->m = before->m;
    face->fPrev = before;
    face->fNext = before->fNext;
    if (before->fNext) before->fNext->fPrev = face;
    before->fNext = face;
}

/* A side from a vertex, which stands at (x, y). */
void startAtVertex(SideRecord* side, VertexUse* use, Vertex* vertex, Coord x, Coord y) {
    use->v = vertex;
    startAt(use, side);
    side->x = x;
    side->y = y;
}

/* Splits a face into three round a new vertex p. Its sides are a-b (face.eu), b-c and c-a; each of the three faces has one of
 * them as its eu. */
void split(FaceRecord* face, Vertex* vertex, Addition& addition) {
    for (const FaceRecord* behind : face->behind) __builtin_prefetch(behind); /* their circles are asked for next */
    EdgeUse* const sides[3] = {face->eu, face->eu->euCW, face->eu->euCCW};
    for (const EdgeUse* side : sides) __builtin_prefetch(side->euMate);
    linkFaceAfter(&addition.faces[0], face);
    linkFaceAfter(&addition.faces[1], &addition.faces[0]);
    Face* const faces[3] = {face, &addition.faces[0], &addition.faces[1]};
    SideRecord *inward[3], *outward[3]; /* of each face: from its side's end to p, and from p to its side's start */
    for (int i = 0; i < 3; ++i) {
        inward[i] = &addition.sides[2 * i];
        outward[i] = &addition.sides[2 * i + 1];
        inward[i]->f = outward[i]->f = sides[i]->f = faces[i];
        faces[i]->eu = sides[i];
        const SideRecord* const next = recordOf(sides[(i + 1) % 3]);
        startAtVertex(inward[i], &addition.uses[2 * i], next->vu->v, next->x, next->y);
        startAtVertex(outward[i], &addition.uses[2 * i + 1], vertex, vertex->x, vertex->y);
    }
    for (int i = 0; i < 3; ++i) {
        const int next = (i + 1) % 3;
        makeMates(inward[i], outward[next]);
        addition.edges[i] = {inward[i], 0};
        inward[i]->e = outward[next]->e = &addition.edges[i];
        VertexUse* const use = sides[next]->vu;
        follow(inward[i]->vu, use->vuNext);
        follow(use, inward[i]->vu);
    }
    for (int i = 0; i < 3; ++i) makeLoop<EdgeUse>(sides[i], inward[i], outward[i]);
    makeLoop(outward[0]->vu, outward[1]->vu, outward[2]->vu);
    vertex->vu = outward[0]->vu;
}

/* Both rings at once, so that the cost is that of the vertex with fewer neighbours. */
bool areJoined(const Vertex* one, const Vertex* other) {
    const VertexUse *ofOne = one->vu, *ofOther = other->vu;
    do {
        if (endOf(ofOne->eu) == other || endOf(ofOther->eu) == one) return true;
        ofOne = ofOne->vuNext;
        ofOther = ofOther->vuNext;
    } while (ofOne != one->vu && ofOther != other->vu);
    return false;
}

/* Takes a side off its start and lets it start where another does, its use behind the other's. */
void moveStart(EdgeUse* side, EdgeUse* other) {
    VertexUse *const use = side->vu, *const behind = other->vu;
    if (use->v->vu == use) use->v->vu = use->vuNext;
    follow(use->vuPrev, use->vuNext);
    follow(use, behind->vuNext);
    follow(behind, use);
    use->v = behind->v;
    static_cast<SideRecord*>(side)->x = recordOf(other)->x;
    static_cast<SideRecord*>(side)->y = recordOf(other)->y;
}

/* Turns the side a-b that lies opposite the corner p of a face, so that it joins p to the far corner d of the face behind. This
 * face becomes b-p-d, that one p-a-d; the eu of each is its side opposite p. */
void flip(Face* face) {
    EdgeUse* const e0 = face->eu;
    EdgeUse *const e1 = e0->euCW, *const e2 = e0->euCCW, *const e3 = e0->euMate;
    EdgeUse *const e4 = e3->euCW, *const e5 = e3->euCCW;
    Face* const behind = e3->f;
    for (const FaceRecord* next : recordOf(behind)->behind) __builtin_prefetch(next);
    __builtin_prefetch(e4->euMate);
    __builtin_prefetch(e5->euMate);
    moveStart(e0, e2);
    moveStart(e3, e5);
    makeLoop(e1, e0, e5);
    makeLoop(e2, e4, e3);
    e5->f = face;
    e2->f = behind;
    face->eu = e5;
    behind->eu = e4;
}

/* The vertices that a new point is joined to so far, as long as they are few. A vertex goes by the end of its address, and where
 * one seems to be there the mesh is asked. That happens next to never, and no branch depends on how many there are. */
class Neighbours {
  public:
    explicit Neighbours(const Vertex* point) {
        const VertexUse* use = point->vu;
        do {
            add(endOf(use->eu));
            use = use->vuNext;
        } while (use != point->vu);
    }

    void add(const Vertex* vertex) {
        if (_count < most) _keys[_count] = keyOf(vertex);
        ++_count;
    }
    bool have(const Vertex* point, const Vertex* vertex) const {
        return (_count > most || isListed(keyOf(vertex))) && areJoined(point, vertex);
    }

  private:
    static std::uint32_t keyOf(const Vertex* vertex) {
        return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(vertex));
    }
    bool isListed(std::uint32_t key) const {
        std::uint32_t matches = 0;
        for (const std::uint32_t known : _keys) matches += known == key;
        return matches > 0;
    }

    static constexpr int most = 32;
    std::array<std::uint32_t, most> _keys = {};
    int _count = 0;
};

/* The corners of a face may lie on a line, as far as rounding can tell, or even go the wrong way round: then it may seem to
 * contain places far off. */
bool isFlat(double ahead, double aside) {
    constexpr double flat = 1e-10; /* sine of an angle */
    return !(aside - ahead > flat * (std::abs(ahead) + std::abs(aside)));
}

/* A face is about to change its corners. */
void forgetShape(Store& store, const FaceRecord* face) {
    if (store.flatFaces == 0) return;
    const Circle circle = circleThrough(face->x[0], face->y[0], face->x[1], face->y[1], face->x[2], face->y[2]);
    store.flatFaces -= isFlat(circle.ahead, circle.aside);
}

/* The faces round a new point that are ready for their circles. */
class Fan {
  public:
    Fan(triModel& mesh, Coord x, Coord y) : _mesh(mesh), _x(x), _y(y) {}

    void add(FaceRecord* face) {
        const SideRecord *a = recordOf(face->eu), *b = recordOf(face->eu->euCW);
        const int i = _batch.count++;
        _faces[i] = face;
        face->x[0] = _batch.x1[i] = a->x;
        face->y[0] = _batch.y1[i] = a->y;
        face->x[1] = _batch.x2[i] = b->x;
        face->y[1] = _batch.y2[i] = b->y;
        face->x[2] = _x;
        face->y[2] = _y;
        if (_batch.count == CircleBatch::most) finish();
    }

    void finish() {
        makeCircles(_batch, _x, _y);
        for (int i = 0; i < _batch.count; ++i) {
            FaceRecord* const face = _faces[i];
            joinOuter(face);
            noteShape(_batch.ahead[i], _batch.aside[i]);
            if (_batch.ahead[i] == _batch.aside[i]) {
                _mesh.tri_circle(face);
                continue;
            }
            face->xc = _batch.xc[i];
            face->yc = _batch.yc[i];
            face->rs = _batch.rs[i];
        }
        _batch.count = 0;
    }

  private:
    /* The two faces at the side opposite the point have one another behind it. */
    static void joinOuter(FaceRecord* face) {
        FaceRecord* const outer = recordOf(face->eu->euMate->f);
        face->behind[0] = outer;
        if (outer) outer->behind[cornerNumber(outer, face->x[1], face->y[1])] = face;
    }

    /* By the bits of the coordinates and without branches, which nobody could predict. */
    static int cornerNumber(const FaceRecord* face, Coord x, Coord y) {
        const auto isAt = [&](int i) {
            const auto bits = [](double value) { return std::bit_cast<std::uint64_t>(value); };
            return static_cast<int>(((bits(face->x[i]) ^ bits(x)) | (bits(face->y[i]) ^ bits(y))) == 0);
        };
        return (1 - isAt(0)) * (2 - isAt(1));
    }

    void noteShape(double ahead, double aside) {
        if (!isFlat(ahead, aside)) return;
        Store& store = storeOf(_mesh.model);
        ++store.flatFaces;
        store.hadTurnedFaces |= !(aside > ahead);
    }

    triModel& _mesh;
    Coord _x, _y;
    FaceRecord* _faces[CircleBatch::most];
    CircleBatch _batch;
};

/* A corner is never joined twice to another: it could come to that by rounding, and flips would not end. */
bool flipsSide(const Face* face, Coord x, Coord y, const Neighbours& neighbours) {
    const EdgeUse *const side = face->eu, *const mate = side->euMate;
    const Face* const behind = mate->f;
    if (!behind) return false; /* the only fixed edges, those of the square */
    const double dx = x - behind->xc, dy = y - behind->yc;
    return dx * dx + dy * dy < behind->rs && !neighbours.have(startOf(side->euCCW), startOf(mate->euCCW));
}

/* Flips the side of a face that lies opposite its corner (x, y), and all that come to lie so. A flip leaves this face, to be
 * looked at again, and the one behind, to be looked at when this one and all that comes of it are done. That is the next face
 * round the point, up to the one that has the first face's side from the point. */
void flipRound(Store& store, FaceRecord* face, Coord x, Coord y, Neighbours& neighbours, Fan& fan) {
    const EdgeUse* const last = face->eu->euCCW;
    while (true) {
        while (flipsSide(face, x, y, neighbours)) {
            neighbours.add(startOf(face->eu->euMate->euCCW));
            forgetShape(store, recordOf(face->eu->euMate->f));
            flip(face);
        }
        fan.add(face);
        const EdgeUse* const spoke = face->eu->euCCW;
        FaceRecord* const next = recordOf(spoke->euMate->f);
        face->behind[2] = next;
        next->behind[1] = face;
        if (spoke == last) return;
        face = next;
    }
}

}

void triModel::tri_opt(Face* F, Coord x, Coord y) {
    Neighbours neighbours(startOf(F->eu->euCCW));
    Fan fan(*this, x, y);
    forgetShape(storeOf(model), recordOf(F));
    flipRound(storeOf(model), recordOf(F), x, y, neighbours, fan);
    fan.finish();
}

void triModel::tri_overwrite(Vertex* newer, Vertex* older) {
    newer->vu = older->vu;
    VertexUse* use = newer->vu;
    do {
        use->v = newer;
        use = use->vuNext;
    } while (use != newer->vu);
    std::replace(model->CV, model->CV + 4, older, newer);
    giveBack(*this, older, vertexBytes(older->nabs));
}

int triModel::triAdd(Coord* x, Coord* y, float* abs, float* ord, int* nabs) {
    if (!model) return 0;
    if (!isInSquare(*model, *x, *y)) {
        std::printf("triModel: Point (%g,%g) is outside tessellation not inserted\n", *x, *y);
        std::printf("The tessellation range is (%d,%d) to (%d,%d)\n", static_cast<int>(model->Xc[0]),
                    static_cast<int>(model->Yc[0]), static_cast<int>(model->Xc[1]), static_cast<int>(model->Yc[2]));
        std::fflush(stdout);
        return 0;
    }
    Vertex* const vertex = obtainVertex(*this, *x, *y, std::max(*nabs, 0));
    if (!vertex) return 0;
    setFunction(vertex, abs, ord);
    model->Cupdate = 1;
    Store& store = storeOf(model);
    FaceRecord* const face = locate(store, *x, *y);
    if (Vertex* const older = cornerAt(face, *x, *y)) {
        tri_overwrite(vertex, older);
        return 1;
    }
    auto* const addition = static_cast<Addition*>(obtain(*this, sizeof(Addition)));
    if (!addition) {
        giveBack(*this, vertex, vertexBytes(vertex->nabs));
        return 0;
    }
    forgetShape(store, face);
    split(face, vertex, *addition);
    Neighbours neighbours(vertex);
    Fan fan(*this, *x, *y);
    for (FaceRecord* part : {face, &addition->faces[0], &addition->faces[1]}) flipRound(store, part, *x, *y, neighbours, fan);
    fan.finish();
    store.grid.add(*x, *y, face);
    return 1;
}

// --- life ---

triModel::triModel() : model(nullptr), _isOpen(false) {}

triModel::~triModel() { triClear(); }

namespace {

struct SquareSide {
    int from, to;
};

/* The sides of the first two faces, and those of the outside with their mates. */
constexpr SquareSide faceSides[2][3] = {{{0, 2}, {2, 1}, {1, 0}}, {{0, 3}, {3, 2}, {2, 0}}};

}

namespace {

void noteSides(FaceRecord* face) {
    const EdgeUse* side = face->eu;
    for (int i = 0; i < 3; ++i, side = side->euCW) {
        face->x[i] = recordOf(side)->x;
        face->y[i] = recordOf(side)->y;
        face->behind[i] = recordOf(side->euMate->f);
    }
}

}

int triModel::tri_init_0(Coord* x, Coord* y, Vertex** V) {
    EdgeUse *inner[2][3], *outer[4];
    VertexUse* uses[4] = {};
    for (int i = 0; i < 4; ++i) {
        V[i] = obtainVertex(*this, x[i], y[i], 1);
        if (!V[i]) return 0;
        constexpr float nothing = 0.0f;
        setFunction(V[i], &nothing, &nothing);
    }
    const auto makeSide = [&](int from, Face* face) -> EdgeUse* {
        auto* side = obtainZeroed<SideRecord>(*this);
        auto* use = obtainZeroed<VertexUse>(*this);
        if (!side || !use) return nullptr;
        side->f = face;
        startAtVertex(side, use, V[from], V[from]->x, V[from]->y);
        if (!uses[from]) {
            V[from]->vu = uses[from] = use;
            tri_vu_vu(use, use);
        }
        tri_vu_vu(use, uses[from]->vuNext);
        tri_vu_vu(uses[from], use);
        return side;
    };
    const auto makeEdge = [&](EdgeUse* side, EdgeUse* mate, int fixed) {
        auto* edge = obtainZeroed<Edge>(*this);
        if (!edge) return false;
        *edge = {side, fixed};
        side->e = mate->e = edge;
        tri_mate(side, mate);
        return true;
    };
    Face* faces[2];
    for (int i = 0; i < 2; ++i) {
        faces[i] = obtainZeroed<FaceRecord>(*this);
        if (!faces[i]) return 0;
        faces[i]->m = model;
        for (int k = 0; k < 3; ++k)
            if (!(inner[i][k] = makeSide(faceSides[i][k].from, faces[i]))) return 0;
        tri_eu_loop(inner[i][0], inner[i][1], inner[i][2]);
        faces[i]->eu = inner[i][0];
    }
    for (int i = 0; i < 4; ++i)
        if (!(outer[i] = makeSide(i, nullptr))) return 0;
    for (int i = 0; i < 4; ++i) tri_eu_eu(outer[i], outer[(i + 1) % 4]);
    if (!makeEdge(inner[0][0], inner[1][2], 0)) return 0;
    if (!makeEdge(inner[0][2], outer[0], 1) || !makeEdge(inner[0][1], outer[1], 1)) return 0;
    if (!makeEdge(inner[1][1], outer[2], 1) || !makeEdge(inner[1][0], outer[3], 1)) return 0;
    faces[0]->fNext = faces[1];
    faces[1]->fPrev = faces[0];
    model->f = model->Fcur = faces[0];
    for (Face* face : faces) {
        noteSides(recordOf(face));
        tri_circle(face);
    }
    return 1;
}

int triModel::triStart() {
    triClear();
    void* const memory = std::malloc(sizeof(Store));
    if (!memory) return 0;
    model = new (memory) Store();
    model->Cupdate = 1;
    constexpr Coord cornersX[4] = {-squareHalf, squareHalf, squareHalf, -squareHalf};
    constexpr Coord cornersY[4] = {-squareHalf, -squareHalf, squareHalf, squareHalf};
    std::copy_n(cornersX, 4, model->Xc);
    std::copy_n(cornersY, 4, model->Yc);
    if (tri_init_0(model->Xc, model->Yc, model->CV)) return 1;
    triClear();
    return 0;
}

void triModel::triClear() {
    if (!model) return;
    tri_free_all(&model->tracker);
    storeOf(model).~Store();
    std::free(model);
    model = nullptr;
}

// --- looking ---

void triModel::triGet(Coord* x, Coord* y, float* abs, float* ord, int* nabs) {
    *nabs = 0;
    if (!model || !isInSquare(*model, *x, *y)) return;
    const Vertex* const vertex = cornerAt(locate(storeOf(model), *x, *y), *x, *y);
    if (!vertex) return;
    *nabs = vertex->nabs;
    std::copy_n(abscissaeOf(vertex), vertex->nabs, abs);
    std::copy_n(ordinatesOf(vertex), vertex->nabs, ord);
}

void triModel::triPrint() {
    if (!model) return;
    const auto isAtRim = [](Coord coordinate) { return coordinate == squareHalf || coordinate == -squareHalf; };
    int k = 0;
    for (const Face* face = model->f; face; face = face->fNext, ++k) {
        std::printf("Face %d %g %g %g\n", k, face->xc, face->yc, face->rs);
        const Vertex* const corners[3] = {startOf(face->eu), startOf(face->eu->euCW), startOf(face->eu->euCCW)};
        if (std::any_of(corners, corners + 3, [&](const Vertex* v) { return isAtRim(v->x) || isAtRim(v->y); })) continue;
        for (int j = 0; j < 3; ++j) std::printf("%d %g %g\n", j, corners[j]->x, corners[j]->y);
    }
    std::fflush(stdout);
    model->Fcur = model->f;
}

void triModel::tri_printface(Face* F) {
    std::printf("Face %g %g %g\n", F->xc, F->yc, F->rs);
    const EdgeUse* side = F->eu;
    for (int j = 0; j < 3; ++j, side = side->euCW) std::printf("%d %g %g \n", j, startOf(side)->x, startOf(side)->y);
    std::fflush(stdout);
}

// --- corners and hull ---

namespace {

/* The nearest vertex linked to a corner of the square. */
const Vertex* nearestNeighbour(const Vertex* corner) {
    const Vertex* nearest = nullptr;
    double least = 0.0;
    const VertexUse* use = corner->vu;
    do {
        const Vertex* const neighbour = use->eu->euMate->vu->v;
        const double distance = squaredDistance(neighbour, corner->x, corner->y);
        if (!nearest || distance < least) {
            nearest = neighbour;
            least = distance;
        }
        use = use->vuNext;
    } while (use != corner->vu);
    return nearest;
}

bool isCornerOfSquare(const Model& model, const Vertex* vertex) {
    return std::find(model.CV, model.CV + 4, vertex) != model.CV + 4;
}

/* The side of an inner face that runs along the square from one corner to the next, clockwise. */
EdgeUse* sideOfSquare(const Vertex* from, const Vertex* to) {
    const VertexUse* use = from->vu;
    while (!(use->eu->f && endOf(use->eu) == to)) use = use->vuNext;
    return use->eu;
}

void releaseRing(Store& store) {
    VertexHull* record = store.hull.vh;
    for (int i = 0; i < store.hull.n; ++i) {
        VertexHull* const next = record->vhNext;
        store.records.giveBack(record, sizeof(VertexHull));
        record = next;
    }
    store.hull = {0, nullptr};
    store.sides.count = 0;
}

/* Appends a record to the ring, which stays closed. */
bool appendToRing(triModel& mesh, Vertex* vertex) {
    Store& store = storeOf(mesh.model);
    auto* record = static_cast<VertexHull*>(
        store.records.take(sizeof(VertexHull), [&](std::size_t block) { return mesh.trimalloc(&mesh.model->tracker, block); }));
    if (!record) return false;
    Hull& hull = store.hull;
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

void removeLastOfRing(Store& store) {
    VertexHull* const last = store.hull.vh->vhPrev;
    last->vhPrev->vhNext = last->vhNext;
    last->vhNext->vhPrev = last->vhPrev;
    store.records.giveBack(last, sizeof(VertexHull));
    --store.hull.n;
}

/* The points that a corner of the square is linked to, those that the ring does not end with. */
bool appendFan(triModel& mesh, const Vertex* before, const Vertex* corner) {
    const Hull& hull = mesh.model->hull;
    for (EdgeUse* spoke = sideOfSquare(before, corner)->euCW;; spoke = spoke->euMate->euCW) {
        Vertex* const vertex = spoke->euMate->vu->v;
        const bool isKnown = hull.n > 0 && hull.vh->vhPrev->v == vertex;
        if (!isKnown && !isCornerOfSquare(*mesh.model, vertex) && !appendToRing(mesh, vertex)) return false;
        if (!spoke->euMate->f) return true;
    }
}

/* The corners clockwise, and so the points. */
bool makeRing(triModel& mesh) {
    constexpr int corners[5] = {1, 0, 3, 2, 1};
    Store& store = storeOf(mesh.model);
    for (int i = 0; i < 4; ++i)
        if (!appendFan(mesh, store.CV[corners[i]], store.CV[corners[i + 1]])) return false;
    if (store.hull.n > 1 && store.hull.vh->vhPrev->v == store.hull.vh->v) removeLastOfRing(store);
    return true;
}

/* Without memory for them the ring itself is asked. */
void makeSides(Store& store) {
    HullSides& sides = store.sides;
    if (store.hull.n > sides.room) {
        const int room = store.hull.n + store.hull.n / 2;
        std::free(sides.x);
        sides.x = static_cast<double*>(std::malloc(4 * static_cast<std::size_t>(room) * sizeof(double)));
        sides.room = sides.x ? room : 0;
        if (!sides.x) return;
        sides.y = sides.x + room;
        sides.dx = sides.y + room;
        sides.dy = sides.dx + room;
    }
    const VertexHull* record = store.hull.vh;
    for (int i = 0; i < store.hull.n; ++i, record = record->vhNext) {
        const Vertex *from = record->v, *to = record->vhNext->v;
        sides.x[i] = from->x;
        sides.y[i] = from->y;
        sides.dx[i] = to->x - from->x;
        sides.dy[i] = to->y - from->y;
    }
    sides.count = store.hull.n;
}

}

int triModel::tri_update() {
    if (!model) return 0;
    for (Vertex* const corner : {model->CV[0], model->CV[1], model->CV[2], model->CV[3]}) {
        const Vertex* const nearest = nearestNeighbour(corner);
        Vertex* const refreshed = obtainVertex(*this, corner->x, corner->y, nearest->nabs);
        if (!refreshed) return 0;
        setFunction(refreshed, abscissaeOf(nearest), ordinatesOf(nearest));
        tri_overwrite(refreshed, corner);
    }
    model->Cupdate = 0;
    return 1;
}

int triModel::tri_update_hull() {
    if (!model) return 0;
    Store& store = storeOf(model);
    releaseRing(store);
    if (startOf(sideOfSquare(model->CV[3], model->CV[2])->euCCW) == model->CV[0]) {
        std::puts("triModel: Empty tessellation");
        std::fflush(stdout);
        return 0;
    }
    const bool isWhole = makeRing(*this);
    if (store.hull.n >= 3) {
        VertexHull* record = store.hull.vh;
        for (int i = 0; i < store.hull.n; ++i, record = record->vhNext) {
            const Vertex *previous = record->vhPrev->v, *vertex = record->v, *next = record->vhNext->v;
            tri_bisector(previous->x, previous->y, vertex->x, vertex->y, next->x, next->y, &record->x, &record->y);
        }
        makeSides(store);
    }
    model->Cupdate = 0;
    return isWhole;
}

void triModel::tri_bisector(Coord x1, Coord y1, Coord x2, Coord y2, Coord x3, Coord y3, Cflt* x, Cflt* y) {
    constexpr double quarter = 1.5707963267948966, half = 2.0 * quarter;
    const auto direction = [](double dx, double dy) { return dx == 0.0 && dy == 0.0 ? 0.0 : std::atan2(dy, dx); };
    const double a1 = direction(x2 - x1, y2 - y1), a2 = direction(x3 - x2, y3 - y2);
    const bool wraps = a2 - a1 > half || a1 - a2 > half;
    const double outward = wraps ? (a1 + a2) * 0.5 - quarter : (a1 + a2) * 0.5 + quarter;
    *x = x2 + std::cos(outward);
    *y = y2 + std::sin(outward);
}

namespace {

PELTA_VECTORIZE int sidesPassed(const HullSides& sides, double x, double y) {
    const double *fromX = sides.x, *fromY = sides.y, *dx = sides.dx, *dy = sides.dy;
    int passed = 0;
    for (int i = 0; i < sides.count; ++i) passed += dx[i] * (y - fromY[i]) > (x - fromX[i]) * dy[i];
    return passed;
}

/* The point is outside of the side from a hull vertex to the next. */
bool isBeyond(const VertexHull* from, Coord x, Coord y) {
    const Vertex *start = from->v, *end = from->vhNext->v;
    return sideOf(start->x, start->y, end->x, end->y, x, y) == 1;
}

}

int triModel::tri_out_hull(Coord x, Coord y) {
    if (!model || model->hull.n < 3) return 1;
    const HullSides& sides = storeOf(model).sides;
    if (sides.count == model->hull.n) return sidesPassed(sides, x, y) > 0;
    const VertexHull* record = model->hull.vh;
    for (int i = 0; i < model->hull.n; ++i, record = record->vhNext)
        if (isBeyond(record, x, y)) return 1;
    return 0;
}

// --- functions on a grid ---

namespace {

/* One piece of a function on the output grid. */
PELTA_INLINE void followLine(const float* abscissae, float fromX, float slope, float fromY, float* y, int count) {
    for (int i = 0; i < count; ++i) y[i] = (abscissae[i] - fromX) * slope + fromY;
}

/* The number of output samples up to a knot, with the first of them, one-based. */
PELTA_INLINE int lastSlotBefore(float knot, float abscissa, float spacing, int slot) {
    return std::max(truncated((knot - abscissa) / spacing + static_cast<float>(slot)), slot - 1);
}

/* abscissa(i) is the i-th of the grid; the slots lag behind by those before the first knot (see trimodel.h). */
PELTA_VECTORIZE void resample(const float* abscissae, const float* xin, const float* yin, int n, float xs, float xi, int ny,
                              float* y) {
    int skipped = 0;
    if (xin[0] >= xs) {
        skipped = std::max(truncated((xin[0] - xs) / xi + 1.0f), 0);
        if (skipped >= ny) {
            std::fill_n(y, ny, yin[0]);
            return;
        }
    }
    int slot = 1;
    for (int i = 1; i < n && slot <= ny; ++i) {
        const float abscissa = abscissae[skipped + slot - 1];
        if (!(xin[i] >= abscissa)) continue;
        const float slope = (yin[i] - yin[i - 1]) / (xin[i] - xin[i - 1]);
        const int last = std::min(lastSlotBefore(xin[i], abscissa, xi, slot), ny);
        followLine(abscissae + skipped + slot - 1, xin[i - 1], slope, yin[i - 1], y + slot - 1, last - slot + 1);
        slot = last + 1;
    }
    for (; slot <= ny; ++slot) y[slot - 1] = yin[n - 1];
}

/* A stretch of the chain at a time where there is no memory for the whole. */
void resampleInPieces(const float* xin, const float* yin, int n, float xs, float xi, int ny, float* y) {
    float abscissa = xs;
    if (xin[0] >= xs) {
        const int skipped = truncated((xin[0] - xs) / xi + 1.0f);
        for (int m = 0; m < skipped; ++m) {
            y[m] = yin[0];
            if (m + 1 >= ny) return;
            abscissa += xi;
        }
    }
    int slot = 1;
    for (int i = 1; i < n && slot <= ny; ++i) {
        if (!(xin[i] >= abscissa)) continue;
        const float slope = (yin[i] - yin[i - 1]) / (xin[i] - xin[i - 1]);
        const int last = std::min(lastSlotBefore(xin[i], abscissa, xi, slot), ny);
        for (; slot <= last; ++slot, abscissa += xi) y[slot - 1] = (abscissa - xin[i - 1]) * slope + yin[i - 1];
    }
    for (; slot <= ny; ++slot) y[slot - 1] = yin[n - 1];
}

void resampleVertex(triModel& mesh, const Vertex* vertex, const float* a0, const float* ainc, float* y, const int* nord) {
    mesh.tri_interpolate(abscissaeOf(vertex), ordinatesOf(vertex), vertex->nabs, *a0, *ainc, *nord, y);
}

/* ord = high * weight + low * (1 - weight), where ord comes in as high. */
PELTA_VECTORIZE void mix(float* ord, const float* low, double weight, int count) {
    const double rest = 1.0 - weight;
    for (int i = 0; i < count; ++i) ord[i] = static_cast<float>(ord[i] * weight + low[i] * rest);
}

PELTA_INLINE float onPlane(double z1, double z2, double z3, double f1, double f2) {
    return static_cast<float>(z1 + (z3 - z1) * f1 + (z2 - z1) * f2);
}

PELTA_VECTORIZE void setPlanes(float* vel, const float* z1, const float* z2, const float* z3, double f1, double f2, int count) {
    for (int i = 0; i < count; ++i) vel[i] = onPlane(z1[i], z2[i], z3[i], f1, f2);
}

PELTA_VECTORIZE void turnIntoPlanes(float* z1, const float* z2, const float* z3, double f1, double f2, int count) {
    for (int i = 0; i < count; ++i) z1[i] = onPlane(z1[i], z2[i], z3[i], f1, f2);
}

}

void triModel::tri_interpolate(float* xin, float* yin, int n, float xs, float xi, int ny, float* y) {
    if (ny <= 0) return;
    if (n <= 0) return static_cast<void>(std::fill_n(y, ny, 0.0f));
    const float* const abscissae =
        model && ny <= std::numeric_limits<int>::max() / 2 ? storeOf(model).abscissae.values(xs, xi, 2 * ny) : nullptr;
    if (abscissae) resample(abscissae, xin, yin, n, xs, xi, ny, y);
    else resampleInPieces(xin, yin, n, xs, xi, ny, y);
}

namespace {

/* The two nearest of three places on a line, each weighted by the other's distance. */
void weightNearestTwo(float* vel, int count, const float* z1, const float* z2, const float* z3, double d1, double d2,
                      double d3) {
    const bool dropsFirst = d1 >= d2 && d1 >= d3, dropsSecond = !dropsFirst && d2 >= d1 && d2 >= d3;
    const float* const lower = dropsFirst ? z2 : z1;
    const float* const upper = dropsFirst || dropsSecond ? z3 : z2;
    const double ofLower = dropsFirst ? d2 : d1, ofUpper = dropsFirst || dropsSecond ? d3 : d2;
    const double sum = ofLower + ofUpper;
    for (int i = 0; i < count; ++i) vel[i] = static_cast<float>(lower[i] * ofUpper / sum + upper[i] * ofLower / sum);
}

double distance(double x1, double y1, double x2, double y2) { return std::sqrt((x1 - x2) * (x1 - x2) + (y1 - y2) * (y1 - y2)); }

}

void triModel::tri_initialize(double ix, double iy, float* vel, int numt, double x1, double y1, float* z1, double x2, double y2,
                              float* z2, double x3, double y3, float* z3) {
    const double dx = ix - x1, dy = iy - y1;
    const double det = (y3 - y1) * (x2 - x1) - (x3 - x1) * (y2 - y1);
    if (det == 0.0)
        return weightNearestTwo(vel, numt, z1, z2, z3, distance(ix, iy, x1, y1), distance(ix, iy, x2, y2),
                                distance(ix, iy, x3, y3));
    const double f1 = (dy * (x2 - x1) - (y2 - y1) * dx) / det;
    const double f2 = (dx * (y3 - y1) - (x3 - x1) * dy) / det;
    if (vel == z1) turnIntoPlanes(vel, z2, z3, f1, f2, numt);
    else setPlanes(vel, z1, z2, z3, f1, f2, numt);
}

// --- interpolation ---

int triModel::tri_deg(VertexHull* VH, VertexHull* VH0) {
    const auto isDegenerate = [](const VertexHull* record) {
        const VertexHull *previous = record->vhPrev, *next = record->vhNext;
        const Vertex* const v = record->v;
        return (v->x - previous->x) * (v->y - next->y) == -((v->y - previous->y) * (v->x - next->x));
    };
    return isDegenerate(VH) || isDegenerate(VH0);
}

double triModel::tri_proj(double x1, double y1, double x2, double y2, double x3, double y3) {
    const double dx = x2 - x1, dy = y2 - y1;
    return ((y3 - y1) * dy * dx + x1 * (dy * dy) + dx * dx * x3) / (dy * dy + dx * dx);
}

double triModel::tri_x_y(double x1, double y1, double x2, double y2, double x3, double y3, double x4, double y4) {
    return ((y2 - y4) * (x3 - x1) * (x2 - x1) + (x2 - x1) * x4 * (y3 - y1) - (y2 - y1) * x2 * (x3 - x1)) /
           ((x2 - x1) * y3 + (x3 - x2) * y1 + (x1 - x3) * y2);
}

void triModel::tri_degenr(VertexHull* VH, VertexHull* VH0, Coord* x, Coord* y, float* a0, float* ainc, float* wrk, float* ord,
                          int* nord) {
    const Vertex *const p = VH->v, *const q = VH0->v;
    const double footX = tri_proj(p->x, p->y, q->x, q->y, *x, *y);
    const double footY = tri_proj(p->y, p->x, q->y, q->x, *y, *x);
    const auto mixResampled = [&](const Vertex* high, const Vertex* low, double weight) {
        resampleVertex(*this, high, a0, ainc, ord, nord);
        resampleVertex(*this, low, a0, ainc, wrk, nord);
        mix(ord, wrk, weight, *nord);
    };
    if (p->x == q->x && p->y == q->y) return mixResampled(p, q, 0.5);
    const bool isUpright = p->x == q->x;
    const auto along = [&](const Vertex* vertex) { return isUpright ? vertex->y : vertex->x; };
    const Vertex* const high = along(p) >= along(q) ? p : q;
    const Vertex* const low = high == p ? q : p;
    const double foot = isUpright ? footY : footX;
    if (foot >= along(high)) return resampleVertex(*this, high, a0, ainc, ord, nord);
    if (foot < along(low)) return resampleVertex(*this, low, a0, ainc, ord, nord);
    mixResampled(high, low, distance(footX, footY, low->x, low->y) / distance(high->x, high->y, low->x, low->y));
}

namespace {

bool seesSideAt(const VertexHull* record, Coord x, Coord y) { return isBeyond(record, x, y) || isBeyond(record->vhPrev, x, y); }

/* The nearest hull vertex of which the point sees a side. */
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

}

void triModel::tri_extrap(Coord* x, Coord* y, float* a0, float* ainc, float* wrk, float* ord, int* nord) {
    if (!model || model->hull.n < 1) return static_cast<void>(std::fill_n(ord, std::max(*nord, 0), 0.0f));
    const Hull& hull = model->hull;
    if (hull.n == 1) return resampleVertex(*this, hull.vh->v, a0, ainc, ord, nord);
    if (hull.n == 2) return tri_degenr(hull.vh, hull.vh->vhNext, x, y, a0, ainc, wrk, ord, nord);
    VertexHull* const nearest = nearestVisible(hull, *x, *y);
    const Vertex* const b = nearest->v;
    const bool isBefore = tri_left_1(b->x, b->y, nearest->x, nearest->y, *x, *y) == 1;
    VertexHull* const neighbour = isBefore ? nearest->vhPrev : nearest->vhNext;
    if (tri_deg(neighbour, nearest)) return tri_degenr(neighbour, nearest, x, y, a0, ainc, wrk, ord, nord);
    const Vertex* const n = neighbour->v;
    const double onNearestX = tri_x_y(b->x, b->y, nearest->x, nearest->y, n->x, n->y, *x, *y);
    const double onNearestY = tri_x_y(b->y, b->x, nearest->y, nearest->x, n->y, n->x, *y, *x);
    const double onNeighbourX = tri_x_y(n->x, n->y, neighbour->x, neighbour->y, b->x, b->y, *x, *y);
    const double onNeighbourY = tri_x_y(n->y, n->x, neighbour->y, neighbour->x, b->y, b->x, *y, *x);
    const double squared = (*x - onNearestX) * (*x - onNearestX) + (*y - onNearestY) * (*y - onNearestY);
    const double fromNearest = squared > 0.0 ? std::sqrt(squared) : 0.0;
    resampleVertex(*this, n, a0, ainc, ord, nord);
    resampleVertex(*this, b, a0, ainc, wrk, nord);
    mix(ord, wrk, fromNearest / distance(onNearestX, onNearestY, onNeighbourX, onNeighbourY), *nord);
}

namespace {

/* A vertex's function on a grid: as it is kept, or else in scratch. */
float* resampledFunction(triModel& mesh, const Vertex* vertex, float first, float spacing, int count, float* scratch) {
    const auto resampleTo = [&](float* samples) {
        mesh.tri_interpolate(abscissaeOf(vertex), ordinatesOf(vertex), vertex->nabs, first, spacing, count, samples);
    };
    if (const float* kept = storeOf(mesh.model).functions.values(vertex, first, spacing, count, resampleTo))
        return const_cast<float*>(kept);
    resampleTo(scratch);
    return scratch;
}

}

void triModel::triInterpolate(Coord* x, Coord* y, float* a0, float* ainc, float* wrk, float* ord, int* nord) {
    if (model && model->Cupdate) {
        const bool isRefreshed = tri_update();
        tri_update_hull();
        if (!isRefreshed) model->Cupdate = 1;
    }
    if (tri_out_hull(*x, *y)) return tri_extrap(x, y, a0, ainc, wrk, ord, nord);
    if (isInSquare(*model, *x, *y)) locate(storeOf(model), *x, *y);
    else tri_face(*x, *y, &model->Fcur);
    const EdgeUse* const side = model->Fcur->eu;
    const Vertex *v0 = startOf(side), *v1 = startOf(side->euCW), *v2 = startOf(side->euCCW);
    const int count = std::max(*nord, 0);
    float* const z0 = resampledFunction(*this, v0, *a0, *ainc, count, ord);
    float* const z1 = resampledFunction(*this, v1, *a0, *ainc, count, wrk);
    float* const z2 = resampledFunction(*this, v2, *a0, *ainc, count, wrk + count);
    tri_initialize(*x, *y, ord, count, v0->x, v0->y, z0, v1->x, v1->y, z1, v2->x, v2->y, z2);
}
