#include "tests/support/global_state.h"

#include <cstring>

#include "core/safe_file.h"
#include "core/driver.h"
#include "core/platform.h"
#include "core/sources.h"
#include "core/status.h"
#include "core/time_series.h"
#include "render/viewport.h"
#include "source_design/undo.h"
#include "feed/feed_hooks.h"
#include "quick_ff/ff_grid.h"
#include "render/install.h"
#include "shell/main_window.h"

namespace kaitoro::testing {

void reset_all_globals() {
    clear_write_failures();
    time_series_free();
    source_list_free(&g_sources);
    free_simulation(&g_sim);
    free_grid_data(&g_grid);
    g_pixels = {};
    g_base_pixels = {};
    g_bmi = {};
    g_time_s = 0;
    g_running = 0;
    g_steps_per_frame = 4;
    g_orvex_transmit_mode = 1;
    g_transmit_repaint_counter = 0;
    g_coast_guard_cells = 0;
    g_orvex_realtime_active = 0;
    g_orvex_realtime_start_ms = 0;
    g_orvex_realtime_qpc_valid = 0;
    g_orvex_realtime_start_qpc = 0;
    g_orvex_realtime_qpc_freq = 0;
    g_feed_hooks = {};
    orvex_feed_reset_all_for_tests();
    g_auto_load_color_settings_hook = nullptr;
    g_source_undo_push_hook = nullptr;
    g_source_apply_metadata_hook = nullptr;
    g_reset_state_preserve_sources_hook = nullptr;
    set_coastal_reflection_absorption(1, 0.55f);
    g_source_ramp_seconds = 120;
    source_design_reset_globals();
    viewport_reset_globals();
    std::strcpy(g_status, kDefaultStatus);
    render_reset_globals();
    quick_ff_reset_globals();
    shell_reset_globals();
    set_platform(nullptr);
}

int start_program(const std::string& grid_path) {
    std::string arg0 = "kaitoro", arg1 = grid_path;
    char* argv[] = {arg0.data(), arg1.data()};
    return driver_startup(2, argv);
}

void install_grid(GridData grid) {
    reset_all_globals();
    g_grid = std::move(grid);
    g_sim = create_simulation(&g_grid);
}

}  // namespace kaitoro::testing
