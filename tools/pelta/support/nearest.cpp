#include "support/nearest.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

namespace pelta {
namespace {

/* Letters to insert, remove, change or swap with their neighbour. */
std::size_t editDistance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> beforeLast(to.size() + 1), last(to.size() + 1), row(to.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= from.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (from[i - 1] != to[j - 1])});
            const bool isSwap = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
            if (isSwap) row[j] = std::min(row[j], beforeLast[j - 2] + 1);
        }
        std::swap(beforeLast, last);
        std::swap(last, row);
    }
    return last.back();
}

constexpr std::size_t longestName = 100; /* nothing known is longer; keeps the table small for any input */

}

std::string nearestName(std::string_view given, const std::vector<std::string>& known) {
    if (given.size() > longestName) return "";
    std::string nearest;
    std::size_t fewest = given.size() / 3 + 2; /* a third of the letters, one at least */
    for (const std::string& name : known) {
        const std::size_t distance = editDistance(given, name);
        if (distance < fewest && distance < std::max(given.size(), name.size())) {
            fewest = distance;
            nearest = name;
        }
    }
    return nearest;
}

std::string didYouMean(std::string_view given, const std::vector<std::string>& known) {
    const std::string nearest = nearestName(given, known);
    return nearest.empty() ? "" : fmt::format(", did you mean '{}'?", nearest);
}

}
