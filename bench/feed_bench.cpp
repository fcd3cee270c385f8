// Cost of the report feed inside the model loop, on a full-size grid with the 36 built-in
// gauges: the per-step heartbeat (tracking, duplicate walk, release scan of a long queue) and
// one 3-hourly warning check (zone map by breadth-first growth over every cell, forecast
// maxima, a full 92-zone message). The heartbeat runs after every 15 s step, so it must stay
// far below the step itself.
//
//   feed_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include "core/driver.h"
#include "feed/arrivals.h"
#include "feed/observation_points.h"
#include "feed/warning_check.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace {

using namespace kaitoro;

void setup(testing::FakePlatform* fake, testing::TempDir* dir) {
    testing::install_grid(testing::load_spec(testing::make_realistic_grid()));
    fake->exe_path = dir->file("kaitoro");
    set_platform(fake);
    orvex_load_observation_points();
    // Every sea cell high enough to count, so every gauge reports every five minutes.
    for (float& e : g_sim.eta) e = 0.5f;
    for (float& m : g_sim.max_height) m = 1.5f;
    for (auto& a : g_sim.arrival_s) a = 600;
    g_orvex_calc_start_delay_s = kOrvexMaxStartDelaySeconds;
}

// One heartbeat per 15 s step, with a queue that grows to thousands of events over the run.
void BM_FeedHeartbeatPerStep(benchmark::State& state) {
    testing::FakePlatform fake;
    testing::TempDir dir;
    setup(&fake, &dir);
    int t = 0;
    for (auto _ : state) {
        t += kModelStepSeconds;
        if (t > 30 * 3600) {  // a fresh run before the queue fills
            state.PauseTiming();
            orvex_reset_export_state();
            t = kModelStepSeconds;
            state.ResumeTiming();
        }
        g_time_s = t;
        g_orvex_next_warning_check_h = 99;  // checks are measured on their own
        orvex_export_tick();
    }
    state.counters["queued"] = g_orvex_observation_event_count;
    set_platform(nullptr);
    testing::reset_all_globals();
}
BENCHMARK(BM_FeedHeartbeatPerStep)->Unit(benchmark::kMicrosecond);

void BM_WarningCheck(benchmark::State& state) {
    testing::FakePlatform fake;
    testing::TempDir dir;
    setup(&fake, &dir);
    g_time_s = 6 * 3600;
    for (auto _ : state) {
        orvex_warning_check_reset();  // so every check writes its message
        orvex_export_snapshot(6, 6 * 3600);
    }
    set_platform(nullptr);
    testing::reset_all_globals();
}
BENCHMARK(BM_WarningCheck)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
