#include "gridding/picture.h"

namespace pelta::gridding {

/* In a build without cairo (see pictures/nopictures.cpp). */
void drawMap(pictures::Canvas&, const Map&, const Grid&, const Points&) {}

}
