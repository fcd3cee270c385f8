#include "quick_ff/ff_grid.h"

#include <algorithm>
#include <charconv>
#include <cfloat>
#include <cmath>
#include <cstring>

#include "quick_ff/ff_commands.h"
#include "quick_ff/placement.h"
#include "source_design/source_cell.h"

namespace kaitoro {

std::vector<QuickFfCell> g_quick_ff_rows;
int g_quick_ff_grid_rows = 7;
int g_quick_ff_grid_cols = 7;
int g_quick_ff_count = 0;
int g_quick_ff_row1_is_shallow = 1;
int g_quick_ff_view_row = 0;
int g_quick_ff_view_col = 0;

namespace {

int clamp_size(int n) {
    return std::clamp(n, kQuickFfMinSize, kQuickFfMaxSize);
}

QuickFfCell empty_cell(int row, int col) {
    QuickFfCell c;
    c.enabled = 0;
    c.along_offset = quick_ff_along_offset_for_col(col);
    c.dip_offset = quick_ff_dip_offset_for_row(row);
    c.slip_m = 0;
    c.delay_s = 0;
    c.dip_deg = quick_ff_clamp_dip(g_fault_dip_deg);
    return c;
}

// The cell's own values (not its position) move with it on resize and transpose.
void copy_values(QuickFfCell& to, const QuickFfCell& from) {
    to.enabled = from.enabled;
    to.slip_m = from.slip_m;
    to.delay_s = from.delay_s;
    to.dip_deg = from.dip_deg;
}

bool is_space_or_tab(char ch) {
    return ch == ' ' || ch == '\t';
}

}  // namespace

void quick_ff_reset_globals() {
    g_quick_ff_rows = {};
    g_quick_ff_grid_rows = 7;
    g_quick_ff_grid_cols = 7;
    g_quick_ff_count = 0;
    g_quick_ff_row1_is_shallow = 1;
    g_quick_ff_view_row = 0;
    g_quick_ff_view_col = 0;
    g_quick_ff_color_mode = 0;
    g_quick_ff_slip_percent = 100.0f;
    g_quick_ff_bulk_dip_deg = 15.0f;
    g_next_quick_ff_fault_id = 9000;
    g_quick_ff_okada = 0;
    g_quick_ff_place_mode = 0;
}

float quick_ff_clamp_dip(float dip_deg) {
    if (!std::isfinite(dip_deg)) return 15.0f;
    return std::clamp(dip_deg, 5.0f, 60.0f);
}

int quick_ff_round_delay(double seconds) {
    if (!(seconds > 0)) return 0;
    return int(std::lround(std::min(seconds, 2.0e9)));
}

float quick_ff_along_offset_for_col(int col) {
    return float(col - kQuickFfEpicenterCol);
}

float quick_ff_dip_offset_for_row(int row) {
    return g_quick_ff_row1_is_shallow ? float(row - kQuickFfEpicenterRow)
                                      : float(kQuickFfEpicenterRow - row);
}

void quick_ff_clamp_view() {
    g_quick_ff_view_row =
        std::clamp(g_quick_ff_view_row, 0, std::max(g_quick_ff_grid_rows - kQuickFfViewSize, 0));
    g_quick_ff_view_col =
        std::clamp(g_quick_ff_view_col, 0, std::max(g_quick_ff_grid_cols - kQuickFfViewSize, 0));
}

void quick_ff_init_empty_grid(int rows, int cols, int seed_epicenter) {
    rows = clamp_size(rows);
    cols = clamp_size(cols);
    g_quick_ff_rows.assign(std::size_t(rows) * std::size_t(cols), QuickFfCell{});
    g_quick_ff_grid_rows = rows;
    g_quick_ff_grid_cols = cols;
    g_quick_ff_count = rows * cols;
    quick_ff_clamp_view();
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < cols; ++c)
            g_quick_ff_rows[std::size_t(r) * cols + c] = empty_cell(r, c);
    if (seed_epicenter) {
        QuickFfCell& c3 = *quick_ff_cell_at(kQuickFfEpicenterRow, kQuickFfEpicenterCol);
        c3.enabled = 1;
        c3.slip_m = std::max(g_new_source_height_m, 1.0f);
        c3.delay_s = 0;
    }
}

