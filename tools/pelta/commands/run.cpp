#include <fmt/format.h>

#include <chrono>

#include "commands/command.h"
#include "commands/options.h"
#include "commands/profile.h"
#include "flow/flowfile.h"
#include "support/failure.h"
#include "support/outputfile.h"

namespace pelta {
namespace {

void say(const RunSummary& summary, double seconds, const std::string& output) {
    const double rate = seconds > 0.0 ? static_cast<double>(summary.traces) / seconds : 0.0;
    const std::string dropped = summary.droppedTraces > 0 ? fmt::format(", {} of them dropped", summary.droppedTraces) : "";
    tell(fmt::format("pelta: {} traces in {:.2f} s ({:.0f} a second){} -> {}\n", summary.traces, seconds, rate, dropped,
                     outputName(output)));
}

/* What `run` and the subcommands of single steps share: files, options, the run and what is said of it. */
struct Job {
    std::string input, output;
    InputOptions inputOptions;
    WorkOptions workOptions;
    LedgerOptions ledgerOptions;
    bool showsFlow = false;

    void add(CLI::App& app) {
        app.add_option("IN", input, "SEG-Y file to read; - is standard input")->type_name("FILE");
        app.add_option("OUT", output, "SEG-Y file to write; - is standard output")->type_name("FILE");
        inputOptions.add(app);
        workOptions.add(app);
        ledgerOptions.add(app);
        app.add_flag("--show", showsFlow, "print the flow with every value spelt out, and do nothing else");
    }

    int run(const std::string& process, const std::vector<FlowStep>& steps) const {
        if (showsFlow) {
            printText(stdout, writeFlow(steps));
            return 0;
        }
        if (input.empty() || output.empty()) failUsage("{}: IN and OUT are needed; see pelta {} --help", process, process);
        const RunOptions options = workOptions.read();
        const auto start = std::chrono::steady_clock::now();
        segy::Reader reader(input, inputOptions.read());
        for (const std::string& warning : reader.warnings()) warn(warning);
        const RunSummary summary = runSteps(reader, steps, output, options);
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        if (summary.badSamples > 0) warn(fmt::format("{}: {} samples are NaN or infinite", input, summary.badSamples));
        if (summary.clippedSamples > 0)
            warn(fmt::format("{}: {} samples did not fit the {} format and were clipped", output, summary.clippedSamples,
                             segy::nameOf(reader.layout().format)));
        if (!options.quiet) say(summary, taken.count(), output);
        if (options.profile) sayProfile(summary, steps, {"encode", "write"});
        ledgerOptions.record("pelta-" + process, summary.traces);
        return 0;
    }
};

std::function<int()> defineRun(CLI::App& app) {
    auto job = std::make_shared<Job>();
    auto flowName = std::make_shared<std::string>();
    app.add_option("FLOW", *flowName, "flow file: [[step]] tables in the order of the work; - is standard input")
        ->required()
        ->type_name("FILE");
    job->add(app);
    return [=] {
        const FlowFile flow(*flowName);
        return job->run("run", flow.steps());
    };
}

/* What counting traces in the ledger goes by. */
const std::vector<std::string> countingEnvironment = {"PELTA_HOME", "PROMAX_HOME", "LOGNAME"};

const CommandRegistration registration(
    {"run", "sends a line through the steps of a flow file", "pelta run flow.toml in.sgy out.sgy", defineRun,
     "Each trace goes through the steps in their order and is written as soon as it is through: memory does not "
     "grow with the file. What no step changed leaves as it came, headers byte for byte, samples in their own "
     "format. A flow file is described in pelta-flow(5).",
     countingEnvironment});

const char* typeName(const Parameter& parameter) {
    switch (parameter.kind) {
        case Kind::integer: return "INT";
        case Kind::real: return "NUMBER";
        case Kind::text: return parameter.holdsFileName() ? "FILE" : "WORD";
        case Kind::choice: return "NAME";
        case Kind::integers:
        case Kind::reals: return "N,N,...";
        case Kind::pairs: return "A:B,A:B,...";
        case Kind::flag: break;
    }
    return "BOOL";
}

std::string helpOf(const Parameter& parameter) {
    const bool isOn = parameter.kind == Kind::flag && parameter.byDefault == Value(true);
    return parameter.help + (isOn ? " (true)" : "");
}

/* What help, manual and completion say beside that; the values themselves are checked when they are read. */
void describe(CLI::Option& option, const Parameter& parameter) {
    option.group("Step")->type_name(typeName(parameter));
    if (parameter.kind == Kind::flag) {
        option.expected(0, 1)->default_str("true")->trigger_on_parse();
        return;
    }
    if (!parameter.choices.empty()) option.check(named(parameter.choiceNames()));
    else if (parameter.kind != Kind::text)
        option.check(CLI::Validator(fmt::format("NUMBER in [{} - {}]", parameter.minimum, parameter.maximum)));
    if (parameter.byDefault) option.default_str(optionText(parameter, *parameter.byDefault));
}

/* A step as a subcommand: every parameter is an option under its name, with and without the unit. */
std::function<int()> defineStep(const StepKind& kind, CLI::App& app) {
    auto job = std::make_shared<Job>();
    auto step = std::make_shared<FlowStep>(kind);
    job->add(app);
    for (const Parameter& parameter : kind.parameters) {
        std::string names = parameter.option();
        if (!parameter.unit.empty()) names += "," + parameter.optionWithUnit();
        const auto take = [step, &parameter](const std::string& text) {
            step->parameters.set(parameter.name, valueFromOption(parameter, text));
        };
        describe(*app.add_option_function<std::string>(names, take, helpOf(parameter)), parameter);
    }
    return [=, &kind] { return job->run(kind.name, {*step}); };
}

}

/* Called once all steps are registered. */
void registerStepCommands() {
    for (const StepKind* kind : stepKinds())
        CommandRegistration({kind->name, kind->summary, kind->example, [kind](CLI::App& app) { return defineStep(*kind, app); },
                             "A step of a flow, by itself; pelta-flow(5) tells how a flow file writes it.", countingEnvironment,
                             "Steps of a flow"});
}

}
