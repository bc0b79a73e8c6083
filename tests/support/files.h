#ifndef PELTA_TESTS_FILES_H
#define PELTA_TESTS_FILES_H

#include <gtest/gtest.h>
#include <stdio_ext.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "support/folder.h"

/* Scratch folders, whole files as strings, what was printed, and limits that a test sets itself. */

/* Makes a new file: file systems write an emptied one to disk as soon as it is closed. */
inline void writeFile(const std::string& fileName, std::string_view contents) {
    std::filesystem::remove(fileName);
    std::ofstream file(fileName, std::ios::binary);
    file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
    ASSERT_TRUE(file.flush()) << fileName;
}

/* What was printed to standard output, and how much of it was still in the buffer when the work was done. */
struct Printed {
    std::string text;
    std::size_t unflushed;
};

template <class Work>
Printed printedBy(Work work) {
    std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);  // a terminal would flush every line by itself
    testing::internal::CaptureStdout();
    work();
    const std::size_t unflushed = __fpending(stdout);
    return {testing::internal::GetCapturedStdout(), unflushed};
}

/* Runs work while descriptor 0 is free, as in a daemon that has closed its standard input. */
template <class Work>
void withoutStandardInput(Work work) {
    const int kept = dup(0);
    close(0);
    work();
    if (kept >= 0) {
        dup2(kept, 0);
        close(kept);
    }
}

/* Sets an environment variable, or removes it (null), until the end of the scope. */
class WithVariable {
  public:
    WithVariable(const char* name, const char* value) : name_(name) {
        if (const char* before = getenv(name)) {
            wasSet_ = true;
            before_ = before;
        }
        assign(value);
    }
    ~WithVariable() { assign(wasSet_ ? before_.c_str() : nullptr); }
    WithVariable(const WithVariable&) = delete;
    WithVariable& operator=(const WithVariable&) = delete;

  private:
    void assign(const char* value) { value ? setenv(name_, value, 1) : unsetenv(name_); }

    const char* name_;
    std::string before_;
    bool wasSet_ = false;
};

/* Limits the length of files that this process writes. */
class WithFileLimit {
  public:
    explicit WithFileLimit(rlim_t bytes) {
        before_ = std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &limit_);
        const struct rlimit limit = {bytes, limit_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~WithFileLimit() {
        setrlimit(RLIMIT_FSIZE, &limit_);
        std::signal(SIGXFSZ, before_);
    }
    WithFileLimit(const WithFileLimit&) = delete;
    WithFileLimit& operator=(const WithFileLimit&) = delete;

  private:
    struct rlimit limit_;
    void (*before_)(int);
};

/* Root may write everywhere; here it is somebody else until the end of the scope. */
class WithoutPrivileges {
  public:
    WithoutPrivileges() { become(nobody); }
    ~WithoutPrivileges() { become(0); }
    WithoutPrivileges(const WithoutPrivileges&) = delete;
    WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;

  private:
    static constexpr uid_t nobody = 65534;

    void become(uid_t user) const {
        if (wasRoot_ && seteuid(user) != 0) std::perror("seteuid");
    }

    const bool wasRoot_ = geteuid() == 0;
};

#endif
