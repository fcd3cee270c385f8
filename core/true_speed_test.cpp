// The true-speed coupling: the step stays exact and stable with it (the speeds it gives are
// pinned by the golden true-speed runs).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "core/solver.h"
#include "tests/support/reference_step.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

class TrueSpeedTest : public ::testing::Test {
  protected:
    void TearDown() override { g_true_wave_speed = 0; }
};

// A smooth 1 m hump at (x0, y0) released at t = 0.
void add_hump(const GridData& grid, Simulation* sim, int x0, int y0, float sigma) {
    const int r = int(3 * sigma);
    for (int dy = -r; dy <= r; ++dy)
        for (int dx = -r; dx <= r; ++dx) {
            if (!grid.in_grid(x0 + dx, y0 + dy)) continue;
            const std::size_t g = std::size_t(y0 + dy) * grid.nx + std::size_t(x0 + dx);
            sim->source_height[g] = std::exp(-float(dx * dx + dy * dy) / (2 * sigma * sigma));
        }
}

// The factor sits in the plan's coefficients: the optimised step still matches the literal one.
TEST_F(TrueSpeedTest, OptimisedStepMatchesTheReferenceWithTheModeOn) {
    g_true_wave_speed = 1;
    const GridData grid = testing::load_spec(testing::make_realistic_grid(220, 150, 5));
    Simulation fast = create_simulation(&grid);
    std::mt19937 rng(7);
    for (int k = 0; k < 40; ++k) {
        const std::size_t g = rng() % grid.cell_count();
        if (grid.solid[g]) continue;
        fast.source_height[g] = float(int(rng() % 600) - 200) / 100.0f;
        fast.source_delay_s[g] = int(rng() % 4) * 30;
    }
    Simulation ref = fast;
    for (int step = 1; step <= 30; ++step) {
        simulate_one_step(&grid, &fast, step * kModelStepSeconds);
        testing::reference_simulate_one_step(&grid, &ref, step * kModelStepSeconds);
        ASSERT_EQ(0, std::memcmp(fast.eta.data(), ref.eta.data(), fast.eta.size() * 4)) << step;
        ASSERT_EQ(0, std::memcmp(fast.rate.data(), ref.rate.data(), fast.rate.size() * 4)) << step;
    }
    // And the mode did change the plan: at 24.5 N the coupling is about 0.6 of the documented.
    std::size_t i = fast.solver_index_of_cell(0, 10);
    while (fast.plan.coef_e[i] == 0.0f) ++i;
    const float on = fast.plan.coef_e[i];
    g_true_wave_speed = 0;
    reset_simulation(&grid, &fast);
    EXPECT_NEAR(on / fast.plan.coef_e[i], 0.605, 0.01);
}

// North of 44.8 N the factor exceeds 1; over 7000 m of water the coupling would pass the
// leapfrog limit in the northern margin. A long run there must stay bounded.
TEST_F(TrueSpeedTest, DeepWaterAtTheTopRowsStaysStable) {
    g_true_wave_speed = 1;
    EXPECT_NEAR(true_speed_coupling_factor(538), 1.052, 0.002);
    const GridData grid = testing::load_spec(testing::make_ocean(120, 539, 7000.0f));
    Simulation sim = create_simulation(&grid);
    add_hump(grid, &sim, 60, 525, 2.0f);
    float peak = 0;
    for (int step = 1; step <= 600; ++step) {
        simulate_one_step(&grid, &sim, step * kModelStepSeconds);
        if (step % 100) continue;
        peak = 0;
        for (float e : sim.eta)
            if (e < kWallThreshold) peak = std::max(peak, std::fabs(e));
        ASSERT_LT(peak, 1.0f) << "step " << step;
    }
    EXPECT_LT(peak, 0.1f);
}

}  // namespace
}  // namespace kaitoro
