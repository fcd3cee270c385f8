#include "feed/point_mapping.h"

#include <cmath>
#include <cstring>

#include "core/driver.h"
#include "core/geo.h"
#include "core/stations.h"
#include "feed/observation_points.h"

namespace kaitoro {

namespace {

// Radii of the local sea-cell search, tried in turn until one finds water.
constexpr int kSearchRadii[] = {8, 18, 34};
// One cell of distance weighs like this many metres of depth: a shallow cell a few cells
// away beats a deep cell right next to the gauge, as a tide gauge sits in shallow water.
constexpr float kDistanceWeight = 0.18f;

float cell_depth(const GridData& g, long long c) {
    if (!g.effective_depth_m.empty()) return g.effective_depth_m[std::size_t(c)];
    return g.depth_m[std::size_t(c)];
}

bool has_depths(const GridData& g) {
    return !g.depth_m.empty() || !g.effective_depth_m.empty();
}

int station_zone_at(const GridData& g, std::uint32_t s) {
    return s < g.station_zone.size() ? g.station_zone[s] : 0;
}

// Nearest enabled station in one pass; `keep` filters by zone.
template <typename Keep>
int nearest_station(const GridData& g, float gx, float gy, Keep keep) {
    int best = -1;
    float best_d = 0.0f;
    for (std::uint32_t s = 0; s < g.station_count && s < g.station_cell.size(); ++s) {
        if (!station_is_enabled(&g, int(s)) || g.station_cell[s] < 0 || !keep(s)) continue;
        const int c = g.station_cell[s];
        const float dx = float(c % int(g.nx)) - gx;
        const float dy = float(c / int(g.nx)) - gy;
        const float d = dx * dx + dy * dy;
        if (best < 0 || d < best_d) {
            best = int(s);
            best_d = d;
        }
    }
    return best;
}

int find_station(const GridData& g, int zone_id, float gx, float gy) {
    if (g.station_cell.empty() || g.station_count == 0 || g.nx == 0) return -1;
    const bool zones = !g.station_zone.empty();
    auto not_outside = [&](std::uint32_t s) {
        return !zones || station_zone_at(g, s) != kZoneOutside;
    };
    auto all = [](std::uint32_t) { return true; };
    int s = -1;
    if (zone_id >= 1) {
        s = nearest_station(g, gx, gy, [&](std::uint32_t k) {
            return zones && k < g.station_zone.size() && g.station_zone[k] == zone_id;
        });
        if (s < 0) s = nearest_station(g, gx, gy, not_outside);
        if (s < 0) s = nearest_station(g, gx, gy, all);
    } else {
        s = nearest_station(g, gx, gy, not_outside);
        if (s < 0) s = nearest_station(g, gx, gy, all);
    }
    return s;
}

// The shallowest nearby sea cell, distance-weighted. Returns the cell or -1.
long long local_sea_cell(const GridData& g, float gx, float gy, float* depth_out) {
    const long long c0 = (long long)std::floor(gx + 0.5f);
    const long long r0 = (long long)std::floor(gy + 0.5f);
    for (int radius : kSearchRadii) {
        long long best = -1;
        float best_score = 0.0f, best_depth = 0.0f;
        for (long long r = r0 - radius; r <= r0 + radius; ++r) {
            for (long long c = c0 - radius; c <= c0 + radius; ++c) {
                const long long dx = c - c0, dy = r - r0;
                if (dx * dx + dy * dy > (long long)radius * radius) continue;
                if (!g.in_grid(c, r)) continue;
                const long long cell = r * g.nx + c;
                if (!g.hidden.empty() && g.hidden[std::size_t(cell)]) continue;
                if (!g.solid.empty() && g.solid[std::size_t(cell)]) continue;
                const float depth = cell_depth(g, cell);
                if (!(depth > 0.0f)) continue;
                const float ex = float(c) - gx, ey = float(r) - gy;
                const float score = (ex * ex + ey * ey) * kDistanceWeight + depth;
                if (best < 0 || score < best_score) {
                    best = cell;
                    best_score = score;
                    best_depth = depth;
                }
            }
        }
        if (best >= 0) {
            *depth_out = best_depth;
            return best;
        }
    }
    return -1;
}

void map_one_point(const GridData& g, ObservationPoint& p) {
    float gx = 0.0f, gy = 0.0f;
    grid_xy_from_latlon(p.lat, p.lon, &gx, &gy);

    if (p.csv_station_no < 1) {
        const int s = find_station(g, p.zone_id, gx, gy);
        p.mapped_station_no = s >= 0 ? s + 1 : 0;
    } else {
        p.mapped_station_no = p.csv_station_no;
    }

    p.cell = p.x = p.y = -1;
    p.virtual_coast_cell = 0;
    p.mapped_depth_m = 0.0f;

    const bool sized = g.nx != 0 && g.ny != 0;
    long long projected = -1;
    int col = -1, row = -1;
    if (sized && orvex_rounded_cell_in_grid(p.lat, p.lon, &col, &row))
        projected = (long long)row * g.nx + col;

    const bool island = sized && p.zone_id == 19 && has_depths(g);
    const bool is_virtual = std::strstr(p.agency, "VIRTUAL") != nullptr;
    if (island || is_virtual) {
        if (sized && has_depths(g)) {
            float depth = 0.0f;
            const long long cell = local_sea_cell(g, gx, gy, &depth);
            if (cell >= 0) {
                p.cell = int(cell);
                p.x = int(cell % g.nx);
                p.y = int(cell / g.nx);
                p.virtual_coast_cell = 1;
                p.mapped_depth_m = depth;
            }
        }
    } else {
        const long long s = (long long)p.mapped_station_no - 1;
        if (p.mapped_station_no >= 1 && s < (long long)g.station_count &&
            s < (long long)g.station_cell.size()) {
            const long long c = g.station_cell[std::size_t(s)];
            const long long sample = s < (long long)g.station_sample_cell.size()
                                         ? g.station_sample_cell[std::size_t(s)]
                                         : -1;
            const bool has_depth_array = has_depths(g);
            if (g.cell_valid(c)) {
                p.cell = int(c);
                p.x = int(c % g.nx);
                p.y = int(c / g.nx);
                if (has_depth_array) {
                    if (g.cell_valid(sample))
                        p.mapped_depth_m = cell_depth(g, sample);
                    else if (sample < (long long)g.cell_count())
                        p.mapped_depth_m = cell_depth(g, c);
                }
            } else if (g.cell_valid(sample) && has_depth_array) {
                p.mapped_depth_m = cell_depth(g, sample);
            }
        }
        if (p.cell < 0 && projected >= 0) {
            p.cell = int(projected);
            p.x = col;
            p.y = row;
        }
    }

    // Gauges sharing one station are drawn at their own places, sampling the same cell.
    if (p.station_shared == 1 && sized && projected >= 0) {
        p.x = col;
        p.y = row;
    }
}

}  // namespace

bool orvex_rounded_cell_in_grid(float lat, float lon, int* col, int* row) {
    float gx = 0.0f, gy = 0.0f;
    grid_xy_from_latlon(lat, lon, &gx, &gy);
    const float fc = std::floor(gx + 0.5f), fr = std::floor(gy + 0.5f);
    if (!(fc >= 0.0f && fr >= 0.0f && fc < float(g_grid.nx) && fr < float(g_grid.ny))) return false;
    *col = int(fc);
    *row = int(fr);
    return true;
}

void orvex_map_observation_points_to_stations() {
    const int n = g_orvex_observation_point_count;
    for (int i = 0; i < n; ++i) g_orvex_observation_points[std::size_t(i)].station_shared = 0;
    for (int i = 0; i < n; ++i)
        for (int j = i + 1; j < n; ++j) {
            ObservationPoint& a = g_orvex_observation_points[std::size_t(i)];
            ObservationPoint& b = g_orvex_observation_points[std::size_t(j)];
            if (a.csv_station_no > 0 && a.csv_station_no == b.csv_station_no)
                a.station_shared = b.station_shared = 1;
        }
    for (int i = 0; i < n; ++i) map_one_point(g_grid, g_orvex_observation_points[std::size_t(i)]);
}

}  // namespace kaitoro
