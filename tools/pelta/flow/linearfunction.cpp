#include "flow/linearfunction.h"

#include <algorithm>

#include "support/failure.h"
#include "support/numberlist.h"
#include "support/textlines.h"

namespace pelta {
namespace {

/* "a time in ms", "an offset in m". */
std::string withArticle(const std::string& name, const std::string& unit) {
    const bool startsWithVowel = std::string_view("aeiou").find(name.front()) != std::string_view::npos;
    return fmt::format("{} {}{}{}", startsWithVowel ? "an" : "a", name, unit.empty() ? "" : " in ", unit);
}

}

LinearFunction::LinearFunction(Pairs pairs, const PairNames& names, const std::string& what) : _pairs(std::move(pairs)) {
    if (_pairs.empty()) failUsage("{}: no pairs of {} and {}", what, names.key, names.value);
    for (std::size_t k = 1; k < _pairs.size(); ++k)
        if (!(_pairs[k - 1].first < _pairs[k].first))
            failUsage("{0}: {1}s must ascend, but {2:g} {4} follows {3:g} {4}", what, names.key, _pairs[k].first,
                      _pairs[k - 1].first, names.keyUnit);
}

double LinearFunction::at(double key) const {
    const auto above =
        std::upper_bound(_pairs.begin(), _pairs.end(), key, [](double given, const auto& pair) { return given < pair.first; });
    if (above == _pairs.begin()) return _pairs.front().second;
    if (above == _pairs.end()) return _pairs.back().second;
    const auto& [lowKey, lowValue] = *(above - 1);
    const auto& [highKey, highValue] = *above;
    return lowValue + (highValue - lowValue) * (key - lowKey) / (highKey - lowKey);
}

double LinearFunction::smallestValue() const {
    return std::min_element(_pairs.begin(), _pairs.end(), [](const auto& a, const auto& b) { return a.second < b.second; })
        ->second;
}

bool LinearFunction::isConstant() const {
    return std::all_of(_pairs.begin(), _pairs.end(), [&](const auto& pair) { return pair.second == _pairs.front().second; });
}

Pairs readPairs(const std::string& fileName, const PairNames& names) {
    TextLines lines(fileName);
    Pairs pairs;
    for (bool isFirst = true; lines.next(); isFirst = false) {
        const auto numbers = realNumbersIn(lines.line());
        if (!numbers && isFirst) continue;
        if (!numbers || numbers->size() != 2)
            failUsage("{}: expected {} and {}, found '{}'", lines.place(), withArticle(names.key, names.keyUnit),
                      withArticle(names.value, names.valueUnit), lines.shown());
        pairs.emplace_back((*numbers)[0], (*numbers)[1]);
    }
    return pairs;
}

}
