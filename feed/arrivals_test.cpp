#include "feed/arrivals.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "core/safe_file.h"

#include "core/status.h"
#include "feed/warning_check.h"
#include "tests/support/feed_fixture.h"

namespace kaitoro {
namespace {

using testing::FeedTest;
using testing::expect_fields;
using testing::Json;

class ArrivalTest : public FeedTest {
  protected:
    void SetUp() override {
        FeedTest::SetUp();
        // At 16 m the shoreline factor is exactly 2, so levels survive the round trip.
        auto g = testing::make_ocean(40, 30, 16.0f);
        testing::fill_rect(g, 0, 0, 39, 2, -10.0f);
        install(g);
        ASSERT_EQ(station_shoreline_equiv_factor(visible_effective_depth_m(&g_grid, 10 * 40 + 10)),
                  2.0f);
    }
};

// A rise of exactly 5 cm counts; drawdowns and what follows are pinned by the golden outboxes.
TEST_F(ArrivalTest, ARiseOfFiveCentimetresSetsTheArrival) {
    const int p = add_point(10, 10);
    map_points();
    set_level(p, 0.049f);
    step_to(600);
    EXPECT_EQ(g_orvex_observation_arrival_s[0], 0);
    set_level(p, 0.05f);
    step_to(615);
    EXPECT_EQ(g_orvex_observation_arrival_s[0], 615);
}

TEST_F(ArrivalTest, QueueRefusesBadReportsAndDuplicates) {
    add_point(10, 10);
    map_points();
    EXPECT_EQ(orvex_queue_observation_report(1, 300, 300, 0.5f, 0.5f, 1), 0);  // no such point
    EXPECT_EQ(orvex_queue_observation_report(-1, 300, 300, 0.5f, 0.5f, 1), 0);
    EXPECT_EQ(orvex_queue_observation_report(0, 0, 300, 0.5f, 0.5f, 1), 0);  // no bucket
    EXPECT_EQ(g_orvex_realtime_active, 0);
    EXPECT_EQ(orvex_queue_observation_report(0, 300, 300, 0.049f, 0.04f, 1), 0);  // too small
    EXPECT_EQ(g_orvex_realtime_active, 1);  // the first acceptable attempt starts the clock
    EXPECT_EQ(orvex_queue_observation_report(0, 300, 300, 0.049f, 0.05f, 1), 1);
    EXPECT_EQ(orvex_queue_observation_report(0, 300, 300, 0.049f, 0.05f, 1), 0);  // duplicate
    EXPECT_EQ(orvex_queue_observation_report(0, 300, 300, 0.049f, 0.05f, 2), 1);  // other kind
    EXPECT_EQ(orvex_queue_observation_report(0, 300, 300, 0.12f, 0.05f, 2), 1);   // other level
    EXPECT_EQ(orvex_queue_observation_report(0, 600, 300, 0.12f, 0.05f, 2), 1);
    // The walk stops at the first event of the point with another report time, so an old
    // identical report does not count as a duplicate.
    EXPECT_EQ(orvex_queue_observation_report(0, 300, 300, 0.049f, 0.05f, 1), 1);
    EXPECT_EQ(g_orvex_observation_event_count, 5);

    // Two ticks at the same model time queue nothing twice.
    set_level(0, 0.4f);
    step_to(1200);
    step_to(1200);
    EXPECT_EQ(g_orvex_observation_event_count, 6);
}

TEST(Decimetres, RoundHalfUpWithAFloorOfOneAndTheLevelsSign) {
    const std::pair<float, int> cases[] = {{0.0f, 0},    {0.049f, 0},  {-0.049f, 0}, {0.05f, 1},
                                           {0.14f, 1},   {0.15f, 2},   {0.26f, 3},   {-0.34f, -3},
                                           {-0.05f, -1}, {12.34f, 123}};
    for (const auto& [level, dm] : cases) EXPECT_EQ(orvex_decimetres(level), dm) << level;
}

// Writes half the packet, then fails: what a full disk or a kill between writes leaves.
ssize_t half_then_fail(int fd, const void* data, std::size_t size) {
    EXPECT_EQ(::write(fd, data, size / 2), ssize_t(size / 2));
    return -1;
}

TEST_F(ArrivalTest, APacketIsAppendedWholeOrCutBackToTheLastLine) {
    g_orvex_calc_start_delay_s = kOrvexMaxStartDelaySeconds;
    ASSERT_EQ(orvex_set_outbox_directory(dir.path().c_str()), 1);
    const int p = add_point(10, 10);
    map_points();
    ASSERT_TRUE(orvex_append_outbox_line("{\"kept\":1}\n"));
    ASSERT_TRUE(testing::write_text_file(outbox_path(),
                                         testing::read_file_text(outbox_path()) + "{\"frag"));
    set_level(p, 0.5f);
    g_orvex_outbox_write_hook = half_then_fail;
    step_to(300);
    g_orvex_outbox_write_hook = nullptr;
    EXPECT_EQ(testing::read_file_text(outbox_path()), "{\"kept\":1}\n");
    EXPECT_EQ(g_orvex_observation_event_queue[0].sent, 0);
    EXPECT_EQ(write_failures(), std::vector<std::string>{outbox_path()});

    step_to(315);
    const auto raw = outbox_raw_lines();
    ASSERT_EQ(raw.size(), 2u);
    EXPECT_EQ(Json::parse(raw[1])["observations"][0]["report_bucket_s"], 300);
    clear_write_failures();
}

TEST_F(ArrivalTest, AFullQueueIsAnnounced) {
    add_point(10, 10);
    map_points();
    for (int k = 0; k < kOrvexEventCapacity; ++k)
        ASSERT_EQ(orvex_queue_observation_report(0, 300 + k, 300, 0.5f, 0.5f, 2), 1);
    EXPECT_EQ(g_orvex_event_queue_full, 0);
    EXPECT_EQ(orvex_queue_observation_report(0, 999999, 300, 0.5f, 0.5f, 2), 0);
    EXPECT_STREQ(g_status, "ORVEX report queue full (16384 reports): later reports are not sent.");
    g_orvex_calc_start_delay_s = 400;
    orvex_export_observation_arrivals();
    EXPECT_STREQ(g_status,
                 "Sent ORVEX observation_arrival: 101 observation(s), sync 400s, model 0.00h. "
                 "ORVEX report queue full (16384 reports): later reports are not sent.");
}

TEST_F(ArrivalTest, AnUnopenableOutboxKeepsEventsDueForALaterTick) {
    g_orvex_outbox_path_buf[0] = '\0';
    fake.exe_path = "/nonexistent-kaitoro-dir/kaitoro";
    g_orvex_calc_start_delay_s = kOrvexMaxStartDelaySeconds;
    const int p = add_point(10, 10);
    map_points();
    for (int t = 15; t <= 1200; t += 15) {
        if (t == 300) set_level(p, 0.5f);
        step_to(t);
    }
    EXPECT_STREQ(orvex_outbox_path(), "/nonexistent-kaitoro-dir/orvex_ws_outbox.jsonl");
    EXPECT_EQ(g_orvex_observation_event_count, 4);
    for (int k = 0; k < 4; ++k) EXPECT_EQ(g_orvex_observation_event_queue[std::size_t(k)].sent, 0);
    EXPECT_STREQ(g_status, kDefaultStatus);

    ASSERT_EQ(orvex_set_outbox_directory(dir.path().c_str()), 1);
    orvex_export_tick();
    const auto packets = outbox();
    ASSERT_EQ(packets.size(), 1u);
    EXPECT_EQ(packets[0]["observation_count"], 4);
}

TEST_F(ArrivalTest, ResetEmptiesTheOutboxAndClearsTheRunButKeepsDelayAndPoints) {
    testing::write_text_file(outbox_path(), "left over from another run\n");
    orvex_reset_export_state();  // nothing was ever written in this run
    struct stat st {};
    ASSERT_EQ(stat(outbox_path().c_str(), &st), 0);
    EXPECT_EQ(st.st_size, 0);

    g_orvex_calc_start_delay_s = 120;
    const int p = add_point(10, 10);
    map_points();
    set_level(p, 0.5f);
    for (int t = 15; t <= 6 * 3600; t += 15) step_to(t);
    EXPECT_GT(g_orvex_observation_event_count, 0);
    EXPECT_EQ(g_orvex_next_warning_check_h, 9);

    orvex_reset_export_state();
    EXPECT_EQ(stat(outbox_path().c_str(), &st), 0);
    // Size, queue, arrival, peak, last peak, first report, clock, next check, zone map; then
    // what a reset keeps: the start delay and the points.
    EXPECT_EQ((std::vector<double>{double(st.st_size), double(g_orvex_observation_event_count),
                                   double(g_orvex_observation_arrival_s[0]),
                                   g_orvex_observation_peak_m[0],
                                   double(g_orvex_observation_last_queued_peak_dm[0]),
                                   double(g_orvex_observation_first_queued[0]),
                                   double(g_orvex_realtime_active + g_orvex_realtime_start_ms),
                                   double(g_orvex_next_warning_check_h),
                                   double(g_orvex_wave_zone_map.size()),
                                   double(g_orvex_calc_start_delay_s),
                                   double(g_orvex_observation_point_count)}),
              (std::vector<double>{0, 0, 0, 0, 0, 0, 0, 6, 0, 120, 1}));
}

TEST_F(ArrivalTest, OutboxSitsBesideTheExecutableAndIsComputedOnce) {
    for (const auto& [exe, outbox] :
         {std::pair{"/opt/kaitoro/bin/kaitoro", "/opt/kaitoro/bin/orvex_ws_outbox.jsonl"},
          {"C:\\Tools\\kaitoro.exe", "C:\\Tools\\orvex_ws_outbox.jsonl"},
          {"a\\b/kaitoro", "a\\b/orvex_ws_outbox.jsonl"},
          {"kaitoro", "orvex_ws_outbox.jsonl"},
          {"", "orvex_ws_outbox.jsonl"}}) {
        g_orvex_outbox_path_buf[0] = '\0';
        fake.exe_path = exe;
        EXPECT_STREQ(orvex_outbox_path(), outbox) << exe;
    }
    g_orvex_outbox_path_buf[0] = '\0';
    fake.exe_path = "/" + std::string(259, 'x');
    EXPECT_STREQ(orvex_outbox_path(), "orvex_ws_outbox.jsonl");
    fake.exe_path = "/elsewhere/kaitoro";
    EXPECT_STREQ(orvex_outbox_path(), "orvex_ws_outbox.jsonl");  // kept once computed
    EXPECT_EQ(orvex_set_outbox_directory(std::string(300, 'd').c_str()), 0);
    EXPECT_STREQ(orvex_outbox_path(), "orvex_ws_outbox.jsonl");
}

TEST_F(ArrivalTest, ReleaseClockUsesTheCounterOrFallsBackToTicks) {
    EXPECT_EQ(orvex_realtime_elapsed_s(), 0);  // not running
    fake.counter = 5'000'000;
    orvex_realtime_start_if_needed();
    EXPECT_EQ(g_orvex_realtime_qpc_valid, 1);
    fake.advance_ms(2999);
    EXPECT_EQ(orvex_realtime_elapsed_s(), 2);
    fake.counter = 0;  // a counter that went backwards counts as no time
    EXPECT_EQ(orvex_realtime_elapsed_s(), 0);

    orvex_reset_export_state();
    fake.counter_ok = false;
    orvex_realtime_start_if_needed();
    EXPECT_EQ(g_orvex_realtime_qpc_valid, 0);
    fake.advance_ms(61'500);
    EXPECT_EQ(orvex_realtime_elapsed_s(), 61);
    g_orvex_calc_start_delay_s = kOrvexMaxStartDelaySeconds;
    EXPECT_EQ(orvex_sync_time_s(), 604861);
    fake.now_ms += 4'000'000'000'000ull;  // capped, never wraps
    EXPECT_EQ(orvex_realtime_elapsed_s(), 2147483000);
    EXPECT_EQ(orvex_sync_time_s(), 2147483000);
}

}  // namespace
}  // namespace kaitoro
