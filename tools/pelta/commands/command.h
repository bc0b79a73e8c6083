#ifndef PELTA_TOOL_COMMAND_H
#define PELTA_TOOL_COMMAND_H

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <vector>

namespace pelta {

/* A subcommand: declared in one file under commands/ by a static CommandRegistration, and listed in CMake. The options'
 * values live as long as the program. */
struct Command {
    std::string name;
    std::string summary; /* what it does, without a stop */
    std::string example; /* command lines that work, one a line */
    /* Adds options to its subcommand and returns what to do when it was called: the exit status, or a thrown Failure or
     * UsageError. */
    std::function<std::function<int()>(CLI::App&)> define;
    std::string details = {};                  /* paragraphs, a line each */
    std::vector<std::string> environment = {}; /* variables that it reads */
    std::string group = "Commands";            /* that the help and the manual list it in */
};

/* All commands, by name. */
const std::vector<Command>& commands();

struct CommandRegistration {
    explicit CommandRegistration(Command command);
};

/* A command as a subcommand of the program. */
struct Subcommand {
    const Command* command;
    CLI::App* app;
    std::function<int()> run;
};

/* The whole command line: what `pelta` takes, steps of flows included. Called once. */
std::vector<Subcommand> defineCommandLine(CLI::App& app);

}

#endif
