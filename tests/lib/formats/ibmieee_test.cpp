#include <gtest/gtest.h>
#include <pelta/formats.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "support/bits.h"
#include "support/plainibm.h"

namespace {

using Words = std::vector<std::uint32_t>;

/* Moved as bytes, which quietens no NaN. */
std::vector<float> samplesOf(const Words& words) {
    std::vector<float> samples(words.size());
    std::memcpy(samples.data(), words.data(), sizeof(float) * words.size());
    return samples;
}

Words wordsOf(const std::vector<float>& samples) {
    Words words(samples.size());
    std::memcpy(words.data(), samples.data(), sizeof(float) * samples.size());
    return words;
}

template <void (*convert)(float*, int)>
Words converted(const Words& words) {
    std::vector<float> samples = samplesOf(words);
    convert(samples.data(), static_cast<int>(samples.size()));
    return wordsOf(samples);
}

std::uint32_t toIeee(std::uint32_t word) { return converted<ibmToIeee>({word})[0]; }
std::uint32_t toIbm(std::uint32_t word) { return converted<ieeeToIbm>({word})[0]; }

/* Every sign and exponent with fractions that set or clear each leading bit, and random ones. */
Words sweepOfExponents() {
    std::mt19937 engine(11);
    Words words;
    for (std::uint32_t top = 0; top < 512; ++top) {
        for (int bit = 0; bit <= 23; ++bit)
            for (std::uint32_t fraction : {0u, (1u << bit) - 1, static_cast<std::uint32_t>(engine()) & ((1u << bit) - 1)})
                words.push_back(top << 23 | (1u << bit | fraction));
        for (int k = 0; k < 32; ++k) words.push_back(top << 23 | (engine() & 0x7FFFFF));
    }
    return words;
}

Words randomWords(int count, unsigned seed) {
    std::mt19937 engine(seed);
    Words words(count);
    for (std::uint32_t& word : words) word = static_cast<std::uint32_t>(engine());
    return words;
}

template <void (*convert)(float*, int), std::uint32_t (*plain)(std::uint32_t)>
void expectPlainBits(const Words& words) {
    const Words result = converted<convert>(words);
    for (std::size_t i = 0; i < words.size(); ++i) ASSERT_EQ(result[i], plain(words[i])) << "word " << std::hex << words[i];
}

TEST(IbmToIeee, ReadsKnownValues) {
    EXPECT_EQ(floatFromBits(toIeee(0x41100000)), 1.0f);
    EXPECT_EQ(toIeee(0x41100000), 0x3F800000u);
    EXPECT_EQ(toIeee(0xC2640000), 0xC2C80000u);  // -100
    EXPECT_EQ(floatFromBits(toIeee(0xC276A000)), -118.625f);
    EXPECT_EQ(floatFromBits(toIeee(0x40800000)), 0.5f);
}

TEST(IbmToIeee, GivesTheValueOfEveryWordInRange) {
    for (std::uint32_t word : sweepOfExponents()) {
        const int exponent = static_cast<int>(word >> 24 & 0x7F) - 64;
        const double value = std::ldexp(static_cast<double>(word & 0xFFFFFF), 4 * exponent - 24);
        if (value < std::numeric_limits<float>::min() || value > std::numeric_limits<float>::max()) continue;
        ASSERT_EQ(floatFromBits(toIeee(word)), (word >> 31 ? -value : value)) << std::hex << word;
    }
}

TEST(IbmToIeee, NormalisesShortFractions) {
    EXPECT_EQ(toIeee(0x42010000), 0x3F800000u);
    EXPECT_EQ(toIeee(0x46000001), 0x3F800000u);
}

TEST(IbmToIeee, LeavesWordsWithoutAFractionAsTheyAre) {
    for (std::uint32_t top = 0; top < 256; ++top) EXPECT_EQ(toIeee(top << 24), top << 24);
    EXPECT_EQ(floatFromBits(toIeee(0x41000000)), 8.0f);
    EXPECT_EQ(toIeee(0x80000000), 0x80000000u);
}

TEST(IbmToIeee, WrapsExponentsBeyondTheIeeeRange) {
    EXPECT_EQ(toIeee(0x61100000), 0x7F800000u);  // 2^128 reads as infinity,
    EXPECT_EQ(toIeee(0x61180000), 0x7FC00000u);  // 1.5 times as much as a NaN,
    EXPECT_EQ(toIeee(0x62100000), 0x01800000u);  // 16 times as much as 2^-124,
    EXPECT_EQ(toIeee(0x20100000), 0x7D800000u);  // and 2^-132 as 2^124
}

TEST(IbmToIeee, MatchesTheShiftLoopForEveryExponent) { expectPlainBits<ibmToIeee, plainIbmToIeee>(sweepOfExponents()); }

TEST(IbmToIeee, MatchesTheShiftLoopOnRandomWords) {
    expectPlainBits<ibmToIeee, plainIbmToIeee>(randomWords(2000003, 1));
    Words shortFractions = randomWords(1000003, 2);
    for (std::size_t i = 0; i < shortFractions.size(); ++i) shortFractions[i] &= ~(0xFFFFFFu & ~((1u << i % 25) - 1));
    expectPlainBits<ibmToIeee, plainIbmToIeee>(shortFractions);
}

TEST(IeeeToIbm, WritesKnownValues) {
    EXPECT_EQ(toIbm(bitsOf(1.0f)), 0x41100000u);
    EXPECT_EQ(toIbm(bitsOf(0.5f)), 0x40800000u);
    EXPECT_EQ(toIbm(bitsOf(-100.0f)), 0xC2640000u);
    EXPECT_EQ(toIbm(bitsOf(-118.625f)), 0xC276A000u);
}

TEST(IeeeToIbm, KeepsZeroAndMakesNegativeZeroATinyNumber) {
    EXPECT_EQ(toIbm(0), 0u);
    EXPECT_EQ(toIbm(0x80000000), 0xA1200000u);
}

TEST(IeeeToIbm, TakesSubnormalsInfinitiesAndNansAsNormalNumbers) {
    for (std::uint32_t word : {0x00000001u, 0x007FFFFFu, 0x80000001u, 0x7F800000u, 0xFF800000u, 0x7FC00000u, 0x7F800001u})
        EXPECT_EQ(toIbm(word), plainIeeeToIbm(word)) << std::hex << word;
    EXPECT_EQ(toIbm(0x7F800000), 0x61100000u);
    EXPECT_EQ(toIbm(0x00000001), 0x21200000u);
}

TEST(IeeeToIbm, CutsTheBitsThatDoNotFit) {
    EXPECT_EQ(toIbm(bitsOf(std::nextafter(2.0f, 0.0f))), 0x411FFFFFu);  // 1.111...1 loses three bits, unrounded
    EXPECT_EQ(toIbm(bitsOf(std::nextafter(1.0f, 0.0f))), 0x40FFFFFFu);  // 0.111...1 fits
}

TEST(IeeeToIbm, MatchesThePlainFormForEveryExponent) { expectPlainBits<ieeeToIbm, plainIeeeToIbm>(sweepOfExponents()); }

TEST(IeeeToIbm, MatchesThePlainFormOnRandomWords) { expectPlainBits<ieeeToIbm, plainIeeeToIbm>(randomWords(2000003, 3)); }

TEST(IbmAndIeee, RoundTripClearsOnlyTheBitsThatWereCut) {
    Words words;
    for (std::uint32_t word : sweepOfExponents()) {
        const std::uint32_t exponent = word >> 23 & 0xFF;
        if (exponent >= 1 && exponent <= 254) words.push_back(word);
    }
    const Words returned = converted<ibmToIeee>(converted<ieeeToIbm>(words));
    for (std::size_t i = 0; i < words.size(); ++i) {
        const int exponent = static_cast<int>(words[i] >> 23 & 0xFF) - 127;
        const int cut = 3 - (exponent & 3);
        ASSERT_EQ(returned[i], words[i] & ~((1u << cut) - 1)) << std::hex << words[i];
    }
}

TEST(IbmAndIeee, ConvertEveryLengthAndTouchNothingBehindIt) {
    const Words fresh = randomWords(200, 5);
    for (int n = 0; n <= 130; ++n) {
        std::vector<float> read = samplesOf(fresh), written = samplesOf(fresh);
        ibmToIeee(read.data() + 1, n);
        ieeeToIbm(written.data() + 1, n);
        Words expectedRead = fresh, expectedWritten = fresh;
        for (int i = 1; i <= n; ++i) {
            expectedRead[i] = plainIbmToIeee(fresh[i]);
            expectedWritten[i] = plainIeeeToIbm(fresh[i]);
        }
        ASSERT_EQ(wordsOf(read), expectedRead) << n << " words";
        ASSERT_EQ(wordsOf(written), expectedWritten) << n << " words";
    }
}

TEST(IbmAndIeee, DoNothingForACountOfZeroOrLess) {
    for (int n : {0, -1, -1000}) {
        float samples[2] = {1.0f, -2.0f};
        ibmToIeee(samples, n);
        ieeeToIbm(samples, n);
        EXPECT_EQ(samples[0], 1.0f);
        EXPECT_EQ(samples[1], -2.0f);
    }
}

TEST(IbmAndIeee, ReadAndWriteBigEndianSamplesWithTheByteSwap) {
    unsigned char tape[8] = {0x41, 0x10, 0, 0, 0xC2, 0x64, 0, 0};
    float samples[2];
    std::memcpy(samples, tape, sizeof samples);
    if (littleEndian()) endianSwap(samples, 4, 2);
    ibmToIeee(samples, 2);
    EXPECT_EQ(samples[0], 1.0f);
    EXPECT_EQ(samples[1], -100.0f);
    ieeeToIbm(samples, 2);
    if (littleEndian()) endianSwap(samples, 4, 2);
    EXPECT_EQ(std::memcmp(samples, tape, sizeof samples), 0);
}

}
