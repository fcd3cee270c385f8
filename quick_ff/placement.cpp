#include "quick_ff/placement.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "core/driver.h"
#include "core/status.h"
#include "quick_ff/ff_grid.h"
#include "source_design/fault_table.h"
#include "source_design/source_cell.h"
#include "source_design/undo.h"

namespace kaitoro {

int g_next_quick_ff_fault_id = 9000;
int g_quick_ff_place_mode = 0;
int g_quick_ff_okada = 0;

namespace {

constexpr float kDegToRad = 0.017453292f;

float dip_cos_floored(float dip_deg) {
    return std::max(0.25f, std::cos(quick_ff_clamp_dip(dip_deg) * kDegToRad));
}

// Ctrl wins over Shift.
float key_step(int shift, int ctrl, float normal, float with_shift) {
    return ctrl ? 1.0f : shift ? with_shift : normal;
}

}  // namespace

float quick_ff_layout_width_cells(float cell_km) {
    const float width = fault_width_km_sanitized();
    const QuickFfCell* c3 = quick_ff_cell_at(kQuickFfEpicenterRow, kQuickFfEpicenterCol);
    const float dip = c3 ? c3->dip_deg : g_fault_dip_deg;
    return std::max(1.0f, dip_cos_floored(dip) * width / std::max(0.01f, cell_km));
}

void quick_ff_adjust_width_only(float delta_km) {
    set_fault_width_km_value(fault_width_km_sanitized() + delta_km);
    set_status(
        "Quick FF placement: patch width %.1f km, length %.1f km. Width changed only; J/K "
        "changes length.",
        double(g_fault_width_km), double(g_fault_stamp_length_km));
}

int quick_ff_apply_at(int gx, int gy) {
    if (g_quick_ff_okada) return quick_ff_apply_okada_at(gx, gy);
    source_undo_push("quick finite-fault grid apply");

    const int fault_id = g_next_quick_ff_fault_id++;
    const float saved_dip = g_fault_dip_deg;
    const int saved_fault_id = g_active_stamp_fault_id;
    const int saved_patch_id = g_active_stamp_patch_id;

    const float theta = float(wrap_degrees_360(g_fault_strike_deg)) * kDegToRad;
    const float s = std::sin(theta), c = std::cos(theta);
    const float cell_km = cell_km_at_row(float(gy));
    const float a = std::max(1.0f, g_fault_stamp_length_km / cell_km);
    const float b = quick_ff_layout_width_cells(cell_km);
    int epi_row, epi_col;
    float ea, ed;
    quick_ff_find_epicenter_cell(&epi_row, &epi_col, &ea, &ed);
    const float width = fault_width_km_sanitized();
    const float top_depth = std::isfinite(g_source_depth_km) ? g_source_depth_km : 0.0f;
    const int nx = int(g_grid.nx), ny = int(g_grid.ny);

    source_cell_index_sync();
    int placed = 0, patches = 0;
    for (std::size_t i = 0; i < g_quick_ff_rows.size(); ++i) {
        const QuickFfCell& patch = g_quick_ff_rows[i];
        if (!quick_ff_cell_active(patch)) continue;
        ++patches;
        const float dip = quick_ff_clamp_dip(patch.dip_deg);
        g_fault_dip_deg = dip;
        g_active_stamp_fault_id = fault_id;
        g_active_stamp_patch_id = int(i) + 1;

        const float length_cells = a;
        const float width_cells = std::max(1.0f, dip_cos_floored(dip) * width / cell_km);
        const float along = (patch.along_offset - ea) * a;
        const float down = (patch.dip_offset - ed) * b;
        // Strike runs along (s, c) in (column, row); down dip is (c, -s), 90 degrees clockwise.
        const float cx = float(gx) + s * along + c * down;
        const float cy = float(gy) + c * along - s * down;
        const int reach = int(
            std::ceil(std::sqrt(length_cells * length_cells + width_cells * width_cells) + 2.0f));
        const float tan_dip = std::tan(dip * kDegToRad);

        const int y0 = std::max(0, int(std::floor(cy)) - reach);
        const int y1 = std::min(ny - 1, int(std::ceil(cy)) + reach);
        const int x0 = std::max(0, int(std::floor(cx)) - reach);
        const int x1 = std::min(nx - 1, int(std::ceil(cx)) + reach);
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x) {
                const float dx = float(x) - cx, dy = float(y) - cy;
                const float u = s * dx + c * dy;
                const float v = c * dx - s * dy;
                if (std::fabs(u) > length_cells * 0.5f || std::fabs(v) > width_cells * 0.5f)
                    continue;
                const float depth =
                    std::clamp((v + down) * cell_km * tan_dip + top_depth, 0.0f, 700.0f);
                const float height =
                    preset_recompute_height_from_slip_depth(patch.slip_m, dip, depth);
                // The same forced write as set_source_cell_height_force, minus its per-call
                // index check: the index was synced once above and the cell writes keep it in
                // step, which keeps a 6000-cell placement linear.
                if (!source_cell_detail::set_height_force(x, y, height, patch.delay_s)) continue;
                const std::int32_t k =
                    g_source_cell_index.first_node[std::size_t(y) * g_grid.nx + std::size_t(x)];
                if (k < 0) continue;
                SourcePoint& node = g_sources[std::size_t(k)];
                node.fault_id = fault_id;
                node.patch_id = int(i) + 1;
                node.height_m =
                    g_grid.solid[std::size_t(y) * g_grid.nx + std::size_t(x)] ? 0.0f : height;
                node.slip_m = patch.slip_m;
                node.dip_deg = dip;
                node.strike_deg = g_fault_strike_deg;
                node.depth_km = depth;
                node.width_km = width;
                node.length_km = g_fault_stamp_length_km;
                ++placed;
            }
    }

