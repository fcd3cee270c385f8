// What the finite-fault editor's buttons and fields do, without the window: the editor calls
// these with the texts of its controls and rewrites the controls afterwards. Messages go
// through the platform's message boxes and the status line.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace kaitoro {

extern int g_quick_ff_color_mode;      // 0: colour cells by slip, 1: by delay
extern float g_quick_ff_slip_percent;  // "Slip % of focused"
extern float g_quick_ff_bulk_dip_deg;  // "Dip all"

// ---- cells and view --------------------------------------------------------------------

// The 25 visible cell texts, row-major from the view's top-left cell.
using QuickFfVisibleTexts = std::array<std::string, 25>;

// "%.3g\r\n%d\r\n%.1f" (slip, delay, dip) for an active cell, "" otherwise and outside the
// grid.
std::string quick_ff_format_cell_text(int row, int col);
QuickFfVisibleTexts quick_ff_visible_cell_texts();
// Stores the visible cells' texts. Lenient (strict 0): invalid texts are skipped. Strict: the
// first invalid text is named in a warning box and nothing is stored; returns 0.
int quick_ff_read_visible_cell_texts(const QuickFfVisibleTexts& texts, int strict);

// "Visible cells: A1:E5  (arrow keys move the 5x5 window)".
std::string quick_ff_visible_cells_label();
// Arrow keys: moves the view by whole cells, kept inside the grid.
void quick_ff_move_view(int drow, int dcol);

// ---- fields (an empty text changes nothing and is accepted) -------------------------------

int quick_ff_read_slip_percent_text(const char* text, int strict);
int quick_ff_read_bulk_dip_text(const char* text, int strict);
// Patch length and width; with strict, both are checked before either is stored.
int quick_ff_read_patch_size_texts(const char* length_text, const char* width_text, int strict);

// ---- commands ----------------------------------------------------------------------------

// "Resize grid": 1 when resized, 0 after the warning box for sizes outside 3..60.
int quick_ff_resize_command(const char* rows_text, const char* cols_text);
// "Row1: shallow/deep": flips the orientation and every cell's dip offset.
void quick_ff_toggle_row1();
const char* quick_ff_row1_button_text();
// "Swap row/col".
void quick_ff_swap_command();
// "Clear grid": every cell empty with the current default dip.
void quick_ff_clear_grid();
// "Auto delay from 0": delays from the distance to the zero-delay cell nearest C3 at the
// rupture velocity (at least 0.1 km/s). Returns the number of cells timed, or -1 when there
// is no origin (after the information box).
int quick_ff_auto_delay_from_zero();
// "Apply slip %": the focused cell's slip times the percent for every enabled cell. Pass -1
// when no cell has the focus. Returns the count, or -1 after an information box.
int quick_ff_apply_slip_percent(int focused_row, int focused_col);
// "Apply dip to active": the bulk dip for every active cell; returns the count.
int quick_ff_apply_bulk_dip();

// ---- colours -----------------------------------------------------------------------------

// White below 0, white to cyan up to 0.2, then cyan, green, yellow-orange, red at 1.
void quick_ff_hsv_color(float t, int* red, int* green, int* blue);
// 0x00RRGGBB of a cell under the current colour mode; white for inactive cells.
std::uint32_t quick_ff_cell_color(int row, int col);

// ---- magnitude preview ---------------------------------------------------------------------

struct QuickFfMwPreview {
    int patches = 0;
    double m0_nm = 0;
    double area_km2 = 0;
    double avg_slip_m = 0;
    double max_slip_m = 0;
    double mw = 0;
    double length_km = 0;
    double width_km = 0;
};
// The moment the grid would have if placed now (sanitises the width and stores it back).
QuickFfMwPreview quick_ff_compute_mw_preview();
std::string quick_ff_mw_preview_text();

// ---- closing -------------------------------------------------------------------------------

// The save question before placement: 1 to go on to placement, 0 to stay in the editor.
int quick_ff_confirm_before_placement(void* owner_window);

}  // namespace kaitoro
