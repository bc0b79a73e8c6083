#ifndef PELTA_TESTS_PIXELS_H
#define PELTA_TESTS_PIXELS_H

#include <cstdint>

#include "pictures/canvas.h"

/* Red, green and blue of a point of a picture that becomes PNG. */
inline std::uint32_t pixel(pelta::pictures::Canvas& canvas, int x, int y) {
    cairo_surface_t* surface = cairo_get_target(canvas.pen());
    cairo_surface_flush(surface);
    const unsigned char* row = cairo_image_surface_get_data(surface) + y * cairo_image_surface_get_stride(surface);
    return reinterpret_cast<const std::uint32_t*>(row)[x] & 0xFFFFFF;
}

#endif
