// Linear long-wave solver on the grid plus an 80-cell absorbing margin.
#pragma once

#include <cstdint>
#include <vector>

#include "core/grid.h"

namespace kaitoro {

inline constexpr int kSolverPad = 80;
inline constexpr float kWallEta = 100.0f;       // eta marker of a wall cell
inline constexpr float kWallThreshold = 50.0f;  // eta at or above this acts as a wall
inline constexpr int kModelStepSeconds = 15;

// Everything about the step that changes only when the masks change, precomputed at
// reset_simulation so that the step itself reads flat arrays and allocates nothing.
struct SolverPlan {
    std::uint32_t snx = 0, sny = 0;  // solver size it was built for; 0 = not built
    // Coupling across the edge from each solver cell to its east, north, north-east and
    // north-west neighbour; the other four directions read the neighbour's entry. 0 = the edge
    // is closed for good (a wall on either side, the domain border, a blocked diagonal).
    std::vector<float> coef_e, coef_n, coef_ne, coef_nw;
    // Per solver cell: coupling towards a blocked neighbour; 0 = wall cell; negative = coastal
    // cell whose mirror value is scaled by the current reflection factor.
    std::vector<float> self_coef;
    std::vector<std::uint8_t> coastal;  // per solver cell: 1 where self_coef is negative
    std::vector<float> damping;         // (pad + 1) rows of snx, by the margin depth of a row
    std::vector<float> arrival_factor;        // per grid cell: shoreline-equivalent factor
    std::vector<float> arrival_factor_depth;  // the depth each factor was computed for
    int damped_cell = -1;               // grid index of the held-down cell, -1 if off the grid
    // What the plan was built from. A run resets several times on the same masks (start-up,
    // placing a source, starting the run); a reset on unchanged inputs keeps the plan.
    struct Inputs {
        std::uint32_t nx = 0, ny = 0;
        int true_wave_speed = 0;
        std::vector<float> depth_m, effective_depth_m, hidden_depth_m;
        std::vector<std::uint8_t> solid, hidden;
        std::vector<std::int8_t> land_override;
    } built_from;
};

// Where the field is not quiet. A quiet cell (eta +0 in both fields, rate +0, no source, a
// whole neighbourhood of the same) would only write the same bits again, so the step skips it.
// Per solver row two ints [lo, hi), the columns outside which the row is quiet.
struct SolverActivity {
    std::vector<std::int32_t> live_last;    // eta and rate after the last step
    std::vector<std::int32_t> live_before;  // eta after the step before
    std::vector<std::int32_t> live_next;    // scratch for the step
    std::vector<std::int32_t> source_cols;  // per grid row: columns with a non-zero source
    // Per solver row of the field the next step reads: 1 when the row may hold a cell that is
    // not a static wall but has eta at or above the wall threshold (it then acts as a wall).
    // Such cells are rare; where none is near, the step can take its plain arithmetic.
    std::vector<std::uint8_t> raised_last;
    std::vector<std::uint8_t> raised_next;
    bool sources_known = false;             // false: rescan source_height before the next step
};

// Where the per-step station statistics read each station: its solver cell and shoreline
// factor, for the stations that can report anything at all, in memory order. It depends on the
// masks and depths, which change only together with a reset, so it is worked out once after
// each reset instead of once per station and step.
struct StationSampling {
    std::uint64_t built_after_reset = 0;  // Simulation::resets when built; 0 = never
    const GridData* grid = nullptr;
    std::uint32_t station_count = 0;
    std::vector<std::uint32_t> station;
    std::vector<std::uint32_t> solver_index;
    std::vector<float> factor;
    // The entries [row_start[r], row_start[r + 1]) lie on solver row r. The step copies their
    // eta as it finishes each row, while the row is still in the cache of the core that stepped
    // it, and notes which field it copied; the statistics then read the copy instead of chasing
    // thousands of cells (a copied Simulation, or one stepped otherwise, has another field and
    // reads the cells).
    std::vector<std::uint32_t> row_start;
    std::vector<float> eta;
    const float* sampled_from = nullptr;
};

struct Simulation {
    std::uint32_t nx = 0, ny = 0;
    std::uint32_t bordered_rows = 0;  // ny + 2
    std::uint32_t pad = 0;            // always kSolverPad
    std::uint32_t snx = 0, sny = 0;   // nx + 2 pad, ny + 2 pad
    std::uint64_t grid_cells = 0;
    std::uint64_t bordered_cells = 0;
    std::uint64_t solver_cells = 0;
    std::vector<float> eta;         // per solver cell
    std::vector<float> eta_prev;    // per solver cell
    std::vector<float> rate;        // per solver cell
    // Per bordered cell. The step leaves it to be filled from eta when somebody reads it (most
    // steps nobody does): read it through current_height(), or directly where no step has run
    // since the last reset or read.
    mutable std::vector<float> height;
    mutable bool height_stale = false;
    std::vector<float> max_height;  // per bordered cell
    std::vector<std::int32_t> arrival_s;       // per bordered cell, 0 = none yet
    std::vector<float> source_height;          // per grid cell
    std::vector<std::int32_t> source_delay_s;  // per grid cell
    std::vector<float> source_applied;         // per grid cell
    std::vector<float> station_max_m;          // per station
    std::vector<std::int32_t> station_arrival_s;  // per station, 0 = none yet

