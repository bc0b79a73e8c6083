#include <pelta/numeric.h>

#include <cstdint>

#include "truncation.h"
#include "vectorize.h"

#if PELTA_LEVELS
#include <immintrin.h>
#endif

namespace {

struct Point {
    float x, y;
};

/* Where an edge meets the height of a point. Level edges meet none; for them the divisor is not 0 but 1, since the division is
 * done for every edge and must not raise a flag for those that are not crossed. */
PELTA_INLINE float meetingPlace(Point from, Point to, Point point) {
    const float rise = to.y == from.y ? 1.0f : to.y - from.y;
    return (to.x - from.x) * (point.y - from.y) / rise + from.x;
}

/* Kept on purpose: the edge owns its lower end, and a point on the edge is not left of it. */
PELTA_INLINE bool crossesAboveLowerEnd(Point from, Point to, Point point) {
    const bool spans = ((from.y <= point.y) & (point.y < to.y)) | ((to.y <= point.y) & (point.y < from.y));
    return spans & (point.x < meetingPlace(from, to, point));
}

/* Kept on purpose: here the edge owns its upper end, and a point on the edge is left of it. */
PELTA_INLINE bool crossesUpToUpperEnd(Point from, Point to, Point point) {
    const bool spans = ((from.y < point.y) & (point.y <= to.y)) | ((to.y < point.y) & (point.y <= from.y));
    const bool isReached = (point.x <= from.x) | (point.x <= to.x);
    return spans & isReached & ((from.x == to.x) | (point.x <= meetingPlace(from, to, point)));
}

PELTA_INLINE float crossProduct(Point from, Point to, Point point) {
    return (to.x - from.x) * (point.y - from.y) - (point.x - from.x) * (to.y - from.y);
}

/* Kept on purpose: isLeft cuts to whole numbers, so that down to just above -1 a cross product counts as 0, and 0 as left. */
PELTA_INLINE int windingOf(Point from, Point to, Point point) {
    const bool rises = (from.y <= point.y) & (to.y > point.y), falls = (from.y > point.y) & (to.y <= point.y);
    const bool isToTheLeft = crossProduct(from, to, point) > -1.0f;
    return (rises & isToTheLeft) - (falls & !isToTheLeft);
}

/* The three tests over the edges between consecutive vertices. The first measures an edge from its later vertex, the second from
 * its earlier one, and the meeting places are rounded differently. */

PELTA_VECTORIZE_256 int countCrossings(int edgeCount, const float* x, const float* y, Point point) {
    int count = 0;
    for (int i = 0; i < edgeCount; ++i) count += crossesAboveLowerEnd({x[i + 1], y[i + 1]}, {x[i], y[i]}, point);
    return count;
}

PELTA_VECTORIZE_256 int countCrossings2(int edgeCount, const float* x, const float* y, Point point) {
    int count = 0;
    for (int i = 0; i < edgeCount; ++i) count += crossesUpToUpperEnd({x[i], y[i]}, {x[i + 1], y[i + 1]}, point);
    return count;
}

PELTA_VECTORIZE_256 int sumWindings(int edgeCount, const float* x, const float* y, Point point) {
    int winding = 0;
    for (int i = 0; i < edgeCount; ++i) winding += windingOf({x[i], y[i]}, {x[i + 1], y[i + 1]}, point);
    return winding;
}

#if PELTA_LEVELS

/* The same with masks for the flags of sixteen edges, which leaves no rest of an outline to be gone through edge by edge. */

struct Edges {
    __m512 fromX, fromY, toX, toY;
    __mmask16 live;
};

PELTA_LEVEL_V4 PELTA_INLINE Edges nextEdges(const float* x, const float* y, std::int64_t left) {
    const auto live = static_cast<__mmask16>(left < 16 ? (1 << left) - 1 : 0xFFFF);
    return {_mm512_maskz_loadu_ps(live, x), _mm512_maskz_loadu_ps(live, y), _mm512_maskz_loadu_ps(live, x + 1),
            _mm512_maskz_loadu_ps(live, y + 1), live};
}

PELTA_LEVEL_V4 PELTA_INLINE __mmask16 areAscending(__mmask16 among, __m512 a, __m512 b) {
    return _mm512_mask_cmp_ps_mask(among, a, b, _CMP_LT_OQ);
}

PELTA_LEVEL_V4 PELTA_INLINE __mmask16 areNotDescending(__mmask16 among, __m512 a, __m512 b) {
    return _mm512_mask_cmp_ps_mask(among, a, b, _CMP_LE_OQ);
}

/* From (x1, y1) to (x2, y2). */
PELTA_LEVEL_V4 PELTA_INLINE __m512 meetingPlaces(__mmask16 among, __m512 x1, __m512 y1, __m512 x2, __m512 y2, __m512 y) {
    const __m512 product = _mm512_mul_ps(_mm512_sub_ps(x2, x1), _mm512_sub_ps(y, y1));
    return _mm512_add_ps(_mm512_maskz_div_ps(among, product, _mm512_sub_ps(y2, y1)), x1);
}

PELTA_LEVEL_V4 int countCrossingsV4(int edgeCount, const float* vertexX, const float* vertexY, Point point) {
    const __m512 x = _mm512_set1_ps(point.x), y = _mm512_set1_ps(point.y);
    unsigned parities = 0;
    for (std::int64_t first = 0; first < edgeCount; first += 16) {
        const auto [x1, y1, x2, y2, live] = nextEdges(vertexX + first, vertexY + first, edgeCount - first);
        const __mmask16 rise = areAscending(areNotDescending(live, y1, y), y, y2);
        const __mmask16 fall = areAscending(areNotDescending(live, y2, y), y, y1);
        const __mmask16 spans = rise | fall;
        parities ^= areAscending(spans, x, meetingPlaces(spans, x2, y2, x1, y1, y));
    }
    return __builtin_popcount(parities);
}

PELTA_LEVEL_V4 int countCrossings2V4(int edgeCount, const float* vertexX, const float* vertexY, Point point) {
    const __m512 x = _mm512_set1_ps(point.x), y = _mm512_set1_ps(point.y);
    unsigned parities = 0;
    for (std::int64_t first = 0; first < edgeCount; first += 16) {
        const auto [x1, y1, x2, y2, live] = nextEdges(vertexX + first, vertexY + first, edgeCount - first);
        const __mmask16 rise = areNotDescending(areAscending(live, y1, y), y, y2);
        const __mmask16 fall = areNotDescending(areAscending(live, y2, y), y, y1);
        const __mmask16 reached = areNotDescending(rise | fall, x, _mm512_maskz_max_ps(live, x1, x2));
        const __mmask16 upright = _mm512_mask_cmp_ps_mask(reached, x1, x2, _CMP_EQ_OQ);
        parities ^= upright | areNotDescending(reached, x, meetingPlaces(reached, x1, y1, x2, y2, y));
    }
    return __builtin_popcount(parities);
}

PELTA_LEVEL_V4 int sumWindingsV4(int edgeCount, const float* vertexX, const float* vertexY, Point point) {
    const __m512 x = _mm512_set1_ps(point.x), y = _mm512_set1_ps(point.y), right = _mm512_set1_ps(-1.0f);
    int winding = 0;
    for (std::int64_t first = 0; first < edgeCount; first += 16) {
        const auto [x1, y1, x2, y2, live] = nextEdges(vertexX + first, vertexY + first, edgeCount - first);
        const __m512 reach = _mm512_mul_ps(_mm512_sub_ps(x2, x1), _mm512_sub_ps(y, y1));
        const __m512 rise = _mm512_mul_ps(_mm512_sub_ps(x, x1), _mm512_sub_ps(y2, y1));
        const __mmask16 left = areAscending(live, right, _mm512_sub_ps(reach, rise));
        const __mmask16 rises = areAscending(areNotDescending(left, y1, y), y, y2);
        const __mmask16 falls = areAscending(areNotDescending(live & ~left, y2, y), y, y1);
        winding += __builtin_popcount(rises) - __builtin_popcount(falls);
    }
    return winding;
}

#endif

using Kernel = int (*)(int edgeCount, const float* x, const float* y, Point point);

struct Kernels {
    Kernel crossings, crossings2, windings;
};

const Kernels& kernels() {
    static constexpr Kernels plain{countCrossings, countCrossings2, sumWindings};
#if PELTA_LEVELS
    static constexpr Kernels masked{countCrossingsV4, countCrossings2V4, sumWindingsV4};
    static const Kernels& best = __builtin_cpu_supports("x86-64-v4") ? masked : plain;
    return best;
#else
    return plain;
#endif
}

}

int peltaPnPolygon(int npol, float* xp, float* yp, float x, float y) {
    if (npol <= 0) return 0;
    const Point last{xp[npol - 1], yp[npol - 1]}, first{xp[0], yp[0]}, point{x, y};
    return (kernels().crossings(npol - 1, xp, yp, point) + crossesAboveLowerEnd(first, last, point)) & 1;
}

int peltaPnPolygon2(int npol, float* xp, float* yp, float x, float y) {
    return npol > 1 ? kernels().crossings2(npol - 1, xp, yp, {x, y}) & 1 : 0;
}

int peltaPnPolygon1(int npol, float* xp, float* yp, float x, float y) {
    return npol > 1 ? kernels().windings(npol - 1, xp, yp, {x, y}) : 0;
}

int isLeft(float x1, float y1, float x2, float y2, float x3, float y3) {
    return truncated(crossProduct({x1, y1}, {x2, y2}, {x3, y3}));
}
