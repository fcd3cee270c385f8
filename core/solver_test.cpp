#include "core/solver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>

#include "core/masks.h"
#include "core/sources.h"
#include "tests/support/reference_step.h"
#include "tests/support/synthetic_grid.h"

#ifdef _OPENMP
#include <omp.h>
#endif

namespace kaitoro {
namespace {

using testing::fill_rect;
using testing::GridSpec;
using testing::load_spec;
using testing::make_ocean;
using testing::reference_simulate_one_step;

// Settings are globals; every test starts from and leaves the start-up values.
class SolverTest : public ::testing::Test {
  protected:
    void SetUp() override { restore_settings(); }
    void TearDown() override { restore_settings(); }
    static void restore_settings() {
        set_coastal_reflection_absorption(1, 0.55f);
        g_source_ramp_seconds = 120;
        g_solver_adaptive_threads = 1;
        g_true_wave_speed = 0;
    }
};

// Bitwise comparison, so that -0 against +0 or a different NaN counts as a difference.
template <class T>
::testing::AssertionResult same_bits(const char* what, const std::vector<T>& a,
                                     const std::vector<T>& b) {
    if (a.size() != b.size())
        return ::testing::AssertionFailure()
               << what << ": sizes " << a.size() << " vs " << b.size();
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::memcmp(&a[i], &b[i], sizeof(T)) != 0)
            return ::testing::AssertionFailure()
                   << what << "[" << i << "]: " << a[i] << " vs " << b[i];
    return ::testing::AssertionSuccess();
}

::testing::AssertionResult same_state(const Simulation& a, const Simulation& b) {
    for (auto r : {same_bits("eta", a.eta, b.eta), same_bits("eta_prev", a.eta_prev, b.eta_prev),
                   same_bits("rate", a.rate, b.rate), same_bits("height", current_height(a), current_height(b)),
                   same_bits("max_height", a.max_height, b.max_height),
                   same_bits("arrival_s", a.arrival_s, b.arrival_s),
                   same_bits("source_applied", a.source_applied, b.source_applied)})
        if (!r) return r;
    return ::testing::AssertionSuccess();
}

// A small basin with everything that makes the neighbour rules interesting: a wavy west coast,
// a land wall with a one-cell north-south channel, another with a one-cell east-west channel,
// land blocks meeting only at their corners, scattered rocks, a lake, depths beyond both
// clamps, forced water and forced land, and a hidden strip along the east edge.
GridData make_feature_grid(std::uint32_t seed) {
    std::mt19937 rng(seed);
    auto uni = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    const int nx = 44, ny = 36;
    GridSpec g = make_ocean(nx, ny, 1000.0f);
    for (int y = 0; y < ny; ++y)
        for (int x = 0; x < nx; ++x)
            g.at(x, y) = float(20 + uni(0, 5000)) * (1.0f + 0.4f * std::sin(0.3f * float(x + y)));
    g.at(uni(5, 40), uni(1, 8)) = 9000.0f;  // deeper than the clamp
    g.at(uni(5, 40), uni(1, 8)) = 0.4f;     // shallower than the clamp

    for (int y = 0; y < ny; ++y) fill_rect(g, 0, y, 2 + (y / 5 + int(seed)) % 3, y, -30.0f);

    const int wall_y = 18, gap_x = uni(10, 28);
    fill_rect(g, 8, wall_y, 30, wall_y + 2, -10.0f);
    fill_rect(g, gap_x, wall_y, gap_x, wall_y + 2, 40.0f);

    const int gap_y = uni(4, 12);
    fill_rect(g, 34, 2, 35, 15, -10.0f);
    fill_rect(g, 34, gap_y, 35, gap_y, 25.0f);

    fill_rect(g, 15, 4, 18, 7, -5.0f);  // touches the next block only at a corner
    fill_rect(g, 19, 8, 22, 11, -5.0f);
    fill_rect(g, 23, 12, 24, 13, -5.0f);  // and a third touching its other corner
    for (int k = 0; k < 14; ++k) {
        const int x = uni(4, 40), y = uni(1, ny - 2);
        fill_rect(g, x, y, x + uni(0, 1), y + uni(0, 1), -1.0f);
    }
    fill_rect(g, 10, 26, 16, 31, -20.0f);  // lake: a land ring with water inside
    fill_rect(g, 12, 28, 14, 29, 15.0f);

    g.add_station(3 + (wall_y / 5 + int(seed)) % 3, wall_y, 5);  // coastal, enabled
    g.add_station(7, wall_y + 1, 6);
    g.add_station(nx - 1, 22 + uni(0, 4), kZoneOutside);   // disabled: starts the hidden strip
    if (seed % 2) g.add_station(nx - 2, 5, kZoneOutside);  // disabled too; strip from row 3
    g.at(nx - 1, 30) = -3.0f;                              // land inside the hidden strip
    fill_rect(g, nx - 2, 31, nx - 2, 32, -3.0f);           // land beside the hidden strip

    GridData grid = load_spec(g);
    set_land_override(&grid, 13, 28, 0);             // forced water: a pool walled in
    set_land_override(&grid, 16, 29, 0);             // forced water in the lake's ring
    set_land_override(&grid, gap_x + 1, wall_y, 0);  // widen the channel by hand
    set_land_override(&grid, uni(4, 40), uni(1, 10), 1);
    set_land_override(&grid, nx - 1, 33, 1);  // forced land on a hidden cell
    rebuild_land_mask_from_coast_stations(&grid);
    rebuild_solid_mask(&grid);
    return grid;
}

// Picks a sea cell of the grid (not solid, not hidden).
int random_sea_cell(const GridData& grid, std::mt19937& rng) {
    std::uniform_int_distribution<int> pick(0, int(grid.cell_count()) - 1);
    for (;;) {
        const int c = pick(rng);
        if (!grid.solid[c] && !grid.hidden[c]) return c;
    }
}

// Runs the optimised and the reference step side by side, with the things a user does during
// a run happening in between: absorption toggled and retuned, ramp changed, a source delayed
// after it was applied, a new source painted ahead of time, a cell pushed to the wall height
// (exactly the threshold counts), which then loses its records. Two more cells become walls
// by themselves: one lifted by a 60 m source at once (the ramp is 0 then), one carried over the
// threshold by its rate.
void run_against_reference(const GridData& grid, std::uint32_t seed, int steps,
                           std::vector<int> extra_sources = {}) {
    std::mt19937 rng(seed * 7919u + 1);
    Simulation fast = create_simulation(&grid);
    // A rough sea everywhere, margin and domain border included, so every cell has work to do
    // from the first step.
    std::uniform_real_distribution<float> swell(-0.5f, 0.5f);
    for (std::size_t i = 0; i < fast.eta.size(); ++i) {
        if (fast.eta[i] == kWallEta) continue;
        fast.eta[i] = swell(rng);
        fast.rate[i] = 0.1f * swell(rng);
    }
    const int nx = int(grid.nx);
    const int lifted = random_sea_cell(grid, rng);
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
            const std::size_t i = fast.solver_index_of_cell(lifted % nx + dx, lifted / nx + dy);
            if (fast.eta[i] != kWallEta) fast.eta[i] = 49.9f;
        }
    fast.rate[fast.solver_index_of_cell(lifted % nx, lifted / nx)] = 1.0f;
    Simulation ref = fast;

