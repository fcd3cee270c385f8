// kaitoro-cli with dislocation sources and the true-speed mode, end to end on the bundled grid.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/run_command.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

const std::string kCli = KAITORO_CLI_PATH;
const std::string kSource = KAITORO_SOURCE_DIR;

// Signed levels (m) of a station's time-series file, one per recorded step.
std::vector<double> levels(const std::string& path) {
    std::ifstream in(path);
    std::vector<double> out;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#' || line[0] < '0' || line[0] > '9') continue;
        std::stringstream ss(line);
        std::string field;
        for (int k = 0; k < 4 && std::getline(ss, field, ','); ++k)
            if (k == 3) out.push_back(std::stod(field));
    }
    return out;
}

// The two-segment megathrust off Miyagi and Iwate: the coast above the deep end first sinks,
// so a Miyagi station sees the sea fall before it rises; the summary gives the table's Mw.
TEST(CliFaultTest, ThrustTableGivesALeadingTroughAndTheStandardMw) {
    testing::TempDir dir;
    const std::string table = dir.file("table.csv");
    std::ifstream src(kSource + "/data/examples/two_segment_thrust.csv");
    std::stringstream text;
    text << src.rdbuf() << "38.3,142.7,20,193,14,90,100\n";  // one broken line
    testing::write_text_file(table, text.str());
    const auto r = testing::run_command(kCli + " run --fault " + table +
                                        " --station 3297 --hours 0.5 --out " + dir.file("out"));
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find(table + ": line 8: 7 fields, the header has 11\n"), std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find(": 2 subfault(s), 1 line(s) rejected; "), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("standard M0 7.200e+21 N m, Mw 8.50.\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find(" source point(s), standard Mw 8.50.\n"
                         "Wave speed: documented coupling (depth/18000).\n"),
              std::string::npos)
        << r.out;
    const std::vector<double> sea =
        levels(dir.file("out/station_3297_timeseries.csv"));
    ASSERT_GT(sea.size(), 100u);
    std::size_t first = 0;
    while (first < sea.size() && std::fabs(sea[first]) < 0.05) ++first;
    ASSERT_LT(first, sea.size());
    EXPECT_LT(sea[first], 0.0) << "the first motion at the Miyagi coast is a fall";
}

// A table with nothing usable, and --okada without a finite fault, are refused.
TEST(CliFaultTest, BadFaultOptionsAreRefused) {
    testing::TempDir dir;
    testing::write_text_file(dir.file("t.csv"), "lat,lon\n1,2\n");
    auto r = testing::run_command(kCli + " run --fault " + dir.file("t.csv") + " --out " +
                                  dir.file("o"));
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("Error: " + dir.file("t.csv") + ": no valid subfault\n"),
              std::string::npos)
        << r.out;
    r = testing::run_command(kCli + " run --okada --out " + dir.file("o"));
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.out.find("kaitoro-cli: --okada needs --quick-ff\n"), std::string::npos) << r.out;
}

// The quick finite fault placed as dislocations: uplift and subsidence, the grid's standard Mw,
// and the true-speed mode named in the summary.
TEST(CliFaultTest, QuickFiniteFaultAsDislocationsInTrueSpeed) {
    testing::TempDir dir;
    const auto r = testing::run_command(
        kCli + " run --quick-ff " + kSource +
        "/data/examples/tohoku2011_like_ff.csv --epicenter 38.10,142.86 --strike 193 --okada "
        "--true-speed --steps 4 --out " + dir.file("out"));
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find(" source cell(s) placed; standard Mw 8.90.\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Wave speed: true long-wave speed sqrt(g h) at each latitude.\n"),
              std::string::npos)
        << r.out;
}

}  // namespace
}  // namespace kaitoro
