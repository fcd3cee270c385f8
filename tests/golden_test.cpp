// Golden runs: a few kaitoro-cli sessions whose every output file and printed line must equal,
// byte for byte, the copies under tests/golden/<scenario>/. NetCDF files are compared as
// ncdump text and result databases as sqlite3 query text; images and videos by their bytes, or
// by SHA-256 (tests/golden/<scenario>/sha256.txt) when large. After a deliberate change:
//   KAITORO_UPDATE_GOLDEN=1 ctest -R Golden      (rewrites the files, and still fails)
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "batch/result_store.h"
#include "tests/support/run_command.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>;  // path inside the scenario -> bytes

const std::string kCli = KAITORO_CLI_PATH;
const std::string kSource = KAITORO_SOURCE_DIR;
const std::string kGolden = kSource + "/tests/golden/";

struct Scenario {
    const char* name;
    // Command lines run in order from the scenario's work folder: kaitoro-cli's arguments, or a
    // shell command after "!". {in} is tests/golden/inputs, ../grid.bin the 60 x 40 west-coast
    // grid and ../bad.bin a grid file with a broken magic.
    std::vector<std::string> steps;
};

const std::string kSrc = "../grid.bin --sources {in}/src.csv --out out ";
const std::string kFf = "../grid.bin --quick-ff {in}/ff.csv --out out ";