    std::vector<int> sources = std::move(extra_sources);
    for (int k = 0; k < 7; ++k) sources.push_back(random_sea_cell(grid, rng));
    const int delays[] = {0, 15, 45, 300, -60, 30, 258};
    for (std::size_t k = 0; k < sources.size(); ++k) {
        const float h = k == 6 ? 60.0f : (k % 2 ? -1.0f : 1.0f) * (0.5f + float(k) * 0.4f);
        for (Simulation* s : {&fast, &ref}) {
            s->source_height[sources[k]] = h;
            s->source_delay_s[sources[k]] = delays[k % 7];
        }
    }
    const int late_cell = random_sea_cell(grid, rng);
    g_source_ramp_seconds = seed % 2 ? 60 : 120;
    set_coastal_reflection_absorption(seed % 3 != 0, 0.55f);

    for (int step = 1; step <= steps; ++step) {
        const int t = step * kModelStepSeconds;
        if (step == 12) set_coastal_reflection_absorption(!g_coast_reflection_absorb_enabled, 0.8f);
        if (step == 18) g_source_ramp_seconds = 0;  // counts as one second
        if (step == 20) g_source_ramp_seconds = 90;
        for (Simulation* s : {&fast, &ref}) {
            if (step == 15) s->source_delay_s[sources[0]] = t + 40;  // taken back, then again
            if (step == 16) {
                s->source_height[late_cell] = 2.5f;
                s->source_delay_s[late_cell] = t + 30;
                solver_sources_changed(s);
            }
            if (step == 22) {
                const int c = sources[2];
                s->eta[s->solver_index_of_cell(c % nx, c / nx)] = 50.0f;  // becomes a wall
                solver_forget_quiet_cells(s);
            }
        }
        simulate_one_step(&grid, &fast, t);
        reference_simulate_one_step(&grid, &ref, t);
        ASSERT_TRUE(same_state(fast, ref)) << "seed " << seed << " step " << step;
    }
    if (steps >= 22) {
        const int c = sources[2];
        EXPECT_EQ(fast.eta[fast.solver_index_of_cell(c % nx, c / nx)], kWallEta);
    }
}

