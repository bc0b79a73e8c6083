#include <pelta/formats.h>

#include <cstdint>
#include <cstring>
#include <utility>

#include "vectorize.h"

namespace {

PELTA_VECTORIZE void swapPairs(unsigned char* bytes, long n) {
    for (long k = 0; k < n; ++k) {
        std::uint16_t word;
        std::memcpy(&word, bytes + 2 * k, 2);
        word = static_cast<std::uint16_t>(word << 8 | word >> 8);
        std::memcpy(bytes + 2 * k, &word, 2);
    }
}

PELTA_VECTORIZE void swapWords(unsigned char* bytes, long n) {
    for (long k = 0; k < n; ++k) {
        std::uint32_t word;
        std::memcpy(&word, bytes + 4 * k, 4);
        word = __builtin_bswap32(word);
        std::memcpy(bytes + 4 * k, &word, 4);
    }
}

PELTA_VECTORIZE void swapDoubleWords(unsigned char* bytes, long n) {
    for (long k = 0; k < n; ++k) {
        std::uint64_t word;
        std::memcpy(&word, bytes + 8 * k, 8);
        word = __builtin_bswap64(word);
        std::memcpy(bytes + 8 * k, &word, 8);
    }
}

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
