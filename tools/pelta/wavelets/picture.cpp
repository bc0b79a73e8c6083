#include "wavelets/picture.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace pelta::wavelets {
namespace {

using namespace pictures;

Series curve(const char* name, const std::vector<float>& values, double first, double step, const Color& color,
             Stroke stroke = Stroke::solid) {
    Series series = {.name = name, .color = color, .stroke = stroke};
    for (std::size_t k = 0; k < values.size(); ++k) {
        series.x.push_back(first + static_cast<double>(k) * step);
        series.y.push_back(values[k]);
    }
    return series;
}

Series waveletCurve(const char* name, const Version& version, double intervalMs, const Color& color,
                    Stroke stroke = Stroke::solid) {
    return curve(name, version.samples, -version.origin * intervalMs, intervalMs, color, stroke);
}

Graph waveletGraph(const Design& design) {
    const double interval = design.settings.intervalMs;
    Graph graph;
    graph.title = "wavelets";
    graph.xTitle = "time, ms";
    graph.yTitle = "amplitude";
    graph.series = {waveletCurve("zero phase", design.zero, interval, black),
                    waveletCurve("minimum phase", design.minimum, interval, blue),
                    waveletCurve("maximum phase", design.maximum, interval, vermilion)};
    return graph;
}

/* Frequencies beyond which nothing is to be seen. */
Range frequencyRange(const Design& design) {
    constexpr double shareOfPeak = 4.0;
    return {0.0, std::min(shareOfPeak * design.settings.frequencyHz, 500.0 / design.settings.intervalMs)};
}

Graph amplitudeGraph(const Design& design) {
    Graph graph;
    graph.title = "amplitude spectra";
    graph.xTitle = "frequency, Hz";
    graph.yTitle = "amplitude";
    graph.xRange = frequencyRange(design);
    graph.yRange = Range{0.0, 1.05};
    graph.series = {
        curve("zero phase", design.zero.amplitude, 0.0, design.frequencyStepHz, black),
        curve("minimum and maximum phase", design.minimum.amplitude, 0.0, design.frequencyStepHz, blue, Stroke::dashed)};
    return graph;
}

/* In degrees, where there is amplitude to have a phase. */
Series phaseCurve(const char* name, const Version& version, double stepHz, const Color& color) {
    constexpr float leastAmplitude = 0.02f;
    Series series = curve(name, version.phase, 0.0, stepHz, color);
    for (std::size_t k = 0; k < series.y.size(); ++k) {
        series.y[k] *= 180.0 / M_PI;
        const bool isWrapped = k > 0 && std::abs(version.phase[k] - version.phase[k - 1]) > M_PI;
        if (version.amplitude[k] < leastAmplitude || isWrapped) series.y[k] = NAN;
    }
    return series;
}

Graph phaseGraph(const Design& design) {
    Graph graph;
    graph.title = "phase spectra";
    graph.xTitle = "frequency, Hz";
    graph.yTitle = "phase, degrees";
    graph.xRange = frequencyRange(design);
    graph.yRange = Range{-190.0, 190.0};
    graph.series = {phaseCurve("zero phase", design.zero, design.frequencyStepHz, black),
                    phaseCurve("minimum phase", design.minimum, design.frequencyStepHz, blue),
                    phaseCurve("maximum phase", design.maximum, design.frequencyStepHz, vermilion)};
    return graph;
}

Graph timeGraph(const std::string& title, std::vector<Series> series) {
    Graph graph;
    graph.title = title;
    graph.xTitle = "time, ms";
    graph.yTitle = "amplitude";
    graph.series = std::move(series);
    return graph;
}

}

void drawDesign(Canvas& canvas, const Design& design) {
    const double interval = design.settings.intervalMs, middle = -design.zero.origin * interval;
    drawHeading(canvas, fmt::format("Ricker wavelet of {:g} Hz: {} samples at {:g} ms", design.settings.frequencyHz,
                                    design.settings.length, interval));
    const Box room = roomForGraphs(canvas);
    drawGraph(canvas, tile(room, 3, 2, 0, 0), waveletGraph(design));
    drawGraph(canvas, tile(room, 3, 2, 1, 0), amplitudeGraph(design));
    drawGraph(canvas, tile(room, 3, 2, 2, 0), phaseGraph(design));
    drawGraph(canvas, tile(room, 3, 2, 0, 1),
              timeGraph("before the filter", {curve("minimum phase", design.minimum.samples, 0.0, interval, blue)}));
    Series filter = curve("shaping filter", design.filter, middle, interval, green, Stroke::none);
    filter.mark = Mark::bar;
    drawGraph(canvas, tile(room, 3, 2, 1, 1), timeGraph("the filter", {filter}));
    drawGraph(canvas, tile(room, 3, 2, 2, 1),
              timeGraph(fmt::format("behind it: {:.3g} % of the energy is off", design.errorPercent),
                        {curve("filtered", design.filtered, middle, interval, blue),
                         curve("wanted", design.wanted, middle, interval, black, Stroke::dashed)}));
}

}
