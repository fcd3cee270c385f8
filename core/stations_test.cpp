#include "core/stations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <limits>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "core/driver.h"
#include "core/masks.h"
#include "core/status.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

using testing::GridSpec;

constexpr char kBom[] = "\xEF\xBB\xBF";

std::vector<std::string> split_lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// An all-sea grid of depth 1 m, where the shoreline factor is exactly 1, so a station's
// observed height is its cell's eta.
class StationsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        GridSpec g = testing::make_ocean(24, 16, 1.0f);
        g.add_station(3, 3, 11);   // #1
        g.add_station(6, 3, 11);   // #2, same zone as #1
        g.add_station(9, 3, 70);   // #3, a KMA zone
        g.add_station(12, 3, 67);  // #4, outside any zone: tracked but never tabled
        g.add_station(15, 3, 5);   // #5, disabled below
        g.add_station(10, 9, 22);  // #6, its cell forced to land so it samples a neighbour
        testing::install_grid(testing::load_spec(g));
        g_grid.station_flags[4] = 0;
        set_land_override(&g_grid, 10, 9, 1);
        rebuild_land_mask_from_coast_stations(&g_grid);
        rebuild_solid_mask(&g_grid);
        reset_simulation(&g_grid, &g_sim);
    }
    void TearDown() override { testing::reset_all_globals(); }

    float& eta_at_cell(long long cell) {
        const int x = int(cell % g_grid.nx), y = int(cell / g_grid.nx);
        return g_sim.eta[g_sim.solver_index_of_cell(x, y)];
    }
    float& sample_eta(int i) { return eta_at_cell(g_grid.station_sample_cell[i]); }
};

// The statistics follow the masks of the last reset: a station whose cell turns to land
// samples its new neighbour, and one whose cell is hidden stops reporting.
TEST_F(StationsTest, StatisticsFollowTheMasksOfTheLastReset) {
    update_station_stats(&g_grid, &g_sim, 15);
    const long long old_sample = g_grid.station_sample_cell[0];
    set_land_override(&g_grid, 3, 3, 1);
    g_grid.hidden[g_grid.station_sample_cell[1]] = 1;
    rebuild_land_mask_from_coast_stations(&g_grid);
    rebuild_solid_mask(&g_grid);
    reset_simulation(&g_grid, &g_sim);
    ASSERT_NE(g_grid.station_sample_cell[0], old_sample);
    eta_at_cell(old_sample) = 3.0f;
    sample_eta(0) = 0.25f;
    sample_eta(1) = 2.0f;
    update_station_stats(&g_grid, &g_sim, 30);
    EXPECT_EQ(g_sim.station_max_m[0], 0.25f);
    EXPECT_EQ(g_sim.station_arrival_s[0], 30);
    EXPECT_EQ(g_sim.station_max_m[1], 0.0f);
}

TEST_F(StationsTest, WallsAndDisabledStationsReportNothing) {
    sample_eta(1) = kWallEta;
    sample_eta(4) = 1.0f;
    update_station_stats(&g_grid, &g_sim, 15);
    EXPECT_EQ(station_observed_height_m(&g_grid, &g_sim, 1), 0.0f);
    EXPECT_EQ(g_sim.station_max_m[1], 0.0f);
    EXPECT_EQ(g_sim.station_arrival_s[1], 0);
    EXPECT_EQ(g_sim.station_max_m[4], 0.0f);

    EXPECT_FALSE(station_is_enabled(&g_grid, 4));
    EXPECT_FALSE(station_is_enabled(&g_grid, 6));
    EXPECT_FALSE(station_is_enabled(&g_grid, -1));
    EXPECT_EQ(count_enabled_stations(&g_grid), 5);

    int x = -7;
    float m = -7.0f;
    EXPECT_EQ(get_station_info(4, &x, &x, &x, &x, &x, &m, &m, &m, &x), 0);
    EXPECT_EQ(get_station_info(6, &x, &x, &x, &x, &x, &m, &m, &m, &x), 0);
    EXPECT_EQ(x, -7);
    EXPECT_EQ(m, -7.0f);

    // Without a flags array every station counts.
    g_grid.station_flags.clear();
    EXPECT_TRUE(station_is_enabled(&g_grid, 4));
    EXPECT_EQ(count_enabled_stations(&g_grid), 6);
}

TEST_F(StationsTest, StationInfoUsesTheSampleCellForTheLevel) {
    const int cell = g_grid.station_cell[5];
    const int sample = g_grid.station_sample_cell[5];
    ASSERT_NE(sample, cell) << "a station on forced land should sample open water";
    sample_eta(5) = 0.25f;
    eta_at_cell(cell) = 9.0f;  // never read: the station cell is a wall
    g_sim.station_max_m[5] = 1.5f;
    g_sim.station_arrival_s[5] = 600;

    int gx, gy, sx, sy, zone, arrival;
    float obs, pos, max;
    ASSERT_EQ(get_station_info(5, &gx, &gy, &sx, &sy, &zone, &obs, &pos, &max, &arrival), 1);
    EXPECT_EQ((std::vector<int>{gx, gy, sx, sy, zone, arrival}),
              (std::vector<int>{10, 9, sample % 24, sample / 24, 22, 600}));
    EXPECT_EQ((std::vector<float>{obs, pos, max}), (std::vector<float>{0.25f, 0.25f, 1.5f}));

    sample_eta(5) = -0.5f;
    get_station_info(5, nullptr, nullptr, nullptr, nullptr, nullptr, &obs, &pos, nullptr, nullptr);
    EXPECT_EQ(obs, -0.5f);
    EXPECT_EQ(pos, 0.0f);
}

