#ifndef PELTA_TOOL_BOX_H
#define PELTA_TOOL_BOX_H

#include <algorithm>

namespace pelta::pictures {

/* Colours and places of a picture, for builds without pictures too. */

struct Color {
    double red = 0.0, green = 0.0, blue = 0.0, opacity = 1.0;
};

struct Box {
    double left = 0.0, top = 0.0, width = 0.0, height = 0.0;
    double right() const { return left + width; }
    double bottom() const { return top + height; }
};

/* The largest box of a shape (width over height) in the upper left of a room. */
inline Box boxOfShape(const Box& room, double shape) {
    const double width = std::min(room.width, shape * room.height);
    return {room.left, room.top, width, width / shape};
}

/* The box in a column and row (from 0) of a box divided evenly. */
inline Box tile(const Box& box, int columns, int rows, int column, int row) {
    const double width = box.width / columns, height = box.height / rows;
    return {box.left + column * width, box.top + row * height, width, height};
}

}

#endif
