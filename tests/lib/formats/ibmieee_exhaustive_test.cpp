#include <gtest/gtest.h>
#include <pelta/formats.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

std::uint32_t plainIbmToIeee(std::uint32_t word) {
    std::uint32_t fraction = word & 0xFFFFFF;
    if (fraction == 0) return word;
    std::int32_t exponent = static_cast<std::int32_t>((word & 0x3F000000) >> 22) + 126;
    for (; (fraction & 0x800000) == 0; fraction <<= 1) --exponent;
    return (word & 0x80000000) | ((static_cast<std::uint32_t>(exponent) << 23) & 0x7F800000) | (fraction & 0x7FFFFF);
}

std::uint32_t plainIeeeToIbm(std::uint32_t word) {
    if (word == 0) return word;
    const int exponent = static_cast<int>((word & 0x7F800000) >> 23) - 127;
    const int shift = 3 - (exponent & 3);
    const auto hexExponent = static_cast<std::uint32_t>((exponent >> 2) + 65);
    return (word & 0x80000000) | hexExponent << 24 | ((word & 0x7FFFFF) | 0x800000) >> shift;
}

constexpr int blockLength = 1 << 16;

template <void (*convert)(float*, int), std::uint32_t (*plain)(std::uint32_t)>
void expectPlainBitsForEveryWord() {
    std::vector<float> samples(blockLength);
    std::vector<std::uint32_t> words(blockLength);
    for (std::uint32_t block = 0; block < (1u << 16); ++block) {
        for (std::uint32_t i = 0; i < blockLength; ++i) words[i] = block << 16 | i;
        std::memcpy(samples.data(), words.data(), 4 * words.size());
        convert(samples.data(), blockLength);
        std::memcpy(words.data(), samples.data(), 4 * words.size());
        for (std::uint32_t i = 0; i < blockLength; ++i)
            ASSERT_EQ(words[i], plain(block << 16 | i)) << "word " << std::hex << (block << 16 | i);
    }
}

TEST(IbmToIeee, MatchesTheShiftLoopForEveryWord) { expectPlainBitsForEveryWord<ibmToIeee, plainIbmToIeee>(); }

TEST(IeeeToIbm, MatchesThePlainFormForEveryWord) { expectPlainBitsForEveryWord<ieeeToIbm, plainIeeeToIbm>(); }

}
