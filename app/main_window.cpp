#include "app/main_window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <QWheelEvent>

#include "app/qt_keys.h"
#include "app/qt_surface.h"
#include "app/tool_window.h"
#include "render/scene.h"
#include "shell/tool_window.h"
#include "source_design/brush.h"
#include "source_design/node_tune.h"

namespace kaitoro {

namespace {

int shift_of(Qt::KeyboardModifiers m) {
    return m.testFlag(Qt::ShiftModifier) ? 1 : 0;
}
int ctrl_of(Qt::KeyboardModifiers m) {
    return m.testFlag(Qt::ControlModifier) ? 1 : 0;
}

QPointer<MainWindow> g_qt_main_window;

}  // namespace

MainWindow::MainWindow(const QFont& ui_font) : font_(ui_font) {
    setObjectName(QString::fromUtf8(kMainWindowClass));
    setWindowTitle(QString::fromUtf8(kMainWindowCaption));
    setFont(font_);
    resize(kMainWindowWidth, kMainWindowHeight);
    setMinimumSize(kMainWindowMinWidth, kMainWindowMinHeight);
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    // The scene covers the whole client area; nothing needs erasing first.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_NoSystemBackground);
    setCursor(Qt::ArrowCursor);
    for (int i = 0; i < kPanelButtonCount; ++i) {
        auto* b = new QPushButton(QString::fromUtf8(g_panel_button_defs[i].label), this);
        b->setObjectName(QStringLiteral("button_%1").arg(g_panel_button_defs[i].id));
        b->setFont(font_);
        b->setFocusPolicy(Qt::NoFocus);  // keys stay with the map (Space must not press it)
        const int id = g_panel_button_defs[i].id;
        connect(b, &QPushButton::clicked, this, [id] { main_window_button_command(id); });
        buttons_[std::size_t(i)] = b;
    }
    main_window_create(width(), height());
    layout_buttons();
    run_timer_ = startTimer(kMainTimerPeriodMs, Qt::PreciseTimer);
}

MainWindow::~MainWindow() {
    if (run_timer_) killTimer(run_timer_);
}

void MainWindow::layout_buttons() {
    for (int i = 0; i < kPanelButtonCount; ++i) {
        const PixelRect r = panel_button_rect(i, width(), height());
        buttons_[std::size_t(i)]->setGeometry(r.x, r.y, r.w, r.h);
        fit_button_text(buttons_[std::size_t(i)]);
    }
}

void MainWindow::paintEvent(QPaintEvent*) {
    const SceneWindow scene{width(), height(), shift_down_ ? 1 : 0};
    if (g_double_buffer_enabled && width() > 0 && height() > 0) {
        // Device pixels, so text and markers stay sharp on scaled displays.
        const qreal dpr = devicePixelRatioF();
        const QSize device_size = size() * dpr;
        if (back_buffer_.size() != device_size || back_buffer_.devicePixelRatio() != dpr) {
            back_buffer_ = QImage(device_size, QImage::Format_RGB32);
            back_buffer_.setDevicePixelRatio(dpr);
        }
        {
            QPainter p(&back_buffer_);
            QtSurface surface(&p, font_);
            draw_scene_to_hdc(&surface, &scene);
        }
        QPainter w(this);
        w.drawImage(0, 0, back_buffer_);
    } else {
        QPainter p(this);
        QtSurface surface(&p, font_);
        draw_scene_to_hdc(&surface, &scene);
    }
}

void MainWindow::resizeEvent(QResizeEvent*) {
    // Without a window manager to honour the minimum (a bare X server), a smaller size can
    // still arrive: grow back rather than let the buttons cover the panel.
    if (width() < minimumWidth() || height() < minimumHeight()) {
        resize(size().expandedTo(minimumSize()));
        return;
    }
    layout_buttons();
    main_window_resize(width(), height());
}

void MainWindow::timerEvent(QTimerEvent* event) {
    // Only the run timer drives the model; other ids are not ours.
    main_window_timer(event->timerId() == run_timer_ ? kMainTimerId : 0);
}

void MainWindow::mouseMoveEvent(QMouseEvent* event) {
    shift_down_ = event->modifiers().testFlag(Qt::ShiftModifier);
    const QPoint p = event->position().toPoint();
    main_window_mouse_move(p.x(), p.y(), event->buttons().testFlag(Qt::LeftButton) ? 1 : 0,
                           shift_of(event->modifiers()), ctrl_of(event->modifiers()));
}

void MainWindow::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return QWidget::mousePressEvent(event);
    setFocus(Qt::MouseFocusReason);
    left_down_ = true;
    const QPoint p = event->position().toPoint();
    main_window_left_down(p.x(), p.y(), shift_of(event->modifiers()), ctrl_of(event->modifiers()));
}

void MainWindow::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return QWidget::mouseReleaseEvent(event);
    left_down_ = false;
    const QPoint p = event->position().toPoint();
    main_window_left_up(p.x(), p.y());
}

void MainWindow::wheelEvent(QWheelEvent* event) {
    const int dy = event->angleDelta().y();
    const QPoint p = event->position().toPoint();
    if (dy == 0 || !main_window_wheel(p.x(), p.y(), dy > 0 ? 1 : 0, ctrl_of(event->modifiers())))
        QWidget::wheelEvent(event);
}

void MainWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Shift) {  // the tooltip marks Shift batches
        shift_down_ = true;
        update();
    }
    const int key = key_code_from_qt(event->key(), event->modifiers());
    if (key && main_window_key_down(key, shift_of(event->modifiers()), ctrl_of(event->modifiers())))
        return;
    QWidget::keyPressEvent(event);
}

void MainWindow::keyReleaseEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Shift) {
        shift_down_ = false;
        update();
    }
    if (!event->isAutoRepeat() && event->key() == Qt::Key_Shift && main_window_key_up(kKeyShift))
        return;
    QWidget::keyReleaseEvent(event);
}

// A dialog or another window taking over in the middle of a drag: the drag is lost, as when
// the platform takes the mouse capture away.
void MainWindow::drag_interrupted() {
    if (!left_down_ && !g_drag_painting && !g_pan_dragging && !g_node_tune_box_select_active)
        return;
    left_down_ = false;
    main_window_capture_lost();
}

void MainWindow::focusOutEvent(QFocusEvent* event) {
    if (event->reason() != Qt::PopupFocusReason) drag_interrupted();
    QWidget::focusOutEvent(event);
}

bool MainWindow::event(QEvent* event) {
    if (event->type() == QEvent::WindowDeactivate) drag_interrupted();
    return QWidget::event(event);
}

bool MainWindow::focusNextPrevChild(bool) {
    return false;
}

void MainWindow::closeEvent(QCloseEvent* event) {
    main_window_destroy();
    if (run_timer_) killTimer(run_timer_);
    run_timer_ = 0;
    event->accept();
    QApplication::quit();
}

void install_shell_windows(MainWindow* main_window) {
    g_qt_main_window = main_window;
    g_shell_windows.create_tool_window = [](const ToolWindowDef* def) -> ControlWindow* {
        if (!g_qt_main_window) return nullptr;
        auto* w = new ToolWindow(def, g_qt_main_window, g_qt_main_window->ui_font());
        w->show();
        w->raise();
        w->activateWindow();
        return w;
    };
    g_shell_windows.quit = [] {
        if (g_qt_main_window) g_qt_main_window->close();
    };
    g_shell_windows.focus_main = [] {
        if (!g_qt_main_window) return;
        g_qt_main_window->activateWindow();
        g_qt_main_window->setFocus(Qt::OtherFocusReason);
    };
}

}  // namespace kaitoro