    g_fault_dip_deg = saved_dip;
    g_active_stamp_fault_id = saved_fault_id;
    g_active_stamp_patch_id = saved_patch_id;
    reset_state_preserve_sources();
    set_status(
        "Quick finite-fault grid applied at delay-0 epicenter x=%d y=%d: %d source cell(s), %d "
        "patch cell(s). Epicenter cell=%s. Depth is computed from the displayed down-dip axis "
        "relative to that delay-0 cell.",
        gx, gy, placed, patches, quick_ff_cell_name(epi_row, epi_col).c_str());
    return placed;
}

int quick_ff_apply_okada_at(int gx, int gy) {
    const double theta = wrap_degrees_360(g_fault_strike_deg) * double(kDegToRad);
    const double s = std::sin(theta), c = std::cos(theta);
    const double cell_km = cell_km_at_row(float(gy));
    int epi_row, epi_col;
    float ea, ed;
    quick_ff_find_epicenter_cell(&epi_row, &epi_col, &ea, &ed);
    const double width = fault_width_km_sanitized();
    const double top_depth = std::isfinite(g_source_depth_km) ? g_source_depth_km : 0.0;
    const double ss = strike_slip_share(), thrust = thrust_share();
    const double rake = std::atan2(thrust, -double(g_strike_slip_sense) * ss) / double(kDegToRad);

    std::vector<Subfault> subfaults;
    int patches = 0;
    for (std::size_t i = 0; i < g_quick_ff_rows.size(); ++i) {
        const QuickFfCell& patch = g_quick_ff_rows[i];
        if (!quick_ff_cell_active(patch)) continue;
        ++patches;
        const double dip = quick_ff_clamp_dip(patch.dip_deg);
        const double sd = std::sin(dip * double(kDegToRad)), cd = std::cos(dip * double(kDegToRad));
        const double along_km = double(patch.along_offset - ea) * g_fault_stamp_length_km;
        const double down = double(patch.dip_offset - ed);
        const double down_km = down * width * cd;
        // Strike runs along (s, c) in (column, row); down dip is (c, -s).
        const float cx = float(gx + (s * along_km + c * down_km) / cell_km);
        const float cy = float(gy + (c * along_km - s * down_km) / cell_km);
        Subfault f;
        float lat, lon;
        latlon_from_grid_xy(cx, cy, &lat, &lon);
        f.fault.lat_deg = lat;
        f.fault.lon_deg = lon;
        f.fault.depth_km = std::max(top_depth + down * width * sd, 0.5 * width * sd);
        f.fault.strike_deg = wrap_degrees_360(g_fault_strike_deg);
        f.fault.dip_deg = dip;
        f.fault.rake_deg = rake;
        f.fault.length_km = g_fault_stamp_length_km;
        f.fault.width_km = width;
        f.fault.slip_m = patch.slip_m;
        f.rupture_s = patch.delay_s;
        f.line = int(i) + 1;
        subfaults.push_back(f);
    }
    const int placed = int(fault_sources_add_to_current(subfaults, FaultSourceOptions{},
                                                        "quick finite-fault grid apply")
                               .points);
    bool standard = false;
    const double mw = moment_magnitude_from_nm(displayed_source_moment_nm(&standard));
    set_status(
        "Quick finite-fault grid applied as dislocations at delay-0 epicenter x=%d y=%d: %d "
        "source cell(s), %d patch subfault(s), standard Mw %.2f. Epicenter cell=%s.",
        gx, gy, placed, patches, mw, quick_ff_cell_name(epi_row, epi_col).c_str());
    return placed;
}

