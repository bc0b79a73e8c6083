#include "sorting/fileheaders.h"

namespace pelta::sorting {
namespace {

enum Code : std::int64_t {
    other = -1,
    unknown = 0,
    asRecorded = 1,
    cdpEnsembles = 2,
    singleFold = 3,
    stacked = 4,
    commonSource = 5,
    commonOffset = 7
};

Code codeOf(const Field& field, const segy::Layout& layout) {
    const auto is = [&](segy::Word word) { return field.word == layout.words[word]; };
    if (is(segy::Word::cdp)) return cdpEnsembles;
    if (layout.revisionMajor == 0) return is(segy::Word::record) ? asRecorded : unknown;
    if (is(segy::Word::record) || is(segy::Word::source)) return commonSource;
    return is(segy::Word::offset) ? commonOffset : other;
}

}

void setSortingCode(segy::Preamble& preamble, const segy::Layout& layout, const Field& first) {
    constexpr segy::HeaderWord sorting{3229, 2};
    const std::int64_t before = readWord(preamble.data(), sorting, layout.byteOrder);
    if (before == singleFold || before == stacked) return;
    writeWord(preamble.data(), sorting, layout.byteOrder, codeOf(first, layout));
}

}
