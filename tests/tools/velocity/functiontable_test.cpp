#include "velocity/functiontable.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <thread>

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

TEST(FunctionTable, BelievesTheHeadingOfOneFunctionToo) {
    EXPECT_EQ(tableOf("velocity,time\n1500,0\n2000,1000\n").onlyPairs(), shallow);
    EXPECT_EQ(tableOf("time_s,velocity\n0,1500\n1,2000\n").onlyPairs(), shallow);
    EXPECT_EQ(complaint("time_ms,velocity\n0,1500\n900,1600\n800,1700\n"), ":4: times must ascend, but 800 ms follows 900 ms");
    EXPECT_EQ(complaint("0,1500\n900,-1600\n"),
              ":2: a velocity of -1600 m/s at 900 ms, expected more than 0 and at most 1e+06");
    EXPECT_EQ(complaint("0,1500\n900,1600,1700\n"), ":2: expected 2 numbers, found '900,1600,1700'");
}

TEST(FunctionTable, TakesUnitsFromTheHeading) {
    for (const char* time : {"TIME_S", "time_sec", "Time (s)", "t[seconds]"})
        EXPECT_EQ(tableOf(std::string("cdp,") + time + ",v\n150,0,1500\n150,1,2000\n").functions[0].pairs, shallow) << time;
    EXPECT_EQ(tableOf("cdp,twt_us,v\n150,0,1500\n150,1000000,2000\n").functions[0].pairs, shallow);
    EXPECT_EQ(tableOf("cdp;Time (ms);Vrms km/s\n150;0;1.5\n150;1000;2\n").functions[0].pairs, shallow);
    const Pairs fromFeet = tableOf("cdp,time_ms,velocity_ft_per_s\n150,0,5000\n150,1000,10000\n").functions[0].pairs;
    EXPECT_DOUBLE_EQ(fromFeet[0].second, 1524);
    EXPECT_DOUBLE_EQ(fromFeet[1].second, 3048);
}

TEST(FunctionTable, TakesWhatSpreadsheetsWrite) {
    const FunctionTable table = tableOf(
        "\xEF\xBB\xBF\"cdp\",\"time_ms\",\"velocity\",\"time_ms\",\"velocity\"\r\n\"150\",0,1500,1000,2000\r\n160,100,1600,,"
        "\r\n"
        "160,2000,2500,,\r\n");
    ASSERT_EQ(table.functions.size(), 2u);
    EXPECT_EQ(table.functions[0].pairs, shallow) << "every pair that a heading names";
    EXPECT_EQ(table.functions[1].pairs, deep);
    EXPECT_EQ(complaint("cdp,cmp_x,cmp_y,t,v\n1,2,3,0,1500,900,2000\n"), "");
}

/* A pipe can be read once. */
TEST(FunctionTable, ReadsTheWholeOfAPipe) {
    const ScratchFolder folder;
    const std::string name = folder.file("pipe");
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    constexpr int functions = 5000;
    std::thread writer([&] {
        std::ofstream file(name);
        file << "cdp,time,velocity\n";
        for (int cdp = 1; cdp <= functions; ++cdp) file << cdp << ",0,1500,1000,2000\n";
    });
    const FunctionTable table = readFunctions(name);
    writer.join();
    ASSERT_EQ(table.functions.size(), 5000u);
    EXPECT_EQ(table.functions.front().cdp, 1);
    EXPECT_EQ(table.functions.back().line, functions + 1);
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
    EXPECT_EQ(complaint(heading + "150,16777216,1500,16777217,2000\n"),
              ":2: times must ascend, but 16777217 ms follows 16777216 ms at CDP 150")
        << "one time in single precision";
    EXPECT_EQ(complaint(heading + "150.5,0,1500\n"), ":2: a CDP of 150.5, expected a whole number up to 2147483647");
    EXPECT_EQ(complaint(heading + "2147483648,0,1500\n"), ":2: a CDP of 2147483648, expected a whole number up to 2147483647");
    EXPECT_EQ(complaint(heading + "150,,1800,1100,2300,1500\n"), ":2: expected 3 numbers, found '150,,1800,1100,2300,1500'")
        << "what is left out moves nothing up";
    EXPECT_EQ(complaint(heading + "150,0,1500\n150,100000.5,1800\n150,100000.25,2000\n"),
              ":4: times must ascend, but 100000.25 ms follows 100000.5 ms at CDP 150");
    EXPECT_EQ(complaint("x,y,time_ms,velocity_m_per_s\n7,40000001,0,1500\n"),
              ":2: x 7, y 40000001 lies outside the square of -40000000 to 40000000 that velocities are interpolated in");
    EXPECT_EQ(complaint("x,y,time_ms,velocity_m_per_s\n7,-40000000,0,1500,1000,2000\n"), "") << "the border belongs to it";
    EXPECT_NE(complaint("x,y,time_ms,velocity_m_per_s\n40000000,-40000000,0,1500,1000,2000\n"), "") << "but not the corners";
}

TEST(FunctionTable, AsksForAHeadingThatItUnderstands) {
    const std::string expected =
        ":1: expected two columns, time and velocity, or a heading that names the columns cdp (or x and y), time_ms and "
        "velocity_m_per_s";
    EXPECT_EQ(complaint("1,2,0,1500\n"), expected);
    EXPECT_EQ(complaint("place,time,velocity\n1,0,1500\n"), expected + ", found 'place,time,velocity'");
    EXPECT_EQ(complaint("x,time,velocity\n1,0,1500\n"), expected + ", found 'x,time,velocity'");
    EXPECT_EQ(complaint("cdp,time\n1,0,1500\n"), expected + ", found 'cdp,time'");
    EXPECT_EQ(complaint("cdp,time\n1,0\n"), expected + ", found 'cdp,time'") << "no time and velocity";
    EXPECT_EQ(complaint("# by hand\nof my line\ncdp,time,velocity\n1,0,1500\n"),
              ":2" + expected.substr(2) + ", found 'of,my,line'");
    EXPECT_EQ(complaint("cdp,cmp,time,velocity\n1,2,0,1500\n"), ":1: 'cmp' repeats what a column before it holds");
    EXPECT_EQ(complaint("cdp,time_s,velocity,time_ms,velocity\n1,0,1500,900,2000\n"),
              ":1: 'time_ms' repeats what a column before it holds");
    for (const char* text : {"", "\n", "# nothing\n", "cdp,time,velocity\n"})
        EXPECT_EQ(complaint(text), ": no velocity functions");
    EXPECT_THROW(readFunctions("/nowhere/v.csv"), Failure);
}

}
}
