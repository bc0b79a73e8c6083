#ifndef PELTA_LIB_MESH_RESAMPLING_H
#define PELTA_LIB_MESH_RESAMPLING_H

#include <cstddef>
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

/* tri_interpolate, with the abscissae of a model; null where there is none. */
void resample(AbscissaChain* chain, const float* xin, const float* yin, int n, float xs, float xi, int ny, float* y);

#endif