void quick_ff_ensure_grid() {
    if (g_quick_ff_count <= 0 || g_quick_ff_rows.empty()) quick_ff_init_empty_grid(7, 7, 1);
}

QuickFfCell* quick_ff_cell_at(int row, int col) {
    if (row < 0 || col < 0 || row >= g_quick_ff_grid_rows || col >= g_quick_ff_grid_cols ||
        g_quick_ff_count <= 0)
        return nullptr;
    const std::size_t i = std::size_t(row) * std::size_t(g_quick_ff_grid_cols) + std::size_t(col);
    return i < g_quick_ff_rows.size() ? &g_quick_ff_rows[i] : nullptr;
}

void quick_ff_resize_grid(int rows, int cols) {
    const std::vector<QuickFfCell> old = g_quick_ff_rows;
    const int old_rows = g_quick_ff_count > 0 ? g_quick_ff_grid_rows : 0;
    const int old_cols = g_quick_ff_count > 0 ? g_quick_ff_grid_cols : 0;
    quick_ff_init_empty_grid(rows, cols, 0);
    for (int r = 0; r < std::min(old_rows, g_quick_ff_grid_rows); ++r)
        for (int c = 0; c < std::min(old_cols, g_quick_ff_grid_cols); ++c)
            copy_values(*quick_ff_cell_at(r, c), old[std::size_t(r) * old_cols + c]);
}

void quick_ff_swap_row_col_grid() {
    quick_ff_ensure_grid();
    const std::vector<QuickFfCell> old = g_quick_ff_rows;
    const int old_rows = g_quick_ff_grid_rows, old_cols = g_quick_ff_grid_cols;
    const int view_row = g_quick_ff_view_row, view_col = g_quick_ff_view_col;
    quick_ff_init_empty_grid(old_cols, old_rows, 0);
    for (int r = 0; r < old_rows; ++r)
        for (int c = 0; c < old_cols; ++c)
            copy_values(*quick_ff_cell_at(c, r), old[std::size_t(r) * old_cols + c]);
    g_quick_ff_view_row = view_col;
    g_quick_ff_view_col = view_row;
    quick_ff_clamp_view();
}

void quick_ff_recompute_dip_offsets() {
    for (int r = 0; r < g_quick_ff_grid_rows; ++r)
        for (int c = 0; c < g_quick_ff_grid_cols; ++c)
            if (QuickFfCell* cell = quick_ff_cell_at(r, c))
                cell->dip_offset = quick_ff_dip_offset_for_row(r);
}

std::string quick_ff_column_name(int col) {
    if (col < 0) return {};
    if (col < 26) return std::string(1, char('A' + col));
    return std::string{char('A' + (col / 26 - 1) % 26), char('A' + col % 26)};
}

std::string quick_ff_cell_name(int row, int col) {
    return quick_ff_column_name(col) + std::to_string(row + 1);
}

namespace {

// The sign, then a digit or a point: only then may from_chars read a number, which keeps
// out "inf", "nan" and hexadecimal. Every number of these files is kept as a float, so one
// beyond float range (1e39 would load as infinity) is no number either. Returns the parsed
// end, or nullptr.
const char* scan_decimal(const char* text, double* out) {
    while (is_space_or_tab(*text)) ++text;
    const char* p = text;
    const bool negative = *p == '-';
    if (*p == '+' || *p == '-') ++p;  // from_chars takes neither sign
    if (!((*p >= '0' && *p <= '9') || *p == '.')) return nullptr;
    double v = 0;
    const auto res = std::from_chars(p, p + std::strlen(p), v, std::chars_format::general);
    if (res.ec != std::errc() || !std::isfinite(v) || v > double(FLT_MAX)) return nullptr;
    *out = negative ? -v : v;
    return res.ptr;
}

}  // namespace

