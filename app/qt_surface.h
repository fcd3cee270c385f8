// The scene's drawing operations on a QPainter, and the user-interface font.
#pragma once

#include <QFont>
#include <QImage>
#include <QPainter>

#include "render/draw_surface.h"

namespace kaitoro {

class QtSurface : public DrawSurface {
  public:
    // The painter must outlive the surface; text uses `font`.
    QtSurface(QPainter* painter, const QFont& font);

    void fill_rect(int left, int top, int right, int bottom, std::uint32_t rgb) override;
    void blit_scaled(const std::uint32_t* pixels, int src_w, int src_h, int dst_x, int dst_y,
                     int dst_w, int dst_h) override;
    void ellipse(int left, int top, int right, int bottom, const DrawPen& pen,
                 const DrawBrush& brush) override;
    void rectangle(int left, int top, int right, int bottom, const DrawPen& pen,
                   const DrawBrush& brush) override;
    void polygon(const DrawPoint* points, int count, const DrawPen& pen,
                 const DrawBrush& brush) override;
    void line(int x0, int y0, int x1, int y1, const DrawPen& pen) override;
    void set_text_color(std::uint32_t rgb) override;
    void text(int x, int y, const std::string& utf8) override;
    int text_width(const std::string& utf8) override;
    void text_within(int x, int y, const std::string& utf8, int max_width_px) override;
    // The font text_within sets a text in: the UI font when the text fits, else the largest
    // smaller pixel size (down to 8) that fits.
    QFont font_within(const QString& text, int max_width_px) const;

  private:
    void use(const DrawPen& pen, const DrawBrush& brush);

    QPainter* painter_;
    QFont font_;
    QFontMetrics metrics_;
    QColor text_color_;
    QImage frame_;  // the last blitted buffer, with opaque alpha
};

QColor qcolor_from_rgb(std::uint32_t rgb);

// The first installed family of the program's font list, 16 pixels high, normal weight.
QFont make_ui_font();

}  // namespace kaitoro
