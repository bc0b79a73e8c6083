#ifndef PELTA_TOOL_OPTIONFACTS_H
#define PELTA_TOOL_OPTIONFACTS_H

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace pelta {

/* What a user has to know of an option; help, manual and completion are all made from this. A description is one sentence
 * without a stop; where an option captures no default of its own, parentheses at the end tell what holds without it. */
struct OptionFacts {
    std::vector<std::string> names; /* "--corners", "--corners-hz"; of an argument "IN" */
    bool isArgument = false, isRequired = false;
    std::string value; /* "NUMBER", "FILE", "WORD,..."; empty for a flag */
    bool hasOptionalValue = false;
    std::string sentence;
    std::vector<std::string> choices;
    std::string range;     /* "1 to 100", "at least 1" */
    std::string byDefault; /* "99", "round the points" */
    std::vector<std::string> excluded;
    std::string group;

    bool isFlag() const { return value.empty() && !isArgument; }
};

/* "1 to 100" or "at least 1"; bounds that only guard the arithmetic are left out. */
std::string rangeText(double from, double to);

OptionFacts factsOf(const CLI::Option& option);
/* The groups of options in the order of their declaration, but what a step takes before all others. */
std::vector<std::string> groupsOf(const std::vector<OptionFacts>& options);
/* Of all arguments, then of all options, in the order of their declaration. */
std::vector<OptionFacts> factsOf(const CLI::App& command);

}

#endif
