#ifndef PELTA_TESTS_PLAINMESH_H
#define PELTA_TESTS_PLAINMESH_H

#include <pelta/trimodel.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <deque>
#include <limits>
#include <map>
#include <vector>

/* The mesh of triModel by its published steps and nothing else: every location walks from the face found last, every side is
 * looked at where it stands. Slow, and to be compared with record by record. */
class PlainMesh {
  public:
    /* Starts as a copy of a mesh without points: its first diagonal and the order of its records are free. */
    explicit PlainMesh(const triModel& empty) {
        const auto copied = [this](const auto* record, auto& records) {
            void*& copy = _copies[record];
            if (!copy) copy = &records.emplace_back(*record);
            return static_cast<decltype(&records.back())>(copy);
        };
        const auto copySide = [&](const EdgeUse* original) {
            EdgeUse* const side = copied(original, _sides);
            if (original->f) side->f = copied(original->f, _faces);
            side->vu = copied(original->vu, _uses);
            side->vu->v = copied(original->vu->v, _vertices);
            side->vu->v->vu = copied(original->vu->v->vu, _uses);
            side->vu->eu = side;
            side->vu->vuPrev = copied(original->vu->vuPrev, _uses);
            side->vu->vuNext = copied(original->vu->vuNext, _uses);
            side->euMate = copied(original->euMate, _sides);
            side->euCW = copied(original->euCW, _sides);
            side->euCCW = copied(original->euCCW, _sides);
            side->e = copied(original->e, _edges);
        };
        Face* previous = nullptr;
        for (const Face* original = empty.model->f; original; original = original->fNext) {
            Face* const face = copied(original, _faces);
            face->eu = copied(original->eu, _sides);
            face->fPrev = previous;
            (previous ? previous->fNext : first) = face;
            previous = face;
            for (const EdgeUse* side : {original->eu, original->eu->euCW, original->eu->euCCW}) {
                copySide(side);
                if (!side->euMate->f) copySide(side->euMate);
            }
        }
        current = first;
        _copies.clear();
    }

    Face *first = nullptr, *current = nullptr;
    /* How often a rarer turn was taken. */
    std::size_t restarts = 0, lostWalks = 0, facesLeastBeyond = 0, refusedFlips = 0, flatFaces = 0;

    void locate(double x, double y) {
        if (!isInside(current, x, y)) current = walk(current->eu->vu->v, x, y);
    }

    void add(double x, double y) {
        locate(x, y);
        for (const EdgeUse* side : {current->eu, current->eu->euCW, current->eu->euCCW})
            if (side->vu->v->x == x && side->vu->v->y == y) return;
        Face* const faces[3] = {current, &_faces.emplace_back(), &_faces.emplace_back()};
        EdgeUse* const sides[3] = {current->eu, current->eu->euCW, current->eu->euCCW};
        Vertex* const p = &_vertices.emplace_back();
        p->x = x;
        p->y = y;
        for (int i = 1; i < 3; ++i) {
            faces[i]->fPrev = faces[i - 1];
            faces[i]->fNext = faces[i - 1]->fNext;
            if (faces[i]->fNext) faces[i]->fNext->fPrev = faces[i];
            faces[i - 1]->fNext = faces[i];
        }
        EdgeUse *toPoint[3], *fromPoint[3];
        for (int i = 0; i < 3; ++i) {
            toPoint[i] = newSide(sides[(i + 1) % 3]->vu->v, faces[i]);
            fromPoint[i] = newSide(p, faces[i]);
            sides[i]->f = faces[i];
            faces[i]->eu = sides[i];
        }
        for (int i = 0; i < 3; ++i) {
            EdgeUse *const one = toPoint[i], *const other = fromPoint[(i + 1) % 3];
            one->euMate = other;
            other->euMate = one;
            one->e = other->e = &_edges.emplace_back(Edge{one, 0});
            putAfter(one->vu, sides[(i + 1) % 3]->vu);
        }
        for (int i = 0; i < 3; ++i) makeLoop(sides[i], toPoint[i], fromPoint[i]);
        p->vu = fromPoint[0]->vu;
        for (int i = 0; i < 3; ++i) {
            fromPoint[i]->vu->vuNext = fromPoint[(i + 1) % 3]->vu;
            fromPoint[i]->vu->vuPrev = fromPoint[(i + 2) % 3]->vu;
        }
        for (Face* face : faces) optimise(face, x, y);
    }

