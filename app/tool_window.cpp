#include "app/tool_window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QGuiApplication>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QStyle>
#include <algorithm>

#include "app/qt_keys.h"
#include "app/qt_surface.h"

namespace kaitoro {

namespace {

QString from_utf8(const std::string& s) {
    return QString::fromUtf8(s.data(), int(s.size()));
}

// Multi-line edits keep LF only; the shell may hand over CR LF.
QString multiline_text(const std::string& s) {
    QString t = from_utf8(s);
    t.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    return t;
}

}  // namespace

namespace {

// A font no larger than `base` whose text fits `room` pixels wide and whose `lines` lines fit
// `height` pixels (down to 11 px).
QFont fitted_font(QFont f, const QString& text, int room, int lines, int height) {
    for (int px = f.pixelSize(); px > 11; --px) {
        f.setPixelSize(px);
        const QFontMetrics m(f);
        if ((text.isEmpty() || m.horizontalAdvance(text) <= room) &&
            (height <= 0 || m.lineSpacing() * lines <= height))
            break;
    }
    return f;
}

}  // namespace

void fit_button_text(QPushButton* button) {
    QFont f = button->parentWidget() ? button->parentWidget()->font() : button->font();
    const int room = button->width() - 6;
    for (int px = f.pixelSize(); px > 11; --px) {
        f.setPixelSize(px);
        if (QFontMetrics(f).horizontalAdvance(button->text()) <= room) break;
    }
    button->setFont(f);
}

ToolWindow::ToolWindow(const ToolWindowDef* def, QWidget* owner, const QFont& font)
    : QWidget(owner, Qt::Tool | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                         Qt::WindowCloseButtonHint),
      def_(def) {
    setWindowTitle(QString::fromUtf8(def->title));
    setObjectName(QString::fromUtf8(def->window_class));
    setFont(font);
    setFixedSize(def->width, def->height);
    // Clicking the window's background takes the focus from the edits, so keys such as the
    // editor's arrows reach the window.
    setFocusPolicy(Qt::ClickFocus);
    const QScreen* shown_on = owner ? owner->screen() : QGuiApplication::primaryScreen();
    if (shown_on) fit_to_screen(shown_on->availableGeometry().size());
}

namespace {

// Keys pass through to the window (the editor's arrows), the wheel and the bars scroll.
class KeyTransparentScrollArea : public QScrollArea {
  public:
    using QScrollArea::QScrollArea;

