// The main window: the map and information panel drawn by the scene, the nine panel buttons
// and the run timer. Every event goes to the shell's main-window functions.
#pragma once

#include <QFont>
#include <QImage>
#include <QPushButton>
#include <QWidget>
#include <array>

#include "shell/main_window.h"

namespace kaitoro {

class MainWindow : public QWidget {
    Q_OBJECT
  public:
    explicit MainWindow(const QFont& ui_font);
    ~MainWindow() override;

    // The toolkit's id of the 16 ms run timer (the shell calls it timer 1).
    int run_timer_id() const { return run_timer_; }
    QPushButton* panel_button(int index) const { return buttons_[std::size_t(index)]; }
    const QFont& ui_font() const { return font_; }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    bool event(QEvent* event) override;
    // Tab belongs to node tune, not to focus changes between buttons.
    bool focusNextPrevChild(bool next) override;

  private:
    void layout_buttons();
    void drag_interrupted();

    QFont font_;
    std::array<QPushButton*, kPanelButtonCount> buttons_{};
    int run_timer_ = 0;
    bool left_down_ = false;
    // Shift as the last input event left it (the toolkit's modifier state lags behind the
    // release of Shift itself).
    bool shift_down_ = false;
    QImage back_buffer_;
};

// Points the shell's window operations (tool windows, quit, focus) at this main window.
void install_shell_windows(MainWindow* main_window);

}  // namespace kaitoro
