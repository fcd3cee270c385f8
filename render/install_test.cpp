#include "render/install.h"

#include <gtest/gtest.h>

#include "core/driver.h"
#include "core/status.h"
#include "feed/warning_check.h"
#include "render/colors.h"
#include "render/scene.h"
#include "source_design/preset.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

TEST(RenderInstall, StartUpLoadsTheColourFileAndWiresTheSceneSettings) {
    testing::reset_all_globals();
    testing::TempDir dir;
    testing::ScopedFakePlatform platform;
    platform.fake.exe_path = dir.file("kaitoro");
    testing::write_text_file(dir.file("tsunami_color_settings.ini"),
                             "CELL_BEGIN\n0,#000000\n1,#ffffff\nCELL_END\n");
    testing::write_file_bytes(dir.file("grid.bin"),
                              testing::encode_grid_file(testing::make_ocean(20, 10, 100.0f)));
    ASSERT_EQ(testing::start_program(dir.file("grid.bin")), 0);
    EXPECT_STREQ(g_status, "Loaded saved color settings. Use Settings > Colors to edit or reset.");
    EXPECT_EQ(g_cell_color_custom_enabled, 1);

    // The feed sees the scene's land/sea inversion; presets store the display settings.
    ASSERT_NE(g_orvex_landsea_inversion_hook, nullptr);
    g_invert_landsea_display = 1;
    EXPECT_EQ(g_orvex_landsea_inversion_hook(), 1);
    EXPECT_EQ(g_preset_wave_display_coeff, &g_wave_display_coeff);
    EXPECT_EQ(g_preset_wave_overlay_alpha, &g_wave_overlay_alpha);
    driver_shutdown();
    testing::reset_all_globals();
}

}  // namespace
}  // namespace kaitoro
