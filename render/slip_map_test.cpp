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
#include "tests/support/source_fixtures.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

class SlipMapTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto layout = testing::make_ocean(300, 300, 4000.0f);
        testing::fill_rect(layout, 0, 0, 59, 299, -100.0f);  // a western coast
        testing::install_grid(testing::load_spec(layout));
    }
    void TearDown() override { testing::reset_all_globals(); }

    testing::TempDir dir_;
};

TEST_F(SlipMapTest, PatchesTakeSanitisedParameters) {
    g_fault_dip_deg = 70.0f;  // the default dip is used limited to 60
    g_fault_width_km = 5000.0f;
    g_fault_stamp_length_km = 2.0f;
    testing::add_fault_patch(1, 1, 150, 150, 2.0f, 30, 80.0f, 0, 0.0f, 0.0f);
    testing::add_fault_patch(1, 2, 150, 170, -3.0f, 10, 0.0f, 0, NAN, 9000.0f);
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

TEST_F(SlipMapTest, EqualEarliestDelaysPutTheEpicentreBetweenThem) {
    testing::add_fault_patch(1, 1, 140, 150, 2.0f, 20);
    testing::add_fault_patch(1, 2, 160, 150, 2.0f, 20);
    testing::add_fault_patch(1, 3, 150, 170, 2.0f, 45);
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
}

}  // namespace
}  // namespace kaitoro
