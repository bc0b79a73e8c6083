#ifndef PELTA_BENCH_FFTWTRANSFORMS_H
#define PELTA_BENCH_FFTWTRANSFORMS_H

#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <algorithm>
#include <complex>
#include <vector>

/* Real transforms of one length by FFTW, as a user would plan them for many traces. */
class FftwTransforms {
  public:
    explicit FftwTransforms(int n) : length(n), series(fftwf_alloc_real(n)), bins_(fftwf_alloc_complex(n / 2 + 1)) {
        forward_ = fftwf_plan_dft_r2c_1d(n, series, bins_, FFTW_PATIENT);
        inverse_ = fftwf_plan_dft_c2r_1d(n, bins_, series, FFTW_PATIENT);
    }
    ~FftwTransforms() {
        fftwf_destroy_plan(forward_);
        fftwf_destroy_plan(inverse_);
        fftwf_free(series);
        fftwf_free(bins_);
    }
    FftwTransforms(const FftwTransforms&) = delete;
    FftwTransforms& operator=(const FftwTransforms&) = delete;

    void load(const std::vector<float>& samples) {
        std::fill(std::copy(samples.begin(), samples.end(), series), series + length, 0.0f);
    }
    void forward() { fftwf_execute(forward_); }
    void inverse() { fftwf_execute(inverse_); }
    std::complex<float>& bin(int k) { return reinterpret_cast<std::complex<float>*>(bins_)[k]; }
    float* parts() { return reinterpret_cast<float*>(bins_); } /* real parts, imaginary ones behind them */

    const int length;
    float* const series;

  private:
    fftwf_complex* const bins_;
    fftwf_plan forward_, inverse_;
};

/* The least time that work on the spectrum of a trace takes. */
inline void transformsAlone(benchmark::State& state, int length) {
    FftwTransforms transforms(length);
    transforms.load({});
    for (auto _ : state) {
        transforms.forward();
        transforms.inverse();
        benchmark::ClobberMemory();
    }
}

#endif
