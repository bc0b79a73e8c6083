#ifndef PELTA_TOOL_STEP_H
#define PELTA_TOOL_STEP_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "flow/parameters.h"
#include "segy/trace.h"

namespace pelta {

namespace segy {
class Reader;
}

/* What one step of a run needs that is made once for all of its workers, such as a table that it reads; kinds derive their
 * own. */
struct Preparation {
    virtual ~Preparation() = default;
    bool needsOffsets = false; /* with offsets that are 0 on every trace the step does not run */
    bool needsPlaces = false;  /* nor with coordinates that are */
    bool needsCdps = false;    /* nor with CDPs */
    std::vector<std::string> warnings = {};
};

/* What a step knows of the line that it will work on. */
struct Line {
    segy::Layout layout;
    segy::Preamble preamble;
    std::optional<std::int64_t> traceCount;
    bool overwrite = false;                           /* may replace files that stand under its outputs' names */
    std::shared_ptr<const Preparation> prepared = {}; /* by the step's kind, where it does */

    int sampleCount() const { return static_cast<int>(layout.sampleCount); }
    float intervalMs() const { return static_cast<float>(layout.intervalMs); }
};

/* A trace between steps, decoded, with what its header says. */
struct WorkTrace {
    segy::Trace trace;
    segy::TraceFacts facts;
    std::vector<float> hostHeader = {}; /* times that the library keeps of a trace, by the entries of stdHdr; may be short */
    bool isDropped = false;             /* by a step: no later step sees it, and it is not written */
};

/* What a step found on one trace besides changing it; its collector gets it in trace order. */
using Findings = std::vector<float>;

/* One step's work on traces. Every worker thread has an object of its own; a result must not depend on earlier traces. */
class Step {
  public:
    virtual ~Step() = default;
    /* Changes work.trace.samples (and says so in samplesChanged) or header words, or drops the trace; findings comes in
     * empty. */
    virtual void apply(WorkTrace& work, Findings& findings) = 0;
};

/* Takes the findings of one step in trace order, in one thread; traces that an earlier step dropped are not among them. */
class Collector {
  public:
    virtual ~Collector() = default;
    virtual void collect(const WorkTrace& work, const Findings& findings) = 0;
    /* All traces were seen: fails where they make no result. No output of the run is final yet. */
    virtual void check() {}
    /* Every check was passed: make the output final. Never called when the run failed. */
    virtual void finish() = 0;
};

/* A kind of step: declared in one file under steps/ by a static Registration, and listed in CMake. */
struct StepKind {
    std::string name;    /* "bandpass": name in flow files and of the subcommand */
    std::string summary; /* one sentence without a stop */
    std::string example; /* a command line */
    std::vector<Parameter> parameters;
    /* Fails (UsageError) when the parameters contradict one another or do not fit the line. */
    std::unique_ptr<Step> (*make)(const Parameters&, const Line&);
    /* Null: nothing. Called once a run, before any step is made; may look through the headers of a file, and leaves the reader
     * at its first trace. Fails like make, or (Failure) when the headers are at fault. */
    std::shared_ptr<const Preparation> (*prepare)(const Parameters&, segy::Reader&) = nullptr;
    /* May be null: the step only changes traces. May return null: nothing to collect with these parameters. */
    std::unique_ptr<Collector> (*makeCollector)(const Parameters&, const Line&) = nullptr;
    /* Null: no. */
    bool (*mayDropTraces)(const Parameters&) = nullptr;
};

/* All kinds, by name. */
const std::vector<const StepKind*>& stepKinds();
/* Null when there is none of that name. */
const StepKind* findStepKind(const std::string& name);

struct Registration {
    explicit Registration(const StepKind& kind);
};

/* A kind with its values, at first the default ones. */
struct FlowStep {
    explicit FlowStep(const StepKind& of) : kind(&of), parameters(of.name, of.parameters) {}
    const StepKind* kind;
    Parameters parameters;
};

/* "bandpass corners_hz=5,10,60,80": the step on one line, with the values that are not the default ones. */
std::string describe(const FlowStep& step);

}

#endif
