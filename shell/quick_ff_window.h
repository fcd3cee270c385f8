// The quick finite-fault editor window: a 5 x 5 view of the patch grid as multi-line cells
// (slip / delay / dip), the resize, timing, bulk and file buttons, the magnitude preview, and
// the close path that leads into placement on the map. The grid and the commands themselves
// are in quick_ff/; this is the window around them.
#pragma once

#include <vector>

#include "shell/tool_window.h"

namespace kaitoro {

inline constexpr int kQuickFfEditorWidth = 1320;
inline constexpr int kQuickFfEditorHeight = 650;

enum : int {
    kQffApplyPlacement = 2300,
    kQffColorSlip = 2301,
    kQffColorDelay = 2302,
    kQffClearGrid = 2304,
    kQffClose = 2305,
    kQffResize = 2306,
    kQffRowsEdit = 2307,
    kQffColsEdit = 2308,
    kQffLoadCsv = 2309,
    kQffSaveCsv = 2310,
    kQffLengthEdit = 2311,
    kQffWidthEdit = 2312,
    kQffVisibleLabel = 2313,
    kQffPreviewLabel = 2314,
    kQffRow1Button = 2315,
    kQffAutoDelay = 2316,
    kQffSlipPercentEdit = 2317,
    kQffApplySlipPercent = 2318,
    kQffBulkDipEdit = 2319,
    kQffApplyBulkDip = 2320,
    kQffSwapRowCol = 2321,
    kQffFirstCell = 2400,  // 2400..2424, row-major
    kQffFirstColumnLabel = 2430,
    kQffFirstRowLabel = 2440,
};

extern ControlWindow* g_quick_ff_hwnd;
extern int g_quick_ff_updating_controls;
extern const ToolWindowDef g_quick_ff_editor_def;

std::vector<ControlSpec> quick_ff_editor_controls();

// S in the main window: creates the grid when needed and opens the editor, or raises it.
void open_quick_finite_fault_editor(void* owner);
// Rebuilds the window's controls after the grid changed shape.
void quick_ff_reopen_editor(ControlWindow* window);
// Closes the editor without the placement path (the main window is going away).
void quick_ff_editor_destroy();

void quick_ff_write_edits(ControlWindow* window);
// Returns 0 when strict and a cell is invalid (after the warning box naming it).
int quick_ff_read_edits(ControlWindow* window, int strict);
int quick_ff_read_slip_percent_control(ControlWindow* window, int strict);
int quick_ff_read_bulk_dip_control(ControlWindow* window, int strict);
int quick_ff_read_patch_size_controls(ControlWindow* window, int strict);
void quick_ff_update_mw_preview(ControlWindow* window);
void quick_ff_paint_cells(ControlWindow* window);
// Apply / placement, Close and the close box: strict read, the save question, then placement
// mode in the main window. Returns 1 when the editor closed.
int quick_ff_close_editor(ControlWindow* window);

void quick_ff_editor_command(ControlWindow* window, int id);
void quick_ff_editor_edit_changed(ControlWindow* window, int id);
int quick_ff_editor_key(ControlWindow* window, int key);

void quick_ff_window_reset_globals();

}  // namespace kaitoro
