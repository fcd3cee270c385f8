#include "source_design/source_cell.h"

#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <random>

#include "core/driver.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

// Open sea 4000 m deep, 200 x 300 cells (so row 270 exists), with a land block in the corner.
class SourceCellTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto g = testing::make_ocean(200, 300, 4000.0f);
        testing::fill_rect(g, 0, 0, 9, 9, -50.0f);
        testing::install_grid(testing::load_spec(g));
    }
    void TearDown() override { testing::reset_all_globals(); }

    static std::size_t cell(int x, int y) { return std::size_t(y) * g_grid.nx + std::size_t(x); }
    static const SourcePoint& node(std::size_t i) { return g_sources.items[i]; }
};

TEST(SourcePhysics, DepthFactorAndHeightFromSlip) {
    testing::reset_all_globals();
    for (const auto& [km, f] : {std::pair{-5.0f, 1.0f},
                                {0.0f, 1.0f},
                                {10.0f, 0.95f},
                                {15.0f, 0.9f},
                                {200.0f, 0.0f},
                                {250.0f, 0.0f}})
        EXPECT_NEAR(thrust_tsunami_depth_factor_at_km(km), f, 1e-6) << km;

    EXPECT_NEAR(preset_recompute_height_from_slip_depth(-1, 15, 20), 0.2588 * 0.85, 1e-4);
    EXPECT_EQ(preset_recompute_height_from_slip_depth(0.0004f, 15, 20), 0.0f);
    EXPECT_NEAR(preset_recompute_height_from_slip_depth(1, 2, 0), std::sin(5 * M_PI / 180), 1e-6);
    g_strike_slip_mix = 1;
    EXPECT_NEAR(preset_recompute_height_from_slip_depth(1, 15, 5), 0.18, 1e-6);
    EXPECT_NEAR(preset_recompute_height_from_slip_depth(1, 15, 20), 0.18 * std::exp(-0.7489331),
                1e-6);
    g_strike_slip_mix = 0;
}

TEST(SourcePhysics, WidthRadiusAndRowScale) {
    testing::reset_all_globals();
    EXPECT_NEAR(row_latitude_deg(270), 35.913, 1e-3);
    EXPECT_NEAR(cell_km_at_row(270), 4.63344, 1e-4);
    EXPECT_EQ(fault_width_radius_cells_int_at_y(), 2);
    EXPECT_NEAR(fault_width_radius_cells_at_y(270), 2.0847, 1e-4);
    EXPECT_EQ(set_fault_width_km_value(800), 83);
    g_fault_dip_deg = 1;  // read as 5
    EXPECT_EQ(fault_width_radius_cells_int_at_y(), 86);
    EXPECT_FLOAT_EQ(fault_width_radius_cells_at_y(-5000), 120.0f);  // far north: clamped
    EXPECT_EQ(set_fault_width_km_value(NAN), 2);
    EXPECT_EQ(g_fault_width_km, 20.0f);
    set_fault_width_km_value(0.1f);
    EXPECT_EQ(g_fault_width_km, 1.0f);
    EXPECT_FLOAT_EQ(fault_width_radius_cells_at_y(270), 2.0f);
}

TEST(SourcePhysics, SubsidenceSideNames) {
    testing::reset_all_globals();
    EXPECT_STREQ(subsidence_side_name(), "right of strike, toward E");
    g_subsidence_side = -1;
    EXPECT_STREQ(subsidence_side_name(), "left of strike, toward W");
    g_fault_strike_deg = 30;  // 30 - 90 = -60 -> 300, WNW
    EXPECT_STREQ(subsidence_side_name(), "left of strike, toward WNW");
    g_subsidence_side = 0;         // zero counts as left
    g_fault_strike_deg = 101.25f;  // 11.25 -> first NNE
    EXPECT_STREQ(subsidence_side_name(), "left of strike, toward NNE");
}

