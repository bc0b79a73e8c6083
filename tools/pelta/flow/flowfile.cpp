#include "flow/flowfile.h"

#include <toml++/toml.h>

#include <fstream>
#include <sstream>

#include "support/failure.h"
#include "support/nearest.h"

namespace pelta {
namespace {

std::string placeOf(const toml::source_region& source, const std::string& fileName) {
    return fmt::format("{}:{}:{}", fileName, source.begin.line, source.begin.column);
}

[[noreturn]] void failAt(const toml::node& node, const std::string& fileName, const std::string& text) {
    failUsage("{}: {}", placeOf(node.source(), fileName), text);
}

double numberOf(const toml::node& node, const Parameter& parameter, const std::string& fileName) {
    if (const auto number = node.value<double>(); number && node.is_number()) return *number;
    failAt(node, fileName, parameter.key() + " takes numbers here");
}

std::vector<double> numbersOf(const toml::node& node, const Parameter& parameter, const std::string& fileName) {
    const toml::array* array = node.as_array();
    if (!array) failAt(node, fileName, parameter.key() + " takes a list such as [5, 10, 60, 80]");
    std::vector<double> numbers;
    for (const toml::node& element : *array) {
        if (parameter.kind == Kind::integers && !element.is_integer())
            failAt(element, fileName, parameter.key() + " takes whole numbers");
        numbers.push_back(numberOf(element, parameter, fileName));
    }
    return numbers;
}

Pairs pairsOf(const toml::node& node, const Parameter& parameter, const std::string& fileName) {
    const std::string expected = parameter.key() + " takes a list of pairs such as [[0, 1500], [1000, 2200]]";
    const toml::array* array = node.as_array();
    if (!array) failAt(node, fileName, expected);
    Pairs pairs;
    for (const toml::node& element : *array) {
        const toml::array* pair = element.as_array();
        if (!pair || pair->size() != 2) failAt(element, fileName, expected);
        pairs.emplace_back(numberOf(*pair->get(0), parameter, fileName), numberOf(*pair->get(1), parameter, fileName));
    }
    return pairs;
}

Value valueOf(const toml::node& node, const Parameter& parameter, const std::string& fileName) {
    switch (parameter.kind) {
        case Kind::flag:
            if (const auto flag = node.value<bool>(); flag && node.is_boolean()) return *flag;
            failAt(node, fileName, parameter.key() + " takes true or false");
        case Kind::integer:
            if (const auto number = node.value<std::int64_t>(); number && node.is_integer()) return *number;
            failAt(node, fileName, parameter.key() + " takes a whole number");
        case Kind::real: return numberOf(node, parameter, fileName);
        case Kind::integers:
        case Kind::reals: return numbersOf(node, parameter, fileName);
        case Kind::pairs: return pairsOf(node, parameter, fileName);
        case Kind::text:
        case Kind::choice: break;
    }
    if (const auto text = node.value<std::string>()) return valueFromText(parameter, *text);
    if (const auto number = node.value<std::int64_t>(); number && parameter.kind == Kind::choice)
        return valueFromText(parameter, std::to_string(*number));
    failAt(node, fileName, parameter.key() + " takes a text in quotes");
}

FlowStep stepOf(const toml::table& table, const std::string& fileName) {
    const toml::node* nameNode = table.get("name");
    if (!nameNode) failAt(table, fileName, "a step needs a name, such as name = \"bandpass\"");
    const StepKind* kind = findStepKind(nameNode->value_or(std::string()));
    if (!kind) {
        std::vector<std::string> names;
        for (const StepKind* known : stepKinds()) names.push_back(known->name);
        const std::string given = nameNode->value_or(std::string());
        failAt(*nameNode, fileName, fmt::format("unknown step '{}'{}", given, didYouMean(given, names)));
    }
    FlowStep step{kind, Parameters(kind->parameters)};
    for (const auto& [key, node] : table) {
        if (key.str() == "name") continue;
        const Parameter* found = nullptr;
        std::vector<std::string> keys = {"name"};
        for (const Parameter& parameter : kind->parameters) {
            keys.push_back(parameter.key());
            if (key.str() == parameter.key()) found = &parameter;
        }
        if (!found)
            failUsage("{}: unknown key '{}' in step {}{}", placeOf(key.source(), fileName), key.str(), kind->name,
                      didYouMean(key.str(), keys));
        try {
            Value value = valueOf(node, *found, fileName);
            checkBounds(*found, value);
            step.parameters.set(found->name, std::move(value));
        } catch (const UsageError& error) {
            const std::string text = error.what();
            if (text.starts_with(fileName + ":")) throw;
            failAt(node, fileName, text);
        }
    }
    return step;
}

}

std::vector<FlowStep> readFlow(std::string_view text, const std::string& fileName) {
    toml::table file;
    try {
        file = toml::parse(text, fileName);
    } catch (const toml::parse_error& error) { failUsage("{}: {}", placeOf(error.source(), fileName), error.description()); }
    for (const auto& [key, node] : file)
        if (key.str() != "step")
            failUsage("{}: unknown key '{}'{}", placeOf(key.source(), fileName), key.str(), didYouMean(key.str(), {"step"}));
    const toml::array* array = file.get_as<toml::array>("step");
    if (!array || array->empty()) failUsage("{}: no steps; a flow is a list of [[step]] tables", fileName);
    std::vector<FlowStep> steps;
    for (const toml::node& node : *array) {
        if (!node.is_table()) failAt(node, fileName, "a step is a [[step]] table");
        steps.push_back(stepOf(*node.as_table(), fileName));
    }
    return steps;
}

std::vector<FlowStep> readFlowFile(const std::string& fileName) {
    std::ifstream file(fileName, std::ios::binary);
    std::ostringstream text;
    if (!file || !(text << file.rdbuf())) failUsage("{}: cannot read this flow file", fileName);
    return readFlow(text.str(), fileName);
}

std::string writeFlow(const std::vector<FlowStep>& steps) {
    std::string text;
    for (const FlowStep& step : steps) {
        text += fmt::format("{}[[step]]\nname = \"{}\"\n", text.empty() ? "" : "\n", step.kind->name);
        for (const Parameter& parameter : step.kind->parameters)
            if (step.parameters.has(parameter.name))
                text += fmt::format("{} = {}\n", parameter.key(), flowText(parameter, step.parameters.value(parameter.name)));
    }
    return text;
}

}
