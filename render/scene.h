// The main window's scene: the cached base map, the frame with the wave overlay, and the
// vector drawing on top of it (markers, previews, the information panel).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/grid.h"
#include "core/solver.h"
#include "render/draw_surface.h"

namespace kaitoro {

inline constexpr int kSceneLineHeight = 20;
inline constexpr int kStatusWrapWidthPx = 296;
// Room for a panel line from its left edge to 4 pixels short of the window's right edge.
inline constexpr int kPanelTextWidthPx = 304;
// Shown in the panel while transmit-only mode hides the wave.
inline constexpr char kTransmitHintText[] = "Ctrl+R: show the wave";

// Display options (keys and the settings window change them).
extern int g_show_bathymetry;
extern int g_invert_landsea_display;
extern int g_wave_layer_mode;  // 0 live waves, 1 max positive wave, 2 max wave + contours
extern float g_wave_overlay_alpha;
extern int g_show_coast_height_markers;
extern int g_coast_marker_use_peak;
extern int g_coast_marker_use_zone_max;
extern int g_show_time_series_markers;
extern int g_show_source_markers;
extern int g_double_buffer_enabled;

// Base map cache keys: -1 until the first build.
extern int g_base_cache_flip_x;
extern int g_base_cache_flip_y;
extern int g_base_cache_bathy;
extern int g_base_cache_invert;
extern int g_base_cache_overrides;  // first-build mark: non-zero forces a rebuild
extern int g_base_cache_valid;

// Pointer state (window pixels and grid cells), -1 when not set.
extern int g_mouse_screen_x, g_mouse_screen_y;
extern int g_mouse_grid_x, g_mouse_grid_y;
extern int g_hover_station_i;

// What the scene needs to know about the window it draws into.
struct SceneWindow {
    int client_w = 0;
    int client_h = 0;
    int shift_down = 0;  // the Shift key is held
};

// The whole client area of the main window, in the documented order.
void draw_scene_to_hdc(DrawSurface* surface, const SceneWindow* window);

// Rebuilds g_base_pixels when a cache key changed; then builds g_pixels from it.
void scene_update_base_map();
void scene_update_frame();

void draw_coast_height_markers(DrawSurface* surface);
void draw_time_series_markers(DrawSurface* surface);
void draw_hover_station_highlight(DrawSurface* surface);
int find_hover_station_at_screen(int sx, int sy);
void draw_hover_station_tooltip(DrawSurface* surface, const SceneWindow* window);
// Transmit-only mode hides the station markers: while a Shift batch collects stations, each
// collected one is marked so the zone window that follows is no surprise.
void draw_shift_batch_highlights(DrawSurface* surface);
void draw_source_markers(DrawSurface* surface);
void draw_quick_ff_placement_preview(DrawSurface* surface);
void draw_info_panel(DrawSurface* surface, const SceneWindow* window);

// One UTF-8 line at (x, *y); *y grows by a line.
void draw_text_line(DrawSurface* surface, int x, int* y, const char* text);
// The same, set smaller where it is wider than width_px (a line that fits is drawn exactly
// as draw_text_line draws it).
void draw_text_line_fitted(DrawSurface* surface, int x, int* y, const char* text, int width_px);
// Top of the panel's 3 x 3 button block in a client area of that height (never above 330).
int scene_panel_buttons_top(int client_h);
// The status line g_status, wrapped to 296 pixels.
void draw_text_wrapped(DrawSurface* surface, int x, int* y);
// The lines the status wraps into (exposed for tests and the panel).
std::vector<std::string> wrap_status_lines(DrawSurface* surface, const char* text, int width_px);

// Arrival time of a station as the tooltip shows it: "not reached", "59s", "1m 01s", ...
std::string station_arrival_text(int arrival_s);
// Forecast zone a station counts in: its hand-made override when set, else its own zone.
int station_effective_zone_id(int i);
// Largest peak rise of the enabled stations of a zone (zone mode of the coast markers).
float zone_max_station_height(int zone_id);
// Largest max_height over cells that are not hidden, at least 0.
float max_ocean_cell_height();

// Base map of a grid in display orientation, one 0x00RRGGBB word per cell.
void build_base_map(const GridData* grid, int flip_x, int flip_y, int bathymetry, int invert,
                    std::uint32_t* out);
// The frame: base copied, then the wave layer blended over sea cells that are not hidden.
// Nothing is blended in transmit-only mode or at an opacity of 0.001 or less.
void build_frame(const GridData* grid, const Simulation* sim, const std::uint32_t* base, int flip_x,
                 int flip_y, int invert, int transmit_mode, int layer_mode, float alpha,
                 std::uint32_t* out);

}  // namespace kaitoro
