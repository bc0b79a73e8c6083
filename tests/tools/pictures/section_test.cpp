#include "pictures/section.h"

#include <gtest/gtest.h>

#include <limits>

#include "pictures/axis.h"
#include "support/failure.h"
#include "support/pixels.h"
#include "support/process.h"

namespace pelta::pictures {
namespace {

TEST(NiceTicks, AreRoundAndInsideTheAxis) {
    EXPECT_EQ(niceTicks(0, 1000, 10), (std::vector<double>{0, 100, 200, 300, 400, 500, 600, 700, 800, 900, 1000}));
    EXPECT_EQ(niceTicks(3, 17, 4), (std::vector<double>{5, 10, 15}));
    EXPECT_EQ(niceTicks(17, 3, 4), niceTicks(3, 17, 4));
    EXPECT_TRUE(niceTicks(1, 1, 5).empty());
    EXPECT_TRUE(niceTicks(0, std::numeric_limits<double>::infinity(), 5).empty());
}

TEST(TickText, IsShort) {
    EXPECT_EQ(tickText(0.30000000000000004), "0.3");
    EXPECT_EQ(tickText(-0.0), "0");
    EXPECT_EQ(tickText(1500), "1500");
    EXPECT_EQ(tickText(-1895310), "-1895310") << "a coordinate";
    EXPECT_EQ(tickText(1.0 / 3.0), "0.333333");
}

TEST(PercentileAmplitude, LooksAtLiveNumbersOnly) {
    SectionTrace trace;
    trace.samples = {0, 0, 0, -4, 1, 2, 3, std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()};
    EXPECT_EQ(percentileAmplitude({trace}, 100), 4);
    EXPECT_EQ(percentileAmplitude({trace}, 0), 1);
    EXPECT_EQ(percentileAmplitude({trace}, 50), 2);
    trace.samples.assign(5, 0.0f);
    EXPECT_EQ(percentileAmplitude({trace}, 99), 1);
    EXPECT_EQ(percentileAmplitude({}, 99), 1);
}

TEST(Canvas, RefusesUnknownEndings) { EXPECT_THROW(Canvas("picture.gif", 300, 300), UsageError); }

/* Two traces of 100 samples at 1 ms: the first is positive in its earlier half, the second negative in its later half. */
std::vector<SectionTrace> twoTraces() {
    std::vector<SectionTrace> traces(2);
    for (SectionTrace& trace : traces) trace.samples.assign(100, 0.0f);
    std::fill_n(traces[0].samples.begin(), 50, 1.0f);
    std::fill_n(traces[1].samples.begin() + 50, 50, -1.0f);
    return traces;
}

SectionStyle styleOf(Style kind) {
    SectionStyle style;
    style.style = kind;
    style.toMs = 99.0;
    return style;
}

constexpr int width = 300, height = 300, boxLeft = 70, boxTop = 76, boxRight = 280, boxBottom = 280;
constexpr int firstMiddle = boxLeft + (boxRight - boxLeft) / 4, secondMiddle = boxLeft + 3 * (boxRight - boxLeft) / 4;
constexpr int early = boxTop + (boxBottom - boxTop) / 4 + 7, late = boxTop + 3 * (boxBottom - boxTop) / 4 + 7;

TEST(Section, ShowsAmplitudesAsDensityInTheirPlace) {
    Canvas canvas("picture.png", width, height);
    drawSection(canvas, twoTraces(), styleOf(Style::density));
    EXPECT_EQ(pixel(canvas, firstMiddle, early), 0x000000u) << "positive is black";
    EXPECT_NEAR(pixel(canvas, firstMiddle, late) & 0xFF, 0x80, 1) << "zero is gray";
    EXPECT_NEAR(pixel(canvas, secondMiddle, early) & 0xFF, 0x80, 1);
    EXPECT_EQ(pixel(canvas, secondMiddle, late), 0xFFFFFFu) << "negative is white";
}

TEST(Section, StandsInABoxOfALargerCanvas) {
    Canvas alone("picture.png", width, height), beside("picture.png", 2 * width, height);
    drawSection(alone, twoTraces(), styleOf(Style::density));
    drawSection(beside, {boxLeft + width, boxTop, boxRight - boxLeft, boxBottom - boxTop}, twoTraces(),
                styleOf(Style::density));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            ASSERT_EQ(pixel(beside, x + width, y), pixel(alone, x, y)) << x << ", " << y;
            ASSERT_EQ(pixel(beside, x, y), 0xFFFFFFu);
        }
}

TEST(Section, FillsPositiveHalvesOfWiggles) {
    Canvas canvas("picture.png", width, height);
    drawSection(canvas, twoTraces(), styleOf(Style::wiggle));
    EXPECT_EQ(pixel(canvas, firstMiddle + 20, early), 0x000000u);
    EXPECT_NE(pixel(canvas, firstMiddle + 20, late), 0x000000u);
    EXPECT_NE(pixel(canvas, secondMiddle - 20, late), 0x000000u) << "troughs are not filled";
}

TEST(Section, BalancesTracesWhereAsked) {
    std::vector<SectionTrace> traces = twoTraces();
    for (float& sample : traces[1].samples) sample *= 0.001f;
    SectionStyle style = styleOf(Style::density);
    style.clipPercent = 100.0;
    Canvas together("picture.png", width, height), balanced("picture.png", width, height);
    drawSection(together, traces, style);
    style.balancesTraces = true;
    drawSection(balanced, traces, style);
    EXPECT_NEAR(pixel(together, secondMiddle, late) & 0xFF, 0x80, 1);
    EXPECT_EQ(pixel(balanced, secondMiddle, late), 0xFFFFFFu);
}

TEST(Section, DrawsPicksOverTheTraces) {
    std::vector<SectionTrace> traces = twoTraces();
    SectionStyle style = styleOf(Style::density);
    style.pickNames = {"picks.csv"};
    traces[0].pickTimesMs = {75.0};
    traces[1].pickTimesMs = {std::numeric_limits<double>::quiet_NaN()};
    Canvas canvas("picture.png", width, height);
    drawSection(canvas, traces, style);
    constexpr int legend = 20;
    const int y = boxTop + static_cast<int>(75.0 / 99.0 * (boxBottom - legend - boxTop));
    const std::uint32_t color = pixel(canvas, firstMiddle, y);
    EXPECT_GT(color >> 16, 0xA0u) << "red";
    EXPECT_LT(color & 0xFF, 0x60u);
}

TEST(Section, IsDrawnForOneSampleNoAmplitudeAndManyTraces) {
    std::vector<SectionTrace> traces(5000);
    for (std::size_t t = 0; t < traces.size(); ++t) {
        traces[t].samples.assign(t % 3, 0.0f);
        traces[t].record = static_cast<std::int64_t>(t);
    }
    for (Style kind : {Style::density, Style::wiggle}) {
        SectionStyle style = styleOf(kind);
        style.separatesRecords = true;
        Canvas canvas("picture.png", width, height);
        drawSection(canvas, traces, style);
    }
}

}
}
