#ifndef PELTA_TOOL_FLOWFILE_H
#define PELTA_TOOL_FLOWFILE_H

#include <string>
#include <vector>

#include "flow/step.h"
#include "support/textlines.h"

namespace pelta {

/* Reads the steps of a flow:
 *
 *   [[step]]
 *   name = "bandpass"
 *   corners_hz = [5, 10, 60, 80]
 *
 * Fails (UsageError) with file, line and column; an unknown key or step names the nearest known one. fileName is for messages. */
std::vector<FlowStep> readFlow(std::string_view text, const std::string& fileName);

/* The flow of a file. */
class FlowFile {
  public:
    /* Opens the file: no output can take its place while this lives. Fails like readFlow, or (Failure) where it cannot be read. */
    explicit FlowFile(const std::string& name);
    const std::vector<FlowStep>& steps() const { return _steps; }

  private:
    TextFile _file;
    std::vector<FlowStep> _steps;
};

/* A flow file with every value spelt out, defaults included. */
std::string writeFlow(const std::vector<FlowStep>& steps);

}

#endif
