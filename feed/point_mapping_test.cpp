#include "feed/point_mapping.h"

#include <vector>

#include "feed/observation_points.h"
#include "tests/support/feed_fixture.h"

namespace kaitoro {
namespace {

using testing::FeedTest;

class MappingTest : public FeedTest {
  protected:
    const ObservationPoint& pt(int i) { return g_orvex_observation_points[std::size_t(i)]; }
    int cell(int x, int y) const { return y * int(g_grid.nx) + x; }
};

TEST_F(MappingTest, PreferredZoneBeatsDistanceAndOutsideStationsComeLast) {
    auto g = testing::make_ocean(60, 40, 50.0f);
    testing::fill_rect(g, 0, 0, 59, 2, -5.0f);
    g.add_station(10, 3, 11);  // 1: near
    g.add_station(50, 3, 10);  // 2: far, zone 10
    g.add_station(30, 3, 67);  // 3: right under the second point, outside any zone
    install(g);
    add_point(11, 4, "MIYAKO");  // zone 10
    add_point(30, 4, "Z0");      // no zone
    add_point(31, 4, "Z1");
    g_orvex_observation_points[2].zone_id = 22;  // a zone no station has
    map_points();
    EXPECT_EQ(pt(0).mapped_station_no, 2);
    EXPECT_EQ(pt(0).cell, cell(50, 3));
    EXPECT_FLOAT_EQ(pt(0).mapped_depth_m, 50.0f);
    EXPECT_EQ(pt(0).virtual_coast_cell, 0);
    // 20 cells to either zoned station (the first wins the tie) beat the zone-67 one at 1.
    EXPECT_EQ(pt(1).mapped_station_no, 1);
    EXPECT_EQ(pt(2).mapped_station_no, 2);  // no zone-22 station: nearest not outside
}

TEST_F(MappingTest, SharedStationNumbersKeepTheCellButShowTheirOwnPlace) {
    auto g = testing::make_ocean(60, 40, 50.0f);
    testing::fill_rect(g, 0, 0, 59, 2, -5.0f);
    for (int x = 5; x < 55; x += 5) g.add_station(x, 3, 11);
    install(g);
    add_point(12, 8, "A");
    add_point(40, 20, "B");
    add_point(41, 20, "C");
    g_orvex_observation_points[0].csv_station_no = 4;
    g_orvex_observation_points[1].csv_station_no = 4;
    g_orvex_observation_points[2].csv_station_no = 1234;  // beyond the grid's stations
    map_points();
    for (int i : {0, 1}) {
        EXPECT_EQ(pt(i).station_shared, 1);
        EXPECT_EQ(pt(i).mapped_station_no, 4);
        EXPECT_EQ(pt(i).cell, cell(20, 3));
    }
    EXPECT_EQ((std::vector<int>{pt(0).x, pt(0).y, pt(1).x, pt(1).y}),
              (std::vector<int>{12, 8, 40, 20}));
    EXPECT_EQ(pt(2).station_shared, 0);
    EXPECT_EQ(pt(2).mapped_station_no, 1234);
    EXPECT_EQ(pt(2).cell, cell(41, 20));  // the projected cell stands in
}

TEST_F(MappingTest, IslandAndVirtualPointsSearchForShallowWaterNearby) {
    auto g = testing::make_ocean(80, 60, 4000.0f);
    testing::fill_rect(g, 30, 30, 34, 34, -50.0f);  // an island
    testing::fill_rect(g, 35, 30, 35, 34, 3000.0f);
    g.at(38, 32) = 10.0f;  // a shallow cove a few cells east of the island
    g.add_station(5, 5, 19);
    install(g);
    add_point(32, 32, "TOSHIMA");  // zone 19, on land
    add_point(32, 32, "V", "JMA-VIRTUAL");
    map_points();
    for (int i : {0, 1}) {
        EXPECT_EQ(pt(i).cell, cell(38, 32)) << i;
        EXPECT_EQ(pt(i).virtual_coast_cell, 1);
        EXPECT_FLOAT_EQ(pt(i).mapped_depth_m, g_grid.effective_depth_m[std::size_t(cell(38, 32))]);
    }
    EXPECT_EQ(pt(0).mapped_station_no, 1);  // the station search still ran

    // Nothing but land within 34 cells: no cell, the station number stays.
    auto land = testing::make_ocean(80, 60, -10.0f);
    testing::fill_rect(land, 75, 0, 79, 59, 100.0f);
    land.add_station(75, 5, 19);
    install(land);
    add_point(10, 30, "TOSHIMA");
    map_points();
    EXPECT_EQ(pt(0).cell, -1);
    EXPECT_EQ(pt(0).mapped_station_no, 1);
}

TEST_F(MappingTest, SampleCellGivesTheDepthAndAnEmptyGridOnlyStationNumbers) {
    auto g = testing::make_ocean(40, 30, 80.0f);
    testing::fill_rect(g, 0, 0, 39, 2, -5.0f);
    g.at(10, 4) = 7.0f;
    g.add_station(10, 3, 11);
    install(g);
    g_grid.station_sample_cell[0] = cell(10, 4);
    add_point(10, 3, "S");
    map_points();
    EXPECT_EQ(pt(0).cell, cell(10, 3));
    EXPECT_FLOAT_EQ(pt(0).mapped_depth_m, g_grid.effective_depth_m[std::size_t(cell(10, 4))]);

    install(testing::make_ocean(1, 1, 10.0f));
    g_grid = GridData{};
    g_grid.station_count = 0;
    add_point(10, 3, "S");
    g_orvex_observation_points[0].csv_station_no = 9;
    map_points();
    EXPECT_EQ(pt(0).mapped_station_no, 9);
    EXPECT_EQ(pt(0).cell, -1);
    EXPECT_EQ(pt(0).x, -1);
}

}  // namespace
}  // namespace kaitoro
