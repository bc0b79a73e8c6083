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
    std::int64_t traces = 0;                  /* in the input */
    std::int64_t droppedTraces = 0;           /* not written */
    std::int64_t clippedSamples = 0;          /* did not fit an integer format */
    std::int64_t badSamples = 0;              /* NaN or infinite in the input */
    std::vector<double> secondsPerStage = {}; /* with profile: reading, decoding, each step, encoding, writing */
};

/* Where the traces of a run go. Destroyed without finish() when the run fails. */
class TraceSink {
  public:
    virtual ~TraceSink() = default;
    /* The steps fit the line: outputs may be made now. */
    virtual void begin(const Line&) {}
    /* Whether take() wants the samples encoded in the line's format as well. */
    virtual bool wantsEncoded() const { return false; }
    /* One trace behind the last step; in trace order, in one thread. */
    virtual void take(const WorkTrace& work) = 0;
    /* One that a step dropped, in its turn. */
    virtual void drop(const WorkTrace&) {}
    /* All traces were seen: fails where they make no result. No output of the run is final yet. */
    virtual void check() {}
    /* Every check was passed: make the output final. */
    virtual void finish() = 0;
};

/* Sends every trace of the reader through the steps and hands it to the sink. Traces are worked on by several threads, each
 * with step objects of its own, and handed on in order; memory is bounded by a few batches a thread. What the sink gets does
 * not depend on the number of threads. Fails without leaving a file under an output's name. */
RunSummary runSteps(segy::Reader& reader, const std::vector<FlowStep>& steps, TraceSink& sink, const RunOptions& options);
/* The same with a sink that writes to outputName ("-" is standard output). */
RunSummary runSteps(segy::Reader& reader, const std::vector<FlowStep>& steps, const std::string& outputName,
                    const RunOptions& options);

/* Puts each line into the next blank one of the text header, behind its card number; warns when there is none left. */
void addHistory(segy::Preamble& preamble, const segy::Layout& layout, const std::vector<std::string>& history);
/* What each step adds to the history. */
std::vector<std::string> historyOf(const std::vector<FlowStep>& steps);

}

#endif
