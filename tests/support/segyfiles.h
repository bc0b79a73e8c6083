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

/* Letters and blanks: the same in every line, so that a line number can be told from them. */
inline std::string textBlock(bool isAscii, std::string_view start = "") {
    std::string block;
    for (int line = 0; line < 40; ++line) {
        std::string text = "C" + std::string(line < 9 ? " " : "") + std::to_string(line + 1) + " MADE FOR A TEST";
        if (line == 0 && !start.empty()) text = start;
        text.resize(80, ' ');
        block += text;
    }
    if (isAscii) return block;
    for (char& c : block) { /* letters, digits, blanks and brackets of code page 037 */
        const auto in = static_cast<unsigned char>(c);
        int out = 0x40;
        if (in >= '0' && in <= '9') out = 0xF0 + in - '0';
        else if (in >= 'A' && in <= 'I') out = 0xC1 + in - 'A';
        else if (in >= 'J' && in <= 'R') out = 0xD1 + in - 'J';
        else if (in >= 'S' && in <= 'Z') out = 0xE2 + in - 'S';
        else if (in >= 'a' && in <= 'i') out = 0x81 + in - 'a';
        else if (in >= 'j' && in <= 'r') out = 0x91 + in - 'j';
        else if (in >= 's' && in <= 'z') out = 0xA2 + in - 's';
        else if (in == '(') out = 0x4D;
        else if (in == ')') out = 0x5D;
        else if (in == ':') out = 0x7A;
        c = static_cast<char>(out);
    }
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

/* A whole file: trace t is number t + 1 of record 7, with offset 100 t, coordinates in dm and a delay of -12 ms. */
inline std::string makeSegy(const SegyRecipe& recipe) {
    std::string file = textBlock(recipe.isAscii) + std::string(400, '\0') + recipe.afterBinaryHeader +
                       std::string(static_cast<std::size_t>(recipe.traces) * recipe.traceBytes(), '\0');
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
    for (int t = 0; t < recipe.traces; ++t) {
        const auto putHeader = [&](int byte, int size, std::int64_t value) { put(recipe.placeInTrace(t, byte), size, value); };
        putHeader(1, 4, t + 1);
        putHeader(9, 4, 7);
        putHeader(13, 4, t + 1);
        putHeader(21, 4, 1000 + t);
        putHeader(29, 2, 1);
        putHeader(37, 4, 100 * t);
        putHeader(71, 2, -10);
        putHeader(73, 4, 12345);
        putHeader(81, 4, 12345 + 1000 * t);
        putHeader(109, 2, -12);
        putHeader(115, 2, recipe.samples);
        putHeader(117, 2, recipe.intervalUs);
        for (int k = 0; k < recipe.samples; ++k)
            put(recipe.placeInTrace(t, 1) + 240u * (1u + static_cast<unsigned>(recipe.extraTraceHeaders)) +
                    static_cast<unsigned>(k * recipe.sampleBytes()),
                recipe.sampleBytes(), sampleBits(recipe.format, madeSample(t, k)));
    }
    return file;
}

#endif
