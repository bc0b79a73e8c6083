#include "pictures/graph.h"
#include "support/failure.h"

namespace pelta::pictures {

/* In a build without cairo. */
struct GraphPicture::Inside {};

GraphPicture::GraphPicture(const std::string& name, int, int, bool) {
    failUsage("--picture {}: this pelta was built without pictures; everything else can be had without it", name);
}
GraphPicture::~GraphPicture() = default;
Box GraphPicture::room() const { return {}; }
void GraphPicture::heading(const std::string&, const std::vector<Series>&) {}
void GraphPicture::draw(const Box&, const Graph&) {}
void GraphPicture::commit() {}

}
