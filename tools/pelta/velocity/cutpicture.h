#ifndef PELTA_TOOL_VELOCITY_CUTPICTURE_H
#define PELTA_TOOL_VELOCITY_CUTPICTURE_H

#include <memory>
#include <string>

#include "velocity/cut.h"

namespace pelta::velocity {

/* Velocities in colours, pale outside the hull of the functions, with the functions, the triangles between them and the hull
 * drawn over them. */
class CutPicture {
  public:
    /* Fails (UsageError) in a build without pictures, on names that end in no picture's, and like OutputFile. */
    CutPicture(const std::string& name, int width, int height, bool overwrite);
    ~CutPicture();

    void draw(const TimeSlice& slice, const Field& field, const std::string& title);
    void draw(const Section& section, const std::string& title);
    void commit();

  private:
    struct Inside;
    std::unique_ptr<Inside> _inside;
};

}

#endif
