// The true-speed coupling: the scheme's long waves travel at sqrt(g h) at every latitude with it,
// 1.41 cos(latitude) times that without it, and the step stays stable and exact.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "core/geo.h"
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

// Step of the largest height at one cell, refined by a parabola through its neighbours.
double peak_step(const std::vector<float>& series) {
    std::size_t k = 1;
    for (std::size_t i = 1; i + 1 < series.size(); ++i)
        if (series[i] > series[k]) k = i;
    const double a = series[k - 1], b = series[k], c = series[k + 1];
    return double(k) + 0.5 * (a - c) / (a - 2 * b + c);
}

// Cells per step along each row, from the peak's travel between 30 and 90 cells east of a hump
// on that row. The rows are far enough apart that the humps do not meet within the run.
std::vector<double> measured_speeds(const std::vector<int>& rows, float depth) {
    const GridData grid = testing::load_spec(testing::make_ocean(180, 520, depth));
    Simulation sim = create_simulation(&grid);
    const int x0 = 30;
    for (int row : rows) add_hump(grid, &sim, x0, row, 3.0f);
    std::vector<std::vector<float>> near_cell(rows.size()), far_cell(rows.size());
    for (int step = 1; step <= 200; ++step) {
        simulate_one_step(&grid, &sim, step * kModelStepSeconds);
        for (std::size_t k = 0; k < rows.size(); ++k) {
            near_cell[k].push_back(sim.height[sim.bordered_index(x0 + 30, rows[k])]);
            far_cell[k].push_back(sim.height[sim.bordered_index(x0 + 90, rows[k])]);
        }
    }
    std::vector<double> speeds;
    for (std::size_t k = 0; k < rows.size(); ++k)
        speeds.push_back(60.0 / (peak_step(far_cell[k]) - peak_step(near_cell[k])));
    return speeds;
}

TEST_F(TrueSpeedTest, FrontSpeedIsSqrtGhWithTheModeAnd141CosLatitudeTimesItWithout) {
    const float depth = 4000.0f;
    const double lats[] = {24.0, 35.0, 45.0};
    std::vector<int> rows;
    for (double lat : lats) {
        float gx, gy;
        grid_xy_from_latlon(float(lat), 135.8f, &gx, &gy);
        rows.push_back(int(std::lround(gy)));
    }
    g_true_wave_speed = 1;
    const std::vector<double> on = measured_speeds(rows, depth);
    g_true_wave_speed = 0;
    const std::vector<double> off = measured_speeds(rows, depth);
    for (std::size_t k = 0; k < rows.size(); ++k) {
        const int row = rows[k];
        const double dx_m = cell_km_at_row(float(row)) * 1000.0;
        const double physical = std::sqrt(9.81 * depth) * kModelStepSeconds / dx_m;
        const double scheme = std::sqrt((1 + 2 * 0.70710677) * depth / 18000.0);
        // The documented coupling is 1.41 cos(latitude) times too fast.
        EXPECT_NEAR(scheme / physical, 1.4104 * std::cos(row_latitude_deg(float(row)) * M_PI / 180),
                    2e-3);
        EXPECT_NEAR(on[k] / physical, 1.0, 0.02) << lats[k] << " N: " << on[k] << " vs " << physical;
        EXPECT_NEAR(off[k] / scheme, 1.0, 0.02) << lats[k] << " N: " << off[k] << " vs " << scheme;
        std::printf("[ speed    ] %.0f N row %d: on %.4f (sqrt(gh) %.4f), off %.4f (scheme %.4f) "
                    "cells/step\n",
                    lats[k], row, on[k], physical, off[k], scheme);
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
