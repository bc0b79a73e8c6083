#include <gtest/gtest.h>
#include <pelta/numeric.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/bits.h"
#include "support/files.h"

/* Stands before the C library's: requests above a limit fail, and the last one is known. The sanitizers have their own. */
namespace {
std::size_t largestAllocation = SIZE_MAX, lastAllocation = 0;
}
#if !defined(__SANITIZE_ADDRESS__)
extern "C" void* __libc_realloc(void* memory, std::size_t size);
extern "C" __attribute__((visibility("default"))) void* realloc(void* memory, std::size_t size) noexcept {
    lastAllocation = size;
    return size > largestAllocation ? nullptr : __libc_realloc(memory, size);
}
#endif

namespace {

/* A list and what was left of its text. */
template <class Value>
struct List {
    std::vector<Value> values;
    std::string text;
};

/* The text stands in memory of its own length, and so do the values, so that the sanitizers see a step beyond. */
template <class Value>
List<Value> listIn(const std::string& text, void (*parse)(char*, Value**, int*)) {
    const auto copy = std::make_unique<char[]>(text.size() + 1);
    std::copy_n(text.c_str(), text.size() + 1, copy.get());
    Value* array = nullptr;
    int count = -1;
    parse(copy.get(), &array, &count);
    EXPECT_EQ(array == nullptr, count == 0);
    List<Value> list{{array, array + count}, {copy.get(), text.size() + 1}};
    std::free(array);
    return list;
}

std::vector<int> intsIn(const std::string& text) { return listIn(text, peltaParseInt).values; }
std::vector<float> floatsIn(const std::string& text) { return listIn(text, peltaParseFloat).values; }

struct Groups {
    std::vector<float> values;
    std::vector<int> counts;
    bool operator==(const Groups&) const = default;
};

Groups groupsIn(const std::string& text, std::size_t mostValues = 64, std::size_t mostGroups = 64) {
    const auto copy = std::make_unique<char[]>(text.size() + 1);
    std::copy_n(text.c_str(), text.size() + 1, copy.get());
    std::vector<float> values(mostValues);
    std::vector<int> counts(mostGroups);
    float* valuesStart = values.data();
    int *countsStart = counts.data(), groupCount = -1;
    peltaParseFloat2(copy.get(), &valuesStart, &countsStart, &groupCount);
    EXPECT_EQ(std::string(copy.get()), text) << "the text is kept";
    EXPECT_EQ(valuesStart, values.data());
    EXPECT_EQ(countsStart, counts.data());
    counts.resize(groupCount);
    std::size_t valueCount = 0;
    for (int count : counts) valueCount += count;
    values.resize(valueCount);
    return {values, counts};
}

constexpr char delimiters[] =
    "\x20\x0D\x0A\x09\x21\x40\x23\x24\x25\x5E\x26\x2A\x28\x29\x5F\x2B\x2D\x3D\x7B\x7D\x7C\x5C\x3A\x27\x3F\x2C\x3C\x3E\x3F"
    "\xEF\xBF\xBD\x3F";

template <class Value>
Value converted(const char* token);
template <>
int converted(const char* token) {
    return static_cast<int>(std::strtol(token, nullptr, 10));
}
template <>
float converted(const char* token) {
    return std::strtof(token, nullptr);
}

template <class Value>
List<Value> plainList(std::string text) {
    List<Value> list;
    char* state = nullptr;
    for (char* token = strtok_r(text.data(), delimiters, &state); token; token = strtok_r(nullptr, delimiters, &state))
        list.values.push_back(converted<Value>(token));
    list.text = {text.c_str(), text.size() + 1};
    return list;
}

Groups plainGroups(const std::string& text) {
    Groups groups;
    for (std::size_t position = 0; position + 1 < text.size();) {
        std::size_t length = std::min(text.find('/', position), text.size()) - position;
        if (length == 0) length = text.size() - position - 1;
        const std::vector<float> values = plainList<float>(text.substr(position, length)).values;
        groups.values.insert(groups.values.end(), values.begin(), values.end());
        groups.counts.push_back(static_cast<int>(values.size()));
        position += length + 1;
    }
    return groups;
}

std::string randomText(std::mt19937& engine, std::string_view alphabet, int longest) {
    std::string text(engine() % (longest + 1), ' ');
    for (char& character : text) character = alphabet[engine() % alphabet.size()];
    return text;
}

void expectPlainFloats(const std::string& text) {
    const List<float> actual = listIn(text, peltaParseFloat), expected = plainList<float>(text);
    ASSERT_TRUE(sameSamples(actual.values, expected.values)) << text.substr(0, 200);
    ASSERT_TRUE(actual.text == expected.text) << text.substr(0, 200);
}

TEST(ParseInt, ReadsNumbersBetweenDelimiters) {
    EXPECT_EQ(intsIn("10, 20;30"), (std::vector<int>{10, 20}));
    EXPECT_EQ(intsIn("1 2\t3\r\n4"), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(intsIn("  (100:200) "), (std::vector<int>{100, 200}));
}

TEST(ParseInt, IgnoresWhatDoesNotBelongToANumber) {
    EXPECT_EQ(intsIn("12abc 1/2 2.75 abc 0x10 /"), (std::vector<int>{12, 1, 2, 0, 0, 0}));
    EXPECT_EQ(intsIn("\v\f5 ;6"), (std::vector<int>{5, 0})) << "white space that is no delimiter precedes a number";
    EXPECT_EQ(intsIn("0017 08"), (std::vector<int>{17, 8})) << "never octal";
}

TEST(ParseInt, TakesTheMinusSignForADelimiter) { EXPECT_EQ(intsIn("5 -3 7-9"), (std::vector<int>{5, 3, 7, 9})); }

TEST(ParseInt, FindsNothingInAnEmptyTextOrAmongDelimiters) {
    EXPECT_TRUE(intsIn("").empty());
    EXPECT_TRUE(intsIn(delimiters).empty());
    EXPECT_TRUE(intsIn("  ").empty());
}

TEST(ParseInt, CutsLargeValuesToThirtyTwoBits) {
    EXPECT_EQ(intsIn("2147483647"), (std::vector<int>{2147483647}));
    const bool isLong = sizeof(long) == 8;
    EXPECT_EQ(intsIn("4294967301"), (std::vector<int>{isLong ? 5 : 2147483647}));
    EXPECT_EQ(intsIn("99999999999999999999"), (std::vector<int>{isLong ? -1 : 2147483647})) << "the largest long";
}

TEST(ParseInt, MatchesStrtokAndStrtolOnRandomTexts) {
    std::mt19937 engine(1);
    for (int turn = 0; turn < 20000; ++turn) {
        const std::string text = randomText(engine, "0123456789 ,-;ax\v\\", 40);
        const List<int> actual = listIn(text, peltaParseInt), expected = plainList<int>(text);
        ASSERT_EQ(actual.values, expected.values) << text;
        ASSERT_TRUE(actual.text == expected.text) << text;
    }
}

TEST(ParseFloat, ReadsNumbersBetweenDelimiters) {
    EXPECT_EQ(floatsIn("1.5 -2.5"), (std::vector<float>{1.5f, 2.5f}));
    EXPECT_EQ(floatsIn("5 10.25,60,  80."), (std::vector<float>{5, 10.25f, 60, 80}));
    EXPECT_EQ(floatsIn(".5 . 0.5.5 3m 1/2"), (std::vector<float>{0.5f, 0, 0.5f, 3, 1}));
}

TEST(ParseFloat, FindsNothingInAnEmptyTextOrAmongDelimiters) {
    EXPECT_TRUE(floatsIn("").empty());
    EXPECT_TRUE(floatsIn(delimiters).empty());
}

TEST(ParseFloat, SplitsAtEveryByteOfTheSetAndNoOther) {
    for (int byte = 1; byte < 256; ++byte) {
        const bool isDelimiter = std::strchr(delimiters, byte) != nullptr;
        const std::string text = std::string("7") + static_cast<char>(byte) + "7";
        EXPECT_EQ(floatsIn(text).size(), isDelimiter ? 2u : 1u) << byte;
        EXPECT_EQ(intsIn(text).size(), isDelimiter ? 2u : 1u) << byte;
        EXPECT_EQ(groupsIn(text + "7").values.size(), isDelimiter || byte == '/' ? 2u : 1u) << byte;
    }
    EXPECT_EQ(floatsIn("1\xEF\xBF\xBD"
                       "2\xEF\xBC\x8C"
                       "3"),
              (std::vector<float>{1, 2, 0}))
        << "another character that begins with the same byte leaves what no number begins with";
}

TEST(ParseFloat, KnowsExponentsWithoutASign) {
    EXPECT_EQ(floatsIn("1e3 2.5E2"), (std::vector<float>{1000, 250}));
    EXPECT_EQ(floatsIn("1e-3 1e+3"), (std::vector<float>{1, 3, 1, 3}));
}

TEST(ParseFloat, RoundsADecimalNumberOnce) {
    const char* const justBelowTheMiddle = "1.00000017881393432617187499";
    EXPECT_EQ(bitsOf(floatsIn(justBelowTheMiddle)[0]), 0x3F800001u);
    EXPECT_EQ(bitsOf(static_cast<float>(std::strtod(justBelowTheMiddle, nullptr))), 0x3F800002u) << "rounded twice";
    EXPECT_EQ(bitsOf(floatsIn("16777217")[0]), 0x4B800000u);
    EXPECT_EQ(bitsOf(floatsIn("16777219")[0]), 0x4B800002u);
    EXPECT_EQ(bitsOf(floatsIn("0.1")[0]), 0x3DCCCCCDu);
}

TEST(ParseFloat, ReadsValuesAtTheEndsOfTheRange) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(floatsIn("1e39 340282346638528859811704183484516925440 inf INFINITY"),
              (std::vector<float>{infinity, std::numeric_limits<float>::max(), infinity, infinity}));
    EXPECT_TRUE(std::isnan(floatsIn("nan")[0]));
    EXPECT_EQ(floatsIn("0x1.8p3 0xff"), (std::vector<float>{12, 255}));
    const std::string zeros(44, '0');
    EXPECT_EQ(bitsOf(floatsIn("0." + zeros + "14")[0]), 1u) << "the smallest denormal";
    EXPECT_EQ(bitsOf(floatsIn("0." + zeros + "0014")[0]), 0u);
}

TEST(ParseFloat, MatchesStrtofOnRandomNumbers) {
    std::mt19937_64 engine(2);
    char number[80];
    for (int turn = 0; turn < 2000; ++turn) {
        std::string text;
        for (int k = 0; k < 1000; ++k) {
            const auto digits = engine() >> (engine() % 64);
            const int decimals = static_cast<int>(engine() % 22);
            std::snprintf(number, sizeof number, k % 4 ? "%.*f" : "%.*g", decimals,
                          static_cast<double>(digits) / std::pow(10.0, static_cast<double>(engine() % 20)));
            text += number;
            text += delimiters[engine() % (sizeof delimiters - 1)];
        }
        ASSERT_NO_FATAL_FAILURE(expectPlainFloats(text));
    }
}

/* Numbers in the middle between two floats, and their neighbours of 15 to 18 digits, which double cannot tell from the middle. */
TEST(ParseFloat, MatchesStrtofNearTheMiddleBetweenTwoFloats) {
    std::mt19937_64 engine(3);
    int roundedTwiceDiffers = 0;
    for (int turn = 0; turn < 300; ++turn) {
        std::string text;
        for (int k = 0; k < 1000; ++k) {
            const double middle =
                std::ldexp(static_cast<double>((engine() >> 40 | 1u << 23) * 2 + 1), static_cast<int>(engine() % 40) - 45);
            char number[80];
            std::snprintf(number, sizeof number, "%.*f", static_cast<int>(engine() % 18), middle);
            text += std::string(number) + " ";
            roundedTwiceDiffers += static_cast<float>(std::strtod(number, nullptr)) != std::strtof(number, nullptr);
        }
        ASSERT_NO_FATAL_FAILURE(expectPlainFloats(text));
    }
    EXPECT_GT(roundedTwiceDiffers, 100) << "the test meets what it is for";
}

TEST(ParseFloat, MatchesStrtokAndStrtofOnRandomTexts) {
    std::mt19937 engine(4);
    for (int turn = 0; turn < 100000; ++turn)
        ASSERT_NO_FATAL_FAILURE(expectPlainFloats(randomText(engine, "0123456789..00 ,-;/exnainfp\v\xEF\xBC", 60)));
}

/* German writes a comma, which parts numbers here. */
TEST(ParseFloat, TakesTheFullStopForTheDecimalPointInEveryLocale) {
    const ScratchFolder folder;
    const std::string command = "localedef -i de_DE -f UTF-8 --no-archive '" + folder.file("de_DE.UTF-8") + "' 2>/dev/null";
    if (std::system(command.c_str()) != 0)
        GTEST_SKIP() << "the definition of a German locale is not installed (package locales)";
    const WithVariable localePath("LOCPATH", folder.path().c_str());
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    const float germanValue = std::strtof("2.5", nullptr);
    const std::vector<float> values = floatsIn("2.5 2.5m 1.00000017881393432617187499");
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(germanValue, 2.0f) << "the locale is in force";
    EXPECT_EQ(values, (std::vector<float>{2.5f, 2.5f, floatFromBits(0x3F800001)}));
}

TEST(ParseLists, ResizeTheCallersArray) {
    float* floats = static_cast<float*>(std::malloc(10000 * sizeof(float)));
    int* ints = static_cast<int*>(std::malloc(sizeof(int)));
    char three[] = "1 2 3", more[] = "4 5 6 7";
    int count = -1;
    peltaParseFloat(three, &floats, &count);
    EXPECT_EQ(std::vector<float>(floats, floats + count), (std::vector<float>{1, 2, 3}));
    peltaParseInt(more, &ints, &count);
    EXPECT_EQ(std::vector<int>(ints, ints + count), (std::vector<int>{4, 5, 6, 7}));
    std::free(floats);
    std::free(ints);
}

TEST(ParseLists, LeaveTheArrayWhereThereAreNoNumbers) {
    float floats[1] = {7}, *floatsStart = floats;
    int ints[1] = {8}, *intsStart = ints, count = -1;
    char blank[] = " , ";
    peltaParseFloat(blank, &floatsStart, &count);
    EXPECT_EQ(count, 0);
    count = -1;
    peltaParseInt(blank, &intsStart, &count);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(floatsStart, floats);
    EXPECT_EQ(intsStart, ints);
    EXPECT_EQ(floats[0], 7);
    EXPECT_EQ(ints[0], 8);
}

TEST(ParseLists, TakeANullPointerForAnEmptyText) {
    float* floats = nullptr;
    int *ints = nullptr, count = -1;
    peltaParseFloat(nullptr, &floats, &count);
    EXPECT_EQ(count, 0);
    count = -1;
    peltaParseInt(nullptr, &ints, &count);
    EXPECT_EQ(count, 0);
}

TEST(ParseLists, HoldAsManyNumbersAsThereAre) {
    for (int wanted : {1, 63, 64, 65, 128, 129, 1000, 300000}) {
        std::string text;
        for (int k = 0; k < wanted; ++k) text += std::to_string(k) + " ";
        const std::vector<int> ints = intsIn(text);
        const std::vector<float> floats = floatsIn(text);
        ASSERT_EQ(ints.size(), static_cast<std::size_t>(wanted));
        ASSERT_EQ(floats.size(), static_cast<std::size_t>(wanted));
        for (int k = 0; k < wanted; ++k) {
            ASSERT_EQ(ints[k], k);
            ASSERT_EQ(floats[k], static_cast<float>(k));
        }
    }
}

TEST(ParseLists, FitTheArrayToTheNumbers) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer has an allocator of its own";
#endif
    for (int wanted : {1, 64, 65, 100}) {
        std::string text;
        for (int k = 0; k < wanted; ++k) text += "7 ";
        float* values = nullptr;
        int count = 0;
        peltaParseFloat(text.data(), &values, &count);
        EXPECT_EQ(lastAllocation, wanted * sizeof(float));
        std::free(values);
    }
}

