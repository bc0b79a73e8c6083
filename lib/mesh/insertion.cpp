#include "mesh/insertion.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>

#include "mesh/circles.h"
#include "mesh/geometry.h"
#include "mesh/links.h"
#include "mesh/modelrecord.h"

namespace {

void linkFaceAfter(FaceRecord* face, Face* before) {
    static_cast<Face&>(*face) = {};
    face->m = before->m;
    face->fPrev = before;
    face->fNext = before->fNext;
    if (before->fNext) before->fNext->fPrev = face;
    before->fNext = face;
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
        startAt(&addition.uses[2 * i], inward[i], next->vu->v, next->x, next->y);
        startAt(&addition.uses[2 * i + 1], outward[i], vertex, vertex->x, vertex->y);
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

/* Those of the faces round a new point, over lanes: first and second corner of each; the point is the third. */
struct CircleBatch {
    static constexpr int most = 16, lanes = 4;
    int count = 0;
    double x1[most + lanes], y1[most + lanes], x2[most + lanes], y2[most + lanes];
    double ahead[most], aside[most], xc[most], yc[most], rs[most];
};

PELTA_VECTORIZE void makeCircles(CircleBatch& batch, double x3, double y3) {
    for (double* corners : {batch.x1, batch.y1, batch.x2, batch.y2}) /* of lanes without a face */
        std::fill_n(corners + batch.count, CircleBatch::lanes, 0.0);
    const int count = (batch.count + CircleBatch::lanes - 1) / CircleBatch::lanes * CircleBatch::lanes;
    for (int i = 0; i < count; ++i) {
        const Circle circle = circleThrough(batch.x1[i], batch.y1[i], batch.x2[i], batch.y2[i], x3, y3);
        batch.ahead[i] = circle.ahead;
        batch.aside[i] = circle.aside;
        batch.xc[i] = circle.xc;
        batch.yc[i] = circle.yc;
        batch.rs[i] = circle.rs;
    }
}

/* The faces round a new point: those that are done get their circles, several at once, and what walks across them ask for. */
class Fan {
  public:
    Fan(triModel& mesh, Coord x, Coord y) : _mesh(mesh), _model(*recordOf(mesh.model)), _x(x), _y(y) {}

    /* A face is about to change its corners. */
    void forgetShape(const FaceRecord* face) {
        if (_model.flatFaces == 0) return;
        const Circle circle = circleThrough(face->x[0], face->y[0], face->x[1], face->y[1], face->x[2], face->y[2]);
        _model.flatFaces -= isFlat(circle.ahead, circle.aside);
    }

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
        ++_model.flatFaces;
        _model.hadTurnedFaces |= !(aside > ahead);
    }

    triModel& _mesh;
    ModelRecord& _model;
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
void flipRound(FaceRecord* face, Coord x, Coord y, Neighbours& neighbours, Fan& fan) {
    const EdgeUse* const last = face->eu->euCCW;
    while (true) {
        while (flipsSide(face, x, y, neighbours)) {
            neighbours.add(startOf(face->eu->euMate->euCCW));
            fan.forgetShape(recordOf(face->eu->euMate->f));
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

void insert(triModel& mesh, FaceRecord* face, Vertex* vertex, Addition& addition) {
    const Coord x = vertex->x, y = vertex->y;
    Fan fan(mesh, x, y);
    fan.forgetShape(face);
    split(face, vertex, addition);
    Neighbours neighbours(vertex);
    for (FaceRecord* part : {face, &addition.faces[0], &addition.faces[1]}) flipRound(part, x, y, neighbours, fan);
    fan.finish();
}

void flipRound(triModel& mesh, FaceRecord* face, Coord x, Coord y) {
    Neighbours neighbours(startOf(face->eu->euCCW));
    Fan fan(mesh, x, y);
    fan.forgetShape(face);
    flipRound(face, x, y, neighbours, fan);
    fan.finish();
}
