#include "source_design/strike_slip.h"

#include <gtest/gtest.h>

#include <cmath>

#include "core/driver.h"
#include "source_design/brush.h"
#include "source_design/source_cell.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

// A flat sea floor, so the slope gain is 0.35 everywhere.
class StrikeSlipTest : public ::testing::Test {
  protected:
    void SetUp() override {
        testing::install_grid(testing::load_spec(testing::make_ocean(200, 300, 4000.0f)));
        g_strike_slip_mix = 1;
    }
    void TearDown() override { testing::reset_all_globals(); }

    static float at(int x, int y) {
        const long i = source_find_node_at(x, y);
        return i < 0 ? NAN : g_sources.items[std::size_t(i)].height_m;
    }
};

TEST_F(StrikeSlipTest, WorkedValuesAlongAnEastWardStroke) {
    const int n = repaint_strike_slip_long_segment(100, 270, 110, 270, 0, 0);
    EXPECT_EQ(std::size_t(n), g_sources.count);
    EXPECT_NEAR(fault_plane_cell_depth_km(100, 270, 100, 271, 0, 1, 2), 23.72, 0.01);
    EXPECT_NEAR(fault_plane_cell_depth_km(100, 270, 100, 269, 0, 1, 2), 21.24, 0.01);
    EXPECT_NEAR(at(100, 271), -0.0194, 1e-4);
    EXPECT_NEAR(at(110, 271), 0.0194, 1e-4);
    EXPECT_NEAR(at(100, 269), 0.0234, 1e-4);
    EXPECT_TRUE(std::isnan(at(105, 271)));             // computes 0: not written
    for (std::size_t i = 0; i < g_sources.count; ++i)  // only within two cells of the line
        EXPECT_LT(std::abs(g_sources.items[i].grid_y - 270), 2);

    // Delays run along the stroke from the start cursor.
    EXPECT_EQ(g_sources.items[std::size_t(source_find_node_at(100, 271))].delay_s, 15);
    EXPECT_EQ(g_sources.items[std::size_t(source_find_node_at(110, 271))].delay_s,
              int(std::lround(10 * cell_km_at_row(270) / 2.5)) + 15);
}

TEST_F(StrikeSlipTest, SignFollowsSenseSideAndEnd) {
    repaint_strike_slip_long_segment(100, 270, 110, 270, 0, 0);
    const float start_left = at(100, 271), start_right = at(100, 269);
    const float end_left = at(110, 271), end_right = at(110, 269);
    EXPECT_LT(start_left * start_right, 0);
    EXPECT_LT(start_left * end_left, 0);
    EXPECT_LT(end_left * end_right, 0);

    source_list_clear(&g_sources);
    g_strike_slip_sense = -1;
    repaint_strike_slip_long_segment(100, 270, 110, 270, 0, 0);
    EXPECT_FLOAT_EQ(at(100, 271), -start_left);
    EXPECT_FLOAT_EQ(at(110, 269), -end_right);
}

TEST_F(StrikeSlipTest, MixedShareMergesAtAQuarterOfTheAmplitude) {
    repaint_strike_slip_long_segment(100, 270, 110, 270, 0, 0);
    const float full = at(100, 269);
    source_list_clear(&g_sources);
    g_strike_slip_mix = 0.5f;
    repaint_strike_slip_long_segment(100, 270, 110, 270, 0, 0);
    EXPECT_NEAR(at(100, 269), full / 4, 1e-6);
}

TEST_F(StrikeSlipTest, StrokesThatDoNotQualifyChangeNothing) {
    EXPECT_EQ(repaint_strike_slip_long_segment(100, 270, 101, 271, 0, 0), 0);  // shorter than 2
    EXPECT_EQ(repaint_strike_slip_long_segment(100, 270, 100, 270, 0, 0), 0);
    g_source_profile_mode = 0;
    EXPECT_EQ(repaint_strike_slip_long_segment(100, 270, 110, 270, 0, 0), 0);
    g_source_profile_mode = 1;
    g_strike_slip_mix = 0;
    EXPECT_EQ(repaint_strike_slip_long_segment(100, 270, 110, 270, 0, 0), 0);
    g_strike_slip_mix = 1;
    g_new_source_height_m = 0.001f;  // too small to see, and the fault is shallow
    EXPECT_EQ(repaint_strike_slip_long_segment(100, 270, 110, 270, 0, 0), 0);
    EXPECT_EQ(g_sources.count, 0u);
}

TEST_F(StrikeSlipTest, PureStrikeSlipReplacesTheStrokesDabs) {
    set_source_cell_height(100, 271, 0.5f, 15);  // before the stroke: overwritten where reached
    set_source_cell_height(150, 150, 0.5f, 15);  // before the stroke, out of reach: kept
    const std::size_t start = g_sources.count;
    brush_stroke_press(1, 100, 270, 0, 0);
    brush_stroke_move(1, 110, 270);
    ASSERT_GT(g_sources.count, start);
    const float far_dab = at(104, 273);  // a dab cell beyond the band
    ASSERT_FALSE(std::isnan(far_dab));
    brush_stroke_release();
    EXPECT_TRUE(std::isnan(at(104, 273)));
    EXPECT_EQ(g_sim.source_height[std::size_t(273) * 200 + 104], 0.0f);
    EXPECT_NEAR(at(100, 271), -0.0194, 1e-4);
    EXPECT_FLOAT_EQ(at(150, 150), 0.5f);
    for (std::size_t i = start; i < g_sources.count; ++i)
        EXPECT_LT(std::abs(g_sources.items[i].grid_y - 270), 2);
}

}  // namespace
}  // namespace kaitoro
