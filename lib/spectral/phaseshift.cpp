#include <pelta/host.h>
#include <pelta/phaseshift.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <numbers>

#include "spectral/spectra.h"
#include "truncation.h"
#include "vectorize.h"
#include "workarray.h"

namespace {

/* Room for the transform's spectrum and for the trace, however short. */
float* workArray(int sampleCount, int transformLength) {
    const int usual = truncated(static_cast<float>(transformLength) * 1.2f);
    const std::int64_t spectrum = std::int64_t{transformLength} + 2;
    return allocateWorkArray<float>(std::max<std::int64_t>({usual, spectrum, sampleCount}));
}

/* Bins times cos a - i sin a. The difference in the imaginary part is written as a sum: side by side with the other one gcc 12
 * would fuse it with its products. */
PELTA_VECTORIZE_256 void rotate(const float* bins, float cosine, float sine, float* rotated, int binCount) {
    const float minusSine = -sine;
    for (int k = 0; k < binCount; ++k) {
        const float re = bins[2 * k], im = bins[2 * k + 1];
        rotated[2 * k] = cosine * re + sine * im;
        rotated[2 * k + 1] = cosine * im + minusSine * re;
    }
}

}

PeltaPhaseShift::PeltaPhaseShift(int nsamples, float angle)
    : _nsamples(nsamples), _nfft(npfar(truncated(static_cast<float>(nsamples) * 1.3f))) {
    setAngle(angle);
    _tempTrc1 = workArray(_nsamples, _nfft);
    _tempTrc2 = workArray(_nsamples, _nfft);
}

PeltaPhaseShift::~PeltaPhaseShift() {
    std::free(_tempTrc1);
    std::free(_tempTrc2);
}

void PeltaPhaseShift::setAngle(float angle) { _angle = angle; }

void PeltaPhaseShift::applyPhaseShift(float* trace, int numsmp) {
    const int count = std::min({_nsamples, numsmp, _nfft});
    if (count <= 0 || !_tempTrc1 || !_tempTrc2) return;
    const auto angle = static_cast<float>(_angle * std::numbers::pi / 180.0);
    std::copy_n(trace, count, _tempTrc1);
    std::fill(_tempTrc1 + count, _tempTrc1 + _nfft, 0.0f);
    pfarc(1, _nfft, _tempTrc1, bins(_tempTrc2));
    rotate(_tempTrc2, std::cos(angle), std::sin(angle), _tempTrc1, _nfft / 2 + 1);
    pfacr(-1, _nfft, bins(_tempTrc1), _tempTrc2);
    divide(_tempTrc2, static_cast<float>(_nfft), trace, count);
}
