// The main window's scene: frame, markers, hover, previews, in the documented draw order.
#include "render/scene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "core/driver.h"
#include "core/fatal.h"
#include "core/sources.h"
#include "core/stations.h"
#include "core/time_series.h"
#include "feed/observation_points.h"
#include "feed/zone_assign.h"
#include "quick_ff/ff_grid.h"
#include "quick_ff/placement.h"
#include "render/colors.h"
#include "render/viewport.h"
#include "source_design/node_tune.h"
#include "source_design/source_cell.h"

namespace kaitoro {

namespace {

constexpr std::uint32_t kBackground = 0x121216;  // (18, 18, 22)
constexpr int kZoneSlots = 1000;                 // zone ids 1..999

DrawPen pen(std::uint32_t rgb, int width = 1, PenStyle style = PenStyle::Solid) {
    return DrawPen{rgb, width, style};
}

// Circle of radius r around a centre, in the same box convention as the square markers.
void circle(DrawSurface* s, int cx, int cy, int r, const DrawPen& p, const DrawBrush& b) {
    s->ellipse(cx - r, cy - r, cx + r + 1, cy + r + 1, p, b);
}

bool station_cell_xy(int i, int* x, int* y) {
    if (i < 0 || std::uint32_t(i) >= g_grid.station_count ||
        std::size_t(i) >= g_grid.station_cell.size())
        return false;
    const long long cell = g_grid.station_cell[std::size_t(i)];
    if (!g_grid.cell_valid(cell) || g_grid.nx == 0) return false;
    *x = int(cell % g_grid.nx);
    *y = int(cell / g_grid.nx);
    return true;
}

bool valid_zone(int z) {
    return z >= 1 && z < kZoneSlots && z != kZoneOutside;
}

// Largest peak rise per zone over the enabled stations.
void compute_zone_maxima(std::array<float, kZoneSlots>* out) {
    out->fill(0.0f);
    for (std::uint32_t u = 0; u < g_grid.station_count; ++u) {
        const int i = int(u);
        if (!station_is_enabled(&g_grid, i)) continue;
        const int z = station_effective_zone_id(i);
        if (!valid_zone(z) || u >= g_sim.station_max_m.size()) continue;
        (*out)[std::size_t(z)] = std::max((*out)[std::size_t(z)], g_sim.station_max_m[u]);
    }
}

}  // namespace

// ---- Frame -----------------------------------------------------------------------------------

void scene_update_base_map() {
    const std::size_t cells = g_grid.cell_count();
    if (cells == 0) return;
    if (g_base_pixels.size() != cells) {
        tsunami_xcalloc(g_base_pixels, cells);
        g_base_cache_valid = 0;
    }
    const bool stale =
        !g_base_cache_valid || g_base_cache_flip_x != g_display_flip_x ||
        g_base_cache_flip_y != g_display_flip_y || g_base_cache_bathy != g_show_bathymetry ||
        g_base_cache_invert != g_invert_landsea_display || g_base_cache_overrides != 0;
    if (!stale) return;
    build_base_map(&g_grid, g_display_flip_x, g_display_flip_y, g_show_bathymetry,
                   g_invert_landsea_display, g_base_pixels.data());
    g_base_cache_flip_x = g_display_flip_x;
    g_base_cache_flip_y = g_display_flip_y;
    g_base_cache_bathy = g_show_bathymetry;
    g_base_cache_invert = g_invert_landsea_display;
    g_base_cache_overrides = 0;
    g_base_cache_valid = 1;
}

void scene_update_frame() {
    const std::size_t cells = g_grid.cell_count();
    if (cells == 0) return;
    scene_update_base_map();
    if (g_pixels.size() != cells) tsunami_xcalloc(g_pixels, cells);
    build_frame(&g_grid, &g_sim, g_base_pixels.data(), g_display_flip_x, g_display_flip_y,
                g_invert_landsea_display, g_orvex_transmit_mode, g_wave_layer_mode,
                g_wave_overlay_alpha, g_pixels.data());
}

// ---- Stations --------------------------------------------------------------------------------

int station_effective_zone_id(int i) {
    const int o = station_zone_override_of(i);
    if (o > 0) return o;
    if (i < 0 || std::size_t(i) >= g_grid.station_zone.size()) return 0;
    return g_grid.station_zone[std::size_t(i)];
}

float zone_max_station_height(int zone_id) {
    if (!valid_zone(zone_id)) return 0.0f;
    float m = 0.0f;
    for (std::uint32_t u = 0; u < g_grid.station_count; ++u)
        if (station_is_enabled(&g_grid, int(u)) && station_effective_zone_id(int(u)) == zone_id &&
            u < g_sim.station_max_m.size())
            m = std::max(m, g_sim.station_max_m[u]);
    return m;
}

void draw_coast_height_markers(DrawSurface* surface) {
    if (!g_show_coast_height_markers) return;
    const bool zone_mode = g_coast_marker_use_zone_max != 0;
    const bool custom = g_coast_color_custom_enabled && g_coast_color_key_count > 1;
    std::array<float, kZoneSlots> zone_max;
    if (zone_mode) compute_zone_maxima(&zone_max);
    const int r = viewport_marker_radius(2);
    for (std::uint32_t u = 0; u < g_grid.station_count; ++u) {
        const int i = int(u);
        int x, y;
        if (!station_is_enabled(&g_grid, i) || !station_cell_xy(i, &x, &y)) continue;
        float value;
        if (zone_mode) {
            const int z = station_effective_zone_id(i);
            if (valid_zone(z))
                value = zone_max[std::size_t(z)];
            else if (custom)
                value = 0.0f;
            else
                continue;
        } else if (g_coast_marker_use_peak) {
            value = u < g_sim.station_max_m.size() ? g_sim.station_max_m[u] : 0.0f;
        } else {
            value = station_observed_height_m(&g_grid, &g_sim, i);
        }
        std::uint32_t colour;
        if (!coast_marker_color_rgb32(value, &colour)) continue;
        int cx, cy;
        viewport_cell_center(x, y, &cx, &cy);
        surface->rectangle(cx - r, cy - r, cx + r + 1, cy + r + 1, pen(0x000000),
                           DrawBrush::solid(colour));
    }
}

void draw_time_series_markers(DrawSurface* surface) {
    if (!g_show_time_series_markers || g_ts_rec_count == 0) return;
    const int r = viewport_marker_radius(4);
    for (std::size_t k = 0; k < g_ts_rec_count && k < g_ts_recorders.size(); ++k) {
        const int i = g_ts_recorders[k].station_index;
        int x, y;
        if (!station_is_enabled(&g_grid, i) || !station_cell_xy(i, &x, &y)) continue;
        int cx, cy;
        viewport_cell_center(x, y, &cx, &cy);
        const bool selected = i == g_ts_station_i;
        circle(surface, cx, cy, r, selected ? pen(0xFFFFFF, 2) : pen(0x3CF0FF), DrawBrush::none());
    }
}

int find_hover_station_at_screen(int sx, int sy) {
    if (g_grid.station_count == 0) return -1;
    const int k = viewport_marker_base_size() - 1;
    const int reach = std::min(k < 8 ? 4 : k / 2, 32) + 8;
    const long long r2 = (long long)reach * reach;
    int best = -1;
    long long best_d2 = 0;
    for (std::uint32_t u = 0; u < g_grid.station_count; ++u) {
        const int i = int(u);
        int x, y;
        if (!station_is_enabled(&g_grid, i) || !station_cell_xy(i, &x, &y)) continue;
        int cx, cy;
        viewport_cell_center(x, y, &cx, &cy);
        const long long dx = sx - cx, dy = sy - cy, d2 = dx * dx + dy * dy;
        if (d2 > r2) continue;
        if (best < 0 || d2 <= best_d2) {  // the later station wins a tie
            best = i;
            best_d2 = d2;
        }
    }
    return best;
}

void draw_hover_station_highlight(DrawSurface* surface) {
    const int i = g_hover_station_i;
    int x, y;
    if (!station_is_enabled(&g_grid, i) || !station_cell_xy(i, &x, &y)) return;
    int cx, cy;
    viewport_cell_center(x, y, &cx, &cy);
    const int r = viewport_marker_radius(2);
    surface->rectangle(cx - r - 4, cy - r - 4, cx + r + 5, cy + r + 5, pen(0xFFFFFF, 2),
                       DrawBrush::none());
}

void draw_shift_batch_highlights(DrawSurface* surface) {
    if (!g_shift_zone_assign_active) return;
    const int r = viewport_marker_radius(2);
    for (int k = 0; k < g_shift_zone_assign_count && k < kStationZoneOverrideSlots; ++k) {
        const int i = g_shift_zone_assign_station_list[std::size_t(k)];
        int x, y;
        if (!station_is_enabled(&g_grid, i) || !station_cell_xy(i, &x, &y)) continue;
        int cx, cy;
        viewport_cell_center(x, y, &cx, &cy);
        surface->rectangle(cx - r - 4, cy - r - 4, cx + r + 5, cy + r + 5, pen(0xFF50FF, 2),
                           DrawBrush::solid(0xFFF5AA));
    }
}

std::string station_arrival_text(int t) {
    char buf[48];
    if (t <= 0) return "not reached";
    if (t < 60)
        std::snprintf(buf, sizeof buf, "%ds", t);
    else if (t < 3600)
        std::snprintf(buf, sizeof buf, "%dm %02ds", t / 60, t % 60);
    else
        std::snprintf(buf, sizeof buf, "%dh %02dm %02ds", t / 3600, t / 60 % 60, t % 60);
    return buf;
}

void draw_hover_station_tooltip(DrawSurface* surface, const SceneWindow* window) {
    const int i = g_hover_station_i;
    if (i < 0 || g_mouse_screen_x < 0 || g_mouse_screen_y < 0) return;
    int gx, gy, sx, sy, zone, arrival;
    float live, live_pos, peak;
    if (!get_station_info(i, &gx, &gy, &sx, &sy, &zone, &live, &live_pos, &peak, &arrival)) return;

    const int effective_zone = station_effective_zone_id(i);
    std::vector<std::string> lines;
    char line[256];
    std::snprintf(line, sizeof line, "Obs #%d  station_id %d%s", i + 1, effective_zone,
                  window->shift_down ? "  [SHIFT batch]" : "");
    lines.push_back(line);
    const char* zone_name = station_zone_name_for_display(i);
    lines.push_back(zone_name ? zone_name : "");
    std::snprintf(line, sizeof line, "Grid %d,%d  sample %d,%d", gx, gy, sx, sy);
    lines.push_back(line);
    std::snprintf(line, sizeof line, "Live level %.4f m  %.2f cm", double(live),
                  double(live) * 100.0);
    lines.push_back(line);
    std::snprintf(line, sizeof line, "Live rise %.4f m / Peak rise %.4f m",
                  double(std::max(live, 0.0f)), double(peak));
    lines.push_back(line);
    if (g_coast_marker_use_zone_max) {
        std::snprintf(line, sizeof line, "Zone marker value %.4f m",
                      double(zone_max_station_height(effective_zone)));
        lines.push_back(line);
    }
    std::snprintf(line, sizeof line, "Arrival >=5cm: %s   Bin: %s",
                  station_arrival_text(arrival).c_str(), tsunami_height_color_bin(peak));
    lines.push_back(line);
    // 315 pixels less the 10-pixel indent and a 4-pixel margin: a longer line (a long zone
    // name) is set smaller instead of running over the box's edge.
    constexpr int kTextRoom = 315 - 10 - 4;
    const int box_h = 150;

    const int cw = window->client_w, ch = window->client_h;
    const int right = cw - kInfoPanelWidthPx >= cw / 2 ? cw - kInfoPanelWidthPx : cw;
    const int mx = g_mouse_screen_x, my = g_mouse_screen_y;
    int x = mx + 330 < right - 8 ? mx + 16 : mx - 331;
    int y = my + 165 < ch - 8 ? my + 16 : my - 166;
    x = std::max(x, 8);
    y = std::max(y, 8);
    surface->rectangle(x, y, x + 315, y + box_h, pen(0xFFF5AA), DrawBrush::solid(0x18181E));

    int ty = y + 8;
    const int tx = x + 10;
    for (std::size_t k = 0; k < lines.size(); ++k) {
        surface->set_text_color(k == 0 ? 0xFFF5AA : 0xEBEBEB);
        draw_text_line_fitted(surface, tx, &ty, lines[k].c_str(), kTextRoom);
    }
}

// ---- Sources ---------------------------------------------------------------------------------

void draw_source_markers(DrawSurface* surface) {
    static const std::uint32_t kFaultPalette[8] = {0xFFBE3C, 0xFF50C8, 0x50DCFF, 0x78FF78,
                                                   0xFF7850, 0xB48CFF, 0xFFFF78, 0x78DCB4};
    const int r_plain = viewport_marker_radius(3);
    const int r_selected = viewport_marker_radius(4);
    const int r_primary = viewport_marker_radius(5);
    const DrawPen select_pen = pen(0xFF50FF, 2);
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        const SourcePoint& p = g_sources[i];
        if (!g_grid.in_grid(p.grid_x, p.grid_y)) continue;
        int cx, cy;
        viewport_cell_center(p.grid_x, p.grid_y, &cx, &cy);
        const bool selected = i < g_node_tune_selected.size() && g_node_tune_selected[i];
        if (selected) {
            const bool primary = long(i) == long(g_selected_source_i);
            const int r = primary ? r_primary : r_selected;
            circle(surface, cx, cy, r, select_pen, DrawBrush::solid(primary ? 0xFF50FF : 0xDC50FF));
            circle(surface, cx, cy, r + 4, select_pen, DrawBrush::none());
            if (primary) circle(surface, cx, cy, r + 7, select_pen, DrawBrush::none());
            continue;
        }
        std::uint32_t outline, fill;
        if (std::fabs(p.height_m) < kSourceZeroEps) {
            outline = 0xB4B4B4;
            fill = 0x787878;
        } else if (p.height_m <= 0.0f) {
            outline = 0x50DCFF;
            fill = 0x2896FF;
        } else {
            outline = 0xFFFF50;
            fill = 0xFFE628;
        }
        if (p.fault_id > 0) outline = kFaultPalette[(p.fault_id - 1) % 8];
        circle(surface, cx, cy, r_plain, pen(outline), DrawBrush::solid(fill));
        if (g_node_tune_mode) {
            const int r = r_primary;  // clamped to 5..32, like the primary marker
            surface->rectangle(cx - r, cy - r, cx + r + 1, cy + r + 1,
                               pen(0xFFFFFF, 1, PenStyle::Dot), DrawBrush::none());
        }
    }
    if (g_node_tune_mode && g_node_tune_box_select_active) {
        const int l = std::min(g_node_tune_box_start_x, g_node_tune_box_cur_x);
        const int r = std::max(g_node_tune_box_start_x, g_node_tune_box_cur_x);
        const int t = std::min(g_node_tune_box_start_y, g_node_tune_box_cur_y);
        const int b = std::max(g_node_tune_box_start_y, g_node_tune_box_cur_y);
        surface->rectangle(l, t, r + 1, b + 1, pen(0xFF50FF, 1, PenStyle::Dash), DrawBrush::none());
    }
}

