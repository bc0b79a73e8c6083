#include "pictures/graph.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "pictures/axis.h"
#include "pictures/canvas.h"

namespace pelta::pictures {
namespace {

constexpr double graphTitleSize = 12.0;
constexpr double leftRoom = 68.0, rightRoom = 16.0, bottomRoom = 46.0, topRoom = 8.0; /* around the axes */
constexpr double titleRoom = 18.0, legendRowHeight = 16.0;
constexpr double markRadius = 2.6, curveWidth = 1.3, errorWidth = 0.8;
constexpr double padding = 0.04;  /* of the values' span, on each side */
constexpr double tellable = 1e-3; /* span of an axis, of its values: short numbers tell its ticks apart */

bool isDrawn(const Series& series, std::size_t k) { return std::isfinite(series.x[k]) && std::isfinite(series.y[k]); }

double errorOf(const Series& series, std::size_t k) {
    return k < series.errors.size() && std::isfinite(series.errors[k]) ? series.errors[k] : 0.0;
}

/* The span of what was put in. */
struct Span {
    double from = std::numeric_limits<double>::infinity(), to = -std::numeric_limits<double>::infinity();
    void take(double value) {
        from = std::min(from, value);
        to = std::max(to, value);
    }
    bool isEmpty() const { return from > to; }
};

/* With room for marks, but not beyond 0 where no value is. */
Range padded(const Span& span) {
    if (span.isEmpty()) return {0.0, 1.0};
    const double width = span.to - span.from;
    const double least = tellable * std::max(std::abs(span.from), std::abs(span.to));
    const double pad = width > 0.0 ? std::max(padding * width, 0.5 * (least - width)) : std::max(0.05 * std::abs(span.to), 0.5);
    const double from = span.from >= 0.0 ? std::max(span.from - pad, 0.0) : span.from - pad;
    const double to = span.to <= 0.0 ? std::min(span.to + pad, 0.0) : span.to + pad;
    return from < to ? Range{from, to} : Range{span.from - pad, span.to + pad};
}

Range xRangeOf(const Graph& graph) {
    if (graph.xRange) return *graph.xRange;
    Span span;
    for (const Series& series : graph.series)
        for (std::size_t k = 0; k < series.x.size(); ++k)
            if (isDrawn(series, k)) span.take(series.x[k]);
    return padded(span);
}

Range yRangeOf(const Graph& graph, const Range& x) {
    if (graph.yRange) return *graph.yRange;
    Span span;
    for (const Series& series : graph.series)
        for (std::size_t k = 0; k < series.x.size(); ++k) {
            if (!isDrawn(series, k) || series.x[k] < x.first || series.x[k] > x.second) continue;
            span.take(series.y[k] - errorOf(series, k));
            span.take(series.y[k] + errorOf(series, k));
            if (series.mark == Mark::bar) span.take(0.0);
        }
    return padded(span);
}

struct Axes {
    Axis x, y;
};

/* Three quarters of the way to the next bar. */
double barWidth(const Series& series, const Axis& x) {
    double nearest = std::numeric_limits<double>::infinity();
    for (std::size_t k = 1; k < series.x.size(); ++k)
        nearest = std::min(nearest, std::abs(x.place(series.x[k]) - x.place(series.x[k - 1])));
    constexpr double narrowest = 0.5, widest = 30.0;
    return std::clamp(0.75 * nearest, narrowest, widest);
}

void drawMark(Canvas& canvas, Mark mark, double x, double y) {
    cairo_t* pen = canvas.pen();
    if (mark == Mark::cross) {
        cairo_set_line_width(pen, 1.4);
        constexpr double reach = 1.3 * markRadius;
        canvas.line(x - reach, y - reach, x + reach, y + reach);
        canvas.line(x - reach, y + reach, x + reach, y - reach);
    } else if (mark == Mark::dot || mark == Mark::ring) {
        cairo_new_sub_path(pen);
        cairo_arc(pen, x, y, markRadius, 0.0, 2.0 * M_PI);
        cairo_set_line_width(pen, 1.0);
        if (mark == Mark::dot) cairo_fill(pen);
        else cairo_stroke(pen);
    }
}

void setStroke(Canvas& canvas, Stroke stroke) {
    constexpr double dashes[] = {6.0, 4.0};
    cairo_set_line_width(canvas.pen(), curveWidth);
    cairo_set_dash(canvas.pen(), dashes, stroke == Stroke::dashed ? 2 : 0, 0.0);
}

void drawCurve(Canvas& canvas, const Series& series, const Axes& axes) {
    setStroke(canvas, series.stroke);
    bool isDown = false;
    for (std::size_t k = 0; k < series.x.size(); ++k) {
        if (!isDrawn(series, k)) isDown = false;
        else if (std::exchange(isDown, true)) cairo_line_to(canvas.pen(), axes.x.place(series.x[k]), axes.y.place(series.y[k]));
        else cairo_move_to(canvas.pen(), axes.x.place(series.x[k]), axes.y.place(series.y[k]));
    }
    cairo_stroke(canvas.pen());
    setStroke(canvas, Stroke::solid);
}

void drawBars(Canvas& canvas, const Series& series, const Axes& axes) {
    const double width = barWidth(series, axes.x), foot = axes.y.place(0.0);
    for (std::size_t k = 0; k < series.x.size(); ++k)
        if (isDrawn(series, k))
            cairo_rectangle(canvas.pen(), axes.x.place(series.x[k]) - 0.5 * width, foot, width,
                            axes.y.place(series.y[k]) - foot);
    cairo_fill(canvas.pen());
}

void drawErrors(Canvas& canvas, const Series& series, const Axes& axes) {
    constexpr double reach = 3.0;
    cairo_set_line_width(canvas.pen(), errorWidth);
    for (std::size_t k = 0; k < series.x.size(); ++k) {
        if (!isDrawn(series, k) || !(errorOf(series, k) > 0.0)) continue;
        const double x = axes.x.place(series.x[k]);
        const double low = axes.y.place(series.y[k] - series.errors[k]), high = axes.y.place(series.y[k] + series.errors[k]);
        canvas.line(x, low, x, high);
        canvas.line(x - reach, low, x + reach, low);
        canvas.line(x - reach, high, x + reach, high);
    }
}

void drawSeries(Canvas& canvas, const Series& series, const Axes& axes) {
    canvas.setColor(series.color);
    if (series.mark == Mark::bar) drawBars(canvas, series, axes);
    if (series.stroke != Stroke::none) drawCurve(canvas, series, axes);
    drawErrors(canvas, series, axes);
    for (std::size_t k = 0; k < series.x.size(); ++k)
        if (isDrawn(series, k)) drawMark(canvas, series.mark, axes.x.place(series.x[k]), axes.y.place(series.y[k]));
}

constexpr double symbolWidth = 22.0, symbolGap = 5.0, entryGap = 16.0;

/* A name of the legend in its place: left end and row. */
struct LegendEntry {
    const Series* series;
    double left;
    int row;
};

/* In rows, as many as the width asks for. */
std::vector<LegendEntry> placeLegend(Canvas& canvas, double width, const std::vector<Series>& all) {
    std::vector<LegendEntry> entries;
    double left = 0.0;
    int row = 0;
    for (const Series& series : all) {
        const auto isSame = [&](const LegendEntry& entry) { return entry.series->name == series.name; };
        if (series.name.empty() || std::any_of(entries.begin(), entries.end(), isSame)) continue;
        const double needed = symbolWidth + symbolGap + canvas.textWidth(series.name, textSize);
        if (left > 0.0 && left + needed > width) {
            left = 0.0;
            ++row;
        }
        entries.push_back({&series, left, row});
        left += needed + entryGap;
    }
    return entries;
}

void drawLegend(Canvas& canvas, double left, double top, const std::vector<LegendEntry>& entries) {
    for (const LegendEntry& entry : entries) {
        const Series& series = *entry.series;
        const double x = left + entry.left, y = top + (entry.row + 0.5) * legendRowHeight;
        canvas.setColor(series.color);
        if (series.stroke != Stroke::none) {
            setStroke(canvas, series.stroke);
            canvas.line(x, y, x + symbolWidth, y);
            setStroke(canvas, Stroke::solid);
        }
        if (series.mark == Mark::bar) {
            cairo_rectangle(canvas.pen(), x + 0.5 * symbolWidth - 4.0, y - 4.0, 8.0, 8.0);
            cairo_fill(canvas.pen());
        }
        drawMark(canvas, series.mark, x + 0.5 * symbolWidth, y);
        canvas.setColor({});
        canvas.text(x + symbolWidth + symbolGap, y, series.name, textSize, Canvas::Anchor::left);
    }
}

}

void drawGraph(Canvas& canvas, const Box& box, const Graph& graph) {
    const double titleHeight = graph.title.empty() ? 0.0 : titleRoom;
    const double left = box.left + leftRoom, width = std::max(box.width - leftRoom - rightRoom, 1.0);
    const std::vector<LegendEntry> legend = placeLegend(canvas, width, graph.series);
    const double legendHeight = legend.empty() ? 0.0 : (legend.back().row + 1) * legendRowHeight + 2.0;
    const double above = topRoom + titleHeight + legendHeight;
    const Box inside = {left, box.top + above, width, std::max(box.height - above - bottomRoom, 1.0)};
    canvas.setColor({});
    const double room = std::max(box.right() - left, 1.0),
                 needed = std::max(canvas.textWidth(graph.title, graphTitleSize), 1.0);
    canvas.text(left, box.top + topRoom + 0.5 * titleHeight - 3.0, graph.title, graphTitleSize * std::min(1.0, room / needed),
                Canvas::Anchor::left);
    drawLegend(canvas, left, box.top + topRoom + titleHeight - 2.0, legend);

    const Range x = xRangeOf(graph), y = yRangeOf(graph, x);
    const double low = graph.growsDown ? inside.top : inside.bottom(), high = graph.growsDown ? inside.bottom() : inside.top;
    const Axes axes = {{x.first, x.second, inside.left, inside.right()}, {y.first, y.second, low, high}};
    drawBottomAxis(canvas, inside, axes.x, graph.xTitle);
    drawLeftAxis(canvas, inside, axes.y, graph.yTitle);
    canvas.inside(inside, [&] {
        for (const Series& series : graph.series) drawSeries(canvas, series, axes);
    });
    canvas.frame(inside);
}

namespace {

constexpr double margin = 8.0, headingRoom = 40.0;

}

void drawHeading(Canvas& canvas, const std::string& title, const std::vector<Series>& legend) {
    const double left = margin + leftRoom;
    canvas.setColor({});
    canvas.text(left, margin + 10.0, title, titleSize, Canvas::Anchor::left);
    drawLegend(canvas, left, margin + 22.0, placeLegend(canvas, canvas.width(), legend));
}

Box roomForGraphs(const Canvas& canvas) {
    return {margin, margin + headingRoom, canvas.width() - 2.0 * margin, canvas.height() - 2.0 * margin - headingRoom};
}

}
