#include <cstdint>
#include <string>

#include "flow/flowfile.h"
#include "support/failure.h"

/* The input is a flow file of a step that has parameters of every kind. Every flow must be read or refused with a line of text,
 * and what is written of one that was read must be read as the same; the input is also the text of every option. */

using namespace pelta;

namespace {

const StepKind everyKind = {
    .name = "step",
    .summary = "",
    .example = "",
    .parameters =
        {
            {"flag", "", Kind::flag, "", false},
            {"integer", "", Kind::integer, "", std::int64_t{5}, -10, 10},
            {"real", "ms", Kind::real, "", 2.5, -1e9, 1e9},
            {"text", "", Kind::text, ""},
            {"choice", "", Kind::choice, "", std::int64_t{1}, 0, 2, {{"none", 0}, {"one", 1}, {"two", 2}}},
            {"integers", "", Kind::integers, "", {}, 0, 100},
            {"reals", "hz", Kind::reals, "", {}, 0, 1e6},
            {"pairs", "ms_m", Kind::pairs, "", {}, -1e6, 1e6},
        },
    .make = nullptr,
};
const Registration registration(everyKind);

void readTwice(const std::string& text) {
    try {
        const std::string written = writeFlow(readFlow(text, "flow"));
        if (writeFlow(readFlow(written, "flow")) != written) __builtin_trap();
    } catch (const UsageError& error) {
        if (!std::string(error.what()).starts_with("flow:")) __builtin_trap();
    }
}

void readAsOption(const Parameter& parameter, const std::string& text) {
    try {
        const Value value = valueFromOption(parameter, text);
        if (valueFromText(parameter, optionText(parameter, value)) != value) __builtin_trap();
    } catch (const UsageError& error) {
        if (!std::string(error.what()).starts_with(parameter.option() + ": ")) __builtin_trap();
    }
}

}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    readTwice(text);
    for (const Parameter& parameter : everyKind.parameters) readAsOption(parameter, text);
    return 0;
}
