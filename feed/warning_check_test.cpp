#include "feed/warning_check.h"

#include "core/stations.h"
#include "feed/arrivals.h"
#include "tests/support/feed_fixture.h"

namespace kaitoro {
namespace {

using testing::FeedTest;
using testing::expect_fields;
using testing::Json;

// Two zones side by side: 11 in the west, 12 in the east, land along the south.
class WarningCheckTest : public FeedTest {
  protected:
    void SetUp() override {
        FeedTest::SetUp();
        auto g = testing::make_ocean(30, 20, 50.0f);
        testing::fill_rect(g, 0, 0, 29, 2, -5.0f);
        g.add_station(5, 3, 11);
        g.add_station(20, 3, 12);
        install(g);
        g_orvex_observation_points_loaded = 1;  // stations only
    }
    void set_forecast(int x, int y, float max_m, int arrival_s = 0) {
        const std::size_t b = g_sim.bordered_index(x, y);
        g_sim.max_height[b] = max_m;
        g_sim.arrival_s[b] = arrival_s;
    }
    void run_to_hour(int h) {
        g_time_s = h * 3600;
        orvex_run_due_warning_checks();
    }
    static const Json& zone(const Json& msg, int z) {
        return msg["zones"][std::size_t(z < 67 ? z - 1 : z - 2)];
    }
};

TEST(HeightSteps, StepsRanksAndTexts) {
    struct Case {
        float v;
        float step;
        int rank;
        const char* text;
    };
    for (const Case& c :
         {Case{0.0f, 0, 0, "0m"}, Case{0.0499f, 0, 0, "0m"}, Case{0.05f, 0.05f, 1, "0.05m"},
          Case{0.0501f, 0.2f, 1, "0.2m"}, Case{0.2f, 0.2f, 1, "0.2m"}, Case{0.21f, 1, 2, "1m"},
          Case{1.0f, 1, 2, "1m"}, Case{3.0f, 3, 3, "3m"}, Case{4.0f, 5, 4, "5m"},
          Case{10.0f, 10, 5, "10m"}, Case{10.01f, 11, 6, "10m+"}}) {
        const HeightStep s = orvex_height_step(c.v);
        EXPECT_EQ(s.step, c.step) << c.v;
        EXPECT_EQ(s.rank, c.rank) << c.v;
        EXPECT_STREQ(s.text, c.text) << c.v;
    }
    for (const auto& [arrival, rounded] : {std::pair{0, 0}, {1, 300}, {300, 300}, {301, 600}})
        EXPECT_EQ(orvex_arrival_5min(arrival), rounded) << arrival;
}

TEST_F(WarningCheckTest, NothingAboveFiveCentimetresWritesNoCheck) {
    for (int y = 3; y < 20; ++y)
        for (int x = 0; x < 30; ++x) set_forecast(x, y, 0.05f, 600);
    g_sim.station_max_m[0] = 3.0f;  // observations alone never trigger a check
    run_to_hour(36);
    EXPECT_EQ(g_orvex_next_warning_check_h, 39);
    EXPECT_TRUE(outbox_raw_lines().empty());
    EXPECT_EQ(g_orvex_wave_zone_map_cells, g_grid.cell_count());
    run_to_hour(60);
    EXPECT_EQ(g_orvex_next_warning_check_h, 39);
}

TEST_F(WarningCheckTest, HiddenCellsGiveTheirZoneNoForecast) {
    const std::size_t c = std::size_t(10) * g_grid.nx + 20;
    g_grid.hidden[c] = 1;
    set_forecast(20, 10, 2.0f, 600);
    run_to_hour(6);
    EXPECT_TRUE(outbox_raw_lines().empty());
    g_grid.hidden[c] = 0;
    run_to_hour(9);
    ASSERT_EQ(outbox().size(), 1u);
    EXPECT_EQ(zone(outbox()[0], 12)["forecast_height_step"], "3m");
}

TEST_F(WarningCheckTest, UpgradesOnlyAcrossChecks) {
    set_forecast(5, 10, 0.3f);
    run_to_hour(6);  // zone 11 becomes active at rank 2
    set_forecast(5, 10, 0.8f);
    run_to_hour(9);  // same rank, no arrival: silent
    set_forecast(5, 10, 1.5f);
    run_to_hour(12);  // rank 3
    set_forecast(5, 10, 0.5f);
    run_to_hour(15);  // lower: never sent
    set_forecast(5, 10, 2.0f, 1234);
    run_to_hour(18);  // same rank, first arrival time: sent
    run_to_hour(21);  // nothing new
    set_forecast(20, 10, 0.1f);
    run_to_hour(24);  // zone 12 newly active

    const auto msgs = outbox();
    ASSERT_EQ(msgs.size(), 4u);
    std::vector<int> hours;
    for (const Json& m : msgs) hours.push_back(m["completed_h"]);
    EXPECT_EQ(hours, (std::vector<int>{6, 12, 18, 24}));
    EXPECT_EQ(zone(msgs[0], 11)["forecast_height_rank"], 2);
    expect_fields(
        zone(msgs[1], 11),
        R"({"forecast_height_step":"3m","upgrade_decision":"upgrade_or_keep_to_height"})");
    expect_fields(zone(msgs[2], 11), R"({"forecast_first_arrival_5min_s":1500,
                                         "forecast_first_arrival_time":"1日 00:25"})");
    EXPECT_EQ(zone(msgs[3], 11)["update_changed"], false);
    // A 0.2 m step is no upgrade.
    expect_fields(zone(msgs[3], 12), R"({"update_changed":true,"forecast_height_step":"0.2m",
                                         "upgrade_decision":"none"})");
    EXPECT_EQ(g_orvex_last_sent_forecast_rank[11], 3);
    EXPECT_EQ(g_orvex_last_sent_forecast_arrival_5min_s[11], 1500);
}

