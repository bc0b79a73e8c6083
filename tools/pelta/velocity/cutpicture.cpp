#include "velocity/cutpicture.h"

#include <algorithm>

#include "pictures/overlay.h"
#include "pictures/raster.h"

namespace pelta::velocity {
namespace {

using namespace pictures;

constexpr double left = 90.0, right = 110.0, top = 64.0, bottom = 56.0; /* around the box */
constexpr double scaleGap = 14.0;
constexpr double sideWidth = 0.9;
constexpr Color veil = {1.0, 1.0, 1.0, 0.55}, hullColor = overOrange, pointColor = overRed;
constexpr Color sideColor = {1.0, 1.0, 1.0, 0.9};

/* The middle of a picture, and the values along its axes. */
struct Plot {
    Canvas& canvas;
    Box box;
    MapAxes axes;

    double x(double value) const { return axes.across.place(value); }
    double y(double value) const { return axes.down.place(value); }
};

Plot plotOf(Canvas& canvas, const Box& box, const Grid& grid) { return {canvas, box, axesOf(grid, box)}; }

Box roomOf(const Canvas& canvas) { return {left, top, canvas.width() - left - right, canvas.height() - top - bottom}; }

/* Title, legend and colour scale. */
void drawAround(const Plot& plot, const Raster& raster, const std::string& title) {
    Canvas& canvas = plot.canvas;
    const Box& box = plot.box;
    canvas.frame(box);
    canvas.text(box.left, 18.0, title, titleSize, Canvas::Anchor::left);
    double x = box.left;
    const double y = 44.0;
    x = drawKey(canvas, x, y, pointColor, "functions", true);
    x = drawKey(canvas, x, y, sideColor, "triangles", false);
    drawKey(canvas, x, y, hullColor, "hull; pale: continued beyond it", false);
    drawScaleBar(canvas, scaleBeside(box, scaleGap), raster.lowest, raster.highest, "velocity, m/s");
}

void addPolygon(const Plot& plot, const std::vector<Place>& corners) {
    for (const Place& corner : corners) cairo_line_to(plot.canvas.pen(), plot.x(corner.x), plot.y(corner.y));
    cairo_close_path(plot.canvas.pen());
}

/* A part of the veil, by its edges: neighbours leave no gap, as they would with widths, which are rounded too. */
void addRectangle(const Plot& plot, double fromX, double fromY, double toX, double toY) {
    cairo_t* pen = plot.canvas.pen();
    cairo_move_to(pen, fromX, fromY);
    cairo_line_to(pen, toX, fromY);
    cairo_line_to(pen, toX, toY);
    cairo_line_to(pen, fromX, toY);
    cairo_close_path(pen);
}

void fillVeil(const Plot& plot) {
    cairo_t* pen = plot.canvas.pen();
    cairo_set_antialias(pen, CAIRO_ANTIALIAS_NONE);
    plot.canvas.setColor(veil);
    cairo_fill(pen);
    cairo_set_antialias(pen, CAIRO_ANTIALIAS_DEFAULT);
}

/* Calls add(first, end) for every run of columns that are outside. */
template <class IsOutside, class Add>
void forRunsOutside(std::size_t columns, const IsOutside& isOutside, const Add& add) {
    for (std::size_t first = 0, column = 0; column <= columns; ++column) {
        if (column < columns && isOutside(column)) continue;
        if (first < column) add(static_cast<double>(first), static_cast<double>(column));
        first = column + 1;
    }
}

/* Nodes outside the hull, each with the ground nearest to it. */
void drawVeil(const Plot& plot, const TimeSlice& slice) {
    const auto columns = static_cast<std::size_t>(slice.grid.columns), rows = static_cast<std::size_t>(slice.grid.rows);
    const double width = plot.box.width / static_cast<double>(columns - 1);
    const double height = plot.box.height / static_cast<double>(rows - 1);
    for (std::size_t row = 0; row < rows; ++row) {
        const auto edge = [&](double number) { return plot.box.top + (number - 0.5) * height; };
        forRunsOutside(
            columns, [&](std::size_t column) { return !slice.isInside[row * columns + column]; },
            [&](double first, double end) {
                addRectangle(plot, plot.box.left + (first - 0.5) * width, edge(static_cast<double>(row)),
                             plot.box.left + (end - 0.5) * width, edge(static_cast<double>(row + 1)));
            });
    }
    fillVeil(plot);
}

void drawMesh(const Plot& plot, const Field& field) {
    cairo_t* pen = plot.canvas.pen();
    cairo_set_line_join(pen, CAIRO_LINE_JOIN_ROUND);
    for (const auto& [from, to] : field.sides()) {
        cairo_move_to(pen, plot.x(from.x), plot.y(from.y));
        cairo_line_to(pen, plot.x(to.x), plot.y(to.y));
    }
    plot.canvas.setColor(sideColor);
    cairo_set_line_width(pen, sideWidth);
    cairo_stroke(pen);
    addPolygon(plot, field.hull());
    strokeOver(plot.canvas, hullColor, overWidth);
    for (const ControlPoint& point : field.points()) addCircle(plot.canvas, plot.x(point.place.x), plot.y(point.place.y), 3.5);
    strokeOver(plot.canvas, pointColor, overThinWidth);
}

/* Columns outside the hull, and where unknown: there is nothing under it. */
void drawVeil(const Plot& plot, const Section& section) {
    const double width = plot.box.width / static_cast<double>(section.regions.size() - 1);
    forRunsOutside(
        section.regions.size(), [&](std::size_t column) { return section.regions[column] == Field::outside; },
        [&](double first, double end) {
            addRectangle(plot, plot.box.left + (first - 0.5) * width, plot.box.top, plot.box.left + (end - 0.5) * width,
                         plot.box.bottom());
        });
    fillVeil(plot);
}

/* Where the path goes from a triangle into another one, or over the hull. */
void drawCrossings(const Plot& plot, const Section& section, bool ofHull) {
    cairo_t* pen = plot.canvas.pen();
    for (std::size_t k = 1; k < section.regions.size(); ++k) {
        const std::ptrdiff_t before = section.regions[k - 1], behind = section.regions[k];
        const bool crossesHull = before == Field::outside || behind == Field::outside;
        if (before == behind || crossesHull != ofHull) continue;
        const double x = plot.x(section.path.first + (static_cast<double>(k) - 0.5) * section.path.spacing);
        cairo_move_to(pen, x, plot.box.top);
        cairo_line_to(pen, x, plot.box.bottom());
    }
    if (ofHull) return strokeOver(plot.canvas, hullColor, overWidth);
    plot.canvas.setColor(sideColor);
    cairo_set_line_width(pen, sideWidth);
    cairo_stroke(pen);
}

void drawPairs(const Plot& plot, const Section& section) {
    for (const Section::Point& point : section.points)
        for (const auto& [time, velocity] : point.pairs)
            addCircle(plot.canvas, plot.x(section.path.first + static_cast<double>(point.column) * section.path.spacing),
                      plot.y(-time), 3.5);
    strokeOver(plot.canvas, pointColor, overThinWidth);
}

}

void drawCut(Canvas& canvas, const TimeSlice& slice, const Field& field, const std::string& title) {
    const Grid& grid = slice.grid;
    const double shape = (grid.right() - grid.left) / (grid.top - grid.bottom());
    const Plot plot = plotOf(canvas, boxOfShape(roomOf(canvas), shape), grid);
    const Raster raster = rasterOf(grid);
    drawRaster(canvas, plot.box, plot.axes.across, plot.axes.down, raster);
    canvas.inside(plot.box, [&] {
        drawVeil(plot, slice);
        drawMesh(plot, field);
    });
    drawLeftAxis(canvas, plot.box, plot.axes.down, "y");
    drawBottomAxis(canvas, plot.box, plot.axes.across, "x");
    drawAround(plot, raster, title);
}

void drawCut(Canvas& canvas, const Section& section, const std::string& title) {
    const Grid& grid = section.grid;
    const Plot plot = plotOf(canvas, roomOf(canvas), grid);
    const Raster raster = rasterOf(grid);
    drawRaster(canvas, plot.box, plot.axes.across, plot.axes.down, raster);
    canvas.inside(plot.box, [&] {
        drawVeil(plot, section);
        drawCrossings(plot, section, false);
        drawCrossings(plot, section, true);
        drawPairs(plot, section);
    });
    drawTimeAxis(canvas, plot.box, {-grid.top, -grid.bottom(), plot.box.top, plot.box.bottom()});
    drawBottomAxis(canvas, plot.box, plot.axes.across, section.path.axisTitle);
    drawAround(plot, raster, title);
}

}
