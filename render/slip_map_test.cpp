#include "render/slip_map.h"

#include <gtest/gtest.h>

#include <cmath>

#include "core/driver.h"
#include "core/sources.h"
#include "core/status.h"
#include "render/scene.h"
#include "source_design/source_cell.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/png_reader.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

std::uint32_t rgb(int r, int g, int b) {
    return std::uint32_t(r << 16 | g << 8 | b);
}

class SlipMapTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto layout = testing::make_ocean(300, 300, 4000.0f);
        testing::fill_rect(layout, 0, 0, 59, 299, -100.0f);  // a western coast
        testing::install_grid(testing::load_spec(layout));
    }
    void TearDown() override { testing::reset_all_globals(); }

    // A square patch of points around (x, y) with one fault and patch id.
    void add_patch(int fault, int patch, int x, int y, float slip, int delay, float dip = 15,
                   float strike = 0, float width = 20, float length = 40) {
        for (int dy = -2; dy <= 2; ++dy)
            for (int dx = -2; dx <= 2; ++dx) {
                source_list_append(&g_sources, x + dx, y + dy, 1.0f, delay);
                SourcePoint& p = g_sources[g_sources.count - 1];
                p.slip_m = slip;
                p.fault_id = fault;
                p.patch_id = patch;
                p.dip_deg = dip;
                p.strike_deg = strike;
                p.width_km = width;
                p.length_km = length;
                p.depth_km = 20;
            }
    }

    bool render(testing::DecodedPng* png) {
        const std::string path = dir_.file("slip.png");
        if (!write_finite_fault_usgs_png(path.c_str())) return false;
        std::string err;
        const bool ok = testing::decode_png(path, png, &err);
        EXPECT_TRUE(ok) << err;
        return ok;
    }

    testing::TempDir dir_;
};

TEST(SlipColourScale, StopsAndRounding) {
    EXPECT_EQ(finite_fault_usgs_slip_rgb(0.0f), 0xFFFFFFu);
    EXPECT_EQ(finite_fault_usgs_slip_rgb(0.15f), rgb(255, 247, 188));
    EXPECT_EQ(finite_fault_usgs_slip_rgb(0.08f), rgb(255, 251, 219));  // 250.73, 219.27
    EXPECT_EQ(finite_fault_usgs_slip_rgb(0.72f), rgb(252, 141, 60));
    EXPECT_EQ(finite_fault_usgs_slip_rgb(1.0f), rgb(165, 15, 21));
    EXPECT_EQ(finite_fault_usgs_slip_rgb(7.0f), rgb(165, 15, 21));
}

TEST_F(SlipMapTest, BrushSourcesMakeNoImage) {
    source_list_append(&g_sources, 100, 100, 2.0f, 0);  // slip 2, but no fault or patch id
    add_patch(3, -1, 150, 150, 2.0f, 0);                // automatic secondary nodes
    add_patch(3, 1, 150, 160, 0.0004f, 0);              // slip that counts as zero
    SlipMapModel model;
    EXPECT_FALSE(slip_map_collect(&model));
    EXPECT_EQ(write_finite_fault_usgs_png(dir_.file("none.png").c_str()), 0);

    testing::ScopedFakePlatform platform;
    platform.fake.save_answers.push_back(dir_.file("none.png"));
    save_finite_fault_usgs_png_dialog(nullptr);
    EXPECT_STREQ(g_status,
                 "Failed to save finite-fault USGS-style PNG. Make sure direct finite-fault "
                 "patches exist.");
    EXPECT_EQ(platform.fake.save_requests.at(0).default_name,
              "finite_fault_usgs_style_map_faultplane.png");
}

TEST_F(SlipMapTest, PatchesTakeSanitisedParameters) {
    g_fault_dip_deg = 70.0f;  // the default dip is used limited to 60
    g_fault_width_km = 5000.0f;
    g_fault_stamp_length_km = 2.0f;
    add_patch(1, 1, 150, 150, 2.0f, 30, 80.0f, 0, 0.0f, 0.0f);
    add_patch(1, 2, 150, 170, -3.0f, 10, 0.0f, 0, NAN, 9000.0f);
    SlipMapModel m;
    ASSERT_TRUE(slip_map_collect(&m));
    ASSERT_EQ(m.patches.size(), 2u);
    // Dips limited to 60; the default width limited (and written back) for 0 km, 20 km for
    // not a number; lengths limited to 5 .. 600 km.
    EXPECT_EQ((std::vector<float>{m.patches[0].dip_deg, m.patches[1].dip_deg, m.patches[0].width_km,
                                  g_fault_width_km, m.patches[1].width_km, m.patches[0].length_km,
                                  m.patches[1].length_km}),
              (std::vector<float>{60, 60, 800, 800, 20, 5, 600}));
    EXPECT_EQ(m.patches[0].count, 25);
    EXPECT_FLOAT_EQ(m.patches[1].mean_slip(), 3.0f);  // slip counts by magnitude
    EXPECT_FLOAT_EQ(m.max_slip_m, 3.0f);
    EXPECT_EQ(m.patches[0].min_delay_s, 30);
}

