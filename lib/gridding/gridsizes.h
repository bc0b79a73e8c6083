#ifndef PELTA_LIB_GRIDDING_GRIDSIZES_H
#define PELTA_LIB_GRIDDING_GRIDSIZES_H

#include <pelta/gmtsurface.h>

/* Which sizes of a grid are quick to work on: those with many common factors. */

/* Cost of gridding nx by ny nodes, in node visits of its own kind; factors [32] is scratch. */
double griddingCost(int* factors, int nx, int ny);

/* The best of the sizes that were added, best first; of equal ones the first added. */
class Suggestions {
  public:
    void add(const SURFACE_SUGGESTION& suggestion);
    const SURFACE_SUGGESTION* begin() const { return _best; }
    const SURFACE_SUGGESTION* end() const { return _best + _count; }

  private:
    static constexpr int most = 10;
    SURFACE_SUGGESTION _best[most];
    int _count = 0;
};

/* Sizes of the form 2^a 3^b 5^c, a >= 1, up to twice as large, that cost less; factors as above. */
Suggestions quickerSizes(int* factors, int nx, int ny);

#endif
