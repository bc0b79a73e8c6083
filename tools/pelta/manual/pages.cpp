#include "manual/pages.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <sstream>

#include "commands/optionfacts.h"
#include "flow/step.h"

namespace pelta::manual {
namespace {

const std::map<std::string, std::string> environment = {
    {"LOGNAME", "The user under whom the usage ledger counts traces. Where it is not set nothing is counted."},
    {"PELTA_HOME",
     "The installation's folder. The usage ledger is linux/lib/libCumm.so in it, and traces are counted only where the "
     "variable "
     "is set."},
    {"PROMAX_HOME", "The same where PELTA_HOME is not set."},
    {"PROMAX_SCRATCH_HOME",
     "The folder of working files. Where it is not set that of the output is taken, or for standard output the system's "
     "folder of temporary files."},
    {"TMPDIR", "The system's folder of temporary files, if not /tmp."},
};

std::string joined(const std::vector<std::string>& names, std::string (*font)(std::string_view)) {
    std::vector<std::string> marked;
    for (const std::string& name : names) marked.push_back(font(name));
    return fmt::format("{}", fmt::join(marked, ", "));
}

std::string tagOf(const OptionFacts& facts) {
    if (facts.isArgument) return italic(facts.names.front());
    const std::string names = joined(facts.names, bold);
    if (facts.isFlag()) return names;
    return facts.hasOptionalValue ? names + "[=" + italic(facts.value) + "]" : names + " " + italic(facts.value);
}

/* What may stand behind the one sentence. */
std::string limits(const std::vector<std::string>& choices, const std::string& range, const std::string& byDefault) {
    std::string text;
    if (!choices.empty()) text += fmt::format(" One of {}.", joined(choices, bold));
    if (!range.empty()) text += fmt::format(" {}", plain(sentence(range)));
    if (!byDefault.empty()) text += fmt::format(" By default {}.", plain(byDefault));
    return text;
}

std::string textOf(const OptionFacts& facts) {
    std::string text = plain(sentence(facts.sentence)) + limits(facts.choices, facts.range, facts.byDefault);
    if (!facts.excluded.empty()) text += fmt::format(" Not beside {}.", joined(facts.excluded, bold));
    if (facts.isRequired && !facts.isArgument) text += " Required.";
    return text;
}

void addSynopsis(Page& page, const std::string& command, const std::vector<OptionFacts>& options) {
    page.section("Synopsis");
    std::string line = fmt::format("{} [{}]...", bold(command), italic("OPTION"));
    for (const OptionFacts& facts : options)
        if (facts.isRequired && !facts.isArgument) line += " " + tagOf(facts);
    for (const OptionFacts& facts : options)
        if (facts.isArgument) line += facts.isRequired ? " " + tagOf(facts) : " [" + tagOf(facts) + "]";
    page.paragraph(line);
}

void addArguments(Page& page, const std::vector<OptionFacts>& options) {
    if (options.empty() || !options.front().isArgument) return;
    page.section("Arguments");
    for (const OptionFacts& facts : options)
        if (facts.isArgument) page.item(tagOf(facts), textOf(facts));
}

void addOptions(Page& page, const std::vector<OptionFacts>& options) {
    const std::vector<std::string> groups = groupsOf(options);
    page.section("Options");
    for (const std::string& group : groups) {
        if (group != groups.front()) page.subsection(group == "Options" ? "General" : group);
        for (const OptionFacts& facts : options)
            if (facts.group == group && !facts.isArgument) page.item(tagOf(facts), textOf(facts));
    }
}

void addExitStatus(Page& page) {
    page.section("Exit status");
    page.item("0", "Done.");
    page.item("1",
              "The data or the work failed. One line on standard error tells what, where in the file, and which option helps; "
              "no output is left half-written.");
    page.item("2", "The command was called wrongly.");
}

void addEnvironment(Page& page, const std::vector<std::string>& names) {
    if (names.empty()) return;
    page.section("Environment");
    for (const std::string& name : names) page.item(bold(name), plain(environment.at(name)));
}

void addSeeAlso(Page& page, const std::vector<std::pair<std::string, int>>& others) {
    page.section("See also");
    std::vector<std::string> references;
    for (const auto& [name, section] : others) references.push_back(fmt::format("{}({})", bold(name), section));
    page.paragraph(fmt::format("{}", fmt::join(references, ", ")));
}

bool isAboutFlows(const std::string& command) {
    return command == "run" || command == "stack" || findStepKind(command) != nullptr;
}

Page commandPage(const Command& command, const CLI::App& app) {
    const std::string name = "pelta-" + command.name;
    Page page(name, 1, command.summary);
    const std::vector<OptionFacts> options = factsOf(app);
    addSynopsis(page, "pelta " + command.name, options);
    page.section("Description");
    page.paragraph(fmt::format("{} {}.", bold("pelta " + command.name), plain(command.summary)));
    std::istringstream details(command.details);
    for (std::string paragraph; std::getline(details, paragraph);) page.paragraph(plain(paragraph));
    addArguments(page, options);
    addOptions(page, options);
    addExitStatus(page);
    addEnvironment(page, command.environment);
    page.section("Examples");
    page.example(command.example);
    std::vector<std::pair<std::string, int>> others = {{"pelta", 1}};
    if (isAboutFlows(command.name)) others.emplace_back("pelta-flow", 5);
    addSeeAlso(page, others);
    return page;
}

void addCommands(Page& page, const std::vector<Subcommand>& subcommands, const std::string& group) {
    for (const Subcommand& subcommand : subcommands) {
        const Command& command = *subcommand.command;
        if (command.group == group)
            page.item(fmt::format("{}(1)", bold("pelta-" + command.name)), plain(sentence(command.summary)));
    }
}

Page programPage(const CLI::App& program, const std::vector<Subcommand>& subcommands) {
    Page page("pelta", 1, "processes seismic traces in SEG-Y files");
    page.section("Synopsis");
    page.paragraph(fmt::format("{} {} [{}]... [{}]...", bold("pelta"), italic("COMMAND"), italic("OPTION"), italic("FILE")));
    page.section("Description");
    page.paragraph(
        "Filters, corrects, balances and picks traces, sorts and stacks them, tells what a file holds and draws it. Memory "
        "does not grow with the file, and the output is the same to the bit for any number of threads. An output stands "
        "under its name only when it is whole, and nothing is replaced without " +
        bold("--overwrite") + ".");
    page.paragraph(fmt::format("{} prints every option of a command, as does its page.", bold("pelta COMMAND --help")));
    page.section("Commands");
    addCommands(page, subcommands, "Commands");
    page.subsection("Steps of a flow");
    page.paragraph(fmt::format("Each is a command, and a step in the flow file of {}(1).", bold("pelta-run")));
    addCommands(page, subcommands, "Steps of a flow");
    addOptions(page, factsOf(program));
    addExitStatus(page);
    std::vector<std::string> variables;
    for (const auto& [variable, text] : environment) variables.push_back(variable);
    addEnvironment(page, variables);
    page.section("Files");
    page.item(bold("$PELTA_HOME/linux/lib/libCumm.so"), "The usage ledger: records of 118 bytes.");
    page.section("Examples");
    page.paragraph("A synthetic line, what it holds, and a flow on it:");
    page.example(
        "pelta synth line.sgy\npelta info line.sgy\npelta run flow.toml line.sgy processed.sgy\n"
        "pelta plot processed.sgy section.png");
    page.paragraph("One step, in a pipe:");
    page.example("pelta bandpass line.sgy - --corners 5,10,60,80 | pelta gain - balanced.sgy");
    addSeeAlso(page, {{"pelta-flow", 5}});
    return page;
}

const char* formOf(const Parameter& parameter) {
    switch (parameter.kind) {
        case Kind::flag: return "true|false";
        case Kind::integer: return "INT";
        case Kind::real: return "NUMBER";
        case Kind::text: return parameter.holdsFileName() ? "\"FILE\"" : "\"TEXT\"";
        case Kind::choice: return "\"NAME\"";
        case Kind::integers: return "[INT, INT, ...]";
        case Kind::reals: return "[NUMBER, NUMBER, ...]";
        case Kind::pairs: break;
    }
    return "[[NUMBER, NUMBER], ...]";
}

std::string textOf(const Parameter& parameter) {
    const bool isNumber = parameter.kind != Kind::choice && parameter.kind != Kind::flag && parameter.kind != Kind::text;
    return plain(sentence(parameter.help)) + limits(parameter.choiceNames(),
                                                    isNumber ? rangeText(parameter.minimum, parameter.maximum) : "",
                                                    parameter.byDefault ? flowText(parameter, *parameter.byDefault) : "");
}

Page flowPage() {
    Page page("pelta-flow", 5, "the steps of a run of pelta");
    page.section("Description");
    page.paragraph(fmt::format(
        "A flow file lists the steps that {}(1) sends every trace through, in the order of the work. It is TOML: every step "
        "is a table {} with its {} and its parameters. Keys carry their units. A key that is left out has its default; what a "
        "step cannot do without is asked for.",
        bold("pelta-run"), bold("[[step]]"), bold("name")));
    page.paragraph(
        fmt::format("A misspelt key is named with line, column and the nearest known one, and {} prints a flow with "
                    "every value spelt out.",
                    bold("pelta run flow.toml --show")));
    page.section("Steps");
    for (const StepKind* kind : stepKinds()) {
        page.subsection(kind->name);
        page.paragraph(fmt::format("The step {}.", plain(kind->summary)));
        for (const Parameter& parameter : kind->parameters)
            page.item(fmt::format("{} = {}", bold(parameter.key()), italic(formOf(parameter))), textOf(parameter));
    }
    page.section("Examples");
    page.example(
        "[[step]]\nname = \"bandpass\"\ncorners_hz = [5, 10, 60, 80]\n\n[[step]]\nname = \"moveout\"\n"
        "velocity_table_ms_m_per_s = [[400, 1800], [1100, 2300]]\nstretch_percent = 40\n\n[[step]]\nname = \"gain\"\n"
        "window_ms = 500");
    std::vector<std::pair<std::string, int>> others = {{"pelta-run", 1}, {"pelta-stack", 1}};
    for (const StepKind* kind : stepKinds()) others.emplace_back("pelta-" + kind->name, 1);
    addSeeAlso(page, others);
    return page;
}

}

std::vector<Page> allPages(const CLI::App& program, const std::vector<Subcommand>& subcommands) {
    std::vector<Page> pages = {programPage(program, subcommands), flowPage()};
    for (const Subcommand& subcommand : subcommands) pages.push_back(commandPage(*subcommand.command, *subcommand.app));
    return pages;
}

}
