// The RGB24 canvas the slip-map image is drawn on, with its few primitives and text.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kaitoro {

inline constexpr int kCanvasWidth = 1700;
inline constexpr int kCanvasHeight = 980;

// Where a text was drawn: its top-left, advance width and pixel size.
struct CanvasTextBox {
    int x = 0, y = 0, width = 0, pixel_size = 0;
    std::string text;
};

// Rows top to bottom, 3 bytes per pixel (R, G, B), no row padding.
struct Rgb24Canvas {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;
    // When set, every text drawn is also listed here (how a test checks that text fits).
    std::vector<CanvasTextBox>* text_log = nullptr;

    std::uint8_t* at(int x, int y) { return &pixels[(std::size_t(y) * width + x) * 3]; }
    const std::uint8_t* at(int x, int y) const { return &pixels[(std::size_t(y) * width + x) * 3]; }
    std::uint32_t rgb(int x, int y) const {
        const std::uint8_t* p = at(x, y);
        return std::uint32_t(p[0]) << 16 | std::uint32_t(p[1]) << 8 | p[2];
    }
};

// Allocates a white canvas; false (and an empty canvas) when memory runs out.
bool rgb24_canvas_create(Rgb24Canvas* canvas, int width = kCanvasWidth, int height = kCanvasHeight);

inline constexpr std::uint32_t kCanvasFillRgb = 0xFFFFFF;
inline constexpr std::uint32_t kCanvasLineRgb = 0xFF00D0;
inline constexpr std::uint32_t kCanvasOutlineRgb = 0x202020;

// Inclusive rectangle, corners in any order, clipped to the canvas; white.
void rgb24_fill_rect(Rgb24Canvas* canvas, int x0, int y0, int x1, int y1);
void rgb24_fill_rect_rgb(Rgb24Canvas* canvas, int x0, int y0, int x1, int y1, std::uint32_t rgb);
// Bresenham line, both ends included, off-canvas pixels skipped; (255, 0, 208).
void rgb24_draw_line(Rgb24Canvas* canvas, int x0, int y0, int x1, int y1);
void rgb24_draw_line_rgb(Rgb24Canvas* canvas, int x0, int y0, int x1, int y1, std::uint32_t rgb);
// The four 1-pixel edges of the inclusive rectangle; (32, 32, 32).
void rgb24_draw_rect_outline(Rgb24Canvas* canvas, int x0, int y0, int x1, int y1);

// The three text styles of the image: 18 px normal, 20 px normal or bold, 24 px bold in
// (17, 17, 17) whatever colour is passed.
enum class CanvasTextStyle { Small18, Medium20, Heading24 };

// Draws antialiased Liberation Sans (metric-compatible Arial) with its top-left at (x, y),
// transparent background. Returns 1 when drawn (an empty text draws nothing and returns 1),
// 0 when the font cannot be loaded: the text is skipped and the status line says why.
int rgb24_draw_text_gdi(Rgb24Canvas* canvas, int x, int y, const char* text, CanvasTextStyle style,
                        int bold, std::uint32_t rgb);
// Any pixel size (character height) and weight.
int rgb24_draw_text(Rgb24Canvas* canvas, int x, int y, const char* text, int pixel_size, int bold,
                    std::uint32_t rgb);
// Advance width of a text in pixels; -1 when the font cannot be loaded.
int rgb24_text_width(const char* text, int pixel_size, int bold);

// The font files tried, in order; empty when none exists.
std::string canvas_font_path(int bold);

}  // namespace kaitoro
