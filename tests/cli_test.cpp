// End-to-end runs of the kaitoro-cli binary on synthetic grids; result files are read back
// with independent readers (Python's csv, json and XML parsers).
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <string>

#include "tests/support/run_command.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

using testing::TempDir;

using Result = testing::CommandResult;
Result run(const std::string& cmd) { return testing::run_command(cmd); }

const std::string kCli = KAITORO_CLI_PATH;

class CliTest : public ::testing::Test {
protected:
    void SetUp() override {
        auto g = testing::make_ocean(60, 40, 2000.0f);
        testing::fill_rect(g, 0, 0, 59, 5, -20.0f);
        testing::fill_rect(g, 0, 0, 8, 39, -20.0f);
        testing::add_coastal_stations(g, [](int x, int) { return x < 30 ? 11 : 12; });
        grid_ = dir_.file("grid.bin");
        testing::write_file_bytes(grid_, testing::encode_grid_file(g));
    }
    TempDir dir_;
    std::string grid_;
};

TEST_F(CliTest, UsageErrorsExitTwoWithTheUsageText) {
    for (const char* args : {"", "frobnicate", "run --hours", "run --hours abc",
                             "run --bogus", "run --station 0", "info --sources x.csv"}) {
        Result r = run(kCli + " " + args);
        EXPECT_EQ(r.code, 2) << args;
        EXPECT_NE(r.out.find("usage: kaitoro-cli run"), std::string::npos) << args;
    }
    EXPECT_EQ(run(kCli + " --help").code, 0);
}

TEST_F(CliTest, OutOfRangeNumbersAndUnusableInputExitTwoWithAClearError) {
    testing::write_text_file(dir_.file("empty.csv"), "# nothing\n4294967856,3,1.0,0\n");
    const std::pair<std::string, const char*> cases[] = {
        {" run --hours 1e300", "kaitoro-cli: --hours must be at most 596522\n"},
        {" run --hours 0x10", "kaitoro-cli: --hours needs a number\n"},
        {" run --steps 1e19", "kaitoro-cli: --steps must be at most 143165336\n"},
        {" run --station 1e10", "kaitoro-cli: --station needs a station number\n"},
        {" run " + grid_ + " --sources " + dir_.file("empty.csv"),
         "Error: no usable source line in source file: "},
    };
    for (const auto& [args, message] : cases) {
        Result r = run(kCli + args + " --out " + dir_.file("o"));
        EXPECT_EQ(r.code, 2) << args;
        EXPECT_EQ(r.out.rfind(message, 0), 0u) << r.out;
    }
    Result r = run(kCli + " info " + dir_.path());
    EXPECT_EQ(r.code, 1);
    EXPECT_EQ(r.out, "Error: could not open data file: " + dir_.path() + ": Is a directory\n");
}

TEST_F(CliTest, FilesThatCouldNotBeWrittenAreNamedAndTheRunFails) {
    // A folder where the station table's scratch file must go: the table cannot be written,
    // whoever runs the test. The zone table beside it is written as usual.
    const std::string out = dir_.file("out");
    std::filesystem::create_directories(out + "/tsunami_station_points.csv.partial");
    Result r = run(kCli + " run " + grid_ + " --steps 2 --out " + out);
    EXPECT_EQ(r.code, 1) << r.out;
    const std::string named = "Error: could not write file: " + out + "/tsunami_station_points.csv\n";
    const std::size_t at = r.out.find(named);
    EXPECT_NE(at, std::string::npos) << r.out;
    EXPECT_EQ(r.out.find("Error: could not write file: ", at + 1), std::string::npos);
    EXPECT_TRUE(std::filesystem::is_regular_file(out + "/tsunami_station_points_forecast_zones.csv"));
}

