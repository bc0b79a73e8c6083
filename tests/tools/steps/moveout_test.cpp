#include <gtest/gtest.h>
#include <pelta/normalmoveout.h>

#include <algorithm>
#include <cmath>

#include "segy/reader.h"
#include "support/bits.h"
#include "support/files.h"
#include "support/segyfiles.h"
#include "support/signals.h"
#include "tools/steps/applystep.h"
#include "velocity/field.h"

namespace pelta {
namespace {

/* Moveout with functions that vary along the line or over an area. */
class MoveoutOverAnArea : public testing::Test {
  protected:
    void table(const std::string& text) { writeFile(tableName, text); }

    /* As a run does it: the file is read first, the headers of a line of CDPs 1000 to 1002 at hand. */
    std::shared_ptr<const Preparation> prepared(const Texts& values) const {
        writeFile(folder.file("line.sgy"), makeSegy({}));
        segy::Reader reader(folder.file("line.sgy"), {});
        return findStepKind("moveout")->prepare(parametersOf("moveout", values), reader);
    }
    Applied corrected(WorkTrace work, Texts values = {}) const {
        values.emplace_back("velocity_file", tableName);
        Line line = testLine();
        line.prepared = prepared(values);
        return apply("moveout", values, std::move(work), line);
    }
    static WorkTrace traceAt(double x, double y, std::int64_t cdp, double delayMs = 0.0) {
        WorkTrace work = traceOf(randomTrace(sampleCount, 11), 800.0, delayMs);
        work.facts.cdpX = x;
        work.facts.cdpY = y;
        work.facts.cdp = cdp;
        return work;
    }
    /* The library's moveout with a velocity function at a trace's samples, from time 0 on. */
    static std::vector<float> expected(std::vector<float> fromTimeZero, std::vector<float> velocities) {
        const int count = static_cast<int>(fromTimeZero.size());
        NormalMoveout moveout(count, intervalMs / 1000.0f, 0.3f, -1e9f, true, false);
        std::vector<float> none(fromTimeZero.size(), 0.0f);
        moveout.applyNMO(fromTimeZero.data(), velocities.data(), none.data(), count, 0.0f, 800.0f, 0, count);
        return fromTimeZero;
    }
    std::vector<float> fieldAt(const velocity::Place& place, int count = sampleCount) const {
        const auto table = velocity::readFunctions(tableName);
        velocity::Field field(velocity::placeFunctions(table, velocity::PlacedBy::coordinates, nullptr).points);
        std::vector<float> velocities(static_cast<std::size_t>(count));
        field.functionAt(place, 0.0, intervalMs, count, velocities.data());
        return velocities;
    }

