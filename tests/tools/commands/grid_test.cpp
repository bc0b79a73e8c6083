#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <vector>

#include "support/peltacommand.h"
#include "support/segyfiles.h"

namespace {

void write(const std::string& name, const std::string& text) { std::ofstream(name, std::ios::binary) << text; }

/* z = 100 + 2 x - 3 y on a lattice that is shifted from whole numbers: 8 .. 92 and -50 .. -10. */
std::string planePoints() {
    std::string text = "name,east,north,height\n";
    for (int i = 0; i < 13; ++i)
        for (int j = 0; j < 9; ++j) {
            const double x = 8.0 + 7.0 * i, y = -50.0 + 5.0 * j;
            text += fmt::format("P{},{},{},{}\n", i * 9 + j, x, y, 100.0 + 2.0 * x - 3.0 * y);
        }
    return text;
}

/* The values of an ESRI grid, row by row, behind its heading. */
std::vector<double> valuesOf(const std::string& ascii) {
    std::istringstream text(ascii.substr(ascii.find("NODATA_value -9999\n") + 19));
    std::vector<double> values;
    for (double value; text >> value;) values.push_back(value);
    return values;
}

class GridCommand : public testing::Test {
  protected:
    void SetUp() override { write(points, planePoints()); }
    Outcome grid(const std::string& arguments) { return runPelta("grid " + points + " " + arguments); }
    void expectFailure(const std::string& arguments, int status, const std::string& complaint) {
        expectRefusal(folder, "grid " + arguments, status, complaint);
    }
    void expectFailureOf(const std::string& text, const std::string& options, const std::string& complaint) {
        write(folder / "bad.csv", text);
        const std::string picture = hasPictures() ? " --picture " + (folder / "p.png") : "";
        expectFailure((folder / "bad.csv") + " " + surface + picture + " " + options, 1, (folder / "bad.csv") + complaint);
    }

