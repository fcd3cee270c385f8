// The named observation points the feed reports on: their record, the built-in list, the
// optional CSV file that replaces it, default zones by gauge code, the reading names of the
// zones, and the station zone overrides made by hand.
#pragma once

#include <array>
#include <cstdint>

namespace kaitoro {

inline constexpr int kOrvexMaxObservationPoints = 512;
inline constexpr int kStationZoneOverrideSlots = 12000;
inline constexpr char kOrvexObservationCsvName[] = "orvex_observation_points.csv";

struct ObservationPoint {
    char code[32];
    char name[96];    // UTF-8
    char agency[48];  // containing "VIRTUAL" marks a virtual coastal point
    float lat;
    float lon;
    std::int32_t zone_id;            // preferred forecast zone, 0 = none
    std::int32_t csv_station_no;     // 1-based, 0 = none
    std::int32_t station_shared;     // another point asks for the same station
    std::int32_t mapped_station_no;  // 1-based, 0 = none
    std::int32_t cell;               // -1 = none
    std::int32_t x, y;               // shown column and row, -1 = none
    std::int32_t virtual_coast_cell;
    float mapped_depth_m;
};

extern std::array<ObservationPoint, kOrvexMaxObservationPoints> g_orvex_observation_points;
extern int g_orvex_observation_point_count;
extern int g_orvex_observation_points_loaded;  // loading attempted; never cleared in a run
extern int g_orvex_observation_csv_station_no_col;
extern int g_orvex_observation_csv_zone_id_col;

// Hand-made zone assignments per station index; -1 / "" = none. Filled lazily.
extern std::array<std::int32_t, kStationZoneOverrideSlots> g_station_zone_override_id;
extern std::array<std::array<char, 96>, kStationZoneOverrideSlots> g_station_zone_override_name;
extern int g_station_zone_override_initialized;

void orvex_add_observation_point(const char* code, const char* name, const char* agency, float lat,
                                 float lon);
int orvex_observation_default_zone_id(const char* code);
void orvex_load_builtin_observation_points();
// One CSV line, cut in place.
void orvex_parse_observation_csv_line(char* line);
// Reads the CSV (or the built-in list) and maps the points onto the grid. Once per run.
void orvex_load_observation_points();
// Loads the points when that has not been attempted yet.
void orvex_ensure_observation_points_loaded();

const char* orvex_zone_tts_name_from_id(int zone);
int orvex_observation_zone_id_for_export(int i);
const char* station_zone_name_for_display(int station_index);

void station_zone_override_ensure_initialized();
// The override id of station s when it carries one (> 0), else 0.
int station_zone_override_of(int s);
// A zone id that stands for a real forecast zone: 1..93 except "outside any zone".
bool orvex_is_real_zone(int zone);

// Back to the state before anything was loaded (tests).
void orvex_observation_points_reset_for_tests();

}  // namespace kaitoro
