#include "commands/complaint.h"

#include <fmt/format.h>

#include <vector>

#include "commands/command.h"
#include "support/nearest.h"

namespace pelta {
namespace {

std::vector<std::string> optionNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options())
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    return names;
}

std::vector<std::string> commandNames() {
    std::vector<std::string> names;
    for (const Command& command : commands()) names.push_back(command.name);
    return names;
}

/* The command that was called, or the program itself. */
const CLI::App& usedOf(const CLI::App& app) { return app.get_subcommands().empty() ? app : *app.get_subcommands().front(); }

}

std::string unknownText(const CLI::App& app) {
    const CLI::App& used = usedOf(app);
    std::vector<std::string> extras = used.remaining();
    if (extras.empty()) extras = app.remaining(true);
    if (extras.empty()) return "";
    const std::string name = extras.front().substr(0, extras.front().find('='));
    if (name.starts_with('-')) return fmt::format("unknown option {}{}", name, didYouMean(name, optionNames(used)));
    if (&used == &app) return fmt::format("unknown command '{}'{}", name, didYouMean(name, commandNames()));
    return fmt::format("{}: '{}' is one argument too many", used.get_name(), name);
}

namespace {

/* "Could not convert: --times = 1,x" */
std::string conversionText(const CLI::App& command, const std::string& said) {
    const std::size_t name = said.find("--"), equals = said.find(" = ");
    if (name == std::string::npos || equals == std::string::npos) return said;
    const std::string option = said.substr(name, equals - name), value = said.substr(equals + 3);
    const CLI::Option* known = command.get_option_no_throw(option);
    const bool isList = known && known->get_expected_max() > 1;
    const bool isWhole = known && (known->get_type_name().starts_with("INT") || known->get_type_name().starts_with("UINT"));
    return fmt::format("{}: '{}' is not a {}", option, value, isList ? "list of numbers" : isWhole ? "whole number" : "number");
}

/* "--clip: 1 required NUMBER missing", "--times: At least 2 required but received 1" */
std::string countText(const CLI::App& command, const std::string& said) {
    const std::size_t colon = said.find(": "), received = said.rfind(' ');
    const CLI::Option* known = colon == std::string::npos ? nullptr : command.get_option_no_throw(said.substr(0, colon));
    if (!known) return said;
    const std::string option = said.substr(0, colon);
    if (said.ends_with(" missing")) return fmt::format("{}: its value is missing", option);
    const int least = known->get_items_expected_min(), most = known->get_items_expected_max();
    const std::string expected = least == most ? std::to_string(least) : fmt::format("{} to {}", least, most);
    return fmt::format("{}: takes {} numbers, not {}", option, expected, said.substr(received + 1));
}

}

std::string complaintOf(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App& used = usedOf(app);
    std::string text = unknownText(app);
    if (text.empty() && &used == &app) text = "a command is required";
    if (text.empty()) text = error.what();
    if (error.get_name() == "ConversionError") text = conversionText(used, text);
    if (error.get_name() == "ArgumentMismatch") text = countText(used, text);
    return fmt::format("{} (see pelta{} --help)", text, &used == &app ? "" : " " + used.get_name());
}

}
