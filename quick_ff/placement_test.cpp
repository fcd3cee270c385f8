#include "quick_ff/placement.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "core/driver.h"
#include "core/status.h"
#include "quick_ff/ff_grid.h"
#include "source_design/source_cell.h"
#include "source_design/undo.h"
#include "tests/support/global_state.h"
#include "tests/support/source_fixtures.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

using testing::set_quick_ff_cell;

class QuickFfPlacementTest : public ::testing::Test {
  protected:
    void SetUp() override { install(testing::make_ocean(60, 60, 3000.0f)); }
    void TearDown() override { testing::reset_all_globals(); }

    static void install(const testing::GridSpec& grid) {
        testing::install_grid(testing::load_spec(grid));
        quick_ff_init_empty_grid(7, 7, 0);
    }
};

TEST_F(QuickFfPlacementTest, DepthsAreClampedToTheFaultRange) {
    set_quick_ff_cell(2, 2, 1, 0, 60);
    set_quick_ff_cell(5, 2, 1, 0, 60);  // three rows down dip at 60 degrees
    g_source_depth_km = 690;
    quick_ff_apply_at(30, 30);
    float deepest = 0, shallowest = 1e9f;
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        deepest = std::max(deepest, g_sources[i].depth_km);
        shallowest = std::min(shallowest, g_sources[i].depth_km);
        if (g_sources[i].patch_id == 38) {
            EXPECT_FLOAT_EQ(g_sources[i].depth_km, 700.0f);
        }
    }
    EXPECT_FLOAT_EQ(deepest, 700.0f);
    EXPECT_LT(shallowest, 690.0f);

    source_undo_restore(nullptr);
    g_source_depth_km = -100;
    quick_ff_apply_at(30, 30);
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        if (g_sources[i].grid_x <= 30) {
            EXPECT_FLOAT_EQ(g_sources[i].depth_km, 0.0f);
        }
    }
}

TEST_F(QuickFfPlacementTest, OneUndoStepRestoresTheSourceBeforePlacement) {
    source_list_append(&g_sources, 5, 5, 1.5f, 30);
    set_quick_ff_cell(2, 2, 3, 0);
    set_quick_ff_cell(2, 3, 3, 10);
    quick_ff_apply_at(20, 20);
    EXPECT_GT(g_sources.count, 10u);
    EXPECT_EQ(g_source_undo_count, 1);
    source_undo_restore(nullptr);
    ASSERT_EQ(g_sources.count, 1u);
    EXPECT_FLOAT_EQ(g_sources[0].height_m, 1.5f);

    // A grid without active patches still pushes the step and restarts the run.
    quick_ff_init_empty_grid(7, 7, 0);
    g_time_s = 300;
    EXPECT_EQ(quick_ff_apply_at(20, 20), 0);
    EXPECT_EQ(g_source_undo_count, 1);
    EXPECT_EQ(g_time_s, 0);
    EXPECT_NE(std::string(g_status).find(": 0 source cell(s), 0 patch cell(s). Epicenter cell=C3."),
              std::string::npos);
}

TEST_F(QuickFfPlacementTest, LandCellsKeepSlipButMoveNoWater) {
    testing::GridSpec coast = testing::make_ocean(60, 60, 3000.0f);
    testing::fill_rect(coast, 31, 0, 59, 59, -10.0f);
    install(coast);
    set_quick_ff_cell(2, 2, 2, 0);
    quick_ff_apply_at(30, 30);
    int on_land = 0;
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        const SourcePoint& p = g_sources[i];
        if (p.grid_x < 31) continue;
        ++on_land;
        EXPECT_FLOAT_EQ(p.height_m, 0.0f);
        EXPECT_FLOAT_EQ(p.slip_m, 2.0f);
    }
    EXPECT_GT(on_land, 0);
}

