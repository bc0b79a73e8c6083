#include "velocity/controlpoints.h"

#include <gtest/gtest.h>

#include "support/failure.h"
#include "support/files.h"
#include "support/segyfiles.h"

namespace pelta::velocity {
namespace {

const Pairs slow = {{0, 1500}, {1000, 2000}}, fast = {{0, 2500}, {1000, 3000}}, faster = {{0, 3500}, {1000, 4000}};

/* Traces 1000, 1001 and 1002 by CDP; the sources stand at x = 1234.5, the receivers 100 m apart from there on. */
class LineOfThree : public testing::Test {
  protected:
    void SetUp() override { write(makeSegy({})); }
    void write(const std::string& bytes) { writeFile(name, bytes); }
    /* A header word of trace t. */
    static void put(std::string& bytes, int t, int byte, int size, std::int64_t value) {
        putWord(bytes, SegyRecipe().placeInTrace(t, byte), size, value);
    }
    ControlPoints placed(const FunctionTable& table, PlacedBy by = PlacedBy::coordinates) const {
        segy::Reader reader(name, {});
        ControlPoints result = placeFunctions(table, by, &reader);
        segy::Trace trace;
        EXPECT_TRUE(reader.nextHeader(trace));
        EXPECT_EQ(trace.number, 0) << "the reader stands at its start again";
        return result;
    }
    template <class Error>
    std::string complaint(const FunctionTable& table, PlacedBy by = PlacedBy::coordinates) const {
        try {
            placed(table, by);
        } catch (const Error& error) { return error.what(); }
        return "";
    }