    const TemporaryFolder folder;
    const std::string points = folder / "points.csv", surface = folder / "surface.asc";
    const std::string columns = " --x east --y north --z height ";
};

TEST_F(GridCommand, WritesASurfaceUprightInItsPlaceAndSaysHowWellItFits) {
    const Outcome outcome = grid(surface + columns + "--region 10,90,-50,-10 --spacing 10");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    const std::string text = contentsOf(surface);
    EXPECT_TRUE(text.starts_with("ncols 9\nnrows 5\nxllcenter 10\nyllcenter -50\ncellsize 10\nNODATA_value -9999\n")) << text;
    const std::vector<double> values = valuesOf(text);
    ASSERT_EQ(values.size(), 45u);
    constexpr double single = 1e-3; /* of sums in single precision */
    for (int row = 0; row < 5; ++row)
        for (int column = 0; column < 9; ++column)
            EXPECT_NEAR(values[static_cast<std::size_t>(9 * row + column)],
                        100.0 + 2.0 * (10 + 10 * column) + 3.0 * (10 + 10 * row), single);
    for (const char* said :
         {"points        points.csv: 117 read\nheight        146 .. 434\n",
          "\ngrid          9 x 5 nodes, spacing 10 x 10\neast          10 .. 90\nnorth         -50 .. -10\n",
          "\nsurface       gmtsurface, tension 0.25 inside and 0.25 at the edge, aspect 1\nvalues        150 .. 430\n",
          "\nused          45 points, one a node\nfit           117 points: mean error ", "\ncurvature     RMS "})
        EXPECT_NE(outcome.out.find(said), std::string::npos) << said << "is missing:\n" << outcome.out;
}

TEST_F(GridCommand, GivesTheSameSurfaceFromEveryFormatOfTextAndStandardInput) {
    ASSERT_EQ(grid(surface + columns).status, 0);
    std::string xyz;
    std::istringstream lines(planePoints());
    for (std::string line; std::getline(lines, line);) {
        line = line.substr(line.find(',') + 1);
        std::replace(line.begin(), line.end(), ',', ' ');
        xyz += line + "\n";
    }
    write(folder / "points.xyz", xyz);
    const std::string other = folder / "other.asc";
    ASSERT_EQ(runPelta("grid " + (folder / "points.xyz") + " " + other).status, 0);
    EXPECT_EQ(contentsOf(other), contentsOf(surface));
    ASSERT_EQ(runShell("tail -n +2 '" + (folder / "points.xyz") + "' | " + PELTA_COMMAND + " grid - " + other + " --overwrite")
                  .status,
              0);
    EXPECT_EQ(contentsOf(other), contentsOf(surface));
    ASSERT_EQ(grid(other + " --overwrite --x 2 --y 3 --z 4").status, 0);
    EXPECT_EQ(contentsOf(other), contentsOf(surface));
}

TEST_F(GridCommand, GivesTheSameSurfaceByEitherRoutine) {
    const std::string other = folder / "other.asc";
    ASSERT_EQ(grid(surface + columns + "--spacing 4,5").status, 0);
    ASSERT_EQ(grid(other + columns + "--spacing 4,5 --variant gmtgrid").status, 0);
    const std::vector<double> first = valuesOf(contentsOf(surface)), second = valuesOf(contentsOf(other));
    ASSERT_EQ(first.size(), second.size());
    for (std::size_t k = 0; k < first.size(); ++k) EXPECT_NEAR(first[k], second[k], 0.01) << k;
}

TEST_F(GridCommand, ReportsTheErrorOnPointsThatItHoldsOut) {
    const Outcome outcome = grid(columns + "--check --quiet");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(outcome.out.starts_with("held out      12 points: mean error ")) << outcome.out;
    EXPECT_EQ(grid(columns + "--check --quiet").out, outcome.out) << "always the same points";
    EXPECT_TRUE(grid(columns + "--check --quiet --held-out 50").out.starts_with("held out      59 points: "));
    /* Wrong values that nobody else can know show up there and in the fit. */
    std::string wild = planePoints();
    for (std::size_t at = 0; (at = wild.find("\nP", at)) != std::string::npos; ++at)
        if (wild[wild.find(',', at) - 1] == '5') wild.insert(wild.find('\n', at + 1), "9");
    write(points, wild);
    const std::string said = grid(columns + "--check --quiet").out;
    EXPECT_GT(std::stod(said.substr(said.find("RMS error ") + 10)), 50.0) << said;
}

TEST_F(GridCommand, KeepsWithinTheBoundsOfTheDataOrGivenOnes) {
    ASSERT_EQ(grid(surface + columns + "--region -100,200,-100,100 --spacing 10 --bounds data").status, 0);
    std::vector<double> values = valuesOf(contentsOf(surface));
    EXPECT_EQ(*std::min_element(values.begin(), values.end()), 146.0);
    EXPECT_EQ(*std::max_element(values.begin(), values.end()), 434.0);
    ASSERT_EQ(grid(surface + columns + "--overwrite --region -100,200,-100,100 --spacing 10 --bounds 200.5,none").status, 0);
    values = valuesOf(contentsOf(surface));
    EXPECT_EQ(*std::min_element(values.begin(), values.end()), 200.5);
    EXPECT_GT(*std::max_element(values.begin(), values.end()), 700.0);
}

TEST_F(GridCommand, MergesThePointsOfANode) {
    write(points, "x,y,z\n0,0,1\n0.25,0,3\n0,0.25,500\n10,0,5\n0,10,5\n10,10,5\n5,5,5\n5,5,7\n");
    const Outcome nearest = grid("--region 0,15,0,15 --spacing 5"),
                  median = grid("--region 0,15,0,15 --spacing 5 --block median");
    EXPECT_NE(nearest.out.find("8 read, at 7 places\n"), std::string::npos) << nearest.out;
    EXPECT_NE(nearest.out.find("\nused          5 points, one a node\n"), std::string::npos) << nearest.out;
    const auto corner = [&](const std::string& block) {
        EXPECT_EQ(grid(surface + " --overwrite --region 0,15,0,15 --spacing 5 --tension 0.9 --block " + block).status, 0);
        return valuesOf(contentsOf(surface))[12];
    };
    EXPECT_NEAR(corner("none"), 1.0, 0.01) << "the nearest";
    EXPECT_NEAR(corner("median"), 3.0, 0.01);
    EXPECT_GT(corner("mean"), 100.0);
}

/* What GDAL says of either format. */
TEST_F(GridCommand, WritesGridsThatGdalOpens) {
    if (runShell("gdalinfo --version").status != 0) GTEST_SKIP() << "GDAL is not installed";
    for (const char* ending : {".asc", ".bin", ".img"}) {
        const std::string name = folder / (std::string("grid") + ending);
        ASSERT_EQ(grid(name + columns + "--region 10,90,-50,-10 --spacing 10 --overwrite").status, 0);
        const Outcome info = runShell("gdalinfo " + name);
        ASSERT_EQ(info.status, 0) << info.err;
        for (const char* said :
             {"Size is 9, 5", "Origin = (5.0", ",-5.0", "Pixel Size = (10.0", ",-10.0", "NoData Value=-9999"})
            EXPECT_NE(info.out.find(said), std::string::npos) << said << " is missing:\n" << info.out;
        const Outcome value = runShell("echo 20 -40 | gdallocationinfo -valonly -geoloc " + name);
        EXPECT_NEAR(std::stod(value.out), 260.0, 1e-3) << name;
    }
}

TEST_F(GridCommand, DrawsAMapOrSaysThatThisBuildCannot) {
    const std::string picture = folder / "map.png";
    const Outcome outcome = grid(columns + "--picture " + picture + " --shaded --contours 20");
    if (!hasPictures()) return expectPictureRefused(outcome, picture);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const std::string with = contentsOf(picture);
    EXPECT_TRUE(with.starts_with("\x89PNG"));
    for (const char* other : {"", "--shaded", "--shaded --contours 20 --no-points", "--shaded --contours 0"}) {
        ASSERT_EQ(grid(columns + "--overwrite --picture " + picture + " " + other).status, 0);
        EXPECT_NE(contentsOf(picture), with) << other;
    }
    for (const char* ending : {".svg", ".pdf"}) EXPECT_EQ(grid(columns + "--picture " + (folder / "map") + ending).status, 0);
    write(points, "0,0,5\n10,0,5\n0,10,5\n");
    EXPECT_EQ(grid("--overwrite --picture " + picture).status, 0) << "one value throughout";
}

TEST_F(GridCommand, SaysWhatIsWrongWithItsPointsAndWritesNothing) {
    expectFailureOf("", "", ": holds no points");
    expectFailureOf("x,y,z\n", "", ": holds no points");
    expectFailureOf("1,2,3\n4,5,nan\n", "", ":2: column 3 is 'nan', expected a number");
    expectFailureOf("1,2,3\n4,5,6\n7,8,inf\n", "", ":3: column 3 is 'inf', expected a number");
    expectFailureOf("1,2,3\n4,5\n", "", ":2: expected 3 columns or more, found '4,5'");
    expectFailureOf("1,2,3\n", "", ": 1 point; a surface needs three that are not on one line");
    expectFailureOf("east,north,depth\n1,2,3\n1,2,5\n", "",
                    ": its 2 points all lie at east 1, north 2 (--x and --y choose what places them)");
    expectFailureOf("1,2,3\n4,5,6\n", "", ": 2 points; a surface needs three that are not on one line");
    const std::string onLine = "lie on one line; a surface needs others beside it (--x and --y choose what places them)";
    expectFailureOf("1,2,3\n4,5,6\n7,8,1\n", "", ": its 3 points " + onLine);
    expectFailureOf("0,0,3\n9,9,6\n7,8,1\n", "--region 12,20,12,20 --nodes 9,9",
                    ": none of its 3 points lies in the region 12 .. 20 x 12 .. 20");
    expectFailureOf("0,0,3\n9,9,6\n7,8,1\n", "--region 7,20,7,20 --nodes 14,14",
                    ": 2 points in the region; a surface needs three that are not on one line");
    expectFailureOf("0,0,3\n1,1,6\n2,2,1\n7,8,1\n", "--region 0,2,0,2 --nodes 4,4", ": its 3 points in the region " + onLine);
    expectFailureOf("0,0,3\n.1,.1,6\n.2,.1,1\n9,9,1\n0,9,1\n",
                    "--region 0,20,0,20 --nodes 4,4 --block mean --check --held-out 60",
                    ": 2 points that are not held out; a surface needs three that are not on one line");
    expectFailureOf("0,0,1\n10,0,2\n0,10,3\n5,5,4\n", "--spacing 100",
                    ": 1 point left with one a node (a smaller --spacing keeps more); a surface needs three that are not on "
                    "one line");
    expectFailureOf("0,0,1\n10,0,2\n20,0,3\n0,2,4\n", "--region 0,30,0,30 --spacing 10",
                    ": its 3 points left with one a node (a smaller --spacing keeps more) " + onLine);
    expectFailure((folder / "absent.csv") + " " + surface, 1,
                  (folder / "absent.csv") + ": cannot be read: No such file or directory");
}

TEST_F(GridCommand, SaysWhatIsWrongWithItsOptions) {
    const std::string start = points + " " + surface + columns;
    const auto expectRefusal = [&](const std::string& options, const std::string& complaint) {
        expectFailure(start + options, 2, complaint);
    };
    for (const char* tension : {"1", "0.9999999", "1.2", "-0.1", "nan"})
        expectRefusal(fmt::format("--tension {}", tension),
                      fmt::format("--tension: {} lies outside 0 .. 0.999999 (1 divides by zero)", tension));
    expectRefusal("--boundary-tension 1.5", "--boundary-tension: 1.5 lies outside 0 .. 1");
    expectRefusal("--region 3,3,0,1", "--region: x from 3 to 3 is no region; the order is left,right,bottom,top");
    expectRefusal("--region 0,1,5,2", "--region: y from 5 to 2 is no region; the order is left,right,bottom,top");
    expectRefusal("--spacing 0", "--spacing: 0 along x is not above 0");
    expectRefusal("--spacing 1 --nodes 5,5", "give --spacing or --nodes; one follows from the other");
    expectRefusal("--nodes 3,5", "--nodes: 3 lies outside 4 .. 1000000000");
    expectRefusal("--spacing 0.0001",
                  "a grid of 840001 x 400001 nodes is beyond what can be numbered; give a larger --spacing");
    expectRefusal("--spacing 1e-100",
                  "a grid of 8.4e+101 x 4e+101 nodes is beyond what can be numbered; give a larger --spacing");
    expectRefusal("--bounds 5,1", "--bounds: 5 lies above 1");
    expectRefusal("--bounds low", "--bounds: 'low' is neither a number nor data nor none");
    expectRefusal("--converge 0", "--converge: 0 is not above 0");
    expectRefusal("--contours -1", "--contours: -1 is no distance of values");
    expectRefusal("--picks picks.csv", "--picks: picks belong to traces; " + points + " is no SEG-Y file");
    expectFailure(
        points + " " + surface + " --z heigth --x 2 --y 3", 1,
        points + ":1: there is no column 'heigth', did you mean 'height'?; the headings are name, east, north, height");
    expectFailure(points + " " + points + " --overwrite", 2,
                  points + ": a grid's name must end in .asc (text), or in .bin or .img (floats with a header beside them)");
}

TEST_F(GridCommand, KeepsItsInputsFromTheOutputs) {
    const std::string table = folder / "table.asc", line = folder / "line.sgy", picks = folder / "picks.asc";
    write(table, planePoints());
    expectInputKept("grid " + table + " " + table, table);
    std::filesystem::rename(table, folder / "table.hdr");
    expectInputKept("grid " + (folder / "table.hdr") + " " + (folder / "table.bin"), folder / "table.hdr");
    ASSERT_EQ(runPelta("synth " + line + " --records 3 --channels 5 --samples 50 --first-breaks " + picks).status, 0);
    expectInputKept("grid " + line + " " + picks + " --x source_x --y offset --z pick --picks " + picks, picks);
}

TEST_F(GridCommand, RefusesAGridThatMemoryHasNoRoomFor) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer needs all address space for itself";
#else
    const std::string before = folder.listing();
    const Outcome outcome = runShell("ulimit -v 1000000; " + std::string(PELTA_COMMAND) + " grid " + points + " " + surface +
                                     columns + "--nodes 9001,9001 --variant gmtgrid");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("pelta: a grid of 9001 x 9001 nodes needs 1.9 GB of memory, which cannot be had; give a larger "
                               "--spacing or a smaller --region\n"),
              std::string::npos)
        << outcome.err;
    EXPECT_EQ(folder.listing(), before);
