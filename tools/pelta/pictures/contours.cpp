#include "pictures/contours.h"

#include <algorithm>
#include <cmath>

namespace pelta::pictures {
namespace {

struct Place {
    double x, y;
};

/* The four nodes of a cell, in the order of a walk round it. */
struct Cell {
    Place corners[4];
    double values[4];
};

/* Where a level crosses the sides of a cell: none, two or four places, in the order of the walk. A value at the level counts as
 * above it, so that a line through a node is drawn once. */
int crossings(const Cell& cell, double level, Place* places) {
    int count = 0;
    for (int k = 0; k < 4; ++k) {
        const int next = (k + 1) % 4;
        const double from = cell.values[k], to = cell.values[next];
        if ((from >= level) == (to >= level)) continue;
        const double share = (level - from) / (to - from);
        places[count++] = {cell.corners[k].x + share * (cell.corners[next].x - cell.corners[k].x),
                           cell.corners[k].y + share * (cell.corners[next].y - cell.corners[k].y)};
    }
    return count;
}

void addLine(Canvas& canvas, const Place& from, const Place& to) {
    cairo_move_to(canvas.pen(), from.x, from.y);
    cairo_line_to(canvas.pen(), to.x, to.y);
}

void addLevel(Canvas& canvas, const Cell& cell, double level) {
    Place places[4];
    const int count = crossings(cell, level, places);
    if (count == 2) addLine(canvas, places[0], places[1]);
    if (count != 4) return;
    /* A saddle: its middle tells which two corners are joined. */
    const double middle = 0.25 * (cell.values[0] + cell.values[1] + cell.values[2] + cell.values[3]);
    const int shift = (middle >= level) == (cell.values[0] >= level) ? 0 : 1;
    addLine(canvas, places[shift], places[shift + 1]);
    addLine(canvas, places[shift + 2], places[(shift + 3) % 4]);
}

void addCell(Canvas& canvas, const Cell& cell, const std::vector<double>& levels) {
    if (!std::all_of(std::begin(cell.values), std::end(cell.values), [](double value) { return std::isfinite(value); })) return;
    const auto [lowest, highest] = std::minmax_element(std::begin(cell.values), std::end(cell.values));
    for (auto level = std::upper_bound(levels.begin(), levels.end(), *lowest); level != levels.end() && *level <= *highest;
         ++level)
        addLevel(canvas, cell, *level);
}

}

void drawContours(Canvas& canvas, const Box& box, const Axis& across, const Axis& down, const Raster& raster,
                  std::vector<double> levels) {
    std::sort(levels.begin(), levels.end());
    const auto place = [&](int column, int row) {
        return Place{across.place(raster.firstColumn + column * raster.columnSpacing),
                     down.place(raster.firstRow + row * raster.rowSpacing)};
    };
    const auto value = [&](int column, int row) {
        return static_cast<double>(raster.values[static_cast<std::size_t>(row) * raster.columns + column]);
    };
    canvas.inside(box, [&] {
        cairo_set_line_cap(canvas.pen(), CAIRO_LINE_CAP_ROUND); /* closes the joints of cells */
        for (int row = 0; row + 1 < raster.rows; ++row) {
            for (int column = 0; column + 1 < raster.columns; ++column)
                addCell(canvas,
                        {{place(column, row), place(column + 1, row), place(column + 1, row + 1), place(column, row + 1)},
                         {value(column, row), value(column + 1, row), value(column + 1, row + 1), value(column, row + 1)}},
                        levels);
            cairo_stroke(canvas.pen()); /* a path of all rows would be slow to draw */
        }
    });
}

std::vector<double> contourLevels(const Raster& raster, int count) { return niceTicks(raster.lowest, raster.highest, count); }

std::vector<double> contourLevels(const Raster& raster, double step) {
    constexpr double most = 5000.0;
    const double first = std::ceil(raster.lowest / step), last = std::floor(raster.highest / step);
    std::vector<double> levels;
    if (!(last - first <= most)) return levels;
    for (double k = first; k <= last; ++k) levels.push_back(k * step);
    return levels;
}

}