TEST_F(WarningCheckTest, ZoneMapGrowsBreadthFirstAndTiesGoToTheFirstSeed) {
    auto g = testing::make_ocean(20, 5, 50.0f);
    g.add_station(6, 2, 12);  // queued first
    g.add_station(2, 2, 11);
    install(g);
    g_orvex_observation_points_loaded = 1;
    add_point(14, 2, "P");
    map_points();
    ObservationPoint& p = g_orvex_observation_points[0];
    p.zone_id = 13;
    p.cell = 2 * 20 + 10;  // its own cell, four steps from the zone-12 station
    orvex_build_wave_zone_map();
    auto at = [](int x, int y) { return g_orvex_wave_zone_map[std::size_t(y * 20 + x)]; };
    // Cell 4 is two steps from both stations: the first-queued one wins; cell 8 ties between
    // the zone-12 station and the later point seed.
    std::vector<int> row2;
    for (int x = 0; x < 20; ++x) row2.push_back(at(x, 2));
    EXPECT_EQ(row2, (std::vector<int>{11, 11, 11, 11, 12, 12, 12, 12, 12, 13,
                                      13, 13, 13, 13, 13, 13, 13, 13, 13, 13}));
    EXPECT_EQ(at(19, 4), 13);
    EXPECT_EQ(at(0, 0), 11);

    // In two dimensions distance counts edge-neighbour steps, and every tie goes to the seed
    // queued first, whatever order a cell visits its neighbours in.
    auto d = testing::make_ocean(7, 6, 50.0f);
    d.add_station(1, 1, 11);
    d.add_station(4, 3, 12);
    install(d);
    g_orvex_observation_points_loaded = 1;
    orvex_build_wave_zone_map();
    std::string rows;
    for (int y = 0; y < 6; ++y) {
        for (int x = 0; x < 7; ++x)
            rows += char('a' + g_orvex_wave_zone_map[std::size_t(y * 7 + x)] - 11);
        rows += '|';
    }
    EXPECT_EQ(rows, "aaaabbb|aaaabbb|aaabbbb|aabbbbb|aabbbbb|aabbbbb|");

    // Land cells get zones too, but only sea cells feed the forecast unless the display is
    // inverted.
    auto h = testing::make_ocean(20, 5, 50.0f);
    testing::fill_rect(h, 0, 0, 19, 0, -5.0f);
    h.add_station(6, 1, 12);
    install(h);
    g_orvex_observation_points_loaded = 1;
    g_sim.max_height[g_sim.bordered_index(6, 0)] = 2.0f;
    g_sim.max_height[g_sim.bordered_index(6, 3)] = 0.3f;
    run_to_hour(6);
    static int inverted = 1;
    g_orvex_landsea_inversion_hook = [] { return inverted; };
    run_to_hour(9);
    const auto msgs = outbox();
    ASSERT_EQ(msgs.size(), 2u);
    EXPECT_DOUBLE_EQ(zone(msgs[0], 12)["forecast_raw_max_m"].get<double>(), 0.3);
    EXPECT_DOUBLE_EQ(zone(msgs[1], 12)["forecast_raw_max_m"].get<double>(), 2.0);
}

TEST_F(WarningCheckTest, ALostMessageKeepsTheLastSentStateForTheNextCheck) {
    g_orvex_outbox_path_buf[0] = '\0';
    fake.exe_path = "/nonexistent-kaitoro-dir/kaitoro";
    set_forecast(5, 10, 0.3f);
    run_to_hour(6);
    EXPECT_EQ(g_orvex_next_warning_check_h, 9);
    EXPECT_EQ(g_orvex_last_sent_forecast_active[11], 0);
    ASSERT_EQ(orvex_set_outbox_directory(dir.path().c_str()), 1);
    run_to_hour(9);
    const auto msgs = outbox();
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_EQ(msgs[0]["completed_h"], 9);
    EXPECT_EQ(g_orvex_last_sent_forecast_active[11], 1);
}

}  // namespace
}  // namespace kaitoro
