#include "quick_ff/ff_commands.h"

#include <gtest/gtest.h>

#include <cmath>

#include "core/status.h"
#include "quick_ff/ff_grid.h"
#include "quick_ff/placement.h"
#include "source_design/brush.h"
#include "source_design/source_cell.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/source_fixtures.h"

namespace kaitoro {
namespace {

using testing::set_quick_ff_cell;

class QuickFfCommandsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        testing::reset_all_globals();
        set_platform(&platform_.fake);
        quick_ff_init_empty_grid(7, 7, 0);
    }
    void TearDown() override { testing::reset_all_globals(); }
    testing::FakePlatform& fake() { return platform_.fake; }
    static QuickFfCell& cell(int r, int c) { return *quick_ff_cell_at(r, c); }
    testing::ScopedFakePlatform platform_;
};

TEST_F(QuickFfCommandsTest, AutoDelayTimesFromTheZeroDelayCellNearestC3) {
    set_quick_ff_cell(2, 2, 2, 3);  // only C3, timed: it becomes the origin and gets 0
    EXPECT_EQ(quick_ff_auto_delay_from_zero(), 1);
    EXPECT_EQ(cell(2, 2).delay_s, 0);
    EXPECT_STREQ(g_status,
                 "Auto delay from zero-delay epicenter cell C3 applied to 1 active cells at "
                 "rupture speed 2.50 km/s.");

    // Two zero-delay cells: B4 is nearer C3 than G7 and becomes the origin. Distances use
    // the patch length along strike and the width down dip.
    set_quick_ff_cell(2, 2, 2, 99);
    set_quick_ff_cell(3, 1, 1, 0);
    set_quick_ff_cell(6, 6, 1, 0);
    set_quick_ff_cell(0, 4, 1, 50);
    g_fault_stamp_length_km = 40;
    g_fault_width_km = 30;
    g_rupture_velocity_km_s = 2.0f;
    EXPECT_EQ(quick_ff_auto_delay_from_zero(), 4);
    EXPECT_EQ(cell(3, 1).delay_s, 0);
    EXPECT_EQ(cell(2, 2).delay_s, int(std::lround(std::hypot(40.0, 30.0) / 2.0)));
    EXPECT_EQ(cell(6, 6).delay_s, int(std::lround(std::hypot(200.0, 90.0) / 2.0)));
    EXPECT_EQ(cell(0, 4).delay_s, int(std::lround(std::hypot(120.0, 90.0) / 2.0)));

    // Below 0.1 km/s the speed is 0.1.
    g_rupture_velocity_km_s = 0.01f;
    quick_ff_auto_delay_from_zero();
    EXPECT_EQ(cell(2, 2).delay_s, 500);

    // No origin: an information box and nothing changes.
    quick_ff_init_empty_grid(7, 7, 0);
    set_quick_ff_cell(4, 4, 1, 10);
    EXPECT_EQ(quick_ff_auto_delay_from_zero(), -1);
    EXPECT_EQ(fake().boxes.size(), 1u);
    EXPECT_EQ(cell(4, 4).delay_s, 10);
}

TEST_F(QuickFfCommandsTest, SlipPercentOfTheFocusedCell) {
    set_quick_ff_cell(2, 2, 4, 0);
    set_quick_ff_cell(3, 3, 9, 10);
    g_quick_ff_slip_percent = 50;
    EXPECT_EQ(quick_ff_apply_slip_percent(2, 2), 2);
    EXPECT_FLOAT_EQ(cell(2, 2).slip_m, 2.0f);
    EXPECT_FLOAT_EQ(cell(3, 3).slip_m, 2.0f);
    EXPECT_FLOAT_EQ(cell(0, 0).slip_m, 0.0f);
    EXPECT_STREQ(g_status, "Set 2 active quick-FF cells to focused slip 4 m x 50.0% = 2 m.");

    EXPECT_EQ(quick_ff_apply_slip_percent(-1, -1), -1);
    EXPECT_EQ(quick_ff_apply_slip_percent(1, 9), -1);  // outside the grid
    EXPECT_EQ(quick_ff_apply_slip_percent(0, 0), -1);
    ASSERT_EQ(fake().boxes.size(), 3u);
    EXPECT_EQ(fake().boxes[2].text, "Focused cell has no positive slip value.");
    EXPECT_FLOAT_EQ(cell(3, 3).slip_m, 2.0f);
}

