#include "pictures/raster.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <tuple>

namespace pelta::pictures {
namespace {

constexpr double pixelsPerPoint = 2.0; /* fine enough for print */
constexpr double mostPixels = 30000.0; /* across an image */

/* From dark violet over green to yellow, its lightness rising evenly. */
constexpr int scaleColors[][3] = {{68, 1, 84},    {71, 44, 122}, {59, 81, 139},  {44, 113, 142}, {33, 144, 141},
                                  {39, 173, 129}, {92, 200, 99}, {170, 220, 50}, {253, 231, 37}};

std::uint32_t pixelOf(const Color& color) {
    const auto channel = [](double value) { return static_cast<std::uint32_t>(std::lround(255.0 * value)); };
    return 0xFF000000u | channel(color.red) << 16 | channel(color.green) << 8 | channel(color.blue);
}

/* Two neighbouring nodes and the weight of the second. */
struct Between {
    int first, second;
    double weight;
};

/* Nothing beyond half a spacing from the outer nodes. */
bool findBetween(double position, int count, Between& between) {
    if (!(position >= -0.5 && position <= count - 0.5)) return false;
    const double inside = std::clamp(position, 0.0, count - 1.0);
    between.first = static_cast<int>(inside);
    between.second = std::min(between.first + 1, count - 1);
    between.weight = inside - between.first;
    return true;
}

double mixed(double first, double second, double weight) {
    if (weight == 0.0) return first;
    return weight == 1.0 ? second : first + weight * (second - first);
}

double valueAt(const Raster& raster, double column, double row) {
    Between across, down;
    if (!findBetween(column, raster.columns, across) || !findBetween(row, raster.rows, down))
        return std::numeric_limits<double>::quiet_NaN();
    const auto at = [&](int r, int c) {
        return static_cast<double>(raster.values[static_cast<std::size_t>(r) * raster.columns + c]);
    };
    const double upper = mixed(at(down.first, across.first), at(down.first, across.second), across.weight);
    if (down.weight == 0.0) return upper;
    return mixed(upper, mixed(at(down.second, across.first), at(down.second, across.second), across.weight), down.weight);
}

/* The value of an axis at a place. */
double valueAtPlace(const Axis& axis, double place) {
    return axis.firstValue +
           (place - axis.firstPlace) / (axis.lastPlace - axis.firstPlace) * (axis.lastValue - axis.firstValue);
}

/* Fills the box with an image whose point at (x, y) of the picture has the colour colorAt(x, y); 0 is transparent. */
template <class ColorAt>
void fillBox(Canvas& canvas, const Box& box, const ColorAt& colorAt) {
    const double scale = std::min(pixelsPerPoint, mostPixels / std::max(box.width, box.height));
    const int width = std::max(1, static_cast<int>(scale * box.width));
    const int height = std::max(1, static_cast<int>(scale * box.height));
    cairo_surface_t* image = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    cairo_surface_flush(image);
    unsigned char* pixels = cairo_image_surface_get_data(image);
    const int stride = cairo_image_surface_get_stride(image);
    if (pixels)
        for (int row = 0; row < height; ++row)
            for (int column = 0; column < width; ++column)
                reinterpret_cast<std::uint32_t*>(pixels + row * stride)[column] =
                    colorAt(box.left + (column + 0.5) * box.width / width, box.top + (row + 0.5) * box.height / height);
    cairo_surface_mark_dirty(image);
    canvas.inside(box, [&, pen = canvas.pen()] {
        cairo_translate(pen, box.left, box.top);
        cairo_scale(pen, box.width / width, box.height / height);
        cairo_set_source_surface(pen, image, 0.0, 0.0);
        cairo_pattern_set_extend(cairo_get_source(pen), CAIRO_EXTEND_PAD);
        cairo_paint(pen);
    });
    cairo_surface_destroy(image);
}

}

MapAxes axesOf(const Grid& grid, const Box& box) {
    return {{grid.left, grid.right(), box.left, box.right()}, {grid.top, grid.bottom(), box.top, box.bottom()}};
}

Raster rasterOf(const Grid& grid) {
    Raster raster;
    raster.columns = static_cast<int>(grid.columns);
    raster.rows = static_cast<int>(grid.rows);
    raster.values = grid.values;
    raster.firstColumn = grid.left;
    raster.columnSpacing = grid.columnSpacing;
    raster.firstRow = grid.top;
    raster.rowSpacing = -grid.rowSpacing;
    std::tie(raster.lowest, raster.highest) = extentOf(grid);
    return raster;
}

Color scaleColor(double share) {
    constexpr int last = static_cast<int>(std::size(scaleColors)) - 1;
    const double position = last * std::clamp(share, 0.0, 1.0);
    const int below = std::min(static_cast<int>(position), last - 1);
    const auto channel = [&](int c) {
        return mixed(scaleColors[below][c], scaleColors[below + 1][c], position - below) / 255.0;
    };
    return {channel(0), channel(1), channel(2)};
}

namespace {

/* The raster under the places of a picture. */
class Sheet {
  public:
    Sheet(const Axis& across, const Axis& down, const Raster& raster) : _across(across), _down(down), _raster(raster) {}