// Both builds of the row loops: the one for this processor and the portable one.
TEST_F(SolverTest, OptimisedStepMatchesReferenceBitForBitOnFeatureGrids) {
    for (bool portable : {false, true}) {
        solver_force_portable_kernels(portable);
        for (std::uint32_t seed : {1u, 2u, 3u, 4u, 5u, 6u}) {
            const GridData grid = make_feature_grid(seed);
            run_against_reference(grid, seed, 45);
            if (HasFatalFailure()) break;
        }
        solver_force_portable_kernels(false);
        if (HasFatalFailure()) return;
    }
}

// Large enough to contain the held-down cell (332, 225), with a source beside it.
TEST_F(SolverTest, OptimisedStepMatchesReferenceAroundTheDampedCell) {
    const GridData grid = load_spec(testing::make_realistic_grid(340, 232, 3));
    std::vector<int> near_damped;
    for (int dy = -3; dy <= 3; ++dy)
        for (int dx = -3; dx <= 3; dx += 2) {
            const int c = (225 + dy) * 340 + 332 + dx;
            if (!grid.solid[c]) near_damped.push_back(c);
        }
    ASSERT_FALSE(near_damped.empty());
    run_against_reference(grid, 11, 12, {near_damped.front()});
}

// From still water the step skips the quiet sea; what it skips must be what the literal step
// would have left unchanged. Each case starts one source in the south-west and then does what
// can wake a quiet region: the wave itself spreading into it, a brush stroke far ahead of the
// wave, a reset in the middle of the run.
TEST_F(SolverTest, SkippingQuietCellsMatchesTheLiteralStep) {
    struct Case {
        const char* name;
        int stroke_step;  // 0: none
        int reset_step;   // 0: none
    };
    const Case cases[] = {{"wave spreading into still water", 0, 0},
                          {"brush stroke ahead of the wave", 9, 0},
                          {"reset during the run", 0, 14}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const GridData grid = make_feature_grid(4);
        Simulation fast = create_simulation(&grid);
        const int nx = int(grid.nx), ny = int(grid.ny);
        auto place_first = [&](Simulation* s) {
            add_source_grid(&grid, s, 6, 3, 1.2f, 0);
            add_source_grid(&grid, s, 7, 3, -0.7f, 15);
        };
        place_first(&fast);
        Simulation ref = fast;
        int quiet_rows = 0;
        for (int step = 1; step <= 70; ++step) {
            const int t = step * kModelStepSeconds;
            if (step == c.stroke_step) {
                const int sy = int(fast.pad) + ny - 3;
                const auto& live = fast.activity.live_last;
                ASSERT_GE(live[2 * sy], live[2 * sy + 1]) << "the stroke's row is not quiet";
                for (Simulation* s : {&fast, &ref})
                    add_source_grid(&grid, s, nx - 6, ny - 3, 2.0f, t);
            }
            if (step == c.reset_step)
                for (Simulation* s : {&fast, &ref}) {
                    reset_simulation(&grid, s);
                    place_first(s);
                }
            simulate_one_step(&grid, &fast, t);
            reference_simulate_one_step(&grid, &ref, t);
            ASSERT_TRUE(same_state(fast, ref)) << "step " << step;
            const auto& live = fast.activity.live_last;
            for (std::size_t r = 0; r < live.size(); r += 2) quiet_rows += live[r] >= live[r + 1];
        }
        EXPECT_GT(quiet_rows, 0);  // something was skipped
    }
}

