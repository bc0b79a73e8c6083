#include <gtest/gtest.h>
#include <pelta/host.h>
#include <pelta/mute.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace {

struct Muted {
    std::vector<float> trace, header;
    float liveStart() const { return header[stdHdr->itlive_s - 1]; }
    float fullStart() const { return header[stdHdr->itfull_s - 1]; }
    float fullEnd() const { return header[stdHdr->itfull_e - 1]; }
    float liveEnd() const { return header[stdHdr->itlive_e - 1]; }
};

constexpr float unset = -9.0f;

Muted mute(std::vector<float> trace, std::vector<float> taper, float dt = 2.0f) {
    std::vector<float> header(40, unset);
    applyMute(trace.data(), static_cast<int>(trace.size()), dt, header.data(), static_cast<int>(taper.size()), taper.data());
    return {trace, header};
}

/* Kept on purpose: the top edge sample gets the last multiplier, the bottom edge sample the first. */
TEST(ApplyMute, ReadsTheTaperInOppositeDirectionsAtTheEdges) {
    const Muted muted = mute({0, 0, 1, 1, 1, 1, 1, 1, 1, 0, 0}, {2, 3, 5});
    EXPECT_EQ(muted.trace, (std::vector<float>{0, 0, 5, 3, 2, 1, 5, 3, 2, 0, 0}));
    EXPECT_EQ(muted.liveStart(), 6.0f);
    EXPECT_EQ(muted.fullStart(), 10.0f);
    EXPECT_EQ(muted.liveEnd(), 18.0f);
    EXPECT_EQ(muted.fullEnd(), 10.0f);
}

/* Kept on purpose: the first and the last sample are never an edge. */
TEST(ApplyMute, ALiveTraceIsTaperedFromItsSecondSampleToItsLastButOne) {
    const Muted muted = mute({1, 1, 1, 1, 1, 1, 1, 1}, {2, 3});
    EXPECT_EQ(muted.trace, (std::vector<float>{1, 3, 2, 1, 1, 3, 2, 1}));
    EXPECT_EQ(muted.liveStart(), 4.0f);
    EXPECT_EQ(muted.fullStart(), 6.0f);
    EXPECT_EQ(muted.liveEnd(), 14.0f);
    EXPECT_EQ(muted.fullEnd(), 8.0f);
}

TEST(ApplyMute, WithoutATaperTheTimesAreStillWritten) {
    const std::vector<float> trace = {0, 0, 0, 1, 1, 1, 0, 0};
    const Muted muted = mute(trace, {});
    EXPECT_EQ(muted.trace, trace);
    EXPECT_EQ(muted.liveStart(), 8.0f);
    EXPECT_EQ(muted.fullStart(), muted.liveStart() - 2.0f);
    EXPECT_EQ(muted.liveEnd(), 12.0f);
    EXPECT_EQ(muted.fullEnd(), 10.0f);
    std::vector<float> negative = trace, header(40, unset);
    applyMute(negative.data(), 8, 2.0f, header.data(), -3, nullptr);
    EXPECT_EQ(negative, trace);
    EXPECT_EQ(header, muted.header);
}

TEST(ApplyMute, ATaperLongerThanTheLiveZoneStopsAtTheTracesEnds) {
    const Muted muted = mute({0, 1, 1, 0, 1, 0}, {1, 2, 3, 4, 5, 6, 7, 8});
    EXPECT_EQ(muted.trace, (std::vector<float>{0, 8 * 4, 7 * 3, 0, 5 * 1, 0}));
    EXPECT_EQ(muted.fullStart(), 12.0f) << "the trace's end";
    EXPECT_EQ(muted.fullEnd(), 0.0f) << "the first sample, which stays";
    EXPECT_EQ(muted.liveEnd(), 10.0f);
}

TEST(ApplyMute, TheBottomIsSoughtAfterTheTopWasTapered) {
    const Muted muted = mute({0, 1, 1, 1, 0, 0}, {0, 0, 0});
    EXPECT_EQ(muted.trace, std::vector<float>(6, 0.0f));
    EXPECT_EQ(muted.liveStart(), 4.0f);
    EXPECT_EQ(muted.liveEnd(), unset);
    EXPECT_EQ(muted.fullEnd(), unset);
}

TEST(ApplyMute, ATraceWithoutLiveSamplesInsideKeepsItsHeader) {
    for (const std::vector<float>& trace : {std::vector<float>{0, 0, 0, 0}, {7, 0, 0, 0}, {7}, {}}) {
        const Muted muted = mute(trace, {2, 3});
        EXPECT_EQ(muted.trace, trace);
        EXPECT_EQ(muted.header, std::vector<float>(40, unset));
    }
    const Muted atTheEnd = mute({0, 0, 0, 7}, {2, 3});
    EXPECT_EQ(atTheEnd.trace, (std::vector<float>{0, 0, 0, 21}));
    EXPECT_EQ(atTheEnd.liveStart(), 8.0f);
    EXPECT_EQ(atTheEnd.liveEnd(), unset) << "the last sample is no bottom edge";
}

TEST(ApplyMute, NoSamplesAreNoWork) {
    float sample = 7, taper = 3;
    std::vector<float> header(40, unset);
    for (int num : {0, -1, std::numeric_limits<int>::min()}) applyMute(&sample, num, 2.0f, header.data(), 1, &taper);
    EXPECT_EQ(sample, 7.0f);
    EXPECT_EQ(header, std::vector<float>(40, unset));
}

TEST(ApplyMute, ANumberThatIsNoneIsLive) {
    const Muted muted = mute({0, 0, std::nanf(""), 0, 0, 0}, {2});
    EXPECT_EQ(muted.liveStart(), 6.0f);
    EXPECT_EQ(muted.liveEnd(), 6.0f);
}

TEST(ApplyMute, OnlySamplesAndEntriesOfItsOwnAreTouched) {
    std::vector<float> trace(12, 1.0f), header(40, unset), taper(100, 0.5f);
    applyMute(trace.data() + 1, 10, 4.0f, header.data(), 100, taper.data());
    EXPECT_EQ(trace.front(), 1.0f);
    EXPECT_EQ(trace.back(), 1.0f);
    EXPECT_EQ(std::count(header.begin(), header.end(), unset), 36);
}

TEST(ApplyMute, EntriesThatTheHostLacksAreNotWritten) {
    stdHdrStruct* const before = stdHdr;
    stdHdrStruct entries = {};
    entries.itlive_s = -4;
    entries.itfull_e = 3;
    std::vector<float> trace(6, 1.0f), header(40, unset), taper(2, 1.0f);
    stdHdr = &entries;
    applyMute(trace.data(), 6, 1.0f, header.data(), 2, taper.data());
    EXPECT_EQ(header[2], 2.0f);
    EXPECT_EQ(std::count(header.begin(), header.end(), unset), 39);
    stdHdr = nullptr;
    applyMute(trace.data(), 6, 1.0f, header.data(), 2, taper.data());
    stdHdr = before;
    EXPECT_EQ(std::count(header.begin(), header.end(), unset), 39);
}

}
