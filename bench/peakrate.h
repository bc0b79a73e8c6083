#ifndef PELTA_BENCH_PEAKRATE_H
#define PELTA_BENCH_PEAKRATE_H

#include <benchmark/benchmark.h>

#if defined(PELTA_DISPATCH) && defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define EVERY_LEVEL __attribute__((target_clones("default", "arch=x86-64-v3", "arch=x86-64-v4")))
#else
#define EVERY_LEVEL
#endif

namespace {

typedef float PeakLanes __attribute__((vector_size(64)));

/* Products and sums at the rate of the vector units, eight chains side by side, nothing loaded. The barrier keeps the compiler
 * from forming a product once. Small factors would lead through denormals. */
EVERY_LEVEL float multiplyAndAdd(long count, float factor) {
    PeakLanes a = {}, b = {}, c = {}, d = {}, e = {}, f = {}, g = {}, h = {}, x = a + factor;
    for (long k = 0; k < count; k += 8 * 16) {
        asm volatile("" : "+m"(factor));
        const PeakLanes t = PeakLanes{} + factor;
        a += t * x, b += t * (x + a), c += t * a, d += t * b, e += t * c, f += t * d, g += t * e, h += t * f;
    }
    const PeakLanes sum = a + b + c + d + e + f + g + h;
    return sum[0];
}

/* The least time that so many products, each added to a sum with a rounding of its own, take. */
void multiplyAndAddAtPeak(benchmark::State& state, long count) {
    for (auto _ : state) benchmark::DoNotOptimize(multiplyAndAdd(count, 1e-3f));
    state.SetItemsProcessed(state.iterations() * count);
}

}

#endif
