// The wave step. The physics is simple; the work is in making it cheap: everything that only
// changes with the masks lives in SolverPlan, built at reset, so the step streams a handful of
// flat arrays, branches only on the dynamic 50 m wall test, and allocates nothing.
//
// Every cell is computed with exactly the same float operations in the same order whichever
// path handles it (the vector loop for inner cells, the scalar one for the domain border), so
// the result does not depend on the thread count or on the vector width.
//
// Most of the sea is still for most of a run, and a cell whose eta (in both fields), rate,
// source and neighbourhood are all bitwise +0 would only write +0 again. Each row keeps the
// columns outside which it is quiet; a step visits a row's columns within one cell of the last
// step's non-quiet ones, plus what the field being overwritten still holds and the row's
// sources. The test is on bits, so -0 stays awake until the step turns it into +0; static walls
// hold 100 in both fields after the first two steps of a run, which cover every cell.
#include "core/solver.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <utility>

#include "core/fatal.h"
#include "core/geo.h"
#include "core/masks.h"

#ifdef _OPENMP
#include <omp.h>
#endif

// The row kernels are also built for AVX2 where GCC builds for x86-64. That build has no FMA,
// and the whole program is built with -ffp-contract=off (GCC would fuse a*b+c wherever the
// target has FMA), so both builds round every operation exactly as written.
#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__)
#include <immintrin.h>
#define KAITORO_AVX2_KERNELS 1
#endif

