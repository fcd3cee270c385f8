#include "shell/settings.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "core/driver.h"
#include "core/solver.h"
#include "core/status.h"
#include "feed/arrivals.h"
#include "render/colors.h"
#include "render/scene.h"
#include "source_design/brush.h"
#include "source_design/source_cell.h"
#include "tests/support/shell_fixture.h"

namespace kaitoro {
namespace {

class SettingsTest : public testing::ShellTest {
  protected:
    void SetUp() override {
        ShellTest::SetUp();
        main_window_button_command(kButtonSettings);
        w_ = windows_.open_window(&g_settings_window_def);
        ASSERT_NE(w_, nullptr);
    }
    // The values a fresh program shows, which all pass validation.
    void expect_defaults_unchanged() {
        EXPECT_FLOAT_EQ(g_new_source_height_m, 1.0f);
        EXPECT_EQ(g_new_source_delay_s, 15);
        EXPECT_FLOAT_EQ(g_fault_width_km, 20.0f);
        EXPECT_FLOAT_EQ(g_subsidence_ratio, 0.45f);
        EXPECT_FLOAT_EQ(g_fault_dip_deg, 15.0f);
        EXPECT_EQ(g_steps_per_frame, 4);
        EXPECT_FLOAT_EQ(g_wave_overlay_alpha, 0.0f);
    }
    std::string last_box() const {
        return fake_.fake.boxes.empty() ? "" : fake_.fake.boxes.back().text;
    }
    testing::FakeControlWindow* w_ = nullptr;
};

TEST_F(SettingsTest, OpensOnTheMainPageFilledFromTheGlobals) {
    EXPECT_EQ(w_->control_text(kSetPageMain), "[Main]");
    EXPECT_EQ(w_->control_text(kSetEditSlip), "1.00");
    EXPECT_EQ(w_->control_text(kSetEditDelay), "15");
    EXPECT_EQ(w_->control_text(kSetEditWidth), "20.0");
    EXPECT_EQ(w_->control_text(kSetEditSubsidence), "45");
    EXPECT_EQ(w_->control_text(kSetEditCoastLoss), "55");
    EXPECT_EQ(w_->control_text(kSetEditStartDelay), "0");
    EXPECT_EQ(w_->control_text(kSetSummaryCoast),
              "Coast: absorption on | energy loss 55% | markers off/peak");
    EXPECT_EQ(w_->control_text(kSetSummarySimulation),
              "Simulation: paused | 0.00h | speed 4 step/frame | 0 source(s) | ORVEX sync +0s");
    EXPECT_EQ(w_->control_text(kSetSummaryDisplay),
              "Display: source markers on | rings hidden | flip X=off Y=on | guard 0 | coeff 1.00x "
              "| alpha 0%");
    EXPECT_EQ(w_->control_text(kSetSummarySource).rfind("Source: input slip 1.00m | Mw 6.77 | ", 0),
              0u);
    // A second press raises the same window.
    main_window_button_command(kButtonSettings);
    EXPECT_EQ(w_->raised, 1);
    EXPECT_EQ(windows_.windows.size(), 1u);
}

TEST_F(SettingsTest, ApplyRejectsSpeedZeroAndChangesNothingAtAll) {
    w_->type(kSetEditSlip, "2.5");  // valid, validated before speed
    w_->type(kSetEditOpacity, "80");
    w_->type(kSetEditSpeed, "0");
    EXPECT_EQ(apply_numeric_settings_from_edits(w_), 0);
    ASSERT_EQ(fake_.fake.boxes.size(), 1u);
    EXPECT_EQ(fake_.fake.boxes[0].title, "Invalid input");
    EXPECT_EQ(fake_.fake.boxes[0].icon, MessageIcon::Warning);
    EXPECT_EQ(last_box(), "Speed must be an integer from 1 to 100 steps/frame.");
    expect_defaults_unchanged();
}

TEST_F(SettingsTest, TheFirstInvalidFieldInOrderIsReported) {
    w_->type(kSetEditSpeed, "0");
    w_->type(kSetEditDip, "4.99");
    w_->press(kSetApplyNumeric);
    EXPECT_EQ(last_box(),
              "Fault dip must be from 5 to 60 degrees. Use about 10-30 for subduction megathrust "
              "tests.");
    for (const char* slip : {"", "1.5a", "0x10", "nan"}) {
        w_->type(kSetEditSlip, slip);
        w_->press(kSetApplyNumeric);
        EXPECT_EQ(last_box(), "Slip must be a number from 0.01 to 100 m.") << slip;
    }
    w_->type(kSetEditSlip, "1.5");
    w_->type(kSetEditDelay, "12.5");
    w_->press(kSetApplyNumeric);
    EXPECT_EQ(last_box(), "Delay must be an integer from 0 to 86400 seconds.");
    expect_defaults_unchanged();
}

TEST_F(SettingsTest, ApplyStoresEveryFieldAndRoundsTheDelay) {
    const std::pair<int, const char*> typed[] = {
        {kSetEditSlip, "1.5 \t\r\n"}, {kSetEditDelay, "7"},       {kSetEditWidth, "35"},
        {kSetEditSubsidence, "90"},     {kSetEditDip, "5"},         {kSetEditStrikeSlip, "25"},
        {kSetEditOpacity, "60"},        {kSetEditRupture, "0.10"},  {kSetEditSmooth, "0"},
        {kSetEditDepth, "700"},         {kSetEditSpeed, "100"},     {kSetEditCoastLoss, "95"},
        {kSetEditStartDelay, "604800"}};
    for (const auto& [id, text] : typed) w_->type(id, text);
    ASSERT_EQ(apply_numeric_settings_from_edits(w_), 1);
    EXPECT_TRUE(fake_.fake.boxes.empty());
    EXPECT_EQ(std::string(g_status),
              "Applied numeric settings. Delay was rounded to the current time step.");
    EXPECT_EQ((std::vector<float>{g_new_source_height_m, float(g_new_source_delay_s),
                                  g_fault_width_km, g_subsidence_ratio, g_fault_dip_deg,
                                  g_strike_slip_mix, g_wave_overlay_alpha, g_rupture_velocity_km_s,
                                  g_strike_smoothing_strength, g_source_depth_km,
                                  float(g_steps_per_frame),
                                  coastal_reflection_absorption_energy_loss(),
                                  float(g_orvex_calc_start_delay_s)}),
              (std::vector<float>{1.5f, 0, 35, 0.9f, 5, 0.25f, 0.6f, 0.1f, 0, 700, 100, 0.95f,
                                  604800}));

    w_->type(kSetEditDelay, "8");
    w_->press(kSetApplyNumeric);
    EXPECT_EQ(g_new_source_delay_s, 15);
    w_->type(kSetEditDelay, "30");
    w_->press(kSetApplyNumeric);
    EXPECT_EQ(g_new_source_delay_s, 30);
    EXPECT_EQ(std::string(g_status), "Applied numeric settings.");
}

TEST_F(SettingsTest, RefreshNeverOverwritesTheFieldBeingTyped) {
    w_->type(kSetEditSpeed, "1");  // typing, not applied
    g_steps_per_frame = 9;
    g_new_source_height_m = 3.0f;
    g_running = 1;
    settings_refresh();  // as a key command or the running model triggers it
    EXPECT_EQ(w_->control_text(kSetEditSpeed), "1");
    EXPECT_EQ(w_->control_text(kSetEditSlip), "3.00");
    EXPECT_EQ(w_->control_text(kSetSummarySimulation).rfind("Simulation: running | ", 0), 0u);
}

TEST_F(SettingsTest, ToggleButtonsChangeTheirGlobalAndReport) {
    struct Case {
        int id;
        const char* status;
    };
    const Case cases[] = {
        {kSetFlatReverse, "Source profile = flat brush."},
        {kSetSlipSense, "Strike-slip sense = left-lateral."},
        {kSetPeakLive, "Coast marker mode: live."},
        {kSetCoastAbsorb, "Coast boundary absorption: off."},
        {kSetBilateral, "Rupture delay mode = bilateral."},
        {kSetResetDelay, "Rupture delay cursor reset to 0 s."},
        {kSetSourceMarkers, "Source markers: hidden."},
        {kSetCoastMarkers, "Coast markers: shown."},
        {kSetStationRings, "Selected station rings: shown."},
        {kSetFlipX, "Horizontal display flip: on."},
        {kSetFlipY, "Vertical display flip: off."},
        {kSetCoastGuard, "Coast guard toggled; simulation reset."},
        {kSetLowFlicker, "Low-flicker double buffering: off."},
    };
    for (const Case& c : cases) {
        w_->press(c.id);
        EXPECT_EQ(std::string(g_status), c.status);
    }
    EXPECT_EQ(g_coast_guard_cells, 1);
    EXPECT_EQ(w_->control_text(kSetSummaryCoast),
              "Coast: absorption off | energy loss 55% | markers on/live");
    w_->press(kSetClose);
    EXPECT_TRUE(w_->destroyed);
    EXPECT_EQ(g_settings_hwnd, nullptr);
    settings_refresh();  // closed: nothing to do, nothing to crash
}

TEST_F(SettingsTest, ColorsPageEditsTheScalesAndRejectsBadText) {
    w_->press(kSetPageColors);
    EXPECT_EQ(w_->control_text(kSetPageColors), "[Colors]");
    EXPECT_FALSE(w_->has_control(kSetEditSlip));
    EXPECT_EQ(w_->control_text(kSetCellColorEdit), kBuiltinCellColorText);
    EXPECT_EQ(w_->control_text(kSetColorStatus),
              "Custom colors: cell built-in (linear), coast built-in (linear) | auto-save: "
              "tsunami_color_settings.ini");

    w_->press(kSetCellCurve);
    EXPECT_EQ(g_cell_color_smooth, 1);
    EXPECT_EQ(w_->control_text(kSetCellCurve), "Cell curve: Smooth");
    EXPECT_EQ(std::string(g_status), "Cell color interpolation = smooth. Saved for next launch.");
    EXPECT_NE(testing::read_file_text(dir_.file("tsunami_color_settings.ini")), "");
    w_->press(kSetCoastMode);
    w_->press(kSetCoastMode);
    EXPECT_EQ(w_->control_text(kSetCoastMode), "Coast mode: step");
    EXPECT_EQ(std::string(g_status), "Coast marker color mode = step. Saved for next launch.");
    // Without a writable folder beside the executable the setting still changes.
    fake_.fake.exe_path = "/nonexistent/kaitoro";
    w_->press(kSetCoastMode);
    EXPECT_EQ(std::string(g_status), "Coast marker color interpolation = linear.");

    w_->type(kSetCoastColorEdit, "0.5,#zz0000\n");
    w_->press(kSetApplyColors);
    ASSERT_FALSE(fake_.fake.boxes.empty());
    EXPECT_EQ(fake_.fake.boxes.back().title, "Coastal marker color settings");
    EXPECT_EQ(g_cell_color_custom_enabled, 0);  // the valid cell text was not installed either

    w_->type(kSetCellColorEdit, "0,#000000\n1,#ffffff\n");
    w_->type(kSetCoastColorEdit, "0,#00ff00\n2,#ff0000\n");
    w_->press(kSetApplyColors);
    EXPECT_EQ(g_cell_color_custom_enabled, 1);
    EXPECT_EQ(g_cell_color_key_count, 2);
    EXPECT_EQ(g_coast_color_key_count, 2);
    EXPECT_EQ(std::string(g_status), "Applied custom color settings, but could not save them.");

    fake_.fake.exe_path = dir_.file("kaitoro");
    w_->press(kSetRestoreColors);
    EXPECT_EQ(g_cell_color_custom_enabled, 0);
    EXPECT_EQ(g_cell_color_smooth, 0);
    EXPECT_EQ(w_->control_text(kSetCoastColorEdit), kBuiltinCoastColorText);
    EXPECT_EQ(std::string(g_status), "Restored built-in colors and saved for next launch.");
}

// Linear -> smooth -> step -> linear: the saved file never says smooth and step at once.
TEST_F(SettingsTest, CoastModeCycleSavesExactlyOneMode) {
    w_->press(kSetPageColors);
    const std::string ini = dir_.file("tsunami_color_settings.ini");
    for (const char* flags : {"coast_smooth=1\ncoast_step=0\n", "coast_smooth=0\ncoast_step=1\n",
                              "coast_smooth=0\ncoast_step=0\n"}) {
        w_->press(kSetCoastMode);
        EXPECT_NE(testing::read_file_text(ini).find(flags), std::string::npos) << flags;
    }
}

TEST_F(SettingsTest, PresetPageTogglesZoneMaxAndOpensItsDialogs) {
    w_->press(kSetPagePreset);
    EXPECT_EQ(w_->control_text(kSetZoneMax), "Zone max markers: OFF");
    EXPECT_EQ(w_->control_text(kSetPresetStatus),
              "Preset state: 0 source point(s), Mw 6.77, zone max 0.00 m, markers station, zone "
              "edits 0");
    w_->press(kSetZoneMax);
    EXPECT_EQ(g_coast_marker_use_zone_max, 1);
    EXPECT_EQ(std::string(g_status),
              "Zone max markers ON: every station in a forecast zone shows that zone's peak "
              "height.");
    g_coast_marker_use_peak = 0;
    w_->press(kSetZoneMax);
    EXPECT_EQ(std::string(g_status), "Zone max markers OFF: station markers show live values.");

    w_->press(kSetSavePreset);
    w_->press(kSetExportZones);
    ASSERT_EQ(fake_.fake.save_requests.size(), 2u);
    EXPECT_EQ(fake_.fake.save_requests[0].title, "Save current preset");
    EXPECT_EQ(fake_.fake.save_requests[0].default_name, "tsunami_preset.csv");
    EXPECT_EQ(fake_.fake.save_requests[1].title, "Export temporary zone assignments");

    w_->press(kSetPageMain);
    EXPECT_EQ(w_->control_text(kSetEditSlip), "1.00");
}

}  // namespace
}  // namespace kaitoro
