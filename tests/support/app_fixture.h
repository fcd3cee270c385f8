// The desktop program's main window on Qt's offscreen platform, started the way the program
// starts on the three-station coast, with a scripted platform for dialogs and boxes. Events
// are sent as the toolkit would deliver them.
#pragma once

#include <gtest/gtest.h>

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <memory>
#include <string>

#include "app/main_window.h"
#include "app/tool_window.h"
#include "core/driver.h"
#include "core/status.h"
#include "render/viewport.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro::testing {

class AppTest : public ::testing::Test {
  protected:
    void SetUp() override {
        reset_all_globals();
        const std::string path = dir_.file("grid.bin");
        ASSERT_TRUE(write_file_bytes(path, encode_grid_file(three_station_coast())));
        fake_.exe_path = dir_.file("kaitoro");
        set_platform(&fake_);
        ASSERT_EQ(start_program(path), 0);
        window_ = std::make_unique<MainWindow>(make_ui_font());
        install_shell_windows(window_.get());
        window_->show();
        QApplication::processEvents();
    }
    void TearDown() override {
        window_->close();
        window_.reset();
        QApplication::processEvents();
        driver_shutdown();
        reset_all_globals();
    }

    QPoint cell_pixel(int x, int y) {
        compute_viewport(window_->width(), window_->height());
        int sx, sy;
        viewport_cell_center(x, y, &sx, &sy);
        return {sx, sy};
    }
    void mouse(QEvent::Type type, QPoint p, Qt::MouseButton button, Qt::MouseButtons buttons,
               Qt::KeyboardModifiers mods = Qt::NoModifier) {
        QMouseEvent e(type, QPointF(p), window_->mapToGlobal(QPointF(p)), button, buttons, mods);
        QApplication::sendEvent(window_.get(), &e);
    }
    void key(QEvent::Type type, int qt_key, Qt::KeyboardModifiers mods = Qt::NoModifier) {
        QKeyEvent e(type, qt_key, mods);
        QApplication::sendEvent(window_.get(), &e);
    }
    template <class W>
    W* control(ControlWindow* w, int id) {
        auto* tool = dynamic_cast<ToolWindow*>(w);
        return tool ? qobject_cast<W*>(tool->control(id)) : nullptr;
    }
    std::string status() const { return g_status; }

    TempDir dir_;
    FakePlatform fake_;
    std::unique_ptr<MainWindow> window_;
};

}  // namespace kaitoro::testing
