#include "render/colors.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "core/platform.h"
#include "render/install.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

struct ParseResult {
    int ok = 0;
    int count = -1;
    std::string message;
    std::vector<ColorKeyframe> keys;
};

ParseResult parse(const char* text) {
    ParseResult r;
    ColorKeyframe keys[kMaxColorKeyframes] = {};
    char message[kColorMessageSize] = "";
    r.ok = parse_color_keyframes_text(text, keys, &r.count, message);
    r.message = message;
    r.keys.assign(keys, keys + kMaxColorKeyframes);
    return r;
}

std::uint32_t rgb(int r, int g, int b) {
    return std::uint32_t(r << 16 | g << 8 | b);
}

// "height:rrggbb" of the first `count` keys, in order.
std::string keys_text(const ColorKeyframe* keys, int count) {
    std::string out;
    char buf[64];
    for (int i = 0; i < count; ++i) {
        std::snprintf(buf, sizeof buf, "%.9g:%06x ", keys[i].height,
                      rgb(keys[i].r, keys[i].g, keys[i].b));
        out += buf;
    }
    return out;
}

class ColorsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        testing::reset_all_globals();
        render_reset_globals();
    }
    void TearDown() override {
        testing::reset_all_globals();
        render_reset_globals();
    }
};

TEST_F(ColorsTest, ParserFailuresCarryTheirMessages) {
    struct Case {
        const char* text;
        const char* message;
    } cases[] = {
        {"", "Need at least two settings."},
        {"0,#000000", "Need at least two settings."},
        {"1,#ff0000\n1.0000001,#00ff00", "Duplicate height 1."},
        {"1,#ff00zz\n2,#000000", "Bad color near height 1. Use #RRGGBB."},
        {"1,#12345", "Bad color near height 1. Use #RRGGBB."},
        {"0,#000000\n2.5", "Missing #RRGGBB color after height 2.5"},
        {"height,#000000\n1,#ffffff\n", "Expected height number near: height,#000000\n1,#ffffff"},
        {"0,#000000\n# comment line\n", "Expected height number near: # comment line\n"},
        {"0,#000000 ; - 1,#ffffff", "Expected height number near: - 1,#ffffff"},
        // The height's colour may come from a later line; the rest of that line is skipped.
        {"1.5\n2,#00ff00\n", "Need at least two settings."},
        // A comma after the colour is part of the comment, so only one setting is read.
        {"0,#000000,1,#ffffff", "Need at least two settings."},
    };
    for (const Case& c : cases) {
        const ParseResult r = parse(c.text);
        EXPECT_EQ(r.ok, 0) << c.text;
        EXPECT_EQ(r.message, c.message) << c.text;
        EXPECT_EQ(r.count, -1) << "count must stay untouched on failure: " << c.text;
    }
    // The colour of the later line went to height 1.5.
    EXPECT_EQ(keys_text(parse("1.5\n2,#00ff00\n").keys.data(), 1), "1.5:00ff00 ");
}

TEST_F(ColorsTest, ParserSortsAcceptsSeparatorsAndLimitsToThirtyTwo) {
    // Sorting is by value, not by text: 10 after 9.
    for (const auto& [text, keys] :
         {std::pair{"2,#ff0000\r\n1,#00FF00  coast green\r\n", "1:00ff00 2:ff0000 "},
          {" ;\t0,#000000;1 #ffffff;-2.5e-1,#123456", "-0.25:123456 0:000000 1:ffffff "},
          {"10,#000000\n9,#ffffff\n-1,#808080", "-1:808080 9:ffffff 10:000000 "}}) {
        const ParseResult r = parse(text);
        ASSERT_EQ(r.ok, 1) << r.message;
        EXPECT_EQ(keys_text(r.keys.data(), r.count), keys) << text;
    }

    ParseResult r;
    std::string many;
    for (int i = 0; i < 32; ++i) many += std::to_string(i) + ",#010203\n";
    r = parse(many.c_str());
    EXPECT_EQ(r.ok, 1) << r.message;
    EXPECT_EQ(r.count, 32);
    many += "32,#010203\n";
    r = parse(many.c_str());
    EXPECT_EQ(r.ok, 0);
    EXPECT_EQ(r.message, "Too many settings. Max is 32.");
}

