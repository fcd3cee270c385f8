#include "core/driver.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "core/masks.h"
#include "core/status.h"
#include "core/time_series.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

using testing::fill_rect;
using testing::load_spec;
using testing::make_ocean;
using testing::TempDir;
using testing::write_text_file;

class DriverTest : public ::testing::Test {
protected:
    void SetUp() override {
        testing::reset_all_globals();
        set_platform(&fake_);
        feed_ticks = 0;
        feed_resets = 0;
    }
    void TearDown() override { testing::reset_all_globals(); }

    void install_small_grid() {
        auto s = make_ocean(24, 16, 100.0f);
        fill_rect(s, 0, 0, 23, 2, -10.0f);
        s.add_station(5, 3, 11);
        testing::install_grid(load_spec(s));
        set_platform(&fake_);
        g_feed_hooks.export_tick = [] { ++feed_ticks; };
        g_feed_hooks.reset_export_state = [] { ++feed_resets; };
    }

    testing::FakePlatform fake_;
    static inline int feed_ticks = 0;
    static inline int feed_resets = 0;
};

TEST(PathJoin, KeepsTheDirectoryOfEitherSeparator) {
    EXPECT_EQ(path_join_dir_file("data/tsunami_data.bin"), "data/coast_override.csv");
    EXPECT_EQ(path_join_dir_file("C:\\maps\\grid.bin"), "C:\\maps\\coast_override.csv");
    EXPECT_EQ(path_join_dir_file("a\\b/c.bin"), "a\\b/coast_override.csv");
    EXPECT_EQ(path_join_dir_file("grid.bin"), "coast_override.csv");
    EXPECT_EQ(path_join_dir_file(""), "coast_override.csv");
    const std::string long_dir(300, 'd');
    EXPECT_EQ(path_join_dir_file((long_dir + "/x.bin").c_str()),
              std::string(259, 'd') + "coast_override.csv");
}

TEST_F(DriverTest, TimerTickAdvancesStepsPerFrameOnlyWhileRunning) {
    install_small_grid();
    EXPECT_FALSE(driver_timer_tick());
    EXPECT_EQ(g_time_s, 0);
    EXPECT_EQ(feed_ticks, 1);  // the feed ticks even while paused

    g_running = 1;
    g_orvex_transmit_mode = 0;
    EXPECT_TRUE(driver_timer_tick());
    EXPECT_EQ(g_time_s, 60);
    EXPECT_EQ(feed_ticks, 1 + 1 + 4);  // one per tick plus one per step
    g_steps_per_frame = 0;
    EXPECT_TRUE(driver_timer_tick());
    EXPECT_EQ(g_time_s, 60);
    g_steps_per_frame = -3;
    driver_timer_tick();
    EXPECT_EQ(g_time_s, 60);
}

TEST_F(DriverTest, TransmitOnlyRepaintsEveryNinetiethRunningTick) {
    install_small_grid();
    g_running = 1;
    g_steps_per_frame = 1;
    int repaints = 0;
    for (int i = 0; i < 180; ++i) repaints += driver_timer_tick();
    EXPECT_EQ(repaints, 2);
    EXPECT_EQ(g_transmit_repaint_counter, 0);
}

TEST_F(DriverTest, TransmitOnlyLimitStopsAtSixtyHours) {
    install_small_grid();
    g_running = 1;
    g_time_s = 215985;
    advance_one_step();
    EXPECT_EQ(g_time_s, 216000);
    EXPECT_EQ(g_running, 0);
    EXPECT_STREQ(g_status,
                 "ORVEX transmit-only simulation limit reached: 60h. Model stopped; pending "
                 "observation reports keep using wall-clock 1x.");
    // Resuming at the limit stops again without moving time.
    g_running = 1;
    std::strcpy(g_status, "x");
    advance_one_step();
    EXPECT_EQ(g_time_s, 216000);
    EXPECT_EQ(g_running, 0);
    EXPECT_NE(std::strstr(g_status, "limit reached"), nullptr);
    // A time past the limit is pulled back; one that the next step would pass is set to it.
    g_time_s = 300000;
    advance_one_step();
    EXPECT_EQ(g_time_s, 216000);
    g_time_s = 215990;
    g_running = 1;
    advance_one_step();
    EXPECT_EQ(g_time_s, 216000);
    EXPECT_EQ(g_running, 0);

    g_orvex_transmit_mode = 0;
    g_running = 1;
    advance_one_step();
    EXPECT_EQ(g_time_s, 216015);
    EXPECT_EQ(g_running, 1);
}