// ---- Quick finite-fault placement preview ------------------------------------------------------

namespace {

// A grid point (fractional cells) to window pixels, with the flips of the display.
DrawPoint grid_point_to_screen(double x, double y) {
    const double w = std::max(1u, g_grid.nx), h = std::max(1u, g_grid.ny);
    const double xd = g_display_flip_x ? w - 1.0 - x : x;
    const double yd = g_display_flip_y ? h - 1.0 - y : y;
    return DrawPoint{g_view_x + int(xd * g_view_w / w), g_view_y + int(yd * g_view_h / h)};
}

}  // namespace

void draw_quick_ff_placement_preview(DrawSurface* surface) {
    const int gx = g_mouse_grid_x, gy = g_mouse_grid_y;
    if (!g_grid.in_grid(gx, gy)) return;
    const double theta = wrap_degrees_360(g_fault_strike_deg) * M_PI / 180.0;
    const double k = cell_km_at_row(float(gy));
    const double len = std::max(double(g_fault_stamp_length_km) / k, 1.0);
    const double pitch = quick_ff_layout_width_cells(float(k));
    const double s[2] = {std::sin(theta), std::cos(theta)};   // along strike, grid x east / y north
    const double d[2] = {std::cos(theta), -std::sin(theta)};  // down dip
    int erow, ecol;
    float a0 = 0, b0 = 0;
    quick_ff_find_epicenter_cell(&erow, &ecol, &a0, &b0);
    const DrawPen preview = pen(0xFF00DC, 2);
    int smallest_px = 1 << 20;  // the smallest patch outline on screen, across its box
    for (int i = 0; i < g_quick_ff_count && std::size_t(i) < g_quick_ff_rows.size(); ++i) {
        const QuickFfCell& c = g_quick_ff_rows[std::size_t(i)];
        if (!quick_ff_cell_active(c)) continue;
        const double dip = std::clamp(double(c.dip_deg), 5.0, 60.0) * M_PI / 180.0;
        const double width = fault_width_km_sanitized();
        const double wp = std::max(std::max(0.25, std::cos(dip)) * width / k, 1.0);
        const double da = (double(c.along_offset) - a0) * len,
                     db = (double(c.dip_offset) - b0) * pitch;
        const double mx = gx + da * s[0] + db * d[0], my = gy + da * s[1] + db * d[1];
        const double hs = len / 2, hw = wp / 2;
        const double corner[4][2] = {{+hs, +hw}, {+hs, -hw}, {-hs, -hw}, {-hs, +hw}};
        DrawPoint pts[4];
        for (int q = 0; q < 4; ++q)
            pts[q] = grid_point_to_screen(mx + corner[q][0] * s[0] + corner[q][1] * d[0],
                                          my + corner[q][0] * s[1] + corner[q][1] * d[1]);
        surface->polygon(pts, 4, preview, DrawBrush::none());
        int l = pts[0].x, r = l, t = pts[0].y, b = t;
        for (const DrawPoint& q : pts) {
            l = std::min(l, q.x), r = std::max(r, q.x);
            t = std::min(t, q.y), b = std::max(b, q.y);
        }
        smallest_px = std::min(smallest_px, std::min(r - l, b - t));
    }

    const double big = std::max(len, 12.0);
    const DrawPoint a = grid_point_to_screen(gx - 0.55 * big * s[0], gy - 0.55 * big * s[1]);
    const DrawPoint b = grid_point_to_screen(gx + 0.55 * big * s[0], gy + 0.55 * big * s[1]);
    surface->line(a.x, a.y, b.x, b.y, pen(0xFFDC28, 3));
    const DrawPoint tail = grid_point_to_screen(gx, gy);
    const DrawPoint tip = grid_point_to_screen(gx + 0.46 * big * d[0], gy + 0.46 * big * d[1]);
    const DrawPen arrow = pen(0x50AAFF, 3);
    surface->line(tail.x, tail.y, tip.x, tip.y, arrow);
    const double ux = tip.x - tail.x, uy = tip.y - tail.y, n = std::hypot(ux, uy);
    if (n > 0) {
        const double ex = ux / n, ey = uy / n;
        const double bx = tip.x - 8 * ex, by = tip.y - 8 * ey;
        for (int side : {-1, 1}) {
            const int hx = int(std::lround(bx - side * 4.4 * ey));
            const int hy = int(std::lround(by + side * 4.4 * ex));
            surface->line(tip.x, tip.y, hx, hy, arrow);
        }
    }
    // The 16-pixel cross would hide a patch smaller than itself (one patch at zoom 1): then it
    // shrinks to sit inside the outline.
    const int arm = std::clamp(smallest_px / 2 - 1, 2, 8);
    surface->line(tail.x - arm, tail.y - arm, tail.x + arm, tail.y + arm, preview);
    surface->line(tail.x - arm, tail.y + arm, tail.x + arm, tail.y - arm, preview);
}

