// Brush speed. A dab runs on the interface thread between timer ticks, once per mouse move, so
// it must stay far below a frame: a default dab over a large existing source, the widest dab the
// settings allow, and a whole 50-segment stroke from press to release (undo snapshot and
// long-segment pass included).
//
//   source_design_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include <cmath>
#include <string>

#include "core/driver.h"
#include "core/geo.h"
#include "source_design/brush.h"
#include "source_design/source_cell.h"
#include "source_design/undo.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace {

using namespace kaitoro;

std::string bundled_grid_path() {
    std::string here = __FILE__;
    return here.substr(0, here.rfind("bench/")) + "data/tsunami_data.bin";
}

// The bundled grid when it is there, else its synthetic stand-in; the dabs go off Sanriku.
void install_full_grid(int* cx, int* cy) {
    const std::string path = bundled_grid_path();
    if (file_exists(path.c_str()))
        testing::install_grid(load_grid_data(path.c_str()));
    else
        testing::install_grid(testing::load_spec(testing::make_realistic_grid()));
    float fx, fy;
    grid_xy_from_latlon(38.3f, 143.2f, &fx, &fy);
    *cx = int(std::lround(fx));
    *cy = int(std::lround(fy));
}

// 10,000 nodes elsewhere on the map: a dab must not pay for them per cell.
void add_existing_nodes(int x0, int y0) {
    for (int i = 0; i < 10000; ++i)
        source_list_append(&g_sources, x0 + i % 100, y0 + i / 100, 0.2f, 15);
}

void BM_DefaultCurvedDabOver10kNodes(benchmark::State& state) {
    int cx, cy;
    install_full_grid(&cx, &cy);
    add_existing_nodes(cx - 250, cy - 50);
    int cells = 0;
    for (auto _ : state) {
        cells = paint_source_disc(cx, cy);
        benchmark::DoNotOptimize(cells);
    }
    state.counters["nodes"] = double(g_sources.count);
    testing::reset_all_globals();
}
BENCHMARK(BM_DefaultCurvedDabOver10kNodes)->Unit(benchmark::kMicrosecond);

void widest_settings(int mix_percent) {
    set_fault_width_km_value(800);
    g_fault_dip_deg = 5;
    g_strike_slip_mix = float(mix_percent) / 100.0f;
}

// On the bundled grid the widest dab reaches a projected radius of about 86 cells, and the
// grid's edges clip its scan square.
void BM_WidestCurvedDabOnGrid(benchmark::State& state) {
    int cx, cy;
    install_full_grid(&cx, &cy);
    widest_settings(int(state.range(0)));
    state.counters["radius"] = curved_dab_geometry(cy).r;
    for (auto _ : state) {
        source_list_clear(&g_sources);
        benchmark::DoNotOptimize(paint_source_disc(cx, cy));
    }
    testing::reset_all_globals();
}
BENCHMARK(BM_WidestCurvedDabOnGrid)->Arg(0)->Arg(50)->Unit(benchmark::kMillisecond);

// The worst case: radius 120 (far enough north) with the whole 1057 x 1057 square on the grid.
void BM_WidestCurvedDabRadius120(benchmark::State& state) {
    testing::reset_all_globals();
    g_grid = testing::load_spec(testing::make_ocean(1100, 1700, 4000.0f));
    widest_settings(int(state.range(0)));
    const CurvedDabGeometry geo = curved_dab_geometry(1100);
    state.counters["radius"] = geo.r;
    state.counters["ext"] = geo.ext;
    for (auto _ : state) {
        source_list_clear(&g_sources);
        benchmark::DoNotOptimize(paint_source_disc(550, 1100));
    }
    testing::reset_all_globals();
}
BENCHMARK(BM_WidestCurvedDabRadius120)->Arg(0)->Arg(50)->Unit(benchmark::kMillisecond);

// Press, 50 mouse moves of a few cells each, release.
void BM_Stroke50Segments(benchmark::State& state) {
    int cx, cy;
    install_full_grid(&cx, &cy);
    g_strike_slip_mix = float(state.range(0)) / 100.0f;
    std::size_t nodes = 0;
    for (auto _ : state) {
        state.PauseTiming();
        source_list_clear(&g_sources);
        source_undo_free();
        g_rupture_delay_cursor_s = 0;
        reset_simulation(&g_grid, &g_sim);
        state.ResumeTiming();
        brush_stroke_press(1, cx, cy, 0, 0);
        for (int i = 1; i <= 50; ++i) brush_stroke_move(1, cx + i, cy + 2 * i);
        brush_stroke_release();
        nodes = g_sources.count;
    }
    state.counters["nodes"] = double(nodes);
    testing::reset_all_globals();
}
BENCHMARK(BM_Stroke50Segments)->Arg(0)->Arg(100)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
