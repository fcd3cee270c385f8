#include "shell/quick_ff_window.h"

#include <cstdio>
#include <string>

#include "core/platform.h"
#include "quick_ff/ff_commands.h"
#include "quick_ff/ff_csv.h"
#include "quick_ff/ff_grid.h"
#include "quick_ff/placement.h"
#include "shell/main_window.h"
#include "shell/settings.h"
#include "source_design/node_tune.h"
#include "source_design/source_cell.h"

namespace kaitoro {

ControlWindow* g_quick_ff_hwnd = nullptr;
int g_quick_ff_updating_controls = 0;

static void quick_ff_close_box(ControlWindow* w) {
    quick_ff_close_editor(w);
}
static void quick_ff_destroyed(ControlWindow* w) {
    if (g_quick_ff_hwnd == w) g_quick_ff_hwnd = nullptr;
}

const ToolWindowDef g_quick_ff_editor_def = {
    "QuickFiniteFaultEditor", "Quick finite-fault grid editor",
    kQuickFfEditorWidth,      kQuickFfEditorHeight,
    quick_ff_editor_command,  quick_ff_editor_edit_changed,
    quick_ff_editor_key,      quick_ff_close_box,
    quick_ff_destroyed,
};

namespace {

constexpr int kCellW = 109, kCellH = 73;
constexpr int kCellLeft = 58, kCellTop = 148;
constexpr int kCellPitchX = 111, kCellPitchY = 75;

// Labels are transparent, so a box taller than the text's line cannot hide a neighbour.
ControlSpec label(int id, const std::string& text, int x, int y, int w, int h = 24) {
    return ControlSpec{id, ControlKind::Label, text, x, y, w, h};
}
ControlSpec edit(int id, const std::string& text, int x, int y, int w) {
    return ControlSpec{id, ControlKind::Edit, text, x, y, w, 24};
}
ControlSpec button(int id, const std::string& text, int x, int y, int w, int h) {
    return ControlSpec{id, ControlKind::Button, text, x, y, w, h};
}

std::string fmt(const char* f, double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, f, v);
    return buf;
}

int visible_row(int k) {
    return g_quick_ff_view_row + k / kQuickFfViewSize;
}
int visible_col(int k) {
    return g_quick_ff_view_col + k % kQuickFfViewSize;
}

QuickFfVisibleTexts read_cell_texts(ControlWindow* w) {
    QuickFfVisibleTexts texts;
    for (int k = 0; k < 25; ++k) texts[std::size_t(k)] = w->control_text(kQffFirstCell + k);
    return texts;
}

void apply_slip_percent(ControlWindow* w) {
    if (!quick_ff_read_edits(w, 1) || !quick_ff_read_slip_percent_control(w, 1)) return;
    const int focused = w->focused_control() - kQffFirstCell;
    int row = -1, col = -1;
    if (focused >= 0 && focused < 25 &&
        quick_ff_cell_at(visible_row(focused), visible_col(focused))) {
        row = visible_row(focused);
        col = visible_col(focused);
    }
    if (quick_ff_apply_slip_percent(row, col) >= 0) quick_ff_write_edits(w);
}

}  // namespace

