#include "source_design/undo.h"

#include <gtest/gtest.h>

#include <string>

#include "core/driver.h"
#include "core/status.h"
#include "source_design/brush.h"
#include "source_design/node_tune.h"
#include "source_design/source_cell.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

int g_feed_resets = 0;

class UndoTest : public ::testing::Test {
  protected:
    void SetUp() override {
        testing::install_grid(testing::load_spec(testing::make_ocean(200, 300, 4000.0f)));
        set_platform(&fp_.fake);
        g_feed_resets = 0;
        g_feed_hooks.reset_export_state = [] { ++g_feed_resets; };
    }
    void TearDown() override { testing::reset_all_globals(); }
    testing::ScopedFakePlatform fp_;
};

TEST_F(UndoTest, ThirtyThreePushesKeepTheNewestThirtyTwo) {
    for (int k = 1; k <= 33; ++k) {
        g_rupture_delay_cursor_s = float(k);
        source_undo_push(("edit " + std::to_string(k)).c_str());
        source_list_append(&g_sources, k, 10, 0.5f, 0);
    }
    EXPECT_EQ(g_source_undo_count, 32);
    for (int k = 33; k >= 2; --k) {
        g_time_s = 600;
        source_undo_restore(nullptr);
        EXPECT_EQ(g_sources.count, std::size_t(k - 1));
        EXPECT_EQ(g_rupture_delay_cursor_s, float(k));
        EXPECT_EQ(g_time_s, 0);
        EXPECT_EQ(std::string(g_status), "Undo: restored before 'edit " + std::to_string(k) +
                                             "'. Source nodes: " + std::to_string(k - 1) + ".");
    }
    EXPECT_TRUE(fp_.fake.beeps.empty());
    source_undo_restore(nullptr);
    EXPECT_STREQ(g_status, "Undo: no source edit to restore.");
    ASSERT_EQ(fp_.fake.beeps.size(), 1u);
    EXPECT_EQ(fp_.fake.beeps[0], BeepKind::Warning);
    EXPECT_EQ(g_sources.count, 1u);  // the state before the second push
    EXPECT_EQ(g_feed_resets, 32);
    EXPECT_EQ(fp_.fake.repaints, 0);
}

TEST_F(UndoTest, UndoingAStrokeRestoresTheEmptySourceAndCursor) {
    brush_stroke_press(1, 100, 150, 0, 0);
    brush_stroke_move(1, 110, 150);
    brush_stroke_release();
    ASSERT_GT(g_sources.count, 0u);
    EXPECT_GT(g_rupture_delay_cursor_s, 18.0f);
    g_node_tune_mode = 1;
    node_tune_handle_key('A', 0, 0);
    g_time_s = 1200;

    source_undo_restore(&fp_);
    EXPECT_EQ(g_sources.count, 0u);
    EXPECT_EQ(g_rupture_delay_cursor_s, 0.0f);
    EXPECT_EQ(g_time_s, 0);
    EXPECT_EQ(g_selected_source_i, -1);
    EXPECT_EQ(node_tune_selected_count(), 0u);
    EXPECT_STREQ(g_status, "Undo: restored before 'source brush stroke'. Source nodes: 0.");
    EXPECT_EQ(g_sim.source_height[std::size_t(150) * 200 + 100], 0.0f);
    EXPECT_EQ(fp_.fake.repaints, 2);  // the release, then the restore
    EXPECT_EQ(source_find_node_at(100, 150), -1);
}

TEST_F(UndoTest, LabelsAreCutAndBlankOnesNamed) {
    const std::string long_label(120, 'x');
    source_undo_push(long_label.c_str());
    EXPECT_EQ(std::string(g_source_undo_stack[0].label), long_label.substr(0, 95));
    source_undo_push("");
    source_undo_restore(nullptr);
    EXPECT_STREQ(g_status, "Undo: restored before 'source edit'. Source nodes: 0.");
}

TEST_F(UndoTest, ResetNormalisesSlipsAndReappliesTheSource) {
    source_list_append(&g_sources, 10, 10, 0.5f, 30);
    g_sources.items[0].slip_m = -2.0f;
    source_list_append(&g_sources, 11, 10, -0.4f, 30);
    g_sources.items[1].slip_m = 1.0f;
    source_list_append(&g_sources, 12, 10, 0.0f, 30);
    g_sources.items[2].slip_m = 0.0003f;
    g_time_s = 450;
    reset_state_preserve_sources();
    EXPECT_EQ(g_sources.items[0].slip_m, 2.0f);
    EXPECT_EQ(g_sources.items[1].slip_m, 0.0f);
    EXPECT_EQ(g_sources.items[2].slip_m, 0.0f);
    EXPECT_EQ(g_time_s, 0);
    EXPECT_EQ(g_feed_resets, 1);
    EXPECT_FLOAT_EQ(g_sim.source_height[std::size_t(10) * 200 + 11], -0.4f);
    EXPECT_STREQ(g_status, "Reset. 3 source point(s) preserved.");
}

TEST_F(UndoTest, SourceCsvCommandUsesTheInstalledHooks) {
    source_design_install_hooks();
    testing::TempDir dir;
    testing::write_text_file(dir.file("s.csv"), "10,20,0.5,30\n11,20,-0.2,30\n");
    fp_.fake.open_answers.push_back(dir.file("s.csv"));
    g_fault_dip_deg = 25;
    load_source_csv_dialog(nullptr);
    ASSERT_EQ(g_sources.count, 2u);
    EXPECT_EQ(g_sources.items[0].dip_deg, 25.0f);
    ASSERT_EQ(g_source_undo_count, 1);
    EXPECT_STREQ(g_source_undo_stack[0].label, "load source CSV");
    EXPECT_EQ(g_feed_resets, 1);
    source_undo_restore(nullptr);
    EXPECT_EQ(g_sources.count, 0u);
}

}  // namespace
}  // namespace kaitoro
