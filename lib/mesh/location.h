#ifndef PELTA_LIB_MESH_LOCATION_H
#define PELTA_LIB_MESH_LOCATION_H

#include "mesh/modelrecord.h"
#include "mesh/records.h"

/* Which face contains a place. */

/* By the walk of tri_face: the face itself where it does, else the one that the walk from there ends in. */
Face* walkFrom(const Model& model, Face* face, Coord x, Coord y);

/* Sets Fcur to the face of a point inside the square that walkFrom finds from there, by a shorter way. */
FaceRecord* locate(ModelRecord& model, Coord x, Coord y);

/* The corner of the face that stands exactly at a place; null where there is none. */
Vertex* cornerAt(const FaceRecord* face, Coord x, Coord y);

#endif
