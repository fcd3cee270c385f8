#include "render/canvas_surface.h"

#include <algorithm>
#include <cmath>

namespace kaitoro {

void CanvasSurface::pixel(int x, int y, std::uint32_t rgb) {
    if (x < 0 || y < 0 || x >= canvas_->width || y >= canvas_->height) return;
    std::uint8_t* p = canvas_->at(x, y);
    p[0] = std::uint8_t(rgb >> 16);
    p[1] = std::uint8_t(rgb >> 8);
    p[2] = std::uint8_t(rgb);
}

void CanvasSurface::fill_rect(int left, int top, int right, int bottom, std::uint32_t rgb) {
    if (right <= left || bottom <= top) return;
    rgb24_fill_rect_rgb(canvas_, left, top, right - 1, bottom - 1, rgb);
}

void CanvasSurface::blit_scaled(const std::uint32_t* pixels, int src_w, int src_h, int dst_x,
                                int dst_y, int dst_w, int dst_h) {
    if (!pixels || src_w <= 0 || src_h <= 0 || dst_w <= 0 || dst_h <= 0) return;
    const int y0 = std::max(dst_y, 0), y1 = std::min(dst_y + dst_h, canvas_->height);
    const int x0 = std::max(dst_x, 0), x1 = std::min(dst_x + dst_w, canvas_->width);
    for (int y = y0; y < y1; ++y) {
        const std::uint32_t* src =
            pixels + std::size_t((long long)(y - dst_y) * src_h / dst_h) * std::size_t(src_w);
        std::uint8_t* p = canvas_->at(x0, y);
        for (int x = x0; x < x1; ++x, p += 3) {
            const std::uint32_t c = src[(long long)(x - dst_x) * src_w / dst_w];
            p[0] = std::uint8_t(c >> 16);
            p[1] = std::uint8_t(c >> 8);
            p[2] = std::uint8_t(c);
        }
    }
}

void CanvasSurface::rectangle(int left, int top, int right, int bottom, const DrawPen& pen,
                              const DrawBrush& brush) {
    if (right <= left || bottom <= top) return;
    if (!brush.hollow) rgb24_fill_rect_rgb(canvas_, left, top, right - 1, bottom - 1, brush.rgb);
    for (int k = 0; k < std::max(1, pen.width); ++k) {
        const int l = left + k, t = top + k, r = right - 1 - k, b = bottom - 1 - k;
        if (r < l || b < t) break;
        rgb24_draw_line_rgb(canvas_, l, t, r, t, pen.rgb);
        rgb24_draw_line_rgb(canvas_, l, b, r, b, pen.rgb);
        rgb24_draw_line_rgb(canvas_, l, t, l, b, pen.rgb);
        rgb24_draw_line_rgb(canvas_, r, t, r, b, pen.rgb);
    }
}

void CanvasSurface::ellipse(int left, int top, int right, int bottom, const DrawPen& pen,
                            const DrawBrush& brush) {
    if (right <= left || bottom <= top) return;
    const double cx = (left + right - 1) / 2.0, cy = (top + bottom - 1) / 2.0;
    const double rx = (right - left) / 2.0, ry = (bottom - top) / 2.0;
    const double edge = std::max(1, pen.width) / std::max(1.0, std::min(rx, ry));
    for (int y = top; y < bottom; ++y)
        for (int x = left; x < right; ++x) {
            const double dx = (x - cx) / rx, dy = (y - cy) / ry, d = std::sqrt(dx * dx + dy * dy);
            if (d > 1.0) continue;
            if (d > 1.0 - edge)
                pixel(x, y, pen.rgb);
            else if (!brush.hollow)
                pixel(x, y, brush.rgb);
        }
}

void CanvasSurface::polygon(const DrawPoint* points, int count, const DrawPen& pen,
                            const DrawBrush&) {
    for (int i = 0; i < count; ++i) {
        const DrawPoint& a = points[i];
        const DrawPoint& b = points[(i + 1) % count];
        rgb24_draw_line_rgb(canvas_, a.x, a.y, b.x, b.y, pen.rgb);
    }
}

void CanvasSurface::line(int x0, int y0, int x1, int y1, const DrawPen& pen) {
    rgb24_draw_line_rgb(canvas_, x0, y0, x1, y1, pen.rgb);
}

void CanvasSurface::text(int x, int y, const std::string& utf8) {
    rgb24_draw_text(canvas_, x, y, utf8.c_str(), text_px_, 0, text_rgb_);
}

int CanvasSurface::text_width(const std::string& utf8) {
    return std::max(0, rgb24_text_width(utf8.c_str(), text_px_, 0));
}

}  // namespace kaitoro
