#ifndef PELTA_TOOL_VELOCITY_PLACE_H
#define PELTA_TOOL_VELOCITY_PLACE_H

#include <cmath>

#include "segy/trace.h"

namespace pelta::velocity {

/* In the unit of the trace headers' coordinates, their scalar applied. */
struct Place {
    double x = 0.0, y = 0.0;
    bool operator==(const Place&) const = default;
};

inline double distance(const Place& a, const Place& b) { return std::hypot(b.x - a.x, b.y - a.y); }

/* Velocities can be interpolated in a square from -farthest to farthest in x and y. Its corners are the mesh's own. */
inline constexpr double farthest = 40000000.0;
inline bool isCovered(const Place& place) {
    const double x = std::abs(place.x), y = std::abs(place.y);
    return x <= farthest && y <= farthest && (x < farthest || y < farthest);
}

/* Where a trace lies: its CDP's coordinates and, where both are 0, halfway between source and receiver. */
inline Place placeOf(const segy::TraceFacts& facts) {
    if (facts.cdpX != 0.0 || facts.cdpY != 0.0) return {facts.cdpX, facts.cdpY};
    return {0.5 * (facts.sourceX + facts.receiverX), 0.5 * (facts.sourceY + facts.receiverY)};
}

/* A header without coordinates has 0 in all of their words. */
inline bool hasPlace(const segy::TraceFacts& facts) { return placeOf(facts) != Place(); }

}

#endif
