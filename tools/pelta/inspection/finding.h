#ifndef PELTA_TOOL_FINDING_H
#define PELTA_TOOL_FINDING_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace pelta::inspection {

/* An error leaves data unreadable, lost or doubtful; a warning is a contradiction that the samples survive. */
enum class Severity { warning, error };
const char* nameOf(Severity severity);

/* What stands in the file or should: nothing, a number or words. */
using Value = std::variant<std::monostate, std::int64_t, double, std::string>;

/* One thing that is wrong with a file, however many traces share it. */
struct Finding {
    Severity severity = Severity::warning;
    std::string text;                      /* the whole line, without the file's name */
    std::optional<std::int64_t> byte = {}; /* one-based in the file; of a trace-header word, in the first such trace */
    std::string word = {};                 /* the trace-header word, if it is one */
    Value found = {}, expected = {};
    std::string option = {};                /* of this command, which overrides what was found */
    std::optional<std::int64_t> trace = {}; /* the first one, from 1 */
    std::int64_t count = 0;                 /* traces; 0 where the file as a whole is meant */
};

/* A finding from a line of the SEG-Y reader ("sample count at byte 3221 is 0, expected 1 or more; --samples gives it"): its
 * byte, value, expectation and option are those the line names. */
Finding findingFromLine(Severity severity, std::string_view line, std::string_view fileName);

}

#endif
