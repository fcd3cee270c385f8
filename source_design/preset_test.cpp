#include "source_design/preset.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "core/driver.h"
#include "core/status.h"
#include "source_design/brush.h"
#include "source_design/node_tune.h"
#include "source_design/source_cell.h"
#include "source_design/undo.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

using testing::read_file_text;
using testing::write_text_file;

class PresetTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto g = testing::make_ocean(200, 300, 4000.0f);
        testing::fill_rect(g, 0, 0, 9, 9, -50.0f);
        testing::install_grid(testing::load_spec(g));
        set_platform(&fp_.fake);
    }
    void TearDown() override { testing::reset_all_globals(); }

    std::string path(const char* name) const { return dir_.file(name); }
    // Loads text written to a file; returns the node count read.
    std::size_t load_text(const std::string& text) {
        write_text_file(path("in.csv"), text);
        std::size_t n = 999;
        EXPECT_EQ(load_preset_file(path("in.csv").c_str(), &n), 1);
        return n;
    }
    static const SourcePoint& node(std::size_t i) { return g_sources.items[i]; }
    // Position, delay, slip, dip, moment factor, fault and patch ids, strike, depth, width and
    // length of a node: everything but its height.
    static std::string shape(const SourcePoint& p) {
        char buf[160];
        std::snprintf(buf, sizeof buf, "%d,%d d%d s%g dip%g f%.6g id%d/%d st%g z%g w%g l%g",
                      p.grid_x, p.grid_y, p.delay_s, p.slip_m, p.dip_deg, p.moment_area_factor,
                      p.fault_id, p.patch_id, p.strike_deg, p.depth_km, p.width_km, p.length_km);
        return buf;
    }

    testing::TempDir dir_;
    testing::ScopedFakePlatform fp_;
};

TEST_F(PresetTest, SettingsRoundTrip) {
    g_new_source_height_m = 2.5f;
    g_new_source_delay_s = 30;
    g_fault_width_km = 55;
    g_subsidence_ratio = 0.3f;
    g_fault_dip_deg = 25;
    g_strike_slip_mix = 0.4f;
    g_fault_strike_deg = 123;
    g_strike_smoothing_strength = 3.5f;
    g_source_depth_km = 12;
    g_rupture_velocity_km_s = 3.2f;
    g_rupture_delay_cursor_s = 47.5f;
    g_source_profile_mode = 0;
    g_strike_slip_sense = -1;
    g_bilateral_rupture = 1;
    *g_preset_wave_display_coeff = 2.5f;
    *g_preset_wave_overlay_alpha = 0.6f;
    g_fault_stamp_length_km = 80;
    g_subsidence_side = -1;
    ASSERT_EQ(save_current_preset_file(path("p.csv").c_str()), 1);
    const std::string first = read_file_text(path("p.csv"));

    source_cell_reset_globals();
    brush_reset_globals();
    preset_reset_globals();
    std::size_t n = 5;
    ASSERT_EQ(load_preset_file(path("p.csv").c_str(), &n), 1);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(g_fault_width_km, 55.0f);  // the width row wins over the legacy radius before it
    EXPECT_EQ(*g_preset_wave_overlay_alpha, 0.6f);
    // Every setting is in the file, so writing it again reproduces it byte for byte.
    save_current_preset_file(path("q.csv").c_str());
    EXPECT_EQ(read_file_text(path("q.csv")), first);
}

TEST_F(PresetTest, PaintedSourceRoundTripRebuildsUpliftFromSlip) {
    brush_stroke_press(1, 100, 150, 0, 0);
    brush_stroke_move(1, 108, 156);
    brush_stroke_release();
    g_sources.items[0].strike_deg = 33;  // a field the brush leaves alone, to see it survive
    std::size_t uplift = 0, subsidence = 0;
    for (std::size_t i = 0; i < g_sources.count; ++i)
        (g_sources.items[i].height_m > 0 ? uplift : subsidence) += 1;
    ASSERT_GT(subsidence, 0u);
    const SourceList painted = g_sources;
    save_current_preset_file(path("a.csv").c_str());

    source_list_clear(&g_sources);
    g_time_s = 300;
    std::size_t n = 0;
    ASSERT_EQ(load_preset_file(path("a.csv").c_str(), &n), 1);
    EXPECT_EQ(n, painted.count);
    EXPECT_EQ(g_last_preset_recalculated_from_slip, int(uplift));
    EXPECT_EQ(g_time_s, 0);
    ASSERT_EQ(g_sources.count, painted.count);
    for (std::size_t i = 0; i < painted.count; ++i) {
        SourcePoint a = painted.items[i];
        const SourcePoint& b = g_sources.items[i];
        // The reader limits widths and lengths to what a fault patch can have, so the 0 km of
        // brush nodes comes back as the lower limits.
        a.width_km = std::clamp(a.width_km, 1.0f, 800.0f);
        a.length_km = std::clamp(a.length_km, 5.0f, 600.0f);
        EXPECT_EQ(shape(b), shape(a)) << i;
        // Brush nodes carry depth 0, so uplift comes back at the surface factor 1.
        EXPECT_NEAR(b.height_m, a.height_m > 0 ? 0.2588f : a.height_m, 1e-4) << i;
    }
    const long centre = source_find_node_at(100, 150);
    ASSERT_GE(centre, 0);
    EXPECT_EQ(g_sim.source_height[std::size_t(150) * 200 + 100],
              g_sources.items[std::size_t(centre)].height_m);

    // Once rebuilt, a save and load reproduce every byte.
    save_current_preset_file(path("b.csv").c_str());
    load_preset_file(path("b.csv").c_str(), &n);
    save_current_preset_file(path("c.csv").c_str());
    EXPECT_EQ(read_file_text(path("b.csv")), read_file_text(path("c.csv")));
}

