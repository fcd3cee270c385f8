#include "render/viewport.h"

#include <gtest/gtest.h>

#include "core/driver.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

class ViewportTest : public ::testing::Test {
  protected:
    void SetUp() override {
        testing::install_grid(testing::load_spec(testing::make_ocean(100, 50, 1000.0f)));
    }
    void TearDown() override { testing::reset_all_globals(); }
};

TEST_F(ViewportTest, FitsBesideThePanelAndClampsZoomAndPan) {
    compute_viewport(1280, 760);  // map area 960 x 760: 9.6 px per cell across, 15.2 down
    EXPECT_EQ(g_view_w, 960);
    EXPECT_EQ(g_view_h, 480);
    EXPECT_EQ(g_view_x, 0);
    EXPECT_EQ(g_view_y, 140);

    g_view_zoom = 0.2;
    g_view_pan_x = 50;
    compute_viewport(1280, 760);
    EXPECT_EQ(g_view_zoom, 1.0);
    EXPECT_EQ(g_view_pan_x, 0.0);  // the map fits: no pan

    g_view_zoom = 100;
    g_view_pan_x = -1e9;
    g_view_pan_y = 3.7;
    compute_viewport(1280, 760);
    EXPECT_EQ(g_view_zoom, 64.0);
    EXPECT_EQ(g_view_w, 61440);
    EXPECT_EQ(g_view_pan_x, -(61440 - 960) / 2.0);
    EXPECT_EQ(g_view_x, -60479);  // truncated toward zero
    EXPECT_EQ(g_view_y, int((760 - 30720) * 0.5 + 3.7 + 0.5));

    // Too narrow for the panel: the map takes the whole width; never under 10 pixels high.
    int wm, hm;
    viewport_map_area(325, 4, &wm, &hm);
    EXPECT_EQ(wm, 325);
    EXPECT_EQ(hm, 10);
    g_view_zoom = 1;
    compute_viewport(0, 0);
    EXPECT_EQ(g_view_w, 10);  // the fit never drops below 0.1 px per cell
    EXPECT_EQ(g_view_h, 5);
}

TEST_F(ViewportTest, PixelsAndCellsMapBothWaysUnderEveryFlip) {
    compute_viewport(320 + 400, 200);  // 4 px per cell, map at (0, 0)
    ASSERT_EQ(g_view_w, 400);
    ASSERT_EQ(g_view_h, 200);
    for (int flips = 0; flips < 4; ++flips) {
        g_display_flip_x = flips & 1;
        g_display_flip_y = flips >> 1;
        for (int y = 0; y < 50; y += 7) {
            for (int x = 0; x < 100; x += 9) {
                int l, t, r, b, cx, cy, gx, gy;
                viewport_cell_rect(x, y, &l, &t, &r, &b);
                EXPECT_EQ(r - l, 4);
                viewport_cell_center(x, y, &cx, &cy);
                EXPECT_EQ(cx, (l + r) / 2);
                ASSERT_EQ(screen_to_grid(cx, cy, &gx, &gy), 1);
                EXPECT_EQ(gx, x);
                EXPECT_EQ(gy, y);
                ASSERT_EQ(screen_to_grid(l, t, &gx, &gy), 1);
                EXPECT_EQ(gx, x);
                EXPECT_EQ(gy, y);
            }
        }
    }
    g_display_flip_x = 0;
    g_display_flip_y = 1;  // the default: row 0 at the bottom
    int gx = -1, gy = -1;
    ASSERT_EQ(screen_to_grid(0, 199, &gx, &gy), 1);
    EXPECT_EQ(gy, 0);
    EXPECT_EQ(screen_to_grid(400, 10, &gx, &gy), 0);  // the panel
    EXPECT_EQ(screen_to_grid(-1, 10, &gx, &gy), 0);
    EXPECT_EQ(screen_to_grid(10, 200, &gx, &gy), 0);
}

TEST_F(ViewportTest, MarkerSizesFollowTheCellSize) {
    compute_viewport(320 + 400, 200);
    EXPECT_EQ(viewport_marker_base_size(), 4);
    EXPECT_EQ(viewport_marker_radius(3), 3);
    g_view_zoom = 20;  // 80 px per cell
    compute_viewport(320 + 400, 200);
    EXPECT_EQ(viewport_marker_base_size(), 80);
    EXPECT_EQ(viewport_marker_radius(3), 32);
    g_view_zoom = 3.2;  // 12.8 px per cell: uneven cell edges
    compute_viewport(320 + 400, 200);
    EXPECT_EQ(g_view_w, 1280);
    EXPECT_EQ(viewport_marker_base_size(), 13);
    EXPECT_EQ(viewport_marker_radius(5), 6);
    int l, t, r, b;
    viewport_cell_rect(1, 0, &l, &t, &r, &b);
    EXPECT_EQ(l - g_view_x, 12);
    EXPECT_EQ(r - g_view_x, 25);
}

}  // namespace
}  // namespace kaitoro
