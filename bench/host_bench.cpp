#include <benchmark/benchmark.h>
#include <pelta/host.h>

#include <cmath>
#include <vector>

#include "../lib/vectorize.h"
#include "peakrate.h"
#include "support/signals.h"

/* Convolution and sinc reading by the stand-in host, each beside the arithmetic that cannot be avoided. */

namespace {

void peakRate(benchmark::State& state, int tapCount, int n) { multiplyAndAddAtPeak(state, static_cast<long>(tapCount) * n); }

void convolve(benchmark::State& state, int tapCount, int n) {
    std::vector<float> taps = randomTrace(tapCount, 1), trace = randomTrace(n, 2), result(n);
    for (auto _ : state) {
        conv(tapCount, -(tapCount / 2), taps.data(), n, 0, trace.data(), n, 0, result.data());
        benchmark::ClobberMemory();
    }
    float middle = 0.0f;
    for (int j = 0; j < tapCount; ++j) middle += taps[j] * trace[n / 2 + tapCount / 2 - j];
    if (result[n / 2] != middle) state.SkipWithError("the middle sample is wrong");
    state.SetItemsProcessed(state.iterations() * tapCount * n);
}

/* Times along a reflection's moveout: fractions and steps as they come in a gather. */
std::vector<float> moveoutPositions(int n) {
    std::vector<float> positions(n);
    for (int i = 0; i < n; ++i) positions[i] = std::sqrt(static_cast<float>(i) * static_cast<float>(i) + 90000.0f) - 100.0f;
    return positions;
}

void readBySinc(benchmark::State& state, int n) {
    std::vector<float> trace = randomTrace(n, 3), positions = moveoutPositions(n), values(n);
    for (auto _ : state) {
        ints8r(n, 1.0f, 0.0f, trace.data(), 0.0f, 0.0f, n, positions.data(), values.data());
        benchmark::ClobberMemory();
    }
    if (values[0] != trace[200]) state.SkipWithError("the first position is sample 200");
    state.SetItemsProcessed(state.iterations() * n);
}

typedef float EightFloats __attribute__((vector_size(32), aligned(4), may_alias));
typedef float FourFloats __attribute__((vector_size(16), aligned(4), may_alias));

/* Eight products a value and their sum, four values folded together, with the rows and the first samples known. */
PELTA_VECTORIZE void sumEightTaps(const float* rows, const int* row, const float* samples, const int* first, int n,
                                  float* out) {
    for (int k = 0; k + 4 <= n; k += 4) {
        FourFloats folded[4];
        for (int j = 0; j < 4; ++j) {
            const EightFloats products = *reinterpret_cast<const EightFloats*>(rows + 8 * row[k + j]) *
                                         *reinterpret_cast<const EightFloats*>(samples + first[k + j]);
            folded[j] = __builtin_shufflevector(products, products, 0, 1, 2, 3) +
                        __builtin_shufflevector(products, products, 4, 5, 6, 7);
        }
        const FourFloats ab = __builtin_shufflevector(folded[0], folded[1], 0, 4, 1, 5) +
                              __builtin_shufflevector(folded[0], folded[1], 2, 6, 3, 7);
        const FourFloats cd = __builtin_shufflevector(folded[2], folded[3], 0, 4, 1, 5) +
                              __builtin_shufflevector(folded[2], folded[3], 2, 6, 3, 7);
        *reinterpret_cast<FourFloats*>(out + k) =
            __builtin_shufflevector(ab, cd, 0, 1, 4, 5) + __builtin_shufflevector(ab, cd, 2, 3, 6, 7);
    }
}

void eightTaps(benchmark::State& state, int n) {
    const std::vector<float> rows = randomTrace(8 * 1024, 4), samples = randomTrace(n + 208, 5),
                             positions = moveoutPositions(n);
    std::vector<float> values(n);
    std::vector<int> row(n), first(n);
    for (int i = 0; i < n; ++i) {
        first[i] = static_cast<int>(positions[i]);
        row[i] = static_cast<int>((positions[i] - static_cast<float>(first[i])) * 1024.0f);
    }
    for (auto _ : state) {
        sumEightTaps(rows.data(), row.data(), samples.data(), first.data(), n, values.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

BENCHMARK_CAPTURE(convolve, , 505, 1500)->Name("conv|pelta|505 taps, 1500 samples");
BENCHMARK_CAPTURE(peakRate, , 505, 1500)->Name("conv|limit: multiply, then add|505 taps, 1500 samples");
BENCHMARK_CAPTURE(convolve, , 127, 4000)->Name("conv|pelta|127 taps, 4000 samples");
BENCHMARK_CAPTURE(peakRate, , 127, 4000)->Name("conv|limit: multiply, then add|127 taps, 4000 samples");
BENCHMARK_CAPTURE(convolve, , 19, 1500)->Name("conv|pelta|19 taps, 1500 samples");
BENCHMARK_CAPTURE(peakRate, , 19, 1500)->Name("conv|limit: multiply, then add|19 taps, 1500 samples");
BENCHMARK_CAPTURE(readBySinc, , 1500)->Name("ints8r|pelta|1500 samples");
BENCHMARK_CAPTURE(eightTaps, , 1500)->Name("ints8r|limit: eight taps, positions known|1500 samples");
BENCHMARK_CAPTURE(readBySinc, , 4000)->Name("ints8r|pelta|4000 samples");
BENCHMARK_CAPTURE(eightTaps, , 4000)->Name("ints8r|limit: eight taps, positions known|4000 samples");

}
