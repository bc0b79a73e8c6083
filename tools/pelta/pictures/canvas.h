#ifndef PELTA_TOOL_CANVAS_H
#define PELTA_TOOL_CANVAS_H

#include <cairo.h>

#include <string>

#include "pictures/box.h"
#include "support/outputfile.h"

namespace pelta::pictures {

/* Of letters, in points. */
inline constexpr double textSize = 11.0, titleSize = 14.0;

/* A picture of width x height points that becomes PNG, SVG or PDF by the ending of its file's name. */
class Canvas {
  public:
    /* Fails (UsageError) on other endings. */
    Canvas(const std::string& fileName, int width, int height);
    ~Canvas();
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    cairo_t* pen() { return _pen; }
    int width() const { return _width; }
    int height() const { return _height; }

    void setColor(const Color& color);
    void line(double fromX, double fromY, double toX, double toY);
    /* The outline of a box, in black. */
    void frame(const Box& box);
    /* Calls draw: of what it draws only the inside of the box is seen, and what it sets of the pen ends with it. */
    template <class Draw>
    void inside(const Box& box, const Draw& draw) {
        cairo_save(_pen);
        cairo_rectangle(_pen, box.left, box.top, box.width, box.height);
        cairo_clip(_pen);
        draw();
        cairo_restore(_pen);
    }
    enum class Anchor { left, middle, right };
    /* Text whose anchor stands at x and whose middle line stands at y; turned: read from below. */
    void text(double x, double y, const std::string& text, double size, Anchor anchor, bool isTurned = false);
    double textWidth(const std::string& text, double size);

    /* Hands the whole picture to the file (which still has to be committed). */
    void write(OutputFile& file);

  private:
    enum class Format { png, svg, pdf } _format;
    int _width, _height;
    std::string _bytes;
    cairo_surface_t* _surface = nullptr;
    cairo_t* _pen = nullptr;
};

}

#endif
