#include <pelta/formats.h>

#include <bit>
#include <cstdint>
#include <cstring>

#include "vectorize.h"

namespace {

constexpr std::uint32_t signBit = 0x80000000;
constexpr std::uint32_t ieeeFraction = 0x007FFFFF;
constexpr std::uint32_t hiddenOne = 0x00800000;
constexpr std::uint32_t ibmExponent = 0x7F000000;
constexpr std::uint32_t ibmFraction = 0x00FFFFFF;

/* The bits of one word where the mask is set, those of the other elsewhere: one instruction at the highest level. */
PELTA_INLINE std::uint32_t pickBits(std::uint32_t mask, std::uint32_t set, std::uint32_t clear) {
    return clear ^ ((clear ^ set) & mask);
}

/* Shifting an unnormalised fraction up to its hidden bit is what the conversion of an integer to float does, and it does so
 * exactly, since 24 bits fit. The integer's exponent counts from the lowest bit of the fraction, 2^-24, hence the 24.
 * Kept on purpose: only six of the seven exponent bits are taken, and an exponent beyond the IEEE range wraps modulo 256. That
 * is right for every value in range; tapes with wilder words read as they always did.
 * Kept on purpose: a word with fraction 0 passes through, even where that makes 0x41000000 read as 8. It is picked by a mask,
 * because the compiler moves a conversion to float behind a branch, and then runs nothing over lanes. */
PELTA_INLINE std::uint32_t ieeeFromIbm(std::uint32_t word) {
    const std::uint32_t fraction = word & ibmFraction;
    const auto normalised = std::bit_cast<std::uint32_t>(static_cast<float>(static_cast<std::int32_t>(fraction)));
    const std::uint32_t exponent = ((word << 1) & 0x7E000000) - (24u << 23);
    return pickBits(fraction == 0 ? 0xFFFFFFFF : signBit, word, normalised + exponent);
}

/* With b the stored binary exponent, b - 127 = 4 (h - 64) - 1 - shift gives the stored hexadecimal exponent
 * h = (b + 1) / 4 + 33 and a shift of 3 less the two low bits of b + 1. Added where it stands, b + 1 + 4 * 33 gives both: bits
 * 25 up are h, bits 24 and 23 the two low bits. The shift goes in steps of 2 and 1, because not every level shifts each lane
 * by its own count.
 * Kept on purpose: every word but 0 is taken as a normal number with its hidden 1; -0 becomes 0xA1200000. */
PELTA_INLINE std::uint32_t ibmFromIeee(std::uint32_t word) {
    const std::uint32_t exponent = (word & ~signBit) + ((1u + 4 * 33) << 23);
    std::uint32_t fraction = (word & ieeeFraction) | hiddenOne;
    fraction = (exponent & (2u << 23)) != 0 ? fraction : fraction >> 2;
    fraction = (exponent & (1u << 23)) != 0 ? fraction : fraction >> 1;
    const std::uint32_t converted = (word & signBit) | ((exponent >> 1) & ibmExponent) | fraction;
    return word != 0 ? converted : 0;
}

/* Words are moved as bytes: a load as float could quieten a NaN in a build that uses the x87 unit. */
template <std::uint32_t (*converted)(std::uint32_t)>
PELTA_INLINE void convertEach(float* words, long n) {
    for (long k = 0; k < n; ++k) {
        std::uint32_t word;
        std::memcpy(&word, words + k, sizeof word);
        word = converted(word);
        std::memcpy(words + k, &word, sizeof word);
    }
}

PELTA_VECTORIZE void wordsFromIbm(float* words, long n) { convertEach<ieeeFromIbm>(words, n); }

PELTA_VECTORIZE void wordsToIbm(float* words, long n) { convertEach<ibmFromIeee>(words, n); }

}

void ibmToIeee(float* vv, int n) { wordsFromIbm(vv, n); }

void ieeeToIbm(float* vv, int n) { wordsToIbm(vv, n); }
