// Per-step station statistics, zone names, height colour bins and the two result tables.
#pragma once

#include <string>
#include <vector>

#include "core/grid.h"
#include "core/solver.h"

namespace kaitoro {

void update_station_stats(const GridData* grid, Simulation* sim, int t_s);
float station_observed_height_m(const GridData* grid, const Simulation* sim, int i);
bool station_is_enabled(const GridData* grid, int i);
int count_enabled_stations(const GridData* grid);

// Reads g_grid and g_sim. Every output may be null. Returns 0 and writes nothing for an
// unusable station.
int get_station_info(int i, int* grid_x, int* grid_y, int* sample_x, int* sample_y, int* zone_id,
                     float* observed_m, float* observed_positive_m, float* max_m, int* arrival_s);

const char* forecast_zone_name_from_id(int id);
const char* tsunami_height_color_bin(float h);
const char* tsunami_height_color_hex(float h);

// The forecast-zone accumulation behind the zone table, indexed by zone id (0..93; 0 and 67
// stay empty): each zone's highest enabled station (the first in index order among equal
// maxima), that station's cell and arrival, and the zone's station count.
struct ForecastZoneRow {
    float max_m = 0.0f;
    int station_no = 0;
    long long cell = -1;
    int arrival_s = 0;
    int station_count = 0;
};
std::vector<ForecastZoneRow> forecast_zone_rows(const GridData* grid, const Simulation* sim);

void write_station_file(const char* path, const GridData* grid, const Simulation* sim);
void write_forecast_zone_file(const char* path, const GridData* grid, const Simulation* sim);
// The zone table's path for a chosen station table path ("_forecast_zones" before the
// extension of the file name, or "_forecast_zones.csv" appended when there is none).
std::string forecast_zone_path_for(const std::string& station_path);
// `insert` placed before the extension of the file-name part of `path` (the part after the
// last '/' or '\\'), or `insert` + `ext_if_none` appended when that part has no dot.
std::string path_insert_before_extension(const std::string& path, const char* insert,
                                         const char* ext_if_none);

// The "Save station + forecast-zone CSV" command.
void save_station_csv_dialog(void* window);

}  // namespace kaitoro
