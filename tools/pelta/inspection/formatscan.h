#ifndef PELTA_TOOL_FORMATSCAN_H
#define PELTA_TOOL_FORMATSCAN_H

#include <array>
#include <vector>

#include "inspection/finding.h"
#include "segy/trace.h"

namespace pelta::inspection {

/* Whether samples look as if another format or byte order were theirs: the first traces of a file tell.
 *   byte order  amplitudes leap from sample to sample, and with their bytes swapped they run smoothly
 *   IBM         the leading hexadecimal digit of a normalised fraction is never 0, while the bits in its place are 0 in one of
 *               16 IEEE floats
 *   IEEE        the other way round */
class FormatScan {
  public:
    explicit FormatScan(const segy::Layout& layout);

    void take(const segy::Trace& trace);
    std::vector<Finding> findings() const;

  private:
    void takeByteOrder(const segy::Trace& trace);
    void takeLeadingDigits(const segy::Trace& trace);
    bool looksSwapped() const { return 2 * _smoothWhenSwapped > _judged; }

    const segy::Layout& _layout;
    segy::Layout _swapped;
    segy::Trace _other; /* the same bytes, read in the other order */
    std::int64_t _traces = 0, _judged = 0, _smoothWhenSwapped = 0;
    std::array<std::int64_t, 16> _leadingDigits = {};
};

}

#endif
