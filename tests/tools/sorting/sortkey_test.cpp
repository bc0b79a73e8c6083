#include "sorting/sortkey.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "support/failure.h"
#include "support/segyfiles.h"

using namespace pelta;
using namespace pelta::sorting;

namespace {

using Names = std::vector<std::string>;

std::string refusal(const Names& names, const Names& descending = {}) {
    try {
        findFields(segy::HeaderMap(), names, descending);
    } catch (const UsageError& error) { return error.what(); }
    return "none";
}

std::string headerWith(int byte, int size, std::int64_t value, bool isLittle = false) {
    std::string header(240, '\0');
    putWord(header, static_cast<std::size_t>(byte), size, value, isLittle);
    return header;
}

const unsigned char* bytesOf(const std::string& header) { return reinterpret_cast<const unsigned char*>(header.data()); }

}

TEST(SortFields, AreHeaderWordsByNameOrPlace) {
    segy::HeaderMap words;
    words.remap("offset=233:2");
    const std::vector<Field> fields = findFields(words, {"cdp", "offset", "37:4"}, {"offset"});
    ASSERT_EQ(fields.size(), 3u);
    EXPECT_EQ(fields[0].word, (segy::HeaderWord{21, 4}));
    EXPECT_EQ(fields[1].word, (segy::HeaderWord{233, 2}));
    EXPECT_EQ(fields[2].word, (segy::HeaderWord{37, 4}));
    EXPECT_FALSE(fields[0].isDescending);
    EXPECT_TRUE(fields[1].isDescending);
    EXPECT_FALSE(fields[2].isDescending);
}

TEST(SortFields, RefuseWhatMakesNoOrder) {
    EXPECT_EQ(refusal({}), "--by: takes one to 3 header words, not 0");
    EXPECT_EQ(refusal({"cdp", "offset", "record", "channel"}), "--by: takes one to 3 header words, not 4");
    EXPECT_EQ(refusal({"ofset"}), "--by: 'ofset' is no trace-header word, did you mean 'offset'?");
    EXPECT_EQ(refusal({"cdp", ""}), "--by: '' is no trace-header word");
    EXPECT_EQ(refusal({"pick"}), "--by: pick has no place in the trace header; --map pick=BYTE:SIZE gives it one");
    EXPECT_EQ(refusal({"cdp", "21:4"}), "--by: cdp and 21:4 are the same header word");
    EXPECT_EQ(refusal({"cdp", "offset"}, {"channel"}), "--descending: 'channel' is none of --by cdp,offset");
}

TEST(SortKey, OrdersByTheFirstFieldThatDiffersAndThenByPlace) {
    KeyMaker keys(findFields(segy::HeaderMap(), {"cdp", "offset"}, {}), segy::ByteOrder::big);
    const std::string first = headerWith(21, 4, 7), second = headerWith(21, 4, 8);
    EXPECT_LT(keys.make(bytesOf(first), 5), keys.make(bytesOf(second), 4));
    EXPECT_LT(keys.make(bytesOf(first), 4), keys.make(bytesOf(first), 5));
    EXPECT_LT(keys.make(bytesOf(headerWith(37, 4, -100)), 5), keys.make(bytesOf(headerWith(37, 4, 100)), 4));
}

TEST(SortKey, DescendsFromTheLargestValueToTheSmallestThatAWordHolds) {
    KeyMaker keys(findFields(segy::HeaderMap(), {"233:8"}, {"233:8"}), segy::ByteOrder::little);
    const auto keyOf = [&](std::int64_t value) { return keys.make(bytesOf(headerWith(233, 8, value, true)), 0); };
    constexpr auto largest = std::numeric_limits<std::int64_t>::max(), smallest = std::numeric_limits<std::int64_t>::min();
    EXPECT_LT(keyOf(largest), keyOf(1));
    EXPECT_LT(keyOf(1), keyOf(0));
    EXPECT_LT(keyOf(0), keyOf(-1));
    EXPECT_LT(keyOf(-1), keyOf(smallest));
}

TEST(SortKey, KnowsTheFieldsThatWereNeverFilled) {
    KeyMaker keys(findFields(segy::HeaderMap(), {"cdp", "offset"}, {"offset"}), segy::ByteOrder::big);
    EXPECT_TRUE(keys.isEmpty(0));
    keys.make(bytesOf(headerWith(37, 4, -4)), 0);
    keys.make(bytesOf(headerWith(37, 4, 4)), 1);
    EXPECT_TRUE(keys.isEmpty(0));
    EXPECT_FALSE(keys.isEmpty(1));
}
