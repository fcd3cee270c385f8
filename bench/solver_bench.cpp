// Steps per second of the wave step on a full-size grid (851 x 539, solver 1011 x 699), on 1 and
// 2 threads. The program needs 4 steps per 16 ms frame, i.e. 250/s, and aims for 400/s with two
// cores.
//
// BM_TohokuStep is the real workload: the bundled grid stepped from states of the Tohoku-like
// run at 0.5, 2, 6 and 30 model hours (the quiet sea ahead of the wave shrinks as it spreads).
// "adaptive" 1 is the program's own choice between one thread and both; 0 holds both threads.
// For the busy-core figures run it beside a competing process, e.g. `yes > /dev/null &`.
//
//   solver_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "core/driver.h"
#include "core/solver.h"
#include "core/stations.h"
#include "core/time_series.h"
#include "tests/support/synthetic_grid.h"
#include "tests/support/tohoku_run.h"

#ifdef _OPENMP
#include <omp.h>
#endif

// Every allocation through operator new in this program is counted, so the benchmark can
// report how many the timed steps made (the step is meant to make none).
namespace {
std::atomic<long> g_allocations{0};
}

// GCC pairs the replaced operator new with the free below and warns; the pair is ours and
// matches.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t n) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(n ? n : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

namespace {

using namespace kaitoro;

const GridData& bench_grid() {
    static const GridData grid = testing::load_spec(testing::make_realistic_grid(851, 539, 1));
    return grid;
}

// A source patch in the open sea east of the arc, applied over the first two minutes.
void add_source(const GridData& grid, Simulation& sim) {
    for (int y = 250; y < 290; ++y)
        for (int x = 600; x < 640; ++x) {
            const std::size_t c = std::size_t(y) * grid.nx + x;
            if (grid.solid[c]) continue;
            sim.source_height[c] = 2.0f;
            sim.source_delay_s[c] = 0;
        }
}

void BM_SimulateOneStep(benchmark::State& state) {
#ifdef _OPENMP
    const int saved = omp_get_max_threads();
    omp_set_num_threads(int(state.range(0)));
#else
    if (state.range(0) != 1) {
        state.SkipWithError("built without OpenMP");
        return;
    }
#endif
    const GridData& grid = bench_grid();
    Simulation sim = create_simulation(&grid);
    add_source(grid, sim);
    // Let the wave spread first, so the field is not mostly zeros.
    int t = 0;
    for (int s = 0; s < 200; ++s) simulate_one_step(&grid, &sim, t += kModelStepSeconds);

    const long allocations_before = g_allocations.load();
    for (auto _ : state) {
        simulate_one_step(&grid, &sim, t += kModelStepSeconds);
        benchmark::DoNotOptimize(sim.eta.data());
        benchmark::ClobberMemory();
    }
    state.counters["allocations"] = double(g_allocations.load() - allocations_before);
    state.counters["steps_per_s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["cells_per_s"] = benchmark::Counter(
        double(state.iterations()) * double(sim.solver_cells), benchmark::Counter::kIsRate);
    state.SetLabel(std::to_string(sim.snx) + "x" + std::to_string(sim.sny) + " solver cells");
#ifdef _OPENMP
    omp_set_num_threads(saved);
#endif
}
BENCHMARK(BM_SimulateOneStep)
    ->Arg(1)
    ->Arg(2)
    ->ArgName("threads")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

// Snapshots of the Tohoku-like run at the given model hours, made once by running it.
const Simulation& tohoku_state(int half_hours) {
    static std::vector<std::pair<int, Simulation>> states;
    for (const auto& s : states)
        if (s.first == half_hours) return s.second;
    if (states.empty() && !testing::start_tohoku_like_run()) std::abort();
    static int t = 0;
    while (t < half_hours * 1800) {
        t += kModelStepSeconds;
        simulate_one_step(&g_grid, &g_sim, t);
    }
    states.emplace_back(half_hours, g_sim);
    return states.back().second;
}

void BM_TohokuStep(benchmark::State& state) {
    const int half_hours = int(state.range(0));
    const int threads = int(state.range(1));
    const int saved_adaptive = g_solver_adaptive_threads;
    g_solver_adaptive_threads = int(state.range(2));
#ifdef _OPENMP
    const int saved = omp_get_max_threads();
    omp_set_num_threads(threads);
#endif
    // Made in order of model time, whatever order the benchmarks run in.
    for (int h : {1, 4, 12, 60})
        if (h <= half_hours) tohoku_state(h);
    Simulation sim = tohoku_state(half_hours);
    int t = half_hours * 1800;
    for (auto _ : state) {
        simulate_one_step(&g_grid, &sim, t += kModelStepSeconds);
        benchmark::DoNotOptimize(sim.eta.data());
        benchmark::ClobberMemory();
    }
    state.counters["steps_per_s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    state.SetLabel(std::to_string(half_hours / 2) + (half_hours % 2 ? ".5" : "") + " h, " +
                   std::to_string(threads) + " thread(s)");
    g_solver_adaptive_threads = saved_adaptive;
#ifdef _OPENMP
    omp_set_num_threads(saved);
#endif
}
BENCHMARK(BM_TohokuStep)
    ->ArgsProduct({{1, 4, 12, 60}, {1, 2}, {1}})
    ->Args({12, 2, 0})
    ->ArgNames({"half_hours", "threads", "adaptive"})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

// The desktop's timer tick while running: four steps, each followed by the station statistics
// and the time-series recorder, from the 6 h state. It has 16 ms.
void BM_DesktopTick(benchmark::State& state) {
#ifdef _OPENMP
    const int saved = omp_get_max_threads();
    omp_set_num_threads(int(state.range(0)));
#endif
    for (int h : {1, 4, 12}) tohoku_state(h);
    g_sim = tohoku_state(12);
    g_time_s = 12 * 1800;
    for (auto _ : state) {
        for (int k = 0; k < 4; ++k) {
            g_time_s += kModelStepSeconds;
            simulate_one_step(&g_grid, &g_sim, g_time_s);
            update_station_stats(&g_grid, &g_sim, g_time_s);
            time_series_record_current();
        }
        benchmark::ClobberMemory();
    }
#ifdef _OPENMP
    omp_set_num_threads(saved);
#endif
}
BENCHMARK(BM_DesktopTick)
    ->Arg(1)
    ->Arg(2)
    ->ArgName("threads")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

// Every whole-source edit resets the simulation, which rebuilds the plan; the user waits on it.
void BM_ResetSimulation(benchmark::State& state) {
    const GridData& grid = bench_grid();
    Simulation sim = create_simulation(&grid);
    for (auto _ : state) {
        reset_simulation(&grid, &sim);
        benchmark::DoNotOptimize(sim.plan.coef_e.data());
    }
}
BENCHMARK(BM_ResetSimulation)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
