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

TEST(CanvasText, RasterisesLiberationSansAtItsTopLeft) {
    ASSERT_FALSE(canvas_font_path(0).empty()) << "Liberation Sans is not installed";
    Rgb24Canvas c;
    ASSERT_TRUE(rgb24_canvas_create(&c, 300, 80));
    EXPECT_EQ(rgb24_draw_text_gdi(&c, 10, 20, "", CanvasTextStyle::Small18, 0, 0), 1);
    EXPECT_EQ(c.pixels, std::vector<std::uint8_t>(300 * 80 * 3, 255));

    ASSERT_EQ(rgb24_draw_text_gdi(&c, 10, 20, "Hx", CanvasTextStyle::Medium20, 0, 0xFF0000), 1);
    int x0 = 1000, x1 = -1, y0 = 1000, y1 = -1;
    bool pure = false;
    for (int y = 0; y < c.height; ++y)
        for (int x = 0; x < c.width; ++x) {
            const std::uint32_t p = c.rgb(x, y);
            if (p == 0xFFFFFFu) continue;
            // Antialiased red over white: red stays full, green and blue equal.
            EXPECT_EQ(p >> 16, 0xFFu);
            EXPECT_EQ(p >> 8 & 255, p & 255);
            pure = pure || p == 0xFF0000u;
            x0 = std::min(x0, x), x1 = std::max(x1, x), y0 = std::min(y0, y), y1 = std::max(y1, y);
        }
    EXPECT_TRUE(pure);
    // The top of the cell is at y = 20: the cap height of a 20-pixel Arial starts a few pixels
    // lower, and the baseline lies about 18 pixels below the top.
    EXPECT_GE(y0, 21);
    EXPECT_LE(y0, 25);
    EXPECT_GE(y1, 36);
    EXPECT_LE(y1, 39);
    EXPECT_GE(x0, 10);
    EXPECT_LE(x0, 13);
    // "Hx" in 20 px Arial is about 25 pixels wide.
    EXPECT_NEAR(rgb24_text_width("Hx", 20, 0), 25, 2);
    EXPECT_GT(rgb24_text_width("Maximum slip", 20, 1), rgb24_text_width("Maximum slip", 20, 0));

    // The heading style is always bold in (17, 17, 17).
    Rgb24Canvas h;
    ASSERT_TRUE(rgb24_canvas_create(&h, 200, 50));
    rgb24_draw_text_gdi(&h, 0, 0, "Map view", CanvasTextStyle::Heading24, 0, 0xFF0000);
    bool dark = false;
    for (int y = 0; y < h.height; ++y)
        for (int x = 0; x < h.width; ++x) {
            const std::uint32_t p = h.rgb(x, y);
            EXPECT_EQ(p >> 16 & 255, p & 255);  // grey only
            dark = dark || p == 0x111111u;
        }
    EXPECT_TRUE(dark);
}

}  // namespace
}  // namespace kaitoro
