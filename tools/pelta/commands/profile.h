#ifndef PELTA_TOOL_PROFILE_H
#define PELTA_TOOL_PROFILE_H

#include <array>
#include <string>
#include <vector>

#include "flow/pipeline.h"

namespace pelta {

/* Prints on standard error where a run's time went; lastStages are the names of the two stages behind the steps. */
void sayProfile(const RunSummary& summary, const std::vector<FlowStep>& steps, const std::array<std::string, 2>& lastStages);

}

#endif
