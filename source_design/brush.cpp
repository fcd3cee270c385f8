#include "source_design/brush.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>

#include "core/driver.h"
#include "core/platform.h"
#include "core/status.h"
#include "source_design/source_cell.h"
#include "source_design/strike_slip.h"
#include "source_design/undo.h"

namespace kaitoro {

float g_strike_smoothing_strength = 2.0f;
float g_strike_filter_east = 0.0f;
float g_strike_filter_north = 1.0f;
float g_strike_accum_east = 0.0f;
float g_strike_accum_north = 0.0f;
int g_strike_filter_ready = 0;
float g_rupture_velocity_km_s = 2.5f;
float g_rupture_delay_cursor_s = 0.0f;
int g_bilateral_rupture = 0;
int g_active_paint_delay_override_s = -1;
int g_drag_painting = 0;
int g_drag_start_grid_x = -1, g_drag_start_grid_y = -1;
int g_last_paint_grid_x = -1, g_last_paint_grid_y = -1;
float g_drag_start_delay_cursor_s = 0.0f;
std::size_t g_drag_source_start_count = 0;
int g_drag_affected_cells = 0;

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegToRad = kPi / 180.0;
constexpr double kEps = kSourceZeroEps;

}  // namespace

void brush_reset_globals() {
    g_strike_smoothing_strength = 2.0f;
    g_strike_filter_east = 0.0f;
    g_strike_filter_north = 1.0f;
    g_strike_accum_east = 0.0f;
    g_strike_accum_north = 0.0f;
    g_strike_filter_ready = 0;
    g_rupture_velocity_km_s = 2.5f;
    g_rupture_delay_cursor_s = 0.0f;
    g_bilateral_rupture = 0;
    g_active_paint_delay_override_s = -1;
    g_drag_painting = 0;
    g_drag_start_grid_x = g_drag_start_grid_y = -1;
    g_last_paint_grid_x = g_last_paint_grid_y = -1;
    g_drag_start_delay_cursor_s = 0.0f;
    g_drag_source_start_count = 0;
    g_drag_affected_cells = 0;
}

const char* source_profile_name(int mode) {
    return mode != 0 ? "curved reverse-fault" : "flat brush";
}

double raised_cosine_weight(double rho) {
    if (rho == 0.0) return 1.0;
    if (rho < 1.0) return 0.5 * (1.0 + std::cos(kPi * rho));
    return 0.0;
}

double rupture_velocity_used() {
    const double v = g_rupture_velocity_km_s;
    if (!(v >= 0.01)) return 0.01;
    return v > 20.0 ? 20.0 : v;
}

int rupture_delay_from_seconds(double seconds) {
    long long d = (long long)round_half_away(seconds) + g_new_source_delay_s;
    d = std::clamp(d, 0LL, (long long)INT_MAX);
    if (d <= g_time_s) d = (long long)g_time_s + 1;
    return int(d);
}

int brush_dab_delay_s() {
    if (g_active_paint_delay_override_s >= 0) {
        const int d = g_active_paint_delay_override_s;
        return d <= g_time_s ? g_time_s + 1 : d;
    }
    return rupture_delay_from_seconds(g_rupture_delay_cursor_s);
}

bool seafloor_gradient_at(int x, int y, float cell_km, double* gx, double* gy) {
    const GridData& g = g_grid;
    if (x <= 0 || y <= 0 || x >= int(g.nx) - 1 || y >= int(g.ny) - 1) return false;
    auto depth = [&](int xx, int yy) -> double {
        const std::size_t c = std::size_t(yy) * g.nx + std::size_t(xx);
        const float d = g.depth_m[c];
        if ((c < g.land.size() && g.land[c]) || !(d >= 0.0f)) return 0.0;
        return std::min(d, 11000.0f);
    };
    const double spacing = 2.0 * 1000.0 * cell_km;
    *gx = (depth(x + 1, y) - depth(x - 1, y)) / spacing;
    *gy = (depth(x, y + 1) - depth(x, y - 1)) / spacing;
    return true;
}

// --- Dabs -----------------------------------------------------------------------------------

