#include <pelta/host.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <utility>

#include "scratch.h"
#include "vectorize.h"

#if HOST_LEVELS
#include <immintrin.h>
#endif

namespace {

/* NaNs behind everything else: a total order, without which the standard algorithms may leave their array. */
bool before(float x, float y) { return x < y || (std::isnan(y) && !std::isnan(x)); }

/* Integers in the order of the numbers, -0 before 0. */
HOST_INLINE std::int32_t keyOfNumber(float number) {
    const auto bits = std::bit_cast<std::int32_t>(number);
    return bits ^ (bits >> 31 & INT32_MAX);
}

/* NaNs, of which none is before another, come behind every number. So the bits of a rank do not depend on how it is found. */
HOST_INLINE std::int32_t keyOf(float value) { return std::isnan(value) ? INT32_MAX : keyOfNumber(value); }

constexpr int digitBits = 8, digitCount = 32 / digitBits, digitValues = 1 << digitBits;
constexpr int shortSort = 128; /* numbers that are sorted by comparing in less time than by digits */

/* Of the number's key, which is moved to count from 0. */
HOST_INLINE std::uint32_t digitOf(float number, int digit) {
    const std::uint32_t key = static_cast<std::uint32_t>(keyOfNumber(number)) ^ 0x80000000u;
    return key >> (digit * digitBits) & (digitValues - 1);
}

/* For each digit, where the values with each of its values start when they are sorted by it. */
using DigitStarts = std::array<std::array<int, digitValues>, digitCount>;

DigitStarts startsOf(const float* values, int count) {
    DigitStarts starts = {};
    for (int i = 0; i < count; ++i)
        for (int digit = 0; digit < digitCount; ++digit) ++starts[digit][digitOf(values[i], digit)];
    for (auto& ofDigit : starts) {
        int start = 0;
        for (int& entry : ofDigit) start += std::exchange(entry, start);
    }
    return starts;
}

/* Sorts by digits, from the least significant on, there and back between the values and room for as many. */
void sortByDigits(float* values, int count, float* room) {
    DigitStarts starts = startsOf(values, count);
    for (int digit = 0; digit < digitCount; ++digit) {
        for (int i = 0; i < count; ++i) room[starts[digit][digitOf(values[i], digit)]++] = values[i];
        std::swap(values, room);
    }
}

void sortByComparing(float* first, float* end) {
    std::sort(first, end);
    const auto [zeros, zerosEnd] = std::equal_range(first, end, 0.0f);
    std::partition(zeros, zerosEnd, [](float zero) { return std::signbit(zero); });
}

/* A selection counts keys in whole cache lines: those behind the last are the largest that there are. */
constexpr int line = 16;
constexpr int shortSelection = 32; /* indices that are selected by comparing in less time than by counting */

HOST_VECTORIZE void gatherKeys(const float* values, const int* indices, int count, std::int32_t* keys) {
    for (int i = 0; i < count; ++i) keys[i] = keyOf(values[indices[i]]);
}

HOST_INLINE int countBelow(const std::int32_t* keys, int lines, std::int32_t bound) {
    int count = 0;
    for (std::size_t i = 0; i < static_cast<std::size_t>(lines) * line; ++i) count += keys[i] < bound;
    return count;
}

/* The least key that is not below a bound; there is one. Its distance from the bound is the least: that of a key below the bound
 * goes round by way of the largest integer. */
HOST_INLINE std::int32_t leastFrom(const std::int32_t* keys, int lines, std::int32_t bound) {
    const auto from = static_cast<std::uint32_t>(bound);
    std::uint32_t least = UINT32_MAX;
    for (std::size_t i = 0; i < static_cast<std::size_t>(lines) * line; ++i)
        least = std::min(least, static_cast<std::uint32_t>(keys[i]) - from);
    return static_cast<std::int32_t>(from + least);
}

/* The key of a rank, by halving the range in which it lies. Most often a bound turns up soon that has just the keys of lower
 * ranks below it; with ties there may be none, and the range shrinks to the key. */
HOST_VECTORIZE std::int32_t keyOfRank(const std::int32_t* keys, int lines, int rank) {
    std::int32_t low = leastFrom(keys, lines, INT32_MIN), high = INT32_MAX;
    while (low < high) {
        const auto range = static_cast<std::uint32_t>(high) - static_cast<std::uint32_t>(low);
        const auto middle = static_cast<std::int32_t>(static_cast<std::uint32_t>(low) + range / 2 + 1);
        const int below = countBelow(keys, lines, middle);
        if (below == rank) return leastFrom(keys, lines, middle);
        if (below < rank) low = middle;
        else high = middle - 1;
    }
    return low;
}

/* Indices taken apart by their keys: those below a key go to the front of their own array, the others to two arrays more, none
 * of which is written past what has been read. */
struct Division {
    int* keys; /* become the indices with the key itself */
    int* indices;
    int* room; /* receives the indices of larger keys */
    int below = 0, equal = 0, above = 0;
};

void divideOneByOne(Division& division, std::int32_t key, int first, int count) {
    auto [keys, indices, room, below, equal, above] = division;
    for (int i = first; i < count; ++i) {
        const int index = indices[i];
        const std::int32_t its = keys[i];
        indices[below] = keys[equal] = room[above] = index;
        below += its < key;
        equal += its == key;
        above += its > key;
    }
    division = {keys, indices, room, below, equal, above};
}

#if HOST_LEVELS
/* Writes the chosen ones of sixteen indices, and behind them what will be written over; returns how many were chosen. */
HOST_LEVEL_V4 HOST_INLINE int writeChosen(__mmask16 chosen, __m512i sixteen, int* place) {
    _mm512_storeu_si512(place, _mm512_maskz_compress_epi32(chosen, sixteen));
    return __builtin_popcount(chosen);
}

/* Returns where it ended: what is left is less than sixteen. */
HOST_LEVEL_V4 int divideSixteens(Division& division, std::int32_t key, int count) {
    auto [keys, indices, room, below, equal, above] = division;
    const __m512i keyLanes = _mm512_set1_epi32(key);
    int i = 0;
    for (; count - i >= 16; i += 16) {
        const __m512i sixteen = _mm512_loadu_si512(indices + i), their = _mm512_loadu_si512(keys + i);
        below += writeChosen(_mm512_cmplt_epi32_mask(their, keyLanes), sixteen, indices + below);
        equal += writeChosen(_mm512_cmpeq_epi32_mask(their, keyLanes), sixteen, keys + equal);
        above += writeChosen(_mm512_cmpgt_epi32_mask(their, keyLanes), sixteen, room + above);
    }
    division = {keys, indices, room, below, equal, above};
    return i;
}
#endif

/* Brings the indices of keys below a key to the front, those of larger ones to the end. The keys are lost. */
void divideIndices(std::int32_t* keys, std::int32_t key, int count, int* indices, int* room) {
    Division division = {keys, indices, room};
    int first = 0;
#if HOST_LEVELS
    static const bool bySixteens = __builtin_cpu_supports("x86-64-v4");
    if (bySixteens) first = divideSixteens(division, key, count);
#endif
    divideOneByOne(division, key, first, count);
    std::copy_n(keys, division.equal, indices + division.below);
    std::copy_n(room, division.above, indices + division.below + division.equal);
}

bool brackets(const float* ax, int nx, int index, float x) {
    return index >= 0 && index < nx - 1 && ax[index] <= x && x < ax[index + 1];
}

thread_local Scratch scratch;

}

