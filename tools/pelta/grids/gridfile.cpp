#include "grids/gridfile.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>

#include "support/failure.h"

namespace pelta {
namespace {

bool isAscii(const std::string& name) { return name.ends_with(".asc"); }

/* The name itself where it tells a format. */
const std::string& checkedName(const std::string& name) {
    if (!isAscii(name) && !name.ends_with(".bin") && !name.ends_with(".img"))
        failUsage("{}: a grid's name must end in .asc (text), or in .bin or .img (floats with a header beside them)", name);
    return name;
}

std::string headerName(const std::string& name) { return std::filesystem::path(name).replace_extension(".hdr").string(); }

/* Stands for no value. */
float noDataOf(const Grid& grid) {
    float number = -9999.0f;
    while (std::isfinite(number) && std::find(grid.values.begin(), grid.values.end(), number) != grid.values.end())
        number = 10.0f * number - 9.0f;
    return number;
}

float filed(float value, float noData) { return std::isfinite(value) ? value : noData; }

}

std::pair<double, double> extentOf(const Grid& grid) {
    std::pair<double, double> extent = {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
    for (float value : grid.values)
        if (std::isfinite(value)) extent = {std::min<double>(extent.first, value), std::max<double>(extent.second, value)};
    return extent;
}

GridFile::GridFile(const std::string& name, bool overwrite) : _file(checkedName(name), overwrite) {
    if (!isAscii(name)) _header.emplace(headerName(name), overwrite);
}

void GridFile::writeAscii(const Grid& grid, float noData) {
    std::string text =
        fmt::format("ncols {}\nnrows {}\nxllcenter {}\nyllcenter {}\n", grid.columns, grid.rows, grid.left, grid.bottom());
    if (grid.columnSpacing == grid.rowSpacing) text += fmt::format("cellsize {}\n", grid.columnSpacing);
    else text += fmt::format("dx {}\ndy {}\n", grid.columnSpacing, grid.rowSpacing);
    text += fmt::format("NODATA_value {}\n", noData);
    _file.write(text);
    for (std::int64_t row = 0; row < grid.rows; ++row) {
        text.clear();
        for (std::int64_t column = 0; column < grid.columns; ++column)
            text += fmt::format("{}{}", filed(grid.values[static_cast<std::size_t>(row * grid.columns + column)], noData),
                                column + 1 < grid.columns ? ' ' : '\n');
        _file.write(text);
    }
}

/* Pixel 1.5 of the header's map info is the middle of the first one. */
void GridFile::writeBinary(const Grid& grid, float noData, const std::string& what) {
    constexpr int ieeeSingle = 4, littleEndian = 0;
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);
    _header->write(
        fmt::format("ENVI\ndescription = {{{}}}\nsamples = {}\nlines = {}\nbands = 1\nheader offset = 0\n"
                    "file type = ENVI Standard\ndata type = {}\ninterleave = bsq\nbyte order = {}\n"
                    "map info = {{Arbitrary, 1.5, 1.5, {}, {}, {}, {}}}\ndata ignore value = {}\n"
                    "band names = {{{}}}\n",
                    what, grid.columns, grid.rows, ieeeSingle, littleEndian, grid.left, grid.top, grid.columnSpacing,
                    grid.rowSpacing, noData, what));
    std::vector<float> row(static_cast<std::size_t>(grid.columns));
    for (std::int64_t first = 0; first < grid.rows * grid.columns; first += grid.columns) {
        for (std::size_t k = 0; k < row.size(); ++k) row[k] = filed(grid.values[static_cast<std::size_t>(first) + k], noData);
        _file.write(row.data(), row.size() * sizeof(float));
    }
}

void GridFile::write(const Grid& grid, const std::string& what) {
    const float noData = noDataOf(grid);
    if (_header) writeBinary(grid, noData, what);
    else writeAscii(grid, noData);
}

void GridFile::commit() {
    if (_header) _header->commit();
    _file.commit();
}

}
