#ifndef PELTA_TOOL_WORDRANGES_H
#define PELTA_TOOL_WORDRANGES_H

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "inspection/valueset.h"
#include "segy/trace.h"

namespace pelta::inspection {

/* The words of one trace header in the order of segy::Word; sample count and interval without sign, as they are meant. */
using Words = std::array<std::int64_t, segy::wordCount>;
inline std::int64_t get(const Words& words, segy::Word word) { return words[static_cast<std::size_t>(word)]; }
Words readWords(const segy::Trace& trace, const segy::Layout& layout);

struct WordRange {
    std::int64_t min = 0, max = 0;
    std::int64_t filled = 0;              /* traces on which it is not 0 */
    std::optional<std::int64_t> distinct; /* nothing above mostDistinct */
};

/* How the trace-header words are filled over a line. */
class WordRanges {
  public:
    static constexpr std::size_t mostDistinct = 65536; /* bounds the memory for counting */

    void take(const segy::Trace& trace, const Words& words);
    WordRange operator[](segy::Word word) const;
    bool isFilled(segy::Word word) const { return (*this)[word].filled > 0; }
    /* Bytes that are filled on some trace and belong to no word of the map, such as "31-34, 233". */
    std::string otherFilledBytes(const segy::HeaderMap& map) const;

  private:
    struct Counter {
        std::int64_t min = 0, max = 0, filled = 0, last = 0;
        ValueSet values{mostDistinct};
        bool isBeyondCounting = false;
    };
    std::int64_t _traces = 0;
    std::array<Counter, segy::wordCount> _counters;
    std::array<unsigned char, segy::traceHeaderBytes> _bits = {}; /* of all headers, united */
};

}

#endif
