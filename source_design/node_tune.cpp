#include "source_design/node_tune.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <new>

#include "core/driver.h"
#include "core/platform.h"
#include "core/status.h"
#include "source_design/brush.h"
#include "source_design/source_cell.h"
#include "source_design/undo.h"

namespace kaitoro {

int g_node_tune_mode = 0;
std::vector<std::uint8_t> g_node_tune_selected;
std::size_t g_node_tune_selected_capacity = 0;
int g_selected_source_i = -1;
int g_node_tune_box_select_active = 0;
int g_node_tune_box_start_x = 0, g_node_tune_box_start_y = 0;
int g_node_tune_box_cur_x = 0, g_node_tune_box_cur_y = 0;
NodeTuneViewHooks g_node_tune_view;

namespace {

constexpr float kEps = kSourceZeroEps;
constexpr char kNoNodes[] = "Node tune: there are no source nodes to select.";

bool primary_valid() {
    return g_selected_source_i >= 0 && std::size_t(g_selected_source_i) < g_sources.count;
}

// Restores the selection invariants; false after an allocation failure (already reported).
bool sync_selection() {
    if (!node_tune_ensure_selection_capacity()) return false;
    std::fill(
        g_node_tune_selected.begin() + long(std::min(g_sources.count, g_node_tune_selected.size())),
        g_node_tune_selected.end(), std::uint8_t(0));
    if (!primary_valid()) g_selected_source_i = -1;
    return true;
}

void clear_flags() {
    std::fill(g_node_tune_selected.begin(), g_node_tune_selected.end(), std::uint8_t(0));
}

bool selected(std::size_t i) {
    return i < g_node_tune_selected.size() && g_node_tune_selected[i];
}

long lowest_selected() {
    for (std::size_t i = 0; i < g_sources.count; ++i)
        if (selected(i)) return long(i);
    return -1;
}

// Starts an edit: flags in bounds, and an empty selection means the primary alone.
bool begin_edit() {
    if (!sync_selection()) return false;
    node_tune_select_current_if_empty();
    return true;
}

}  // namespace

void node_tune_reset_globals() {
    g_node_tune_mode = 0;
    g_node_tune_selected = {};
    g_node_tune_selected_capacity = 0;
    g_selected_source_i = -1;
    g_node_tune_box_select_active = 0;
    g_node_tune_box_start_x = g_node_tune_box_start_y = 0;
    g_node_tune_box_cur_x = g_node_tune_box_cur_y = 0;
    g_node_tune_view = {};
}

// --- Selection set --------------------------------------------------------------------------

int node_tune_ensure_selection_capacity() {
    const std::size_t need = std::max({g_sources.count, g_sources.capacity, std::size_t(1)});
    if (g_node_tune_selected.size() < need) {
        try {
            g_node_tune_selected.resize(need, 0);
        } catch (const std::bad_alloc&) {
            platform().beep(BeepKind::Error);
            set_status("Node tune: selection memory allocation failed.");
            g_selected_source_i = -1;
            return 0;
        }
    }
    g_node_tune_selected_capacity = g_node_tune_selected.size();
    return 1;
}

void node_tune_sync_selected_bounds() {
    sync_selection();
}

std::size_t node_tune_selected_count() {
    if (!sync_selection()) return 0;
    std::size_t n = 0;
    for (std::size_t i = 0; i < g_sources.count; ++i) n += g_node_tune_selected[i] != 0;
    return n;
}

void node_tune_select_only(long i) {
    if (!sync_selection()) return;
    clear_flags();
    if (i >= 0 && std::size_t(i) < g_sources.count) {
        g_node_tune_selected[std::size_t(i)] = 1;
        g_selected_source_i = int(i);
    } else {
        g_selected_source_i = -1;
    }
}

void node_tune_select_current_if_empty() {
    if (!sync_selection()) return;
    if (lowest_selected() < 0 && primary_valid())
        g_node_tune_selected[std::size_t(g_selected_source_i)] = 1;
}

void node_tune_show_selected_status(const char* prefix) {
    if (!prefix) prefix = "Node tune:";
    const std::size_t n = node_tune_selected_count();
    if (n >= 1 && primary_valid()) {
        const int p = g_selected_source_i;
        const SourcePoint& s = g_sources.items[std::size_t(p)];
        const double dip = node_dip_or_global(s);
        if (n == 1)
            set_status(
                "%s node #%d/%zu x=%d y=%d height=%.3f m slip=%.3f m delay=%ds "
                "dip@paint=%.0f. Ctrl/Shift-click or Shift-drag for multi-select, A all, "
                "C clear.",
                prefix, p + 1, g_sources.count, s.grid_x, s.grid_y, double(s.height_m),
                double(s.slip_m), s.delay_s, dip);
        else
            set_status(
                "%s %zu nodes selected. Primary #%d/%zu x=%d y=%d h=%.3f slip=%.3f "
                "delay=%ds dip@paint=%.0f. Edits apply to selected; Del removes.",
                prefix, n, p + 1, g_sources.count, s.grid_x, s.grid_y, double(s.height_m),
                double(s.slip_m), s.delay_s, dip);
        return;
    }
    set_status(
        "Node tune: no source node selected. Click a source marker, or Shift-drag a box. "
        "Ctrl-click toggles, Shift-click adds, A selects all, C clears.");
}

// --- Edits ----------------------------------------------------------------------------------

void node_tune_adjust_delay(int step_s) {
    source_undo_push("node tune delay");
    if (!begin_edit()) return;
    int changed = 0;
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        if (!selected(i)) continue;
        SourcePoint& p = g_sources.items[i];
        const long long d = std::clamp((long long)p.delay_s + step_s, 0LL, (long long)INT_MAX);
        if (d != p.delay_s) {
            p.delay_s = int(d);
            ++changed;
        }
    }
    if (changed > 0) {
        reset_state_preserve_sources();
        set_status("Node tune: delay %+d s applied to %d selected node(s).", step_s, changed);
    } else {
        node_tune_show_selected_status(nullptr);
    }
}