TEST_F(QuickFfPlacementTest, PlacementModeKeys) {
    using R = QuickFfKeyResult;
    EXPECT_EQ(quick_ff_placement_key('Z', 0, 0, 0, 0, 0), R::NotHandled);  // mode off
    set_quick_ff_cell(2, 2, 1, 0);
    quick_ff_enter_place_mode();
    EXPECT_STREQ(g_status,
                 "Quick finite-fault placement: mouse=epicenter C3; click/Enter apply; Z/X strike "
                 "0; J/K length 40.0 km; </> width 20.0 km; Esc cancels.");

    g_fault_strike_deg = 355;
    EXPECT_EQ(quick_ff_placement_key('X', 1, 0, 0, 0, 0), R::Handled);
    EXPECT_FLOAT_EQ(g_fault_strike_deg, 10.0f);
    quick_ff_placement_key('Z', 1, 1, 0, 0, 0);  // Ctrl wins over Shift
    EXPECT_FLOAT_EQ(g_fault_strike_deg, 9.0f);
    quick_ff_placement_key('Z', 0, 0, 0, 0, 0);
    EXPECT_FLOAT_EQ(g_fault_strike_deg, 4.0f);
    quick_ff_placement_key('Z', 0, 0, 0, 0, 0);
    EXPECT_FLOAT_EQ(g_fault_strike_deg, 359.0f);

    g_fault_stamp_length_km = 7;
    quick_ff_placement_key('J', 1, 0, 0, 0, 0);
    EXPECT_FLOAT_EQ(g_fault_stamp_length_km, 5.0f);
    quick_ff_placement_key('K', 0, 0, 0, 0, 0);
    EXPECT_FLOAT_EQ(g_fault_stamp_length_km, 10.0f);
    g_fault_stamp_length_km = INFINITY;
    quick_ff_placement_key('K', 0, 0, 0, 0, 0);
    EXPECT_FLOAT_EQ(g_fault_stamp_length_km, 40.0f);

    g_fault_width_km = 0.5f;  // reads as 1 km
    EXPECT_FLOAT_EQ(quick_ff_layout_width_cells(0.1f), std::cos(15 * 0.017453292f) * 10.0f);
    quick_ff_placement_key('.', 1, 0, 0, 0, 0);
    EXPECT_FLOAT_EQ(g_fault_width_km, 21.0f);
    quick_ff_placement_key(',', 0, 0, 0, 0, 0);
    EXPECT_FLOAT_EQ(g_fault_width_km, 16.0f);
    EXPECT_STREQ(g_status,
                 "Quick FF placement: patch width 16.0 km, length 40.0 km. Width changed only; "
                 "J/K changes length.");

    EXPECT_EQ(quick_ff_placement_key('S', 0, 0, 0, 0, 0), R::OpenEditor);
    EXPECT_EQ(quick_ff_placement_key('Q', 0, 0, 0, 0, 0), R::NotHandled);
    EXPECT_EQ(quick_ff_placement_key(kQuickFfKeyEnter, 0, 0, 0, 0, 0), R::Handled);
    EXPECT_EQ(g_sources.count, 0u);
    EXPECT_EQ(g_quick_ff_place_mode, 1);

    quick_ff_placement_hover(12, 34);
    EXPECT_STREQ(g_status,
                 "Quick finite-fault grid preview: C3 epicenter x=12 y=34 | strike 359 deg | "
                 "length 40.0 km | width 16.0 km | click/Enter apply.");

    EXPECT_EQ(quick_ff_placement_click(0, 12, 34), 0);  // off the map
    EXPECT_EQ(g_quick_ff_place_mode, 1);

    EXPECT_EQ(quick_ff_placement_key(kQuickFfKeyEnter, 0, 0, 1, 12, 34), R::Placed);
    EXPECT_EQ(g_quick_ff_place_mode, 0);
    EXPECT_GT(g_sources.count, 0u);

    quick_ff_enter_place_mode();
    EXPECT_EQ(quick_ff_placement_key(kQuickFfKeyEscape, 0, 0, 1, 12, 34), R::Cancelled);
    EXPECT_EQ(g_quick_ff_place_mode, 0);

    quick_ff_enter_place_mode();
    EXPECT_EQ(quick_ff_placement_click(1, 40, 40), 1);
    EXPECT_EQ(g_quick_ff_place_mode, 0);
    EXPECT_EQ(g_source_undo_count, 2);
}

}  // namespace
}  // namespace kaitoro
