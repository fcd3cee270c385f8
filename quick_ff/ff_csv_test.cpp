#include "quick_ff/ff_csv.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "core/status.h"
#include "quick_ff/ff_grid.h"
#include "source_design/source_cell.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/source_fixtures.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

using testing::set_quick_ff_cell;

using testing::TempDir;

class QuickFfCsvTest : public ::testing::Test {
  protected:
    void SetUp() override {
        testing::reset_all_globals();
        set_platform(&platform_.fake);
    }
    void TearDown() override { testing::reset_all_globals(); }

    // Loads `text` through the Load CSV command with a scripted dialog.
    int load(const std::string& text) {
        const std::string path = dir_.file("in.csv");
        testing::write_text_file(path, text);
        fake().open_answers.push_back(path);
        return quick_ff_load_csv(nullptr);
    }
    testing::FakePlatform& fake() { return platform_.fake; }
    // "C3=12.5/60/15 ..." for every cell with slip or enabled, in row-major order.
    static std::string cells() {
        std::string out;
        char buf[96];
        for (int r = 0; r < g_quick_ff_grid_rows; ++r)
            for (int c = 0; c < g_quick_ff_grid_cols; ++c) {
                const QuickFfCell& q = *quick_ff_cell_at(r, c);
                if (!q.enabled && q.slip_m <= 0) continue;
                std::snprintf(buf, sizeof buf, "%s=%g/%d/%g%s ", quick_ff_cell_name(r, c).c_str(),
                              q.slip_m, q.delay_s, q.dip_deg, q.enabled ? "" : "(off)");
                out += buf;
            }
        return out;
    }

    TempDir dir_;
    testing::ScopedFakePlatform platform_;
};

TEST_F(QuickFfCsvTest, SaveWritesTheMatrixFileByteForByte) {
    quick_ff_init_empty_grid(7, 7, 0);
    set_quick_ff_cell(2, 2, 1, 0, 15);
    g_fault_width_km = 0.25f;  // made valid (1) and stored back before writing
    const std::string path = dir_.file("grid.csv");
    fake().save_answers.push_back(path);
    ASSERT_EQ(quick_ff_save_csv(nullptr), 1);

    EXPECT_EQ(fake().save_requests.at(0).default_name, "quick_finite_fault_grid.csv");
    EXPECT_FLOAT_EQ(g_fault_width_km, 1.0f);

    EXPECT_EQ(testing::read_file_text(path),
              "# Quick finite-fault Excel-style grid. Epicenter cell = active delay-0 cell. "
              "Rows=7 Cols=7 PatchLengthKm=40 PatchWidthKm=1 Row1=shallow. Each cell is "
              "slip_m,delay_s,dip_deg.\n"
              "# This matrix format is meant to be easy to edit in Excel. Empty cells mean no "
              "patch.\n"
              "row,A,B,C,D,E,F,G\n"
              "1,,,,,,,\n"
              "2,,,,,,,\n"
              "3,,,\"1,0,15\",,,,\n"
              "4,,,,,,,\n"
              "5,,,,,,,\n"
              "6,,,,,,,\n"
              "7,,,,,,,\n"
              "\n"
              "# Legacy/list format is still accepted when loading:\n"
              "# cell,rel_s,rel_d,slip_m,delay_s,dip_deg\n");

    // A cancelled dialog writes nothing; an unwritable path leaves no file and warns.
    EXPECT_EQ(quick_ff_save_csv(nullptr), 0);
    fake().save_answers.push_back(dir_.file("no/such/dir/grid.csv"));
    EXPECT_EQ(quick_ff_save_csv(nullptr), 0);
    ASSERT_EQ(fake().boxes.size(), 1u);
    EXPECT_EQ(fake().boxes[0].title, "Finite fault editor");
}

