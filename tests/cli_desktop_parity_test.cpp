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
    std::string arg0 = "kaitoro";
    char* argv[] = {arg0.data(), grid_.data()};
    ASSERT_EQ(driver_startup(2, argv), 0);
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

// A colour file beside the program (the desktop saves one after every colour edit) leaves the
// images alone; only --colors brings custom scales in, and the run says which it used.
TEST_F(CliDesktopParityTest, ImagesUseBuiltInColoursUnlessAFileIsNamed) {
    const std::string magenta =
        "TSUNAMI_COLOR_SETTINGS_V1\ncell_enabled=1\nCELL_BEGIN\n-5,#ff00ff\n50,#ff00ff\nCELL_END\n";
    // A copy of the program with that file beside it.
    const std::string bin = dir_.file("bin");
    fs::create_directory(bin);
    fs::copy_file(kCli, bin + "/kaitoro-cli");
    testing::write_text_file(bin + "/tsunami_color_settings.ini", magenta);
    const std::string named = dir_.file("named.ini"), broken = dir_.file("broken.ini");
    testing::write_text_file(named, magenta);
    testing::write_text_file(broken, "CELL_BEGIN\n1,#ff00zz\n2,#000000\nCELL_END\n");

    const std::string args = " run " + grid_ + " --sources " + sources_ + " --steps 20 --out " +
                             dir_.file("out") + " --max-wave-png ";
    const struct {
        std::string cmd;
        int code;
        std::string says;
    } runs[] = {
        {kCli + args + dir_.file("a.png"), 0, "Colours: built-in scales\n"},
        {bin + "/kaitoro-cli" + args + dir_.file("b.png"), 0, "Colours: built-in scales\n"},
        {kCli + args + dir_.file("c.png") + " --colors " + named, 0, "Colours: " + named + "\n"},
        {kCli + args + dir_.file("d.png") + " --colors " + broken, 2,
         "Error: --colors " + broken + ": cell scale: Bad color near height 1. Use #RRGGBB.\n"},
        {kCli + args + dir_.file("d.png") + " --colors " + grid_, 2,
         "Error: --colors " + grid_ + ": not a colour settings file"},
        {kCli + args + dir_.file("d.png") + " --colors " + dir_.file("none.ini"), 2,
         "Error: --colors " + dir_.file("none.ini") + ": cannot open: No such file"},
    };
    for (const auto& t : runs) {
        const auto r = run(t.cmd);
        EXPECT_EQ(r.code, t.code) << t.cmd << "\n" << r.out;
        EXPECT_NE(r.out.find(t.says), std::string::npos) << t.cmd << "\n" << r.out;
    }
    EXPECT_FALSE(fs::exists(dir_.file("d.png")));
    const std::string builtin = testing::read_file_text(dir_.file("a.png"));
    ASSERT_FALSE(builtin.empty());
    EXPECT_EQ(testing::read_file_text(dir_.file("b.png")), builtin);
    EXPECT_NE(testing::read_file_text(dir_.file("c.png")), builtin);
}

}  // namespace
}  // namespace kaitoro
