// What the scene adds on top of the documented drawing: the Shift batch marks, and a
// placement preview that its cross does not hide.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "core/driver.h"
#include "feed/zone_assign.h"
#include "quick_ff/ff_grid.h"
#include "quick_ff/placement.h"
#include "render/recording_surface.h"
#include "render/scene.h"
#include "render/viewport.h"
#include "source_design/source_cell.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

class SceneOverlayTest : public ::testing::Test {
  protected:
    void install(int nx, int ny) {
        auto layout = testing::make_ocean(nx, ny, 3500.0f);
        testing::fill_rect(layout, 0, 0, 4, ny - 1, -50.0f);
        layout.add_station(5, 10, 11);
        layout.add_station(5, 12, 11);
        layout.add_station(5, 14, 12);
        testing::install_grid(testing::load_spec(layout));
    }
    void TearDown() override { testing::reset_all_globals(); }

    RecordingSurface draw(int w, int h) {
        RecordingSurface s;
        const SceneWindow window{w, h, 0};
        draw_scene_to_hdc(&s, &window);
        return s;
    }
};

TEST_F(SceneOverlayTest, ShiftBatchMarksCollectedStationsInTransmitOnlyMode) {
    install(40, 20);
    g_orvex_transmit_mode = 1;
    g_shift_zone_assign_active = 1;
    g_shift_zone_assign_count = 2;
    g_shift_zone_assign_selected[0] = g_shift_zone_assign_selected[2] = 1;
    g_shift_zone_assign_station_list[0] = 0;
    g_shift_zone_assign_station_list[1] = 2;
    const SceneWindow window{720, 200, 0};
    compute_viewport(window.client_w, window.client_h);
    auto marks = [](const RecordingSurface& s) {
        std::vector<std::pair<int, int>> centres;
        for (const RecordedCall& k : s.of_kind(RecordedCall::Rectangle))
            if (!k.brush.hollow && k.pen.rgb == 0xFF50FF)
                centres.emplace_back((k.a + k.c - 1) / 2, (k.b + k.d - 1) / 2);
        return centres;
    };
    int x0, y0, x2, y2;
    viewport_cell_center(5, 10, &x0, &y0);
    viewport_cell_center(5, 14, &x2, &y2);
    EXPECT_EQ(marks(draw(720, 200)),
              (std::vector<std::pair<int, int>>{{x0, y0}, {x2, y2}}));

    g_orvex_transmit_mode = 0;  // the markers show there: nothing is added
    EXPECT_TRUE(marks(draw(720, 200)).empty());
    g_orvex_transmit_mode = 1;
    g_shift_zone_assign_active = 0;
    EXPECT_TRUE(marks(draw(720, 200)).empty());
}

// At zoom 1 on a grid of about a pixel per cell, one patch is smaller than the 16-pixel
// cross; the cross then fits inside the patch outline.
TEST_F(SceneOverlayTest, PlacementCrossFitsInsideASmallPatch) {
    install(960, 400);
    quick_ff_init_empty_grid(3, 3, 1);
    g_quick_ff_place_mode = 1;
    g_mouse_grid_x = 400;
    g_mouse_grid_y = 200;
    g_fault_strike_deg = 90.0f;
    struct Case {
        int client_w, client_h;
        bool cross_full;  // the usual 16-pixel cross
    } cases[] = {{1280, 560, false}, {12800, 5600, true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.client_w);
        const RecordingSurface s = draw(c.client_w, c.client_h);
        const auto polys = s.of_kind(RecordedCall::Polygon);
        ASSERT_EQ(polys.size(), 1u);
        int l = 1 << 30, r = -l, t = l, b = -l;
        for (const DrawPoint& p : polys[0].points) {
            l = std::min(l, p.x), r = std::max(r, p.x);
            t = std::min(t, p.y), b = std::max(b, p.y);
        }
        const auto lines = s.of_kind(RecordedCall::Line);
        ASSERT_EQ(lines.size(), 6u);
        const RecordedCall& cross = lines[4];
        EXPECT_EQ(cross.c - cross.a == 16, c.cross_full);
        EXPECT_GE(cross.a, l);
        EXPECT_LE(cross.c, r);
        EXPECT_GE(cross.b, t);
        EXPECT_LE(cross.d, b);
    }
}

}  // namespace
}  // namespace kaitoro
