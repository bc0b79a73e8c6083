#ifndef PELTA_TOOL_SECTION_H
#define PELTA_TOOL_SECTION_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "pictures/canvas.h"

namespace pelta::pictures {

struct SectionTrace {
    std::vector<float> samples;
    double startMs = 0.0;   /* time of the first sample */
    double axisValue = 0.0; /* what the horizontal axis says of it */
    std::int64_t record = 0;
    std::vector<double> pickTimesMs; /* one for each set of picks; NaN for none */
};

enum class Style { wiggle, density };
enum class Palette { gray, seismic };

struct SectionStyle {
    Style style = Style::wiggle;
    Palette palette = Palette::gray;
    double clipPercent = 99.0;                /* amplitudes above this share of all live ones are clipped */
    std::optional<double> clipAmplitude = {}; /* or above this one */
    double gain = 1.0;                        /* times the clip: widths of a wiggle beyond a trace's place */
    double fromMs = 0.0, toMs = 0.0;
    double intervalMs = 1.0;
    bool separatesRecords = false;
    bool hasTimeAxis = true;
    bool balancesTraces = false; /* clip every trace by its own amplitudes instead of by all */
    std::string title, axisTitle;
    std::vector<std::string> pickNames;
};

/* The amplitude that percent of the non-zero finite samples do not exceed; 1 when there are none. */
double percentileAmplitude(const std::vector<SectionTrace>& traces, double percent);

/* Draws traces side by side in a box, time down; a gap and a heading separate records. The axes, the title and the legend of
 * picks stand around the box. */
void drawSection(Canvas& canvas, const Box& box, const std::vector<SectionTrace>& traces, const SectionStyle& style);
/* The same with a canvas of its own. */
void drawSection(Canvas& canvas, const std::vector<SectionTrace>& traces, const SectionStyle& style);

}

#endif
