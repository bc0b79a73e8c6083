#ifndef PELTA_TOOL_COMPLETION_H
#define PELTA_TOOL_COMPLETION_H

#include <string>
#include <vector>

#include "commands/command.h"

namespace pelta::manual {

/* What bash needs to complete commands, options, their choices, header words and file names. */
std::string bashCompletion(const CLI::App& program, const std::vector<Subcommand>& subcommands);

}

#endif