TEST_F(QuickFfCsvTest, SavedFileLoadsBackToTheSameGrid) {
    quick_ff_init_empty_grid(9, 27, 0);
    set_quick_ff_cell(0, 0, 0.125f, 7, 5);
    set_quick_ff_cell(2, 2, 12.5f, 0, 14);
    set_quick_ff_cell(8, 26, 30.0f, 123, 60);
    set_quick_ff_cell(4, 13, 1.0f / 3.0f, 59, 33.3f);
    quick_ff_cell_at(5, 5)->slip_m = 0.0003f;  // below the enabled threshold, still written
    g_quick_ff_row1_is_shallow = 0;
    g_fault_stamp_length_km = 55.5f;
    g_fault_width_km = 33.25f;
    const std::string before = cells();
    ASSERT_EQ(quick_ff_write_csv_file(dir_.file("rt.csv").c_str()), 1);

    testing::reset_all_globals();
    testing::ScopedFakePlatform other;
    other.fake.open_answers.push_back(dir_.file("rt.csv"));
    ASSERT_EQ(quick_ff_load_csv(nullptr), 5);
    EXPECT_EQ(g_quick_ff_grid_rows, 9);
    EXPECT_EQ(g_quick_ff_grid_cols, 27);
    EXPECT_EQ(g_quick_ff_row1_is_shallow, 0);
    EXPECT_FLOAT_EQ(g_fault_stamp_length_km, 55.5f);
    EXPECT_FLOAT_EQ(g_fault_width_km, 33.25f);
    EXPECT_EQ(cells(), before);
    EXPECT_FLOAT_EQ(quick_ff_cell_at(8, 26)->dip_offset, -6.0f);  // deep row 1
    EXPECT_STREQ(g_status,
                 "Loaded quick finite-fault CSV: 5 cells (5 matrix rows, 0 list/ref rows).");
}

// Every accepted form; the status names the matrix and list/reference rows it counted.
TEST_F(QuickFfCsvTest, EachFormLoadsItsCells) {
    const struct {
        const char* csv;
        int loaded;
        const char* cells;
        const char* status;  // nullptr: not checked
    } cases[] = {
        // The four examples of the no-cells message.
        {"cell,rel_s,rel_d,slip_m,delay_s,dip_deg\nA1,-2,-2,0.003,12,17\n", 1, "A1=0.003/12/17 ",
         "Loaded quick finite-fault CSV: 1 cells (0 matrix rows, 1 list/ref rows)."},
        {"row,A,B,C\n1,,\"12.5,60,15\",\n3,\"2\",,\"4,5\"\n", 3,
         "B1=12.5/60/15 A3=2/0/15 C3=4/5/15 ", nullptr},
        {"C3,12.5,60,15\n", 1, "C3=12.5/60/15 ", nullptr},
        {"12.5,60,15,8,90,20\n", 2, "A1=12.5/60/15 B1=8/90/20 ",
         "Loaded quick finite-fault CSV: 2 cells (1 matrix rows, 0 list/ref rows)."},
        // List forms: one field with an inline text, two, five, legacy six, lower-case names.
        {"C3: 12.5/60/15\nD4,8/30\nE5,1,2,25,comment\nb2,0,0,3,4,50\n", 4,
         "B2=3/4/50 C3=12.5/60/15 D4=8/30/15 E5=1/2/25 ", nullptr},
        // Reference tokens, several per line; a cell beyond row 60 (Z70) is skipped.
        {"C3 1/0/15,D3 2/10,Z70 5\nx,A7: 3\n", 3, "C3=1/0/15 D3=2/10/15 A7=3/0/15 ",
         "Loaded quick finite-fault CSV: 3 cells (0 matrix rows, 2 list/ref rows)."},
        // Lenient numbers in the five-field form: text reads as 0 (dip 0 becomes 5).
        {"C3,4,soon,x\n", 1, "C3=4/0/5 ", nullptr},
        // Spreadsheet exports: tabs, CRLF and a byte-order mark.
        {"\xEF\xBB\xBFrow\tA\tB\tC\r\n1\t\t5,10\t\r\n2\t3\t\t\r\n", 3,
         "B1=5/0/15 C1=10/0/15 A2=3/0/15 ", nullptr},
        // Unnumbered rows under a header of column letters (skipped, not counted), with an
        // empty row and trailing empty cells.
        {"A,B,C\r\n1.5,,2.5,,\r\n,,,\r\n\"3,20,10\",,\r\n", 3,
         "A1=1.5/0/15 C1=2.5/0/15 A3=3/20/10 ", nullptr},
        // Unquoted triples padded by the spreadsheet; doubled quotes inside a quoted cell.
        {"4,1,2,20,3,4,25,,,\n5,\"\"\"2\"\"\"\n", 3, "A4=1/2/20 B4=3/4/25 A5=2/0/15 ", nullptr},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(load(c.csv), c.loaded) << c.csv;
        EXPECT_EQ(cells(), c.cells) << c.csv;
        if (c.status) {
            EXPECT_STREQ(g_status, c.status) << c.csv;
        }
    }
}

