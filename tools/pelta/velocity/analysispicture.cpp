#include "velocity/analysispicture.h"

#include <algorithm>
#include <cmath>

#include "pictures/overlay.h"
#include "pictures/raster.h"
#include "pictures/section.h"

namespace pelta::velocity {
namespace {

using namespace pictures;

constexpr double left = 70.0, right = 20.0, top = 76.0, bottom = 44.0; /* around everything */
constexpr double gap = 26.0;                                           /* between the boxes */
constexpr double scaleGap = 12.0, scaleRoom = 84.0;                    /* of the colour scale beside the panel */
constexpr double gatherShare = 0.27;                                   /* of the width, for each of the two gathers */
constexpr Color pickedColor = overWhite, intervalColor = overOrange, truthColor = overRed;

struct Boxes {
    Box gather, panel, corrected;
};

Boxes placeBoxes(const Canvas& canvas) {
    const double height = canvas.height() - top - bottom;
    const double width = canvas.width() - left - right - 2.0 * gap - scaleRoom;
    const double gatherWidth = std::floor(gatherShare * width), panelWidth = std::floor(width - 2.0 * gatherWidth);
    Boxes boxes;
    boxes.gather = {left, top, gatherWidth, height};
    boxes.panel = {boxes.gather.right() + gap, top, panelWidth, height};
    boxes.corrected = {boxes.panel.right() + scaleRoom + gap, top, gatherWidth, height};
    return boxes;
}

double lastTimeMs(const Panel& panel) { return (panel.sampleCount - 1) * panel.intervalMs; }

std::vector<SectionTrace> tracesOf(const Gather& gather) {
    std::vector<SectionTrace> traces;
    for (int k = 0; k < gather.traceCount(); ++k) {
        SectionTrace& trace = traces.emplace_back();
        trace.samples.assign(gather.trace(k), gather.trace(k) + gather.sampleCount);
        trace.axisValue = std::round(gather.offsets[static_cast<std::size_t>(k)]);
    }
    return traces;
}

void drawGather(Canvas& canvas, const Box& box, const Gather& gather, const std::string& title, bool hasTimeAxis) {
    constexpr double narrowestWiggle = 4.0;
    SectionStyle style;
    style.style = box.width / gather.traceCount() >= narrowestWiggle ? Style::wiggle : Style::density;
    style.balancesTraces = true;
    style.gain = 0.8;
    style.toMs = (gather.sampleCount - 1) * gather.intervalMs;
    style.intervalMs = gather.intervalMs;
    style.hasTimeAxis = hasTimeAxis;
    drawSection(canvas, box, tracesOf(gather), style);
    canvas.setColor({});
    canvas.text(box.left, box.top - 33.0, title, textSize, Canvas::Anchor::left);
}

Raster rasterOf(const Panel& panel) {
    Raster raster;
    raster.columns = panel.fan.count;
    raster.rows = panel.sampleCount;
    raster.values.resize(panel.semblance.size());
    for (int row = 0; row < raster.rows; ++row)
        for (int column = 0; column < raster.columns; ++column)
            raster.values[static_cast<std::size_t>(row) * raster.columns + column] = panel.at(column)[row];
    raster.firstColumn = panel.fan.from;
    raster.columnSpacing = panel.fan.step();
    raster.rowSpacing = panel.intervalMs;
    raster.highest = std::max(0.1, strongestValue(panel).semblance);
    return raster;
}

void drawIntervalVelocities(Canvas& canvas, const std::vector<Pick>& picks, const Axis& across, const Axis& down) {
    const std::vector<double> layers = intervalVelocities(picks);
    double above = 0.0;
    for (std::size_t k = 0; k < picks.size(); above = picks[k++].timeMs) {
        const double x = across.place(layers[k]);
        cairo_line_to(canvas.pen(), x, down.place(above));
        cairo_line_to(canvas.pen(), x, down.place(picks[k].timeMs));
    }
    strokeOver(canvas, intervalColor, overThinWidth);
}

/* As the moveout step reads the picks: constant beyond them. */
void drawPicked(Canvas& canvas, const std::vector<Pick>& picks, const Axis& across, const Axis& down) {
    cairo_line_to(canvas.pen(), across.place(picks.front().velocity), down.firstPlace);
    for (const Pick& pick : picks) cairo_line_to(canvas.pen(), across.place(pick.velocity), down.place(pick.timeMs));
    cairo_line_to(canvas.pen(), across.place(picks.back().velocity), down.lastPlace);
    strokeOver(canvas, pickedColor, overWidth);
    for (const Pick& pick : picks) addCircle(canvas, across.place(pick.velocity), down.place(pick.timeMs), 2.0);
    strokeOver(canvas, pickedColor, overWidth);
}

void drawTruth(Canvas& canvas, const TimeFunction& truth, const Axis& across, const Axis& down) {
    for (const auto& [time, velocity] : truth.pairs())
        addCircle(canvas, across.place(velocity), down.place(time), overMarkRadius);
    strokeOver(canvas, truthColor, overThinWidth);
}

void drawPanel(Canvas& canvas, const Box& box, const Analysis& analysis) {
    const Panel& panel = analysis.panel;
    const Axis across = {panel.fan.from, panel.fan.to, box.left, box.right()};
    const Axis down = {0.0, lastTimeMs(panel), box.top, box.bottom()};
    const Raster raster = rasterOf(panel);
    drawRaster(canvas, box, across, down, raster);
    canvas.inside(box, [&] {
        cairo_set_line_join(canvas.pen(), CAIRO_LINE_JOIN_ROUND);
        drawIntervalVelocities(canvas, analysis.picks, across, down);
        drawPicked(canvas, analysis.picks, across, down);
        if (analysis.truth) drawTruth(canvas, *analysis.truth, across, down);
    });
    canvas.frame(box);
    drawTopAxis(canvas, box, across);
    canvas.text(box.left, box.top - 33.0, "semblance over velocity, m/s", textSize, Canvas::Anchor::left);
    drawScaleBar(canvas, scaleBeside(box, scaleGap), raster.lowest, raster.highest, "semblance");
    double x = box.left;
    const double y = box.bottom() + 20.0;
    x = drawKey(canvas, x, y, pickedColor, "picked", false);
    x = drawKey(canvas, x, y, intervalColor, "interval velocities", false);
    if (analysis.truth) drawKey(canvas, x, y, truthColor, "true", true);
}

}

void drawAnalysis(Canvas& canvas, const Analysis& analysis) {
    const Boxes boxes = placeBoxes(canvas);
    const Gather corrected = correctedGather(analysis.gather, functionOf(analysis.picks), analysis.stretch);
    drawGather(canvas, boxes.gather, analysis.gather, "gather by offset, m", true);
    drawPanel(canvas, boxes.panel, analysis);
    drawGather(canvas, boxes.corrected, corrected, "after moveout with the picks", false);
    canvas.setColor({});
    canvas.text(boxes.gather.left, 22.0, analysis.title, titleSize, Canvas::Anchor::left);
}

}
