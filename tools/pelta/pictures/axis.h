#ifndef PELTA_TOOL_AXIS_H
#define PELTA_TOOL_AXIS_H

#include <string>
#include <vector>

#include "pictures/canvas.h"

namespace pelta::pictures {

/* A value mapped to a coordinate of the picture along a straight line. */
struct Axis {
    double firstValue, lastValue;
    double firstPlace, lastPlace;
    double place(double value) const {
        return firstPlace + (value - firstValue) / (lastValue - firstValue) * (lastPlace - firstPlace);
    }
};

/* Of the ticks on every side of a box; and the room for one beside an upright axis. */
inline constexpr double tickLength = 5.0, spacePerTick = 40.0;

/* Round values (1, 2 or 5 times a power of ten apart) between the axis's ends, at most atMost of them. */
std::vector<double> niceTicks(double from, double to, int atMost);
/* The number as short as it can be said. */
std::string tickText(double value);

/* Values along the left side of a box: ticks, numbers, the title, and thin lines across. */
void drawLeftAxis(Canvas& canvas, const Box& box, const Axis& values, const std::string& title);
/* The same along the bottom. */
void drawBottomAxis(Canvas& canvas, const Box& box, const Axis& values, const std::string& title);
/* Time down the left side of a box. */
void drawTimeAxis(Canvas& canvas, const Box& box, const Axis& timeMs);
/* Values along the top of a box: ticks and numbers. */
void drawTopAxis(Canvas& canvas, const Box& box, const Axis& values);

}

#endif