std::vector<ControlSpec> quick_ff_editor_controls() {
    std::vector<ControlSpec> c;
    c.push_back(label(0,
                      "Quick finite-fault grid editor. C3 is the epicenter cell. Each visible "
                      "bingo cell has 3 lines: slip / delay / dip.",
                      10, 6, 1110, 24));
    c.push_back(label(0,
                      "Rows = down-dip, columns = strike. Use Swap row/col if the CSV was entered "
                      "transposed. Strike/final placement are adjusted after closing.",
                      10, 30, 1240, 24));
    c.push_back(label(0, "Rows", 58, 61, 40));
    c.push_back(edit(kQffRowsEdit, std::to_string(g_quick_ff_grid_rows), 100, 58, 50));
    c.push_back(label(0, "Cols", 160, 61, 38));
    c.push_back(edit(kQffColsEdit, std::to_string(g_quick_ff_grid_cols), 200, 58, 50));
    c.push_back(button(kQffResize, "Resize grid", 266, 56, 120, 30));
    c.push_back(label(0, "Patch L km", 400, 61, 88));
    c.push_back(edit(kQffLengthEdit, fmt("%.3g", g_fault_stamp_length_km), 490, 58, 62));
    c.push_back(label(0, "W km", 560, 61, 42));
    c.push_back(edit(kQffWidthEdit, fmt("%.3g", fault_width_km_sanitized()), 604, 58, 62));
    c.push_back(button(kQffRow1Button, quick_ff_row1_button_text(), 680, 54, 126, 30));
    c.push_back(button(kQffAutoDelay, "Auto delay from 0", 814, 54, 150, 30));
    c.push_back(label(0, "Slip % of focused", 968, 59, 118));
    c.push_back(edit(kQffSlipPercentEdit, fmt("%g", g_quick_ff_slip_percent), 1088, 56, 58));
    c.push_back(button(kQffApplySlipPercent, "Apply slip %", 1152, 54, 120, 30));
    c.push_back(label(0, "Dip all", 680, 87, 52));
    c.push_back(edit(kQffBulkDipEdit, fmt("%.1f", g_quick_ff_bulk_dip_deg), 734, 84, 58));
    c.push_back(button(kQffApplyBulkDip, "Apply dip to active", 800, 82, 156, 30));
    c.push_back(
        label(0, "Grid 3..60. C3 stays the epicenter; visible window is 5x5.", 58, 562, 620));
    c.push_back(label(kQffVisibleLabel, "", 58, 96, 560, 24));
    // The preview sits right of the colour buttons, where a three-line text has room.
    c.push_back(label(kQffPreviewLabel, "", 830, 148, 440, 76));
    for (int i = 0; i < kQuickFfViewSize; ++i) {
        c.push_back(label(kQffFirstColumnLabel + i, "", kCellLeft + i * kCellPitchX + 48, 124, 60));
        c.push_back(label(kQffFirstRowLabel + i, "", 20, kCellTop + i * kCellPitchY + 26, 34));
    }
    for (int k = 0; k < 25; ++k)
        c.push_back(ControlSpec{kQffFirstCell + k, ControlKind::MultiLineEdit, "",
                                kCellLeft + (k % 5) * kCellPitchX, kCellTop + (k / 5) * kCellPitchY,
                                kCellW, kCellH, false});
    c.push_back(label(0, "Color by:", 674, 124, 150));
    c.push_back(button(kQffColorSlip, "Slip", 674, 148, 150, 32));
    c.push_back(button(kQffColorDelay, "Delay", 674, 186, 150, 32));
    c.push_back(button(kQffLoadCsv, "Load CSV", 674, 234, 150, 32));
    c.push_back(button(kQffSaveCsv, "Save CSV", 674, 272, 150, 32));
    c.push_back(button(kQffSwapRowCol, "Swap row/col", 674, 310, 150, 32));
    c.push_back(button(kQffClearGrid, "Clear grid", 674, 348, 150, 32));
    c.push_back(button(kQffApplyPlacement, "Apply / placement", 674, 410, 170, 38));
    c.push_back(button(kQffClose, "Close", 674, 458, 170, 36));
    c.push_back(label(0,
                      "Color scale: white -> cyan(20%) -> green(40%) -> yellow(60%) -> red(max).",
                      58, 536, 820, 24));
    return c;
}

void open_quick_finite_fault_editor(void* /*owner*/) {
    quick_ff_ensure_grid();
    if (g_quick_ff_hwnd) {
        g_quick_ff_hwnd->raise_window();
        return;
    }
    ControlWindow* w = shell_create_tool_window(&g_quick_ff_editor_def);
    if (!w) return;
    g_quick_ff_hwnd = w;
    quick_ff_reopen_editor(w);
}

void quick_ff_reopen_editor(ControlWindow* window) {
    quick_ff_clamp_view();
    g_quick_ff_updating_controls = 1;
    window->set_controls(quick_ff_editor_controls());
    g_quick_ff_updating_controls = 0;
    quick_ff_write_edits(window);
}

void quick_ff_editor_destroy() {
    if (g_quick_ff_hwnd) g_quick_ff_hwnd->destroy_window();
    g_quick_ff_hwnd = nullptr;
}

void quick_ff_paint_cells(ControlWindow* window) {
    for (int k = 0; k < 25; ++k)
        window->set_control_color(kQffFirstCell + k,
                                  quick_ff_cell_color(visible_row(k), visible_col(k)));
}

void quick_ff_update_mw_preview(ControlWindow* window) {
    window->set_control_text(kQffPreviewLabel, quick_ff_mw_preview_text());
}

void quick_ff_write_edits(ControlWindow* window) {
    g_quick_ff_updating_controls = 1;
    const QuickFfVisibleTexts texts = quick_ff_visible_cell_texts();
    for (int k = 0; k < 25; ++k) window->set_control_text(kQffFirstCell + k, texts[std::size_t(k)]);
    for (int i = 0; i < kQuickFfViewSize; ++i) {
        const int col = g_quick_ff_view_col + i, row = g_quick_ff_view_row + i;
        window->set_control_text(kQffFirstColumnLabel + i,
                                 col < g_quick_ff_grid_cols ? quick_ff_column_name(col) : "");
        window->set_control_text(kQffFirstRowLabel + i,
                                 row < g_quick_ff_grid_rows ? std::to_string(row + 1) : "");
    }
    window->set_control_text(kQffVisibleLabel, quick_ff_visible_cells_label());
    window->set_control_text(kQffRow1Button, quick_ff_row1_button_text());
    quick_ff_paint_cells(window);
    quick_ff_update_mw_preview(window);
    g_quick_ff_updating_controls = 0;
}

