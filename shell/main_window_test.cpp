#include "shell/main_window.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "core/driver.h"
#include "core/solver.h"
#include "core/sources.h"
#include "core/status.h"
#include "core/time_series.h"
#include "feed/zone_assign.h"
#include "quick_ff/placement.h"
#include "render/colors.h"
#include "render/scene.h"
#include "render/viewport.h"
#include "shell/quick_ff_window.h"
#include "shell/settings.h"
#include "shell/zone_assign_window.h"
#include "source_design/brush.h"
#include "source_design/node_tune.h"
#include "source_design/source_cell.h"
#include "source_design/undo.h"
#include "tests/support/shell_fixture.h"

namespace kaitoro {
namespace {

using testing::ShellTest;

bool starts_with(const std::string& s, const char* prefix) {
    return s.rfind(prefix, 0) == 0;
}

TEST(MainWindowLayout, ButtonsFormABlockAtTheBottomRightButNeverAboveRow330) {
    const PixelRect r0 = panel_button_rect(0, 1280, 760), r8 = panel_button_rect(8, 1280, 760);
    EXPECT_EQ((std::vector<int>{r0.x, r0.y, r0.w, r0.h, r8.x, r8.y}),
              (std::vector<int>{972, 648, 93, 28, 972 + 202, 648 + 72}));
    EXPECT_EQ(panel_button_rect(4, 800, 300).y, 330 + 36);  // a short window keeps the floor
    EXPECT_EQ(std::string(g_panel_button_defs[7].label), "Settings");
    EXPECT_EQ(g_panel_button_defs[8].id, kButtonKeyGuide);
}

TEST(MainWindowLayout, UiFontIsTheFirstInstalledFamilyElseTheDialogFont) {
    EXPECT_STREQ(choose_ui_font_family([](const char* f) {
                     return std::strcmp(f, "Noto Sans CJK JP") == 0 ||
                            std::strcmp(f, "Malgun Gothic") == 0;
                 }),
                 "Malgun Gothic");
    EXPECT_STREQ(choose_ui_font_family(
                     [](const char* f) { return std::strcmp(f, "Noto Sans CJK JP") == 0; }),
                 "Noto Sans CJK JP");
    EXPECT_STREQ(choose_ui_font_family([](const char*) { return false; }), "MS Shell Dlg 2");
}

TEST_F(ShellTest, DragPaintsAStrokeAndReleaseSummarisesIt) {
    press_cell(60, 40);
    EXPECT_TRUE(starts_with(status(), "Started curved reverse-fault source at x=60 y=40"))
        << status();
    EXPECT_EQ(windows_.captures, 1);
    for (int x = 61; x <= 70; ++x) move_to_cell(x, 40, /*left=*/1);
    EXPECT_TRUE(starts_with(status(), "Drawing sources... affected ")) << status();
    release_cell(70, 40);
    EXPECT_EQ(windows_.releases, 1);
    EXPECT_EQ(g_source_undo_count, 1);  // one undo step for the whole stroke

    // Moving without the button paints nothing more.
    const std::size_t n = g_sources.count;
    move_to_cell(90, 60);
    EXPECT_EQ(g_sources.count, n);
}

TEST_F(ShellTest, ShiftAndCtrlPressesNeverPaint) {
    press_cell(60, 40, /*shift=*/1);
    EXPECT_EQ(status(),
              "Shift zone assign mode: hover over observation markers. Source drawing disabled.");
    move_to_cell(62, 40, 1, 1);
    main_window_left_up(0, 0);
    EXPECT_EQ(g_sources.count, 0u);

    press_cell(60, 40, 0, /*ctrl=*/1);
    EXPECT_EQ(status(), "Panning view. Hold Ctrl and drag. Zoom 1.00x.");
    move_to_cell(64, 40, 1, 0, 1);
    EXPECT_EQ(g_sources.count, 0u);
    EXPECT_EQ(g_view_pan_x, 0.0);  // at zoom 1 the map cannot move
    release_cell(64, 40);
    EXPECT_EQ(status(), "View pan finished. Zoom 1.00x.");
    EXPECT_EQ(g_pan_dragging, 0);
}

TEST_F(ShellTest, CtrlWheelZoomsAboutThePointerAndCtrlDragPans) {
    // From zoom 2 the map overflows the map area both ways, so the pan is never clamped.
    g_view_zoom = 2.0;
    compute_viewport(g_client_w, g_client_h);
    int sx, sy;
    pixel_of(30, 60, &sx, &sy);
    sx += 3;  // not exactly a cell centre
    int gx0, gy0;
    ASSERT_TRUE(screen_to_grid(sx, sy, &gx0, &gy0));
    for (int i = 0; i < 5; ++i) EXPECT_EQ(main_window_wheel(sx, sy, 1, 1), 1);
    int gx, gy;
    ASSERT_TRUE(screen_to_grid(sx, sy, &gx, &gy));
    EXPECT_EQ(gx, gx0);
    EXPECT_EQ(gy, gy0);
    EXPECT_NEAR(g_view_zoom, 2.0 * std::pow(1.18, 5), 1e-9);
    EXPECT_EQ(status(), "View zoom 4.58x. Ctrl+drag to pan.");

    // Over the panel the centre of the map area holds still.
    int map_w, map_h;
    viewport_map_area(g_client_w, g_client_h, &map_w, &map_h);
    int cx0, cy0, cx1, cy1;
    screen_to_grid(map_w / 2, map_h / 2, &cx0, &cy0);
    main_window_wheel(1200, 300, 1, 1);
    screen_to_grid(map_w / 2, map_h / 2, &cx1, &cy1);
    EXPECT_EQ(cx1, cx0);
    EXPECT_EQ(cy1, cy0);

    // Pan by Ctrl+drag: the map follows the pointer.
    const int view_x = g_view_x;
    main_window_left_down(400, 300, 0, 1);
    main_window_mouse_move(380, 300, 1, 0, 1);
    EXPECT_EQ(g_view_x, view_x - 20);
    EXPECT_TRUE(starts_with(status(), "Panning view. Zoom ")) << status();

    // Zoom is kept within 1..64 and still reports.
    for (int i = 0; i < 40; ++i) main_window_wheel(sx, sy, 0, 1);
    EXPECT_NEAR(g_view_zoom, 1.0, 1e-6);
    EXPECT_EQ(status(), "View zoom 1.00x. Ctrl+drag to pan.");
}

TEST_F(ShellTest, LosingTheCaptureEndsStrokeAndPan) {
    press_cell(60, 40);
    ASSERT_EQ(g_drag_painting, 1);
    main_window_capture_lost();
    EXPECT_EQ(g_drag_painting, 0);
    EXPECT_EQ(g_last_paint_grid_x, -1);
    const std::size_t n = g_sources.count;
    move_to_cell(70, 40, 1);  // a later move with the button down paints nothing
    EXPECT_EQ(g_sources.count, n);

    press_cell(60, 40, 0, 1);
    main_window_capture_lost();
    EXPECT_EQ(g_pan_dragging, 0);
}

TEST_F(ShellTest, PointerOutsideTheMapForgetsCellAndStation) {
    move_to_cell(10, 30);
    EXPECT_EQ(g_mouse_grid_x, 10);
    EXPECT_EQ(g_hover_station_i, -1);  // transmit-only mode hides stations without Shift
    move_to_cell(10, 30, 0, /*shift=*/1);
    EXPECT_EQ(g_hover_station_i, 1);
    main_window_mouse_move(1200, 100, 0, 0, 0);  // over the panel
    EXPECT_EQ(g_mouse_grid_x, -1);
    EXPECT_EQ(g_mouse_screen_x, -1);
    EXPECT_EQ(g_hover_station_i, -1);
}

TEST_F(ShellTest, SpaceRunsTheModelOnTimerTicksAndOnlyTimerOne) {
    EXPECT_EQ(main_window_timer(kMainTimerId), 0);
    EXPECT_EQ(g_time_s, 0);
    key(kKeySpace);
    EXPECT_EQ(g_running, 1);
    EXPECT_EQ(status(), "Running. ORVEX observation sync fixed wall-clock 1x active (+0s).");
    EXPECT_EQ(g_orvex_realtime_active, 1);
    main_window_timer(kMainTimerId);
    EXPECT_EQ(g_time_s, 60);  // four 15 s steps per tick
    key(kKeySpace);
    EXPECT_EQ(status(), "Paused.");

    // The button has its own start message.
    main_window_button_command(kButtonRunPause);
    EXPECT_EQ(status(),
              "Running. ORVEX observation sync fixed wall-clock 1x active (+0s). Selected station "
              "rings hidden.");
}

TEST_F(ShellTest, StepKeysClampAndReport) {
    for (int i = 0; i < 16; ++i) key('6');
    EXPECT_FLOAT_EQ(g_wave_display_coeff, 20.0f);
    EXPECT_EQ(status(), "Wave display coefficient = 20.00x. Color settings are unchanged.");
    g_wave_display_coeff = 0.06f;
    key('5');
    EXPECT_FLOAT_EQ(g_wave_display_coeff, 0.05f);

    key('7');
    EXPECT_EQ(g_wave_overlay_alpha, 0.0f);
    EXPECT_EQ(status(), "Wave opacity = 0%.");
    key('8');
    EXPECT_EQ(status(), "Wave opacity = 5%.");

    g_new_source_delay_s = 20;
    key(kKeyBracketLeft);
    EXPECT_EQ(g_new_source_delay_s, 15);
    key(kKeyBracketLeft);
    EXPECT_EQ(g_new_source_delay_s, 15);
    EXPECT_EQ(status(), "New source delay = 15 s.");

    g_steps_per_frame = 1;
    key(kKeyDown);
    EXPECT_EQ(g_steps_per_frame, 1);
    g_steps_per_frame = 100;
    key(kKeyUp);
    EXPECT_EQ(status(), "Speed set to 100 step/frame.");

    key(kKeyMinus, /*shift=*/1, /*ctrl=*/1);  // Ctrl wins: 0.01
    EXPECT_EQ(status(), "New source slip = 0.99 m. Step = 0.01 m.");
    for (int i = 0; i < 5; ++i) key(kKeyMinus, 1);
    EXPECT_FLOAT_EQ(g_new_source_height_m, 0.01f);
    key(kKeyPlusEquals);
    EXPECT_EQ(status(), "New source slip = 0.11 m. Step = 0.10 m.");

    key('0');
    EXPECT_EQ(status(), "Subsidence ratio = 50% of uplift.");
    for (int i = 0; i < 20; ++i) key('9');
    EXPECT_FLOAT_EQ(g_subsidence_ratio, 0.1f);

    key('3', 1);
    EXPECT_EQ(status(), "Coastal boundary energy loss = 54%. Reflection R = 0.6782.");
    key('A');
    EXPECT_EQ(status(), "Coastal boundary absorption: off. Energy loss = 54%.");

    g_fault_width_km = 30.0f;
    key(kKeyComma, 1);
    EXPECT_FLOAT_EQ(g_fault_width_km, 10.0f);
    EXPECT_TRUE(starts_with(status(), "Fault width = 10.0 km. Step = 20.0 km. Projected radius "))
        << status();
    key(kKeyComma, 1);
    EXPECT_FLOAT_EQ(g_fault_width_km, 1.0f);
}

TEST_F(ShellTest, ToggleKeysReportTheNewState) {
    struct Case {
        int key, ctrl;
        const char* status;
    };
    const Case cases[] = {
        {'M', 0, "Source markers: hidden. Source data is still active."},
        {'P', 0, "Coastal height markers: shown."},
        {'K', 0, "Coastal height marker mode: live current height."},
        {'H', 0, "Horizontal display flip: on."},
        {'V', 0, "Vertical display flip: off."},
        {'I', 0, "Strike-slip sense = left-lateral."},
        {'F', 0, "Low-flicker double buffering: off."},
        {'W', 0, "Wave overlay layer = max positive wave."},
        {'W', 0, "Wave overlay layer = max wave + 1m-eq arrival."},
        {'W', 0, "Wave overlay layer = live waves."},
        {'Q', 0, "Source profile = flat brush. Strike angle = 0 deg."},
        {'X', 0,
         "Manual strike control removed. Drag the mouse to set fault strike automatically."},
        {'R', 1, "ORVEX transmit-only render: off."},
        {'B', 0, "Selected time-series station rings: shown."},
    };
    for (const Case& c : cases) {
        key(c.key, 0, c.ctrl);
        EXPECT_EQ(status(), c.status);
    }
    EXPECT_EQ(g_base_cache_valid, 0);  // the flips cleared the base map

    // Transmit-only on again: the overlay and the station layers go away.
    g_wave_overlay_alpha = 0.6f;
    g_show_coast_height_markers = 1;
    key('R', 0, 1);
    EXPECT_EQ(g_orvex_transmit_mode, 1);
    EXPECT_EQ(g_wave_overlay_alpha, 0.0f);
    EXPECT_EQ(g_show_coast_height_markers, 0);
    EXPECT_EQ(g_show_time_series_markers, 0);

    // Unbound keys go on to the toolkit.
    EXPECT_EQ(main_window_key_down('J', 0, 0), 0);
    EXPECT_EQ(main_window_key_down(kKeyEscape, 0, 0), 1);
    EXPECT_EQ(windows_.quits, 1);
}

TEST_F(ShellTest, DebugKeyIsConsumedByBAndLButNotByR) {
    key('D', 0, 1);
    EXPECT_EQ(g_debug_key_armed, 1);
    press_cell(60, 40);
    release_cell(60, 40);
    const std::size_t n = g_sources.count;
    g_time_s = 300;
    key('R');
    EXPECT_EQ(g_time_s, 0);
    EXPECT_EQ(g_sources.count, n);
    EXPECT_EQ(status(), "Reset. " + std::to_string(n) + " source point(s) preserved.");
    EXPECT_EQ(g_debug_key_armed, 1);

    key('B');
    EXPECT_EQ(g_show_bathymetry, 1);
    EXPECT_EQ(g_debug_key_armed, 0);
    EXPECT_EQ(status(), "Bathymetry debug base map: shown.");

    key('D', 0, 1);
    key('L');
    EXPECT_EQ(g_invert_landsea_display, 1);
    EXPECT_EQ(status(), "Land/sea display inversion: on.");
    key('L');  // disarmed: the source CSV dialog, cancelled
    EXPECT_EQ(fake_.fake.open_requests.size(), 1u);
    EXPECT_EQ(fake_.fake.open_requests[0].title, "Load source CSV");
}

TEST_F(ShellTest, ClearKeyIsUndoableButTheButtonIsNot) {
    press_cell(60, 40);
    release_cell(60, 40);
    const std::size_t n = g_sources.count;
    ASSERT_GT(n, 0u);
    key('C');
    EXPECT_EQ(g_sources.count, 0u);
    EXPECT_EQ(status(), "Cleared all source points and reset rupture delay cursor.");
    key('Z', 0, 1);
    EXPECT_EQ(g_sources.count, n);

    const int undo_depth = g_source_undo_count;
    main_window_button_command(kButtonClearSources);
    EXPECT_EQ(g_sources.count, 0u);
    EXPECT_EQ(g_source_undo_count, undo_depth);
    key('Z', 0, 1);  // back to before the stroke, not before the button
    EXPECT_EQ(g_sources.count, 0u);
}

TEST_F(ShellTest, TKeyPicksTheHoveredStationAndClearsWithoutOne) {
    key('T');
    EXPECT_EQ(status(),
              "Hover an observation marker, then press T. Use Shift+T to add multiple stations.");
    ASSERT_EQ(fake_.fake.beeps.size(), 1u);

    key('R', 0, 1);  // transmit-only off so hovering finds stations
    move_to_cell(10, 20);
    ASSERT_EQ(g_hover_station_i, 0);
    key('T');
    EXPECT_EQ(g_ts_rec_count, 1u);
    EXPECT_EQ(g_show_time_series_markers, 1);  // paused: rings shown
    move_to_cell(10, 30);
    key('T', 1);
    EXPECT_EQ(g_ts_rec_count, 2u);

    move_to_cell(60, 60);
    key('T');
    EXPECT_EQ(g_ts_rec_count, 0u);
    EXPECT_EQ(status(),
              "Cleared time-series station selection. Previous selection had 2 station(s).");
    EXPECT_EQ(g_show_time_series_markers, 0);
}

TEST_F(ShellTest, ShiftHoverCollectsStationsAndReleaseOpensTheZoneWindow) {
    move_to_cell(10, 20, 0, 1);
    EXPECT_TRUE(
        starts_with(status(), "Added to Shift zone batch: 1 station(s). Last Obs #1, id 11,"))
        << status();
    move_to_cell(10, 20, 0, 1);
    EXPECT_TRUE(starts_with(status(), "Hovering Shift zone batch: 1 station(s).")) << status();
    move_to_cell(10, 30, 0, 1);
    EXPECT_EQ(main_window_key_up(kKeyShift), 1);
    testing::FakeControlWindow* w = windows_.open_window(&g_zone_assign_window_def);
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(w->control_text(kZoneIdEdit), "11");
    bool found = false;
    for (const ControlSpec& c : w->controls)
        found = found || c.text == "Target: 2 station(s), first Obs #1";
    EXPECT_TRUE(found);

    w->type(kZoneIdEdit, "12");
    w->type(kZoneNameEdit, "");
    w->press(kZoneApply);
    EXPECT_EQ(g_grid.station_zone[0], 12);
    EXPECT_EQ(g_grid.station_zone[1], 12);
    EXPECT_EQ(g_grid.station_zone[2], 13);
    EXPECT_EQ(g_shift_zone_assign_active, 0);

    // Releasing Shift without a batch opens nothing.
    EXPECT_EQ(main_window_key_up(kKeyShift), 0);
    EXPECT_EQ(windows_.open_window(&g_zone_assign_window_def), nullptr);
}

TEST_F(ShellTest, ZoneWindowCancelClearsTheBatchButTheCloseBoxKeepsIt) {
    move_to_cell(10, 20, 0, 1);
    main_window_key_up(kKeyShift);
    testing::FakeControlWindow* w = windows_.open_window(&g_zone_assign_window_def);
    ASSERT_NE(w, nullptr);
    w->close_box();
    EXPECT_TRUE(w->destroyed);
    EXPECT_EQ(g_shift_zone_assign_count, 1);

    main_window_key_up(kKeyShift);
    w = windows_.open_window(&g_zone_assign_window_def);
    ASSERT_NE(w, nullptr);
    w->press(kZoneCancel);
    EXPECT_EQ(g_shift_zone_assign_count, 0);
    EXPECT_EQ(g_grid.station_zone[0], 11);
}

TEST_F(ShellTest, NodeTuneTakesKeysAndClicksWhileOn) {
    press_cell(60, 40);
    release_cell(60, 40);
    key('E');
    EXPECT_EQ(g_node_tune_mode, 1);
    EXPECT_TRUE(starts_with(status(), "Advanced node tune mode ON")) << status();
    const std::size_t n = g_sources.count;
    press_cell(90, 20);  // no marker there: nothing is painted
    EXPECT_EQ(g_sources.count, n);
    EXPECT_EQ(status(),
              "Node tune: no source marker here. Click a marker; Ctrl-click toggles, Shift-click "
              "adds.");
    main_window_left_down(1200, 100, 0, 0);  // over the panel
    EXPECT_EQ(g_mouse_grid_x, -1);
    key('E');
    EXPECT_EQ(g_node_tune_mode, 0);
    EXPECT_EQ(status(), "Advanced node tune mode: off. Normal source drawing restored.");
}

TEST_F(ShellTest, SOpensTheEditorAndPlacementModeTakesItsKeys) {
    key('S');
    testing::FakeControlWindow* editor = windows_.open_window(&g_quick_ff_editor_def);
    ASSERT_NE(editor, nullptr);
    EXPECT_EQ(status(),
              "Opened quick finite-fault editor. Closing it starts mouse-following epicenter "
              "placement preview.");
    key('S');
    EXPECT_EQ(editor->raised, 1);
    EXPECT_EQ(windows_.windows.size(), 1u);

    fake_.fake.box_answers = {MessageAnswer::No, MessageAnswer::Yes};
    editor->press(kQffApplyPlacement);
    ASSERT_EQ(g_quick_ff_place_mode, 1);
    EXPECT_EQ(windows_.focus_main, 1);

    key('X', 1);
    EXPECT_EQ(status(), "Quick FF placement: strike 15 deg.");
    key(kKeyEnter);  // no hovered cell yet: nothing happens
    EXPECT_EQ(g_quick_ff_place_mode, 1);
    move_to_cell(60, 40);
    EXPECT_TRUE(starts_with(status(), "Quick finite-fault grid preview: C3 epicenter x=60 y=40"))
        << status();
    EXPECT_EQ(g_hover_station_i, -1);
    key(kKeyEnter);
    EXPECT_EQ(g_quick_ff_place_mode, 0);
    EXPECT_GT(g_sources.count, 0u);
    EXPECT_TRUE(starts_with(status(), "Quick finite-fault grid applied at delay-0 epicenter x=60"))
        << status();
}

TEST_F(ShellTest, ButtonsRunTheirCommandsAndTheKeyGuide) {
    main_window_button_command(kButtonStep);
    EXPECT_EQ(g_time_s, 15);
    EXPECT_EQ(status(), "Advanced one step.");
    main_window_button_command(kButtonReset);
    EXPECT_EQ(g_time_s, 0);

    main_window_button_command(kButtonKeyGuide);
    ASSERT_EQ(fake_.fake.boxes.size(), 1u);
    EXPECT_EQ(fake_.fake.boxes[0].title, "Key guide");
    EXPECT_EQ(fake_.fake.boxes[0].icon, MessageIcon::Information);
    const std::string guide = fake_.fake.boxes[0].text;
    EXPECT_TRUE(starts_with(guide, "Main mouse controls\n- Left click/drag: draw source;"));
    EXPECT_NE(guide.find("popup\n\nPanel buttons\n"), std::string::npos);
    EXPECT_NE(guide.find("toggles\n\nRemaining keyboard shortcuts\n"), std::string::npos);
    EXPECT_NE(guide.find("\nEsc: quit\n\nMore keys\nCtrl+R: transmit-only mode on/off"),
              std::string::npos);

    main_window_button_command(kButtonSaveCsv);
    ASSERT_EQ(fake_.fake.save_requests.size(), 1u);
    EXPECT_EQ(fake_.fake.save_requests[0].title, "Save station + forecast-zone CSV");

    main_window_button_command(kButtonSettings);
    ASSERT_NE(g_settings_hwnd, nullptr);
    main_window_destroy();  // the main window takes its tool windows with it
    EXPECT_EQ(g_settings_hwnd, nullptr);
}

}  // namespace
}  // namespace kaitoro
