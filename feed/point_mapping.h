// Binds each observation point to a coastal station and a grid cell, once, when the points
// are loaded.
#pragma once

namespace kaitoro {

// Maps every loaded point against g_grid as it is at that moment.
void orvex_map_observation_points_to_stations();

// The rounded grid cell of a latitude/longitude; false when it falls outside the grid.
bool orvex_rounded_cell_in_grid(float lat, float lon, int* col, int* row);

}  // namespace kaitoro
