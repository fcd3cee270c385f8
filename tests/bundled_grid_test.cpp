// The bundled grid as the program loads it: its size and stations, the loader's own zone
// corrections landing on stations of those zones, the zones of known coastal towns, the
// observation points, and the straits and bays that must stay open.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <map>
#include <vector>

#include "core/geo.h"
#include "core/grid.h"
#include "core/masks.h"
#include "core/stations.h"
#include "feed/observation_points.h"
#include "feed/point_mapping.h"
#include "tests/support/global_state.h"

namespace kaitoro {
namespace {

constexpr char kGridPath[] = KAITORO_SOURCE_DIR "/data/tsunami_data.bin";
constexpr char kOverridePath[] = KAITORO_SOURCE_DIR "/data/coast_override.csv";

// The zones as the file stores them, before the loader corrects anything.
std::vector<std::int32_t> file_zones() {
    std::ifstream in(kGridPath, std::ios::binary);
    std::uint32_t header[3] = {};
    in.seekg(16);
    in.read(reinterpret_cast<char*>(header), sizeof header);
    const std::size_t cells = std::size_t(header[0]) * header[1];
    in.seekg(std::streamoff(28 + 5 * cells + 4 * std::size_t(header[2])));
    std::vector<std::int32_t> zones(header[2]);
    in.read(reinterpret_cast<char*>(zones.data()), std::streamsize(zones.size() * 4));
    return in ? zones : std::vector<std::int32_t>{};
}

double km_to_cell(const GridData& g, float gx, float gy, int cell) {
    const double dx = cell % int(g.nx) - gx, dy = cell / int(g.nx) - gy;
    return std::sqrt(dx * dx + dy * dy) * cell_km_at_row(gy);
}

class BundledGrid : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        grid_ = new GridData(load_grid_data(kGridPath));
        overrides_loaded_ = load_land_override_csv(grid_, kOverridePath);
        rebuild_solid_mask(grid_);
    }
    static void TearDownTestSuite() {
        free_grid_data(grid_);
        delete grid_;
        grid_ = nullptr;
    }
    static GridData* grid_;
    static int overrides_loaded_;
};
GridData* BundledGrid::grid_ = nullptr;
int BundledGrid::overrides_loaded_ = 0;

TEST_F(BundledGrid, EveryFixedCorrectionLandsOnAStationOfItsZone) {
    const GridData& g = *grid_;
    const std::vector<std::int32_t> written = file_zones();
    ASSERT_EQ(written.size(), g.station_count);
    // What each corrected station finally carries, in the loader's order of application.
    std::map<int, int> final_zone;
    for (int s : zone48_station_list()) final_zone[s] = 48;
    for (const auto& r : single_station_zone_table()) final_zone[r.station_no] = r.zone_id;
    for (const auto& r : kma_zone_table()) final_zone[r.station_no] = r.zone_id;
    for (int s : zone49_station_list()) final_zone[s] = 49;
    for (const auto& [no, zone] : final_zone) {
        ASSERT_LE(std::uint32_t(no), g.station_count);
        EXPECT_EQ(written[std::size_t(no) - 1], zone)
            << "station " << no << " is not a zone " << zone << " station";
        EXPECT_EQ(g.station_zone[std::size_t(no) - 1], zone) << "station " << no;
    }
    EXPECT_EQ(kma_zone_table().size(), 431u);
}

