#include "gridding/picture.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "pictures/contours.h"
#include "pictures/picturefile.h"
#include "pictures/raster.h"

namespace pelta::gridding {
namespace {

using namespace pictures;

constexpr double titleSize = 14.0;
constexpr double left = 76.0, right = 16.0, top = 44.0, bottom = 50.0; /* around everything */
constexpr double scaleGap = 14.0, scaleWidth = 14.0, scaleRoom = 94.0; /* beside the map */
constexpr int usualContours = 12;

/* The room, or as much of it as shows equal lengths along x and y equally long; a strip fills it. */
Box mapBox(const Canvas& canvas, const Grid& grid, double aspect) {
    constexpr double mostUneven = 5.0;
    Box box = {left, top, canvas.width() - left - right - scaleRoom, canvas.height() - top - bottom};
    const double width = aspect * static_cast<double>(grid.columns - 1) * grid.columnSpacing;
    const double shape = width / (static_cast<double>(grid.rows - 1) * grid.rowSpacing);
    if (!(shape <= mostUneven && shape >= 1.0 / mostUneven)) return box;
    if (box.width / box.height > shape) box.width = shape * box.height;
    else box.height = box.width / shape;
    return box;
}

std::vector<double> levelsOf(const Map& map, const Raster& raster) {
    if (!map.contourStep) return contourLevels(raster, usualContours);
    return *map.contourStep > 0.0 ? contourLevels(raster, *map.contourStep) : std::vector<double>();
}

std::string titleOf(const Map& map, const std::vector<double>& levels) {
    return levels.size() < 2 ? map.title : fmt::format("{}, lines every {:.6g}", map.title, levels[1] - levels[0]);
}

/* Small where there are many; whole, too, at the rim of the map. */
void drawPoints(Canvas& canvas, const Box& box, const Axis& across, const Axis& down, const Points& points) {
    constexpr double largest = 2.2, smallest = 0.45, share = 0.12; /* of the mean distance of points */
    constexpr double rim = 0.6;
    const double distance = std::sqrt(box.width * box.height / static_cast<double>(std::max<std::size_t>(points.size(), 1)));
    const double radius = std::clamp(share * distance, smallest, largest);
    cairo_t* pen = canvas.pen();
    cairo_save(pen);
    const double reach = radius + rim;
    cairo_rectangle(pen, box.left - reach, box.top - reach, box.width + 2.0 * reach, box.height + 2.0 * reach);
    cairo_clip(pen);
    const auto fill = [&](const Color& color, double size) {
        constexpr std::size_t atOnce = 1000;
        canvas.setColor(color);
        for (std::size_t k = 0; k < points.size(); ++k) {
            cairo_new_sub_path(pen);
            cairo_arc(pen, across.place(points.x[k]), down.place(points.y[k]), size, 0.0, 2.0 * M_PI);
            if (k % atOnce == atOnce - 1) cairo_fill(pen);
        }
        cairo_fill(pen);
    };
    if (radius > 1.0) fill({0.0, 0.0, 0.0}, reach); /* where the rim does not hide the map */
    fill({1.0, 1.0, 1.0, radius > 1.0 ? 1.0 : 0.8}, radius);
    cairo_restore(pen);
}

}

struct MapPicture::Inside : PictureFile {
    using PictureFile::PictureFile;
};

MapPicture::MapPicture(const std::string& name, int width, int height, bool overwrite)
    : _inside(std::make_unique<Inside>(name, width, height, overwrite)) {}

MapPicture::~MapPicture() = default;

void MapPicture::draw(const Map& map, const Grid& grid, const Points& points) {
    Canvas& canvas = _inside->canvas;
    const Raster raster = rasterOf(grid);
    const Box box = mapBox(canvas, grid, map.aspect);
    const Axis across = {grid.left, grid.left + static_cast<double>(grid.columns - 1) * grid.columnSpacing, box.left,
                         box.right()};
    const Axis down = {grid.top, grid.top - static_cast<double>(grid.rows - 1) * grid.rowSpacing, box.top, box.bottom()};
    (map.isShaded ? drawShadedRaster : drawRaster)(canvas, box, across, down, raster);
    const std::vector<double> levels = levelsOf(map, raster);
    canvas.setColor({0.0, 0.0, 0.0, 0.75});
    cairo_set_line_width(canvas.pen(), 0.7);
    drawContours(canvas, box, across, down, raster, levels);
    drawBottomAxis(canvas, box, across, map.xTitle);
    drawLeftAxis(canvas, box, down, map.yTitle);
    canvas.setColor({});
    cairo_set_line_width(canvas.pen(), 1.0);
    cairo_rectangle(canvas.pen(), box.left, box.top, box.width, box.height);
    cairo_stroke(canvas.pen());
    if (map.hasPoints) drawPoints(canvas, box, across, down, points);
    drawScaleBar(canvas, {box.right() + scaleGap, box.top, scaleWidth, box.height}, raster.lowest, raster.highest, map.zTitle);
    canvas.text(left, 0.5 * top, titleOf(map, levels), titleSize, Canvas::Anchor::left);
    canvas.write(_inside->file);
}

void MapPicture::commit() { _inside->file.commit(); }

}
