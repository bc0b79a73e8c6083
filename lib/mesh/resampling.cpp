#include "mesh/resampling.h"

#include <algorithm>
#include <limits>

#include "truncation.h"
#include "vectorize.h"

namespace {

/* One piece of a function on the output grid. */
PELTA_INLINE void followLine(const float* abscissae, float fromX, float slope, float fromY, float* y, int count) {
    for (int i = 0; i < count; ++i) y[i] = (abscissae[i] - fromX) * slope + fromY;
}

/* The number of output samples up to a knot, with the first of them, one-based. */
PELTA_INLINE int lastSlotBefore(float knot, float abscissa, float spacing, int slot) {
    return std::max(truncated((knot - abscissa) / spacing + static_cast<float>(slot)), slot - 1);
}

/* At the abscissae of the grid; the slots lag behind them by those before the first knot (see trimodel.h). */
PELTA_VECTORIZE void resampleAt(const float* abscissae, const float* xin, const float* yin, int n, float xs, float xi, int ny,
                                float* y) {
    int skipped = 0;
    if (xin[0] >= xs) {
        skipped = std::max(truncated((xin[0] - xs) / xi + 1.0f), 0);
        if (skipped >= ny) {
            std::fill_n(y, ny, yin[0]);
            return;
        }
    }
    int slot = 1;
    for (int i = 1; i < n && slot <= ny; ++i) {
        const float abscissa = abscissae[skipped + slot - 1];
        if (!(xin[i] >= abscissa)) continue;
        const float slope = (yin[i] - yin[i - 1]) / (xin[i] - xin[i - 1]);
        const int last = std::min(lastSlotBefore(xin[i], abscissa, xi, slot), ny);
        followLine(abscissae + skipped + slot - 1, xin[i - 1], slope, yin[i - 1], y + slot - 1, last - slot + 1);
        slot = last + 1;
    }
    for (; slot <= ny; ++slot) y[slot - 1] = yin[n - 1];
}

/* The same where there is no memory for the abscissae: each is formed when it is wanted. */
void resampleStepwise(const float* xin, const float* yin, int n, float xs, float xi, int ny, float* y) {
    float abscissa = xs;
    if (xin[0] >= xs) {
        const int skipped = truncated((xin[0] - xs) / xi + 1.0f);
        for (int m = 0; m < skipped; ++m) {
            y[m] = yin[0];
            if (m + 1 >= ny) return;
            abscissa += xi;
        }
    }
    int slot = 1;
    for (int i = 1; i < n && slot <= ny; ++i) {
        if (!(xin[i] >= abscissa)) continue;
        const float slope = (yin[i] - yin[i - 1]) / (xin[i] - xin[i - 1]);
        const int last = std::min(lastSlotBefore(xin[i], abscissa, xi, slot), ny);
        for (; slot <= last; ++slot, abscissa += xi) y[slot - 1] = (abscissa - xin[i - 1]) * slope + yin[i - 1];
    }
    for (; slot <= ny; ++slot) y[slot - 1] = yin[n - 1];
}

}

void resample(AbscissaChain* chain, const float* xin, const float* yin, int n, float xs, float xi, int ny, float* y) {
    if (ny <= 0) return;
    if (n <= 0) return static_cast<void>(std::fill_n(y, ny, 0.0f));
    const bool hasTwice = chain && ny <= std::numeric_limits<int>::max() / 2;
    if (const float* const abscissae = hasTwice ? chain->values(xs, xi, 2 * ny) : nullptr)
        resampleAt(abscissae, xin, yin, n, xs, xi, ny, y);
    else resampleStepwise(xin, yin, n, xs, xi, ny, y);
}
