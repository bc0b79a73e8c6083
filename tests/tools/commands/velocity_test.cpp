#include <gtest/gtest.h>

#include <sstream>
#include <vector>

#include "support/peltacommand.h"

namespace {

/* A small line whose velocities rise along it, and the table of them that was written beside it. */
class VelocityCommand : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(runPelta("synth " + line + " --records 6 --channels 24 --samples 400 --noise 0.02 --lateral 30").status, 0);
    }
    std::string file(const std::string& name, const std::string& contents) const {
        std::ofstream(folder / name, std::ios::binary) << contents;
        return folder / name;
    }
    /* The table by CDP alone. */
    std::string byCdp() const {
        return file("bycdp.csv", "cdp,time_ms,velocity_m_per_s\n101,400,1530\n101,800,2000\n134,400,2070,800,2600\n");
    }

    const TemporaryFolder folder;
    const std::string line = folder / "line.sgy", truth = line + ".velocities.csv", grid = folder / "field.asc";
    const std::string area = file("area.csv",
                                  "x,y,time_ms,velocity_m_per_s\n0,0,0,2000,1000,3000\n100,0,0,2100,1000,3100\n"
                                  "100,100,0,2300,1000,3300\n0,100,0,2200,1000,3200\n");
};

TEST_F(VelocityCommand, BecomesATimeSlice) {
    const Outcome outcome = runPelta("velocity " + area + " " + grid + " --time 500 --region -50,100,0,50 --spacing 50");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out,
              "area.csv at 500 ms\n4 functions over an area, with 5 sides of triangles and 4 corners of the hull\n"
              "4 x 2 nodes, 2500.0 to 2700.0 m/s, 75 % of them inside the hull\n");
    EXPECT_TRUE(contentsOf(grid).starts_with("ncols 4\nnrows 2\nxllcenter -50\nyllcenter 0\ncellsize 50\nNODATA_value -9999\n"))
        << contentsOf(grid);
    EXPECT_TRUE(contentsOf(grid).ends_with("\n2600 2600 2650 2700\n2550 2500 2550 2600\n")) << contentsOf(grid);
    ASSERT_EQ(
        runPelta("velocity " + area + " " + grid + " --time 500 --region -50,100,0,50 --spacing 50 --only-inside --overwrite")
            .status,
        0);
    EXPECT_TRUE(contentsOf(grid).ends_with("\n-9999 2600 2650 2700\n-9999 2500 2550 2600\n")) << contentsOf(grid);
}

TEST_F(VelocityCommand, BecomesASectionAlongCdps) {
    const Outcome outcome =
        runPelta("velocity " + byCdp() + " " + grid + " --line " + line + " --cdps 101,135 --times 400,800 --time-spacing 400");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out,
              "bycdp.csv along CDPs 101 to 135\n2 functions along a line\n"
              "35 x 2 nodes, 1530.0 to 2600.0 m/s, 97 % of them inside the hull\n");
    const std::string byPlace = contentsOf(grid);
    EXPECT_TRUE(
        byPlace.starts_with("ncols 35\nnrows 2\nxllcenter 101\nyllcenter -800\ndx 1\ndy 400\nNODATA_value -9999\n1530 "));
    ASSERT_EQ(runPelta("velocity " + byCdp() + " " + grid +
                       " --velocity-by cdp --cdps 101,135 --times 400,800 --time-spacing 400 "
                       "--overwrite")
                  .status,
              0);
    std::istringstream first(byPlace.substr(byPlace.find("-9999"))), second(contentsOf(grid).substr(byPlace.find("-9999")));
    for (float a, b; first >> a && second >> b;) EXPECT_NEAR(a, b, 0.01) << "CDPs stand evenly apart on this line";
}

