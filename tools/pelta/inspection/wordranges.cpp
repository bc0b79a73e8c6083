#include "inspection/wordranges.h"

#include <fmt/format.h>

#include <algorithm>

namespace pelta::inspection {

using segy::Word;

Words readWords(const segy::Trace& trace, const segy::Layout& layout) {
    Words words;
    for (std::size_t k = 0; k < segy::wordCount; ++k) {
        const auto name = static_cast<Word>(k);
        const segy::HeaderWord word = layout.words[name];
        const bool isUnsigned = (name == Word::samples || name == Word::interval) && word.size > 0;
        words[k] = isUnsigned ? segy::readUnsignedWord(trace.header.data(), word, layout.byteOrder)
                              : segy::readWord(trace.header.data(), word, layout.byteOrder);
    }
    return words;
}

void WordRanges::take(const segy::Trace& trace, const Words& words) {
    const bool isFirst = _traces++ == 0;
    for (std::size_t k = 0; k < segy::wordCount; ++k) {
        const std::int64_t value = words[k];
        Counter& counter = _counters[k];
        counter.filled += value != 0;
        if (!isFirst && value == counter.last) continue; /* most words change seldom */
        counter.min = isFirst ? value : std::min(counter.min, value);
        counter.max = isFirst ? value : std::max(counter.max, value);
        counter.last = value;
        if (counter.isBeyondCounting) continue;
        const bool wasFull = counter.values.isFull();
        if (counter.values.insert(static_cast<std::uint64_t>(value)) && wasFull) counter.isBeyondCounting = true;
    }
    for (std::size_t k = 0; k < _bits.size(); ++k) _bits[k] |= trace.header[k];
}

WordRange WordRanges::operator[](Word word) const {
    const Counter& counter = _counters[static_cast<std::size_t>(word)];
    WordRange range{counter.min, counter.max, counter.filled, {}};
    if (!counter.isBeyondCounting) range.distinct = static_cast<std::int64_t>(counter.values.size());
    return range;
}

std::string WordRanges::otherFilledBytes(const segy::HeaderMap& map) const {
    std::array<unsigned char, segy::traceHeaderBytes + 1> bits = {}; /* the last one ends the last run */
    std::copy(_bits.begin(), _bits.end(), bits.begin());
    for (std::size_t k = 0; k < segy::wordCount; ++k) {
        const segy::HeaderWord word = map[static_cast<Word>(k)];
        if (word.size > 0) std::fill_n(bits.begin() + word.position - 1, word.size, static_cast<unsigned char>(0));
    }
    std::vector<std::string> runs;
    for (std::size_t k = 0, start = 0; k < bits.size(); ++k) {
        if (bits[k] != 0) continue;
        if (k == start + 1) runs.push_back(std::to_string(k));
        else if (k > start) runs.push_back(fmt::format("{}-{}", start + 1, k));
        start = k + 1;
    }
    return fmt::format("{}", fmt::join(runs, ", "));
}

}