TEST_F(CliTest, GridErrorsExitOneWithTheDocumentedMessage) {
    Result r = run(kCli + " info " + dir_.file("missing.bin"));
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("Error: could not open data file"), std::string::npos);

    auto bytes = testing::encode_grid_file(testing::make_ocean(4, 4, 10.0f));
    bytes[13] = 'X';
    testing::write_file_bytes(dir_.file("bad.bin"), bytes);
    r = run(kCli + " run --grid " + dir_.file("bad.bin"));
    EXPECT_EQ(r.code, 1);
    EXPECT_EQ(r.out, "Error: data file magic does not match TSUNAMI_SIM_V1\n");

    r = run(kCli + " run " + grid_ + " --sources " + dir_.file("none.csv"));
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("could not open source file"), std::string::npos);
}

TEST_F(CliTest, RunWritesTablesThatIndependentReadersAccept) {
    testing::write_text_file(dir_.file("src.csv"),
                             "grid_x,grid_y,height_m,delay_s\n"
                             "30,20,3.0,0\n31,20,3.0,0\n30,21,3.0,0\n31,21,3.0,0\n");
    const std::string out = dir_.file("out");
    Result r = run(kCli + " run " + grid_ + " --sources " + dir_.file("src.csv") +
                   " --station 1 --station 40 --hours 1 --out " + out);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("Model time 3600 s (01:00:00), 240 steps"), std::string::npos) << r.out;
    const std::string py = R"PY(
import csv, json, sys, xml.etree.ElementTree as ET
out = sys.argv[1]
with open(out + '/tsunami_station_points.csv', encoding='utf-8-sig', newline='') as f:
    rows = list(csv.reader(f))
assert rows[0] == ['station_no','grid_index','grid_x','grid_y','sample_grid_index','sample_grid_x','sample_grid_y','forecast_zone_id','forecast_zone_name','max_height_m','arrival_s','color_bin','color_hex'], rows[0]
assert len(rows) > 50
assert {r[8] for r in rows[1:]} == {'宮城県', '福島県'}
arrived = [r for r in rows[1:] if int(r[10]) > 0]
assert arrived, 'no station saw the wave'
with open(out + '/tsunami_station_points_forecast_zones.csv', encoding='utf-8-sig', newline='') as f:
    zones = list(csv.reader(f))
assert zones[0] == ['forecast_zone_id','forecast_zone_name','max_height_m','max_height_cm','station_no_of_max','grid_index','grid_x','grid_y','arrival_s','station_count','color_bin','color_hex'], zones[0]
assert len(zones) == 1 + 66 + 26
z11 = zones[11]
assert z11[0] == '11' and float(z11[2]) > 0 and int(z11[9]) > 0
for name in ('selected_stations_timeseries_station_0001_graph.svg',
             'selected_stations_timeseries_station_0040_graph.svg'):
    root = ET.parse(out + '/' + name).getroot()
    assert root.tag.endswith('svg')
with open(out + '/selected_stations_timeseries_station_0040.csv', newline='') as f:
    lines = [l for l in f if not l.startswith('#')]
ts = list(csv.reader(lines))
assert ts[0][0] == 'time_s' and len(ts) == 1 + 241, len(ts)
print('ok')
)PY";
    testing::write_text_file(dir_.file("check.py"), py);
    Result c = run("python3 " + dir_.file("check.py") + " " + out);
    EXPECT_EQ(c.code, 0) << c.out;
    EXPECT_EQ(c.out, "ok\n");
}

TEST_F(CliTest, InfoPrintsTheGridFactsAsJson) {
    Result r = run(kCli + " info " + grid_);
    ASSERT_EQ(r.code, 0) << r.out;
    testing::write_text_file(dir_.file("info.json"), r.out);
    Result c = run("python3 -c \"import json,sys; d=json.load(open(sys.argv[1])); "
                   "print(d['nx'], d['ny'], d['stations']['disabled'], "
                   "sum(z['stations'] for z in d['stations_per_zone']) == d['stations']['enabled'], "
                   "d['hidden_rows'])\" " +
                   dir_.file("info.json"));
    EXPECT_EQ(c.code, 0) << c.out;
    EXPECT_EQ(c.out, "60 40 0 True 2\n");
}

}  // namespace
}  // namespace kaitoro
