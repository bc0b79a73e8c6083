#include <pelta/trimodel.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "mesh/allocation.h"
#include "mesh/circles.h"
#include "mesh/geometry.h"
#include "mesh/hull.h"
#include "mesh/insertion.h"
#include "mesh/links.h"
#include "mesh/location.h"
#include "mesh/modelrecord.h"
#include "mesh/records.h"
#include "mesh/resampling.h"
#include "mesh/square.h"
#include "mesh/weighting.h"

triModel::triModel() : model(nullptr), _isOpen(false) {}

triModel::~triModel() { triClear(); }

namespace {

constexpr Coord squareHalf = 40000000.0;

}

int triModel::triStart() {
    triClear();
    void* const memory = std::malloc(sizeof(ModelRecord));
    if (!memory) return 0;
    model = new (memory) ModelRecord();
    model->Cupdate = 1;
    constexpr Coord cornersX[4] = {-squareHalf, squareHalf, squareHalf, -squareHalf};
    constexpr Coord cornersY[4] = {-squareHalf, -squareHalf, squareHalf, squareHalf};
    std::copy_n(cornersX, 4, model->Xc);
    std::copy_n(cornersY, 4, model->Yc);
    if (tri_init_0(model->Xc, model->Yc, model->CV)) return 1;
    triClear();
    return 0;
}

namespace {

bool isInSquare(const Model& model, Coord x, Coord y) {
    return x >= model.Xc[0] && x <= model.Xc[1] && y >= model.Yc[0] && y <= model.Yc[2];
}

void sayOutside(const Model& model, Coord x, Coord y) {
    std::printf("triModel: Point (%g,%g) is outside tessellation not inserted\n", x, y);
    std::printf("The tessellation range is (%d,%d) to (%d,%d)\n", static_cast<int>(model.Xc[0]), static_cast<int>(model.Yc[0]),
                static_cast<int>(model.Xc[1]), static_cast<int>(model.Yc[2]));
    std::fflush(stdout);
}

}

int triModel::triAdd(Coord* x, Coord* y, float* abs, float* ord, int* nabs) {
    if (!model) return 0;
    if (!isInSquare(*model, *x, *y)) return sayOutside(*model, *x, *y), 0;
    Vertex* const vertex = obtainVertex(*this, *x, *y, abs, ord, std::max(*nabs, 0));
    if (!vertex) return 0;
    model->Cupdate = 1;
    FaceRecord* const face = locate(*recordOf(model), *x, *y);
    if (Vertex* const older = cornerAt(face, *x, *y)) {
        tri_overwrite(vertex, older);
        return 1;
    }
    auto* const addition = static_cast<Addition*>(obtain(*this, sizeof(Addition)));
    if (!addition) {
        giveBack(*this, vertex);
        return 0;
    }
    insert(*this, face, vertex, *addition);
    recordOf(model)->grid.add(*x, *y, face);
    return 1;
}

void triModel::triGet(Coord* x, Coord* y, float* abs, float* ord, int* nabs) {
    *nabs = 0;
    if (!model || !isInSquare(*model, *x, *y)) return;
    const Vertex* const vertex = cornerAt(locate(*recordOf(model), *x, *y), *x, *y);
    if (!vertex) return;
    *nabs = vertex->nabs;
    std::copy_n(abscissaeOf(vertex), vertex->nabs, abs);
    std::copy_n(ordinatesOf(vertex), vertex->nabs, ord);
}

