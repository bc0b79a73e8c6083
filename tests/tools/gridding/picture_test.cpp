#include "gridding/picture.h"

#include <cairo.h>
#include <gtest/gtest.h>

#include <cstdint>

#include "support/files.h"

namespace pelta::gridding {
namespace {

std::uint32_t pixelOf(const std::string& name, int x, int y) {
    cairo_surface_t* image = cairo_image_surface_create_from_png(name.c_str());
    const unsigned char* row = cairo_image_surface_get_data(image) + y * cairo_image_surface_get_stride(image);
    const std::uint32_t color = reinterpret_cast<const std::uint32_t*>(row)[x] & 0xFFFFFF;
    cairo_surface_destroy(image);
    return color;
}

/* The upper left corner of the map stands at (76, 44). */
TEST(MapPicture, DrawsThePointsAtTheRimWhole) {
    const ScratchFolder folder;
    const std::string name = folder.file("map.png");
    Grid grid;
    grid.columns = grid.rows = 11;
    grid.top = 10.0;
    grid.values.assign(121, 5.0f);
    Points points;
    points.add(0.0, 10.0, 5.0);
    MapPicture picture(name, 500, 400, false);
    picture.draw({}, grid, points);
    picture.commit();
    constexpr std::uint32_t white = 0xFFFFFF;
    for (int x : {75, 76})
        for (int y : {43, 44}) EXPECT_EQ(pixelOf(name, x, y), white) << "over the frame " << x << " " << y;
    for (int x : {73, 78}) EXPECT_NE(pixelOf(name, x, 44), white) << "the point's own rim";
    EXPECT_EQ(pixelOf(name, 70, 40), white) << "nothing beyond";
}

}
}
