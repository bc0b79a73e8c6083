#include "mesh/hullsides.h"

#include "vectorize.h"

bool HullSides::hasRoomFor(int count) {
    if (count <= _room) return true;
    const int room = count + count / 2;
    std::free(_startX);
    _startX = static_cast<double*>(std::malloc(4 * static_cast<std::size_t>(room) * sizeof(double)));
    _room = _startX ? room : 0;
    if (!_startX) return false;
    _startY = _startX + room;
    _alongX = _startY + room;
    _alongY = _alongX + room;
    return true;
}

void HullSides::copyOf(const Hull& hull) {
    _count = 0;
    if (!hasRoomFor(hull.n)) return;
    const VertexHull* record = hull.vh;
    for (; _count < hull.n; ++_count, record = record->vhNext) {
        const Vertex *from = record->v, *to = record->vhNext->v;
        _startX[_count] = from->x;
        _startY[_count] = from->y;
        _alongX[_count] = to->x - from->x;
        _alongY[_count] = to->y - from->y;
    }
}

namespace {

PELTA_VECTORIZE int countLeft(const double* startX, const double* startY, const double* alongX, const double* alongY, int count,
                              double x, double y) {
    int left = 0;
    for (int i = 0; i < count; ++i) left += alongX[i] * (y - startY[i]) > (x - startX[i]) * alongY[i];
    return left;
}

}

int HullSides::countPassed(Coord x, Coord y) const { return countLeft(_startX, _startY, _alongX, _alongY, _count, x, y); }
