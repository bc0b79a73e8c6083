#include "pictures/overlay.h"

#include <cmath>

namespace pelta::pictures {

void strokeOver(Canvas& canvas, const Color& color, double width) {
    canvas.setColor({0.0, 0.0, 0.0, 0.7});
    cairo_set_line_width(canvas.pen(), width + 1.6);
    cairo_stroke_preserve(canvas.pen());
    canvas.setColor(color);
    cairo_set_line_width(canvas.pen(), width);
    cairo_stroke(canvas.pen());
}

void addCircle(Canvas& canvas, double x, double y, double radius) {
    cairo_new_sub_path(canvas.pen());
    cairo_arc(canvas.pen(), x, y, radius, 0.0, 2.0 * M_PI);
}

double drawKey(Canvas& canvas, double x, double y, const Color& color, const std::string& text, bool isCircle) {
    constexpr double length = 20.0;
    if (isCircle) {
        addCircle(canvas, x + 0.5 * length, y, overMarkRadius);
    } else {
        cairo_move_to(canvas.pen(), x, y);
        cairo_line_to(canvas.pen(), x + length, y);
    }
    strokeOver(canvas, color, overWidth);
    canvas.setColor({});
    canvas.text(x + length + 6.0, y, text, textSize, Canvas::Anchor::left);
    return x + length + 22.0 + canvas.textWidth(text, textSize);
}

}
