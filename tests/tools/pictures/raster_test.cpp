#include "pictures/raster.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/pixels.h"

namespace pelta::pictures {
namespace {

constexpr int width = 300, height = 200;
const Box box = {50, 40, 200, 120};

std::uint32_t colorOf(double share) {
    const Color color = scaleColor(share);
    const auto channel = [](double value) { return static_cast<std::uint32_t>(std::lround(255.0 * value)); };
    return channel(color.red) << 16 | channel(color.green) << 8 | channel(color.blue);
}

/* Two columns at 0 and 10, three rows at 0, 1 and 2; axes that show the nodes and what lies around them. */
Raster smallRaster() {
    Raster raster;
    raster.columns = 2;
    raster.rows = 3;
    raster.columnSpacing = 10.0;
    raster.values = {0, 1, 0, 1, 4, 4};
    raster.highest = 4.0;
    return raster;
}
const Axis across = {-5, 15, box.left, box.right()};
const Axis down = {-0.5, 2.5, box.top, box.bottom()};

TEST(Raster, PutsEveryNodeInItsPlaceAndIsLinearBetween) {
    Canvas canvas("picture.png", width, height);
    drawRaster(canvas, box, across, down, smallRaster());
    EXPECT_EQ(pixel(canvas, 75, 60), colorOf(0.0)) << "first column, first row: above on the left";
    EXPECT_EQ(pixel(canvas, 225, 60), colorOf(0.25));
    EXPECT_EQ(pixel(canvas, 150, 155), colorOf(1.0)) << "last row: below";
    const std::uint32_t between = pixel(canvas, 150, 60), middle = colorOf(0.125);
    for (int shift : {0, 8, 16}) EXPECT_NEAR(between >> shift & 0xFF, middle >> shift & 0xFF, 2);
}

TEST(Raster, LeavesTheRestOfThePictureAlone) {
    Canvas canvas("picture.png", width, height);
    Raster raster = smallRaster();
    raster.values[5] = std::numeric_limits<float>::quiet_NaN();
    drawRaster(canvas, box, {-25, 35, box.left, box.right()}, down, raster);
    EXPECT_EQ(pixel(canvas, 49, 100), 0xFFFFFFu) << "outside the box";
    EXPECT_EQ(pixel(canvas, 60, 100), 0xFFFFFFu) << "further than half a spacing from a node";
    EXPECT_EQ(pixel(canvas, 166, 150), 0xFFFFFFu) << "no value";
    EXPECT_NE(pixel(canvas, 134, 60), 0xFFFFFFu);
}

int brightness(std::uint32_t color) { return static_cast<int>((color >> 16 & 0xFF) + (color >> 8 & 0xFF) + (color & 0xFF)); }

/* A ridge along the middle column: its left flank faces the light. */
TEST(Raster, LightsAReliefFromTheUpperLeft) {
    Raster raster;
    raster.columns = 3;
    raster.rows = 2;
    raster.values = {0, 4, 0, 0, 4, 0};
    raster.highest = 4.0;
    const Axis columns = {0, 2, box.left, box.right()}, rows = {0, 1, box.top, box.bottom()};
    Canvas flat("picture.png", width, height), relief("picture.png", width, height);
    drawRaster(flat, box, columns, rows, raster);
    drawShadedRaster(relief, box, columns, rows, raster);
    EXPECT_EQ(pixel(flat, 99, 100), pixel(flat, 200, 100)) << "the same height";
    EXPECT_GT(brightness(pixel(relief, 99, 100)), brightness(pixel(flat, 99, 100)) + 50);
    EXPECT_LT(brightness(pixel(relief, 200, 100)), brightness(pixel(flat, 200, 100)) - 50);
    raster.values.assign(6, 2.0f);
    drawRaster(flat, box, columns, rows, raster);
    drawShadedRaster(relief, box, columns, rows, raster);
    EXPECT_EQ(pixel(relief, 99, 100), pixel(flat, 99, 100)) << "a plain has no shade";
}

/* All in one colour but for the shade. */
TEST(Raster, LightsASlopeEvenlyUpToItsRim) {
    Raster raster;
    raster.columns = 5;
    raster.rows = 4;
    for (int row = 0; row < raster.rows; ++row)
        for (int column = 0; column < raster.columns; ++column) raster.values.push_back(static_cast<float>(column + 2 * row));
    raster.lowest = -1e9;
    raster.highest = 1e9;
    Canvas canvas("picture.png", width, height);
    drawShadedRaster(canvas, box, {0, 4, box.left, box.right()}, {0, 3, box.top, box.bottom()}, raster);
    const std::uint32_t middle = pixel(canvas, 150, 100);
    EXPECT_NE(middle, colorOf(0.5)) << "shaded";
    for (int x : {51, 60, 240, 248})
        for (int y : {41, 50, 150, 158}) EXPECT_EQ(pixel(canvas, x, y), middle) << x << " " << y;
}

TEST(Raster, ShowsAUniformOneInTheLowestColour) {
    Canvas canvas("picture.png", width, height);
    Raster raster = smallRaster();
    raster.values.assign(6, 4.0f);
    raster.lowest = 4.0;
    drawRaster(canvas, box, across, down, raster);
    EXPECT_EQ(pixel(canvas, 150, 100), colorOf(0.0));
}

TEST(ScaleColor, GrowsSteadilyLighterAndHoldsItsEnds) {
    const auto lightness = [](double share) {
        const Color color = scaleColor(share);
        return 0.2126 * color.red + 0.7152 * color.green + 0.0722 * color.blue;
    };
    for (int k = 1; k <= 100; ++k) EXPECT_GT(lightness(k / 100.0), lightness((k - 1) / 100.0)) << k;
    EXPECT_EQ(colorOf(-1.0), colorOf(0.0));
    EXPECT_EQ(colorOf(2.0), colorOf(1.0));
}

TEST(ScaleBar, RunsFromTheLowestColourUpToTheHighest) {
    Canvas canvas("picture.png", width, height);
    drawScaleBar(canvas, {50, 40, 20, 120}, 0.0, 1.0, "semblance");
    constexpr int rounding = 2; /* of a point's pixels to their mean */
    for (int y : {43, 70, 100, 130, 157}) {
        const std::uint32_t expected = colorOf((160.0 - (y + 0.5)) / 120.0), found = pixel(canvas, 60, y);
        for (int shift : {0, 8, 16}) EXPECT_NEAR(found >> shift & 0xFF, expected >> shift & 0xFF, rounding) << y;
    }
}

}
}