TEST_F(ColorsTest, KeyframeInterpolationLinearSmoothAndClamped) {
    ColorKeyframe keys[3] = {{0.0f, 0, 0, 0}, {1.0f, 200, 100, 0}, {3.0f, 300, -20, 255}};
    EXPECT_EQ(color_keyframes_rgb32(keys, 3, 0, -5.0f), 0u);
    EXPECT_EQ(color_keyframes_rgb32(keys, 3, 0, 0.5f), rgb(100, 50, 0));
    EXPECT_EQ(color_keyframes_rgb32(keys, 3, 0, 0.25f), rgb(50, 25, 0));
    // Smoothstep at t = 0.25 is 0.15625: 200 * 0.15625 = 31.25.
    EXPECT_EQ(color_keyframes_rgb32(keys, 3, 1, 0.25f), rgb(31, 16, 0));
    // Out-of-range channels of a key are clamped before use, and at the ends.
    EXPECT_EQ(color_keyframes_rgb32(keys, 3, 0, 2.0f), rgb(228, 50, 128));
    EXPECT_EQ(color_keyframes_rgb32(keys, 3, 0, 99.0f), rgb(255, 0, 255));
}

TEST_F(ColorsTest, CoastMarkerColoursBuiltInAndCustomModes) {
    std::uint32_t c = 123;
    EXPECT_EQ(coast_marker_color_rgb32(0.049f, &c), 0);
    EXPECT_EQ(coast_marker_color_rgb32(-3.0f, &c), 0);
    EXPECT_EQ(c, 123u);
    for (const auto& [h, want] : {std::pair{0.05f, 0x99ff80u},
                                  {0.0999f, 0x99ff80u},
                                  {0.5f, 0xffe600u},
                                  {9.99f, 0x460057u},
                                  {10.0f, 0x000000u}}) {
        ASSERT_EQ(coast_marker_color_rgb32(h, &c), 1) << h;
        EXPECT_EQ(c, want) << h;
    }

    const ParseResult r = parse("1,#000000\n3,#ff0000\n5,#00ff00\n");
    std::memcpy(g_coast_color_keys, r.keys.data(), sizeof(ColorKeyframe) * 3);
    g_coast_color_key_count = 3;
    g_coast_color_custom_enabled = 1;
    EXPECT_EQ(coast_marker_color_rgb32(0.9f, &c), 0);
    ASSERT_EQ(coast_marker_color_rgb32(2.0f, &c), 1);
    EXPECT_EQ(c, rgb(128, 0, 0));
    g_coast_color_smooth = 1;
    coast_marker_color_rgb32(1.5f, &c);
    EXPECT_EQ(c, rgb(40, 0, 0));  // smoothstep(0.25) * 255 = 39.8
    g_coast_color_step = 1;
    coast_marker_color_rgb32(4.99f, &c);
    EXPECT_EQ(c, 0xff0000u);
    coast_marker_color_rgb32(50.0f, &c);
    EXPECT_EQ(c, 0x00ff00u);
}

// ---- The settings file ------------------------------------------------------------------------

class ColorFileTest : public ColorsTest {
  protected:
    void SetUp() override {
        ColorsTest::SetUp();
        set_platform(&platform_.fake);  // the global reset put the headless one back
        platform_.fake.exe_path = dir_.file("kaitoro");
        path_ = dir_.file(kColorSettingsFileName);
    }
    testing::ScopedFakePlatform platform_;
    testing::TempDir dir_;
    std::string path_;
};

TEST_F(ColorFileTest, PathSitsBesideTheExecutableOrFallsBackToTheBareName) {
    char path[kColorPathSize];
    color_settings_default_path(path);
    EXPECT_EQ(std::string(path), path_);
    for (const auto& [exe, want] : {std::pair{"C:\\Programs\\Kaitoro\\kaitoro.exe",
                                              "C:\\Programs\\Kaitoro\\tsunami_color_settings.ini"},
                                    {"kaitoro", "tsunami_color_settings.ini"},
                                    {"", "tsunami_color_settings.ini"}}) {
        platform_.fake.exe_path = exe;
        color_settings_default_path(path);
        EXPECT_STREQ(path, want) << exe;
    }
}

