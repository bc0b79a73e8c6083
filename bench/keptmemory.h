#ifndef PELTA_BENCH_KEPTMEMORY_H
#define PELTA_BENCH_KEPTMEMORY_H

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdlib>
#include <cstring>

/* From here on this process gives no memory back, and has this much of it at hand, touched. On a virtual machine the first touch of
 * a page waits for the machine beneath to hand it over, 20 times as long as clearing it takes: that would be the figure of
 * whatever needs hundreds of megabytes, for pelta and peers alike. */
inline void keepMemory(std::size_t bytes) {
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, -1);
    if (void* const memory = std::malloc(bytes)) {
        std::memset(memory, 1, bytes);
        benchmark::DoNotOptimize(memory);
        benchmark::ClobberMemory(); /* or the compiler takes what nobody reads for never written */
        std::free(memory);
    }
}

#endif
