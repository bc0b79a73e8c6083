#include <gtest/gtest.h>
#include <pelta/mute.h>

#include "segy/headerwords.h"
#include "support/bits.h"
#include "support/files.h"
#include "support/signals.h"
#include "tools/steps/applystep.h"

namespace pelta {
namespace {

WorkTrace withWord(WorkTrace work, segy::HeaderWord word, std::int64_t value) {
    segy::writeWord(work.trace.header.data(), word, segy::ByteOrder::big, value);
    return work;
}

std::vector<float> shifted(std::vector<float> samples, float earlierBySamples) {
    std::vector<float> result(samples.size()), positions(samples.size());
    applyStatic(samples.data(), result.data(), positions.data(), static_cast<int>(samples.size()), earlierBySamples);
    return result;
}

std::vector<float> spikeAt(int sample) {
    std::vector<float> samples(sampleCount, 0.0f);
    samples[sample] = 1.0f;
    return samples;
}

TEST(StaticStep, MakesEventsLaterByAPositiveStatic) {
    EXPECT_TRUE(sameSamples(apply("static", {{"shift", "40"}}, traceOf(spikeAt(100))).samples, spikeAt(110)));
    EXPECT_TRUE(sameSamples(apply("static", {{"shift", "-40"}}, traceOf(spikeAt(100))).samples, spikeAt(90)));
    EXPECT_TRUE(
        sameSamples(apply("static", {{"shift", "40"}, {"remove", "true"}}, traceOf(spikeAt(100))).samples, spikeAt(90)));
}

TEST(StaticStep, IsTheLibrarysStaticWithTheOppositeSign) {
    const std::vector<float> samples = randomTrace(sampleCount, 1);
    const Applied result = apply("static", {{"shift", "7.5"}}, traceOf(samples));
    EXPECT_TRUE(sameSamples(result.samples, shifted(samples, -1.875f)));
    EXPECT_TRUE(result.isChanged);
    EXPECT_TRUE(
        sameSamples(apply("static", {{"shift", "-2000"}}, traceOf(samples)).samples, std::vector<float>(sampleCount, 0.0f)));
}

TEST(StaticStep, LeavesATraceWithoutAShiftAlone) {
    const std::vector<float> samples = randomTrace(sampleCount, 2);
    const Applied result = apply("static", {{"word", "total_static"}}, traceOf(samples));
    EXPECT_TRUE(sameSamples(result.samples, samples));
    EXPECT_FALSE(result.isChanged);
}

TEST(StaticStep, TakesTheStaticFromAHeaderWordByTheTimeScalar) {
    const WorkTrace plain = traceOf(spikeAt(100));
    const segy::HeaderWord totalStatic = {103, 2}, timeScalar = {215, 2};
    EXPECT_TRUE(
        sameSamples(apply("static", {{"word", "total_static"}}, withWord(plain, totalStatic, -24)).samples, spikeAt(94)));
    EXPECT_TRUE(sameSamples(
        apply("static", {{"word", "total_static"}}, withWord(withWord(plain, totalStatic, 240), timeScalar, -10)).samples,
        spikeAt(106)));
    EXPECT_TRUE(sameSamples(apply("static", {{"word", "233:4"}}, withWord(plain, {233, 4}, 80)).samples, spikeAt(120)));
    Line line = testLine();
    line.layout.words.remap("total_static=233:4");
    EXPECT_TRUE(
        sameSamples(apply("static", {{"word", "total_static"}}, withWord(plain, {233, 4}, 80), line).samples, spikeAt(120)));
}

WorkTrace trace(std::int64_t number, std::int64_t record, std::int64_t channel) {
    WorkTrace work = traceOf(spikeAt(100));
    work.trace.number = number - 1;
    work.facts.record = record;
    work.facts.channel = channel;
    return work;
}

TEST(StaticStep, TakesStaticsFromATableByRecordAndChannelOrByTrace) {
    const ScratchFolder folder;
    const std::string byStation = folder.file("station.csv"), byTrace = folder.file("trace.csv");
    writeFile(byStation, "record,channel,static_ms\n7,1,20\n7,2,-20\n");
    EXPECT_TRUE(sameSamples(apply("static", {{"statics_file", byStation}}, trace(1, 7, 1)).samples, spikeAt(105)));
    EXPECT_TRUE(sameSamples(apply("static", {{"statics_file", byStation}}, trace(1, 7, 2)).samples, spikeAt(95)));
    writeFile(byTrace, "trace,static_s\n2,0.04\n");
    EXPECT_TRUE(sameSamples(apply("static", {{"statics_file", byTrace}}, trace(2, 7, 1)).samples, spikeAt(110)));
}

TEST(StaticStep, LeavesTracesThatTheTableLacksAndReportsThem) {
    const ScratchFolder folder;
    const std::string name = folder.file("statics.csv");
    writeFile(name, "record,channel,static_ms\n7,1,20\n7,2,\n");
    EXPECT_EQ(apply("static", {{"statics_file", name}}, trace(1, 7, 1)).findings, (Findings{1.0f}));
    for (int channel : {2, 3}) {
        const Applied missing = apply("static", {{"statics_file", name}}, trace(1, 7, channel));
        EXPECT_TRUE(sameSamples(missing.samples, spikeAt(100)));
        EXPECT_FALSE(missing.isChanged);
        EXPECT_EQ(missing.findings, (Findings{0.0f}));
    }
}

TEST(StaticStep, RefusesStaticsFromNowhereOrFromTwoPlaces) {
    EXPECT_EQ(refusal("static", {}), "static: give one of shift_ms, word and statics_file");
    EXPECT_EQ(refusal("static", {{"shift", "1"}, {"word", "total_static"}}),
              "static: give one of shift_ms, word and statics_file");
    EXPECT_EQ(refusal("static", {{"word", "total_statc"}}),
              "static: word: 'total_statc' is no trace-header word, did you mean 'total_static'?");
    EXPECT_EQ(refusal("static", {{"word", "pick"}}),
              "static: pick has no place in the trace header; give it one with --map pick=BYTE:SIZE");
}

}
}
