#include "manual/completion.h"

#include <fmt/format.h>

#include <map>

#include "commands/optionfacts.h"
#include "segy/headerwords.h"

namespace pelta::manual {
namespace {

constexpr const char* opening =
    R"(# Completion of the pelta command in bash. Written by scripts/manual; change the options of the command instead.

# Offers the names in $2 that go on from $1.
_pelta_names() {
    mapfile -t COMPREPLY < <(compgen -W "$2" -- "$1")
}

# The same behind the last comma of a list.
_pelta_list() {
    local before=
    [[ $1 != *,* ]] || before=${1%,*},
    mapfile -t COMPREPLY < <(compgen -P "$before" -W "$2" -- "${1##*,}")
    compopt -o nospace
}

# The same where bytes are assigned to each name; a byte itself is for the user to know.
_pelta_assignments() {
    local before= last=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    if [[ $1 == *,* ]]; then
        before=${1%,*},
    elif [[ $last == '=' ]]; then
        [[ $previous == -* ]] || return
    elif [[ $previous == [=:] ]]; then
        [[ ${COMP_WORDS[COMP_CWORD - 2]} == -* ]] || return
    fi
    mapfile -t COMPREPLY < <(compgen -P "$before" -S = -W "$2" -- "${1##*,}")
    compopt -o nospace
}

_pelta_files() {
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$1")
}

_pelta() {
    local word=${COMP_WORDS[COMP_CWORD]} option command= options= k=$COMP_CWORD
    COMPREPLY=()
    # bash makes several words of --option=value and of name=byte:size.
    while ((k > 1)) && [[ ${COMP_WORDS[k]} == [=:] || ${COMP_WORDS[k - 1]} == [=:] ]]; do
        ((--k))
    done
    option=${COMP_WORDS[k - 1]}
    [[ $k == "$COMP_CWORD" || ${COMP_WORDS[k]} != -* ]] || option=${COMP_WORDS[k]}
    [[ $word != '=' ]] || word=
    for ((k = 1; k < COMP_CWORD; ++k)); do
        if [[ ${COMP_WORDS[k]} != -* ]]; then
            command=${COMP_WORDS[k]}
            break
        fi
    done
)";

constexpr const char* closing = R"(    esac
    if [[ $word == -* ]]; then
        _pelta_names "$word" "$options"
    else
        _pelta_files "$word"
    fi
}
complete -F _pelta pelta
)";

/* What completes a value; empty where a user alone knows it. */
std::string completed(const OptionFacts& facts) {
    if (!facts.choices.empty()) return fmt::format("_pelta_names \"$word\" \"{}\"", fmt::join(facts.choices, " "));
    if (facts.value.starts_with("FILE")) return "_pelta_files \"$word\"";
    if (facts.value.starts_with("NAME=")) return "_pelta_assignments \"$word\" \"$words\"";
    if (facts.value == "WORD") return "_pelta_names \"$word\" \"$words\"";
    if (facts.value == "WORD,...") return "_pelta_list \"$word\" \"$words\"";
    return "";
}

std::string caseOf(const std::vector<std::string>& names, const std::string& action) {
    return fmt::format("                {}) {}return ;;\n", fmt::join(names, " | "), action.empty() ? "" : action + "; ");
}

/* One branch of the case over commands. */
std::string branchOf(const std::string& command, const std::vector<OptionFacts>& all) {
    std::vector<std::string> names;
    std::map<std::string, std::vector<std::string>> byAction;
    for (const OptionFacts& facts : all) {
        if (facts.isArgument) continue;
        names.insert(names.end(), facts.names.begin(), facts.names.end());
        if (facts.isFlag() || facts.hasOptionalValue) continue;
        std::vector<std::string>& alike = byAction[completed(facts)];
        alike.insert(alike.end(), facts.names.begin(), facts.names.end());
    }
    std::string cases;
    for (const auto& [action, alike] : byAction) cases += caseOf(alike, action);
    if (!cases.empty()) cases = "            case $option in\n" + cases + "            esac\n";
    if (!all.front().isArgument) cases += "            [[ $word == -* ]] || return\n"; /* no file belongs here */
    return fmt::format("        {})\n            options=\"{}\"\n{}            ;;\n", command, fmt::join(names, " "), cases);
}

}

std::string bashCompletion(const CLI::App& program, const std::vector<Subcommand>& subcommands) {
    std::vector<std::string> names;
    for (const Subcommand& subcommand : subcommands) names.push_back(subcommand.command->name);
    std::string general;
    for (const OptionFacts& facts : factsOf(program)) general += fmt::format(" {}", fmt::join(facts.names, " "));
    std::string text = opening;
    text += fmt::format("    local words=\"{}\"\n    case $command in\n", fmt::join(segy::HeaderMap::names(), " "));
    text += fmt::format("        \"\")\n            _pelta_names \"$word\" \"{}{}\"\n            return\n            ;;\n",
                        fmt::join(names, " "), general);
    for (const Subcommand& subcommand : subcommands) text += branchOf(subcommand.command->name, factsOf(*subcommand.app));
    return text + closing;
}

}
