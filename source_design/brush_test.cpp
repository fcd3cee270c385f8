#include "source_design/brush.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>

#include "core/driver.h"
#include "core/status.h"
#include "source_design/source_cell.h"
#include "source_design/undo.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

using Heights = std::map<std::pair<int, int>, float>;

Heights heights() {
    Heights h;
    for (std::size_t i = 0; i < g_sources.count; ++i)
        h[{g_sources.items[i].grid_x, g_sources.items[i].grid_y}] = g_sources.items[i].height_m;
    return h;
}

float height_at(int x, int y) {
    const long i = source_find_node_at(x, y);
    return i < 0 ? NAN : g_sources.items[std::size_t(i)].height_m;
}

int delay_at(int x, int y) {
    const long i = source_find_node_at(x, y);
    return i < 0 ? -1 : g_sources.items[std::size_t(i)].delay_s;
}

// Flat open sea 4000 m deep, 200 x 300 cells, with land in the south-west corner.
class BrushTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto g = testing::make_ocean(200, 300, 4000.0f);
        testing::fill_rect(g, 0, 0, 9, 9, -50.0f);
        testing::install_grid(testing::load_spec(g));
        set_platform(&fp_.fake);  // the reset above put the headless one back
    }
    void TearDown() override { testing::reset_all_globals(); }
    testing::ScopedFakePlatform fp_;
};

TEST_F(BrushTest, DefaultCurvedDabGeometryAndCentre) {
    const CurvedDabGeometry g = curved_dab_geometry(270);
    EXPECT_EQ((std::vector<double>{double(g.r), double(g.a_main), double(g.b_main), double(g.a_sub),
                                   double(g.b_sub), double(g.e_off), double(g.g_ss), double(g.h_ss),
                                   g.b_end, g.a_end, double(g.off), double(g.ext)}),
              (std::vector<double>{2, 2, 2, 3, 2, 2, 4, 2, 2, 2, 4, 18}));

    const int n = paint_source_disc(100, 270);
    EXPECT_EQ(std::size_t(n), g_sources.count);
    EXPECT_NEAR(fault_plane_cell_depth_km(100, 270, 100, 270, 1, 0, 4), 24.97, 0.01);
    EXPECT_NEAR(height_at(100, 270), 0.2106, 1e-4);
    EXPECT_LT(height_at(102, 270), 0);  // the main subsidence lobe lies east, right of strike 0
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        const SourcePoint& p = g_sources.items[i];
        EXPECT_GE(std::fabs(p.height_m), kSourceZeroEps);
        EXPECT_LE(std::abs(p.grid_x - 100), 18);
        EXPECT_EQ(p.delay_s, 15);
        EXPECT_EQ(p.slip_m, p.height_m > 0 ? 1.0f : 0.0f);
    }

    // The other side mirrors the dab exactly.
    const Heights right = heights();
    source_list_clear(&g_sources);
    g_subsidence_side = -1;
    paint_source_disc(100, 270);
    const Heights left = heights();
    ASSERT_EQ(left.size(), right.size());
    for (const auto& [xy, h] : right) EXPECT_FLOAT_EQ(left.at({200 - xy.first, xy.second}), h);
}

TEST_F(BrushTest, FlatDabIsAUniformDisc) {
    g_source_profile_mode = 0;
    EXPECT_EQ(paint_source_disc(100, 270), 13);
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        EXPECT_NEAR(g_sources.items[i].height_m, 0.21999, 1e-4);
        EXPECT_EQ(g_sources.items[i].moment_area_factor, 1.0f);
    }
    EXPECT_EQ(paint_source_disc(100, 270), 0);  // same values again change nothing
    EXPECT_EQ(paint_source_disc(-30, 270), 0);
}

TEST_F(BrushTest, DeepFaultLeavesFootprintsAndDelaysNeverStartInThePast) {
    g_source_depth_km = 300;  // depth factor 0: no visible uplift
    const int n = paint_source_disc(100, 200);
    EXPECT_GT(n, 0);
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        EXPECT_EQ(g_sources.items[i].height_m, 0.0f);
        EXPECT_EQ(g_sources.items[i].slip_m, 1.0f);
    }
    g_time_s = 600;
    g_rupture_delay_cursor_s = 30;  // 30 + 15 = 45, already past
    EXPECT_EQ(brush_dab_delay_s(), 601);
    g_active_paint_delay_override_s = 900;
    EXPECT_EQ(brush_dab_delay_s(), 900);
    g_rupture_delay_cursor_s = 1e30f;  // saturates rather than overflowing
    g_active_paint_delay_override_s = -1;
    EXPECT_GT(brush_dab_delay_s(), 600);
}