bool quick_ff_parse_number(const char* text, double* out, const char* trailing) {
    if (!text) return false;
    double v = 0;
    const char* end = scan_decimal(text, &v);
    if (!end) return false;
    for (; *end; ++end)
        if (!std::strchr(trailing, *end)) return false;
    *out = v;
    return true;
}

double quick_ff_lenient_number(const char* text) {
    double v = 0;
    return text && scan_decimal(text, &v) ? v : 0.0;
}

int quick_ff_parse_cell_text(const char* text, float* slip, int* delay, float* dip, int* enabled) {
    char buf[128] = {};
    if (text) std::strncpy(buf, text, sizeof buf - 1);  // at most 127 bytes count
    char* s = buf;
    while (*s == '\t' || *s == '\n' || *s == '\r' || *s == ' ') ++s;

    double values[3] = {0, 0, 0};
    int parts = 0;
    for (char* p = s; *p; ++p)
        if (*p == '\t' || *p == '\n' || *p == '\r' || *p == '/' || *p == ';') *p = ',';
    // Split at commas, dropping empty parts: "12.5,,15" is slip 12.5 and delay 15.
    for (char* p = s; *p && parts < 3;) {
        if (*p == ',') {
            ++p;
            continue;
        }
        char* comma = std::strchr(p, ',');
        char* next = comma ? comma + 1 : p + std::strlen(p);
        if (comma) *comma = '\0';
        if (!quick_ff_parse_number(p, &values[parts], " \t")) return 0;
        ++parts;
        p = next;
    }

    const float sl = parts >= 1 ? float(std::max(values[0], 0.0)) : 0.0f;
    const int de = parts >= 2 ? quick_ff_round_delay(values[1]) : 0;
    const float di = quick_ff_clamp_dip(parts >= 3 ? float(values[2]) : g_fault_dip_deg);
    if (slip) *slip = sl;
    if (delay) *delay = de;
    if (dip) *dip = di;
    if (enabled) *enabled = sl > 0.0f ? 1 : 0;
    return 1;
}

void quick_ff_find_epicenter_cell(int* row, int* col, float* along, float* down) {
    int er = kQuickFfEpicenterRow, ec = kQuickFfEpicenterCol;
    float ea = 0, ed = 0;
    const int rows = g_quick_ff_count > 0 ? g_quick_ff_grid_rows : 0;
    const int cols = g_quick_ff_count > 0 ? g_quick_ff_grid_cols : 0;

    double sum_r = 0, sum_c = 0, sum_a = 0, sum_d = 0;
    int n0 = 0;
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < cols; ++c) {
            const QuickFfCell& cell = *quick_ff_cell_at(r, c);
            if (quick_ff_cell_active(cell) && cell.delay_s == 0) {
                sum_r += r;
                sum_c += c;
                sum_a += cell.along_offset;
                sum_d += cell.dip_offset;
                ++n0;
            }
        }
    const QuickFfCell* c3 = quick_ff_cell_at(kQuickFfEpicenterRow, kQuickFfEpicenterCol);
    if (n0 > 0) {
        er = std::clamp(int(std::lround(sum_r / n0)), 0, rows - 1);
        ec = std::clamp(int(std::lround(sum_c / n0)), 0, cols - 1);
        ea = float(sum_a / n0);
        ed = float(sum_d / n0);
    } else if (c3 && quick_ff_cell_active(*c3)) {
        ea = c3->along_offset;
        ed = c3->dip_offset;
    } else {
        bool found = false;
        for (int r = 0; r < rows && !found; ++r)
            for (int c = 0; c < cols && !found; ++c) {
                const QuickFfCell& cell = *quick_ff_cell_at(r, c);
                if (quick_ff_cell_active(cell)) {
                    er = r;
                    ec = c;
                    ea = cell.along_offset;
                    ed = cell.dip_offset;
                    found = true;
                }
            }
    }
    if (row) *row = er;
    if (col) *col = ec;
    if (along) *along = ea;
    if (down) *down = ed;
}

}  // namespace kaitoro