void triModel::triClear() {
    if (!model) return;
    tri_free_all(&model->tracker);
    recordOf(model)->~ModelRecord();
    std::free(model);
    model = nullptr;
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

namespace {

/* A vertex's function on a grid: as it is kept, or else in scratch. */
float* resampledFunction(triModel& mesh, const Vertex* vertex, float first, float spacing, int count, float* scratch) {
    const auto resampleTo = [&](float* samples) {
        mesh.tri_interpolate(abscissaeOf(vertex), ordinatesOf(vertex), vertex->nabs, first, spacing, count, samples);
    };
    if (const float* kept = recordOf(mesh.model)->functions.values(vertex, first, spacing, count, resampleTo))
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
    if (isInSquare(*model, *x, *y)) locate(*recordOf(model), *x, *y);
    else tri_face(*x, *y, &model->Fcur);
    const EdgeUse* const side = model->Fcur->eu;
    const Vertex *v0 = startOf(side), *v1 = startOf(side->euCW), *v2 = startOf(side->euCCW);
    const int count = std::max(*nord, 0);
    float* const z0 = resampledFunction(*this, v0, *a0, *ainc, count, ord);
    float* const z1 = resampledFunction(*this, v1, *a0, *ainc, count, wrk);
    float* const z2 = resampledFunction(*this, v2, *a0, *ainc, count, wrk + count);
    tri_initialize(*x, *y, ord, count, v0->x, v0->y, z0, v1->x, v1->y, z1, v2->x, v2->y, z2);
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

// --- links ---

void triModel::tri_vu_eu(VertexUse* vu, EdgeUse* eu) { startAt(vu, eu); }

void triModel::tri_eu_eu(EdgeUse* eu1, EdgeUse* eu2) { follow(eu1, eu2); }

void triModel::tri_vu_vu(VertexUse* vu1, VertexUse* vu2) { follow(vu1, vu2); }

void triModel::tri_mate(EdgeUse* eu1, EdgeUse* eu2) { makeMates(eu1, eu2); }

void triModel::tri_vu_loop(VertexUse* vu1, VertexUse* vu2, VertexUse* vu3) { makeLoop(vu1, vu2, vu3); }

void triModel::tri_eu_loop(EdgeUse* eu1, EdgeUse* eu2, EdgeUse* eu3) { makeLoop(eu1, eu2, eu3); }

// --- the mesh ---

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

void triModel::tri_face(Coord x, Coord y, Face** F) {
    if (model) *F = walkFrom(*model, *F ? *F : model->f, x, y);
}

void triModel::tri_opt(Face* F, Coord x, Coord y) { flipRound(*this, recordOf(F), x, y); }

void triModel::tri_overwrite(Vertex* newer, Vertex* older) {
    newer->vu = older->vu;
    VertexUse* use = newer->vu;
    do {
        use->v = newer;
        use = use->vuNext;
    } while (use != newer->vu);
    std::replace(model->CV, model->CV + 4, older, newer);
    giveBack(*this, older);
}

int triModel::tri_init_0(Coord* x, Coord* y, Vertex** V) { return model && makeSquare(*this, x, y, V); }

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

}

int triModel::tri_update() {
    if (!model) return 0;
    for (Vertex* const corner : {model->CV[0], model->CV[1], model->CV[2], model->CV[3]}) {
        const Vertex* const nearest = nearestNeighbour(corner);
        Vertex* const refreshed =
            obtainVertex(*this, corner->x, corner->y, abscissaeOf(nearest), ordinatesOf(nearest), nearest->nabs);
        if (!refreshed) return 0;
        tri_overwrite(refreshed, corner);
    }
    model->Cupdate = 0;
    return 1;
}

int triModel::tri_update_hull() {
    if (!model) return 0;
    releaseRing(*recordOf(model));
    if (!hasPoints(*model)) {
        std::puts("triModel: Empty tessellation");
        std::fflush(stdout);
        return 0;
    }
    const bool isWhole = makeRing(*this);
    const Hull& hull = model->hull;
    if (hull.n >= 3) {
        VertexHull* record = hull.vh;
        for (int i = 0; i < hull.n; ++i, record = record->vhNext) {
            const Vertex *previous = record->vhPrev->v, *vertex = record->v, *next = record->vhNext->v;
            tri_bisector(previous->x, previous->y, vertex->x, vertex->y, next->x, next->y, &record->x, &record->y);
        }
        recordOf(model)->sides.copyOf(hull);
    }
    model->Cupdate = 0;
    return isWhole;
}

int triModel::tri_out_hull(Coord x, Coord y) { return !model || model->hull.n < 3 || isOutside(*recordOf(model), x, y); }

// --- extrapolation ---

namespace {

void resampleVertex(triModel& mesh, const Vertex* vertex, const float* a0, const float* ainc, float* y, const int* nord) {
    mesh.tri_interpolate(abscissaeOf(vertex), ordinatesOf(vertex), vertex->nabs, *a0, *ainc, *nord, y);
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

/* Kept on purpose: the sign of the second product. */
int triModel::tri_deg(VertexHull* VH, VertexHull* VH0) {
    const auto isDegenerate = [](const VertexHull* record) {
        const VertexHull *previous = record->vhPrev, *next = record->vhNext;
        const Vertex* const v = record->v;
        return (v->x - previous->x) * (v->y - next->y) == -((v->y - previous->y) * (v->x - next->x));
    };
    return isDegenerate(VH) || isDegenerate(VH0);
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

double triModel::tri_x_y(double x1, double y1, double x2, double y2, double x3, double y3, double x4, double y4) {
    return ((y2 - y4) * (x3 - x1) * (x2 - x1) + (x2 - x1) * x4 * (y3 - y1) - (y2 - y1) * x2 * (x3 - x1)) /
           ((x2 - x1) * y3 + (x3 - x2) * y1 + (x1 - x3) * y2);
}

double triModel::tri_proj(double x1, double y1, double x2, double y2, double x3, double y3) {
    const double dx = x2 - x1, dy = y2 - y1;
    return ((y3 - y1) * dy * dx + x1 * (dy * dy) + dx * dx * x3) / (dy * dy + dx * dx);
}

// --- functions on a grid ---

void triModel::tri_interpolate(float* xin, float* yin, int n, float xs, float xi, int ny, float* y) {
    resample(model ? &recordOf(model)->abscissae : nullptr, xin, yin, n, xs, xi, ny, y);
}

void triModel::tri_initialize(double ix, double iy, float* vel, int numt, double x1, double y1, float* z1, double x2, double y2,
                              float* z2, double x3, double y3, float* z3) {
    const double dx = ix - x1, dy = iy - y1;
    const double det = (y3 - y1) * (x2 - x1) - (x3 - x1) * (y2 - y1);
    if (det == 0.0)
        return weightNearestTwo(vel, z1, z2, z3, distance(ix, iy, x1, y1), distance(ix, iy, x2, y2), distance(ix, iy, x3, y3),
                                numt);
    const double f1 = (dy * (x2 - x1) - (y2 - y1) * dx) / det;
    const double f2 = (dx * (y3 - y1) - (x3 - x1) * dy) / det;
    setPlanes(vel, z1, z2, z3, f1, f2, numt);
}
