#include "flow/parameters.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>

#include "support/failure.h"
#include "support/nearest.h"
#include "support/numberlist.h"

namespace pelta {
namespace {

template <class Number>
Number numberFrom(std::string_view text, const char* expected) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) failUsage("'{}' is not {}", text, expected);
    return number;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        pieces.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return pieces;
}

Value choiceFrom(const Parameter& parameter, std::string_view text) {
    for (const Choice& choice : parameter.choices)
        if (text == choice.name || text == std::to_string(choice.number)) return std::int64_t{choice.number};
    const std::vector<std::string> names = parameter.choiceNames();
    failUsage("'{}' is none of {}{}", text, fmt::join(names, ", "), didYouMean(text, names));
}

std::vector<double> realsFrom(const Parameter& parameter, std::string_view text) {
    if (parameter.kind == Kind::integers)
        if (const auto listed = wholeNumbersIn(text)) return {listed->begin(), listed->end()};
    std::vector<double> numbers;
    for (std::string_view piece : split(text, ','))
        numbers.push_back(parameter.kind == Kind::integers
                              ? static_cast<double>(numberFrom<std::int64_t>(piece, "a list of whole numbers"))
                              : numberFrom<double>(piece, "a list of numbers"));
    return numbers;
}

Pairs pairsFrom(std::string_view text) {
    Pairs pairs;
    for (std::string_view piece : split(text, ',')) {
        const auto halves = split(piece, ':');
        if (halves.size() != 2) failUsage("'{}' is not a pair such as 400:1800", piece);
        pairs.emplace_back(numberFrom<double>(halves[0], "a number"), numberFrom<double>(halves[1], "a number"));
    }
    return pairs;
}

bool flagFrom(std::string_view text) {
    if (text == "true") return true;
    if (text == "false") return false;
    failUsage("'{}' is neither true nor false", text);
}

const std::string& choiceName(const Parameter& parameter, const Value& value) {
    for (const Choice& choice : parameter.choices)
        if (choice.number == std::get<std::int64_t>(value)) return choice.name;
    throw std::logic_error("no name for a choice of " + parameter.name);
}

std::string dashed(std::string key) {
    std::replace(key.begin(), key.end(), '_', '-');
    return key;
}

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\') result += '\\';
        result += c;
    }
    return result + '"';
}

}

std::string Parameter::key() const { return unit.empty() ? name : name + "_" + unit; }

std::string Parameter::option() const { return "--" + dashed(name); }
std::string Parameter::optionWithUnit() const { return "--" + dashed(key()); }

std::vector<std::string> Parameter::choiceNames() const {
    std::vector<std::string> names;
    for (const Choice& choice : choices) names.push_back(choice.name);
    return names;
}

Parameter choiceParameter(std::string name, std::string help, int byDefault, std::vector<Choice> choices) {
    Parameter parameter = {std::move(name), "", Kind::choice, std::move(help), std::int64_t{byDefault}};
    parameter.choices = std::move(choices);
    return parameter;
}

Parameter flagParameter(std::string name, std::string help, bool byDefault) {
    return {std::move(name), "", Kind::flag, std::move(help), byDefault};
}

Parameter inputFileParameter(std::string name, std::string help) { return {std::move(name), "", Kind::text, std::move(help)}; }

Parameter outputFileParameter(std::string name, std::string help) {
    Parameter parameter = inputFileParameter(std::move(name), std::move(help));
    parameter.isOutput = true;
    return parameter;
}

Value valueFromText(const Parameter& parameter, std::string_view text) {
    switch (parameter.kind) {
        case Kind::flag: return flagFrom(text);
        case Kind::integer: return numberFrom<std::int64_t>(text, "a whole number");
        case Kind::real: return numberFrom<double>(text, "a number");
        case Kind::choice: return choiceFrom(parameter, text);
        case Kind::integers:
        case Kind::reals: return realsFrom(parameter, text);
        case Kind::pairs: return pairsFrom(text);
        case Kind::text: break;
    }
    return std::string(text);
}

void checkBounds(const Parameter& parameter, const Value& value) {
    const auto check = [&](double number) {
        if (!(number >= parameter.minimum && number <= parameter.maximum))
            failUsage("{:g} lies outside {:g} .. {:g}", number, parameter.minimum, parameter.maximum);
    };
    if (parameter.kind == Kind::choice) return;
    if (const auto* number = std::get_if<std::int64_t>(&value)) check(static_cast<double>(*number));
    if (const auto* number = std::get_if<double>(&value)) check(*number);
    if (const auto* numbers = std::get_if<std::vector<double>>(&value))
        for (double number : *numbers) check(number);
    if (const auto* pairs = std::get_if<Pairs>(&value))
        for (const auto& [first, second] : *pairs) {
            check(first);
            check(second);
        }
}

Value valueFromOption(const Parameter& parameter, std::string_view text) {
    return naming(parameter.option(), [&] {
        Value value = valueFromText(parameter, text);
        checkBounds(parameter, value);
        return value;
    });
}

std::string optionText(const Parameter& parameter, const Value& value) {
    if (parameter.kind == Kind::choice) return choiceName(parameter, value);
    if (const auto* text = std::get_if<std::string>(&value)) return *text;
    if (const auto* numbers = std::get_if<std::vector<double>>(&value)) return fmt::format("{}", fmt::join(*numbers, ","));
    if (const auto* pairs = std::get_if<Pairs>(&value)) {
        std::vector<std::string> pieces;
        for (const auto& [first, second] : *pairs) pieces.push_back(fmt::format("{}:{}", first, second));
        return fmt::format("{}", fmt::join(pieces, ","));
    }
    return flowText(parameter, value);
}

std::string flowText(const Parameter& parameter, const Value& value) {
    if (parameter.kind == Kind::choice) return quoted(choiceName(parameter, value));
    struct Writer {
        std::string operator()(bool flag) const { return flag ? "true" : "false"; }
        std::string operator()(std::int64_t number) const { return std::to_string(number); }
        std::string operator()(double number) const { return fmt::format("{}", number); }
        std::string operator()(const std::string& text) const { return quoted(text); }
        std::string operator()(const std::vector<double>& numbers) const {
            return fmt::format("[{}]", fmt::join(numbers, ", "));
        }
        std::string operator()(const Pairs& pairs) const {
            std::vector<std::string> pieces;
            for (const auto& [first, second] : pairs) pieces.push_back(fmt::format("[{}, {}]", first, second));
            return fmt::format("[{}]", fmt::join(pieces, ", "));
        }
    };
    return std::visit(Writer{}, value);
}

Parameters::Parameters(std::string step, const std::vector<Parameter>& declared)
    : _step(std::move(step)), _declared(&declared) {
    for (const Parameter& parameter : declared)
        if (parameter.byDefault) _values[parameter.name] = *parameter.byDefault;
}

void Parameters::set(const std::string& name, Value value) { _values[name] = std::move(value); }

const Value& Parameters::value(const std::string& name) const {
    const auto found = _values.find(name);
    if (found != _values.end()) return found->second;
    for (const Parameter& parameter : *_declared)
        if (parameter.name == name) failUsage("{}: {} is missing: {}", _step, parameter.key(), parameter.help);
    throw std::logic_error("undeclared parameter " + name);
}

}
