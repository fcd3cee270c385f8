#include "app/qt_surface.h"

#include <algorithm>

#include <QFontDatabase>
#include <QFontMetrics>
#include <QPolygon>
#include <cstring>
#include <vector>

#include "shell/main_window.h"

namespace kaitoro {

QColor qcolor_from_rgb(std::uint32_t rgb) {
    return QColor(int(rgb >> 16 & 0xFF), int(rgb >> 8 & 0xFF), int(rgb & 0xFF));
}

QtSurface::QtSurface(QPainter* painter, const QFont& font)
    : painter_(painter), font_(font), metrics_(font), text_color_(Qt::black) {
    painter_->setFont(font_);
    // Markers are drawn like the platform's plain pens: no anti-aliasing, no smoothing of the
    // scaled map, so one grid cell is one crisp block at every zoom.
    painter_->setRenderHint(QPainter::Antialiasing, false);
    painter_->setRenderHint(QPainter::SmoothPixmapTransform, false);
    painter_->setRenderHint(QPainter::TextAntialiasing, true);
}

void QtSurface::fill_rect(int left, int top, int right, int bottom, std::uint32_t rgb) {
    if (right <= left || bottom <= top) return;
    painter_->fillRect(QRect(left, top, right - left, bottom - top), qcolor_from_rgb(rgb));
}

void QtSurface::blit_scaled(const std::uint32_t* pixels, int src_w, int src_h, int dst_x, int dst_y,
                            int dst_w, int dst_h) {
    if (!pixels || src_w <= 0 || src_h <= 0 || dst_w <= 0 || dst_h <= 0) return;
    // The buffer's top byte is 0; Qt's 32-bit RGB format wants it 0xFF.
    if (frame_.width() != src_w || frame_.height() != src_h)
        frame_ = QImage(src_w, src_h, QImage::Format_RGB32);
    for (int y = 0; y < src_h; ++y) {
        const std::uint32_t* in = pixels + std::size_t(y) * std::size_t(src_w);
        auto* out = reinterpret_cast<std::uint32_t*>(frame_.scanLine(y));
        for (int x = 0; x < src_w; ++x) out[x] = in[x] | 0xFF000000u;
    }
    painter_->drawImage(QRect(dst_x, dst_y, dst_w, dst_h), frame_);
}

void QtSurface::use(const DrawPen& pen, const DrawBrush& brush) {
    QPen p(qcolor_from_rgb(pen.rgb));
    p.setWidth(std::max(1, pen.width));
    p.setCapStyle(Qt::FlatCap);
    p.setJoinStyle(Qt::MiterJoin);
    switch (pen.style) {
        case PenStyle::Solid:
            p.setStyle(Qt::SolidLine);
            break;
        case PenStyle::Dash:
            p.setStyle(Qt::DashLine);
            break;
        case PenStyle::Dot:
            p.setStyle(Qt::DotLine);
            break;
    }
    painter_->setPen(p);
    painter_->setBrush(brush.hollow ? QBrush(Qt::NoBrush) : QBrush(qcolor_from_rgb(brush.rgb)));
}

// Shapes take a box with exclusive right and bottom edges; Qt's outline covers width + 1.
void QtSurface::ellipse(int left, int top, int right, int bottom, const DrawPen& pen,
                        const DrawBrush& brush) {
    use(pen, brush);
    painter_->drawEllipse(QRect(left, top, right - left - 1, bottom - top - 1));
}

void QtSurface::rectangle(int left, int top, int right, int bottom, const DrawPen& pen,
                          const DrawBrush& brush) {
    use(pen, brush);
    painter_->drawRect(QRect(left, top, right - left - 1, bottom - top - 1));
}

void QtSurface::polygon(const DrawPoint* points, int count, const DrawPen& pen,
                        const DrawBrush& brush) {
    if (!points || count < 2) return;
    QPolygon poly(count);
    for (int i = 0; i < count; ++i) poly.setPoint(i, points[i].x, points[i].y);
    use(pen, brush);
    painter_->drawPolygon(poly);
}

void QtSurface::line(int x0, int y0, int x1, int y1, const DrawPen& pen) {
    use(pen, DrawBrush::none());
    painter_->drawLine(x0, y0, x1, y1);
}

void QtSurface::set_text_color(std::uint32_t rgb) {
    text_color_ = qcolor_from_rgb(rgb);
}

void QtSurface::text(int x, int y, const std::string& utf8) {
    painter_->setPen(text_color_);
    painter_->drawText(QPoint(x, y + metrics_.ascent()),
                       QString::fromUtf8(utf8.data(), int(utf8.size())));
}

QFont QtSurface::font_within(const QString& text, int max_width_px) const {
    if (metrics_.horizontalAdvance(text) <= max_width_px) return font_;
    QFont f = font_;
    const int base = font_.pixelSize() > 0 ? font_.pixelSize() : metrics_.height();
    for (int px = base - 1; px >= 8; --px) {
        f.setPixelSize(px);
        if (QFontMetrics(f).horizontalAdvance(text) <= max_width_px) break;
    }
    return f;
}

void QtSurface::text_within(int x, int y, const std::string& utf8, int max_width_px) {
    const QString s = QString::fromUtf8(utf8.data(), int(utf8.size()));
    const QFont f = font_within(s, max_width_px);
    if (f == font_) return text(x, y, utf8);
    // Same baseline as the lines around it, only narrower glyphs.
    painter_->setFont(f);
    painter_->setPen(text_color_);
    painter_->drawText(QPoint(x, y + metrics_.ascent()), s);
    painter_->setFont(font_);
}

int QtSurface::text_width(const std::string& utf8) {
    return metrics_.horizontalAdvance(QString::fromUtf8(utf8.data(), int(utf8.size())));
}

QFont make_ui_font() {
    static QStringList installed;
    installed = QFontDatabase::families();
    const char* family = choose_ui_font_family([](const char* name) {
        return installed.contains(QString::fromUtf8(name), Qt::CaseInsensitive);
    });
    QFont font(QString::fromUtf8(family));
    // "16 pixels high" is the height of a text line, not the em: CJK families have tall
    // lines, so their em comes out smaller and the panel's lines still fit.
    font.setPixelSize(kUiFontPixelHeight);
    const int line = QFontMetrics(font).height();
    if (line > kUiFontPixelHeight)
        font.setPixelSize(std::max(9, kUiFontPixelHeight * kUiFontPixelHeight / line));
    font.setWeight(QFont::Normal);
    font.setStyleHint(QFont::SansSerif);
    return font;
}

}  // namespace kaitoro
