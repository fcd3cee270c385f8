// GeoJSON results for GIS tools: every station of the station table as a point, and every
// forecast zone that has stations as a multipoint of them, with the same values the CSV
// tables hold.
#pragma once

#include <string>

#include "core/grid.h"
#include "core/solver.h"

namespace kaitoro {

// The FeatureCollection as text (RFC 7946: WGS 84 longitude, latitude).
std::string geojson_results_text(const GridData* grid, const Simulation* sim);
// Writes it whole or not at all; false with the reason, naming the file, in *error.
bool write_geojson_results(const std::string& path, std::string* error);

}  // namespace kaitoro
