#include "flow/timefunction.h"

#include <gtest/gtest.h>

#include "support/failure.h"
#include "support/files.h"

namespace pelta {
namespace {

std::string complaint(const std::string& text) {
    const ScratchFolder folder;
    const std::string name = folder.file("function.csv");
    writeFile(name, text);
    try {
        readTimeFunction(name);
    } catch (const UsageError& error) { return std::string(error.what()).substr(name.size()); }
    return "";
}

TEST(TimeFunction, IsLinearBetweenItsTimesAndConstantBeyond) {
    const TimeFunction function({{100, 1500}, {300, 1700}, {400, 1600}}, "table");
    EXPECT_EQ(function.at(0), 1500);
    EXPECT_EQ(function.at(100), 1500);
    EXPECT_EQ(function.at(200), 1600);
    EXPECT_EQ(function.at(350), 1650);
    EXPECT_EQ(function.at(1000), 1600);
    EXPECT_EQ(function.smallestValue(), 1500);
    EXPECT_EQ(TimeFunction(2000.0).at(-5), 2000);
}

TEST(TimeFunction, ReadsATableWithHeadingCommentsAndAnySeparator) {
    const ScratchFolder folder;
    writeFile(folder.file("function.csv"), "time_ms,velocity\n# water\n0,1500\n\n1000 ; 2000\r\n");
    const TimeFunction function = readTimeFunction(folder.file("function.csv"));
    EXPECT_EQ(function.at(500), 1750);
}

TEST(TimeFunction, NamesTheLineThatIsWrong) {
    EXPECT_EQ(complaint("0,1500\nabc,1\n"), ":2: expected a time in ms and a value, found 'abc,1'");
    EXPECT_EQ(complaint("0,1500,3\n"), ":1: expected a time in ms and a value, found '0,1500,3'");
    EXPECT_EQ(complaint("0,1500\n0,1600\n"), ": times must ascend, but 0 ms follows 0 ms");
    EXPECT_EQ(complaint("# nothing\n"), ": no pairs of time and value");
    EXPECT_THROW(readTimeFunction("/nowhere/v.csv"), UsageError);
}

}
}