TEST_F(SourceCellTest, EmptySourceStandsForOneDab) {
    EXPECT_NEAR(current_source_moment_horizontal_area_km2(), 303.45, 0.1);
    EXPECT_NEAR(current_seismic_moment_nm(), 1.8207e19, 0.001e19);
    EXPECT_NEAR(current_moment_magnitude(), 6.7735, 1e-3);
    g_source_profile_mode = 0;  // flat: no fault-plane tilt
    EXPECT_NEAR(current_source_moment_horizontal_area_km2(), 293.1, 0.1);
    EXPECT_EQ(moment_magnitude_from_m0(0), 0.0f);
}

TEST_F(SourceCellTest, MomentCountsUpliftSideNodesOnly) {
    set_source_cell_height(50, 270, 0.3f, 15);  // slip 1 from the brush input
    const double k = cell_km_at_row(270);
    const double f = 1.0 / std::cos(15 * M_PI / 180);
    EXPECT_NEAR(current_source_moment_horizontal_area_km2(), k * k * f, 1e-3);
    EXPECT_NEAR(current_seismic_moment_nm(), 2 * kRigidityPa * k * k * f * 1e6, 1e12);

    source_list_append(&g_sources, 60, 270, -0.5f, 0);  // subsidence: left out
    source_list_append(&g_sources, 70, 270, 2.0f, 0);   // automatic secondary: left out
    g_sources.items[2].fault_id = 3;
    g_sources.items[2].patch_id = -1;
    source_list_append(&g_sources, 80, 270, 0.0f, 0);  // no slip, no uplift: left out
    EXPECT_NEAR(current_source_moment_horizontal_area_km2(), k * k * f, 1e-3);

    // An uplift without slip counts with its height; a factor out of range falls back.
    source_list_append(&g_sources, 90, 270, 0.4f, 0);
    g_sources.items[4].slip_m = 0;
    g_sources.items[4].moment_area_factor = 500;
    g_sources.items[4].dip_deg = 0;  // invalid: the global dip is used
    EXPECT_NEAR(current_seismic_moment_nm(), 2 * kRigidityPa * k * k * f * 1e6 * 1.4, 1e13);
}

TEST_F(SourceCellTest, MergeRulesForEverySignPair) {
    struct Case {
        int mode;
        float first, second, expect_height;
        int changed;
    };
    const Case cases[] = {
        {1, 0.5f, 0.3f, 0.5f, 0},  // same sign: the larger magnitude stays
        {1, 0.3f, 0.5f, 0.5f, 1},  // ... or wins
        {1, -0.3f, -0.2f, -0.3f, 0},  {1, -0.2f, -0.3f, -0.3f, 1},
        {1, -0.3f, 0.5f, 0.5f, 1},  // opposite: wins only when more than 8 % stronger
        {1, -0.3f, 0.31f, -0.3f, 0},  {1, 0.3f, -0.32f, 0.3f, 0},
        {1, 0.3f, -0.33f, -0.33f, 1}, {0, 0.5f, 0.2f, 0.2f, 1},  // flat brush overwrites
        {0, 0.5f, -0.2f, -0.2f, 1},
    };
    int x = 20;
    for (const Case& c : cases) {
        g_source_profile_mode = c.mode;
        ++x;
        ASSERT_EQ(set_source_cell_height(x, 100, c.first, 30), 1);
        EXPECT_EQ(set_source_cell_height(x, 100, c.second, 30), c.changed)
            << c.first << " then " << c.second;
        const long i = source_find_node_at(x, 100);
        ASSERT_GE(i, 0);
        EXPECT_FLOAT_EQ(node(std::size_t(i)).height_m, c.expect_height);
        EXPECT_EQ(node(std::size_t(i)).slip_m, c.expect_height < 0 ? 0.0f : 1.0f);
        EXPECT_FLOAT_EQ(g_sim.source_height[cell(x, 100)], c.expect_height);
    }
    EXPECT_EQ(g_sources.count, std::size(cases));  // one node per cell
}

