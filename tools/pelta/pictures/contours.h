#ifndef PELTA_TOOL_CONTOURS_H
#define PELTA_TOOL_CONTOURS_H

#include <vector>

#include "pictures/axis.h"
#include "pictures/canvas.h"
#include "pictures/raster.h"

namespace pelta::pictures {

/* Lines of equal value through a raster, in the pen's colour and width: straight within each cell of four nodes, as values run
 * linearly along its sides; none in cells with a value that is NaN or infinite. Nothing is drawn outside the box. */
void drawContours(Canvas& canvas, const Box& box, const Axis& across, const Axis& down, const Raster& raster,
                  std::vector<double> levels);

/* Round values from a raster's lowest to its highest, for about count lines; they are multiples of one step. */
std::vector<double> contourLevels(const Raster& raster, int count);
/* All multiples of a step between them; nothing for more than thousands. */
std::vector<double> contourLevels(const Raster& raster, double step);

}

#endif