const Scenario kScenarios[] = {
    {"demo", {"demo --hours 0.5 --out out", "info"}},
    {"coast",
     {"run " + kSrc +
          "--station 1 --station 40 --gauges {in}/gauges.csv --hours 1 "
          "--max-wave-png out/max_wave.png --wave-layer 2 --save-preset preset.csv --netcdf "
          "out/run.nc --snapshot-every 60 --geojson out/run.geojson --animate out/wave.gif "
          "--frame-every 20 --orvex-start-delay 604800 --gauge ' Sado, Washizaki ,25.31207, 114.39375'",
      "info ../grid.bin"}},
    {"quick_ff",
     {"run " + kFf +
          "--epicenter 24.84609,115.47419 --strike 370 --patch-length 20 --depth 5 --hours 0.5 "
          "--slip-map-png out/slip.png --max-wave-png out/max_wave.png --save-preset preset.csv",
      "run ../grid.bin --preset preset.csv --save-preset again.csv --steps 8 --out out2",
      // Wrapped integers, numbers beyond float range, byte-order marks and an overlong line:
      // only 1,2  3,4  3,5 and 7,7 may reach the saved source.
      "run ../grid.bin --sources {in}/hostile_wrapped.csv --sources {in}/hostile_bom.csv "
      "--sources {in}/hostile_bom_header.csv --sources {in}/hostile_long_line.csv --steps 0 "
      "--save-preset hostile.csv --out out3",
      // Exactly four numbers a line; headers, comments and blanks skipped.
      "run ../grid.bin --sources {in}/sources_forms.csv --steps 0 --save-preset forms.csv "
      "--out out6",
      // Settings out of range are limited; BOMs, CRLF, blanks and overlong lines are read alike.
      "run ../grid.bin --preset {in}/preset_limits.csv --save-preset limits.csv --steps 0 "
      "--out out4",
      "run ../grid.bin --preset {in}/hostile_preset.csv --save-preset hostile_preset.csv "
      "--steps 0 --out out7",
      "run ../grid.bin --preset {in}/preset_line_endings.csv --save-preset line_endings.csv "
      "--steps 0 --out out5"}},
    {"fault",
     {"run --fault {in}/thrust_broken.csv --station 3297 --hours 0.5 --out out",
      "run --quick-ff <SRC>/data/examples/tohoku2011_like_ff.csv --epicenter 38.10,142.86 "
      "--strike 193 --okada --true-speed --steps 4 --out out2",
      "run --fault {in}/fault_rejects.csv --steps 0 --out out3"}},
    // Three observation points on the coast: arrivals every five minutes and the six-hour
    // warning check, all released at once; then a run without delay empties a stale outbox.
    {"feed",
     {"!cp {in}/orvex_observation_points.csv .",
      "run " + kSrc + "--hours 6.05 --orvex-start-delay 604800",
      "!mkdir out2 && echo '{\"stale\":true}' > out2/orvex_ws_outbox.jsonl",
      "run ../grid.bin --sources {in}/src.csv --hours 1 --out out2"}},
    // The bundled grid's own observation points and zones: arrivals at the Sanriku gauges and
    // a six-hour warning check that upgrades the zones the wave reached.
    {"sanriku", {"run --demo-source --hours 6.05 --orvex-start-delay 604800 --out out"}},
    {"batch",
     {"scenarios --trench {in}/trench.csv --mw 8.0:8.5:0.25 --spacing-km 50 --id-prefix jt",
      "scenarios --trench {in}/trench.csv --mw 7.5:9.0:0.25 --spacing-km 200 --out jt.csv",
      "batch {in}/scenarios.csv --db r.sqlite --jobs 1",
      "batch {in}/scenarios.csv --db r.sqlite --jobs 1",
      "batch {in}/scenarios.csv --db r.sqlite --jobs 1 --retry-failed",
      "!sqlite3 r.sqlite \"DELETE FROM station_results WHERE scenario_id='m80'; DELETE FROM "
      "zone_results WHERE scenario_id='m80'; DELETE FROM scenarios WHERE id='m80';\"",
      "batch {in}/scenarios.csv --db r.sqlite --jobs 1",
      "lookup --db r.sqlite --epicenter 38.3,143.0 --mw 7.9 --count 2",
      "lookup --db r.sqlite --epicenter 39.4,143.1 --mw 7.5 --count 1 --json",
      "summary --db r.sqlite --out summary"}},
    // A colour file beside the program (the desktop saves one after every colour edit) leaves
    // the images alone: only --colors brings custom scales in.
    {"colours",
     {"!mkdir bin && cp <CLI> bin/ && cp {in}/magenta.ini bin/tsunami_color_settings.ini",
      "run " + kSrc + "--steps 20 --max-wave-png builtin.png",
      "!bin/kaitoro-cli run " + kSrc + "--steps 20 --max-wave-png beside_program.png",
      "!rm -r bin", "run " + kSrc + "--steps 20 --max-wave-png named.png --colors {in}/magenta.ini",
      "run " + kSrc + "--steps 20 --max-wave-png x.png --colors {in}/broken.ini",
      "run " + kSrc + "--steps 20 --max-wave-png x.png --colors ../grid.bin",
      "run " + kSrc + "--steps 20 --max-wave-png x.png --colors none.ini"}},
    {"validate", {"validate --event noto --hours 0.75 --out docs"}},
    {"usage_errors",
     {"", "--help", "rnu", "run --hour 1", "run --true", "run --bogus x", "info --gird g",
      "batch t.csv --jbos 2", "lookup --jsno", "demo --hour 1", "validate --events",
      "run --hours", "run --hours abc", "run --station 0", "info --sources x.csv",
      "run --hours 1e300", "run --hours 0x10", "run --steps 1e19", "run --station 1e10",
      "run --okada", "run --wave-layer 3", "run --orvex-start-delay 604801",
      "run --orvex-start-delay -1", "run --orvex-start-delay 1.5", "run --orvex-start-delay soon",
      "run --animate a.avi", "run --snapshot-every 5", "run --netcdf r.nc --snapshot-every 0.1",
      "run --animate a.gif --frame-every 0", "run --preset", "run --quick-ff ff.csv",
      "run --quick-ff ff.csv --epicenter 38", "run --quick-ff ff.csv --epicenter a,b",
      "run --quick-ff ff.csv --epicenter 38,", "run --quick-ff ff.csv --epicenter 95,140",
      "run --quick-ff ff.csv --epicenter 38,140 --strike east",
      "run --quick-ff ff.csv --epicenter 38,140 --patch-width 0",
      "run --quick-ff ff.csv --epicenter 38,140 --depth -1",
      "run --quick-ff ff.csv --epicenter 38,140 --patch-length", "run --epicenter 38,140",
      "run --strike 10", "run --gauge 41.7,144.4", "run --gauge ,41.7,144.4",
      "run --gauge 'A\"B,41.7,144.4'", "run --gauge A,91,144.4", "run --gauge A,41,inf",
      "run --gauge A,41,"}},
    {"errors",
     {"run --grid ../bad.bin", "info missing.bin", "info {in}",
      "run ../grid.bin --sources none.csv", "run ../grid.bin --sources {in}", "run ../grid.bin --sources {in}/empty_sources.csv",
      "run ../grid.bin --fault {in}/bad_fault.csv", "run " + kFf + "--epicenter 10,100",
      "run ../grid.bin --quick-ff missing.csv --epicenter 24.8,115.5",
      "run ../grid.bin --quick-ff {in}/ff_empty.csv --epicenter 24.8,115.5",
      "run ../grid.bin --quick-ff {in}/ff_zero.csv --epicenter 24.8,115.5",
      "run " + kSrc + "--steps 1 --slip-map-png out/slip.png",
      "run " + kSrc + "--steps 1 --max-wave-png no/such/dir/max.png",
      "run " + kSrc + "--steps 1 --netcdf no/such/dir/r.nc",
      "run " + kSrc + "--steps 1 --geojson no/such/dir/r.geojson",
      "run " + kSrc + "--steps 1 --animate no/such/dir/r.mp4",
      "run ../grid.bin --preset missing.csv --steps 1", "run ../grid.bin --preset {in}",
      "run " + kSrc + "--steps 1 --save-preset no/such/dir/p.csv",
      "batch {in}/bad_scenarios.csv --db r.sqlite",
      "batch {in}/header_only_scenarios.csv --db r.sqlite",
      "lookup --db none.sqlite --epicenter 38.3,143.0 --mw 8.5",
      "validate --observations none.csv --out docs",
      // A folder where the station table's scratch file goes: that table alone fails.
      "!mkdir -p blocked/tsunami_station_points.csv.partial",
      "run ../grid.bin --steps 2 --out blocked"}},
};

