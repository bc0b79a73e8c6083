#include "inspection/wordranges.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

using namespace pelta::inspection;
using namespace pelta;
using segy::Word;

namespace {

TEST(ValueSet, KnowsWhatItMet) {
    std::mt19937_64 random(1);
    ValueSet set(100000);
    std::set<std::uint64_t> plain;
    for (int k = 0; k < 50000; ++k) {
        const std::uint64_t value = random() % 2 ? random() % 5000 : random() << (random() % 64);
        EXPECT_EQ(set.insert(value), plain.insert(value).second) << value;
    }
    EXPECT_EQ(set.size(), plain.size());
}

TEST(ValueSet, KeepsNoMoreThanItsLimit) {
    for (std::uint64_t first : {0u, 5u}) {
        ValueSet set(3);
        for (std::uint64_t value = first; value < first + 3; ++value) EXPECT_TRUE(set.insert(value));
        EXPECT_TRUE(set.isFull());
        EXPECT_TRUE(set.insert(100)) << "new";
        EXPECT_TRUE(set.insert(100)) << "but not kept";
        EXPECT_FALSE(set.insert(first));
        EXPECT_EQ(set.size(), 3u);
        set.clear();
        EXPECT_TRUE(set.insert(first));
        EXPECT_EQ(set.size(), 1u);
    }
}

segy::Trace traceWith(const segy::Layout& layout, Word word, std::int64_t value) {
    segy::Trace trace;
    trace.header.assign(segy::traceHeaderBytes, 0);
    EXPECT_TRUE(segy::writeUnsignedWord(trace.header.data(), layout.words[word], layout.byteOrder, value & 0xFFFF) ||
                segy::writeWord(trace.header.data(), layout.words[word], layout.byteOrder, value));
    return trace;
}

TEST(ReadWords, TakesSampleCountAndIntervalWithoutSign) {
    const segy::Layout layout;
    EXPECT_EQ(get(readWords(traceWith(layout, Word::samples, 60000), layout), Word::samples), 60000);
    EXPECT_EQ(get(readWords(traceWith(layout, Word::interval, 65535), layout), Word::interval), 65535);
    EXPECT_EQ(get(readWords(traceWith(layout, Word::delay, -10), layout), Word::delay), -10);
}

TEST(ReadWords, ReadsAWordWithoutAPlaceAsZero) {
    const segy::Layout layout;
    EXPECT_EQ(get(readWords(traceWith(layout, Word::delay, -1), layout), Word::pick), 0);
}

TEST(WordRanges, FollowsEachWord) {
    const segy::Layout layout;
    WordRanges ranges;
    for (std::int64_t delay : {5, 0, -7, 5, 5}) {
        const segy::Trace trace = traceWith(layout, Word::delay, delay);
        ranges.take(trace, readWords(trace, layout));
    }
    const WordRange delay = ranges[Word::delay];
    EXPECT_EQ(delay.min, -7);
    EXPECT_EQ(delay.max, 5);
    EXPECT_EQ(delay.filled, 4);
    EXPECT_EQ(delay.distinct, 3);
    EXPECT_TRUE(ranges.isFilled(Word::delay));
    EXPECT_FALSE(ranges.isFilled(Word::offset));
}

TEST(WordRanges, StopsCountingDifferentValuesAtTheLimit) {
    segy::Layout layout;
    WordRanges ranges;
    segy::Trace trace;
    trace.header.assign(segy::traceHeaderBytes, 0);
    const auto take = [&](std::int64_t record) {
        segy::writeWord(trace.header.data(), layout.words[Word::record], layout.byteOrder, record);
        ranges.take(trace, readWords(trace, layout));
    };
    for (std::int64_t record = 1; record <= 65536; ++record) take(record);
    take(1);
    EXPECT_EQ(ranges[Word::record].distinct, 65536);
    take(65537);
    EXPECT_EQ(ranges[Word::record].distinct, std::nullopt);
    EXPECT_EQ(ranges[Word::record].max, 65537);
}

TEST(WordRanges, NamesFilledBytesThatBelongToNoWord) {
    segy::Layout layout;
    WordRanges ranges;
    segy::Trace trace;
    trace.header.assign(segy::traceHeaderBytes, 0);
    for (int byte : {37, 53, 54, 55, 233, 239, 240}) trace.header[static_cast<std::size_t>(byte - 1)] = 1;
    ranges.take(trace, readWords(trace, layout));
    EXPECT_EQ(ranges.otherFilledBytes(layout.words), "53-55, 233, 239-240");
    layout.words.remap("pick=233:2");
    EXPECT_EQ(ranges.otherFilledBytes(layout.words), "53-55, 239-240");
}

}