    const ScratchFolder folder;
    const std::string name = folder.file("line.sgy");
};

TEST_F(LineOfThree, GivesACdpItsPlaceByTheHeaders) {
    const ControlPoints result = placed({"v.csv", {{1000, {}, slow, 2}, {1002, {}, fast, 4}}});
    ASSERT_EQ(result.points.size(), 2u);
    EXPECT_EQ(result.points[0].place, (Place{1234.5, 0})) << "without CDP coordinates the midpoint counts";
    EXPECT_EQ(result.points[1].place, (Place{1334.5, 0}));
    EXPECT_EQ(result.points[1].pairs, fast);
    EXPECT_EQ(result.points[1].cdp, 1002);
    EXPECT_TRUE(result.warnings.empty());
}

TEST_F(LineOfThree, TakesTheMeanOfACdpsTraces) {
    std::string bytes = makeSegy({});
    for (int t = 0; t < 3; ++t) put(bytes, t, 21, 4, 7);
    put(bytes, 1, 181, 4, 9999 * 10); /* CDP coordinates go before the midpoint */
    put(bytes, 1, 185, 4, 30 * 10);
    write(bytes);
    const ControlPoints result = placed({"v.csv", {{7, {}, slow, 2}}});
    EXPECT_EQ(result.points.at(0).place, (Place{(1234.5 + 9999 + 1334.5) / 3, 10}));
}

TEST_F(LineOfThree, PassesOverTracesWithoutCoordinates) {
    std::string bytes = makeSegy({});
    for (int t = 0; t < 3; ++t) put(bytes, t, 21, 4, 7);
    for (int byte : {73, 77, 81, 85, 181, 185}) put(bytes, 1, byte, 4, 0);
    write(bytes);
    const ControlPoints result = placed({"v.csv", {{7, {}, slow, 2}}});
    EXPECT_EQ(result.points.at(0).place, (Place{(1234.5 + 1334.5) / 2, 0}));
}

TEST_F(LineOfThree, PrefersTheColumnsOfTheTable) {
    const ControlPoints result = placed({"v.csv", {{1000, Place{1, 2}, slow, 2}, {9, Place{3, 4}, fast, 4}}});
    EXPECT_EQ(result.points.at(0).place, (Place{1, 2}));
    EXPECT_EQ(result.points.at(1).place, (Place{3, 4}));
}

TEST_F(LineOfThree, PlacesByTheNumberAlone) {
    const ControlPoints result = placed({"v.csv", {{150, {}, slow, 2}, {9999, Place{3, 4}, fast, 4}}}, PlacedBy::cdp);
    EXPECT_EQ(result.points.at(0).place, (Place{150, 0}));
    EXPECT_EQ(result.points.at(1).place, (Place{9999, 0}));
    EXPECT_EQ(complaint<UsageError>({"v.csv", {{{}, Place{1, 2}, slow, 2}}}, PlacedBy::cdp),
              "v.csv: there is no column cdp, by which its functions are to be placed");
    EXPECT_EQ(complaint<UsageError>({"v.csv", {{50000000, {}, slow, 2}}}, PlacedBy::cdp),
              "v.csv:2: CDP 50000000 lies beyond 40000000, the last one that velocities are interpolated at");
}

TEST_F(LineOfThree, LeavesFunctionsOutWhoseCdpIsOnNoTrace) {
    const ControlPoints result = placed({"v.csv", {{1000, {}, slow, 2}, {5, {}, fast, 4}, {6, {}, fast, 6}}});
    EXPECT_EQ(result.points.size(), 1u);
    ASSERT_EQ(result.warnings.size(), 1u);
    EXPECT_EQ(result.warnings[0],
              "v.csv:4: no trace of " + name + " has CDP 5 and coordinates: its function is left out (and those of 1 more)");
    EXPECT_EQ(complaint<Failure>({"v.csv", {{5, {}, slow, 2}}}),
              name +
                  ": no trace has coordinates and one of the CDPs of v.csv; --map cdp=BYTE:SIZE,cdp_x=BYTE:SIZE,"
                  "cdp_y=BYTE:SIZE names the right words, and --velocity-by cdp does without coordinates");
}

TEST_F(LineOfThree, RefusesPlacesBeyondTheSquare) {
    std::string bytes = makeSegy({});
    put(bytes, 2, 71, 2, 100);
    write(bytes);
    put(bytes, 2, 181, 4, 500000);
    write(bytes);
    EXPECT_EQ(complaint<Failure>({"v.csv", {{1002, {}, slow, 2}}}),
              name +
                  ": CDP 1002, of which v.csv:2 has a function, lies at x 50000000, y 0, beyond 40000000; "
                  "--map coordinate_scalar=BYTE:SIZE names the word that scales coordinates");
}

TEST(ControlPoints, LeaveTheLastOfSeveralFunctionsOfAPlaceAndSaySoOnce) {
    const auto inColumns = [](std::vector<GivenFunction> functions) {
        return placeFunctions({"v.csv", std::move(functions)}, PlacedBy::coordinates, nullptr);
    };
    const ControlPoints twice = inColumns({{{}, Place{1, 2}, slow, 2}, {{}, Place{3, 4}, slow, 4}, {{}, Place{1, 2}, fast, 6}});
    ASSERT_EQ(twice.points.size(), 2u);
    EXPECT_EQ(twice.points[0].pairs, fast);
    EXPECT_EQ(twice.warnings,
              (std::vector<std::string>{"v.csv:6: another function of the place of x 1, y 2 in line 2; the last one counts"}));
    const ControlPoints often = inColumns({{5, Place{1, 2}, slow, 2},
                                           {6, Place{3, 4}, slow, 4},
                                           {7, Place{1, 2}, fast, 6},
                                           {6, Place{3, 4}, fast, 8},
                                           {8, Place{1, 2}, faster, 10}});
    ASSERT_EQ(often.points.size(), 2u);
    EXPECT_EQ(often.points[0].pairs, faster);
    EXPECT_EQ(often.points[0].cdp, 8);
    EXPECT_EQ(often.warnings,
              (std::vector<std::string>{
                  "v.csv:6: another function of the place of CDP 5 in line 2; the last one counts (so do 2 more)"}));
}

TEST(ControlPoints, CannotComeFromHeadersThatAreNotThere) {
    try {
        placeFunctions({"v.csv", {{5, {}, slow, 2}}}, PlacedBy::coordinates, nullptr);
        FAIL();
    } catch (const UsageError& error) {
        EXPECT_STREQ(error.what(),
                     "v.csv: its CDPs have no coordinates: there are no columns x and y, and no file whose headers could be "
                     "looked through ahead; --velocity-by cdp does without");
    }
}

}
}
