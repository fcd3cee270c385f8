#include "render/max_wave.h"

#include <gtest/gtest.h>

#include <cstring>

#include "core/driver.h"
#include "core/status.h"
#include "render/colors.h"
#include "render/scene.h"
#include "render/viewport.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/png_reader.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

class ContourTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto layout = testing::make_ocean(12, 10, 1000.0f);
        testing::fill_rect(layout, 0, 0, 1, 9, -10.0f);  // land in the two western columns
        testing::install_grid(testing::load_spec(layout));
        std::fill(g_grid.hidden.begin(), g_grid.hidden.end(), 0);
    }
    void TearDown() override { testing::reset_all_globals(); }
    void arrive(int x, int y, int t) { g_sim.arrival_s[g_sim.bordered_index(x, y)] = t; }
    int cls(int x, int y) { return arrival_contour_for_grid_cell(x, y); }
};

TEST_F(ContourTest, CellsNearAContourTimeTakeItsClass) {
    const int cases[][2] = {{3620, 3}, {3569, 0}, {3570, 3}, {7200, 3}, {1815, 2},
                            {1830, 2}, {1831, 0}, {630, 1},  {570, 1},  {631, 0},
                            {1, 3},    {30, 3},   {31, 0},   {5430, 2}};
    for (const auto& c : cases) {
        arrive(5, 5, c[0]);
        EXPECT_EQ(cls(5, 5), c[1]) << "arrival " << c[0];
    }
}

TEST_F(ContourTest, BucketEdgesBetweenNeighboursDrawLines) {
    // Every neighbour in the same ten-minute bucket as the cell: no line.
    for (int y = 3; y <= 7; ++y)
        for (int x = 3; x <= 7; ++x) arrive(x, y, 700);
    EXPECT_EQ(cls(5, 5), 0);
    arrive(6, 5, 1300);  // buckets 1 and 2
    EXPECT_EQ(cls(5, 5), 1);
    arrive(6, 5, 1900);  // bucket 3: half-hour multiple
    EXPECT_EQ(cls(5, 5), 2);
    arrive(6, 5, 3700);  // bucket 6: hour multiple
    EXPECT_EQ(cls(5, 5), 3);

    // The first differing neighbour in the order right, left, next row, previous row decides.
    arrive(5, 5, 1750);  // bucket 2, far from any contour time
    arrive(6, 5, 1250);  // right: same bucket, skipped
    arrive(4, 5, 2000);  // left: bucket 3 -> class 2
    arrive(5, 6, 3700);  // would give class 3
    arrive(5, 4, 3700);
    EXPECT_EQ(cls(5, 5), 2);
    arrive(4, 5, 0);  // a neighbour that has not arrived does not count
    EXPECT_EQ(cls(5, 5), 3);
}

TEST_F(ContourTest, NoArrivalLandAndHiddenCellsNeverDrawLines) {
    arrive(6, 5, 3600);
    for (int t : {0, -40}) {
        arrive(5, 5, t);
        EXPECT_EQ(cls(5, 5), 0) << t;
    }

    // Land cell with an arrival value, and a sea cell whose only differing neighbour is land.
    arrive(1, 5, 3600);
    EXPECT_EQ(cls(1, 5), 0);
    arrive(2, 5, 700);
    arrive(3, 5, 700);
    arrive(2, 4, 700);
    arrive(2, 6, 700);
    arrive(1, 5, 1300);
    EXPECT_EQ(cls(2, 5), 0);
    // Hidden cells are neither lines nor neighbours.
    arrive(3, 5, 1300);
    EXPECT_EQ(cls(2, 5), 1);
    g_grid.hidden[std::size_t(5) * g_grid.nx + 3] = 1;
    EXPECT_EQ(cls(2, 5), 0);
    EXPECT_EQ(cls(3, 5), 0);
    // Outside the grid.
    EXPECT_EQ(cls(-1, 0), 0);
    EXPECT_EQ(cls(12, 0), 0);
    // With the land/sea display inverted, the former sea is land.
    arrive(8, 8, 3600);
    EXPECT_EQ(arrival_contour_class(&g_grid, &g_sim, 1, 8, 8), 0);
    EXPECT_EQ(arrival_contour_class(&g_grid, &g_sim, 1, 1, 5), 0);  // neighbours of land-as-sea
    arrive(1, 5, 3600);
    EXPECT_EQ(arrival_contour_class(&g_grid, &g_sim, 1, 1, 5), 3);
}

TEST_F(ContourTest, RowClassesMatchTheCellRuleOnRandomFields) {
    std::uint32_t seed = 12345;
    auto rnd = [&](int n) {
        seed = seed * 1103515245u + 12345u;
        return int((seed >> 16) % std::uint32_t(n));
    };
    for (int trial = 0; trial < 20; ++trial) {
        for (std::size_t c = 0; c < g_grid.cell_count(); ++c) {
            g_grid.land[c] = rnd(6) == 0;
            g_grid.hidden[c] = rnd(15) == 0;
        }
        for (auto& t : g_sim.arrival_s) t = rnd(8) == 0 ? 0 : rnd(4000) - 100;
        const int invert = trial % 2;
        std::vector<std::uint8_t> row(g_grid.nx);
        for (int y = 0; y < int(g_grid.ny); ++y) {
            arrival_contour_row(&g_grid, &g_sim, invert, y, row.data());
            for (int x = 0; x < int(g_grid.nx); ++x)
                ASSERT_EQ(row[std::size_t(x)], arrival_contour_class(&g_grid, &g_sim, invert, x, y))
                    << "trial " << trial << " cell " << x << "," << y;
        }
    }
}

