#include "core/geo.h"

#include <algorithm>
#include <cmath>

namespace kaitoro {

namespace {
// The single-precision path of the documented conversions: the same constants, rounded once.
constexpr float kPi = 3.14159265358979f;
constexpr float kRefLon = float(kGeoRefLonDeg);
constexpr float kRefCol = float(kGeoRefCol);
constexpr float kRefRow = float(kGeoRefRow);
constexpr float kRefOrdinate = float(kGeoRefOrdinate);
constexpr float kEarthRadiusKm = float(kGeoEarthRadiusKm);
constexpr float kCellKm = float(kGeoCellKm);
static_assert(kRefLon == 135.79684f && kRefOrdinate == 0.6724051f && kEarthRadiusKm == 6371.009f &&
                  kCellKm == 5.72096f,
              "rounding the double constants must give the float ones bit for bit");
constexpr double kPiD = 3.14159265358979323846;
constexpr double kDegToRadD = kPiD / 180.0;

// Latitude of a (fractional) row in radians, inverting the Mercator ordinate in double.
double row_latitude_rad(double y) {
    return 2.0 * std::atan(std::exp((y - kGeoRefRow) * kGeoCellKm / kGeoEarthRadiusKm +
                                    kGeoRefOrdinate)) -
           kPiD / 2;
}
}  // namespace

void grid_xy_from_latlon(float lat_deg, float lon_deg, float* gx, float* gy) {
    *gx = (lon_deg - kRefLon) * kPi / 180.0f * kEarthRadiusKm / kCellKm + kRefCol;
    float t;
    if (lat_deg > 84.0f) {
        t = 19.08113f;
    } else {
        const float lat = std::fmax(lat_deg, -84.0f);
        t = std::tan(lat * kPi / 180.0f * 0.5f + kPi / 4.0f);
    }
    *gy = (std::log(t) - kRefOrdinate) * kEarthRadiusKm / kCellKm + kRefRow;
}

void latlon_from_grid_xy(float gx, float gy, float* lat_deg, float* lon_deg) {
    *lon_deg = (gx - kRefCol) * kCellKm / kEarthRadiusKm * 180.0f / kPi + kRefLon;
    const float ordinate = (gy - kRefRow) * kCellKm / kEarthRadiusKm + kRefOrdinate;
    *lat_deg = (2.0f * std::atan(std::exp(ordinate)) - kPi / 2.0f) * 180.0f / kPi;
}

float row_latitude_deg(float y) {
    return float(row_latitude_rad(y) / kDegToRadD);
}

float cell_km_at_row(float y) {
    return float(std::max(0.01, kGeoCellKm * std::cos(row_latitude_rad(y))));
}

double grid_column_longitude_deg(double x) {
    return (x - kGeoRefCol) * kGeoCellKm / kGeoEarthRadiusKm * 180.0 / kPiD + kGeoRefLonDeg;
}

double grid_row_latitude_deg(double y) {
    return row_latitude_rad(y) * 180.0 / kPiD;
}

}  // namespace kaitoro
