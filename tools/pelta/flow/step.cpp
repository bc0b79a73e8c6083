#include "flow/step.h"

#include <fmt/format.h>

#include <algorithm>

namespace pelta {
namespace {

std::vector<const StepKind*>& registered() {
    static std::vector<const StepKind*> kinds;
    return kinds;
}

/* As on the command line, without the brackets of a flow file: EBCDIC headers have no sure place for them. */
std::string plainText(const Parameter& parameter, const Value& value) {
    if (const auto* numbers = std::get_if<std::vector<double>>(&value)) return fmt::format("{}", fmt::join(*numbers, ","));
    if (const auto* pairs = std::get_if<Pairs>(&value)) {
        std::vector<std::string> pieces;
        for (const auto& [first, second] : *pairs) pieces.push_back(fmt::format("{}:{}", first, second));
        return fmt::format("{}", fmt::join(pieces, ","));
    }
    return flowText(parameter, value);
}

}

Registration::Registration(const StepKind& kind) {
    auto& kinds = registered();
    const auto place = std::lower_bound(kinds.begin(), kinds.end(), &kind,
                                        [](const StepKind* a, const StepKind* b) { return a->name < b->name; });
    kinds.insert(place, &kind);
}

const std::vector<const StepKind*>& stepKinds() { return registered(); }

const StepKind* findStepKind(const std::string& name) {
    for (const StepKind* kind : stepKinds())
        if (kind->name == name) return kind;
    return nullptr;
}

std::string describe(const FlowStep& step) {
    std::string line = step.kind->name;
    for (const Parameter& parameter : step.kind->parameters) {
        if (!step.parameters.has(parameter.name)) continue;
        const Value& value = step.parameters.value(parameter.name);
        if (parameter.byDefault != value) line += " " + parameter.key() + "=" + plainText(parameter, value);
    }
    return line;
}

}
