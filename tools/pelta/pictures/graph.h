#ifndef PELTA_TOOL_GRAPH_H
#define PELTA_TOOL_GRAPH_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "pictures/box.h"

namespace pelta::pictures {

class Canvas;

enum class Mark { none, dot, ring, cross, bar };
enum class Stroke { none, solid, dashed };

/* Values y over x, drawn in order. A point with a NaN or infinity is left out, and interrupts the curve. */
struct Series {
    std::string name = {}; /* in the legend; series without a name, and all but the first of a name, are left out of it */
    std::vector<double> x = {}, y = {};
    std::vector<double> errors = {}; /* above and below y, one a point; none when empty */
    Color color = {};
    Stroke stroke = Stroke::none;
    Mark mark = Mark::none; /* a bar reaches from y = 0 */
};

/* From and to, for an axis that is not to follow the values. */
using Range = std::pair<double, double>;

struct Graph {
    std::string title;
    std::string xTitle, yTitle; /* with units: "offset, m" */
    std::vector<Series> series;
    std::optional<Range> xRange, yRange;
    bool growsDown = false; /* y, as times of arrivals do */
};

/* Colours that are told apart by those who see no red or no green too (Okabe & Ito, Color Universal Design, 2008). */
inline constexpr Color black = {0.0, 0.0, 0.0}, gray = {0.6, 0.6, 0.6}, blue = {0.0, 0.45, 0.7}, vermilion = {0.84, 0.37, 0.0},
                       green = {0.0, 0.62, 0.45}, purple = {0.8, 0.47, 0.65};

/* Draws a graph with its title, legend, axes and numbers inside a box. The legend stands above the values, so that it hides
 * none. */
void drawGraph(Canvas& canvas, const Box& box, const Graph& graph);

/* A picture of several graphs: a title over all of them, with names that hold in all, and the room below it. */
void drawHeading(Canvas& canvas, const std::string& title, const std::vector<Series>& legend = {});
Box roomForGraphs(const Canvas& canvas);

}

#endif
