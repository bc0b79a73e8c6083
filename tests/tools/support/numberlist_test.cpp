#include "support/numberlist.h"

#include <gtest/gtest.h>

namespace pelta {
namespace {

using Numbers = std::vector<std::int64_t>;

TEST(NumberList, TakesCommasAndBlanks) {
    for (const char* text : {"3,5,7", "3 5 7", " 3, 5 ,7 ", "3\t5  7"})
        EXPECT_EQ(wholeNumbersIn(text), (Numbers{3, 5, 7})) << text;
    EXPECT_EQ(wholeNumbersIn("007"), (Numbers{7}));
    EXPECT_EQ(wholeNumbersIn("999999999 0"), (Numbers{999999999, 0}));
}

TEST(NumberList, TakesNothingThatCouldBeMisread) {
    for (const char* text : {"", " ", ",", "5,,7", ",5", "5,", "5 , , 7", "5 -3", "-3", "3-7", "1.5", "12abc", "1/2", "1;2",
                             "x 5", "1000000000", "0x10"})
        EXPECT_EQ(wholeNumbersIn(text), std::nullopt) << text;
}

TEST(NumberList, ReadsTheRealNumbersOfALine) {
    using Reals = std::vector<double>;
    for (const char* text : {"1.5,-2e3;7", " 1.5 ; -2000\t7\r", "1.5 -2000, 7 ,"})
        EXPECT_EQ(realNumbersIn(text), (Reals{1.5, -2000, 7})) << text;
    EXPECT_EQ(realNumbersIn(" ,\t"), Reals());
    EXPECT_EQ(realNumbersIn("\"1.5\", +2 ,\"3\",,;"), (Reals{1.5, 2, 3})) << "as spreadsheets write them";
    for (const char* text : {"1,,2", ",1", "1, ;2", "\"1,5\"", "\"1 2\"", "+-1", "0x10"})
        EXPECT_EQ(realNumbersIn(text), std::nullopt) << text << " could be misread";
    EXPECT_EQ(realNumbersIn(std::string_view("15\0 20", 6)), std::nullopt);
    for (const char* text : {"1.5m", "x", "1,nan", "inf", "1e999", "1-2"}) EXPECT_EQ(realNumbersIn(text), std::nullopt) << text;
}

}
}