CurvedDabGeometry curved_dab_geometry(int cy) {
    CurvedDabGeometry g;
    g.r = std::clamp(round_half_away(fault_width_radius_cells_at_y(float(cy))), 2, 120);
    auto sized = [&g](double f, int lo, int hi) {
        return std::clamp(round_half_away(f * g.r), lo, hi);
    };
    g.a_main = sized(1.2, 2, 60);
    g.b_main = sized(0.9, 2, 90);
    g.a_sub = sized(1.45, 2, 70);
    g.b_sub = sized(1.15, 2, 100);
    g.e_off = sized(1.1, 2, 65);
    g.g_ss = sized(2.2, 3, 110);
    g.h_ss = sized(0.75, 2, 85);
    g.b_end = std::max(0.85 * g.r, 2.0);
    g.a_end = std::max(0.7 * g.r, 2.0);
    g.off = std::max({g.b_main, g.h_ss, g.b_sub + g.e_off});
    g.ext = int(std::ceil(g.e_off + 1.05 * g.a_main + g.g_ss + g.h_ss + g.b_sub + g.b_end + 3.0));
    return g;
}

namespace {

// One uniform height over a disc of the projected radius.
int paint_flat_disc(int cx, int cy, int delay) {
    const int r = std::clamp(round_half_away(fault_width_radius_cells_at_y(float(cy))), 2, 120);
    const float depth = clamped_source_depth_km();
    const float s = g_new_source_height_m;
    const float h = float(s * dip_sin(clamped_fault_dip_deg())) * thrust_share() *
                        thrust_tsunami_depth_factor_at_km(depth) +
                    s * strike_slip_share() * 0.18f * strike_slip_depth_decay(depth);
    int affected = 0;
    for (int dy = -r; dy <= r; ++dy) {
        for (int dx = -r; dx <= r; ++dx) {
            if (dx * dx + dy * dy > r * r) continue;
            const int x = cx + dx, y = cy + dy;
            if (!g_grid.in_grid(x, y)) continue;
            const std::size_t c = std::size_t(y) * g_grid.nx + std::size_t(x);
            if (g_grid.solid[c]) {
                if (h >= -kEps) affected += source_cell_detail::footprint_only(x, y, delay);
            } else if (std::fabs(h) < kEps) {
                affected += source_cell_detail::footprint_only(x, y, delay);
            } else {
                affected += source_cell_detail::set_height(x, y, h, delay);
            }
        }
    }
    return affected;
}

// Uplift over the fault with subsidence lobes around it, all raised-cosine ellipses in the
// strike frame, plus the strike-slip quadrant pattern when there is a strike-slip share.
int paint_curved_disc(int cx, int cy, int delay) {
    const double thrust = thrust_share(), ss = strike_slip_share();
    if (thrust == 0.0 && ss == 0.0) return 0;

    const CurvedDabGeometry geo = curved_dab_geometry(cy);
    const int a_main = geo.a_main, b_main = geo.b_main, a_sub = geo.a_sub, b_sub = geo.b_sub;
    const int e_off = geo.e_off, g_ss = geo.g_ss, h_ss = geo.h_ss, off = geo.off, ext = geo.ext;
    const double b_end = geo.b_end, a_end = geo.a_end;

    const double theta = wrap_degrees_360(g_fault_strike_deg) * kDegToRad;
    const double ux = std::sin(theta), uy = std::cos(theta);
    const double nx = g_subsidence_side >= 0 ? std::cos(theta) : -std::cos(theta);
    const double ny = g_subsidence_side >= 0 ? -std::sin(theta) : std::sin(theta);

    const double slip = g_new_source_height_m;
    const double dip = clamped_fault_dip_deg();
    const double sin_d = dip_sin(dip), tan_d = sin_d / dip_cos_floor(dip);
    const double base_depth = clamped_source_depth_km();
    const double ratio = g_subsidence_ratio;
    const double sense = g_strike_slip_sense;

    // Squared reciprocal semi-axes of the five ellipses.
    const double main_u = 1.0 / (a_main * a_main), main_n = 1.0 / (b_main * b_main);
    const double sub_u = 1.0 / (a_sub * a_sub), sub_n = 1.0 / (b_sub * b_sub);
    const double back_u = 1.0 / ((0.95 * a_sub) * (0.95 * a_sub));
    const double back_n = 1.0 / ((0.82 * b_sub) * (0.82 * b_sub));
    const double end_u = 1.0 / (a_end * a_end), end_n = 1.0 / (b_end * b_end);
    const double end_shift = 1.05 * a_main, back_shift = 0.78 * e_off;
    const double inv_gss = 1.0 / g_ss, inv_hss = 1.0 / h_ss;

    const int y_lo = std::max(cy - ext, 0), y_hi = std::min(cy + ext, int(g_grid.ny) - 1);
    const int x_lo = std::max(cx - ext, 0), x_hi = std::min(cx + ext, int(g_grid.nx) - 1);
    int affected = 0;
    for (int y = y_lo; y <= y_hi; ++y) {
        const float ckm = cell_km_at_row(float(y));
        const double py = y - cy;
        for (int x = x_lo; x <= x_hi; ++x) {
            const double px = x - cx;
            const double along = px * ux + py * uy;
            const double across = px * nx + py * ny;

            // Squared normalised radii; a cell outside every shape gets nothing, so the depth
            // and the weights are only worked out for cells that some shape reaches.
            double q_main = 0, q_sub = 0, q_back = 0, q_end1 = 0, q_end2 = 0;
            bool reached = false;
            if (thrust > 0.0) {
                const double aa = along * along;
                q_main = aa * main_u + across * across * main_n;
                q_sub = aa * sub_u + (across - e_off) * (across - e_off) * sub_n;
                q_back = aa * back_u + (across + back_shift) * (across + back_shift) * back_n;
                q_end1 =
                    (along - end_shift) * (along - end_shift) * end_u + across * across * end_n;
                q_end2 =
                    (along + end_shift) * (along + end_shift) * end_u + across * across * end_n;
                reached = q_main < 1 || q_sub < 1 || q_back < 1 || q_end1 < 1 || q_end2 < 1;
            }
            const double q1 = across * inv_gss, q2 = -along * inv_hss;
            const double q_ss = q1 * q1 + q2 * q2;
            const bool ss_reached = ss > 0.0 && q_ss < 1.0;
            if (!reached && !ss_reached) continue;

            const double along_dip = std::max(0.0, across + off);
            const float z = float(std::clamp(base_depth + along_dip * ckm * tan_d, 0.0, 700.0));
            const double at = slip * sin_d * thrust * thrust_tsunami_depth_factor_at_km(z);
            const double as = slip * ss * 0.18 * strike_slip_depth_decay(z);

            double h = 0.0, coverage = 0.0;
            if (thrust > 0.0) {
                const double w1 = raised_cosine_weight(std::sqrt(q_main));
                const double w2 = raised_cosine_weight(std::sqrt(q_sub));
                const double w3 = raised_cosine_weight(std::sqrt(q_back));
                const double w45 = std::max(raised_cosine_weight(std::sqrt(q_end1)),
                                            raised_cosine_weight(std::sqrt(q_end2)));
                h = at * w1 - ratio * at * w2 - 0.28 * ratio * at * w3 - 0.16 * ratio * at * w45;
                coverage = std::max({w1, w2, w3, w45});
            }
            if (ss_reached) {
                const double wss = raised_cosine_weight(std::sqrt(q_ss));
                const double q1c = std::clamp(q1, -1.0, 1.0), q2c = std::clamp(q2, -1.0, 1.0);
                const double quad = std::sqrt(std::min(1.0, 4.0 * std::fabs(q1c * q2c)));
                const double sgn = q1c * q2c >= 0.0 ? 1.0 : -1.0;
                const double quadrant = sgn * sense * quad;
                const double lateral = q1c * (1.0 - std::fabs(q2c));
                double gain = 0.35, gx, gy;
                if (seafloor_gradient_at(x, y, ckm, &gx, &gy)) {
                    const double along_slope = std::fabs(gx * ux + gy * uy);
                    const double dip_slope = std::fabs(gx * nx + gy * ny);
                    gain = std::min(1.5, 0.35 + 7.0 * std::max(dip_slope, 0.6 * along_slope));
                }
                h += (0.3 * sense * lateral + 0.7 * quadrant) * gain * as * wss;
                coverage = std::max(coverage, std::max(quad, 1.0 - std::fabs(q2c)) * wss);
            }

            // A fault too deep to move the sea floor still leaves its slip area behind.
            if (std::fabs(h) >= kEps || (at <= 0.0001 && as <= 0.0001 && coverage > 0.001))
                affected += source_cell_detail::set_height(x, y, float(h), delay);
        }
    }
    return affected;
}

int paint_disc_synced(int cx, int cy) {
    const int delay = brush_dab_delay_s();
    return g_source_profile_mode == 0 ? paint_flat_disc(cx, cy, delay)
                                      : paint_curved_disc(cx, cy, delay);
}

// The stroke direction sets the strike, through a filter so a shaky hand does not swing it.
void update_strike_from_segment(int dx, int dy) {
    const float k = g_strike_smoothing_strength;
    if (k < 0.0f || std::min(k, 5.0f) <= 0.01f || !(k == k)) {
        if (std::abs(dx) < 0.001 && std::abs(dy) < 0.001) return;
        const double strike = wrap_degrees_360(std::atan2(double(dx), double(dy)) / kDegToRad);
        g_fault_strike_deg = float(strike);
        g_strike_filter_east = float(std::sin(strike * kDegToRad));
        g_strike_filter_north = float(std::cos(strike * kDegToRad));
        g_strike_filter_ready = 1;
        g_strike_accum_east = g_strike_accum_north = 0.0f;
        return;
    }
    const double kk = std::min(k, 5.0f);
    g_strike_accum_east += float(dx);
    g_strike_accum_north += float(dy);
    const double ae = g_strike_accum_east, an = g_strike_accum_north;
    const double len = std::sqrt(ae * ae + an * an);
    if (len < 1.25 * kk + 0.75) return;
    const double me = ae / len, mn = an / len;
    g_strike_accum_east = g_strike_accum_north = 0.0f;
    if (!g_strike_filter_ready) {
        g_strike_filter_east = float(me);
        g_strike_filter_north = float(mn);
        g_strike_filter_ready = 1;
    } else {
        const double alpha = 1.0 / (2.4 * kk + 1.0);
        const double fe = (1.0 - alpha) * g_strike_filter_east + alpha * me;
        const double fn = (1.0 - alpha) * g_strike_filter_north + alpha * mn;
        const double fl = std::sqrt(fe * fe + fn * fn);
        if (fl <= 0.0001) {
            g_strike_filter_east = float(me);
            g_strike_filter_north = float(mn);
        } else {
            g_strike_filter_east = float(fe / fl);
            g_strike_filter_north = float(fn / fl);
        }
    }
    g_fault_strike_deg = float(wrap_degrees_360(
        std::atan2(double(g_strike_filter_east), double(g_strike_filter_north)) / kDegToRad));
}

}  // namespace

