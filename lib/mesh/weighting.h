#ifndef PELTA_LIB_MESH_WEIGHTING_H
#define PELTA_LIB_MESH_WEIGHTING_H

/* One function out of two or three on the same grid, in double precision. */

/* ord = high * weight + low * (1 - weight), where ord comes in as high. */
void mix(float* ord, const float* low, double weight, int count);

/* z1 + (z3 - z1) * f1 + (z2 - z1) * f2. vel may be z1. */
void setPlanes(float* vel, const float* z1, const float* z2, const float* z3, double f1, double f2, int count);

/* The two nearest of three places on a line, at the distances d1, d2 and d3, each weighted by the other's distance. Of places as
 * far the lower is dropped. vel may be z1. */
void weightNearestTwo(float* vel, const float* z1, const float* z2, const float* z3, double d1, double d2, double d3,
                      int count);

#endif
