#include <benchmark/benchmark.h>
#include <pelta/bandpassfilter.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "fftwtransforms.h"
#include "figures.h"
#include "support/signals.h"

/* Band-pass filtering of a trace in both domains. In the frequency domain the peer is what a user of FFTW would write: transform,
 * product, transform, planned patiently; the limit is the two transforms alone. */

namespace {

struct FrequencyDomainFilter : BandPassFilter {
    explicit FrequencyDomainFilter(int n) : BandPassFilter(0, 0, 0, 0.01f, 5, 10, 60, 80, n, 2.0f) {
        setTimeDomain(0);
        buildFilter(5, 10, 60, 80);
    }
};

/* Each turn filters a fresh copy of the trace: the peers do, and the amplitudes must not fade. */
void filterTraces(benchmark::State& state, BandPassFilter& filter, int n) {
    const std::vector<float> fresh = randomTrace(n, 1);
    std::vector<float> trace = fresh;
    for (auto _ : state) {
        std::copy(fresh.begin(), fresh.end(), trace.begin());
        filter.applyFilter(trace.data(), n);
        benchmark::ClobberMemory();
    }
    if (trace == fresh || !std::isfinite(trace[n / 2])) state.SkipWithError("the trace was not filtered");
    state.SetItemsProcessed(state.iterations() * n);
}

void inTime(benchmark::State& state, int n) {
    BandPassFilter filter(0, 0, 0, 0.0f, 5, 10, 60, 80, n, 2.0f);
    if (filter._lenfilter != 505) state.SkipWithError("not 505 taps");
    filterTraces(state, filter, n);
}

void inFrequency(benchmark::State& state, int n, int transformLength) {
    FrequencyDomainFilter filter(n);
    if (filter._nfft != transformLength) state.SkipWithError("not the transform announced");
    filterTraces(state, filter, n);
}

void byFftw(benchmark::State& state, int n) {
    FrequencyDomainFilter filter(n);
    FftwTransforms transforms(filter._nfft);
    std::vector<float> response;
    for (int k = 0; k <= filter._nfft / 2; ++k) response.push_back(filter._magfilter[2 * k] / static_cast<float>(filter._nfft));
    const std::vector<float> fresh = randomTrace(n, 1);
    std::vector<float> trace = fresh, expected = fresh;
    for (auto _ : state) {
        transforms.load(fresh);
        transforms.forward();
        float* const bins = transforms.parts();
        for (int k = 0; k <= transforms.length / 2; ++k) {
            bins[2 * k] *= response[k];
            bins[2 * k + 1] *= response[k];
        }
        transforms.inverse();
        std::copy_n(transforms.series, n, trace.begin());
        benchmark::ClobberMemory();
    }
    filter.applyFilter(expected.data(), n);
    for (int i = 0; i < n; ++i)
        if (!(std::fabs(trace[i] - expected[i]) < 1e-5f)) state.SkipWithError("the two filters differ");
    state.SetItemsProcessed(state.iterations() * n);
}

const bool registered = [] {
    for (const auto& [n, transformLength] : {std::pair{1500, 1980}, {4000, 5280}}) {
        const std::string samples = std::to_string(n) + " samples";
        addFigure("bandpass in time|pelta|505 taps, " + samples, inTime, n);
        const std::string of = "|" + samples + ", transform " + std::to_string(transformLength);
        addFigure("bandpass in frequency|pelta" + of, inFrequency, n, transformLength);
        addFigure("bandpass in frequency|FFTW, patient plan" + of, byFftw, n);
        addFigure("bandpass in frequency|limit: the two transforms" + of, transformsAlone, transformLength);
    }
    return true;
}();

}