  private:
    EdgeUse* newSide(Vertex* start, Face* face) {
        EdgeUse* const side = &_sides.emplace_back();
        side->f = face;
        side->vu = &_uses.emplace_back();
        side->vu->eu = side;
        side->vu->v = start;
        return side;
    }

    static void putAfter(VertexUse* use, VertexUse* before) {
        use->vuNext = before->vuNext;
        use->vuPrev = before;
        before->vuNext->vuPrev = use;
        before->vuNext = use;
    }

    static void makeLoop(EdgeUse* a, EdgeUse* b, EdgeUse* c) {
        a->euCW = b, b->euCW = c, c->euCW = a;
        a->euCCW = c, c->euCCW = b, b->euCCW = a;
    }

    static int left(double x1, double y1, double x2, double y2, double x, double y) {
        const double t1 = (x2 - x1) * (y - y1), t2 = (x - x1) * (y2 - y1);
        return t1 > t2 ? 1 : t1 == t2 ? 0 : -1;
    }
    static int left(const EdgeUse* side, double x, double y) {
        const Vertex *from = side->vu->v, *to = side->euCW->vu->v;
        return left(from->x, from->y, to->x, to->y, x, y);
    }

    static bool isInside(const Face* face, double x, double y) {
        for (const EdgeUse* side : {face->eu, face->eu->euCW, face->eu->euCCW})
            if (left(side, x, y) == 1) return false;
        return true;
    }

    static bool isCrossed(const EdgeUse* side, double x1, double y1, double x2, double y2) {
        const int s = left(side, x1, y1) + left(side, x2, y2);
        if (s == 2 || s == -2) return false;
        const Vertex *from = side->vu->v, *to = side->euCW->vu->v;
        const int t = left(x1, y1, x2, y2, from->x, from->y) + left(x1, y1, x2, y2, to->x, to->y);
        return t != 2 && t != -2;
    }

    static double squared(const Vertex* v, double x, double y) { return (x - v->x) * (x - v->x) + (y - v->y) * (y - v->y); }

    Face* walk(Vertex* v, double x, double y) {
        std::size_t stepsLeft = 20 * _faces.size() + 1000; /* more than any walk that does not go in circles */
        while (true) {
            const VertexUse* use = v->vu;
            double d = squared(v, x, y);
            do {
                Vertex* const neighbour = use->eu->euMate->vu->v;
                if (squared(neighbour, x, y) < d) {
                    v = neighbour;
                    d = squared(v, x, y);
                    use = v->vu;
                } else {
                    use = use->vuNext;
                    if (use == v->vu) break;
                }
            } while (true);
            use = v->vu;
            do {
                if (use->eu->f && isInside(use->eu->f, x, y)) return use->eu->f;
                use = use->vuNext;
            } while (use != v->vu);
            const EdgeUse* side = nullptr;
            do {
                if (isCrossed(use->eu->euCW, v->x, v->y, x, y)) side = use->eu->euCW;
                use = use->vuNext;
            } while (!side && use != v->vu);
            int code = 0;
            while (side && code != 3) {
                side = side->euMate;
                if (!side->f || stepsLeft-- == 0) return lost(x, y);
                if (isInside(side->f, x, y)) return side->f;
                code = isCrossed(side->euCW, v->x, v->y, x, y) + 2 * isCrossed(side->euCCW, v->x, v->y, x, y);
                side = code == 0 ? nullptr : code == 1 ? side->euCW : side->euCCW;
            }
            if (!side) return lost(x, y);
            ++restarts;
            v = side->vu->v;
        }
    }

    /* Where rounding leaves no way: any face that has the point, else the one that the point is least beyond. */
    Face* lost(double x, double y) {
        ++lostWalks;
        Face* least = first;
        double leastBeyond = std::numeric_limits<double>::infinity();
        for (Face* face = first; face; face = face->fNext) {
            if (isInside(face, x, y)) return face;
            double beyond = 0.0;
            for (const EdgeUse* side : {face->eu, face->eu->euCW, face->eu->euCCW}) {
                const Vertex *from = side->vu->v, *to = side->euCW->vu->v;
                const double dx = to->x - from->x, dy = to->y - from->y;
                beyond = std::fmax(beyond, (dx * (y - from->y) - (x - from->x) * dy) / std::sqrt(dx * dx + dy * dy));
            }
            if (beyond < leastBeyond) {
                leastBeyond = beyond;
                least = face;
            }
        }
        ++facesLeastBeyond;
        return least;
    }

