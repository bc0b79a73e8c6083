#ifndef PELTA_LIB_MESH_HULL_H
#define PELTA_LIB_MESH_HULL_H

#include "mesh/modelrecord.h"

/* The hull of the points: the vertices that are linked to the corners of the square. */

/* Without points the square has its first two faces alone. */
bool hasPoints(const Model& model);

void releaseRing(ModelRecord& model);

/* Links the hull's vertices into an empty ring, clockwise. False when memory ran out: the ring ends early then. */
bool makeRing(triModel& mesh);

/* The point is outside of one of the hull's sides. */
bool isOutside(const ModelRecord& model, Coord x, Coord y);

/* The nearest vertex of the hull of which a point outside sees a side. */
VertexHull* nearestVisible(const Hull& hull, Coord x, Coord y);

#endif
