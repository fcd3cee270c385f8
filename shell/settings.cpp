#include "shell/settings.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/driver.h"
#include "core/platform.h"
#include "core/solver.h"
#include "core/stations.h"
#include "core/status.h"
#include "export/export_dialogs.h"
#include "feed/arrivals.h"
#include "feed/observation_points.h"
#include "feed/zone_assign.h"
#include "render/colors.h"
#include "render/scene.h"
#include "render/viewport.h"
#include "quick_ff/placement.h"
#include "source_design/brush.h"
#include "source_design/fault_table.h"
#include "source_design/preset.h"
#include "source_design/source_cell.h"
#include "source_design/undo.h"

namespace kaitoro {

ControlWindow* g_settings_hwnd = nullptr;
int g_settings_page = kSettingsPageMain;

static void settings_close_box(ControlWindow* w) {
    w->destroy_window();
}
static void settings_destroyed(ControlWindow* w) {
    if (g_settings_hwnd == w) g_settings_hwnd = nullptr;
}

const ToolWindowDef g_settings_window_def = {
    "TsunamiSettingsWindow",
    "Tsunami Settings",
    kSettingsWidth,
    kSettingsHeight,
    handle_settings_command,
    nullptr,
    nullptr,
    settings_close_box,
    settings_destroyed,
};

namespace {

const char* on_off(int v) {
    return v ? "on" : "off";
}
const char* shown_hidden(int v) {
    return v ? "shown" : "hidden";
}

// Heights leave room for the line height of CJK-capable fonts (24 px at 16 px).
ControlSpec label(const char* text, int x, int y, int w, int h = 24) {
    return ControlSpec{0, ControlKind::Label, text, x, y, w, h};
}
ControlSpec labeled(int id, const std::string& text, int x, int y, int w, int h = 24) {
    return ControlSpec{id, ControlKind::Label, text, x, y, w, h};
}
ControlSpec edit(int id, int x, int y, int w) {
    return ControlSpec{id, ControlKind::Edit, "", x, y, w, 28};
}
ControlSpec button(int id, const std::string& text, int x, int y, int w, int h = 30) {
    return ControlSpec{id, ControlKind::Button, text, x, y, w, h};
}

void page_buttons(std::vector<ControlSpec>* c, int page) {
    c->push_back(
        button(kSetPageMain, page == kSettingsPageMain ? "[Main]" : "Main", 10, 10, 100, 28));
    c->push_back(button(kSetPageColors, page == kSettingsPageColors ? "[Colors]" : "Colors", 116,
                        10, 100, 28));
    c->push_back(button(kSetPagePreset, page == kSettingsPagePreset ? "[Preset]" : "Preset", 222,
                        10, 100, 28));
}

const char* cell_curve_label() {
    return g_cell_color_smooth ? "Cell curve: Smooth" : "Cell curve: Linear";
}

const char* coast_mode_name() {
    return g_coast_color_step ? "step" : (g_coast_color_smooth ? "smooth" : "linear");
}

std::vector<ControlSpec> main_page() {
    std::vector<ControlSpec> c;
    page_buttons(&c, kSettingsPageMain);
    c.push_back(label("Simulation settings", 10, 46, 700));
    c.push_back(label("Type values directly, then press Apply numeric values.", 10, 70, 700));
    c.push_back(label("Delay is rounded to the current time step so sources trigger correctly.", 10,
                      94, 716));
    // Two columns of seven rows: the left one first, as the fields are tabbed through.
    struct Row {
        const char* text;
        int id;  // 0: a static text where the field would be
    };
    static const Row kLeft[] = {{"Slip (m)", kSetEditSlip},
                                {"Delay cursor", 0},
                                {"Fault width (km)", kSetEditWidth},
                                {"Speed", kSetEditSpeed},
                                {"Rupture v (km/s)", kSetEditRupture},
                                {"Smooth (0.0-5.0)", kSetEditSmooth},
                                {"Source depth (km)", kSetEditDepth}};
    static const Row kRight[] = {{"Delay base (s)", kSetEditDelay},
                                 {"Subsidence (%)", kSetEditSubsidence},
                                 {"Dip angle (5-60 deg)", kSetEditDip},
                                 {"Strike-slip (%)", kSetEditStrikeSlip},
                                 {"Wave opacity (%)", kSetEditOpacity},
                                 {"Coast loss (%)", kSetEditCoastLoss},
                                 {"ORVEX start delay (s)", kSetEditStartDelay}};
    for (int r = 0; r < 7; ++r) {
        const int y = 126 + 34 * r;
        c.push_back(label(kLeft[r].text, 10, y + 2, 150));
        if (kLeft[r].id)
            c.push_back(edit(kLeft[r].id, 162, y, 100));
        else
            c.push_back(label("auto by rupture", 162, y + 2, 120));
    }
    for (int r = 0; r < 7; ++r) {
        const int y = 126 + 34 * r;
        c.push_back(label(kRight[r].text, 288, y + 2, 178));
        c.push_back(edit(kRight[r].id, 468, y, 100));
    }
    c.push_back(label("real sync offset", 576, 126 + 34 * 6 + 2, 150));
    c.push_back(button(kSetApplyNumeric, "Apply numeric values", 10, 368, 220));
    const int summaries[] = {kSetSummarySource, kSetSummaryFault, kSetSummaryCoast,
                             kSetSummaryDisplay, kSetSummarySimulation};
    for (int k = 0; k < 5; ++k) c.push_back(labeled(summaries[k], "", 10, 408 + 50 * k, 716, 48));
    c.push_back(label("Mode / display toggles", 10, 660, 700));
    struct Toggle {
        const char* text;
        int id;
    };
    static const Toggle kRows[4][4] = {
        {{"Flat / reverse", kSetFlatReverse},
         {"Flip down side", kSetFlipDownSide},
         {"Slip R/L", kSetSlipSense},
         {"Peak / live", kSetPeakLive}},
        {{"Coast absorb", kSetCoastAbsorb},
         {"Bilateral", kSetBilateral},
         {"Reset delay", kSetResetDelay},
         {"True speed", kSetTrueSpeed}},
        {{"Source markers", kSetSourceMarkers},
         {"Coast markers", kSetCoastMarkers},
         {"Station rings", kSetStationRings},
         {"FF as Okada", kSetOkadaPlacement}},
        {{"Flip X", kSetFlipX},
         {"Flip Y", kSetFlipY},
         {"Coast guard", kSetCoastGuard},
         {"Low flicker", kSetLowFlicker}},
    };
    for (int r = 0; r < 4; ++r)
        for (int i = 0; i < 4 && kRows[r][i].text; ++i)
            c.push_back(button(kRows[r][i].id, kRows[r][i].text, 10 + 178 * i, 688 + 36 * r, 170));
    c.push_back(button(kSetClose, "Close", 10, 844, 120));
    return c;
}

std::vector<ControlSpec> colors_page() {
    std::vector<ControlSpec> c;
    page_buttons(&c, kSettingsPageColors);
    c.push_back(label("Color settings", 10, 46, 700));
    c.push_back(
        label("Format: height(m),#RRGGBB  one setting per line. Coast markers also support Step.",
              10, 70, 716));
    c.push_back(label("Ocean cell / wave overlay colors", 10, 98, 700));
    c.push_back(
        ControlSpec{kSetCellColorEdit, ControlKind::MultiLineEdit, "", 10, 122, 640, 205, true});
    c.push_back(button(kSetCellCurve, cell_curve_label(), 10, 334, 190));
    c.push_back(label("Linear = bent settings line, Smooth = eased curve", 210, 337, 516));
    c.push_back(label("Coastal observation marker colors", 10, 376, 700));
    c.push_back(
        ControlSpec{kSetCoastColorEdit, ControlKind::MultiLineEdit, "", 10, 400, 640, 205, true});
    c.push_back(
        button(kSetCoastMode, std::string("Coast mode: ") + coast_mode_name(), 10, 612, 190));
    c.push_back(label("Linear/Smooth = interpolated, Step = threshold colors", 210, 615, 516));
    c.push_back(labeled(kSetColorStatus, "", 10, 654, 716, 48));
    c.push_back(button(kSetApplyColors, "Apply + save colors", 10, 708, 200));
    c.push_back(button(kSetRestoreColors, "Restore built-in colors", 220, 708, 220));
    c.push_back(button(kSetClose, "Close", 450, 708, 120));
    return c;
}

std::vector<ControlSpec> preset_page() {
    std::vector<ControlSpec> c;
    page_buttons(&c, kSettingsPagePreset);
    c.push_back(label("Preset / result tools", 10, 46, 700));
    c.push_back(
        label("Save current source list + main source/fault settings. Load applies immediately.",
              10, 70, 716));
    c.push_back(button(kSetSavePreset, "Save current preset", 10, 100, 200));
    c.push_back(button(kSetLoadPreset, "Load preset now", 220, 100, 200));
    c.push_back(label("Forecast-zone result view", 10, 148, 700));
    c.push_back(
        label("Zone max markers unify all station colors in each zone to that zone's "
              "peak. CSV still exports station + zone values.",
              10, 172, 716, 48));
    c.push_back(button(
        kSetZoneMax, g_coast_marker_use_zone_max ? "Zone max markers: ON" : "Zone max markers: OFF",
        10, 224, 200));
    c.push_back(button(kSetSaveStationCsv, "Save station + zone CSV", 10, 262, 200));
    c.push_back(button(kSetExportZones, "Export zone assignment CSV", 220, 262, 230));
    c.push_back(button(kSetExportNetcdf, "Export NetCDF", 10, 300, 200));
    c.push_back(button(kSetExportGeojson, "Export GeoJSON", 220, 300, 230));
    c.push_back(button(kSetSaveAnimation, "Save animation", 460, 300, 200));
    c.push_back(labeled(kSetPresetStatus, "", 10, 342, 716, 48));
    c.push_back(
        label("Next step: virtual overseas zones 67..100, with Japan-only / overseas-only "
              "/ all export choice.",
              10, 396, 716, 48));
    c.push_back(button(kSetClose, "Close", 10, 452, 120));
    return c;
}

// A field's text as the window reads it: at most 127 characters.
std::string edit_text(ControlWindow* window, int id) {
    std::string t = window->control_text(id);
    if (t.size() > 127) t.resize(127);
    return t;
}

// Decimal numbers only: strtol/strtof would also take "0x1F".
bool looks_hexadecimal(const char* p) {
    while (*p == ' ' || *p == '\t') ++p;
    if (*p == '+' || *p == '-') ++p;
    return p[0] == '0' && (p[1] == 'x' || p[1] == 'X');
}

bool only_trailing_space(const char* p) {
    for (; *p; ++p)
        if (*p != ' ' && *p != '\t' && *p != '\r' && *p != '\n') return false;
    return true;
}

void status_192(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
void status_192(const char* fmt, ...) {
    char buf[192];
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(buf, sizeof buf, fmt, ap);
    va_end(ap);
    set_status("%s", buf);
}

void repaint_main() {
    platform().request_repaint();
}

// Largest station peak over the enabled stations of real forecast zones.
float zone_max_result_m() {
    float m = 0.0f;
    for (std::uint32_t i = 0; i < g_grid.station_count; ++i) {
        if (!station_is_enabled(&g_grid, int(i)) || i >= g_grid.station_zone.size() ||
            i >= g_sim.station_max_m.size())
            continue;
        const int z = g_grid.station_zone[i];
        if (z < 1 || z > 93 || z == 67) continue;
        m = std::max(m, g_sim.station_max_m[i]);
    }
    return m;
}

int zone_edit_count() {
    int n = 0;
    const std::uint32_t limit =
        std::min<std::uint32_t>(g_grid.station_count, kStationZoneOverrideSlots);
    for (std::uint32_t s = 0; s < limit; ++s)
        if (g_station_zone_override_id[s] > 0) ++n;
    return n;
}

void set_control_text_hook(void* window, int id, const char* text) {
    if (window) static_cast<ControlWindow*>(window)->set_control_text(id, text);
}

// Strike-slip share of the peak estimate, faded below 10 km like the source model.
float strike_slip_depth_factor() {
    return strike_slip_depth_decay(clamped_source_depth_km());
}

void apply_colors(ControlWindow* window) {
    const std::string cell_text = window->control_text(kSetCellColorEdit);
    const std::string coast_text = window->control_text(kSetCoastColorEdit);
    ColorKeyframe cell[kMaxColorKeyframes], coast[kMaxColorKeyframes];
    int cell_count = 0, coast_count = 0;
    char message[kColorMessageSize] = {};
    if (!parse_color_keyframes_text(cell_text.c_str(), cell, &cell_count, message)) {
        platform().message_box("Cell color settings", message, MessageIcon::Warning,
                               MessageButtons::Ok);
        return;
    }
    if (!parse_color_keyframes_text(coast_text.c_str(), coast, &coast_count, message)) {
        platform().message_box("Coastal marker color settings", message, MessageIcon::Warning,
                               MessageButtons::Ok);
        return;
    }
    std::copy(cell, cell + cell_count, g_cell_color_keys);
    g_cell_color_key_count = cell_count;
    g_cell_color_custom_enabled = 1;
    std::copy(coast, coast + coast_count, g_coast_color_keys);
    g_coast_color_key_count = coast_count;
    g_coast_color_custom_enabled = 1;
    if (auto_save_color_settings())
        set_status("Applied custom color settings and saved for next launch.");
    else
        set_status("Applied custom color settings, but could not save them.");
}

void restore_colors(ControlWindow* window) {
    g_cell_color_custom_enabled = g_coast_color_custom_enabled = 0;
    g_cell_color_key_count = g_coast_color_key_count = 0;
    g_cell_color_smooth = g_coast_color_smooth = g_coast_color_step = 0;
    g_set_control_text_hook = set_control_text_hook;
    settings_set_color_edit_texts(window);
    if (auto_save_color_settings())
        set_status("Restored built-in colors and saved for next launch.");
    else
        set_status("Restored built-in colors, but could not save color settings.");
}

void toggle_cell_curve(ControlWindow* window) {
    g_cell_color_smooth = !g_cell_color_smooth;
    window->set_control_text(kSetCellCurve, cell_curve_label());
    const bool saved = auto_save_color_settings();
    set_status("Cell color interpolation = %s.%s", g_cell_color_smooth ? "smooth" : "linear",
               saved ? " Saved for next launch." : "");
}

void cycle_coast_mode(ControlWindow* window) {
    if (g_coast_color_step) {
        g_coast_color_step = 0;
        g_coast_color_smooth = 0;
    } else if (g_coast_color_smooth) {
        // Step replaces smooth: the two flags are never both set, in memory or in the file.
        g_coast_color_step = 1;
        g_coast_color_smooth = 0;
    } else {
        g_coast_color_smooth = 1;
    }
    window->set_control_text(kSetCoastMode, std::string("Coast mode: ") + coast_mode_name());
    const bool saved = auto_save_color_settings();
    const char* tail = saved ? " Saved for next launch." : "";
    if (g_coast_color_step)
        set_status("Coast marker color mode = step.%s", tail);
    else
        set_status("Coast marker color interpolation = %s.%s", coast_mode_name(), tail);
}

void toggle_zone_max() {
    g_coast_marker_use_zone_max = !g_coast_marker_use_zone_max;
    if (g_coast_marker_use_zone_max) {
        g_coast_marker_use_peak = 1;
        set_status(
            "Zone max markers ON: every station in a forecast zone shows that zone's peak "
            "height.");
    } else {
        set_status("Zone max markers OFF: station markers show %s values.",
                   g_coast_marker_use_peak ? "each station peak" : "live");
    }
}

// The toggles of the main page; false for any other id.
bool main_page_toggle(int id) {
    switch (id) {
        case kSetFlatReverse:
            g_source_profile_mode = !g_source_profile_mode;
            status_192("Source profile = %s.", source_profile_name(g_source_profile_mode));
            break;
        case kSetFlipDownSide:
            g_subsidence_side = -g_subsidence_side;
            status_192("Reverse-fault subsidence side = %s.", subsidence_side_name());
            break;
        case kSetSlipSense:
            g_strike_slip_sense = -g_strike_slip_sense;
            status_192("Strike-slip sense = %s.",
                       g_strike_slip_sense > 0 ? "right-lateral" : "left-lateral");
            break;
        case kSetPeakLive:
            g_coast_marker_use_zone_max = 0;
            g_coast_marker_use_peak = !g_coast_marker_use_peak;
            status_192("Coast marker mode: %s.", g_coast_marker_use_peak ? "peak" : "live");
            break;
        case kSetCoastAbsorb:
            set_coastal_reflection_absorption(!coastal_reflection_absorption_enabled(),
                                              coastal_reflection_absorption_energy_loss());
            status_192("Coast boundary absorption: %s.",
                       on_off(coastal_reflection_absorption_enabled()));
            break;
        case kSetBilateral:
            g_bilateral_rupture = !g_bilateral_rupture;
            status_192("Rupture delay mode = %s.",
                       g_bilateral_rupture ? "bilateral" : "unilateral");
            break;
        case kSetTrueSpeed:
            // The coupling lives in the solver plan, so the run restarts with the source kept.
            g_true_wave_speed = !g_true_wave_speed;
            reset_state_preserve_sources();
            status_192("Wave speed = %s; run restarted at 0 s.",
                       g_true_wave_speed ? "true sqrt(g h) at each latitude"
                                         : "documented coupling (depth/18000)");
            break;
        case kSetOkadaPlacement:
            g_quick_ff_okada = !g_quick_ff_okada;
            status_192("Quick finite-fault placement = %s.",
                       g_quick_ff_okada ? "elastic dislocation (Okada) subfaults"
                                        : "slip-to-height stamps");
            break;
        case kSetResetDelay:
            g_rupture_delay_cursor_s = 0.0f;
            status_192("Rupture delay cursor reset to 0 s.");
            break;
        case kSetSourceMarkers:
            g_show_source_markers = !g_show_source_markers;
            status_192("Source markers: %s.", shown_hidden(g_show_source_markers));
            break;
        case kSetCoastMarkers:
            g_show_coast_height_markers = !g_show_coast_height_markers;
            status_192("Coast markers: %s.", shown_hidden(g_show_coast_height_markers));
            break;
        case kSetStationRings:
            g_show_time_series_markers = !g_show_time_series_markers;
            status_192("Selected station rings: %s.", shown_hidden(g_show_time_series_markers));
            break;
        case kSetFlipX:
            g_display_flip_x = !g_display_flip_x;
            g_base_cache_valid = 0;
            status_192("Horizontal display flip: %s.", on_off(g_display_flip_x));
            break;
        case kSetFlipY:
            g_display_flip_y = !g_display_flip_y;
            g_base_cache_valid = 0;
            status_192("Vertical display flip: %s.", on_off(g_display_flip_y));
            break;
        case kSetCoastGuard:
            g_coast_guard_cells = g_coast_guard_cells ? 0 : 1;
            rebuild_mask_and_reset();
            status_192("Coast guard toggled; simulation reset.");
            break;
        case kSetLowFlicker:
            g_double_buffer_enabled = !g_double_buffer_enabled;
            status_192("Low-flicker double buffering: %s.", on_off(g_double_buffer_enabled));
            break;
        default:
            return false;
    }
    return true;
}

}  // namespace

std::vector<ControlSpec> settings_page_controls(int page) {
    switch (page) {
        case kSettingsPageColors:
            return colors_page();
        case kSettingsPagePreset:
            return preset_page();
        default:
            return main_page();
    }
}

void settings_window_open() {
    if (g_settings_hwnd) {
        g_settings_hwnd->raise_window();
        settings_refresh();
        return;
    }
    ControlWindow* w = shell_create_tool_window(&g_settings_window_def);
    if (!w) return;
    g_settings_hwnd = w;
    settings_show_page(w, kSettingsPageMain);
}

void settings_window_destroy() {
    if (g_settings_hwnd) g_settings_hwnd->destroy_window();
    g_settings_hwnd = nullptr;
}

void settings_show_page(ControlWindow* window, int page) {
    g_settings_page = page;
    window->set_controls(settings_page_controls(page));
    if (page == kSettingsPageColors) {
        g_set_control_text_hook = set_control_text_hook;
        settings_set_color_edit_texts(window);
    }
    settings_refresh();
}

int read_edit_int(ControlWindow* window, int id, int min, int max, int* out) {
    const std::string text = edit_text(window, id);
    const char* s = text.c_str();
    char* end = nullptr;
    errno = 0;
    const long v = std::strtol(s, &end, 10);
    if (end == s || errno == ERANGE || !only_trailing_space(end)) return 0;
    if (v < min || v > max) return 0;
    *out = int(v);
    return 1;
}

int read_edit_float(ControlWindow* window, int id, float min, float max, float* out) {
    const std::string text = edit_text(window, id);
    const char* s = text.c_str();
    char* end = nullptr;
    if (looks_hexadecimal(s)) return 0;
    const float v = std::strtof(s, &end);
    if (end == s || !only_trailing_space(end)) return 0;
    if (!(v >= min && v <= max)) return 0;  // NaN fails here too
    *out = v;
    return 1;
}

void set_edit_textf_if_not_focused(ControlWindow* window, int id, const char* fmt, ...) {
    if (!window || !window->has_control(id) || window->focused_control() == id) return;
    char buf[128];
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(buf, sizeof buf, fmt, ap);
    va_end(ap);
    window->set_control_text(id, buf);
}

int apply_numeric_settings_from_edits(ControlWindow* window) {
    float slip = 0, width = 0, subsidence = 0, dip = 0, strike_slip = 0, opacity = 0;
    float rupture = 0, smooth = 0, depth = 0, coast_loss = 0;
    int delay = 0, speed = 0, start_delay = 0;
    const char* error = nullptr;
    if (!read_edit_float(window, kSetEditSlip, 0.01f, 100.0f, &slip))
        error = "Slip must be a number from 0.01 to 100 m.";
    else if (!read_edit_int(window, kSetEditDelay, 0, 86400, &delay))
        error = "Delay must be an integer from 0 to 86400 seconds.";
    else if (!read_edit_float(window, kSetEditWidth, 1.0f, 800.0f, &width))
        error =
            "Fault width must be a number from 1 to 800 km. This is the true down-dip "
            "fault-plane width, not grid cells.";
    else if (!read_edit_float(window, kSetEditSubsidence, 0.0f, 90.0f, &subsidence))
        error = "Subsidence ratio must be from 0 to 90 percent.";
    else if (!read_edit_float(window, kSetEditDip, 5.0f, 60.0f, &dip))
        error =
            "Fault dip must be from 5 to 60 degrees. Use about 10-30 for subduction "
            "megathrust tests.";
    else if (!read_edit_float(window, kSetEditStrikeSlip, 0.0f, 100.0f, &strike_slip))
        error = "Strike-slip mix must be from 0 to 100 percent.";
    else if (!read_edit_float(window, kSetEditOpacity, 0.0f, 100.0f, &opacity))
        error = "Wave opacity must be from 0 to 100 percent.";
    else if (!read_edit_float(window, kSetEditRupture, 0.1f, 8.0f, &rupture))
        error = "Rupture velocity must be from 0.10 to 8.00 km/s.";
    else if (!read_edit_float(window, kSetEditSmooth, 0.0f, 5.0f, &smooth))
        error = "Mouse strike smoothing must be from 0.0 to 5.0.";
    else if (!read_edit_float(window, kSetEditDepth, 0.0f, 700.0f, &depth))
        error = "Source depth must be from 0 to 700 km.";
    else if (!read_edit_int(window, kSetEditSpeed, 1, 100, &speed))
        error = "Speed must be an integer from 1 to 100 steps/frame.";
    else if (!read_edit_float(window, kSetEditCoastLoss, 0.0f, 95.0f, &coast_loss))
        error = "Coast energy loss must be from 0 to 95 percent.";
    else if (!read_edit_int(window, kSetEditStartDelay, 0, kOrvexMaxStartDelaySeconds,
                            &start_delay))
        error = "ORVEX start delay must be an integer from 0 to 604800 seconds.";
    if (error) {
        platform().message_box("Invalid input", error, MessageIcon::Warning, MessageButtons::Ok);
        return 0;
    }

    // Sources trigger on model steps, so the delay snaps to the nearest 15 s.
    const int rounded = (delay + 7) / kModelStepSeconds * kModelStepSeconds;
    g_new_source_delay_s = rounded;
    g_new_source_height_m = slip;
    set_fault_width_km_value(width);
    g_steps_per_frame = std::clamp(speed, 1, 100);
    g_orvex_calc_start_delay_s = std::clamp(start_delay, 0, kOrvexMaxStartDelaySeconds);
    g_subsidence_ratio = std::min(subsidence / 100.0f, 0.9f);
    g_strike_slip_mix = strike_slip / 100.0f;
    g_wave_overlay_alpha = opacity / 100.0f;
    g_rupture_velocity_km_s = rupture;
    g_source_depth_km = depth;
    g_fault_dip_deg = dip;
    g_strike_smoothing_strength = smooth;
    set_coastal_reflection_absorption(coastal_reflection_absorption_enabled(), coast_loss / 100.0f);
    if (rounded == delay)
        set_status("Applied numeric settings.");
    else
        set_status("Applied numeric settings. Delay was rounded to the current time step.");
    settings_refresh();
    repaint_main();
    return 1;
}

void handle_settings_command(ControlWindow* window, int id) {
    switch (id) {
        case kSetPageMain:
            settings_show_page(window, kSettingsPageMain);
            return;
        case kSetPageColors:
            settings_show_page(window, kSettingsPageColors);
            return;
        case kSetPagePreset:
            settings_show_page(window, kSettingsPagePreset);
            return;
        case kSetClose:
            window->destroy_window();
            return;
        case kSetApplyNumeric:
            apply_numeric_settings_from_edits(window);
            return;
        case kSetApplyColors:
            apply_colors(window);
            break;
        case kSetRestoreColors:
            restore_colors(window);
            break;
        case kSetCellCurve:
            toggle_cell_curve(window);
            break;
        case kSetCoastMode:
            cycle_coast_mode(window);
            break;
        case kSetSavePreset:
            save_current_preset_dialog();
            break;
        case kSetLoadPreset:
            load_preset_dialog();
            break;
        case kSetZoneMax:
            toggle_zone_max();
            break;
        case kSetSaveStationCsv:
            save_station_csv_dialog(nullptr);
            break;
        case kSetExportZones:
            zone_assign_export_csv_dialog();
            break;
        case kSetExportNetcdf:
            save_netcdf_dialog();
            break;
        case kSetExportGeojson:
            save_geojson_dialog();
            break;
        case kSetSaveAnimation:
            save_animation_dialog();
            break;
        default:
            if (!main_page_toggle(id)) return;
            break;
    }
    settings_refresh();
    repaint_main();
}

void settings_refresh() {
    ControlWindow* w = g_settings_hwnd;
    if (!w) return;
    bool standard = false;
    const double m0 = displayed_source_moment_nm(&standard);
    const double mw = standard ? moment_magnitude_from_nm(m0) : moment_magnitude_from_m0(m0);
    const char* profile = source_profile_name(g_source_profile_mode);
    const float width = fault_width_km_sanitized();
    set_child_textf(w, kSetSummarySource,
                    standard ? "Source: input slip %.2fm | standard Mw %.2f | M0 %.2e fault table "
                               "| peak %.2fm | %s"
                             : "Source: input slip %.2fm | Mw %.2f | M0 %.2e fault-area | peak "
                               "%.2fm | %s",
                    double(g_new_source_height_m), mw, m0, double(source_peak_height_estimate_m()),
                    profile);
    set_child_textf(w, kSetSummaryFault,
                    "Fault: width %.1f km | plane area %.0f km2 | shallow %.0fkm T%.2f SS%.2f | "
                    "strike %.0f | smooth %.1f | dip %.0f",
                    double(width), double(current_source_moment_horizontal_area_km2()),
                    double(g_source_depth_km),
                    double(thrust_tsunami_depth_factor_at_km(g_source_depth_km)),
                    double(strike_slip_depth_factor()), double(g_fault_strike_deg),
                    double(g_strike_smoothing_strength), double(g_fault_dip_deg));
    set_child_textf(w, kSetSummaryCoast,
                    "Coast: absorption %s | energy loss %.0f%% | markers %s/%s",
                    on_off(coastal_reflection_absorption_enabled()),
                    double(coastal_reflection_absorption_energy_loss()) * 100.0,
                    on_off(g_show_coast_height_markers), g_coast_marker_use_peak ? "peak" : "live");
    set_child_textf(w, kSetSummaryDisplay,
                    "Display: source markers %s | rings %s | flip X=%s Y=%s | guard %d | coeff "
                    "%.2fx | alpha %.0f%%",
                    on_off(g_show_source_markers), shown_hidden(g_show_time_series_markers),
                    on_off(g_display_flip_x), on_off(g_display_flip_y), g_coast_guard_cells,
                    double(g_wave_display_coeff), double(g_wave_overlay_alpha) * 100.0);
    set_child_textf(
        w, kSetSummarySimulation,
        "Simulation: %s | %.2fh | speed %d step/frame | %zu source(s) | ORVEX sync +%ds",
        g_running ? "running" : "paused", g_time_s / 3600.0, g_steps_per_frame, g_sources.count,
        g_orvex_calc_start_delay_s);

    set_edit_textf_if_not_focused(w, kSetEditSlip, "%.2f", double(g_new_source_height_m));
    set_edit_textf_if_not_focused(w, kSetEditDelay, "%d", g_new_source_delay_s);
    set_edit_textf_if_not_focused(w, kSetEditWidth, "%.1f", double(g_fault_width_km));
    set_edit_textf_if_not_focused(w, kSetEditSubsidence, "%.0f",
                                  double(g_subsidence_ratio) * 100.0);
    set_edit_textf_if_not_focused(w, kSetEditDip, "%.0f", double(g_fault_dip_deg));
    set_edit_textf_if_not_focused(w, kSetEditStrikeSlip, "%.0f", double(g_strike_slip_mix) * 100.0);
    set_edit_textf_if_not_focused(w, kSetEditOpacity, "%.0f", double(g_wave_overlay_alpha) * 100.0);
    set_edit_textf_if_not_focused(w, kSetEditRupture, "%.2f", double(g_rupture_velocity_km_s));
    set_edit_textf_if_not_focused(w, kSetEditSmooth, "%.1f", double(g_strike_smoothing_strength));
    set_edit_textf_if_not_focused(w, kSetEditDepth, "%.1f", double(g_source_depth_km));
    set_edit_textf_if_not_focused(w, kSetEditSpeed, "%d", g_steps_per_frame);
    set_edit_textf_if_not_focused(w, kSetEditCoastLoss, "%.0f",
                                  double(coastal_reflection_absorption_energy_loss()) * 100.0);
    set_edit_textf_if_not_focused(w, kSetEditStartDelay, "%d", g_orvex_calc_start_delay_s);

    if (w->has_control(kSetColorStatus))
        set_child_textf(w, kSetColorStatus,
                        "Custom colors: cell %s (%s), coast %s (%s) | auto-save: "
                        "tsunami_color_settings.ini",
                        g_cell_color_custom_enabled ? "on" : "built-in",
                        g_cell_color_smooth ? "smooth" : "linear",
                        g_coast_color_custom_enabled ? "on" : "built-in", coast_mode_name());
    if (w->has_control(kSetPresetStatus))
        set_child_textf(w, kSetPresetStatus,
                        "Preset state: %zu source point(s), Mw %.2f, zone max %.2f m, markers %s, "
                        "zone edits %d",
                        g_sources.count, mw, double(zone_max_result_m()),
                        g_coast_marker_use_zone_max ? "zone-max" : "station", zone_edit_count());
}

void settings_reset_globals() {
    g_settings_hwnd = nullptr;
    g_settings_page = kSettingsPageMain;
}

}  // namespace kaitoro
