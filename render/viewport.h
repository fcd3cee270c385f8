// The mapping between window pixels and grid cells that every mouse tool and every marker uses:
// the zoomed, panned map rectangle beside the 320-pixel information panel.
#pragma once

namespace kaitoro {

inline constexpr int kInfoPanelWidthPx = 320;

extern double g_view_zoom;      // 1.0, kept within 1..64
extern double g_view_pan_x;     // 0, pixels
extern double g_view_pan_y;     // 0
extern int g_view_x, g_view_y;  // top-left pixel of the drawn map
extern int g_view_w, g_view_h;  // size of the drawn map, at least 1
extern int g_display_flip_x;    // 0
extern int g_display_flip_y;    // 1: row 0 is the southern edge, so north goes up

// The map area of a client area: everything left of the panel (the whole width when that
// leaves less than 10 pixels), and at least 10 pixels high.
void viewport_map_area(int client_w, int client_h, int* map_w, int* map_h);
// Pixels per cell at zoom 1 for a client area.
double viewport_fit_scale(int client_w, int client_h);
// Clamps the zoom and the pan and places the drawn map for a client area.
void compute_viewport(int client_w, int client_h);

// 1 and the cell under a window pixel, or 0 outside the drawn map (or without a grid).
int screen_to_grid(int sx, int sy, int* gx, int* gy);
// The window rectangle of a cell (right and bottom exclusive) and its centre.
void viewport_cell_rect(int x, int y, int* left, int* top, int* right, int* bottom);
void viewport_cell_center(int x, int y, int* cx, int* cy);
// On-screen size of a cell in pixels, at least 1: the base size of every marker.
int viewport_marker_base_size();
// A marker radius: half the base size less one, clamped to lo..32.
int viewport_marker_radius(int lo);

// Hands node tune the mapping it picks markers with.
void viewport_install_node_tune_hooks();
void viewport_reset_globals();

}  // namespace kaitoro