TEST_F(SourceCellTest, SlipPullsAndDelaysKeepTheEarliestStart) {
    set_source_cell_height(30, 30, 0.2f, 30);
    EXPECT_EQ(node(0).slip_m, 1.0f);
    g_new_source_height_m = 3.0f;  // larger slip pulls strongly
    set_source_cell_height(30, 30, 0.2f, 0);
    EXPECT_FLOAT_EQ(node(0).slip_m, 1.0f + 2.0f * 0.65f);
    EXPECT_EQ(node(0).delay_s, 30);  // 0 counts as not set
    g_new_source_height_m = 0.3f;    // smaller slip pulls weakly
    set_source_cell_height(30, 30, 0.2f, 20);
    EXPECT_FLOAT_EQ(node(0).slip_m, 2.3f + (0.3f - 2.3f) * 0.25f);
    EXPECT_EQ(node(0).delay_s, 20);
    EXPECT_EQ(g_sim.source_delay_s[cell(30, 30)], 20);

    source_list_append(&g_sources, 31, 30, 0.2f, 0);
    set_source_cell_height(31, 30, 0.25f, 45);
    EXPECT_EQ(node(1).delay_s, 45);

    // With no slip input, an uplift carries its own height as slip.
    g_new_source_height_m = 0.0f;
    set_source_cell_height(32, 30, 0.4f, 15);
    EXPECT_FLOAT_EQ(node(2).slip_m, 0.4f);
}

TEST_F(SourceCellTest, SolidCellsGetFootprintsNeverSubsidence) {
    EXPECT_EQ(set_source_cell_height(5, 5, -0.4f, 15), 0);
    EXPECT_EQ(g_sources.count, 0u);
    EXPECT_EQ(set_source_cell_height(5, 5, 0.4f, 15), 1);
    ASSERT_EQ(g_sources.count, 1u);
    EXPECT_EQ(node(0).height_m, 0.0f);
    EXPECT_EQ(node(0).slip_m, 1.0f);
    EXPECT_EQ(g_sim.source_delay_s[cell(5, 5)], 15);
    EXPECT_EQ(set_source_cell_height(5, 5, 0.4f, 15), 1);  // a footprint on a node always counts
    EXPECT_EQ(g_sources.count, 1u);
    EXPECT_EQ(set_source_cell_height(-1, 5, 0.4f, 15), 0);
    EXPECT_EQ(set_source_cell_height(5, 300, 0.4f, 15), 0);

    // A footprint on a sea node keeps its height and its ramp.
    set_source_cell_height(50, 50, 0.3f, 60);
    g_sim.source_applied[cell(50, 50)] = 0.7f;
    EXPECT_EQ(set_source_cell_footprint_only(50, 50, 45), 1);
    EXPECT_EQ((std::vector<float>{node(1).height_m, float(node(1).delay_s),
                                  float(g_sim.source_delay_s[cell(50, 50)]),
                                  g_sim.source_applied[cell(50, 50)]}),
              (std::vector<float>{0.3f, 45, 45, 0.7f}));
    EXPECT_EQ(set_source_cell_footprint_only(50, 50, 0), 1);
    EXPECT_EQ(node(1).delay_s, 45);
}

TEST_F(SourceCellTest, ForcedWriteOverwritesWithoutTouchingMetadata) {
    set_source_cell_height(40, 40, 0.5f, 30);
    g_sources.items[0].dip_deg = 33;
    g_sim.source_applied[cell(40, 40)] = 1;
    EXPECT_EQ(set_source_cell_height_force(40, 40, -0.1f, 90), 1);
    EXPECT_EQ((std::vector<float>{node(0).height_m, node(0).slip_m, float(node(0).delay_s),
                                  node(0).dip_deg, g_sim.source_applied[cell(40, 40)]}),
              (std::vector<float>{-0.1f, 0, 90, 33, 0}));
    EXPECT_EQ(set_source_cell_height_force(41, 40, 0.2f, 90), 1);
    EXPECT_FLOAT_EQ(node(1).dip_deg, 15.0f);
    EXPECT_NEAR(node(1).moment_area_factor, 1 / std::cos(15 * M_PI / 180), 1e-6);
}

