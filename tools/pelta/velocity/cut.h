#ifndef PELTA_TOOL_VELOCITY_CUT_H
#define PELTA_TOOL_VELOCITY_CUT_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "grids/gridfile.h"
#include "velocity/field.h"

namespace pelta::velocity {

struct Range {
    double from = 0.0, to = 0.0;
};

/* A rectangle of a map. */
struct Area {
    Range x, y;
};

/* The velocities (m/s) of a field at one time, seen from above. */
struct TimeSlice {
    double timeMs = 0.0;
    Grid grid;                  /* NaN outside the hull where that is left out */
    std::vector<bool> isInside; /* the hull, of each node */
};

/* Of an area, at nodes a spacing apart; whatever is outside the hull may be left out. */
TimeSlice cutTimeSlice(Field& field, double timeMs, const Area& area, double spacing, bool onlyInside);

/* Of a grid that takes a reasonable time. */
inline constexpr double mostNodes = 1e8;

/* Places that a vertical section runs through, evenly apart on its axis. */
struct Path {
    double first = 0.0, spacing = 1.0;        /* of the axis */
    std::vector<std::optional<Place>> places; /* nothing where it is not known */
    std::string axisTitle;
};

/* Straight from a place to another, the axis being the distance from the first. */
Path straightPath(const Place& from, const Place& to, double spacing);

/* The velocities (m/s) of a field along a path, time down. */
struct Section {
    Path path;
    Grid grid;                           /* its y is minus the time in ms; NaN where a place is unknown or left out */
    std::vector<std::ptrdiff_t> regions; /* of the field, by columns; outside also where a place is unknown */
    /* A control point near the path: nearer than a hundredth of its length, or than its columns are apart. */
    struct Point {
        std::size_t column;
        Pairs pairs;
    };
    std::vector<Point> points;
};

Section cutSection(Field& field, const Path& path, const Range& timesMs, double intervalMs, bool onlyInside);

/* The points' rectangle with a margin of a tenth of its longer side, its corners at multiples of the spacing; one point has no
 * margin. */
Area areaAround(const std::vector<ControlPoint>& points);
/* A round distance of nodes that makes two hundred of them or some more along the longer side. */
double spacingFor(const Area& area);

}

#endif
