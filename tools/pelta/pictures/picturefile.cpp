#include "pictures/picturefile.h"

#include "pictures/canvas.h"
#include "support/outputfile.h"

namespace pelta::pictures {

struct PictureFile::Inside {
    Inside(const std::string& name, int width, int height, bool overwrite)
        : canvas(name, width, height), file(name, overwrite) {}
    Canvas canvas;
    OutputFile file;
};

PictureFile::PictureFile(const std::string& name, int width, int height, bool overwrite)
    : _inside(std::make_unique<Inside>(name, width, height, overwrite)) {}

PictureFile::~PictureFile() = default;

Canvas& PictureFile::canvas() { return _inside->canvas; }

void PictureFile::commit() {
    _inside->canvas.write(_inside->file);
    _inside->file.commit();
}

}