TEST_F(DriverTest, FirstStepCapturesTheWallClockReference) {
    install_small_grid();
    fake_.now_ms = 5000;
    fake_.counter = 777;
    fake_.frequency = 0;  // an unusable counter
    advance_one_step();
    EXPECT_EQ(g_orvex_realtime_active, 1);
    EXPECT_EQ(g_orvex_realtime_start_ms, 5000u);
    EXPECT_EQ(g_orvex_realtime_qpc_valid, 0);
    fake_.now_ms = 9000;
    advance_one_step();
    EXPECT_EQ(g_orvex_realtime_start_ms, 5000u);  // only on the first step ever

    g_orvex_realtime_active = 0;
    fake_.frequency = 1000;
    advance_one_step();
    EXPECT_EQ(g_orvex_realtime_qpc_valid, 1);
    EXPECT_EQ(g_orvex_realtime_start_qpc, 777);
    EXPECT_EQ(g_orvex_realtime_qpc_freq, 1000);
}

TEST_F(DriverTest, RebuildMaskAndResetRestartsTheRunWithTheCurrentSources) {
    install_small_grid();
    source_list_append(&g_sources, 10, 10, 1.0f, 0);
    source_list_append(&g_sources, 12, 1, 1.0f, 0);  // on land
    source_list_append(&g_sources, -1, 5, 1.0f, 0);  // outside
    source_list_append(&g_sources, 11, 10, -1.0f, 0);
    g_sources[3].slip_m = 4.0f;
    g_running = 1;
    g_orvex_transmit_mode = 0;
    g_time_s = 600;
    set_land_override(&g_grid, 10, 10, 1);
    rebuild_land_mask_from_coast_stations(&g_grid);
    g_coast_guard_cells = 1;
    rebuild_mask_and_reset();
    EXPECT_EQ(g_time_s, 0);
    EXPECT_EQ(g_running, 1);
    EXPECT_EQ(feed_resets, 1);
    EXPECT_EQ(g_sources[3].slip_m, 0.0f);
    EXPECT_EQ(g_sim.source_height[10 * 24 + 10], 0.0f);  // now solid
    EXPECT_FLOAT_EQ(g_sim.source_height[10 * 24 + 11], -1.0f);
    EXPECT_STREQ(g_status, "Coast guard = 1 cell(s). Reset. 3 source point(s) are now blocked/ignored.");
}

// A tiny observation-point table behind the feed hooks.
struct FakePoint {
    int cell;
    int zone;
    const char* agency;
    int export_zone;
    int marked_station = 0;
};
std::vector<FakePoint> g_fake_points;

void install_fake_points() {
    g_feed_hooks.point_count = [] { return g_fake_points.size(); };
    g_feed_hooks.point_view = [](std::size_t i, ObservationPointView* v) {
        v->cell = g_fake_points[i].cell;
        v->zone_id = g_fake_points[i].zone;
        v->agency = g_fake_points[i].agency;
        return true;
    };
    g_feed_hooks.zone_id_for_export = [](std::size_t i) { return g_fake_points[i].export_zone; };
    g_feed_hooks.mark_virtual_station = [](std::size_t i, int no) {
        g_fake_points[i].marked_station = no;
    };
}

TEST_F(DriverTest, QualifyingObservationPointsBecomeVirtualStations) {
    install_small_grid();
    const int nx = 24;
    g_fake_points = {
        {8 * nx + 8, 19, "JMA", 0},               // zone 19 qualifies without VIRTUAL
        {8 * nx + 9, 0, "JMA-VIRTUAL", 22},       // zone from the export rule
        {1 * nx + 9, 5, "JMA-VIRTUAL", 5},        // solid cell: skipped
        {8 * nx + 10, 0, "JMA-VIRTUAL", 0},       // no zone at all: skipped
        {8 * nx + 11, 7, "JMA", 7},               // not virtual
        {-1, 19, "JMA-VIRTUAL", 19},              // no cell
        {9999, 19, "JMA", 19},                    // outside the grid
    };
    install_fake_points();
    const std::uint32_t before = g_grid.station_count;
    EXPECT_EQ(driver_add_virtual_stations(), 2);
    ASSERT_EQ(g_grid.station_count, before + 2);
    // Cell, sample cell, zone and flags of the first; zone of the second; the points' marks.
    EXPECT_EQ((std::vector<int>{g_grid.station_cell[before], g_grid.station_sample_cell[before],
                                g_grid.station_zone[before], g_grid.station_flags[before],
                                g_grid.station_zone[before + 1], g_fake_points[0].marked_station,
                                g_fake_points[1].marked_station, g_fake_points[2].marked_station}),
              (std::vector<int>{8 * nx + 8, 8 * nx + 8, 19, 2, 22, int(before) + 1,
                                int(before) + 2, 0}));
    EXPECT_STREQ(g_status,
                 "Added 2 virtual coastal observation station(s) from JMA gauges without "
                 "changing land mask.");
}