TEST_F(SlipMapTest, SinglePatchLayoutAndPicture) {
    add_patch(9000, 1, 150, 150, 4.0f, 0);
    SlipMapModel m;
    ASSERT_TRUE(slip_map_collect(&m));
    slip_map_layout(&m);
    // Footprint widened by at least 40 cells on each side, the X at the centroid.
    EXPECT_LE(m.xmin, 150 - 40 - 0.7);
    EXPECT_GE(m.xmax, 150 + 40 + 0.7);
    EXPECT_NEAR((m.xmin + m.xmax) / 2, 150.0, 1e-9);
    EXPECT_NEAR((m.ymin + m.ymax) / 2, 150.0, 1e-9);
    EXPECT_EQ(m.epicenter_x, 150.0);

    testing::DecodedPng png;
    ASSERT_TRUE(render(&png));
    ASSERT_EQ(png.width, 1700);
    ASSERT_EQ(png.height, 980);
    EXPECT_EQ(png.pixel(5, 5), rgb(247, 247, 247));  // header band
    EXPECT_EQ(png.pixel(5, 76), 0xFFFFFFu);
    EXPECT_EQ(png.pixel(60, 500), rgb(32, 32, 32));    // map panel outline
    EXPECT_EQ(png.pixel(1460, 500), rgb(32, 32, 32));  // fault-plane outline
    int px, py;
    slip_map_panel_pixel(m, 150, 150, &px, &py);
    EXPECT_EQ(px, 61 + 354);
    EXPECT_EQ(py, 93 + 378);
    EXPECT_EQ(png.pixel(px, py), rgb(255, 0, 208));          // the X crosses at its centre
    EXPECT_EQ(png.pixel(px - 9, py + 8), rgb(255, 0, 208));  // the copy one pixel left
    // One patch: the whole smoothed area is the darkest colour.
    EXPECT_EQ(png.pixel(px + 3, py), rgb(165, 15, 21));
    // Colour bar: dark at the top, white at the bottom, ticks at both ends.
    EXPECT_EQ(png.pixel(1530, 151), rgb(165, 15, 21));
    EXPECT_EQ(png.pixel(1530, 779), 0xFFFFFFu);
    EXPECT_EQ(png.pixel(1575, 780), rgb(48, 48, 48));
    EXPECT_EQ(png.pixel(1575, 780 - 630), rgb(48, 48, 48));
    // Depth arrow.
    EXPECT_EQ(png.pixel(1432, 500), rgb(48, 48, 48));
}

TEST_F(SlipMapTest, BaseMapDepthColoursAndInversion) {
    // A patch near the coast so the map shows land, coastline and water.
    add_patch(1, 1, 75, 150, 1.0f, 0);
    SlipMapModel m;
    ASSERT_TRUE(slip_map_collect(&m));
    slip_map_layout(&m);
    testing::DecodedPng png;
    ASSERT_TRUE(render(&png));
    int land_x, land_y, sea_x, sea_y;
    slip_map_panel_pixel(m, 40.5, 110.5, &land_x, &land_y);
    slip_map_panel_pixel(m, 100.5, 110.5, &sea_x, &sea_y);
    EXPECT_EQ(png.pixel(land_x, land_y), rgb(233, 225, 207));
    // 4000 m: u = 0.5, v = (0.5 - 0.33) / 0.33.
    const double v = (0.5 - 0.33) / 0.33;
    EXPECT_EQ(png.pixel(sea_x, sea_y),
              rgb(int(std::lround(169 - 77 * v)), int(std::lround(210 - 57 * v)),
                  int(std::lround(243 - 32 * v))));
    int coast_x, coast_y;
    slip_map_panel_pixel(m, 60.5, 110.5, &coast_x, &coast_y);  // first water column
    EXPECT_EQ(png.pixel(coast_x, coast_y), rgb(109, 90, 58));

    g_invert_landsea_display = 1;
    ASSERT_TRUE(render(&png));
    EXPECT_EQ(png.pixel(land_x, land_y), rgb(217, 236, 255));  // land as water, depth below 0
    EXPECT_EQ(png.pixel(sea_x, sea_y), rgb(233, 225, 207));
}

TEST_F(SlipMapTest, EqualEarliestDelaysPutTheEpicentreBetweenThem) {
    add_patch(1, 1, 140, 150, 2.0f, 20);
    add_patch(1, 2, 160, 150, 2.0f, 20);
    add_patch(1, 3, 150, 170, 2.0f, 45);
    SlipMapModel m;
    ASSERT_TRUE(slip_map_collect(&m));
    slip_map_layout(&m);
    EXPECT_DOUBLE_EQ(m.epicenter_x, 150.0);
    EXPECT_DOUBLE_EQ(m.epicenter_y, 150.0);

    testing::ScopedFakePlatform platform;
    platform.fake.save_answers.push_back(dir_.file("ok.png"));
    save_finite_fault_usgs_png_dialog(nullptr);
    EXPECT_EQ(std::string(g_status), "Saved finite-fault USGS-style PNG: " + dir_.file("ok.png"));
    EXPECT_EQ(platform.fake.repaints, 1);
    testing::DecodedPng png;
    std::string err;
    EXPECT_TRUE(testing::decode_png(dir_.file("ok.png"), &png, &err)) << err;
}

}  // namespace
}  // namespace kaitoro
