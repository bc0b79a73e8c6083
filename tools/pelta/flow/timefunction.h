#ifndef PELTA_TOOL_TIMEFUNCTION_H
#define PELTA_TOOL_TIMEFUNCTION_H

#include <string>

#include "flow/parameters.h"

namespace pelta {

/* A value at every time, linear between given ones and constant beyond them. */
class TimeFunction {
  public:
    explicit TimeFunction(double value) : _pairs{{0.0, value}} {}
    /* Fails (UsageError), beginning with what, unless the times ascend. */
    TimeFunction(Pairs pairs, const std::string& what);

    double at(double timeMs) const;
    double smallestValue() const;

  private:
    Pairs _pairs;
};

/* A CSV file with a time in ms and a value a line; a first line of words and lines that begin with # are passed over. Fails
 * (UsageError) with file and line. */
TimeFunction readTimeFunction(const std::string& fileName);

}

#endif
