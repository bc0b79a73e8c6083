#include <gtest/gtest.h>
#include <pelta/formats.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "support/plainibm.h"

namespace {

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
