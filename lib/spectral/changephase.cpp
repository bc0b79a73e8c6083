#include <pelta/host.h>
#include <pelta/spectrum.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>

#include "spectral/spectra.h"
#include "vectorize.h"
#include "workarray.h"

namespace {

/* In double, unlike everything else here: phases are compared and wrapped in double. Kept on purpose: 2 pi would be 6.2831853. */
constexpr double pi = std::numbers::pi, twoPi = 6.2831854;
/* Kept on purpose: pi / 180 would be 0.0174532925. */
constexpr float radiansPerDegree = 0.01745392f;

constexpr int columnCount = 8;

/* Adds the products of the finished samples from first on, columnCount of them, to the sums of all samples behind these. */
PELTA_INLINE void addColumns(const float* __restrict series, float* __restrict sums, int first, int count) {
    float finished[columnCount];
    std::copy_n(sums + first, columnCount, finished);
    for (int i = first + columnCount; i < count; ++i) {
        float sum = sums[i];
        for (int k = 0; k < columnCount; ++k) sum += series[i - first - k] * finished[k];
        sums[i] = sum;
    }
}

/* Finds the series whose convolution with the given one is a spike. The recursive division gives one sample after another, a
 * sum of products with all samples before. All sums advance together here, by a few samples at a time, and each takes its
 * products in the order of the division; inverse holds the sums until they are complete. */
PELTA_VECTORIZE void invertSeries(const float* series, float* inverse, int count) {
    std::fill_n(inverse, count, 0.0f);
    for (int first = 0; first < count; first += columnCount) {
        const int end = std::min(count, first + columnCount);
        for (int j = first; j < end; ++j) {
            inverse[j] = j == 0 ? 1.0f / series[0] : -inverse[0] * inverse[j];
            for (int i = j + 1; i < end; ++i) inverse[i] += series[i - j] * inverse[j];
        }
        if (end < count) addColumns(series, inverse, first, count);
    }
}

/* Finds the minimum-phase wavelet of the same autocorrelation; wavelet is changed only when there is one. */
bool makeMinimumPhase(float* wavelet, int sampleCount, bool isAutocorrelation, float noisePercent) {
    const std::int64_t count = sampleCount;
    const WorkArray lags = zeros(count + 1), errorPowers = zeros(count), spikingOperator = zeros(count);
    if (!lags || !errorPowers || !spikingOperator) return false;
    if (isAutocorrelation) std::copy_n(wavelet, count, lags.get());
    else AutoCorr(wavelet, sampleCount, lags.get(), sampleCount);
    lags[count] = 0.0f;
    lags[0] += lags[0] * noisePercent / 100.0f;
    float spike = 1.0f;
    if (Wiener(sampleCount, lags.get(), &spike, errorPowers.get(), spikingOperator.get(), 0) != 0) return false;
    invertSeries(spikingOperator.get(), lags.get(), sampleCount);
    std::copy_n(lags.get(), count, wavelet);
    return true;
}

/* A causal wavelet starts at time 0. */
void loadCausal(const float* wavelet, int sampleCount, float* input, int length) {
    const int loaded = std::min(sampleCount, length);
    std::fill(std::copy_n(wavelet, loaded, input), input + length, 0.0f);
}

/* A zero-phase wavelet has time 0 at its centre; what stands before wraps to the end. The sample that an even count lacks
 * behind its last counts as 0. */
void loadCentred(const float* wavelet, int sampleCount, float* input, int length) {
    const int half = sampleCount / 2;
    std::fill_n(input, length, 0.0f);
    std::copy_n(wavelet + half, std::min(sampleCount - half, length), input);
    for (int k = 0; k < std::min(half, length); ++k) input[length - 1 - k] = wavelet[half - 1 - k];
}

/* Loads the transform with the wavelet, or with its minimum-phase form; false where there is none. */
bool loadWavelet(float* wavelet, int sampleCount, bool isAutocorrelation, float phaseCharacteristic, float noisePercent,
                 float* input, int length) {
    if (phaseCharacteristic == 0.0f) {
        loadCentred(wavelet, sampleCount, input, length);
        return true;
    }
    if (!makeMinimumPhase(wavelet, sampleCount, isAutocorrelation, noisePercent)) return false;
    loadCausal(wavelet, sampleCount, input, length);
    return true;
}

/* Kept on purpose: the last bin is never corrected. */
void unwrap(float* phase, int binCount) {
    float correction = 0.0f;
    for (int i = 1; i < binCount; ++i) {
        const float jump = phase[i] - phase[i - 1];
        phase[i - 1] += correction;
        if (jump > pi) correction = static_cast<float>(correction - twoPi);
        if (jump < -pi) correction = static_cast<float>(correction + twoPi);
    }
}

/* The largest magnitude, or 1 if all are 0. */
float peakOf(const float* values, int count) {
    const float peak = largestMagnitude(values, count);
    return peak == 0.0f ? 1.0f : peak;
}

void scaleAmplitudes(float* amplitudes, int binCount) {
    const float scale = 1.0f / peakOf(amplitudes, binCount);
    for (int i = 0; i < binCount; ++i) amplitudes[i] *= scale;
}

/* Transforms the wavelet; spectrum stays as the transform gave it, amplitudes have a peak of 1, phases are unwrapped. */
void findSpectra(float* wavelet, int length, peltaComplex* spectrum, float* amplitudes, float* phases) {
    const int nyquist = length / 2, binCount = nyquist + 1;
    pfarc(1, length, wavelet, spectrum);
    // The host delivers the Nyquist term in a bin of its own: nothing has to be moved there, or back before the inverse.
    spectrum[0].i = spectrum[nyquist].i = 0.0f;
    rectToPolar(reinterpret_cast<float*>(spectrum), 2, amplitudes, 1, phases, 1, binCount);
    unwrap(phases, binCount);
    scaleAmplitudes(amplitudes, binCount);
}

/* While a large phase stays within one power of two, every turn takes the same rounded amount off it. Skips all such turns
 * but the last few, exactly. */
float skipEqualTurns(float before, float after) {
    const int exponent = std::ilogb(after);
    if (exponent != std::ilogb(before)) return after;
    const float turn = before - after;
    const float skipped = std::floor((after - std::ldexp(1.0f, exponent)) / turn) - 2.0f;
    return skipped > 0.0f ? after - skipped * turn : after;
}

/* Takes 2 pi off a phase above pi until it is there. Ends early where the phase is so large that 2 pi is lost in its last
 * place, infinity included. */
float wrappedDown(float phase) {
    while (phase > pi) {
        const float next = static_cast<float>(phase - twoPi);
        if (next == phase) break;
        phase = next > 100.0f ? skipEqualTurns(phase, next) : next;
    }
    return phase;
}

/* Rounding is the same on both sides of 0. */
float wrapped(float phase) { return phase < 0.0f ? -wrappedDown(-phase) : wrappedDown(phase); }

void changePhases(float* phase, int binCount, float factor, float rotationDegrees) {
    const float rotation = rotationDegrees * radiansPerDegree;
    for (int i = 0; i < binCount; ++i) {
        const float changed = phase[i] * factor;
        phase[i] = wrapped(rotationDegrees != 0.0f ? changed + rotation : changed);
    }
}

/* Output sample of time zero: the first for minimum phase, the centre for zero phase, the last for maximum phase. */
std::int64_t timeOrigin(int sampleCount, float phaseCharacteristic) {
    const float origin = static_cast<float>(sampleCount - 1) * ((phaseCharacteristic + 1.0f) * 0.5f);
    constexpr float beyondEverySample = 8e9f;
    return std::isfinite(origin) ? static_cast<std::int64_t>(std::clamp(origin, -beyondEverySample, beyondEverySample)) : 0;
}

/* Lays the series out with its time 0 at sample origin and its peak scaled to 1. Negative times stand at the end of the
 * series; times beyond it on either side are 0. */
void layOut(const float* series, int stride, int length, std::int64_t origin, float* out, int sampleCount) {
    for (int i = 0; i < sampleCount; ++i) {
        std::int64_t time = i - origin;
        if (time < 0) time += length;
        out[i] = 0 <= time && time < length ? series[time * stride] : 0.0f;
    }
    const float peak = peakOf(out, sampleCount);
    for (int i = 0; i < sampleCount; ++i) out[i] /= peak;
}

}

