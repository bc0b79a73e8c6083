#include <pelta/host.h>
#include <pelta/mute.h>

#include <algorithm>
#include <cmath>

#include "vectorize.h"

namespace {

PELTA_VECTORIZE void writePositions(float* positions, float shift, int count) {
    for (int i = 0; i < count; ++i) positions[i] = static_cast<float>(i) + shift;
}

}

void applyStatic(float* datain, float* dataout, float* work, int nsamp, float stat) {
    if (nsamp <= 0) return;
    if (!(std::abs(stat) < static_cast<float>(nsamp))) {
        std::fill_n(dataout, nsamp, 0.0f);
        return;
    }
    writePositions(work, stat, nsamp);
    ints8r(nsamp, 1.0f, 0.0f, datain, 0.0f, 0.0f, nsamp, work, dataout);
}
