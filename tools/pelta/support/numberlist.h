#ifndef PELTA_TOOL_NUMBERLIST_H
#define PELTA_TOOL_NUMBERLIST_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pelta {

/* Whole numbers from 0 on as a user lists them: "3,5,7", "3 5 7" or "3, 5, 7". Nothing where the text is anything else, or a
 * number has more than nine digits. */
std::optional<std::vector<std::int64_t>> wholeNumbersIn(std::string_view text);

/* The number that the whole text is, whatever the locale; NaN and infinities are numbers here. */
std::optional<double> realNumberIn(std::string_view text);

/* The numbers of a line of a table, separated and quoted as wordsOf has it. Nothing when it holds anything else, an empty word
 * between two numbers or a number that is not finite. */
std::optional<std::vector<double>> realNumbersIn(std::string_view line);

}

#endif
