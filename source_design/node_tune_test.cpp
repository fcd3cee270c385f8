#include "source_design/node_tune.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "core/driver.h"
#include "core/status.h"
#include "render/viewport.h"
#include "source_design/brush.h"
#include "source_design/source_cell.h"
#include "source_design/undo.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

// 200 x 300 cells drawn 4 pixels each from the window's top-left corner, north up: the centre
// of cell (x, y) is at pixel (4x + 2, 4 (299 - y) + 2), and markers are picked within 8 pixels.
class NodeTuneTest : public ::testing::Test {
  protected:
    void SetUp() override {
        testing::install_grid(testing::load_spec(testing::make_ocean(200, 300, 4000.0f)));
        set_platform(&fp_.fake);
        viewport_install_node_tune_hooks();
        compute_viewport(800 + kInfoPanelWidthPx, 1200);
        g_node_tune_mode = 1;
    }
    void TearDown() override { testing::reset_all_globals(); }

    // Ten uplift nodes along row 50, two cells apart, as a painted source would hold them.
    static void ten_nodes() {
        for (int i = 0; i < 10; ++i) {
            source_list_append(&g_sources, 20 + 2 * i, 50, 0.22f, 15 * i);
            g_sources.items[std::size_t(i)].slip_m = 1.0f;
            g_sources.items[std::size_t(i)].dip_deg = 15.0f;
        }
    }
    static int px(int x) { return 4 * x + 2; }
    static int py(int y) { return 4 * (299 - y) + 2; }
    static const SourcePoint& node(std::size_t i) { return g_sources.items[i]; }
    static bool sel(std::size_t i) { return g_node_tune_selected[i] != 0; }
    static std::string status() { return g_status; }

    testing::ScopedFakePlatform fp_;
};

TEST_F(NodeTuneTest, SlipStepsScaleUpliftAndShrinkSubsidence) {
    ten_nodes();
    g_selected_source_i = 5;
    g_time_s = 300;
    ASSERT_EQ(node_tune_handle_key(kKeyPageUp, 0, 0), 1);
    EXPECT_FLOAT_EQ(node(5).slip_m, 1.1f);
    EXPECT_NEAR(node(5).height_m, 0.242, 1e-6);  // the old shape, scaled with the slip
    EXPECT_FLOAT_EQ(node(4).slip_m, 1.0f);
    EXPECT_EQ(g_time_s, 0);
    EXPECT_EQ(status(),
              "Node tune: +0.100 m applied to 1 selected node(s); uplift uses slip, "
              "subsidence keeps slip=0.");

    // A node loaded with a height but no slip takes its height as the base slip.
    g_sources.items[6].height_m = 0.5f;
    g_sources.items[6].slip_m = 0.0f;
    node_tune_select_only(6);
    node_tune_handle_key(kKeyPlusEquals, 0, 0);
    EXPECT_FLOAT_EQ(node(6).slip_m, 0.6f);
    EXPECT_NEAR(node(6).height_m, 0.6 * std::sin(15 * M_PI / 180) * 0.85, 1e-6);

    // Subsidence changes its magnitude directly and never carries slip.
    g_sources.items[7].height_m = -0.05f;
    g_sources.items[7].slip_m = 0.0f;
    g_sources.items[8].height_m = -0.30f;
    node_tune_select_only(7);
    g_node_tune_selected[8] = 1;
    node_tune_handle_key(kKeyPageDown, 1, 0);  // Shift: 0.5 m
    EXPECT_EQ(node(7).height_m, 0.0f);
    EXPECT_EQ(node(8).height_m, 0.0f);
    node_tune_handle_key(kKeyMinus, 1, 1);  // Ctrl wins: 0.01 m
    EXPECT_EQ(status(),
              "Node tune: -0.010 m applied to 2 selected node(s); uplift uses slip, "
              "subsidence keeps slip=0.");
}

