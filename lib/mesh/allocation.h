#ifndef PELTA_LIB_MESH_ALLOCATION_H
#define PELTA_LIB_MESH_ALLOCATION_H

#include <pelta/trimodel.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "mesh/modelrecord.h"

/* Where a model's records come from and where they go. Null stands for memory that cannot be had. */

inline void* obtainTracked(triModel& mesh, std::size_t bytes) {
    return recordOf(mesh.model)->store.take(bytes, [&](std::size_t block) {
        return mesh.trimalloc(&mesh.model->tracker, block);
    });
}

/* A record from the pool or from tracked memory. */
inline void* obtain(triModel& mesh, std::size_t bytes) {
    if (mesh.model->npnts < 1) return obtainTracked(mesh, bytes);
    constexpr std::size_t most = std::numeric_limits<int>::max();
    return bytes <= most ? mesh.tri_malloc_mem(static_cast<int>(bytes)) : nullptr;
}

/* What the pool gave stays used. */
inline void giveBack(triModel& mesh, void* record, std::size_t bytes) {
    if (mesh.model->npnts < 1) recordOf(mesh.model)->store.giveBack(record, bytes);
}

template <class Record>
Record* obtainZeroed(triModel& mesh) {
    void* const record = obtain(mesh, sizeof(Record));
    return record ? static_cast<Record*>(std::memset(record, 0, sizeof(Record))) : nullptr;
}

/* More than can be had where the count does not fit the address space. */
inline std::size_t vertexBytes(int pairs) {
    constexpr std::size_t pairBytes = 2 * sizeof(float), most = (PTRDIFF_MAX - sizeof(Vertex)) / pairBytes;
    const auto count = static_cast<std::size_t>(pairs);
    return count <= most ? sizeof(Vertex) + count * pairBytes : SIZE_MAX;
}

inline float* abscissaeOf(const Vertex* vertex) { return const_cast<float*>(vertex->va); }
inline float* ordinatesOf(const Vertex* vertex) { return const_cast<float*>(vertex->va) + vertex->nabs; }

/* A vertex without uses. */
inline Vertex* obtainVertex(triModel& mesh, Coord x, Coord y, const float* abscissae, const float* ordinates, int pairs) {
    auto* vertex = static_cast<Vertex*>(obtain(mesh, vertexBytes(pairs)));
    if (!vertex) return nullptr;
    vertex->vu = nullptr;
    vertex->x = x;
    vertex->y = y;
    vertex->nabs = pairs;
    std::copy_n(abscissae, pairs, abscissaeOf(vertex));
    std::copy_n(ordinates, pairs, ordinatesOf(vertex));
    return vertex;
}

inline void giveBack(triModel& mesh, Vertex* vertex) { giveBack(mesh, vertex, vertexBytes(vertex->nabs)); }

#endif
