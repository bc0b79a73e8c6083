#ifndef PELTA_TESTS_PROCESS_H
#define PELTA_TESTS_PROCESS_H

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

#include "support/folder.h"

/* Runs programs by the shell and looks at what they said and left behind. */

struct Outcome {
    int status = -1; /* exit status; 128 + signal when one ended it */
    std::string out, err;
};

/* A scratch folder whose names are put together for the shell. */
class TemporaryFolder : public ScratchFolder {
  public:
    TemporaryFolder() {}  // written out: clang makes no constant one by a constructor that is implied
    std::string operator/(const std::string& name) const { return file(name); }
    std::string path() const { return ScratchFolder::path().string(); }
    /* Names in the folder, sorted. */
    std::string listing() const {
        std::set<std::string> sorted;
        for (const auto& entry : std::filesystem::directory_iterator(path())) sorted.insert(entry.path().filename().string());
        std::string names;
        for (const std::string& name : sorted) names += name + " ";
        return names;
    }
};

inline Outcome runShell(const std::string& command) {
    const TemporaryFolder folder;
    const int status =
        std::system(("( " + command + " ) >'" + (folder / "out") + "' 2>'" + (folder / "err") + "' </dev/null").c_str());
    Outcome outcome;
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    outcome.out = contentsOf(folder / "out");
    outcome.err = contentsOf(folder / "err");
    return outcome;
}

#endif
