#ifndef PELTA_TOOL_GRIDDING_HEADERPOINTS_H
#define PELTA_TOOL_GRIDDING_HEADERPOINTS_H

#include <optional>
#include <string>

#include "gridding/points.h"
#include "picks/picksource.h"
#include "segy/reader.h"

namespace pelta::gridding {

/* Words of the trace header by name or by place ("73:4"), with their scalars applied where they are coordinates or elevations.
 * z may be "pick", the first break in ms, and "traces", the number of live traces at each place. */
struct HeaderColumns {
    std::string x, y, z;
};

/* Where a word belongs when nobody says: elevations to their source or receiver, everything else to the CDP. */
HeaderColumns withUsualPlaces(HeaderColumns columns);

/* One point a trace. pickOf is asked where z is "pick". Lengths stay in the file's unit. Fails (UsageError) on names that are
 * none. */
PointSet readHeaderPoints(segy::Reader& reader, const HeaderColumns& columns, const PickOf& pickOf);

}

#endif