int paint_source_disc(int cx, int cy) {
    source_cell_index_sync();
    return paint_disc_synced(cx, cy);
}

int paint_source_line(int x0, int y0, int x1, int y1) {
    source_cell_index_sync();
    const int dx = x1 - x0, dy = y1 - y0;
    if (dx != 0 || dy != 0) update_strike_from_segment(dx, dy);

    const double length_km =
        std::sqrt(double(dx) * dx + double(dy) * dy) * cell_km_at_row(0.5f * float(y0 + y1));
    const int adx = std::abs(dx), ady = std::abs(dy);
    const int steps = std::max({1, adx, ady});
    const double v = rupture_velocity_used();
    const double cursor = g_rupture_delay_cursor_s;
    const int sx = dx > 0 ? 1 : (dx < 0 ? -1 : 0), sy = dy > 0 ? 1 : (dy < 0 ? -1 : 0);

    int affected = 0;
    int x = x0, y = y0, err = adx - ady;
    for (int i = 0;; ++i) {
        const double t = double(i) / steps;
        const double fraction = g_bilateral_rupture ? std::min(t, 1.0 - t) : t;
        g_active_paint_delay_override_s =
            rupture_delay_from_seconds(cursor + fraction * length_km / v);
        affected += paint_disc_synced(x, y);
        g_active_paint_delay_override_s = -1;
        if (x == x1 && y == y1) break;
        const int e2 = 2 * err;
        if (e2 > -ady) {
            err -= ady;
            x += sx;
        }
        if (e2 < adx) {
            err += adx;
            y += sy;
        }
    }
    g_rupture_delay_cursor_s += float((g_bilateral_rupture ? length_km / 2.0 : length_km) / v);
    return affected;
}

