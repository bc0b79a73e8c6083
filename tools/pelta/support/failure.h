#ifndef PELTA_TOOL_FAILURE_H
#define PELTA_TOOL_FAILURE_H

#include <fmt/format.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>

namespace pelta {

/* The data or the work failed: one line that says what, where in the file, what was expected and which option helps.
 * Ends the command with status 1. */
class Failure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/* The command was called wrongly: status 2. */
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

template <class... Arguments>
[[noreturn]] void fail(fmt::format_string<Arguments...> text, Arguments&&... arguments) {
    throw Failure(fmt::format(text, std::forward<Arguments>(arguments)...));
}

template <class... Arguments>
[[noreturn]] void failUsage(fmt::format_string<Arguments...> text, Arguments&&... arguments) {
    throw UsageError(fmt::format(text, std::forward<Arguments>(arguments)...));
}

/* Does something whose UsageError does not say what it is about, and puts that before its text: "--map: ...". */
template <class Action>
auto naming(std::string_view what, const Action& action) {
    try {
        return action();
    } catch (const UsageError& error) { failUsage("{}: {}", what, error.what()); }
}

/* The text with a question mark for every control character, so that a strange file name keeps to its line. */
std::string oneLine(std::string text);

/* Puts text on standard error, in one piece that other threads' texts stay apart from. The work goes on where it cannot be
 * written, on a full disk or without a standard error. */
void tell(std::string_view text);

/* Puts text on standard output or, where that takes data, on standard error. Standard output that cannot be written fails
 * (Failure). */
void printText(std::FILE* to, std::string_view text);
template <class... Arguments>
void printTo(std::FILE* to, fmt::format_string<Arguments...> text, Arguments&&... arguments) {
    printText(to, fmt::format(text, std::forward<Arguments>(arguments)...));
}

/* One line on standard error that begins "pelta: warning: "; the work goes on. Safe to call from several threads. */
void warn(const std::string& text);

}

#endif
