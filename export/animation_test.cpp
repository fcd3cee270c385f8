#include "export/animation.h"

#include <gtest/gtest.h>

namespace kaitoro {
namespace {

TEST(AnimationTest, FormatFromTheNameAndEvenFrameSizes) {
    struct Case {
        const char* path;
        bool ok;
        AnimationFormat format;
    } cases[] = {{"run.mp4", true, AnimationFormat::Mp4},
                 {"RUN.GIF", true, AnimationFormat::Gif},
                 {"a.gif.txt", false, {}},
                 {".mp4", false, {}},
                 {"movie", false, {}}};
    for (const Case& c : cases) {
        AnimationFormat f = AnimationFormat::Gif;
        EXPECT_EQ(animation_format_for_path(c.path, &f), c.ok) << c.path;
        if (c.ok) {
            EXPECT_EQ(f, c.format) << c.path;
        }
    }
    GridData g;
    g.nx = 851;
    g.ny = 539;
    const AnimationLayout l = animation_layout(&g);
    EXPECT_EQ(l.scale, 1);
    EXPECT_EQ(l.width, 852);
    EXPECT_EQ(l.height, 570);  // 539 + 30, rounded up to even
}

}  // namespace
}  // namespace kaitoro
