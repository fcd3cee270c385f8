// Rendering costs on the full 851 x 539 grid: one frame (base copy + wave overlay at opacity 1,
// every sea cell coloured), a base-map rebuild, the max-wave PNG with contours, and the
// finite-fault slip map of a 7 x 10 patch grid placed on the map.
//
//   render_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include <cmath>

#include "core/driver.h"
#include "quick_ff/ff_grid.h"
#include "quick_ff/placement.h"
#include "render/max_wave.h"
#include "render/scene.h"
#include "render/slip_map.h"
#include "source_design/source_cell.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace {

using namespace kaitoro;

// The realistic stand-in grid with a wave everywhere: a ripple in the live and maximum fields
// and arrival times that grow with distance, so contour lines cross the whole sea.
void setup() {
    testing::install_grid(testing::load_spec(testing::make_realistic_grid()));
    const int nx = int(g_grid.nx), ny = int(g_grid.ny);
    for (int y = 0; y < ny; ++y)
        for (int x = 0; x < nx; ++x) {
            const std::size_t b = g_sim.bordered_index(x, y);
            const double r = std::hypot(x - 600.0, y - 300.0);
            g_sim.height[b] = float(0.8 * std::sin(r / 7.0));
            g_sim.max_height[b] = float(6.0 / (1.0 + r / 40.0));
            g_sim.arrival_s[b] = int(r * 25.0);
        }
    g_pixels.assign(g_grid.cell_count(), 0);
    g_base_pixels.assign(g_grid.cell_count(), 0);
    g_orvex_transmit_mode = 0;
    g_wave_overlay_alpha = 1.0f;
}

void BM_Frame(benchmark::State& state) {
    setup();
    g_wave_layer_mode = int(state.range(0));
    scene_update_base_map();
    for (auto _ : state) {
        scene_update_frame();
        benchmark::DoNotOptimize(g_pixels.data());
    }
    testing::reset_all_globals();
}
BENCHMARK(BM_Frame)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

void BM_BaseMapRebuild(benchmark::State& state) {
    setup();
    for (auto _ : state) {
        g_base_cache_valid = 0;
        scene_update_base_map();
        benchmark::DoNotOptimize(g_base_pixels.data());
    }
    testing::reset_all_globals();
}
BENCHMARK(BM_BaseMapRebuild)->Unit(benchmark::kMillisecond);

void BM_MaxWavePng(benchmark::State& state) {
    setup();
    g_wave_layer_mode = 2;
    testing::TempDir dir;
    const std::string path = dir.file("max.png");
    for (auto _ : state) benchmark::DoNotOptimize(write_max_wave_png(path.c_str()));
    testing::reset_all_globals();
}
BENCHMARK(BM_MaxWavePng)->Unit(benchmark::kMillisecond);

void BM_SlipMapPng(benchmark::State& state) {
    setup();
    // A 7 x 10 grid of 50 x 50 km patches, slip largest near the middle of the shallow rows.
    quick_ff_init_empty_grid(7, 10, 0);
    for (int r = 0; r < 7; ++r)
        for (int c = 0; c < 10; ++c) {
            QuickFfCell* cell = quick_ff_cell_at(r, c);
            cell->enabled = 1;
            cell->slip_m = float(30.0 / (1.0 + std::abs(c - 4) + r));
            cell->delay_s = 25 * (std::abs(c - 4) + std::abs(r - 2));
            cell->dip_deg = 14;
        }
    g_fault_stamp_length_km = 50;
    g_fault_width_km = 50;
    g_fault_strike_deg = 193;
    const int placed = quick_ff_apply_at(600, 300);
    testing::TempDir dir;
    const std::string path = dir.file("slip.png");
    for (auto _ : state) benchmark::DoNotOptimize(write_finite_fault_usgs_png(path.c_str()));
    state.counters["source_cells"] = placed;
    testing::reset_all_globals();
}
BENCHMARK(BM_SlipMapPng)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
