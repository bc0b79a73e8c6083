#ifndef PELTA_TOOL_COMPLAINT_H
#define PELTA_TOOL_COMPLAINT_H

#include <CLI/CLI.hpp>

#include <string>

namespace pelta {

/* What the parser did not know, with the nearest name that it would have known; empty where it knew all. */
std::string unknownText(const CLI::App& app);

/* What is wrong with a command line that the parser refused, in one line. */
std::string complaintOf(const CLI::App& app, const CLI::ParseError& error);

}

#endif
