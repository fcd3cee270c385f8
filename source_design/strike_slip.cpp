#include "source_design/strike_slip.h"

#include <algorithm>
#include <cmath>

#include "core/driver.h"
#include "source_design/brush.h"
#include "source_design/source_cell.h"

namespace kaitoro {

namespace {

double smoothstep(double t) {
    return t * t * (3.0 - 2.0 * t);
}

// Drops the nodes a stroke's dabs added, with their cells in the simulation.
void drop_nodes_from(std::size_t start_count) {
    for (std::size_t i = start_count; i < g_sources.count; ++i) {
        const SourcePoint& p = g_sources.items[i];
        if (!g_grid.in_grid(p.grid_x, p.grid_y)) continue;
        const std::size_t c = std::size_t(p.grid_y) * g_grid.nx + std::size_t(p.grid_x);
        if (c < g_sim.source_height.size()) g_sim.source_height[c] = 0.0f;
        solver_sources_changed(&g_sim);
        if (c < g_sim.source_delay_s.size()) g_sim.source_delay_s[c] = 0;
        if (c < g_sim.source_applied.size()) g_sim.source_applied[c] = 0.0f;
    }
    g_sources.count = start_count;
    source_cell_index_sync();
}

}  // namespace

int repaint_strike_slip_long_segment(int x0, int y0, int x1, int y1, float start_cursor_s,
                                     std::size_t start_count) {
    const double ss = strike_slip_share();
    const double dx = double(x1) - x0, dy = double(y1) - y0;
    const double len = std::sqrt(dx * dx + dy * dy);
    if (!(ss > 0.0001) || g_source_profile_mode == 0 || (x0 == x1 && y0 == y1) || len < 2.0)
        return 0;

    const double ux = dx / len, uy = dy / len;  // along the stroke
    const double lx = -uy, ly = ux;             // its left normal

    const float cm = cell_km_at_row(0.5f * float(y0 + y1));
    const double dip = clamped_fault_dip_deg();
    const double r_raw = dip_cos_floor(dip) * fault_width_km_sanitized() * 0.5 / cm;
    const int r = std::clamp(round_half_away(std::clamp(r_raw, 2.0, 120.0)), 2, 120);
    const int wb = std::clamp(round_half_away(0.9 * r), 2, 95);
    const double lobe_len = std::max(2.8 * r, 5.0);
    const double lobe_wid = std::max(1.25 * wb, 3.0);
    const double ramp = std::max(2.0 * r, 4.0);
    const int margin = int(std::ceil(lobe_wid + lobe_len + 4.0));
    const double length_km = len * cm;
    const double v = rupture_velocity_used();

    const double a0 = ss * g_new_source_height_m * 0.18;
    if (std::fabs(a0) < kSourceZeroEps) {
        // Nothing visible to paint, unless the fault is so deep that it only leaves footprints.
        const float depth = clamped_source_depth_km();
        if (!(depth > 10.0f && strike_slip_depth_decay(depth) <= 0.0001f)) return 0;
    }

    source_cell_index_sync();
    const bool pure = ss >= 0.999;
    if (pure && start_count < g_sources.count) drop_nodes_from(start_count);

    const double sense = g_strike_slip_sense;
    const double tan_d = dip_sin(dip) / dip_cos_floor(dip);
    const double base_depth = clamped_source_depth_km();
    const int y_lo = std::max(std::min(y0, y1) - margin, 0);
    const int y_hi = std::min(std::max(y0, y1) + margin, int(g_grid.ny) - 1);
    const int x_lo = std::max(std::min(x0, x1) - margin, 0);
    const int x_hi = std::min(std::max(x0, x1) + margin, int(g_grid.nx) - 1);

    int affected = 0;
    for (int y = y_lo; y <= y_hi; ++y) {
        const float ckm = cell_km_at_row(float(y));
        for (int x = x_lo; x <= x_hi; ++x) {
            const double px = double(x) - x0, py = double(y) - y0;
            const double s = px * ux + py * uy;
            const double a = px * lx + py * ly;
            const double across = std::fabs(a) / wb;
            if (across > 1.35 || !(across < 1.0)) continue;
            const double wc = raised_cosine_weight(across);
            if (!(wc > 0.0)) continue;

            double mid = 0.0;
            if (s >= 0.0 && s <= len)
                mid = smoothstep(std::clamp(s / ramp, 0.0, 1.0)) *
                      smoothstep(std::clamp((len - s) / ramp, 0.0, 1.0));
            const double an = a / lobe_wid;
            const double w_start =
                raised_cosine_weight(std::sqrt((s / lobe_len) * (s / lobe_len) + an * an));
            const double se = (s - len) / lobe_len;
            const double w_end = raised_cosine_weight(std::sqrt(se * se + an * an));
            const double k = a >= 0.0 ? 1.15 : -1.15;
            const double q = a >= 0.0 ? 0.38 : -0.38;
            const double band = std::clamp((s - len / 2.0) / ramp, -1.0, 1.0) * q;

            // The fault dips towards the left of the stroke, its top edge wb cells to the right.
            const double along_dip = std::max(0.0, px * lx + py * ly + wb);
            const float z = float(std::clamp(base_depth + along_dip * ckm * tan_d, 0.0, 700.0));
            const double as = a0 * strike_slip_depth_decay(z);

            double gain = 0.35, gx, gy;
            if (seafloor_gradient_at(x, y, ckm, &gx, &gy)) {
                const double along_slope = std::fabs(gx * ux + gy * uy);
                const double cross_slope = std::fabs(gx * lx + gy * ly);
                gain = std::min(1.5, 0.35 + 7.0 * std::max(along_slope, 0.6 * cross_slope));
            }
            const double h = ss * as * gain * sense * ((w_end - w_start) * k + band * mid * wc);
            if (!(std::fabs(h) >= kSourceZeroEps || as <= 0.0001)) continue;

            const double t = std::clamp(s / len, 0.0, 1.0);
            const double fraction = g_bilateral_rupture ? std::min(t, 1.0 - t) : t;
            const int delay = rupture_delay_from_seconds(start_cursor_s + fraction * length_km / v);
            affected += pure ? source_cell_detail::set_height_force(x, y, float(h), delay)
                             : source_cell_detail::set_height(x, y, float(h), delay);
        }
    }
    return affected;
}

}  // namespace kaitoro
