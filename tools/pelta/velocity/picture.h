#ifndef PELTA_TOOL_VELOCITY_PICTURE_H
#define PELTA_TOOL_VELOCITY_PICTURE_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/outputfile.h"
#include "velocity/picking.h"

namespace pelta::velocity {

/* What a picture of an analysis shows. */
struct Analysis {
    std::string title;
    Gather gather;
    Panel panel;
    std::vector<Pick> picks;
    float stretch = 0.3f;              /* mute of the gather after moveout */
    std::optional<TimeFunction> truth; /* stacking velocities that are known */
};

/* The gather, its panel with the picked function and the interval velocities over it, and the gather after moveout. */
class AnalysisPicture {
  public:
    /* Fails (UsageError) in a build without pictures, on names that end in no picture's, and like OutputFile. */
    AnalysisPicture(const std::string& name, int width, int height, bool overwrite);
    ~AnalysisPicture();

    void draw(const Analysis& analysis);
    void commit();

  private:
    struct Inside;
    std::unique_ptr<Inside> _inside;
};

}

#endif