// ---- The whole scene -------------------------------------------------------------------------

void draw_scene_to_hdc(DrawSurface* surface, const SceneWindow* window) {
    surface->fill_rect(0, 0, window->client_w, window->client_h, kBackground);
    compute_viewport(window->client_w, window->client_h);
    if (g_grid.cell_count() > 0) {
        scene_update_frame();
        surface->blit_scaled(g_pixels.data(), int(g_grid.nx), int(g_grid.ny), g_view_x, g_view_y,
                             g_view_w, g_view_h);
    }
    if (!g_orvex_transmit_mode) {
        draw_coast_height_markers(surface);
        draw_time_series_markers(surface);
        draw_hover_station_highlight(surface);
        draw_hover_station_tooltip(surface, window);
    }
    if (g_show_source_markers) draw_source_markers(surface);
    const bool preview = g_quick_ff_place_mode && g_mouse_grid_x >= 0 && g_mouse_grid_y >= 0;
    if (preview) draw_quick_ff_placement_preview(surface);
    // Markers and the preview are drawn after the tooltip and would cover its text: the box
    // is drawn once more on top of them, so it stays legible.
    if (!g_orvex_transmit_mode && ((g_show_source_markers && g_sources.count > 0) || preview))
        draw_hover_station_tooltip(surface, window);
    if (g_orvex_transmit_mode && g_shift_zone_assign_active) draw_shift_batch_highlights(surface);
    draw_info_panel(surface, window);
}

}  // namespace kaitoro
