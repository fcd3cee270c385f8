// Brush painting: one dab of displacement around a cell (flat or curved reverse-fault), the
// segment painter that times dabs along a drag, and the press / move / release life cycle the
// main window forwards its mouse events to.
#pragma once

#include <cstddef>

namespace kaitoro {

extern float g_strike_smoothing_strength;    // 2.0: k, used as min(k, 5); <= 0.01 turns it off
extern float g_strike_filter_east;           // 0: smoothed stroke direction (east = +x)
extern float g_strike_filter_north;          // 1.0
extern float g_strike_accum_east;            // 0: drag since the last strike update, in cells
extern float g_strike_accum_north;           // 0
extern int g_strike_filter_ready;            // 0 until the first strike update of a stroke
extern float g_rupture_velocity_km_s;        // 2.5: used within [0.01, 20]
extern float g_rupture_delay_cursor_s;       // 0: grows as strokes are painted
extern int g_bilateral_rupture;              // 0
extern int g_active_paint_delay_override_s;  // -1: delay the next dab must use, -1 = none
extern int g_drag_painting;                  // 0: a stroke is in progress
extern int g_drag_start_grid_x, g_drag_start_grid_y;  // -1
extern int g_last_paint_grid_x, g_last_paint_grid_y;  // -1
extern float g_drag_start_delay_cursor_s;             // 0
extern std::size_t g_drag_source_start_count;         // 0
extern int g_drag_affected_cells;                     // 0

// Names of the two profiles as the status line shows them.
const char* source_profile_name(int mode);

// The delay every cell of the next dab gets: the override when set, else the rounded cursor
// plus the base delay; never at or before the current model time.
int brush_dab_delay_s();

// Sizes of a curved dab in cells, from the projected radius at the dab's row.
struct CurvedDabGeometry {
    int r, a_main, b_main, a_sub, b_sub, e_off, g_ss, h_ss;
    double b_end, a_end;
    int off;  // up-dip offset of the fault top from the centre
    int ext;  // half-size of the scanned square
};
CurvedDabGeometry curved_dab_geometry(int cy);

// Both return the number of affected cells (the sum of the cell operations' results).
int paint_source_disc(int cx, int cy);
int paint_source_line(int x0, int y0, int x1, int y1);

// The stroke life cycle. `on_map` is 0 when the pointer is outside the drawn map (then the
// cell is ignored). The front end holds the mouse capture from press to release.
// Press with Shift or Ctrl prepares the stroke state and ends it again: those presses belong
// to the zone batch and the pan.
void brush_stroke_press(int on_map, int gx, int gy, int shift, int ctrl);
// Only acts while a stroke is in progress (g_drag_painting).
void brush_stroke_move(int on_map, int gx, int gy);
void brush_stroke_release();
// Loss of the mouse capture: the stroke ends without its release passes.
void brush_stroke_cancel();

void brush_reset_globals();

// --- Shared with the long-segment repaint -----------------------------------------------------

// 1 at rho = 0, 0.5 (1 + cos(pi rho)) inside the unit circle, 0 outside.
double raised_cosine_weight(double rho);
// The rupture velocity as the timing uses it: within [0.01, 20] km/s.
double rupture_velocity_used();
// A start time of rnd(seconds) + the base delay, never negative and never at or before the
// current model time.
int rupture_delay_from_seconds(double seconds);
// Sea-floor slope at an inner cell: the depth gradient over the four neighbours (land and
// negative depths count as 0 m, depths above 11 km as 11 km), per metre. False on the grid's
// outermost ring, where the gain is fixed.
bool seafloor_gradient_at(int x, int y, float cell_km, double* gx, double* gy);

}  // namespace kaitoro
