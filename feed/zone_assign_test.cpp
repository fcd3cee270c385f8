#include "feed/zone_assign.h"

#include <cstring>
#include <vector>

#include "core/status.h"
#include "tests/support/feed_fixture.h"

namespace kaitoro {
namespace {

using testing::FeedTest;

class ZoneAssignTest : public FeedTest {
  protected:
    void SetUp() override {
        FeedTest::SetUp();
        auto g = testing::make_ocean(30, 20, 50.0f);
        testing::fill_rect(g, 0, 0, 29, 2, -5.0f);
        for (int x = 2; x <= 12; x += 2) g.add_station(x, 3, 11);  // stations 1..6
        install(g);
    }
};

TEST_F(ZoneAssignTest, ShiftHoverCollectsEachStationOnceInTouchOrder) {
    shift_zone_assign_touch(3, 0);
    shift_zone_assign_touch(1, 0);
    shift_zone_assign_touch(3, 0);  // again: not added twice
    shift_zone_assign_touch(6, 1);  // no such station
    shift_zone_assign_touch(-1, 1);
    EXPECT_STREQ(g_status, kDefaultStatus);
    shift_zone_assign_touch(5, 1);
    EXPECT_STREQ(g_status, "Shift zone batch: 3 station(s). Release Shift to assign all.");
    ASSERT_EQ(g_shift_zone_assign_count, 3);
    EXPECT_EQ(std::vector<int>(g_shift_zone_assign_station_list.begin(),
                               g_shift_zone_assign_station_list.begin() + 3),
              (std::vector<int>{3, 1, 5}));

    EXPECT_TRUE(shift_zone_assign_release());
    EXPECT_EQ(g_zone_assign_station_i, 3);
    int zone = 0;
    std::string name;
    zone_assign_initial_fields(3, &zone, &name);
    EXPECT_EQ(zone, 11);
    EXPECT_EQ(name, "宮城県");

    shift_zone_assign_clear();
    EXPECT_FALSE(shift_zone_assign_release());
    EXPECT_EQ(g_shift_zone_assign_selected[3], 0);
    shift_zone_assign_touch(3, 0);  // a new batch starts with this station alone
    EXPECT_EQ(g_shift_zone_assign_count, 1);
}

TEST_F(ZoneAssignTest, ApplyClampsTheIdAndFallsBackToTheStandardName) {
    shift_zone_assign_touch(0, 0);
    shift_zone_assign_touch(2, 0);
    EXPECT_EQ(zone_assign_apply("18", ""), 18);
    EXPECT_STREQ(g_status, "Assigned 2 station(s) to zone 18: 東京湾内湾");
    EXPECT_EQ(g_station_zone_override_id[0], 18);
    EXPECT_STREQ(g_station_zone_override_name[2].data(), "東京湾内湾");
    EXPECT_EQ(g_grid.station_zone[2], 18);
    EXPECT_EQ(g_grid.station_zone[1], 11);
    EXPECT_EQ(g_shift_zone_assign_count, 0);

    for (const char* bad : {"0", "-4", "abc", ""}) {
        shift_zone_assign_touch(1, 0);
        EXPECT_EQ(zone_assign_apply(bad, nullptr), 67) << bad;
        EXPECT_STREQ(g_station_zone_override_name[1].data(), "outside_forecast_zone");
    }
    shift_zone_assign_touch(1, 0);
    EXPECT_EQ(zone_assign_apply("1500", "far \"bay\""), 999);
    EXPECT_STREQ(g_status, "Assigned 1 station(s) to zone 999: far \"bay\"");
    int zone = 0;
    std::string name;
    zone_assign_initial_fields(1, &zone, &name);
    EXPECT_EQ(zone, 999);
    EXPECT_EQ(name, "far \"bay\"");
    zone_assign_initial_fields(-1, &zone, &name);  // nothing known: 67 and the unknown name
    EXPECT_EQ(zone, 67);
    EXPECT_EQ(name, "unknown");

    // A point bound to an assigned station reports the assigned zone.
    add_point(8, 4, "X");
    map_points();
    ASSERT_EQ(g_orvex_observation_points[0].mapped_station_no, 4);
    shift_zone_assign_touch(3, 0);
    zone_assign_apply("12", "");
    EXPECT_EQ(orvex_observation_zone_id_for_export(0), 12);
}

TEST_F(ZoneAssignTest, ExportWritesBomHeaderAndQuotedNames) {
    const std::string path = dir.file("zones.csv");
    EXPECT_EQ(zone_assign_write_csv(path.c_str()), 0);
    EXPECT_EQ(testing::read_file_text(path),
              "\xEF\xBB\xBFstation_no,grid_index,grid_x,grid_y,zone_id,zone_name\n");

    shift_zone_assign_touch(4, 0);
    zone_assign_apply("12", "");
    shift_zone_assign_touch(1, 0);
    zone_assign_apply("40", "say \"hi\", 隠岐");
    g_grid.station_cell[4] = -1;
    fake.save_answers.push_back(path);
    zone_assign_export_csv_dialog();
    EXPECT_EQ(fake.save_requests.at(0).default_name, "zone_assignments.csv");
    EXPECT_EQ(testing::read_file_text(path),
              "\xEF\xBB\xBFstation_no,grid_index,grid_x,grid_y,zone_id,zone_name\n"
              "2,94,4,3,40,\"say \"\"hi\"\", 隠岐\"\n"
              "5,-1,-1,-1,12,\"福島県\"\n");
    EXPECT_EQ(std::string(g_status), "Exported 2 zone assignment row(s): " + path);

    fake.save_answers.push_back(dir.file("no/such/folder/z.csv"));
    zone_assign_export_csv_dialog();
    EXPECT_STREQ(g_status, "Failed to export zone assignments.");
    std::strcpy(g_status, "x");
    zone_assign_export_csv_dialog();  // cancelled: nothing happens
    EXPECT_STREQ(g_status, "x");
}

}  // namespace
}  // namespace kaitoro