namespace kaitoro {

int g_coast_reflection_absorb_enabled = 1;
float g_coast_reflection_energy_loss = 0.55f;
int g_source_ramp_seconds = 120;
int g_true_wave_speed = 0;
int g_solver_adaptive_threads = 1;

namespace {

constexpr float kGlobalDecay = 0.99982303f;
constexpr float kMinMarginDamping = 0.34993806f;
constexpr float kDiagonalWeight = 0.70710677f;
constexpr float kCouplingScale = 18000.0f;
constexpr float kMaxDepth = 7000.0f;
constexpr float kArrivalHeight = 0.05f;
constexpr float kArrivalScreen = 0.005f;
constexpr float kSourceEpsilon = 1e-7f;
// The one cell of the bundled grid that is held down on every step.
constexpr int kDampedCellX = 332;
constexpr int kDampedCellY = 225;
constexpr float kDampedCellFactor = 0.31622776f;

// NaN counts as the shallow end, like the depth rules of the grid.
float clamp_depth(float d) {
    return !(d >= 1.0f) ? 1.0f : (d > kMaxDepth ? kMaxDepth : d);
}

// Coupling across an open edge. The product commutes exactly, so both cells of a pair get
// the same value and one number per edge serves both.
float open_coupling(float d_p, float d_n) {
    return clamp_depth(std::sqrt(std::min(d_n, kMaxDepth) * std::min(d_p, kMaxDepth))) /
           kCouplingScale;
}

float margin_damping(int k, int pad) {
    const float q = float(k) / float(pad);
    const float f = 1.0f - 0.46f * q * q;
    if (f < 0.35f) return kMinMarginDamping;
    return std::min(f, 1.0f) * kGlobalDecay;
}

// What one step needs, hoisted out of the Simulation so the row loops see plain pointers.
struct StepView {
    int snx, sny, pad, nx, ny;
    const float* eta_prev;
    float* eta;
    float* rate;
    const float* coef_e;
    const float* coef_n;
    const float* coef_ne;
    const float* coef_nw;
    const float* self_coef;
    const std::uint8_t* coastal;
    const float* damping;  // (pad + 1) rows of snx, by margin depth of the row
    const float* arrival_factor;
    float* max_height;
    std::int32_t* arrival_s;
    const float* source_height;
    const std::int32_t* source_delay_s;
    float* source_applied;
    int damped_cell;  // grid index, -1 when the grid is too small to hold it
    float ghost_r;    // R when absorption is on, else 1
    int t_s;
    int ramp_s;
    // Per row, two ints [lo, hi): the columns outside which a field is quiet.
    const std::int32_t* live_last;    // eta and rate of the last step, per solver row
    const std::int32_t* live_before;  // eta of the step before, which this step overwrites
    std::int32_t* live_next;          // written by this step
    const std::int32_t* source_cols;  // per grid row: the columns holding a source
    const std::uint8_t* raised_last;  // per solver row of eta_prev: may hold a dynamic wall
    std::uint8_t* raised_next;        // the same for the field this step writes
    // The station entries to copy eta for (see StationSampling); null when there are none.
    const std::uint32_t* station_row_start;
    const std::uint32_t* station_solver_index;
    float* station_eta;
};

// The cell kernels must be inlined into the row loops: only there are they compiled for the
// row loop's instruction set (see solver_kernels.inc), and a call per cell would cost more
// than the cell.
#if defined(__GNUC__)
#define KAITORO_INLINE inline __attribute__((always_inline))
#else
#define KAITORO_INLINE inline
#endif

// Lane types. The cell arithmetic is written once, as a template over the lane type, so the
// scalar path (domain border, row tails) and the vector path perform the same IEEE operations
// in the same order and agree to the bit.
struct ScalarLanes {
    using F = float;
    using I = std::int32_t;
    using M = bool;
    static constexpr int kWidth = 1;
    static F load(const float* p) { return *p; }
    static void store(float* p, F v) { *p = v; }
    static I load_i(const std::int32_t* p) { return *p; }
    static void store_i(std::int32_t* p, I v) { *p = v; }
    static F splat(float f) { return f; }
    static I splat_i(std::int32_t i) { return i; }
    static M both(M a, M b) { return a && b; }
    static M either(M a, M b) { return a || b; }
    static F sel(M m, F a, F b) { return m ? a : b; }
    static I sel_i(M m, I a, I b) { return m ? a : b; }
    static M and_not(M a, M b) { return a && !b; }
    static bool any(M m) { return m; }
    static F mul(F a, F b) { return a * b; }
    static M nonzero_bits(F a) {
        std::uint32_t u;
        std::memcpy(&u, &a, sizeof u);
        return u != 0;
    }
};

#if defined(__GNUC__)
// The 32-byte vector lanes never cross a function boundary that is not inlined, so the vector
// ABI note GCC gives for them without AVX does not concern us. GCC reports that note at the
// end of the file, so it stays off to the end.
#pragma GCC diagnostic ignored "-Wpsabi"
#endif

// Neighbours k = 0..7 in the order the terms are summed:
// (-1,-1) (0,-1) (+1,-1) (-1,0) (+1,0) (-1,+1) (0,+1) (+1,+1).
// An inner cell's inputs, as offsets from the cell itself. The step is limited by instructions,
// not memory: spelled out like this, the eight terms compile to plain loads at fixed offsets
// from one index instead of a table of pointers reloaded for every cell.
struct InnerInputs {
    const StepView& v;
    std::size_t i;
    KAITORO_INLINE const float* value_of(int k) const {
        const std::size_t s = std::size_t(v.snx);
        const float* ep = v.eta_prev + i;
        switch (k) {
            case 0:
                return ep - s - 1;
            case 1:
                return ep - s;
            case 2:
                return ep - s + 1;
            case 3:
                return ep - 1;
            case 4:
                return ep + 1;
            case 5:
                return ep + s - 1;
            case 6:
                return ep + s;
            default:
                return ep + s + 1;
        }
    }
    KAITORO_INLINE const float* coef_of(int k) const {
        const std::size_t s = std::size_t(v.snx);
        switch (k) {
            case 0:
                return v.coef_ne + i - s - 1;
            case 1:
                return v.coef_n + i - s;
            case 2:
                return v.coef_nw + i - s + 1;
            case 3:
                return v.coef_e + i - 1;
            case 4:
                return v.coef_e + i;
            case 5:
                return v.coef_nw + i;
            case 6:
                return v.coef_n + i;
            default:
                return v.coef_ne + i;
        }
    }
};

// A cell on an edge of the solver domain: the neighbours in kMissing (bit k for neighbour k)
// lie outside it and read as closed edges, value 0 and coupling 0; the others as for an inner
// cell. The outside reads come from a block of zeros wide enough for one vector.
alignas(32) constexpr float kClosedLanes[8] = {};
constexpr unsigned kTopRow = 0x07u, kBottomRow = 0xE0u;       // neighbours 0-2, 5-7
constexpr unsigned kWestColumn = 0x29u, kEastColumn = 0x94u;  // neighbours 0 3 5, 2 4 7
template <unsigned kMissing>
struct EdgeInputs {
    InnerInputs in;
    KAITORO_INLINE const float* value_of(int k) const {
        return (kMissing >> k) & 1u ? kClosedLanes : in.value_of(k);
    }
    KAITORO_INLINE const float* coef_of(int k) const {
        return (kMissing >> k) & 1u ? kClosedLanes : in.coef_of(k);
    }
};

inline int margin_depth_of_row(int sy, int pad, int ny) {
    const int gy = sy - pad;
    const int ky = gy < 0 ? -gy : (gy >= ny ? gy - ny + 1 : 0);
    return std::min(ky, pad);
}

const float* damping_row(const StepView& v, int sy) {
    return v.damping + std::size_t(margin_depth_of_row(sy, v.pad, v.ny)) * std::size_t(v.snx);
}

// Columns [lo, hi) of one row; empty when lo >= hi.
struct Span {
    int lo, hi;
    bool empty() const { return lo >= hi; }
    void add(int a, int b) {
        if (a >= b) return;
        if (empty()) {
            lo = a;
            hi = b;
        } else {
            lo = std::min(lo, a);
            hi = std::max(hi, b);
        }
    }
};
constexpr Span kNoSpan{0, 0};

Span span_at(const std::int32_t* spans, int row) {
    return Span{spans[2 * row], spans[2 * row + 1]};
}

// Smoothstep rise from the delay over the ramp; 0 before, the full height after.
float source_target(float h, int delay_s, int t_s, int ramp_s) {
    const float p = float(double(t_s) - double(delay_s)) / float(ramp_s);
    if (p <= 0.0f) return 0.0f;
    if (p < 1.0f) return h * p * p * (3.0f - 2.0f * p);
    return h;
}

// Sources and the held-down cell, for one grid cell whose new eta and rate are written.
// Returns whether a source lifted the cell to the wall threshold.
bool apply_source_and_hold(const StepView& v, std::size_t i, std::size_t g) {
    if (v.self_coef[i] == 0.0f || v.eta_prev[i] >= kWallThreshold) return false;
    if (v.t_s != 0 && v.source_height[g] != 0.0f) {
        const float target =
            source_target(v.source_height[g], v.source_delay_s[g], v.t_s, v.ramp_s);
        const float diff = target - v.source_applied[g];
        if (std::fabs(diff) > kSourceEpsilon) {
            v.eta[i] = v.eta[i] + diff;
            v.source_applied[g] = target;
        }
    }
    if (int(g) == v.damped_cell) {
        v.eta[i] = v.eta[i] * kDampedCellFactor;
        v.rate[i] = v.rate[i] * kDampedCellFactor;
    }
    return v.eta[i] >= kWallThreshold;
}

namespace portable {
#include "core/solver_kernels.inc"
}  // namespace portable

#ifdef KAITORO_AVX2_KERNELS
#pragma GCC push_options
#pragma GCC target("avx2")
namespace avx2 {
#define KAITORO_KERNELS_AVX2 1
#include "core/solver_kernels.inc"
#undef KAITORO_KERNELS_AVX2
}  // namespace avx2
#pragma GCC pop_options
#endif

// The row kernels for this machine: the AVX2 build where the processor has it.
struct RowKernels {
    Span (*inner_span)(const StepView&, int, int, int, bool*);
    Span (*edge_row)(const StepView&, int, int, int, bool*);
};
bool g_portable_kernels_forced = false;
RowKernels row_kernels() {
#ifdef KAITORO_AVX2_KERNELS
    static const bool have_avx2 = __builtin_cpu_supports("avx2");
    if (have_avx2 && !g_portable_kernels_forced)
        return {avx2::step_inner_span, avx2::step_edge_row};
#endif
    return {portable::step_inner_span, portable::step_edge_row};
}

// The first or last cell of a row (kColumn: kWestColumn or kEastColumn), corners included.
// Returns whether it is not quiet afterwards; sets *raised as step_inner_span does.
template <unsigned kColumn>
bool step_end_cell(const StepView& v, int sy, bool* raised) {
    const int sx = kColumn == kWestColumn ? 0 : v.snx - 1;
    const std::size_t i = std::size_t(sy) * std::size_t(v.snx) + std::size_t(sx);
    const float* damp = damping_row(v, sy) + sx;
    const InnerInputs in{v, i};
    if (sy == 0)
        return portable::step_cells<ScalarLanes>(v, i, EdgeInputs<kColumn | kTopRow>{in}, damp,
                                                 *raised);
    if (sy == v.sny - 1)
        return portable::step_cells<ScalarLanes>(v, i, EdgeInputs<kColumn | kBottomRow>{in}, damp,
                                                 *raised);
    return portable::step_cells<ScalarLanes>(v, i, EdgeInputs<kColumn>{in}, damp, *raised);
}

// The columns of row sy that can change on this step: anything within one cell of a non-quiet
// cell of the last step (the stencil reaches no further), anything still non-zero in the field
// this step overwrites (written two steps ago), and the row's sources once the clock runs.
Span columns_to_step(const StepView& v, int sy) {
    Span todo = kNoSpan;
    for (int r = std::max(sy - 1, 0); r <= std::min(sy + 1, v.sny - 1); ++r) {
        const Span s = span_at(v.live_last, r);
        if (!s.empty()) todo.add(s.lo - 1, s.hi + 1);
    }
    const Span older = span_at(v.live_before, sy);
    todo.add(older.lo, older.hi);
    const int gy = sy - v.pad;
    if (v.t_s != 0 && gy >= 0 && gy < v.ny) {
        const Span src = span_at(v.source_cols, gy);
        todo.add(src.lo + v.pad, src.hi + v.pad);
    }
    todo.lo = std::max(todo.lo, 0);
    todo.hi = std::min(todo.hi, v.snx);
    return todo;
}

// Steps the part of row sy that can change and records which part is not quiet afterwards.
// Everything outside it is exactly +0 in both fields and the rate (walls: 100, 100 and 0), and
// stepping it would write the same bits again, so it is left alone.
void step_row(const StepView& v, int sy) {
    const Span todo = columns_to_step(v, sy);
    Span live = kNoSpan;
    bool raised = false;  // cells left unvisited are quiet, so never raised
    if (!todo.empty()) {
        const RowKernels k = row_kernels();
        const bool edge_row = sy == 0 || sy == v.sny - 1;
        const int x0 = std::max(todo.lo, 1), x1 = std::min(todo.hi, v.snx - 1);
        if (todo.lo == 0 && step_end_cell<kWestColumn>(v, sy, &raised)) live.add(0, 1);
        if (x0 < x1) {
            const Span mid = (edge_row ? k.edge_row : k.inner_span)(v, sy, x0, x1, &raised);
            live.add(mid.lo, mid.hi);
        }
        if (todo.hi == v.snx && step_end_cell<kEastColumn>(v, sy, &raised))
            live.add(v.snx - 1, v.snx);
        const int gy = sy - v.pad;
        if (gy >= 0 && gy < v.ny) {
            // A source writes eta after the quiet test.
            if (v.t_s != 0) {
                const Span src = span_at(v.source_cols, gy);
                live.add(src.lo + v.pad, src.hi + v.pad);
            }
        }
    }
    v.live_next[2 * sy] = live.lo;
    v.live_next[2 * sy + 1] = live.hi;
    v.raised_next[sy] = raised ? 1 : 0;
    if (v.station_row_start)
        for (std::uint32_t k = v.station_row_start[sy]; k < v.station_row_start[sy + 1]; ++k)
            v.station_eta[k] = v.eta[v.station_solver_index[k]];
}

// How many threads step the rows. Two are faster on an idle machine; when another process
// holds a core, rows handed to the thread that shares it wait for that core, and the whole step
// waits with them. So the step keeps the cost per stepped cell of both choices, takes the cheaper
// and now and then tries the other, which notices the other process leaving again. The result
// does not depend on the choice.
struct ThreadChoice {
    double ns_per_cell[2] = {0.0, 0.0};  // one thread, all threads; 0 = not measured yet
    unsigned since_try = 0;              // steps since the other choice was last tried
    unsigned try_every = 16;             // doubles while the other choice keeps losing
};
ThreadChoice g_thread_choice;
// A try of two threads on a busy machine can cost several steps' time, so a choice that keeps
// losing is tried ever more rarely, down to about once a minute of stepping.
constexpr unsigned kFirstTryEvery = 16, kLastTryEvery = 4096;
constexpr double kSmallStepCells = 20000.0;  // below this, one thread whatever the machine
// Rows are handed out in blocks as threads become free, so a thread that lost its core for a
// while holds up at most one block.
constexpr int kRowBlock = 8;

void step_rows(const StepView& v, int threads) {
    const int sny = v.sny;
#pragma omp parallel for schedule(dynamic, kRowBlock) num_threads(threads) if (threads > 1)
    for (int sy = 0; sy < sny; ++sy) step_row(v, sy);
}

void step_all_rows(const StepView& v) {
    int max_threads = 1;
#ifdef _OPENMP
    max_threads = omp_get_max_threads();
#endif
    double cells = 0.0;
    for (int sy = 0; sy < v.sny; ++sy) {
        const Span s = span_at(v.live_last, sy);
        if (!s.empty()) cells += double(s.hi - s.lo + 2);
    }
    if (max_threads <= 1 || !g_solver_adaptive_threads) return step_rows(v, max_threads);
    if (cells < kSmallStepCells) return step_rows(v, 1);
    ThreadChoice& c = g_thread_choice;
    int pick, best = -1;
    if (c.ns_per_cell[1] == 0.0)
        pick = 1;
    else if (c.ns_per_cell[0] == 0.0)
        pick = 0;
    else {
        best = pick = c.ns_per_cell[0] < c.ns_per_cell[1] ? 0 : 1;
        if (++c.since_try >= c.try_every) {
            c.since_try = 0;
            pick = 1 - best;
        }
    }
    const auto start = std::chrono::steady_clock::now();
    step_rows(v, pick ? max_threads : 1);
    const double ns = double(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                 std::chrono::steady_clock::now() - start)
                                 .count());
    const double cost = ns / cells;
    double& avg = c.ns_per_cell[pick];
    avg = avg == 0.0 ? cost : 0.75 * avg + 0.25 * cost;
    if (best >= 0 && pick != best) {
        const bool still_worse = c.ns_per_cell[pick] >= c.ns_per_cell[best];
        c.try_every = still_worse ? std::min(2 * c.try_every, kLastTryEvery) : kFirstTryEvery;
    }
}

bool plan_fits(const Simulation& sim) {
    const SolverPlan& p = sim.plan;
    return sim.snx > 0 && p.snx == sim.snx && p.sny == sim.sny &&
           p.coef_e.size() == sim.solver_cells && sim.eta.size() == sim.solver_cells &&
           sim.eta_prev.size() == sim.solver_cells && sim.rate.size() == sim.solver_cells &&
           sim.height.size() == sim.bordered_cells && sim.max_height.size() == sim.bordered_cells &&
           sim.arrival_s.size() == sim.bordered_cells &&
           sim.source_height.size() == sim.grid_cells &&
           sim.source_delay_s.size() == sim.grid_cells &&
           sim.source_applied.size() == sim.grid_cells;
}

bool sim_arrays_fit(const Simulation& sim) {
    return sim.snx > 0 && sim.eta.size() == sim.solver_cells &&
           sim.eta_prev.size() == sim.solver_cells && sim.rate.size() == sim.solver_cells;
}

// Everything about the step that depends only on the masks and depths.
void build_plan(const GridData* grid, Simulation* sim) {
    SolverPlan& p = sim->plan;
    const int snx = int(sim->snx), sny = int(sim->sny), pad = int(sim->pad);
    const int nx = int(sim->nx), ny = int(sim->ny);
    const std::size_t n = sim->solver_cells;
    p.snx = 0;
    p.sny = 0;
    tsunami_xcalloc(p.coef_e, n);
    tsunami_xcalloc(p.coef_n, n);
    tsunami_xcalloc(p.coef_ne, n);
    tsunami_xcalloc(p.coef_nw, n);
    tsunami_xcalloc(p.self_coef, n);
    tsunami_xcalloc(p.coastal, n);
    tsunami_xcalloc(p.damping, std::size_t(pad + 1) * std::size_t(snx));
    if (p.arrival_factor.size() != sim->grid_cells) {
        tsunami_xcalloc(p.arrival_factor, sim->grid_cells);
        tsunami_xcalloc(p.arrival_factor_depth, sim->grid_cells);
    }

    // Solidity and depth of every solver cell, looked up once. Every source edit resets the
    // simulation, so the plan is built on both cores.
    std::vector<std::uint8_t> solid(n);
    std::vector<float> depth(n);
#pragma omp parallel for schedule(static)
    for (int sy = 0; sy < sny; ++sy)
        for (int sx = 0; sx < snx; ++sx) {
            const std::size_t i = std::size_t(sy) * snx + sx;
            solid[i] = solver_solid_at_or_outside(grid, sim, sx, sy) ? 1 : 0;
            depth[i] = solid[i] ? 0.0f : solver_depth_m(grid, sim, sx, sy);
        }
    auto solid_at = [&](int sx, int sy) {
        return sx < 0 || sy < 0 || sx >= snx || sy >= sny || solid[std::size_t(sy) * snx + sx] != 0;
    };
    const bool have_hidden = grid->hidden.size() == grid->cell_count();
    const bool have_override = grid->land_override.size() == grid->cell_count();
    const bool have_solid = grid->solid.size() == grid->cell_count();
    auto grid_solid = [&](int gx, int gy) {
        return have_solid && grid->solid[std::size_t(gy) * nx + gx] != 0;
    };

#pragma omp parallel for schedule(static)
    for (int sy = 0; sy < sny; ++sy) {
        for (int sx = 0; sx < snx; ++sx) {
            const std::size_t i = std::size_t(sy) * snx + sx;
            if (solid[i]) continue;  // walls keep 0 everywhere: closed from both sides
            const float d = depth[i];
            const double row = double(sy - pad);
            auto edge = [&](int dx, int dy) -> float {
                const int tx = sx + dx, ty = sy + dy;
                if (solid_at(tx, ty)) return 0.0f;
                if (dx != 0 && dy != 0 && (solid_at(sx + dx, sy) || solid_at(sx, sy + dy)) &&
                    !diagonal_move_crosses_strait_transmission_zone(grid, sim, sx, sy, dx, dy))
                    return 0.0f;
                // An edge between rows takes the factor of the row between them, so both
                // cells of the pair still see one coefficient.
                return scaled_coupling(open_coupling(d, depth[std::size_t(ty) * snx + tx]),
                                       row + 0.5 * dy);
            };
            p.coef_e[i] = edge(1, 0);
            p.coef_n[i] = edge(0, 1);
            p.coef_ne[i] = edge(1, 1);
            p.coef_nw[i] = edge(-1, 1);

            // Coastal cells lose part of each reflection; the sign carries that flag so the
            // current R can be applied at step time (the settings change it without a reset).
            float cb = scaled_coupling(clamp_depth(d) / kCouplingScale, row);
            const int gx = sx - pad, gy = sy - pad;
            if (grid->in_grid(gx, gy)) {
                const std::size_t g = std::size_t(gy) * nx + gx;
                const bool hidden = have_hidden && grid->hidden[g] != 0;
                const bool forced_sea = have_override && grid->land_override[g] == 0;
                const bool coast =
                    (gx > 0 && grid_solid(gx - 1, gy)) || (gx + 1 < nx && grid_solid(gx + 1, gy)) ||
                    (gy > 0 && grid_solid(gx, gy - 1)) || (gy + 1 < ny && grid_solid(gx, gy + 1));
                if (!grid_solid(gx, gy) && !hidden && !forced_sea && coast) cb = -cb;
            }
            p.self_coef[i] = cb;
            p.coastal[i] = cb < 0.0f ? 1 : 0;
        }
    }

    for (int k = 0; k <= pad; ++k)
        for (int sx = 0; sx < snx; ++sx) {
            const int gx = sx - pad;
            const int kx = gx < 0 ? -gx : (gx >= nx ? gx - nx + 1 : 0);
            p.damping[std::size_t(k) * snx + sx] =
                margin_damping(std::min(std::max(kx, k), pad), pad);
        }

    // The factor needs a pow per cell and depths rarely change between resets, so it is only
    // recomputed where the depth differs from the one it was computed for.
    const bool have_eff = grid->effective_depth_m.size() == grid->cell_count();
    const std::int64_t cells = std::int64_t(sim->grid_cells);
#pragma omp parallel for schedule(static)
    for (std::int64_t g = 0; g < cells; ++g) {
        const float h = clamp_depth(have_eff ? grid->effective_depth_m[g] : grid->depth_m[g]);
        if (p.arrival_factor[g] != 0.0f && p.arrival_factor_depth[g] == h) continue;
        p.arrival_factor[g] = station_shoreline_equiv_factor(h);
        p.arrival_factor_depth[g] = h;
    }

    p.damped_cell =
        (nx > kDampedCellX && ny > kDampedCellY) ? kDampedCellY * nx + kDampedCellX : -1;
    p.snx = sim->snx;
    p.sny = sim->sny;
}

bool plan_built_from(const GridData& g, const Simulation& sim) {
    const SolverPlan& p = sim.plan;
    const SolverPlan::Inputs& in = p.built_from;
    return p.snx == sim.snx && p.sny == sim.sny && p.coef_e.size() == sim.solver_cells &&
           p.arrival_factor.size() == sim.grid_cells && in.nx == g.nx && in.ny == g.ny &&
           in.true_wave_speed == g_true_wave_speed && in.depth_m == g.depth_m &&
           in.effective_depth_m == g.effective_depth_m && in.hidden_depth_m == g.hidden_depth_m &&
           in.solid == g.solid && in.hidden == g.hidden && in.land_override == g.land_override;
}

void remember_plan_inputs(const GridData& g, Simulation* sim) {
    SolverPlan::Inputs& in = sim->plan.built_from;
    in.nx = g.nx;
    in.ny = g.ny;
    in.true_wave_speed = g_true_wave_speed;
    in.depth_m = g.depth_m;
    in.effective_depth_m = g.effective_depth_m;
    in.hidden_depth_m = g.hidden_depth_m;
    in.solid = g.solid;
    in.hidden = g.hidden;
    in.land_override = g.land_override;
}

}  // namespace

