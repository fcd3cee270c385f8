// The scene's drawing operations on an RGB24 canvas, so the map, its markers and captions can
// be drawn off screen (video frames) by the same code that paints the window.
#pragma once

#include "render/canvas.h"
#include "render/draw_surface.h"

namespace kaitoro {

class CanvasSurface : public DrawSurface {
  public:
    explicit CanvasSurface(Rgb24Canvas* canvas, int text_px = 14)
        : canvas_(canvas), text_px_(text_px) {}
    void fill_rect(int left, int top, int right, int bottom, std::uint32_t rgb) override;
    // Nearest-neighbour scaling, clipped to the canvas.
    void blit_scaled(const std::uint32_t* pixels, int src_w, int src_h, int dst_x, int dst_y,
                     int dst_w, int dst_h) override;
    void ellipse(int left, int top, int right, int bottom, const DrawPen& pen,
                 const DrawBrush& brush) override;
    void rectangle(int left, int top, int right, int bottom, const DrawPen& pen,
                   const DrawBrush& brush) override;
    // Outline only: the scene fills no polygon.
    void polygon(const DrawPoint* points, int count, const DrawPen& pen,
                 const DrawBrush& brush) override;
    void line(int x0, int y0, int x1, int y1, const DrawPen& pen) override;
    void set_text_color(std::uint32_t rgb) override { text_rgb_ = rgb; }
    void text(int x, int y, const std::string& utf8) override;
    int text_width(const std::string& utf8) override;

  private:
    void pixel(int x, int y, std::uint32_t rgb);
    Rgb24Canvas* canvas_;
    int text_px_;
    std::uint32_t text_rgb_ = 0;
};

}  // namespace kaitoro
