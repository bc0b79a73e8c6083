#include "commands/helpformat.h"

#include <fmt/format.h>

#include <sstream>

#include "commands/optionfacts.h"

namespace pelta {
namespace {

constexpr std::size_t lineWidth = 110;

/* Breaks a line between words. */
std::string wrapped(const std::string& line, std::size_t width) {
    std::istringstream words(line);
    std::string text;
    std::size_t column = 0;
    for (std::string word; words >> word; column += word.size()) {
        if (column > 0 && column + 1 + word.size() > width) {
            text += '\n';
            column = 0;
        } else if (column > 0) {
            text += ' ';
            ++column;
        }
        text += word;
    }
    return text;
}

}

/* One blank line between groups. */
std::string HelpFormat::make_group(std::string group, bool isPositional, std::vector<const CLI::Option*> options) const {
    const std::string text = Formatter::make_group(group, isPositional, std::move(options));
    return isPositional || group == "Options" ? text : text.substr(1);
}

std::string HelpFormat::make_option_name(const CLI::Option* option, bool) const {
    return fmt::format("{}", fmt::join(factsOf(*option).names, ", "));
}

std::string HelpFormat::make_option_opts(const CLI::Option* option) const {
    const OptionFacts facts = factsOf(*option);
    const std::string required = facts.isRequired && !facts.isArgument ? " (required)" : "";
    if (facts.isFlag() || facts.isArgument) return required;
    return (facts.hasOptionalValue ? "[=" + facts.value + "]" : " " + facts.value) + required;
}

std::string HelpFormat::make_option_desc(const CLI::Option* option) const {
    const OptionFacts facts = factsOf(*option);
    std::string text = facts.sentence;
    if (!facts.choices.empty()) text += fmt::format(": {}", fmt::join(facts.choices, ", "));
    if (!facts.range.empty()) text += "; " + facts.range;
    if (!facts.byDefault.empty()) text += fmt::format(" ({})", facts.byDefault);
    if (!facts.excluded.empty()) text += fmt::format("; not beside {}", fmt::join(facts.excluded, ", "));
    return wrapped(text, lineWidth - get_column_width());
}

std::string HelpFormat::make_footer(const CLI::App* app) const {
    std::istringstream lines(app->get_footer());
    std::string text;
    for (std::string line; std::getline(lines, line);) text += (line.starts_with(' ') ? line : wrapped(line, lineWidth)) + "\n";
    return text;
}

}