std::string replace_all(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

// What differs from machine to machine or run to run, and nothing else: the folders, the
// program's version, the NetCDF history's UTC stamp and the printed timings.
std::string normalise(std::string text, const std::string& work) {
    text = replace_all(text, work, "<WORK>");
    text = replace_all(text, kCli, "<CLI>");
    text = replace_all(text, kSource, "<SRC>");
    text = replace_all(text, kaitoro_version(), "<VERSION>");
    static const std::regex utc_stamp(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ)");
    static const std::regex elapsed(R"((in |\()\d+\.\d+ s\b|\d+\.\d+ s( drawing))");
    static const std::regex rate(R"(\d+\.\d+ (steps/s|scenarios/min))");
    text = std::regex_replace(text, utc_stamp, "<UTC>");
    text = std::regex_replace(text, elapsed, "$1<SECONDS> s$2");
    return std::regex_replace(text, rate, "<RATE> $1");
}

std::string sha256(const std::string& bytes, const std::string& scratch) {
    testing::write_text_file(scratch, bytes);
    const auto r = testing::run_command("sha256sum " + scratch);
    return r.out.substr(0, 64);
}

// Every file the scenario wrote, as the golden folder keeps it.
Files collect_outputs(const std::string& work, const std::string& transcript,
                      const std::string& scratch) {
    Files files{{"transcript.txt", normalise(transcript, work)}};
    std::string manifest;
    std::vector<fs::path> paths;
    for (const auto& e : fs::recursive_directory_iterator(work))
        // SQLite's own journal files come and go with its connections.
        if (e.is_regular_file() && !e.path().string().ends_with("-shm") &&
            !e.path().string().ends_with("-wal"))
            paths.push_back(e.path());
    std::sort(paths.begin(), paths.end());
    for (const fs::path& p : paths) {
        std::string name = fs::relative(p, work).generic_string();
        const std::string ext = p.extension().string();
        std::string bytes;
        bool binary = false;
        if (ext == ".nc") {
            bytes = testing::run_command("cd " + work + " && ncdump " + name).out, name += ".cdl";
        } else if (ext == ".sqlite") {
            // Rows in a fixed order, without the timings of each scenario.
            bytes = testing::run_command(
                        "sqlite3 -header -csv " + p.string() +
                        " .schema 'SELECT id,line,params,kind,lat,lon,depth_km,mw,hours,"
                        "true_speed,status,error,version FROM scenarios ORDER BY id' "
                        "'SELECT * FROM zone_results ORDER BY scenario_id,zone_id' "
                        "'SELECT scenario_id,count(*),sum(arrival_s),printf(\"%.9g\",total(max_height_m)) "
                        "FROM station_results GROUP BY scenario_id ORDER BY 1'")
                        .out;
            name += ".sql";
        } else {
            bytes = testing::read_file_text(p.string());
            binary = ext == ".png" || ext == ".gif" || ext == ".mp4";
        }
        if (!binary) bytes = normalise(bytes, work);
        if (ext == ".jsonl") {
            // The outbox stamps each packet with the wall-clock seconds since the run began, and
            // its issue and update times with the same clock to the minute (a slow build can
            // take over a minute).
            static const std::regex wall_clock(R"re("(sim_s|real_elapsed_s|real_sync_time_s)":\d+)re");
            bytes = std::regex_replace(bytes, wall_clock, "\"$1\":<WALL>");
            static const std::regex wall_minute(R"re("(issue_time|update_time)":"[^"]*")re");
            bytes = std::regex_replace(bytes, wall_minute, "\"$1\":\"<WALL>\"");
        }
        if (bytes.size() < (binary ? 20000u : 200000u)) files[name] = bytes;
        else manifest += sha256(bytes, scratch) + "  " + name + "\n";
    }
    if (!manifest.empty()) files["sha256.txt"] = manifest;
    return files;
}

Files read_golden(const std::string& dir) {
    Files files;
    if (!fs::is_directory(dir)) return files;
    for (const auto& e : fs::recursive_directory_iterator(dir))
        if (e.is_regular_file())
            files[fs::relative(e.path(), dir).generic_string()] = testing::read_file_text(e.path().string());
    return files;
}

// The first line where two texts part, with its number and both versions (long JSON lines
// shown from a little before the change).
std::string first_difference(const std::string& want, const std::string& got) {
    std::istringstream a(want), b(got);
    std::string la, lb;
    int line = 1;
    for (;; ++line) {
        const bool more_a = bool(std::getline(a, la)), more_b = bool(std::getline(b, lb));
        if (!more_a || !more_b || la != lb) break;
    }
    std::size_t col = 0;
    while (col < la.size() && col < lb.size() && la[col] == lb[col]) ++col;
    const std::size_t from = col > 60 ? col - 60 : 0;
    auto cut = [&](const std::string& l) { return l.substr(std::min(from, l.size()), 200); };
    return "  line " + std::to_string(line) + ", column " + std::to_string(col + 1) +
           "\n    golden: " + cut(la) + "\n    now:    " + cut(lb) + "\n";
}

void PrintTo(const Scenario& s, std::ostream* os) { *os << s.name; }

class Golden : public ::testing::TestWithParam<Scenario> {};

TEST_P(Golden, EveryOutputMatchesItsGoldenCopy) {
    const Scenario& s = GetParam();
    testing::TempDir dir;
    ASSERT_TRUE(testing::write_west_coast_grid(dir.file("grid.bin")));
    auto bad = testing::encode_grid_file(testing::make_ocean(4, 4, 10.0f));
    bad[13] = 'X';
    ASSERT_TRUE(testing::write_file_bytes(dir.file("bad.bin"), bad));
    const std::string work = dir.file("work");
    fs::create_directories(work);

    // Every usage error ends with the whole --help text: the --help step keeps it, the others
    // show it as <USAGE>.
    const std::string usage = testing::run_command(kCli + " --help").out;
    std::string transcript;
    for (const std::string& step : s.steps) {
        std::string cmd = replace_all(replace_all(step, "{in}", kGolden + "inputs"), "<SRC>", kSource);
        cmd = replace_all(cmd, "<CLI>", kCli);
        cmd = cmd.starts_with("!") ? cmd.substr(1) : kCli + " " + cmd;
        auto r = testing::run_command("cd " + work + " && " + cmd);
        if (r.code != 0) r.out = replace_all(r.out, usage, "<USAGE>\n");
        transcript += (step.starts_with("!") ? "$ " + step.substr(1) : "$ kaitoro-cli " + step) +
                      "\n" + r.out + "[exit " + std::to_string(r.code) + "]\n";
    }
    const Files now = collect_outputs(work, transcript, dir.file("hash.tmp"));
    const std::string golden_dir = kGolden + s.name;

    if (std::getenv("KAITORO_UPDATE_GOLDEN")) {
        fs::remove_all(golden_dir);
        for (const auto& [name, bytes] : now) {
            fs::create_directories(fs::path(golden_dir + "/" + name).parent_path());
            testing::write_text_file(golden_dir + "/" + name, bytes);
        }
        FAIL() << "golden files rewritten in " << golden_dir
               << "; review them with git diff and run again without KAITORO_UPDATE_GOLDEN";
    }

    const Files want = read_golden(golden_dir);
    std::string report;
    for (const auto& [name, bytes] : want)
        if (!now.count(name)) report += name + ": not written any more\n";
    for (const auto& [name, bytes] : now) {
        const auto it = want.find(name);
        if (it == want.end()) report += name + ": new file, no golden copy\n";
        else if (it->second != bytes) report += name + ":\n" + first_difference(it->second, bytes);
    }
    EXPECT_EQ(report, "") << "outputs of scenario " << s.name << " differ from " << golden_dir
                          << "\nIf the change is intended: KAITORO_UPDATE_GOLDEN=1 ctest -R Golden, "
                             "then review git diff tests/golden";
}

INSTANTIATE_TEST_SUITE_P(Cli, Golden, ::testing::ValuesIn(kScenarios),
                         [](const auto& p) { return std::string(p.param.name); });

}  // namespace
}  // namespace kaitoro
