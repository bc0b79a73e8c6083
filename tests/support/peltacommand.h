#ifndef PELTA_TESTS_PELTACOMMAND_H
#define PELTA_TESTS_PELTACOMMAND_H

#include "support/process.h"

/* The pelta command as its users call it; pelta_command_test in CMake tells where it stands. */
inline Outcome runPelta(const std::string& arguments) { return runShell(std::string(PELTA_COMMAND) + " " + arguments); }

/* Where cairo is missing the command is built without pictures, and without plot. */
inline bool hasPictures() {
    static const bool hasPlot = runPelta("plot").err.find("unknown command") == std::string::npos;
    return hasPlot;
}

#endif