    SolverPlan plan;
    SolverActivity activity;
    std::uint64_t resets = 0;  // how many times reset_simulation has run on it
    StationSampling station_sampling;

    std::size_t bordered_index(int x, int y) const { return std::size_t(y + 1) * nx + x; }
    std::size_t solver_index_of_cell(int x, int y) const {
        return std::size_t(y + pad) * snx + (x + pad);
    }
};

// Whether sim's station sampling was worked out for `grid` after its last reset.
inline bool station_sampling_current(const GridData* grid, const Simulation& sim) {
    const StationSampling& s = sim.station_sampling;
    return s.built_after_reset == sim.resets && s.built_after_reset != 0 && s.grid == grid &&
           s.station_count == grid->station_count && s.row_start.size() == std::size_t(sim.sny) + 1;
}

// Settings read by the step.
extern int g_coast_reflection_absorb_enabled;  // 1
extern float g_coast_reflection_energy_loss;   // 0.55
extern int g_source_ramp_seconds;              // 120
// 0: the documented coupling (depth / 18000, the same at every latitude). 1: every coupling is
// scaled by true_speed_coupling_factor so the scheme's long-wave speed is sqrt(g h) at the
// cells' latitude. Read when the plan is built: change it, then reset the simulation.
extern int g_true_wave_speed;
// 1: the step measures whether one thread or all of them is faster right now (another process
// may hold a core) and uses that. 0: always all threads, as OpenMP is set up.
extern int g_solver_adaptive_threads;

// The step runs an AVX2 build of its row loops where the processor has AVX2. true: the portable
// build everywhere (both give the same bits; tests compare them).
void solver_force_portable_kernels(bool portable);

Simulation create_simulation(const GridData* grid);
void reset_simulation(const GridData* grid, Simulation* sim);
void free_simulation(Simulation* sim);
void simulate_one_step(const GridData* grid, Simulation* sim, int t_s);
// Whoever writes source_height of a running simulation calls this, so the next step looks for
// sources again (a source in a quiet region has to wake it up).
void solver_sources_changed(Simulation* sim);
// Whoever writes eta or rate outside the step calls this: the next two steps cover every cell.
void solver_forget_quiet_cells(Simulation* sim);

// The current height of every bordered cell, as the step defines it: 0 on walls, else eta.
const std::vector<float>& current_height(const Simulation& sim);
// The same for one bordered cell, without filling the others.
float current_height_at(const Simulation& sim, std::size_t bordered_index);

float global_height_decay_per_step();
void set_coastal_reflection_absorption(int enabled, float loss);
int coastal_reflection_absorption_enabled();
float coastal_reflection_absorption_energy_loss();
float coastal_reflection_keep_per_step();
int source_ramp_seconds();
float station_shoreline_equiv_factor(float depth_m);
float output_shoaling_factor();

// The factor k that makes the stencil's long-wave speed equal sqrt(g h) at solver row
// `grid_row` (a grid row, fractional for edges between rows; rows outside the grid extend the
// projection): k = g dt^2 18000 / ((1 + 2 w) dx^2), about 0.5028 / cos^2(latitude).
double true_speed_coupling_factor(double grid_row);
// A coupling coefficient as the plan stores it: `coef` scaled by the factor of `grid_row` when
// true speed is on, and never above kMaxStableCoupling; `coef` itself when it is off.
float scaled_coupling(float coef, double grid_row);
// The leapfrog scheme with this 9-point stencil is stable for couplings up to 4 / (4 + 8 w)
// = 0.4142 (the worst mode alternates along one axis). True speed could pass it over the
// deepest water north of about 45.6 N, so it is held a little below.
inline constexpr float kMaxStableCoupling = 0.40f;

}  // namespace kaitoro