#endif
}

TEST_F(GridCommand, WarnsOfCellsThatAreNoSquaresAndOfLevelsThatDidNotSettle) {
    EXPECT_EQ(
        grid(columns + "--spacing 4,1").err,
        "pelta: warning: " + points +
            ": a cell of the grid is 4 times as wide as high, and the surface passes points by that lie between its nodes; "
            "--spacing 4,4 makes cells square\n");
    EXPECT_EQ(grid(columns + "--spacing 4,1 --aspect 0.25").err, "");
    EXPECT_EQ(grid(columns + "--sweeps 1 --converge 1e-9").err,
              "pelta: warning: " + points + ": the level of stride 1 had not settled after 1 sweeps; --sweeps allows more\n");
}

/* Too few sweeps for the routine's own arithmetic to run over: the trend that comes back does. */
TEST_F(GridCommand, SaysWhenEitherRoutineRunsOffToInfinity) {
    write(points, "0,0,1e30\n10,0,2e30\n0,10,3e30\n10,10,5e30\n5,5,4e30\n");
    for (const char* variant : {"gmtgrid", "gmtsurface"}) {
        const Outcome outcome =
            grid(surface + " --spacing 0.5 --aspect 0.02 --tension 0 --sweeps 2500 --variant " + std::string(variant));
        EXPECT_EQ(outcome.status, 1) << variant;
        EXPECT_NE(outcome.err.find("pelta: " + points +
                                   ": the surface runs off to infinity; an --aspect nearer to 1 or another --spacing helps\n"),
                  std::string::npos)
            << outcome.err;
        EXPECT_EQ(folder.listing(), "points.csv ");
    }
}