    void optimise(Face* face, double x, double y) {
        EdgeUse* const e0 = face->eu;
        Face* const behind = e0->euMate->f;
        const bool isFlipped =
            !e0->e->fixed && (x - behind->xc) * (x - behind->xc) + (y - behind->yc) * (y - behind->yc) < behind->rs;
        if (!isFlipped || areJoined(e0->euCCW->vu->v, e0->euMate->euCCW->vu->v)) {
            refusedFlips += isFlipped;
            return setCircle(face);
        }
        EdgeUse *const e1 = e0->euCW, *const e2 = e1->euCW, *const e3 = e0->euMate, *const e4 = e3->euCW, *const e5 = e4->euCW;
        attach(e0->vu, e2->vu);
        attach(e3->vu, e5->vu);
        makeLoop(e1, e0, e5);
        makeLoop(e2, e4, e3);
        e5->f = face;
        e2->f = behind;
        face->eu = e5;
        behind->eu = e4;
        optimise(face, x, y);
        optimise(behind, x, y);
    }

    static void attach(VertexUse* use, VertexUse* behind) {
        if (use->v->vu == use) use->v->vu = use->vuNext;
        use->vuPrev->vuNext = use->vuNext;
        use->vuNext->vuPrev = use->vuPrev;
        use->v = behind->v;
        putAfter(use, behind);
    }

    static bool areJoined(const Vertex* one, const Vertex* other) {
        const VertexUse* use = one->vu;
        do {
            if (use->eu->euCW->vu->v == other) return true;
            use = use->vuNext;
        } while (use != one->vu);
        return false;
    }

    void setCircle(Face* face) {
        const Vertex *v1 = face->eu->vu->v, *v2 = face->eu->euCW->vu->v, *v3 = face->eu->euCCW->vu->v;
        const double a = v2->x - v1->x, b = v3->x - v1->x, det = (v3->y - v1->y) * a - (v2->y - v1->y) * b;
        if (det == 0.0) {
            ++flatFaces;
            face->rs = -1.0;
            return;
        }
        const double c = v1->x * v1->x + v1->y * v1->y;
        const double h2 = (v2->x * v2->x + v2->y * v2->y - c) * 0.5, h3 = (v3->x * v3->x + v3->y * v3->y - c) * 0.5;
        face->yc = (a * h3 - b * h2) / det;
        face->xc = a == 0.0 ? (h3 - face->yc * (v3->y - v1->y)) / b : (h2 - face->yc * (v2->y - v1->y)) / a;
        face->rs = (v1->x - face->xc) * (v1->x - face->xc) + (v1->y - face->yc) * (v1->y - face->yc);
    }

    std::deque<Vertex> _vertices;
    std::deque<VertexUse> _uses;
    std::deque<EdgeUse> _sides;
    std::deque<Edge> _edges;
    std::deque<Face> _faces;
    std::map<const void*, void*> _copies;
};

/* The same faces in the same order, each with the same first side and circle, the rings alike, and the same face found last. */
inline bool isSameMesh(const PlainMesh& plain, const triModel& mesh) {
    const auto isSamePlace = [](const Vertex* a, const Vertex* b) { return a->x == b->x && a->y == b->y; };
    const auto isSameRing = [&](const VertexUse* a, const VertexUse* b) {
        const VertexUse *const startOfA = a, *const startOfB = b;
        do {
            if (!isSamePlace(a->eu->euCW->vu->v, b->eu->euCW->vu->v)) return false;
            a = a->vuNext;
            b = b->vuNext;
        } while (a != startOfA && b != startOfB);
        return a == startOfA && b == startOfB;
    };
    const Face *face = mesh.model->f, *expected = plain.first;
    bool isSame = true;
    for (; face && expected && isSame; face = face->fNext, expected = expected->fNext) {
        isSame = face->xc == expected->xc && face->yc == expected->yc && face->rs == expected->rs &&
                 (face == mesh.model->Fcur) == (expected == plain.current);
        const EdgeUse *a = face->eu, *b = expected->eu;
        for (int i = 0; i < 3 && isSame; ++i, a = a->euCW, b = b->euCW)
            isSame = isSamePlace(a->vu->v, b->vu->v) && isSameRing(a->vu, b->vu) && isSameRing(a->vu->v->vu, b->vu->v->vu);
    }
    return isSame && !face && !expected;
}

#endif
