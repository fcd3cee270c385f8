// Bad input a hostile or careless user hands the readers: wrapped integers, numbers beyond
// float range, byte-order marks, directories, overlong lines and lying grid headers. Each
// must be refused or read safely, never turned into a wrong but plausible state.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cmath>
#include <string>

#include "core/driver.h"
#include "core/grid.h"
#include "core/masks.h"
#include "core/sources.h"
#include "core/stations.h"
#include "core/status.h"
#include "quick_ff/ff_csv.h"
#include "quick_ff/ff_grid.h"
#include "render/colors.h"
#include "source_design/preset.h"
#include "source_design/source_cell.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

using testing::TempDir;
using testing::write_text_file;

const std::string kLongComment = "#" + std::string(254, 'c');  // fills a 256-byte line

TEST(HostileOverrides, WrappedIntegersBomsLineTailsAndDirectories) {
    const std::pair<std::string, const char*> cases[] = {
        {"4294967297,20,land\n", "none"},
        {"\xEF\xBB\xBF"
         "1,2,land\n",
         "1,2"},
        {kLongComment + "30,30,land\n", "none"},
    };
    TempDir dir;
    for (const auto& [text, want] : cases) {
        GridData g = testing::load_spec(testing::make_ocean(40, 40, 100.0f));
        write_text_file(dir.file("o.csv"), text);
        ASSERT_EQ(load_land_override_csv(&g, dir.file("o.csv").c_str()), 1);
        std::string got;
        for (std::uint32_t y = 0; y < g.ny; ++y)
            for (std::uint32_t x = 0; x < g.nx; ++x)
                if (g.land_override[y * g.nx + x] == 1)
                    got += std::to_string(x) + "," + std::to_string(y);
        EXPECT_EQ(got.empty() ? "none" : got, want) << text.substr(0, 20);
    }
    GridData g = testing::load_spec(testing::make_ocean(4, 4, 100.0f));
    EXPECT_EQ(load_land_override_csv(&g, dir.path().c_str()), 0);
    EXPECT_FALSE(file_exists(dir.path().c_str()));  // so it hides no later search place
}

TEST(HostileFiniteFault, SlipBeyondFloatRangeIsNoNumber) {
    testing::reset_all_globals();
    auto enabled_slips = [] {
        std::string out;
        for (const QuickFfCell& c : g_quick_ff_rows)
            if (c.enabled || !std::isfinite(c.slip_m)) out += std::to_string(c.slip_m) + ";";
        return out;
    };
    ASSERT_EQ(quick_ff_load_csv_text("C3,3e38,60,15\n").cells, 1);
    EXPECT_EQ(enabled_slips(), std::to_string(3e38f) + ";");
    quick_ff_load_csv_text("C3,1e39,60,15\n");  // read as no slip, as any non-number is
    EXPECT_EQ(enabled_slips(), "");
    TempDir dir;
    QuickFfLoadResult r;
    EXPECT_FALSE(quick_ff_load_csv_file(dir.path().c_str(), &r));
    testing::reset_all_globals();
}

TEST(HostileColours, HeightsBeyondFloatRangeAreRefusedAndFarKeysInterpolate) {
    ColorKeyframe keys[kMaxColorKeyframes];
    int n = 0;
    char message[kColorMessageSize] = "";
    EXPECT_EQ(parse_color_keyframes_text("-1e39 #000000\n1 #ffffff\n", keys, &n, message), 0);
    EXPECT_STREQ(message, "Expected height number near: -1e39 #000000\n1 #ffffff\n");
    ASSERT_EQ(parse_color_keyframes_text("-3e38 #000000\n3e38 #ffffff\n", keys, &n, message), 1);
    // Two thirds of the way: (1e38 + 3e38) / 6e38 overflows float in both terms.
    EXPECT_EQ(color_keyframes_rgb32(keys, n, 0, 1e38f), 0xAAAAAAu);
}

TEST(FailedWrites, TheDesktopKeepsItsStatusAndAddsOneWarningNamingTheFile) {
    testing::install_grid(testing::load_spec(testing::make_ocean(10, 10, 100.0f)));
    testing::ScopedFakePlatform fp;
    TempDir dir;
    const std::string table = dir.file("missing-folder/t.csv");
    fp.fake.save_answers.push_back(table);
    save_station_csv_dialog(nullptr);
    EXPECT_STREQ(g_status, ("Saved station CSV and forecast-zone CSV: " + dir.path() +
                            "/missing-folder/t_forecast_zones.csv")
                               .c_str());
    ASSERT_EQ(fp.fake.boxes.size(), 1u);
    EXPECT_EQ(fp.fake.boxes[0].text,
              "Could not write:\n" + table + "\n" + dir.path() + "/missing-folder/t_forecast_zones.csv");
    EXPECT_EQ(fp.fake.boxes[0].icon, MessageIcon::Warning);
    testing::reset_all_globals();
}

class HostileGrid : public ::testing::Test {
  protected:
    void load(const std::vector<std::uint8_t>& bytes) {
        testing::write_file_bytes(dir.file("g.bin"), bytes);
        load_grid_data(dir.file("g.bin").c_str());
        std::exit(0);
    }
    TempDir dir;
};

TEST_F(HostileGrid, AHeaderLargerThanTheFileFailsBeforeAllocating) {
    auto header = [](std::uint32_t nx, std::uint32_t ny, std::uint32_t stations) {
        auto bytes = testing::encode_grid_file(testing::make_ocean(2, 2, 10.0f));
        bytes.resize(28);
        for (int k = 0; k < 4; ++k) {
            bytes[16 + k] = std::uint8_t(nx >> (8 * k));
            bytes[20 + k] = std::uint8_t(ny >> (8 * k));
            bytes[24 + k] = std::uint8_t(stations >> (8 * k));
        }
        return bytes;
    };
    // A 1 GB address-space cap turns any attempt to allocate the promised size into "out of
    // memory" (AddressSanitizer reserves far more address space itself, so not there).
    auto capped = [&](std::uint32_t nx, std::uint32_t ny, std::uint32_t stations) {
#if !defined(__SANITIZE_ADDRESS__)
        struct rlimit lim = {1u << 30, 1u << 30};
        setrlimit(RLIMIT_AS, &lim);
#endif
        load(header(nx, ny, stations));
    };
    EXPECT_EXIT(capped(10000, 10000, 0), ::testing::ExitedWithCode(1),
                "^Error: data file body is truncated\n$");
    EXPECT_EXIT(capped(1, 1, 0xFFFFFFFFu), ::testing::ExitedWithCode(1),
                "^Error: data file body is truncated\n$");
    EXPECT_EXIT(load_grid_data(dir.path().c_str()), ::testing::ExitedWithCode(1),
                "^Error: could not open data file: Is a directory\n$");
}

}  // namespace
}  // namespace kaitoro
