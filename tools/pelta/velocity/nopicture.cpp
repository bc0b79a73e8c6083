#include "support/failure.h"
#include "velocity/cutpicture.h"
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

struct CutPicture::Inside {};

CutPicture::CutPicture(const std::string& name, int, int, bool) {
    failUsage("--picture {}: this pelta was built without pictures; the grid can be had without it", name);
}
CutPicture::~CutPicture() = default;
void CutPicture::draw(const TimeSlice&, const Field&, const std::string&) {}
void CutPicture::draw(const Section&, const std::string&) {}
void CutPicture::commit() {}

}
