#ifndef PELTA_LIB_MESH_RESAMPLEDFUNCTIONS_H
#define PELTA_LIB_MESH_RESAMPLEDFUNCTIONS_H

#include <pelta/trimodel.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

/* The functions of the vertices that were asked for last, on one output grid: locations that follow one another share a face, or
 * two corners of it. Each is kept with the pairs that it was made of, so that it is never taken for what a vertex says no more. */
class ResampledFunctions {
  public:
    ResampledFunctions() = default;
    ~ResampledFunctions() { std::free(_memory); }
    ResampledFunctions(const ResampledFunctions&) = delete;
    ResampledFunctions& operator=(const ResampledFunctions&) = delete;

    /* The function of a vertex at count abscissae; resample(samples) makes those that are not kept. They stay until two other
     * vertices have been asked for. Null where memory cannot be had, and for functions and grids too long to be kept. */
    template <class Resample>
    const float* values(const Vertex* vertex, float first, float spacing, int count, Resample resample) {
        if (vertex->nabs > mostPairs || !useGrid({first, spacing, count})) return nullptr;
        Kept& kept = keptFor(vertex);
        kept.lastUse = ++_uses;
        const std::size_t bytes = 2 * static_cast<std::size_t>(vertex->nabs) * sizeof(float);
        const float* const pairs = vertex->va;
        if (kept.vertex == vertex && kept.pairs == vertex->nabs && std::memcmp(kept.function.data(), pairs, bytes) == 0)
            return kept.samples;
        resample(kept.samples);
        std::memcpy(kept.function.data(), pairs, bytes);
        kept.vertex = vertex;
        kept.pairs = vertex->nabs;
        return kept.samples;
    }

  private:
    static constexpr int mostPairs = 32, mostSamples = 4096, mostKept = 8;
    struct Grid {
        float first, spacing;
        int count;
    };
    struct Kept {
        const Vertex* vertex = nullptr;
        std::uint64_t lastUse = 0;
        float* samples = nullptr;
        int pairs = 0;
        std::array<float, 2 * mostPairs> function;
    };

    bool useGrid(const Grid& grid) {
        if (_memory && std::memcmp(&grid, &_grid, sizeof grid) == 0) return true;
        if (grid.count > mostSamples) return false;
        const auto count = static_cast<std::size_t>(grid.count);
        if (grid.count > _room) {
            std::free(_memory);
            _memory = static_cast<float*>(std::malloc(mostKept * count * sizeof(float)));
            _room = _memory ? grid.count : 0;
        }
        if (!_memory) return false;
        for (std::size_t i = 0; i < mostKept; ++i) {
            _kept[i].vertex = nullptr;
            _kept[i].samples = _memory + i * count;
        }
        _grid = grid;
        return true;
    }

    /* Where the vertex's function is kept, or else the one that has not been used for longest. */
    Kept& keptFor(const Vertex* vertex) {
        for (Kept& kept : _kept)
            if (kept.vertex == vertex) return kept;
        return *std::min_element(_kept.begin(), _kept.end(),
                                 [](const Kept& one, const Kept& other) { return one.lastUse < other.lastUse; });
    }

    std::array<Kept, mostKept> _kept;
    float* _memory = nullptr;
    int _room = 0;
    Grid _grid = {0.0f, 0.0f, 0};
    std::uint64_t _uses = 0;
};

#endif
