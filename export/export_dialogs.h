// The desktop's result-tool commands for the field formats: each asks for a file with its own
// filters and reports on the status line.
#pragma once

namespace kaitoro {

inline constexpr int kDesktopFrameEverySeconds = 300;

// Grids, stations and the picked stations' series as CF NetCDF.
void save_netcdf_dialog();
// Stations and forecast zones as GeoJSON.
void save_geojson_dialog();
// Replays the run from time 0 to the current model time with the current sources, one frame
// every 5 model minutes, then puts the simulation back exactly as it was.
void save_animation_dialog();

}  // namespace kaitoro
