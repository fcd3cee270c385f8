// kaitoro-cli run with a finite-fault grid CSV placed at an epicentre, and the images it
// writes (max-wave and slip map, read back with an independent PNG decoder), end to end on a
// synthetic grid.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <set>
#include <sstream>
#include <string>
#include <vector>

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

class CliQuickFfTest : public ::testing::Test {
  protected:
    void SetUp() override {
        grid_ = dir_.file("grid.bin");
        ASSERT_TRUE(testing::write_west_coast_grid(grid_));
        testing::write_text_file(dir_.file("src.csv"),
                                 "grid_x,grid_y,height_m,delay_s\n"
                                 "40,20,3.0,0\n41,20,3.0,0\n40,21,3.0,0\n41,21,3.0,0\n");
        float lat, lon;
        latlon_from_grid_xy(30.0f, 20.0f, &lat, &lon);
        char buf[64];
        std::snprintf(buf, sizeof buf, "%.5f,%.5f", lat, lon);
        epicenter_ = buf;
        // Three patches of 10 x 10 km with the delay-0 cell at C2.
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

TEST_F(CliQuickFfTest, PlacesTheGridAndTheStationsSeeTheWave) {
    Result r = run(base() + " --quick-ff " + dir_.file("ff.csv") + " --epicenter " + epicenter_ +
                   " --strike 370 --patch-length 20 --depth 5 --hours 0.5");
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find(": 4 x 4 grid, 3 patch(es) of 20.0 x 10.0 km, strike 10, depth 5.0 km; "
                         "epicenter cell C2 at x=30 y=20; "),
              std::string::npos)
        << r.out;
    const std::size_t at = r.out.find(" source cell(s) placed; Mw ");
    ASSERT_NE(at, std::string::npos) << r.out;
    // The placed cells are the run's source points.
    const std::size_t start = r.out.rfind(' ', at - 1) + 1;
    EXPECT_GT(std::stoi(r.out.substr(start, at - start)), 3);

    // Every station row: ...,forecast_zone_id,name,max_height_m,arrival_s,...
    std::istringstream table(testing::read_file_text(dir_.file("out/tsunami_station_points.csv")));
    std::string line;
    std::getline(table, line);
    int rows = 0, arrived = 0;
    while (std::getline(table, line)) {
        std::vector<std::string> f;
        std::stringstream ls(line);
        for (std::string cell; std::getline(ls, cell, ',');) f.push_back(cell);
        ASSERT_GE(f.size(), 11u) << line;
        ++rows;
        arrived += std::stoi(f[10]) > 0;
    }
    EXPECT_GT(rows, 30);
    EXPECT_GT(arrived, 0);
}

TEST_F(CliQuickFfTest, BadOptionsAreUsageErrors) {
    const std::string ff = " --quick-ff " + dir_.file("ff.csv");
    for (const std::string& args :
         {ff, ff + " --epicenter 38", ff + " --epicenter a,b", ff + " --epicenter 38,",
          ff + " --epicenter 95,140", ff + " --epicenter 38,140 --strike east",
          ff + " --epicenter 38,140 --patch-width 0", ff + " --epicenter 38,140 --depth -1",
          ff + " --epicenter 38,140 --patch-length", std::string(" --epicenter 38,140"),
          std::string(" --strike 10")}) {
        Result r = run(base() + args);
        EXPECT_EQ(r.code, 2) << args << "\n" << r.out;
        EXPECT_NE(r.out.find("usage: kaitoro-cli run"), std::string::npos) << args;
    }
}

TEST_F(CliQuickFfTest, LoadAndPlacementFailuresExitOne) {
    Result r =
        run(base() + " --quick-ff " + dir_.file("missing.csv") + " --epicenter " + epicenter_);
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("Error: could not open quick finite-fault file: "), std::string::npos)
        << r.out;

    testing::write_text_file(dir_.file("empty.csv"), "row,A,B\n1,abc,\n");
    r = run(base() + " --quick-ff " + dir_.file("empty.csv") + " --epicenter " + epicenter_);
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("No valid finite-fault cells found."), std::string::npos) << r.out;

    r = run(base() + " --quick-ff " + dir_.file("ff.csv") + " --epicenter 10,100");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("Error: epicenter 10.0000,100.0000 lies outside the grid"),
              std::string::npos)
        << r.out;

    // Only zero slips: nothing to place.
    testing::write_text_file(dir_.file("zero.csv"), "C3,0,0,15\n");
    r = run(base() + " --quick-ff " + dir_.file("zero.csv") + " --epicenter " + epicenter_);
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("placed no source cells"), std::string::npos) << r.out;
}

TEST_F(CliQuickFfTest, MaxWaveImageWithContoursDecodes) {
    const std::string png_path = dir_.file("max.png");
    Result r = run(base() + " --sources " + dir_.file("src.csv") +
                   " --hours 1 --wave-layer 2 --max-wave-png " + png_path);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("Saved max-wave + arrival-contour PNG: " + png_path), std::string::npos)
        << r.out;
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

TEST_F(CliQuickFfTest, SlipMapOfAPlacedFiniteFault) {
    const std::string png_path = dir_.file("slip.png");
    Result r = run(base() + " --quick-ff " + dir_.file("ff.csv") + " --epicenter " + epicenter_ +
                   " --steps 2 --slip-map-png " + png_path);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("Saved finite-fault USGS-style PNG: " + png_path), std::string::npos)
        << r.out;
    testing::DecodedPng png;
    std::string err;
    ASSERT_TRUE(testing::decode_png(png_path, &png, &err)) << err;
    EXPECT_EQ(png.width, 1700);
    EXPECT_EQ(png.height, 980);
    EXPECT_EQ(png.pixel(1530, 151), 0xA50F15u);  // top of the colour bar
}

TEST_F(CliQuickFfTest, ImageOptionErrors) {
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
