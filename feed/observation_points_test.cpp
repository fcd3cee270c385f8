#include "feed/observation_points.h"

#include <cstring>
#include <string>
#include <vector>

#include "core/stations.h"
#include "feed/warning_check.h"
#include "tests/support/feed_fixture.h"

namespace kaitoro {
namespace {

using testing::FeedTest;

// Runs the loader with the working directory set to a temp folder holding `csv` (or none).
class PointLoadTest : public FeedTest {
  protected:
    void load(const char* csv) {
        if (csv) testing::write_text_file(dir.file(kOrvexObservationCsvName), csv);
        testing::ScopedChdir cd(dir.path());
        orvex_load_observation_points();
    }
    const ObservationPoint& pt(int i) { return g_orvex_observation_points[std::size_t(i)]; }
};

TEST_F(PointLoadTest, WithoutAUsableFileTheBuiltInGaugesAreUsed) {
    for (const char* csv : {static_cast<const char*>(nullptr), "",
                            "# comment\nid,name,agency,lat,lon,zone_id\n,,,,\n"}) {
        orvex_observation_points_reset_for_tests();
        load(csv);
        ASSERT_EQ(g_orvex_observation_point_count, 36);
        EXPECT_EQ(g_orvex_observation_points_loaded, 1);
    }
    auto describe = [&](int i) {
        return std::string(pt(i).code) + "/" + pt(i).agency + "/" + std::to_string(pt(i).zone_id);
    };
    EXPECT_EQ(describe(0), "WAKKANAI/JMA/5");
    EXPECT_STREQ(pt(0).name, "稚内");
    EXPECT_EQ(describe(16), "IZU_OSHIMA_OKADA/JMA-VIRTUAL/19");
    EXPECT_FLOAT_EQ(pt(16).lat, 34.782f);
    for (int i = 16; i <= 24; ++i) EXPECT_EQ(pt(i).zone_id, 19) << pt(i).code;
    EXPECT_STREQ(pt(24).name, "青ヶ島");
    EXPECT_EQ(describe(35), "ISHIGAKI/JMA/66");
    EXPECT_EQ(pt(35).cell, -1);  // no grid loaded: nothing to map onto
}

TEST_F(PointLoadTest, CsvLinesFollowTheHeaderAndHeaderlessRules) {
    load(
        "\xEF\xBB\xBF"
        "SHIMIZU,清水,JMA,35.0,138.5\r\n"
        "X1,,,35,140,1234\n"
        "X2,n2,AG,35,140,18\n"
        "X3,n3,AG,19.9,140\n"
        "X4,n4,AG,35,150.5\n"
        "#X5,n5,AG,35,140\n"
        "X6,n6,AG,35\n"
        " kochi , 高知 , JMA-VIRTUAL ,\t33.5,133.56 ,0\n"
        "ID,name,agency,lat,lon,zone_id,station_no\n"
        "X7,n7,AG,35,140,18,77\n"
        "X8,n8,AG,35,140,0,\n"
        "X9,n9,AG,35,140,99,5\n"
        "X10,n10,AG,35,140\n"
        "id,name,agency,lat,lon,station,station_id\n"
        "X11,n11,AG,35,140,5,6,ignored,dropped\n");
    ASSERT_EQ(g_orvex_observation_point_count, 9);
    std::vector<std::string> got;
    for (int i = 0; i < 9; ++i)
        got.push_back(std::string(pt(i).code) + "/" + pt(i).name + "/" + pt(i).agency + " z" +
                      std::to_string(pt(i).zone_id) + " #" + std::to_string(pt(i).csv_station_no));
    // An empty name is the code and an empty agency JMA; fields are trimmed and the code kept
    // as written, its default zone found in any case; zone 99 is no zone; header columns beyond
    // the line count as empty; of a repeated column name the last one wins.
    EXPECT_EQ(got, (std::vector<std::string>{"SHIMIZU/清水/JMA z22 #0", "X1/X1/JMA z0 #1234",
                                             "X2/n2/AG z18 #0", "kochi/高知/JMA-VIRTUAL z47 #0",
                                             "X7/n7/AG z18 #77", "X8/n8/AG z0 #0", "X9/n9/AG z0 #5",
                                             "X10/n10/AG z0 #0", "X11/n11/AG z0 #6"}));
    EXPECT_EQ(g_orvex_observation_csv_station_no_col, 6);
    EXPECT_EQ(g_orvex_observation_csv_zone_id_col, -1);
}

TEST_F(PointLoadTest, CrlfHeadersKeepTheirLastColumnAndLongLinesLoseOnlyTheirTail) {
    load(("id,name,agency,lat,lon,station_no,zone_id\r\n"
          "A,a,AG,35,140,77,18\r\n#" +
          std::string(520, 'c') + "\nB,b,AG,35,140,5,4294967314\r\n")
             .c_str());
    ASSERT_EQ(g_orvex_observation_point_count, 2);
    EXPECT_EQ(pt(0).zone_id, 18);
    EXPECT_EQ(pt(0).csv_station_no, 77);
    EXPECT_EQ(pt(1).zone_id, 0);  // 2^32 + 18 does not wrap to 18
}

TEST(ZoneNames, ReadingNamesForKoreanZonesAndStandardNamesOtherwise) {
    EXPECT_STREQ(orvex_zone_tts_name_from_id(67), "outside_forecast_zone");
    EXPECT_STREQ(orvex_zone_tts_name_from_id(12), "福島県");
    EXPECT_STREQ(orvex_zone_tts_name_from_id(68), "カンウォン 北部 沿岸");
    EXPECT_STREQ(orvex_zone_tts_name_from_id(91), "インチョン\xE3\x83\xBBキョンギ 南部 沿岸");
    EXPECT_STREQ(orvex_zone_tts_name_from_id(93), "ウルルンド 沿岸");
    EXPECT_STREQ(orvex_zone_tts_name_from_id(94), "unknown");
    EXPECT_EQ(orvex_observation_default_zone_id("hachijojima_yaene"), 19);
    EXPECT_EQ(orvex_observation_default_zone_id("OFF25_084"), 12);
    EXPECT_EQ(orvex_observation_default_zone_id("SHIMIZ"), 0);
    EXPECT_EQ(orvex_observation_default_zone_id(""), 0);
}

class ZoneForExportTest : public FeedTest {
  protected:
    void SetUp() override {
        FeedTest::SetUp();
        auto g = testing::make_ocean(30, 20, 50.0f);
        testing::fill_rect(g, 0, 0, 29, 2, -5.0f);
        g.add_station(5, 3, 11);
        g.add_station(20, 3, 67);
        install(g);
    }
};

TEST_F(ZoneForExportTest, FirstRuleThatGivesAZoneWins) {
    const int preferred = add_point(5, 3, "AYUKAWA");  // zone 11 by its code
    const int by_map = add_point(10, 10);
    const int by_station = add_point(6, 3);
    map_points();
    EXPECT_EQ(orvex_observation_zone_id_for_export(-1), 0);
    EXPECT_EQ(orvex_observation_zone_id_for_export(3), 0);
    EXPECT_EQ(orvex_observation_zone_id_for_export(preferred), 11);
    ASSERT_EQ(g_orvex_observation_points[1].mapped_station_no, 1);
    // Without a zone map the station's zone answers.
    EXPECT_EQ(orvex_observation_zone_id_for_export(by_map), 11);

    g_orvex_wave_zone_map.assign(g_grid.cell_count(), 0);
    g_orvex_wave_zone_map_cells = g_grid.cell_count();
    const int cell = g_orvex_observation_points[std::size_t(by_map)].cell;
    g_orvex_wave_zone_map[std::size_t(cell)] = 40;
    EXPECT_EQ(orvex_observation_zone_id_for_export(by_map), 40);
    g_orvex_wave_zone_map[std::size_t(cell)] = 67;  // "outside" on the map: fall through
    EXPECT_EQ(orvex_observation_zone_id_for_export(by_map), 11);

    g_station_zone_override_initialized = 0;
    station_zone_override_ensure_initialized();
    g_station_zone_override_id[0] = 12;
    EXPECT_EQ(orvex_observation_zone_id_for_export(by_station), 12);
    EXPECT_EQ(orvex_observation_zone_id_for_export(preferred), 11);
}

TEST_F(ZoneForExportTest, DisplayNamePrefersTheOverride) {
    EXPECT_STREQ(station_zone_name_for_display(0), "宮城県");
    EXPECT_STREQ(station_zone_name_for_display(-3), "unknown");
    EXPECT_STREQ(station_zone_name_for_display(2), "unknown");  // no such station
    EXPECT_EQ(g_station_zone_override_id[11999], -1);
    g_station_zone_override_id[0] = 18;
    EXPECT_STREQ(station_zone_name_for_display(0), "東京湾内湾");
    std::strcpy(g_station_zone_override_name[0].data(), "my bay");
    EXPECT_STREQ(station_zone_name_for_display(0), "my bay");
    g_station_zone_override_id[5000] = 3;  // an override beyond the stations still names
    EXPECT_STREQ(station_zone_name_for_display(5000), "北海道太平洋沿岸中部");
}

}  // namespace
}  // namespace kaitoro
