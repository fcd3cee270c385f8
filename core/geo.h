// The grid's georeference: a Mercator grid of 5.72096 km cells at the equator.
#pragma once

namespace kaitoro {

// The projection's constants: reference column/row/longitude, the Mercator ordinate of the
// reference row, and the sphere. Exports write them into their metadata as they are.
inline constexpr double kGeoCellKm = 5.72096;
inline constexpr double kGeoEarthRadiusKm = 6371.009;
inline constexpr double kGeoRefLonDeg = 135.79684;
inline constexpr double kGeoRefCol = 425.0;
inline constexpr double kGeoRefRow = 270.0;
inline constexpr double kGeoRefOrdinate = 0.6724051;

// Degrees to fractional grid coordinates (column, row; row 0 is the southern edge).
void grid_xy_from_latlon(float lat_deg, float lon_deg, float* gx, float* gy);
// The inverse, for labels and exports.
void latlon_from_grid_xy(float gx, float gy, float* lat_deg, float* lon_deg);
// Latitude of a (fractional) row, and the east-west size of its cells: 5.72096 km times the
// cosine of that latitude, at least 0.01 km. Rows outside the grid extend the projection.
float row_latitude_deg(float y);
float cell_km_at_row(float y);
// Cell centres in degrees, in double precision, for the exports' coordinate columns.
double grid_column_longitude_deg(double x);
double grid_row_latitude_deg(double y);

}  // namespace kaitoro
