#include <gtest/gtest.h>

#include <algorithm>

#include "support/peltacommand.h"

namespace {

TEST(WaveletCommand, WritesWaveletsFilterAndSpectra) {
    const TemporaryFolder folder;
    const std::string samples = folder / "wavelets.csv", spectra = folder / "spectra.csv";
    const Outcome outcome = runPelta("wavelet " + samples + " --frequency 30 --interval 2 --spectra " + spectra);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(
        outcome.out.starts_with("Ricker wavelet of 30 Hz: 31 samples at 2 ms, time 0 at 30 ms (zero phase), 0 ms (minimum "
                                "phase) and 60 ms (maximum phase)\n"))
        << outcome.out;
    const std::string text = contentsOf(samples), amplitudes = contentsOf(spectra);
    EXPECT_TRUE(text.starts_with("time_ms,ricker,minimum_phase,zero_phase,maximum_phase,shaping_filter,wanted,filtered\n0,"));
    EXPECT_NE(text.find("\n30,1,"), std::string::npos) << "the peak";
    EXPECT_NE(text.find("\n62,,,,,,0,"), std::string::npos) << "behind the wavelet";
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + 31 + 30);
    EXPECT_TRUE(
        amplitudes.starts_with("frequency_hz,minimum_phase_amplitude,minimum_phase_rad,zero_phase_amplitude,"
                               "zero_phase_rad,maximum_phase_amplitude,maximum_phase_rad\n0,"));
    EXPECT_EQ(runPelta("wavelet - --frequency 30 --interval 2").out, text);
}

TEST(WaveletCommand, WarnsWhereTheIntervalIsTooCoarse) {
    EXPECT_EQ(runPelta("wavelet - --frequency 60 --interval 4 2>&1 >/dev/null | grep warning").out,
              "pelta: warning: a Ricker wavelet of 60 Hz holds frequencies up to 156 Hz; 4 ms resolve 125 Hz\n");
}

TEST(WaveletCommand, SaysInOneLineWhatIsWrongAndLeavesNoFile) {
    const TemporaryFolder folder;
    for (const char* arguments : {"--frequency 300", "--frequency 0", "--interval 0", "--interval -2", "--tail 0", "--tail -1",
                                  "--length 30", "--noise -1", "--size 1,1"}) {
        const Outcome outcome =
            runPelta("wavelet " + (folder / "w.csv") + " --spectra " + (folder / "s.csv") + " " + arguments);
        EXPECT_EQ(outcome.status, 2) << arguments;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(folder.listing(), "") << arguments;
    }
    const Outcome unsolved = runPelta("wavelet " + (folder / "w.csv") + " --interval 0.1 --noise 0");
    EXPECT_EQ(unsolved.status, 1);
    EXPECT_EQ(
        unsolved.err,
        "pelta: the equations of the minimum phase have no solution; more white noise (--noise, percent) gives them one\n");
    EXPECT_EQ(folder.listing(), "");
}

TEST(WaveletCommand, DrawsAPictureOrSaysThatThisBuildCannot) {
    const TemporaryFolder folder;
    const std::string picture = folder / "picture.pdf";
    const Outcome outcome = runPelta("wavelet " + (folder / "w.csv") + " --picture " + picture);
    if (!hasPictures()) {
        expectPictureRefused(outcome, picture);
        EXPECT_EQ(folder.listing(), "");
        return;
    }
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(contentsOf(picture).starts_with("%PDF"));
}

}