TEST_F(NodeTuneTest, DelayStepsFloorAtZero) {
    ten_nodes();
    node_tune_select_only(1);                     // delay 15
    g_node_tune_selected[2] = 1;                  // delay 30
    node_tune_handle_key(kKeyBracketLeft, 0, 1);  // Ctrl: 1 s
    EXPECT_EQ(status(), "Node tune: delay -1 s applied to 2 selected node(s).");
    node_tune_handle_key(kKeyBracketLeft, 0, 0);
    EXPECT_EQ(node(1).delay_s, 0);
    EXPECT_EQ(node(2).delay_s, 14);
    node_tune_handle_key(kKeyBracketRight, 1, 0);
    EXPECT_EQ(node(2).delay_s, 314);

    node_tune_select_only(0);  // delay 0: nothing changes, the selection is shown instead
    node_tune_handle_key(kKeyBracketLeft, 0, 0);
    EXPECT_EQ(status().rfind("Node tune: node #1/10 x=20 y=50 height=0.220 m slip=1.000 m "
                             "delay=0s dip@paint=15. Ctrl/Shift-click",
                             0),
              0u)
        << status();
    EXPECT_EQ(g_source_undo_count, 4);  // the snapshot of an edit that changed nothing stays
}

TEST_F(NodeTuneTest, MovesAreCheckedBeforeAnythingMoves) {
    ten_nodes();
    node_tune_select_only(3);       // x=26
    g_node_tune_selected[4] = 1;    // x=28
    node_tune_move_selected(2, 0);  // 26 -> 28 (selected), 28 -> 30 (node 5, not selected)
    EXPECT_EQ(status(), "Node tune: target x=30 y=50 already has unselected source node #6.");
    EXPECT_EQ(fp_.fake.beeps, std::vector<BeepKind>{BeepKind::Warning});
    EXPECT_EQ(node(3).grid_x, 26);
    EXPECT_EQ(g_source_undo_count, 0);

    for (std::size_t i = 5; i < 10; ++i) g_node_tune_selected[i] = 1;  // onto selected: allowed
    node_tune_move_selected(2, 0);
    EXPECT_EQ(status(), "Node tune: moved 7 selected node(s) by dx=2 dy=0.");
    EXPECT_EQ(node(9).grid_x, 40);
    EXPECT_EQ(source_find_node_at(28, 50), 3);

    node_tune_handle_key(kKeyUp, 1, 0);  // Shift: 5 cells, towards row 0
    EXPECT_EQ(node(3).grid_y, 45);
    node_tune_select_only(9);
    g_sources.items[9].grid_x = 199;
    node_tune_handle_key(kKeyRight, 0, 0);
    EXPECT_EQ(status(), "Node tune: group move blocked by map edge at node #10.");
    EXPECT_EQ(node(9).grid_x, 199);
}

TEST_F(NodeTuneTest, DeleteKeepsTheOrderAndClearsTheSelection) {
    ten_nodes();
    node_tune_select_only(2);
    g_node_tune_selected[5] = 1;
    g_node_tune_selected[9] = 1;
    g_time_s = 900;
    node_tune_handle_key(kKeyDelete, 0, 0);
    ASSERT_EQ(g_sources.count, 7u);
    const int expect_x[] = {20, 22, 26, 28, 32, 34, 36};
    for (std::size_t i = 0; i < 7; ++i) EXPECT_EQ(node(i).grid_x, expect_x[i]);
    EXPECT_EQ(node_tune_selected_count(), 0u);
    EXPECT_EQ(g_selected_source_i, -1);
    EXPECT_EQ(g_time_s, 0);
    EXPECT_EQ(status(), "Node tune: removed 3 selected node(s). Remaining source nodes: 7.");
    node_tune_handle_key(kKeyBackspace, 0, 0);  // nothing selected: nothing removed
    EXPECT_EQ(g_sources.count, 7u);
}

