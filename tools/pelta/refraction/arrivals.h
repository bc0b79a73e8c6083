#ifndef PELTA_TOOL_REFRACTION_ARRIVALS_H
#define PELTA_TOOL_REFRACTION_ARRIVALS_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "picks/picksource.h"
#include "segy/reader.h"

namespace pelta::refraction {

/* A first break and where it was recorded. */
struct Arrival {
    std::int64_t trace = 0; /* in the file, from 1 */
    std::int64_t record = 0, channel = 0;
    double offset = 0.0; /* m; its sign tells the two sides of the source apart */
    double timeMs = 0.0; /* after the shot */
};

/* Where offsets are taken from. Automatic: from the coordinates where they say what the offset word says, up to its rounding
 * to whole units, or where the word is 0 throughout; else from the word. */
enum class OffsetSource { automatic, word, coordinates };

struct Arrivals {
    std::vector<Arrival> list; /* in the order of the file */
    std::string offsetsFrom;   /* what was decided, for the report */
    int repeated = 0;          /* the same pick of the same place once more, left out */
};

/* Reads a line's first breaks; of all records when none are named. Without any, the list is empty. Fails (Failure) where no
 * offsets can be had.
 * Coordinates give the distance of source and receiver; positive is the side where the coordinate along which the
 * line runs is larger at the receiver. */
Arrivals readArrivals(segy::Reader& reader, const PickOf& pickOf, OffsetSource source, const std::set<std::int64_t>& records);

}

#endif
