#ifndef PELTA_TOOL_NEAREST_H
#define PELTA_TOOL_NEAREST_H

#include <string>
#include <string_view>
#include <vector>

namespace pelta {

/* The known name with the fewest letters to change into the one given (edit distance); empty when none is near enough to be
 * what was meant. */
std::string nearestName(std::string_view given, const std::vector<std::string>& known);

/* ", did you mean 'x'?" or nothing. */
std::string didYouMean(std::string_view given, const std::vector<std::string>& known);

}

#endif