TEST(StationColorBins, BoundariesBelongToTheHigherBin) {
    struct Case {
        float h;
        const char* bin;
        const char* hex;
    };
    const float nan = std::numeric_limits<float>::quiet_NaN();
    // clang-format off
    const Case cases[] = {
        {nan, "0-5cm", "none"},           {-1.0f, "0-5cm", "none"},
        {0.049f, "0-5cm", "none"},        {0.05f, "5-10cm", "#99ff80"},
        {0.1f, "10-20cm", "#00ff00"},     {0.2f, "20-50cm", "#fff280"},
        {0.5f, "50-100cm", "#ffe600"},    {1.0f, "100-200cm", "#ff8080"},
        {2.0f, "200-300cm", "#ff0000"},   {3.0f, "300-400cm", "#e580ff"},
        {4.0f, "400-500cm", "#cc00ff"},   {5.0f, "500-800cm", "#8b00ad"},
        {9.99f, "800-1000cm", "#460057"}, {10.0f, "1000cm+", "#000000"},
    };
    // clang-format on
    for (const Case& c : cases) {
        EXPECT_STREQ(tsunami_height_color_bin(c.h), c.bin) << c.h;
        EXPECT_STREQ(tsunami_height_color_hex(c.h), c.hex) << c.h;
    }
}

TEST_F(StationsTest, ZoneTableKeepsTheFirstHighestStationAndEveryZone) {
    g_sim.station_max_m = {0.75f, 0.75f, 0.123456789f, 3.0f, 2.0f, 10.0f};
    g_sim.station_arrival_s = {120, 90, 300, 60, 30, 45};
    testing::TempDir dir;
    const std::string path = dir.file("zones.csv");
    write_forecast_zone_file(path.c_str(), &g_grid, &g_sim);

    const auto lines = split_lines(testing::read_file_text(path).substr(3));
    ASSERT_EQ(lines.size(), 1u + 66u + 26u);
    // Equal maxima: the first station in index order wins, with its arrival, even though the
    // second one arrived earlier.
    EXPECT_EQ(lines[11], "11,\"宮城県\",0.75,75,1,75,3,3,120,2,50-100cm,#ffe600");
    // Zone 5's only station is disabled: the zone is still written, empty.
    EXPECT_EQ(lines[5], "5,\"北海道日本海沿岸北部\",0,0,0,-1,-1,-1,0,0,0-5cm,none");
    EXPECT_EQ(lines[22], "22,\"静岡県\",10,1000,6,226,10,9,45,1,1000cm+,#000000");
    EXPECT_EQ(lines[69], "70,\"강원 남부 해안\",0.123457,12.3457,3,81,9,3,300,1,10-20cm,#00ff00");
}

TEST(StationPaths, ZoneTableNameFollowsTheFileNamePart) {
    EXPECT_EQ(forecast_zone_path_for("out.data.csv"), "out.data_forecast_zones.csv");
    EXPECT_EQ(forecast_zone_path_for("results"), "results_forecast_zones.csv");
    EXPECT_EQ(forecast_zone_path_for("/tmp/run.v2/results"),
              "/tmp/run.v2/results_forecast_zones.csv");
    EXPECT_EQ(forecast_zone_path_for("C:\\runs.old\\st"), "C:\\runs.old\\st_forecast_zones.csv");
}

TEST_F(StationsTest, SaveCommandWritesBothTablesAndReports) {
    testing::ScopedFakePlatform fp;
    testing::TempDir dir;
    const std::string chosen = dir.file("tsunami.out.csv");
    fp.fake.save_answers.push_back(chosen);
    save_station_csv_dialog(nullptr);

    ASSERT_EQ(fp.fake.save_requests.size(), 1u);
    EXPECT_EQ(fp.fake.save_requests[0].default_name, "tsunami_station_points.csv");
    const std::string zones = dir.file("tsunami.out_forecast_zones.csv");
    EXPECT_TRUE(std::filesystem::exists(chosen));
    EXPECT_TRUE(std::filesystem::exists(zones));
    EXPECT_EQ(std::string(g_status), "Saved station CSV and forecast-zone CSV: " + zones);
    EXPECT_EQ(fp.fake.repaints, 1);

    // Files that cannot be created are skipped silently; the save is still reported.
    fp.fake.save_answers.push_back(dir.file("missing/st"));
    save_station_csv_dialog(nullptr);
    EXPECT_EQ(std::string(g_status), "Saved station CSV and forecast-zone CSV: " +
                                         dir.file("missing/st_forecast_zones.csv"));
    EXPECT_TRUE(fp.fake.beeps.empty());

    // Cancel leaves everything alone.
    std::strcpy(g_status, "before");
    save_station_csv_dialog(nullptr);
    EXPECT_STREQ(g_status, "before");
    EXPECT_EQ(fp.fake.repaints, 2);
}

}  // namespace
}  // namespace kaitoro
