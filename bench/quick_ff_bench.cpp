// Time to place a large finite fault (the bundled 2011 Tohoku-like grid: 54 patches of
// 50 x 50 km, about 6500 source cells) on a full-size grid, including the undo snapshot and the
// restart of the run; and time to load its CSV. Placement happens on a click, so it should stay
// well below the 100 ms a user notices.
//
//   quick_ff_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include <string>

#include "core/driver.h"
#include "quick_ff/ff_csv.h"
#include "quick_ff/placement.h"
#include "source_design/source_cell.h"
#include "source_design/undo.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace {

using namespace kaitoro;

// The example sits in the source tree, found from this file's own (absolute) path.
std::string example_path() {
    std::string here = __FILE__;
    here = here.substr(0, here.rfind("bench/"));
    return here + "data/examples/tohoku2011_like_ff.csv";
}
const std::string kFile = example_path();

void BM_PlaceTohokuLikeFault(benchmark::State& state) {
    testing::install_grid(testing::load_spec(testing::make_realistic_grid()));
    QuickFfLoadResult r;
    if (!quick_ff_load_csv_file(kFile.c_str(), &r) || r.cells == 0) {
        state.SkipWithError("cannot load the example finite fault");
        return;
    }
    g_fault_strike_deg = 193;
    g_source_depth_km = 24;
    int placed = 0;
    for (auto _ : state) {
        state.PauseTiming();
        source_list_clear(&g_sources);
        source_undo_free();
        state.ResumeTiming();
        placed = quick_ff_apply_at(562, 323);
        benchmark::DoNotOptimize(placed);
    }
    state.counters["cells"] = placed;
    testing::reset_all_globals();
}
BENCHMARK(BM_PlaceTohokuLikeFault)->Unit(benchmark::kMillisecond);

void BM_LoadFiniteFaultCsv(benchmark::State& state) {
    const std::string text = testing::read_file_text(kFile);
    for (auto _ : state) {
        const QuickFfLoadResult r = quick_ff_load_csv_text(text);
        benchmark::DoNotOptimize(r);
    }
    testing::reset_all_globals();
}
BENCHMARK(BM_LoadFiniteFaultCsv)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