// The held-down cell rounds a faint negative height to -0, which the next step turns into +0:
// -0 is not quiet.
TEST_F(SolverTest, NegativeZeroIsNotQuiet) {
    const GridData grid = load_spec(testing::make_realistic_grid(340, 232, 3));
    ASSERT_FALSE(grid.solid[225 * 340 + 332]);
    Simulation fast = create_simulation(&grid);
    // Faint enough to come out as -0 a few steps in, after the first steps that cover everything.
    fast.eta[fast.solver_index_of_cell(332, 225)] = -1e-43f;
    Simulation ref = fast;
    int first_negative_zero = 0;
    for (int step = 1; step <= 30; ++step) {
        simulate_one_step(&grid, &fast, step * kModelStepSeconds);
        reference_simulate_one_step(&grid, &ref, step * kModelStepSeconds);
        ASSERT_TRUE(same_state(fast, ref)) << "step " << step;
        for (const auto* field : {&fast.eta, &fast.rate})
            for (float f : *field)
                if (f == 0.0f && std::signbit(f) && !first_negative_zero)
                    first_negative_zero = step;
    }
    EXPECT_GT(first_negative_zero, 2);
}

TEST_F(SolverTest, ResetMarksWallsOnlyAndFreeEmpties) {
    GridData grid = make_feature_grid(1);
    Simulation sim = create_simulation(&grid);
    for (int s = 1; s <= 3; ++s) simulate_one_step(&grid, &sim, s * 15);
    auto dirty = [](auto&... v) { (std::fill(v.begin(), v.end(), 7), ...); };
    dirty(sim.eta, sim.eta_prev, sim.rate, sim.height, sim.max_height, sim.arrival_s,
          sim.source_height, sim.source_delay_s, sim.source_applied, sim.station_max_m,
          sim.station_arrival_s);
    reset_simulation(&grid, &sim);

    int walls = 0;
    for (int sy = 0; sy < int(sim.sny); ++sy)
        for (int sx = 0; sx < int(sim.snx); ++sx) {
            const bool solid = solver_solid_at_or_outside(&grid, &sim, sx, sy);
            walls += solid;
            ASSERT_EQ(sim.eta[std::size_t(sy) * sim.snx + sx], solid ? 100.0f : 0.0f)
                << sx << "," << sy;
        }
    EXPECT_GT(walls, 0);
    for (const auto* v : {&sim.eta_prev, &sim.rate, &sim.height, &sim.max_height,
                          &sim.source_height, &sim.source_applied, &sim.station_max_m})
        for (float f : *v) ASSERT_EQ(f, 0.0f);
    for (const auto* v : {&sim.arrival_s, &sim.source_delay_s, &sim.station_arrival_s})
        for (int i : *v) ASSERT_EQ(i, 0);

    free_simulation(&sim);
    simulate_one_step(&grid, &sim, 15);  // a freed simulation is left alone
    Simulation blank;
    simulate_one_step(&grid, &blank, 15);
    EXPECT_TRUE(blank.eta.empty());
}

// A mask change followed by a reset must reach the step: the cell now behaves as a wall.
TEST_F(SolverTest, ResetAfterAMaskChangeRebuildsWhatTheStepUses) {
    GridData grid = load_spec(make_ocean(20, 16, 500.0f));
    Simulation sim = create_simulation(&grid);
    set_land_override(&grid, 10, 8, 1);
    rebuild_land_mask_from_coast_stations(&grid);
    rebuild_solid_mask(&grid);
    reset_simulation(&grid, &sim);
    sim.source_height[8 * 20 + 11] = 1.0f;
    Simulation ref = sim;
    for (int s = 1; s <= 10; ++s) {
        simulate_one_step(&grid, &sim, s * 15);
        reference_simulate_one_step(&grid, &ref, s * 15);
    }
    EXPECT_TRUE(same_state(sim, ref));
    EXPECT_EQ(sim.eta[sim.solver_index_of_cell(10, 8)], 100.0f);
}

