#include <pelta/host.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "scratch.h"
#include "vectorize.h"

namespace {

/* z[k] = sum over j of taps[j] series[k + shift - j]; series[i] is readable and 0 for a block's length around the series. */
struct Convolution {
    const float* taps;
    std::int64_t tapCount;
    const float* series;
    std::int64_t seriesLength;
    std::int64_t shift;
};

template <int bytes>
struct Vector {
    typedef float type __attribute__((vector_size(bytes), aligned(4), may_alias));
};

/* A block of outputs stays in vectorCount registers while the taps go by in ascending order, each broadcast over the lanes. */
template <int bytes, int vectorCount>
HOST_INLINE void convolveBlocks(const Convolution& c, std::int64_t outputCount, float* z) {
    using Lanes = typename Vector<bytes>::type;
    constexpr int laneCount = bytes / sizeof(float), blockLength = laneCount * vectorCount;
    for (std::int64_t k = 0; k < outputCount; k += blockLength) {
        const std::int64_t place = k + c.shift;
        const std::int64_t firstTap = std::max<std::int64_t>(0, place - c.seriesLength + 1);
        const std::int64_t endTap = std::min<std::int64_t>(c.tapCount, place + blockLength);
        Lanes sums[vectorCount] = {};
        for (std::int64_t j = firstTap; j < endTap; ++j) {
            const float* const samples = c.series + (place - j);
            const float tap = c.taps[j];
#pragma GCC unroll 16
            for (int v = 0; v < vectorCount; ++v) sums[v] += tap * *reinterpret_cast<const Lanes*>(samples + v * laneCount);
        }
        std::memcpy(z + k, sums, sizeof(float) * std::min<std::int64_t>(blockLength, outputCount - k));
    }
}

constexpr int longestBlock = 128;
constexpr int baseVectors = sizeof(void*) == 8 ? 12 : 5;  // of 16 and of 8 registers

#if HOST_LEVELS
void convolveBase(const Convolution& c, std::int64_t outputCount, float* z) {
    convolveBlocks<16, baseVectors>(c, outputCount, z);
}
HOST_LEVEL_V3 void convolveV3(const Convolution& c, std::int64_t outputCount, float* z) {
    convolveBlocks<32, 12>(c, outputCount, z);
}
HOST_LEVEL_V4 void convolveV4(const Convolution& c, std::int64_t outputCount, float* z) {
    convolveBlocks<64, 8>(c, outputCount, z);
}
#endif

void convolve(const Convolution& c, std::int64_t outputCount, float* z) {
#if HOST_LEVELS
    static const auto best = __builtin_cpu_supports("x86-64-v4")   ? convolveV4
                             : __builtin_cpu_supports("x86-64-v3") ? convolveV3
                                                                   : convolveBase;
    best(c, outputCount, z);
#elif defined(__AVX512F__)
    convolveBlocks<64, 8>(c, outputCount, z);
#elif defined(__AVX__)
    convolveBlocks<32, 12>(c, outputCount, z);
#else
    convolveBlocks<16, baseVectors>(c, outputCount, z);
#endif
}

/* Whether zeros around the other series leave every sum as it is: a zero times a finite tap adds nothing. */
HOST_VECTORIZE bool allFinite(const float* x, std::int64_t count) {
    std::uint32_t nonFinite = 0;
    for (std::int64_t j = 0; j < count; ++j) {
        std::uint32_t bits;
        std::memcpy(&bits, x + j, sizeof bits);
        nonFinite |= (bits & 0x7F800000u) == 0x7F800000u;
    }
    return nonFinite == 0;
}

/* The definition, which reads no sample outside the series. */
void convolvePlainly(const Convolution& c, std::int64_t outputCount, float* z) {
    for (std::int64_t k = 0; k < outputCount; ++k) {
        const std::int64_t place = k + c.shift;
        const std::int64_t firstTap = std::max<std::int64_t>(0, place - c.seriesLength + 1);
        const std::int64_t endTap = std::min<std::int64_t>(c.tapCount, place + 1);
        float sum = 0.0f;
        for (std::int64_t j = firstTap; j < endTap; ++j) sum += c.taps[j] * c.series[place - j];
        z[k] = sum;
    }
}

thread_local Scratch scratch;

}

void conv(int lx, int ifx, float* x, int ly, int ify, float* y, int lz, int ifz, float* z) {
    if (lz <= 0) return;
    if (lx <= 0 || ly <= 0) {
        std::fill_n(z, lz, 0.0f);
        return;
    }
    Convolution convolution{x, lx, y, ly, std::int64_t{ifz} - ifx - ify};
    float* const padded = allFinite(x, lx) ? scratch.room(static_cast<std::size_t>(ly) + 2 * longestBlock) : nullptr;
    if (!padded) return convolvePlainly(convolution, lz, z);
    std::fill_n(padded, longestBlock, 0.0f);
    std::copy_n(y, ly, padded + longestBlock);
    std::fill_n(padded + longestBlock + ly, longestBlock, 0.0f);
    convolution.series = padded + longestBlock;
    convolve(convolution, lz, z);
}
