// The station and forecast-zone rows the result tables hold, gathered once with their
// coordinates so every export format lists exactly what the CSV tables list.
#pragma once

#include <string>
#include <vector>

#include "core/grid.h"
#include "core/solver.h"

namespace kaitoro {

struct StationRow {
    int index = 0;  // station index; the number users see is index + 1
    int grid_x = 0, grid_y = 0;
    int zone_id = 0;
    double lat = 0, lon = 0;  // centre of the station cell, degrees
    float max_m = 0;
    int arrival_s = 0;
};

struct ZoneRow {
    int zone_id = 0;
    float max_m = 0;
    int station_no_of_max = 0;  // 0 when the zone has no station
    int arrival_s = 0;          // arrival of the zone's highest station
    std::vector<int> members;   // indices into the station rows, in station order
};

// Stations in the station table's order and with its filter: enabled, zone 1..93 other than
// 67, cell inside the grid.
std::vector<StationRow> collect_station_rows(const GridData* grid, const Simulation* sim);
// Zones 1..66 and 68..93 in increasing order, each with its stations, accumulated as the
// zone table does (the first station of the highest maximum wins).
std::vector<ZoneRow> collect_zone_rows(const std::vector<StationRow>& stations);

// The run's wave-speed coupling, as exports name it.
const char* export_mode_text();

}  // namespace kaitoro
