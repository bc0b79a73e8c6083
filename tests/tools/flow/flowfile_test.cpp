#include "flow/flowfile.h"

#include <gtest/gtest.h>

#include "support/complaint.h"
#include "support/failure.h"
#include "support/files.h"
#include "support/outputfile.h"

namespace pelta {
namespace {

std::string complaint(const std::string& text) {
    return complaintOf<UsageError>([&] { readFlow(text, "f.toml"); });
}

TEST(FlowFile, ListsStepsInTheirOrder) {
    const auto steps = readFlow(
        "[[step]]\nname = \"gain\"\nwindow_ms = 250\n[[step]]\nname = 'bandpass'\ncorners_hz=[5,10,60,80]\n", "f.toml");
    ASSERT_EQ(steps.size(), 2u);
    EXPECT_EQ(steps[0].kind->name, "gain");
    EXPECT_EQ(steps[0].parameters.integer("window"), 250);
    EXPECT_EQ(steps[1].kind->name, "bandpass");
    EXPECT_EQ(steps[1].parameters.reals("corners"), (std::vector<double>{5, 10, 60, 80}));
}

TEST(FlowFile, TellsLineColumnAndNearestNameOfAnUnknownKey) {
    EXPECT_EQ(complaint("[[step]]\nname = \"gain\"\n  windov_ms = 250\n"),
              "f.toml:3:3: unknown key 'windov_ms' in step gain, did you mean 'window_ms'?");
    EXPECT_EQ(complaint("[[step]]\nname = \"bandpas\"\n"), "f.toml:2:8: unknown step 'bandpas', did you mean 'bandpass'?");
    EXPECT_EQ(complaint("[[stepp]]\nname = \"gain\"\n"), "f.toml:1:3: unknown key 'stepp', did you mean 'step'?");
}

TEST(FlowFile, TellsWhereAValueIsWrong) {
    EXPECT_EQ(complaint("[[step]]\nname = \"gain\"\nwindow_ms = \"long\"\n"), "f.toml:3:13: window_ms takes a whole number");
    EXPECT_EQ(complaint("[[step]]\nname = \"gain\"\nwindow_ms = 0\n"),
              "f.toml:3:13: window_ms: 0 lies outside 1 .. 2.14748e+09");
    EXPECT_EQ(complaint("[[step]]\nname = \"phase\"\nangle_deg = true\n"), "f.toml:3:13: angle_deg takes a number");
    EXPECT_EQ(complaint("[[step]]\nname = \"bandpass\"\ncorners_hz = [5, 10.5]\n"),
              "f.toml:3:18: corners_hz takes whole numbers");
    EXPECT_EQ(complaint("[[step]]\nname = \"bandpass\"\ncorners_hz = 5\n"),
              "f.toml:3:14: corners_hz takes a list such as [5, 10, 60, 80]");
    EXPECT_EQ(complaint("[[step]]\nname = \"moveout\"\nvelocity_table_ms_m_per_s = [[1, 2, 3]]\n"),
              "f.toml:3:30: velocity_table_ms_m_per_s takes a list of pairs such as [[0, 1500], [1000, 2200]]");
    EXPECT_EQ(complaint("[[step]]\nname = \"bandpass\"\nshape = \"ormsbi\"\n"),
              "f.toml:3:9: shape: 'ormsbi' is none of ormsby, butterworth, did you mean 'ormsby'?");
}

TEST(FlowFile, RefusesWhatIsNoFlow) {
    EXPECT_EQ(complaint(""), "f.toml: no steps; a flow is a list of [[step]] tables");
    EXPECT_EQ(complaint("step = [1]"), "f.toml:1:9: a step is a [[step]] table");
    EXPECT_EQ(complaint("[[step]]\nwindow_ms = 1\n"), "f.toml:1:1: a step needs a name, such as name = \"bandpass\"");
    EXPECT_TRUE(complaint("[[step]\n").starts_with("f.toml:1:"));
}

TEST(FlowFile, SaysWhyItCannotBeRead) {
    EXPECT_EQ(complaintOf<Failure>([] { FlowFile("/nowhere/f.toml"); }),
              "/nowhere/f.toml: cannot be read: No such file or directory");
    EXPECT_EQ(complaintOf<Failure>([] { FlowFile("/"); }), "/: cannot be read: Is a directory");
}

TEST(FlowFile, IsReplacedByNoOutputWhileItLives) {
    const ScratchFolder folder;
    const std::string name = folder.file("f.toml"), text = "[[step]]\nname = \"gain\"\n";
    writeFile(name, text);
    const FlowFile flow(name);
    EXPECT_EQ(flow.steps().size(), 1u);
    EXPECT_EQ(complaintOf<Failure>([&] { OutputFile(name, true); }),
              name + ": is the input itself; choose another name for the output");
}

TEST(FlowFile, ReadsBackWhatItWrites) {
    const auto steps = readFlow(
        "[[step]]\nname='bandpass'\ncorners_hz=[5,10,60,80]\ninverse=true\n[[step]]\nname='moveout'\n"
        "velocity_table_ms_m_per_s=[[0,1500],[1000,2200.5]]\n[[step]]\nname='pick'\nipmethod='spectral'\npicks_file='a "
        "\"b\".csv'\n",
        "f.toml");
    const std::string text = writeFlow(steps);
    EXPECT_NE(text.find("inverse = true"), std::string::npos);
    EXPECT_NE(text.find("stretch_percent = 30"), std::string::npos) << "defaults are spelt out";
    EXPECT_EQ(writeFlow(readFlow(text, "g.toml")), text);
}

TEST(FlowFile, DescribesAStepByWhatIsNotDefault) {
    const auto steps = readFlow("[[step]]\nname='bandpass'\ncorners_hz=[5,10,60,80]\nphase='minimum'\n", "f.toml");
    EXPECT_EQ(describe(steps[0]), "bandpass corners_hz=5,10,60,80 phase=\"minimum\"");
}

}
}