Simulation create_simulation(const GridData* grid) {
    Simulation sim;
    if (!grid || grid->nx == 0 || grid->ny == 0) return sim;
    sim.nx = grid->nx;
    sim.ny = grid->ny;
    sim.bordered_rows = grid->ny + 2;
    sim.pad = kSolverPad;
    sim.snx = grid->nx + 2 * kSolverPad;
    sim.sny = grid->ny + 2 * kSolverPad;
    sim.grid_cells = std::uint64_t(sim.nx) * sim.ny;
    sim.bordered_cells = std::uint64_t(sim.bordered_rows) * sim.nx;
    sim.solver_cells = std::uint64_t(sim.snx) * sim.sny;
    tsunami_xcalloc(sim.eta, sim.solver_cells);
    tsunami_xcalloc(sim.eta_prev, sim.solver_cells);
    tsunami_xcalloc(sim.rate, sim.solver_cells);
    tsunami_xcalloc(sim.height, sim.bordered_cells);
    tsunami_xcalloc(sim.max_height, sim.bordered_cells);
    tsunami_xcalloc(sim.arrival_s, sim.bordered_cells);
    tsunami_xcalloc(sim.source_height, sim.grid_cells);
    tsunami_xcalloc(sim.source_delay_s, sim.grid_cells);
    tsunami_xcalloc(sim.source_applied, sim.grid_cells);
    tsunami_xcalloc(sim.station_max_m, grid->station_count);
    tsunami_xcalloc(sim.station_arrival_s, grid->station_count);
    reset_simulation(grid, &sim);
    return sim;
}

