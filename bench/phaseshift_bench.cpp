#include <benchmark/benchmark.h>
#include <fftw3.h>
#include <pelta/phaseshift.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "fftwtransforms.h"
#include "figures.h"
#include "peakrate.h"
#include "support/signals.h"

/* Phase rotation and quadrature traces. The peers are what a user of FFTW would write, planned patiently: transform, product,
 * transform; and the analytic trace, whose quadrature has other bits than that of the 19-point operator. */

namespace {

constexpr float angle = 30.0f;

/* Each turn rotates a fresh copy of the trace, as the peers do. */
void rotate(benchmark::State& state, int n, int transformLength) {
    const std::vector<float> fresh = randomTrace(n, 1);
    std::vector<float> trace = fresh;
    PeltaPhaseShift shift(n, angle);
    for (auto _ : state) {
        std::copy(fresh.begin(), fresh.end(), trace.begin());
        shift.applyPhaseShift(trace.data(), n);
        benchmark::ClobberMemory();
    }
    if (shift._nfft != transformLength || trace == fresh) state.SkipWithError("the trace was not rotated as announced");
    state.SetItemsProcessed(state.iterations() * n);
}

void rotateByFftw(benchmark::State& state, int n, int transformLength) {
    const std::vector<float> fresh = randomTrace(n, 1);
    std::vector<float> trace = fresh, expected = fresh;
    FftwTransforms transforms(transformLength);
    const double radians = angle * M_PI / 180.0;
    const auto real = static_cast<float>(std::cos(radians) / transformLength);
    const auto imaginary = static_cast<float>(std::sin(radians) / transformLength);
    for (auto _ : state) {
        transforms.load(fresh);
        transforms.forward();
        float* const bins = transforms.parts();
        for (int k = 0; k <= transformLength / 2; ++k) {
            const float re = bins[2 * k], im = bins[2 * k + 1];
            bins[2 * k] = real * re - imaginary * im;
            bins[2 * k + 1] = real * im + imaginary * re;
        }
        transforms.inverse();
        std::copy_n(transforms.series, n, trace.begin());
        benchmark::ClobberMemory();
    }
    PeltaPhaseShift(n, angle).applyPhaseShift(expected.data(), n);
    for (int i = 0; i < n; ++i)
        if (!(std::fabs(trace[i] - expected[i]) < 1e-5f)) state.SkipWithError("the two rotations differ");
    state.SetItemsProcessed(state.iterations() * n);
}

/* A sine within the band of the operator. */
std::vector<float> sine(int n) {
    std::vector<float> trace(n);
    for (int i = 0; i < n; ++i) trace[i] = std::sin(1.2f * static_cast<float>(i));
    return trace;
}

bool isCosine(const std::vector<float>& quadrature, float sign) {
    constexpr float ripple = 0.1f;  // of a short operator, and where the transform joins the ends of the trace
    const int n = static_cast<int>(quadrature.size());
    for (int i = 100; i < n - 100; ++i)
        if (!(std::fabs(sign * quadrature[i] - std::cos(1.2f * static_cast<float>(i))) < ripple)) return false;
    return true;
}

void quadrature(benchmark::State& state, int n) {
    std::vector<float> trace = sine(n), quadrature(n);
    for (auto _ : state) {
        applyHilbert(trace.data(), quadrature.data(), n);
        benchmark::ClobberMemory();
    }
    if (!isCosine(quadrature, 1.0f)) state.SkipWithError("the quadrature trace is wrong");
    state.SetItemsProcessed(state.iterations() * n);
}

/* Without its negative frequencies the spectrum is that of the analytic trace, here of the opposite sign. */
void quadratureByFftw(benchmark::State& state, int n) {
    const std::vector<float> trace = sine(n);
    std::vector<float> quadrature(n);
    float* const series = fftwf_alloc_real(n);
    fftwf_complex* const analytic = fftwf_alloc_complex(n);
    const fftwf_plan forward = fftwf_plan_dft_r2c_1d(n, series, analytic, FFTW_PATIENT);
    const fftwf_plan inverse = fftwf_plan_dft_1d(n, analytic, analytic, FFTW_BACKWARD, FFTW_PATIENT);
    float* const bins = reinterpret_cast<float*>(analytic);
    const float scale = 2.0f / static_cast<float>(n);
    for (auto _ : state) {
        std::copy(trace.begin(), trace.end(), series);
        fftwf_execute(forward);
        bins[0] = bins[n] = 0.0f;  // of no effect on the imaginary part
        for (int k = 2; k < n; ++k) bins[k] *= scale;
        std::fill(bins + n + 2, bins + 2 * n, 0.0f);
        fftwf_execute(inverse);
        for (int i = 0; i < n; ++i) quadrature[i] = bins[2 * i + 1];
        benchmark::ClobberMemory();
    }
    if (!isCosine(quadrature, -1.0f)) state.SkipWithError("the quadrature trace is wrong");
    fftwf_destroy_plan(forward);
    fftwf_destroy_plan(inverse);
    fftwf_free(series);
    fftwf_free(analytic);
    state.SetItemsProcessed(state.iterations() * n);
}

const bool registered = [] {
    for (const auto& [n, transformLength] : {std::pair{1500, 1980}, {4000, 5280}}) {
        const std::string of = "|" + std::to_string(n) + " samples, transform " + std::to_string(transformLength);
        addFigure("PeltaPhaseShift|pelta" + of, rotate, n, transformLength);
        addFigure("PeltaPhaseShift|FFTW, patient plan" + of, rotateByFftw, n, transformLength);
        addFigure("PeltaPhaseShift|limit: the two transforms" + of, transformsAlone, transformLength);
    }
    for (int n : {1500, 4000}) {
        const std::string of = "|" + std::to_string(n) + " samples";
        addFigure("applyHilbert|pelta" + of, quadrature, n);
        addFigure("applyHilbert|FFTW analytic trace, patient plan" + of, quadratureByFftw, n);
        addFigure("applyHilbert|limit: multiply, then add" + of, multiplyAndAddAtPeak, 19L * n);
    }
    return true;
}();

}
