#ifndef PELTA_TESTS_PELTACOMMAND_H
#define PELTA_TESTS_PELTACOMMAND_H

#include <gtest/gtest.h>

#include "support/process.h"

/* The pelta command as its users call it; pelta_command_test in CMake tells where it stands. */
inline Outcome runPelta(const std::string& arguments) { return runShell(std::string(PELTA_COMMAND) + " " + arguments); }

/* Where cairo is missing the command is built without pictures, and without plot. */
inline bool hasPictures() {
    static const bool hasPlot = runPelta("plot").err.find("unknown command") == std::string::npos;
    return hasPlot;
}

/* One line of complaint, and the folder as it was. */
inline void expectRefusal(const TemporaryFolder& folder, const std::string& arguments, int status,
                          const std::string& complaint) {
    const std::string before = folder.listing();
    const Outcome outcome = runPelta(arguments);
    EXPECT_EQ(outcome.status, status) << arguments;
    EXPECT_EQ(outcome.err, "pelta: " + complaint + "\n") << arguments;
    EXPECT_EQ(outcome.out, "") << arguments;
    EXPECT_EQ(folder.listing(), before) << arguments;
}

/* The answer to --picture in a build without them. */
inline void expectPictureRefused(const Outcome& outcome, const std::string& picture) {
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "pelta: --picture " + picture +
                               ": this pelta was built without pictures; everything else can be had without it\n");
    EXPECT_EQ(outcome.out, "");
}

/* With --overwrite the command would put an output in the place of this input; it says that it does not, and leaves the file. */
inline void expectInputKept(const std::string& arguments, const std::string& input) {
    const std::string before = contentsOf(input);
    EXPECT_EQ(runPelta(arguments + " --overwrite").err,
              "pelta: " + input + ": is the input itself; choose another name for the output\n");
    EXPECT_TRUE(contentsOf(input) == before) << arguments;
}

#endif