void reset_simulation(const GridData* grid, Simulation* sim) {
    if (!sim) return;
    ++sim->resets;
    auto zero = [](auto& v) { std::fill(v.begin(), v.end(), 0); };
    zero(sim->eta);
    zero(sim->eta_prev);
    zero(sim->rate);
    zero(sim->height);
    sim->height_stale = false;
    zero(sim->max_height);
    zero(sim->arrival_s);
    zero(sim->source_height);
    zero(sim->source_delay_s);
    zero(sim->source_applied);
    zero(sim->station_max_m);
    zero(sim->station_arrival_s);
    if (!grid || !sim_arrays_fit(*sim) || grid->nx != sim->nx || grid->ny != sim->ny) return;
    if (!plan_built_from(*grid, *sim)) {
        build_plan(grid, sim);
        remember_plan_inputs(*grid, sim);
    }
    // The plan marks exactly the cells the solid test calls solid (no wall coupling).
    const float* self = sim->plan.self_coef.data();
    float* eta = sim->eta.data();
    for (std::size_t i = 0; i < sim->solver_cells; ++i)
        if (self[i] == 0.0f) eta[i] = kWallEta;
    // Only eta holds the wall marker yet: the first two steps cover every cell.
    solver_forget_quiet_cells(sim);
}

void solver_force_portable_kernels(bool portable) {
    g_portable_kernels_forced = portable;
}