TEST(ParseLists, EndWithTheLastNumberThatCouldBeStored) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer has an allocator of its own";
#endif
    std::string text;
    for (int k = 0; k < 1000; ++k) text += std::to_string(k) + " ";
    for (int most : {1, 63, 64, 100, 128, 999}) {
        std::string floatText = text, intText = text;
        float* floats = nullptr;
        int *ints = nullptr, floatCount = -1, intCount = -1;
        largestAllocation = most * sizeof(float);
        peltaParseFloat(floatText.data(), &floats, &floatCount);
        peltaParseInt(intText.data(), &ints, &intCount);
        largestAllocation = SIZE_MAX;
        EXPECT_EQ(floatCount, most);
        EXPECT_EQ(intCount, most);
        for (int k = 0; k < std::min(floatCount, intCount); ++k) {
            EXPECT_EQ(floats[k], static_cast<float>(k));
            EXPECT_EQ(ints[k], k);
        }
        std::free(floats);
        std::free(ints);
    }
    int* kept = static_cast<int*>(std::malloc(sizeof(int)));
    int* const before = kept;
    *kept = 5;
    int count = -1;
    char number[] = "7";
    largestAllocation = 0;
    peltaParseInt(number, &kept, &count);
    largestAllocation = SIZE_MAX;
    EXPECT_EQ(count, 0);
    EXPECT_EQ(kept, before);
    EXPECT_EQ(*kept, 5);
    std::free(kept);
}