TEST_F(NodeTuneTest, HeightZeroAndCopyBrushValues) {
    ten_nodes();
    g_sources.items[1].height_m = 1.5f;  // uplift above its slip: the height becomes the slip
    g_sources.items[2].height_m = -0.2f;
    g_sources.items[3].height_m = 0.0f;
    g_sources.items[3].slip_m = -0.7f;
    node_tune_select_only(1);
    g_node_tune_selected[2] = g_node_tune_selected[3] = 1;
    node_tune_handle_key('F', 0, 0);
    EXPECT_EQ(status(), "Node tune: set height=0 for 3 selected node(s), slip kept.");
    EXPECT_EQ(node(1).height_m, 0.0f);
    EXPECT_EQ(node(1).slip_m, 1.5f);
    EXPECT_EQ(node(2).slip_m, 0.0f);
    EXPECT_FLOAT_EQ(node(3).slip_m, 0.7f);

    g_new_source_height_m = 2.0f;
    g_new_source_delay_s = 45;
    g_fault_dip_deg = 30;
    node_tune_handle_key('U', 0, 0);
    for (std::size_t i : {1u, 2u, 3u}) {
        EXPECT_NEAR(node(i).height_m, 2.0 * 0.5 * 0.85, 1e-5);
        EXPECT_EQ(node(i).slip_m, 2.0f);
        EXPECT_EQ(node(i).delay_s, 45);
        EXPECT_EQ(node(i).dip_deg, 30.0f);
    }
    EXPECT_EQ(g_source_undo_count, 2);
}

TEST_F(NodeTuneTest, ClicksPickTheNearestMarker) {
    ten_nodes();
    node_tune_mouse_press(px(24) + 3, py(50), 0, 0);
    EXPECT_EQ(g_selected_source_i, 2);
    EXPECT_EQ(node_tune_selected_count(), 1u);

    // Halfway between two markers the later one wins.
    node_tune_mouse_press(px(25), py(50), 0, 1);
    EXPECT_EQ(g_selected_source_i, 3);
    EXPECT_EQ(status().rfind("Toggled on 2 nodes selected. Primary #4/10 x=26 y=50 h=0.220 "
                             "slip=1.000 delay=45s dip@paint=15. Edits apply to selected; Del "
                             "removes.",
                             0),
              0u)
        << status();
    node_tune_mouse_press(px(26), py(50), 0, 1);  // toggled off: the lowest selected is primary
    EXPECT_EQ(g_selected_source_i, 2);
    node_tune_mouse_press(px(24), py(50), 0, 1);  // the last one off: nothing selected
    EXPECT_EQ(g_selected_source_i, -1);

    node_tune_select_only(4);
    node_tune_mouse_press(px(24), py(50) + 9, 0, 1);  // 9 px away: no marker; Ctrl keeps
    EXPECT_EQ(g_selected_source_i, 4);
    node_tune_mouse_press(px(24), py(50) + 9, 0, 0);  // without modifiers it clears
    EXPECT_EQ(g_selected_source_i, -1);
    EXPECT_EQ(node_tune_selected_count(), 0u);

    node_tune_select_only(4);
    node_tune_mouse_press(900, 10, 0, 0);  // in the panel: the selection stays
    EXPECT_EQ(g_selected_source_i, -1);
    EXPECT_TRUE(sel(4));
}

