#include "segy/trace.h"

#include <pelta/formats.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

namespace pelta::segy {

TraceFacts readFacts(const Trace& trace, const Layout& layout) {
    const auto read = [&](Word word) { return readWord(trace.header.data(), layout.words[word], layout.byteOrder); };
    const std::int64_t coordinateScalar = read(Word::coordinateScalar), elevationScalar = read(Word::elevationScalar);
    TraceFacts facts;
    facts.record = read(Word::record);
    facts.channel = read(Word::channel);
    facts.cdp = read(Word::cdp);
    facts.traceType = read(Word::traceType);
    facts.offset = static_cast<double>(read(Word::offset));
    facts.sourceX = scaled(read(Word::sourceX), coordinateScalar);
    facts.sourceY = scaled(read(Word::sourceY), coordinateScalar);
    facts.receiverX = scaled(read(Word::receiverX), coordinateScalar);
    facts.receiverY = scaled(read(Word::receiverY), coordinateScalar);
    facts.cdpX = scaled(read(Word::cdpX), coordinateScalar);
    facts.cdpY = scaled(read(Word::cdpY), coordinateScalar);
    facts.sourceElevation = scaled(read(Word::sourceElevation), elevationScalar);
    facts.receiverElevation = scaled(read(Word::receiverElevation), elevationScalar);
    facts.delayMs = scaled(read(Word::delay), read(Word::timeScalar));
    return facts;
}

namespace {

constexpr ByteOrder nativeOrder = std::endian::native == std::endian::little ? ByteOrder::little : ByteOrder::big;

template <class Integer>
Integer swapped(Integer value) {
    if constexpr (sizeof value == 4) return static_cast<Integer>(__builtin_bswap32(static_cast<std::uint32_t>(value)));
    else if constexpr (sizeof value == 2) return static_cast<Integer>(__builtin_bswap16(static_cast<std::uint16_t>(value)));
    else return value;
}

template <class Integer, bool swaps>
void integersToFloats(const unsigned char* bytes, float* samples, std::size_t count) {
    for (std::size_t k = 0; k < count; ++k) {
        Integer value;
        std::memcpy(&value, bytes + k * sizeof value, sizeof value);
        samples[k] = static_cast<float>(swaps ? swapped(value) : value);
    }
}

/* A double holds every sum below exactly, so that adding and taking away 1.5 * 2^52 rounds to the nearest integer, an even
 * one where two are equally near. */
constexpr double roundingPoint = 6755399441055744.0;

/* How many samples were beyond the integers or NaN; those become the last integer on their side, NaN becomes 0. */
template <class Integer, bool swaps>
std::int64_t floatsToIntegers(const float* samples, unsigned char* bytes, std::size_t count) {
    constexpr double smallest = std::numeric_limits<Integer>::min(), largest = std::numeric_limits<Integer>::max();
    std::int64_t clipped = 0;
    for (std::size_t k = 0; k < count; ++k) {
        const double sample = samples[k];
        const double rounded = (sample + roundingPoint) - roundingPoint;
        const bool isInside = rounded >= smallest && rounded <= largest;
        clipped += !isInside;
        const double bounded = sample != sample ? 0.0 : std::clamp(rounded, smallest, largest);
        const auto value = static_cast<Integer>(static_cast<std::int32_t>(bounded));
        const Integer stored = swaps ? swapped(value) : value;
        std::memcpy(bytes + k * sizeof stored, &stored, sizeof stored);
    }
    return clipped;
}

template <class Integer>
void decodeIntegers(const Trace& trace, float* samples, std::size_t count, bool swaps) {
    if (swaps) integersToFloats<Integer, true>(trace.encoded.data(), samples, count);
    else integersToFloats<Integer, false>(trace.encoded.data(), samples, count);
}

template <class Integer>
std::int64_t encodeIntegers(Trace& trace, bool swaps) {
    const std::size_t count = trace.samples.size();
    return swaps ? floatsToIntegers<Integer, true>(trace.samples.data(), trace.encoded.data(), count)
                 : floatsToIntegers<Integer, false>(trace.samples.data(), trace.encoded.data(), count);
}

/* The library converts arrays of floats: the bytes are taken as such for as long as that takes. */
std::int64_t encodeFloats(Trace& trace, bool swaps, bool isIbm) {
    static_assert(sizeof(float) == 4);
    const std::size_t count = trace.samples.size();
    constexpr std::size_t pieceLength = 4096; /* stays in the first-level cache between the passes */
    float piece[pieceLength];
    for (std::size_t start = 0; start < count; start += pieceLength) {
        const int length = static_cast<int>(std::min(pieceLength, count - start));
        std::memcpy(piece, trace.samples.data() + start, sizeof(float) * static_cast<std::size_t>(length));
        if (isIbm) ieeeToIbm(piece, length);
        if (swaps) endianSwap(piece, sizeof(float), length);
        std::memcpy(trace.encoded.data() + sizeof(float) * start, piece, sizeof(float) * static_cast<std::size_t>(length));
    }
    return isIbm ? countNotFinite(trace.samples) : 0;
}

}

/* All bits of the exponent are set: looked at as integers, which the compiler counts over lanes. */
std::int64_t countNotFinite(const std::vector<float>& samples) {
    constexpr std::uint32_t exponent = 0x7F800000;
    std::int32_t count = 0;
    for (float sample : samples) count += (std::bit_cast<std::uint32_t>(sample) & exponent) == exponent;
    return count;
}

void decode(Trace& trace, const Layout& layout) {
    const std::size_t count = trace.encoded.size() / static_cast<std::size_t>(bytesPerSample(layout.format));
    trace.samples.resize(count);
    float* samples = trace.samples.data();
    const bool swaps = layout.byteOrder != nativeOrder;
    switch (layout.format) {
        case SampleFormat::ibm:
        case SampleFormat::ieee:
            if (count > 0) std::memcpy(samples, trace.encoded.data(), count * sizeof(float));
            if (swaps) endianSwap(samples, sizeof(float), static_cast<int>(count));
            if (layout.format == SampleFormat::ibm) ibmToIeee(samples, static_cast<int>(count));
            break;
        case SampleFormat::int32: decodeIntegers<std::int32_t>(trace, samples, count, swaps); break;
        case SampleFormat::int16: decodeIntegers<std::int16_t>(trace, samples, count, swaps); break;
        case SampleFormat::int8: decodeIntegers<std::int8_t>(trace, samples, count, swaps); break;
    }
}

std::int64_t encode(Trace& trace, const Layout& layout) {
    if (!trace.samplesChanged) return 0;
    trace.encoded.resize(trace.samples.size() * static_cast<std::size_t>(bytesPerSample(layout.format)));
    const bool swaps = layout.byteOrder != nativeOrder;
    switch (layout.format) {
        case SampleFormat::int32: return encodeIntegers<std::int32_t>(trace, swaps);
        case SampleFormat::int16: return encodeIntegers<std::int16_t>(trace, swaps);
        case SampleFormat::int8: return encodeIntegers<std::int8_t>(trace, swaps);
        default: return encodeFloats(trace, swaps, layout.format == SampleFormat::ibm);
    }
}

}
