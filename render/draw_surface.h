// The drawing operations the scene needs from a toolkit. The desktop program implements them
// with QPainter; tests record the calls. Coordinates are window pixels; rectangles follow the
// GDI convention of an exclusive right and bottom edge; colours are 0x00RRGGBB.
#pragma once

#include <cstdint>
#include <string>

namespace kaitoro {

enum class PenStyle { Solid, Dash, Dot };

struct DrawPen {
    std::uint32_t rgb = 0;
    int width = 1;
    PenStyle style = PenStyle::Solid;
};

// A brush is either a solid colour or hollow (the shape's inside is left alone).
struct DrawBrush {
    bool hollow = true;
    std::uint32_t rgb = 0;
    static DrawBrush solid(std::uint32_t c) { return DrawBrush{false, c}; }
    static DrawBrush none() { return DrawBrush{}; }
};

struct DrawPoint {
    int x = 0, y = 0;
};

class DrawSurface {
  public:
    virtual ~DrawSurface() = default;
    // Solid fill without an outline.
    virtual void fill_rect(int left, int top, int right, int bottom, std::uint32_t rgb) = 0;
    // Scaled plain copy of a top-down buffer of src_w x src_h 0x00RRGGBB pixels.
    virtual void blit_scaled(const std::uint32_t* pixels, int src_w, int src_h, int dst_x,
                             int dst_y, int dst_w, int dst_h) = 0;
    // Ellipse inscribed in, and rectangle covering, the box; outline drawn with the pen.
    virtual void ellipse(int left, int top, int right, int bottom, const DrawPen& pen,
                         const DrawBrush& brush) = 0;
    virtual void rectangle(int left, int top, int right, int bottom, const DrawPen& pen,
                           const DrawBrush& brush) = 0;
    // Closed outline through the points.
    virtual void polygon(const DrawPoint* points, int count, const DrawPen& pen,
                         const DrawBrush& brush) = 0;
    // Segment from (x0, y0) to (x1, y1), the end point itself not drawn.
    virtual void line(int x0, int y0, int x1, int y1, const DrawPen& pen) = 0;
    // Colour of the text drawn from now on.
    virtual void set_text_color(std::uint32_t rgb) = 0;
    // UTF-8 text in the user-interface font, top-left at (x, y), transparent background.
    virtual void text(int x, int y, const std::string& utf8) = 0;
    // Width in pixels of a text in the user-interface font.
    virtual int text_width(const std::string& utf8) = 0;
    // The same text, set in a smaller size where it is wider than max_width_px so that every
    // character stays inside its area; a text that fits is drawn exactly as text() draws it.
    // Surfaces without sizes of their own draw it as it is.
    virtual void text_within(int x, int y, const std::string& utf8, int max_width_px) {
        (void)max_width_px;
        text(x, y, utf8);
    }
};

}  // namespace kaitoro
