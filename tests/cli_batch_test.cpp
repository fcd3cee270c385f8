// kaitoro-cli batch, lookup and summary end to end: real scenario processes on the bundled
// grid into a real SQLite database, and the answers read back from one.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>

#include "batch/result_store.h"
#include "tests/support/png_reader.h"
#include "tests/support/run_command.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

const std::string kCli = KAITORO_CLI_PATH;

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(CliBatchTest, RunsRecordsFailuresResumesAndSkipsFinishedWork) {
    testing::TempDir dir;
    const std::string table = dir.file("t.csv"), db = dir.file("r.sqlite");
    testing::write_text_file(table,
                             "id,lat,lon,mw,fault,hours\n"
                             "m80,38.3,143.0,8.0,,0.1\n"
                             "gone,,,,missing.csv,0.1\n"
                             "m75,39.5,143.2,7.5,,0.1\n");
    const std::string batch = kCli + " batch " + table + " --db " + db + " --jobs 2";
    auto r = testing::run_command(batch);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_TRUE(has(r.out, ": 3 scenario(s), 0 already in " + db + "; running 3 with 2 job(s).\n"))
        << r.out;
    EXPECT_TRUE(has(r.out, "Batch finished: 2 done, 1 failed, 0 skipped in ")) << r.out;

    ResultStore store;
    std::string error;
    ASSERT_TRUE(store.open(db, &error)) << error;
    std::vector<ScenarioRecord> rows;
    ASSERT_TRUE(store.read_all(&rows, true, &error)) << error;
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0].id, "gone");
    EXPECT_EQ(rows[0].status, "failed");
    EXPECT_EQ(rows[0].error, "Error: scenario gone (line 3): could not open fault table: " +
                                 dir.file("missing.csv") + ": no such file");
    EXPECT_EQ(rows[1].status, "done");
    EXPECT_DOUBLE_EQ(rows[1].mw, 7.5);  // the source's standard Mw is the asked one
    EXPECT_EQ(rows[1].version, kaitoro_version());
    EXPECT_GT(rows[1].stations.size(), 1000u);
    EXPECT_EQ(rows[1].zones.size(), 92u);

    // Finished work is never redone; a scenario whose write never happened (a killed batch)
    // is the only one run again.
    r = testing::run_command(batch);
    EXPECT_TRUE(has(r.out, "3 already in " + db + "; running 0 with 2 job(s).\n")) << r.out;
    ASSERT_EQ(sqlite3_exec(store.db(),
                           "DELETE FROM station_results WHERE scenario_id='m80';"
                           "DELETE FROM zone_results WHERE scenario_id='m80';"
                           "DELETE FROM scenarios WHERE id='m80';",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    r = testing::run_command(batch);
    EXPECT_TRUE(has(r.out, "2 already in " + db + "; running 1 with 2 job(s).\n")) << r.out;
    EXPECT_TRUE(has(r.out, "Batch finished: 1 done, 0 failed, 2 skipped")) << r.out;
    r = testing::run_command(batch + " --retry-failed");
    EXPECT_TRUE(has(r.out, "running 1 with 2 job(s).\n")) << r.out;

    // A table with a bad row runs nothing and names it.
    testing::write_text_file(table, "id,lat,lon,mw\nx,38,143,11\n");
    r = testing::run_command(batch);
    EXPECT_EQ(r.code, 1);
    EXPECT_TRUE(has(r.out, table + ": line 2: mw 11 is outside [5, 9.6]\n")) << r.out;
}

// A hand-made store: two scenarios at the event's epicentre (one a magnitude below), one 50 km
// north at the same magnitude, and a failed one that must never be picked.
void write_store(const std::string& db) {
    ResultStore s;
    std::string error;
    ASSERT_TRUE(s.open(db, &error)) << error;
    auto rec = [](const char* id, double lat, double mw, double h11, int a11, double h10) {
        ScenarioRecord r;
        r.id = id;
        r.params = id;
        r.lat = lat;
        r.lon = 143.0;
        r.mw = mw;
        r.status = "done";
        r.stations = {{3001, 11, 400, 300, h11, a11}, {3002, 10, 402, 330, h10, a11 + 300}};
        r.zones = {{10, h10, 3002, a11 + 300, 1}, {11, h11, 3001, a11, 1}};
        return r;
    };
    ASSERT_TRUE(s.write(rec("here_85", 38.3, 8.5, 2.0, 900, 0.04), &error));
    ASSERT_TRUE(s.write(rec("north_85", 38.75, 8.5, 3.5, 1200, 0.6), &error));
    ASSERT_TRUE(s.write(rec("here_75", 38.3, 7.5, 0.3, 1500, 0.25), &error));
    ScenarioRecord failed = rec("here_failed", 38.3, 8.5, 9, 60, 9);
    failed.status = "failed";
    ASSERT_TRUE(s.write(failed, &error));
}

TEST(CliBatchTest, LookupGivesTheNearestScenariosZoneForecast) {
    testing::TempDir dir;
    const std::string db = dir.file("r.sqlite");
    write_store(db);
    const std::string lookup =
        kCli + " lookup --db " + db + " --epicenter 38.3,143.0 --mw 8.5 --count 2";
    auto r = testing::run_command(lookup);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_EQ(
        r.out,
        "Database forecast for Mw 8.50 at 38.300 N 143.000 E: 2 nearest of 4 scenario(s) in " + db +
            "\n"
            "  scenario                         distance_km    Mw    dMw\n"
            "  here_85                                  0.0  8.50  +0.00\n"
            "  north_85                                50.0  8.50  +0.00\n"
            "Forecast zones reaching 0.05 m (highest of these scenarios; arrival at the "
            "zone's highest station):\n"
            "  zone    max_m  arrival bin        scenario                         name\n"
            "    10     0.60 00:25:00 50-100cm   north_85                         岩手県\n"
            "    11     3.50 00:20:00 300-400cm  north_85                         宮城県\n");
    r = testing::run_command(lookup + " --count 1 --json");
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_EQ(r.out,
              "{\"epicenter\":{\"lat\":38.3,\"lon\":143},\"mw\":8.5,\"scenarios\":[{\"id\":"
              "\"here_85\",\"lat\":38.3,\"lon\":143,\"mw\":8.5,\"distance_km\":0.0,"
              "\"mw_difference\":0.00}],\"zones\":[{\"zone_id\":11,\"name\":\"宮城県\","
              "\"max_height_m\":2,\"arrival_s\":900,\"color_bin\":\"200-300cm\",\"color_hex\":"
              "\"#ff0000\",\"scenario\":\"here_85\"}]}\n");
    r = testing::run_command(kCli + " lookup --db " + dir.file("none.sqlite") +
                             " --epicenter 38.3,143.0 --mw 8.5");
    EXPECT_EQ(r.code, 1) << r.out;
}

TEST(CliBatchTest, SummaryCountsExceedancesAndColoursTheZonesOnTheMap) {
    testing::TempDir dir;
    const std::string db = dir.file("r.sqlite");
    write_store(db);
    const auto r = testing::run_command(kCli + " summary --db " + db + " --out " + dir.file("s"));
    ASSERT_EQ(r.code, 0) << r.out;
    const std::string zones = testing::read_file_text(dir.file("s/zone_summary.csv"));
    EXPECT_EQ(zones.substr(0, 3), "\xEF\xBB\xBF");
    EXPECT_TRUE(has(zones,
                    "\n10,\"岩手県\",0.6,north_85,1500,3,2,0,0,50-100cm,#ffe600\n"
                    "11,\"宮城県\",3.5,north_85,1200,3,3,2,1,300-400cm,#e580ff\n12,"))
        << zones;
    EXPECT_TRUE(has(zones, "\n93,\"울릉도 해안\",0,,0,0,0,0,0,0-5cm,none\n")) << zones;
    EXPECT_EQ(testing::read_file_text(dir.file("s/station_summary.csv")),
              "\xEF\xBB\xBF"
              "station_no,forecast_zone_id,grid_x,grid_y,max_height_m,scenario_of_max,arrival_s,"
              "scenarios,scenarios_ge_0.2m,scenarios_ge_1m,scenarios_ge_3m,color_bin,color_hex\n"
              "3001,11,400,300,3.5,north_85,1200,3,3,2,1,300-400cm,#e580ff\n"
              "3002,10,402,330,0.6,north_85,1500,3,2,0,0,50-100cm,#ffe600\n");
    testing::DecodedPng png;
    std::string error;
    ASSERT_TRUE(testing::decode_png(dir.file("s/zone_summary_map.png"), &png, &error)) << error;
    // Two pixels per cell, north up: station 3001 at cell (400, 300) of the 539-row grid.
    EXPECT_EQ(png.width, 851 * 2);
    EXPECT_EQ(png.pixel(800, (538 - 300) * 2), 0xE580FFu);
    EXPECT_EQ(png.pixel(804, (538 - 330) * 2), 0xFFE600u);
}

}  // namespace
}  // namespace kaitoro
