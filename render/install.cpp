#include "render/install.h"

#include "core/driver.h"
#include "feed/warning_check.h"
#include "render/colors.h"
#include "render/scene.h"
#include "source_design/preset.h"

namespace kaitoro {

namespace {
int landsea_inversion() {
    return g_invert_landsea_display;
}
}  // namespace

void render_install_hooks() {
    // A hook that is already set (a test's stand-in) is left in place.
    if (!g_auto_load_color_settings_hook)
        g_auto_load_color_settings_hook = auto_load_color_settings;
    // The feed reads the scene's land/sea inversion.
    if (!g_orvex_landsea_inversion_hook) g_orvex_landsea_inversion_hook = landsea_inversion;
    // Presets carry the wave display coefficient and opacity, which the scene owns.
    g_preset_wave_display_coeff = &g_wave_display_coeff;
    g_preset_wave_overlay_alpha = &g_wave_overlay_alpha;
}

void render_reset_globals() {
    for (ColorKeyframe& k : g_cell_color_keys) k = ColorKeyframe{};
    for (ColorKeyframe& k : g_coast_color_keys) k = ColorKeyframe{};
    g_cell_color_key_count = 0;
    g_cell_color_custom_enabled = 0;
    g_cell_color_smooth = 0;
    g_coast_color_key_count = 0;
    g_coast_color_custom_enabled = 0;
    g_coast_color_smooth = 0;
    g_coast_color_step = 0;
    g_wave_display_coeff = 1.0f;
    g_set_control_text_hook = nullptr;

    g_show_bathymetry = 0;
    g_invert_landsea_display = 0;
    g_wave_layer_mode = 0;
    g_wave_overlay_alpha = 0.0f;
    g_show_coast_height_markers = 0;
    g_coast_marker_use_peak = 1;
    g_coast_marker_use_zone_max = 0;
    g_show_time_series_markers = 0;
    g_show_source_markers = 1;
    g_double_buffer_enabled = 1;
    g_base_cache_flip_x = g_base_cache_flip_y = -1;
    g_base_cache_bathy = g_base_cache_invert = -1;
    g_base_cache_overrides = -1;
    g_base_cache_valid = 0;
    g_mouse_screen_x = g_mouse_screen_y = -1;
    g_mouse_grid_x = g_mouse_grid_y = -1;
    g_hover_station_i = -1;
}

}  // namespace kaitoro