TEST_F(ColorFileTest, RestoredBuiltInsAreWrittenInTheExactLayout) {
    ASSERT_EQ(auto_save_color_settings(), 1);
    EXPECT_EQ(testing::read_file_text(path_),
              "TSUNAMI_COLOR_SETTINGS_V1\n"
              "cell_enabled=0\ncell_smooth=0\ncoast_enabled=0\ncoast_smooth=0\ncoast_step=0\n"
              "\n"
              "CELL_BEGIN\n-1.0,#0037ff\n0.0,#78dcff\n0.5,#3cffd2\n1.0,#14f050\n2.0,#e6ff28\n"
              "5.0,#ff2823\n10.0,#d700aa\n15.0,#9600be\n20.0,#46005f\nCELL_END\n"
              "\n"
              "COAST_BEGIN\n0.05,#99ff80\n0.10,#00ff00\n0.20,#fff280\n0.50,#ffe600\n"
              "1.00,#ff8080\n2.00,#ff0000\n3.00,#e580ff\n4.00,#cc00ff\n5.00,#8b00ad\n"
              "8.00,#460057\n10.0,#000000\nCOAST_END\n");
    // Loading it back keeps the built-in scales.
    g_cell_color_smooth = 1;
    ASSERT_EQ(auto_load_color_settings(), 1);
    EXPECT_EQ(g_cell_color_custom_enabled, 0);
    EXPECT_EQ(g_coast_color_custom_enabled, 0);
    EXPECT_EQ(g_cell_color_key_count, 0);
    EXPECT_EQ(g_cell_color_smooth, 0);
}

