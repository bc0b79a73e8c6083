#include "flow/parameters.h"

#include <gtest/gtest.h>

#include "support/complaint.h"
#include "support/failure.h"

namespace pelta {
namespace {

const Parameter corners = {"corners", "hz", Kind::integers, "corners", {}, 0, 1000};
const Parameter shape = {"shape", "", Kind::choice, "shape", std::int64_t{0}, 0, 1, {{"ormsby", 0}, {"butterworth", 1}}};
const Parameter table = {"velocity_table", "ms_m_per_s", Kind::pairs, "velocities"};

TEST(Parameters, CarryTheirUnitInTheFlowFilesKeyOnly) {
    EXPECT_EQ(corners.key(), "corners_hz");
    EXPECT_EQ(corners.option(), "--corners");
    EXPECT_EQ(table.option(), "--velocity-table");
    EXPECT_EQ(shape.key(), "shape");
}

TEST(Parameters, ReadListsPairsAndChoicesFromText) {
    EXPECT_EQ(std::get<std::vector<double>>(valueFromText(corners, "5,10,60,80")), (std::vector<double>{5, 10, 60, 80}));
    EXPECT_EQ(std::get<std::vector<double>>(valueFromText(corners, "5 10, 60")), (std::vector<double>{5, 10, 60}));
    EXPECT_EQ(std::get<std::vector<double>>(valueFromText(corners, "-5,5000000000")), (std::vector<double>{-5, 5e9}));
    EXPECT_EQ(std::get<Pairs>(valueFromText(table, "0:1500,1000:2200.5")), (Pairs{{0, 1500}, {1000, 2200.5}}));
    EXPECT_EQ(std::get<std::int64_t>(valueFromText(shape, "butterworth")), 1);
    EXPECT_EQ(std::get<std::int64_t>(valueFromText(shape, "1")), 1);
}

TEST(Parameters, SayWhatWasExpected) {
    EXPECT_EQ(complaintOf<UsageError>([] { valueFromText(corners, "5,ten"); }), "'ten' is not a list of whole numbers");
    EXPECT_EQ(complaintOf<UsageError>([] { valueFromText(corners, "5,,7"); }), "'' is not a list of whole numbers");
    EXPECT_EQ(complaintOf<UsageError>([] { valueFromText(table, "0:1500,9"); }), "'9' is not a pair such as 400:1800");
    EXPECT_EQ(complaintOf<UsageError>([] { valueFromText(shape, "ormsbi"); }),
              "'ormsbi' is none of ormsby, butterworth, did you mean 'ormsby'?");
    EXPECT_EQ(complaintOf<UsageError>([] { checkBounds(corners, std::vector<double>{5, -1}); }), "-1 lies outside 0 .. 1000");
}

TEST(Parameters, AreNamedAsOptionsOnTheCommandLine) {
    EXPECT_EQ(complaintOf<UsageError>([] { valueFromOption(corners, "5,ten"); }),
              "--corners: 'ten' is not a list of whole numbers");
    EXPECT_EQ(complaintOf<UsageError>([] { valueFromOption(corners, "5,-1"); }), "--corners: -1 lies outside 0 .. 1000");
}

TEST(Parameters, WriteWhatAFlowFileReads) {
    EXPECT_EQ(flowText(corners, std::vector<double>{5, 10}), "[5, 10]");
    EXPECT_EQ(flowText(table, Pairs{{0, 1500}, {1000, 2200.5}}), "[[0, 1500], [1000, 2200.5]]");
    EXPECT_EQ(flowText(shape, std::int64_t{1}), "\"butterworth\"");
    EXPECT_EQ(flowText({"name", "", Kind::text, ""}, std::string("a \"b\" \\")), "\"a \\\"b\\\" \\\\\"");
}

TEST(Parameters, NameTheMissingOne) {
    const std::vector<Parameter> declared = {corners, shape};
    const Parameters parameters("bandpass", declared);
    EXPECT_EQ(parameters.choice("shape"), 0);
    EXPECT_FALSE(parameters.has("corners"));
    EXPECT_EQ(complaintOf<UsageError>([&] { parameters.reals("corners"); }), "bandpass: corners_hz is missing: corners");
}

}
}
