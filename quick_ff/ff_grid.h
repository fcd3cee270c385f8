// The quick finite-fault patch grid: rows run down the dip of the fault, columns along its
// strike, and every cell is one fault patch with slip, rupture delay and dip. Placement on
// the map (placement.h), the CSV forms (ff_csv.h) and the editor commands (ff_commands.h)
// all work on the globals declared here.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kaitoro {

inline constexpr int kQuickFfMinSize = 3;
inline constexpr int kQuickFfMaxSize = 60;
inline constexpr int kQuickFfMaxCells = kQuickFfMaxSize * kQuickFfMaxSize;
inline constexpr int kQuickFfViewSize = 5;      // the editor shows a 5 x 5 window of the grid
inline constexpr int kQuickFfEpicenterRow = 2;  // C3, the default epicentre cell
inline constexpr int kQuickFfEpicenterCol = 2;

struct QuickFfCell {
    std::int32_t enabled = 0;  // 1 when the patch takes part (its slip is > 0)
    float along_offset = 0;    // column - 2, in patch lengths
    float dip_offset = 0;      // down-dip position in patch widths relative to row 3
    float slip_m = 0;
    std::int32_t delay_s = 0;
    float dip_deg = 15;
};

// Row-major cells; empty until the grid is first created, then rows * cols entries.
extern std::vector<QuickFfCell> g_quick_ff_rows;
extern int g_quick_ff_grid_rows;
extern int g_quick_ff_grid_cols;
extern int g_quick_ff_count;  // rows * cols once the grid exists; 0 before first use
extern int g_quick_ff_row1_is_shallow;
extern int g_quick_ff_view_row;
extern int g_quick_ff_view_col;

// Builds an empty grid (sizes clamped to 3..60). With seed_epicenter, C3 gets slip
// max(new source slip, 1) and delay 0.
void quick_ff_init_empty_grid(int rows, int cols, int seed_epicenter);
// Creates the default 7 x 7 grid with the seeded C3 when no grid exists yet.
void quick_ff_ensure_grid();
// New size, keeping every cell that lies inside both sizes.
void quick_ff_resize_grid(int rows, int cols);
// Transposes the grid: (row r, column c) moves to (row c, column r).
void quick_ff_swap_row_col_grid();

// 1 for a valid cell text ("slip[,delay[,dip]]", separators , / ; tab or newline), else 0
// with the outputs untouched.
int quick_ff_parse_cell_text(const char* text, float* slip, int* delay, float* dip, int* enabled);

// The epicentre: mean of the active delay-0 cells, else C3 when active, else the first active
// cell, else C3 with offsets 0.
void quick_ff_find_epicenter_cell(int* row, int* col, float* along, float* down);

// Offsets of a position under the current row-1 orientation.
float quick_ff_along_offset_for_col(int col);
float quick_ff_dip_offset_for_row(int row);
// Recomputes every cell's dip offset (after the orientation changed).
void quick_ff_recompute_dip_offsets();
// Keeps the 5 x 5 view inside the grid.
void quick_ff_clamp_view();

// Column letters: A..Z, then AA..AZ, BA..BH. Empty for a negative index.
std::string quick_ff_column_name(int col);
// "C3" for row index 2, column index 2.
std::string quick_ff_cell_name(int row, int col);

// A cell is active (placed, coloured, counted) when it is enabled with slip > 0.
inline bool quick_ff_cell_active(const QuickFfCell& c) {
    return c.enabled && c.slip_m > 0.0f;
}
// The cell at (row, col), or nullptr outside the grid.
QuickFfCell* quick_ff_cell_at(int row, int col);

// Puts every global of the finite-fault editor and its placement back to its start value
// (no grid, default sizes and settings).
void quick_ff_reset_globals();

// Dip in degrees limited to the 5..60 every patch uses.
float quick_ff_clamp_dip(float dip_deg);
// Rupture delay from a number of seconds: nearest integer to max(v, 0), kept within int.
int quick_ff_round_delay(double seconds);

// Strict number: optional spaces, a finite decimal number (no hex, inf or nan), then only
// characters of `trailing` up to the end of the text. Independent of the C locale.
bool quick_ff_parse_number(const char* text, double* out, const char* trailing);
// Lenient number: the longest decimal prefix after optional spaces, 0 when there is none.
double quick_ff_lenient_number(const char* text);

}  // namespace kaitoro
