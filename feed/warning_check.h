// Forecast warning checks every 3 model hours from 6 h to 36 h: the wave-field zone map,
// forecast and observed maxima per zone, warning height steps, and upgrade-only sending.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace kaitoro {

inline constexpr int kOrvexFirstCheckHour = 6;
inline constexpr int kOrvexCheckIntervalHours = 3;
inline constexpr int kOrvexLastCheckHour = 36;
inline constexpr int kOrvexZoneSlots = 94;  // last-sent state per zone id 0..93

extern std::array<std::int32_t, kOrvexZoneSlots> g_orvex_last_sent_forecast_active;
extern std::array<std::int32_t, kOrvexZoneSlots> g_orvex_last_sent_forecast_rank;
extern std::array<std::int32_t, kOrvexZoneSlots> g_orvex_last_sent_forecast_arrival_5min_s;
extern int g_orvex_next_warning_check_h;
extern std::vector<std::int32_t> g_orvex_wave_zone_map;  // zone per grid cell, 0 = none
extern std::size_t g_orvex_wave_zone_map_cells;

// Whether the land/sea display inversion is on. The setting belongs to the scene; the
// composition root points this at it. Unset means off.
extern int (*g_orvex_landsea_inversion_hook)();

struct HeightStep {
    float step;        // 0, 0.05, 0.2, 1, 3, 5, 10, or 11 for "above 10"
    int rank;          // 0..6
    const char* text;  // "0m", "0.05m", "0.2m", "1m", "3m", "5m", "10m", "10m+"
};
HeightStep orvex_height_step(float v);
// 0 when a <= 0, else a rounded up to a multiple of 300 s.
int orvex_arrival_5min(int a);

// One warning check for model hour `hour` (sim_s = hour * 3600).
void orvex_export_snapshot(int hour, int sim_s);
// Runs every check whose hour the model time has reached.
void orvex_run_due_warning_checks();
// Rebuilds the wave-field zone map from stations and points (breadth-first growth).
void orvex_build_wave_zone_map();

// The part of the feed reset that belongs to the checks.
void orvex_warning_check_reset();
void orvex_free_wave_zone_map();

}  // namespace kaitoro
