#ifndef PELTA_LIB_MESH_FACEGRID_H
#define PELTA_LIB_MESH_FACEGRID_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <utility>

#include "mesh/records.h"

/* Knows a face near any place, so that a location need not walk across the whole mesh. Cells over the box of the points, each
 * with a face of the last point that was added in it: later points split and turn the face, but it stays thereabouts. When the
 * points have doubled or have left the box, new cells are laid; where one of them is still empty the former ones answer. Memory
 * that cannot be had only makes locations slower. */
class FaceGrid {
  public:
    /* A point has been added, and the face has it for a corner. */
    void add(Coord x, Coord y, FaceRecord* face) {
        _points.include(x, y);
        const bool hasLeft = _layings > 0 && !present().covers(x, y);
        if (++_count >= _nextLayingAt || hasLeft) layCells(hasLeft);
        if (_layings > 0) present().cell(x, y) = face;
    }

    /* True where a walk from one place to another is no longer than one from what near() would find. */
    bool isNear(Coord fromX, Coord fromY, Coord x, Coord y) const {
        return _layings == 0 || (std::abs(x - fromX) <= _shortX && std::abs(y - fromY) <= _shortY);
    }

    /* Null where there is none. */
    FaceRecord* near(Coord x, Coord y) const {
        for (int i = _layings; i-- > 0;)
            if (FaceRecord* face = _cells[i].near(x, y)) return face;
        return nullptr;
    }

  private:
    struct Box {
        double left = std::numeric_limits<double>::max(), right = std::numeric_limits<double>::lowest();
        double bottom = std::numeric_limits<double>::max(), top = std::numeric_limits<double>::lowest();

        void include(Coord x, Coord y) {
            left = std::min(left, x);
            right = std::max(right, x);
            bottom = std::min(bottom, y);
            top = std::max(top, y);
        }
        double width() const { return right - left; }
        double height() const { return top - bottom; }
    };

    class Cells {
      public:
        Cells() = default;
        ~Cells() { std::free(_faces); }
        Cells(const Cells&) = delete;
        Cells(Cells&& other) noexcept : Cells() { swap(other); }
        Cells& operator=(Cells other) noexcept {
            swap(other);
            return *this;
        }

        /* About count cells, nearly square ones. */
        Cells(const Box& box, std::size_t count) : _box(box) {
            const double all = static_cast<double>(count);
            const double ratio = box.height() > 0.0 ? std::sqrt(all * box.width() / box.height()) : all;
            _columns = static_cast<std::size_t>(std::clamp(ratio, 1.0, all));
            _rows = std::max<std::size_t>(count / _columns, 1);
            _perX = cellsPerUnit(_columns, box.width());
            _perY = cellsPerUnit(_rows, box.height());
            _faces = static_cast<FaceRecord**>(std::calloc(_columns * _rows, sizeof(FaceRecord*)));
        }

        bool isLaid() const { return _faces; }
        bool covers(Coord x, Coord y) const { return x >= _box.left && x <= _box.right && y >= _box.bottom && y <= _box.top; }
        /* Places outside the box belong to the cells at its rim. */
        FaceRecord*& cell(Coord x, Coord y) const {
            return _faces[index(y - _box.bottom, _perY, _rows) * _columns + index(x - _box.left, _perX, _columns)];
        }
        /* From the place's own cell or from one beside it. */
        FaceRecord* near(Coord x, Coord y) const {
            const std::size_t column = index(x - _box.left, _perX, _columns), row = index(y - _box.bottom, _perY, _rows);
            FaceRecord* const* const own = _faces + row * _columns + column;
            if (*own) return *own;
            if (column > 0 && own[-1]) return own[-1];
            if (column + 1 < _columns && own[1]) return own[1];
            if (row > 0 && *(own - _columns)) return *(own - _columns);
            return row + 1 < _rows ? own[_columns] : nullptr;
        }
        double lengthX() const { return length(_perX); }
        double lengthY() const { return length(_perY); }

      private:
        static double cellsPerUnit(std::size_t cells, double length) {
            const double rate = static_cast<double>(cells) / length;
            return std::isfinite(rate) ? rate : 0.0;
        }
        static double length(double perUnit) { return perUnit > 0.0 ? 1.0 / perUnit : std::numeric_limits<double>::max(); }
        static std::size_t index(double distance, double cellsPerUnit, std::size_t count) {
            return static_cast<std::size_t>(std::clamp(distance * cellsPerUnit, 0.0, static_cast<double>(count - 1)));
        }
        void swap(Cells& other) {
            std::swap(_box, other._box);
            std::swap(_perX, other._perX);
            std::swap(_perY, other._perY);
            std::swap(_columns, other._columns);
            std::swap(_rows, other._rows);
            std::swap(_faces, other._faces);
        }

        Box _box;
        double _perX = 0.0, _perY = 0.0;
        std::size_t _columns = 0, _rows = 0;
        FaceRecord** _faces = nullptr;
    };

    static constexpr std::size_t firstLayingAt = 64, refinement = 2;
    static constexpr int mostLayings = 32;
    static constexpr double shortWalk = 3.0; /* cells */

    /* Two cells a point. Points that have left the box will go on in that direction: there is room left for them. */
    void layCells(bool withMargin) {
        Box box = _points;
        if (withMargin) {
            const double marginX = 0.5 * box.width(), marginY = 0.5 * box.height();
            box.left -= marginX;
            box.right += marginX;
            box.bottom -= marginY;
            box.top += marginY;
        }
        _nextLayingAt = std::max(firstLayingAt, refinement * _count);
        Cells cells(box, 2 * _count);
        if (!cells.isLaid()) return;
        if (_layings == mostLayings) {
            std::move(_cells.begin() + 1, _cells.end(), _cells.begin());
            --_layings;
        }
        _cells[_layings++] = std::move(cells);
        _shortX = shortWalk * present().lengthX();
        _shortY = shortWalk * present().lengthY();
    }
    Cells& present() { return _cells[_layings - 1]; }

    Box _points;
    std::array<Cells, mostLayings> _cells;
    int _layings = 0;
    std::size_t _count = 0, _nextLayingAt = firstLayingAt;
    double _shortX = 0.0, _shortY = 0.0;
};

#endif
