#include <pelta/host.h>
#include <pelta/peltaagc.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "gather/truncation.h"
#include "gather/workarray.h"
#include "vectorize.h"

namespace {

/* The outgoing value at outIndex leaves the sorted window, the incoming one enters behind inIndex. Returns the place where
 * it stands. */
int slide(float* sorted, int outIndex, int inIndex, float incoming) {
    if (outIndex <= inIndex) {
        std::copy(sorted + outIndex + 1, sorted + inIndex + 1, sorted + outIndex);
    } else if (inIndex == 0) {
        // Kept on purpose: an incoming value that is not below the first entry replaces it and leaves the second where it is.
        std::copy_backward(sorted + 1, sorted + outIndex, sorted + outIndex + 1);
        if (sorted[0] > incoming) sorted[1] = sorted[0];
    } else {
        ++inIndex;
        std::copy_backward(sorted + inIndex, sorted + outIndex, sorted + outIndex + 1);
    }
    sorted[inIndex] = incoming;
    return inIndex;
}

/* Median of a sorted window whose first zeroCount entries do not count; 0 when none does. */
float medianAbove(const float* sorted, int window, int zeroCount) {
    const int count = window - zeroCount, middle = zeroCount + count / 2;
    if (count == 0) return 0.0f;
    return count % 2 ? sorted[middle] : 0.5f * (sorted[middle - 1] + sorted[middle]);
}

/* Medians of all the windows of the absolute amplitudes, each at the middle of its window. */
void slidingMedians(float* amplitudes, int sampleCount, int window, float* sorted, float* medians) {
    std::copy_n(amplitudes, window, sorted);
    qksort(window, sorted);
    int zeroCount = 0, outIndex = 0, inIndex = 0;
    while (zeroCount < window && sorted[zeroCount] <= 0.0f) ++zeroCount;
    for (int first = 0;; ++first) {
        medians[first + window / 2] = medianAbove(sorted, window, zeroCount);
        if (first + window == sampleCount) break;
        const float outgoing = amplitudes[first], incoming = amplitudes[first + window];
        xindex(window, sorted, outgoing, &outIndex);
        xindex(window, sorted, incoming, &inIndex);
        inIndex = slide(sorted, outIndex, inIndex, incoming);
        zeroCount += (incoming == 0.0f) - (outgoing == 0.0f);
    }
}

/* Gains from medians, in place. */
PELTA_VECTORIZE void invertMedians(float* medians, int sampleCount) {
    for (int i = 0; i < sampleCount; ++i) medians[i] = static_cast<double>(medians[i]) > 1e-30 ? 1.0f / medians[i] : 0.0f;
}

/* Kept on purpose: the end takes its gain from three samples before it instead of from the last window. */
void fillEdges(float* gains, int sampleCount, int window) {
    const int half = window / 2, source = sampleCount - half - 3;
    std::fill_n(gains, half, gains[half]);
    std::fill(gains + sampleCount - half - 1, gains + sampleCount, gains[source >= 0 ? source : half]);
}

PELTA_VECTORIZE void takeAmplitudes(const float* trace, int sampleCount, float* amplitudes) {
    for (int i = 0; i < sampleCount; ++i) amplitudes[i] = std::fabs(trace[i]);
}

PELTA_VECTORIZE void multiply(float* trace, int sampleCount, const float* gains) {
    for (int i = 0; i < sampleCount; ++i) trace[i] *= gains[i];
}

}

PeltaAGC::PeltaAGC(int nsamples, int winlen, float srate)
    : _nsamples(nsamples),
      _winsamples(0),
      _srate(srate),
      _tempTrc1(allocateWorkArray<float>(nsamples)),
      _tempTrc2(allocateWorkArray<float>(nsamples)),
      _tempTrc3(allocateWorkArray<float>(nsamples)) {
    setWindowLength(winlen);
}

PeltaAGC::~PeltaAGC() {
    std::free(_tempTrc1);
    std::free(_tempTrc2);
    std::free(_tempTrc3);
}

void PeltaAGC::setWindowLength(int winlen) {
    _winsamples = std::min(_nsamples, truncated(static_cast<float>(winlen) / _srate));
}

void PeltaAGC::applyAGC(float* trace, int numsmp) {
    const bool hasArrays = _tempTrc1 && _tempTrc2 && _tempTrc3;
    const int sampleCount = hasArrays ? std::min(numsmp, _nsamples) : 0;
    if (sampleCount <= 0 || _winsamples <= 0) return;
    std::fill_n(_tempTrc3, sampleCount, 0.0f);
    if (_winsamples <= sampleCount) {
        takeAmplitudes(trace, sampleCount, _tempTrc1);
        slidingMedians(_tempTrc1, sampleCount, _winsamples, _tempTrc2, _tempTrc3);
        invertMedians(_tempTrc3, sampleCount);
        fillEdges(_tempTrc3, sampleCount, _winsamples);
    }
    multiply(trace, sampleCount, _tempTrc3);
}

float* PeltaAGC::savedGain() { return _tempTrc3; }