TEST_F(ColorFileTest, CustomScalesRoundTripBitForBit) {
    g_cell_color_keys[0] = {0.1f, 1, 2, 3};
    g_cell_color_keys[1] = {1.0f / 3.0f, 255, 128, 0};
    g_cell_color_keys[2] = {-7.25e-3f, 300, -4, 16};  // channels clamp on writing
    g_cell_color_key_count = 3;
    g_cell_color_custom_enabled = 1;
    g_cell_color_smooth = 1;
    g_coast_color_keys[0] = {0.05f, 10, 20, 30};
    g_coast_color_keys[1] = {2.0f, 40, 50, 60};
    g_coast_color_key_count = 2;
    g_coast_color_custom_enabled = 1;
    g_coast_color_step = 1;
    ASSERT_EQ(auto_save_color_settings(), 1);
    const std::string text = testing::read_file_text(path_);
    EXPECT_NE(text.find("CELL_BEGIN\n0.100000001,#010203\n0.333333343,#ff8000\n"
                        "-0.00724999979,#ff0010\nCELL_END\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("coast_step=1\n"), std::string::npos);

    render_reset_globals();
    ASSERT_EQ(auto_load_color_settings(), 1);
    EXPECT_EQ(g_cell_color_custom_enabled, 1);
    EXPECT_EQ(g_cell_color_smooth, 1);
    // Sorted on loading; heights come back as the very same floats (nine digits tell floats
    // apart).
    EXPECT_EQ(keys_text(g_cell_color_keys, g_cell_color_key_count),
              "-0.00724999979:ff0010 0.100000001:010203 0.333333343:ff8000 ");
    EXPECT_EQ(keys_text(g_coast_color_keys, g_coast_color_key_count),
              "0.0500000007:0a141e 2:28323c ");
    EXPECT_EQ(g_coast_color_step, 1);
    EXPECT_EQ(g_coast_color_smooth, 0);
}

TEST_F(ColorFileTest, LoaderToleratesMissingKeysBomCrlfAndComments) {
    testing::write_text_file(path_,
                             "\xEF\xBB\xBF# hand-written\r\n"
                             "  coast_smooth=1  \r\n"
                             "coast_step=0\r\n"
                             "unknown=5\r\n"
                             "CELL_BEGIN\r\n"
                             "# comment inside\r\n"
                             "\t0,#000000\r\n"
                             "\r\n"
                             "10,#ffffff\r\n"
                             "CELL_END\r\n");
    g_coast_color_custom_enabled = 1;  // no coast block in the file: back to built-in
    g_coast_color_key_count = 2;
    ASSERT_EQ(auto_load_color_settings(), 1);
    EXPECT_EQ(g_cell_color_custom_enabled, 1);  // missing cell_enabled means on
    EXPECT_EQ(g_cell_color_key_count, 2);
    EXPECT_EQ(g_coast_color_custom_enabled, 0);
    EXPECT_EQ(g_coast_color_key_count, 0);
    EXPECT_EQ(g_coast_color_smooth, 1);

    // cell_enabled=0 ignores a perfectly good block.
    testing::write_text_file(path_, "cell_enabled=0\nCELL_BEGIN\n0,#000000\n1,#ffffff\nCELL_END\n");
    ASSERT_EQ(auto_load_color_settings(), 1);
    EXPECT_EQ(g_cell_color_custom_enabled, 0);
}

TEST_F(ColorFileTest, ABadBlockLoadsPartiallyAndReportsFailure) {
    g_coast_color_smooth = 1;
    g_coast_color_keys[0] = {0.5f, 1, 1, 1};
    g_coast_color_keys[1] = {0.7f, 2, 2, 2};
    g_coast_color_key_count = 2;
    g_coast_color_custom_enabled = 1;
    testing::write_text_file(path_,
                             "cell_smooth=1\ncoast_step=1\n"
                             "CELL_BEGIN\n0,#000000\n1,#ffffff\nCELL_END\n"
                             "COAST_BEGIN\n1,#zzzzzz\n2,#000000\nCOAST_END\n");
    EXPECT_EQ(auto_load_color_settings(), 0);
    // The cell scale was committed before the coast block failed ...
    EXPECT_EQ(g_cell_color_custom_enabled, 1);
    EXPECT_EQ(g_cell_color_key_count, 2);
    // ... but no mode flag and nothing of the coast scale changed.
    EXPECT_EQ(g_cell_color_smooth, 0);
    EXPECT_EQ(g_coast_color_smooth, 1);
    EXPECT_EQ(g_coast_color_step, 0);
    EXPECT_EQ(g_coast_color_key_count, 2);
    EXPECT_EQ(g_coast_color_keys[1].height, 0.7f);

    // A bad cell block changes nothing at all.
    render_reset_globals();
    testing::write_text_file(path_, "CELL_BEGIN\n5,#000000\nCELL_END\n");
    EXPECT_EQ(auto_load_color_settings(), 0);
    EXPECT_EQ(g_cell_color_custom_enabled, 0);

    // No file: 0 and nothing changes.
    std::remove(path_.c_str());
    g_cell_color_smooth = 1;
    EXPECT_EQ(auto_load_color_settings(), 0);
    EXPECT_EQ(g_cell_color_smooth, 1);
}

TEST_F(ColorFileTest, SavingToAnUnwritableFolderFailsAndLeavesNoFile) {
    platform_.fake.exe_path = dir_.file("missing/kaitoro");
    EXPECT_EQ(auto_save_color_settings(), 0);
}

TEST_F(ColorFileTest, LongBlockLinesAreCutAtTheBufferEnd) {
    std::vector<char> buf(kColorBlockBufferSize, '\0');
    const std::string line(5000, 'a');
    append_color_settings_line(buf.data(), (line + "\r\n").c_str());
    EXPECT_EQ(std::strlen(buf.data()), 5001u);
    EXPECT_EQ(buf[5000], '\n');
    append_color_settings_line(buf.data(), line.c_str());
    EXPECT_EQ(std::strlen(buf.data()), 8191u);
    EXPECT_EQ(buf[8190], '\n');
    append_color_settings_line(buf.data(), "more");
    EXPECT_EQ(std::strlen(buf.data()), 8191u);
}

TEST_F(ColorsTest, EditTextsShowCustomKeysOrTheBuiltInText) {
    EXPECT_EQ(color_edit_text(0), kBuiltinCellColorText);
    EXPECT_EQ(color_edit_text(1), kBuiltinCoastColorText);
    g_cell_color_keys[0] = {0.123456f, 1, 2, 3};
    g_cell_color_keys[1] = {12345.0f, 255, 255, 255};
    g_cell_color_key_count = 2;
    g_cell_color_custom_enabled = 1;
    EXPECT_EQ(color_edit_text(0), "0.1235,#010203\r\n1.234e+04,#ffffff\r\n");
}

}  // namespace
}  // namespace kaitoro
