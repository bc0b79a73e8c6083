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

Graph timeGraph(const std::string& title, std::vector<Series> series) {
    Graph graph;
    graph.title = title;
    graph.xTitle = "time, ms";
    graph.yTitle = "amplitude";
    graph.series = std::move(series);
    return graph;
}

Graph waveletGraph(const Design& design) {
    const double interval = design.settings.intervalMs;
    const auto waveletCurve = [&](const char* name, const Version& version, const Color& color) {
        return curve(name, version.samples, -version.origin * interval, interval, color);
    };
    return timeGraph("wavelets",
                     {waveletCurve("zero phase", design.zero, black), waveletCurve("minimum phase", design.minimum, blue),
                      waveletCurve("maximum phase", design.maximum, vermilion)});
}

/* Over the frequencies at which there is something to be seen. */
Graph spectrumGraph(const Design& design, const char* title, const char* yTitle, const Range& yRange,
                    std::vector<Series> series) {
    constexpr double shareOfPeak = 4.0;
    Graph graph;
    graph.title = title;
    graph.xTitle = "frequency, Hz";
    graph.yTitle = yTitle;
    graph.xRange = Range{0.0, std::min(shareOfPeak * design.settings.frequencyHz, design.settings.nyquistHz())};
    graph.yRange = yRange;
    graph.series = std::move(series);
    return graph;
}

Graph amplitudeGraph(const Design& design) {
    const double step = design.frequencyStepHz;
    return spectrumGraph(design, "amplitude spectra", "amplitude", {0.0, 1.05},
                         {curve("zero phase", design.zero.amplitude, 0.0, step, black),
                          curve("minimum and maximum phase", design.minimum.amplitude, 0.0, step, blue, Stroke::dashed)});
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
    const double step = design.frequencyStepHz;
    return spectrumGraph(
        design, "phase spectra", "phase, degrees", {-190.0, 190.0},
        {phaseCurve("zero phase", design.zero, step, black), phaseCurve("minimum phase", design.minimum, step, blue),
         phaseCurve("maximum phase", design.maximum, step, vermilion)});
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
