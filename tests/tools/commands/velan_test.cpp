#include <gtest/gtest.h>

#include <sstream>
#include <vector>

#include "support/peltacommand.h"

namespace {

/* The number before the text in what was printed. */
double numberBefore(const std::string& text, const std::string& said) {
    const std::size_t end = said.find(text), begin = said.rfind(' ', end - 1);
    return end == std::string::npos ? 1e9 : std::stod(said.substr(begin));
}

/* A synthetic line with the velocities that it was made with. */
class VelocityAnalysis : public testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(runPelta("synth " + line + " --records 12 --samples 1300").status, 0); }
    Outcome velan(const std::string& arguments) { return runPelta("velan " + line + " " + picks + " " + arguments); }

    const TemporaryFolder folder;
    const std::string line = folder / "line.sgy", picks = folder / "picks.csv";
};

TEST_F(VelocityAnalysis, FindsTheVelocitiesOfASyntheticLine) {
    for (const char* choice : {"--cdp 140", "--cdps 138,143", "--record 3"}) {
        const Outcome outcome = velan(choice + std::string(" --overwrite"));
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        constexpr double mostPercent = 1.5;
        EXPECT_LT(numberBefore(" %\n", outcome.out.substr(outcome.out.find("RMS"))), mostPercent) << outcome.out;
    }
}

TEST_F(VelocityAnalysis, WritesWhatTheMoveoutStepReads) {
    ASSERT_EQ(velan("--record 3").status, 0);
    EXPECT_TRUE(contentsOf(picks).starts_with("time_ms,velocity_m_per_s\n"));
    EXPECT_EQ(runPelta("moveout " + line + " " + (folder / "flat.sgy") + " --velocity-file " + picks).status, 0);
    const Outcome piped = runPelta("velan " + line + " - --record 3");
    EXPECT_EQ(piped.out, contentsOf(picks)) << "the table goes to standard error then";
}

TEST_F(VelocityAnalysis, TakesTheTruthThatItIsGiven) {
    std::ofstream(folder / "truth.csv") << "time_ms,velocity\n750,2050\n";
    const Outcome outcome = velan("--record 3 --truth " + (folder / "truth.csv"));
    EXPECT_NE(outcome.out.find("\nbeside " + (folder / "truth.csv") + "\n"), std::string::npos) << outcome.out;
    std::filesystem::remove(line + ".velocities.csv");
    const Outcome without = velan("--record 3 --overwrite");
    EXPECT_EQ(without.status, 0);
    EXPECT_EQ(without.out.find("RMS"), std::string::npos) << without.out;
}

TEST_F(VelocityAnalysis, WritesThePanelAsAGridWithTimeDown) {
    ASSERT_EQ(velan("--record 3 --velocities 1500,4500,61 --panel " + (folder / "panel.asc")).status, 0);
    std::istringstream text(contentsOf(folder / "panel.asc"));
    std::string heading;
    for (int k = 0; k < 7; ++k) {
        std::string row;
        std::getline(text, row);
        heading += row + "\n";
    }
    EXPECT_EQ(heading, "ncols 61\nnrows 1300\nxllcenter 1500\nyllcenter -2598\ndx 50\ndy 2\nNODATA_value -9999\n");
    std::vector<float> values, floats(61 * 1300);
    for (float value; text >> value;) values.push_back(value);
    ASSERT_EQ(values.size(), floats.size());
    const auto strongest = std::max_element(values.begin(), values.end()) - values.begin();
    EXPECT_NEAR(1500.0 + 50.0 * static_cast<double>(strongest % 61), 1800.0, 50.0);
    EXPECT_NEAR(2.0 * static_cast<double>(strongest / 61), 400.0, 30.0);
    ASSERT_EQ(velan("--record 3 --velocities 1500,4500,61 --overwrite --panel " + (folder / "panel.bin")).status, 0);
    const std::string bytes = contentsOf(folder / "panel.bin");
    ASSERT_EQ(bytes.size(), floats.size() * sizeof(float));
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<char*>(floats.data()));
    EXPECT_EQ(floats, values);
    EXPECT_TRUE(std::filesystem::exists(folder / "panel.hdr"));
}

TEST_F(VelocityAnalysis, GivesTheSameBytesForAnyNumberOfThreads) {
    for (const char* threads : {"1", "2", "7"}) {
        const Outcome outcome = velan("--record 3 --overwrite --threads " + std::string(threads) + " --panel " +
                                      (folder / (threads + std::string(".asc"))));
        ASSERT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
    }
    const std::string one = contentsOf(folder / "1.asc");
    EXPECT_TRUE(one == contentsOf(folder / "2.asc"));
    EXPECT_TRUE(one == contentsOf(folder / "7.asc"));
}

TEST_F(VelocityAnalysis, ReadsTracesThatBeginBeforeOrAfterTheShot) {
    ASSERT_EQ(velan("--record 3").status, 0);
    const std::string without = contentsOf(picks), whole = contentsOf(line);
    constexpr std::size_t traceBytes = 240 + 4 * 1300, delayWord = 108;
    for (int delay : {-20, 20}) {
        std::string file = whole;
        for (std::size_t start = 3600; start < file.size(); start += traceBytes) {
            std::string samples = file.substr(start + 240, traceBytes - 240);
            constexpr std::size_t shift = 4 * 10;
            samples = delay < 0 ? std::string(shift, '\0') + samples.substr(0, samples.size() - shift)
                                : samples.substr(shift) + std::string(shift, '\0');
            file.replace(start + 240, samples.size(), samples);
            file[start + delayWord] = static_cast<char>(delay >> 8 & 0xFF);
            file[start + delayWord + 1] = static_cast<char>(delay & 0xFF);
        }
        std::ofstream(folder / "delayed.sgy", std::ios::binary) << file;
        ASSERT_EQ(
            runPelta("velan " + (folder / "delayed.sgy") + " " + (folder / "delayed.csv") + " --record 3 --overwrite").status,
            0);
        EXPECT_EQ(contentsOf(folder / "delayed.csv"), without) << delay;
    }
}