    const ScratchFolder folder;
    const std::string tableName = folder.file("v.csv");
    const std::string area =
        "x,y,time_ms,velocity_m_per_s\n0,0,0,1500,2000,2500\n1000,0,0,1800,2000,3500\n0,500,100,2000\n0,500,1500,2600\n";
};

TEST_F(MoveoutOverAnArea, TakesTheVelocityAtEachTracesCdp) {
    table(area);
    for (const velocity::Place& place : {velocity::Place{200, 100}, velocity::Place{0, 500}, velocity::Place{-300, 900}}) {
        const WorkTrace work = traceAt(place.x, place.y, 1);
        const Applied result = corrected(work);
        EXPECT_TRUE(sameSamples(result.samples, expected(work.trace.samples, fieldAt(place))));
        EXPECT_TRUE(result.isChanged);
    }
}

TEST_F(MoveoutOverAnArea, TakesTheMidpointWhereTheCdpHasNoCoordinates) {
    table(area);
    WorkTrace work = traceAt(0, 0, 1);
    work.facts.sourceX = 100;
    work.facts.receiverX = 300;
    work.facts.receiverY = 200;
    EXPECT_TRUE(sameSamples(corrected(work).samples, corrected(traceAt(200, 100, 1)).samples));
}

TEST_F(MoveoutOverAnArea, CountsTimeFromTheShot) {
    table(area);
    const WorkTrace late = traceAt(200, 100, 1, 40.0), early = traceAt(200, 100, 1, -40.0);
    std::vector<float> padded(10, 0.0f);
    padded.insert(padded.end(), late.trace.samples.begin(), late.trace.samples.end());
    padded = expected(padded, fieldAt({200, 100}, sampleCount + 10));
    EXPECT_TRUE(sameSamples(corrected(late).samples, std::vector<float>(padded.begin() + 10, padded.end())));
    std::vector<float> cut(early.trace.samples.begin() + 10, early.trace.samples.end());
    cut = expected(cut, fieldAt({200, 100}, sampleCount - 10));
    cut.insert(cut.begin(), early.trace.samples.begin(), early.trace.samples.begin() + 10);
    EXPECT_TRUE(sameSamples(corrected(early).samples, cut));
}

TEST_F(MoveoutOverAnArea, WorksOnOneTraceAfterAnother) {
    table(area);
    Line line = testLine();
    const Texts values = {{"velocity_file", tableName}};
    line.prepared = prepared(values);
    const auto step = findStepKind("moveout")->make(parametersOf("moveout", values), line);
    for (const auto& [x, delay] : {std::pair{200.0, 0.0}, {200.0, 40.0}, {200.0, 0.0}, {300.0, 0.0}, {200.0, -40.0}}) {
        WorkTrace work = traceAt(x, 100, 1, delay);
        const std::vector<float> alone = corrected(work).samples;
        Findings none;
        step->apply(work, none);
        EXPECT_TRUE(sameSamples(work.trace.samples, alone)) << x << " " << delay;
    }
}

TEST_F(MoveoutOverAnArea, InterpolatesBetweenCdpsByTheirNumberOrByTheHeaders) {
    table("cdp,time_ms,velocity\n1000,0,2000,1000,2000\n1002,0,3000,1000,3000\n");
    const WorkTrace byNumber = traceAt(5, 5, 1001), byPlace = traceAt(1259.5, 0, 7);
    EXPECT_TRUE(sameSamples(corrected(byNumber, {{"velocity_by", "cdp"}}).samples,
                            expected(byNumber.trace.samples, std::vector<float>(sampleCount, 2500.0f))));
    EXPECT_TRUE(
        sameSamples(corrected(byPlace).samples, expected(byPlace.trace.samples, std::vector<float>(sampleCount, 2250.0f))));
}

TEST_F(MoveoutOverAnArea, NeedsCoordinatesUnlessNumbersDo) {
    table("cdp,time_ms,velocity\n1000,0,2000,1000,2000\n1000,0,3000\n1002,0,3000,1000,3000\n1002,2000,3000\n");
    EXPECT_THROW(prepared({{"velocity_file", tableName}}), UsageError) << "times do not ascend";
    table("cdp,time_ms,velocity\n1000,0,2000,1000,2000\n1002,0,3000,1000,3000\n1000,0,2100,1000,2000\n");
    const auto byPlace = prepared({{"velocity_file", tableName}});
    EXPECT_TRUE(byPlace->needsPlaces);
    EXPECT_EQ(
        byPlace->warnings,
        (std::vector<std::string>{tableName + ":4: another function of the place of CDP 1000 in line 2; the last one counts"}));
    EXPECT_FALSE(prepared({{"velocity_file", tableName}, {"velocity_by", "cdp"}})->needsPlaces);
    table("0,2000\n1000,2500\n");
    EXPECT_FALSE(prepared({{"velocity_file", tableName}})->needsPlaces);
    EXPECT_FALSE(prepared({{"velocity", "2000"}})->needsPlaces);
}

TEST_F(MoveoutOverAnArea, ReadsOneFunctionForAllPlacesAsItDoesTheTable) {
    table("time_ms,velocity\n0,1500\n1000,2500\n");
    const WorkTrace work = traceAt(200, 100, 1);
    const Applied byTable = apply("moveout", {{"velocity_table", "0:1500,1000:2500"}}, work);
    EXPECT_TRUE(sameSamples(corrected(work).samples, byTable.samples));
}

}
}
