#include <pelta/host.h>
#include <pelta/peltaagc.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <numeric>

#include "gather/rankedwindow.h"
#include "truncation.h"
#include "vectorize.h"
#include "workarray.h"

namespace {

/* Tables for the ranks of a trace. They stand behind the sorted window in its block of memory, so that none is allocated a
 * trace. */
struct Tables {
    int* ranks;          /* of the samples, from 0; equal amplitudes share one */
    float* values;       /* the amplitudes of the ranks, ascending */
    int* order;          /* the samples in ascending order of amplitude */
    int* counts;         /* of the ranked window; scratch while samples are sorted */
    unsigned char* bits; /* of the ranked window */
};

std::int64_t blockLength(std::int64_t sampleCount) {
    const std::int64_t bitBytes = RankedWindow::bitBytes(std::max<std::int64_t>(sampleCount, 0));
    return 5 * sampleCount + bitBytes / static_cast<std::int64_t>(sizeof(float)) + 1;
}

Tables tablesIn(float* block, int sampleCount) {
    const auto table = [=](std::ptrdiff_t number) { return block + number * sampleCount; };
    return {reinterpret_cast<int*>(table(1)), table(2), reinterpret_cast<int*>(table(3)), reinterpret_cast<int*>(table(4)),
            reinterpret_cast<unsigned char*>(table(5))};
}

/* Bits of the digits by which amplitudes are sorted, from the least significant on. Numbers that are not negative rank as their
 * bits do; the sign is left out. */
constexpr std::array digitBits = {10, 10, 11};

constexpr int digitShift(int digit) { return std::accumulate(digitBits.begin(), digitBits.begin() + digit, 0); }

template <int digit>
PELTA_INLINE std::uint32_t digitOf(float amplitude) {
    return std::bit_cast<std::uint32_t>(amplitude) >> digitShift(digit) & ((1u << digitBits[digit]) - 1);
}

/* For each digit, where the amplitudes with each of its values start when they are sorted by it. */
struct DigitStarts {
    std::array<int, 1 << digitBits[0]> low;
    std::array<int, 1 << digitBits[1]> middle;
    std::array<int, 1 << digitBits[2]> high;
};

DigitStarts startsOf(const float* amplitudes, int sampleCount) {
    DigitStarts starts = {};
    for (int i = 0; i < sampleCount; ++i) {
        ++starts.low[digitOf<0>(amplitudes[i])];
        ++starts.middle[digitOf<1>(amplitudes[i])];
        ++starts.high[digitOf<2>(amplitudes[i])];
    }
    const auto accumulate = [](auto& counts) { std::exclusive_scan(counts.begin(), counts.end(), counts.begin(), 0); };
    accumulate(starts.low);
    accumulate(starts.middle);
    accumulate(starts.high);
    return starts;
}

/* Sorts the samples by amplitude, one digit after the other (a radix sort). */
void sortSamples(const float* amplitudes, int sampleCount, int* scratch, int* order) {
    DigitStarts starts = startsOf(amplitudes, sampleCount);
    for (int i = 0; i < sampleCount; ++i) order[starts.low[digitOf<0>(amplitudes[i])]++] = i;
    for (int k = 0; k < sampleCount; ++k) scratch[starts.middle[digitOf<1>(amplitudes[order[k]])]++] = order[k];
    for (int k = 0; k < sampleCount; ++k) order[starts.high[digitOf<2>(amplitudes[scratch[k]])]++] = scratch[k];
}

/* Ranks the samples by amplitude. Returns the number of ranks. */
int rankSamples(const float* amplitudes, int sampleCount, const Tables& tables) {
    sortSamples(amplitudes, sampleCount, tables.counts, tables.order);
    int rank = 0;
    float previous = amplitudes[tables.order[0]];
    for (int k = 0; k < sampleCount; ++k) {
        const int sample = tables.order[k];
        const float amplitude = amplitudes[sample];
        rank += std::bit_cast<std::uint32_t>(amplitude) != std::bit_cast<std::uint32_t>(previous);
        tables.ranks[sample] = rank;
        tables.values[rank] = previous = amplitude;
    }
    return rank + 1;
}

/* Medians of all the windows, each at the middle of its window; zeroCount entries of the first do not count. A window of
 * zeros has the median 0. */
PELTA_VECTORIZE void slideWindow(const Tables& tables, int rankCount, int sampleCount, int length, int zeroCount,
                                 float* medians) {
    RankedWindow window(rankCount, tables.counts, tables.bits, tables.ranks, length);
    const float* const values = tables.values;
    const int zeroRanks = values[0] == 0.0f;
    for (int first = 0;; ++first) {
        const int count = length - zeroCount, middle = zeroCount + count / 2;
        if (count > 0) {
            const float upper = values[window.follow(middle)];
            medians[first + length / 2] = count % 2 ? upper : 0.5f * (values[window.oneBefore(middle)] + upper);
        }
        if (first + length == sampleCount) return;
        const int outgoing = tables.ranks[first], incoming = tables.ranks[first + length];
        window.slide(outgoing, incoming);
        zeroCount += (incoming < zeroRanks) - (outgoing < zeroRanks);
    }
}

/* The host sorts the first window. The entries that go and come are not searched for in it by the host's xindex: they are found
 * by their ranks, with the outcome that its contract gives. */
void findMedians(const float* amplitudes, int sampleCount, int length, float* sorted, const Tables& tables, float* medians) {
    std::copy_n(amplitudes, length, sorted);
    qksort(length, sorted);
    int zeroCount = 0;
    while (zeroCount < length && sorted[zeroCount] <= 0.0f) ++zeroCount;
    const int rankCount = rankSamples(amplitudes, sampleCount, tables);
    slideWindow(tables, rankCount, sampleCount, length, zeroCount, medians);
}

/* Gains from medians, in place. */
PELTA_VECTORIZE void invertMedians(float* medians, int sampleCount) {
    for (int i = 0; i < sampleCount; ++i) medians[i] = static_cast<double>(medians[i]) > 1e-30 ? 1.0f / medians[i] : 0.0f;
}

/* Kept on purpose: the end takes its gain from three samples before it instead of from the last window. */
void fillEdges(float* gains, int sampleCount, int window) {
    const int half = window / 2, source = sampleCount - half - 3;
    std::fill_n(gains, half, gains[half]);
    std::fill(gains + sampleCount - half - 1, gains + sampleCount, gains[source >= 0 ? source : half]);
}

/* Absolute amplitudes. All NaNs become one, so that they share a rank. */
PELTA_VECTORIZE void takeAmplitudes(const float* trace, int sampleCount, float* amplitudes) {
    constexpr std::uint32_t infinity = 0x7F800000, nan = 0x7FC00000;
    for (int i = 0; i < sampleCount; ++i) {
        const std::uint32_t bits = std::bit_cast<std::uint32_t>(trace[i]) & 0x7FFFFFFF;
        amplitudes[i] = std::bit_cast<float>(bits > infinity ? nan : bits);
    }
}

PELTA_VECTORIZE void multiply(float* trace, int sampleCount, const float* gains) {
    for (int i = 0; i < sampleCount; ++i) trace[i] *= gains[i];
}

}

