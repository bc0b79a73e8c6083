#include <benchmark/benchmark.h>
#include <gsl/gsl_wavelet.h>
#include <pelta/wavelet.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "support/signals.h"

/* The Haar transform beside that of the GNU Scientific Library, which works in double precision and scales by the square root of
 * two at each level; the limit is a copy there and back, as every level needs some of. */

namespace {

constexpr int analysis = 1, synthesis = -1;

/* Each turn transforms a fresh copy, as the peers do. */
void transform(benchmark::State& state, int n, int direction) {
    const std::vector<float> fresh = randomTrace(n + 1, 1);
    std::vector<float> data = fresh, work(n + 1);
    for (auto _ : state) {
        std::copy(fresh.begin(), fresh.end(), data.begin());
        Wavelet(data.data(), direction == analysis ? n + 1 : n, direction, work.data());
        benchmark::ClobberMemory();
    }
    const float expected = direction == analysis ? (fresh[n - 2] - fresh[n - 1]) * 0.5f : data[n - 2] - 2.0f * fresh[n - 1];
    if (std::fabs(data[n - 1] - expected) > 1e-6f) state.SkipWithError("the last value is wrong");
    state.SetItemsProcessed(state.iterations() * n);
}

void transformByGsl(benchmark::State& state, int n, int direction) {
    const std::vector<float> samples = randomTrace(n, 1);
    const std::vector<double> fresh(samples.begin(), samples.end());
    std::vector<double> data = fresh;
    gsl_wavelet* const haar = gsl_wavelet_alloc(gsl_wavelet_haar, 2);
    gsl_wavelet_workspace* const work = gsl_wavelet_workspace_alloc(n);
    const auto run = direction == analysis ? gsl_wavelet_transform_forward : gsl_wavelet_transform_inverse;
    for (auto _ : state) {
        std::copy(fresh.begin(), fresh.end(), data.begin());
        run(haar, data.data(), 1, n, work);
        benchmark::ClobberMemory();
    }
    gsl_wavelet_workspace_free(work);
    gsl_wavelet_free(haar);
    const double expected =
        direction == analysis ? (fresh[n - 2] - fresh[n - 1]) * M_SQRT1_2 : data[n - 2] - M_SQRT2 * fresh[n - 1];
    if (std::fabs(data[n - 1] - expected) > 1e-6) state.SkipWithError("the last value is wrong");
    state.SetItemsProcessed(state.iterations() * n);
}

void copyThereAndBack(benchmark::State& state, int n) {
    std::vector<float> data = randomTrace(n, 1), work(n);
    for (auto _ : state) {
        std::copy(data.begin(), data.end(), work.begin());
        benchmark::ClobberMemory();
        std::copy(work.begin(), work.end(), data.begin());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

template <class Measure, class... Arguments>
void add(const std::string& name, Measure measure, Arguments... arguments) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) { measure(state, arguments...); });
}

const bool registered = [] {
    for (const auto& [direction, called] : {std::pair{analysis, "forward"}, {synthesis, "inverse"}})
        for (int n : {1024, 4096}) {
            const std::string of = "|" + std::string(called) + ", " + std::to_string(n) + " samples";
            add("Wavelet|pelta" + of, transform, n, direction);
            add("Wavelet|GSL haar, double" + of, transformByGsl, n, direction);
            add("Wavelet|limit: copy there and back" + of, copyThereAndBack, n);
        }
    return true;
}();

}
