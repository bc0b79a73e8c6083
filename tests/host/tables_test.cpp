#include <gtest/gtest.h>
#include <pelta/host.h>

#include <cstring>

namespace {

TEST(HeaderTable, NumbersTheEntriesFromOneInTheirOrder) {
    constexpr int entryCount = sizeof(stdHdrStruct) / sizeof(int);
    int numbers[entryCount];
    std::memcpy(numbers, stdHdr, sizeof numbers);
    for (int i = 0; i < entryCount; ++i) EXPECT_EQ(numbers[i], i + 1);
    EXPECT_EQ(stdHdr->iffid, 1);
    EXPECT_EQ(stdHdr->itlive_e - stdHdr->itlive_s, 3);
}

TEST(TextTable, StartsEmpty) {
    const globalCharStruct empty = {};
    EXPECT_EQ(std::memcmp(globalChar, &empty, sizeof empty), 0);
    EXPECT_EQ(sizeof(globalCharStruct), 16u * 4 + 36 + 28);
}

}