TEST_F(QuickFfCommandsTest, FieldsAreStrictOrLenient) {
    EXPECT_EQ(quick_ff_read_slip_percent_text(" 80 \r\n", 1), 1);
    EXPECT_FLOAT_EQ(g_quick_ff_slip_percent, 80.0f);
    EXPECT_EQ(quick_ff_read_slip_percent_text("", 1), 1);  // empty: no change
    EXPECT_EQ(quick_ff_read_slip_percent_text("-5", 1), 0);
    EXPECT_EQ(quick_ff_read_slip_percent_text("80%", 0), 1);  // lenient: ignored silently
    EXPECT_FLOAT_EQ(g_quick_ff_slip_percent, 80.0f);
    EXPECT_EQ(quick_ff_read_bulk_dip_text("61", 1), 0);
    EXPECT_EQ(quick_ff_read_bulk_dip_text("22.5", 1), 1);
    EXPECT_FLOAT_EQ(g_quick_ff_bulk_dip_deg, 22.5f);
    EXPECT_EQ(fake().boxes.size(), 2u);

    // A bad width stops both fields from being stored.
    EXPECT_EQ(quick_ff_read_patch_size_texts("70", "0", 1), 0);
    EXPECT_EQ(fake().boxes.back().text, "Invalid patch width km.");
    EXPECT_FLOAT_EQ(g_fault_stamp_length_km, 40.0f);
    EXPECT_EQ(quick_ff_read_patch_size_texts("abc", "10", 1), 0);
    EXPECT_EQ(fake().boxes.back().text, "Invalid patch length km.");
    EXPECT_FLOAT_EQ(g_fault_width_km, 20.0f);
    EXPECT_EQ(quick_ff_read_patch_size_texts("1000", "2000", 1), 1);
    EXPECT_FLOAT_EQ(g_fault_stamp_length_km, 600.0f);
    EXPECT_FLOAT_EQ(g_fault_width_km, 800.0f);
    EXPECT_EQ(quick_ff_read_patch_size_texts("abc", "50", 0), 1);  // typing: the good one counts
    EXPECT_FLOAT_EQ(g_fault_width_km, 50.0f);

    // Bulk dip goes to the active cells only.
    set_quick_ff_cell(2, 2, 1, 0);
    cell(4, 4).dip_deg = 40;
    EXPECT_EQ(quick_ff_apply_bulk_dip(), 1);
    EXPECT_FLOAT_EQ(cell(2, 2).dip_deg, 22.5f);
    EXPECT_FLOAT_EQ(cell(4, 4).dip_deg, 40.0f);
    EXPECT_STREQ(g_status, "Quick FF CSV editor: applied dip 22.5 deg to 1 active cell(s).");
}

TEST_F(QuickFfCommandsTest, VisibleCellsReadStrictlyOrLeniently) {
    g_quick_ff_view_row = 1;
    g_quick_ff_view_col = 2;
    set_quick_ff_cell(1, 2, 12.5f, 60);  // top-left visible cell
    QuickFfVisibleTexts t = quick_ff_visible_cell_texts();
    EXPECT_EQ(t[0], "12.5\r\n60\r\n15.0");
    EXPECT_EQ(t[1], "");
    EXPECT_EQ(quick_ff_visible_cells_label(),
              "Visible cells: C2:G6  (arrow keys move the 5x5 window)");

    t[1] = "3\r\n20\r\n30";  // D2
    t[6] = "oops";           // D3
    EXPECT_EQ(quick_ff_read_visible_cell_texts(t, 1), 0);
    ASSERT_EQ(fake().boxes.size(), 1u);  // the message names the bad cell
    EXPECT_EQ(fake().boxes[0].text,
              "Invalid value in cell D3. Use three lines: slip / delay / dip, or slip,delay,dip.");
    EXPECT_EQ(cell(1, 3).enabled, 0);  // nothing stored

    EXPECT_EQ(quick_ff_read_visible_cell_texts(t, 0), 1);
    EXPECT_FLOAT_EQ(cell(1, 3).slip_m, 3.0f);
    EXPECT_FLOAT_EQ(cell(1, 3).dip_deg, 30.0f);
    t[0] = "";
    quick_ff_read_visible_cell_texts(t, 0);
    EXPECT_EQ(cell(1, 2).enabled, 0);

    // The view stays inside the grid.
    quick_ff_move_view(5, -5);
    EXPECT_EQ(g_quick_ff_view_row, 2);
    EXPECT_EQ(g_quick_ff_view_col, 0);
    quick_ff_move_view(1, 0);  // Down at max(rows - 5, 0) does nothing
    EXPECT_EQ(g_quick_ff_view_row, 2);
}