// Lines the format rules read in a way the user may not mean load as the rules say, and the
// status line says how they were read after the usual text.
TEST_F(QuickFfCsvTest, AmbiguousLinesLoadAsDocumentedAndSayHow) {
    const struct {
        const char* csv;
        const char* cells;
        const char* status;
    } cases[] = {
        {"# grid\n\n\n10,60,15,8,90,20\n",
         "A10=60/0/15 B10=15/0/15 C10=8/0/15 D10=90/0/15 E10=20/0/15 ",
         "Loaded quick finite-fault CSV: 5 cells (1 matrix rows, 0 list/ref rows). Line 4 read as "
         "matrix row 10 (5 slips)."},
        {"C3:12.5,60,15\n", "C3=12.5/0/15 ",
         "Loaded quick finite-fault CSV: 1 cells (0 matrix rows, 1 list/ref rows). Line 1: C3 "
         "took slip 12.5 only; delay and dip ignored."},
        {"B3,1\n10,60,15\n# note\n\nB2: 3,7\n", "B2=3/0/15 B3=1/0/15 A10=60/0/15 B10=15/0/15 ",
         "Loaded quick finite-fault CSV: 4 cells (1 matrix rows, 2 list/ref rows). Line 2 read as "
         "matrix row 10 (2 slips). (+1 more)"},
        {"x,A1: 2/5,junk,D1: 4\n", "A1=2/5/15 D1=4/0/15 ",
         "Loaded quick finite-fault CSV: 2 cells (0 matrix rows, 1 list/ref rows). Line 1: 1 "
         "field(s) after A1 ignored."},
        // Unambiguous forms stay quiet: quoted cells, a row with one triple, true triples.
        {"12.5,60,15\n3,\"1,0,15\",,\n4,12.5,60,15\n", "A1=12.5/60/15 A3=1/0/15 A4=12.5/60/15 ",
         "Loaded quick finite-fault CSV: 3 cells (3 matrix rows, 0 list/ref rows)."},
    };
    for (const auto& c : cases) {
        EXPECT_GT(load(c.csv), 0) << c.csv;
        EXPECT_EQ(cells(), c.cells) << c.csv;
        EXPECT_STREQ(g_status, c.status) << c.csv;
    }
}

TEST_F(QuickFfCsvTest, RowNumbersRunningIndexAndLimits) {
    // The "row" header advances the running index; a numbered line that yields a cell does
    // too; a row number alone does not.
    EXPECT_EQ(load("row,A,B\n2,7\n5\n,8\n"), 2);
    EXPECT_EQ(cells(), "A2=7/0/15 B3=8/0/15 ");

    // Cells at row or column 60 and beyond are dropped; 61 columns keep the first 60.
    std::string wide = "1";
    for (int c = 0; c < 61; ++c) wide += ",1";
    EXPECT_EQ(load(wide + "\n61,2\nBI1,3\n"), 60);
    EXPECT_EQ(g_quick_ff_grid_cols, 60);
    EXPECT_EQ(g_quick_ff_grid_rows, 7);

    // Unnumbered lines stop at 60.
    std::string tall;
    for (int r = 0; r < 62; ++r) tall += "1.5\n";
    EXPECT_EQ(load(tall), 60);
    EXPECT_EQ(g_quick_ff_grid_rows, 60);
}

