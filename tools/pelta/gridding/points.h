#ifndef PELTA_TOOL_GRIDDING_POINTS_H
#define PELTA_TOOL_GRIDDING_POINTS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace pelta::gridding {

/* Scattered values: point k lies at (x[k], y[k]) and has the value z[k]. All are finite, values are within single precision. */
struct Points {
    std::vector<double> x, y, z;

    std::size_t size() const { return z.size(); }
    void add(double pointX, double pointY, double value) {
        x.push_back(pointX);
        y.push_back(pointY);
        z.push_back(value);
    }
};

/* What was read from a file. */
struct PointSet {
    Points points;
    std::int64_t withoutValue = 0;                     /* lines or traces that have a place and no value */
    std::string xName = "x", yName = "y", zName = "z"; /* as the file calls them */
};

/* The lowest and the highest of some values. */
using Extent = std::pair<double, double>;
Extent extentOf(const std::vector<double>& values);

/* How several points become one: the means of their x, y and z, or the medians (the mean of the two middle ones). */
enum class Merge { mean, median };

/* One point for all points of the same key, in the order in which the keys appear. */
Points mergedByKey(const Points& points, const std::vector<std::int64_t>& keys, Merge merge);
/* One point for all that lie at the very same place, with the mean of their values. */
Points mergedPlaces(const Points& points);
/* One point for each place, with the number of points there as its value. */
Points countedPlaces(const Points& points);

/* How evenly values lie about the plane that fits them best. */
struct Trend {
    bool isDefined = false; /* not for points on one line, or fewer than three */
    double rms = 0.0;       /* of the values less the plane */
};
Trend trendOf(const Points& points);

}

#endif
