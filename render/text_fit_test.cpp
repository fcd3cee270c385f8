// Every text of the slip-map image lands whole on the canvas, measured with the image's own
// font, and the fault-plane view of a small fault stays inside its panel.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/sources.h"
#include "render/canvas.h"
#include "render/slip_map.h"
#include "tests/support/global_state.h"
#include "tests/support/source_fixtures.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

class SlipMapTextFitTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto layout = testing::make_ocean(300, 300, 4000.0f);
        testing::fill_rect(layout, 0, 0, 59, 299, -100.0f);
        testing::install_grid(testing::load_spec(layout));
    }
    void TearDown() override { testing::reset_all_globals(); }

    static void add_patch(int patch, int x, int y, float slip, float length_km) {
        testing::add_fault_patch(1, patch, x, y, slip, patch * 15, 15, 0, 20, length_km);
    }

    // Draws the image and returns every text drawn on it.
    std::vector<CanvasTextBox> draw();
    Rgb24Canvas canvas_;
};

std::vector<CanvasTextBox> SlipMapTextFitTest::draw() {
    SlipMapModel model;
    EXPECT_TRUE(slip_map_collect(&model));
    slip_map_layout(&model);
    std::vector<CanvasTextBox> boxes;
    EXPECT_TRUE(rgb24_canvas_create(&canvas_));
    canvas_.text_log = &boxes;
    slip_map_draw(model, &canvas_);
    canvas_.text_log = nullptr;
    return boxes;
}

TEST_F(SlipMapTextFitTest, EveryTextIsWhollyOnTheCanvas) {
    struct Case {
        const char* name;
        int patches;
        float slip;
        const char* slip_line;
    } cases[] = {
        {"one small patch", 1, 2.5f, "Maximum slip: 2.50 m"},
        {"large slip", 3, 30.0f, "Maximum slip: 30.00 m"},
        {"four-digit slip", 12, 1234.5f, "Maximum slip: 1234.50 m"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        testing::reset_all_globals();
        SetUp();
        for (int i = 0; i < c.patches; ++i) add_patch(i + 1, 150 + (i % 4) * 9, 100 + (i / 4) * 9, c.slip, 40);
        const std::vector<CanvasTextBox> boxes = draw();
        bool found = false;
        for (const CanvasTextBox& b : boxes) {
            SCOPED_TRACE(b.text);
            EXPECT_GE(b.x, 0);
            EXPECT_LE(b.x + b.width, canvas_.width);
            EXPECT_LE(b.y + b.pixel_size, canvas_.height);
            found |= b.text == c.slip_line;
        }
        EXPECT_TRUE(found) << "no text " << c.slip_line;
    }
}

// The fault-plane raster (pixels 821..1459 x 93..849) of a single patch: the smoothed slip
// must fade out inside the panel instead of running into its frame.
TEST_F(SlipMapTextFitTest, SinglePatchFaultPlaneStaysInsideItsPanel) {
    for (float length : {10.0f, 40.0f, 150.0f}) {
        SCOPED_TRACE(length);
        testing::reset_all_globals();
        SetUp();
        add_patch(1, 150, 100, 4.0f, length);
        draw();
        int coloured_edge = 0, coloured_inside = 0;
        for (int x = 821; x <= 1459; ++x) {
            coloured_edge += canvas_.rgb(x, 93) != 0xFFFFFF;
            coloured_edge += canvas_.rgb(x, 849) != 0xFFFFFF;
        }
        for (int y = 93; y <= 849; ++y) {
            coloured_edge += canvas_.rgb(821, y) != 0xFFFFFF;
            coloured_edge += canvas_.rgb(1459, y) != 0xFFFFFF;
        }
        for (int y = 150; y <= 800; ++y)
            for (int x = 830; x <= 1300; ++x) coloured_inside += canvas_.rgb(x, y) != 0xFFFFFF;
        EXPECT_EQ(coloured_edge, 0);
        EXPECT_GT(coloured_inside, 2000);  // the slip itself is still drawn
    }
}

}  // namespace
}  // namespace kaitoro