void quick_ff_enter_place_mode() {
    g_quick_ff_place_mode = 1;
    fault_width_km_sanitized();
    set_status(
        "Quick finite-fault placement: mouse=epicenter C3; click/Enter apply; Z/X strike %.0f; "
        "J/K length %.1f km; </> width %.1f km; Esc cancels.",
        double(g_fault_strike_deg), double(g_fault_stamp_length_km), double(g_fault_width_km));
}

void quick_ff_placement_hover(int gx, int gy) {
    fault_width_km_sanitized();
    set_status(
        "Quick finite-fault grid preview: C3 epicenter x=%d y=%d | strike %.0f deg | length "
        "%.1f km | width %.1f km | click/Enter apply.",
        gx, gy, double(g_fault_strike_deg), double(g_fault_stamp_length_km),
        double(g_fault_width_km));
}

int quick_ff_placement_click(int inside_map, int gx, int gy) {
    if (!inside_map || !g_grid.in_grid(gx, gy)) {
        set_status("Quick finite-fault placement: click inside the map, or Esc to cancel.");
        return 0;
    }
    quick_ff_apply_at(gx, gy);
    g_quick_ff_place_mode = 0;
    return 1;
}

QuickFfKeyResult quick_ff_placement_key(int key, int shift, int ctrl, int hover_valid, int hover_x,
                                        int hover_y) {
    if (!g_quick_ff_place_mode) return QuickFfKeyResult::NotHandled;
    switch (key) {
        case 'Z':
        case 'X': {
            const float step = key_step(shift, ctrl, 5.0f, 15.0f);
            g_fault_strike_deg =
                float(wrap_degrees_360(g_fault_strike_deg + (key == 'X' ? step : -step)));
            set_status("Quick FF placement: strike %.0f deg.", double(g_fault_strike_deg));
            return QuickFfKeyResult::Handled;
        }
        case 'J':
        case 'K': {
            const float step = key_step(shift, ctrl, 5.0f, 20.0f);
            float length = g_fault_stamp_length_km + (key == 'K' ? step : -step);
            if (!std::isfinite(length)) length = 40.0f;
            g_fault_stamp_length_km = std::clamp(length, 5.0f, 600.0f);
            set_status("Quick FF placement: patch length %.1f km.",
                       double(g_fault_stamp_length_km));
            return QuickFfKeyResult::Handled;
        }
        case ',':
        case '.': {
            const float step = key_step(shift, ctrl, 5.0f, 20.0f);
            quick_ff_adjust_width_only(key == '.' ? step : -step);
            return QuickFfKeyResult::Handled;
        }
        case kQuickFfKeyEnter:
            if (!hover_valid || !g_grid.in_grid(hover_x, hover_y)) return QuickFfKeyResult::Handled;
            quick_ff_apply_at(hover_x, hover_y);
            g_quick_ff_place_mode = 0;
            return QuickFfKeyResult::Placed;
        case kQuickFfKeyEscape:
            g_quick_ff_place_mode = 0;
            set_status("Quick finite-fault placement cancelled.");
            return QuickFfKeyResult::Cancelled;
        case 'S':
            return QuickFfKeyResult::OpenEditor;
        default:
            return QuickFfKeyResult::NotHandled;
    }
}

}  // namespace kaitoro