void free_simulation(Simulation* sim) {
    if (sim) *sim = Simulation{};
}

void solver_sources_changed(Simulation* sim) {
    if (sim) sim->activity.sources_known = false;
}

void solver_forget_quiet_cells(Simulation* sim) {
    if (!sim) return;
    SolverActivity& a = sim->activity;
    const std::size_t rows = sim->sny;
    a.live_last.resize(2 * rows);
    a.live_before.resize(2 * rows);
    a.live_next.resize(2 * rows);
    // Whatever was written from outside may hold dynamic walls anywhere.
    a.raised_last.assign(rows, 1);
    a.raised_next.assign(rows, 1);
    for (std::size_t r = 0; r < rows; ++r)
        for (auto* spans : {&a.live_last, &a.live_before}) {
            (*spans)[2 * r] = 0;
            (*spans)[2 * r + 1] = std::int32_t(sim->snx);
        }
    a.sources_known = false;
    sim->station_sampling.sampled_from = nullptr;
}

namespace {

void find_source_columns(Simulation* sim) {
    SolverActivity& a = sim->activity;
    const std::size_t nx = sim->nx;
    a.source_cols.assign(2 * std::size_t(sim->ny), 0);
    for (std::size_t gy = 0; gy < sim->ny; ++gy) {
        const float* h = sim->source_height.data() + gy * nx;
        Span cols = kNoSpan;
        for (std::size_t gx = 0; gx < nx; ++gx)
            if (h[gx] != 0.0f) cols.add(int(gx), int(gx) + 1);
        a.source_cols[2 * gy] = cols.lo;
        a.source_cols[2 * gy + 1] = cols.hi;
    }
    a.sources_known = true;
}

}  // namespace

