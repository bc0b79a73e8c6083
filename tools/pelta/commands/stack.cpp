#include "stacking/stack.h"

#include <fmt/format.h>

#include <chrono>
#include <optional>

#include "commands/command.h"
#include "commands/options.h"
#include "commands/profile.h"
#include "flow/flowfile.h"
#include "support/failure.h"
#include "support/outputfile.h"

namespace pelta {
namespace {

constexpr std::int64_t megabyte = 1 << 20;

struct Request {
    std::string input, output, flowName;
    InputOptions inputOptions;
    WorkOptions workOptions;
    LedgerOptions ledgerOptions;
    double foldExponent = 1.0;
    std::int64_t memory = 1024;
};

stacking::StackOptions optionsOf(const Request& request, const std::vector<FlowStep>& steps) {
    stacking::StackOptions options;
    options.foldExponent = request.foldExponent;
    options.memoryBytes = request.memory * megabyte;
    options.overwrite = request.workOptions.read().overwrite;
    if (request.workOptions.read().history) {
        options.history = historyOf(steps);
        options.history.push_back(fmt::format("stack fold_exponent={:g}", request.foldExponent));
    }
    return options;
}

void warnOf(const stacking::StackSummary& summary, std::int64_t traces, const std::string& input, const std::string& output) {
    if (summary.tracesWithoutCdp > 0)
        warn(fmt::format("{}: left out {} of {} traces, whose CDP is 0", input, summary.tracesWithoutCdp, traces));
    if (summary.deadGathers > 0)
        warn(fmt::format("{}: no trace is live in {} of {} CDPs, the first is CDP {}; each became a dead trace of zeros", input,
                         summary.deadGathers, summary.gathers, summary.firstDeadGather));
    if (summary.clippedSamples > 0)
        warn(fmt::format("{}: {} samples did not fit the format and were clipped", output, summary.clippedSamples));
}

int stack(const Request& request) {
    std::optional<FlowFile> flow;
    if (!request.flowName.empty()) flow.emplace(request.flowName);
    const std::vector<FlowStep> steps = flow ? flow->steps() : std::vector<FlowStep>{};
    const RunOptions options = request.workOptions.read();
    const auto start = std::chrono::steady_clock::now();
    segy::Reader reader(request.input, request.inputOptions.read());
    for (const std::string& warning : reader.warnings()) warn(warning);
    stacking::Stack stack(reader, request.output, optionsOf(request, steps));
    const RunSummary run = runSteps(reader, steps, stack, options);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    const stacking::StackSummary& summary = stack.summary();
    warnOf(summary, run.traces, reader.name(), request.output);
    if (!options.quiet)
        tell(fmt::format("pelta: {} traces into {} CDPs of fold {} to {} in {:.2f} s -> {}\n", run.traces, summary.gathers,
                         summary.smallestFold, summary.largestFold, taken.count(), outputName(request.output)));
    if (options.profile) sayProfile(run, steps, {"encode", "sum"});
    request.ledgerOptions.record("pelta-stack", run.traces);
    return 0;
}

std::function<int()> define(CLI::App& app) {
    auto request = std::make_shared<Request>();
    app.add_option("IN", request->input, "SEG-Y file to read, in any order of traces; - is standard input")
        ->required()
        ->type_name("FILE");
    app.add_option("OUT", request->output, "SEG-Y file to write, one trace a CDP; - is standard output")
        ->required()
        ->type_name("FILE");
    app.add_option("--flow", request->flowName, "flow file whose steps every trace goes through first, such as moveout")
        ->type_name("FILE");
    app.add_option("--fold-exponent", request->foldExponent,
                   "divide each sample by its live fold to this power: 1 is the mean, 0.5 keeps noise at one level, 0 the sum")
        ->check(inRange(0.0, 1.0))
        ->capture_default_str();
    app.add_option("--memory", request->memory, "most memory for CDPs that are not complete yet, MB")
        ->check(inRange(1, 1 << 20))
        ->capture_default_str();
    request->inputOptions.add(app);
    request->workOptions.add(app);
    request->ledgerOptions.add(app);
    return [request] { return stack(*request); };
}

const CommandRegistration registration(
    {"stack",
     "sums the traces of each CDP into one, normalised by the live fold",
     "pelta stack line.sgy stack.sgy --flow moveout.toml",
     define,
     "A sample is live unless it is 0, a trace unless all its samples are or trace_type is 2. A CDP without a live "
     "trace becomes a dead trace of zeros; traces whose CDP is 0 are left out.\n"
     "The headers of a file are read first, so that each CDP is written with its last trace and memory holds the "
     "open ones only. Of a pipe all CDPs have to fit into --memory, unless its traces are sorted by CDP.\n"
     "A stacked trace has the header of its first live trace, with offset 0, the fold at byte 33, and source, "
     "receiver and CDP in their mean places. Samples stay IBM or IEEE floats; integers become IEEE floats.",
     {"PELTA_HOME", "PROMAX_HOME", "LOGNAME"}});

}
}