float node_tune_auto_surface_height_from_slip(const SourcePoint* node, float new_slip,
                                              float old_slip) {
    if (!node || new_slip < 0.0f || new_slip <= 0.000001f) return 0.0f;
    if (old_slip > 0.000001f) {
        const float h = node->height_m * new_slip / old_slip;  // the old shape, scaled
        return std::fabs(h) < kEps ? 0.0f : h;
    }
    if (std::fabs(node->height_m) < kEps) return 0.0f;
    const float sign = node->height_m < 0.0f ? -1.0f : 1.0f;
    const float depth = clamped_source_depth_km();
    const float h =
        sign * (float(new_slip * dip_sin(node_dip_or_global(*node))) * thrust_share() *
                    thrust_tsunami_depth_factor_at_km(depth) +
                new_slip * strike_slip_share() * 0.18f * strike_slip_depth_decay(depth));
    return std::fabs(h) < kEps ? 0.0f : h;
}

// Uplift follows the slip; subsidence changes its depth directly and keeps no slip.
static void adjust_amplitude(float step_m) {
    source_undo_push("node tune slip/amplitude");
    if (!begin_edit()) return;
    int counted = 0;
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        if (!selected(i)) continue;
        SourcePoint& p = g_sources.items[i];
        ++counted;
        if (p.height_m < -kEps) {
            const float m = std::fabs(p.height_m) + step_m;
            p.height_m = m > kEps ? -m : 0.0f;
            p.slip_m = 0.0f;
            continue;
        }
        const float old_slip = std::fabs(p.slip_m);
        float base = old_slip;
        if (std::fabs(p.slip_m) <= 0.000001f && p.height_m > kEps) base = p.height_m;
        const float new_slip = std::max(0.0f, base + step_m);
        const float h = node_tune_auto_surface_height_from_slip(&p, new_slip, old_slip);
        p.height_m = h;
        p.slip_m = h >= -kEps ? (std::fabs(new_slip) < kEps ? 0.0f : std::fabs(new_slip)) : 0.0f;
    }
    if (counted > 0) {
        reset_state_preserve_sources();
        set_status(
            "Node tune: %+.3f m applied to %d selected node(s); uplift uses slip, "
            "subsidence keeps slip=0.",
            double(step_m), counted);
    } else {
        node_tune_show_selected_status(nullptr);
    }
}

