#include <gtest/gtest.h>

#include <algorithm>

#include "segy/headerwords.h"
#include "support/bits.h"
#include "support/files.h"
#include "support/signals.h"
#include "tools/steps/applystep.h"

namespace pelta {
namespace {

const std::string square = "100:100,300:100,300:200,100:200";

WorkTrace traceAt(double x, double y) {
    WorkTrace work = traceOf(randomTrace(sampleCount, 1));
    work.facts.cdpX = x;
    work.facts.cdpY = y;
    return work;
}

bool isDropped(const Texts& values, WorkTrace work) { return apply("trim", values, std::move(work)).work.isDropped; }

TEST(TrimStep, KeepsTheTracesOfAnAreaAsTheyAre) {
    const Applied kept = apply("trim", {{"polygon", square}}, traceAt(200, 150));
    EXPECT_FALSE(kept.work.isDropped);
    EXPECT_FALSE(kept.isChanged);
    EXPECT_TRUE(sameSamples(kept.samples, randomTrace(sampleCount, 1)));
    for (const auto& [x, y] : {std::pair{50.0, 150.0}, {350.0, 150.0}, {200.0, 50.0}, {200.0, 250.0}, {0.0, 0.0}})
        EXPECT_TRUE(isDropped({{"polygon", square}}, traceAt(x, y))) << x << ' ' << y;
}

TEST(TrimStep, KeepsTheTracesOutsideAnArea) {
    EXPECT_TRUE(isDropped({{"polygon", square}, {"keep", "outside"}}, traceAt(200, 150)));
    EXPECT_FALSE(isDropped({{"polygon", square}, {"keep", "outside"}}, traceAt(50, 150)));
}

TEST(TrimStep, KnowsAreasWithBaysAndRepeatedCorners) {
    const std::string angle = "0:0,300:0,300:100,100:100,100:300,0:300,0:0";
    EXPECT_FALSE(isDropped({{"polygon", angle}}, traceAt(50, 250)));
    EXPECT_FALSE(isDropped({{"polygon", angle}}, traceAt(250, 50)));
    EXPECT_TRUE(isDropped({{"polygon", angle}}, traceAt(250, 250)));
}

TEST(TrimStep, GivesATraceOnACommonEdgeToOneOfTwoAreas) {
    const std::string west = "0:0,100:0,100:100,0:100", east = "100:0,200:0,200:100,100:100",
                      north = "0:100,100:100,100:200,0:200";
    for (double along : {0.0, 33.3, 50.0, 99.9}) {
        EXPECT_NE(isDropped({{"polygon", west}}, traceAt(100, along)), isDropped({{"polygon", east}}, traceAt(100, along)))
            << along;
        EXPECT_NE(isDropped({{"polygon", west}}, traceAt(along, 100)), isDropped({{"polygon", north}}, traceAt(along, 100)))
            << along;
    }
}

TEST(TrimStep, TellsDecimetresApartInANationalGrid) {
    const std::string area = "500000.0:6700000.0,500010.3:6700000.0,500010.3:6700010.3,500000.0:6700010.3";
    EXPECT_FALSE(isDropped({{"polygon", area}}, traceAt(500010.2, 6700010.2)));
    EXPECT_TRUE(isDropped({{"polygon", area}}, traceAt(500010.4, 6700005.0)));
    EXPECT_TRUE(isDropped({{"polygon", area}}, traceAt(500005.0, 6700010.4)));
}

TEST(TrimStep, TakesTheCoordinatesItIsTold) {
    WorkTrace work = traceOf(randomTrace(sampleCount, 1));
    work.facts.sourceX = 110, work.facts.sourceY = 110;
    work.facts.receiverX = 600, work.facts.receiverY = 150;
    work.facts.cdpX = 900, work.facts.cdpY = 900;
    EXPECT_FALSE(isDropped({{"polygon", square}, {"position", "source"}}, work));
    EXPECT_TRUE(isDropped({{"polygon", square}, {"position", "receiver"}}, work));
    EXPECT_TRUE(isDropped({{"polygon", square}, {"position", "midpoint"}}, work));
    EXPECT_TRUE(isDropped({{"polygon", square}}, work));
    work.facts.receiverX = 400;
    EXPECT_FALSE(isDropped({{"polygon", square}, {"position", "midpoint"}}, work)) << "255, 130";
}

TEST(TrimStep, KillsTracesInTheirPlace) {
    const Applied killed = apply("trim", {{"polygon", square}, {"removal", "kill"}}, traceAt(50, 150));
    EXPECT_FALSE(killed.work.isDropped);
    EXPECT_TRUE(killed.isChanged);
    EXPECT_TRUE(sameSamples(killed.samples, std::vector<float>(sampleCount, 0.0f)));
    EXPECT_EQ(segy::readWord(killed.work.trace.header.data(), {29, 2}, segy::ByteOrder::big), 2);
    EXPECT_FALSE(apply("trim", {{"polygon", square}, {"removal", "kill"}}, traceAt(200, 150)).isChanged);
}

/* Samples 50 .. 99 of a trace at 4 ms lie in 200 <= t < 400 ms. */
const std::string gate = "500:200,1500:200,1500:400,500:400";

std::vector<float> onlySamples(std::vector<float> samples, int first, int end) {
    for (int i = 0; i < sampleCount; ++i)
        if (i < first || i >= end) samples[i] = 0.0f;
    return samples;
}

TEST(TrimStep, KeepsTheSamplesOfAGate) {
    const std::vector<float> samples = randomTrace(sampleCount, 2);
    const Applied kept = apply("trim", {{"gate", gate}}, traceOf(samples, 1000.0));
    EXPECT_TRUE(sameSamples(kept.samples, onlySamples(samples, 50, 100)));
    EXPECT_TRUE(kept.isChanged);
    const Applied beside = apply("trim", {{"gate", gate}}, traceOf(samples, 2000.0));
    EXPECT_TRUE(sameSamples(beside.samples, std::vector<float>(sampleCount, 0.0f)));
}

TEST(TrimStep, KeepsTheSamplesOutsideAGate) {
    std::vector<float> samples = randomTrace(sampleCount, 3);
    const Texts values = {{"gate", gate}, {"keep", "outside"}};
    const Applied untouched = apply("trim", values, traceOf(samples, 2000.0));
    EXPECT_TRUE(sameSamples(untouched.samples, samples));
    EXPECT_FALSE(untouched.isChanged);
    const Applied cut = apply("trim", values, traceOf(samples, 1000.0));
    std::fill(samples.begin() + 50, samples.begin() + 100, 0.0f);
    EXPECT_TRUE(sameSamples(cut.samples, samples));
}

TEST(TrimStep, CountsAGatesTimesFromTheShotAndItsOffsetsInMetres) {
    const std::vector<float> samples = randomTrace(sampleCount, 4);
    EXPECT_TRUE(
        sameSamples(apply("trim", {{"gate", gate}}, traceOf(samples, 1000.0, 100.0)).samples, onlySamples(samples, 25, 75)));
    EXPECT_TRUE(sameSamples(apply("trim", {{"gate", gate}}, traceOf(samples, 4900.0), testLine(true)).samples,
                            onlySamples(samples, 50, 100)))
        << "4900 ft are 1494 m";
}

TEST(TrimStep, PassesOverTheSignOfOffsetsUnlessToldNotTo) {
    const std::vector<float> samples = randomTrace(sampleCount, 5), none(sampleCount, 0.0f);
    const std::vector<float> kept = onlySamples(samples, 50, 100);
    EXPECT_TRUE(sameSamples(apply("trim", {{"gate", gate}}, traceOf(samples, -1000.0)).samples, kept));
    EXPECT_TRUE(
        sameSamples(apply("trim", {{"gate", gate}, {"signed_offset", "true"}}, traceOf(samples, -1000.0)).samples, none));
    const std::string left = "-1500:200,-500:200,-500:400,-1500:400";
    EXPECT_TRUE(
        sameSamples(apply("trim", {{"gate", left}, {"signed_offset", "true"}}, traceOf(samples, -1000.0)).samples, kept));
}

TEST(TrimStep, ReadsCornersFromAFile) {
    const ScratchFolder folder;
    writeFile(folder.file("area.csv"), "x,y\n100,100\n300,100\n300,200\n100,200\n");
    EXPECT_FALSE(isDropped({{"polygon_file", folder.file("area.csv")}}, traceAt(200, 150)));
    EXPECT_TRUE(isDropped({{"polygon_file", folder.file("area.csv")}}, traceAt(50, 150)));
    writeFile(folder.file("gate.csv"), "500,200\n1500,200\n1500,400\n500,400\n");
    const std::vector<float> samples = randomTrace(sampleCount, 6);
    EXPECT_TRUE(sameSamples(apply("trim", {{"gate_file", folder.file("gate.csv")}}, traceOf(samples, 700.0)).samples,
                            onlySamples(samples, 50, 100)));
}

TEST(TrimStep, RefusesWhatIsNoPolygon) {
    EXPECT_EQ(refusal("trim", {}), "trim: give one of polygon, polygon_file, gate_m_ms and gate_file");
    EXPECT_EQ(refusal("trim", {{"polygon", square}, {"gate", gate}}),
              "trim: give one of polygon, polygon_file, gate_m_ms and gate_file");
    EXPECT_EQ(refusal("trim", {{"polygon", "0:0,1:1"}}), "trim: polygon: a polygon has at least 3 corners, not 2");
    EXPECT_EQ(refusal("trim", {{"polygon", "0:0,1:1,3:3,0:0"}}),
              "trim: polygon: all 4 corners lie on one line, which encloses nothing");
    EXPECT_EQ(refusal("trim", {{"gate", "7:7,7:7,7:7"}}),
              "trim: gate_m_ms: all 3 corners lie on one line, which encloses nothing");
    const ScratchFolder folder;
    writeFile(folder.file("area.csv"), "0,0\n1,0\n1,north\n");
    EXPECT_EQ(refusal("trim", {{"polygon_file", folder.file("area.csv")}}),
              folder.file("area.csv") + ":3: expected an easting and a northing, found '1,north'");
}

}
}