TEST_F(GridCommand, HintsAtQuickerSizesBeforeALongRun) {
    const std::string region = "--region 0,100,-60,0 --sweeps 2 --converge 1e9 ";
    EXPECT_EQ(grid(columns + region + "--nodes 502,312").err,
              "pelta: hint: 505 x 313 nodes over the same region (--nodes 505,313) may be 183 times as quick to grid\n");
    EXPECT_EQ(grid(columns + region + "--nodes 502,312 --quiet").err, "");
    EXPECT_EQ(grid(columns + region + "--nodes 501,301").err, "") << "quick as it is";
    EXPECT_EQ(grid(columns + region + "--nodes 52,32").err, "") << "short anyway";
}

/* script gives the command a terminal. */
TEST_F(GridCommand, ShowsEveryLevelOnATerminalAndNothingInAPipe) {
    if (runShell("script --version").status != 0) GTEST_SKIP() << "script (util-linux) is not installed";
    const std::string command =
        std::string(PELTA_COMMAND) + " grid " + points + columns + "--region 10,90,-50,-10 --spacing 5 --check --quiet";
    const std::string loud = command.substr(0, command.find(" --quiet"));
    const Outcome shown = runShell("script -qec '" + loud + "' /dev/null");
    for (const char* level : {"check: gridding 5 x 3 nodes", "\r\033[Kgridding 17 x 9 nodes, stride 1\r\033[K"})
        EXPECT_EQ(shown.out.find(level) != std::string::npos, std::string(level).find("5 x 3") == std::string::npos) << level;
    EXPECT_NE(shown.out.find("\r\033[Kcheck: gridding 9 x 5 nodes, stride 2\r\033[Kcheck: gridding 17 x 9 nodes, stride 1"),
              std::string::npos)
        << shown.out;
    EXPECT_EQ(runShell("script -qec '" + command + "' /dev/null").out.find("gridding"), std::string::npos);
    EXPECT_EQ(runShell(loud).err, "");
}

