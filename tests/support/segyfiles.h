#ifndef PELTA_TESTS_SEGYFILES_H
#define PELTA_TESTS_SEGYFILES_H

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

/* SEG-Y files made byte by byte, independent of the module under test. */

/* Puts the size low bytes of value at the one-based place of bytes. */
inline void putWord(std::string& bytes, std::size_t place, int size, std::int64_t value, bool isLittle = false) {
    for (int k = 0; k < size; ++k)
        bytes.at(place - 1 + static_cast<std::size_t>(isLittle ? k : size - 1 - k)) = static_cast<char>(value >> (8 * k));
}

struct SegyRecipe {
    int traces = 3;
    int samples = 8;
    int intervalUs = 4000;
    int format = 5;
    int revision = 0;
    int extraTraceHeaders = 0;
    bool isLittle = false;
    bool isAscii = false;
    std::string afterBinaryHeader = {}; /* extended text headers */

    int sampleBytes() const { return format == 3 ? 2 : format == 8 ? 1 : 4; }
    std::size_t traceBytes() const {
        return 240u * (1u + static_cast<unsigned>(extraTraceHeaders)) + static_cast<unsigned>(samples * sampleBytes());
    }
    std::size_t firstTrace() const { return 3600 + afterBinaryHeader.size(); }
    /* One-based place in the file of a byte of trace t's header. */
    std::size_t placeInTrace(int t, int byte) const {
        return firstTrace() + static_cast<std::size_t>(t) * traceBytes() + static_cast<std::size_t>(byte);
    }
};

/* A letter, digit, bracket or colon in code page 037; a blank for all else. */
inline char ebcdicOf(char c) {
    constexpr struct {
        char first, last;
        int code; /* of the first */
    } runs[] = {{'0', '9', 0xF0}, {'A', 'I', 0xC1}, {'J', 'R', 0xD1}, {'S', 'Z', 0xE2}, {'a', 'i', 0x81},
                {'j', 'r', 0x91}, {'s', 'z', 0xA2}, {'(', '(', 0x4D}, {')', ')', 0x5D}, {':', ':', 0x7A}};
    for (const auto& run : runs)
        if (c >= run.first && c <= run.last) return static_cast<char>(run.code + c - run.first);
    return 0x40;
}

/* Letters and blanks: the same in every line, so that a line number can be told from them. */
inline std::string textBlock(bool isAscii, std::string_view start = "") {
    std::string block;
    for (int line = 0; line < 40; ++line) {
        std::string text = "C" + std::string(line < 9 ? " " : "") + std::to_string(line + 1) + " MADE FOR A TEST";
        if (line == 0 && !start.empty()) text = start;
        text.resize(80, ' ');
        block += text;
    }
    if (!isAscii)
        for (char& c : block) c = ebcdicOf(c);
    return block;
}

/* The sample k of trace t in a made file, small enough for every format. */
inline int madeSample(int t, int k) { return (t * 37 + k * 11) % 201 - 100; }

/* The bits of a whole number as an IBM float. */
inline std::uint32_t ibmBits(int value) {
    if (value == 0) return 0;
    std::uint32_t fraction = static_cast<std::uint32_t>(std::abs(value));
    std::uint32_t exponent = 64 + 6;
    while (fraction < 0x100000) {
        fraction <<= 4;
        --exponent;
    }
    return (value < 0 ? 0x80000000u : 0u) | exponent << 24 | fraction;
}

inline std::int64_t sampleBits(int format, int value) {
    if (format == 1) return ibmBits(value);
    if (format != 5) return value;
    const auto real = static_cast<float>(value);
    std::int32_t bits;
    std::memcpy(&bits, &real, sizeof bits);
    return bits;
}

inline void putBinaryHeader(std::string& file, const SegyRecipe& recipe) {
    const auto put = [&](std::size_t place, int size, std::int64_t value) {
        putWord(file, place, size, value, recipe.isLittle);
    };
    put(3217, 2, recipe.intervalUs);
    put(3221, 2, recipe.samples);
    put(3225, 2, recipe.format);
    put(3255, 2, 1);
    if (recipe.revision > 0) {
        putWord(file, 3501, 1, recipe.revision);
        put(3503, 2, 1);
        put(3505, 2, static_cast<int>(recipe.afterBinaryHeader.size() / 3200));
    }
    if (recipe.revision > 1) put(3507, 4, recipe.extraTraceHeaders);
}

inline void putTrace(std::string& file, const SegyRecipe& recipe, int t) {
    const auto put = [&](int byte, int size, std::int64_t value) {
        putWord(file, recipe.placeInTrace(t, byte), size, value, recipe.isLittle);
    };
    put(1, 4, t + 1);
    put(9, 4, 7);
    put(13, 4, t + 1);
    put(21, 4, 1000 + t);
    put(29, 2, 1);
    put(37, 4, 100 * t);
    put(71, 2, -10);
    put(73, 4, 12345);
    put(81, 4, 12345 + 1000 * t);
    put(109, 2, -12);
    put(115, 2, recipe.samples);
    put(117, 2, recipe.intervalUs);
    const int firstSample = 241 + 240 * recipe.extraTraceHeaders;
    for (int k = 0; k < recipe.samples; ++k)
        put(firstSample + k * recipe.sampleBytes(), recipe.sampleBytes(), sampleBits(recipe.format, madeSample(t, k)));
}

/* A whole file: trace t is number t + 1 of record 7, with offset 100 t, coordinates in dm and a delay of -12 ms. */
inline std::string makeSegy(const SegyRecipe& recipe) {
    std::string file = textBlock(recipe.isAscii) + std::string(400, '\0') + recipe.afterBinaryHeader +
                       std::string(static_cast<std::size_t>(recipe.traces) * recipe.traceBytes(), '\0');
    putBinaryHeader(file, recipe);
    for (int t = 0; t < recipe.traces; ++t) putTrace(file, recipe, t);
    return file;
}

#endif
