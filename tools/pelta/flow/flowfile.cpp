#include "flow/flowfile.h"

#include <toml++/toml.h>

#include "support/failure.h"
#include "support/nearest.h"

namespace pelta {
namespace {

/* Reads steps, and says where in the file one is wrong. */
class FlowReader {
  public:
    explicit FlowReader(const std::string& fileName) : _fileName(fileName) {}

    std::vector<FlowStep> steps(std::string_view text) const {
        const toml::table file = parse(text);
        for (const auto& [key, node] : file)
            if (key.str() != "step")
                failAt(key.source(), fmt::format("unknown key '{}'{}", key.str(), didYouMean(key.str(), {"step"})));
        const toml::array* array = file.get_as<toml::array>("step");
        if (!array || array->empty()) failUsage("{}: no steps; a flow is a list of [[step]] tables", _fileName);
        std::vector<FlowStep> steps;
        for (const toml::node& node : *array) {
            if (!node.is_table()) failAt(node.source(), "a step is a [[step]] table");
            steps.push_back(step(*node.as_table()));
        }
        return steps;
    }

  private:
    std::string placeOf(const toml::source_region& source) const {
        return fmt::format("{}:{}:{}", _fileName, source.begin.line, source.begin.column);
    }
    [[noreturn]] void failAt(const toml::source_region& source, const std::string& text) const {
        failUsage("{}: {}", placeOf(source), text);
    }

    /* Does what knows neither the place nor the key of a value that it refuses. */
    template <class Action>
    auto named(const toml::node& node, const Parameter& parameter, const Action& action) const {
        return naming(placeOf(node.source()) + ": " + parameter.key(), action);
    }

    toml::table parse(std::string_view text) const {
        try {
            return toml::parse(text, _fileName);
        } catch (const toml::parse_error& error) { failAt(error.source(), std::string(error.description())); }
    }

    FlowStep step(const toml::table& table) const {
        FlowStep step(kindOf(table));
        for (const auto& [key, node] : table) {
            if (key.str() == "name") continue;
            const Parameter& parameter = parameterOf(*step.kind, key);
            Value value = valueOf(node, parameter);
            named(node, parameter, [&] { checkBounds(parameter, value); });
            step.parameters.set(parameter.name, std::move(value));
        }
        return step;
    }

    const StepKind& kindOf(const toml::table& table) const {
        const toml::node* name = table.get("name");
        if (!name) failAt(table.source(), "a step needs a name, such as name = \"bandpass\"");
        const std::string given = name->value_or(std::string());
        if (const StepKind* kind = findStepKind(given)) return *kind;
        std::vector<std::string> names;
        for (const StepKind* known : stepKinds()) names.push_back(known->name);
        failAt(name->source(), fmt::format("unknown step '{}'{}", given, didYouMean(given, names)));
    }

    const Parameter& parameterOf(const StepKind& kind, const toml::key& key) const {
        std::vector<std::string> keys = {"name"};
        for (const Parameter& parameter : kind.parameters) {
            if (key.str() == parameter.key()) return parameter;
            keys.push_back(parameter.key());
        }
        failAt(key.source(), fmt::format("unknown key '{}' in step {}{}", key.str(), kind.name, didYouMean(key.str(), keys)));
    }

    [[noreturn]] void failOfKind(const toml::node& node, const Parameter& parameter, const char* expected) const {
        failAt(node.source(), fmt::format("{} takes {}", parameter.key(), expected));
    }

    Value valueOf(const toml::node& node, const Parameter& parameter) const {
        switch (parameter.kind) {
            case Kind::flag:
                if (const auto flag = node.value<bool>(); flag && node.is_boolean()) return *flag;
                failOfKind(node, parameter, "true or false");
            case Kind::integer:
                if (const auto number = node.value<std::int64_t>(); number && node.is_integer()) return *number;
                failOfKind(node, parameter, "a whole number");
            case Kind::real: return numberOf(node, parameter);
            case Kind::integers:
            case Kind::reals: return numbersOf(node, parameter);
            case Kind::pairs: return pairsOf(node, parameter);
            case Kind::text:
            case Kind::choice: break;
        }
        return textOf(node, parameter);
    }

    double numberOf(const toml::node& node, const Parameter& parameter) const {
        if (const auto number = node.value<double>(); number && node.is_number()) return *number;
        failOfKind(node, parameter, parameter.kind == Kind::real ? "a number" : "numbers here");
    }

    std::vector<double> numbersOf(const toml::node& node, const Parameter& parameter) const {
        const toml::array* array = node.as_array();
        if (!array) failOfKind(node, parameter, "a list such as [5, 10, 60, 80]");
        std::vector<double> numbers;
        for (const toml::node& element : *array) {
            if (parameter.kind == Kind::integers && !element.is_integer()) failOfKind(element, parameter, "whole numbers");
            numbers.push_back(numberOf(element, parameter));
        }
        return numbers;
    }

    Pairs pairsOf(const toml::node& node, const Parameter& parameter) const {
        constexpr const char* expected = "a list of pairs such as [[0, 1500], [1000, 2200]]";
        const toml::array* array = node.as_array();
        if (!array) failOfKind(node, parameter, expected);
        Pairs pairs;
        for (const toml::node& element : *array) {
            const toml::array* pair = element.as_array();
            if (!pair || pair->size() != 2) failOfKind(element, parameter, expected);
            pairs.emplace_back(numberOf(*pair->get(0), parameter), numberOf(*pair->get(1), parameter));
        }
        return pairs;
    }

    /* A text, or the name or number of a choice. */
    Value textOf(const toml::node& node, const Parameter& parameter) const {
        const auto read = [&](const std::string& text) {
            return named(node, parameter, [&] { return valueFromText(parameter, text); });
        };
        if (const auto text = node.value<std::string>()) return read(*text);
        if (const auto number = node.value<std::int64_t>(); number && parameter.kind == Kind::choice)
            return read(std::to_string(*number));
        failOfKind(node, parameter, "a text in quotes");
    }

    const std::string& _fileName;
};

}

std::vector<FlowStep> readFlow(std::string_view text, const std::string& fileName) { return FlowReader(fileName).steps(text); }

FlowFile::FlowFile(const std::string& name) : _file(name), _steps(readFlow(_file.rest(), _file.name())) {}

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