// A reset on unchanged masks keeps the plan; switching true speed must still rebuild it.
TEST_F(SolverTest, ResetRebuildsThePlanWhenTrueSpeedIsSwitched) {
    GridData grid = load_spec(make_ocean(20, 16, 500.0f));
    Simulation sim = create_simulation(&grid);
    for (int on : {1, 1, 0}) {
        g_true_wave_speed = on;
        reset_simulation(&grid, &sim);
        sim.source_height[8 * 20 + 11] = 1.0f;
        Simulation ref = sim;
        for (int s = 1; s <= 6; ++s) {
            simulate_one_step(&grid, &sim, s * 15);
            reference_simulate_one_step(&grid, &ref, s * 15);
        }
        EXPECT_TRUE(same_state(sim, ref)) << "true speed " << on;
    }
}

TEST_F(SolverTest, SourceRampsInOverItsDelay) {
    GridData grid = load_spec(make_ocean(12, 10, 200.0f));
    Simulation sim = create_simulation(&grid);
    const int c = 4 * 12 + 5;
    sim.source_height[c] = 2.0f;
    sim.source_delay_s[c] = 300;
    auto applied_at = [&](int t) {
        simulate_one_step(&grid, &sim, t);
        return sim.source_applied[c];
    };
    EXPECT_EQ(applied_at(285), 0.0f);
    EXPECT_EQ(applied_at(300), 0.0f);
    EXPECT_FLOAT_EQ(applied_at(360), 1.0f);  // halfway: smoothstep gives one half
    EXPECT_FLOAT_EQ(applied_at(420), 2.0f);
    EXPECT_FLOAT_EQ(applied_at(435), 2.0f);
}

TEST_F(SolverTest, SourcesWaitForTimeAboveZeroAndIgnoreChangesBelowTheThreshold) {
    GridData grid = load_spec(make_ocean(12, 10, 200.0f));
    Simulation sim = create_simulation(&grid);
    const int c = 4 * 12 + 5, small = 2 * 12 + 2, tiny = 7 * 12 + 9;
    for (auto [cell, h] : {std::pair{c, 1.5f}, std::pair{small, 5e-7f}, std::pair{tiny, 5e-8f}}) {
        sim.source_height[cell] = h;
        sim.source_delay_s[cell] = -1000;
    }
    simulate_one_step(&grid, &sim, 0);
    EXPECT_EQ(sim.source_applied[c], 0.0f);
    EXPECT_EQ(sim.eta[sim.solver_index_of_cell(5, 4)], 0.0f);
    simulate_one_step(&grid, &sim, 15);
    EXPECT_EQ(sim.source_applied[c], 1.5f);
    EXPECT_EQ(sim.source_applied[small], 5e-7f);
    EXPECT_EQ(sim.source_applied[tiny], 0.0f);  // a change of 1e-7 m or less is not applied
}

// On a still, level sea every term is zero, so each cell shows its damping factor alone.
TEST_F(SolverTest, LevelSeaShowsTheDampingOfGridAndMargin) {
    GridData grid = load_spec(make_ocean(10, 8, 300.0f));
    Simulation sim = create_simulation(&grid);
    std::fill(sim.eta.begin(), sim.eta.end(), 1.0f);
    simulate_one_step(&grid, &sim, 15);
    const int pad = int(sim.pad);
    auto eta_at = [&](int sx, int sy) { return sim.eta[std::size_t(sy) * sim.snx + sx]; };
    EXPECT_EQ(eta_at(pad + 3, pad + 3), 0.99982303f);
    EXPECT_EQ(global_height_decay_per_step(), 0.99982303f);
    EXPECT_NEAR(eta_at(0, pad + 3), 0.54f * 0.99982303f, 1e-6f);                 // k = 80, west
    EXPECT_NEAR(eta_at(pad + 4, int(sim.sny) - 1), 0.54f * 0.99982303f, 1e-6f);  // north
    EXPECT_NEAR(eta_at(0, 0), 0.54f * 0.99982303f, 1e-6f);                       // corner, k capped
    EXPECT_NEAR(eta_at(pad - 40, pad + 3), (1.0f - 0.46f * 0.25f) * 0.99982303f, 1e-6f);
    EXPECT_NEAR(eta_at(pad + 10 + 19, pad + 3), (1.0f - 0.46f * 0.0625f) * 0.99982303f, 1e-6f);
}

