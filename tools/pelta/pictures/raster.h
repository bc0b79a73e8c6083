#ifndef PELTA_TOOL_RASTER_H
#define PELTA_TOOL_RASTER_H

#include <string>
#include <vector>

#include "grids/gridfile.h"
#include "pictures/axis.h"
#include "pictures/canvas.h"

namespace pelta::pictures {

/* Values at the nodes of a regular grid, row by row from the first; nothing is drawn where a value is NaN or infinite. */
struct Raster {
    int columns = 0, rows = 0;
    std::vector<float> values;
    double firstColumn = 0.0, columnSpacing = 1.0; /* where the nodes stand on the horizontal axis */
    double firstRow = 0.0, rowSpacing = 1.0;       /* and on the vertical one */
    double lowest = 0.0, highest = 1.0;            /* values at the ends of the colour scale */
};

/* The values along both sides of a box whose edges are a grid's outer nodes. */
struct MapAxes {
    Axis across, down;
};
MapAxes axesOf(const Grid& grid, const Box& box);

/* A grid as it lies on paper, its colours from its lowest value to its highest. */
Raster rasterOf(const Grid& grid);

/* The colour of a value, share (0 .. 1) of the way up the scale: even steps look evenly apart, on paper without colours too. */
Color scaleColor(double share);

/* Colours a box with the raster, linear between its nodes, as far as the axes and half a spacing beyond the outer nodes go. */
void drawRaster(Canvas& canvas, const Box& box, const Axis& across, const Axis& down, const Raster& raster);
/* The same as a relief: values are heights, lit from the upper left; steeper than usual is no brighter than white. */
void drawShadedRaster(Canvas& canvas, const Box& box, const Axis& across, const Axis& down, const Raster& raster);

/* The place of a colour scale on the right of a box. */
Box scaleBeside(const Box& box, double gap);
/* The colour scale as an upright bar with ticks and the title on its right. */
void drawScaleBar(Canvas& canvas, const Box& bar, double lowest, double highest, const std::string& title);

}

#endif