TEST_F(BrushTest, SubsidenceLobeTurnsWithTheStrike) {
    // Strike 90 runs along +x, so the main subsidence lobe lies on a row above or below the
    // dab, never beside it: right of strike is row y - e_off, and the other side mirrors it.
    g_fault_strike_deg = 90;
    paint_source_disc(100, 150);
    EXPECT_LT(height_at(100, 148), 0.0f);
    EXPECT_LT(height_at(100, 148), height_at(100, 152));
    source_list_clear(&g_sources);
    g_subsidence_side = -1;
    paint_source_disc(100, 150);
    EXPECT_LT(height_at(100, 152), 0.0f);
    EXPECT_LT(height_at(100, 152), height_at(100, 148));
}

TEST(BrushSlope, ASlopeDownDipGainsMoreThanOneAlongStrike) {
    // The same gradient once across strike 0 (eastward) and once along it (northward): the
    // across-strike slope counts in full, the along-strike one at 60 %.
    auto paint_on = [](bool eastward) {
        auto g = testing::make_ocean(120, 120, 100.0f);
        for (int y = 0; y < 120; ++y)
            for (int x = 0; x < 120; ++x) g.at(x, y) = 1000.0f + 50.0f * float(eastward ? x : y);
        testing::install_grid(testing::load_spec(g));
        g_strike_slip_mix = 1;
        paint_source_disc(60, 60);
        return heights();
    };
    const Heights east = paint_on(true), north = paint_on(false);
    ASSERT_EQ(east.size(), north.size());
    for (const auto& [xy, h] : east)
        EXPECT_TRUE(std::fabs(h) <= 1e-3f || std::fabs(h) > std::fabs(north.at(xy))) << xy.first;
    testing::reset_all_globals();
}

TEST(BrushSlope, StrikeSlipSenseNegatesTheDab) {
    // A sea floor that deepens eastward and northward, so the slope gain varies.
    auto g = testing::make_ocean(120, 120, 100.0f);
    for (int y = 0; y < 120; ++y)
        for (int x = 0; x < 120; ++x) g.at(x, y) = 100.0f + 40.0f * x + 7.0f * y;
    testing::install_grid(testing::load_spec(g));
    g_strike_slip_mix = 1;
    g_fault_strike_deg = 30;
    paint_source_disc(60, 60);
    const Heights plus = heights();
    ASSERT_GT(plus.size(), 10u);
    source_list_clear(&g_sources);
    g_strike_slip_sense = -1;
    paint_source_disc(60, 60);
    const Heights minus = heights();
    ASSERT_EQ(minus.size(), plus.size());
    bool gain_varies = false;
    for (const auto& [xy, h] : plus) {
        EXPECT_FLOAT_EQ(minus.at(xy), -h);
        gain_varies |= std::fabs(std::fabs(h) - std::fabs(plus.begin()->second)) > 1e-3;
    }
    EXPECT_TRUE(gain_varies);
    testing::reset_all_globals();
}

TEST_F(BrushTest, SegmentTimingAdvancesTheCursor) {
    g_source_profile_mode = 0;
    paint_source_line(100, 270, 110, 270);
    EXPECT_NEAR(g_rupture_delay_cursor_s, 46.334 / 2.5, 0.01);
    EXPECT_NEAR(g_fault_strike_deg, 90.0, 1e-4);
    EXPECT_EQ(g_active_paint_delay_override_s, -1);
    for (int x = 101; x <= 112; ++x) EXPECT_GE(delay_at(x, 270), delay_at(x - 1, 270)) << x;
    EXPECT_EQ(delay_at(100, 270), 15);

    // Bilateral: half the cursor advance, the latest start in the middle of the segment.
    source_list_clear(&g_sources);
    reset_simulation(&g_grid, &g_sim);
    g_rupture_delay_cursor_s = 0;
    g_bilateral_rupture = 1;
    paint_source_line(100, 270, 110, 270);
    EXPECT_NEAR(g_rupture_delay_cursor_s, 46.334 / 5.0, 0.01);
    int latest_x = -1, latest = -1;
    for (int x = 98; x <= 112; ++x)
        if (delay_at(x, 270) > latest) latest = delay_at(x, 270), latest_x = x;
    EXPECT_EQ(latest_x, 105);
}

TEST_F(BrushTest, StrikeSmoothingWaitsForEnoughDrag) {
    g_source_profile_mode = 0;
    brush_stroke_press(1, 100, 150, 0, 0);
    for (int i = 0; i < 3; ++i) paint_source_line(100 + i, 150, 101 + i, 150);  // 3 cells
    EXPECT_EQ(g_fault_strike_deg, 0.0f);
    paint_source_line(103, 150, 104, 150);  // 4 >= 1.25 * 2 + 0.75: first update, taken as is
    EXPECT_NEAR(g_fault_strike_deg, 90.0, 1e-4);
    paint_source_line(104, 150, 104, 154);  // north: blended in with alpha = 1 / 5.8
    const double a = 1.0 / 5.8;
    EXPECT_NEAR(g_fault_strike_deg, std::atan2(1 - a, a) * 180 / M_PI, 1e-3);

    g_strike_smoothing_strength = 0;  // off: every segment sets the strike
    paint_source_line(104, 154, 103, 153);
    EXPECT_NEAR(g_fault_strike_deg, 225.0, 1e-4);
}

