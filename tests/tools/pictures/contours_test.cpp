#include "pictures/contours.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/pixels.h"

namespace pelta::pictures {
namespace {

constexpr int width = 240, height = 200;
const Box box = {20, 20, 200, 160};

Raster rasterOf(int columns, int rows, std::vector<float> values) {
    Raster raster;
    raster.columns = columns;
    raster.rows = rows;
    raster.values = std::move(values);
    raster.lowest = 0.0;
    raster.highest = 10.0;
    return raster;
}

class Contours : public testing::Test {
  protected:
    /* The nodes span the box. */
    void draw(const Raster& raster, const std::vector<double>& levels) {
        canvas.setColor({});
        cairo_set_line_width(canvas.pen(), 2.0);
        drawContours(canvas, box, {0.0, raster.columns - 1.0, box.left, box.right()},
                     {0.0, raster.rows - 1.0, box.top, box.bottom()}, raster, levels);
    }
    bool isDrawn(int x, int y) { return (pixel(canvas, x, y) & 0xFF) < 0x80; }
    bool isBlank() {
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                if (pixel(canvas, x, y) != 0xFFFFFF) return false;
        return true;
    }
    Canvas canvas{"picture.png", width, height};
};

TEST_F(Contours, StandWhereTheValueIsReachedBetweenTheNodes) {
    draw(rasterOf(2, 2, {0, 10, 0, 10}), {2.5, 5.0});
    for (int y : {25, 100, 175}) {
        EXPECT_TRUE(isDrawn(70, y)) << "a quarter of the way";
        EXPECT_TRUE(isDrawn(120, y)) << "half of it";
        EXPECT_FALSE(isDrawn(95, y));
    }
}

TEST_F(Contours, RunAcrossCellsWithoutAGap) {
    draw(rasterOf(3, 3, {0, 4, 8, 4, 8, 12, 8, 12, 16}), {8.0});
    for (int x = 30; x < 210; ++x) {
        bool isThere = false;
        for (int y = 20; y < 180; ++y) isThere |= isDrawn(x, y);
        EXPECT_TRUE(isThere) << x;
    }
    EXPECT_TRUE(isDrawn(120, 100)) << "through the node in the middle";
    EXPECT_FALSE(isDrawn(60, 60));
}

TEST_F(Contours, JoinTheCornersOfASaddleThatItsMiddleBelongsTo) {
    draw(rasterOf(2, 2, {10, 0, 4, 10}), {5.0}); /* the middle is 6: the high corners are joined */
    EXPECT_FALSE(isDrawn(120, 100));
    EXPECT_TRUE(isDrawn(170, 60)) << "cuts off the low corner at the upper right";
    canvas.setColor({1.0, 1.0, 1.0});
    cairo_paint(canvas.pen());
    draw(rasterOf(2, 2, {10, 0, 0, 6}), {5.0}); /* the middle is 4 */
    EXPECT_FALSE(isDrawn(120, 100));
    EXPECT_TRUE(isDrawn(70, 60)) << "cuts off the high corner at the upper left";
    EXPECT_FALSE(isDrawn(170, 60));
}

TEST_F(Contours, LeaveCellsWithoutAValueOutAndLevelsThatAreNotReached) {
    draw(rasterOf(2, 2, {0, 10, std::numeric_limits<float>::quiet_NaN(), 10}), {5.0});
    draw(rasterOf(2, 2, {0, 10, 0, 10}), {-1.0, 10.5});
    draw(rasterOf(2, 2, {5, 5, 5, 5}), {5.0});
    EXPECT_TRUE(isBlank());
}

TEST_F(Contours, KeepToTheBox) {
    Raster raster = rasterOf(2, 2, {0, 0, 10, 10});
    raster.firstColumn = -1.0;
    raster.columnSpacing = 4.0; /* from far left to far right */
    draw(raster, {5.0});
    EXPECT_TRUE(isDrawn(100, 100));
    EXPECT_EQ(pixel(canvas, 10, 100), 0xFFFFFFu);
    EXPECT_EQ(pixel(canvas, 230, 100), 0xFFFFFFu);
}

TEST(ContourLevels, AreRoundAndWithinTheValues) {
    Raster raster = rasterOf(1, 1, {0});
    raster.lowest = 3.0;
    raster.highest = 47.0;
    EXPECT_EQ(contourLevels(raster, 5), (std::vector<double>{10, 20, 30, 40}));
    EXPECT_EQ(contourLevels(raster, 20.0), (std::vector<double>{20, 40}));
    EXPECT_TRUE(contourLevels(raster, 1e-6).empty()) << "more than can be told apart";
    raster.highest = raster.lowest;
    EXPECT_TRUE(contourLevels(raster, 5).empty());
}

}
}
