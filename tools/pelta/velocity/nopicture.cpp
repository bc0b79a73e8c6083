#include "velocity/analysispicture.h"
#include "velocity/cutpicture.h"

namespace pelta::velocity {

/* In a build without cairo (see pictures/nopictures.cpp). */
void drawAnalysis(pictures::Canvas&, const Analysis&) {}
void drawCut(pictures::Canvas&, const TimeSlice&, const Field&, const std::string&) {}
void drawCut(pictures::Canvas&, const Section&, const std::string&) {}

}
