#ifndef PELTA_TOOL_TIMEFUNCTION_H
#define PELTA_TOOL_TIMEFUNCTION_H

#include <string>
#include <utility>

#include "flow/linearfunction.h"

namespace pelta {

inline const PairNames timeAndValue = {"time", "ms", "value", ""};

/* A value at every time in ms, linear between given ones and constant beyond them. */
class TimeFunction : public LinearFunction {
  public:
    explicit TimeFunction(double value) : LinearFunction(value) {}
    /* Fails (UsageError), beginning with what, unless the times ascend. */
    TimeFunction(Pairs pairs, const std::string& what) : LinearFunction(std::move(pairs), timeAndValue, what) {}
};

}

#endif
