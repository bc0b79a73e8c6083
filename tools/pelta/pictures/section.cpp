#include "pictures/section.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "pictures/axis.h"

namespace pelta::pictures {
namespace {

constexpr double leftMargin = 70.0, rightMargin = 20.0, topMargin = 76.0, bottomMargin = 20.0, legendHeight = 20.0;
constexpr double titleHeight = 54.0; /* above the box */
constexpr double recordGap = 1.0;    /* in trace widths, at least a few points */
constexpr Color pickColors[] = {{0.85, 0.1, 0.1}, {0.1, 0.35, 0.85}, {0.1, 0.6, 0.2}, {0.8, 0.5, 0.0}};

const Color& pickColor(std::size_t set) { return pickColors[set % std::size(pickColors)]; }

/* Where each trace stands: the middle of its strip. */
struct Places {
    std::vector<double> middle;
    double stripWidth = 1.0;
};

bool beginsRecord(const std::vector<SectionTrace>& traces, std::size_t t, const SectionStyle& style) {
    return t > 0 && style.separatesRecords && traces[t].record != traces[t - 1].record;
}

Places placeTraces(const std::vector<SectionTrace>& traces, const Box& box, const SectionStyle& style) {
    std::size_t gaps = 0;
    for (std::size_t t = 0; t < traces.size(); ++t) gaps += beginsRecord(traces, t, style);
    const double plainWidth = box.width / static_cast<double>(std::max<std::size_t>(traces.size(), 1));
    const double gap = std::min(std::max(recordGap * plainWidth, 8.0), 0.3 * box.width / static_cast<double>(gaps + 1));
    Places places;
    places.stripWidth =
        (box.width - gap * static_cast<double>(gaps)) / static_cast<double>(std::max<std::size_t>(traces.size(), 1));
    double left = box.left;
    for (std::size_t t = 0; t < traces.size(); ++t) {
        if (beginsRecord(traces, t, style)) left += gap;
        places.middle.push_back(left + 0.5 * places.stripWidth);
        left += places.stripWidth;
    }
    return places;
}

/* The horizontal axis: the word's value over as many traces as there is room for, records above. */
void drawTraceAxis(Canvas& canvas, const std::vector<SectionTrace>& traces, const Box& box, const Places& places,
                   const SectionStyle& style) {
    canvas.setColor({});
    cairo_set_line_width(canvas.pen(), 0.5);
    double freeFrom = -1e9;
    for (std::size_t t = 0; t < traces.size(); ++t) {
        const std::string text = tickText(traces[t].axisValue);
        const double half = 0.5 * canvas.textWidth(text, textSize) + 5.0, x = places.middle[t];
        if (x - half < freeFrom && !beginsRecord(traces, t, style)) continue;
        if (x - half < freeFrom - 4.0) continue;
        canvas.line(x, box.top - 5.0, x, box.top);
        canvas.text(x, box.top - 13.0, text, textSize, Canvas::Anchor::middle);
        freeFrom = x + half;
    }
    canvas.text(box.left - 24.0, box.top - 13.0, style.axisTitle, textSize, Canvas::Anchor::right);
    if (!style.separatesRecords) return;
    freeFrom = -1e9;
    for (std::size_t t = 0; t < traces.size(); ++t) {
        if (t > 0 && !beginsRecord(traces, t, style)) continue;
        const std::string text = fmt::format("record {}", traces[t].record);
        const double left = places.middle[t] - 0.5 * places.stripWidth;
        if (left < freeFrom) continue;
        canvas.text(left, box.top - 31.0, text, textSize, Canvas::Anchor::left);
        freeFrom = left + canvas.textWidth(text, textSize) + 8.0;
    }
}

struct SampleRange {
    std::size_t first, end;
};

/* The samples that stand between the picture's times. */
SampleRange visibleSamples(const SectionTrace& trace, const SectionStyle& style) {
    const double count = static_cast<double>(trace.samples.size());
    const double first = std::clamp(std::ceil((style.fromMs - trace.startMs) / style.intervalMs - 1e-9), 0.0, count);
    const double end = std::clamp(std::floor((style.toMs - trace.startMs) / style.intervalMs + 1e-9) + 1.0, first, count);
    return {static_cast<std::size_t>(first), static_cast<std::size_t>(end)};
}

double clipped(float sample, double clip) { return std::isfinite(sample) ? std::clamp(sample / clip, -1.0, 1.0) : 0.0; }

void drawWiggle(Canvas& canvas, const SectionTrace& trace, double middle, double reach, double clip, const Axis& time,
                const SectionStyle& style) {
    cairo_t* pen = canvas.pen();
    const auto [first, end] = visibleSamples(trace, style);
    if (first == end) return;
    const auto y = [&](std::size_t i) { return time.place(trace.startMs + static_cast<double>(i) * style.intervalMs); };
    cairo_save(pen);
    cairo_rectangle(pen, middle, y(first), reach + 1.0, y(end - 1) - y(first));
    cairo_clip(pen);
    cairo_move_to(pen, middle, y(first));
    for (std::size_t i = first; i < end; ++i) cairo_line_to(pen, middle + reach * clipped(trace.samples[i], clip), y(i));
    cairo_line_to(pen, middle, y(end - 1));
    cairo_close_path(pen);
    cairo_fill(pen);
    cairo_restore(pen);
    for (std::size_t i = first; i < end; ++i) cairo_line_to(pen, middle + reach * clipped(trace.samples[i], clip), y(i));
    cairo_stroke(pen);
}

void drawWiggles(Canvas& canvas, const std::vector<SectionTrace>& traces, const Places& places,
                 const std::vector<double>& clips, const Axis& time, const SectionStyle& style) {
    canvas.setColor({});
    cairo_set_line_width(canvas.pen(), std::clamp(0.12 * places.stripWidth, 0.2, 0.7));
    for (std::size_t t = 0; t < traces.size(); ++t)
        drawWiggle(canvas, traces[t], places.middle[t], style.gain * places.stripWidth, clips[t], time, style);
}

std::uint32_t pixelOf(double amplitude, Palette palette) {
    const auto channel = [](double value) {
        return static_cast<std::uint32_t>(std::lround(255.0 * std::clamp(value, 0.0, 1.0)));
    };
    double red = 0.5 - 0.5 * amplitude, green = red, blue = red;
    if (palette == Palette::seismic) {
        red = amplitude > 0.0 ? 1.0 : 1.0 + amplitude;
        green = 1.0 - std::abs(amplitude);
        blue = amplitude > 0.0 ? 1.0 - amplitude : 1.0;
    }
    return channel(red) << 16 | channel(green) << 8 | channel(blue);
}

/* One row of pixels a sample would be lost in a small picture, so a row shows the strongest sample that falls on it. */
void drawStrip(Canvas& canvas, const SectionTrace& trace, double left, double width, double clip, const Box& box,
               const Axis& time, const SectionStyle& style) {
    const int rows = std::max(1, static_cast<int>(box.height));
    const auto [first, end] = visibleSamples(trace, style);
    std::vector<double> strongest(static_cast<std::size_t>(rows), 0.0);
    std::vector<bool> isFilled(static_cast<std::size_t>(rows), false);
    for (std::size_t i = first; i < end; ++i) {
        const double startMs = trace.startMs + (static_cast<double>(i) - 0.5) * style.intervalMs;
        const int from = std::clamp(static_cast<int>(time.place(startMs) - box.top), 0, rows - 1);
        const int to = std::clamp(static_cast<int>(time.place(startMs + style.intervalMs) - box.top), from, rows - 1);
        const double amplitude = clipped(trace.samples[i], clip);
        for (int row = from; row <= to; ++row)
            if (!isFilled[row] || std::abs(amplitude) > std::abs(strongest[row])) {
                strongest[row] = amplitude;
                isFilled[row] = true;
            }
    }
    cairo_surface_t* image = cairo_image_surface_create(CAIRO_FORMAT_RGB24, 1, rows);
    cairo_surface_flush(image);
    unsigned char* pixels = cairo_image_surface_get_data(image);
    const int stride = cairo_image_surface_get_stride(image);
    for (int row = 0; row < rows; ++row)
        *reinterpret_cast<std::uint32_t*>(pixels + row * stride) =
            isFilled[row] ? pixelOf(strongest[row], style.palette) : 0xFFFFFF;
    cairo_surface_mark_dirty(image);
    cairo_save(canvas.pen());
    cairo_rectangle(canvas.pen(), left, box.top, width, box.height);
    cairo_clip(canvas.pen());
    cairo_translate(canvas.pen(), left, box.top);
    cairo_scale(canvas.pen(), width, box.height / rows);
    cairo_set_source_surface(canvas.pen(), image, 0.0, 0.0);
    cairo_pattern_set_filter(cairo_get_source(canvas.pen()), CAIRO_FILTER_NEAREST);
    cairo_pattern_set_extend(cairo_get_source(canvas.pen()), CAIRO_EXTEND_PAD);
    cairo_paint(canvas.pen());
    cairo_restore(canvas.pen());
    cairo_surface_destroy(image);
}

void drawDensity(Canvas& canvas, const std::vector<SectionTrace>& traces, const Places& places,
                 const std::vector<double>& clips, const Box& box, const Axis& time, const SectionStyle& style) {
    for (std::size_t t = 0; t < traces.size(); ++t) {
        /* Strips end on whole points, so that no seams show between them. */
        const double left = std::floor(places.middle[t] - 0.5 * places.stripWidth);
        const double right = std::max(std::floor(places.middle[t] + 0.5 * places.stripWidth), left + 1.0);
        drawStrip(canvas, traces[t], left, right - left, clips[t] / style.gain, box, time, style);
    }
}

void drawPicks(Canvas& canvas, const std::vector<SectionTrace>& traces, const Places& places, const Box& box, const Axis& time,
               const SectionStyle& style) {
    cairo_set_line_width(canvas.pen(), 1.6);
    for (std::size_t set = 0; set < style.pickNames.size(); ++set) {
        canvas.setColor(pickColor(set));
        for (std::size_t t = 0; t < traces.size(); ++t) {
            const double timeMs = traces[t].pickTimesMs[set];
            if (!(timeMs >= style.fromMs && timeMs <= style.toMs)) continue;
            const double reach = std::max(0.5 * places.stripWidth, 2.0), y = time.place(timeMs);
            canvas.line(places.middle[t] - reach, y, places.middle[t] + reach, y);
        }
    }
    double x = box.left;
    for (std::size_t set = 0; set < style.pickNames.size(); ++set) {
        const double y = box.bottom() + 16.0;
        canvas.setColor(pickColor(set));
        canvas.line(x, y, x + 18.0, y);
        canvas.setColor({});
        canvas.text(x + 23.0, y, style.pickNames[set], textSize, Canvas::Anchor::left);
        x += 40.0 + canvas.textWidth(style.pickNames[set], textSize);
    }
}

}

double percentileAmplitude(const std::vector<SectionTrace>& traces, double percent) {
    std::vector<float> amplitudes;
    for (const SectionTrace& trace : traces)
        for (float sample : trace.samples)
            if (sample != 0.0f && std::isfinite(sample)) amplitudes.push_back(std::abs(sample));
    if (amplitudes.empty()) return 1.0;
    const double last = static_cast<double>(amplitudes.size() - 1);
    const auto rank = static_cast<std::ptrdiff_t>(std::clamp(percent / 100.0, 0.0, 1.0) * last);
    std::nth_element(amplitudes.begin(), amplitudes.begin() + rank, amplitudes.end());
    return amplitudes[static_cast<std::size_t>(rank)];
}

namespace {

/* The amplitude that fills each trace's place. */
std::vector<double> clipsOf(const std::vector<SectionTrace>& traces, const SectionStyle& style) {
    if (style.clipAmplitude) return std::vector<double>(traces.size(), *style.clipAmplitude);
    if (!style.balancesTraces) return std::vector<double>(traces.size(), percentileAmplitude(traces, style.clipPercent));
    std::vector<double> clips;
    for (const SectionTrace& trace : traces) clips.push_back(percentileAmplitude({trace}, style.clipPercent));
    return clips;
}

}

void drawSection(Canvas& canvas, const Box& box, const std::vector<SectionTrace>& traces, const SectionStyle& style) {
    const Axis time = {style.fromMs, style.toMs, box.top, box.bottom()};
    const Places places = placeTraces(traces, box, style);
    const std::vector<double> clips = clipsOf(traces, style);
    canvas.inside(box, [&] {
        if (style.style == Style::wiggle) drawWiggles(canvas, traces, places, clips, time, style);
        else drawDensity(canvas, traces, places, clips, box, time, style);
    });
    if (style.hasTimeAxis) drawTimeAxis(canvas, box, time);
    drawTraceAxis(canvas, traces, box, places, style);
    drawPicks(canvas, traces, places, box, time, style);
    canvas.frame(box);
    canvas.text(box.left, box.top - titleHeight, style.title, titleSize, Canvas::Anchor::left);
}

void drawSection(Canvas& canvas, const std::vector<SectionTrace>& traces, const SectionStyle& style) {
    const double legend = style.pickNames.empty() ? 0.0 : legendHeight;
    const Box box = {leftMargin, topMargin, canvas.width() - leftMargin - rightMargin,
                     canvas.height() - topMargin - bottomMargin - legend};
    drawSection(canvas, box, traces, style);
}

}
