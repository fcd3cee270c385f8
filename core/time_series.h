// Recorders of picked stations' sea level, and their CSV and SVG exports.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kaitoro {

struct TimeSeriesSample {
    std::int32_t time_s;
    float level_m;
    float positive_rise_m;
    float peak_positive_rise_m;
};

struct TimeSeriesRecorder {
    std::int32_t station_index = -1;
    std::vector<TimeSeriesSample> samples;  // `capacity` elements; grows from 4096 by doubling
    std::size_t count = 0;
    std::size_t capacity = 0;
    std::int32_t last_time_s = -1;
};

extern std::vector<TimeSeriesRecorder> g_ts_recorders;  // `g_ts_rec_capacity` elements
extern std::size_t g_ts_rec_count;
extern std::size_t g_ts_rec_capacity;
extern int g_ts_station_i;

void time_series_add_station(int station_index, int replace);
void time_series_record_current();
void time_series_free();
// Empties every recorder (count 0, last time -1) and keeps the picked stations.
void time_series_reset_recordings();

int write_time_series_csv_for_recorder(const char* path, const TimeSeriesRecorder* rec);
int write_time_series_svg_for_recorder(const char* path, const TimeSeriesRecorder* rec);
std::string make_station_timeseries_path(const std::string& base, int station_no,
                                         const char* suffix, const char* extension);

// The "Save time series" command.
void save_time_series_dialog(void* window);

}  // namespace kaitoro
