#ifndef PELTA_TOOL_PICKSOURCE_H
#define PELTA_TOOL_PICKSOURCE_H

#include <functional>
#include <optional>
#include <string>

#include "picks/picktable.h"
#include "segy/trace.h"

namespace pelta {

/* The time of a trace's first break after the shot in ms, if it has one. */
using PickOf = std::function<std::optional<double>(const segy::Trace&, const segy::TraceFacts&)>;

/* The picks of a table, which has to live as long. */
PickOf picksOf(const PickTable& table);
/* The picks in the trace headers, as the step pick writes them; 0 is none. unit: ms, us or samples. */
PickOf picksOf(segy::HeaderWord word, const std::string& unit, const segy::Layout& layout);

}

#endif
