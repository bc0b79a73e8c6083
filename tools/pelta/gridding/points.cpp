#include "gridding/points.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace pelta::gridding {

Extent extentOf(const std::vector<double>& values) {
    const auto [lowest, highest] = std::minmax_element(values.begin(), values.end());
    return values.empty() ? Extent{0.0, 0.0} : Extent{*lowest, *highest};
}

namespace {

double meanOf(const std::vector<double>& values) {
    return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

double medianOf(std::vector<double> values) {
    const auto middle = values.begin() + std::ssize(values) / 2;
    std::nth_element(values.begin(), middle, values.end());
    if (values.size() % 2 == 1) return *middle;
    return 0.5 * *std::max_element(values.begin(), middle) + 0.5 * *middle;
}

/* Points of equal keys, group by group in the order in which the keys appear. */
class Groups {
  public:
    template <class Key>
    explicit Groups(const std::vector<Key>& keys) : _members(keys.size()) {
        std::iota(_members.begin(), _members.end(), std::size_t{0});
        std::stable_sort(_members.begin(), _members.end(), [&](std::size_t a, std::size_t b) { return keys[a] < keys[b]; });
        for (std::size_t k = 0; k < _members.size(); ++k) {
            if (k == 0 || keys[_members[k]] != keys[_members[k - 1]]) _runs.push_back({k, k});
            ++_runs.back().end;
        }
        std::sort(_runs.begin(), _runs.end(),
                  [&](const Run& a, const Run& b) { return _members[a.begin] < _members[b.begin]; });
    }

    std::size_t size() const { return _runs.size(); }
    std::size_t sizeOf(std::size_t group) const { return _runs[group].end - _runs[group].begin; }
    std::size_t firstOf(std::size_t group) const { return _members[_runs[group].begin]; }
    /* The members' values out of those of all points. */
    std::vector<double> of(std::size_t group, const std::vector<double>& values) const {
        std::vector<double> own;
        for (std::size_t k = _runs[group].begin; k < _runs[group].end; ++k) own.push_back(values[_members[k]]);
        return own;
    }

  private:
    struct Run {
        std::size_t begin, end;
    };
    std::vector<std::size_t> _members;
    std::vector<Run> _runs;
};

Groups groupsByPlace(const Points& points) {
    std::vector<std::pair<double, double>> places;
    for (std::size_t k = 0; k < points.size(); ++k) places.emplace_back(points.x[k], points.y[k]);
    return Groups(places);
}

/* One point for each group, with a value of its own. */
template <class ValueOf>
Points onePerPlace(const Points& points, ValueOf valueOf) {
    const Groups groups = groupsByPlace(points);
    Points merged;
    for (std::size_t group = 0; group < groups.size(); ++group)
        merged.add(points.x[groups.firstOf(group)], points.y[groups.firstOf(group)], valueOf(groups, group));
    return merged;
}

}

Points mergedByKey(const Points& points, const std::vector<std::int64_t>& keys, Merge merge) {
    const Groups groups(keys);
    Points merged;
    const auto middle = [merge](const std::vector<double>& values) {
        return merge == Merge::mean ? meanOf(values) : medianOf(values);
    };
    for (std::size_t group = 0; group < groups.size(); ++group)
        merged.add(middle(groups.of(group, points.x)), middle(groups.of(group, points.y)), middle(groups.of(group, points.z)));
    return merged;
}

Points mergedPlaces(const Points& points) {
    return onePerPlace(points, [&](const Groups& groups, std::size_t group) { return meanOf(groups.of(group, points.z)); });
}

Points countedPlaces(const Points& points) {
    return onePerPlace(points,
                       [](const Groups& groups, std::size_t group) { return static_cast<double>(groups.sizeOf(group)); });
}

/* About the means and in shares of the spans, so that far origins and unlike units lose no digits. */
Trend trendOf(const Points& points) {
    constexpr double straight = 1e-10; /* 1 - r^2 of x and y */
    const Extent xExtent = extentOf(points.x), yExtent = extentOf(points.y), zExtent = extentOf(points.z);
    const double xSpan = xExtent.second - xExtent.first, ySpan = yExtent.second - yExtent.first;
    if (points.size() < 3 || !(xSpan > 0.0) || !(ySpan > 0.0)) return {};
    const double zSpan = std::max(zExtent.second - zExtent.first, std::numeric_limits<double>::min());
    const double xMean = meanOf(points.x), yMean = meanOf(points.y), zMean = meanOf(points.z);
    double xx = 0.0, xy = 0.0, yy = 0.0, xz = 0.0, yz = 0.0, zz = 0.0;
    for (std::size_t k = 0; k < points.size(); ++k) {
        const double x = (points.x[k] - xMean) / xSpan, y = (points.y[k] - yMean) / ySpan, z = (points.z[k] - zMean) / zSpan;
        xx += x * x;
        xy += x * y;
        yy += y * y;
        xz += x * z;
        yz += y * z;
        zz += z * z;
    }
    const double determinant = xx * yy - xy * xy;
    if (!(determinant > straight * xx * yy)) return {};
    const double alongX = (xz * yy - yz * xy) / determinant, alongY = (yz * xx - xz * xy) / determinant;
    const double squares = std::max(zz - alongX * xz - alongY * yz, 0.0);
    return {true, zSpan * std::sqrt(squares / static_cast<double>(points.size()))};
}

}
