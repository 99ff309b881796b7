#include "canvas.h"

#include <cairo-svg.h>
#include <cmath>
#include <cstring>
#include <new>
#include <numbers>

namespace talv
{
namespace
{

/* Called from C: nothing may be thrown through it. */
cairo_status_t append_bytes(void *closure, const unsigned char *data, unsigned int length) noexcept
{
    try {
        auto *bytes = static_cast<std::vector<uint8_t> *>(closure);
        bytes->insert(bytes->end(), data, data + length);
        return CAIRO_STATUS_SUCCESS;
    } catch (const std::bad_alloc &) {
        return CAIRO_STATUS_NO_MEMORY;
    }
}

} // namespace

Canvas::Canvas(Kind kind, int width, int height)
    : kind_(kind),
      surface_(kind == Kind::svg ? cairo_svg_surface_create_for_stream(append_bytes, &bytes_, width, height)
                                 : cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height)),
      cairo_(cairo_create(surface_.get()))
{
    fill({0, 0, static_cast<double>(width), static_cast<double>(height)}, 0xffffff);
}

void Canvas::set_colour(uint32_t colour)
{
    cairo_set_source_rgb(cairo_.get(), (colour >> 16 & 255) / 255.0, (colour >> 8 & 255) / 255.0,
                         (colour & 255) / 255.0);
}

void Canvas::set_font(double size, bool bold)
{
    cairo_select_font_face(cairo_.get(), "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                           bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cairo_.get(), size);
}

void Canvas::fill(const Rect &r, uint32_t colour)
{
    set_colour(colour);
    cairo_rectangle(cairo_.get(), r.x, r.y, r.width, r.height);
    cairo_fill(cairo_.get());
}

/* Half a pixel outside: a line of one pixel then covers whole pixels, and none of the content. */
void Canvas::frame(const Rect &r, uint32_t colour)
{
    set_colour(colour);
    cairo_set_line_width(cairo_.get(), 1);
    cairo_rectangle(cairo_.get(), r.x - 0.5, r.y - 0.5, r.width + 1, r.height + 1);
    cairo_stroke(cairo_.get());
}

void Canvas::line(double x0, double y0, double x1, double y1, uint32_t colour, double width)
{
    polyline({x0, x1}, {y0, y1}, colour, width);
}

void Canvas::polyline(const std::vector<double> &x, const std::vector<double> &y, uint32_t colour, double width)
{
    set_colour(colour);
    cairo_set_line_width(cairo_.get(), width);
    cairo_set_line_join(cairo_.get(), CAIRO_LINE_JOIN_BEVEL);
    cairo_new_path(cairo_.get()); /* a text leaves its end behind as the beginning of a path */
    for (size_t i = 0; i < x.size(); i++)
        cairo_line_to(cairo_.get(), x[i], y[i]);
    cairo_stroke(cairo_.get());
}

double Canvas::text_width(const std::string &s, double size, bool bold)
{
    set_font(size, bold);
    cairo_text_extents_t extents;
    cairo_text_extents(cairo_.get(), s.c_str(), &extents);
    return extents.x_advance;
}

void Canvas::text(double x, double y, const std::string &s, double size, Align align, uint32_t colour, bool bold)
{
    const double width = text_width(s, size, bold);
    const double before = align == Align::left ? 0 : align == Align::middle ? width / 2 : width;
    cairo_text_extents_t digit;
    cairo_text_extents(cairo_.get(), "0", &digit);
    set_colour(colour);
    cairo_move_to(cairo_.get(), std::round(x - before), std::round(y - digit.y_bearing - digit.height / 2));
    cairo_show_text(cairo_.get(), s.c_str());
}

void Canvas::text_upward(double x, double y, const std::string &s, double size, uint32_t colour)
{
    cairo_save(cairo_.get());
    cairo_translate(cairo_.get(), x, y);
    cairo_rotate(cairo_.get(), -std::numbers::pi / 2);
    text(0, 0, s, size, Align::middle, colour);
    cairo_restore(cairo_.get());
}

void Canvas::dot(double x, double y, double radius, uint32_t colour)
{
    set_colour(colour);
    cairo_new_path(cairo_.get());
    cairo_arc(cairo_.get(), x, y, radius, 0, 2 * std::numbers::pi);
    cairo_fill(cairo_.get());
}

void Canvas::image(int x, int y, const std::vector<uint32_t> &pixels, int width, int height)
{
    const std::unique_ptr<cairo_surface_t, Delete> part(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
    unsigned char *data = cairo_image_surface_get_data(part.get());
    if (!data)
        throw std::bad_alloc();
    const int stride = cairo_image_surface_get_stride(part.get());
    for (int row = 0; row < height; row++)
        std::memcpy(data + static_cast<ptrdiff_t>(row) * stride, pixels.data() + static_cast<ptrdiff_t>(row) * width,
                    static_cast<size_t>(width) * 4);
    cairo_surface_mark_dirty(part.get());
    cairo_set_source_surface(cairo_.get(), part.get(), x, y);
    cairo_rectangle(cairo_.get(), x, y, width, height);
    cairo_fill(cairo_.get());
}

std::vector<uint8_t> Canvas::finish()
{
    if (cairo_status(cairo_.get()) != CAIRO_STATUS_SUCCESS)
        throw std::bad_alloc();
    if (kind_ == Kind::png &&
        cairo_surface_write_to_png_stream(surface_.get(), append_bytes, &bytes_) != CAIRO_STATUS_SUCCESS)
        throw std::bad_alloc();
    cairo_surface_finish(surface_.get());
    if (cairo_surface_status(surface_.get()) != CAIRO_STATUS_SUCCESS)
        throw std::bad_alloc();
    return bytes_;
}

} // namespace talv
