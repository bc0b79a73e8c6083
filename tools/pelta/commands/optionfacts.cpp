#include "commands/optionfacts.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace pelta {
namespace {

std::vector<std::string> namesOf(const CLI::Option& option) {
    if (option.get_positional()) return {option.get_name(true, false)};
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
    return names;
}

/* What stands between two texts; empty where they do not. */
std::string between(const std::string& text, const std::string& opening, const std::string& closing) {
    const std::size_t begin = text.find(opening);
    if (begin == std::string::npos) return "";
    const std::size_t end = text.find(closing, begin + opening.size());
    return end == std::string::npos ? "" : text.substr(begin + opening.size(), end - begin - opening.size());
}

std::string rangeFrom(const std::string& checks) {
    if (checks.find(":POSITIVE") != std::string::npos) return "above 0";
    const std::string range = between(checks, " in [", "]");
    const std::size_t dash = range.find(" - ");
    if (dash == std::string::npos) return "";
    return rangeText(std::strtod(range.c_str(), nullptr), std::strtod(range.c_str() + dash + 3, nullptr));
}

/* The name of the value's type, which stands before the checks. */
std::string valueFrom(const std::string& checked) {
    const std::size_t choices = checked.find(":{");
    if (choices != std::string::npos) return "NAME";
    const std::size_t range = checked.find(" in ["), positive = checked.find(":POSITIVE");
    const std::string type = checked.substr(0, range == std::string::npos ? positive : checked.rfind(':', range));
    if (type == "FLOAT") return "NUMBER";
    return type == "UINT" ? "INT" : type;
}

/* "records to draw (all)" is the sentence and what holds by default. */
void splitDefault(OptionFacts& facts) {
    const std::size_t opening = facts.sentence.rfind(" (");
    if (!facts.sentence.ends_with(')') || opening == std::string::npos) return;
    facts.byDefault = facts.sentence.substr(opening + 2, facts.sentence.size() - opening - 3);
    facts.sentence.resize(opening);
}

}

std::string rangeText(double from, double to) {
    constexpr double beyondUse = 1e6;
    if (std::abs(to) < beyondUse) return fmt::format("{:g} to {:g}", from, to);
    return std::abs(from) < beyondUse ? fmt::format("at least {:g}", from) : "";
}

OptionFacts factsOf(const CLI::Option& option) {
    OptionFacts facts;
    facts.names = namesOf(option);
    facts.isArgument = option.get_positional();
    facts.isRequired = option.get_required();
    facts.sentence = option.get_description();
    facts.group = option.get_group();
    for (const CLI::Option* other : option.get_excludes()) facts.excluded.push_back(other->get_name());
    std::sort(facts.excluded.begin(), facts.excluded.end());
    facts.hasOptionalValue = option.get_items_expected_min() == 0;
    if (option.get_items_expected_max() > 0) {
        const std::string checked = option.get_type_name(), choices = between(checked, ":{", "}");
        if (!choices.empty()) facts.choices = CLI::detail::split(choices, ',');
        facts.range = rangeFrom(checked);
        facts.value = valueFrom(checked);
        if (!facts.hasOptionalValue) facts.byDefault = option.get_default_str();
    }
    if (facts.byDefault.empty()) splitDefault(facts);
    return facts;
}

std::vector<std::string> groupsOf(const std::vector<OptionFacts>& options) {
    std::vector<std::string> groups;
    for (const OptionFacts& facts : options)
        if (std::find(groups.begin(), groups.end(), facts.group) == groups.end()) groups.push_back(facts.group);
    std::stable_partition(groups.begin(), groups.end(), [](const std::string& group) { return group == "Step"; });
    return groups;
}

std::vector<OptionFacts> factsOf(const CLI::App& command) {
    std::vector<OptionFacts> all;
    for (const CLI::Option* option : command.get_options()) all.push_back(factsOf(*option));
    std::stable_partition(all.begin(), all.end(), [](const OptionFacts& facts) { return facts.isArgument; });
    return all;
}

}
