// The composition root: start-up, the model clock, whole-run resets and shutdown.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/grid.h"
#include "core/solver.h"
#include "core/sources.h"

namespace kaitoro {

inline constexpr int kTransmitLimitSeconds = 216000;  // 60 model hours

extern GridData g_grid;
extern Simulation g_sim;
extern int g_time_s;
extern int g_running;
extern int g_steps_per_frame;
extern int g_orvex_transmit_mode;
extern int g_transmit_repaint_counter;
extern int g_coast_guard_cells;
extern int g_orvex_realtime_active;
extern std::uint64_t g_orvex_realtime_start_ms;
extern int g_orvex_realtime_qpc_valid;
extern std::int64_t g_orvex_realtime_start_qpc;
extern std::int64_t g_orvex_realtime_qpc_freq;
extern std::vector<std::uint32_t> g_pixels;       // 0x00RRGGBB per grid cell
extern std::vector<std::uint32_t> g_base_pixels;  // cached base map

// What the pixel buffers look like to a blitter: top-down rows of 32-bit pixels.
struct BitmapInfo {
    std::uint32_t header_size = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;  // negative: rows top-down
    std::uint16_t planes = 0;
    std::uint16_t bit_count = 0;
    std::uint32_t compression = 0;
};
extern BitmapInfo g_bmi;

// The observation-report feed reaches the core only through these hooks, so the core builds
// and runs without it. Unset hooks do nothing.
struct ObservationPointView {
    int cell = -1;        // grid cell index, negative when unmapped
    int zone_id = 0;      // preferred forecast zone
    std::string agency;   // "JMA", "JMA-VIRTUAL", ...
};
struct FeedHooks {
    void (*load_points_if_needed)() = nullptr;
    std::size_t (*point_count)() = nullptr;
    bool (*point_view)(std::size_t i, ObservationPointView* out) = nullptr;
    int (*zone_id_for_export)(std::size_t i) = nullptr;
    void (*mark_virtual_station)(std::size_t i, int station_no) = nullptr;
    void (*export_tick)() = nullptr;
    void (*reset_export_state)() = nullptr;
    void (*shutdown)() = nullptr;  // releases the feed's previous-observation buffer
};
extern FeedHooks g_feed_hooks;
void feed_export_tick();
void feed_reset_export_state();

// The colour settings live above the core; start-up calls this when set. Returns 1 when a
// file was loaded.
extern int (*g_auto_load_color_settings_hook)();

bool file_exists(const char* path);
std::string path_join_dir_file(const char* path);

// Start-up steps 1-8 (everything before the main window). Returns 0 on success, 1 when the
// data file is missing (after the message box). Grid errors end the program.
int driver_startup(int argc, char** argv);
// Step 3 alone: tries the three override locations, rebuilds the solid mask, sets status.
void driver_load_default_overrides(const char* data_path);
// Step 4 alone: appends the qualifying observation points as virtual stations.
int driver_add_virtual_stations();
void driver_shutdown();

// One 16 ms timer tick; returns true when the window should be repainted.
bool driver_timer_tick();
void advance_one_step();
void rebuild_mask_and_reset();
// The run restarts from time 0 with the current sources: slips normalised, simulation reset,
// sources applied, feed export state reset, recordings emptied and re-seeded.
void driver_reset_run();

}  // namespace kaitoro