TEST_F(SourceCellTest, MetadataFollowsTheSettings) {
    SourcePoint p;
    g_fault_dip_deg = 2;
    source_apply_current_fault_metadata(&p);
    EXPECT_EQ(p.dip_deg, 5.0f);
    EXPECT_NEAR(p.moment_area_factor, 1.00382f, 1e-5);
    EXPECT_EQ(p.fault_id, 0);
    g_source_profile_mode = 0;
    g_active_stamp_fault_id = 4;
    g_active_stamp_patch_id = 7;
    g_fault_width_km = 2000;
    g_fault_strike_deg = 190;
    source_apply_current_fault_metadata(&p);
    // factor, ids, width (limited, and written back), strike, depth and length
    EXPECT_EQ(
        (std::vector<float>{p.moment_area_factor, float(p.fault_id), float(p.patch_id), p.width_km,
                            g_fault_width_km, p.strike_deg, p.depth_km, p.length_km}),
        (std::vector<float>{1, 4, 7, 800, 800, 190, 20, 40}));
    source_apply_current_fault_metadata(nullptr);
}

// The index must always answer exactly what a linear search would, whatever edits the list
// went through, including edits made behind its back.
TEST_F(SourceCellTest, IndexAgreesWithLinearSearchUnderAnyEdit) {
    std::mt19937 rng(7);
    auto linear = [](int x, int y) -> long {
        for (std::size_t i = 0; i < g_sources.count; ++i)
            if (g_sources.items[i].grid_x == x && g_sources.items[i].grid_y == y) return long(i);
        return -1;
    };
    auto rnd = [&](int n) { return int(rng() % unsigned(n)); };
    for (int step = 0; step < 3000; ++step) {
        const int op = rnd(10);
        const int x = 20 + rnd(12), y = 20 + rnd(12);
        if (op < 4)
            set_source_cell_height(x, y, 0.1f + 0.1f * rnd(5), rnd(3) * 15);
        else if (op == 4)
            source_list_append(&g_sources, x, y, 0.3f, 0);  // duplicates allowed
        else if (op == 5 && g_sources.count > 0) {          // move a node
            SourcePoint& p = g_sources.items[std::size_t(rnd(int(g_sources.count)))];
            p.grid_x = x;
            p.grid_y = y;
        } else if (op == 6 && g_sources.count > 0) {  // delete one, keeping the order
            const std::size_t k = std::size_t(rnd(int(g_sources.count)));
            for (std::size_t i = k + 1; i < g_sources.count; ++i)
                g_sources.items[i - 1] = g_sources.items[i];
            --g_sources.count;
        } else if (op == 7 && rnd(20) == 0) {
            source_list_clear(&g_sources);
        } else if (op == 8 && g_sources.count > 0) {  // off the grid
            g_sources.items[std::size_t(rnd(int(g_sources.count)))].grid_x = -3;
        }
        for (int k = 0; k < 4; ++k) {
            const int qx = 20 + rnd(12), qy = 20 + rnd(12);
            ASSERT_EQ(source_find_node_at(qx, qy), linear(qx, qy)) << "step " << step;
        }
    }
}

TEST_F(SourceCellTest, IndexFollowsANewGrid) {
    set_source_cell_height(150, 250, 0.3f, 0);
    ASSERT_EQ(source_find_node_at(150, 250), 0);
    testing::install_grid(testing::load_spec(testing::make_ocean(20, 20, 100.0f)));
    EXPECT_EQ(source_find_node_at(5, 5), -1);
    source_list_append(&g_sources, 5, 5, 0.3f, 0);
    EXPECT_EQ(source_find_node_at(5, 5), 0);
}

}  // namespace
}  // namespace kaitoro
