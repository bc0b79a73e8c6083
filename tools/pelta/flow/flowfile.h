#ifndef PELTA_TOOL_FLOWFILE_H
#define PELTA_TOOL_FLOWFILE_H

#include <string>
#include <vector>

#include "flow/step.h"

namespace pelta {

/* Reads the steps of a flow file:
 *
 *   [[step]]
 *   name = "bandpass"
 *   corners_hz = [5, 10, 60, 80]
 *
 * Fails (UsageError) with file, line and column; an unknown key or step names the nearest known one. */
std::vector<FlowStep> readFlowFile(const std::string& fileName);
/* The same from text; fileName is for messages. */
std::vector<FlowStep> readFlow(std::string_view text, const std::string& fileName);

/* A flow file with every value spelt out, defaults included. */
std::string writeFlow(const std::vector<FlowStep>& steps);

}

#endif
