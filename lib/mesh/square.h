#ifndef PELTA_LIB_MESH_SQUARE_H
#define PELTA_LIB_MESH_SQUARE_H

#include <pelta/trimodel.h>

/* Makes the two faces of a square with these corners, anticlockwise from the south-west; corners receives its vertices, each with
 * a function of 0. False when memory ran out. */
bool makeSquare(triModel& mesh, const Coord* x, const Coord* y, Vertex** corners);

#endif
