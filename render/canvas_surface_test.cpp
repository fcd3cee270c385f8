#include "render/canvas_surface.h"

#include <gtest/gtest.h>

namespace kaitoro {
namespace {

// Rectangles keep the window convention (right and bottom exclusive): the outline lands on
// the last pixel inside, never one beyond.
TEST(CanvasSurfaceTest, RectangleAndScaledBlitHitTheRightPixels) {
    Rgb24Canvas c;
    ASSERT_TRUE(rgb24_canvas_create(&c, 12, 8));
    CanvasSurface s(&c);
    const std::uint32_t src[2 * 2] = {0x010203, 0x040506, 0x070809, 0x0A0B0C};
    s.blit_scaled(src, 2, 2, 2, 2, 8, 4);  // each source pixel becomes 4 x 2
    s.rectangle(0, 0, 5, 4, DrawPen{0x000000}, DrawBrush::solid(0xFF0000));
    struct Probe {
        int x, y;
        std::uint32_t rgb;
    } probes[] = {
        {0, 0, 0x000000}, {4, 3, 0x000000}, {4, 1, 0x000000}, {2, 2, 0xFF0000},
        {5, 2, 0x010203}, {6, 3, 0x040506}, {9, 3, 0x040506}, {5, 4, 0x070809},
        {9, 5, 0x0A0B0C}, {10, 6, 0xFFFFFF}, {1, 6, 0xFFFFFF}, {5, 0, 0xFFFFFF},
    };
    for (const Probe& p : probes)
        EXPECT_EQ(c.rgb(p.x, p.y), p.rgb) << p.x << "," << p.y;
}

}  // namespace
}  // namespace kaitoro
