// The main window's keyboard: the modes that see a key first (undo, the slip-map export,
// quick finite-fault placement, node tune) and then the command table.
#include <algorithm>
#include <cmath>

#include "core/driver.h"
#include "core/platform.h"
#include "core/solver.h"
#include "core/sources.h"
#include "core/stations.h"
#include "core/status.h"
#include "core/time_series.h"
#include "feed/zone_assign.h"
#include "quick_ff/placement.h"
#include "render/colors.h"
#include "render/max_wave.h"
#include "render/scene.h"
#include "render/slip_map.h"
#include "render/viewport.h"
#include "shell/main_window.h"
#include "shell/settings.h"
#include "shell/tool_window.h"
#include "shell/zone_assign_window.h"
#include "source_design/brush.h"
#include "source_design/node_tune.h"
#include "source_design/source_cell.h"
#include "source_design/undo.h"

namespace kaitoro {

namespace {

const char* on_off(int v) {
    return v ? "on" : "off";
}
const char* shown_hidden(int v) {
    return v ? "shown" : "hidden";
}

// The stroke and the pan both hold the mouse; a mode change ends them.
void end_pointer_drags() {
    brush_stroke_cancel();
    g_pan_dragging = 0;
}

// Placement mode sees ',' and '.' as characters.
int placement_key_code(int key) {
    if (key == kKeyComma) return ',';
    if (key == kKeyPeriod) return '.';
    return key;
}

void clear_base_cache() {
    g_base_cache_valid = 0;
}

// What follows a command key: a settings refresh and a repaint, only a repaint, nothing (the
// key was taken), or the key was not a command at all.
enum class After { Refresh, RepaintOnly, Taken, NotACommand };

After command_table_key(int key, int shift, int ctrl) {
    switch (key) {
        case kKeyEscape:
            if (g_shell_windows.quit) g_shell_windows.quit();
            return After::Taken;
        case kKeySpace:
            main_window_toggle_run(0);
            break;
        case kKeyUp:
        case kKeyDown:
            g_steps_per_frame = std::clamp(g_steps_per_frame + (key == kKeyUp ? 1 : -1), 1, 100);
            set_status("Speed set to %d step/frame.", g_steps_per_frame);
            break;
        case kKeyMinus:
        case kKeyPlusEquals: {
            const float step = ctrl ? 0.01f : (shift ? 0.5f : 0.1f);
            g_new_source_height_m =
                std::max(0.01f, g_new_source_height_m + (key == kKeyMinus ? -step : step));
            set_status("New source slip = %.2f m. Step = %.2f m.", double(g_new_source_height_m),
                       double(step));
            break;
        }
        case '0':
        case '9':
            g_subsidence_ratio =
                std::clamp(g_subsidence_ratio + (key == '0' ? 0.05f : -0.05f), 0.1f, 0.9f);
            set_status("Subsidence ratio = %.0f%% of uplift.", double(g_subsidence_ratio) * 100.0);
            break;
        case '3':
        case '4': {
            const float step = shift ? 0.01f : 0.05f;
            const float loss = std::clamp(
                coastal_reflection_absorption_energy_loss() + (key == '3' ? -step : step), 0.0f,
                0.95f);
            set_coastal_reflection_absorption(coastal_reflection_absorption_enabled(), loss);
            set_status("Coastal boundary energy loss = %.0f%%. Reflection R = %.4f.",
                       double(coastal_reflection_absorption_energy_loss()) * 100.0,
                       double(coastal_reflection_keep_per_step()));
            break;
        }
        case '5':
        case '6':
            g_wave_display_coeff =
                std::clamp(g_wave_display_coeff * (key == '5' ? 0.8f : 1.25f), 0.05f, 20.0f);
            set_status("Wave display coefficient = %.2fx. Color settings are unchanged.",
                       double(g_wave_display_coeff));
            break;
        case '7':
        case '8':
            g_wave_overlay_alpha =
                std::clamp(g_wave_overlay_alpha + (key == '7' ? -0.05f : 0.05f), 0.0f, 1.0f);
            set_status("Wave opacity = %.0f%%.", double(g_wave_overlay_alpha) * 100.0);
            break;
        case 'A':
            set_coastal_reflection_absorption(!coastal_reflection_absorption_enabled(),
                                              coastal_reflection_absorption_energy_loss());
            set_status("Coastal boundary absorption: %s. Energy loss = %.0f%%.",
                       on_off(coastal_reflection_absorption_enabled()),
                       double(coastal_reflection_absorption_energy_loss()) * 100.0);
            break;
        case 'B':
            if (g_debug_key_armed) {
                g_show_bathymetry = !g_show_bathymetry;
                clear_base_cache();
                g_debug_key_armed = 0;
                set_status("Bathymetry debug base map: %s.", shown_hidden(g_show_bathymetry));
            } else {
                g_show_time_series_markers = !g_show_time_series_markers;
                set_status("Selected time-series station rings: %s.",
                           shown_hidden(g_show_time_series_markers));
            }
            break;
        case 'C':
            main_window_clear_sources(1);
            break;
        case 'D':
            if (ctrl) {
                g_debug_key_armed = 1;
                set_status(
                    "Debug key armed. Press B for bathymetry, L for land/sea inversion, or R for "
                    "rupture-delay reset.");
            } else {
                g_subsidence_side = -g_subsidence_side;
                set_status("Reverse-fault subsidence side = %s.", subsidence_side_name());
            }
            break;
        case 'F':
            g_double_buffer_enabled = !g_double_buffer_enabled;
            set_status("Low-flicker double buffering: %s.", on_off(g_double_buffer_enabled));
            break;
        case 'G':
            g_coast_guard_cells = g_coast_guard_cells ? 0 : 1;
            rebuild_mask_and_reset();
            break;
        case 'H':
            g_display_flip_x = !g_display_flip_x;
            clear_base_cache();
            set_status("Horizontal display flip: %s.", on_off(g_display_flip_x));
            break;
        case 'I':
            g_strike_slip_sense = -g_strike_slip_sense;
            set_status("Strike-slip sense = %s.",
                       g_strike_slip_sense > 0 ? "right-lateral" : "left-lateral");
            break;
        case 'K':
            g_coast_marker_use_peak = !g_coast_marker_use_peak;
            set_status("Coastal height marker mode: %s.",
                       g_coast_marker_use_peak ? "peak so far" : "live current height");
            break;
        case 'L':
            if (g_debug_key_armed) {
                g_invert_landsea_display = !g_invert_landsea_display;
                clear_base_cache();
                g_debug_key_armed = 0;
                set_status("Land/sea display inversion: %s.", on_off(g_invert_landsea_display));
                break;
            }
            load_source_csv_dialog(nullptr);
            return After::RepaintOnly;
        case 'M':
            g_show_source_markers = !g_show_source_markers;
            set_status("Source markers: %s. Source data is still active.",
                       shown_hidden(g_show_source_markers));
            break;
        case 'N':
            advance_one_step();
            set_status("Advanced one step.");
            break;
        case 'O':
            save_max_wave_png_dialog(nullptr);
            return After::RepaintOnly;
        case 'P':
            g_show_coast_height_markers = !g_show_coast_height_markers;
            set_status("Coastal height markers: %s.", shown_hidden(g_show_coast_height_markers));
            break;
        case 'Q':
            g_source_profile_mode = !g_source_profile_mode;
            set_status("Source profile = %s. Strike angle = %.0f deg.",
                       source_profile_name(g_source_profile_mode), double(g_fault_strike_deg));
            break;
        case 'R':
            if (ctrl) {
                g_orvex_transmit_mode = !g_orvex_transmit_mode;
                if (g_orvex_transmit_mode) {
                    g_wave_overlay_alpha = 0.0f;
                    g_show_coast_height_markers = 0;
                    g_show_time_series_markers = 0;
                }
                g_transmit_repaint_counter = 0;
                clear_base_cache();
                set_status("ORVEX transmit-only render: %s.", on_off(g_orvex_transmit_mode));
            } else {
                reset_state_preserve_sources();
            }
            break;
        case 'S':
            // Plain S opens the finite-fault editor before the table is reached.
            if (!ctrl) return After::NotACommand;
            save_station_csv_dialog(nullptr);
            break;
        case 'T':
            if (g_hover_station_i >= 0) {
                time_series_add_station(g_hover_station_i, shift ? 0 : 1);
                if (!g_running) g_show_time_series_markers = 1;
            } else if (shift || g_ts_rec_count == 0) {
                platform().beep(BeepKind::Warning);
                set_status(
                    "Hover an observation marker, then press T. Use Shift+T to add multiple "
                    "stations.");
            } else {
                const std::size_t previous = g_ts_rec_count;
                time_series_free();
                g_show_time_series_markers = 0;
                set_status(
                    "Cleared time-series station selection. Previous selection had %zu "
                    "station(s).",
                    previous);
            }
            break;
        case 'V':
            g_display_flip_y = !g_display_flip_y;
            clear_base_cache();
            set_status("Vertical display flip: %s.", on_off(g_display_flip_y));
            break;
        case 'W': {
            static const char* const kLayers[] = {"live waves", "max positive wave",
                                                  "max wave + 1m-eq arrival"};
            g_wave_layer_mode = (g_wave_layer_mode + 1) % 3;
            set_status("Wave overlay layer = %s.", kLayers[g_wave_layer_mode]);
            break;
        }
        case 'X':
        case 'Z':
            set_status(
                "Manual strike control removed. Drag the mouse to set fault strike "
                "automatically.");
            break;
        case 'Y':
            save_time_series_dialog(nullptr);
            return After::RepaintOnly;
        case kKeyComma:
        case kKeyPeriod: {
            const float step = ctrl ? 1.0f : (shift ? 20.0f : 5.0f);
            const float width = fault_width_km_sanitized();
            const int radius = set_fault_width_km_value(width + (key == kKeyComma ? -step : step));
            g_fault_width_km = std::clamp(g_fault_width_km, 1.0f, 800.0f);
            set_status("Fault width = %.1f km. Step = %.1f km. Projected radius about %d cells.",
                       double(g_fault_width_km), double(step), radius);
            break;
        }
        case kKeyBracketLeft:
        case kKeyBracketRight:
            g_new_source_delay_s =
                std::max(15, g_new_source_delay_s + (key == kKeyBracketLeft ? -15 : 15));
            set_status("New source delay = %d s.", g_new_source_delay_s);
            break;
        default:
            return After::NotACommand;
    }
    return After::Refresh;
}

}  // namespace

int main_window_key_down(int key, int shift, int ctrl) {
    if (ctrl && key == 'Z') {
        source_undo_restore(nullptr);
        settings_refresh();
        platform().request_repaint();
        return 1;
    }
    if (ctrl && key == 'U') {
        save_finite_fault_usgs_png_dialog(nullptr);
        platform().request_repaint();
        return 1;
    }
    if (g_quick_ff_place_mode) {
        const QuickFfKeyResult r = quick_ff_placement_key(
            placement_key_code(key), shift, ctrl, g_mouse_grid_x >= 0 && g_mouse_grid_y >= 0,
            g_mouse_grid_x, g_mouse_grid_y);
        if (r == QuickFfKeyResult::OpenEditor) open_or_raise_quick_ff_editor();
        if (r != QuickFfKeyResult::NotHandled) {
            settings_refresh();
            platform().request_repaint();
            return 1;
        }
    }
    if (!g_node_tune_mode && key == 'E') {
        g_pan_dragging = 0;
        node_tune_mode_on();
        settings_refresh();
        platform().request_repaint();
        return 1;
    }
    if (!g_node_tune_mode && key == 'S' && !ctrl) {
        end_pointer_drags();
        open_or_raise_quick_ff_editor();
        set_status(
            "Opened quick finite-fault editor. Closing it starts mouse-following epicenter "
            "placement preview.");
        settings_refresh();
        platform().request_repaint();
        return 1;
    }
    if (g_node_tune_mode && node_tune_handle_key(key, shift, ctrl)) {
        settings_refresh();
        platform().request_repaint();
        return 1;
    }
    switch (command_table_key(key, shift, ctrl)) {
        case After::Refresh:
            settings_refresh();
            [[fallthrough]];
        case After::RepaintOnly:
            platform().request_repaint();
            [[fallthrough]];
        case After::Taken:
            return 1;
        case After::NotACommand:
            break;
    }
    return 0;
}

int main_window_key_up(int key) {
    if (key != kKeyShift) return 0;
    if (shift_zone_assign_release()) {
        zone_assign_window_open();
        return 1;
    }
    return 0;
}

}  // namespace kaitoro
