#include "support/nearest.h"

#include <gtest/gtest.h>

using namespace pelta;

namespace {
const std::vector<std::string> steps = {"bandpass", "gain", "moveout", "pick", "mute"};
}

TEST(NearestName, FindsWhatWasMeant) {
    EXPECT_EQ(nearestName("bandpas", steps), "bandpass");
    EXPECT_EQ(nearestName("bnadpass", steps), "bandpass");
    EXPECT_EQ(nearestName("moevout", steps), "moveout");
    EXPECT_EQ(nearestName("gian", steps), "gain");
    EXPECT_EQ(nearestName("picks", steps), "pick");
}

TEST(NearestName, CountsASwapOfNeighboursAsOneChange) { EXPECT_EQ(nearestName("abdc", {"abxy", "abcd"}), "abcd"); }

TEST(NearestName, IsEmptyWhenNothingIsNear) {
    EXPECT_EQ(nearestName("semblance", steps), "");
    EXPECT_EQ(nearestName("x", steps), "");
    EXPECT_EQ(nearestName("", steps), "");
    EXPECT_EQ(nearestName("gain", {}), "");
    EXPECT_EQ(nearestName(std::string(100000, 'g'), steps), "");
}

TEST(NearestName, TakesTheFirstOfEquals) { EXPECT_EQ(nearestName("stat", {"star", "stay"}), "star"); }

TEST(DidYouMean, AsksOnlyWhenThereIsAName) {
    EXPECT_EQ(didYouMean("gian", steps), ", did you mean 'gain'?");
    EXPECT_EQ(didYouMean("semblance", steps), "");
}
