#include <cstdlib>

#include "pictures/graph.h"
#include "pictures/picturefile.h"
#include "support/failure.h"

namespace pelta::pictures {

/* In a build without cairo nothing is drawn: there is no picture to draw on. */
struct PictureFile::Inside {};
class Canvas {};

PictureFile::PictureFile(const std::string& name, int, int, bool) {
    failUsage("--picture {}: this pelta was built without pictures; everything else can be had without it", name);
}
PictureFile::~PictureFile() = default;
Canvas& PictureFile::canvas() { std::abort(); }
void PictureFile::commit() {}

Box roomForGraphs(const Canvas&) { return {}; }
void drawHeading(Canvas&, const std::string&, const std::vector<Series>&) {}
void drawGraph(Canvas&, const Box&, const Graph&) {}

}
