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

/* In groups, those of a step before all others. */
std::string HelpFormat::make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const {
    std::string text = make_description(app) + make_usage(app, name) + make_positionals(app);
    for (const std::string& group : groupsOf(factsOf(*app))) {
        const auto options = app->get_options(
            [&](const CLI::Option* option) { return option->nonpositional() && option->get_group() == group; });
        if (!options.empty()) text += make_group(group, false, options);
    }
    return text + make_subcommands(app, mode) + "\n" + make_footer(app);
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