// --- Stroke life cycle ----------------------------------------------------------------------

void brush_stroke_press(int on_map, int gx, int gy, int shift, int ctrl) {
    g_drag_painting = 1;
    g_drag_start_delay_cursor_s = g_rupture_delay_cursor_s;
    g_drag_affected_cells = 0;
    g_last_paint_grid_x = g_last_paint_grid_y = -1;
    g_drag_start_grid_x = g_drag_start_grid_y = -1;
    g_drag_source_start_count = g_sources.count;
    g_strike_filter_ready = 0;
    const double strike = wrap_degrees_360(g_fault_strike_deg) * kDegToRad;
    g_strike_filter_east = float(std::sin(strike));
    g_strike_filter_north = float(std::cos(strike));
    g_strike_accum_east = g_strike_accum_north = 0.0f;
    if (shift || ctrl) {
        g_drag_painting = 0;
        return;
    }
    if (!on_map) return;  // a drag into the map still paints, from its first cell inside

    g_drag_start_grid_x = gx;
    g_drag_start_grid_y = gy;
    g_active_paint_delay_override_s = brush_dab_delay_s();
    source_undo_push("source brush stroke");
    const int count = paint_source_disc(gx, gy);
    g_active_paint_delay_override_s = -1;
    g_drag_affected_cells += count;
    g_last_paint_grid_x = gx;
    g_last_paint_grid_y = gy;
    if (count < 1) {
        platform().beep(BeepKind::Warning);
        set_status("Source ignored: clicked land/coast-guard cell.");
        return;
    }
    set_status(
        "Started %s source at x=%d y=%d slip=%.2f m, Mw=%.2f, depth=%.0f km, peak=%.2f m. Drag "
        "to set auto strike.",
        source_profile_name(g_source_profile_mode), gx, gy, double(g_new_source_height_m),
        double(current_moment_magnitude()), double(g_source_depth_km),
        double(source_peak_height_estimate_m()));
}

