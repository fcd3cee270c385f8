#include "quick_ff/ff_commands.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "core/platform.h"
#include "core/status.h"
#include "quick_ff/ff_csv.h"
#include "quick_ff/ff_grid.h"
#include "source_design/brush.h"
#include "source_design/source_cell.h"

namespace kaitoro {

int g_quick_ff_color_mode = 0;
float g_quick_ff_slip_percent = 100.0f;
float g_quick_ff_bulk_dip_deg = 15.0f;

namespace {

// Field values end at white space only: "80 %" is not a percent.
constexpr char kFieldTrailing[] = "\t\n\r ";

void warn(const char* text) {
    platform().message_box(kQuickFfBoxTitle, text, MessageIcon::Warning, MessageButtons::Ok);
}
void inform(const char* text) {
    platform().message_box(kQuickFfBoxTitle, text, MessageIcon::Information, MessageButtons::Ok);
}

bool is_blank(const char* text) {
    if (!text) return true;
    for (; *text; ++text)
        if (*text != ' ' && *text != '\t' && *text != '\r' && *text != '\n') return false;
    return true;
}

// Reads one field: 1 with *value set, 0 blank (nothing to do), -1 invalid.
int read_field(const char* text, double* value) {
    if (is_blank(text)) return 0;
    return quick_ff_parse_number(text, value, kFieldTrailing) ? 1 : -1;
}

int visible_row(int k) {
    return g_quick_ff_view_row + k / kQuickFfViewSize;
}
int visible_col(int k) {
    return g_quick_ff_view_col + k % kQuickFfViewSize;
}

}  // namespace

// ---- cells and view ----------------------------------------------------------------------

std::string quick_ff_format_cell_text(int row, int col) {
    const QuickFfCell* c = quick_ff_cell_at(row, col);
    if (!c || !quick_ff_cell_active(*c)) return {};
    char buf[96];
    std::snprintf(buf, sizeof buf, "%.3g\r\n%d\r\n%.1f", double(c->slip_m), c->delay_s,
                  double(c->dip_deg));
    return buf;
}

QuickFfVisibleTexts quick_ff_visible_cell_texts() {
    QuickFfVisibleTexts out;
    for (int k = 0; k < 25; ++k) out[k] = quick_ff_format_cell_text(visible_row(k), visible_col(k));
    return out;
}

int quick_ff_read_visible_cell_texts(const QuickFfVisibleTexts& texts, int strict) {
    struct Parsed {
        float slip, dip;
        int delay, enabled;
        bool ok;
    };
    std::array<Parsed, 25> parsed{};
    for (int k = 0; k < 25; ++k) {
        Parsed& p = parsed[k];
        if (!quick_ff_cell_at(visible_row(k), visible_col(k))) continue;
        p.ok = quick_ff_parse_cell_text(texts[k].c_str(), &p.slip, &p.delay, &p.dip, &p.enabled);
        if (!p.ok && strict) {
            char buf[160];
            std::snprintf(buf, sizeof buf,
                          "Invalid value in cell %s. Use three lines: slip / delay / dip, or "
                          "slip,delay,dip.",
                          quick_ff_cell_name(visible_row(k), visible_col(k)).c_str());
            warn(buf);
            return 0;
        }
    }
    for (int k = 0; k < 25; ++k) {
        QuickFfCell* c = quick_ff_cell_at(visible_row(k), visible_col(k));
        if (!c || !parsed[k].ok) continue;
        c->slip_m = parsed[k].slip;
        c->delay_s = parsed[k].delay;
        c->dip_deg = parsed[k].dip;
        c->enabled = parsed[k].enabled;
    }
    return 1;
}

std::string quick_ff_visible_cells_label() {
    const int r1 = std::min(g_quick_ff_view_row + kQuickFfViewSize, g_quick_ff_grid_rows) - 1;
    const int c1 = std::min(g_quick_ff_view_col + kQuickFfViewSize, g_quick_ff_grid_cols) - 1;
    return "Visible cells: " + quick_ff_cell_name(g_quick_ff_view_row, g_quick_ff_view_col) + ":" +
           quick_ff_cell_name(r1, c1) + "  (arrow keys move the 5x5 window)";
}

void quick_ff_move_view(int drow, int dcol) {
    g_quick_ff_view_row += drow;
    g_quick_ff_view_col += dcol;
    quick_ff_clamp_view();
}

// ---- fields --------------------------------------------------------------------------------

int quick_ff_read_slip_percent_text(const char* text, int strict) {
    double v = 0;
    const int r = read_field(text, &v);
    if (r == 0) return 1;
    if (r < 0 || v < 0) {
        if (strict) warn("Invalid slip percent. Use a non-negative number, e.g. 80 or 120.");
        return strict ? 0 : 1;
    }
    g_quick_ff_slip_percent = float(v);
    return 1;
}

int quick_ff_read_bulk_dip_text(const char* text, int strict) {
    double v = 0;
    const int r = read_field(text, &v);
    if (r == 0) return 1;
    if (r < 0 || v < 5 || v > 60) {
        if (strict) warn("Bulk dip must be from 5 to 60 degrees.");
        return strict ? 0 : 1;
    }
    g_quick_ff_bulk_dip_deg = float(v);
    return 1;
}

int quick_ff_read_patch_size_texts(const char* length_text, const char* width_text, int strict) {
    double length = 0, width = 0;
    const int rl = read_field(length_text, &length);
    const int rw = read_field(width_text, &width);
    const bool length_ok = rl == 1 && length > 0;
    const bool width_ok = rw == 1 && width > 0;
    if (strict) {
        if (rl != 0 && !length_ok) {
            warn("Invalid patch length km.");
            return 0;
        }
        if (rw != 0 && !width_ok) {
            warn("Invalid patch width km.");
            return 0;
        }
    }
    if (length_ok) g_fault_stamp_length_km = float(std::clamp(length, 5.0, 600.0));
    if (width_ok) set_fault_width_km_value(float(width));
    return 1;
}

// ---- commands ------------------------------------------------------------------------------

int quick_ff_resize_command(const char* rows_text, const char* cols_text) {
    // Integers, as typed: "7.9" reads as 7.
    const double rows = std::trunc(quick_ff_lenient_number(rows_text));
    const double cols = std::trunc(quick_ff_lenient_number(cols_text));
    const auto in_range = [](double v) { return v >= kQuickFfMinSize && v <= kQuickFfMaxSize; };
    if (!in_range(rows) || !in_range(cols)) {
        char buf[128];
        std::snprintf(buf, sizeof buf,
                      "Rows/cols must be %d..%d and %d..%d so the C3 epicenter cell exists.",
                      kQuickFfMinSize, kQuickFfMaxSize, kQuickFfMinSize, kQuickFfMaxSize);
        warn(buf);
        return 0;
    }
    quick_ff_resize_grid(int(rows), int(cols));
    return 1;
}

void quick_ff_toggle_row1() {
    g_quick_ff_row1_is_shallow = g_quick_ff_row1_is_shallow ? 0 : 1;
    quick_ff_recompute_dip_offsets();
    set_status("Quick FF depth orientation: row 1 is %s.",
               g_quick_ff_row1_is_shallow ? "shallow/up-dip" : "deep/down-dip");
}

const char* quick_ff_row1_button_text() {
    return g_quick_ff_row1_is_shallow ? "Row1: shallow" : "Row1: deep";
}

void quick_ff_swap_command() {
    quick_ff_swap_row_col_grid();
    set_status(
        "Quick FF CSV editor: swapped rows/columns. Rows now follow dip; columns now follow "
        "strike.");
}

void quick_ff_clear_grid() {
    for (QuickFfCell& c : g_quick_ff_rows) {
        c.enabled = 0;
        c.slip_m = 0;
        c.delay_s = 0;
        c.dip_deg = quick_ff_clamp_dip(g_fault_dip_deg);
    }
}

int quick_ff_auto_delay_from_zero() {
    int origin_row = -1, origin_col = -1, best = 0;
    for (int r = 0; r < g_quick_ff_grid_rows; ++r)
        for (int c = 0; c < g_quick_ff_grid_cols; ++c) {
            const QuickFfCell* cell = quick_ff_cell_at(r, c);
            if (!cell || !quick_ff_cell_active(*cell) || cell->delay_s != 0) continue;
            const int d2 = (c - kQuickFfEpicenterCol) * (c - kQuickFfEpicenterCol) +
                           (r - kQuickFfEpicenterRow) * (r - kQuickFfEpicenterRow);
            if (origin_row < 0 || d2 < best) {
                origin_row = r;
                origin_col = c;
                best = d2;
            }
        }
    if (origin_row < 0) {
        const QuickFfCell* c3 = quick_ff_cell_at(kQuickFfEpicenterRow, kQuickFfEpicenterCol);
        if (!c3 || !quick_ff_cell_active(*c3)) {
            inform("No active zero-delay cell found. Set one cell delay to 0 first.");
            return -1;
        }
        origin_row = kQuickFfEpicenterRow;
        origin_col = kQuickFfEpicenterCol;
    }
    const double length = g_fault_stamp_length_km;
    const double width = fault_width_km_sanitized();
    const double v =
        std::max(0.1f, std::isfinite(g_rupture_velocity_km_s) ? g_rupture_velocity_km_s : 0.1f);
    const float d0 = quick_ff_cell_at(origin_row, origin_col)->dip_offset;
    int count = 0;
    for (int r = 0; r < g_quick_ff_grid_rows; ++r)
        for (int c = 0; c < g_quick_ff_grid_cols; ++c) {
            QuickFfCell* cell = quick_ff_cell_at(r, c);
            if (!cell || !quick_ff_cell_active(*cell)) continue;
            const double along = (c - origin_col) * length;
            const double down = (cell->dip_offset - d0) * width;
            cell->delay_s = quick_ff_round_delay(std::sqrt(along * along + down * down) / v);
            ++count;
        }
    set_status(
        "Auto delay from zero-delay epicenter cell %s applied to %d active cells at rupture "
        "speed %.2f km/s.",
        quick_ff_cell_name(origin_row, origin_col).c_str(), count, v);
    return count;
}

int quick_ff_apply_slip_percent(int focused_row, int focused_col) {
    const QuickFfCell* focused = quick_ff_cell_at(focused_row, focused_col);
    if (!focused) {
        inform("Click/focus one visible cell first. Its slip becomes the base value.");
        return -1;
    }
    if (!quick_ff_cell_active(*focused)) {
        inform("Focused cell has no positive slip value.");
        return -1;
    }
    const float base = focused->slip_m;
    const float percent = g_quick_ff_slip_percent;
    const float slip = percent / 100.0f * base;
    int count = 0;
    for (QuickFfCell& c : g_quick_ff_rows) {
        if (!c.enabled) continue;
        c.slip_m = slip;
        c.enabled = slip > 0.0f ? 1 : 0;
        ++count;
    }
    set_status("Set %d active quick-FF cells to focused slip %.3g m x %.1f%% = %.3g m.", count,
               double(base), double(percent), double(slip));
    return count;
}

int quick_ff_apply_bulk_dip() {
    const float dip = quick_ff_clamp_dip(g_quick_ff_bulk_dip_deg);
    int count = 0;
    for (QuickFfCell& c : g_quick_ff_rows) {
        if (!quick_ff_cell_active(c)) continue;
        c.dip_deg = dip;
        ++count;
    }
    set_status("Quick FF CSV editor: applied dip %.1f deg to %d active cell(s).", double(dip),
               count);
    return count;
}

// ---- colours -------------------------------------------------------------------------------

void quick_ff_hsv_color(float t, int* red, int* green, int* blue) {
    double r = 1, g = 1, b = 1;
    if (t >= 0) {
        t = std::min(t, 1.0f);
        if (t <= 0.2f) {
            r = 1.0 - t / 0.2;
        } else {
            double hue;
            if (t <= 0.4f)
                hue = 180.0 - (t - 0.2) * 300.0;
            else if (t <= 0.6f)
                hue = 120.0 - (t - 0.4) * 350.0;
            else
                hue = 50.0 - (t - 0.6) * 125.0;
            // Full saturation and value: one channel at 1, one at 0, one on the ramp.
            const double h = std::fmod(std::max(hue, 0.0), 360.0) / 60.0;
            const double x = 1.0 - std::fabs(std::fmod(h, 2.0) - 1.0);
            switch (int(h)) {
                case 0:
                    r = 1, g = x, b = 0;
                    break;
                case 1:
                    r = x, g = 1, b = 0;
                    break;
                case 2:
                    r = 0, g = 1, b = x;
                    break;
                case 3:
                    r = 0, g = x, b = 1;
                    break;
                case 4:
                    r = x, g = 0, b = 1;
                    break;
                default:
                    r = 1, g = 0, b = x;
                    break;
            }
        }
    }
    const auto channel = [](double f) { return std::clamp(int(std::lround(255.0 * f)), 0, 255); };
    if (red) *red = channel(r);
    if (green) *green = channel(g);
    if (blue) *blue = channel(b);
}

std::uint32_t quick_ff_cell_color(int row, int col) {
    const QuickFfCell* cell = quick_ff_cell_at(row, col);
    if (!cell || !quick_ff_cell_active(*cell)) return 0x00FFFFFFu;
    float largest_slip = 0;
    int largest_delay = 0;
    for (const QuickFfCell& c : g_quick_ff_rows)
        if (c.enabled) {
            largest_slip = std::max(largest_slip, c.slip_m);
            largest_delay = std::max(largest_delay, c.delay_s);
        }
    const float t = g_quick_ff_color_mode == 1
                        ? float(cell->delay_s) / float(std::max(1, largest_delay))
                        : cell->slip_m / std::max(0.001f, largest_slip);
    int r, g, b;
    quick_ff_hsv_color(t, &r, &g, &b);
    return (std::uint32_t(r) << 16) | (std::uint32_t(g) << 8) | std::uint32_t(b);
}

// ---- magnitude preview ---------------------------------------------------------------------

QuickFfMwPreview quick_ff_compute_mw_preview() {
    QuickFfMwPreview p;
    p.width_km = fault_width_km_sanitized();
    p.length_km = g_fault_stamp_length_km > 0 ? g_fault_stamp_length_km : 1.0;
    const double patch_area_km2 = p.length_km * p.width_km;
    double slip_sum = 0;
    for (const QuickFfCell& c : g_quick_ff_rows) {
        if (!quick_ff_cell_active(c)) continue;
        ++p.patches;
        slip_sum += c.slip_m;
        p.m0_nm += kRigidityPa * patch_area_km2 * 1e6 * c.slip_m;
        p.max_slip_m = std::max(p.max_slip_m, double(c.slip_m));
    }
    p.m0_nm *= 2;
    p.area_km2 = p.patches * patch_area_km2;
    if (p.patches > 0) p.avg_slip_m = slip_sum / p.patches;
    if (p.m0_nm > 0) p.mw = (std::log10(p.m0_nm) - 9.1) * 2.0 / 3.0;
    return p;
}

std::string quick_ff_mw_preview_text() {
    const QuickFfMwPreview p = quick_ff_compute_mw_preview();
    char buf[256];
    if (p.patches > 0 && p.m0_nm > 0)
        std::snprintf(buf, sizeof buf,
                      "Magnitude preview if placed now: Mw %.2f | M0 %.3e N m | patches %d | area "
                      "%.0f km2 | avg slip %.2f m | max slip %.2f m",
                      p.mw, p.m0_nm, p.patches, p.area_km2, p.avg_slip_m, p.max_slip_m);
    else
        std::snprintf(buf, sizeof buf,
                      "Magnitude preview: no active slip cells | patch %.1f x %.1f km", p.length_km,
                      p.width_km);
    return buf;
}

// ---- closing -------------------------------------------------------------------------------

int quick_ff_confirm_before_placement(void* owner_window) {
    const MessageAnswer a = platform().message_box(
        "Quick finite-fault editor", "Save the quick finite-fault grid as CSV before placement?",
        MessageIcon::Question, MessageButtons::YesNoCancel);
    if (a == MessageAnswer::Cancel) return 0;
    if (a == MessageAnswer::Yes) {
        quick_ff_save_csv(owner_window);  // a cancelled save dialog still goes on
        return 1;
    }
    return platform().message_box("Quick finite-fault editor", "Proceed without saving this grid?",
                                  MessageIcon::Warning, MessageButtons::YesNo) == MessageAnswer::Yes
               ? 1
               : 0;
}

}  // namespace kaitoro
