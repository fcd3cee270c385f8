#include "quick_ff/ff_grid.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "source_design/source_cell.h"
#include "tests/support/global_state.h"
#include "tests/support/source_fixtures.h"

namespace kaitoro {
namespace {

using testing::set_quick_ff_cell;

class QuickFfGridTest : public ::testing::Test {
  protected:
    void SetUp() override { testing::reset_all_globals(); }
    void TearDown() override { testing::reset_all_globals(); }
    // "enabled along_offset dip_offset slip delay dip" of a cell.
    static std::string text(const QuickFfCell& c) {
        char buf[96];
        std::snprintf(buf, sizeof buf, "%d %g %g %g %d %g", c.enabled, c.along_offset, c.dip_offset,
                      c.slip_m, c.delay_s, c.dip_deg);
        return buf;
    }
};

TEST_F(QuickFfGridTest, CellNamesRunFromAToBh) {
    EXPECT_EQ(quick_ff_column_name(0), "A");
    EXPECT_EQ(quick_ff_column_name(25), "Z");
    EXPECT_EQ(quick_ff_column_name(26), "AA");
    EXPECT_EQ(quick_ff_column_name(51), "AZ");
    EXPECT_EQ(quick_ff_column_name(52), "BA");
    EXPECT_EQ(quick_ff_column_name(59), "BH");
    EXPECT_EQ(quick_ff_cell_name(2, 2), "C3");
    EXPECT_EQ(quick_ff_cell_name(59, 27), "AB60");
}

struct CellText {
    const char* text;
    int ok;
    float slip;
    int delay;
    float dip;
    int enabled;
};

TEST_F(QuickFfGridTest, CellTextRules) {
    const CellText cases[] = {
        {"12.5", 1, 12.5f, 0, 15.0f, 1},
        {"12.5,60,15", 1, 12.5f, 60, 15.0f, 1},
        {"12.5/60/20", 1, 12.5f, 60, 20.0f, 1},
        {"12.5;60;20", 1, 12.5f, 60, 20.0f, 1},
        {"12.5\r\n60\r\n20", 1, 12.5f, 60, 20.0f, 1},  // the editor's three lines
        {"  \t12.5 , 60 ,20  ", 1, 12.5f, 60, 20.0f, 1},
        {"12.5,,15", 1, 12.5f, 15, 15.0f, 1},  // empty parts drop out
        {"", 1, 0.0f, 0, 15.0f, 0},
        {" \r\n", 1, 0.0f, 0, 15.0f, 0},
        {"1,0,3", 1, 1.0f, 0, 5.0f, 1},
        {"1,0,75", 1, 1.0f, 0, 60.0f, 1},
        {"-4", 1, 0.0f, 0, 15.0f, 0},
        {"1,59.5", 1, 1.0f, 60, 15.0f, 1},
        {"1,-30", 1, 1.0f, 0, 15.0f, 1},
        {".5e1", 1, 5.0f, 0, 15.0f, 1},
        {"abc", 0, 0, 0, 0, 0},
        {"12x", 0, 0, 0, 0, 0},
        {"12.5,60s", 0, 0, 0, 0, 0},
        {"inf", 0, 0, 0, 0, 0},
        {"nan", 0, 0, 0, 0, 0},
        {"0x10", 0, 0, 0, 0, 0},
        {"1,2,x", 0, 0, 0, 0, 0},
    };
    for (const CellText& c : cases) {
        float slip = -99, dip = -99;
        int delay = -99, enabled = -99;
        ASSERT_EQ(quick_ff_parse_cell_text(c.text, &slip, &delay, &dip, &enabled), c.ok) << c.text;
        if (!c.ok) {
            EXPECT_EQ(slip, -99) << "an invalid text leaves the outputs alone: " << c.text;
            continue;
        }
        EXPECT_FLOAT_EQ(slip, c.slip) << c.text;
        EXPECT_EQ(delay, c.delay) << c.text;
        EXPECT_FLOAT_EQ(dip, c.dip) << c.text;
        EXPECT_EQ(enabled, c.enabled) << c.text;
    }

    // The default dip is the design setting; only 127 bytes of a text count.
    g_fault_dip_deg = 33;
    float slip, dip;
    int delay, enabled;
    ASSERT_TRUE(quick_ff_parse_cell_text("2", &slip, &delay, &dip, &enabled));
    EXPECT_FLOAT_EQ(dip, 33.0f);
    const std::string long_text = "2,10" + std::string(123, ' ') + "x";
    EXPECT_TRUE(quick_ff_parse_cell_text(long_text.c_str(), &slip, &delay, &dip, &enabled));
}

TEST_F(QuickFfGridTest, EmptyGridSeedsC3AndComputesOffsets) {
    g_new_source_height_m = 0.4f;
    quick_ff_init_empty_grid(2, 99, 1);
    EXPECT_EQ(g_quick_ff_grid_rows, 3);
    EXPECT_EQ(g_quick_ff_grid_cols, 60);
    EXPECT_EQ(g_quick_ff_count, 180);
    EXPECT_EQ(text(*quick_ff_cell_at(2, 2)), "1 0 0 1 0 15");  // slip at least 1 m
    EXPECT_EQ(quick_ff_cell_at(3, 0), nullptr);
    EXPECT_EQ(quick_ff_cell_at(0, 60), nullptr);

    g_new_source_height_m = 6;
    quick_ff_init_empty_grid(7, 7, 1);
    EXPECT_FLOAT_EQ(quick_ff_cell_at(2, 2)->slip_m, 6.0f);
    EXPECT_EQ(text(*quick_ff_cell_at(5, 0)), "0 -2 3 0 0 15");

    g_quick_ff_row1_is_shallow = 0;
    quick_ff_init_empty_grid(7, 7, 0);
    EXPECT_FLOAT_EQ(quick_ff_cell_at(5, 0)->dip_offset, -3.0f);
    EXPECT_EQ(quick_ff_cell_at(2, 2)->enabled, 0);
}

TEST_F(QuickFfGridTest, ResizeKeepsOverlapAndClampsTheView) {
    quick_ff_init_empty_grid(10, 10, 0);
    g_quick_ff_view_row = 5;
    g_quick_ff_view_col = 5;
    QuickFfCell& b2 = *quick_ff_cell_at(1, 1);
    b2 = {1, 0, 0, 4.5f, 30, 22};
    quick_ff_cell_at(8, 8)->slip_m = 9;
    quick_ff_cell_at(8, 8)->enabled = 1;

    quick_ff_resize_grid(6, 12);
    EXPECT_EQ(g_quick_ff_count, 72);
    EXPECT_EQ(g_quick_ff_view_row, 1);
    EXPECT_EQ(g_quick_ff_view_col, 5);
    const QuickFfCell& kept = *quick_ff_cell_at(1, 1);
    EXPECT_EQ(text(kept), "1 -1 -1 4.5 30 22");  // offsets belong to the position
    for (const QuickFfCell& c : g_quick_ff_rows)
        if (&c != &kept) {
            EXPECT_EQ(c.enabled, 0);
        }
}

TEST_F(QuickFfGridTest, TransposeMovesB5ToE2) {
    quick_ff_init_empty_grid(7, 10, 0);
    g_quick_ff_view_row = 2;
    g_quick_ff_view_col = 4;
    *quick_ff_cell_at(4, 1) = {1, 0, 0, 7.0f, 45, 12};  // B5
    quick_ff_swap_row_col_grid();
    EXPECT_EQ(g_quick_ff_grid_rows, 10);
    EXPECT_EQ(g_quick_ff_grid_cols, 7);
    EXPECT_EQ(text(*quick_ff_cell_at(1, 4)), "1 2 -1 7 45 12");
    EXPECT_EQ(quick_ff_cell_at(4, 1)->enabled, 0);
    EXPECT_EQ(g_quick_ff_view_row, 4);
    EXPECT_EQ(g_quick_ff_view_col, 2);
}

TEST_F(QuickFfGridTest, EpicentreRulesInOrder) {
    int row, col;
    float along, down;
    quick_ff_find_epicenter_cell(&row, &col, &along, &down);  // no grid at all
    EXPECT_EQ(row, 2);
    EXPECT_EQ(col, 2);

    quick_ff_init_empty_grid(7, 7, 0);
    set_quick_ff_cell(5, 4, 2, 30);
    set_quick_ff_cell(6, 6, 2, 40);
    quick_ff_find_epicenter_cell(&row, &col, &along, &down);  // first active cell
    EXPECT_EQ((std::vector<float>{float(row), float(col), along, down}),
              (std::vector<float>{5, 4, 2, 3}));

    set_quick_ff_cell(2, 2, 1, 20);  // C3 active but timed: still the epicentre
    quick_ff_find_epicenter_cell(&row, &col, &along, &down);
    EXPECT_EQ(row, 2);
    EXPECT_EQ(col, 2);
    EXPECT_FLOAT_EQ(down, 0.0f);

    // Delay-0 cells win: the rounded mean position, the mean offsets.
    set_quick_ff_cell(3, 4, 1, 0);
    set_quick_ff_cell(4, 6, 1, 0);
    quick_ff_find_epicenter_cell(&row, &col, &along, &down);  // row 3.5 rounds away from zero
    EXPECT_EQ((std::vector<float>{float(row), float(col), along, down}),
              (std::vector<float>{4, 5, 3, 1.5f}));

    // A zero-delay cell without slip does not count.
    quick_ff_init_empty_grid(7, 7, 0);
    set_quick_ff_cell(6, 6, 0, 0);
    quick_ff_find_epicenter_cell(&row, &col, &along, &down);
    EXPECT_EQ(row, 2);
    EXPECT_EQ(col, 2);
    EXPECT_FLOAT_EQ(along, 0.0f);
}

}  // namespace
}  // namespace kaitoro