TEST_F(QuickFfCommandsTest, ResizeRowOrientationSwapAndClear) {
    EXPECT_EQ(quick_ff_resize_command("2", "7"), 0);
    EXPECT_EQ(fake().boxes.size(), 1u);
    EXPECT_EQ(g_quick_ff_grid_rows, 7);
    EXPECT_EQ(quick_ff_resize_command("60", "60"), 1);
    EXPECT_EQ(g_quick_ff_count, 3600);

    set_quick_ff_cell(5, 0, 1, 0);
    quick_ff_toggle_row1();
    EXPECT_STREQ(quick_ff_row1_button_text(), "Row1: deep");
    EXPECT_FLOAT_EQ(cell(5, 0).dip_offset, -3.0f);
    quick_ff_toggle_row1();
    EXPECT_FLOAT_EQ(cell(5, 0).dip_offset, 3.0f);

    quick_ff_swap_command();
    EXPECT_EQ(cell(0, 5).enabled, 1);

    g_fault_dip_deg = 25;
    quick_ff_clear_grid();
    EXPECT_FLOAT_EQ(cell(0, 5).slip_m, 0.0f);
    EXPECT_FLOAT_EQ(cell(0, 5).dip_deg, 25.0f);
}

TEST_F(QuickFfCommandsTest, ColourRamp) {
    auto rgb = [](float t) {
        int r, g, b;
        quick_ff_hsv_color(t, &r, &g, &b);
        return std::to_string(r) + "," + std::to_string(g) + "," + std::to_string(b);
    };
    std::string ramp;
    for (float t : {-0.1f, 0.0f, 0.125f, 0.2f, 0.25f, 0.4f, 0.8f, 1.0f, 7.0f}) ramp += rgb(t) + " ";
    EXPECT_EQ(ramp,
              "255,255,255 255,255,255 96,255,255 0,255,255 0,255,191 0,255,0 255,106,0 255,0,0 "
              "255,0,0 ");

    set_quick_ff_cell(2, 2, 4, 0);
    set_quick_ff_cell(3, 3, 2, 0);
    EXPECT_EQ(quick_ff_cell_color(2, 2), 0xFF0000u);
    EXPECT_EQ(quick_ff_cell_color(0, 0), 0xFFFFFFu);
    g_quick_ff_color_mode = 1;  // all delays 0: every active cell gets the colour of t = 0
    EXPECT_EQ(quick_ff_cell_color(2, 2), 0xFFFFFFu);
    EXPECT_EQ(quick_ff_cell_color(3, 3), 0xFFFFFFu);
}

TEST_F(QuickFfCommandsTest, MagnitudePreview) {
    EXPECT_EQ(quick_ff_mw_preview_text(),
              "Magnitude preview: no active slip cells | patch 40.0 x 20.0 km");
    set_quick_ff_cell(2, 2, 1, 0);
    set_quick_ff_cell(2, 3, 3, 0);
    const QuickFfMwPreview p = quick_ff_compute_mw_preview();
    // M0 = 2 mu A slip summed: 2 * 3.0e10 * 800e6 m2 * 4 m.
    EXPECT_NEAR(p.m0_nm, 2.0 * 30000001024.0 * 800e6 * 4.0, 1e6);
    EXPECT_EQ(quick_ff_mw_preview_text(),
              "Magnitude preview if placed now: Mw 7.46 | M0 1.920e+20 N m | patches 2 | area "
              "1600 km2 | avg slip 2.00 m | max slip 3.00 m");
    g_fault_width_km = NAN;  // made valid on the way
    quick_ff_compute_mw_preview();
    EXPECT_FLOAT_EQ(g_fault_width_km, 20.0f);
}

TEST_F(QuickFfCommandsTest, SaveQuestionBeforePlacement) {
    fake().box_answers = {MessageAnswer::Cancel};
    EXPECT_EQ(quick_ff_confirm_before_placement(nullptr), 0);
    fake().box_answers = {MessageAnswer::Yes};  // the save dialog is cancelled: still go on
    EXPECT_EQ(quick_ff_confirm_before_placement(nullptr), 1);
    EXPECT_EQ(fake().save_requests.size(), 1u);
    fake().box_answers = {MessageAnswer::No, MessageAnswer::No};
    EXPECT_EQ(quick_ff_confirm_before_placement(nullptr), 0);
    fake().box_answers = {MessageAnswer::No, MessageAnswer::Yes};
    EXPECT_EQ(quick_ff_confirm_before_placement(nullptr), 1);
    // Each run asks to save first (Yes / No / Cancel); after No it asks to proceed (Yes / No).
    ASSERT_EQ(fake().boxes.size(), 6u);
    EXPECT_EQ(fake().boxes[0].buttons, MessageButtons::YesNoCancel);
    EXPECT_EQ(fake().boxes[3].buttons, MessageButtons::YesNo);
}

}  // namespace
}  // namespace kaitoro
