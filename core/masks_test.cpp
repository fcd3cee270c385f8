#include "core/masks.h"

#include <gtest/gtest.h>

#include "core/solver.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

using testing::fill_rect;
using testing::GridSpec;
using testing::load_spec;
using testing::make_ocean;
using testing::read_file_text;
using testing::TempDir;
using testing::write_text_file;

std::size_t idx(const GridData& g, int x, int y) { return std::size_t(y) * g.nx + x; }

TEST(LandMask, EnclosedLakeIsLandAndSolidUntilForcedToWater) {
    GridSpec s = make_ocean(30, 30, 200.0f);
    fill_rect(s, 5, 5, 15, 15, -10.0f);
    fill_rect(s, 8, 8, 12, 12, 30.0f);  // lake inside the island
    GridData g = load_spec(s);
    EXPECT_EQ(g.land[idx(g, 10, 10)], 1);
    EXPECT_EQ(g.solid[idx(g, 10, 10)], 1);
    EXPECT_EQ(g.raw_land[idx(g, 10, 10)], 0);
    EXPECT_EQ(g.land[idx(g, 20, 20)], 0);

    set_land_override(&g, 10, 10, 0);
    rebuild_land_mask_from_coast_stations(&g);
    rebuild_solid_mask(&g);
    EXPECT_EQ(g.land[idx(g, 10, 10)], 0);
    EXPECT_EQ(g.solid[idx(g, 10, 10)], 0);
    EXPECT_EQ(g.land[idx(g, 11, 10)], 1);  // the rest of the lake stays land
    // The nearest natural water is the open sea five rings out (200 m); lake cells are
    // land and do not count.
    EXPECT_FLOAT_EQ(g.effective_depth_m[idx(g, 10, 10)], 200.0f);
}

TEST(LandMask, ForcedWaterTakesTheMeanOfItsFirstRingWithSamplesNeverBelow50) {
    GridSpec s = make_ocean(20, 20, 20.0f);
    fill_rect(s, 0, 0, 19, 9, -5.0f);
    s.at(5, 10) = 3000.0f;
    s.at(6, 10) = 1000.0f;
    GridData g = load_spec(s);
    set_land_override(&g, 5, 9, 0);
    rebuild_land_mask_from_coast_stations(&g);
    rebuild_solid_mask(&g);
    // Ring 1 of (5, 9) holds three water cells: 20 (clamped to 50), 3000 and 1000.
    EXPECT_FLOAT_EQ(g.effective_depth_m[idx(g, 5, 9)], (50.0f + 3000.0f + 1000.0f) / 3.0f);

    // Shallow water all around: the mean is clamped up to 50 m.
    set_land_override(&g, 15, 9, 0);
    rebuild_land_mask_from_coast_stations(&g);
    rebuild_solid_mask(&g);
    EXPECT_FLOAT_EQ(g.effective_depth_m[idx(g, 15, 9)], 50.0f);
    // Plain cells clamp to [1, 7000].
    EXPECT_FLOAT_EQ(g.effective_depth_m[idx(g, 0, 0)], 1.0f);
}

TEST(LandMask, StationsShapeTheMasks) {
    GridSpec s = make_ocean(20, 20, 100.0f);
    fill_rect(s, 0, 0, 19, 9, -10.0f);
    s.add_station(10, 5, 11);   // deep on land: a barrier itself, but shown as water
    s.add_station(3, 10, 11);   // on the coast, in the water
    GridData g = load_spec(s);
    EXPECT_EQ(g.land[idx(g, 10, 5)], 0);
    // Its 3x3 block is land around it, so only the station cell opens.
    EXPECT_EQ(g.solid[idx(g, 10, 5)], 0);
    EXPECT_EQ(g.solid[idx(g, 11, 5)], 1);
    EXPECT_EQ(g.station_sample_cell[0], int(idx(g, 10, 5)));

    // Forcing the station cell to land makes it solid: the sample moves to the nearest open
    // water, the sea five rows north.
    set_land_override(&g, 10, 5, 1);
    rebuild_land_mask_from_coast_stations(&g);
    rebuild_solid_mask(&g);
    EXPECT_EQ(g.solid[idx(g, 10, 5)], 1);
    EXPECT_EQ(g.station_sample_cell[0], int(idx(g, 10, 10)));
}

