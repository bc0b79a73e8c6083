#ifndef PELTA_TOOL_VELOCITY_CUTPICTURE_H
#define PELTA_TOOL_VELOCITY_CUTPICTURE_H

#include <string>

#include "velocity/cut.h"

namespace pelta::pictures {
class Canvas;
}

namespace pelta::velocity {

/* Draw velocities in colours, pale outside the hull of the functions, with the functions, the triangles between them and the
 * hull over them. */
void drawCut(pictures::Canvas& canvas, const TimeSlice& slice, const Field& field, const std::string& title);
void drawCut(pictures::Canvas& canvas, const Section& section, const std::string& title);

}

#endif
