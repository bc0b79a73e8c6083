#ifndef PELTA_TOOL_GRIDDING_PICTURE_H
#define PELTA_TOOL_GRIDDING_PICTURE_H

#include <optional>
#include <string>

#include "gridding/points.h"
#include "grids/gridfile.h"

namespace pelta::pictures {
class Canvas;
}

namespace pelta::gridding {

/* What a map of a surface shows. */
struct Map {
    std::string title, xTitle, yTitle, zTitle;
    double aspect = 1.0;               /* length of a unit of x, in units of y */
    bool isShaded = false;             /* as a relief lit from the upper left */
    std::optional<double> contourStep; /* 0 for no lines; a round number that gives about a dozen where nothing is said */
    bool hasPoints = true;
};

/* Draws a surface as a coloured map with its scale, contour lines and the points that it was made from. */
void drawMap(pictures::Canvas& canvas, const Map& map, const Grid& grid, const Points& points);

}

#endif
