#ifndef PELTA_TOOL_VELOCITY_ANALYSISPICTURE_H
#define PELTA_TOOL_VELOCITY_ANALYSISPICTURE_H

#include <optional>
#include <string>
#include <vector>

#include "velocity/picking.h"

namespace pelta::pictures {
class Canvas;
}

namespace pelta::velocity {

/* What a picture of an analysis shows. */
struct Analysis {
    std::string title;
    Gather gather;
    Panel panel;
    std::vector<Pick> picks;
    float stretch = 0.3f;              /* mute of the gather after moveout */
    std::optional<TimeFunction> truth; /* stacking velocities that are known */
};

/* Draws the gather, its panel with the picked function and the interval velocities over it, and the gather after moveout. */
void drawAnalysis(pictures::Canvas& canvas, const Analysis& analysis);

}

#endif
