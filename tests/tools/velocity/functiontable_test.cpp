#include "velocity/functiontable.h"

#include <gtest/gtest.h>

#include "support/failure.h"
#include "support/files.h"

namespace pelta::velocity {
namespace {

FunctionTable tableOf(const std::string& text) {
    const ScratchFolder folder;
    writeFile(folder.file("v.csv"), text);
    return readFunctions(folder.file("v.csv"));
}

/* What is said of a table behind its file's name. */
std::string complaint(const std::string& text) {
    const ScratchFolder folder;
    const std::string name = folder.file("v.csv");
    writeFile(name, text);
    try {
        readFunctions(name);
    } catch (const UsageError& error) { return std::string(error.what()).substr(name.size()); }
    return "";
}

const Pairs shallow = {{0, 1500}, {1000, 2000}}, deep = {{100, 1600}, {2000, 2500}};

TEST(FunctionTable, HoldsFunctionsByCdpAPairALine) {
    const FunctionTable table =
        tableOf("cdp,time_ms,velocity_m_per_s\n150,0,1500\n150,1000,2000\n# next\n\n160,100,1600\n160,2000,2500\n");
    ASSERT_EQ(table.functions.size(), 2u);
    EXPECT_EQ(table.functions[0].cdp, 150);
    EXPECT_FALSE(table.functions[0].place);
    EXPECT_EQ(table.functions[0].pairs, shallow);
    EXPECT_EQ(table.functions[0].line, 2);
    EXPECT_EQ(table.functions[1].cdp, 160);
    EXPECT_EQ(table.functions[1].pairs, deep);
    EXPECT_EQ(table.functions[1].line, 6);
    EXPECT_FALSE(table.holdsEverywhere());
}

TEST(FunctionTable, HoldsFunctionsByPlaceWithSeveralPairsALine) {
    const FunctionTable table = tableOf("x y time_ms velocity\n1200.5 -800 0 1500 1000 2000\n7 8 100 1600\n7 8 2000 2500\n");
    ASSERT_EQ(table.functions.size(), 2u);
    EXPECT_EQ(table.functions[0].place, (Place{1200.5, -800}));
    EXPECT_EQ(table.functions[0].where(), "x 1200.5, y -800");
    EXPECT_EQ(table.functions[0].pairs, shallow);
    EXPECT_EQ(table.functions[1].pairs, deep);
}

TEST(FunctionTable, TakesColumnsUnderUsualNamesInAnyOrder) {
    const FunctionTable table = tableOf("VNMO;TWT_s;remark;CDP_Y;CDP_X;CMP_corr\n1500;0;9;2;1;150\n2000;1;9;2;1;150\n");
    ASSERT_EQ(table.functions.size(), 1u);
    EXPECT_EQ(table.functions[0].cdp, 150);
    EXPECT_EQ(table.functions[0].place, (Place{1, 2}));
    EXPECT_EQ(table.functions[0].pairs, shallow) << "times in seconds become ms";
}

TEST(FunctionTable, NeedsNoHeadingForCdpTimeAndVelocity) {
    const FunctionTable table = tableOf("150 0 1500\r\n150 1000 2000\r\n160 100 1600 2000 2500\r\n");
    ASSERT_EQ(table.functions.size(), 2u);
    EXPECT_EQ(table.functions[0].cdp, 150);
    EXPECT_EQ(table.functions[0].pairs, shallow);
    EXPECT_EQ(table.functions[1].pairs, deep);
}

TEST(FunctionTable, CanBeJoinedOutOfSeveral) {
    const std::string heading = "cdp,time_ms,velocity_m_per_s\n";
    const FunctionTable table = tableOf(heading + "150,0,1500\n150,1000,2000\n" + heading + "160,100,1600\n160,2000,2500\n");
    ASSERT_EQ(table.functions.size(), 2u);
    EXPECT_EQ(table.functions[1].pairs, deep);
}

TEST(FunctionTable, IsOneFunctionForAllPlacesWithoutThem) {
    for (const char* text :
         {"0,1500\n1000,2000\n", "time_ms,velocity_m_per_s\n0,1500\n1000,2000\n", "of the sea\n0 1500\n1000 2000\n"}) {
        const FunctionTable table = tableOf(text);
        EXPECT_TRUE(table.holdsEverywhere()) << text;
        EXPECT_EQ(table.onlyPairs(), shallow) << text;
    }
    EXPECT_EQ(tableOf("1000,2000\n").onlyPairs().size(), 1u) << "one velocity, by a pair";
    EXPECT_FALSE(tableOf("cdp,time,velocity\n150,0,1500\n150,1000,2000\n").holdsEverywhere());
}

TEST(FunctionTable, NamesTheLineThatIsWrong) {
    const std::string heading = "cdp,time_ms,velocity_m_per_s\n";
    EXPECT_EQ(complaint(heading + "150,0,1500\n150,900,1800\n150,800,2000\n"),
              ":4: times must ascend, but 800 ms follows 900 ms at CDP 150");
    EXPECT_EQ(complaint(heading + "150,0,1500,0,1600\n"), ":2: times must ascend, but 0 ms follows 0 ms at CDP 150");
    EXPECT_EQ(complaint(heading + "150,0,1500\n150,1000,2000\n160,0,1500\n170,0,1500\n"),
              ":4: the function at CDP 160 has one pair of time and velocity; it needs two at least");
    EXPECT_EQ(complaint("x,y,time_ms,velocity_m_per_s\n7,8,0,1500\n"),
              ":2: the function at x 7, y 8 has one pair of time and velocity; it needs two at least");
    EXPECT_EQ(complaint(heading + "150,0,1500,1000\n"), ":2: 2 times and 1 velocity; every time needs a velocity");
    EXPECT_EQ(complaint(heading + "150,0,1500,1000,2000,3000\n"), ":2: 3 times and 2 velocities; every time needs a velocity");
    EXPECT_EQ(complaint(heading + "150,0\n"), ":2: 1 time and 0 velocities; every time needs a velocity");
    EXPECT_EQ(complaint(heading + "150\n"), ":2: expected 3 numbers, found '150'");
    EXPECT_EQ(complaint("time_ms,velocity_m_per_s,cdp\n0,1500,150,1000,2000\n"),
              ":2: expected 3 numbers, found '0,1500,150,1000,2000'");
    EXPECT_EQ(complaint(heading + "150,0,fast\n"), ":2: expected 3 numbers, found '150,0,fast'");
    EXPECT_EQ(complaint(heading + "150,0,1500\n150,1000,0\n"),
              ":3: a velocity of 0 m/s at 1000 ms, expected more than 0 and at most 1e+06");
    EXPECT_EQ(complaint(heading + "150,0,2e6\n"),
              ":2: a velocity of 2e+06 m/s at 0 ms, expected more than 0 and at most 1e+06");
    EXPECT_EQ(complaint(heading + "150,1e9,2000\n"), ":2: a time of 1e+09 ms, expected at most 1e+08");
    EXPECT_EQ(complaint(heading + "150.5,0,1500\n"), ":2: a CDP of 150.5, expected a whole number");
    EXPECT_EQ(complaint("x,y,time_ms,velocity_m_per_s\n7,40000001,0,1500\n"),
              ":2: x 7, y 40000001 lies outside the square of -40000000 to 40000000 that velocities are interpolated in");
    EXPECT_EQ(complaint("x,y,time_ms,velocity_m_per_s\n7,-40000000,0,1500,1000,2000\n"), "") << "the border belongs to it";
    EXPECT_NE(complaint("x,y,time_ms,velocity_m_per_s\n40000000,-40000000,0,1500,1000,2000\n"), "") << "but not the corners";
    EXPECT_EQ(complaint(heading), ": no velocity functions");
}

TEST(FunctionTable, AsksForAHeadingThatItUnderstands) {
    const std::string expected =
        ": expected two columns, time and velocity, or a heading that names the columns cdp (or x and y), time_ms and "
        "velocity_m_per_s";
    EXPECT_EQ(complaint("1,2,0,1500\n"), expected);
    EXPECT_EQ(complaint("place,time,velocity\n1,0,1500\n"), expected + ", found 'place,time,velocity'");
    EXPECT_EQ(complaint("x,time,velocity\n1,0,1500\n"), expected + ", found 'x,time,velocity'");
    EXPECT_EQ(complaint("cdp,time\n1,0,1500\n"), expected + ", found 'cdp,time'");
    EXPECT_EQ(complaint(""), ": no pairs of time and value");
    EXPECT_THROW(readFunctions("/nowhere/v.csv"), UsageError);
}

}
}
