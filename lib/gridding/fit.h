#ifndef PELTA_LIB_GRIDDING_FIT_H
#define PELTA_LIB_GRIDDING_FIT_H

#include <pelta/gmtsurface.h>

/* How well a surface fits its points, and how much it bends: what GMT1check_errors prints. */
struct Fit {
    double meanError, rmsError, curvature;
};

Fit fitOf(const SURFACE_INFO& s);

#endif
