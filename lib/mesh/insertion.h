#ifndef PELTA_LIB_MESH_INSERTION_H
#define PELTA_LIB_MESH_INSERTION_H

#include <pelta/trimodel.h>

#include "mesh/records.h"

/* Joins a new vertex to the corners of the face that contains it, with the records of the addition, and makes the mesh a
 * Delaunay mesh again. */
void insert(triModel& mesh, FaceRecord* face, Vertex* vertex, Addition& addition);

/* Flips the side of a face that lies opposite its corner (x, y), and all that come to lie so, as long as the circle behind
 * holds the corner. */
void flipRound(triModel& mesh, FaceRecord* face, Coord x, Coord y);

#endif
