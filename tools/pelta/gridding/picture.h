#ifndef PELTA_TOOL_GRIDDING_PICTURE_H
#define PELTA_TOOL_GRIDDING_PICTURE_H

#include <memory>
#include <optional>
#include <string>

#include "gridding/points.h"
#include "grids/gridfile.h"

namespace pelta::gridding {

/* What a map of a surface shows. */
struct Map {
    std::string title, xTitle, yTitle, zTitle;
    double aspect = 1.0;               /* length of a unit of x, in units of y */
    bool isShaded = false;             /* as a relief lit from the upper left */
    std::optional<double> contourStep; /* 0 for no lines; a round number that gives about a dozen where nothing is said */
    bool hasPoints = true;
};

/* A surface as a coloured map with its scale, contour lines and the points that it was made from. */
class MapPicture {
  public:
    /* Fails (UsageError) in a build without pictures, on names that end in no picture's, and like OutputFile. */
    MapPicture(const std::string& name, int width, int height, bool overwrite);
    ~MapPicture();

    void draw(const Map& map, const Grid& grid, const Points& points);
    void commit();

  private:
    struct Inside;
    std::unique_ptr<Inside> _inside;
};

}

#endif