void simulate_one_step(const GridData* grid, Simulation* sim, int t_s) {
    // The plan is built by create/reset; without one (a freed or hand-made value) there is
    // nothing safe to step.
    if (!grid || !sim || !plan_fits(*sim)) return;
    SolverActivity& act = sim->activity;
    if (act.live_last.size() != 2 * std::size_t(sim->sny) ||
        act.live_before.size() != act.live_last.size() ||
        act.live_next.size() != act.live_last.size() || act.raised_last.size() != sim->sny ||
        act.raised_next.size() != sim->sny)
        solver_forget_quiet_cells(sim);
    if (!act.sources_known) find_source_columns(sim);

    // The new field is written over the one from two steps ago.
    std::swap(sim->eta, sim->eta_prev);

    const SolverPlan& p = sim->plan;
    StepView v;
    v.snx = int(sim->snx);
    v.sny = int(sim->sny);
    v.pad = int(sim->pad);
    v.nx = int(sim->nx);
    v.ny = int(sim->ny);
    v.eta_prev = sim->eta_prev.data();
    v.eta = sim->eta.data();
    v.rate = sim->rate.data();
    v.coef_e = p.coef_e.data();
    v.coef_n = p.coef_n.data();
    v.coef_ne = p.coef_ne.data();
    v.coef_nw = p.coef_nw.data();
    v.self_coef = p.self_coef.data();
    v.coastal = p.coastal.data();
    v.damping = p.damping.data();
    v.arrival_factor = p.arrival_factor.data();
    v.max_height = sim->max_height.data();
    v.arrival_s = sim->arrival_s.data();
    v.source_height = sim->source_height.data();
    v.source_delay_s = sim->source_delay_s.data();
    v.source_applied = sim->source_applied.data();
    v.damped_cell = p.damped_cell;
    v.ghost_r = g_coast_reflection_absorb_enabled ? coastal_reflection_keep_per_step() : 1.0f;
    v.t_s = t_s;
    v.ramp_s = std::max(1, g_source_ramp_seconds);
    v.live_last = act.live_last.data();
    v.live_before = act.live_before.data();
    v.live_next = act.live_next.data();
    v.source_cols = act.source_cols.data();
    v.raised_last = act.raised_last.data();
    v.raised_next = act.raised_next.data();
    StationSampling& stations = sim->station_sampling;
    const bool sample = station_sampling_current(grid, *sim);
    v.station_row_start = sample ? stations.row_start.data() : nullptr;
    v.station_solver_index = stations.solver_index.data();
    v.station_eta = stations.eta.data();

    step_all_rows(v);
    sim->height_stale = true;
    stations.sampled_from = sample ? sim->eta.data() : nullptr;

    // The last step's field is the one the next step overwrites.
    std::swap(act.live_before, act.live_last);
    std::swap(act.live_last, act.live_next);
    std::swap(act.raised_last, act.raised_next);
}

