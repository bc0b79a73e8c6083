#include <gtest/gtest.h>

#include "support/peltacommand.h"

namespace {

/* Lines of which others are taken. */
class PlottedDifference : public testing::Test {
  protected:
    void SetUp() override {
        if (!hasPictures()) GTEST_SKIP() << "built without pictures";
        make(line, "--records 6 --samples 400 --lateral 30");
    }
    static void make(const std::string& name, const std::string& options) {
        ASSERT_EQ(runPelta("synth " + name + " --channels 24 --noise 0.02 " + options).status, 0);
    }
    std::string drawn(const std::string& name, const std::string& arguments) {
        const Outcome outcome = runPelta("plot " + line + " " + (folder / name) + " --title x --records 2,3 " + arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return contentsOf(folder / name);
    }

    const TemporaryFolder folder;
    const std::string line = folder / "line.sgy", other = folder / "other.sgy";
};

TEST_F(PlottedDifference, ShowsWhatADifferenceVelocitiesMake) {
    make(other, "--records 6 --samples 400");
    const std::string difference = drawn("d.png", "--minus " + other);
    EXPECT_NE(difference, drawn("l.png", ""));
    EXPECT_NE(difference, drawn("n.png", "--minus " + line)) << "nothing is left";
}

TEST_F(PlottedDifference, IsRefusedForLinesThatDoNotFit) {
    const auto expectRefusalOfOther = [&](const std::string& complaint) {
        expectRefusal(folder, "plot " + line + " " + (folder / "r.png") + " --minus " + other, 1,
                      other + ": " + complaint + line);
    };
    make(other, "--records 6 --samples 300");
    expectRefusalOfOther("trace 1 has 300 samples, and 400 in ");
    make(other, "--records 6 --samples 400 --interval 4 --overwrite");
    expectRefusalOfOther("a sample every 4 ms, and every 2 ms in ");
    make(other, "--records 5 --samples 400 --overwrite");
    expectRefusalOfOther("there are fewer traces than in ");
    std::string late = contentsOf(line);
    constexpr std::size_t secondTrace = 3600 + 240 + 4 * 400, lowDelayByte = 109;
    late[secondTrace + lowDelayByte] = 8;
    std::ofstream(other, std::ios::binary) << late;
    expectRefusalOfOther("trace 2 begins at 8 ms, and at 0 ms in ");
}

TEST_F(PlottedDifference, LeavesBothLinesAsTheyAre) {
    const std::string drawing = folder / "line.png";
    std::filesystem::copy(line, drawing);
    for (const std::string& arguments : {drawing + " " + drawing, line + " " + drawing + " --minus " + drawing})
        expectInputKept("plot " + arguments, drawing);
}

}
