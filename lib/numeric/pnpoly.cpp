#include <pelta/numeric.h>

#include <algorithm>

#include "truncation.h"
#include "vectorize.h"

namespace {

struct Point {
    float x, y;
};

/* What an edge counts for, summed over the edges between consecutive vertices. */
template <class Count>
PELTA_INLINE int sumOverEdges(int edgeCount, const float* x, const float* y, Point point, Count count) {
    int sum = 0;
    for (int i = 0; i < edgeCount; ++i) sum += count(Point{x[i], y[i]}, Point{x[i + 1], y[i + 1]}, point);
    return sum;
}

/* Where an edge meets the height of a point. Level edges meet none; for them the divisor is not 0 but 1, since the division is
 * done for every edge and must not raise a flag for those that are not crossed. */
PELTA_INLINE float meetingPlace(Point from, Point to, Point point) {
    const float rise = to.y == from.y ? 1.0f : to.y - from.y;
    return (to.x - from.x) * (point.y - from.y) / rise + from.x;
}

/* Kept on purpose: the edge owns its lower end, and a point on the edge is not left of it. */
PELTA_INLINE int crossesAboveLowerEnd(Point from, Point to, Point point) {
    const bool spans = ((from.y <= point.y) & (point.y < to.y)) | ((to.y <= point.y) & (point.y < from.y));
    return spans & (point.x < meetingPlace(from, to, point));
}

/* Kept on purpose: here the edge owns its upper end, and a point on the edge is left of it. */
PELTA_INLINE int crossesUpToUpperEnd(Point from, Point to, Point point) {
    const bool spans = (point.y > std::min(from.y, to.y)) & (point.y <= std::max(from.y, to.y)) & (from.y != to.y);
    const bool isReached = point.x <= std::max(from.x, to.x);
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

PELTA_VECTORIZE int countCrossings(int edgeCount, const float* x, const float* y, Point point) {
    // Measured from the later vertex, where the second test measures from the earlier one: the roundings differ.
    return sumOverEdges(edgeCount, x, y, point,
                        [](Point before, Point vertex, Point at) { return crossesAboveLowerEnd(vertex, before, at); });
}

PELTA_VECTORIZE int countCrossings2(int edgeCount, const float* x, const float* y, Point point) {
    return sumOverEdges(edgeCount, x, y, point, crossesUpToUpperEnd);
}

PELTA_VECTORIZE int sumWindings(int edgeCount, const float* x, const float* y, Point point) {
    return sumOverEdges(edgeCount, x, y, point, windingOf);
}

}

int peltaPnPolygon(int npol, float* xp, float* yp, float x, float y) {
    if (npol <= 0) return 0;
    const Point last{xp[npol - 1], yp[npol - 1]}, first{xp[0], yp[0]}, point{x, y};
    return (countCrossings(npol - 1, xp, yp, point) + crossesAboveLowerEnd(first, last, point)) & 1;
}

int peltaPnPolygon2(int npol, float* xp, float* yp, float x, float y) {
    return npol > 1 ? countCrossings2(npol - 1, xp, yp, {x, y}) & 1 : 0;
}

int peltaPnPolygon1(int npol, float* xp, float* yp, float x, float y) {
    return npol > 1 ? sumWindings(npol - 1, xp, yp, {x, y}) : 0;
}

int isLeft(float x1, float y1, float x2, float y2, float x3, float y3) {
    return truncated(crossProduct({x1, y1}, {x2, y2}, {x3, y3}));
}
