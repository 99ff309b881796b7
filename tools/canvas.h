/** A picture to draw on: the few shapes that a plot is made of, by cairo
 *
 *  Lengths in pixels, y downward. Colours are 0xRRGGBB.
 */
#ifndef TALV_TOOLS_CANVAS_H
#define TALV_TOOLS_CANVAS_H

#include <cairo.h>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace talv
{

struct Rect {
    double x, y, width, height;
    double right() const { return x + width; }
    double bottom() const { return y + height; }
};

/** Which point of a text lies on the point given: left, middle or right, and vertically always the middle of a digit */
enum class Align { left, middle, right };

class Canvas
{
public:
    enum class Kind { png, svg };
    Canvas(Kind kind, int width, int height);

    void fill(const Rect &r, uint32_t colour);
    void frame(const Rect &r, uint32_t colour);
    void line(double x0, double y0, double x1, double y1, uint32_t colour, double width);
    void polyline(const std::vector<double> &x, const std::vector<double> &y, uint32_t colour, double width);
    void text(double x, double y, const std::string &s, double size, Align align, uint32_t colour, bool bold = false);

    /** Text that runs upward, centred on the point given */
    void text_upward(double x, double y, const std::string &s, double size, uint32_t colour);

    /** Put pixels, 0xRRGGBB in rows from the top, on the whole pixels from (x, y) on */
    void image(int x, int y, const std::vector<uint32_t> &pixels, int width, int height);

    /** Width of a text in pixels */
    double text_width(const std::string &s, double size, bool bold = false);

    void dot(double x, double y, double radius, uint32_t colour);

    /** The picture as a file, after which nothing more can be drawn; throws std::bad_alloc */
    std::vector<uint8_t> finish();

private:
    void set_colour(uint32_t colour);
    void set_font(double size, bool bold);

    struct Delete {
        void operator()(cairo_surface_t *p) const { cairo_surface_destroy(p); }
        void operator()(cairo_t *p) const { cairo_destroy(p); }
    };
    Kind kind_;
    std::vector<uint8_t> bytes_; /* of an SVG file */
    std::unique_ptr<cairo_surface_t, Delete> surface_;
    std::unique_ptr<cairo_t, Delete> cairo_;
};

} // namespace talv

#endif