class StartupTest : public DriverTest {
protected:
    void SetUp() override {
        DriverTest::SetUp();
        auto s = make_ocean(20, 12, 100.0f);
        s.add_station(4, 4, 11);
        testing::write_file_bytes(data_.file("grid.bin"), testing::encode_grid_file(s));
    }
    static int start(const std::string& path) { return testing::start_program(path); }
    TempDir work_, data_, exe_;
    testing::ScopedChdir cwd_{work_.path()};  // no coast_override.csv here
};

TEST_F(StartupTest, MissingDataFileShowsTheMessageAndFails) {
    EXPECT_EQ(start(data_.file("nope.bin")), 1);
    ASSERT_EQ(fake_.boxes.size(), 1u);
    EXPECT_EQ(fake_.boxes[0].title, "Kaitoro");
    EXPECT_EQ(fake_.boxes[0].text,
              "Could not find tsunami_data.bin. Put it next to kaitoro.exe or pass it as the "
              "first command-line argument.");
    EXPECT_EQ(fake_.boxes[0].icon, MessageIcon::Error);
    EXPECT_EQ(g_grid.nx, 0u);
}

TEST_F(StartupTest, LoadsGridAndBuildsEverythingBeforeTheWindow) {
    ASSERT_EQ(start(data_.file("grid.bin")), 0);
    EXPECT_EQ(g_grid.nx, 20u);
    EXPECT_EQ(g_sim.station_max_m.size(), 1u);
    EXPECT_EQ(g_pixels.size(), 240u);
    EXPECT_EQ(g_base_pixels.size(), 240u);
    EXPECT_STREQ(g_status, "No coast_override.csv found. Generated mask only.");
    driver_shutdown();
    EXPECT_EQ(g_grid.nx, 0u);
    EXPECT_TRUE(g_pixels.empty());
}

TEST_F(StartupTest, OverrideSearchOrderWorkingDirThenDataDirThenExecutableDir) {
    write_text_file(exe_.file("coast_override.csv"), "grid_x,grid_y,mode\n1,1,land\n");
    fake_.exe_path = exe_.file("kaitoro");
    ASSERT_EQ(start(data_.file("grid.bin")), 0);
    EXPECT_EQ(g_grid.land_override[1 * 20 + 1], 1);
    EXPECT_EQ(g_grid.solid[1 * 20 + 1], 1);
    EXPECT_STREQ(g_status, "Default coast correction loaded. Use Settings for controls.");
    driver_shutdown();

    write_text_file(data_.file("coast_override.csv"), "2,2,land\n");
    ASSERT_EQ(start(data_.file("grid.bin")), 0);
    EXPECT_EQ(g_grid.land_override[1 * 20 + 1], -1);
    EXPECT_EQ(g_grid.land_override[2 * 20 + 2], 1);
    driver_shutdown();

    write_text_file(work_.file("coast_override.csv"), "3,3,land\n");
    ASSERT_EQ(start(data_.file("grid.bin")), 0);
    EXPECT_EQ(g_grid.land_override[2 * 20 + 2], -1);
    EXPECT_EQ(g_grid.land_override[3 * 20 + 3], 1);
}

TEST_F(StartupTest, StatusPrecedenceColourThenVirtualThenOverride) {
    g_fake_points = {{6 * 20 + 6, 19, "JMA", 19}};
    install_fake_points();
    ASSERT_EQ(start(data_.file("grid.bin")), 0);
    EXPECT_NE(std::strstr(g_status, "Added 1 virtual coastal"), nullptr);
    EXPECT_EQ(g_sim.station_max_m.size(), 2u);  // the simulation sees the virtual station
    driver_shutdown();

    g_auto_load_color_settings_hook = [] { return 1; };
    ASSERT_EQ(start(data_.file("grid.bin")), 0);
    EXPECT_STREQ(g_status, "Loaded saved color settings. Use Settings > Colors to edit or reset.");
}

}  // namespace
}  // namespace kaitoro
