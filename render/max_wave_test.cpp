#include "render/max_wave.h"

#include <gtest/gtest.h>

#include <cstring>

#include "core/driver.h"
#include "core/status.h"
#include "render/colors.h"
#include "render/scene.h"
#include "render/viewport.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

class ContourTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto layout = testing::make_ocean(12, 10, 1000.0f);
        testing::fill_rect(layout, 0, 0, 1, 9, -10.0f);  // land in the two western columns
        testing::install_grid(testing::load_spec(layout));
        std::fill(g_grid.hidden.begin(), g_grid.hidden.end(), 0);
    }
    void TearDown() override { testing::reset_all_globals(); }
    void arrive(int x, int y, int t) { g_sim.arrival_s[g_sim.bordered_index(x, y)] = t; }
    int cls(int x, int y) { return arrival_contour_for_grid_cell(x, y); }
};

TEST_F(ContourTest, NoArrivalLandAndHiddenCellsNeverDrawLines) {
    arrive(6, 5, 3600);
    for (int t : {0, -40}) {
        arrive(5, 5, t);
        EXPECT_EQ(cls(5, 5), 0) << t;
    }

    // Land cell with an arrival value, and a sea cell whose only differing neighbour is land.
    arrive(1, 5, 3600);
    EXPECT_EQ(cls(1, 5), 0);
    arrive(2, 5, 700);
    arrive(3, 5, 700);
    arrive(2, 4, 700);
    arrive(2, 6, 700);
    arrive(1, 5, 1300);
    EXPECT_EQ(cls(2, 5), 0);
    // Hidden cells are neither lines nor neighbours.
    arrive(3, 5, 1300);
    EXPECT_EQ(cls(2, 5), 1);
    g_grid.hidden[std::size_t(5) * g_grid.nx + 3] = 1;
    EXPECT_EQ(cls(2, 5), 0);
    EXPECT_EQ(cls(3, 5), 0);
    // Outside the grid.
    EXPECT_EQ(cls(-1, 0), 0);
    EXPECT_EQ(cls(12, 0), 0);
    // With the land/sea display inverted, the former sea is land.
    arrive(8, 8, 3600);
    EXPECT_EQ(arrival_contour_class(&g_grid, &g_sim, 1, 8, 8), 0);
    EXPECT_EQ(arrival_contour_class(&g_grid, &g_sim, 1, 1, 5), 0);  // neighbours of land-as-sea
    arrive(1, 5, 3600);
    EXPECT_EQ(arrival_contour_class(&g_grid, &g_sim, 1, 1, 5), 3);
}

TEST_F(ContourTest, RowClassesMatchTheCellRuleOnRandomFields) {
    std::uint32_t seed = 12345;
    auto rnd = [&](int n) {
        seed = seed * 1103515245u + 12345u;
        return int((seed >> 16) % std::uint32_t(n));
    };
    for (int trial = 0; trial < 20; ++trial) {
        for (std::size_t c = 0; c < g_grid.cell_count(); ++c) {
            g_grid.land[c] = rnd(6) == 0;
            g_grid.hidden[c] = rnd(15) == 0;
        }
        for (auto& t : g_sim.arrival_s) t = rnd(8) == 0 ? 0 : rnd(4000) - 100;
        const int invert = trial % 2;
        std::vector<std::uint8_t> row(g_grid.nx);
        for (int y = 0; y < int(g_grid.ny); ++y) {
            arrival_contour_row(&g_grid, &g_sim, invert, y, row.data());
            for (int x = 0; x < int(g_grid.nx); ++x)
                ASSERT_EQ(row[std::size_t(x)], arrival_contour_class(&g_grid, &g_sim, invert, x, y))
                    << "trial " << trial << " cell " << x << "," << y;
        }
    }
}

}  // namespace
}  // namespace kaitoro
