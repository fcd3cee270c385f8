#include "core/driver.h"

#include <cstdio>
#include <cstring>

#include "core/fatal.h"
#include "core/masks.h"
#include "core/platform.h"
#include "core/stations.h"
#include "core/status.h"
#include "core/text_input.h"
#include "core/time_series.h"
// The composition root plugs the folders above the core into its hooks.
#include "feed/feed_hooks.h"
#include "render/install.h"
#include "render/viewport.h"
#include "source_design/undo.h"

namespace kaitoro {

GridData g_grid;
Simulation g_sim;
int g_time_s = 0;
int g_running = 0;
int g_steps_per_frame = 4;
int g_orvex_transmit_mode = 1;
int g_transmit_repaint_counter = 0;
int g_coast_guard_cells = 0;
int g_orvex_realtime_active = 0;
std::uint64_t g_orvex_realtime_start_ms = 0;
int g_orvex_realtime_qpc_valid = 0;
std::int64_t g_orvex_realtime_start_qpc = 0;
std::int64_t g_orvex_realtime_qpc_freq = 0;
std::vector<std::uint32_t> g_pixels;
std::vector<std::uint32_t> g_base_pixels;
BitmapInfo g_bmi;
FeedHooks g_feed_hooks;
int (*g_auto_load_color_settings_hook)() = nullptr;

static constexpr char kOverrideName[] = "coast_override.csv";

void feed_export_tick() {
    if (g_feed_hooks.export_tick) g_feed_hooks.export_tick();
}

void feed_reset_export_state() {
    if (g_feed_hooks.reset_export_state) g_feed_hooks.reset_export_state();
}

// A directory of that name is not a file: it must not hide the overrides found further on.
bool file_exists(const char* path) {
    std::FILE* f = open_regular_file(path);
    if (!f) return false;
    std::fclose(f);
    return true;
}

std::string path_join_dir_file(const char* path) {
    const char* slash = nullptr;
    for (const char* p = path; *p; ++p)
        if (*p == '\\' || *p == '/') slash = p;
    std::string dir;
    if (slash) dir.assign(path, std::size_t(slash - path) + 1);
    if (dir.size() > 259) dir.resize(259);
    return dir + kOverrideName;
}

void driver_load_default_overrides(const char* data_path) {
    auto try_load = [](const std::string& p) {
        return file_exists(p.c_str()) && load_land_override_csv(&g_grid, p.c_str());
    };
    bool loaded = try_load(kOverrideName);
    if (!loaded) {
        const std::string beside_data = path_join_dir_file(data_path);
        loaded = beside_data != kOverrideName && try_load(beside_data);
    }
    if (!loaded) {
        const std::string exe = platform().executable_path();
        loaded = !exe.empty() && exe.size() <= 259 && try_load(path_join_dir_file(exe.c_str()));
    }
    rebuild_solid_mask(&g_grid);
    if (loaded) set_status("Default coast correction loaded. Use Settings for controls.");
    else set_status("No coast_override.csv found. Generated mask only.");
}

int driver_add_virtual_stations() {
    if (g_grid.station_cell.size() != g_grid.station_count ||
        g_grid.station_zone.size() != g_grid.station_count)
        return 0;
    if (g_feed_hooks.load_points_if_needed) g_feed_hooks.load_points_if_needed();
    if (!g_feed_hooks.point_count || !g_feed_hooks.point_view) return 0;

    int added = 0;
    const std::size_t n = g_feed_hooks.point_count();
    for (std::size_t i = 0; i < n; ++i) {
        ObservationPointView pt;
        if (!g_feed_hooks.point_view(i, &pt) || pt.cell < 0) continue;
        int zone = pt.zone_id;
        if (zone != 19) {
            if (pt.agency.find("VIRTUAL") == std::string::npos) continue;
            if (zone < 1 && g_feed_hooks.zone_id_for_export) zone = g_feed_hooks.zone_id_for_export(i);
            if (zone < 1) continue;
        }
        if (!g_grid.cell_valid(pt.cell) || g_grid.solid[std::size_t(pt.cell)]) continue;

        g_grid.station_cell.push_back(pt.cell);
        g_grid.station_sample_cell.push_back(pt.cell);
        g_grid.station_zone.push_back(zone);
        g_grid.station_flags.push_back(2);
        ++g_grid.station_count;
        if (g_feed_hooks.mark_virtual_station)
            g_feed_hooks.mark_virtual_station(i, int(g_grid.station_count));
        ++added;
    }
    if (added > 0)
        set_status(
            "Added %d virtual coastal observation station(s) from JMA gauges without changing "
            "land mask.",
            added);
    return added;
}

// The folders above the core reach it only through hooks; plug them in before anything loads.
static void driver_install_modules() {
    orvex_install_feed_hooks();  // before the virtual stations load and map the points
    render_install_hooks();
    source_design_install_hooks();
    viewport_install_node_tune_hooks();
}

int driver_startup(int argc, char** argv) {
    driver_install_modules();
    const char* data_path = argc > 1 ? argv[1] : "tsunami_data.bin";
    if (!file_exists(data_path)) {
        platform().message_box("Kaitoro",
                               "Could not find tsunami_data.bin. Put it next to kaitoro.exe or "
                               "pass it as the first command-line argument.",
                               MessageIcon::Error, MessageButtons::Ok);
        return 1;
    }
    g_grid = load_grid_data(data_path);
    driver_load_default_overrides(data_path);
    driver_add_virtual_stations();
    g_sim = create_simulation(&g_grid);
    tsunami_xcalloc(g_pixels, g_grid.cell_count());
    tsunami_xcalloc(g_base_pixels, g_grid.cell_count());
    if (g_auto_load_color_settings_hook && g_auto_load_color_settings_hook())
        set_status("Loaded saved color settings. Use Settings > Colors to edit or reset.");
    g_bmi = BitmapInfo{40, std::int32_t(g_grid.nx), -std::int32_t(g_grid.ny), 1, 32, 0};
    return 0;
}

void driver_shutdown() {
    time_series_free();
    if (g_feed_hooks.shutdown) g_feed_hooks.shutdown();
    g_pixels = {};
    g_base_pixels = {};
    source_list_free(&g_sources);
    free_simulation(&g_sim);
    free_grid_data(&g_grid);
    source_design_shutdown();  // the undo stack goes last
}

static void stop_at_transmit_limit() {
    g_running = 0;
    set_status(
        "ORVEX transmit-only simulation limit reached: %dh. Model stopped; pending observation "
        "reports keep using wall-clock 1x.",
        kTransmitLimitSeconds / 3600);
}

void advance_one_step() {
    if (g_orvex_transmit_mode) {
        if (g_time_s >= kTransmitLimitSeconds || g_time_s > kTransmitLimitSeconds - kModelStepSeconds) {
            g_time_s = kTransmitLimitSeconds;
            stop_at_transmit_limit();
            return;
        }
    }
    if (!g_orvex_realtime_active) {
        Platform& p = platform();
        g_orvex_realtime_start_ms = p.tick_count_ms();
        g_orvex_realtime_active = 1;
        std::int64_t counter = 0, freq = 0;
        const bool ok_counter = p.performance_counter(&counter);
        const bool ok_freq = p.performance_frequency(&freq);
        g_orvex_realtime_qpc_valid = (ok_counter && ok_freq && freq >= 1) ? 1 : 0;
        g_orvex_realtime_start_qpc = counter;
        g_orvex_realtime_qpc_freq = freq;
    }
    g_time_s += kModelStepSeconds;
    simulate_one_step(&g_grid, &g_sim, g_time_s);
    update_station_stats(&g_grid, &g_sim, g_time_s);
    time_series_record_current();
    feed_export_tick();
    if (g_orvex_transmit_mode && g_time_s >= kTransmitLimitSeconds) stop_at_transmit_limit();
}

bool driver_timer_tick() {
    feed_export_tick();
    if (!g_running) return false;
    for (int i = 0; i < g_steps_per_frame; ++i) advance_one_step();
    if (g_orvex_transmit_mode) {
        if (++g_transmit_repaint_counter > 89) {
            g_transmit_repaint_counter = 0;
            return true;
        }
        return false;
    }
    return true;
}

void driver_reset_run() {
    normalize_source_slips(&g_sources);
    reset_simulation(&g_grid, &g_sim);
    apply_sources_to_simulation(&g_grid, &g_sim, &g_sources);
    g_time_s = 0;
    feed_reset_export_state();
    time_series_reset_recordings();
    time_series_record_current();
}

void rebuild_mask_and_reset() {
    rebuild_solid_mask(&g_grid);
    driver_reset_run();
    std::size_t blocked = 0;
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        const SourcePoint& p = g_sources[i];
        if (!g_grid.in_grid(p.grid_x, p.grid_y) ||
            g_grid.solid[std::size_t(p.grid_y) * g_grid.nx + p.grid_x])
            ++blocked;
    }
    set_status("Coast guard = %d cell(s). Reset. %zu source point(s) are now blocked/ignored.",
               g_coast_guard_cells, blocked);
}

}  // namespace kaitoro
