#ifndef PELTA_TOOL_PIPELINE_H
#define PELTA_TOOL_PIPELINE_H

#include <string>
#include <vector>

#include "flow/step.h"
#include "segy/reader.h"

namespace pelta {

struct RunOptions {
    int threads = 1;
    bool overwrite = false;
    bool quiet = false;
    bool history = false; /* one line a step in the text header */
    bool profile = false; /* measure where the time goes */
};

struct RunSummary {
    std::int64_t traces = 0;
    std::int64_t clippedSamples = 0;          /* did not fit an integer format */
    std::int64_t badSamples = 0;              /* NaN or infinite in the input */
    std::vector<double> secondsPerStage = {}; /* with profile: reading, decoding, each step, encoding, writing */
};

/* Sends every trace of the reader through the steps and writes it to outputName ("-" is standard output). Traces are worked
 * on by several threads, each with step objects of its own, and written in order; memory is bounded by a few batches a
 * thread. The output does not depend on the number of threads. Fails without leaving a file under an output's name. */
RunSummary runSteps(segy::Reader& reader, const std::vector<FlowStep>& steps, const std::string& outputName,
                    const RunOptions& options);

}

#endif
