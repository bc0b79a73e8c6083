#ifndef PELTA_TOOL_OVERLAY_H
#define PELTA_TOOL_OVERLAY_H

#include <string>

#include "pictures/canvas.h"

namespace pelta::pictures {

/* Lines and marks over a coloured raster. */

/* Colours that stand out from those of the scale. */
inline constexpr Color overWhite = {1.0, 1.0, 1.0}, overOrange = {1.0, 0.62, 0.2}, overRed = {1.0, 0.25, 0.35};

/* Draws the pen's path in a colour, on a dark seam that sets it off from a light raster. */
void strokeOver(Canvas& canvas, const Color& color, double width);

inline constexpr double overMarkRadius = 5.0, overWidth = 1.8, overThinWidth = 1.4;

/* To the pen's path. */
void addCircle(Canvas& canvas, double x, double y, double radius);

/* One entry of a legend, a line or a circle with its text; returns where the next begins. */
double drawKey(Canvas& canvas, double x, double y, const Color& color, const std::string& text, bool isCircle);

}

#endif
