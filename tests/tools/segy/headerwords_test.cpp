#include "segy/headerwords.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/complaint.h"
#include "support/failure.h"

using namespace pelta;
using namespace pelta::segy;

namespace {

std::string refusalOf(std::string_view assignments) {
    HeaderMap map;
    return complaintOf<UsageError>([&] { map.remap(assignments); });
}

}

TEST(HeaderWord, IsReadWithItsSignInBothByteOrders) {
    const unsigned char header[] = {0, 0xFF, 0xFE, 0x7F};
    EXPECT_EQ(readWord(header, {2, 2}, ByteOrder::big), -2);
    EXPECT_EQ(readWord(header, {2, 2}, ByteOrder::little), -257);
    EXPECT_EQ(readWord(header, {1, 4}, ByteOrder::big), 0x00FFFE7F);
    EXPECT_EQ(readWord(header, {1, 4}, ByteOrder::little), 0x7FFEFF00);
    EXPECT_EQ(readWord(header, {2, 1}, ByteOrder::big), -1);
    EXPECT_EQ(readUnsignedWord(header, {2, 2}, ByteOrder::big), 65534);
}

TEST(HeaderWord, TakesEightBytesAtAnyPlace) {
    unsigned char header[12] = {};
    ASSERT_TRUE(writeWord(header, {3, 8}, ByteOrder::big, INT64_MIN + 5));
    EXPECT_EQ(header[2], 0x80);
    EXPECT_EQ(header[9], 5);
    EXPECT_EQ(readWord(header, {3, 8}, ByteOrder::big), INT64_MIN + 5);
    EXPECT_EQ(header[1], 0);
    EXPECT_EQ(header[10], 0);
}

TEST(HeaderWord, ReadsBackEveryLimitInEverySize) {
    for (const ByteOrder order : {ByteOrder::big, ByteOrder::little})
        for (const int size : {1, 2, 4, 8}) {
            const std::int64_t largest = INT64_MAX >> (64 - 8 * size);
            for (const std::int64_t value : {-largest - 1, std::int64_t{-1}, std::int64_t{0}, largest}) {
                unsigned char header[8];
                ASSERT_TRUE(writeWord(header, {1, size}, order, value));
                EXPECT_EQ(readWord(header, {1, size}, order), value);
            }
        }
}

TEST(HeaderWord, RefusesAValueThatDoesNotFitAndLeavesTheBytes) {
    unsigned char header[2] = {1, 2};
    EXPECT_FALSE(writeWord(header, {1, 2}, ByteOrder::big, 32768));
    EXPECT_FALSE(writeWord(header, {1, 2}, ByteOrder::big, -32769));
    EXPECT_FALSE(writeWord(header, {1, 1}, ByteOrder::big, 128));
    EXPECT_FALSE(writeWord(header, {}, ByteOrder::big, 0));
    EXPECT_FALSE(writeUnsignedWord(header, {1, 2}, ByteOrder::big, -1));
    EXPECT_FALSE(writeUnsignedWord(header, {1, 2}, ByteOrder::big, 65536));
    EXPECT_EQ(header[0], 1);
    EXPECT_EQ(header[1], 2);
    EXPECT_TRUE(writeUnsignedWord(header, {1, 2}, ByteOrder::big, 65535));
    EXPECT_EQ(readUnsignedWord(header, {1, 2}, ByteOrder::big), 65535);
}

TEST(HeaderWord, WithoutAPlaceReadsAsNothing) {
    const unsigned char header[] = {1};
    EXPECT_EQ(readWord(header, {}, ByteOrder::big), 0);
}

TEST(Scalar, MultipliesOrDividesByPowersOfTen) {
    EXPECT_EQ(scaled(1234, 100), 123400.0);
    EXPECT_EQ(scaled(1234, -100), 12.34);
    EXPECT_EQ(scaled(-7, -10000), -0.0007);
    EXPECT_EQ(scaled(1234, 0), 1234.0);
    EXPECT_EQ(scaled(1234, 1), 1234.0);
    EXPECT_EQ(scaled(1234, -1), 1234.0);
}

TEST(Scalar, ThatIsNoneCountsAsOne) {
    for (const std::int64_t other : {std::int64_t{82}, std::int64_t{-20}, std::int64_t{100000}, INT64_MIN, INT64_MAX}) {
        EXPECT_FALSE(isScalar(other));
        EXPECT_EQ(scaled(1234, other), 1234.0);
    }
}