namespace {

// What the step would have written as the height of grid cell (gx, gy): 0 where the cell was a
// wall at the start of the last step (a static wall, or eta_prev at the wall threshold), else
// its eta after sources. A cell the step left alone is quiet, and the formula gives its 0 too.
float height_of_cell(const Simulation& sim, std::size_t gx, std::size_t gy) {
    const std::size_t i = (gy + sim.pad) * sim.snx + gx + sim.pad;
    if (sim.plan.self_coef[i] == 0.0f || sim.eta_prev[i] >= kWallThreshold) return 0.0f;
    return sim.eta[i];
}

bool height_derivable(const Simulation& sim) {
    return sim.height_stale && plan_fits(sim) && sim.plan.self_coef.size() == sim.solver_cells;
}

}  // namespace

const std::vector<float>& current_height(const Simulation& sim) {
    if (!height_derivable(sim)) return sim.height;
    const int ny = int(sim.ny);
    const std::size_t nx = sim.nx;
#pragma omp parallel for schedule(static) if (sim.grid_cells > 100000)
    for (int gy = 0; gy < ny; ++gy) {
        float* row = sim.height.data() + (std::size_t(gy) + 1) * nx;
        for (std::size_t gx = 0; gx < nx; ++gx) row[gx] = height_of_cell(sim, gx, std::size_t(gy));
    }
    sim.height_stale = false;
    return sim.height;
}