TEST_F(NodeTuneTest, BoxSelectAddsAndSmallBoxesAreClicks) {
    ten_nodes();
    node_tune_select_only(0);
    node_tune_mouse_press(px(23), py(53), 1, 0);
    EXPECT_EQ(g_node_tune_box_select_active, 1);
    EXPECT_EQ(node_tune_mouse_move(px(28), py(48)), 1);
    EXPECT_EQ(node_tune_mouse_release(px(28), py(48)), 1);
    EXPECT_EQ(g_node_tune_box_select_active, 0);
    EXPECT_EQ(status(),
              "Node tune box select: rectangle contained 3 node(s), added 3 new node(s). "
              "Total selected: 4.");
    EXPECT_EQ(g_selected_source_i, 2);  // the first newly added
    node_tune_mouse_press(px(19), py(51), 1, 0);
    node_tune_mouse_release(px(22), py(49));
    EXPECT_EQ(status(),
              "Node tune box select: rectangle contained 2 node(s), added 1 new node(s). "
              "Total selected: 5.");

    node_tune_mouse_press(px(36) - 1, py(50), 1, 0);  // a 4-pixel drag is a Shift-click
    node_tune_mouse_release(px(36) + 3, py(50));
    EXPECT_EQ(g_selected_source_i, 8);
    EXPECT_EQ(status().rfind("Added 6 nodes selected. Primary #9/10", 0), 0u) << status();
    EXPECT_EQ(node_tune_mouse_release(0, 0), 0);  // no box: not consumed
}

TEST_F(NodeTuneTest, SelectionKeysAndModeSwitches) {
    EXPECT_EQ(node_tune_handle_key(kKeyTab, 0, 0), 1);
    EXPECT_EQ(node_tune_handle_key('A', 0, 0), 1);
    EXPECT_EQ(g_selected_source_i, -1);
    ten_nodes();
    node_tune_handle_key(kKeyTab, 1, 0);  // no primary, backwards: the last node
    EXPECT_EQ(g_selected_source_i, 9);
    node_tune_handle_key(kKeyTab, 0, 0);  // wraps
    EXPECT_EQ(g_selected_source_i, 0);
    g_node_tune_selected[4] = g_node_tune_selected[7] = 1;
    node_tune_handle_key(kKeyTab, 1, 0);  // several selected: the primary walks among them
    EXPECT_EQ(g_selected_source_i, 7);
    EXPECT_EQ(status().rfind("Primary changed 3 nodes selected. Primary #8/10", 0), 0u) << status();
    EXPECT_EQ(node_tune_selected_count(), 3u);

    node_tune_handle_key('A', 0, 0);
    EXPECT_EQ(node_tune_selected_count(), 10u);
    EXPECT_EQ(g_selected_source_i, 0);
    node_tune_handle_key(kKeyEscape, 0, 0);
    EXPECT_EQ(node_tune_selected_count(), 0u);
    EXPECT_EQ(node_tune_handle_key('Q', 0, 0), 0);
    EXPECT_EQ(node_tune_handle_key(0x6B, 0, 0), 0);  // the keypad plus is not taken

    node_tune_handle_key('E', 0, 0);
    EXPECT_EQ(g_node_tune_mode, 0);
    EXPECT_EQ(node_tune_handle_key('A', 0, 0), 0);

    g_drag_painting = 1;
    node_tune_mode_on();
    EXPECT_EQ(g_drag_painting, 0);
    EXPECT_EQ(g_selected_source_i, 0);
    EXPECT_EQ(status().rfind("Advanced node tune mode ON node #1/10 x=20 y=50", 0), 0u) << status();
}

TEST_F(NodeTuneTest, SelectionFlagsFollowTheList) {
    ten_nodes();
    node_tune_handle_key('A', 0, 0);
    EXPECT_GE(g_node_tune_selected_capacity, g_sources.capacity);
    g_sources.count = 4;  // shrunk behind node tune's back
    EXPECT_EQ(node_tune_selected_count(), 4u);
    for (std::size_t i = 4; i < g_node_tune_selected.size(); ++i) EXPECT_FALSE(sel(i));
    g_selected_source_i = 7;
    node_tune_sync_selected_bounds();
    EXPECT_EQ(g_selected_source_i, -1);

    const SourcePoint p = node(0);
    EXPECT_EQ(node_tune_auto_surface_height_from_slip(nullptr, 1, 1), 0.0f);
    EXPECT_EQ(node_tune_auto_surface_height_from_slip(&p, 0.001f, 1), 0.0f);  // below the cut
}

}  // namespace
}  // namespace kaitoro
