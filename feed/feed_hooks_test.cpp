// The feed as the driver runs it: start-up loads and maps the points before it turns the
// virtual ones into stations, every tick and step feeds the outbox, every reset empties it.
#include "feed/feed_hooks.h"

#include <cstdio>
#include <optional>

#include "core/sources.h"
#include "feed/arrivals.h"
#include "tests/support/feed_fixture.h"

namespace kaitoro {
namespace {

using testing::FeedTest;

class FeedDriverTest : public FeedTest {
  protected:
    void SetUp() override {
        FeedTest::SetUp();
        cwd_.emplace(dir.path());
        // Columns from 118 on lie east of 120°E, inside the box the points file accepts.
        auto g = testing::make_ocean(170, 40, 400.0f);
        testing::fill_rect(g, 0, 0, 169, 4, -10.0f);
        g.add_station(140, 5, 12);
        g.add_station(150, 5, 12);
        testing::write_file_bytes(dir.file("grid.bin"), testing::encode_grid_file(g));
    }
    void TearDown() override {
        cwd_.reset();
        FeedTest::TearDown();
    }
    static std::string csv_point(const char* code, const char* agency, int x, int y) {
        float lat = 0, lon = 0;
        latlon_from_grid_xy(float(x), float(y), &lat, &lon);
        char line[160];
        std::snprintf(line, sizeof line, "%s,%s name,%s,%.5f,%.5f\n", code, code, agency, lat, lon);
        return line;
    }
    int start() { return testing::start_program(dir.file("grid.bin")); }
    std::optional<testing::ScopedChdir> cwd_;
};

TEST_F(FeedDriverTest, StartupMapsThePointsThenAddsVirtualStationsAndTicksFeedTheOutbox) {
    testing::write_text_file(
        dir.file("orvex_observation_points.csv"),
        csv_point("GAUGE", "JMA", 141, 9) + csv_point("ISLE", "JMA-VIRTUAL", 120, 20));
    testing::write_text_file(outbox_path(), "stale\n");
    ASSERT_EQ(start(), 0);
    ASSERT_EQ(g_orvex_observation_point_count, 2);
    ASSERT_EQ(g_grid.station_count, 3u);  // the virtual point became station 3
    EXPECT_EQ(g_orvex_observation_points[1].mapped_station_no, 3);

    for (int dy = -3; dy <= 3; ++dy)
        for (int dx = -3; dx <= 3; ++dx) source_list_append(&g_sources, 125 + dx, 20 + dy, 2.0f, 0);
    driver_reset_run();
    EXPECT_EQ(testing::read_file_text(outbox_path()), "");  // the reset emptied it
    g_orvex_calc_start_delay_s = kOrvexMaxStartDelaySeconds;
    g_running = 1;
    g_orvex_transmit_mode = 0;
    for (int tick = 0; tick < 50; ++tick) {
        driver_timer_tick();
        fake.advance_ms(16);
    }
    EXPECT_EQ(g_time_s, 50 * 4 * 15);
    const auto packets = outbox();
    ASSERT_FALSE(packets.empty());
    EXPECT_EQ(packets[0]["kind"], "observation_arrival");

    rebuild_mask_and_reset();
    EXPECT_EQ(testing::read_file_text(outbox_path()), "");
    EXPECT_EQ(g_orvex_observation_event_count, 0);
    EXPECT_EQ(g_orvex_observation_point_count, 2);  // the points stay loaded
    driver_shutdown();
}

TEST_F(FeedDriverTest, AStandInFeedInstalledFirstIsKept) {
    static int ticks = 0;
    g_feed_hooks.export_tick = [] { ++ticks; };
    ASSERT_EQ(start(), 0);
    EXPECT_EQ(g_feed_hooks.reset_export_state, nullptr);
    EXPECT_EQ(g_orvex_observation_points_loaded, 0);
    driver_timer_tick();
    EXPECT_EQ(ticks, 1);
    driver_shutdown();
}

}  // namespace
}  // namespace kaitoro