TEST(ParseLists, StayOutOfStrtoksWay) {
    char mine[] = "first second";
    EXPECT_STREQ(std::strtok(mine, " "), "first");
    EXPECT_EQ(intsIn("1 2").size(), 2u);
    EXPECT_EQ(floatsIn("1 2").size(), 2u);
    EXPECT_EQ(groupsIn("1 2/3 4").counts.size(), 2u);
    EXPECT_STREQ(std::strtok(nullptr, " "), "second");
}

TEST(ParseLists, RunInSeveralThreads) {
    std::string text;
    for (int k = 0; k < 20000; ++k) text += std::to_string(k) + ".5abc ";
    std::vector<float> results[2];
    std::thread threads[2];
    for (int k = 0; k < 2; ++k) threads[k] = std::thread([&, k] { results[k] = floatsIn(text); });
    for (std::thread& thread : threads) thread.join();
    for (const auto& result : results) EXPECT_TRUE(sameSamples(result, plainList<float>(text).values));
}

TEST(ParseFloat2, ReadsGroupsBetweenSlashes) {
    EXPECT_EQ(groupsIn("1 2/3 4 5"), (Groups{{1, 2, 3, 4, 5}, {2, 3}}));
    EXPECT_EQ(groupsIn("10"), (Groups{{10}, {1}}));
    EXPECT_EQ(groupsIn("1.5,2.5 / / 30 / 4"), (Groups{{1.5f, 2.5f, 30, 4}, {2, 0, 1, 1}})) << "a blank makes a group";
}

