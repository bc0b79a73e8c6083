#include "flow/step.h"

#include <fmt/format.h>

#include <algorithm>

namespace pelta {
namespace {

std::vector<const StepKind*>& registered() {
    static std::vector<const StepKind*> kinds;
    return kinds;
}

/* Lists as on the command line, without the brackets of a flow file: EBCDIC headers have no sure place for them. */
std::string plainText(const Parameter& parameter, const Value& value) {
    const bool isName = parameter.kind == Kind::choice || parameter.kind == Kind::text;
    return isName ? flowText(parameter, value) : optionText(parameter, value);
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
