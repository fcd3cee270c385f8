// The feed on the bundled grid: a large Sanriku source, the built-in gauges, the real stations
// and zones. The first hour must bring arrival reports from the nearest gauges, and a warning
// check on that wave field must list upgraded zones.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "core/driver.h"
#include "core/geo.h"
#include "core/sources.h"
#include "feed/arrivals.h"
#include "feed/observation_points.h"
#include "feed/warning_check.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

using Json = nlohmann::ordered_json;

constexpr char kGridPath[] = KAITORO_SOURCE_DIR "/data/tsunami_data.bin";

class FeedRealGridTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!file_exists(kGridPath)) GTEST_SKIP() << "bundled grid not present";
        testing::reset_all_globals();
        fake_.exe_path = dir_.file("kaitoro");
        set_platform(&fake_);
        char buf[4096];
        ASSERT_NE(getcwd(buf, sizeof buf), nullptr);
        old_cwd_ = buf;
        ASSERT_EQ(chdir(dir_.path().c_str()), 0);  // no points file here: the built-in gauges
    }
    void TearDown() override {
        if (old_cwd_.empty()) return;
        EXPECT_EQ(chdir(old_cwd_.c_str()), 0);
        driver_shutdown();
        testing::reset_all_globals();
    }
    testing::FakePlatform fake_;
    testing::TempDir dir_;
    std::string old_cwd_;
};

TEST_F(FeedRealGridTest, SanrikuSourceReachesTheGaugesAndRaisesWarnings) {
    std::string arg0 = "kaitoro", grid = kGridPath;
    char* argv[] = {arg0.data(), grid.data()};
    ASSERT_EQ(driver_startup(2, argv), 0);
    ASSERT_EQ(g_orvex_observation_point_count, 36);
    // The nine Izu island gauges sample sea cells of their own as virtual stations.
    for (int i = 16; i <= 24; ++i) {
        const ObservationPoint& p = g_orvex_observation_points[std::size_t(i)];
        EXPECT_EQ(p.virtual_coast_cell, 1) << p.code;
        EXPECT_GT(p.mapped_station_no, 0) << p.code;
        EXPECT_EQ(g_grid.station_flags[std::size_t(p.mapped_station_no - 1)], 2) << p.code;
    }

    // A 4 m uplift ellipse off Sanriku, 25 by 61 cells, long axis north-south.
    float cx = 0, cy = 0;
    grid_xy_from_latlon(38.3f, 143.2f, &cx, &cy);
    for (int dy = -30; dy <= 30; ++dy)
        for (int dx = -12; dx <= 12; ++dx) {
            const float r2 = float(dx * dx) / 144.0f + float(dy * dy) / 900.0f;
            const int x = int(std::lround(cx)) + dx, y = int(std::lround(cy)) + dy;
            if (r2 <= 1.0f && g_grid.in_grid(x, y) && !g_grid.solid[std::size_t(y) * g_grid.nx + x])
                source_list_append(&g_sources, x, y, 4.0f * (1.0f - r2), 0);
        }
    driver_reset_run();
    g_orvex_calc_start_delay_s = kOrvexMaxStartDelaySeconds;
    g_orvex_transmit_mode = 0;
    for (int k = 0; k < 240; ++k) advance_one_step();  // one model hour

    std::set<std::string> reported;
    const std::string text = testing::read_file_text(dir_.file("orvex_ws_outbox.jsonl"));
    std::size_t start = 0, packets = 0;
    while (start < text.size()) {
        const std::size_t nl = text.find('\n', start);
        ASSERT_NE(nl, std::string::npos);
        const Json m = Json::parse(text.substr(start, nl - start));
        start = nl + 1;
        ++packets;
        ASSERT_EQ(m["kind"], "observation_arrival");
        for (const Json& o : m["observations"]) reported.insert(o["obs_id"].get<std::string>());
    }
    EXPECT_GT(packets, 5u);
    for (const char* code : {"MIYAKO", "KAMAISHI", "OFUNATO", "AYUKAWA", "ONAHAMA", "CHOSHI"})
        EXPECT_TRUE(reported.count(code)) << code;
    EXPECT_FALSE(reported.count("ISHIGAKI"));  // far too far for one hour

    const std::size_t before = text.size();
    orvex_export_snapshot(6, 6 * 3600);
    const std::string check =
        testing::read_file_text(dir_.file("orvex_ws_outbox.jsonl")).substr(before);
    ASSERT_FALSE(check.empty());
    const Json c = Json::parse(check);
    EXPECT_EQ(c["kind"], "warning_check");
    EXPECT_EQ(c["zones"].size(), 92u);
    const Json& iwate = c["zones"][9];
    EXPECT_EQ(iwate["zone"], 10);
    EXPECT_EQ(iwate["update_changed"], true);
    EXPECT_GE(iwate["forecast_height_rank"].get<int>(), 3);
    EXPECT_GT(c["changed_zone_count"].get<int>(), 3);
}

}  // namespace
}  // namespace kaitoro
