// A source painted with the brush, saved as a preset, runs headless through kaitoro-cli.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <sstream>
#include <string>

#include "core/driver.h"
#include "source_design/brush.h"
#include "source_design/preset.h"
#include "source_design/source_cell.h"
#include "tests/support/global_state.h"
#include "tests/support/run_command.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

using testing::TempDir;

using Result = testing::CommandResult;
Result run(const std::string& cmd) { return testing::run_command(cmd); }

const std::string kCli = KAITORO_CLI_PATH;

int count_source_rows(const std::string& text) {
    int n = 0;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) n += line.rfind("SOURCE,", 0) == 0;
    return n;
}

class CliPresetTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto g = testing::make_ocean(60, 40, 2000.0f);
        testing::fill_rect(g, 0, 0, 59, 5, -20.0f);
        testing::fill_rect(g, 0, 0, 8, 39, -20.0f);
        testing::add_coastal_stations(g, [](int x, int) { return x < 30 ? 11 : 12; });
        grid_ = dir_.file("grid.bin");
        testing::write_file_bytes(grid_, testing::encode_grid_file(g));

        // Paint a stroke on that grid, the way the map's mouse does, and keep it as a preset.
        testing::install_grid(testing::load_spec(g));
        g_new_source_height_m = 4.0f;
        brush_stroke_press(1, 28, 24, 0, 0);
        brush_stroke_move(1, 34, 26);
        brush_stroke_move(1, 40, 26);
        brush_stroke_release();
        painted_ = g_sources.count;
        preset_ = dir_.file("stroke.csv");
        ASSERT_EQ(save_current_preset_file(preset_.c_str()), 1);
        testing::reset_all_globals();
    }

    TempDir dir_;
    std::string grid_, preset_;
    std::size_t painted_ = 0;
};

TEST_F(CliPresetTest, PaintedPresetRunsAndArrivesOnTheCoast) {
    ASSERT_GT(painted_, 20u);
    const std::string out = dir_.file("out");
    const std::string saved = dir_.file("again.csv");
    Result r = run(kCli + " run " + grid_ + " --preset " + preset_ + " --save-preset " + saved +
                   " --hours 1 --out " + out);
    ASSERT_EQ(r.code, 0) << r.out;
    const std::string n = std::to_string(painted_);
    EXPECT_NE(r.out.find("Loaded preset and applied " + n + " source point(s); rebuilt "),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("; " + n + " source point(s), Mw "), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Saved preset: " + saved), std::string::npos) << r.out;
    EXPECT_EQ(count_source_rows(testing::read_file_text(saved)), int(painted_));

    // Stations on the coast saw the wave.
    std::istringstream table(testing::read_file_text(out + "/tsunami_station_points.csv"));
    std::string line;
    std::getline(table, line);
    int arrived = 0, rows = 0;
    while (std::getline(table, line)) {
        std::istringstream fields(line);
        std::string f;
        for (int k = 0; k <= 10 && std::getline(fields, f, ','); ++k) {
        }
        ++rows;
        arrived += std::stoi(f) > 0;
    }
    EXPECT_GT(rows, 50);
    EXPECT_GT(arrived, 0);
}

TEST_F(CliPresetTest, PresetErrorsExitOne) {
    Result r = run(kCli + " run " + grid_ + " --preset " + dir_.file("missing.csv") + " --steps 1");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("Error: could not open preset file: " + dir_.file("missing.csv")),
              std::string::npos)
        << r.out;
    r = run(kCli + " run " + grid_ + " --save-preset " + dir_.file("no/such/dir/p.csv") +
            " --steps 1 --out " + dir_.file("o2"));
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("Error: could not write preset file: "), std::string::npos) << r.out;
    r = run(kCli + " run " + grid_ + " --preset");
    EXPECT_EQ(r.code, 2);
}

}  // namespace
}  // namespace kaitoro
