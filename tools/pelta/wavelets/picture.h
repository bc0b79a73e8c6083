#ifndef PELTA_TOOL_WAVELETS_PICTURE_H
#define PELTA_TOOL_WAVELETS_PICTURE_H

#include "pictures/graph.h"
#include "wavelets/design.h"

namespace pelta::wavelets {

/* Draws the wavelets and their spectra, and below them the shaping filter at work. */
void drawDesign(pictures::Canvas& canvas, const Design& design);

}

#endif
