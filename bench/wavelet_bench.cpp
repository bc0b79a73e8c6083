#include <benchmark/benchmark.h>
#include <gsl/gsl_wavelet.h>
#include <pelta/wavelet.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "figures.h"
#include "support/signals.h"

/* Test signals beside their formulas; and the Haar transform beside that of the GNU Scientific Library, which works in double
 * precision and scales by the square root of two at each level; the limit is a copy there and back, as every level needs some of. */

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
    if (data != randomTrace(n, 1)) state.SkipWithError("the copy is another");
    state.SetItemsProcessed(state.iterations() * n);
}

constexpr float interval = 0.002f, peakFrequency = 30.0f;
constexpr int samplesAPeriod = 40;

/* Times write(wave), which has to put a crest of 1 at the sample given. */
template <class Write>
void timeWave(benchmark::State& state, int n, int crest, Write write) {
    std::vector<float> wave(n);
    for (auto _ : state) {
        write(wave);
        benchmark::ClobberMemory();
    }
    if (std::fabs(wave[crest] - 1.0f) > 1e-4f) state.SkipWithError("the crest is wrong");
    state.SetItemsProcessed(state.iterations() * n);
}

void rickerByPelta(benchmark::State& state, int n) {
    timeWave(state, n, n / 2, [n](std::vector<float>& wave) {
        ricker(interval * static_cast<float>(n / 2), interval, peakFrequency, n, 1.0f, wave.data());
    });
}

/* All samples, as who has no bounds for the wavelet writes them. */
void rickerByFormula(benchmark::State& state, int n) {
    timeWave(state, n, n / 2, [n](std::vector<float>& wave) {
        for (int i = 0; i < n; ++i) {
            const float b = static_cast<float>(M_PI) * peakFrequency * interval * static_cast<float>(i - n / 2);
            wave[i] = (1.0f - 2.0f * b * b) * std::exp(-b * b);
        }
    });
}

void sineByPelta(benchmark::State& state, int n) {
    timeWave(state, n, samplesAPeriod / 4,
             [n](std::vector<float>& wave) { peltaSineWave(wave.data(), n, 1.0f, samplesAPeriod, 0); });
}

void sineByFormula(benchmark::State& state, int n) {
    timeWave(state, n, samplesAPeriod / 4, [n](std::vector<float>& wave) {
        for (int i = 0; i < n; ++i) wave[i] = std::sin(static_cast<float>(2.0 * M_PI / samplesAPeriod) * static_cast<float>(i));
    });
}

const bool registered = [] {
    for (const auto& [direction, called] : {std::pair{analysis, "forward"}, {synthesis, "inverse"}})
        for (int n : {1024, 4096}) {
            const std::string of = "|" + std::string(called) + ", " + std::to_string(n) + " samples";
            addFigure("Wavelet|pelta" + of, transform, n, direction);
            addFigure("Wavelet|GSL haar, double" + of, transformByGsl, n, direction);
            addFigure("Wavelet|limit: copy there and back" + of, copyThereAndBack, n);
        }
    for (int n : {1500, 4000}) {
        const std::string of = "|" + std::to_string(n) + " samples";
        addFigure("ricker|pelta" + of, rickerByPelta, n);
        addFigure("ricker|formula at every sample" + of, rickerByFormula, n);
        addFigure("peltaSineWave|pelta" + of, sineByPelta, n);
        addFigure("peltaSineWave|formula" + of, sineByFormula, n);
    }
    return true;
}();

}
