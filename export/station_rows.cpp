#include "export/station_rows.h"

#include "core/geo.h"
#include "core/stations.h"

namespace kaitoro {

const char* export_mode_text() {
    return g_true_wave_speed ? "true long-wave speed" : "documented coupling";
}

std::vector<StationRow> collect_station_rows(const GridData* grid, const Simulation* sim) {
    std::vector<StationRow> rows;
    const int nx = int(grid->nx);
    for (std::uint32_t u = 0; u < grid->station_count; ++u) {
        const int i = int(u);
        if (!station_is_enabled(grid, i) || u >= grid->station_cell.size()) continue;
        const int zone = u < grid->station_zone.size() ? grid->station_zone[u] : 0;
        if (zone <= 0 || zone == kZoneOutside || zone > 93) continue;
        const long long cell = grid->station_cell[u];
        if (!grid->cell_valid(cell)) continue;
        StationRow r;
        r.index = i;
        r.grid_x = int(cell % nx);
        r.grid_y = int(cell / nx);
        r.zone_id = zone;
        r.lat = grid_row_latitude_deg(r.grid_y);
        r.lon = grid_column_longitude_deg(r.grid_x);
        r.max_m = u < sim->station_max_m.size() ? sim->station_max_m[u] : 0.0f;
        r.arrival_s = u < sim->station_arrival_s.size() ? sim->station_arrival_s[u] : 0;
        rows.push_back(r);
    }
    return rows;
}

std::vector<ZoneRow> collect_zone_rows(const std::vector<StationRow>& stations) {
    std::vector<ZoneRow> zones;
    for (int z = 1; z <= 93; ++z)
        if (z != kZoneOutside) {
            ZoneRow row;
            row.zone_id = z;
            zones.push_back(row);
        }
    for (std::size_t k = 0; k < stations.size(); ++k) {
        const StationRow& s = stations[k];
        ZoneRow& z = zones[std::size_t(s.zone_id < kZoneOutside ? s.zone_id - 1 : s.zone_id - 2)];
        z.members.push_back(int(k));
        if (s.max_m > z.max_m) {
            z.max_m = s.max_m;
            z.station_no_of_max = s.index + 1;
            z.arrival_s = s.arrival_s;
        }
    }
    return zones;
}

}  // namespace kaitoro
