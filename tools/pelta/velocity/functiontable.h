#ifndef PELTA_TOOL_VELOCITY_FUNCTIONTABLE_H
#define PELTA_TOOL_VELOCITY_FUNCTIONTABLE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "flow/linearfunction.h"
#include "support/textlines.h"
#include "velocity/place.h"

namespace pelta::velocity {

/* Velocity (m/s) over time (ms) as a table gives it, at a CDP, at a place, or (with neither) everywhere. */
struct GivenFunction {
    std::optional<std::int64_t> cdp;
    std::optional<Place> place;
    Pairs pairs;
    int line = 0; /* of the file, where it begins */

    bool holdsEverywhere() const;
    /* "CDP 150" or "x 1200, y 800"; empty where it holds everywhere */
    std::string where() const;
};

struct FunctionTable {
    std::string fileName;
    std::vector<GivenFunction> functions;
    std::shared_ptr<const TextLines> file = {}; /* while it is held, no output can take the file's place */

    /* One function without a CDP or place. */
    bool holdsEverywhere() const { return functions[0].holdsEverywhere(); }
    const Pairs& onlyPairs() const { return functions[0].pairs; }
};

/* Reads velocity functions from a CSV file (- is standard input); commas, semicolons and blanks separate, lines that begin with
 * # are passed over.
 *
 * A heading names the columns: cdp, or x and y, or all three, then time_ms and velocity_m_per_s, also under other usual names
 * such as cmp, time, vnmo, and in other units: time_s, velocity_ft_per_s, velocity_km_per_s. A line holds a pair or, where these
 * two columns are the last, several of them one behind the other; lines of the same CDP and place that follow one another make
 * one function. A repeated heading is passed over, so that tables can be joined with cat. Without a heading three numbers are
 * CDP, time and velocity.
 *
 * Two columns alone, a time and a velocity, are one function that holds everywhere.
 *
 * Fails (UsageError) with file and line where times do not ascend, a function in its place has one pair, a line has more times
 * than velocities or the like, and (Failure) where the file cannot be read. */
FunctionTable readFunctions(const std::string& fileName);

}

#endif
