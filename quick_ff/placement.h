// Placing the quick finite-fault grid on the map: every active patch becomes a rotated
// rectangle of source cells around the epicentre, with its depth on the fault plane down dip
// from the epicentre, as one undoable edit. Also the placement mode's keys, clicks and hover
// line, as plain functions the main window calls.
#pragma once

namespace kaitoro {

extern int g_next_quick_ff_fault_id;  // 9000, grows by one per placement
extern int g_quick_ff_place_mode;     // 1 while the mouse is the epicentre
// 0: patches become the documented slip-to-height stamps. 1: every enabled patch becomes an
// elastic-dislocation subfault (uplift and subsidence) instead.
extern int g_quick_ff_okada;

// Down-dip spacing of grid rows in map cells at a row of cell_km kilometres per cell.
float quick_ff_layout_width_cells(float cell_km);
// '<' and '>': changes the patch width only.
void quick_ff_adjust_width_only(float delta_km);

// Places the grid with its epicentre at cell (gx, gy); returns the number of source cells
// written. Pushes one undo step and restarts the run with the new source.
int quick_ff_apply_at(int gx, int gy);
// The dislocation form of the placement: one subfault per enabled patch, centred where the
// stamp would be, its centroid depth the source depth plus the patch's down-dip offset times
// W sin(dip) (never so shallow that the top edge leaves the sea floor), rake 90 turned towards
// strike-slip by the strike-slip share and sense, and the patch's delay as its rupture time.
int quick_ff_apply_okada_at(int gx, int gy);

// Placement mode starts (after the editor closes): sanitises the width, shows the hint.
void quick_ff_enter_place_mode();
// Mouse over map cell (gx, gy) in placement mode: the preview status line.
void quick_ff_placement_hover(int gx, int gy);
// Left click in placement mode. Inside the map it places and ends the mode; outside it
// keeps the mode and shows how to go on. Returns 1 when it placed.
int quick_ff_placement_click(int inside_map, int gx, int gy);

// Keys of placement mode, as the main window hands them over.
inline constexpr int kQuickFfKeyEnter = '\r';
inline constexpr int kQuickFfKeyEscape = 27;
// Letters are their upper-case ASCII code; ',' and '.' are the '<' and '>' keys.

enum class QuickFfKeyResult {
    NotHandled,  // not a placement key: the main window's own key table applies
    Handled,     // a setting changed (or Enter without a hovered cell)
    Placed,      // Enter placed the grid; placement mode is over
    Cancelled,   // Esc; placement mode is over
    OpenEditor,  // S: show (or open) the editor window
};
// hover_valid: whether (hover_x, hover_y) is a map cell the mouse was last over.
QuickFfKeyResult quick_ff_placement_key(int key, int shift, int ctrl, int hover_valid, int hover_x,
                                        int hover_y);

}  // namespace kaitoro
