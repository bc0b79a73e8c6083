#ifndef PELTA_BENCH_PEAKRATE_H
#define PELTA_BENCH_PEAKRATE_H

#include <benchmark/benchmark.h>

#include <vector>

#include "../lib/vectorize.h"

namespace {

constexpr int chainCount = 192;  // enough for every width of register

/* Products and sums in registers, many chains side by side, nothing loaded. Every chain runs towards 1. */
PELTA_VECTORIZE void multiplyAndAdd(float* values, long steps) {
    float sums[chainCount];
    for (int k = 0; k < chainCount; ++k) sums[k] = values[k];
    for (long step = 0; step < steps; ++step)
        for (int k = 0; k < chainCount; ++k) sums[k] = sums[k] * 0.5f + 0.5f;
    for (int k = 0; k < chainCount; ++k) values[k] = sums[k];
}

/* The least time that so many products, each added to a sum with a rounding of its own, take. */
void multiplyAndAddAtPeak(benchmark::State& state, long count) {
    std::vector<float> values(chainCount, 0.25f);
    for (auto _ : state) {
        multiplyAndAdd(values.data(), count / chainCount);
        benchmark::ClobberMemory();
    }
    if (values[0] != 1.0f) state.SkipWithError("the sums are wrong");
    state.SetItemsProcessed(state.iterations() * count);
}

}

#endif
