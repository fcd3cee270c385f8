// kaitoro-cli runs that feed the ORVEX outbox: written into the output folder, released at
// once with a week of start delay, held back by the wall clock without it, emptied by every
// run. Lines are read back with a real JSON parser.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "core/geo.h"
#include "tests/support/run_command.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

using testing::TempDir;
using Json = nlohmann::ordered_json;

using Result = testing::CommandResult;
Result run(const std::string& cmd) { return testing::run_command(cmd); }

std::vector<Json> read_outbox(const std::string& path) {
    const std::string text = testing::read_file_text(path);
    std::vector<Json> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t nl = text.find('\n', start);
        if (nl == std::string::npos) {
            ADD_FAILURE() << "unterminated packet";
            break;
        }
        lines.push_back(Json::parse(text.substr(start, nl - start)));
        start = nl + 1;
    }
    return lines;
}

const std::string kCli = KAITORO_CLI_PATH;

// A coast along the south of a grid placed east of 120°E, so that the points file accepts
// coordinates on it.
class FeedCliTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto g = testing::make_ocean(200, 60, 3000.0f);
        testing::fill_rect(g, 0, 0, 199, 9, -20.0f);
        testing::add_coastal_stations(g, [](int x, int) { return x < 150 ? 11 : 12; });
        testing::write_file_bytes(dir_.file("grid.bin"), testing::encode_grid_file(g));
        std::string src = "grid_x,grid_y,height_m,delay_s\n";
        for (int y = 25; y <= 35; ++y)
            for (int x = 155; x <= 165; ++x)
                src += std::to_string(x) + "," + std::to_string(y) + ",3.0,0\n";
        testing::write_text_file(dir_.file("src.csv"), src);
        std::string pts = "id,name,agency,lat,lon,zone_id\n";
        pts += point("EAST", "東の港", "JMA", 160, 10, 12);
        pts += point("WEST", "西の港", "JMA", 130, 10, 11);
        pts += point("ISLE", "沖の島", "JMA-VIRTUAL", 185, 40, 12);
        testing::write_text_file(dir_.file("orvex_observation_points.csv"), pts);
    }
    static std::string point(const char* code, const char* name, const char* agency, int x, int y,
                             int zone) {
        float lat = 0, lon = 0;
        latlon_from_grid_xy(float(x), float(y), &lat, &lon);
        char line[200];
        std::snprintf(line, sizeof line, "%s,%s,%s,%.5f,%.5f,%d\n", code, name, agency, lat, lon,
                      zone);
        return line;
    }
    Result run_cli(const std::string& args) {
        return run("cd " + dir_.path() + " && " + kCli + " run grid.bin --sources src.csv " + args);
    }
    TempDir dir_;
};

TEST_F(FeedCliTest, AWeekOfStartDelayReleasesEveryReportDuringTheRun) {
    Result r = run_cli("--hours 6.05 --orvex-start-delay 604800 --out out");
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("report(s) waiting"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find(" 1 warning_check(s); 0 report(s) waiting for the wall clock."),
              std::string::npos)
        << r.out;

    const auto lines = read_outbox(dir_.file("out/orvex_ws_outbox.jsonl"));
    ASSERT_GE(lines.size(), 2u);
    std::set<std::string> reported;
    int checks = 0;
    std::map<std::string, std::vector<int>> buckets;
    for (const Json& m : lines) {
        if (m["kind"] == "warning_check") {
            ++checks;
            EXPECT_EQ(m["completed_h"], 6);
            EXPECT_EQ(m["zones"].size(), 92u);
            continue;
        }
        ASSERT_EQ(m["kind"], "observation_arrival");
        EXPECT_GE(m["sim_s"].get<int>(), 604800);
        for (const Json& o : m["observations"]) {
            const std::string id = o["obs_id"];
            reported.insert(id);
            buckets[id].push_back(o["report_bucket_s"]);
            EXPECT_LE(o["observed_time_s"].get<int>(), o["report_bucket_s"].get<int>());
        }
    }
    EXPECT_EQ(checks, 1);
    EXPECT_TRUE(reported.count("EAST")) << r.out;
    EXPECT_TRUE(reported.count("ISLE")) << r.out;
    // Each point: its arrival bucket, then every 5 minutes without a gap up to the run's end.
    for (const auto& [id, b] : buckets) {
        ASSERT_FALSE(b.empty());
        EXPECT_EQ(b.front() % 300, 0) << id;
        for (std::size_t k = 1; k < b.size(); ++k) EXPECT_EQ(b[k], b[k - 1] + 300) << id;
        EXPECT_EQ(b.back(), 21600) << id;
    }
}

TEST_F(FeedCliTest, WithoutDelayReportsWaitForTheWallClockAndEveryRunEmptiesTheOutbox) {
    testing::write_text_file(dir_.file("out/orvex_ws_outbox.jsonl"), "{\"stale\":true}\n");
    Result r = run_cli("--hours 1 --out out");
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find(": 0 observation_arrival packet(s), 0 warning_check(s); "),
              std::string::npos)
        << r.out;
    EXPECT_EQ(r.out.find(" 0 report(s) waiting"), std::string::npos) << r.out;
    EXPECT_EQ(testing::read_file_text(dir_.file("out/orvex_ws_outbox.jsonl")), "");
}

TEST_F(FeedCliTest, StartDelayMustBeAWholeNumberOfSecondsUpToAWeek) {
    for (const char* bad : {"-1", "604801", "1.5", "soon"}) {
        Result r = run_cli(std::string("--orvex-start-delay ") + bad);
        EXPECT_EQ(r.code, 2) << bad;
        EXPECT_NE(r.out.find("--orvex-start-delay"), std::string::npos) << bad;
    }
}

}  // namespace
}  // namespace kaitoro
