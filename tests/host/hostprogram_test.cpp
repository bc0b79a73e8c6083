#include <gtest/gtest.h>
#include <pelta/bandpassfilter.h>
#include <pelta/cummlative.h>
#include <pelta/host.h>
#include <pelta/leastsquares.h>
#include <pelta/mute.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/files.h"

/* A host program with routines and tables of its own, linked beside the stand-in: libpelta has to call the program's. */

namespace {

int lengthsAsked = 0, transformsBack = 0, convolutions = 0;
stdHdrStruct ownEntries = {};
globalCharStruct ownTexts = {"project", "line7", "area51", "flow", "process", ""};

}

stdHdrStruct* stdHdr = &ownEntries;
globalCharStruct* globalChar = &ownTexts;

/* Two definitions of a table are the point here; the address sanitizer would end the program for it. */
extern "C" PELTA_API const char* __asan_default_options() { return "detect_odr_violation=0"; }

int npfar(int) {
    ++lengthsAsked;
    return 48;
}

void pfarc(int, int n, float*, peltaComplex* cz) { std::fill_n(cz, n / 2 + 1, peltaComplex{2.0f, 0.0f}); }

void pfacr(int, int n, peltaComplex*, float* rz) {
    ++transformsBack;
    std::fill_n(rz, n, 96.0f);
}

void conv(int, int, float*, int, int, float*, int lz, int, float* z) {
    ++convolutions;
    std::fill_n(z, lz, 5.0f);
}

void qksort(int n, float* a) { std::fill_n(a, n, 7.0f); }

void qkifind(int m, int, float*, int* i) { i[m] = 1; }

namespace {

TEST(HostProgram, SuppliesTheRoutinesThatTheLibraryCalls) {
    BandPassFilter filter(0, 0, 0, 0.0f, 5, 10, 60, 80, 100, 2.0f);
    EXPECT_EQ(lengthsAsked, 1);
    EXPECT_EQ(transformsBack, 1);
    EXPECT_EQ(filter._nfft, 48);
    EXPECT_EQ(filter._filter[0], 96.0f);
    std::vector<float> trace(100, 1.0f);
    filter.applyFilter(trace.data(), 100);
    EXPECT_EQ(convolutions, 1);
    EXPECT_EQ(trace, std::vector<float>(100, 5.0f));
    filter.setTimeDomain(0);
    filter.applyFilter(trace.data(), 48);
    EXPECT_EQ(transformsBack, 2);
    EXPECT_EQ(trace[0], 2.0f);  // 96 / 48
}

TEST(HostProgram, SuppliesTheSortingThatTheLibraryCalls) {
    float x[3] = {1.0f, 1.0f, 1.0f}, y[3] = {1.0f, 2.0f, 3.0f}, work[3], slope;
    meanAlphaTrim(x, y, 3, 0, work, &slope);
    EXPECT_EQ(slope, 7.0f);
    int indices[3];
    float values[3] = {4.0f, 9.0f, 5.0f};
    EXPECT_EQ(wghtMedian(values, indices, 3), 9.0f);
}

TEST(HostProgram, SuppliesTheTablesThatTheLibraryReads) {
    ownEntries.itlive_s = 2;
    float trace[4] = {0.0f, 1.0f, 1.0f, 0.0f}, header[2] = {};
    applyMute(trace, 4, 10.0f, header, 0, nullptr);
    EXPECT_EQ(header[1], 20.0f);
    const ScratchFolder root;
    std::filesystem::create_directories(root.path() / "linux/lib");
    setenv("PELTA_HOME", root.path().c_str(), 1);
    setenv("LOGNAME", "alice", 1);
    std::string process = "bandpass";
    EXPECT_EQ(runCummlative(process.data(), 100), 1);
    const std::string records = contentsOf(root.file("linux/lib/libCumm.so"));
    EXPECT_NE(records.find("area51"), std::string::npos);
    EXPECT_NE(records.find("line7"), std::string::npos);
}

}