TEST_F(SolverTest, ReflectionSettingsClampTheLossAndGiveR) {
    EXPECT_NEAR(coastal_reflection_keep_per_step(), 0.6708f, 1e-4f);  // loss 0.55
    set_coastal_reflection_absorption(5, 1.2f);
    EXPECT_EQ(coastal_reflection_absorption_enabled(), 1);
    EXPECT_FLOAT_EQ(coastal_reflection_absorption_energy_loss(), 0.95f);
    EXPECT_NEAR(coastal_reflection_keep_per_step(), 0.2236f, 1e-4f);
    set_coastal_reflection_absorption(0, -0.3f);
    EXPECT_EQ(coastal_reflection_absorption_enabled(), 0);
    EXPECT_EQ(coastal_reflection_absorption_energy_loss(), 0.0f);
    EXPECT_EQ(coastal_reflection_keep_per_step(), 1.0f);
}

TEST_F(SolverTest, ShorelineFactorAndTheArrivalThresholdItSets) {
    EXPECT_FLOAT_EQ(station_shoreline_equiv_factor(1.0f), 1.0f);
    EXPECT_FLOAT_EQ(station_shoreline_equiv_factor(0.2f), 1.0f);
    EXPECT_NEAR(station_shoreline_equiv_factor(7000.0f), 9.147f, 1e-3f);
    EXPECT_EQ(station_shoreline_equiv_factor(9000.0f), station_shoreline_equiv_factor(7000.0f));
    EXPECT_NEAR(station_shoreline_equiv_factor(256.0f), 4.0f, 1e-5f);

    // A level sea of height e / D arrives this step exactly when e * factor(depth) >= 0.05.
    struct Case {
        float depth, height;
        bool arrives;
    };
    for (const Case& k : {Case{1.0f, 0.051f, true}, Case{1.0f, 0.049f, false},
                          Case{7000.0f, 0.0056f, true}, Case{7000.0f, 0.0054f, false}}) {
        GridData grid = load_spec(make_ocean(8, 8, k.depth));
        Simulation sim = create_simulation(&grid);
        std::fill(sim.eta.begin(), sim.eta.end(), k.height / 0.99982303f);
        simulate_one_step(&grid, &sim, 45);
        EXPECT_EQ(sim.arrival_s[sim.bordered_index(4, 4)], k.arrives ? 45 : 0)
            << k.depth << " m, " << k.height << " m";
    }
}

#ifdef _OPENMP
TEST_F(SolverTest, ThreadCountDoesNotChangeABit) {
    const GridData grid = load_spec(testing::make_realistic_grid(340, 232, 5));
    Simulation one = create_simulation(&grid);
    for (int c : {100 * 340 + 250, 225 * 340 + 331, 40 * 340 + 300}) {
        if (grid.solid[c]) continue;
        one.source_height[c] = 1.5f;
        one.source_delay_s[c] = 15;
    }
    Simulation two = one;
    const int saved = omp_get_max_threads();
    g_solver_adaptive_threads = 0;  // two threads even where one would be faster
    for (int s = 1; s <= 40; ++s) {
        omp_set_num_threads(1);
        simulate_one_step(&grid, &one, s * 15);
        omp_set_num_threads(2);
        simulate_one_step(&grid, &two, s * 15);
    }
    omp_set_num_threads(saved);
    EXPECT_TRUE(same_state(one, two));
}
#endif

}  // namespace
}  // namespace kaitoro
