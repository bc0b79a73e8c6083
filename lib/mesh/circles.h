#ifndef PELTA_LIB_MESH_CIRCLES_H
#define PELTA_LIB_MESH_CIRCLES_H

#include "vectorize.h"

/* The circle through three places. ahead - aside is twice the area of their triangle, negative where they go clockwise; where it
 * is 0 they lie on a line, and there is no circle. */
struct Circle {
    double ahead, aside, xc, yc, rs;
};

PELTA_INLINE Circle circleThrough(double x1, double y1, double x2, double y2, double x3, double y3) {
    const double a = x2 - x1, b = x3 - x1;
    const double ahead = (y3 - y1) * a, aside = (y2 - y1) * b;
    const double c = x1 * x1 + y1 * y1;
    const double h2 = (x2 * x2 + y2 * y2 - c) * 0.5;
    const double h3 = (x3 * x3 + y3 * y3 - c) * 0.5;
    const double yc = (a * h3 - b * h2) / (ahead - aside);
    const double above = a == 0.0 ? h3 - yc * (y3 - y1) : h2 - yc * (y2 - y1);
    const double xc = above / (a == 0.0 ? b : a);
    return {ahead, aside, xc, yc, (x1 - xc) * (x1 - xc) + (y1 - yc) * (y1 - yc)};
}

#endif
