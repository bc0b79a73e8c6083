#include "flow/linearfunction.h"

#include <gtest/gtest.h>

#include "support/complaint.h"
#include "support/failure.h"
#include "support/files.h"

namespace pelta {
namespace {

std::string complaint(const std::string& text) {
    const ScratchFolder folder;
    const std::string name = folder.file("table.csv");
    writeFile(name, text);
    return complaintOf<UsageError>([&] { LinearFunction(readPairs(name, offsetAndTime), offsetAndTime, name); })
        .substr(name.size());
}

TEST(LinearFunction, IsLinearBetweenItsKeysAndConstantBeyond) {
    const LinearFunction function({{0, 100}, {300, 100}, {1300, 600}}, offsetAndTime, "table");
    EXPECT_EQ(function.at(-50), 100);
    EXPECT_EQ(function.at(300), 100);
    EXPECT_EQ(function.at(800), 350);
    EXPECT_EQ(function.at(5000), 600);
    EXPECT_EQ(function.smallestKey(), 0);
    EXPECT_EQ(function.smallestValue(), 100);
}

TEST(LinearFunction, KnowsWhetherItsKeyMatters) {
    EXPECT_TRUE(LinearFunction(3.0).isConstant());
    EXPECT_TRUE(LinearFunction({{0, 7}, {10, 7}}, offsetAndTime, "table").isConstant());
    EXPECT_FALSE(LinearFunction({{0, 7}, {10, 8}}, offsetAndTime, "table").isConstant());
}

TEST(LinearFunction, IsNamedInTheWordsOfItsTable) {
    EXPECT_EQ(complaint("0,1500\nabc,1\n"), ":2: expected an offset in m and a time in ms, found 'abc,1'");
    EXPECT_EQ(complaint("0,1500,3\n"), ":1: expected an offset in m and a time in ms, found '0,1500,3'");
    EXPECT_EQ(complaint("1,nan\n2,inf\n"), ":2: expected an offset in m and a time in ms, found '2,inf'");
    EXPECT_EQ(complaint("500,1\n400,2\n"), ": offsets must ascend, but 400 m follows 500 m");
    EXPECT_EQ(complaint("500,1\n500,2\n"), ": offsets must ascend, but 500 m follows 500 m");
    EXPECT_EQ(complaint(""), ": no pairs of offset and time");
    EXPECT_EQ(complaintOf<Failure>([] { readPairs("/nowhere/mute.csv", offsetAndTime); }),
              "/nowhere/mute.csv: cannot be read: No such file or directory");
}

TEST(Pairs, MayComeInAnyOrder) {
    const ScratchFolder folder;
    writeFile(folder.file("corners.csv"), "# a field\neasting,northing\n20,5\n-10 ; 5\r\n# back\n\n20 5\n");
    EXPECT_EQ(readPairs(folder.file("corners.csv"), {"easting", "", "northing", ""}), (Pairs{{20, 5}, {-10, 5}, {20, 5}}));
}

}
}
