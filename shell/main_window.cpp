#include "shell/main_window.h"

#include <algorithm>
#include <cmath>

#include "core/driver.h"
#include "core/grid.h"
#include "core/platform.h"
#include "core/sources.h"
#include "core/stations.h"
#include "core/status.h"
#include "core/time_series.h"
#include "feed/arrivals.h"
#include "feed/observation_points.h"
#include "feed/zone_assign.h"
#include "quick_ff/placement.h"
#include "render/scene.h"
#include "render/viewport.h"
#include "shell/quick_ff_window.h"
#include "shell/settings.h"
#include "shell/tool_window.h"
#include "shell/zone_assign_window.h"
#include "source_design/brush.h"
#include "source_design/node_tune.h"
#include "source_design/source_cell.h"
#include "source_design/undo.h"

namespace kaitoro {

const PanelButtonDef g_panel_button_defs[kPanelButtonCount] = {
    {kButtonRunPause, "Run / Pause"},
    {kButtonStep, "Step"},
    {kButtonReset, "Reset"},
    {kButtonClearSources, "Clear sources"},
    {kButtonLoadSources, "Load sources"},
    {kButtonSaveCsv, "Save CSV"},
    {kButtonSaveGraph, "Save graph"},
    {kButtonSettings, "Settings"},
    {kButtonKeyGuide, "Key guide"},
};

const char* const g_ui_font_families[] = {
    "Meiryo UI",
    "Meiryo",
    "Yu Gothic UI",
    "Yu Gothic",
    "MS Gothic",
    "MS PGothic",
    "Malgun Gothic",
    "Microsoft JhengHei UI",
    "Microsoft YaHei UI",
    "SimSun",
    // Linux families with Japanese, Korean and Chinese glyphs.
    "Noto Sans CJK JP",
    "Noto Sans CJK KR",
    "Noto Sans CJK SC",
    "Source Han Sans JP",
    "Source Han Sans",
    "IPAexGothic",
    "IPAGothic",
    "VL Gothic",
    "WenQuanYi Zen Hei",
    "WenQuanYi Micro Hei",
    "Droid Sans Fallback",
    "MS Shell Dlg 2",
};
const int g_ui_font_family_count = int(sizeof g_ui_font_families / sizeof g_ui_font_families[0]);

int g_debug_key_armed = 0;
int g_pan_dragging = 0;
int g_pan_last_mouse_x = 0, g_pan_last_mouse_y = 0;
int g_client_w = kMainWindowWidth, g_client_h = kMainWindowHeight;

PixelRect panel_button_rect(int index, int client_w, int client_h) {
    const int top = scene_panel_buttons_top(client_h);
    return PixelRect{client_w - 308 + (index % 3) * 101, top + (index / 3) * 36, 93, 28};
}

const char* choose_ui_font_family(bool (*installed)(const char* family)) {
    for (int i = 0; i + 1 < g_ui_font_family_count; ++i)
        if (installed && installed(g_ui_font_families[i])) return g_ui_font_families[i];
    return g_ui_font_families[g_ui_font_family_count - 1];
}

static void repaint() {
    platform().request_repaint();
}

static void capture_mouse() {
    if (g_shell_windows.capture_mouse) g_shell_windows.capture_mouse();
}

static void release_mouse() {
    if (g_shell_windows.release_mouse) g_shell_windows.release_mouse();
}

// --- create, resize, destroy, timer --------------------------------------------------------

void main_window_create(int client_w, int client_h) {
    main_window_resize(client_w, client_h);
}

void main_window_resize(int client_w, int client_h) {
    g_client_w = client_w;
    g_client_h = client_h;
    compute_viewport(client_w, client_h);
    repaint();
}

void main_window_destroy() {
    quick_ff_editor_destroy();
    settings_window_destroy();
    zone_assign_window_destroy();
}

int main_window_timer(int timer_id) {
    if (timer_id != kMainTimerId) return 0;
    if (!driver_timer_tick()) return 0;
    repaint();
    return 1;
}

// --- mouse ----------------------------------------------------------------------------------

// The Shift zone batch while hovering: the station joins once, and the status says whether
// this move added it.
static void shift_hover_station(int s) {
    const bool was_in = g_shift_zone_assign_active && s >= 0 && s < kStationZoneOverrideSlots &&
                        g_shift_zone_assign_selected[std::size_t(s)];
    shift_zone_assign_touch(s, 0);
    if (!g_shift_zone_assign_active) return;  // the station cannot be assigned
    const bool added =
        !was_in && s < kStationZoneOverrideSlots && g_shift_zone_assign_selected[std::size_t(s)];
    set_status(
        "%s Shift zone batch: %d station(s). Last Obs #%d, id %d, %s. Release Shift to assign "
        "all.",
        added ? "Added to" : "Hovering", g_shift_zone_assign_count, s + 1,
        station_effective_zone_id(s), station_zone_name_for_display(s));
}

void main_window_mouse_move(int x, int y, int left_down, int shift, int ctrl) {
    g_mouse_screen_x = x;
    g_mouse_screen_y = y;
    if (g_node_tune_mode && g_node_tune_box_select_active && left_down) {
        node_tune_mouse_move(x, y);
        repaint();
        return;
    }
    int gx = -1, gy = -1;
    if (!screen_to_grid(x, y, &gx, &gy)) {
        g_mouse_grid_x = g_mouse_grid_y = -1;
        g_mouse_screen_x = g_mouse_screen_y = -1;
        g_hover_station_i = -1;
        repaint();
        return;
    }
    g_mouse_grid_x = gx;
    g_mouse_grid_y = gy;

    if (!g_quick_ff_place_mode) {
        g_hover_station_i = (!g_node_tune_mode && (!g_orvex_transmit_mode || shift))
                                ? find_hover_station_at_screen(x, y)
                                : -1;
    } else {
        g_hover_station_i = -1;
        quick_ff_placement_hover(gx, gy);
    }
    if (shift && g_hover_station_i >= 0) shift_hover_station(g_hover_station_i);

    if (g_pan_dragging && left_down && ctrl) {
        g_view_pan_x += x - g_pan_last_mouse_x;
        g_view_pan_y += y - g_pan_last_mouse_y;
        g_pan_last_mouse_x = x;
        g_pan_last_mouse_y = y;
        compute_viewport(g_client_w, g_client_h);
        set_status("Panning view. Zoom %.2fx.", g_view_zoom);
    }
    if (g_drag_painting && left_down) brush_stroke_move(1, gx, gy);
    repaint();
}

void main_window_left_down(int x, int y, int shift, int ctrl) {
    int gx = -1, gy = -1;
    const int on_map = screen_to_grid(x, y, &gx, &gy);
    if (g_quick_ff_place_mode) {
        quick_ff_placement_click(on_map, gx, gy);
        settings_refresh();
    } else if (g_node_tune_mode) {
        if (!on_map)
            g_mouse_grid_x = g_mouse_grid_y = -1;
        else if (shift)
            capture_mouse();
        node_tune_mouse_press(x, y, shift, ctrl);
    } else {
        capture_mouse();
        brush_stroke_press(on_map, gx, gy, shift, ctrl);
        if (shift) {
            const int s = find_hover_station_at_screen(x, y);
            if (s >= 0) shift_zone_assign_touch(s, 1);
            if (s < 0 || !g_shift_zone_assign_active)
                set_status(
                    "Shift zone assign mode: hover over observation markers. Source drawing "
                    "disabled.");
        } else if (ctrl) {
            g_pan_dragging = 1;
            g_pan_last_mouse_x = x;
            g_pan_last_mouse_y = y;
            set_status("Panning view. Hold Ctrl and drag. Zoom %.2fx.", g_view_zoom);
        }
    }
    repaint();
}

void main_window_left_up(int x, int y) {
    if (g_node_tune_box_select_active) {
        node_tune_mouse_release(x, y);
        release_mouse();
    } else if (g_pan_dragging) {
        g_pan_dragging = 0;
        release_mouse();
        set_status("View pan finished. Zoom %.2fx.", g_view_zoom);
    } else if (g_drag_painting) {
        brush_stroke_release();
        release_mouse();
        settings_refresh();
    } else {
        release_mouse();
    }
    repaint();
}

int main_window_wheel(int x, int y, int forward, int ctrl) {
    if (!ctrl) return 0;
    const double factor = forward ? 1.18 : 1.0 / 1.18;
    const double z = std::clamp(g_view_zoom * factor, 1.0, 64.0);
    if (std::fabs(z - g_view_zoom) >= 1e-6 && g_grid.nx > 0 && g_grid.ny > 0) {
        int map_w = 0, map_h = 0;
        viewport_map_area(g_client_w, g_client_h, &map_w, &map_h);
        compute_viewport(g_client_w, g_client_h);
        double ax = map_w * 0.5, ay = map_h * 0.5;
        if (x >= 0 && x < map_w && y >= 0 && y < map_h) ax = x, ay = y;
        const double u = std::clamp((ax - g_view_x) / g_view_w, 0.0, 1.0);
        const double v = std::clamp((ay - g_view_y) / g_view_h, 0.0, 1.0);
        const double fit = viewport_fit_scale(g_client_w, g_client_h);
        const double w2 = std::max(1, int(double(g_grid.nx) * fit * z + 0.5));
        const double h2 = std::max(1, int(double(g_grid.ny) * fit * z + 0.5));
        g_view_pan_x = ax - w2 * u - (map_w - w2) / 2.0;
        g_view_pan_y = ay - h2 * v - (map_h - h2) / 2.0;
        g_view_zoom = z;
        compute_viewport(g_client_w, g_client_h);
    }
    set_status("View zoom %.2fx. Ctrl+drag to pan.", g_view_zoom);
    repaint();
    return 1;
}

void main_window_capture_lost() {
    brush_stroke_cancel();
    g_pan_dragging = 0;
    g_node_tune_box_select_active = 0;
}

// --- buttons --------------------------------------------------------------------------------

void main_window_toggle_run(int from_button) {
    g_running = !g_running;
    if (g_running) {
        g_show_time_series_markers = 0;
        orvex_realtime_start_if_needed();
        set_status(from_button
                       ? "Running. ORVEX observation sync fixed wall-clock 1x active (+%ds). "
                         "Selected station rings hidden."
                       : "Running. ORVEX observation sync fixed wall-clock 1x active (+%ds).",
                   g_orvex_calc_start_delay_s);
    } else {
        set_status("Paused.");
    }
}

void main_window_clear_sources(int record_undo) {
    if (record_undo) source_undo_push("clear all sources");
    source_list_clear(&g_sources);
    g_selected_source_i = -1;
    g_rupture_delay_cursor_s = 0;
    g_drag_start_delay_cursor_s = 0;
    g_active_paint_delay_override_s = -1;
    node_tune_sync_selected_bounds();
    reset_state_preserve_sources();
    set_status("Cleared all source points and reset rupture delay cursor.");
}

void open_or_raise_settings_window() {
    settings_window_open();
}

void open_or_raise_quick_ff_editor() {
    open_quick_finite_fault_editor(nullptr);
}

void main_window_button_command(int id) {
    switch (id) {
        case kButtonRunPause:
            main_window_toggle_run(1);
            break;
        case kButtonStep:
            advance_one_step();
            set_status("Advanced one step.");
            break;
        case kButtonReset:
            reset_state_preserve_sources();
            break;
        case kButtonClearSources:
            main_window_clear_sources(0);
            break;
        case kButtonLoadSources:
            load_source_csv_dialog(nullptr);
            break;
        case kButtonSaveCsv:
            save_station_csv_dialog(nullptr);
            break;
        case kButtonSaveGraph:
            save_time_series_dialog(nullptr);
            break;
        case kButtonSettings:
            open_or_raise_settings_window();
            break;
        case kButtonKeyGuide:
            platform().message_box("Key guide", key_guide_text(), MessageIcon::Information,
                                   MessageButtons::Ok);
            break;
        default:
            return;
    }
    settings_refresh();
    repaint();
}

// --- key guide ------------------------------------------------------------------------------

const char* key_guide_text() {
    return "Main mouse controls\n"
           "- Left click/drag: draw source; drag direction sets smoothed fault strike\n"
           "- Hover station marker: exact station popup\n"
           "\n"
           "Panel buttons\n"
           "- Run/Pause, Step, Reset, Clear sources\n"
           "- Load sources, Save CSV, Save graph\n"
           "- Settings opens numeric inputs and toggles\n"
           "\n"
           "Remaining keyboard shortcuts\n"
           "Space: run/pause\n"
           "N: one step\n"
           "R: reset, C: clear sources\n"
           "T: select hovered station\n"
           "Shift+T: add hovered station\n"
           "Y: save selected station graph\n"
           "O: save max-wave PNG\n"
           "S: finite-fault stamp mode on/off, Ctrl+S: save station CSV\n"
           "Stamp mode: click stamp; N/Enter complete fault + auto subsidence; G regen "
           "subsidence; Tab cycle; Z/X strike; [/ ] delay; J/K length; < > width+length\n"
           "B: selected-station rings\n"
           "Ctrl+D, then B: bathymetry debug map\n"
           "Ctrl+D, then L: land/sea display invert\n"
           "5 / 6: wave display coefficient down/up\n"
           "7 / 8: wave opacity down/up\n"
           "W: live / max / max+arrival layer\n"
           "I: toggle strike-slip right/left sense\n"
           "Ctrl+D, then R: reset rupture delay cursor\n"
           "Ctrl+wheel: zoom, Ctrl+left drag: pan view, markers scale too\n"
           "E: advanced source-node tune mode on/off\n"
           "Node tune: Ctrl-click toggle, Shift-click add, A all, C/Esc clear, Tab primary/next\n"
           "Node tune: +/- or PgUp/PgDn slip; uplift auto-calculated, [/ ] delay, arrows move, "
           "F, U, Del\n"
           "Shift hover stations, release: assign id/name to all touched\n"
           "Settings: Main/Colors/Preset tabs, dip, rupture, color settings\n"
           "Esc: quit\n"
           "\n"
           "More keys\n"
           "Ctrl+R: transmit-only mode on/off (off shows the wave), Ctrl+Z: undo source edit\n"
           "Ctrl+U: save finite-fault slip map PNG, L: load source CSV\n"
           "Up/Down: steps per frame, -/+: new slip, [/ ]: new delay, </>: fault width\n"
           "9/0: subsidence ratio, D: subsidence side, Q: source profile\n"
           "3/4: coast energy loss, A: coast absorption, G: coast guard\n"
           "P: coast markers, K: peak/live coast markers, M: source markers\n"
           "H/V: flip view, F: double buffering";
}

void shell_reset_globals() {
    g_debug_key_armed = 0;
    g_pan_dragging = 0;
    g_pan_last_mouse_x = g_pan_last_mouse_y = 0;
    g_client_w = kMainWindowWidth;
    g_client_h = kMainWindowHeight;
    g_shell_windows = {};
    settings_reset_globals();
    quick_ff_window_reset_globals();
    zone_assign_window_reset_globals();
}

}  // namespace kaitoro