  protected:
    void keyPressEvent(QKeyEvent* event) override { QWidget::keyPressEvent(event); }
};

// Room the window frame and a panel of the desktop take from the screen's free area.
constexpr int kFrameAllowanceW = 16;
constexpr int kFrameAllowanceH = 48;

}  // namespace

void ToolWindow::fit_to_screen(const QSize& available) {
    const int room_w = available.width() - kFrameAllowanceW;
    const int room_h = available.height() - kFrameAllowanceH;
    if (def_->width <= room_w && def_->height <= room_h) return;
    if (!scroll_) {
        // The controls keep their places on a page of the window's usual size, which
        // scrolls inside a window that fits the screen.
        content_ = new QWidget;
        content_->setFixedSize(def_->width, def_->height);
        for (QWidget* w : children_) {
            w->setParent(content_);
            w->show();
        }
        scroll_ = new KeyTransparentScrollArea(this);
        scroll_->setObjectName(QStringLiteral("tool_window_scroll"));
        scroll_->setFocusPolicy(Qt::NoFocus);
        scroll_->setFrameShape(QFrame::NoFrame);
        scroll_->setWidget(content_);
    }
    const int bar = style()->pixelMetric(QStyle::PM_ScrollBarExtent);
    const bool tall = def_->height > room_h;
    const int w = std::max(120, std::min(def_->width + (tall ? bar : 0), room_w));
    const int h = std::max(120, std::min(def_->height + (w < def_->width ? bar : 0), room_h));
    setFixedSize(w, h);
    scroll_->setGeometry(0, 0, w, h);
}

QWidget* ToolWindow::make_control(const ControlSpec& s) {
    const int id = s.id;
    QWidget* w = nullptr;
    switch (s.kind) {
        case ControlKind::Label: {
            auto* l = new QLabel(from_utf8(s.text), host());
            l->setTextFormat(Qt::PlainText);
            // A one-line box keeps its text on one line, smaller if it must; taller boxes wrap.
            if (s.h < 2 * QFontMetrics(font()).lineSpacing() && !s.text.empty())
                l->setFont(fitted_font(font(), l->text(), s.w, 1, 0));
            l->setWordWrap(true);
            l->setAlignment(Qt::AlignLeft | Qt::AlignTop);
            w = l;
            break;
        }
        case ControlKind::Edit: {
            auto* e = new QLineEdit(from_utf8(s.text), host());
            e->setCursorPosition(0);
            connect(e, &QLineEdit::textChanged, this, [this, id] {
                if (def_->edit_changed && !destroyed_) def_->edit_changed(this, id);
            });
            w = e;
            break;
        }
        case ControlKind::MultiLineEdit: {
            auto* e = new QPlainTextEdit(multiline_text(s.text), host());
            e->setLineWrapMode(QPlainTextEdit::NoWrap);
            if (!s.vertical_scroll) {
                // The finite-fault cells show their three lines without scrolling.
                e->document()->setDocumentMargin(1);
                e->setFont(fitted_font(font(), QString(), 0, 3, s.h - 8));
            }
            e->setTabChangesFocus(true);
            e->setVerticalScrollBarPolicy(s.vertical_scroll ? Qt::ScrollBarAlwaysOn
                                                            : Qt::ScrollBarAlwaysOff);
            e->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
            connect(e, &QPlainTextEdit::textChanged, this, [this, id] {
                if (def_->edit_changed && !destroyed_) def_->edit_changed(this, id);
            });
            w = e;
            break;
        }
        case ControlKind::Button: {
            auto* b = new QPushButton(from_utf8(s.text), host());
            // A click leaves the focus where it was: "Apply slip %" needs to know which cell
            // the user was in.
            b->setFocusPolicy(Qt::TabFocus);
            connect(b, &QPushButton::clicked, this, [this, id] {
                if (def_->command && !destroyed_) def_->command(this, id);
            });
            w = b;
            break;
        }
    }
    w->setGeometry(s.x, s.y, s.w, s.h);
    if (auto* b = qobject_cast<QPushButton*>(w)) fit_button_text(b);
    if (id) w->setObjectName(QStringLiteral("control_%1").arg(id));
    w->show();
    return w;
}

void ToolWindow::set_controls(const std::vector<ControlSpec>& controls) {
    // The focus must not wander from a retiring control to a new one, where a refresh would
    // then take it for the field the user is typing in.
    if (isAncestorOf(QApplication::focusWidget())) setFocus(Qt::OtherFocusReason);
    // The old children may be mid-signal (a page button switching the page): retire them
    // after the event instead of deleting them here.
    for (QWidget* w : children_) {
        w->hide();
        w->setObjectName(QString());
        w->blockSignals(true);
        w->deleteLater();
    }
    children_.clear();
    controls_.clear();
    for (const ControlSpec& s : controls) {
        QWidget* w = make_control(s);
        children_.push_back(w);
        if (s.id) controls_[s.id] = w;
    }
}

QWidget* ToolWindow::control(int id) const {
    auto it = controls_.find(id);
    return it == controls_.end() ? nullptr : it->second;
}

bool ToolWindow::has_control(int id) {
    return control(id) != nullptr;
}

std::string ToolWindow::control_text(int id) {
    QWidget* w = control(id);
    QString t;
    if (auto* e = qobject_cast<QLineEdit*>(w))
        t = e->text();
    else if (auto* m = qobject_cast<QPlainTextEdit*>(w))
        t = m->toPlainText();
    else if (auto* l = qobject_cast<QLabel*>(w))
        t = l->text();
    else if (auto* b = qobject_cast<QPushButton*>(w))
        t = b->text();
    return t.toStdString();
}

void ToolWindow::set_control_text(int id, const std::string& utf8) {
    QWidget* w = control(id);
    if (auto* e = qobject_cast<QLineEdit*>(w)) {
        const QString t = from_utf8(utf8);
        if (e->text() != t) {
            e->setText(t);
            e->setCursorPosition(0);
        }
    } else if (auto* m = qobject_cast<QPlainTextEdit*>(w)) {
        const QString t = multiline_text(utf8);
        if (m->toPlainText() != t) m->setPlainText(t);
    } else if (auto* l = qobject_cast<QLabel*>(w)) {
        l->setText(from_utf8(utf8));
    } else if (auto* b = qobject_cast<QPushButton*>(w)) {
        b->setText(from_utf8(utf8));
        fit_button_text(b);
    }
}

void ToolWindow::set_control_color(int id, std::uint32_t rgb) {
    QWidget* w = control(id);
    if (!w) return;
    QPalette p = w->palette();
    p.setColor(QPalette::Base, qcolor_from_rgb(rgb));
    p.setColor(QPalette::Text, Qt::black);
    w->setPalette(p);
}

int ToolWindow::focused_control() {
    for (QWidget* f = QApplication::focusWidget(); f && f != this; f = f->parentWidget())
        for (const auto& [id, w] : controls_)
            if (w == f) return id;
    return 0;
}

void ToolWindow::raise_window() {
    show();
    raise();
    activateWindow();
}

void ToolWindow::destroy_window() {
    if (destroyed_) return;
    destroyed_ = true;
    hide();
    if (def_->destroyed) def_->destroyed(this);
    deleteLater();
}

void ToolWindow::closeEvent(QCloseEvent* event) {
    // The shell decides; the editor may refuse to close on an invalid cell.
    event->ignore();
    if (destroyed_) return;
    if (def_->close_box)
        def_->close_box(this);
    else
        destroy_window();
}

void ToolWindow::keyPressEvent(QKeyEvent* event) {
    const int key = key_code_from_qt(event->key(), event->modifiers());
    if (key && def_->key_down && def_->key_down(this, key)) {
        event->accept();
        return;
    }
    QWidget::keyPressEvent(event);
}

}  // namespace kaitoro