int quick_ff_read_edits(ControlWindow* window, int strict) {
    return quick_ff_read_visible_cell_texts(read_cell_texts(window), strict);
}

int quick_ff_read_slip_percent_control(ControlWindow* window, int strict) {
    return quick_ff_read_slip_percent_text(window->control_text(kQffSlipPercentEdit).c_str(),
                                           strict);
}

int quick_ff_read_bulk_dip_control(ControlWindow* window, int strict) {
    return quick_ff_read_bulk_dip_text(window->control_text(kQffBulkDipEdit).c_str(), strict);
}

int quick_ff_read_patch_size_controls(ControlWindow* window, int strict) {
    return quick_ff_read_patch_size_texts(window->control_text(kQffLengthEdit).c_str(),
                                          window->control_text(kQffWidthEdit).c_str(), strict);
}

int quick_ff_close_editor(ControlWindow* window) {
    if (!quick_ff_read_edits(window, 1)) return 0;
    if (!quick_ff_confirm_before_placement(window)) return 0;
    window->destroy_window();
    g_quick_ff_hwnd = nullptr;
    quick_ff_enter_place_mode();
    if (g_shell_windows.focus_main) g_shell_windows.focus_main();
    settings_refresh();
    platform().request_repaint();
    return 1;
}

void quick_ff_editor_command(ControlWindow* w, int id) {
    switch (id) {
        case kQffResize:
            quick_ff_read_edits(w, 0);
            if (quick_ff_resize_command(w->control_text(kQffRowsEdit).c_str(),
                                        w->control_text(kQffColsEdit).c_str()))
                quick_ff_reopen_editor(w);
            break;
        case kQffRow1Button:
            quick_ff_read_edits(w, 0);
            quick_ff_toggle_row1();
            quick_ff_write_edits(w);
            break;
        case kQffAutoDelay:
            if (!quick_ff_read_edits(w, 1) || !quick_ff_read_patch_size_controls(w, 1)) break;
            if (quick_ff_auto_delay_from_zero() >= 0) quick_ff_write_edits(w);
            break;
        case kQffApplySlipPercent:
            apply_slip_percent(w);
            break;
        case kQffApplyBulkDip:
            if (!quick_ff_read_edits(w, 1) || !quick_ff_read_bulk_dip_control(w, 1)) break;
            quick_ff_apply_bulk_dip();
            quick_ff_write_edits(w);
            break;
        case kQffSwapRowCol:
            quick_ff_read_edits(w, 0);
            quick_ff_swap_command();
            quick_ff_reopen_editor(w);
            break;
        case kQffClearGrid:
            quick_ff_clear_grid();
            quick_ff_write_edits(w);
            break;
        case kQffColorSlip:
        case kQffColorDelay:
            quick_ff_read_edits(w, 0);
            g_quick_ff_color_mode = id == kQffColorDelay ? 1 : 0;
            quick_ff_paint_cells(w);
            break;
        case kQffLoadCsv:
            if (quick_ff_load_csv(w) > 0) quick_ff_reopen_editor(w);
            break;
        case kQffSaveCsv:
            quick_ff_read_edits(w, 0);
            quick_ff_save_csv(w);
            break;
        case kQffApplyPlacement:
        case kQffClose:
            quick_ff_close_editor(w);
            return;
        default:
            return;
    }
    platform().request_repaint();
}

void quick_ff_editor_edit_changed(ControlWindow* w, int id) {
    if (g_quick_ff_updating_controls) return;
    if (id >= kQffFirstCell && id < kQffFirstCell + 25) {
        quick_ff_read_edits(w, 0);
        quick_ff_paint_cells(w);
        quick_ff_update_mw_preview(w);
    } else if (id == kQffSlipPercentEdit) {
        quick_ff_read_slip_percent_control(w, 0);
    } else if (id == kQffLengthEdit || id == kQffWidthEdit) {
        quick_ff_read_patch_size_controls(w, 0);
        quick_ff_update_mw_preview(w);
    }
}

int quick_ff_editor_key(ControlWindow* w, int key) {
    int drow = 0, dcol = 0;
    switch (key) {
        case kKeyLeft:
            dcol = -1;
            break;
        case kKeyRight:
            dcol = 1;
            break;
        case kKeyUp:
            drow = -1;
            break;
        case kKeyDown:
            drow = 1;
            break;
        default:
            return 0;
    }
    quick_ff_read_edits(w, 0);
    quick_ff_move_view(drow, dcol);
    quick_ff_write_edits(w);
    return 1;
}

void quick_ff_window_reset_globals() {
    g_quick_ff_hwnd = nullptr;
    g_quick_ff_updating_controls = 0;
}

}  // namespace kaitoro
