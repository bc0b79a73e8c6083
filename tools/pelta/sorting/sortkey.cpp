#include "sorting/sortkey.h"

#include <fmt/format.h>

#include <algorithm>

#include "support/failure.h"

namespace pelta::sorting {

std::vector<Field> findFields(const segy::HeaderMap& words, const std::vector<std::string>& names,
                              const std::vector<std::string>& descending) {
    if (names.empty() || names.size() > mostFields)
        failUsage("--by: takes one to {} header words, not {}", mostFields, names.size());
    std::vector<Field> fields;
    for (const std::string& name : names) {
        const auto word = naming("--by", [&] { return words.find(name); });
        if (!word) failUsage("--by: {} has no place in the trace header; --map {}=BYTE:SIZE gives it one", name, name);
        for (const Field& before : fields)
            if (before.word == *word) failUsage("--by: {} and {} are the same header word", before.name, name);
        fields.push_back({name, *word});
    }
    for (const std::string& name : descending) {
        const auto found = std::find_if(fields.begin(), fields.end(), [&](const Field& field) { return field.name == name; });
        if (found == fields.end()) failUsage("--descending: '{}' is none of --by {}", name, fmt::join(names, ","));
        found->isDescending = true;
    }
    return fields;
}

/* The complement turns the order of whole numbers round and, unlike the negative, has a value for each of them. */
Key KeyMaker::make(const unsigned char* header, std::int64_t place) {
    Key key;
    for (std::size_t k = 0; k < _fields.size(); ++k) {
        const std::int64_t value = segy::readWord(header, _fields[k].word, _order);
        _bits[k] |= value;
        key.values[k] = _fields[k].isDescending ? ~value : value;
    }
    key.place = place;
    return key;
}

}
