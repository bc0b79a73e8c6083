#ifndef PELTA_TOOL_GRIDFILE_H
#define PELTA_TOOL_GRIDFILE_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/outputfile.h"

namespace pelta {

/* Values at the nodes of a regular grid. They lie row by row from the top as they lie in a picture, so x grows along a row and
 * y falls from one row to the next. A grid whose rows go down in time or depth has y = -time or y = -depth: then a
 * geographic information system shows it upright, with the surface on top. */
struct Grid {
    std::int64_t columns = 0, rows = 0;
    double left = 0.0, top = 0.0;                 /* x and y of the first value */
    double columnSpacing = 1.0, rowSpacing = 1.0; /* above 0 */
    std::vector<float> values;

    double right() const { return left + static_cast<double>(columns - 1) * columnSpacing; }
    double bottom() const { return top - static_cast<double>(rows - 1) * rowSpacing; }
};

/* The lowest and the highest of a grid's values that are neither NaN nor infinite; the highest lies below where there is none. */
std::pair<double, double> extentOf(const Grid& grid);

/* A grid file, its format told by the name: .asc is an ESRI ASCII grid (with DX and DY where the spacings differ), .bin or .img
 * raw 32-bit floats with an ENVI header under the same name with .hdr. GDAL opens both. NaN and infinities become -9999, or a
 * number with more nines where that is one of the values. Files stand under their names only when they are whole, as with
 * OutputFile. */
class GridFile {
  public:
    /* Fails (UsageError) on other endings, and like OutputFile. */
    GridFile(const std::string& name, bool overwrite);

    /* The whole grid, once. what: says in the header what the values are, without commas and braces. */
    void write(const Grid& grid, const std::string& what);
    void commit();

  private:
    void writeAscii(const Grid& grid, float noData);
    void writeBinary(const Grid& grid, float noData, const std::string& what);

    OutputFile _file;
    std::optional<OutputFile> _header; /* of raw floats */
};

}

#endif
