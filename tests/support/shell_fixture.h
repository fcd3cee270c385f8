// A main window without a toolkit: a synthetic coast with stations, the program's hooks wired
// as at start-up, a scripted platform and fake tool windows. Tests send the window its events
// in window pixels, as the desktop front end does.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "core/driver.h"
#include "core/status.h"
#include "render/install.h"
#include "render/viewport.h"
#include "shell/main_window.h"
#include "source_design/undo.h"
#include "tests/support/fake_platform.h"
#include "tests/support/fake_windows.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro::testing {

// The three-station coast; in a 1280 x 760 client the map is 8 pixels per cell.
class ShellTest : public ::testing::Test {
  protected:
    void SetUp() override {
        install_grid(load_spec(three_station_coast()));
        set_platform(&fake_.fake);
        windows_.install();
        fake_.fake.exe_path = dir_.file("kaitoro");
        source_design_install_hooks();
        viewport_install_node_tune_hooks();
        render_install_hooks();
        g_base_pixels.assign(g_grid.cell_count(), 0);
        g_pixels.assign(g_grid.cell_count(), 0);
        main_window_create(kMainWindowWidth, kMainWindowHeight);
    }
    void TearDown() override { reset_all_globals(); }

    // Window pixel at the centre of cell (x, y).
    static void pixel_of(int x, int y, int* sx, int* sy) { viewport_cell_center(x, y, sx, sy); }

    void key(int k, int shift = 0, int ctrl = 0) { main_window_key_down(k, shift, ctrl); }
    void move_to_cell(int x, int y, int left = 0, int shift = 0, int ctrl = 0) {
        int sx, sy;
        pixel_of(x, y, &sx, &sy);
        main_window_mouse_move(sx, sy, left, shift, ctrl);
    }
    void press_cell(int x, int y, int shift = 0, int ctrl = 0) {
        int sx, sy;
        pixel_of(x, y, &sx, &sy);
        main_window_left_down(sx, sy, shift, ctrl);
    }
    void release_cell(int x, int y) {
        int sx, sy;
        pixel_of(x, y, &sx, &sy);
        main_window_left_up(sx, sy);
    }
    std::string status() const { return g_status; }

    TempDir dir_;
    ScopedFakePlatform fake_;
    ScopedFakeWindows windows_;
};

}  // namespace kaitoro::testing
