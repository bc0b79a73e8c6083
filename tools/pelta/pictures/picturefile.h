#ifndef PELTA_TOOL_PICTUREFILE_H
#define PELTA_TOOL_PICTUREFILE_H

#include <string>

#include "pictures/canvas.h"
#include "support/outputfile.h"

namespace pelta::pictures {

/* A canvas and the file that its picture goes to. What is wrong with the name shows before the work. */
struct PictureFile {
    PictureFile(const std::string& name, int width, int height, bool overwrite)
        : canvas(name, width, height), file(name, overwrite) {}
    Canvas canvas;
    OutputFile file;
};

}

#endif