TEST_F(VelocityAnalysis, DrawsAPictureOrSaysThatThisBuildCannot) {
    const std::string picture = folder / "panel.png";
    const Outcome outcome = velan("--record 3 --picture " + picture);
    if (!hasPictures()) {
        expectPictureRefused(outcome, picture);
        EXPECT_FALSE(std::filesystem::exists(picks));
        return;
    }
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(contentsOf(picture).starts_with("\x89PNG"));
}

TEST_F(VelocityAnalysis, SaysInOneLineWhatIsWrongAndWritesNothing) {
    ASSERT_EQ(runPelta("synth " + (folder / "dead.sgy") + " --records 2 --channels 5 --samples 100 --dead 1").status, 0);
    std::ofstream(folder / "bad.csv") << "time_ms,velocity\n400,fast\n";
    std::ofstream(folder / "zero.csv") << "400,0\n";
    std::filesystem::remove(picks);
    const std::string before = folder.listing();
    const std::string outputs = " --panel " + (folder / "panel.bin") + " --picture " + (folder / "panel.png");
    const auto check = [&](const std::string& arguments, int status, const std::string& said) {
        expectRefusal(folder, "velan " + arguments + (hasPictures() ? outputs : ""), status, said);
    };
    const std::string usual = line + " " + picks + " ", dead = folder / "dead.sgy";
    check(usual + "--cdp 9999", 1, line + ": no trace of CDP 9999; there are CDPs 101 to 192");
    check(usual + "--cdps 10,20", 1, line + ": no trace of CDPs 10 to 20; there are CDPs 101 to 192");
    check(usual + "--record 0", 1, line + ": no trace of record 0; there are records 1 to 12");
    check(usual + "--cdp 101", 1,
          line + ": CDP 101 has one live trace, and velocity analysis compares several; --cdps FIRST,LAST puts CDPs together");
    check(dead + " " + picks + " --record 1", 1, dead + ": all 5 traces of record 1 are dead");
    check(dead + " " + picks + " --cdp 101", 1, dead + ": the only trace of CDP 101 is dead");
    check(usual + "--record 3 --map offset=233:4", 1,
          line + ": the offset of all 48 traces of record 3 is 0; --map offset=BYTE:SIZE names the right word");
    check(usual + "--record 3 --map offset=9:4", 1,
          line + ": all 48 traces of record 3 have the offset 3 m, which tells no velocity");
    check(usual, 2, "velan: give one of --cdp, --cdps and --record");
    check(usual + "--cdp 140 --record 3", 2, "velan: give one of --cdp, --cdps and --record");
    check(usual + "--cdps 143,138", 2, "--cdps: 143 to 138 is no range");
    check(usual + "--record 3 --velocities 4500,1500,100", 2, "--velocities: 4500 to 1500 m/s do not ascend");
    check(usual + "--record 3 --velocities 0,1500,100", 2, "--velocities: 0 to 1500 m/s: velocities must be above 0");
    check(usual + "--record 3 --velocities 1500,4500,-5", 2,
          "--velocities: a count of -5, expected a whole number of 3 to 10000");
    check(usual + "--record 3 --velocities 1500,4500,10.5", 2,
          "--velocities: a count of 10.5, expected a whole number of 3 to 10000");
    check(usual + "--record 3 --window 5000", 2, "--window: 5000 ms is not shorter than the traces of 2598 ms");
    check(usual + "--record 3 --interval-velocities 5000,2000", 2, "--interval-velocities: 5000 to 2000 m/s is no range");
    check(usual + "--record 3 --truth " + (folder / "none.csv"), 1,
          (folder / "none.csv") + ": cannot be read: No such file or directory");
    check(usual + "--record 3 --truth " + (folder / "bad.csv"), 2,
          (folder / "bad.csv") + ":2: expected 2 numbers, found '400,fast'");
    check(usual + "--record 3 --truth " + (folder / "zero.csv"), 2,
          (folder / "zero.csv") + ":1: a velocity of 0 m/s at 400 ms, expected more than 0 and at most 1e+06");
    const Outcome weak = velan("--record 3 --least-semblance 0.99");
    EXPECT_EQ(weak.status, 1);
    EXPECT_TRUE(
        weak.err.starts_with("pelta: " + line + ": no reflection of record 3 has a semblance of 0.990 (the highest is 0."))
        << weak.err;
    EXPECT_EQ(folder.listing(), before);
}

TEST_F(VelocityAnalysis, CountsSamplesThatAreNoNumbersAsZeroWithAWarning) {
    ASSERT_EQ(runPelta("synth " + (folder / "ieee.sgy") + " --format ieee --records 1 --samples 1300").status, 0);
    std::string file = contentsOf(folder / "ieee.sgy");
    file.replace(3600 + 240, 4, std::string("\x7f\xc0\0\0", 4));
    std::ofstream(folder / "bad.sgy", std::ios::binary) << file;
    const Outcome outcome = runPelta("velan " + (folder / "bad.sgy") + " " + picks + " --record 1");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err,
              "pelta: warning: " + (folder / "bad.sgy") + ": 1 samples of record 1 are NaN or infinite and count as 0\n");
}

}
