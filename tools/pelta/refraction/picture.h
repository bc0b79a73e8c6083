#ifndef PELTA_TOOL_REFRACTION_PICTURE_H
#define PELTA_TOOL_REFRACTION_PICTURE_H

#include <string>
#include <vector>

#include "pictures/graph.h"
#include "refraction/branch.h"

namespace pelta::refraction {

/* Draws times against offset with the fitted lines, record by record (some, evenly chosen, where there are many), and below
 * them the velocities and intercepts of all records. */
void drawBranches(pictures::Canvas& canvas, const std::string& title, const std::vector<Branch>& branches,
                  const Settings& settings);

}

#endif