TEST(LandMask, SampleSearchPrefersTheNearestCellAndTheFirstOnATie) {
    GridSpec s = make_ocean(21, 21, -10.0f);  // all land
    s.at(13, 12) = 50.0f;  // d2 = 13, ring 3
    s.at(7, 13) = 50.0f;   // d2 = 18, ring 3
    s.at(12, 7) = 50.0f;   // d2 = 13, ring 3, scanned first (lower row)
    s.add_station(10, 10, 5);
    // Connect the water cells to the border so the flood fill keeps them water.
    fill_rect(s, 13, 12, 20, 12, 50.0f);
    fill_rect(s, 0, 13, 7, 13, 50.0f);
    fill_rect(s, 12, 0, 12, 7, 50.0f);
    GridData g = load_spec(s);
    set_land_override(&g, 10, 10, 1);
    rebuild_land_mask_from_coast_stations(&g);
    rebuild_solid_mask(&g);
    EXPECT_EQ(g.station_sample_cell[0], int(idx(g, 12, 7)));
}

TEST(LandMask, HiddenStripIsWaterUnlessForcedToLand) {
    GridSpec s = make_ocean(10, 10, -10.0f);
    GridData g = load_spec(s);
    EXPECT_EQ(g.land[idx(g, 9, 9)], 0);  // hidden north rows
    EXPECT_EQ(g.solid[idx(g, 9, 9)], 0);
    EXPECT_EQ(g.land[idx(g, 9, 0)], 1);
    set_land_override(&g, 9, 9, 1);
    rebuild_land_mask_from_coast_stations(&g);
    rebuild_solid_mask(&g);
    EXPECT_EQ(g.land[idx(g, 9, 9)], 1);
    EXPECT_EQ(g.solid[idx(g, 9, 9)], 1);
}

TEST(OverrideFile, ReaderRulesAndRoundTrip) {
    GridData g = load_spec(make_ocean(20, 10, 100.0f));
    TempDir dir;
    const std::string path = dir.file("coast_override.csv");
    write_text_file(path,
                    "grid_x,grid_y,mode\r\n"
                    "  3 , 4 , land\r\n"
                    "\t5,6,W\n"
                    "# a comment\n"
                    "\n"
                    "12,7,water\n"
                    "12,7,clear\n"   // removes the line before
                    "13,7,Land\n"    // not a mode word: ignored
                    "14,7,L,extra\n" // mode ends at the comma
                    "15,7\n"         // malformed
                    "99,1,land\n"    // outside the grid
                    "-1,1,land\n"
                    "grid_x,1,land\n"
                    "16,2,0\n");
    set_land_override(&g, 1, 1, 1);  // replaced by the file
    ASSERT_EQ(load_land_override_csv(&g, path.c_str()), 1);
    auto ov = [&](int x, int y) { return int(g.land_override[idx(g, x, y)]); };
    EXPECT_EQ(ov(1, 1), -1);
    EXPECT_EQ(ov(3, 4), 1);
    EXPECT_EQ(ov(5, 6), 0);
    EXPECT_EQ(ov(12, 7), -1);
    EXPECT_EQ(ov(13, 7), -1);
    EXPECT_EQ(ov(14, 7), 1);
    EXPECT_EQ(ov(16, 2), 0);
    EXPECT_EQ(count_land_overrides(&g), 4);
    // Loading rebuilt the visible mask.
    EXPECT_EQ(g.land[idx(g, 3, 4)], 1);

    const std::string saved = dir.file("saved.csv");
    ASSERT_EQ(save_land_override_csv(saved.c_str(), &g), 1);
    EXPECT_EQ(read_file_text(saved),
              "grid_x,grid_y,mode\n16,2,water\n3,4,land\n5,6,water\n14,7,land\n");
    GridData g2 = load_spec(make_ocean(20, 10, 100.0f));
    ASSERT_EQ(load_land_override_csv(&g2, saved.c_str()), 1);
    EXPECT_EQ(g2.land_override, g.land_override);

    // A missing file loads nothing and keeps the overrides.
    EXPECT_EQ(load_land_override_csv(&g2, dir.file("missing.csv").c_str()), 0);
    EXPECT_EQ(count_land_overrides(&g2), 4);
    EXPECT_EQ(save_land_override_csv(dir.file("no/such/dir.csv").c_str(), &g2), 0);
    set_land_override(&g2, -1, 0, 1);  // outside: nothing
    set_land_override(&g2, 16, 2, -5);
    EXPECT_EQ(count_land_overrides(&g2), 3);
    clear_land_overrides(&g2);
    EXPECT_EQ(count_land_overrides(&g2), 0);
}

