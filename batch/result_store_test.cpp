#include "batch/result_store.h"

#include <gtest/gtest.h>

#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

ScenarioRecord record(const std::string& id, const std::string& status, double height,
                      const std::string& params = "p") {
    ScenarioRecord r;
    r.id = id;
    r.params = params;
    r.status = status;
    r.version = kaitoro_version();
    if (status == "done") {
        r.stations = {{7, 11, 400, 300, height, 900}, {8, 11, 401, 301, height / 2, 960}};
        r.zones = {{11, height, 7, 900, 2}, {12, 0, 0, 0, 0}};
    } else {
        r.error = "boom";
    }
    return r;
}

// The station rows of one scenario, as text, from a fresh read.
std::string stations_of(const ResultStore& s, const std::string& id) {
    std::vector<ScenarioRecord> rows;
    std::string error;
    EXPECT_TRUE(s.read_all(&rows, true, &error)) << error;
    std::string out;
    for (const ScenarioRecord& r : rows)
        if (r.id == id)
            for (const StationResult& st : r.stations)
                out += std::to_string(st.station_no) + ":" + std::to_string(st.max_height_m) + " ";
    return out;
}

TEST(ResultStoreTest, AScenarioIsWrittenWholeOrNotAtAll) {
    testing::TempDir dir;
    ResultStore s;
    std::string error;
    ASSERT_TRUE(s.open(dir.file("r.sqlite"), &error)) << error;
    ASSERT_TRUE(s.write(record("a", "done", 2.0), &error)) << error;
    // Rewriting replaces the station rows instead of adding to them.
    ASSERT_TRUE(s.write(record("a", "done", 3.0), &error)) << error;
    EXPECT_EQ(stations_of(s, "a"), "7:3.000000 8:1.500000 ");
    // A record that breaks half-way (a station twice) leaves the stored scenario as it was.
    ScenarioRecord broken = record("a", "done", 9.0);
    broken.stations.push_back(broken.stations[0]);
    EXPECT_FALSE(s.write(broken, &error));
    EXPECT_EQ(stations_of(s, "a"), "7:3.000000 8:1.500000 ");
    ScenarioRecord new_broken = record("b", "done", 1.0);
    new_broken.zones.push_back(new_broken.zones[0]);
    EXPECT_FALSE(s.write(new_broken, &error));
    EXPECT_EQ(s.recorded(&error).count("b"), 0u);
}

TEST(ResultStoreTest, MergingFoldsShardsOnceAndKeepsConflicts) {
    testing::TempDir dir;
    std::string error;
    {
        ResultStore shard;
        ASSERT_TRUE(shard.open(dir.file("shard_0.sqlite"), &error)) << error;
        for (const ScenarioRecord& r :
             {record("new", "done", 1.0), record("was_failed", "done", 2.0),
              record("same", "done", 3.0), record("changed", "done", 4.0, "other"),
              record("still_failed", "failed", 0)})
            ASSERT_TRUE(shard.write(r, &error)) << error;
    }
    ResultStore main;
    ASSERT_TRUE(main.open(dir.file("main.sqlite"), &error)) << error;
    for (const ScenarioRecord& r :
         {record("was_failed", "failed", 0), record("same", "done", 3.0),
          record("changed", "done", 5.0), record("still_failed", "failed", 0)})
        ASSERT_TRUE(main.write(r, &error)) << error;

    struct Step {
        int added, replaced, unchanged, conflicts;
    } steps[] = {{1, 1, 2, 1}, {0, 0, 4, 1}};  // the second merge changes nothing
    for (const Step& want : steps) {
        MergeCounts c;
        ASSERT_TRUE(result_store_merge(&main, dir.file("shard_0.sqlite"), &c, &error)) << error;
        EXPECT_EQ(c.added, want.added);
        EXPECT_EQ(c.replaced, want.replaced);
        EXPECT_EQ(c.unchanged, want.unchanged);
        EXPECT_EQ(c.conflicts, want.conflicts);
    }
    const auto rec = main.recorded(&error);
    EXPECT_EQ(rec.at("was_failed").status, "done");
    EXPECT_EQ(rec.at("changed").params, "p");  // the stored run is kept
    EXPECT_EQ(stations_of(main, "new"), "7:1.000000 8:0.500000 ");

    MergeCounts c;
    testing::write_text_file(dir.file("junk.sqlite"), "not a database at all, just text\n");
    EXPECT_FALSE(result_store_merge(&main, dir.file("junk.sqlite"), &c, &error));
    EXPECT_NE(error.find("not a Kaitoro result database"), std::string::npos) << error;
}

}  // namespace
}  // namespace kaitoro
