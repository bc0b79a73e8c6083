#ifndef PELTA_TOOL_STACKING_GATHERSUM_H
#define PELTA_TOOL_STACKING_GATHERSUM_H

#include <cstdint>
#include <vector>

#include "flow/step.h"

namespace pelta::stacking {

/* Divides by the fold to a power: 1 makes means, 0.5 keeps random noise at one level, 0 leaves sums. */
class FoldScale {
  public:
    explicit FoldScale(double exponent) : _exponent(exponent) {}
    double divisorOf(std::int32_t fold);

  private:
    double _exponent;
    std::vector<double> _divisors; /* of the folds met so far, from 0 */
};

/* Unless all samples are 0 or the header says that the trace is dead. */
bool isLive(const WorkTrace& work);

/* One CDP's traces on their way into one: sums in double, in the order in which the traces come, and of every sample the live
 * fold, the number of traces on which it is not 0. */
class GatherSum {
  public:
    /* Bytes that a sum of so many samples holds. */
    static std::int64_t bytes(std::int64_t sampleCount);

    /* Starts over with the arrays that there are. */
    void begin(std::int64_t cdp, std::size_t sampleCount);
    void add(const WorkTrace& live);
    /* A dead trace counts nowhere, but lends its header to a CDP that has no live one. */
    void addDead(const WorkTrace& dead);

    std::int64_t cdp() const { return _cdp; }
    /* Live traces so far. */
    std::int64_t fold() const { return _fold; }

    /* Makes the stacked trace: the header of the first live trace with the fold, offset 0, the number of samples and
     * source, receiver and CDP in their mean places. Without a live trace it is a dead one. */
    void finish(FoldScale& scale, const segy::Layout& layout, segy::Trace& stacked) const;

  private:
    struct Place {
        double x = 0.0, y = 0.0;
    };

    void setHeader(const segy::Layout& layout, std::vector<unsigned char>& header) const;

    std::int64_t _cdp = 0, _fold = 0;
    std::vector<unsigned char> _header;
    std::vector<double> _sums;
    std::vector<std::int32_t> _folds;
    Place _midpoint, _cdpPlace; /* sums over the live traces */
};

}

#endif