int changePhase(float* filter, int nsamp, int nfft, int iopt, float phase_char, float noise, float phase_shift, float* mag,
                float* phase, float* quad) {
    if (nsamp <= 0 || nfft <= 0) return 0;
    const std::int64_t length = nfft;
    const WorkArray series = zeros(length), floats = zeros(2 * length + 2);
    if (!series || !floats) return 1;
    if (!loadWavelet(filter, nsamp, iopt != 0, phase_char, noise, series.get(), nfft)) return 1;
    peltaComplex* const spectrum = bins(floats.get());
    const int binCount = nfft / 2 + 1;
    findSpectra(series.get(), nfft, spectrum, mag, phase);
    changePhases(phase, binCount, -phase_char, phase_shift);

    const std::int64_t origin = timeOrigin(nsamp, phase_char);
    if (phase_char != 0.0f || phase_shift != 0.0f) {
        polarToRect(mag, 1, phase, 1, floats.get(), 2, binCount);
        pfacr(-1, nfft, spectrum, series.get());
        layOut(series.get(), 1, nfft, origin, filter, nsamp);
    }
    // Without its negative frequencies the spectrum is that of the analytic trace.
    std::fill(spectrum + binCount, spectrum + length, peltaComplex{});
    pfacc(-1, nfft, spectrum);
    layOut(floats.get() + 1, 2, nfft, origin, quad, nsamp);
    return 0;
}
