#include <benchmark/benchmark.h>
#include <fftw3.h>
#include <pelta/bandpassfilter.h>

#include <algorithm>
#include <cmath>
#include <vector>

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

void inFrequency(benchmark::State& state, int n) {
    FrequencyDomainFilter filter(n);
    filterTraces(state, filter, n);
}

class FftwFilter {
  public:
    explicit FftwFilter(int n) : length_(FrequencyDomainFilter(n)._nfft) {
        const FrequencyDomainFilter filter(n);
        for (int k = 0; k <= length_ / 2; ++k) response_.push_back(filter._magfilter[2 * k] / static_cast<float>(length_));
        series = fftwf_alloc_real(length_);
        spectrum_ = fftwf_alloc_complex(length_ / 2 + 1);
        forward_ = fftwf_plan_dft_r2c_1d(length_, series, spectrum_, FFTW_PATIENT);
        inverse_ = fftwf_plan_dft_c2r_1d(length_, spectrum_, series, FFTW_PATIENT);
        std::fill_n(series, length_, 0.0f);
    }
    ~FftwFilter() {
        fftwf_destroy_plan(forward_);
        fftwf_destroy_plan(inverse_);
        fftwf_free(series);
        fftwf_free(spectrum_);
    }

    void transform() { fftwf_execute(forward_); }
    void transformBack() { fftwf_execute(inverse_); }
    void multiply() {
        float* const bins = reinterpret_cast<float*>(spectrum_);
        for (int k = 0; k <= length_ / 2; ++k) {
            bins[2 * k] *= response_[k];
            bins[2 * k + 1] *= response_[k];
        }
    }
    int length() const { return length_; }

    float* series;

  private:
    int length_;
    std::vector<float> response_;
    fftwf_complex* spectrum_;
    fftwf_plan forward_, inverse_;
};

void byFftw(benchmark::State& state, int n) {
    FftwFilter filter(n);
    const std::vector<float> fresh = randomTrace(n, 1);
    std::vector<float> trace = fresh, expected = fresh;
    for (auto _ : state) {
        std::copy(fresh.begin(), fresh.end(), filter.series);
        std::fill(filter.series + n, filter.series + filter.length(), 0.0f);
        filter.transform();
        filter.multiply();
        filter.transformBack();
        std::copy_n(filter.series, n, trace.begin());
        benchmark::ClobberMemory();
    }
    FrequencyDomainFilter(n).applyFilter(expected.data(), n);
    for (int i = 0; i < n; ++i)
        if (!(std::fabs(trace[i] - expected[i]) < 1e-5f)) state.SkipWithError("the two filters differ");
    state.SetItemsProcessed(state.iterations() * n);
}

void transformsAlone(benchmark::State& state, int n) {
    FftwFilter filter(n);
    for (auto _ : state) {
        filter.transform();
        filter.transformBack();
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

BENCHMARK_CAPTURE(inTime, , 1500)->Name("bandpass in time|pelta|505 taps, 1500 samples");
BENCHMARK_CAPTURE(inTime, , 4000)->Name("bandpass in time|pelta|505 taps, 4000 samples");
BENCHMARK_CAPTURE(inFrequency, , 1500)->Name("bandpass in frequency|pelta|1500 samples, transform 1980");
BENCHMARK_CAPTURE(byFftw, , 1500)->Name("bandpass in frequency|FFTW, patient plan|1500 samples, transform 1980");
BENCHMARK_CAPTURE(transformsAlone, , 1500)
    ->Name("bandpass in frequency|limit: the two transforms|1500 samples, transform 1980");
BENCHMARK_CAPTURE(inFrequency, , 4000)->Name("bandpass in frequency|pelta|4000 samples, transform 5280");
BENCHMARK_CAPTURE(byFftw, , 4000)->Name("bandpass in frequency|FFTW, patient plan|4000 samples, transform 5280");
BENCHMARK_CAPTURE(transformsAlone, , 4000)
    ->Name("bandpass in frequency|limit: the two transforms|4000 samples, transform 5280");

}