// Two sea points on either side of a strait meet through cells the solver treats as water,
// without leaving the box around them (so no detour through another strait counts).
bool strait_open(const GridData& g, float lat_a, float lon_a, float lat_b, float lon_b) {
    auto snap = [&](float lat, float lon) {
        float gx = 0, gy = 0;
        grid_xy_from_latlon(lat, lon, &gx, &gy);
        const int cx = int(std::lround(gx)), cy = int(std::lround(gy));
        int best = -1, best_d = 1 << 30;
        for (int dy = -4; dy <= 4; ++dy)
            for (int dx = -4; dx <= 4; ++dx) {
                const int x = cx + dx, y = cy + dy;
                if (!g.in_grid(x, y) || g.solid[std::size_t(y) * g.nx + x]) continue;
                if (dx * dx + dy * dy < best_d)
                    best_d = dx * dx + dy * dy, best = y * int(g.nx) + x;
            }
        return best;
    };
    const int a = snap(lat_a, lon_a), b = snap(lat_b, lon_b);
    if (a < 0 || b < 0) return false;
    const int nx = int(g.nx);
    const int x0 = std::min(a % nx, b % nx) - 4, x1 = std::max(a % nx, b % nx) + 4;
    const int y0 = std::min(a / nx, b / nx) - 4, y1 = std::max(a / nx, b / nx) + 4;
    std::vector<char> seen(g.cell_count(), 0);
    std::vector<int> todo{a};
    seen[std::size_t(a)] = 1;
    while (!todo.empty()) {
        const int c = todo.back();
        todo.pop_back();
        if (c == b) return true;
        const int step[4][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};
        for (const auto& d : step) {
            const int x = c % nx + d[0], y = c / nx + d[1];
            if (x < x0 || x > x1 || y < y0 || y > y1 || !g.in_grid(x, y)) continue;
            const int n = y * nx + x;
            if (!seen[std::size_t(n)] && !g.solid[std::size_t(n)])
                seen[std::size_t(n)] = 1, todo.push_back(n);
        }
    }
    return false;
}

TEST_F(BundledGrid, StraitsAndBayMouthsStayOpen) {
    struct Strait {
        const char* name;
        float lat_a, lon_a, lat_b, lon_b;
    };
    const Strait straits[] = {
        {"Kanmon", 33.98f, 131.02f, 33.97f, 130.85f},
        {"Naruto", 34.30f, 134.63f, 34.18f, 134.68f},
        {"Akashi", 34.62f, 135.10f, 34.62f, 134.93f},
        {"Kitan (Osaka Bay)", 34.33f, 135.05f, 34.22f, 135.00f},
        {"Tsugaru", 41.50f, 140.00f, 41.50f, 141.20f},
        {"Soya", 45.60f, 141.60f, 45.60f, 142.30f},
        {"Tsushima", 34.90f, 129.80f, 33.90f, 128.90f},
        {"Uraga (Tokyo Bay)", 35.40f, 139.80f, 35.10f, 139.75f},
        {"Irago (Ise Bay)", 34.65f, 136.85f, 34.50f, 137.05f},
        {"Kurushima (Seto Inland Sea)", 34.05f, 133.05f, 34.13f, 132.88f},
        {"Bisan Seto (Seto Inland Sea)", 34.25f, 133.60f, 34.40f, 134.05f},
    };
    for (const auto& s : straits)
        EXPECT_TRUE(strait_open(*grid_, s.lat_a, s.lon_a, s.lat_b, s.lon_b)) << s.name;
}

// Through the feed's own mapping: each built-in gauge binds to the nearest station of its
// default zone, within 10 km; the Izu island gauges find a sea cell of their own.
TEST_F(BundledGrid, BuiltInObservationPointsMapCloseToTheirZones) {
    testing::reset_all_globals();
    testing::install_grid(*grid_);
    orvex_observation_points_reset_for_tests();
    orvex_load_builtin_observation_points();
    ASSERT_EQ(g_orvex_observation_point_count, 36);
    orvex_map_observation_points_to_stations();
    for (int i = 0; i < g_orvex_observation_point_count; ++i) {
        const ObservationPoint& p = g_orvex_observation_points[std::size_t(i)];
        if (p.zone_id == 19) {
            EXPECT_EQ(p.virtual_coast_cell, 1) << p.code;
            EXPECT_GE(p.cell, 0) << p.code;
            continue;
        }
        ASSERT_GE(p.mapped_station_no, 1) << p.code;
        const std::size_t s = std::size_t(p.mapped_station_no) - 1;
        EXPECT_EQ(grid_->station_zone[s], p.zone_id) << p.code;
        float gx = 0, gy = 0;
        grid_xy_from_latlon(p.lat, p.lon, &gx, &gy);
        EXPECT_LE(km_to_cell(*grid_, gx, gy, grid_->station_cell[s]), 10.0) << p.code;
    }
    orvex_observation_points_reset_for_tests();
    testing::reset_all_globals();
}

}  // namespace
}  // namespace kaitoro