void node_tune_adjust_slip(float step_m) {
    adjust_amplitude(step_m);
}
void node_tune_adjust_height(float step_m) {
    adjust_amplitude(step_m);
}

void node_tune_move_selected(int dx, int dy) {
    if (!begin_edit()) return;
    std::size_t n = 0;
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        if (!selected(i)) continue;
        ++n;
        const SourcePoint& p = g_sources.items[i];
        const long long tx = (long long)p.grid_x + dx, ty = (long long)p.grid_y + dy;
        if (!g_grid.in_grid(tx, ty)) {
            platform().beep(BeepKind::Warning);
            set_status("Node tune: group move blocked by map edge at node #%zu.", i + 1);
            return;
        }
        const long holder = source_find_node_at(int(tx), int(ty));
        if (holder >= 0 && !selected(std::size_t(holder))) {
            platform().beep(BeepKind::Warning);
            set_status("Node tune: target x=%d y=%d already has unselected source node #%d.",
                       int(tx), int(ty), int(holder + 1));
            return;
        }
    }
    if (n == 0) {
        node_tune_show_selected_status(nullptr);
        return;
    }
    source_undo_push("node tune move");
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        if (!selected(i)) continue;
        g_sources.items[i].grid_x += dx;
        g_sources.items[i].grid_y += dy;
    }
    reset_state_preserve_sources();
    set_status("Node tune: moved %zu selected node(s) by dx=%d dy=%d.", n, dx, dy);
}

void node_tune_delete_selected() {
    if (!begin_edit()) return;
    if (lowest_selected() < 0) {
        node_tune_show_selected_status(nullptr);
        return;
    }
    source_undo_push("node tune delete");
    std::size_t kept = 0;
    for (std::size_t i = 0; i < g_sources.count; ++i)
        if (!selected(i)) g_sources.items[kept++] = g_sources.items[i];
    const std::size_t removed = g_sources.count - kept;
    g_sources.count = kept;
    clear_flags();
    g_selected_source_i = -1;
    reset_state_preserve_sources();
    set_status("Node tune: removed %zu selected node(s). Remaining source nodes: %zu.", removed,
               g_sources.count);
}

void node_tune_height_zero() {
    source_undo_push("node tune height zero");
    if (!begin_edit()) return;
    int n = 0;
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        if (!selected(i)) continue;
        SourcePoint& p = g_sources.items[i];
        if (p.height_m > kEps)
            p.slip_m = std::max(p.height_m, p.slip_m);
        else if (p.height_m >= -kEps)
            p.slip_m = std::fabs(p.slip_m) < kEps ? 0.0f : std::fabs(p.slip_m);
        else
            p.slip_m = 0.0f;
        p.height_m = 0.0f;
        ++n;
    }
    if (n > 0) {
        reset_state_preserve_sources();
        set_status("Node tune: set height=0 for %d selected node(s), slip kept.", n);
    } else {
        node_tune_show_selected_status(nullptr);
    }
}

void node_tune_copy_brush_values() {
    source_undo_push("node tune copy template");
    if (!begin_edit()) return;
    const float h = preset_recompute_height_from_slip_depth(
        g_new_source_height_m, clamped_fault_dip_deg(), g_source_depth_km);
    float slip = std::fabs(g_new_source_height_m);
    if (slip < kEps || h < -kEps) slip = 0.0f;
    int n = 0;
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        if (!selected(i)) continue;
        SourcePoint& p = g_sources.items[i];
        p.height_m = h;
        p.slip_m = slip;
        source_apply_current_fault_metadata(&p);
        p.delay_s = g_new_source_delay_s;
        ++n;
    }
    if (n > 0) {
        reset_state_preserve_sources();
        set_status("Node tune: copied current brush values to %d selected node(s).", n);
    } else {
        node_tune_show_selected_status(nullptr);
    }
}

// --- Mode and keys --------------------------------------------------------------------------

void node_tune_mode_on() {
    g_node_tune_mode = 1;
    brush_stroke_cancel();
    if (!sync_selection()) return;
    if (lowest_selected() < 0 && g_sources.count > 0) node_tune_select_only(0);
    node_tune_show_selected_status("Advanced node tune mode ON");
}

