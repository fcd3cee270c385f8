// Observation arrival reports: per-point tracking, the report queue, the wall-clock release of
// queued reports, the outbox file and the reset of all feed state.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <string>

#include "feed/observation_points.h"

namespace kaitoro {

inline constexpr int kOrvexEventCapacity = 16384;
inline constexpr int kOrvexReportBucketSeconds = 300;
inline constexpr int kOrvexMaxStartDelaySeconds = 604800;  // one week
inline constexpr float kOrvexArrivalThresholdM = 0.05f;
inline constexpr char kOrvexOutboxName[] = "orvex_ws_outbox.jsonl";

struct ObservationEvent {
    std::int32_t point;
    std::int32_t report_s;    // bucket, model seconds (> 0)
    std::int32_t observed_s;  // first arrival of the point
    float live_m;             // signed
    float peak_m;
    std::int32_t live_dm;
    std::int32_t peak_dm;
    std::int32_t peak_updated;
    std::int32_t peak_delta_dm;
    std::int32_t kind;  // 1 first arrival, 2 height update
    char code[32];
    char name[96];
    char agency[48];
    float lat, lon;
    std::int32_t station_no;
    std::int32_t point_cell;
    std::int32_t point_x, point_y;
    std::int32_t sample_cell;
    std::int32_t sample_x, sample_y;
    std::int32_t virtual_coast_cell;
    float mapped_depth_m;
    std::int32_t preferred_zone_id;
    std::int32_t forecast_zone_id;
    std::uint8_t sent;
};

extern std::array<ObservationEvent, kOrvexEventCapacity> g_orvex_observation_event_queue;
extern int g_orvex_observation_event_count;
extern std::array<std::int32_t, kOrvexMaxObservationPoints> g_orvex_observation_arrival_s;
extern std::array<float, kOrvexMaxObservationPoints> g_orvex_observation_peak_m;
extern std::array<std::int32_t, kOrvexMaxObservationPoints> g_orvex_observation_last_queued_peak_dm;
extern std::array<std::uint8_t, kOrvexMaxObservationPoints> g_orvex_observation_first_queued;
extern int g_orvex_calc_start_delay_s;  // kept across resets
extern char g_orvex_outbox_path_buf[260];
// Set when a report was refused because the queue held kOrvexEventCapacity events.
extern int g_orvex_event_queue_full;
const char* orvex_queue_full_text();
// Stands in for write(2) on the outbox when set (tests inject a failure half-way).
extern ssize_t (*g_orvex_outbox_write_hook)(int fd, const void* data, std::size_t size);

// The feed's heartbeat: tracking, due reports, then the warning checks.
void orvex_export_tick();
void orvex_cache_computed_observation_arrivals();
int orvex_queue_observation_report(int point, int report_s, int observed_s, float live_m,
                                   float peak_m, int kind);
void orvex_export_observation_arrivals();
float orvex_observation_live_signed_m(int i);

// Starts the release clock when it is not running (tick count and high-resolution counter).
void orvex_realtime_start_if_needed();
int orvex_realtime_elapsed_s();
// Start delay plus elapsed wall-clock seconds: the latest model second that may be released.
int orvex_sync_time_s();

const char* orvex_outbox_path();
// Points the outbox at `dir`/orvex_ws_outbox.jsonl instead of the executable's folder.
// Returns 0 (and changes nothing) when the path would not fit.
int orvex_set_outbox_directory(const char* dir);
// Appends one complete line with a single write; false (and the file cut back to its last
// complete line) when it cannot be opened or the write fails or falls short.
bool orvex_append_outbox_line(const std::string& line);

void orvex_reset_export_state();

// Decimetres of a level: 0 below 0.05 m, else the magnitude rounded half up, at least 1,
// carrying the level's sign.
int orvex_decimetres(float level_m);

// Everything above, the start delay and outbox path included, back to program start.
void orvex_arrivals_reset_for_tests();

}  // namespace kaitoro
