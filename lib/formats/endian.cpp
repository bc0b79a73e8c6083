#include <pelta/formats.h>

#include <cstdint>
#include <cstring>
#include <utility>

#include "vectorize.h"

namespace {

PELTA_INLINE std::uint16_t swapped(std::uint16_t word) { return static_cast<std::uint16_t>(word << 8 | word >> 8); }
PELTA_INLINE std::uint32_t swapped(std::uint32_t word) { return __builtin_bswap32(word); }
PELTA_INLINE std::uint64_t swapped(std::uint64_t word) { return __builtin_bswap64(word); }

template <class Word>
PELTA_INLINE void swapEach(unsigned char* bytes, long n) {
    constexpr long size = sizeof(Word);
    for (long k = 0; k < n; ++k) {
        Word word;
        std::memcpy(&word, bytes + size * k, size);
        word = swapped(word);
        std::memcpy(bytes + size * k, &word, size);
    }
}

PELTA_VECTORIZE void swapPairs(unsigned char* bytes, long n) { swapEach<std::uint16_t>(bytes, n); }

PELTA_VECTORIZE void swapWords(unsigned char* bytes, long n) { swapEach<std::uint32_t>(bytes, n); }

PELTA_VECTORIZE void swapDoubleWords(unsigned char* bytes, long n) { swapEach<std::uint64_t>(bytes, n); }

void swapAnySize(unsigned char* bytes, long size, long n) {
    for (long k = 0; k < n; ++k, bytes += size)
        for (long j = 0; j < size / 2; ++j) std::swap(bytes[j], bytes[size - 1 - j]);
}

}

int littleEndian(void) {
    std::uint32_t word = 0;
    unsigned char bytes[sizeof word] = {0, 0, 0, 1};
    std::memcpy(&word, bytes, sizeof word);
    return word != 1;
}

void endianSwap(void* ptr, int size, int n) {
    if (size < 2) return;
    auto* bytes = static_cast<unsigned char*>(ptr);
    switch (size) {
        case 2: swapPairs(bytes, n); break;
        case 4: swapWords(bytes, n); break;
        case 8: swapDoubleWords(bytes, n); break;
        default: swapAnySize(bytes, size, n); break;
    }
}
