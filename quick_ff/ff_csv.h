// The quick finite-fault grid as CSV: the matrix file the editor saves, and every form the
// loader accepts (numbered and unnumbered matrix rows, quoted cells, unquoted triples,
// simple list, reference tokens, the legacy list, and the comment keys Rows=, Cols=,
// PatchLengthKm=, PatchWidthKm=, Row1=).
#pragma once

#include <string>
#include <vector>

namespace kaitoro {

inline constexpr char kQuickFfBoxTitle[] = "Finite fault editor";
inline constexpr char kQuickFfDefaultCsvName[] = "quick_finite_fault_grid.csv";
inline constexpr char kQuickFfNoCellsMessage[] =
    "No valid finite-fault cells found. Accepted examples:\n"
    "  Legacy list: cell,rel_s,rel_d,slip_m,delay_s,dip_deg then A1,-2,-2,0.003,12,17\n"
    "  Matrix CSV: row,A,B,C then cells like \"12.5,60,15\"\n"
    "  Simple list: C3,12.5,60,15\n"
    "  Unquoted triples: 12.5,60,15,8,90,20";

// The matrix file for the current grid, byte for byte (sanitises the patch width first).
std::string quick_ff_format_csv();
// Writes quick_ff_format_csv() to path through a temporary file, so a failed write never
// leaves a half-written file behind. 1 on success.
int quick_ff_write_csv_file(const char* path);
// The "Save CSV" command: save dialog, then the file. 1 when a file was written.
int quick_ff_save_csv(void* owner_window);

struct QuickFfLoadResult {
    int cells = 0;        // cells read (0: "no valid cells", the grid is unchanged)
    int matrix_rows = 0;  // matrix lines that yielded at least one cell
    int list_rows = 0;    // list and reference-token lines
    // Lines whose reading the user may not expect, e.g. "Line 4 read as matrix row 10
    // (5 slips)": the line loads as the format rules say, and the note says how.
    std::vector<std::string> notes;
};
// What the status line appends after the documented text: "" without notes, else the first
// note (" Line 4 read as ...") and how many more there are.
std::string quick_ff_load_notes_text(const QuickFfLoadResult& r);
// Reads CSV text into the grid. Comment keys take effect even when no cell is read; the grid
// changes only when at least one cell was read. Sets no status and shows no box.
QuickFfLoadResult quick_ff_load_csv_text(const std::string& text);
// Reads a file; false when it cannot be opened (nothing changes then).
bool quick_ff_load_csv_file(const char* path, QuickFfLoadResult* result);
// The "Load CSV" command: open dialog, file, warning boxes and status line. Returns the
// number of cells loaded (0 when cancelled or nothing was loaded).
int quick_ff_load_csv(void* owner_window);

}  // namespace kaitoro
