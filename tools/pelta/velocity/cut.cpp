#include "velocity/cut.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "grids/roundeddown.h"

namespace pelta::velocity {
namespace {

constexpr float unknown = std::numeric_limits<float>::quiet_NaN();

/* Nodes from one end of a range to the other, the last one at or before its end. */
std::int64_t nodesIn(const Range& range, double spacing) {
    constexpr double rounding = 1e-9;
    return 1 + static_cast<std::int64_t>((range.to - range.from) / spacing * (1.0 + rounding) + rounding);
}

}

TimeSlice cutTimeSlice(Field& field, double timeMs, const Area& area, double spacing, bool onlyInside) {
    TimeSlice slice = {timeMs, {}, {}};
    Grid& grid = slice.grid;
    grid.columns = nodesIn(area.x, spacing);
    grid.rows = nodesIn(area.y, spacing);
    grid.left = area.x.from;
    grid.top = area.y.from + static_cast<double>(grid.rows - 1) * spacing;
    grid.columnSpacing = grid.rowSpacing = spacing;
    for (std::int64_t row = 0; row < grid.rows; ++row)
        for (std::int64_t column = 0; column < grid.columns; ++column) {
            const Place place = {grid.left + static_cast<double>(column) * spacing,
                                 grid.top - static_cast<double>(row) * spacing};
            const bool isInside = field.regionOf(place) != Field::outside;
            float velocity = unknown;
            if (isInside || !onlyInside) field.functionAt(place, timeMs, 1.0, 1, &velocity);
            grid.values.push_back(velocity);
            slice.isInside.push_back(isInside);
        }
    return slice;
}

Path straightPath(const Place& from, const Place& to, double spacing) {
    const double length = distance(from, to);
    Path path = {0.0, spacing, {}, "distance"};
    const std::int64_t count = nodesIn({0.0, length}, spacing);
    for (std::int64_t k = 0; k < count; ++k) {
        const double share = static_cast<double>(k) * spacing / length;
        path.places.push_back(Place{from.x + share * (to.x - from.x), from.y + share * (to.y - from.y)});
    }
    return path;
}

namespace {

/* How near a point has to be to be shown on a path. */
double reachOf(const Path& path) {
    constexpr double shareOfLength = 0.01;
    const auto isKnown = [](const std::optional<Place>& place) { return place.has_value(); };
    const auto first = std::find_if(path.places.begin(), path.places.end(), isKnown);
    if (first == path.places.end()) return 0.0;
    const auto last = std::find_if(path.places.rbegin(), path.places.rend(), isKnown);
    const double length = distance(**first, **last);
    return std::max(shareOfLength * length, length / static_cast<double>(path.places.size()));
}

std::vector<Section::Point> pointsNear(const Path& path, const std::vector<ControlPoint>& points) {
    const double reach = reachOf(path);
    std::vector<Section::Point> near;
    for (const ControlPoint& point : points) {
        double nearest = std::numeric_limits<double>::infinity();
        std::size_t column = 0;
        for (std::size_t k = 0; k < path.places.size(); ++k)
            if (path.places[k] && distance(*path.places[k], point.place) < nearest) {
                nearest = distance(*path.places[k], point.place);
                column = k;
            }
        if (nearest <= reach) near.push_back({column, point.pairs});
    }
    return near;
}

}

Section cutSection(Field& field, const Path& path, const Range& timesMs, double intervalMs, bool onlyInside) {
    Section section = {path, {}, {}, pointsNear(path, field.points())};
    Grid& grid = section.grid;
    grid.columns = std::ssize(path.places);
    grid.rows = nodesIn(timesMs, intervalMs);
    grid.left = path.first;
    grid.top = 0.0 - timesMs.from; /* no -0 */
    grid.columnSpacing = path.spacing;
    grid.rowSpacing = intervalMs;
    grid.values.assign(static_cast<std::size_t>(grid.columns * grid.rows), unknown);
    std::vector<float> function(static_cast<std::size_t>(grid.rows));
    for (std::size_t column = 0; column < path.places.size(); ++column) {
        const std::optional<Place>& place = path.places[column];
        section.regions.push_back(place ? field.regionOf(*place) : Field::outside);
        if (!place || (onlyInside && section.regions.back() == Field::outside)) continue;
        field.functionAt(*place, timesMs.from, intervalMs, static_cast<int>(grid.rows), function.data());
        for (std::size_t row = 0; row < function.size(); ++row) grid.values[row * path.places.size() + column] = function[row];
    }
    return section;
}

Area areaAround(const std::vector<ControlPoint>& points) {
    Area area = {{points[0].place.x, points[0].place.x}, {points[0].place.y, points[0].place.y}};
    const auto include = [](Range& range, double value) {
        range.from = std::min(range.from, value);
        range.to = std::max(range.to, value);
    };
    for (const ControlPoint& point : points) {
        include(area.x, point.place.x);
        include(area.y, point.place.y);
    }
    const double margin = 0.1 * std::max(area.x.to - area.x.from, area.y.to - area.y.from);
    if (!(margin > 0.0)) return area;
    area = {{area.x.from - margin, area.x.to + margin}, {area.y.from - margin, area.y.to + margin}};
    const double spacing = spacingFor(area);
    const auto widened = [&](const Range& range) {
        return Range{std::floor(range.from / spacing) * spacing, std::ceil(range.to / spacing) * spacing};
    };
    return {widened(area.x), widened(area.y)};
}

double spacingFor(const Area& area) {
    constexpr double nodes = 200.0;
    return roundedDown(std::max(area.x.to - area.x.from, area.y.to - area.y.from) / nodes);
}

}