TEST_F(BrushTest, ScriptedStrokeStatusesNodesAndUndo) {
    brush_stroke_press(1, 100, 270, 0, 0);
    EXPECT_EQ(g_drag_painting, 1);
    EXPECT_EQ(g_source_undo_count, 1);
    EXPECT_EQ(g_source_undo_stack[0].node_count, 0u);
    char expect[256];
    std::snprintf(expect, sizeof expect,
                  "Started curved reverse-fault source at x=100 y=270 slip=1.00 m, Mw=%.2f, "
                  "depth=20 km, peak=0.22 m. Drag to set auto strike.",
                  double(current_moment_magnitude()));
    EXPECT_STREQ(g_status, expect);

    brush_stroke_move(1, 103, 270);
    std::snprintf(expect, sizeof expect,
                  "Drawing sources... affected %d cell(s). auto strike 0 deg, smooth 2.0, delay "
                  "cursor 5.6s.",
                  g_drag_affected_cells);
    EXPECT_STREQ(g_status, expect);
    brush_stroke_move(0, 0, 0);  // outside the map: nothing
    EXPECT_STREQ(g_status, expect);
    brush_stroke_move(1, 110, 270);
    EXPECT_NE(std::string(g_status).find("auto strike 90 deg"), std::string::npos) << g_status;
    const std::size_t nodes = g_sources.count;
    brush_stroke_release();
    std::snprintf(expect, sizeof expect,
                  "Finished source stroke. Affected %d cell(s). Auto strike 90 deg. Delay cursor "
                  "18.5s. Total sources: %zu.",
                  g_drag_affected_cells, nodes);
    EXPECT_STREQ(g_status, expect);
    EXPECT_EQ(g_drag_painting, 0);
    EXPECT_EQ(g_source_undo_count, 1);
    EXPECT_EQ(fp_.fake.repaints, 1);
    brush_stroke_release();  // no stroke: nothing
    EXPECT_EQ(fp_.fake.repaints, 1);
}

TEST_F(BrushTest, PressOnLandRecordsFootprintsAndAnEmptyPressBeeps) {
    brush_stroke_press(1, 5, 5, 0, 0);
    EXPECT_TRUE(fp_.fake.beeps.empty());
    EXPECT_EQ(height_at(5, 5), 0.0f);
    brush_stroke_release();

    source_list_clear(&g_sources);
    brush_stroke_press(1, 100, 100, 0, 0);
    brush_stroke_release();
    brush_stroke_press(1, 100, 100, 0, 0);  // the same dab again changes nothing
    EXPECT_STREQ(g_status, "Source ignored: clicked land/coast-guard cell.");
    EXPECT_EQ(fp_.fake.beeps, std::vector<BeepKind>{BeepKind::Warning});
    EXPECT_EQ(g_drag_painting, 1);  // the drag goes on

    brush_stroke_cancel();
    brush_stroke_press(1, 100, 100, 1, 0);  // Shift: the zone batch's, not a stroke
    EXPECT_EQ(g_drag_painting, 0);
}

TEST_F(BrushTest, StrokeFromOutsideTheMapSkipsTheReleasePasses) {
    g_strike_slip_mix = 1;  // the long-segment repaint would replace the dabs
    g_bilateral_rupture = 1;
    brush_stroke_press(0, -1, -1, 0, 0);
    EXPECT_EQ(g_drag_painting, 1);
    EXPECT_EQ(g_source_undo_count, 0);
    brush_stroke_move(1, 100, 150);
    brush_stroke_move(1, 110, 150);
    const SourceList before = g_sources;
    brush_stroke_release();
    ASSERT_EQ(g_sources.count, before.count);
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        EXPECT_EQ(g_sources.items[i].height_m, before.items[i].height_m) << i;
        EXPECT_EQ(g_sources.items[i].delay_s, before.items[i].delay_s) << i;
    }
    EXPECT_EQ(std::string(g_status).rfind("Finished source stroke.", 0), 0u);
}

TEST_F(BrushTest, BilateralReleaseRetimesFromBothEnds) {
    g_bilateral_rupture = 1;
    g_source_profile_mode = 0;
    brush_stroke_press(1, 100, 270, 0, 0);
    brush_stroke_move(1, 110, 270);
    brush_stroke_release();
    const double k = cell_km_at_row(270);
    EXPECT_EQ(delay_at(100, 270), 15);
    EXPECT_EQ(delay_at(110, 270), 15);
    EXPECT_EQ(delay_at(105, 270), int(std::lround(5 * k / 2.5)) + 15);
    EXPECT_EQ(delay_at(103, 272),
              int(std::lround(std::sqrt(13.0) * cell_km_at_row(271) / 2.5)) + 15);
    EXPECT_EQ(g_sim.source_delay_s[std::size_t(270) * 200 + 105], delay_at(105, 270));
}

}  // namespace
}  // namespace kaitoro
