#include "gridding/pointtable.h"

#include <gtest/gtest.h>

#include <random>

#include "support/failure.h"
#include "support/files.h"

namespace pelta::gridding {
namespace {

class PointTableFile : public testing::Test {
  protected:
    PointSet read(const std::string& text, const Columns& columns = {}) {
        writeFile(name, text);
        return PointTable(name).read(columns);
    }
    void expectFailure(const std::string& text, const std::string& complaint, const Columns& columns = {}) {
        try {
            read(text, columns);
            ADD_FAILURE() << "taken: " << text;
        } catch (const Failure& failure) { EXPECT_EQ(failure.what(), folder.file("") + complaint); }
    }
    static void expectPoints(const PointSet& set, const std::vector<double>& x, const std::vector<double>& y,
                             const std::vector<double>& z) {
        EXPECT_EQ(set.points.x, x);
        EXPECT_EQ(set.points.y, y);
        EXPECT_EQ(set.points.z, z);
    }
    const ScratchFolder folder;
    const std::string name = folder.file("p.csv");
};

TEST_F(PointTableFile, TakesTheFirstThreeColumnsWithoutAHeading) {
    for (const char* text : {"1,2,3\n-4.5,5e2,+6\n", "1;2;3\r\n-4.5; 5e2 ;+6\r\n", "1\t2\t3\n-4.5\t5e2\t+6",
                             "  1  2   3\n\n# a remark\n-4.5 5e2 +6 and more\n"})
        expectPoints(read(text), {1, -4.5}, {2, 500}, {3, 6});
    EXPECT_EQ(read("1,2,3\n").xName, "x");
}

TEST_F(PointTableFile, TakesColumnsByHeadingAndByNumber) {
    const PointSet set = read("name,\"easting\",northing , depth\nA,1,2,3\nB,4,5,6\n", {"easting", "northing", "4"});
    expectPoints(set, {1, 4}, {2, 5}, {3, 6});
    EXPECT_EQ(set.xName, "easting");
    EXPECT_EQ(set.yName, "northing");
    EXPECT_EQ(set.zName, "depth") << "a number has a heading too";
    expectPoints(read("x y z\n1 2 3\n", {"2", "1", "3"}), {2}, {1}, {3});
    expectPoints(read("1,2,3\n", {"3", "3", "1"}), {3}, {3}, {1});
    expectPoints(read("\xEF\xBB\xBF"
                      "1,2,3\n"),
                 {1}, {2}, {3});
}

TEST_F(PointTableFile, PassesOverLinesWithoutAValue) {
    const PointSet set = read("x,y,z\n1,2,\n3,4,5\n6,7, \n");
    expectPoints(set, {3}, {4}, {5});
    EXPECT_EQ(set.withoutValue, 2);
}

TEST_F(PointTableFile, NamesTheLineThatItCannotUnderstand) {
    expectFailure("1,2,3\n4,five,6\n", "p.csv:2: column 2 is 'five', expected a number");
    expectFailure("x,y,z\n\n# remark\n1,2,3m\n", "p.csv:4: column z is '3m', expected a number");
    expectFailure("1,2,3\n,5,6\n", "p.csv:2: column 1 is '', expected a number");
    expectFailure("1,2,3\n4,5\n", "p.csv:2: expected 3 columns or more, found '4,5'");
    expectFailure("1,2,3\n4;5;6\n", "p.csv:2: expected 3 columns or more, found '4;5;6'");
    expectFailure("1 2\n", "p.csv:1: expected 3 columns or more, found '1 2'");
    expectFailure("1,2,3\n" + std::string(100, '4') + "\n",
                  "p.csv:2: expected 3 columns or more, found '" + std::string(60, '4') + " ...'");
}

TEST_F(PointTableFile, RefusesWhatIsNoFiniteNumber) {
    for (const char* text : {"nan", "NaN", "inf", "-inf", "1e999"}) {
        expectFailure("1,2,3\n4,5," + std::string(text) + "\n",
                      "p.csv:2: column 3 is '" + std::string(text) + "', expected a number");
        expectFailure(std::string(text) + ",5,6\n", "p.csv:1: column 1 is '" + std::string(text) + "', expected a number");
    }
    expectFailure("1,2,1e39\n", "p.csv:1: column 3 is '1e39', more than single precision holds");
}

TEST_F(PointTableFile, NamesTheHeadingThatIsNotThere) {
    expectFailure("easting,northing,depth\n1,2,3\n",
                  "p.csv:1: there is no column 'eastin', did you mean 'easting'?; the headings are easting, northing, depth",
                  {"eastin", "northing", "depth"});
    EXPECT_THROW(read("1,2,3\n", {"0", "2", "3"}), UsageError);
}

TEST_F(PointTableFile, SaysWhatIsWrongWithTheFileItself) {
    expectFailure("", "p.csv: holds no points");
    expectFailure("# nothing\n\n", "p.csv: holds no points");
    EXPECT_EQ(read("x,y,z\n").points.size(), 0u);
    EXPECT_THROW(PointTable(folder.file("absent.csv")), Failure);
    EXPECT_THROW(PointTable(folder.path().string()).read({}), Failure);
}

/* Under the sanitizers nothing may be read outside. */
TEST_F(PointTableFile, TakesAnyBytes) {
    const std::string letters("0123456789.,;- \t\n\r#\"exn\0\xEF\xBB\xBF", 27);
    std::mt19937 random(3);
    for (int k = 0; k < 500; ++k) {
        std::string text;
        for (std::size_t length = random() % 60; text.size() < length;) text += letters[random() % letters.size()];
        try {
            const PointSet set = read(text, random() % 2 ? Columns{} : Columns{"n", "2", "e"});
            EXPECT_EQ(set.points.x.size(), set.points.z.size());
        } catch (const Failure& failure) { EXPECT_EQ(std::string(failure.what()).find(folder.file("p.csv")), 0u); }
    }
}

TEST_F(PointTableFile, LetsNoOutputTakeItsPlace) {
    writeFile(name, "1,2,3\n");
    const PointTable table(name);
    EXPECT_THROW(OutputFile(name, true), Failure);
}

}
}
