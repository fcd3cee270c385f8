// A drawing surface that records every call, for tests of the scene. Text is measured at a
// fixed width per character so wrapping is predictable.
#pragma once

#include <string>
#include <vector>

#include "render/draw_surface.h"

namespace kaitoro {

struct RecordedCall {
    enum Kind { FillRect, Blit, Ellipse, Rectangle, Polygon, Line, Text } kind = FillRect;
    int a = 0, b = 0, c = 0, d = 0;  // rectangle / line ends / text position
    DrawPen pen;
    DrawBrush brush;
    std::uint32_t rgb = 0;  // fill colour, or the text colour in force
    std::string text;
    std::vector<DrawPoint> points;
    const std::uint32_t* pixels = nullptr;
    int src_w = 0, src_h = 0;
};

class RecordingSurface : public DrawSurface {
  public:
    std::vector<RecordedCall> calls;
    int char_width = 7;  // pixels per UTF-8 code point

    void fill_rect(int l, int t, int r, int b, std::uint32_t rgb) override {
        RecordedCall k;
        k.kind = RecordedCall::FillRect;
        k.a = l, k.b = t, k.c = r, k.d = b, k.rgb = rgb;
        calls.push_back(k);
    }
    void blit_scaled(const std::uint32_t* pixels, int sw, int sh, int x, int y, int w,
                     int h) override {
        RecordedCall k;
        k.kind = RecordedCall::Blit;
        k.a = x, k.b = y, k.c = w, k.d = h, k.pixels = pixels, k.src_w = sw, k.src_h = sh;
        calls.push_back(k);
    }
    void ellipse(int l, int t, int r, int b, const DrawPen& p, const DrawBrush& br) override {
        shape(RecordedCall::Ellipse, l, t, r, b, p, br);
    }
    void rectangle(int l, int t, int r, int b, const DrawPen& p, const DrawBrush& br) override {
        shape(RecordedCall::Rectangle, l, t, r, b, p, br);
    }
    void polygon(const DrawPoint* pts, int n, const DrawPen& p, const DrawBrush& br) override {
        RecordedCall k;
        k.kind = RecordedCall::Polygon;
        k.points.assign(pts, pts + n);
        k.pen = p;
        k.brush = br;
        calls.push_back(k);
    }
    void line(int x0, int y0, int x1, int y1, const DrawPen& p) override {
        RecordedCall k;
        k.kind = RecordedCall::Line;
        k.a = x0, k.b = y0, k.c = x1, k.d = y1, k.pen = p;
        calls.push_back(k);
    }
    void set_text_color(std::uint32_t rgb) override { text_rgb_ = rgb; }
    void text(int x, int y, const std::string& utf8) override {
        RecordedCall k;
        k.kind = RecordedCall::Text;
        k.a = x, k.b = y, k.text = utf8, k.rgb = text_rgb_;
        calls.push_back(k);
    }
    int text_width(const std::string& utf8) override {
        int n = 0;
        for (unsigned char ch : utf8) n += (ch & 0xC0) != 0x80;
        return n * char_width;
    }

    std::vector<RecordedCall> of_kind(RecordedCall::Kind kind) const {
        std::vector<RecordedCall> out;
        for (const RecordedCall& k : calls)
            if (k.kind == kind) out.push_back(k);
        return out;
    }
    std::vector<std::string> texts() const {
        std::vector<std::string> out;
        for (const RecordedCall& k : calls)
            if (k.kind == RecordedCall::Text) out.push_back(k.text);
        return out;
    }

  private:
    void shape(RecordedCall::Kind kind, int l, int t, int r, int b, const DrawPen& p,
               const DrawBrush& br) {
        RecordedCall k;
        k.kind = kind;
        k.a = l, k.b = t, k.c = r, k.d = b, k.pen = p, k.brush = br;
        calls.push_back(k);
    }
    std::uint32_t text_rgb_ = 0;
};

}  // namespace kaitoro