TEST_F(VelocityCommand, WritesRawFloatsWithAHeader) {
    ASSERT_EQ(
        runPelta("velocity " + area + " " + (folder / "s.bin") + " --section 0,0,100,0 --spacing 50 --time-spacing 500").status,
        0);
    std::vector<float> floats(9);
    const std::string bytes = contentsOf(folder / "s.bin");
    ASSERT_EQ(bytes.size(), 36u);
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<char*>(floats.data()));
    EXPECT_EQ(floats, (std::vector<float>{2000, 2050, 2100, 2500, 2550, 2600, 3000, 3050, 3100}));
    EXPECT_NE(contentsOf(folder / "s.hdr").find("map info = {Arbitrary, 1.5, 1.5, 0, 0, 50, 500}"), std::string::npos)
        << contentsOf(folder / "s.hdr");
}

TEST_F(VelocityCommand, DrawsAPictureOrSaysThatThisBuildCannot) {
    for (const char* cut : {" --time 500", " --section -50,20,150,80"}) {
        const std::string picture = folder / "cut.png";
        const Outcome outcome =
            runPelta("velocity " + area + " " + grid + cut + " --overwrite --size 400,300 --picture " + picture);
        if (!hasPictures()) {
            expectPictureRefused(outcome, picture);
            EXPECT_FALSE(std::filesystem::exists(grid));
            continue;
        }
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_TRUE(contentsOf(picture).starts_with("\x89PNG"));
    }
}

TEST_F(VelocityCommand, FlattensWhatOneFunctionCannot) {
    const std::string whole = folder / "whole.sgy", one = folder / "one.sgy";
    ASSERT_EQ(runPelta("moveout " + line + " " + whole + " --velocity-file " + truth + " --quiet").status, 0);
    ASSERT_EQ(runPelta("moveout " + line + " " + one + " --velocity-table 400:1800,750:2050 --quiet").status, 0);
    EXPECT_NE(contentsOf(whole), contentsOf(one));
    const Outcome analysis = runPelta("velan " + line + " " + (folder / "v.csv") +
                                      " --cdps 101,105 --velocities 1200,2600,141 --interval-velocities 500,9000 --cdp-column");
    EXPECT_NE(analysis.out.find("\n    400.0         15"), std::string::npos)
        << "the truth at the slow end, 1530 m/s and little more: " << analysis.out << analysis.err;
    EXPECT_TRUE(contentsOf(folder / "v.csv").starts_with("cdp,time_ms,velocity_m_per_s\n103,"));
    const Outcome middle = runPelta("velan " + line + " " + (folder / "m.csv") +
                                    " --cdps 130,134 --velocities 1200,2600,141 --interval-velocities 500,9000");
    EXPECT_NE(middle.out.find("\n    400.0         19"), std::string::npos)
        << "the truth where the gather lies, some 1919 m/s: " << middle.out << middle.err;
}

/* At the places of its functions the field is nothing but them. */
TEST_F(VelocityCommand, CorrectsATraceWithTheFunctionOfItsPlace) {
    const std::string one = folder / "one.sgy", byNumber = folder / "number.sgy", byPlace = folder / "place.sgy";
    ASSERT_EQ(runPelta("moveout " + line + " " + one + " --velocity-table 400:2070,800:2600 --quiet").status, 0);
    ASSERT_EQ(
        runPelta("moveout " + line + " " + byNumber + " --velocity-by cdp --velocity-file " + byCdp() + " --quiet").status, 0);
    ASSERT_EQ(runPelta("moveout " + line + " " + byPlace + " --velocity-file " + byCdp() + " --quiet").status, 0);
    const std::string expected = contentsOf(one), number = contentsOf(byNumber), place = contentsOf(byPlace);
    constexpr std::size_t traceBytes = 240 + 4 * 400;
    int there = 0, elsewhere = 0;
    for (std::size_t start = 3600; start < expected.size(); start += traceBytes) {
        const bool isThere = expected.substr(start + 20, 4) == std::string("\0\0\0\x86", 4); /* CDP 134 */
        const std::string samples = expected.substr(start + 240, 4 * 400);
        for (const std::string* found : {&number, &place})
            (isThere ? there : elsewhere) += (found->substr(start + 240, 4 * 400) == samples) == isThere;
        there -= isThere ? 2 : 0;
    }
    EXPECT_EQ(there, 0) << "each trace at the function's CDP is the same by it";
    EXPECT_GT(elsewhere, 200) << "and most others are not";
}

