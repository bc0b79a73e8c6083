#include <pelta/spectrum.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "vectorize.h"

namespace {

template <int bytes>
struct Lanes {
    typedef float Floats __attribute__((vector_size(bytes), aligned(4), may_alias));
    typedef int Ints __attribute__((vector_size(bytes)));
};

/* Sums of products at neighbouring lags, one lag a lane, so that each sum takes its terms in order. */
template <int bytes, int vectorCount>
struct LagBlock {
    using Floats = typename Lanes<bytes>::Floats;
    using Ints = typename Lanes<bytes>::Ints;
    static constexpr int laneCount = bytes / sizeof(float);
    static constexpr int lagCount = laneCount * vectorCount;

    Floats sums[vectorCount] = {};

    /* Adds sample times its partners at all lags. */
    PELTA_INLINE void add(float sample, const float* partners) {
#pragma GCC unroll 16
        for (int v = 0; v < vectorCount; ++v) sums[v] += sample * *reinterpret_cast<const Floats*>(partners + v * laneCount);
    }

    /* Adds sample times its partners at the first partnerCount lags; the others may be read. */
    PELTA_INLINE void addFirst(float sample, const float* partners, int partnerCount) {
        Ints lane;
        for (int k = 0; k < laneCount; ++k) lane[k] = k;
#pragma GCC unroll 16
        for (int v = 0; v < vectorCount; ++v) {
            const Floats sum = sums[v] + sample * *reinterpret_cast<const Floats*>(partners + v * laneCount);
            sums[v] = lane < partnerCount - v * laneCount ? sum : sums[v];
        }
    }
};

template <int bytes, int vectorCount>
PELTA_INLINE void correlateBlocks(const float* trace, std::ptrdiff_t sampleCount, float* lags, std::ptrdiff_t lagCount) {
    using Block = LagBlock<bytes, vectorCount>;
    for (std::ptrdiff_t lag = 0; lag < lagCount; lag += Block::lagCount) {
        Block block;
        const std::ptrdiff_t pairCount = sampleCount - lag;  // at the block's first lag
        const std::ptrdiff_t wholeCount = std::max<std::ptrdiff_t>(0, pairCount - Block::lagCount + 1);
        for (std::ptrdiff_t j = 0; j < wholeCount; ++j) block.add(trace[j], trace + lag + j);

        // The last samples have partners at the first lags only, and nothing may be read behind the trace.
        float lastPartners[2 * Block::lagCount] = {};
        std::copy(trace + lag + wholeCount, trace + sampleCount, lastPartners);
        const int restCount = static_cast<int>(pairCount - wholeCount);
        for (int j = 0; j < restCount; ++j) block.addFirst(trace[wholeCount + j], lastPartners + j, restCount - j);
        std::memcpy(lags + lag, block.sums, sizeof(float) * std::min<std::ptrdiff_t>(Block::lagCount, lagCount - lag));
    }
}

#if PELTA_LEVELS
void correlateBase(const float* trace, int sampleCount, float* lags, int lagCount) {
    correlateBlocks<16, 12>(trace, sampleCount, lags, lagCount);
}
PELTA_LEVEL_V3 void correlateV3(const float* trace, int sampleCount, float* lags, int lagCount) {
    correlateBlocks<32, 12>(trace, sampleCount, lags, lagCount);
}
PELTA_LEVEL_V4 void correlateV4(const float* trace, int sampleCount, float* lags, int lagCount) {
    correlateBlocks<64, 4>(trace, sampleCount, lags, lagCount);
}
#endif

void correlate(const float* trace, int sampleCount, float* lags, int lagCount) {
#if PELTA_LEVELS
    static const auto best = __builtin_cpu_supports("x86-64-v4")   ? correlateV4
                             : __builtin_cpu_supports("x86-64-v3") ? correlateV3
                                                                   : correlateBase;
    best(trace, sampleCount, lags, lagCount);
#elif defined(__AVX512F__)
    correlateBlocks<64, 4>(trace, sampleCount, lags, lagCount);
#elif defined(__AVX__)
    correlateBlocks<32, 12>(trace, sampleCount, lags, lagCount);
#else
    correlateBlocks<16, 12>(trace, sampleCount, lags, lagCount);
#endif
}

}

void AutoCorr(float* trace, int nt, float* autocor, int na) {
    if (na <= 0) return;
    const int lagsWithPairs = std::clamp(nt, 0, na);
    correlate(trace, nt, autocor, lagsWithPairs);
    if (lagsWithPairs < na) autocor[lagsWithPairs] = 0.0f;
}