TEST(Scalar, IsTakenOffAgain) {
    EXPECT_EQ(unscaled(123400.0, 100), 1234.0);
    EXPECT_EQ(unscaled(12.34, -100), 1234.0);
    for (const std::int64_t none : {0, 1, -1, 82}) EXPECT_EQ(unscaled(12.5, none), 12.5);
}

TEST(HeaderMap, KnowsTheStandardPlaces) {
    const HeaderMap map;
    EXPECT_EQ(map.find("offset"), (HeaderWord{37, 4}));
    EXPECT_EQ(map.find("delay"), (HeaderWord{109, 2}));
    EXPECT_EQ(map.find("time_scalar"), (HeaderWord{215, 2}));
    EXPECT_EQ(map.find("crossline"), (HeaderWord{193, 4}));
    EXPECT_EQ(map[Word::coordinateScalar], (HeaderWord{71, 2}));
    EXPECT_EQ(map[Word::cdpY], (HeaderWord{185, 4}));
    EXPECT_EQ(map[Word::samples], (HeaderWord{115, 2}));
}

TEST(HeaderMap, HasNoPlaceForPicksUntilItIsGivenOne) {
    HeaderMap map;
    EXPECT_EQ(map.find("pick"), std::nullopt);
    map.remap("pick=233:2");
    EXPECT_EQ(map.find("pick"), (HeaderWord{233, 2}));
    EXPECT_EQ(map[Word::pick], (HeaderWord{233, 2}));
}

TEST(HeaderMap, MovesTheWordsThatAreNamedAndNoOther) {
    HeaderMap map;
    map.remap("offset=181:4, record = 9:8,offset=1:1");
    EXPECT_EQ(map.find("offset"), (HeaderWord{1, 1}));
    EXPECT_EQ(map.find("record"), (HeaderWord{9, 8}));
    EXPECT_EQ(map.find("channel"), (HeaderWord{13, 4}));
}

TEST(HeaderMap, TakesAPlaceWhereANameIsAskedFor) {
    const HeaderMap map;
    EXPECT_EQ(map.find("233:8"), (HeaderWord{233, 8}));
    EXPECT_THROW(map.find("234:8"), UsageError);
    EXPECT_THROW(map.find("ofset"), UsageError);
}

TEST(HeaderMap, NamesTheNearestWordForAnUnknownOne) {
    EXPECT_EQ(refusalOf("ofset=37:4"), "'ofset' is no trace-header word, did you mean 'offset'?");
    EXPECT_EQ(refusalOf("zzzzzz=37:4"), "'zzzzzz' is no trace-header word");
}

TEST(HeaderMap, RefusesPlacesThatAreNone) {
    EXPECT_EQ(refusalOf("offset=37:3"), "'37:3': a trace-header word has 1, 2, 4 or 8 bytes, not 3");
    EXPECT_EQ(refusalOf("offset=238:4"), "'238:4' lies outside the trace header, whose bytes count from 1 to 240");
    EXPECT_EQ(refusalOf("offset=0:4"), "'0:4' lies outside the trace header, whose bytes count from 1 to 240");
    EXPECT_EQ(refusalOf("offset=37"), "'37' is no place in the trace header, expected BYTE:SIZE such as 37:4");
    EXPECT_EQ(refusalOf("offset=37:4x"), "'37:4x' is no place in the trace header, expected BYTE:SIZE such as 37:4");
    EXPECT_EQ(refusalOf("offset=99999999999:4"),
              "'99999999999:4' is no place in the trace header, expected BYTE:SIZE such as 37:4");
    EXPECT_EQ(refusalOf("offset"), "'offset' is no header assignment, expected NAME=BYTE:SIZE such as offset=37:4");
    EXPECT_EQ(refusalOf("offset=37:4,"), "'' is no header assignment, expected NAME=BYTE:SIZE such as offset=37:4");
    EXPECT_EQ(refusalOf("offset=237:4"), "");
}

TEST(HeaderMap, ListsEveryNameOnce) {
    std::vector<std::string> names = HeaderMap::names();
    EXPECT_EQ(names.size(), wordCount);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end());
}
