#include "shell/quick_ff_window.h"

#include <gtest/gtest.h>

#include <string>

#include "core/status.h"
#include "quick_ff/ff_commands.h"
#include "quick_ff/ff_grid.h"
#include "quick_ff/placement.h"
#include "source_design/node_tune.h"
#include "source_design/source_cell.h"
#include "tests/support/shell_fixture.h"

namespace kaitoro {
namespace {

class QuickFfWindowTest : public testing::ShellTest {
  protected:
    void SetUp() override {
        ShellTest::SetUp();
        main_window_key_down('S', 0, 0);
        w_ = windows_.open_window(&g_quick_ff_editor_def);
        ASSERT_NE(w_, nullptr);
    }
    static int cell_id(int row, int col) { return kQffFirstCell + row * 5 + col; }
    std::string last_box() const {
        return fake_.fake.boxes.empty() ? "" : fake_.fake.boxes.back().text;
    }
    testing::FakeControlWindow* w_ = nullptr;
};

TEST_F(QuickFfWindowTest, OpensOnTheSeededSevenBySevenGrid) {
    EXPECT_EQ(g_quick_ff_grid_rows, 7);
    EXPECT_EQ(w_->control_text(kQffRowsEdit), "7");
    EXPECT_EQ(w_->control_text(cell_id(2, 2)), "1\r\n0\r\n15.0");  // C3
    EXPECT_EQ(w_->control_text(cell_id(0, 0)), "");
    EXPECT_EQ(w_->control_text(kQffVisibleLabel),
              "Visible cells: A1:E5  (arrow keys move the 5x5 window)");
    EXPECT_EQ(w_->control_text(kQffFirstColumnLabel + 2), "C");
    EXPECT_EQ(w_->control_text(kQffFirstRowLabel + 4), "5");
    EXPECT_EQ(w_->colors[cell_id(0, 0)], 0xFFFFFFu);
    EXPECT_NE(w_->colors[cell_id(2, 2)], 0xFFFFFFu);
    EXPECT_EQ(w_->control_text(kQffPreviewLabel).rfind("Magnitude preview if placed now: Mw ", 0),
              0u);
    EXPECT_EQ(w_->control_def(cell_id(4, 4))->w, 109);
    EXPECT_EQ(w_->control_def(cell_id(4, 4))->h, 73);
}

TEST_F(QuickFfWindowTest, AnInvalidCellIsNamedAndTheWindowStaysOpen) {
    w_->type(cell_id(1, 3), "2.5\nabc\n15");  // D2
    w_->press(kQffApplyPlacement);
    EXPECT_EQ(last_box(),
              "Invalid value in cell D2. Use three lines: slip / delay / dip, or slip,delay,dip.");
    EXPECT_EQ(fake_.fake.boxes.back().title, "Finite fault editor");
    EXPECT_FALSE(w_->destroyed);
    EXPECT_EQ(g_quick_ff_hwnd, w_);
    EXPECT_EQ(g_quick_ff_place_mode, 0);
    w_->close_box();  // the frame's close box takes the same path
    EXPECT_FALSE(w_->destroyed);
}

TEST_F(QuickFfWindowTest, ClosingAsksAboutSavingThenEntersPlacement) {
    fake_.fake.box_answers = {MessageAnswer::Cancel};
    w_->press(kQffClose);
    EXPECT_FALSE(w_->destroyed);
    fake_.fake.box_answers = {MessageAnswer::No, MessageAnswer::No};
    w_->press(kQffClose);
    EXPECT_FALSE(w_->destroyed);

    // Yes with a cancelled save dialog still goes on to placement.
    fake_.fake.box_answers = {MessageAnswer::Yes};
    w_->type(cell_id(2, 3), "3,30,20");  // typed, read by the strict read on close
    w_->press(kQffClose);
    EXPECT_TRUE(w_->destroyed);
    EXPECT_EQ(g_quick_ff_hwnd, nullptr);
    EXPECT_EQ(g_quick_ff_place_mode, 1);
    EXPECT_EQ(windows_.focus_main, 1);
    EXPECT_EQ(fake_.fake.save_requests.size(), 1u);
    EXPECT_FLOAT_EQ(quick_ff_cell_at(2, 3)->slip_m, 3.0f);
    EXPECT_EQ(std::string(g_status).rfind("Quick finite-fault placement: mouse=epicenter C3;", 0),
              0u);

    // Reopening shows the grid as it was left.
    main_window_key_down('S', 0, 0);
    testing::FakeControlWindow* again = windows_.open_window(&g_quick_ff_editor_def);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->control_text(cell_id(2, 3)), "3\r\n30\r\n20.0");
}

TEST_F(QuickFfWindowTest, ArrowKeysScrollTheViewInsideTheGrid) {
    w_->type(cell_id(4, 4), "2,0,10");  // E5, kept through the scroll by the lenient read
    EXPECT_EQ(w_->key(kKeyDown), 1);
    EXPECT_EQ(g_quick_ff_view_row, 1);
    EXPECT_EQ(w_->control_text(cell_id(3, 4)), "2\r\n0\r\n10.0");
    w_->key(kKeyDown);
    w_->key(kKeyDown);
    EXPECT_EQ(g_quick_ff_view_row, 2);  // 7 rows, 5 visible
    w_->key(kKeyRight);
    EXPECT_EQ(w_->control_text(kQffVisibleLabel),
              "Visible cells: B3:F7  (arrow keys move the 5x5 window)");
    EXPECT_EQ(w_->control_text(kQffFirstRowLabel), "3");
    EXPECT_EQ(w_->key('Q'), 0);
}

TEST_F(QuickFfWindowTest, TypingRecoloursCellsAndIgnoresTheProgramsOwnWrites) {
    const std::uint32_t before = w_->colors[cell_id(2, 2)];
    w_->type(cell_id(0, 0), "4");  // A1 becomes the largest slip
    EXPECT_FLOAT_EQ(quick_ff_cell_at(0, 0)->slip_m, 4.0f);
    EXPECT_NE(w_->colors[cell_id(0, 0)], 0xFFFFFFu);
    EXPECT_NE(w_->colors[cell_id(2, 2)], before);
    w_->type(cell_id(0, 1), "4x");  // not valid yet: ignored while typing
    EXPECT_EQ(quick_ff_cell_at(0, 1)->enabled, 0);

    w_->press(kQffColorDelay);
    EXPECT_EQ(g_quick_ff_color_mode, 1);
}

TEST_F(QuickFfWindowTest, ApplySlipPercentUsesTheFocusedCell) {
    w_->type(cell_id(0, 0), "4");
    w_->type(kQffSlipPercentEdit, "50");
    w_->press(kQffApplySlipPercent);  // the focus is in the percent field, not a cell
    EXPECT_EQ(last_box(), "Click/focus one visible cell first. Its slip becomes the base value.");
    w_->focus = cell_id(0, 0);
    w_->press(kQffApplySlipPercent);
    EXPECT_FLOAT_EQ(quick_ff_cell_at(0, 0)->slip_m, 2.0f);
    EXPECT_FLOAT_EQ(quick_ff_cell_at(2, 2)->slip_m, 2.0f);
    EXPECT_EQ(w_->control_text(cell_id(1, 1)), "");  // not enabled: stays empty
}

TEST_F(QuickFfWindowTest, ResizeRefusesTooSmallAndRebuildsOnSuccess) {
    w_->type(kQffRowsEdit, "2");
    w_->press(kQffResize);
    EXPECT_EQ(last_box(), "Rows/cols must be 3..60 and 3..60 so the C3 epicenter cell exists.");
    EXPECT_EQ(g_quick_ff_grid_rows, 7);
    const int builds = w_->builds;
    w_->type(kQffRowsEdit, "60");
    w_->type(kQffColsEdit, "60");
    w_->press(kQffResize);
    EXPECT_EQ(g_quick_ff_grid_rows, 60);
    EXPECT_EQ(w_->builds, builds + 1);
    EXPECT_EQ(w_->control_text(kQffRowsEdit), "60");

    w_->type(kQffBulkDipEdit, "70");
    w_->press(kQffApplyBulkDip);
    EXPECT_EQ(last_box(), "Bulk dip must be from 5 to 60 degrees.");
    w_->type(kQffLengthEdit, "30");
    EXPECT_FLOAT_EQ(g_fault_stamp_length_km, 30.0f);  // lenient read while typing
}

}  // namespace
}  // namespace kaitoro