TEST_F(PresetTest, RowsOfEveryLength) {
    g_fault_dip_deg = 20;
    const std::size_t n = load_text(
        "SOURCE,1,2,0.4,10\n"                            // 4 fields: slip = height
        "SOURCE,3,4,0.4,10,2\n"                          // slip: rebuilt at depth 0
        "SOURCE,5,6,0.4,10,2,30,1.5,1,4\n"               // dip and factor kept
        "SOURCE,7,8,0.4,10,2,30,1.5,1,4,370,25,900,1\n"  // strike wrapped, rest limited
        "SOURCE,9,10,0.4,10,2,30,1.5,6,-2,0,25,10,10\n"  // automatic secondary: dropped
        "SOURCE,11,12,-0.3,10,0,80,500\n"                // subsidence: current metadata
        "SOURCE,13,14,nan,10\n"                          // no height: skipped
        "SOURCE,15,16,0.4,10,2,nan,nan,1,2,nan,nan\n"    // depth unreadable: current depth
        "SOURCE,1,2\n");                                 // too short: skipped
    EXPECT_EQ(n, 7u);
    ASSERT_EQ(g_sources.count, 6u);
    EXPECT_EQ(g_last_preset_recalculated_from_slip, 4);
    const double s20 = std::sin(20 * M_PI / 180), s30 = std::sin(30 * M_PI / 180);
    EXPECT_FLOAT_EQ(node(0).slip_m, 0.4f);
    EXPECT_NEAR(node(1).height_m, 2 * s20, 1e-6);
    EXPECT_EQ(node(1).slip_m, 2.0f);
    EXPECT_NEAR(node(2).height_m, 2 * s30, 1e-6);
    EXPECT_EQ(node(2).dip_deg, 30.0f);
    EXPECT_EQ(node(2).moment_area_factor, 1.5f);
    EXPECT_EQ(node(2).patch_id, 4);
    EXPECT_NEAR(node(3).height_m, 2 * s30 * thrust_tsunami_depth_factor_at_km(25), 1e-6);
    EXPECT_FLOAT_EQ(node(3).strike_deg, 10.0f);
    EXPECT_EQ(node(3).width_km, 800.0f);
    EXPECT_EQ(node(3).length_km, 5.0f);
    EXPECT_EQ(node(4).slip_m, 0.0f);
    EXPECT_EQ(node(4).dip_deg, 20.0f);
    EXPECT_FLOAT_EQ(node(4).moment_area_factor, float(1 / std::cos(20 * M_PI / 180)));
    EXPECT_EQ(node(5).grid_x, 15);
    EXPECT_NEAR(node(5).height_m, 2 * s20 * 0.85, 1e-6);
    EXPECT_EQ(node(5).depth_km, 0.0f);
}

TEST_F(PresetTest, LegacyRadiusSetsTheWidthUntilAWidthFollows) {
    load_text("PARAM,brush_radius_cells,5.4\n");
    EXPECT_NEAR(g_fault_width_km, 2 * 5 * 4.63344 / std::cos(15 * M_PI / 180), 1e-3);
    load_text("PARAM,brush_radius_cells,500\nPARAM,fault_width_km,33\n");
    EXPECT_EQ(g_fault_width_km, 33.0f);
    load_text("PARAM,brush_radius_cells,0\n");
    EXPECT_NEAR(g_fault_width_km, 2 * 2 * 4.63344 / std::cos(15 * M_PI / 180), 1e-3);
}

TEST_F(PresetTest, MissingFileChangesNothing) {
    source_list_append(&g_sources, 50, 50, 0.5f, 0);
    g_fault_dip_deg = 33;
    std::size_t n = 7;
    EXPECT_EQ(load_preset_file(path("nope.csv").c_str(), &n), 0);
    EXPECT_EQ(n, 7u);
    EXPECT_EQ(g_sources.count, 1u);
    EXPECT_EQ(g_fault_dip_deg, 33.0f);
}

TEST_F(PresetTest, DialogCommandsReportAndUndo) {
    source_list_append(&g_sources, 50, 50, 0.5f, 0);
    fp_.fake.save_answers.push_back(path("d.csv"));
    save_current_preset_dialog();
    EXPECT_EQ(std::string(g_status), "Saved preset: " + path("d.csv"));
    EXPECT_EQ(fp_.fake.save_requests.at(0).default_name, "tsunami_preset.csv");

    g_node_tune_selected.assign(64, 1);
    g_selected_source_i = 0;
    write_text_file(path("e.csv"),
                    "SOURCE,1,2,0.4,10,2\nSOURCE,3,4,0.4,10\nSOURCE,5,6,0.1,0,2,15,1,3,-1\n");
    fp_.fake.open_answers.push_back(path("e.csv"));
    load_preset_dialog();
    EXPECT_STREQ(g_status,
                 "Loaded preset and applied 3 source point(s); rebuilt 1 from slip+depth.");
    EXPECT_EQ(g_sources.count, 2u);  // the automatic secondary is gone
    EXPECT_EQ(g_selected_source_i, -1);
    EXPECT_EQ(node_tune_selected_count(), 0u);
    ASSERT_EQ(g_source_undo_count, 1);
    source_undo_restore(nullptr);
    EXPECT_EQ(g_sources.count, 1u);

    fp_.fake.open_answers.push_back(path("gone.csv"));
    load_preset_dialog();
    EXPECT_STREQ(g_status, "Failed to load preset.");
}

}  // namespace
}  // namespace kaitoro