float current_height_at(const Simulation& sim, std::size_t bordered_index) {
    if (bordered_index >= sim.height.size()) return 0.0f;
    if (!height_derivable(sim)) return sim.height[bordered_index];
    const std::size_t gy = bordered_index / sim.nx, gx = bordered_index % sim.nx;
    if (gy == 0 || gy > sim.ny) return sim.height[bordered_index];  // the border rows stay 0
    return height_of_cell(sim, gx, gy - 1);
}

float global_height_decay_per_step() {
    return kGlobalDecay;
}

void set_coastal_reflection_absorption(int enabled, float loss) {
    g_coast_reflection_absorb_enabled = enabled != 0 ? 1 : 0;
    g_coast_reflection_energy_loss = loss > 0.0f ? std::min(loss, 0.95f) : 0.0f;
}

int coastal_reflection_absorption_enabled() {
    return g_coast_reflection_absorb_enabled;
}

float coastal_reflection_absorption_energy_loss() {
    return g_coast_reflection_energy_loss;
}

float coastal_reflection_keep_per_step() {
    const float r = std::sqrt(1.0f - g_coast_reflection_energy_loss);
    return r > 0.05f ? std::min(r, 1.0f) : 0.05f;
}

int source_ramp_seconds() {
    return g_source_ramp_seconds;
}

float station_shoreline_equiv_factor(float depth_m) {
    double h = depth_m;
    if (!(h >= 1.0)) h = 1.0;
    if (h > 7000.0) h = 7000.0;
    return float(9.145 / std::max(0.0001, 9.145 * std::pow(h, -0.25)));
}

float output_shoaling_factor() {
    return 1.0f;
}

double true_speed_coupling_factor(double grid_row) {
    constexpr double kG = 9.81, kDt = kModelStepSeconds;
    // The stencil's Laplacian weighs the direct neighbours 1 and the diagonals w, which for a
    // long wave adds up to (1 + 2 w) times the continuous one.
    const double stencil = 1.0 + 2.0 * double(kDiagonalWeight);
    const double dx_m = double(cell_km_at_row(float(grid_row))) * 1000.0;
    return kG * kDt * kDt * double(kCouplingScale) / (stencil * dx_m * dx_m);
}

float scaled_coupling(float coef, double grid_row) {
    if (!g_true_wave_speed) return coef;
    const float k = float(true_speed_coupling_factor(grid_row));
    return std::min(coef * k, kMaxStableCoupling);
}

}  // namespace kaitoro