TEST(ContourBlend, LightensByClassWithRoundingAndClamping) {
    EXPECT_EQ(contour_blend_rgb32(0x000000, 3), 0xD1D1D1u);  // 209.1 + 0.5
    EXPECT_EQ(contour_blend_rgb32(0xFFFFFF, 3), 0xFFFFFFu);  // 255.5 clamps
    EXPECT_EQ(contour_blend_rgb32(0x6400C8, 2), 0xB48AE6u);  // (180, 138, 230)
    EXPECT_EQ(contour_blend_rgb32(0x0A141E, 1), 0x43505Du);  // (67, 80, 93)
    EXPECT_EQ(contour_blend_rgb32(0x123456, 0), 0x123456u);
}

TEST_F(ContourTest, MaxWaveRasterColoursFlipsAndContours) {
    const std::size_t nx = g_grid.nx;
    g_grid.hidden[7 * nx + 11] = 1;
    g_sim.max_height[g_sim.bordered_index(5, 2)] = 1.0f;     // coloured
    g_sim.max_height[g_sim.bordered_index(6, 2)] = 0.0019f;  // below the threshold
    g_sim.height[g_sim.bordered_index(7, 2)] = 5.0f;         // live height is never shown
    arrive(5, 2, 3600);
    arrive(6, 2, 3600);

    std::vector<std::uint8_t> rgb;
    auto px = [&](int col, int row) {
        const std::uint8_t* p = &rgb[(std::size_t(row) * nx + col) * 3];
        return std::uint32_t(p[0]) << 16 | std::uint32_t(p[1]) << 8 | p[2];
    };
    // No flips: row 0 of the image is grid row 0.
    ASSERT_TRUE(build_max_wave_raster(&g_grid, &g_sim, 0, 0, 0, 1, &rgb));
    ASSERT_EQ(rgb.size(), nx * 10 * 3);
    EXPECT_EQ(px(0, 0), 0x24242Au);
    EXPECT_EQ(px(11, 7), 0x08101Cu);
    EXPECT_EQ(px(5, 2), tsunami_wave_color_log(1.0f));
    EXPECT_EQ(px(6, 2), 0x05142Du);
    EXPECT_EQ(px(7, 2), 0x05142Du);

    // Both flips: grid cell (x, y) lands at (w-1-x, h-1-y); layer 2 adds contours.
    ASSERT_TRUE(build_max_wave_raster(&g_grid, &g_sim, 1, 1, 0, 2, &rgb));
    EXPECT_EQ(px(11 - 5, 9 - 2), contour_blend_rgb32(tsunami_wave_color_log(1.0f), 3));
    EXPECT_EQ(px(11 - 6, 9 - 2), contour_blend_rgb32(0x05142D, 3));
    EXPECT_EQ(px(11 - 0, 9 - 0), 0x24242Au);
    EXPECT_EQ(px(0, 9 - 7), 0x08101Cu);

    // The display coefficient applies; inversion swaps land and sea.
    g_wave_display_coeff = 2.0f;
    ASSERT_TRUE(build_max_wave_raster(&g_grid, &g_sim, 0, 0, 1, 0, &rgb));
    EXPECT_EQ(px(5, 2), 0x24242Au);
    EXPECT_EQ(px(0, 0), 0x05142Du);
}

TEST_F(ContourTest, SaveCommandWritesTheImageAndReports) {
    testing::TempDir dir;
    testing::ScopedFakePlatform platform;
    g_sim.max_height[g_sim.bordered_index(6, 3)] = 2.0f;
    arrive(6, 3, 1800);

    // Cancel: nothing happens.
    std::strcpy(g_status, "before");
    save_max_wave_png_dialog(nullptr);
    EXPECT_STREQ(g_status, "before");
    EXPECT_EQ(platform.fake.repaints, 0);
    EXPECT_EQ(platform.fake.save_requests.at(0).default_name, "max_wave_height.png");

    const std::string path = dir.file("max.png");
    g_wave_layer_mode = 2;
    platform.fake.save_answers.push_back(path);
    save_max_wave_png_dialog(nullptr);
    EXPECT_EQ(std::string(g_status), "Saved max-wave + arrival-contour PNG: " + path);
    EXPECT_EQ(platform.fake.repaints, 1);
    g_wave_layer_mode = 1;
    platform.fake.save_answers.push_back(path);
    save_max_wave_png_dialog(nullptr);
    EXPECT_EQ(std::string(g_status), "Saved max-wave PNG: " + path);

    platform.fake.save_answers.push_back(dir.file("missing/max.png"));
    save_max_wave_png_dialog(nullptr);
    EXPECT_STREQ(g_status, "Failed to save max-wave PNG.");
    EXPECT_EQ(platform.fake.repaints, 3);

    // The file holds the raster of the current flips (flip Y is on by default).
    std::vector<std::uint8_t> expected;
    ASSERT_TRUE(build_max_wave_raster(&g_grid, &g_sim, g_display_flip_x, g_display_flip_y, 0, 1,
                                      &expected));
    testing::DecodedPng png;
    std::string err;
    ASSERT_TRUE(testing::decode_png(path, &png, &err)) << err;
    EXPECT_EQ(png.width, 12);
    EXPECT_EQ(png.rgb, expected);
    EXPECT_EQ(png.pixel(6, 9 - 3), tsunami_wave_color_log(2.0f));
}

}  // namespace
}  // namespace kaitoro
