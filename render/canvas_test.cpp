#include "render/canvas.h"

#include <gtest/gtest.h>

#include <set>
#include <utility>

namespace kaitoro {
namespace {

class CanvasTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(rgb24_canvas_create(&c_, 40, 30));
        rgb24_fill_rect_rgb(&c_, 0, 0, 39, 29, 0x000000);
    }
    // Pixels of one colour.
    std::set<std::pair<int, int>> pixels_of(std::uint32_t rgb) const {
        std::set<std::pair<int, int>> out;
        for (int y = 0; y < c_.height; ++y)
            for (int x = 0; x < c_.width; ++x)
                if (c_.rgb(x, y) == rgb) out.insert({x, y});
        return out;
    }
    Rgb24Canvas c_;
};

TEST_F(CanvasTest, FillNormalisesCornersAndClips) {
    rgb24_fill_rect(&c_, 5, 6, 2, 3);  // corners in any order, inclusive
    EXPECT_EQ(pixels_of(0xFFFFFF).size(), 4u * 4u);
    EXPECT_EQ(c_.rgb(2, 3), 0xFFFFFFu);
    EXPECT_EQ(c_.rgb(5, 6), 0xFFFFFFu);
    EXPECT_EQ(c_.rgb(6, 6), 0u);
    rgb24_fill_rect_rgb(&c_, -10, 25, 3, 100, 0x123456);
    EXPECT_EQ(pixels_of(0x123456).size(), 4u * 5u);
    rgb24_fill_rect_rgb(&c_, 40, 0, 60, 10, 0x654321);  // wholly outside
    rgb24_fill_rect_rgb(&c_, -5, -5, -1, -1, 0x654321);
    EXPECT_TRUE(pixels_of(0x654321).empty());
}

TEST_F(CanvasTest, LinesIncludeBothEndsAndSkipOffCanvasPixels) {
    rgb24_draw_line(&c_, 0, 0, 5, 2);
    const auto px = pixels_of(0xFF00D0);
    EXPECT_EQ(px, (std::set<std::pair<int, int>>{{0, 0}, {1, 0}, {2, 1}, {3, 1}, {4, 2}, {5, 2}}));
    rgb24_draw_line_rgb(&c_, 35, 25, 45, 35, 0x00FF00);  // leaves the canvas
    EXPECT_EQ(pixels_of(0x00FF00).size(), 5u);
    rgb24_draw_line_rgb(&c_, 10, 20, 10, 20, 0x0000FF);  // a single point
    EXPECT_EQ(pixels_of(0x0000FF).size(), 1u);
}

TEST_F(CanvasTest, OutlineIsOnePixelAroundTheInclusiveRectangle) {
    rgb24_draw_rect_outline(&c_, 10, 10, 14, 13);
    EXPECT_EQ(pixels_of(0x202020).size(), 5u * 2 + 2u * 2);
    EXPECT_EQ(c_.rgb(12, 11), 0u);
    EXPECT_EQ(c_.rgb(14, 13), 0x202020u);
}

}  // namespace
}  // namespace kaitoro
