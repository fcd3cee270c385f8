// kaitoro-cli reads files the way the desktop commands do, and nothing the desktop left
// behind changes what it writes.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "core/driver.h"
#include "core/sources.h"
#include "source_design/preset.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/run_command.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

namespace fs = std::filesystem;
using testing::TempDir;

const std::string kCli = KAITORO_CLI_PATH;

testing::CommandResult run(const std::string& cmd) {
    return testing::run_command(cmd);
}

class CliDesktopParityTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto g = testing::make_ocean(60, 40, 2000.0f);
        testing::fill_rect(g, 0, 0, 59, 5, -20.0f);
        testing::add_coastal_stations(g, [](int x, int) { return x < 30 ? 11 : 12; });
        grid_ = dir_.file("grid.bin");
        testing::write_file_bytes(grid_, testing::encode_grid_file(g));
        sources_ = dir_.file("src.csv");
        testing::write_text_file(sources_, "30,20,2.5,0\n31,20,-1.2,15\n32,21,0.0003,30\n");
    }
    void TearDown() override { testing::reset_all_globals(); }

    TempDir dir_;
    std::string grid_, sources_;
};

// The same source CSV through "Load source CSV" and through --sources saves the same preset,
// fault metadata of every point included.
TEST_F(CliDesktopParityTest, SourcesSaveTheSamePresetAsTheDesktopCommand) {
    testing::reset_all_globals();
    testing::ScopedFakePlatform platform;
    ASSERT_EQ(testing::start_program(grid_), 0);
    platform.fake.open_answers.push_back(sources_);
    load_source_csv_dialog(nullptr);
    const std::string desktop = dir_.file("desktop.csv"), cli = dir_.file("cli.csv");
    ASSERT_EQ(save_current_preset_file(desktop.c_str()), 1);

    const auto r = run(kCli + " run " + grid_ + " --sources " + sources_ + " --save-preset " + cli +
                       " --steps 0 --out " + dir_.file("out"));
    ASSERT_EQ(r.code, 0) << r.out;
    const std::string want = testing::read_file_text(desktop);
    EXPECT_NE(want.find("SOURCE,"), std::string::npos);
    EXPECT_EQ(testing::read_file_text(cli), want);
}

}  // namespace
}  // namespace kaitoro
