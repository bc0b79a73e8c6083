#include "support/failure.h"
#include "velocity/picture.h"

namespace pelta::velocity {

/* In a build without cairo. */
struct AnalysisPicture::Inside {};

AnalysisPicture::AnalysisPicture(const std::string& name, int, int, bool) {
    failUsage("--picture {}: this pelta was built without pictures; the picks and the panel can be had without it", name);
}
AnalysisPicture::~AnalysisPicture() = default;
void AnalysisPicture::draw(const Analysis&) {}
void AnalysisPicture::commit() {}

}
