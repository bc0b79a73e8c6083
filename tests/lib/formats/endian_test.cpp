#include <gtest/gtest.h>
#include <pelta/formats.h>

#include <algorithm>
#include <vector>

namespace {

std::vector<unsigned char> countingBytes(int count) {
    std::vector<unsigned char> bytes(count);
    for (int i = 0; i < count; ++i) bytes[i] = static_cast<unsigned char>(i * 37 + 11);
    return bytes;
}

TEST(EndianSwap, ReversesTheBytesOfEveryElement) {
    for (int size = 1; size <= 17; ++size)
        for (int n : {1, 2, 3, 64, 101}) {
            std::vector<unsigned char> bytes = countingBytes(size * n + 3), expected = bytes;
            for (int k = 0; k < n; ++k) std::reverse(expected.begin() + k * size, expected.begin() + (k + 1) * size);
            endianSwap(bytes.data(), size, n);
            EXPECT_EQ(bytes, expected) << "size " << size << ", " << n << " elements";
        }
}

TEST(EndianSwap, LeavesTheMiddleByteOfAnOddSize) {
    unsigned char bytes[6] = {1, 2, 3, 4, 5, 6};
    endianSwap(bytes, 3, 2);
    EXPECT_EQ(std::vector<unsigned char>(bytes, bytes + 6), (std::vector<unsigned char>{3, 2, 1, 6, 5, 4}));
}

TEST(EndianSwap, ChangesNothingForSizesBelowTwoOrNoElements) {
    const std::vector<unsigned char> fresh = countingBytes(16);
    for (auto [size, n] : {std::pair{0, 4}, {1, 16}, {-4, 4}, {4, 0}, {4, -1}, {2, -3}, {8, -1}, {3, -1}}) {
        std::vector<unsigned char> bytes = fresh;
        endianSwap(bytes.data(), size, n);
        EXPECT_EQ(bytes, fresh) << "size " << size << ", " << n << " elements";
    }
}

TEST(EndianSwap, WorksOnUnalignedBuffers) {
    std::vector<unsigned char> bytes = countingBytes(41), expected = bytes;
    for (int k = 0; k < 10; ++k) std::reverse(expected.begin() + 1 + 4 * k, expected.begin() + 5 + 4 * k);
    endianSwap(bytes.data() + 1, 4, 10);
    EXPECT_EQ(bytes, expected);
}

TEST(LittleEndian, KnowsThisMachine) { EXPECT_EQ(littleEndian(), 1); }

}