PeltaAGC::PeltaAGC(int nsamples, int winlen, float srate)
    : _nsamples(nsamples),
      _winsamples(0),
      _srate(srate),
      _tempTrc1(allocateWorkArray<float>(nsamples)),
      _tempTrc2(allocateWorkArray<float>(blockLength(nsamples))),
      _tempTrc3(allocateWorkArray<float>(nsamples)) {
    setWindowLength(winlen);
}

PeltaAGC::~PeltaAGC() {
    std::free(_tempTrc1);
    std::free(_tempTrc2);
    std::free(_tempTrc3);
}

void PeltaAGC::setWindowLength(int winlen) {
    _winsamples = std::min(_nsamples, truncated(static_cast<float>(winlen) / _srate));
}

void PeltaAGC::applyAGC(float* trace, int numsmp) {
    const bool hasArrays = _tempTrc1 && _tempTrc2 && _tempTrc3;
    const int sampleCount = hasArrays ? std::min(numsmp, _nsamples) : 0;
    if (sampleCount <= 0 || _winsamples <= 0) return;
    std::fill_n(_tempTrc3, sampleCount, 0.0f);
    if (_winsamples <= sampleCount) {
        takeAmplitudes(trace, sampleCount, _tempTrc1);
        findMedians(_tempTrc1, sampleCount, _winsamples, _tempTrc2, tablesIn(_tempTrc2, _nsamples), _tempTrc3);
        invertMedians(_tempTrc3, sampleCount);
        fillEdges(_tempTrc3, sampleCount, _winsamples);
    }
    multiply(trace, sampleCount, _tempTrc3);
}

float* PeltaAGC::savedGain() { return _tempTrc3; }