    double value(double x, double y) const {
        return valueAt(_raster, (valueAtPlace(_across, x) - _raster.firstColumn) / _raster.columnSpacing,
                       (valueAtPlace(_down, y) - _raster.firstRow) / _raster.rowSpacing);
    }
    Color color(double value) const {
        const double range = _raster.highest - _raster.lowest;
        return scaleColor(range > 0.0 ? (value - _raster.lowest) / range : 0.0);
    }
    /* Points of the picture from one node to the next. */
    double nodeWidth() const { return std::abs(_across.place(_raster.columnSpacing) - _across.place(0.0)); }
    double nodeHeight() const { return std::abs(_down.place(_raster.rowSpacing) - _down.place(0.0)); }

  private:
    const Axis &_across, &_down;
    const Raster& _raster;
};

/* How steeply a sheet rises away from a light in the picture's upper left corner. */
class Slope {
  public:
    Slope(const Sheet& sheet, const Box& box) : _sheet(sheet), _box(box) {
        _reach = std::max(0.5, 0.5 * std::min(sheet.nodeWidth(), sheet.nodeHeight()));
        constexpr int probes = 100; /* along x and y */
        double squares = 0.0, count = 0.0;
        for (int row = 0; row < probes; ++row)
            for (int column = 0; column < probes; ++column) {
                const double rise =
                    of(box.left + (column + 0.5) * box.width / probes, box.top + (row + 0.5) * box.height / probes);
                if (!std::isfinite(rise)) continue;
                squares += rise * rise;
                ++count;
            }
        _usual = count > 0.0 ? std::sqrt(squares / count) : 0.0;
    }
    /* The shade, -1 (dark) .. 1 (bright), of a place: half of either at the sheet's RMS slope, or nearly so. */
    double shade(double x, double y) const {
        const double rise = of(x, y);
        if (!std::isfinite(rise) || !(_usual > 0.0)) return 0.0;
        const double share = 0.6 * rise / _usual;
        return share / std::sqrt(1.0 + share * share);
    }

  private:
    /* At the rim that of the nearest place inside: beyond the outer nodes the sheet is level. */
    double of(double x, double y) const {
        x = std::clamp(x, _box.left + _reach, std::max(_box.right() - _reach, _box.left + _reach));
        y = std::clamp(y, _box.top + _reach, std::max(_box.bottom() - _reach, _box.top + _reach));
        return _sheet.value(x + _reach, y + _reach) - _sheet.value(x - _reach, y - _reach);
    }

    const Sheet& _sheet;
    const Box& _box;
    double _reach, _usual;
};

Color shaded(const Color& color, double shade) {
    constexpr double mostWhite = 0.5, mostBlack = 0.7;
    const double other = shade > 0.0 ? 1.0 : 0.0, weight = shade > 0.0 ? mostWhite * shade : -mostBlack * shade;
    return {mixed(color.red, other, weight), mixed(color.green, other, weight), mixed(color.blue, other, weight)};
}

}

void drawRaster(Canvas& canvas, const Box& box, const Axis& across, const Axis& down, const Raster& raster) {
    const Sheet sheet(across, down, raster);
    fillBox(canvas, box, [&](double x, double y) {
        const double value = sheet.value(x, y);
        return std::isfinite(value) ? pixelOf(sheet.color(value)) : 0u;
    });
}

void drawShadedRaster(Canvas& canvas, const Box& box, const Axis& across, const Axis& down, const Raster& raster) {
    const Sheet sheet(across, down, raster);
    const Slope slope(sheet, box);
    fillBox(canvas, box, [&](double x, double y) {
        const double value = sheet.value(x, y);
        return std::isfinite(value) ? pixelOf(shaded(sheet.color(value), slope.shade(x, y))) : 0u;
    });
}

Box scaleBeside(const Box& box, double gap) {
    constexpr double width = 14.0;
    return {box.right() + gap, box.top, width, box.height};
}

void drawScaleBar(Canvas& canvas, const Box& bar, double lowest, double highest, const std::string& title) {
    const Axis scale = {lowest, highest, bar.bottom(), bar.top};
    fillBox(canvas, bar, [&](double, double y) { return pixelOf(scaleColor((bar.bottom() - y) / bar.height)); });
    canvas.frame(bar);
    cairo_set_line_width(canvas.pen(), 0.5);
    double widest = 0.0;
    for (double tick : niceTicks(lowest, highest, std::max(2, static_cast<int>(bar.height / spacePerTick)))) {
        const double y = scale.place(tick);
        canvas.line(bar.right(), y, bar.right() + tickLength, y);
        canvas.text(bar.right() + tickLength + 3.0, y, tickText(tick), textSize, Canvas::Anchor::left);
        widest = std::max(widest, canvas.textWidth(tickText(tick), textSize));
    }
    canvas.text(bar.right() + tickLength + widest + 15.0, bar.top + 0.5 * bar.height, title, textSize, Canvas::Anchor::middle,
                true);
}

}
