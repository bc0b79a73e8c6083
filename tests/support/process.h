#ifndef PELTA_TESTS_PROCESS_H
#define PELTA_TESTS_PROCESS_H

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

/* Runs programs by the shell and looks at what they said and left behind. */

struct Outcome {
    int status = -1; /* exit status; 128 + signal when one ended it */
    std::string out, err;
};

inline std::string contentsOf(const std::string& fileName) {
    std::ifstream file(fileName, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/* A folder that goes with the object. */
class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "pelta-test-XXXXXX").string();
        _path = mkdtemp(name.data());
    }
    ~TemporaryFolder() { std::filesystem::remove_all(_path); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string operator/(const std::string& name) const { return _path + "/" + name; }
    const std::string& path() const { return _path; }
    /* Names in the folder, sorted. */
    std::string listing() const {
        std::string names;
        std::set<std::string> sorted;
        for (const auto& entry : std::filesystem::directory_iterator(_path)) sorted.insert(entry.path().filename().string());
        for (const std::string& name : sorted) names += name + " ";
        return names;
    }

  private:
    std::string _path;
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
