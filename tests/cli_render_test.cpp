// kaitoro-cli run writing the max-wave image and the finite-fault slip map, end to end on a
// synthetic grid; both images are read back with an independent PNG decoder.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <set>
#include <string>

#include "core/geo.h"
#include "tests/support/png_reader.h"
#include "tests/support/run_command.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

using testing::TempDir;

using Result = testing::CommandResult;
Result run(const std::string& cmd) { return testing::run_command(cmd); }

const std::string kCli = KAITORO_CLI_PATH;

class CliRenderTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto g = testing::make_ocean(60, 40, 2000.0f);
        testing::fill_rect(g, 0, 0, 8, 39, -20.0f);  // a coast in the west
        testing::add_coastal_stations(g, [](int, int y) { return y < 20 ? 12 : 11; });
        grid_ = dir_.file("grid.bin");
        testing::write_file_bytes(grid_, testing::encode_grid_file(g));
        testing::write_text_file(dir_.file("src.csv"),
                                 "grid_x,grid_y,height_m,delay_s\n"
                                 "40,20,3.0,0\n41,20,3.0,0\n40,21,3.0,0\n41,21,3.0,0\n");
        float lat, lon;
        latlon_from_grid_xy(30.0f, 20.0f, &lat, &lon);
        char buf[64];
        std::snprintf(buf, sizeof buf, "%.5f,%.5f", lat, lon);
        epicenter_ = buf;
        testing::write_text_file(dir_.file("ff.csv"),
                                 "# Rows=4 Cols=4 PatchLengthKm=10 PatchWidthKm=10 Row1=shallow\n"
                                 "row,A,B,C,D\n"
                                 "2,,\"2,10,20\",\"3,0,20\",\n"
                                 "3,,,\"1,20,20\",\n");
    }
    std::string base() const { return kCli + " run " + grid_ + " --out " + dir_.file("out"); }
    TempDir dir_;
    std::string grid_, epicenter_;
};

TEST_F(CliRenderTest, MaxWaveImageWithContoursDecodes) {
    const std::string png_path = dir_.file("max.png");
    Result r = run(base() + " --sources " + dir_.file("src.csv") +
                   " --hours 1 --wave-layer 2 --max-wave-png " + png_path);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("Saved max-wave + arrival-contour PNG: " + png_path), std::string::npos)
        << r.out;
    if (!testing::python3_available()) GTEST_SKIP() << "python3 not available";
    testing::DecodedPng png;
    std::string err;
    ASSERT_TRUE(testing::decode_png(png_path, &png, &err)) << err;
    ASSERT_EQ(png.width, 60);
    ASSERT_EQ(png.height, 40);
    EXPECT_EQ(png.pixel(2, 20), 0x24242Au);  // land
    // Rows are flipped (north up): the source at grid row 20 sits at image row 19.
    std::set<std::uint32_t> sea;
    for (int y = 0; y < 40; ++y)
        for (int x = 10; x < 60; ++x) sea.insert(png.pixel(x, y));
    EXPECT_GT(sea.size(), 20u) << "the wave should colour the sea";
    // Contour lines are lighter than any wave colour around them: at least one near-white pixel.
    bool contour = false;
    for (std::uint32_t p : sea) contour = contour || ((p >> 16) > 200 && (p & 255) > 200);
    EXPECT_TRUE(contour);

    // Layer 0: the same image without contours.
    r = run(base() + " --sources " + dir_.file("src.csv") + " --hours 1 --max-wave-png " +
            png_path);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("Saved max-wave PNG: " + png_path), std::string::npos) << r.out;
}

TEST_F(CliRenderTest, SlipMapOfAPlacedFiniteFault) {
    const std::string png_path = dir_.file("slip.png");
    Result r = run(base() + " --quick-ff " + dir_.file("ff.csv") + " --epicenter " + epicenter_ +
                   " --steps 2 --slip-map-png " + png_path);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("Saved finite-fault USGS-style PNG: " + png_path), std::string::npos)
        << r.out;
    if (!testing::python3_available()) GTEST_SKIP() << "python3 not available";
    testing::DecodedPng png;
    std::string err;
    ASSERT_TRUE(testing::decode_png(png_path, &png, &err)) << err;
    EXPECT_EQ(png.width, 1700);
    EXPECT_EQ(png.height, 980);
    EXPECT_EQ(png.pixel(1530, 151), 0xA50F15u);  // top of the colour bar
}

TEST_F(CliRenderTest, ImageOptionErrors) {
    Result r = run(base() + " --wave-layer 3");
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.out.find("--wave-layer needs 0, 1 or 2"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("--slip-map-png FILE"), std::string::npos);  // in the usage text

    // No finite fault placed: the slip map fails with the command's message, exit 1.
    r = run(base() + " --sources " + dir_.file("src.csv") + " --steps 1 --slip-map-png " +
            dir_.file("slip.png"));
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("Failed to save finite-fault USGS-style PNG. Make sure direct "
                         "finite-fault patches exist."),
              std::string::npos)
        << r.out;
    // An unwritable image path fails the same way.
    r = run(base() + " --steps 1 --max-wave-png " + dir_.file("no/such/dir/max.png"));
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("Failed to save max-wave PNG."), std::string::npos) << r.out;
}

}  // namespace
}  // namespace kaitoro
