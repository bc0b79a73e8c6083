#include "gridding/picture.h"
#include "support/failure.h"

namespace pelta::gridding {

/* In a build without cairo. */
struct MapPicture::Inside {};

MapPicture::MapPicture(const std::string& name, int, int, bool) {
    failUsage("--picture {}: this pelta was built without pictures; the grid and the report can be had without it", name);
}
MapPicture::~MapPicture() = default;
void MapPicture::draw(const Map&, const Grid&, const Points&) {}
void MapPicture::commit() {}

}
