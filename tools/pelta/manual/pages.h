#ifndef PELTA_TOOL_MANUALPAGES_H
#define PELTA_TOOL_MANUALPAGES_H

#include <vector>

#include "commands/command.h"
#include "manual/page.h"

namespace pelta::manual {

/* pelta(1), a page for every subcommand, and pelta-flow(5). */
std::vector<Page> allPages(const CLI::App& program, const std::vector<Subcommand>& subcommands);

}

#endif