TEST_F(VelocityCommand, CorrectsLaterTracesOfAPlaceToTheirEnd) {
    std::string bytes = contentsOf(line);
    const std::size_t first = 3600, second = first + 240 + 4 * 400;
    bytes.replace(second + 20, 4, bytes, first + 20, 4);        /* its CDP */
    bytes.replace(second + 108, 2, std::string("\x07\xD0", 2)); /* begins at 2000 ms */
    const std::string late = file("late.sgy", bytes), even = file("even.csv", "cdp,time_ms,velocity\n101,0,2000,900,2000\n");
    ASSERT_EQ(runPelta("moveout " + late + " " + (folder / "f.sgy") + " --velocity-by cdp --velocity-file " + even +
                       " --threads 1 --quiet")
                  .status,
              0);
    ASSERT_EQ(runPelta("moveout " + late + " " + (folder / "v.sgy") + " --velocity 2000 --quiet").status, 0);
    EXPECT_TRUE(contentsOf(folder / "f.sgy") == contentsOf(folder / "v.sgy"));
}

TEST_F(VelocityCommand, GivesTheSameBytesForAnyNumberOfThreadsAndThroughAPipe) {
    const std::string options = " --velocity-file " + truth + " --quiet --threads ";
    ASSERT_EQ(runPelta("moveout " + line + " " + (folder / "1.sgy") + options + "1").status, 0);
    ASSERT_EQ(runPelta("moveout " + line + " " + (folder / "7.sgy") + options + "7").status, 0);
    EXPECT_TRUE(contentsOf(folder / "1.sgy") == contentsOf(folder / "7.sgy"));
    const Outcome piped = runShell("cat " + line + " | " + PELTA_COMMAND + " moveout - -" + options + "2");
    EXPECT_EQ(piped.err, "");
    EXPECT_TRUE(piped.out == contentsOf(folder / "1.sgy"));
    const Outcome byNumber = runShell("cat " + line + " | " + PELTA_COMMAND +
                                      " moveout - - --velocity-by cdp --velocity-file " + byCdp() + " --quiet");
    EXPECT_EQ(byNumber.status, 0) << byNumber.err;
}

TEST_F(VelocityCommand, SaysOnceThatAPlaceHasTwoFunctions) {
    const std::string twice =
        file("twice.csv", "cdp,time_ms,velocity\n101,0,1500,900,2000\n134,0,1600,900,2100\n101,0,1700,900,2200\n");
    const std::string said =
        "pelta: warning: " + twice + ":4: another function of the place of CDP 101 in line 2; the last one counts\n";
    EXPECT_EQ(runPelta("moveout " + line + " " + (folder / "o.sgy") + " --quiet --threads 3 --velocity-file " + twice).err,
              said);
    EXPECT_EQ(runPelta("velocity " + twice + " " + grid + " --line " + line + " --cdps 101,134").err, said);
}

TEST_F(VelocityCommand, KeepsItsTablesFromTheOutputs) {
    const std::string table = file("table.asc", contentsOf(area));
    for (const std::string& arguments :
         {"velocity " + table + " " + table + " --time 500", "moveout " + line + " " + table + " --velocity-file " + table,
          "velan " + line + " " + table + " --record 3 --truth " + table})
        expectInputKept(arguments, table);
}

