#ifndef PELTA_TOOL_PARAMETERS_H
#define PELTA_TOOL_PARAMETERS_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace pelta {

/* The parameters of steps: declared once with name, unit, kind, default and help, then read from a flow file or from the
 * command line into the same values. */

enum class Kind { flag, integer, real, text, choice, integers, reals, pairs };

using Pairs = std::vector<std::pair<double, double>>;
/* A choice is held as its number. */
using Value = std::variant<bool, std::int64_t, double, std::string, std::vector<double>, Pairs>;

struct Choice {
    std::string name;
    int number;
};

struct Parameter {
    std::string name; /* without unit: "corners" */
    std::string unit; /* "hz": the flow file's key is corners_hz, the option --corners */
    Kind kind;
    std::string help; /* one sentence without a stop */
    std::optional<Value> byDefault = {};
    double minimum = -1e300, maximum = 1e300; /* of every number */
    std::vector<Choice> choices = {};
    bool isOutput = false; /* of a file's name: the step writes it */

    std::string key() const;            /* corners_hz */
    std::string option() const;         /* --corners */
    std::string optionWithUnit() const; /* --corners-hz */
    std::vector<std::string> choiceNames() const;
    bool holdsFileName() const { return name.ends_with("_file"); }
};

/* What steps declare alike: a name out of several, something that is on or off, the name of a file to read or to write. */
Parameter choiceParameter(std::string name, std::string help, int byDefault, std::vector<Choice> choices);
Parameter flagParameter(std::string name, std::string help, bool byDefault = false);
Parameter inputFileParameter(std::string name, std::string help);
Parameter outputFileParameter(std::string name, std::string help);

/* Reads a value from the text that an option takes. Fails (UsageError) with what was expected, without the parameter's name. */
Value valueFromText(const Parameter& parameter, std::string_view text);
/* Fails (UsageError), without the parameter's name, when a number lies outside its bounds. */
void checkBounds(const Parameter& parameter, const Value& value);
/* The value that an option of the command line gives. Fails (UsageError) with the option's name. */
Value valueFromOption(const Parameter& parameter, std::string_view text);
/* The value as an option takes it. */
std::string optionText(const Parameter& parameter, const Value& value);
/* The value as a flow file writes it. */
std::string flowText(const Parameter& parameter, const Value& value);

/* The values of one step. */
class Parameters {
  public:
    Parameters(std::string step, const std::vector<Parameter>& declared);

    void set(const std::string& name, Value value);
    bool has(const std::string& name) const { return _values.count(name) > 0; }

    bool flag(const std::string& name) const { return std::get<bool>(value(name)); }
    std::int64_t integer(const std::string& name) const { return std::get<std::int64_t>(value(name)); }
    double real(const std::string& name) const { return std::get<double>(value(name)); }
    const std::string& text(const std::string& name) const { return std::get<std::string>(value(name)); }
    int choice(const std::string& name) const { return static_cast<int>(integer(name)); }
    const std::vector<double>& reals(const std::string& name) const { return std::get<std::vector<double>>(value(name)); }
    const Pairs& pairs(const std::string& name) const { return std::get<Pairs>(value(name)); }

    /* Fails (UsageError) where there is none. */
    const Value& value(const std::string& name) const;

  private:
    std::string _step;
    const std::vector<Parameter>* _declared;
    std::map<std::string, Value> _values;
};

}

#endif
