#include <benchmark/benchmark.h>
#include <pelta/formats.h>
#include <segyio/segy.h>

#include <cstdint>
#include <cstring>
#include <iterator>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "../lib/vectorize.h"
#include "figures.h"

/* Conversion of samples and text in place: 16 KiB sits in the first-level cache, 1 MiB in the second, 64 MiB in none. */

namespace {

using Bytes = std::vector<unsigned char>;

/* Samples of a noisy trace as native IBM or IEEE words. */
Bytes samplesOfTrace(std::size_t size, bool ibm) {
    std::mt19937 engine(1);
    std::vector<float> samples(size / 4);
    for (float& sample : samples) sample = static_cast<float>(static_cast<double>(engine()) - 2147483648.0) / 4096.0f;
    if (ibm) ieeeToIbm(samples.data(), static_cast<int>(samples.size()));
    Bytes bytes(size);
    std::memcpy(bytes.data(), samples.data(), size);
    return bytes;
}

Bytes bigEndian(Bytes words) {
    endianSwap(words.data(), 4, static_cast<int>(words.size() / 4));
    return words;
}

Bytes textOfHeader(std::size_t size) {
    Bytes text(size);
    for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<unsigned char>(0x20 + i * 7 % 95);
    return text;
}

/* Every turn starts from fresh bytes, since converted samples converted again are no samples. In the cache the turn pays for
 * the copy, which is fast there; beyond it the clock is stopped, which is slow but short beside the pass. */
template <class Convert>
void passOver(benchmark::State& state, const Bytes& fresh, Convert convert) {
    const bool pauses = fresh.size() > 16384;
    Bytes bytes = fresh;
    for (auto _ : state) {
        if (pauses) state.PauseTiming();
        std::memcpy(bytes.data(), fresh.data(), fresh.size());
        if (pauses) state.ResumeTiming();
        convert(bytes.data(), bytes.size());
        benchmark::DoNotOptimize(bytes.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * fresh.size()));
}

float* samplesAt(unsigned char* bytes) { return reinterpret_cast<float*>(bytes); }

/* The least that any conversion in place does: load, one operation, store. */
PELTA_VECTORIZE void invertAll(unsigned char* bytes, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(~bytes[i]);
}

unsigned char translationTable[256];

__attribute__((noinline)) void tableLoop(unsigned char* bytes, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) bytes[i] = translationTable[bytes[i]];
}

bool sameAfter(const Bytes& a, const Bytes& b, void (*convertA)(unsigned char*, std::size_t),
               void (*convertB)(unsigned char*, std::size_t)) {
    Bytes left = a, right = b;
    convertA(left.data(), left.size());
    convertB(right.data(), right.size());
    return left == right;
}

void peltaFromIbm(unsigned char* bytes, std::size_t size) { ibmToIeee(samplesAt(bytes), static_cast<int>(size / 4)); }
void peltaToIbm(unsigned char* bytes, std::size_t size) { ieeeToIbm(samplesAt(bytes), static_cast<int>(size / 4)); }
void peltaSwap(unsigned char* bytes, std::size_t size) { endianSwap(bytes, 4, static_cast<int>(size / 4)); }
void peltaToAscii(unsigned char* bytes, std::size_t size) { ebcdicToAscii(bytes, static_cast<int>(size)); }
void peltaToEbcdic(unsigned char* bytes, std::size_t size) { asciiToEbcdic(bytes, static_cast<int>(size)); }

constexpr int ibmFormat = SEGY_IBM_FLOAT_4_BYTE, ieeeFormat = SEGY_IEEE_FLOAT_4_BYTE;

void segyioFromIbm(unsigned char* bytes, std::size_t size) {
    segy_to_native(ibmFormat, static_cast<long long>(size / 4), samplesAt(bytes));
}
void segyioToIbm(unsigned char* bytes, std::size_t size) {
    segy_from_native(ibmFormat, static_cast<long long>(size / 4), samplesAt(bytes));
}
void segyioSwap(unsigned char* bytes, std::size_t size) {
    segy_to_native(ieeeFormat, static_cast<long long>(size / 4), samplesAt(bytes));
}

struct Size {
    const char* name;
    std::size_t bytes;
};
constexpr Size sizes[] = {{"16 KiB", 16 << 10}, {"1 MiB", 1 << 20}, {"64 MiB", 64 << 20}};

using Pass = void (*)(unsigned char*, std::size_t);

void add(const std::string& routine, const std::string& who, Size size, Bytes (*fresh)(std::size_t), Pass pass) {
    addFigure(routine + "|" + who + "|" + size.name,
              [=](benchmark::State& state) { passOver(state, fresh(size.bytes), pass); });
}

Bytes ibmWords(std::size_t size) { return samplesOfTrace(size, true); }
Bytes bigEndianIbmWords(std::size_t size) { return bigEndian(ibmWords(size)); }
Bytes ieeeWords(std::size_t size) { return samplesOfTrace(size, false); }

void checkAnswers() {
    const std::size_t size = 1 << 16;
    std::iota(std::begin(translationTable), std::end(translationTable), static_cast<unsigned char>(0));
    asciiToEbcdic(translationTable, 256);
    const auto swappedToIbm = [](unsigned char* bytes, std::size_t count) {
        segyioToIbm(bytes, count);
        peltaSwap(bytes, count);
    };
    const bool same = sameAfter(ibmWords(size), bigEndianIbmWords(size), peltaFromIbm, segyioFromIbm) &&
                      sameAfter(ieeeWords(size), ieeeWords(size), peltaToIbm, swappedToIbm) &&
                      sameAfter(ieeeWords(size), ieeeWords(size), peltaSwap, segyioSwap) &&
                      sameAfter(textOfHeader(size), textOfHeader(size), peltaToEbcdic, tableLoop);
    require(same, "pelta and its peers disagree");
}

const bool registered = [] {
    checkAnswers();
    for (Size size : sizes) {
        add("ibmToIeee", "pelta", size, ibmWords, peltaFromIbm);
        add("ibmToIeee", "segyio segy_to_native", size, bigEndianIbmWords, segyioFromIbm);
        add("ibmToIeee", "limit: in-place pass", size, ibmWords, invertAll);
        add("ieeeToIbm", "pelta", size, ieeeWords, peltaToIbm);
        add("ieeeToIbm", "segyio segy_from_native", size, ieeeWords, segyioToIbm);
        add("ieeeToIbm", "limit: in-place pass", size, ieeeWords, invertAll);
        add("endianSwap", "pelta", size, ieeeWords, peltaSwap);
        add("endianSwap", "segyio segy_to_native", size, ieeeWords, segyioSwap);
        add("endianSwap", "limit: in-place pass", size, ieeeWords, invertAll);
        add("asciiToEbcdic", "pelta", size, textOfHeader, peltaToEbcdic);
        add("asciiToEbcdic", "table loop", size, textOfHeader, tableLoop);
        add("asciiToEbcdic", "limit: in-place pass", size, textOfHeader, invertAll);
        add("ebcdicToAscii", "pelta", size, textOfHeader, peltaToAscii);
        add("ebcdicToAscii", "table loop", size, textOfHeader, tableLoop);
        add("ebcdicToAscii", "limit: in-place pass", size, textOfHeader, invertAll);
    }
    return true;
}();

}
