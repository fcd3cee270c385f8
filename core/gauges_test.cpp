#include "core/gauges.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "core/geo.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

TEST(GaugeSpecTest, ParsesNameAndDegreesOrSaysWhy) {
    struct Case {
        const char* text;
        bool ok;
        const char* name_or_why;
        double lat = 0, lon = 0;
    } cases[] = {
        {"KPG1,41.704,144.4375", true, "KPG1", 41.704, 144.4375},
        {" DART 21419 , 44.455 ,155.736", true, "DART 21419", 44.455, 155.736},
        {"Sado, Washizaki,38.32,138.51", true, "Sado, Washizaki", 38.32, 138.51},
        {"41.7,144.4", false, "needs NAME,LAT,LON"},
        {",41.7,144.4", false, "the gauge needs a name"},
        {"A\"B,41.7,144.4", false, "the name 'A\"B' holds a quote or control character"},
        {"A,91,144.4", false, "latitude '91' is not a number of degrees within [-90, 90]"},
        {"A,41,inf", false, "longitude 'inf' is not a number of degrees within [-360, 360]"},
        {"A,41,", false, "longitude '' is not a number of degrees within [-360, 360]"},
    };
    for (const Case& c : cases) {
        Gauge g;
        std::string why;
        ASSERT_EQ(gauge_parse_spec(c.text, &g, &why), c.ok) << c.text;
        if (c.ok) {
            EXPECT_EQ(g.name, c.name_or_why);
            EXPECT_EQ(g.lat_deg, c.lat);
            EXPECT_EQ(g.lon_deg, c.lon);
        } else {
            EXPECT_EQ(why, c.name_or_why) << c.text;
        }
    }
}

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

TEST(GaugeRecordTest, CsvHoldsOneLinePerTimeAndQuotesNames) {
    GaugeSet set;
    set.gauges.resize(2);
    set.gauges[0].name = "Sado, Washizaki";
    set.gauges[0].cell_x = 1;
    set.gauges[0].cell_y = 0;
    set.gauges[1].name = "KPG1";  // unplaced: records 0
    std::vector<float> height(3 * 4, 0.0f);
    height[1 * 3 + 1] = 0.25f;  // bordered row 1 = grid row 0
    gauges_record(&set, height, 3, 0);
    height[1 * 3 + 1] = -1.5f;
    gauges_record(&set, height, 3, 15);
    height[1 * 3 + 1] = 2.0f;
    gauges_record(&set, height, 3, 15);  // same time: replaces

    testing::TempDir dir;
    ASSERT_TRUE(gauges_write_csv(set, dir.file("g.csv").c_str()));
    EXPECT_EQ(testing::read_file_text(dir.file("g.csv")),
              "time_s,\"Sado, Washizaki\",KPG1\n0,0.2500,0.0000\n15,2.0000,0.0000\n");
    EXPECT_FALSE(gauges_write_csv(set, dir.file("missing/g.csv").c_str()));
}

}  // namespace
}  // namespace kaitoro
