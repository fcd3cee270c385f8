// The grid's georeference: a Mercator grid of 5.72096 km cells at the equator.
#pragma once

namespace kaitoro {

// Degrees to fractional grid coordinates (column, row; row 0 is the southern edge).
void grid_xy_from_latlon(float lat_deg, float lon_deg, float* gx, float* gy);
// The inverse, for labels and exports.
void latlon_from_grid_xy(float gx, float gy, float* lat_deg, float* lon_deg);

}  // namespace kaitoro