static void tab_key(bool backwards) {
    if (!sync_selection()) return;
    const long count = long(g_sources.count);
    if (count == 0) {
        clear_flags();
        g_selected_source_i = -1;
        set_status(kNoNodes);
        return;
    }
    const long dir = backwards ? -1 : 1;
    if (node_tune_selected_count() >= 2 && primary_valid()) {
        long i = g_selected_source_i;
        for (long k = 0; k < count; ++k) {
            i = (i + dir + count) % count;
            if (selected(std::size_t(i))) break;
        }
        g_selected_source_i = int(i);
        node_tune_show_selected_status("Primary changed");
        return;
    }
    long next;
    if (primary_valid())
        next = (g_selected_source_i + dir + count) % count;
    else
        next = backwards ? count - 1 : 0;
    node_tune_select_only(next);
    node_tune_show_selected_status("Selected");
}

int node_tune_handle_key(int key, int shift, int ctrl) {
    if (!g_node_tune_mode) return 0;
    const float amp = ctrl ? 0.01f : (shift ? 0.5f : 0.1f);
    const int delay = ctrl ? 1 : (shift ? 300 : 15);
    const int move = shift ? 5 : 1;
    switch (key) {
        case kKeyTab:
            tab_key(shift != 0);
            return 1;
        case kKeyEscape:
        case 'C':
            if (sync_selection()) {
                clear_flags();
                g_selected_source_i = -1;
                set_status("Node tune: selection cleared. Click a marker to select again.");
            }
            return 1;
        case 'E':
            g_node_tune_mode = 0;
            g_node_tune_box_select_active = 0;
            set_status("Advanced node tune mode: off. Normal source drawing restored.");
            return 1;
        case 'A':
            if (!sync_selection()) return 1;
            if (g_sources.count == 0) {
                g_selected_source_i = -1;
                set_status(kNoNodes);
                return 1;
            }
            std::fill(g_node_tune_selected.begin(),
                      g_node_tune_selected.begin() + long(g_sources.count), std::uint8_t(1));
            g_selected_source_i = 0;
            set_status(
                "Node tune: selected all %zu source nodes. Edits now apply to every "
                "selected node.",
                g_sources.count);
            return 1;
        case kKeyDelete:
        case kKeyBackspace:
            node_tune_delete_selected();
            return 1;
        case kKeyPageUp:
            node_tune_adjust_slip(amp);
            return 1;
        case kKeyPageDown:
            node_tune_adjust_slip(-amp);
            return 1;
        case kKeyPlusEquals:
            node_tune_adjust_height(amp);
            return 1;
        case kKeyMinus:
            node_tune_adjust_height(-amp);
            return 1;
        case kKeyBracketLeft:
            node_tune_adjust_delay(-delay);
            return 1;
        case kKeyBracketRight:
            node_tune_adjust_delay(delay);
            return 1;
        case kKeyLeft:
            node_tune_move_selected(-move, 0);
            return 1;
        case kKeyRight:
            node_tune_move_selected(move, 0);
            return 1;
        case kKeyUp:
            node_tune_move_selected(0, -move);
            return 1;
        case kKeyDown:
            node_tune_move_selected(0, move);
            return 1;
        case 'F':
            node_tune_height_zero();
            return 1;
        case 'U':
            node_tune_copy_brush_values();
            return 1;
        default:
            return 0;
    }
}

// --- Mouse ----------------------------------------------------------------------------------

int node_tune_pick_radius_px() {
    const int m = g_node_tune_view.marker_base_size ? g_node_tune_view.marker_base_size() : 1;
    return std::min(32, std::max(8, (std::max(1, m) - 1) / 2));
}

long node_tune_pick_marker(int sx, int sy) {
    if (!g_node_tune_view.cell_center) return -1;
    const long long r = node_tune_pick_radius_px();
    long best = -1;
    long long best_d2 = 0;
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        int cx, cy;
        g_node_tune_view.cell_center(g_sources.items[i].grid_x, g_sources.items[i].grid_y, &cx,
                                     &cy);
        const long long ddx = (long long)cx - sx, ddy = (long long)cy - sy;
        const long long d2 = ddx * ddx + ddy * ddy;
        if (d2 > r * r) continue;
        if (best < 0 || d2 <= best_d2) {
            best = long(i);
            best_d2 = d2;
        }
    }
    return best;
}

