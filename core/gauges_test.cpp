#include "core/gauges.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "core/geo.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

TEST(GaugeFileTest, SkipsHeaderAndCommentsAndListsBadLines) {
    testing::TempDir dir;
    const std::string path = dir.file("g.csv");
    testing::write_text_file(path,
                             "\xEF\xBB\xBFname,lat,lon\r\n# offshore\r\nKPG1,41.7,144.4\r\n"
                             "\r\nbroken\r\nWajima,37.4,136.9\r\n");
    std::vector<Gauge> gauges;
    std::vector<std::string> rejected;
    std::string error;
    ASSERT_TRUE(gauges_load_csv(path.c_str(), &gauges, &rejected, &error));
    ASSERT_EQ(gauges.size(), 2u);
    EXPECT_EQ(gauges[1].name, "Wajima");
    EXPECT_EQ(rejected, std::vector<std::string>{"line 5: needs NAME,LAT,LON"});
    EXPECT_FALSE(gauges_load_csv(dir.file("none.csv").c_str(), &gauges, &rejected, &error));
}

// A real-sized grid that is land except for a few sea cells around a chosen point.
struct IslandGrid {
    GridData grid;
    IslandGrid() {
        grid.nx = 851;
        grid.ny = 539;
        grid.solid.assign(grid.cell_count(), 1);
        grid.depth_m.assign(grid.cell_count(), -10.0f);
    }
    void sea(int x, int y, float depth) {
        grid.solid[std::size_t(y) * grid.nx + x] = 0;
        grid.depth_m[std::size_t(y) * grid.nx + x] = depth;
    }
};

TEST(GaugePlaceTest, TakesTheNearestSeaCellAndMeasuresTheDistance) {
    IslandGrid g;
    float fx, fy;
    grid_xy_from_latlon(38.0f, 142.0f, &fx, &fy);
    const int x = int(std::lround(fx)), y = int(std::lround(fy));
    g.sea(x + 3, y, 100);  // three cells east
    g.sea(x, y + 2, 100);  // two cells north: nearer
    Gauge gauge;
    gauge.lat_deg = 38.0;
    gauge.lon_deg = 142.0;
    ASSERT_TRUE(gauge_place(&gauge, g.grid));
    EXPECT_EQ(gauge.cell_x, x);
    EXPECT_EQ(gauge.cell_y, y + 2);
    float lat, lon;
    latlon_from_grid_xy(float(x), float(y + 2), &lat, &lon);
    EXPECT_NEAR(gauge.distance_km, gauge_distance_km(38.0, 142.0, lat, lon), 1e-9);

    Gauge far;
    far.lat_deg = 20.0;
    far.lon_deg = 100.0;
    EXPECT_FALSE(gauge_place(&far, g.grid));
    EXPECT_EQ(far.cell_x, -1);
}

}  // namespace
}  // namespace kaitoro