void qksort(int n, float* a) {
    if (n < 2) return;
    float* const numbersEnd = std::partition(a, a + n, [](float value) { return !std::isnan(value); });
    const auto count = static_cast<int>(numbersEnd - a);
    float* const room = count < shortSort ? nullptr : scratch.room(static_cast<std::size_t>(count));
    if (room) sortByDigits(a, count, room);
    else sortByComparing(a, numbersEnd);
}

void qkifind(int m, int n, float* a, int* i) {
    if (m < 0 || m >= n) return;
    const int lines = n / line + (n % line != 0);
    const auto padded = static_cast<std::size_t>(lines) * line;
    float* const room = n < shortSelection ? nullptr : scratch.room(2 * padded);
    if (!room) {
        std::nth_element(i, i + m, i + n, [a](int j, int k) { return keyOf(a[j]) < keyOf(a[k]); });
        return;
    }
    auto* const keys = reinterpret_cast<std::int32_t*>(room);
    gatherKeys(a, i, n, keys);
    std::fill(keys + n, keys + padded, INT32_MAX);
    divideIndices(keys, keyOfRank(keys, lines, m), n, i, keys + padded);
}

void xindex(int nx, float* ax, float x, int* index) {
    if (brackets(ax, nx, *index, x)) return;
    const auto above = std::upper_bound(ax, ax + std::max(nx, 0), x, before);
    *index = std::max(static_cast<int>(above - ax) - 1, 0);
}
