#ifndef PELTA_LIB_PICKING_LAGSUMS_H
#define PELTA_LIB_PICKING_LAGSUMS_H

#include <algorithm>

#include "picking/lanes.h"

namespace {

/* Kahan's compensated sum; Real is a float or several side by side. */
template <class Real>
struct CompensatedSum {
    Real sum = {}, carry = {};

    void add(Real term) {
        const Real corrected = term + carry, next = sum + corrected;
        carry = (sum - next) + corrected;
        sum = next;
    }
    Real value() const { return sum + carry; }
};

float lagSum(const float* x, Index terms, Index lag) {
    CompensatedSum<float> sum;
    for (Index i = 0; i < terms; ++i) sum.add(x[i + lag] * x[i]);
    return sum.value();
}

/* The lagged sums of a window. A compensated sum is four additions that wait for one another at every term: eight lags that run
 * side by side take as long as one. Lag 0 has as many terms as lag 1. */
class LagSums {
  public:
    LagSums(const float* samples, Index count) : x(samples), n(count) { fill(0); }

    float operator[](Index lag) {
        if (lag - firstLag >= lagCount) fill(lag);
        return sums[lag - firstLag];
    }

  private:
    static constexpr int groupCount = 2, lagCount = groupCount * laneCount;
    using Group = CompensatedSum<Lanes>;

    void fill(Index first) {
        firstLag = first;
        Group groups[groupCount];
        const Index shared = n - (firstLag + lagCount - 1);
        for (Index i = 0; i < shared; ++i)
            for (int g = 0; g < groupCount; ++g) groups[g].add(lanesAt(x + i + firstLag + g * laneCount) * x[i]);
        for (int g = 0; g < groupCount; ++g) finish(groups[g], std::max(shared, Index{0}), g * laneCount);
    }

    void finish(Group group, Index i, int offset) {
        const Index lag = firstLag + offset, shared = n - (lag + laneCount - 1);
        for (; i < shared; ++i) group.add(lanesAt(x + i + lag) * x[i]);
        for (int lane = 0; lane < laneCount; ++lane) {
            CompensatedSum<float> sum = {group.sum[lane], group.carry[lane]};
            for (Index k = i; k < n - std::max(lag + lane, Index{1}); ++k) sum.add(x[k + lag + lane] * x[k]);
            sums[offset + lane] = sum.value();
        }
    }

    const float* x;
    const Index n;
    Index firstLag = 0;
    float sums[lagCount];
};

}

#endif
