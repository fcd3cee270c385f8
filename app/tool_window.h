// The settings window, the quick finite-fault editor and the zone assignment window: one Qt
// tool window that builds its children from the shell's control tables and forwards button
// presses, edits, keys and the close box to the shell's handlers.
#pragma once

#include <QFont>
#include <QPushButton>
#include <QScrollArea>
#include <QWidget>
#include <map>

#include "shell/tool_window.h"

namespace kaitoro {

// Buttons sized for the narrower Windows fonts: a label that does not fit gets a smaller
// pixel size (down to 11 px) instead of being cut off.
void fit_button_text(QPushButton* button);

class ToolWindow : public QWidget, public ControlWindow {
    Q_OBJECT
  public:
    ToolWindow(const ToolWindowDef* def, QWidget* owner, const QFont& font);

    void set_controls(const std::vector<ControlSpec>& controls) override;
    bool has_control(int id) override;
    std::string control_text(int id) override;
    void set_control_text(int id, const std::string& utf8) override;
    void set_control_color(int id, std::uint32_t rgb) override;
    int focused_control() override;
    void raise_window() override;
    void destroy_window() override;

    const ToolWindowDef* def() const { return def_; }
    // A screen whose free area cannot hold the window: the window shrinks to fit and its
    // controls scroll inside it. Nothing changes on a screen that holds it.
    void fit_to_screen(const QSize& available);
    QScrollArea* scroll_area() const { return scroll_; }
    QWidget* control(int id) const;

  protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    QWidget* make_control(const ControlSpec& def);
    QWidget* host() { return content_ ? content_ : this; }

    const ToolWindowDef* def_;
    std::map<int, QWidget*> controls_;  // addressable controls by id
    std::vector<QWidget*> children_;    // every child of the current build
    bool destroyed_ = false;
    QScrollArea* scroll_ = nullptr;  // only on a screen too small for the window
    QWidget* content_ = nullptr;     // the scrolled page holding the controls
};

}  // namespace kaitoro
