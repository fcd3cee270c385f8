// kaitoro-cli run with a finite-fault grid CSV placed at an epicentre, end to end on a
// synthetic grid.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "core/geo.h"
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
        auto g = testing::make_ocean(60, 40, 2000.0f);
        testing::fill_rect(g, 0, 0, 8, 39, -20.0f);  // a coast in the west
        testing::add_coastal_stations(g, [](int, int y) { return y < 20 ? 12 : 11; });
        grid_ = dir_.file("grid.bin");
        testing::write_file_bytes(grid_, testing::encode_grid_file(g));
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

}  // namespace
}  // namespace kaitoro
