#ifndef PELTA_TESTS_FILES_H
#define PELTA_TESTS_FILES_H

#include <gtest/gtest.h>
#include <stdio_ext.h>
#include <stdlib.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

/* Scratch folders, whole files as strings, and what was printed. */

/* A folder of a test's own, gone with its contents at the end. */
class ScratchFolder {
  public:
    ScratchFolder() {
        std::string name = testing::TempDir() + "peltaXXXXXX";
        if (!mkdtemp(name.data()))
            throw std::filesystem::filesystem_error(name, std::error_code(errno, std::generic_category()));
        path_ = name;
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string file(std::string_view name) const { return (path_ / name).string(); }

  private:
    std::filesystem::path path_;
};

inline std::string contentsOf(const std::string& fileName) {
    std::ifstream file(fileName, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

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

#endif
