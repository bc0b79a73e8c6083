#ifndef PELTA_TESTS_MESHVERIFIER_H
#define PELTA_TESTS_MESHVERIFIER_H

#include <gtest/gtest.h>
#include <pelta/trimodel.h>

#include <cmath>
#include <cstddef>
#include <set>

/* What holds for a mesh after any sequence of insertions. */

inline double twiceArea(const Face* face) {
    const Vertex *a = face->eu->vu->v, *b = face->eu->euCW->vu->v, *c = face->eu->euCCW->vu->v;
    return (b->x - a->x) * (c->y - a->y) - (c->x - a->x) * (b->y - a->y);
}

struct MeshCounts {
    std::size_t faces = 0, vertices = 0, edges = 0;
};

/* Links of sides, faces and rings; returns what was counted. */
inline MeshCounts expectLinked(const triModel& mesh) {
    std::set<const Vertex*> vertices;
    std::set<const Edge*> edges;
    std::size_t faces = 0, uses = 0, usesInRings = 0;
    const auto visitSide = [&](const EdgeUse* side, const Face* face) {
        EXPECT_EQ(side->f, face);
        EXPECT_EQ(side->euCW->euCCW, side);
        EXPECT_EQ(side->euCCW->euCW, side);
        EXPECT_EQ(side->vu->eu, side);
        EXPECT_EQ(side->euMate->euMate, side);
        EXPECT_NE(side->euMate, side);
        EXPECT_EQ(side->euMate->e, side->e);
        EXPECT_TRUE(side->e->eu == side || side->e->eu == side->euMate);
        EXPECT_EQ(side->euMate->vu->v, side->euCW->vu->v);
        EXPECT_EQ(side->vu->vuNext->vuPrev, side->vu);
        EXPECT_EQ(side->vu->vuPrev->vuNext, side->vu);
        EXPECT_EQ(side->vu->vuNext->v, side->vu->v);
        vertices.insert(side->vu->v);
        edges.insert(side->e);
        ++uses;
    };
    const Face* previous = nullptr;
    for (const Face* face = mesh.model->f; face; previous = face, face = face->fNext, ++faces) {
        EXPECT_EQ(face->fPrev, previous);
        EXPECT_EQ(face->m, mesh.model);
        EXPECT_EQ(face->eu->euCW->euCW->euCW, face->eu);
        const EdgeUse* side = face->eu;
        for (int i = 0; i < 3; ++i, side = side->euCW) {
            visitSide(side, face);
            if (!side->euMate->f) {
                EXPECT_EQ(side->e->fixed, 1);
                visitSide(side->euMate, nullptr);
            } else EXPECT_EQ(side->e->fixed, 0);
        }
    }
    for (const Vertex* vertex : vertices) {
        const VertexUse* use = vertex->vu;
        EXPECT_EQ(use->v, vertex);
        do {
            ++usesInRings;
            use = use->vuNext;
        } while (use != vertex->vu && usesInRings <= uses);
    }
    EXPECT_EQ(usesInRings, uses);
    for (const Vertex* corner : mesh.model->CV) EXPECT_TRUE(vertices.count(corner));
    return {faces, vertices.size(), edges.size()};
}

/* Also Euler's count, for so many points besides the square's corners; and, wherever neither face has an area of zero, that no
 * face holds its neighbour's far corner inside its circumcircle by more than rounding explains. */
inline void expectDelaunay(const triModel& mesh, std::size_t points, double tolerance = 1e-9) {
    const MeshCounts counts = expectLinked(mesh);
    EXPECT_EQ(counts.vertices, points + 4);
    EXPECT_EQ(counts.faces, 2 * points + 2);
    EXPECT_EQ(counts.edges, 3 * points + 5);
    for (const Face* face = mesh.model->f; face; face = face->fNext) {
        if (twiceArea(face) == 0.0 || face->rs < 0.0) continue;
        const EdgeUse* side = face->eu;
        for (int i = 0; i < 3; ++i, side = side->euCW) {
            const Face* const behind = side->euMate->f;
            if (!behind || twiceArea(behind) == 0.0) continue;
            const Vertex* const far = side->euMate->euCCW->vu->v;
            const double dx = far->x - face->xc, dy = far->y - face->yc;
            EXPECT_GE(dx * dx + dy * dy, face->rs * (1.0 - tolerance))
                << "(" << far->x << ", " << far->y << ") in the circle round (" << face->xc << ", " << face->yc << ")";
        }
    }
}

#endif