class StraitTest : public ::testing::Test {
protected:
    Simulation geom_for(const GridData& g) {
        Simulation s;
        s.pad = kSolverPad;
        s.snx = g.nx + 2 * kSolverPad;
        s.sny = g.ny + 2 * kSolverPad;
        return s;
    }
    bool strait(const GridData& g, int x, int y) {
        return visible_cell_is_strait_transmission_zone(&g, kSolverPad, x + kSolverPad,
                                                        y + kSolverPad);
    }
};

TEST_F(StraitTest, OneCellChannelIsStraitOpenSeaIsNot) {
    GridSpec s = make_ocean(40, 40, 100.0f);
    fill_rect(s, 10, 10, 30, 30, -10.0f);
    fill_rect(s, 20, 10, 20, 30, 50.0f);  // north-south channel through the island
    GridData g = load_spec(s);
    for (int y = 10; y <= 30; ++y) EXPECT_TRUE(strait(g, 20, y)) << y;
    EXPECT_FALSE(strait(g, 3, 35));   // open water
    EXPECT_FALSE(strait(g, 15, 15));  // land
    EXPECT_TRUE(strait(g, 9, 20));    // a straight coast: wall on one side, 5x5 mixes
}

TEST_F(StraitTest, DiagonalGapAndOverrides) {
    GridSpec s = make_ocean(30, 30, 100.0f);
    fill_rect(s, 0, 0, 14, 14, -10.0f);
    fill_rect(s, 15, 15, 29, 29, -10.0f);
    GridData g = load_spec(s);
    Simulation geom = geom_for(g);
    const int p = kSolverPad;
    // (14, 15) -> (15, 14) crosses between the two land corners.
    EXPECT_TRUE(diagonal_move_crosses_strait_transmission_zone(&g, &geom, p + 14, p + 15, 1, -1));
    // Deep inside open water far from land.
    GridSpec o = make_ocean(30, 30, 100.0f);
    GridData og = load_spec(o);
    EXPECT_FALSE(diagonal_move_crosses_strait_transmission_zone(&og, &geom, p + 10, p + 10, 1, 1));
    // A forced-water cell and its neighbours become strait cells.
    set_land_override(&og, 10, 10, 0);
    EXPECT_TRUE(strait(og, 10, 10));
    EXPECT_TRUE(strait(og, 11, 11));
    EXPECT_FALSE(strait(og, 12, 12));
}

TEST_F(StraitTest, SolverSolidTestCoversTheMargin) {
    GridSpec s = make_ocean(20, 20, 100.0f);
    fill_rect(s, 0, 0, 19, 2, -10.0f);
    GridData g = load_spec(s);
    Simulation geom = geom_for(g);
    const int p = kSolverPad;
    EXPECT_TRUE(solver_solid_at_or_outside(&g, &geom, -1, 5));
    EXPECT_TRUE(solver_solid_at_or_outside(&g, &geom, 0, int(geom.sny)));
    EXPECT_FALSE(solver_solid_at_or_outside(&g, &geom, 0, p + 10));      // west margin, sea
    EXPECT_TRUE(solver_solid_at_or_outside(&g, &geom, p + 5, 0));        // south margin, land
    EXPECT_TRUE(solver_solid_at_or_outside(&g, &geom, p + 5, p + 1));    // land cell
    // East of the hidden northern rows the margin is open even if the edge were solid.
    set_land_override(&g, 19, 19, 1);
    rebuild_land_mask_from_coast_stations(&g);
    rebuild_solid_mask(&g);
    EXPECT_TRUE(solver_solid_at_or_outside(&g, &geom, p + 19, p + 19) == false);  // hidden: open
    EXPECT_FALSE(solver_solid_at_or_outside(&g, &geom, p + 30, p + 19));
}

}  // namespace
}  // namespace kaitoro