/* A line of SEG-Y whose headers hold what is to be gridded. */
class GridOfHeaders : public testing::Test {
  protected:
    static constexpr int traces = 30;
    /* Receivers on a lattice of 50 m in dm, their elevations in cm, fold 1 .. 30 at the CDPs. */
    void SetUp() override {
        SegyRecipe recipe;
        recipe.traces = traces;
        std::string bytes = makeSegy(recipe);
        for (int t = 0; t < traces; ++t) {
            const auto put = [&](int byte, int size, std::int64_t value) {
                putWord(bytes, recipe.placeInTrace(t, byte), size, value);
            };
            const int x = 500 * (t % 6), y = 500 * (t / 6);
            put(33, 2, t + 1);
            put(41, 4, 20000 + 2 * x - y);
            put(69, 2, -100);
            put(81, 4, x);
            put(85, 4, y);
            put(181, 4, x / 10 * 10);
            put(185, 4, y);
            put(233, 2, t == 7 ? 0 : 100 + t);
        }
        write(line, bytes);
    }
    Outcome grid(const std::string& arguments) {
        return runPelta("grid " + line + " " + surface + " --overwrite " + arguments);
    }
    std::vector<double> values() const { return valuesOf(contentsOf(surface)); }

    const TemporaryFolder folder;
    const std::string line = folder / "line.sgy", surface = folder / "surface.asc";
    const std::string lattice = " --region 0,250,0,200 --spacing 50 ";
};

