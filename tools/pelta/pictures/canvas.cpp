#include "pictures/canvas.h"

#include <cairo-pdf.h>
#include <cairo-svg.h>

#include "support/failure.h"

namespace pelta::pictures {
namespace {

cairo_status_t append(void* bytes, const unsigned char* data, unsigned int length) {
    static_cast<std::string*>(bytes)->append(reinterpret_cast<const char*>(data), length);
    return CAIRO_STATUS_SUCCESS;
}

}

Canvas::Canvas(const std::string& fileName, int width, int height) : _width(width), _height(height) {
    if (fileName.ends_with(".png")) _format = Format::png;
    else if (fileName.ends_with(".svg")) _format = Format::svg;
    else if (fileName.ends_with(".pdf")) _format = Format::pdf;
    else failUsage("{}: a picture's name must end in .png, .svg or .pdf", fileName);
    switch (_format) {
        case Format::png: _surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height); break;
        case Format::svg: _surface = cairo_svg_surface_create_for_stream(append, &_bytes, width, height); break;
        case Format::pdf: _surface = cairo_pdf_surface_create_for_stream(append, &_bytes, width, height); break;
    }
    if (cairo_surface_status(_surface) != CAIRO_STATUS_SUCCESS) {
        const std::string reason = cairo_status_to_string(cairo_surface_status(_surface));
        cairo_surface_destroy(_surface);
        fail("{}: a picture of {} x {} cannot be made: {}", fileName, width, height, reason);
    }
    _pen = cairo_create(_surface);
    cairo_select_font_face(_pen, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    setColor({1.0, 1.0, 1.0});
    cairo_paint(_pen);
}

Canvas::~Canvas() {
    cairo_destroy(_pen);
    cairo_surface_destroy(_surface);
}

void Canvas::setColor(const Color& color) { cairo_set_source_rgba(_pen, color.red, color.green, color.blue, color.opacity); }

void Canvas::line(double fromX, double fromY, double toX, double toY) {
    cairo_move_to(_pen, fromX, fromY);
    cairo_line_to(_pen, toX, toY);
    cairo_stroke(_pen);
}

void Canvas::frame(const Box& box) {
    setColor({});
    cairo_set_line_width(_pen, 1.0);
    cairo_rectangle(_pen, box.left, box.top, box.width, box.height);
    cairo_stroke(_pen);
}

double Canvas::textWidth(const std::string& text, double size) {
    cairo_text_extents_t extents;
    cairo_set_font_size(_pen, size);
    cairo_text_extents(_pen, text.c_str(), &extents);
    return extents.x_advance;
}

void Canvas::text(double x, double y, const std::string& text, double size, Anchor anchor, bool isTurned) {
    const double width = textWidth(text, size);
    const double shift = anchor == Anchor::left ? 0.0 : anchor == Anchor::middle ? -0.5 * width : -width;
    cairo_save(_pen);
    cairo_translate(_pen, x, y);
    if (isTurned) cairo_rotate(_pen, -1.5707963267948966);
    cairo_move_to(_pen, shift, 0.36 * size);
    cairo_show_text(_pen, text.c_str());
    cairo_restore(_pen);
}

void Canvas::write(OutputFile& file) {
    if (_format == Format::png) cairo_surface_write_to_png_stream(_surface, append, &_bytes);
    else cairo_surface_finish(_surface);
    if (cairo_surface_status(_surface) != CAIRO_STATUS_SUCCESS)
        fail("{}: the picture cannot be drawn: {}", file.name(), cairo_status_to_string(cairo_surface_status(_surface)));
    file.write(_bytes);
}

}
