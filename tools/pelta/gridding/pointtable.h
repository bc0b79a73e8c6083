#ifndef PELTA_TOOL_GRIDDING_POINTTABLE_H
#define PELTA_TOOL_GRIDDING_POINTTABLE_H

#include <string>

#include "gridding/points.h"
#include "support/textlines.h"

namespace pelta::gridding {

/* Which columns hold the points: each by its heading, or by its number from 1 on. */
struct Columns {
    std::string x = "1", y = "2", z = "3";
};

/* Points out of a text file, one a line: numbers between commas, semicolons, tabs or blanks, whichever the first line has. The
 * first line may hold headings; empty lines and lines that begin with # are passed over, and a line whose value is empty holds
 * none. */
class PointTable {
  public:
    /* Opens the file, - is standard input: no output can take its place from now on. */
    explicit PointTable(const std::string& fileName) : _lines(fileName) {}
    /* The whole file, once. Fails (Failure) with file and line where a line cannot be understood, and on numbers that are not
     * finite. */
    PointSet read(const Columns& columns);

  private:
    TextLines _lines;
};

}

#endif