TEST(ParseFloat2, DoesNotReadALastGroupOfOneCharacter) {
    EXPECT_EQ(groupsIn("1/2"), (Groups{{1}, {1}}));
    EXPECT_EQ(groupsIn("1/23"), (Groups{{1, 23}, {1, 1}}));
    EXPECT_EQ(groupsIn("1/2/"), (Groups{{1, 2}, {1, 1}}));
    EXPECT_EQ(groupsIn("1/"), (Groups{{1}, {1}}));
    EXPECT_EQ(groupsIn("7"), Groups{});
    EXPECT_EQ(groupsIn("/"), Groups{});
    EXPECT_EQ(groupsIn(""), Groups{});
}

TEST(ParseFloat2, GivesAnEmptyGroupAllTheRestButTheLastCharacter) {
    EXPECT_EQ(groupsIn("1//2 34"), (Groups{{1, 0, 3}, {1, 2}})) << "the group is the text /2 3";
    EXPECT_EQ(groupsIn("/5 67/8"), (Groups{{0, 67}, {2}})) << "the group is the text /5 67/";
    EXPECT_EQ(groupsIn("1 2//"), (Groups{{1, 2}, {2}}));
    EXPECT_EQ(groupsIn("//"), (Groups{{0}, {1}}));
}

TEST(ParseFloat2, StoresNothingWithoutTextOrArrays) {
    float values[4] = {}, *valuesStart = values, *noValues = nullptr;
    int counts[4] = {}, *countsStart = counts, *noCounts = nullptr, n = -1;
    char text[] = "1 2/3 4";
    peltaParseFloat2(nullptr, &valuesStart, &countsStart, &n);
    EXPECT_EQ(n, 0);
    n = -1;
    peltaParseFloat2(text, &noValues, &countsStart, &n);
    EXPECT_EQ(n, 0);
    n = -1;
    peltaParseFloat2(text, &valuesStart, &noCounts, &n);
    EXPECT_EQ(n, 0);
    EXPECT_EQ(counts[0], 0);
    EXPECT_EQ(values[0], 0);
}

