#ifndef PELTA_TOOL_LINEARFUNCTION_H
#define PELTA_TOOL_LINEARFUNCTION_H

#include <string>

#include "flow/parameters.h"

namespace pelta {

/* What the pairs of a table are, for messages: a key in its unit and a value in its unit. */
struct PairNames {
    std::string key, keyUnit;
    std::string value, valueUnit;
};

inline const PairNames offsetAndTime = {"offset", "m", "time", "ms"};

/* A value at every key, linear between given ones and constant beyond them. */
class LinearFunction {
  public:
    explicit LinearFunction(double value) : _pairs{{0.0, value}} {}
    /* Fails (UsageError), beginning with what, unless there are pairs whose keys ascend. */
    LinearFunction(Pairs pairs, const PairNames& names, const std::string& what);

    double at(double key) const;
    const Pairs& pairs() const { return _pairs; }
    double smallestKey() const { return _pairs.front().first; }
    double smallestValue() const;
    /* The key makes no difference. */
    bool isConstant() const;

  private:
    Pairs _pairs;
};

/* A CSV file with a pair of numbers a line, in any order; a first line of words and lines that begin with # are passed over.
 * Fails (UsageError) with file and line, and (Failure) where the file cannot be read. */
Pairs readPairs(const std::string& fileName, const PairNames& names);

}

#endif
