#include "flow/timefunction.h"

#include <algorithm>
#include <cctype>
#include <fstream>

#include "support/failure.h"

namespace pelta {
namespace {

/* The numbers of a line, separated by commas, semicolons or blanks; nothing when it holds anything else. */
std::optional<std::vector<double>> numbersIn(std::string line) {
    std::replace_if(
        line.begin(), line.end(), [](unsigned char c) { return c == ',' || c == ';' || std::isspace(c); }, ' ');
    std::vector<double> numbers;
    const char* text = line.c_str();
    for (;;) {
        while (*text == ' ') ++text;
        if (*text == '\0') return numbers;
        char* end = nullptr;
        numbers.push_back(std::strtod(text, &end));
        if (end == text || (*end != ' ' && *end != '\0')) return std::nullopt;
        text = end;
    }
}

}

TimeFunction::TimeFunction(Pairs pairs, const std::string& what) : _pairs(std::move(pairs)) {
    if (_pairs.empty()) failUsage("{}: no pairs of time and value", what);
    for (std::size_t k = 1; k < _pairs.size(); ++k)
        if (!(_pairs[k - 1].first < _pairs[k].first))
            failUsage("{}: times must ascend, but {:g} ms follows {:g} ms", what, _pairs[k].first, _pairs[k - 1].first);
}

double TimeFunction::at(double timeMs) const {
    const auto above =
        std::upper_bound(_pairs.begin(), _pairs.end(), timeMs, [](double time, const auto& pair) { return time < pair.first; });
    if (above == _pairs.begin()) return _pairs.front().second;
    if (above == _pairs.end()) return _pairs.back().second;
    const auto& [lowTime, lowValue] = *(above - 1);
    const auto& [highTime, highValue] = *above;
    return lowValue + (highValue - lowValue) * (timeMs - lowTime) / (highTime - lowTime);
}

double TimeFunction::smallestValue() const {
    return std::min_element(_pairs.begin(), _pairs.end(), [](const auto& a, const auto& b) { return a.second < b.second; })
        ->second;
}

TimeFunction readTimeFunction(const std::string& fileName) {
    std::ifstream file(fileName);
    if (!file) failUsage("{}: cannot read this table of times and values", fileName);
    Pairs pairs;
    std::string line;
    for (int number = 1; std::getline(file, line); ++number) {
        if (line.starts_with('#')) continue;
        const auto numbers = numbersIn(line);
        if (!numbers && pairs.empty() && number == 1) continue;
        if (!numbers || (numbers->size() != 2 && !numbers->empty()))
            failUsage("{}:{}: expected a time in ms and a value, found '{}'", fileName, number, line);
        if (!numbers->empty()) pairs.emplace_back((*numbers)[0], (*numbers)[1]);
    }
    return TimeFunction(std::move(pairs), fileName);
}

}
