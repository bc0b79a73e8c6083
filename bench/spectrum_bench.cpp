#include <benchmark/benchmark.h>
#include <pelta/host.h>
#include <pelta/spectrum.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "fftwtransforms.h"
#include "figures.h"
#include "peakrate.h"
#include "support/signals.h"

/* Autocorrelation, Levinson recursion, phase change and polar spectra, each beside FFTW's way to the same end (with other
 * rounding) or the arithmetic that cannot be avoided: sums whose order is fixed, the C library's functions. */

namespace {

/* One sum of count terms, each added to the last. */
void addOneByOne(benchmark::State& state, long count) {
    const std::vector<float> terms(1000, 1.0f);
    float sum = 0.0f;
    for (auto _ : state) {
        sum = 0.0f;
        for (long done = 0; done < count; done += 1000) {
            const long end = std::min<long>(1000, count - done);
            for (long k = 0; k < end; ++k) {
                sum += terms[k];
                asm("" : "+x"(sum));  // adding from vectors is slower
            }
        }
        benchmark::DoNotOptimize(sum);
    }
    if (sum != static_cast<float>(count)) state.SkipWithError("the sum is wrong");
    state.SetItemsProcessed(state.iterations() * count);
}

void autocorrelate(benchmark::State& state, int n) {
    std::vector<float> trace = randomTrace(n, 1), lags(n);
    for (auto _ : state) {
        AutoCorr(trace.data(), n, lags.data(), n);
        benchmark::ClobberMemory();
    }
    if (lags[n - 1] != trace[0] * trace[n - 1]) state.SkipWithError("the last lag is wrong");
    state.SetItemsProcessed(state.iterations() * n);
}

void autocorrelateByFftw(benchmark::State& state, int n) {
    std::vector<float> trace = randomTrace(n, 1), lags(n);
    FftwTransforms transforms(2 * n);
    const float scale = 1.0f / static_cast<float>(2 * n);
    for (auto _ : state) {
        transforms.load(trace);
        transforms.forward();
        for (int k = 0; k <= n; ++k) transforms.bin(k) = std::norm(transforms.bin(k)) * scale;
        transforms.inverse();
        std::copy_n(transforms.series, n, lags.begin());
        benchmark::ClobberMemory();
    }
    std::vector<float> expected(n);
    AutoCorr(trace.data(), n, expected.data(), n);
    for (int i = 0; i < n; ++i)
        if (!(std::fabs(lags[i] - expected[i]) < 1e-5f * expected[0])) state.SkipWithError("the lags differ");
    state.SetItemsProcessed(state.iterations() * n);
}

/* Lags 0 .. order of a random trace with a little white noise. */
std::vector<float> whitenedLags(int order) {
    std::vector<float> trace = randomTrace(2 * order, 2), lags(order + 1);
    AutoCorr(trace.data(), 2 * order, lags.data(), order + 1);
    lags[0] *= 1.001f;
    return lags;
}

void levinson(benchmark::State& state, int order, int shaping) {
    std::vector<float> lags = whitenedLags(order), wanted = randomTrace(order, 3), filter(order), predictionError(order);
    int flag = 0;
    for (auto _ : state) {
        flag = Wiener(order, lags.data(), wanted.data(), filter.data(), predictionError.data(), shaping);
        benchmark::ClobberMemory();
    }
    double firstRow = 0.0;
    for (int k = 0; k < order; ++k) firstRow += static_cast<double>(lags[k]) * filter[k];
    if (flag != 0 || (shaping && !(std::fabs(firstRow - wanted[0]) < 1e-3)))
        state.SkipWithError("the equations are not solved");
    state.SetItemsProcessed(state.iterations() * order);
}

void changeToMinimumPhase(benchmark::State& state, int n, int transformLength) {
    const std::vector<float> fresh = randomTrace(n, 4);
    std::vector<float> wavelet = fresh, amplitude(transformLength / 2 + 1), phase(transformLength / 2 + 1), quadrature(n);
    int failed = 0;
    for (auto _ : state) {
        std::copy(fresh.begin(), fresh.end(), wavelet.begin());
        failed += changePhase(wavelet.data(), n, transformLength, 0, -1.0f, 0.1f, 0.0f, amplitude.data(), phase.data(),
                              quadrature.data());
    }
    if (failed || wavelet[0] != 1.0f) state.SkipWithError("the wavelet is not minimum phase");
    state.SetItemsProcessed(state.iterations() * n);
}

/* The minimum-phase spectrum by folding the cepstrum: four transforms, and no spectra or quadrature trace as results. */
void foldCepstrumByFftw(benchmark::State& state, int n, int transformLength) {
    std::vector<float> fresh = randomTrace(n, 4), wavelet(n);
    FftwTransforms transforms(transformLength);
    const int nyquist = transformLength / 2;
    const float scale = 1.0f / static_cast<float>(transformLength);
    for (auto _ : state) {
        transforms.load(fresh);
        transforms.forward();
        for (int k = 0; k <= nyquist; ++k) transforms.bin(k) = 0.5f * std::log(std::norm(transforms.bin(k)) + 1e-3f) * scale;
        transforms.inverse();
        for (int i = 1; i < nyquist; ++i) transforms.series[i] *= 2.0f;
        std::fill(transforms.series + nyquist + 1, transforms.series + transformLength, 0.0f);
        transforms.forward();
        for (int k = 0; k <= nyquist; ++k) transforms.bin(k) = std::exp(transforms.bin(k));
        transforms.inverse();
        std::copy_n(transforms.series, n, wavelet.begin());
        benchmark::ClobberMemory();
    }
    if (!(std::fabs(wavelet[0]) > 0.0f)) state.SkipWithError("no wavelet");
    state.SetItemsProcessed(state.iterations() * n);
}

void toPolar(benchmark::State& state, int binCount) {
    std::vector<float> bins = randomTrace(2 * binCount, 5), magnitude(binCount), phase(binCount);
    for (auto _ : state) {
        rectToPolar(bins.data(), 2, magnitude.data(), 1, phase.data(), 1, binCount);
        benchmark::ClobberMemory();
    }
    if (phase[7] != std::atan2(bins[15], bins[14])) state.SkipWithError("a phase is wrong");
    state.SetItemsProcessed(state.iterations() * binCount);
}

void arcTangentsOnly(benchmark::State& state, int binCount) {
    std::vector<float> bins = randomTrace(2 * binCount, 5), phase(binCount);
    for (auto _ : state) {
        for (int k = 0; k < binCount; ++k) phase[k] = std::atan2(bins[2 * k + 1], bins[2 * k]);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * binCount);
}

void toRectangular(benchmark::State& state, int binCount) {
    std::vector<float> magnitude = randomTrace(binCount, 6), phase = randomTrace(binCount, 7, 3.1f), bins(2 * binCount);
    for (auto _ : state) {
        polarToRect(magnitude.data(), 1, phase.data(), 1, bins.data(), 2, binCount);
        benchmark::ClobberMemory();
    }
    if (bins[14] != magnitude[7] * std::cos(phase[7])) state.SkipWithError("a bin is wrong");
    state.SetItemsProcessed(state.iterations() * binCount);
}

void sinesAndCosinesOnly(benchmark::State& state, int binCount) {
    std::vector<float> phase = randomTrace(binCount, 7, 3.1f), bins(2 * binCount);
    for (auto _ : state) {
        for (int k = 0; k < binCount; ++k) {
            bins[2 * k] = std::cos(phase[k]);
            bins[2 * k + 1] = std::sin(phase[k]);
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * binCount);
}

const bool registered = [] {
    for (int n : {505, 1500, 4000}) {
        const std::string of = "|" + std::to_string(n) + " samples, all lags";
        addFigure("AutoCorr|pelta" + of, autocorrelate, n);
        addFigure("AutoCorr|FFTW, patient plan" + of, autocorrelateByFftw, n);
        addFigure("AutoCorr|limit: multiply, then add" + of, multiplyAndAddAtPeak, n * (n + 1L) / 2);
    }
    for (int order : {127, 505, 1500})
        for (int shaping : {0, 1}) {
            const std::string of = (shaping ? "|shaping filter, order " : "|spiking operator, order ") + std::to_string(order);
            addFigure("Wiener|pelta" + of, levinson, order, shaping);
            addFigure("Wiener|limit: chain of adds" + of, addOneByOne, order * (order - 1L) / 2);
        }
    const std::string minimumPhase = "|minimum phase, 505 samples, transform 1980";
    addFigure("changePhase|pelta" + minimumPhase, changeToMinimumPhase, 505, 1980);
    addFigure("changePhase|FFTW, folded cepstrum" + minimumPhase, foldCepstrumByFftw, 505, 1980);
    addFigure("changePhase|limit: chain of adds" + minimumPhase, addOneByOne, 505 * 504L / 2);
    for (int n : {1001, 300001}) {
        const std::string of = "|" + std::to_string(n) + " bins";
        addFigure("rectToPolar|pelta" + of, toPolar, n);
        addFigure("rectToPolar|limit: atan2f of the C library" + of, arcTangentsOnly, n);
        addFigure("polarToRect|pelta" + of, toRectangular, n);
        addFigure("polarToRect|limit: sinf and cosf of the C library" + of, sinesAndCosinesOnly, n);
    }
    return true;
}();

}