static bool on_map(int sx, int sy) {
    int gx, gy;
    return g_node_tune_view.screen_to_grid && g_node_tune_view.screen_to_grid(sx, sy, &gx, &gy);
}

void node_tune_mouse_press(int sx, int sy, int shift, int ctrl) {
    if (!on_map(sx, sy)) {
        g_selected_source_i = -1;
        set_status(
            "Node tune: click inside the map on a source marker, or Shift-drag a "
            "rectangle over source markers.");
        return;
    }
    if (shift) {
        g_node_tune_box_start_x = g_node_tune_box_cur_x = sx;
        g_node_tune_box_start_y = g_node_tune_box_cur_y = sy;
        g_node_tune_box_select_active = 1;
        set_status(
            "Node tune box select: drag while holding Shift to add all source nodes "
            "inside the rectangle.");
        return;
    }
    if (!sync_selection()) return;
    const long node = node_tune_pick_marker(sx, sy);
    if (node < 0) {
        if (!ctrl) {
            clear_flags();
            g_selected_source_i = -1;
        }
        set_status(
            "Node tune: no source marker here. Click a marker; Ctrl-click toggles, "
            "Shift-click adds.");
        return;
    }
    if (ctrl) {
        const std::size_t i = std::size_t(node);
        g_node_tune_selected[i] = g_node_tune_selected[i] ? 0 : 1;
        if (g_node_tune_selected[i])
            g_selected_source_i = int(node);
        else
            g_selected_source_i = int(lowest_selected());
        node_tune_show_selected_status(g_node_tune_selected[i] ? "Toggled on" : "Toggled off");
        return;
    }
    node_tune_select_only(node);
    node_tune_show_selected_status("Selected");
}

int node_tune_mouse_move(int sx, int sy) {
    if (!g_node_tune_box_select_active) return 0;
    g_node_tune_box_cur_x = sx;
    g_node_tune_box_cur_y = sy;
    platform().request_repaint();
    return 1;
}

int node_tune_mouse_release(int sx, int sy) {
    if (!g_node_tune_box_select_active) return 0;
    g_node_tune_box_select_active = 0;
    g_node_tune_box_cur_x = sx;
    g_node_tune_box_cur_y = sy;
    if (!sync_selection()) return 1;
    const long long ddx = (long long)sx - g_node_tune_box_start_x;
    const long long ddy = (long long)sy - g_node_tune_box_start_y;
    if (ddx * ddx + ddy * ddy < 25) {  // too small for a box: a Shift-click
        const long node = node_tune_pick_marker(sx, sy);
        if (node < 0) {
            set_status("Node tune box select: no source marker under Shift-click.");
            return 1;
        }
        g_node_tune_selected[std::size_t(node)] = 1;
        g_selected_source_i = int(node);
        node_tune_show_selected_status("Added");
        return 1;
    }
    const int x_lo = std::min(sx, g_node_tune_box_start_x),
              x_hi = std::max(sx, g_node_tune_box_start_x);
    const int y_lo = std::min(sy, g_node_tune_box_start_y),
              y_hi = std::max(sy, g_node_tune_box_start_y);
    int contained = 0, added = 0;
    long first_added = -1;
    if (g_node_tune_view.cell_center) {
        for (std::size_t i = 0; i < g_sources.count; ++i) {
            int cx, cy;
            g_node_tune_view.cell_center(g_sources.items[i].grid_x, g_sources.items[i].grid_y, &cx,
                                         &cy);
            if (cx < x_lo || cx > x_hi || cy < y_lo || cy > y_hi) continue;
            ++contained;
            if (g_node_tune_selected[i]) continue;
            g_node_tune_selected[i] = 1;
            ++added;
            if (first_added < 0) first_added = long(i);
        }
    }
    if (first_added >= 0)
        g_selected_source_i = int(first_added);
    else if (contained > 0 && !primary_valid())
        g_selected_source_i = int(lowest_selected());
    set_status(
        "Node tune box select: rectangle contained %d node(s), added %d new node(s). "
        "Total selected: %zu.",
        contained, added, node_tune_selected_count());
    return 1;
}

}  // namespace kaitoro
