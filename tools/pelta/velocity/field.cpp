#include "velocity/field.h"

#include <algorithm>
#include <cmath>

#include "support/failure.h"
#include "support/libraryvoice.h"

namespace pelta::velocity {
namespace {

constexpr double straightness = 0.01; /* of a line's length: how far off it a point may stand */
constexpr double lengthInMesh = 1e6;  /* of a line, wherever it lies: a diagonal one may be longer than the square */

const Place& farthestFrom(const Place& place, const std::vector<ControlPoint>& points) {
    return std::max_element(points.begin(), points.end(),
                            [&](const ControlPoint& a, const ControlPoint& b) {
                                return distance(place, a.place) < distance(place, b.place);
                            })
        ->place;
}

/* The library resamples a function as if it were constant before its first pair only where that lies before the first sample
 * asked for; otherwise the result moves up by as much. So every function begins before any time that is asked for. */
constexpr float longBefore = -1e9f;

struct MeshFunction {
    std::vector<float> times, velocities;
};

MeshFunction extended(const Pairs& pairs) {
    MeshFunction function = {{longBefore}, {static_cast<float>(pairs.front().second)}};
    for (const auto& [time, velocity] : pairs) {
        function.times.push_back(static_cast<float>(time));
        function.velocities.push_back(static_cast<float>(velocity));
    }
    return function;
}

}

Field::Field(std::vector<ControlPoint> points) : _points(std::move(points)) {
    findLine();
    build();
}

/* One end is the point farthest from any, the other one the point farthest from that. */
void Field::findLine() {
    _origin = farthestFrom(_points.front().place, _points);
    const Place end = farthestFrom(_origin, _points);
    const double length = distance(_origin, end);
    const double scale = length > 0.0 ? lengthInMesh / length / length : 0.0;
    _direction = {scale * (end.x - _origin.x), scale * (end.y - _origin.y)};
    _isLine = std::all_of(_points.begin(), _points.end(), [&](const ControlPoint& point) {
        const double off = _direction.x * (point.place.y - _origin.y) - _direction.y * (point.place.x - _origin.x);
        return std::abs(off) <= straightness * lengthInMesh;
    });
    if (!_isLine) return;
    std::stable_sort(_points.begin(), _points.end(),
                     [&](const ControlPoint& a, const ControlPoint& b) { return footOf(a.place) < footOf(b.place); });
    for (const ControlPoint& point : _points) _feet.push_back(footOf(point.place));
    _isLine = std::adjacent_find(_feet.begin(), _feet.end()) == _feet.end(); /* every point keeps a place of its own */
}

double Field::footOf(const Place& place) const {
    return _direction.x * (place.x - _origin.x) + _direction.y * (place.y - _origin.y);
}

Place Field::inMesh(const Place& place) const {
    if (!_isLine) return place;
    return {std::clamp(footOf(place), _feet.front(), _feet.back()), 0.0};
}

/* The mesh reports three points on a line on standard output. */
void Field::build() {
    const LibraryVoice silent;
    const auto outOfMemory = [] { fail("out of memory for the velocity functions"); };
    if (_mesh.triStart() == 0) outOfMemory();
    for (const ControlPoint& point : _points) {
        Place place = inMesh(point.place);
        MeshFunction function = extended(point.pairs);
        int count = static_cast<int>(function.times.size());
        if (_mesh.triAdd(&place.x, &place.y, function.times.data(), function.velocities.data(), &count) == 0) outOfMemory();
    }
    float velocity = 0.0f;
    functionAt(_points.front().place, 0.0, 1.0, 1, &velocity); /* makes the hull */
}

void Field::functionAt(const Place& place, double firstMs, double intervalMs, int count, float* velocities) {
    if (_scratch.size() < 2 * static_cast<std::size_t>(count)) _scratch.resize(2 * static_cast<std::size_t>(count));
    Place inside = inMesh(place);
    auto first = static_cast<float>(firstMs), interval = static_cast<float>(intervalMs);
    _mesh.model->Fcur = _mesh.model->f; /* on a side of two triangles the one that is found depends on where the way began */
    _mesh.triInterpolate(&inside.x, &inside.y, &first, &interval, _scratch.data(), velocities, &count);
    if (!std::all_of(velocities, velocities + count, [](float v) { return v > 0.0f && std::isfinite(v); }))
        fail("the velocity functions give none at x {:.10g}, y {:.10g}", place.x, place.y);
}

TimeFunction Field::timeFunctionAt(const Place& place) {
    const auto nearest = std::min_element(_points.begin(), _points.end(), [&](const ControlPoint& a, const ControlPoint& b) {
        return distance(place, a.place) < distance(place, b.place);
    });
    Pairs pairs = nearest->pairs;
    for (auto& [time, velocity] : pairs) {
        float there = 0.0f;
        functionAt(place, time, 1.0, 1, &there);
        velocity = there;
    }
    return TimeFunction(std::move(pairs), "velocity field");
}

std::ptrdiff_t Field::regionOf(const Place& place) {
    if (_isLine) {
        const double foot = footOf(place);
        if (!(foot >= _feet.front() && foot <= _feet.back())) return outside;
        return std::upper_bound(_feet.begin(), _feet.end() - 1, foot) - _feet.begin();
    }
    if (_mesh.tri_out_hull(place.x, place.y) == 1) return outside;
    Face* face = _mesh.model->f;
    _mesh.tri_face(place.x, place.y, &face);
    return reinterpret_cast<std::ptrdiff_t>(face);
}

std::vector<std::pair<Place, Place>> Field::sides() const {
    std::vector<std::pair<Place, Place>> sides;
    if (_isLine) {
        for (std::size_t k = 1; k < _points.size(); ++k) sides.emplace_back(_points[k - 1].place, _points[k].place);
        return sides;
    }
    const Model& model = *_mesh.model;
    const auto isCorner = [&](const Vertex* vertex) {
        return std::find(std::begin(model.CV), std::end(model.CV), vertex) != std::end(model.CV);
    };
    for (const Face* face = model.f; face; face = face->fNext) {
        const EdgeUse* side = face->eu;
        for (int k = 0; k < 3; ++k, side = side->euCW) {
            const Vertex *from = side->vu->v, *to = side->euCW->vu->v;
            const bool isOfThisUse = side->e->eu == side; /* and not the same seen from the neighbour */
            if (isOfThisUse && !isCorner(from) && !isCorner(to)) sides.push_back({{from->x, from->y}, {to->x, to->y}});
        }
    }
    return sides;
}

std::vector<Place> Field::hull() const {
    if (_isLine) return {_points.front().place, _points.back().place};
    std::vector<Place> corners;
    const VertexHull* record = _mesh.model->hull.vh;
    for (int k = 0; k < _mesh.model->hull.n; ++k, record = record->vhNext) corners.push_back({record->v->x, record->v->y});
    return corners;
}

}
