#include "flow/timefunction.h"

#include <gtest/gtest.h>

#include "support/complaint.h"
#include "support/failure.h"

namespace pelta {
namespace {

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

TEST(TimeFunction, NeedsAscendingTimes) {
    EXPECT_EQ(complaintOf<UsageError>([] {
                  TimeFunction({{0, 1500}, {0, 1600}}, "table");
              }),
              "table: times must ascend, but 0 ms follows 0 ms");
}

}
}
