#include "commands/command.h"

#include <algorithm>
#include <sstream>

#include "commands/helpformat.h"

namespace pelta {
namespace {

std::vector<Command>& registered() {
    static std::vector<Command> list;
    return list;
}

}

const std::vector<Command>& commands() { return registered(); }

CommandRegistration::CommandRegistration(Command command) {
    auto& list = registered();
    const auto place = std::lower_bound(list.begin(), list.end(), command.name,
                                        [](const Command& known, const std::string& name) { return known.name < name; });
    list.insert(place, std::move(command));
}

void registerStepCommands();

namespace {

/* Indented, so that its lines are not broken. */
std::string exampleText(const std::string& commandLines) {
    std::string text = "Example:";
    std::istringstream lines(commandLines);
    for (std::string line; std::getline(lines, line);) text += "\n  " + line;
    return text;
}

}

std::vector<Subcommand> defineCommandLine(CLI::App& app) {
    registerStepCommands();
    const auto format = std::make_shared<HelpFormat>();
    format->label("Positionals", "Arguments");
    format->label("SUBCOMMAND", "COMMAND");
    app.formatter(format);
    app.set_version_flag("--version", PELTA_VERSION, "print the version and exit");
    app.set_help_flag("-h,--help", "print this help and exit");
    app.require_subcommand(1);
    std::vector<Subcommand> subcommands;
    for (const Command& command : commands()) {
        CLI::App* subcommand = app.add_subcommand(command.name, command.summary)->group(command.group);
        const std::string details = command.details.empty() ? "" : command.details + "\n\n";
        subcommand->footer(details + exampleText(command.example));
        subcommands.push_back({&command, subcommand, command.define(*subcommand)});
    }
    return subcommands;
}

}
