#include "gridding/picture.h"

#include <gtest/gtest.h>

#include "support/pixels.h"

namespace pelta::gridding {
namespace {

/* The upper left corner of the map stands at (76, 44). */
TEST(MapPicture, DrawsThePointsAtTheRimWhole) {
    pictures::Canvas canvas("map.png", 500, 400);
    Grid grid;
    grid.columns = grid.rows = 11;
    grid.top = 10.0;
    grid.values.assign(121, 5.0f);
    Points points;
    points.add(0.0, 10.0, 5.0);
    drawMap(canvas, {}, grid, points);
    constexpr std::uint32_t white = 0xFFFFFF;
    for (int x : {75, 76})
        for (int y : {43, 44}) EXPECT_EQ(pixel(canvas, x, y), white) << "over the frame " << x << " " << y;
    for (int x : {73, 78}) EXPECT_NE(pixel(canvas, x, 44), white) << "the point's own rim";
    EXPECT_EQ(pixel(canvas, 70, 40), white) << "nothing beyond";
}

}
}
