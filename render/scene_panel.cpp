// The information panel on the right of the main window, and the scene's text helpers.
#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "core/driver.h"
#include "core/solver.h"
#include "core/status.h"
#include "core/time_series.h"
#include "render/colors.h"
#include "render/scene.h"
#include "render/viewport.h"
#include "source_design/brush.h"
#include "source_design/fault_table.h"
#include "source_design/source_cell.h"

namespace kaitoro {

namespace {

constexpr std::uint32_t kPanelFill = 0x202026;    // (32, 32, 38)
constexpr std::uint32_t kPanelText = 0xEBEBEB;    // (235, 235, 235)
constexpr std::uint32_t kPanelHelp = 0xAAE1FF;    // (170, 225, 255)
constexpr std::uint32_t kPanelStatus = 0xFFE6A0;  // (255, 230, 160)

// Decodes UTF-8 into code points; false on an invalid sequence.
bool decode_utf8(const char* text, std::u32string* out) {
    out->clear();
    const auto* p = reinterpret_cast<const unsigned char*>(text);
    while (*p) {
        const unsigned c = *p;
        int extra;
        std::uint32_t cp;
        if (c < 0x80)
            extra = 0, cp = c;
        else if (c >= 0xC2 && c < 0xE0)
            extra = 1, cp = c & 0x1F;
        else if (c >= 0xE0 && c < 0xF0)
            extra = 2, cp = c & 0x0F;
        else if (c >= 0xF0 && c < 0xF5)
            extra = 3, cp = c & 0x07;
        else
            return false;
        for (int i = 1; i <= extra; ++i) {
            if ((p[i] & 0xC0) != 0x80) return false;
            cp = cp << 6 | (p[i] & 0x3F);
        }
        if ((extra == 2 && cp < 0x800) || (extra == 3 && (cp < 0x10000 || cp > 0x10FFFF)) ||
            (cp >= 0xD800 && cp <= 0xDFFF))
            return false;
        out->push_back(cp);
        p += extra + 1;
    }
    return true;
}

// Every byte as the character of the same number (how undecodable text is shown).
std::u32string bytes_as_characters(const char* text) {
    std::u32string out;
    for (const auto* p = reinterpret_cast<const unsigned char*>(text); *p; ++p) out.push_back(*p);
    return out;
}

std::string encode_utf8(const std::u32string& s, std::size_t from, std::size_t to) {
    std::string out;
    for (std::size_t i = from; i < to; ++i) {
        const std::uint32_t cp = s[i];
        if (cp < 0x80) {
            out += char(cp);
        } else if (cp < 0x800) {
            out += char(0xC0 | cp >> 6);
            out += char(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            out += char(0xE0 | cp >> 12);
            out += char(0x80 | (cp >> 6 & 0x3F));
            out += char(0x80 | (cp & 0x3F));
        } else {
            out += char(0xF0 | cp >> 18);
            out += char(0x80 | (cp >> 12 & 0x3F));
            out += char(0x80 | (cp >> 6 & 0x3F));
            out += char(0x80 | (cp & 0x3F));
        }
    }
    return out;
}

// Length in UTF-16 units, the measure of the wide-character limits.
std::size_t utf16_length(const std::u32string& s) {
    std::size_t n = 0;
    for (std::uint32_t cp : s) n += cp >= 0x10000 ? 2 : 1;
    return n;
}

// Text as it reaches the surface: valid UTF-8 within the limit, else the raw bytes.
std::u32string displayable(const char* text, std::size_t limit) {
    std::u32string s;
    if (decode_utf8(text, &s) && utf16_length(s) <= limit) return s;
    return bytes_as_characters(text);
}

bool is_space(std::uint32_t c) {
    return c == ' ' || c == '\t';
}
bool breaks_after(std::uint32_t c) {
    return c == '|' || c == ',' || c == '.' || c == '/' || c == ';';
}

void panel_line(DrawSurface* s, int x, int* y, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));
void panel_line(DrawSurface* s, int x, int* y, const char* fmt, ...) {
    char line[256];
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(line, sizeof line, fmt, ap);
    va_end(ap);
    draw_text_line_fitted(s, x, y, line, kPanelTextWidthPx);
}

void panel_text(DrawSurface* s, int x, int* y, const char* text) {
    draw_text_line_fitted(s, x, y, text, kPanelTextWidthPx);
}

}  // namespace

void draw_text_line(DrawSurface* surface, int x, int* y, const char* text) {
    const std::u32string s = displayable(text ? text : "", 1024);
    surface->text(x, *y, encode_utf8(s, 0, s.size()));
    *y += kSceneLineHeight;
}

void draw_text_line_fitted(DrawSurface* surface, int x, int* y, const char* text, int width_px) {
    const std::u32string s = displayable(text ? text : "", 1024);
    surface->text_within(x, *y, encode_utf8(s, 0, s.size()), width_px);
    *y += kSceneLineHeight;
}

std::vector<std::string> wrap_status_lines(DrawSurface* surface, const char* text, int width_px) {
    const std::u32string s = displayable(text ? text : "", 2048);
    std::vector<std::string> lines;
    std::size_t pos = 0;
    while (pos < s.size()) {
        std::size_t end = pos;
        while (end < s.size() && s[end] != '\r' && s[end] != '\n') ++end;
        std::size_t start = pos;
        for (;;) {
            while (start < end && is_space(s[start])) ++start;
            if (start >= end) break;
            // Longest prefix that fits (at least one character).
            std::size_t fit = start + 1;
            while (fit < end && surface->text_width(encode_utf8(s, start, fit + 1)) <= width_px)
                ++fit;
            if (fit == end) {
                lines.push_back(encode_utf8(s, start, end));
                break;
            }
            // The last break opportunity: before a space or tab, or after | , . / ;
            std::size_t cut = 0;
            for (std::size_t b = fit; b > start; --b)
                if (is_space(s[b]) || breaks_after(s[b - 1])) {
                    cut = b;
                    break;
                }
            if (cut == 0) cut = fit;  // a word longer than the line breaks where it stops fitting
            lines.push_back(encode_utf8(s, start, cut));
            start = cut;
        }
        pos = end;
        if (pos < s.size() && s[pos] == '\r') ++pos;
        if (pos < s.size() && s[pos] == '\n') ++pos;
    }
    return lines;
}

void draw_text_wrapped(DrawSurface* surface, int x, int* y) {
    for (const std::string& line : wrap_status_lines(surface, g_status, kStatusWrapWidthPx))
        draw_text_line(surface, x, y, line.c_str());
}

int scene_panel_buttons_top(int client_h) {
    return std::max(client_h - 112, 330);
}

float max_ocean_cell_height() {
    const std::size_t nx = g_grid.nx, ny = g_grid.ny;
    if (g_sim.nx != g_grid.nx || g_sim.max_height.size() < nx * (ny + 2)) return 0.0f;
    float m = 0.0f;
    for (std::size_t y = 0; y < ny; ++y)
        for (std::size_t x = 0; x < nx; ++x) {
            const std::size_t c = y * nx + x;
            if (c < g_grid.hidden.size() && g_grid.hidden[c]) continue;
            m = std::max(m, g_sim.max_height[(y + 1) * nx + x]);
        }
    return m;
}

void draw_info_panel(DrawSurface* surface, const SceneWindow* window) {
    const int right = window->client_w;
    surface->fill_rect(right - kInfoPanelWidthPx, 0, right, window->client_h, kPanelFill);
    const int x = right - 308;
    int y = 16;
    surface->set_text_color(kPanelText);
    panel_text(surface, x, &y, "Kaitoro");
    y += 6;
    panel_line(surface, x, &y, "%s | %.2f h | %d step/frame", g_running ? "Running" : "Paused",
               g_time_s / 3600.0, g_steps_per_frame);
    if (g_orvex_transmit_mode) {
        panel_text(surface, x, &y, "Mode: ORVEX transmit-only render");
        panel_line(surface, x, &y, "Transmit-only sim cap: %d h", kTransmitLimitSeconds / 3600);
    }
    bool standard = false;
    const double m0 = displayed_source_moment_nm(&standard);
    if (standard)  // a fault table's moment is its own, not one derived from the heights
        panel_line(surface, x, &y, "Fault table: standard Mw %.2f, M0 %.2e",
                   moment_magnitude_from_nm(m0), m0);
    else
        panel_line(surface, x, &y, "Slip input %.2fm -> Mw %.2f, M0 %.2e",
                   double(g_new_source_height_m), double(moment_magnitude_from_m0(m0)), m0);
    if (g_true_wave_speed) panel_text(surface, x, &y, "Wave speed: true sqrt(g h)");

    // Peak estimate from the slip input, as the source design computes it for one dab.
    const double slip = g_new_source_height_m;
    const double thrust = std::clamp(1.0 - double(g_strike_slip_mix), 0.0, 1.0);
    const double strike = std::clamp(double(g_strike_slip_mix), 0.0, 1.0);
    const double dip = std::clamp(double(g_fault_dip_deg), 5.0, 60.0) * M_PI / 180.0;
    const double depth = g_source_depth_km;
    const double dcap = std::min(depth, 700.0);
    const double decay =
        (dcap > 10.0 && depth >= 0.0) ? std::min(1.0, std::exp(-0.07489331 * (dcap - 10.0))) : 1.0;
    const double peak =
        slip * (thrust * std::sin(dip) * thrust_tsunami_depth_factor_at_km(float(depth)) +
                strike * 0.18 * decay);
    panel_line(surface, x, &y, "Fault area %.0f km2, shallow %.0fkm T80=0.15 SS50=0.05 peak %.2fm",
               double(current_source_moment_horizontal_area_km2()), depth, peak);
    panel_line(surface, x, &y, "Fault: strike %.0f%s, smooth %.1f, dip %.0f",
               double(g_fault_strike_deg), " auto", double(g_strike_smoothing_strength),
               double(g_fault_dip_deg));
    panel_line(surface, x, &y, "Rupture: %.2f km/s, cursor %.1fs, %s",
               double(g_rupture_velocity_km_s), double(g_rupture_delay_cursor_s),
               g_bilateral_rupture ? "bilateral" : "unilateral");
    panel_line(surface, x, &y, "Source ramp: %.0fs smooth delay", double(source_ramp_seconds()));
    panel_line(surface, x, &y, "Map top %.2fN, calibrated center scale %.2f km/cell", 46.29,
               4.63344);
    panel_line(surface, x, &y, "Sub %.0f%% | strike-slip %.0f%% %s",
               double(g_subsidence_ratio) * 100.0, double(g_strike_slip_mix) * 100.0,
               g_strike_slip_sense > 0 ? "right-lateral" : "left-lateral");
    panel_line(surface, x, &y, "Coast absorb: %s, loss %.0f%%",
               coastal_reflection_absorption_enabled() ? "on" : "off",
               double(coastal_reflection_absorption_energy_loss()) * 100.0);
    panel_line(surface, x, &y, "Markers: source %s, coast %s/%s",
               g_show_source_markers ? "on" : "off", g_show_coast_height_markers ? "on" : "off",
               g_coast_marker_use_peak ? "peak" : "live");
    panel_line(surface, x, &y, "Time-series stations: %zu", g_ts_rec_count);
    panel_line(surface, x, &y, "Base map: %s | sea-blue %s",
               g_show_bathymetry ? "bathymetry debug" : "land/sea only",
               g_invert_landsea_display ? "inverted" : "default");
    panel_line(surface, x, &y, "Wave coeff: %.2fx | alpha %.0f%%", double(g_wave_display_coeff),
               double(g_wave_overlay_alpha) * 100.0);
    static const char* const kLayerNames[3] = {"live waves", "max positive wave",
                                               "max wave + 1m-eq arrival"};
    const int layer = g_wave_layer_mode >= 0 && g_wave_layer_mode <= 2 ? g_wave_layer_mode : 0;
    panel_line(surface, x, &y, "Wave layer: %s", kLayerNames[layer]);
    if (g_wave_layer_mode == 1 || g_wave_layer_mode == 2)
        panel_line(surface, x, &y, "Max ocean cell: %.2f m", double(max_ocean_cell_height()));
    panel_text(surface, x, &y, "Render: cached visual base + wave overlay");
    y += 6;
    surface->set_text_color(kPanelHelp);
    panel_text(surface, x, &y, "Draw source: left click/drag on map");
    panel_text(surface, x, &y, "Hover marker: exact station popup");
    panel_line(surface, x, &y, "View: Ctrl+wheel zoom %.2fx, Ctrl+drag pan, markers scale",
               g_view_zoom);
    panel_text(surface, x, &y, "Buttons anchored bottom-right as 3x3 block");
    y += 8;
    surface->set_text_color(kPanelStatus);
    draw_text_wrapped(surface, x, &y);
    if (g_orvex_transmit_mode) {
        // The wave stays hidden until Ctrl+R: say so just above the buttons, or below the
        // status when a long status reaches down that far.
        surface->set_text_color(kPanelHelp);
        int hint_y = std::max(y + 4, scene_panel_buttons_top(window->client_h) - 26);
        panel_text(surface, x, &hint_y, kTransmitHintText);
    }
}

}  // namespace kaitoro
