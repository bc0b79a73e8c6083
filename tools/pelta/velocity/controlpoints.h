#ifndef PELTA_TOOL_VELOCITY_CONTROLPOINTS_H
#define PELTA_TOOL_VELOCITY_CONTROLPOINTS_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "segy/reader.h"
#include "velocity/functiontable.h"

namespace pelta::velocity {

/* How places are told: by coordinates, or by the CDP's number alone as along a line (x is the number, y is 0). */
enum class PlacedBy { coordinates = 0, cdp = 1 };

/* A function in its place. */
struct ControlPoint {
    Place place;
    Pairs pairs; /* at least two: time in ms, velocity in m/s */
    std::optional<std::int64_t> cdp = {};
};

struct ControlPoints {
    std::vector<ControlPoint> points;
    std::vector<std::string> warnings; /* on functions that were left out, and on places that have several */
};

/* The functions of a table that does not hold everywhere in their places, one a place: the last of several. A place by
 * coordinates is that of the table's columns or, without them, the mean place of the CDP's traces in the headers of a line;
 * the function of a CDP that is on no trace is left out. Fails (UsageError, or Failure where the line is at fault) where
 * places cannot be had or are not covered.
 *   line  stands at its first trace, before and after; null: the table has to tell the places */
ControlPoints placeFunctions(const FunctionTable& table, PlacedBy by, segy::Reader* line);

/* Mean places of the wanted CDPs; those without a trace that has a place are missing. The line stands at its first trace,
 * before and after; fails on a pipe. */
std::map<std::int64_t, Place> cdpPlaces(segy::Reader& line, const std::function<bool(std::int64_t)>& isWanted);

}

#endif
