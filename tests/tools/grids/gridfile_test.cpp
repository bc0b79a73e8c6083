#include "grids/gridfile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "grids/roundeddown.h"
#include "support/failure.h"
#include "support/process.h"

namespace pelta {
namespace {

/* Three columns and two rows; the upper left corner is the highest in y. */
Grid smallGrid() {
    return {3, 2, 1500.0, 0.0, 25.0, 4.0, {1.0f, 2.5f, 0.1f, -3.0f, std::numeric_limits<float>::quiet_NaN(), 1e-7f}};
}

void writeGrid(const std::string& name, const Grid& grid, const std::string& what = "semblance") {
    GridFile file(name, false);
    file.write(grid, what);
    file.commit();
}

TEST(GridFile, WritesTextWithBothSpacings) {
    const TemporaryFolder folder;
    writeGrid(folder / "grid.asc", smallGrid());
    EXPECT_EQ(contentsOf(folder / "grid.asc"),
              "ncols 3\nnrows 2\nxllcenter 1500\nyllcenter -4\ndx 25\ndy 4\nNODATA_value -9999\n1 2.5 0.1\n-3 -9999 1e-07\n");
}

TEST(GridFile, WritesOneCellSizeWhereSpacingsAreEqual) {
    const TemporaryFolder folder;
    Grid grid = smallGrid();
    grid.rowSpacing = 25.0;
    writeGrid(folder / "grid.asc", grid);
    EXPECT_NE(contentsOf(folder / "grid.asc").find("\nyllcenter -25\ncellsize 25\nNODATA"), std::string::npos);
}

TEST(GridFile, WritesFloatsBesideTheirHeader) {
    const TemporaryFolder folder;
    writeGrid(folder / "grid.bin", smallGrid());
    const float expected[] = {1.0f, 2.5f, 0.1f, -3.0f, -9999.0f, 1e-7f};
    EXPECT_EQ(contentsOf(folder / "grid.bin"), std::string(reinterpret_cast<const char*>(expected), sizeof expected));
    EXPECT_EQ(contentsOf(folder / "grid.hdr"),
              "ENVI\ndescription = {semblance}\nsamples = 3\nlines = 2\nbands = 1\nheader offset = 0\n"
              "file type = ENVI Standard\ndata type = 4\ninterleave = bsq\nbyte order = 0\n"
              "map info = {Arbitrary, 1.5, 1.5, 1500, 0, 25, 4}\ndata ignore value = -9999\nband names = {semblance}\n");
}

TEST(GridFile, TakesNoValueForTheNumberThatStandsForNone) {
    const TemporaryFolder folder;
    Grid grid = smallGrid();
    grid.values[0] = -9999.0f;
    grid.values[5] = -99999.0f;
    writeGrid(folder / "grid.asc", grid);
    writeGrid(folder / "grid.bin", grid);
    EXPECT_TRUE(contentsOf(folder / "grid.asc").ends_with("\nNODATA_value -999999\n-9999 2.5 0.1\n-3 -999999 -99999\n"));
    const float expected[] = {-9999.0f, 2.5f, 0.1f, -3.0f, -999999.0f, -99999.0f};
    EXPECT_EQ(contentsOf(folder / "grid.bin"), std::string(reinterpret_cast<const char*>(expected), sizeof expected));
    EXPECT_NE(contentsOf(folder / "grid.hdr").find("\ndata ignore value = -999999\n"), std::string::npos);
}

TEST(GridFile, RefusesOtherEndings) {
    const TemporaryFolder folder;
    EXPECT_THROW(GridFile(folder / "grid.tif", false), UsageError);
    EXPECT_THROW(GridFile("-", false), UsageError);
    EXPECT_EQ(folder.listing(), "");
}

TEST(GridFile, LeavesNothingWithoutCommitAndKeepsWhatStandsThere) {
    const TemporaryFolder folder;
    {
        GridFile file(folder / "grid.img", false);
        file.write(smallGrid(), "semblance");
    }
    EXPECT_EQ(folder.listing(), "");
    std::ofstream(folder / "grid.hdr") << "precious";
    EXPECT_THROW(GridFile(folder / "grid.img", false), Failure);
    EXPECT_EQ(folder.listing(), "grid.hdr ");
    EXPECT_EQ(contentsOf(folder / "grid.hdr"), "precious");
}

TEST(RoundedDown, IsOneTwoOrFiveTimesAPowerOfTen) {
    EXPECT_EQ(roundedDown(1.0), 1.0);
    EXPECT_EQ(roundedDown(1.99), 1.0);
    EXPECT_EQ(roundedDown(4.9), 2.0);
    EXPECT_EQ(roundedDown(99.0), 50.0);
    EXPECT_NEAR(roundedDown(0.034), 0.02, 1e-15);
}

TEST(ExtentOfGrid, LeavesOutWhatIsNoNumber) {
    Grid grid = smallGrid();
    grid.values[0] = std::numeric_limits<float>::infinity();
    EXPECT_EQ(extentOf(grid), std::pair(-3.0, 2.5));
    grid.values.clear();
    EXPECT_LT(extentOf(grid).second, extentOf(grid).first);
}

/* What GDAL says of a file, and the value that it reads at a column and row. */
class GridInGdal : public testing::TestWithParam<const char*> {
  protected:
    void SetUp() override {
        if (runShell("gdalinfo --version").status != 0) GTEST_SKIP() << "GDAL is not installed";
        writeGrid(name, smallGrid());
    }
    const TemporaryFolder folder;
    const std::string name = folder / (std::string("grid") + GetParam());
};

TEST_P(GridInGdal, OpensUprightInItsPlace) {
    const Outcome info = runShell("gdalinfo " + name);
    ASSERT_EQ(info.status, 0) << info.err;
    for (const char* said :
         {"Size is 3, 2", "Origin = (1487.5", ",2.0", "Pixel Size = (25.0", ",-4.0", "Type=Float32", "NoData Value=-9999"})
        EXPECT_NE(info.out.find(said), std::string::npos) << said << " is missing:\n" << info.out;
    EXPECT_EQ(runShell("echo 2 0 | gdallocationinfo -valonly " + name).out.substr(0, 3), "0.1");
    EXPECT_EQ(runShell("echo 1500 -4 | gdallocationinfo -valonly -geoloc " + name).out, "-3\n") << "rows go down";
}

INSTANTIATE_TEST_SUITE_P(Formats, GridInGdal, testing::Values(".asc", ".bin", ".img"),
                         [](const auto& format) { return std::string(format.param + 1); });

}
}
