#include "core/sources.h"

#include <gtest/gtest.h>

#include "core/driver.h"
#include "core/masks.h"
#include "core/status.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

using testing::fill_rect;
using testing::load_spec;
using testing::make_ocean;
using testing::TempDir;
using testing::write_text_file;

TEST(ApplySources, SameDelayAddsOtherDelayReplacesLandIsSkipped) {
    auto layout = make_ocean(10, 10, 100.0f);
    fill_rect(layout, 0, 0, 9, 1, -5.0f);
    GridData g = load_spec(layout);
    Simulation sim = create_simulation(&g);
    SourceList list;
    source_list_append(&list, 3, 4, 1.0f, 60);
    source_list_append(&list, 3, 4, 0.5f, 60);
    source_list_append(&list, 5, 5, 1.0f, 60);
    source_list_append(&list, 5, 5, 0.5f, 90);
    source_list_append(&list, 2, 0, 9.0f, 0);   // land
    source_list_append(&list, 20, 3, 9.0f, 0);  // outside
    sim.source_applied[4 * 10 + 3] = 0.7f;
    apply_sources_to_simulation(&g, &sim, &list);
    EXPECT_FLOAT_EQ(sim.source_height[4 * 10 + 3], 1.5f);
    EXPECT_EQ(sim.source_delay_s[4 * 10 + 3], 60);
    EXPECT_EQ(sim.source_applied[4 * 10 + 3], 0.0f);
    EXPECT_FLOAT_EQ(sim.source_height[5 * 10 + 5], 0.5f);
    EXPECT_EQ(sim.source_delay_s[5 * 10 + 5], 90);
    EXPECT_EQ(sim.source_height[0 * 10 + 2], 0.0f);
}

TEST(LoadSourceCsvCommand, AppendsResetsAndReports) {
    testing::install_grid(load_spec(make_ocean(12, 12, 100.0f)));
    testing::ScopedFakePlatform fp;
    TempDir dir;
    const std::string path = dir.file("s.csv");
    write_text_file(path, "2,2,1.0,0\n3,3,-0.5,0\n");
    source_list_append(&g_sources, 1, 1, 0.3f, 0);
    g_time_s = 900;
    int undo_pushes = 0;
    static int* pushes = nullptr;
    pushes = &undo_pushes;
    g_source_undo_push_hook = [](const char* label) {
        EXPECT_STREQ(label, "load source CSV");
        ++*pushes;
    };
    fp.fake.open_answers.push_back(path);
    load_source_csv_dialog(nullptr);
    ASSERT_EQ(fp.fake.open_requests.size(), 1u);
    EXPECT_EQ(fp.fake.open_requests[0].title, "Load source CSV");
    EXPECT_EQ(undo_pushes, 1);
    EXPECT_EQ(g_sources.count, 3u);
    EXPECT_EQ(g_time_s, 0);
    EXPECT_FLOAT_EQ(g_sim.source_height[2 * 12 + 2], 1.0f);
    EXPECT_FLOAT_EQ(g_sim.source_height[1 * 12 + 1], 0.3f);
    EXPECT_STREQ(g_status, "Loaded 2 source(s) from CSV.");
    EXPECT_EQ(fp.fake.repaints, 1);

    fp.fake.open_answers.push_back(dir.file("missing.csv"));
    load_source_csv_dialog(nullptr);
    EXPECT_STREQ(g_status, "Failed to load source CSV.");
    EXPECT_EQ(g_sources.count, 3u);

    load_source_csv_dialog(nullptr);  // cancelled: nothing happens
    EXPECT_EQ(undo_pushes, 2);
    testing::reset_all_globals();
}

}  // namespace
}  // namespace kaitoro