TEST_F(QuickFfCsvTest, CommentKeysSizeTheGrid) {
    // Requested sizes are clamped and then raised to the cells read.
    EXPECT_EQ(load("# Rows=2 Cols=12\nC5,1\n"), 1);
    EXPECT_EQ(g_quick_ff_grid_rows, 5);
    EXPECT_EQ(g_quick_ff_grid_cols, 12);
    EXPECT_EQ(load("#Rows=99 Cols=0 PatchLengthKm=2 PatchWidthKm=1e9 Row1=Deep-ish\nA1,1\n"), 1);
    EXPECT_EQ(g_quick_ff_grid_rows, 60);
    EXPECT_EQ(g_quick_ff_grid_cols, 12);  // Cols=0 keeps the current count
    EXPECT_FLOAT_EQ(g_fault_stamp_length_km, 5.0f);
    EXPECT_FLOAT_EQ(g_fault_width_km, 800.0f);
    EXPECT_EQ(g_quick_ff_row1_is_shallow, 0);
    EXPECT_FLOAT_EQ(quick_ff_cell_at(0, 0)->dip_offset, 2.0f);
    EXPECT_EQ(load("# PatchLengthKm=-3 PatchWidthKm=nan Row1=SHALLOW\nA1,1\n"), 1);
    EXPECT_FLOAT_EQ(g_fault_stamp_length_km, 5.0f);
    EXPECT_FLOAT_EQ(g_fault_width_km, 800.0f);
    EXPECT_EQ(g_quick_ff_row1_is_shallow, 1);
}

TEST_F(QuickFfCsvTest, NothingReadLeavesTheGridAndWarns) {
    quick_ff_init_empty_grid(4, 9, 1);
    const std::string before = cells();
    std::strcpy(g_status, "untouched");
    // Settings in comments stay applied; the grid's offsets follow the new orientation.
    EXPECT_EQ(
        load("# Rows=20 PatchLengthKm=80 Row1=deep\nrow,A,B\n1,abc,\nA,B,C\ncell,rel_s,rel_d\n"),
        0);
    ASSERT_EQ(fake().boxes.size(), 1u);
    EXPECT_EQ(fake().boxes[0].text,
              "No valid finite-fault cells found. Accepted examples:\n"
              "  Legacy list: cell,rel_s,rel_d,slip_m,delay_s,dip_deg then A1,-2,-2,0.003,12,17\n"
              "  Matrix CSV: row,A,B,C then cells like \"12.5,60,15\"\n"
              "  Simple list: C3,12.5,60,15\n"
              "  Unquoted triples: 12.5,60,15,8,90,20");
    EXPECT_EQ(g_quick_ff_grid_rows, 4);
    EXPECT_EQ(cells(), before);
    EXPECT_FLOAT_EQ(g_fault_stamp_length_km, 80.0f);
    EXPECT_FLOAT_EQ(quick_ff_cell_at(3, 0)->dip_offset, -1.0f);
    EXPECT_STREQ(g_status, "untouched");

    EXPECT_EQ(load(""), 0);

    // A file that cannot be opened.
    fake().open_answers.push_back(dir_.file("missing.csv"));
    EXPECT_EQ(quick_ff_load_csv(nullptr), 0);
    ASSERT_EQ(fake().boxes.size(), 3u);
    EXPECT_EQ(fake().boxes[2].text, "Failed to open quick finite-fault CSV.");
    EXPECT_EQ(cells(), before);

    // Cancel does nothing at all.
    EXPECT_EQ(quick_ff_load_csv(nullptr), 0);
    EXPECT_EQ(fake().boxes.size(), 3u);
}

TEST_F(QuickFfCsvTest, ValuesAreClampedAndThresholded) {
    EXPECT_EQ(load("A1,-4,-9,2\nB1,0.0004,59.5,90\nC1,0.0006\n"), 3);
    const QuickFfCell& a1 = *quick_ff_cell_at(0, 0);
    EXPECT_FLOAT_EQ(a1.slip_m, 0.0f);
    EXPECT_EQ(a1.delay_s, 0);
    EXPECT_FLOAT_EQ(a1.dip_deg, 5.0f);
    // Slip 0.0004 is below the 0.0005 threshold: written down but not enabled.
    EXPECT_EQ(cells(), "B1=0.0004/60/60(off) C1=0.0006/0/15 ");
}

}  // namespace
}  // namespace kaitoro
