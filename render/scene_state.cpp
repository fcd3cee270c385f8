#include "render/scene.h"

namespace kaitoro {

int g_show_bathymetry = 0;
int g_invert_landsea_display = 0;
int g_wave_layer_mode = 0;
float g_wave_overlay_alpha = 0.0f;
int g_show_coast_height_markers = 0;
int g_coast_marker_use_peak = 1;
int g_coast_marker_use_zone_max = 0;
int g_show_time_series_markers = 0;
int g_show_source_markers = 1;
int g_double_buffer_enabled = 1;

int g_base_cache_flip_x = -1;
int g_base_cache_flip_y = -1;
int g_base_cache_bathy = -1;
int g_base_cache_invert = -1;
int g_base_cache_overrides = -1;
int g_base_cache_valid = 0;

int g_mouse_screen_x = -1, g_mouse_screen_y = -1;
int g_mouse_grid_x = -1, g_mouse_grid_y = -1;
int g_hover_station_i = -1;

}  // namespace kaitoro
