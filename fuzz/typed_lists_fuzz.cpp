#include <pelta/numeric.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

/* The input is a list of numbers as a user types it. Floats and integers must be those of strtok_r, strtof and strtol, and no
 * group may hold more values than the text has room for. */

namespace {

constexpr char delimiters[] = " \r\n\t!@#$%^&*()_+-={}|\\:'?,<>?\xEF\xBF\xBD?";

template <class Value, class Convert>
void compare(const std::string& text, void (*parse)(char*, Value**, int*), Convert convert) {
    std::string parsed = text, split = text;
    Value* values = nullptr;
    int count = -1, expected = 0;
    parse(parsed.data(), &values, &count);
    char* state = nullptr;
    for (char* token = strtok_r(split.data(), delimiters, &state); token; token = strtok_r(nullptr, delimiters, &state)) {
        const Value value = convert(token);
        const bool areNoNumbers = value != value && expected < count && values[expected] != values[expected];
        if (expected >= count || (std::memcmp(&values[expected], &value, sizeof value) != 0 && !areNoNumbers)) __builtin_trap();
        ++expected;
    }
    if (count != expected || parsed != split) __builtin_trap();
    std::free(values);
}

void readGroups(const std::string& text) {
    std::string kept = text;
    std::vector<float> values(text.size() + 1);
    std::vector<int> counts(text.size() + 1);
    float* valuesStart = values.data();
    int *countsStart = counts.data(), groupCount = -1, sum = 0;
    peltaParseFloat2(kept.data(), &valuesStart, &countsStart, &groupCount);
    if (groupCount < 0 || kept != text) __builtin_trap();
    for (int group = 0; group < groupCount; ++group) sum += counts[group];
    if (2 * sum > static_cast<int>(text.size()) + 1) __builtin_trap();
}

}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, std::find(data, data + size, 0));
    compare<float>(text, peltaParseFloat, [](const char* token) { return std::strtof(token, nullptr); });
    compare<int>(text, peltaParseInt, [](const char* token) { return static_cast<int>(std::strtol(token, nullptr, 10)); });
    readGroups(text);
    return 0;
}
