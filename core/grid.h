// The one fixed grid: depths, stations with their forecast zones, and the derived masks.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kaitoro {

struct Simulation;

inline constexpr std::uint32_t kMaxGridDim = 10000;
inline constexpr int kZoneOutside = 67;

struct GridData {
    std::uint32_t nx = 0;
    std::uint32_t ny = 0;
    std::uint32_t station_count = 0;
    std::vector<float> depth_m;             // per cell; > 0 is sea
    std::vector<float> effective_depth_m;   // per cell; what the solver uses
    std::vector<std::uint8_t> raw_land;     // per cell; depth_m not > 0
    std::vector<std::uint8_t> land;         // per cell; visible land mask
    std::vector<std::uint8_t> solid;        // per cell; solver wall mask
    std::vector<std::int8_t> land_override; // per cell; -1 none, 0 water, 1 land
    std::vector<std::int32_t> station_cell;
    std::vector<std::int32_t> station_sample_cell;
    std::vector<std::int32_t> station_zone;
    std::vector<std::uint8_t> station_flags;  // 0 disabled, 1 enabled, 2 virtual
    std::vector<std::uint8_t> hidden;         // per cell; east-edge hidden strip
    std::vector<float> hidden_depth_m;        // per cell; never written, so 0

    std::size_t cell_count() const { return std::size_t(nx) * ny; }
    bool cell_valid(long long cell) const { return cell >= 0 && cell < (long long)cell_count(); }
    bool in_grid(long long x, long long y) const {
        return x >= 0 && y >= 0 && x < (long long)nx && y < (long long)ny;
    }
};

// Loads the grid file or ends the program with the documented fatal message.
GridData load_grid_data(const char* path);
void free_grid_data(GridData* grid);

float visible_effective_depth_m(const GridData* grid, int cell);
float solver_depth_m(const GridData* grid, const Simulation* sim, int sx, int sy);

// The KMA station-to-zone corrections, as embedded from data/kma_zone_table.csv.
struct ZoneCorrection {
    int station_no;
    int zone_id;
};
const std::vector<ZoneCorrection>& kma_zone_table();
// The fixed corrections applied before the KMA table, in their order of application.
const std::vector<int>& zone48_station_list();
const std::vector<ZoneCorrection>& single_station_zone_table();
const std::vector<int>& zone49_station_list();

}  // namespace kaitoro