TEST_F(GridOfHeaders, TakesElevationsAtTheirReceivers) {
    const Outcome outcome = grid("--z receiver_elevation" + lattice);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("line.sgy: 30 read\nreceiver_elevation 180 .. 250\n"), std::string::npos) << outcome.out;
    ASSERT_EQ(values().size(), 30u);
    EXPECT_NEAR(values()[0], 200.0 - 20.0, 1e-3) << "upper left";
    EXPECT_NEAR(values()[29], 200.0 + 50.0, 1e-3) << "lower right";
}

TEST_F(GridOfHeaders, TakesAnyWordAtAnyPlace) {
    ASSERT_EQ(grid("--z fold" + lattice).status, 0);
    EXPECT_NEAR(values()[24], 1.0, 1e-3);
    EXPECT_NEAR(values()[5], 30.0, 1e-3);
    const std::string byCdp = contentsOf(surface);
    ASSERT_EQ(grid("--z 33:2 --x receiver_x --y receiver_y" + lattice).status, 0);
    EXPECT_EQ(contentsOf(surface), byCdp);
    ASSERT_EQ(grid("--z fold --x 81:4 --y 85:4 --region 0,2500,0,2000 --spacing 500").status, 0);
    EXPECT_EQ(valuesOf(contentsOf(surface)), valuesOf(byCdp)) << "a place by its bytes has no scalar";
}

TEST_F(GridOfHeaders, CountsLiveTracesAtEachPlace) {
    std::string bytes = contentsOf(line);
    const std::size_t traceBytes = SegyRecipe().traceBytes(), first = 3600;
    std::string again = bytes.substr(first, 3 * traceBytes), dead = bytes.substr(first, traceBytes);
    putWord(dead, 29, 2, 2);
    write(line, bytes + again + again + dead);
    ASSERT_EQ(grid("--z traces" + lattice).status, 0);
    const std::vector<double> fold = values();
    for (int t = 0; t < traces; ++t)
        EXPECT_NEAR(fold[static_cast<std::size_t>(24 - 6 * (t / 6) + t % 6)], t < 3 ? 3.0 : 1.0, 0.01) << t;
}

TEST_F(GridOfHeaders, TakesFirstBreaksFromHeadersOrATable) {
    const std::string places = " --x receiver_x --y receiver_y" + lattice;
    Outcome outcome = grid("--z pick --map pick=233:2" + places);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("29 read; 1 without a value\nfirst break, ms 100 .. 129\n"), std::string::npos) << outcome.out;
    const std::vector<double> fromHeaders = values();
    std::string table = "trace,pick_ms\n";
    for (int t = 0; t < traces; ++t)
        if (t != 7) table += fmt::format("{},{}\n", t + 1, 100 + t);
    write(folder / "picks.csv", table);
    ASSERT_EQ(grid("--z pick --picks " + (folder / "picks.csv") + places).status, 0);
    EXPECT_EQ(values(), fromHeaders);
    ASSERT_EQ(grid("--z pick --map pick=233:2 --word-unit samples" + places).status, 0);
    EXPECT_NEAR(values()[24], -12.0 + 4.0 * 100.0, 0.01) << "samples of 4 ms behind the delay";
}

TEST_F(GridOfHeaders, SaysWhichWordItNeeds) {
    const auto expectRefusal = [&](const std::string& arguments, int status, const std::string& complaint) {
        const Outcome outcome = grid(arguments);
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.err, "pelta: " + complaint + "\n");
        EXPECT_EQ(folder.listing(), "line.sgy ");
    };
    expectRefusal("", 2, "--z: which header word is to be gridded? (--z receiver_elevation, --z pick ...)");
    expectRefusal("--z pick", 2, "--z pick: give the first breaks by --picks FILE or by --map pick=BYTE:SIZE");
    expectRefusal("--z fold --x source_x --y source_y", 1,
                  line + ": its 30 points all lie at source_x 1234.5, source_y 0 (--x and --y choose what places them)");
    expectRefusal(
        "--z fold --x receiver_x --y source_y", 1,
        line + ": its 6 points lie on one line; a surface needs others beside it (--x and --y choose what places them)");
    std::filesystem::copy_file(line, folder / "line.segy");
    EXPECT_EQ(runPelta("grid " + (folder / "line.segy") + " --z fold").status, 0);
    std::filesystem::rename(folder / "line.segy", folder / "renamed");
    EXPECT_EQ(runPelta("grid " + (folder / "renamed") + " --segy --z fold").status, 0);
    EXPECT_EQ(runPelta("grid " + (folder / "renamed")).status, 1) << "no table";
}

}