TEST_F(VelocityCommand, SaysHowManyTracesHaveNoPlace) {
    std::string some = contentsOf(line), none = some;
    for (std::size_t start = 3600, trace = 0; start < some.size(); start += 240 + 4 * 400, ++trace) {
        none.replace(start + 20, 4, 4, '\0');
        if (trace % 4 == 0)
            for (std::size_t word : {20, 72, 76, 80, 84, 180, 184}) some.replace(start + word, 4, 4, '\0');
    }
    file("some.sgy", some);
    file("none.sgy", none);
    const auto moveout = [&](const std::string& input, const std::string& options) {
        return runPelta("moveout " + (folder / input) + " " + (folder / "out.sgy") + " --overwrite --quiet " + options);
    };
    EXPECT_EQ(moveout("some.sgy", "--velocity-file " + area).err,
              "pelta: warning: moveout: 36 of 144 traces have no coordinates and got the velocities of x 0, y 0\n");
    EXPECT_EQ(moveout("some.sgy", "--velocity-by cdp --velocity-file " + byCdp()).err,
              "pelta: warning: moveout: 36 of 144 traces have no CDP and got the velocities of CDP 0\n");
    const Outcome outcome = moveout("none.sgy", "--velocity-by cdp --velocity-file " + byCdp());
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "pelta: " + (folder / "none.sgy") +
                               ": moveout needs CDPs, and the 4 bytes at byte 21 of every trace header hold 0; --map "
                               "cdp=BYTE:SIZE names the right word\n");
}

