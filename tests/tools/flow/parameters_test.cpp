#include "flow/parameters.h"

#include <gtest/gtest.h>

#include "support/failure.h"

namespace pelta {
namespace {

const Parameter corners = {"corners", "hz", Kind::integers, "corners", {}, 0, 1000};
const Parameter shape = {"shape", "", Kind::choice, "shape", std::int64_t{0}, 0, 1, {{"ormsby", 0}, {"butterworth", 1}}};
const Parameter table = {"velocity_table", "ms_m_per_s", Kind::pairs, "velocities"};

std::string usageError(const std::function<void()>& action) {
    try {
        action();
    } catch (const UsageError& error) { return error.what(); }
    return "";
}

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
    EXPECT_EQ(usageError([] { valueFromText(corners, "5,ten"); }), "--corners: 'ten' is not a list of whole numbers");
    EXPECT_EQ(usageError([] { valueFromText(corners, "5,,7"); }), "--corners: '' is not a list of whole numbers");
    EXPECT_EQ(usageError([] { valueFromText(table, "0:1500,9"); }), "--velocity-table: '9' is not a pair such as 400:1800");
    EXPECT_EQ(usageError([] { valueFromText(shape, "ormsbi"); }),
              "--shape: 'ormsbi' is none of ormsby, butterworth, did you mean 'ormsby'?");
    EXPECT_EQ(usageError([] { checkBounds(corners, std::vector<double>{5, -1}); }), "corners_hz: -1 lies outside 0 .. 1000");
}

TEST(Parameters, WriteWhatAFlowFileReads) {
    EXPECT_EQ(flowText(corners, std::vector<double>{5, 10}), "[5, 10]");
    EXPECT_EQ(flowText(table, Pairs{{0, 1500}, {1000, 2200.5}}), "[[0, 1500], [1000, 2200.5]]");
    EXPECT_EQ(flowText(shape, std::int64_t{1}), "\"butterworth\"");
    EXPECT_EQ(flowText({"name", "", Kind::text, ""}, std::string("a \"b\" \\")), "\"a \\\"b\\\" \\\\\"");
}

TEST(Parameters, NameTheMissingOne) {
    const std::vector<Parameter> declared = {corners, shape};
    const Parameters parameters(declared);
    EXPECT_EQ(parameters.choice("shape"), 0);
    EXPECT_FALSE(parameters.has("corners"));
    EXPECT_EQ(usageError([&] { parameters.reals("corners"); }), "corners_hz is missing: corners");
}

}
}
