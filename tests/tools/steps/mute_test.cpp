#include <gtest/gtest.h>
#include <pelta/host.h>
#include <pelta/mute.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "segy/headerwords.h"
#include "support/bits.h"
#include "support/files.h"
#include "support/signals.h"
#include "tools/steps/applystep.h"

namespace pelta {
namespace {

const segy::HeaderWord muteStart = {111, 2}, muteEnd = {113, 2}, timeScalar = {215, 2};

std::int64_t wordOf(const WorkTrace& work, segy::HeaderWord word) {
    return segy::readWord(work.trace.header.data(), word, segy::ByteOrder::big);
}

float timeOf(const WorkTrace& work, int entry) { return work.hostHeader.at(static_cast<std::size_t>(entry - 1)); }

/* Weight k of a fade of length samples, counted from the edge inwards. */
float cosineWeight(int k, int length) { return static_cast<float>(0.5 - 0.5 * std::cos(M_PI * ((k + 1) / (length + 1.0)))); }
float linearWeight(int k, int length) { return static_cast<float>((k + 1) / (length + 1.0)); }

/* A plain mute: samples first .. last are live. */
std::vector<float> muted(std::vector<float> samples, int first, int last, int length,
                         float (*weight)(int, int) = cosineWeight) {
    const int count = static_cast<int>(samples.size());
    for (int k = 0; first > 0 && k < length && first + k < count; ++k) samples[first + k] *= weight(k, length);
    for (int k = 0; last < count - 1 && k < length && last - k >= 0; ++k) samples[last - k] *= weight(k, length);
    for (int i = 0; i < count; ++i)
        if (i < first || i > last) samples[i] = 0.0f;
    return samples;
}

constexpr int wholeTrace = sampleCount - 1;

TEST(MuteStep, ZeroesWhatIsEarlierThanTheTopAndSoftensTheEdge) {
    const std::vector<float> samples = randomTrace(sampleCount, 1);
    const Applied result = apply("mute", {{"top", "0:0,1000:1000"}, {"taper", "40"}}, traceOf(samples, 500.0));
    EXPECT_TRUE(sameSamples(result.samples, muted(samples, 125, wholeTrace, 10)));
    EXPECT_TRUE(result.isChanged);
}

TEST(MuteStep, ZeroesWhatIsLaterThanTheBottomAndSoftensTheEdge) {
    const std::vector<float> samples = randomTrace(sampleCount, 2);
    const Applied result = apply("mute", {{"bottom", "0:800,1000:1200"}, {"taper", "40"}}, traceOf(samples, 500.0));
    EXPECT_TRUE(sameSamples(result.samples, muted(samples, 0, 250, 10)));
}

TEST(MuteStep, MutesBothEndsWithTheChosenShape) {
    const std::vector<float> samples = randomTrace(sampleCount, 3);
    const Applied result =
        apply("mute", {{"top", "0:200"}, {"bottom", "0:1600"}, {"taper", "20"}, {"taper_shape", "linear"}}, traceOf(samples));
    EXPECT_TRUE(sameSamples(result.samples, muted(samples, 50, 400, 5, linearWeight)));
}

TEST(MuteStep, FadesBothEdgesAlike) {
    for (const char* shape : {"cosine", "linear"}) {
        const Texts values = {{"top", "0:400"}, {"bottom", "0:1596"}, {"taper", "60"}, {"taper_shape", shape}};
        std::vector<float> result = apply("mute", values, traceOf(std::vector<float>(sampleCount, 1.0f))).samples;
        for (int i = 100; i < 115; ++i) EXPECT_LT(result[i - 1], result[i]) << i;
        EXPECT_EQ(result[115], 1.0f);
        const std::vector<float> forwards = result;
        std::reverse(result.begin(), result.end());
        EXPECT_TRUE(sameSamples(result, forwards)) << shape;
    }
}

TEST(MuteStep, TakesOffsetsInMetresWithoutTheirSign) {
    const std::vector<float> samples = randomTrace(sampleCount, 4);
    const Texts values = {{"top", "100:0,1100:1000"}, {"taper", "0"}};
    EXPECT_TRUE(sameSamples(apply("mute", values, traceOf(samples, -700.0)).samples, muted(samples, 150, wholeTrace, 0)));
    EXPECT_TRUE(
        sameSamples(apply("mute", values, traceOf(samples, 1000.0), testLine(true)).samples, muted(samples, 52, wholeTrace, 0)))
        << "1000 ft are 304.8 m, muted up to 204.8 ms";
    EXPECT_TRUE(sameSamples(apply("mute", values, traceOf(samples, 50.0)).samples, samples)) << "nearer than the table";
    EXPECT_TRUE(sameSamples(apply("mute", values, traceOf(samples, 5000.0)).samples, muted(samples, 250, wholeTrace, 0)));
}

TEST(MuteStep, CountsTimesFromTheShot) {
    const std::vector<float> samples = randomTrace(sampleCount, 5);
    const Texts values = {{"top", "0:400"}, {"bottom", "0:1600"}};
    for (int delay : {100, -100}) {
        const Applied result = apply("mute", values, traceOf(samples, 0.0, delay));
        EXPECT_TRUE(sameSamples(result.samples, muted(samples, 100 - delay / 4, 400 - delay / 4, 5))) << delay;
        EXPECT_EQ(wordOf(result.work, muteStart), 400) << delay;
        EXPECT_EQ(wordOf(result.work, muteEnd), 1600) << delay;
    }
}

TEST(MuteStep, KeepsTheSampleAtTheMuteTimeAndTakesTheNextBetweenSamples) {
    const std::vector<float> samples = randomTrace(sampleCount, 6);
    for (const auto& [time, first] : {std::pair{"0:400", 100}, {"0:400.01", 101}, {"0:399.99", 100}, {"0:401", 101}})
        EXPECT_TRUE(sameSamples(apply("mute", {{"top", time}}, traceOf(samples)).samples, muted(samples, first, wholeTrace, 5)))
            << time;
    for (const auto& [time, last] : {std::pair{"0:400", 100}, {"0:400.01", 100}, {"0:399.99", 99}})
        EXPECT_TRUE(sameSamples(apply("mute", {{"bottom", time}}, traceOf(samples)).samples, muted(samples, 0, last, 5)))
            << time;
    Line line = testLine();
    line.layout.intervalMs = 0.1;
    EXPECT_TRUE(sameSamples(apply("mute", {{"top", "0:0.4"}, {"taper", "0"}}, traceOf(samples, 0.0, 0.1), line).samples,
                            muted(samples, 3, wholeTrace, 0)))
        << "a quotient of 3.0000000000000004 is sample 3";
    EXPECT_TRUE(sameSamples(apply("mute", {{"bottom", "0:0.3"}, {"taper", "0"}}, traceOf(samples), line).samples,
                            muted(samples, 0, 3, 0)))
        << "a quotient of 2.9999999999999996 is sample 3";
}

TEST(MuteStep, LeavesAnEndThatIsNotMutedAlone) {
    const std::vector<float> samples = randomTrace(sampleCount, 7);
    const Applied result = apply("mute", {{"top", "0:0"}, {"bottom", "0:5000"}}, traceOf(samples));
    EXPECT_TRUE(sameSamples(result.samples, samples));
    EXPECT_FALSE(result.isChanged);
    EXPECT_EQ(wordOf(result.work, muteStart), 0);
    EXPECT_EQ(wordOf(result.work, muteEnd), 1996);
}

TEST(MuteStep, SoftensTheMuteAndNotTheFirstArrivalBehindAQuietStretch) {
    std::vector<float> samples(sampleCount, 0.0f);
    for (int i = 200; i < 300; ++i) samples[i] = 1.0f;
    EXPECT_TRUE(sameSamples(apply("mute", {{"top", "0:400"}, {"bottom", "0:1600"}}, traceOf(samples)).samples, samples));
}

TEST(MuteStep, ZeroesTheWholeTraceWhereTheMutesMeet) {
    for (const Texts& values : {Texts{{"top", "0:1200"}, {"bottom", "0:800"}}, {{"top", "0:9000"}}}) {
        std::vector<float> samples = randomTrace(sampleCount, 8);
        samples[7] = std::numeric_limits<float>::quiet_NaN();
        samples[8] = -std::numeric_limits<float>::infinity();
        const Applied result = apply("mute", values, traceOf(samples));
        EXPECT_TRUE(sameSamples(result.samples, std::vector<float>(sampleCount, 0.0f)));
    }
    for (const char* taper : {"0", "4", "40"}) {
        const Applied early =
            apply("mute", {{"bottom", "0:0"}, {"taper", taper}}, traceOf(randomTrace(sampleCount, 8), 0.0, 100.0));
        EXPECT_TRUE(sameSamples(early.samples, std::vector<float>(sampleCount, 0.0f))) << taper;
        EXPECT_EQ(wordOf(early.work, muteEnd), 96) << "the sample before the trace";
    }
}

TEST(MuteStep, FadesALiveZoneThatIsShorterThanTheTaperFromBothSides) {
    const std::vector<float> samples(sampleCount, 1.0f);
    const Applied result = apply("mute", {{"top", "0:400"}, {"bottom", "0:412"}, {"taper", "4000"}}, traceOf(samples));
    EXPECT_TRUE(sameSamples(result.samples, muted(samples, 100, 103, 1000)));
}

TEST(MuteStep, WritesTheTimesOfTheFirstAndTheLastLiveSample) {
    WorkTrace work = traceOf(randomTrace(sampleCount, 9));
    segy::writeWord(work.trace.header.data(), muteEnd, segy::ByteOrder::big, 77);
    const Applied top = apply("mute", {{"top", "0:401"}}, work);
    EXPECT_EQ(wordOf(top.work, muteStart), 404);
    EXPECT_EQ(wordOf(top.work, muteEnd), 77) << "no bottom mute, no change";
    EXPECT_EQ(wordOf(apply("mute", {{"bottom", "0:401"}}, work).work, muteEnd), 400);
}

TEST(MuteStep, WritesTimesByTheTimeScalar) {
    WorkTrace work = traceOf(randomTrace(sampleCount, 10));
    const auto withScalar = [&](int scalar) {
        segy::writeWord(work.trace.header.data(), timeScalar, segy::ByteOrder::big, scalar);
        return work;
    };
    EXPECT_EQ(wordOf(apply("mute", {{"top", "0:400"}}, withScalar(-10)).work, muteStart), 4000);
    EXPECT_EQ(wordOf(apply("mute", {{"top", "0:416"}}, withScalar(10)).work, muteStart), 42) << "rounded";
    EXPECT_EQ(complaintOf<Failure>([&] {
                  apply("mute", {{"top", "0:400"}}, withScalar(-100));
              }),
              "trace 1: the mute time of 400 ms does not fit the 2 bytes at byte 111 with the time scalar -100; choose a "
              "longer word with --map mute_start=BYTE:SIZE");
    Line line = testLine();
    line.layout.words.remap("mute_start=233:4");
    const Applied longer = apply("mute", {{"top", "0:400"}}, withScalar(-100), line);
    EXPECT_EQ(wordOf(longer.work, {233, 4}), 40000);
    EXPECT_EQ(wordOf(longer.work, muteStart), 0);
}

/* The library's times of a trace of ones that is live in first .. last. */
std::vector<float> libraryTimes(int first, int last, int length) {
    std::vector<float> ones(sampleCount, 0.0f), header(stdHdr->itrc_type, 0.0f), taper(length, 0.5f);
    std::fill(ones.begin() + first, ones.begin() + last + 1, 1.0f);
    applyMute(ones.data(), sampleCount, intervalMs, header.data(), length, taper.data());
    return header;
}

TEST(MuteStep, KeepsTheLibrarysTimesInTheHostsHeader) {
    for (const auto& [first, last] : {std::pair{100, 400}, {100, 102}, {1, 498}, {495, 498}, {3, 5}}) {
        const std::string top = "0:" + std::to_string(4 * first), bottom = "0:" + std::to_string(4 * last);
        for (int delay : {0, 52}) {
            const Applied result = apply("mute",
                                         {{"top", "0:" + std::to_string(4 * first + delay)},
                                          {"bottom", "0:" + std::to_string(4 * last + delay)},
                                          {"taper", "40"}},
                                         traceOf(std::vector<float>(sampleCount, 1.0f), 0.0, delay));
            const std::vector<float> expected = libraryTimes(first, last, 10);
            for (int entry : {stdHdr->itlive_s, stdHdr->itfull_s, stdHdr->itfull_e, stdHdr->itlive_e})
                EXPECT_EQ(timeOf(result.work, entry), expected[entry - 1] + static_cast<float>(delay))
                    << first << ' ' << last << ' ' << entry;
        }
    }
}

TEST(MuteStep, ReadsItsTablesFromFiles) {
    const ScratchFolder folder;
    writeFile(folder.file("top.csv"), "offset_m,time_ms\n0,0\n1000,1000\n");
    writeFile(folder.file("bottom.csv"), "0 1600\n");
    const std::vector<float> samples = randomTrace(sampleCount, 11);
    const Applied result = apply("mute", {{"top_file", folder.file("top.csv")}, {"bottom_file", folder.file("bottom.csv")}},
                                 traceOf(samples, 500.0));
    EXPECT_TRUE(sameSamples(result.samples, muted(samples, 125, 400, 5)));
}

TEST(MuteStep, RefusesTablesThatAreNoMute) {
    EXPECT_EQ(refusal("mute", {}), "mute: give top_m_ms or top_file, bottom_m_ms or bottom_file, or one of each");
    EXPECT_EQ(refusal("mute", {{"top", "0:0"}, {"top_file", "t.csv"}}), "mute: give one of top_m_ms and top_file");
    EXPECT_EQ(refusal("mute", {{"top", "500:0,100:1"}}), "mute: top_m_ms: offsets must ascend, but 100 m follows 500 m");
    EXPECT_EQ(refusal("mute", {{"bottom", "100:0,100:1"}}), "mute: bottom_m_ms: offsets must ascend, but 100 m follows 100 m");
    EXPECT_EQ(refusal("mute", {{"top", "-100:5"}}), "--top: -100 lies outside 0 .. 1e+09");
    const ScratchFolder folder;
    const std::string name = folder.file("top.csv");
    const auto complaint = [&](const char* text) {
        writeFile(name, text);
        const std::string what = refusal("mute", {{"top_file", name}});
        return what.substr(std::min(name.size(), what.size()));
    };
    EXPECT_EQ(complaint("-100,5\n"), ": -100 m is below 0, and offsets count without their sign");
    EXPECT_EQ(complaint("0,5\n100,-5\n"), ": -5 ms is below 0, the time of the shot");
    EXPECT_EQ(complaint("0,5\n100;6;7\n"), ":2: expected an offset in m and a time in ms, found '100;6;7'");
    EXPECT_EQ(complaint("200,5\n100,6\n"), ": offsets must ascend, but 100 m follows 200 m");
}

TEST(MuteStep, NeedsOffsetsWhereItsTimesChangeWithThem) {
    const auto needsOffsets = [](const Texts& values) {
        const ScratchFolder folder;
        writeFile(folder.file("line.sgy"), makeSegy({}));
        segy::Reader reader(folder.file("line.sgy"), {});
        return findStepKind("mute")->prepare(parametersOf("mute", values), reader)->needsOffsets;
    };
    EXPECT_FALSE(needsOffsets({{"top", "0:400"}, {"bottom", "0:900,100:900"}}));
    EXPECT_TRUE(needsOffsets({{"top", "0:400"}, {"bottom", "0:900,100:901"}}));
    EXPECT_TRUE(needsOffsets({{"top", "0:0,100:901"}}));
}

}
}