TEST_F(VelocityCommand, SaysInOneLineWhatIsWrongAndWritesNothing) {
    const std::string unsorted = file("unsorted.csv", "cdp,time_ms,velocity\n101,0,1500\n101,900,2000\n101,800,2100\n");
    const std::string single = file("single.csv", "x,y,time_ms,velocity\n0,0,0,1500\n");
    const std::string odd = file("odd.csv", "cdp,time_ms,velocity\n101,0,1500,900\n");
    const std::string far = file("far.csv", "x,y,time_ms,velocity\n0,4e8,0,1500,900,2000\n");
    const std::string other = file("other.csv", "cdp,time_ms,velocity\n7,0,1500,900,2000\n");
    const std::string one = file("one.csv", "0,1500\n900,2000\n"), point = file("point.csv", "x,y,t,v\n0,0,0,1500,900,2000\n");
    const std::string zeros = folder / "zeros.sgy", cdps = byCdp();
    std::string bytes = contentsOf(line);
    for (std::size_t start = 3600; start < bytes.size(); start += 240 + 4 * 400)
        for (std::size_t word : {72, 76, 80, 84, 180, 184}) bytes.replace(start + word, 4, 4, '\0');
    file("zeros.sgy", bytes);
    std::filesystem::remove(grid);
    const auto check = [&](const std::string& arguments, int status, const std::string& said) {
        expectRefusal(folder, arguments, status, said);
    };
    const std::string noTimes = ": times must ascend, but 800 ms follows 900 ms at CDP 101";
    const std::string out = folder / "out.sgy", moveout = "moveout " + line + " " + out + " --velocity-file ";
    check(moveout + unsorted, 2, unsorted + ":4" + noTimes);
    check(moveout + single, 2,
          single + ":2: the function at x 0, y 0 has one pair of time and velocity; it needs two at least");
    check(moveout + odd, 2, odd + ":2: 2 times and 1 velocity; every time needs a velocity");
    check(moveout + far, 2,
          far + ":2: x 0, y 400000000 lies outside the square of -40000000 to 40000000 that velocities are interpolated in");
    check(moveout + other, 1,
          line + ": no trace has coordinates and one of the CDPs of " + other +
              "; --map cdp=BYTE:SIZE,cdp_x=BYTE:SIZE,cdp_y=BYTE:SIZE names the right words, and --velocity-by cdp does without "
              "coordinates");
    check("moveout " + zeros + " " + out + " --velocity-file " + area, 1,
          zeros +
              ": moveout needs coordinates, and those of CDP, source and receiver are 0 in every trace header; --map "
              "cdp_x=BYTE:SIZE,cdp_y=BYTE:SIZE names the right words");
    check(moveout + area + " --velocity-by cdp", 2, area + ": there is no column cdp, by which its functions are to be placed");
    check(moveout + (folder / "none.csv"), 1, (folder / "none.csv") + ": cannot be read: No such file or directory");
    check(moveout + folder.path(), 1, folder.path() + ": cannot be read: Is a directory");

    const std::string velocity = "velocity " + area + " " + grid + " ";
    check("velocity " + unsorted + " " + grid + " --time 500", 2, unsorted + ":4" + noTimes);
    check("velocity " + one + " " + grid + " --time 500", 2,
          one + ": one function that holds everywhere; a field has a column cdp, or columns x and y");
    check("velocity " + point + " " + grid + " --time 500", 2,
          point + ": one place has no extent; --region LEFT,RIGHT,BOTTOM,TOP tells which");
    check("velocity " + cdps + " " + grid + " --time 500", 2,
          cdps +
              ": its CDPs have no coordinates: there are no columns x and y, and no file whose headers could be looked through "
              "ahead; --velocity-by cdp does without");
    check(velocity, 2, "velocity: give one of --time, --section and --cdps");
    check(velocity + "--time 500 --cdps 101,134", 2, "velocity: give one of --time, --section and --cdps");
    check(velocity + "--time 500 --velocity-by cdp", 2, "--velocity-by cdp knows no map: --cdps FIRST,LAST makes a section");
    check(velocity + "--time 500 --region 100,0,0,100", 2, "--region: 100 to 0 do not ascend");
    check(velocity + "--time 500 --region 0,5e7,0,5e7", 2, "--region: x 5e+07, y 5e+07 lies too far out");
    check(velocity + "--time 500 --times 0,100", 2,
          "--times and --time-spacing: are for a section, which --section or --cdps makes");
    check(velocity + "--time 500 --spacing 1000", 2, "velocity: a grid of 1 by 1 nodes, expected two each way");
    check(velocity + "--time 500 --spacing 0.001", 2,
          "velocity: a grid of 120001 by 120001 nodes is too large; a larger spacing makes fewer");
    check(velocity + "--time nan", 2, "--time: nan ms, expected at most 1e+08");
    check(velocity + "--time -1e9", 2, "--time: -1e+09 ms, expected at most 1e+08");
    const std::string missed =
        area + ": the hull of its functions is missed by every node; without --only-inside they are continued beyond it";
    check(velocity + "--time 500 --region 200,300,200,300 --only-inside", 1, missed);
    check(velocity + "--section 200,200,300,300 --only-inside", 1, missed);
    check(velocity + "--section 5,5,5,5", 2, "--section: both ends are x 5, y 5");
    check(velocity + "--section 0,0,5,5 --region 0,5,0,5", 2, "--region: is for a time slice, which --time makes");
    check(velocity + "--section 0,0,5,5 --times 100,100", 2, "--times: 100 to 100 do not ascend");
    check(velocity + "--cdps 101,134", 2, "--cdps: --line names the file whose trace headers tell where they lie");
    check(velocity + "--cdps 134,101 --line " + line, 2, "--cdps: 134 to 101 do not ascend");
    check(velocity + "--cdps 101,134 --spacing 5 --line " + line, 2, "--spacing: --cdps makes a column for each CDP");
    check(velocity + "--cdps 901,934 --line " + line, 1, line + ": no trace has coordinates and one of the CDPs 901 to 934");
    check("velocity " + area + " " + (folder / "slice.txt") + " --time 500", 2,
          (folder / "slice.txt") +
              ": a grid's name must end in .asc (text), or in .bin or .img (floats with a header beside them)");
    check("velan " + line + " " + (folder / "v.csv") + " --record 3 --cdp-column", 2,
          "--cdp-column: a record has no CDP; give --cdp or --cdps");
}

TEST_F(VelocityCommand, IsTheTruthOfASyntheticLine) {
    std::istringstream table(contentsOf(truth));
    std::string row, last;
    std::getline(table, row);
    EXPECT_EQ(row, "cdp,x,y,time_ms,velocity_m_per_s");
    std::getline(table, row);
    EXPECT_EQ(row, "101,25,0,400,1530") << "1800 m/s less 15 %";
    while (std::getline(table, row)) last = row;
    EXPECT_EQ(last, "144,562.5,0,2200,3507.5") << "3050 m/s and 15 % more";
    ASSERT_EQ(runPelta("synth " + (folder / "even.sgy") + " --records 2 --channels 5 --samples 50").status, 0);
    EXPECT_TRUE(contentsOf(folder / "even.sgy.velocities.csv").starts_with("time_ms,velocity_m_per_s\n400,1800\n750,2050\n"));
}

}
