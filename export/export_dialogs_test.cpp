// The settings window's field-format exports: their dialogs, files and status lines, and the
// animation replay that must leave the running simulation exactly as it was.
#include "export/export_dialogs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "core/driver.h"
#include "core/sources.h"
#include "core/status.h"
#include "export/animation.h"
#include "shell/settings.h"
#include "tests/support/shell_fixture.h"

namespace kaitoro {
namespace {

class ExportDialogsTest : public testing::ShellTest {
  protected:
    void SetUp() override {
        ShellTest::SetUp();
        main_window_button_command(kButtonSettings);
        w_ = windows_.open_window(&g_settings_window_def);
        ASSERT_NE(w_, nullptr);
        w_->press(kSetPagePreset);
        for (int dy = 0; dy < 3; ++dy) source_list_append(&g_sources, 60, 30 + dy, 2.0f, 0);
        driver_reset_run();
    }
    void run_minutes(int minutes) {
        for (int k = 0; k < minutes * 4; ++k) advance_one_step();
    }
    testing::FakeControlWindow* w_ = nullptr;
};

struct DialogCase {
    int button;
    const char* title;
    const char* pattern;
    const char* default_name;
    const char* file;
    const char* saved;
};

TEST_F(ExportDialogsTest, EachButtonAsksWithItsOwnFilterAndWritesTheFile) {
    run_minutes(12);
    for (const DialogCase& c : {
             DialogCase{kSetExportNetcdf, "Save results as CF NetCDF", "*.nc", "tsunami_results.nc",
                        "r.nc", "Saved NetCDF: "},
             DialogCase{kSetExportGeojson, "Save stations and zones as GeoJSON", "*.geojson",
                        "tsunami_stations.geojson", "r.geojson", "Saved GeoJSON: "},
             DialogCase{kSetSaveAnimation, "Save wave animation", "*.mp4", "tsunami_animation.mp4",
                        "r.gif",
                        "Saved animation (4 frames, 0 to 12 "
                        "min): "},
         }) {
        fake_.fake.save_requests.clear();
        w_->press(c.button);  // cancelled: nothing written, nothing said
        ASSERT_EQ(fake_.fake.save_requests.size(), 1u) << c.title;
        const FileDialogRequest& req = fake_.fake.save_requests[0];
        EXPECT_EQ(req.title, c.title);
        EXPECT_EQ(req.filters.at(0).pattern, c.pattern);
        EXPECT_EQ(req.filters.back().pattern, "*.*");
        EXPECT_EQ(req.default_name, c.default_name);
        EXPECT_TRUE(req.confirm_overwrite);

        const std::string path = dir_.file(c.file);
        fake_.fake.save_answers.push_back(path);
        w_->press(c.button);
        EXPECT_EQ(status(), c.saved + path);
        EXPECT_TRUE(std::filesystem::is_regular_file(path)) << path;
        EXPECT_FALSE(std::filesystem::exists(path + ".partial"));
    }
}

TEST_F(ExportDialogsTest, AnimationReplayLeavesTheSimulationAsItWas) {
    run_minutes(20);
    const Simulation before = g_sim;
    const int time_before = g_time_s;
    fake_.fake.save_answers.push_back(dir_.file("a.mp4"));
    save_animation_dialog();
    ASSERT_EQ(status(), "Saved animation (5 frames, 0 to 20 min): " + dir_.file("a.mp4"));
    EXPECT_EQ(g_time_s, time_before);
    EXPECT_EQ(g_sim.eta, before.eta);
    EXPECT_EQ(g_sim.max_height, before.max_height);
    EXPECT_EQ(g_sim.arrival_s, before.arrival_s);
    EXPECT_EQ(g_sim.station_max_m, before.station_max_m);
}

TEST_F(ExportDialogsTest, FailuresAreReportedAndAnimationNeedsARun) {
    save_animation_dialog();
    EXPECT_EQ(status(),
              "Run the model first: the animation replays the run up to the current time.");
    EXPECT_TRUE(fake_.fake.save_requests.empty());
    ASSERT_EQ(fake_.fake.beeps.size(), 1u);

    run_minutes(5);
    for (const char* name : {"a.avi", "missing/a.mp4"}) {
        fake_.fake.save_answers.push_back(dir_.file(name));
        save_animation_dialog();
        EXPECT_EQ(status().rfind("Failed: ", 0), 0u) << status();
        EXPECT_NE(status().find(dir_.file(name)), std::string::npos) << status();
    }
    fake_.fake.save_answers.push_back(dir_.file("missing/r.geojson"));
    save_geojson_dialog();
    EXPECT_EQ(status(), "Failed: could not write GeoJSON file " + dir_.file("missing/r.geojson"));
    fake_.fake.save_answers.push_back(dir_.file("missing/r.nc"));
    save_netcdf_dialog();
    EXPECT_EQ(status().rfind("Failed: could not write NetCDF file " + dir_.file("missing/r.nc"), 0),
              0u);
    EXPECT_EQ(fake_.fake.beeps.size(), 5u);
}

}  // namespace
}  // namespace kaitoro
