#include "gridding/picture.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "pictures/contours.h"
#include "pictures/overlay.h"
#include "pictures/raster.h"

namespace pelta::gridding {
namespace {

using namespace pictures;

constexpr double left = 76.0, right = 16.0, top = 44.0, bottom = 50.0; /* around everything */
constexpr double scaleGap = 14.0, scaleRoom = 94.0;                    /* beside the map */
constexpr int usualContours = 12;

/* The room, or as much of it as shows equal lengths along x and y equally long; a strip fills it. */
Box mapBox(const Canvas& canvas, const Grid& grid, double aspect) {
    constexpr double mostUneven = 5.0;
    const Box room = {left, top, canvas.width() - left - right - scaleRoom, canvas.height() - top - bottom};
    const double shape = aspect * (grid.right() - grid.left) / (grid.top - grid.bottom());
    return shape <= mostUneven && shape >= 1.0 / mostUneven ? boxOfShape(room, shape) : room;
}

std::vector<double> levelsOf(const Map& map, const Raster& raster) {
    if (!map.contourStep) return contourLevels(raster, usualContours);
    return *map.contourStep > 0.0 ? contourLevels(raster, *map.contourStep) : std::vector<double>();
}

std::string titleOf(const Map& map, const std::vector<double>& levels) {
    return levels.size() < 2 ? map.title : fmt::format("{}, lines every {:.6g}", map.title, levels[1] - levels[0]);
}

/* Small where there are many; whole, too, at the rim of the map. */
void drawPoints(Canvas& canvas, const Box& box, const MapAxes& axes, const Points& points) {
    constexpr double largest = 2.2, smallest = 0.45, share = 0.12; /* of the mean distance of points */
    constexpr double rim = 0.6;
    const double distance = std::sqrt(box.width * box.height / static_cast<double>(std::max<std::size_t>(points.size(), 1)));
    const double radius = std::clamp(share * distance, smallest, largest), reach = radius + rim;
    const auto fill = [&](const Color& color, double size) {
        constexpr std::size_t atOnce = 1000;
        canvas.setColor(color);
        for (std::size_t k = 0; k < points.size(); ++k) {
            addCircle(canvas, axes.across.place(points.x[k]), axes.down.place(points.y[k]), size);
            if (k % atOnce == atOnce - 1) cairo_fill(canvas.pen());
        }
        cairo_fill(canvas.pen());
    };
    canvas.inside({box.left - reach, box.top - reach, box.width + 2.0 * reach, box.height + 2.0 * reach}, [&] {
        if (radius > 1.0) fill({0.0, 0.0, 0.0}, reach); /* where the rim does not hide the map */
        fill({1.0, 1.0, 1.0, radius > 1.0 ? 1.0 : 0.8}, radius);
    });
}

}

void drawMap(Canvas& canvas, const Map& map, const Grid& grid, const Points& points) {
    const Raster raster = rasterOf(grid);
    const Box box = mapBox(canvas, grid, map.aspect);
    const MapAxes axes = axesOf(grid, box);
    (map.isShaded ? drawShadedRaster : drawRaster)(canvas, box, axes.across, axes.down, raster);
    const std::vector<double> levels = levelsOf(map, raster);
    canvas.setColor({0.0, 0.0, 0.0, 0.75});
    cairo_set_line_width(canvas.pen(), 0.7);
    drawContours(canvas, box, axes.across, axes.down, raster, levels);
    drawBottomAxis(canvas, box, axes.across, map.xTitle);
    drawLeftAxis(canvas, box, axes.down, map.yTitle);
    canvas.frame(box);
    if (map.hasPoints) drawPoints(canvas, box, axes, points);
    drawScaleBar(canvas, scaleBeside(box, scaleGap), raster.lowest, raster.highest, map.zTitle);
    canvas.text(left, 0.5 * top, titleOf(map, levels), titleSize, Canvas::Anchor::left);
}

}