void brush_stroke_move(int on_map, int gx, int gy) {
    if (!g_drag_painting || !on_map) return;
    int count;
    if (g_last_paint_grid_x >= 0 && g_last_paint_grid_y >= 0)
        count = paint_source_line(g_last_paint_grid_x, g_last_paint_grid_y, gx, gy);
    else
        count = paint_source_disc(gx, gy);
    g_drag_affected_cells += count;
    g_last_paint_grid_x = gx;
    g_last_paint_grid_y = gy;
    set_status(
        "Drawing sources... affected %d cell(s). auto strike %.0f deg, smooth %.1f, delay "
        "cursor %.1fs.",
        g_drag_affected_cells, double(g_fault_strike_deg), double(g_strike_smoothing_strength),
        double(g_rupture_delay_cursor_s));
}

// The rupture starts at both ends of the stroke and meets in the middle.
static void retime_stroke_bilaterally() {
    const double v = g_rupture_velocity_km_s;
    const int sx = g_drag_start_grid_x, sy = g_drag_start_grid_y;
    const int ex = g_last_paint_grid_x, ey = g_last_paint_grid_y;
    for (std::size_t i = g_drag_source_start_count; i < g_sources.count; ++i) {
        SourcePoint& p = g_sources.items[i];
        auto dist_km = [&](int x, int y) {
            const double ddx = p.grid_x - x, ddy = p.grid_y - y;
            return std::sqrt(ddx * ddx + ddy * ddy) * cell_km_at_row(0.5f * float(p.grid_y + y));
        };
        const double d = std::min(dist_km(sx, sy), dist_km(ex, ey));
        p.delay_s = rupture_delay_from_seconds(d / v + g_drag_start_delay_cursor_s);
        if (g_grid.in_grid(p.grid_x, p.grid_y)) {
            const std::size_t c = std::size_t(p.grid_y) * g_grid.nx + std::size_t(p.grid_x);
            if (c < g_sim.source_delay_s.size()) g_sim.source_delay_s[c] = p.delay_s;
        }
    }
}

void brush_stroke_release() {
    if (!g_drag_painting) return;
    const bool have_start = g_drag_start_grid_x >= 0 && g_drag_start_grid_y >= 0;
    const bool have_last = g_last_paint_grid_x >= 0 && g_last_paint_grid_y >= 0;
    if (g_bilateral_rupture && have_start && have_last && g_rupture_velocity_km_s > 0.01f &&
        g_sources.count > g_drag_source_start_count)
        retime_stroke_bilaterally();
    if (have_start && have_last) {
        const int extra = repaint_strike_slip_long_segment(
            g_drag_start_grid_x, g_drag_start_grid_y, g_last_paint_grid_x, g_last_paint_grid_y,
            g_drag_start_delay_cursor_s, g_drag_source_start_count);
        if (extra > 0) g_drag_affected_cells += extra;
    }
    g_drag_painting = 0;
    g_last_paint_grid_x = g_last_paint_grid_y = -1;
    g_active_paint_delay_override_s = -1;
    set_status(
        "Finished source stroke. Affected %d cell(s). Auto strike %.0f deg. Delay cursor "
        "%.1fs. Total sources: %zu.",
        g_drag_affected_cells, double(g_fault_strike_deg), double(g_rupture_delay_cursor_s),
        g_sources.count);
    platform().request_repaint();
}

void brush_stroke_cancel() {
    g_drag_painting = 0;
    g_last_paint_grid_x = g_last_paint_grid_y = -1;
    g_active_paint_delay_override_s = -1;
}

}  // namespace kaitoro
