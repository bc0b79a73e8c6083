#ifndef PELTA_TOOL_HELPFORMAT_H
#define PELTA_TOOL_HELPFORMAT_H

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace pelta {

/* How --help looks: an option's value, and then its sentence, choices, range and default, in lines of readable length. */
class HelpFormat : public CLI::Formatter {
  public:
    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
    std::string make_option_name(const CLI::Option* option, bool isPositional) const override;
    std::string make_option_opts(const CLI::Option* option) const override;
    std::string make_option_desc(const CLI::Option* option) const override;
    std::string make_footer(const CLI::App* app) const override;
};

}

#endif
