#include "core/time_series.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "core/driver.h"
#include "core/stations.h"
#include "core/status.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

// Out-of-memory is provoked by failing the next allocation of at least this many bytes; zero
// leaves every allocation alone. The replacement is program-wide but inert unless armed.
namespace {
std::atomic<std::size_t> g_fail_next_alloc_at_least{0};
}

void* operator new(std::size_t n) {
    const std::size_t limit = g_fail_next_alloc_at_least.load(std::memory_order_relaxed);
    if (limit != 0 && n >= limit) {
        g_fail_next_alloc_at_least.store(0, std::memory_order_relaxed);
        throw std::bad_alloc();
    }
    if (void* p = std::malloc(n ? n : 1)) return p;
    throw std::bad_alloc();
}
// Kept out of line so the compiler never pairs a new-expression with this free().
[[gnu::noinline]] void operator delete(void* p) noexcept {
    std::free(p);
}
[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

namespace kaitoro {
namespace {

namespace fs = std::filesystem;

class ArmAllocationFailure {
  public:
    explicit ArmAllocationFailure(std::size_t bytes) { g_fail_next_alloc_at_least = bytes; }
    ~ArmAllocationFailure() { g_fail_next_alloc_at_least = 0; }
};

// Ten stations #1..#10 on an all-sea grid of depth 1 m (shoreline factor exactly 1), in
// zone 11, at (2 + 3k, 4).
class TimeSeriesTest : public ::testing::Test {
  protected:
    void SetUp() override {
        testing::GridSpec g = testing::make_ocean(32, 12, 1.0f);
        for (int k = 0; k < 10; ++k) g.add_station(2 + 3 * k, 4, 11);
        testing::install_grid(testing::load_spec(g));
    }
    void TearDown() override { testing::reset_all_globals(); }

    void set_level(int i, float v) {
        const int cell = g_grid.station_sample_cell[i];
        g_sim.eta[g_sim.solver_index_of_cell(cell % int(g_grid.nx), cell / int(g_grid.nx))] = v;
    }
    // One model step as the driver takes it, without the solver.
    void step_to(int t_s) {
        g_time_s = t_s;
        update_station_stats(&g_grid, &g_sim, t_s);
        time_series_record_current();
    }
    const TimeSeriesRecorder& rec(std::size_t k) { return g_ts_recorders[k]; }
};

TEST_F(TimeSeriesTest, ReplaceAndAddModesPickAndReport) {
    g_time_s = 45;
    time_series_add_station(2, 1);
    ASSERT_EQ(g_ts_rec_count, 1u);
    EXPECT_EQ(g_ts_station_i, 2);
    EXPECT_EQ(rec(0).count, 1u) << "a pick records its first sample at once";
    EXPECT_EQ(rec(0).samples[0].time_s, 45);
    EXPECT_STREQ(g_status,
                 "Time-series station selected: #3, station_id 11, 宮城県. Recording "
                 "starts at t=45 s.");

    time_series_add_station(5, 0);
    ASSERT_EQ(g_ts_rec_count, 2u);
    EXPECT_EQ(g_ts_station_i, 5);
    EXPECT_STREQ(
        g_status,
        "Added time-series station: #6, station_id 11, 宮城県. Multi selected: 2 station(s).");

    time_series_add_station(2, 0);
    EXPECT_EQ(g_ts_station_i, 2);
    EXPECT_STREQ(g_status, "Station #3 is already selected. Multi selected: 2 station(s).");

    // Unusable stations are ignored without a word.
    g_grid.station_flags[8] = 0;
    std::strcpy(g_status, "unchanged");
    for (int bad : {8, 10, -1}) {
        time_series_add_station(bad, 0);
        time_series_add_station(bad, 1);
    }
    EXPECT_EQ(g_ts_rec_count, 2u);
    EXPECT_STREQ(g_status, "unchanged");

    time_series_add_station(7, 1);
    ASSERT_EQ(g_ts_rec_count, 1u);
    EXPECT_EQ(rec(0).station_index, 7);

    time_series_free();
    EXPECT_TRUE(g_ts_rec_count == 0 && g_ts_rec_capacity == 0 && g_ts_recorders.empty());
    EXPECT_EQ(g_ts_station_i, -1);
}

TEST_F(TimeSeriesTest, DisabledStationKeepsItsRecorderButRecordsNothing) {
    time_series_add_station(2, 1);
    time_series_add_station(3, 0);
    g_grid.station_flags[2] = 0;
    step_to(15);
    step_to(30);
    EXPECT_EQ(rec(0).count, 1u);
    EXPECT_EQ(rec(1).count, 3u);

    g_grid.station_flags[2] = 1;
    step_to(45);
    EXPECT_EQ(rec(0).count, 2u);
    EXPECT_EQ(rec(0).samples[1].time_s, 45);
}

TEST_F(TimeSeriesTest, ResetEmptiesRecordingsButKeepsStationsAndStorage) {
    time_series_add_station(2, 1);
    time_series_add_station(4, 0);
    step_to(15);
    step_to(30);
    time_series_reset_recordings();
    ASSERT_EQ(g_ts_rec_count, 2u);
    EXPECT_EQ(rec(1).count, 0u);
    EXPECT_EQ(rec(1).capacity, 4096u);
    // A reset at model time 0 starts again there; an earlier recording at 0 must not be
    // mistaken for "the same time".
    step_to(0);
    EXPECT_EQ(rec(0).count, 1u);
    EXPECT_EQ(rec(1).station_index, 4);
}

TEST_F(TimeSeriesTest, FailedRecorderGrowthLeavesTheSetUnchanged) {
    for (int i = 0; i < 8; ++i) time_series_add_station(i, 0);
    ASSERT_EQ(g_ts_rec_capacity, 8u);
    {
        ArmAllocationFailure arm(16 * sizeof(TimeSeriesRecorder));
        time_series_add_station(8, 0);
    }
    EXPECT_STREQ(g_status, "Could not allocate another time-series station recorder.");
    EXPECT_EQ(g_ts_rec_count, 8u);
    EXPECT_EQ(g_ts_rec_capacity, 8u);
    EXPECT_EQ(g_ts_station_i, 7);
    for (std::size_t k = 0; k < 8; ++k) EXPECT_EQ(rec(k).station_index, int(k));
    time_series_add_station(8, 0);
    EXPECT_EQ(g_ts_rec_count, 9u);
}

TEST_F(TimeSeriesTest, FailedSampleGrowthDropsOnlyThatSample) {
    time_series_add_station(2, 1);
    int t = 0;
    while (rec(0).count < 4096) step_to(t += 15);
    {
        ArmAllocationFailure arm(8192 * sizeof(TimeSeriesSample));
        step_to(t += 15);
    }
    EXPECT_STREQ(g_status,
                 "Time-series recorder ran out of memory. Recording stopped for station #3.");
    EXPECT_EQ(rec(0).count, 4096u);
    EXPECT_EQ(rec(0).capacity, 4096u);

    step_to(t += 15);
    EXPECT_EQ(rec(0).count, 4097u);
    EXPECT_EQ(rec(0).samples[4096].time_s, t);
    EXPECT_EQ(rec(0).samples[4095].time_s, t - 30);
}

TEST_F(TimeSeriesTest, NothingToWriteOrNowhereToWriteItFails) {
    time_series_add_station(2, 1);
    testing::TempDir dir;
    TimeSeriesRecorder empty;
    empty.station_index = 2;
    TimeSeriesRecorder unpicked = rec(0);
    unpicked.station_index = -1;
    EXPECT_EQ(write_time_series_csv_for_recorder(dir.file("b.csv").c_str(), &empty), 0);
    EXPECT_EQ(write_time_series_svg_for_recorder(dir.file("c.svg").c_str(), &unpicked), 0);
    EXPECT_EQ(write_time_series_csv_for_recorder(dir.file("no/such/dir.csv").c_str(), &rec(0)), 0);
    EXPECT_FALSE(fs::exists(dir.file("b.csv")));
}

TEST_F(TimeSeriesTest, SvgOfOneSampleSpansOneMinute) {
    g_time_s = 300;
    set_level(2, 0.2f);
    time_series_add_station(2, 1);
    testing::TempDir dir;
    const std::string path = dir.file("one.svg");
    ASSERT_EQ(write_time_series_svg_for_recorder(path.c_str(), &rec(0)), 1);
    const std::string svg = testing::read_file_text(path);

    // Range -0.05 .. 0.25 m (peak 0, level 0.2, minimum margin); time 5 .. 6 min.
    for (const char* piece : {
             "<polyline class=\"level\" points=\"92,130 \"/>",
             "<polyline class=\"peak\" points=\"92,415 \"/>",
             "x=\"946\" y=\"508\" text-anchor=\"middle\">6.0</text>",
         })
        EXPECT_NE(svg.find(piece), std::string::npos) << piece;
}

TEST(TimeSeriesPaths, PerStationNamesComeFromTheFileNamePart) {
    EXPECT_EQ(make_station_timeseries_path("run.csv", 12, "_graph", ".svg"),
              "run_station_0012_graph.svg");
    EXPECT_EQ(make_station_timeseries_path("run", 7, "", ".csv"), "run_station_0007.csv");
    EXPECT_EQ(make_station_timeseries_path("/data/v1.2/run", 7, "_graph", ".svg"),
              "/data/v1.2/run_station_0007_graph.svg");
    EXPECT_EQ(make_station_timeseries_path("C:\\v1.2\\a.b.csv", 12345, "", ".csv"),
              "C:\\v1.2\\a.b_station_12345.csv");
}

class TimeSeriesSaveTest : public TimeSeriesTest {
  protected:
    void SetUp() override {
        TimeSeriesTest::SetUp();
        fake_.emplace();  // after the global reset, which restores the headless platform
    }
    void TearDown() override {
        fake_.reset();
        TimeSeriesTest::TearDown();
    }
    testing::FakePlatform& fake() { return fake_->fake; }
    std::optional<testing::ScopedFakePlatform> fake_;
    testing::TempDir dir_;
};

TEST_F(TimeSeriesSaveTest, NothingPickedWarns) {
    save_time_series_dialog(nullptr);
    EXPECT_EQ(fake().beeps, std::vector<BeepKind>{BeepKind::Warning});
    EXPECT_TRUE(fake().save_requests.empty());
}

TEST_F(TimeSeriesSaveTest, OneStationWritesCsvAndGraph) {
    time_series_add_station(2, 1);
    time_series_reset_recordings();  // nothing recorded yet: the command records first
    fake().save_answers.push_back(dir_.file("run"));
    save_time_series_dialog(nullptr);

    ASSERT_EQ(fake().save_requests.size(), 1u);
    EXPECT_EQ(fake().save_requests[0].default_name, "station_0003_timeseries.csv");
    EXPECT_TRUE(fs::exists(dir_.file("run")));
    EXPECT_EQ(std::string(g_status),
              "Saved time series CSV and SVG graph: " + dir_.file("run_graph.svg"));
    EXPECT_TRUE(fake().beeps.empty());
    EXPECT_EQ(fake().repaints, 1);
    EXPECT_EQ(rec(0).count, 1u);

    // A dot in a directory name is not an extension.
    fs::create_directory(dir_.file("v1.2"));
    fake().save_answers.push_back(dir_.file("v1.2/run2.csv"));
    save_time_series_dialog(nullptr);
    EXPECT_TRUE(fs::exists(dir_.file("v1.2/run2.csv")));
    EXPECT_TRUE(fs::exists(dir_.file("v1.2/run2_graph.svg")));

    // Cancel: nothing more happens.
    save_time_series_dialog(nullptr);
    EXPECT_EQ(fake().repaints, 2);
}

TEST_F(TimeSeriesSaveTest, OneStationFailuresAreReported) {
    time_series_add_station(2, 1);
    fs::create_directory(dir_.file("blocked_graph.svg"));  // the graph cannot be created
    fake().save_answers.push_back(dir_.file("blocked.csv"));
    save_time_series_dialog(nullptr);
    EXPECT_STREQ(g_status, "Saved time series CSV, but SVG graph failed.");
    EXPECT_TRUE(fs::exists(dir_.file("blocked.csv")));
    EXPECT_TRUE(fake().beeps.empty());

    fake().save_answers.push_back(dir_.file("missing/run.csv"));
    save_time_series_dialog(nullptr);
    EXPECT_STREQ(g_status, "Failed to save selected station time series.");
    EXPECT_EQ(fake().beeps, std::vector<BeepKind>{BeepKind::Error});
    EXPECT_EQ(fake().repaints, 2);
}

TEST_F(TimeSeriesSaveTest, SeveralStationsWriteOnePairEach) {
    time_series_add_station(2, 1);
    time_series_add_station(9, 0);
    const std::string base = dir_.file("set.csv");
    fake().save_answers.push_back(base);
    save_time_series_dialog(nullptr);

    ASSERT_EQ(fake().save_requests.size(), 1u);
    EXPECT_EQ(fake().save_requests[0].default_name, "selected_stations_timeseries.csv");
    for (const char* name : {"set_station_0003.csv", "set_station_0003_graph.svg",
                             "set_station_0010.csv", "set_station_0010_graph.svg"})
        EXPECT_TRUE(fs::exists(dir_.file(name))) << name;
    EXPECT_FALSE(fs::exists(base));
    EXPECT_EQ(std::string(g_status),
              "Saved 2 station time-series CSV+SVG pairs using base name: " + base);
    EXPECT_TRUE(fake().beeps.empty());

    fs::create_directory(dir_.file("again_station_0010_graph.svg"));
    fake().save_answers.push_back(dir_.file("again.csv"));
    save_time_series_dialog(nullptr);
    EXPECT_STREQ(g_status, "Saved 1 station time-series pair(s), failed 1.");
    EXPECT_EQ(fake().beeps, std::vector<BeepKind>{BeepKind::Warning});
    EXPECT_EQ(fake().repaints, 2);
}

}  // namespace
}  // namespace kaitoro