TEST(ParseFloat2, ReadsGroupsOfAnyLength) {
    for (int length : {2046, 2047, 2048, 2049, 1 << 20}) {
        EXPECT_EQ(groupsIn(std::string(length, '0') + "/" + std::string(length, ' ') + "25"), (Groups{{0, 25}, {1, 1}}))
            << length;
        std::string text;
        while (text.size() < static_cast<std::size_t>(length)) text += "1 ";
        const Groups groups = groupsIn(text + "/" + text, 2 << 20);
        EXPECT_EQ(groups.counts, (std::vector<int>(2, static_cast<int>(text.size() / 2)))) << length;
    }
    std::string many;
    for (int k = 0; k < 100000; ++k) many += "12 3/";
    const Groups groups = groupsIn(many, 200000, 100000);
    EXPECT_EQ(groups.counts, std::vector<int>(100000, 2));
}

TEST(ParseFloat2, MatchesThePlainFormOnRandomTexts) {
    std::mt19937 engine(5);
    for (int turn = 0; turn < 100000; ++turn) {
        const std::string text = randomText(engine, "0123456789./// ,;e", 30);
        const Groups actual = groupsIn(text), expected = plainGroups(text);
        ASSERT_EQ(actual.counts, expected.counts) << text;
        ASSERT_TRUE(sameSamples(actual.values, expected.values)) << text;
    }
}

}
