#include "render/canvas.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_SYNTHESIS_H

#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>

#include "core/driver.h"
#include "core/status.h"

namespace kaitoro {

bool rgb24_canvas_create(Rgb24Canvas* canvas, int width, int height) {
    canvas->width = 0;
    canvas->height = 0;
    canvas->pixels.clear();
    if (width <= 0 || height <= 0) return false;
    try {
        canvas->pixels.assign(std::size_t(width) * height * 3, 255);
    } catch (const std::bad_alloc&) {
        return false;
    }
    canvas->width = width;
    canvas->height = height;
    return true;
}

namespace {

void put_pixel(Rgb24Canvas* c, int x, int y, std::uint32_t rgb) {
    if (x < 0 || y < 0 || x >= c->width || y >= c->height) return;
    std::uint8_t* p = c->at(x, y);
    p[0] = std::uint8_t(rgb >> 16);
    p[1] = std::uint8_t(rgb >> 8);
    p[2] = std::uint8_t(rgb);
}

}  // namespace

void rgb24_fill_rect_rgb(Rgb24Canvas* canvas, int x0, int y0, int x1, int y1, std::uint32_t rgb) {
    if (x0 > x1) std::swap(x0, x1);
    if (y0 > y1) std::swap(y0, y1);
    if (x1 < 0 || y1 < 0 || x0 >= canvas->width || y0 >= canvas->height) return;
    if (x0 < 0) x0 = 0;
    if (y0 < 0) y0 = 0;
    if (x1 >= canvas->width) x1 = canvas->width - 1;
    if (y1 >= canvas->height) y1 = canvas->height - 1;
    const std::uint8_t r = std::uint8_t(rgb >> 16), g = std::uint8_t(rgb >> 8),
                       b = std::uint8_t(rgb);
    for (int y = y0; y <= y1; ++y) {
        std::uint8_t* p = canvas->at(x0, y);
        for (int x = x0; x <= x1; ++x, p += 3) {
            p[0] = r;
            p[1] = g;
            p[2] = b;
        }
    }
}

void rgb24_fill_rect(Rgb24Canvas* canvas, int x0, int y0, int x1, int y1) {
    rgb24_fill_rect_rgb(canvas, x0, y0, x1, y1, kCanvasFillRgb);
}

void rgb24_draw_line_rgb(Rgb24Canvas* canvas, int x0, int y0, int x1, int y1, std::uint32_t rgb) {
    const int dx = std::abs(x1 - x0), sx = x0 < x1 ? 1 : -1;
    const int dy = -std::abs(y1 - y0), sy = y0 < y1 ? 1 : -1;
    int err = dx + dy;
    for (;;) {
        put_pixel(canvas, x0, y0, rgb);
        if (x0 == x1 && y0 == y1) break;
        const int e2 = 2 * err;
        if (e2 >= dy) {
            err += dy;
            x0 += sx;
        }
        if (e2 <= dx) {
            err += dx;
            y0 += sy;
        }
    }
}

void rgb24_draw_line(Rgb24Canvas* canvas, int x0, int y0, int x1, int y1) {
    rgb24_draw_line_rgb(canvas, x0, y0, x1, y1, kCanvasLineRgb);
}

void rgb24_draw_rect_outline(Rgb24Canvas* canvas, int x0, int y0, int x1, int y1) {
    if (x0 > x1) std::swap(x0, x1);
    if (y0 > y1) std::swap(y0, y1);
    rgb24_fill_rect_rgb(canvas, x0, y0, x1, y0, kCanvasOutlineRgb);
    rgb24_fill_rect_rgb(canvas, x0, y1, x1, y1, kCanvasOutlineRgb);
    rgb24_fill_rect_rgb(canvas, x0, y0, x0, y1, kCanvasOutlineRgb);
    rgb24_fill_rect_rgb(canvas, x1, y0, x1, y1, kCanvasOutlineRgb);
}

// --- Text -------------------------------------------------------------------------------------

namespace {

// Debian's Liberation Sans, the metric-compatible Arial, in the packages' two layouts.
const char* const kRegularFonts[] = {
    "/usr/share/fonts/truetype/liberation2/LiberationSans-Regular.ttf",
    "/usr/share/fonts/truetype/liberation/LiberationSans-Regular.ttf",
};
const char* const kBoldFonts[] = {
    "/usr/share/fonts/truetype/liberation2/LiberationSans-Bold.ttf",
    "/usr/share/fonts/truetype/liberation/LiberationSans-Bold.ttf",
};

struct FontCache {
    FT_Library library = nullptr;
    FT_Face face[2] = {nullptr, nullptr};  // regular, bold
    bool synthetic_bold = false;           // bold drawn by emboldening the regular face
    bool tried = false;
    bool warned = false;
};
FontCache g_fonts;

bool fonts_ready() {
    if (g_fonts.tried) return g_fonts.face[0] != nullptr;
    g_fonts.tried = true;
    if (FT_Init_FreeType(&g_fonts.library) != 0) {
        g_fonts.library = nullptr;
        return false;
    }
    for (int bold = 0; bold < 2; ++bold) {
        const std::string path = canvas_font_path(bold);
        if (path.empty() || FT_New_Face(g_fonts.library, path.c_str(), 0, &g_fonts.face[bold]) != 0)
            g_fonts.face[bold] = nullptr;
    }
    if (!g_fonts.face[1] && g_fonts.face[0]) g_fonts.synthetic_bold = true;
    return g_fonts.face[0] != nullptr;
}

void report_missing_font() {
    set_status("Image text skipped: Liberation Sans not found (install fonts-liberation2).");
    if (!g_fonts.warned) {
        std::fprintf(stderr,
                     "Warning: image text skipped: no font file at %s (install "
                     "fonts-liberation2)\n",
                     kRegularFonts[0]);
        g_fonts.warned = true;
    }
}

// Next code point of a UTF-8 text; a byte that does not start a valid sequence stands for
// itself (Latin-1), so no input is ever dropped.
std::uint32_t next_code_point(const unsigned char*& p) {
    const unsigned char c = *p;
    int extra = c >= 0xF0 && c < 0xF5 ? 3 : c >= 0xE0 ? 2 : c >= 0xC2 && c < 0xE0 ? 1 : 0;
    if (c < 0x80 || extra == 0 || c >= 0xF5) {
        ++p;
        return c;
    }
    std::uint32_t cp = c & (0x3F >> extra);
    for (int i = 1; i <= extra; ++i) {
        if ((p[i] & 0xC0) != 0x80) {
            ++p;
            return c;
        }
        cp = cp << 6 | (p[i] & 0x3F);
    }
    p += extra + 1;
    return cp;
}

// Coverage a (0..255) of the text colour f over the background d, rounded to nearest.
std::uint8_t blend_channel(int d, int f, int a) {
    const int num = (f - d) * a;
    return std::uint8_t(d + (num >= 0 ? num + 127 : num - 127) / 255);
}

FT_Face select_face(int pixel_size, int bold) {
    if (!fonts_ready()) return nullptr;
    const bool use_bold_file = bold && g_fonts.face[1];
    FT_Face face = g_fonts.face[use_bold_file ? 1 : 0];
    if (FT_Set_Pixel_Sizes(face, 0, FT_UInt(pixel_size)) != 0) return nullptr;
    return face;
}

bool load_glyph(FT_Face face, std::uint32_t cp, int bold, bool render) {
    const FT_UInt index = FT_Get_Char_Index(face, cp);
    if (FT_Load_Glyph(face, index, FT_LOAD_DEFAULT | FT_LOAD_TARGET_NORMAL) != 0) return false;
    if (bold && g_fonts.synthetic_bold) FT_GlyphSlot_Embolden(face->glyph);
    if (render && FT_Render_Glyph(face->glyph, FT_RENDER_MODE_NORMAL) != 0) return false;
    return true;
}

}  // namespace

std::string canvas_font_path(int bold) {
    for (const char* p : bold ? kBoldFonts : kRegularFonts)
        if (file_exists(p)) return p;
    return {};
}

int rgb24_text_width(const char* text, int pixel_size, int bold) {
    FT_Face face = select_face(pixel_size, bold);
    if (!face) return -1;
    long width = 0;
    for (auto p = reinterpret_cast<const unsigned char*>(text ? text : ""); *p;)
        if (load_glyph(face, next_code_point(p), bold, false)) width += face->glyph->advance.x;
    return int((width + 32) >> 6);
}

int rgb24_draw_text(Rgb24Canvas* canvas, int x, int y, const char* text, int pixel_size, int bold,
                    std::uint32_t rgb) {
    if (!text || !*text) return 1;
    FT_Face face = select_face(pixel_size, bold);
    if (!face) {
        report_missing_font();
        return 0;
    }
    if (canvas->text_log)
        canvas->text_log->push_back(
            CanvasTextBox{x, y, rgb24_text_width(text, pixel_size, bold), pixel_size, text});
    const int fr = int(rgb >> 16 & 255), fg = int(rgb >> 8 & 255), fb = int(rgb & 255);
    // GDI places the top of the character cell at y; the baseline lies one ascent below.
    const int baseline = y + int((face->size->metrics.ascender + 63) >> 6);
    long pen = long(x) << 6;
    for (auto p = reinterpret_cast<const unsigned char*>(text); *p;) {
        if (!load_glyph(face, next_code_point(p), bold, true)) continue;
        const FT_GlyphSlot g = face->glyph;
        const FT_Bitmap& bm = g->bitmap;
        const int left = int((pen + 32) >> 6) + g->bitmap_left;
        const int top = baseline - g->bitmap_top;
        for (unsigned row = 0; row < bm.rows; ++row) {
            const int py = top + int(row);
            if (py < 0 || py >= canvas->height) continue;
            const unsigned char* src = bm.buffer + long(row) * bm.pitch;
            for (unsigned col = 0; col < bm.width; ++col) {
                const int px = left + int(col);
                const int a = src[col];
                if (a == 0 || px < 0 || px >= canvas->width) continue;
                std::uint8_t* d = canvas->at(px, py);
                d[0] = blend_channel(d[0], fr, a);
                d[1] = blend_channel(d[1], fg, a);
                d[2] = blend_channel(d[2], fb, a);
            }
        }
        pen += g->advance.x;
    }
    return 1;
}

int rgb24_draw_text_gdi(Rgb24Canvas* canvas, int x, int y, const char* text, CanvasTextStyle style,
                        int bold, std::uint32_t rgb) {
    switch (style) {
        case CanvasTextStyle::Small18:
            return rgb24_draw_text(canvas, x, y, text, 18, 0, rgb);
        case CanvasTextStyle::Medium20:
            return rgb24_draw_text(canvas, x, y, text, 20, bold ? 1 : 0, rgb);
        case CanvasTextStyle::Heading24:
            return rgb24_draw_text(canvas, x, y, text, 24, 1, 0x111111);
    }
    return 0;
}

}  // namespace kaitoro
