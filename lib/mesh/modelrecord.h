#ifndef PELTA_LIB_MESH_MODELRECORD_H
#define PELTA_LIB_MESH_MODELRECORD_H

#include <pelta/trimodel.h>

#include <cstddef>

#include "mesh/facegrid.h"
#include "mesh/hullsides.h"
#include "mesh/recordstore.h"
#include "mesh/resampledfunctions.h"
#include "mesh/resampling.h"

/* A model with what keeps it fast behind the published part. */
struct ModelRecord : Model {
    RecordStore store;
    FaceGrid grid;
    AbscissaChain abscissae;
    ResampledFunctions functions;
    HullSides sides;
    std::size_t flatFaces = 0;
    bool hadTurnedFaces = false; /* flat ones, the wrong way round */
};

inline ModelRecord* recordOf(Model* model) { return static_cast<ModelRecord*>(model); }

#endif
