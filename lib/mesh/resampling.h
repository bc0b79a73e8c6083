#ifndef PELTA_LIB_MESH_RESAMPLING_H
#define PELTA_LIB_MESH_RESAMPLING_H

#include <pelta/trimodel.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

/* The abscissae of an output grid. Each is the one before plus the spacing, rounded to single precision, so they are formed one
 * after the other; they are kept as long as the grid stays the same. */
class AbscissaChain {
  public:
    AbscissaChain() = default;
    ~AbscissaChain() { std::free(_values); }
    AbscissaChain(const AbscissaChain&) = delete;
    AbscissaChain& operator=(const AbscissaChain&) = delete;

    /* At least count abscissae from first on; null where memory cannot be had. */
    const float* values(float first, float spacing, int count) {
        const bool isSame = _count > 0 && std::memcmp(&first, &_first, sizeof first) == 0 &&
                            std::memcmp(&spacing, &_spacing, sizeof spacing) == 0;
        if (isSame && count <= _count) return _values;
        if (!hasRoomFor(count)) return nullptr;
        _first = first;
        _spacing = spacing;
        _count = count;
        float abscissa = first;
        for (int i = 0; i < count; ++i) {
            _values[i] = abscissa;
            abscissa += spacing;
        }
        return _values;
    }

  private:
    bool hasRoomFor(int count) {
        if (count <= _room) return true;
        float* values = static_cast<float*>(std::malloc(static_cast<std::size_t>(count) * sizeof(float)));
        if (!values) return false;
        std::free(_values);
        _values = values;
        _room = count;
        _count = 0;
        return true;
    }

    float* _values = nullptr;
    int _room = 0, _count = 0;
    float _first = 0.0f, _spacing = 0.0f;
};

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
        Kept& kept = placeOf(vertex);
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
    Kept& placeOf(const Vertex* vertex) {
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
