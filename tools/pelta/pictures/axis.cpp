#include "pictures/axis.h"

#include <fmt/format.h>

#include <cmath>

namespace pelta::pictures {
namespace {

constexpr double spacePerNumber = 60.0;            /* along a horizontal axis */
constexpr Color lineColor = {0.0, 0.0, 0.0, 0.15}; /* across the box */

}

std::vector<double> niceTicks(double from, double to, int atMost) {
    const double span = std::abs(to - from);
    if (!(span > 0.0) || !std::isfinite(span) || atMost < 1) return {};
    double step = std::pow(10.0, std::floor(std::log10(span / atMost)));
    for (double factor : {1.0, 2.0, 5.0, 10.0})
        if (span / (factor * step) <= atMost) {
            step *= factor;
            break;
        }
    std::vector<double> ticks;
    const double low = std::min(from, to), high = std::max(from, to);
    for (double k = std::ceil(low / step - 1e-9); k * step <= high + 1e-9 * span; ++k) ticks.push_back(k * step);
    return ticks;
}

/* Coordinates of surveys have seven digits before the point. */
std::string tickText(double value) {
    constexpr double longNumber = 1e5;
    return fmt::format("{:.{}g}", value == 0.0 ? 0.0 : value, std::abs(value) < longNumber ? 6 : 10);
}

void drawLeftAxis(Canvas& canvas, const Box& box, const Axis& values, const std::string& title) {
    constexpr double usualTitlePlace = 52.0, lowBox = 300.0, spaceInLowBox = 24.0;
    const double space = box.height < lowBox ? spaceInLowBox : spacePerTick;
    const int atMost = std::max(2, static_cast<int>(box.height / space));
    double widest = 0.0;
    cairo_set_line_width(canvas.pen(), 0.5);
    for (double tick : niceTicks(values.firstValue, values.lastValue, atMost)) {
        const double y = values.place(tick);
        canvas.setColor(lineColor);
        canvas.line(box.left, y, box.right(), y);
        canvas.setColor({});
        canvas.line(box.left - tickLength, y, box.left, y);
        canvas.text(box.left - tickLength - 3.0, y, tickText(tick), textSize, Canvas::Anchor::right);
        widest = std::max(widest, canvas.textWidth(tickText(tick), textSize));
    }
    canvas.text(box.left - std::max(usualTitlePlace, tickLength + widest + 14.0), box.top + 0.5 * box.height, title, textSize,
                Canvas::Anchor::middle, true);
}

void drawBottomAxis(Canvas& canvas, const Box& box, const Axis& values, const std::string& title) {
    const int atMost = std::max(2, static_cast<int>(box.width / spacePerNumber));
    cairo_set_line_width(canvas.pen(), 0.5);
    for (double tick : niceTicks(values.firstValue, values.lastValue, atMost)) {
        const double x = values.place(tick);
        canvas.setColor(lineColor);
        canvas.line(x, box.top, x, box.bottom());
        canvas.setColor({});
        canvas.line(x, box.bottom(), x, box.bottom() + tickLength);
        canvas.text(x, box.bottom() + tickLength + 9.0, tickText(tick), textSize, Canvas::Anchor::middle);
    }
    canvas.text(box.left + 0.5 * box.width, box.bottom() + tickLength + 25.0, title, textSize, Canvas::Anchor::middle);
}

void drawTimeAxis(Canvas& canvas, const Box& box, const Axis& timeMs) { drawLeftAxis(canvas, box, timeMs, "time, ms"); }

void drawTopAxis(Canvas& canvas, const Box& box, const Axis& values) {
    canvas.setColor({});
    cairo_set_line_width(canvas.pen(), 0.5);
    for (double tick :
         niceTicks(values.firstValue, values.lastValue, std::max(2, static_cast<int>(box.width / spacePerNumber)))) {
        const double x = values.place(tick);
        canvas.line(x, box.top - tickLength, x, box.top);
        canvas.text(x, box.top - 13.0, tickText(tick), textSize, Canvas::Anchor::middle);
    }
}

}
