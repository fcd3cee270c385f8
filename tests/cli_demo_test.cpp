// kaitoro-cli demo and the command line's own help: what a new user sees first.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

#include "tests/support/png_reader.h"
#include "tests/support/run_command.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

const std::string kCli = KAITORO_CLI_PATH;

TEST(CliDemoTest, WritesEveryOutputAndListsEachFileItWrote) {
    testing::TempDir dir;
    const std::string out = dir.file("demo");
    const auto r = testing::run_command(kCli + " demo --hours 0.5 --out " + out);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("ORVEX start delay 604800 s, the largest"), std::string::npos) << r.out;

    // The closing list names exactly the files on disk, one line each with what it holds.
    const std::string head = "Files written into " + out + ":\n";
    const std::size_t at = r.out.find(head);
    ASSERT_NE(at, std::string::npos) << r.out;
    std::set<std::string> listed, on_disk;
    for (std::size_t p = at + head.size(); p < r.out.size() && r.out.compare(p, 2, "  ") == 0;) {
        const std::size_t end = r.out.find('\n', p);
        const std::string line = r.out.substr(p + 2, end - p - 2);
        listed.insert(line.substr(0, line.find(' ')));
        EXPECT_EQ(line.find("written by this run"), std::string::npos) << line;
        p = end + 1;
    }
    for (const auto& e : std::filesystem::directory_iterator(out))
        on_disk.insert(e.path().filename().string());
    EXPECT_EQ(listed, on_disk);
    int svgs = 0;
    for (const std::string& f : on_disk) svgs += f.size() > 10 && f.ends_with("_graph.svg");
    EXPECT_EQ(svgs, 3);
    for (const char* f :
         {"tohoku2011.nc", "tohoku2011.geojson", "tohoku2011.mp4", "tsunami_station_points.csv",
          "tsunami_station_points_forecast_zones.csv"})
        EXPECT_TRUE(on_disk.count(f)) << f;

    testing::DecodedPng img;
    std::string err;
    EXPECT_TRUE(testing::decode_png(out + "/max_wave.png", &img, &err)) << err;

    // Released packets, each line a JSON object a reader accepts.
    const auto check = testing::run_command(
        "python3 -c \"import json,sys; n=sum(1 for l in open(sys.argv[1]) if "
        "json.loads(l)['kind']); print(n)\" " +
        out + "/orvex_ws_outbox.jsonl");
    ASSERT_EQ(check.code, 0) << check.out;
    EXPECT_GT(std::stoi(check.out), 0);
}

TEST(CliDemoTest, SlipsOfTheKeyboardGetTheNearestName) {
    const std::pair<const char*, const char*> cases[] = {
        {"run --hour 1", "kaitoro-cli: unknown option: --hour; did you mean --hours?\n"},
        {"run --true", "kaitoro-cli: unknown option: --true; did you mean --true-speed?\n"},
        {"run --bogus x", "kaitoro-cli: unknown option: --bogus\n"},
        {"info --gird g", "kaitoro-cli: unknown option for info: --gird; did you mean --grid?\n"},
        {"batch t.csv --jbos 2",
         "kaitoro-cli: unknown option for batch: --jbos; did you mean --jobs?\n"},
        {"lookup --jsno", "kaitoro-cli: unknown option for lookup: --jsno; did you mean --json?\n"},
        {"demo --hour 1", "kaitoro-cli: unknown option for demo: --hour; did you mean --hours?\n"},
        {"rnu", "kaitoro-cli: unknown command: rnu; did you mean run?\n"},
        {"validate --events", "kaitoro-cli: --events needs a value\n"},
    };
    for (const auto& [args, first_line] : cases) {
        const auto r = testing::run_command(kCli + " " + args);
        EXPECT_EQ(r.code, 2) << args;
        EXPECT_EQ(r.out.rfind(first_line, 0), 0u) << args << "\n" << r.out;
    }
}

TEST(CliDemoTest, NoArgumentsGiveTheShortUsageAndTheDemoRecipe) {
    const auto bare = testing::run_command(kCli);
    EXPECT_EQ(bare.code, 2);
    EXPECT_NE(bare.out.find("\nFirst time? Run the demonstration: kaitoro-cli demo"),
              std::string::npos)
        << bare.out;
    EXPECT_EQ(bare.out.find("--orvex-start-delay"), std::string::npos);  // short, not --help

    const auto help = testing::run_command(kCli + " --help");
    std::size_t at = 0;
    for (const char* group :
         {" sources (the earthquake):\n", " run (how long, what to record):\n", " outputs:\n",
          " feed (the ORVEX outbox):\n", " modes (beyond the documented model):\n"}) {
        const std::size_t next = help.out.find(group, at);
        ASSERT_NE(next, std::string::npos) << group;
        at = next;
    }
}

}  // namespace
}  // namespace kaitoro
