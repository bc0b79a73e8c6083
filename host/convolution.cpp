#include <pelta/host.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "scratch.h"
#include "vectorize.h"

namespace {

/* z[k] = sum over j of taps[j] series[k + shift - lags[j]]. Lags ascend; null stands for 0, 1, 2, ... */
struct Convolution {
    const float* taps;
    const int* lags;
    std::int64_t tapCount;
    const float* series;
    std::int64_t seriesLength;
    std::int64_t shift;
    float* window; /* room for a block's part of the series */
};

template <int bytes>
struct Vector {
    typedef float type __attribute__((vector_size(bytes), aligned(4), may_alias));
};

struct TapRange {
    std::int64_t first, end;
};

/* The taps whose lags lie in low .. high - 1. */
template <bool hasLags>
HOST_INLINE TapRange tapsWithin(const Convolution& c, std::int64_t low, std::int64_t high) {
    if (!hasLags) return {std::max<std::int64_t>(0, low), std::min(c.tapCount, high)};
    TapRange range{0, c.tapCount};
    while (range.first < range.end && c.lags[range.first] < low) ++range.first;
    while (range.first < range.end && c.lags[range.end - 1] >= high) --range.end;
    return range;
}

/* A part of the series that goes beyond its ends, with zeros there. */
const float* paddedPart(const Convolution& c, std::int64_t first, std::int64_t count) {
    const std::int64_t begin = std::max<std::int64_t>(first, 0), end = std::min(first + count, c.seriesLength);
    std::fill_n(c.window, count, 0.0f);
    if (begin < end) std::copy(c.series + begin, c.series + end, c.window + (begin - first));
    return c.window;
}

HOST_INLINE const float* partOfSeries(const Convolution& c, std::int64_t first, std::int64_t count) {
    const bool isInside = first >= 0 && first + count <= c.seriesLength;
    return isInside ? c.series + first : paddedPart(c, first, count);
}

/* A block of outputs stays in vectorCount registers while the taps go by in ascending order, each broadcast over the lanes. */
template <int bytes, int vectorCount, bool hasLags>
HOST_INLINE void convolveBlocks(const Convolution& c, std::int64_t outputCount, float* z) {
    using Lanes = typename Vector<bytes>::type;
    constexpr int laneCount = bytes / sizeof(float), blockLength = laneCount * vectorCount;
    const auto lag = [&](std::int64_t j) -> std::int64_t { return hasLags ? c.lags[j] : j; };
    for (std::int64_t k = 0; k < outputCount; k += blockLength) {
        const std::int64_t place = k + c.shift;
        const auto [firstTap, endTap] = tapsWithin<hasLags>(c, place - c.seriesLength + 1, place + blockLength);
        const std::int64_t shortestLag = firstTap < endTap ? lag(firstTap) : 0;
        const std::int64_t longestLag = firstTap < endTap ? lag(endTap - 1) : 0;
        const float* const part = partOfSeries(c, place - longestLag, longestLag - shortestLag + blockLength);
        Lanes sums[vectorCount];
        for (Lanes& sum : sums) sum = Lanes{};
        for (std::int64_t j = firstTap; j < endTap; ++j) {
            const float* const samples = part + (longestLag - lag(j));
            const float tap = c.taps[j];
#pragma GCC unroll 16
            for (int v = 0; v < vectorCount; ++v) sums[v] += tap * *reinterpret_cast<const Lanes*>(samples + v * laneCount);
        }
        // Whole blocks go from the registers to their place; of the last one a copy in memory gives what is wanted.
        Lanes last[vectorCount];
        const bool isWhole = k + blockLength <= outputCount;
        float* const out = isWhole ? z + k : reinterpret_cast<float*>(last);
#pragma GCC unroll 16
        for (int v = 0; v < vectorCount; ++v) *reinterpret_cast<Lanes*>(out + v * laneCount) = sums[v];
        if (!isWhole) std::memcpy(z + k, last, sizeof(float) * (outputCount - k));
    }
}

template <int bytes, int vectorCount>
HOST_INLINE void convolveWith(const Convolution& c, std::int64_t outputCount, float* z) {
    if (c.lags) convolveBlocks<bytes, vectorCount, true>(c, outputCount, z);
    else convolveBlocks<bytes, vectorCount, false>(c, outputCount, z);
}

constexpr int longestBlock = 128;
constexpr int baseVectors = sizeof(void*) == 8 ? 12 : 5;  // of 16 and of 8 registers

#if HOST_LEVELS
void convolveBase(const Convolution& c, std::int64_t outputCount, float* z) {
    convolveWith<16, baseVectors>(c, outputCount, z);
}
HOST_LEVEL_V3 void convolveV3(const Convolution& c, std::int64_t outputCount, float* z) {
    convolveWith<32, 12>(c, outputCount, z);
}
HOST_LEVEL_V4 void convolveV4(const Convolution& c, std::int64_t outputCount, float* z) {
    convolveWith<64, 8>(c, outputCount, z);
}
#endif

void convolve(const Convolution& c, std::int64_t outputCount, float* z) {
#if HOST_LEVELS
    static const auto best = __builtin_cpu_supports("x86-64-v4")   ? convolveV4
                             : __builtin_cpu_supports("x86-64-v3") ? convolveV3
                                                                   : convolveBase;
    best(c, outputCount, z);
#elif defined(__AVX512F__)
    convolveWith<64, 8>(c, outputCount, z);
#elif defined(__AVX__)
    convolveWith<32, 12>(c, outputCount, z);
#else
    convolveWith<16, baseVectors>(c, outputCount, z);
#endif
}

/* The bits of magnitudes are ordered like the magnitudes. */
HOST_VECTORIZE bool allFinite(const float* x, std::int64_t count) {
    constexpr std::uint32_t magnitude = 0x7FFFFFFF, infinity = 0x7F800000;
    std::uint32_t largest = 0;
    for (std::int64_t j = 0; j < count; ++j) {
        std::uint32_t bits;
        std::memcpy(&bits, x + j, sizeof bits);
        largest = std::max(largest, bits & magnitude);
    }
    return largest < infinity;
}

/* The taps of a short operator that are not 0; of a long one, none. */
struct SparseTaps {
    static constexpr int limit = 64;
    float taps[limit];
    int lags[limit];
    int count = 0;

    SparseTaps(const float* x, int tapCount) {
        for (int j = 0; tapCount <= limit && j < tapCount; ++j) {
            taps[count] = x[j];
            lags[count] = j;
            count += x[j] != 0.0f;
        }
    }
};

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
    Convolution convolution{x, nullptr, lx, y, ly, std::int64_t{ifz} - ifx - ify, nullptr};
    // Zeros around the other series leave every sum as it is only where no tap is infinite.
    if (allFinite(x, lx)) convolution.window = scratch.room(std::min<std::size_t>(lx, ly) + 2 * longestBlock);
    if (!convolution.window) return convolvePlainly(convolution, lz, z);
    // Every second tap of a quadrature operator is 0: among finite samples it adds nothing.
    const SparseTaps sparse(x, lx);
    if (0 < sparse.count && sparse.count < lx && allFinite(y, ly)) {
        convolution.taps = sparse.taps;
        convolution.lags = sparse.lags;
        convolution.tapCount = sparse.count;
    }
    convolve(convolution, lz, z);
}
