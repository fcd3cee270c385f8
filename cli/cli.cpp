#include "cli/cli.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "core/driver.h"
#include "core/geo.h"
#include "core/masks.h"
#include "core/platform.h"
#include "core/sources.h"
#include "core/stations.h"
#include "core/status.h"
#include "core/time_series.h"
#include "feed/arrivals.h"
#include "quick_ff/ff_csv.h"
#include "quick_ff/ff_grid.h"
#include "quick_ff/placement.h"
#include "render/max_wave.h"
#include "render/scene.h"
#include "render/slip_map.h"
#include "source_design/preset.h"
#include "source_design/source_cell.h"

namespace kaitoro::cli {

namespace {

constexpr char kUsage[] =
    "usage: kaitoro-cli run  [GRID] [options]   run a scenario and write result tables\n"
    "       kaitoro-cli info [GRID] [--grid PATH] print the grid's facts as JSON\n"
    "\n"
    "GRID defaults to data/tsunami_data.bin beside the program's source tree, else\n"
    "tsunami_data.bin in the working directory.\n"
    "\n"
    "run options:\n"
    "  --grid PATH            grid data file (same as GRID)\n"
    "  --overrides CSV        land overrides (grid_x,grid_y,mode) instead of the default search\n"
    "  --sources CSV          source points (grid_x,grid_y,height_m,delay_s); repeatable\n"
    "  --demo-source          add a 4 m uplift patch off the Sanriku coast\n"
    "  --preset FILE          load a preset (source and source-design settings) first; the\n"
    "                         other source options add to its source\n"
    "  --save-preset FILE     save the applied source and the settings as a preset\n"
    "  --quick-ff FILE        place a finite-fault patch grid CSV (the editor's matrix file or\n"
    "                         any form it loads) with its delay-0 cell at --epicenter\n"
    "  --epicenter LAT,LON    epicentre in degrees for --quick-ff (e.g. 38.1,142.9)\n"
    "  --strike DEG           strike of the finite fault, clockwise from north (default 0)\n"
    "  --patch-length KM      patch length along strike (default: the file's, else 40)\n"
    "  --patch-width KM       patch width down dip (default: the file's, else 20)\n"
    "  --depth KM             depth of the fault at the epicentre (default 20)\n"
    "  --station N            record the time series of station number N; repeatable\n"
    "  --hours H              model hours to run (default 2)\n"
    "  --steps N              model steps of 15 s to run (instead of --hours)\n"
    "  --no-transmit-limit    run past the 60 h transmit-only limit\n"
    "  --out DIR              output folder (default out)\n"
    "  --max-wave-png FILE    after the run, write the max-wave image (the O key's) to FILE\n"
    "  --wave-layer 0|1|2     wave layer of that image: 2 adds arrival contours (default 0)\n"
    "  --slip-map-png FILE    write the finite-fault slip map of the placed patches to FILE\n"
    "  --orvex-start-delay S  ORVEX start delay in seconds, 0..604800 (default 0); reports are\n"
    "                         released when wall-clock time plus S reaches their model time,\n"
    "                         so 604800 releases every report as soon as it is computed.\n"
    "                         The outbox orvex_ws_outbox.jsonl is written into the output folder.\n";

// Answers every save dialog with the dialog's own default name inside the output folder, so
// the headless run writes exactly what the desktop save commands write.
// Answers the next save dialog with one chosen path (the image options name their file).
class FixedPathPlatform : public HeadlessPlatform {
public:
    explicit FixedPathPlatform(std::string path) : path_(std::move(path)) {}
    std::optional<std::string> save_file_dialog(const FileDialogRequest&) override {
        return path_;
    }

private:
    std::string path_;
};

class CliPlatform : public HeadlessPlatform {
public:
    explicit CliPlatform(std::string dir) : dir_(std::move(dir)) {}
    std::optional<std::string> save_file_dialog(const FileDialogRequest& req) override {
        return dir_ + "/" + req.default_name;
    }
    void beep(BeepKind) override {}

private:
    std::string dir_;
};

struct UsageError {
    std::string message;
};

struct RunOptions {
    std::string grid;
    std::string overrides;
    std::vector<std::string> sources;
    std::vector<int> stations;
    bool demo_source = false;
    double hours = 2.0;
    long long steps = -1;
    bool transmit_limit = true;
    std::string out = "out";
    std::string preset, save_preset;
    std::string max_wave_png;
    int wave_layer = 0;
    std::string slip_map_png;
    int orvex_start_delay_s = 0;
    std::string quick_ff;
    bool has_epicenter = false;
    double epicenter_lat = 0, epicenter_lon = 0;
    std::optional<double> strike, patch_length, patch_width, depth;
};

std::string default_grid_path() {
#ifdef KAITORO_DEFAULT_GRID
    if (file_exists(KAITORO_DEFAULT_GRID)) return KAITORO_DEFAULT_GRID;
#endif
    return "tsunami_data.bin";
}

double parse_number(const char* opt, const char* text) {
    char* end = nullptr;
    const double v = std::strtod(text, &end);
    if (!*text || *end || !std::isfinite(v)) throw UsageError{std::string(opt) + " needs a number"};
    return v;
}

RunOptions parse_run_options(int argc, char** argv, bool info) {
    RunOptions o;
    for (int i = 2; i < argc; ++i) {
        const std::string a = argv[i];
        auto value = [&]() -> const char* {
            if (i + 1 >= argc) throw UsageError{a + " needs a value"};
            return argv[++i];
        };
        if (a == "--grid") o.grid = value();
        else if (!a.empty() && a[0] != '-' && o.grid.empty()) o.grid = a;
        else if (info) throw UsageError{"unknown option for info: " + a};
        else if (a == "--overrides") o.overrides = value();
        else if (a == "--sources") o.sources.push_back(value());
        else if (a == "--demo-source") o.demo_source = true;
        else if (a == "--preset") o.preset = value();
        else if (a == "--save-preset") o.save_preset = value();
        else if (a == "--station") {
            const double n = parse_number("--station", value());
            if (n < 1 || n != std::floor(n)) throw UsageError{"--station needs a station number"};
            o.stations.push_back(int(n));
        } else if (a == "--hours") {
            o.hours = parse_number("--hours", value());
            if (o.hours < 0) throw UsageError{"--hours must not be negative"};
        } else if (a == "--steps") {
            const double n = parse_number("--steps", value());
            if (n < 0 || n != std::floor(n)) throw UsageError{"--steps needs a whole number"};
            o.steps = (long long)n;
        } else if (a == "--no-transmit-limit") o.transmit_limit = false;
        else if (a == "--out") o.out = value();
        else if (a == "--max-wave-png") o.max_wave_png = value();
        else if (a == "--slip-map-png") o.slip_map_png = value();
        else if (a == "--wave-layer") {
            const std::string v = value();
            if (v != "0" && v != "1" && v != "2") throw UsageError{"--wave-layer needs 0, 1 or 2"};
            o.wave_layer = v[0] - '0';
        }
        else if (a == "--orvex-start-delay") {
            const double n = parse_number("--orvex-start-delay", value());
            if (n < 0 || n > kOrvexMaxStartDelaySeconds || n != std::floor(n))
                throw UsageError{"--orvex-start-delay must be an integer from 0 to 604800 seconds"};
            o.orvex_start_delay_s = int(n);
        }
        else if (a == "--quick-ff") o.quick_ff = value();
        else if (a == "--epicenter") {
            const std::string v = value();
            const std::size_t comma = v.find(',');
            if (comma == std::string::npos) throw UsageError{"--epicenter needs LAT,LON"};
            o.epicenter_lat = parse_number("--epicenter", v.substr(0, comma).c_str());
            o.epicenter_lon = parse_number("--epicenter", v.substr(comma + 1).c_str());
            if (std::fabs(o.epicenter_lat) > 90 || std::fabs(o.epicenter_lon) > 360)
                throw UsageError{"--epicenter needs a latitude and longitude in degrees"};
            o.has_epicenter = true;
        } else if (a == "--strike") o.strike = parse_number("--strike", value());
        else if (a == "--patch-length") {
            o.patch_length = parse_number("--patch-length", value());
            if (*o.patch_length <= 0) throw UsageError{"--patch-length must be above 0 km"};
        } else if (a == "--patch-width") {
            o.patch_width = parse_number("--patch-width", value());
            if (*o.patch_width <= 0) throw UsageError{"--patch-width must be above 0 km"};
        } else if (a == "--depth") {
            o.depth = parse_number("--depth", value());
            if (*o.depth < 0 || *o.depth > 700) throw UsageError{"--depth must be 0 to 700 km"};
        }
        else throw UsageError{"unknown option: " + a};
    }
    if (!o.quick_ff.empty() && !o.has_epicenter) throw UsageError{"--quick-ff needs --epicenter"};
    if (o.quick_ff.empty() && (o.has_epicenter || o.strike || o.patch_length || o.patch_width ||
                               o.depth))
        throw UsageError{"--epicenter, --strike, --patch-*, --depth need --quick-ff"};
    if (o.grid.empty()) o.grid = default_grid_path();
    return o;
}

// Start-up exactly as the desktop program does it, minus the window.
int start(const std::string& grid_path) {
    if (!file_exists(grid_path.c_str())) {
        std::fprintf(stderr, "Error: could not open data file: %s: No such file or directory\n",
                     grid_path.c_str());
        return 1;
    }
    char* args[] = {const_cast<char*>("kaitoro-cli"), const_cast<char*>(grid_path.c_str())};
    return driver_startup(2, args);
}

// A smooth 4 m uplift ellipse off Sanriku, long axis along the trench (north-south).
int add_demo_source() {
    float cx, cy;
    grid_xy_from_latlon(38.3f, 143.2f, &cx, &cy);
    int added = 0;
    for (int dy = -30; dy <= 30; ++dy)
        for (int dx = -12; dx <= 12; ++dx) {
            const float r2 = float(dx * dx) / 144.0f + float(dy * dy) / 900.0f;
            if (r2 > 1.0f) continue;
            const int x = int(std::lround(cx)) + dx, y = int(std::lround(cy)) + dy;
            if (!g_grid.in_grid(x, y) || g_grid.solid[std::size_t(y) * g_grid.nx + x]) continue;
            source_list_append(&g_sources, x, y, 4.0f * (1.0f - r2), 0);
            ++added;
        }
    return added;
}

// Loads a finite-fault grid and places it as the desktop placement does: the options given
// override the patch size from the file, the epicentre is the grid's delay-0 cell.
int place_quick_ff(const RunOptions& o) {
    QuickFfLoadResult loaded;
    if (!quick_ff_load_csv_file(o.quick_ff.c_str(), &loaded)) {
        std::fprintf(stderr, "Error: could not open quick finite-fault file: %s\n",
                     o.quick_ff.c_str());
        return 1;
    }
    if (loaded.cells == 0) {
        std::fprintf(stderr, "Error: %s: %s\n", o.quick_ff.c_str(), kQuickFfNoCellsMessage);
        return 1;
    }
    if (o.strike) g_fault_strike_deg = float(wrap_degrees_360(*o.strike));
    if (o.patch_length) g_fault_stamp_length_km = float(std::clamp(*o.patch_length, 5.0, 600.0));
    if (o.patch_width) set_fault_width_km_value(float(*o.patch_width));
    if (o.depth) g_source_depth_km = float(*o.depth);

    float fx, fy;
    grid_xy_from_latlon(float(o.epicenter_lat), float(o.epicenter_lon), &fx, &fy);
    const long gx = std::lround(fx), gy = std::lround(fy);
    if (!std::isfinite(fx) || !std::isfinite(fy) || !g_grid.in_grid(gx, gy)) {
        std::fprintf(stderr, "Error: epicenter %.4f,%.4f lies outside the grid (x=%.1f y=%.1f)\n",
                     o.epicenter_lat, o.epicenter_lon, double(fx), double(fy));
        return 1;
    }
    int patches = 0;
    for (const QuickFfCell& c : g_quick_ff_rows) patches += quick_ff_cell_active(c);
    const int placed = quick_ff_apply_at(int(gx), int(gy));
    if (placed == 0) {
        std::fprintf(stderr,
                     "Error: the finite fault in %s placed no source cells (%d active patch(es) "
                     "at x=%ld y=%ld)\n",
                     o.quick_ff.c_str(), patches, gx, gy);
        return 1;
    }
    int er, ec;
    quick_ff_find_epicenter_cell(&er, &ec, nullptr, nullptr);
    std::printf(
        "Quick finite fault %s: %d x %d grid, %d patch(es) of %.1f x %.1f km, strike %.0f, "
        "depth %.1f km; epicenter cell %s at x=%ld y=%ld; %d source cell(s) placed; Mw %.2f.\n",
        o.quick_ff.c_str(), g_quick_ff_grid_rows, g_quick_ff_grid_cols, patches,
        double(g_fault_stamp_length_km), double(g_fault_width_km), double(g_fault_strike_deg),
        double(g_source_depth_km), quick_ff_cell_name(er, ec).c_str(), gx, gy, placed,
        double(current_moment_magnitude()));
    return 0;
}

std::string format_hms(int t) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%02d:%02d:%02d", t / 3600, t / 60 % 60, t % 60);
    return buf;
}

void progress(long long done, long long total, double rate) {
    const int width = 30;
    const int filled = total > 0 ? int(width * done / total) : width;
    std::fprintf(stderr, "\r[%.*s%*s] %3d%%  t=%s  %.0f steps/s ", filled,
                 "##############################", width - filled, "",
                 total > 0 ? int(100 * done / total) : 100, format_hms(g_time_s).c_str(), rate);
    std::fflush(stderr);
}

// What the feed wrote, and what is still waiting for the wall clock.
void print_outbox_summary() {
    int arrivals = 0, checks = 0, waiting = 0;
    if (std::FILE* f = std::fopen(orvex_outbox_path(), "rb")) {
        std::string line;
        for (int c; (c = std::fgetc(f)) != EOF;) {
            if (c != '\n') {
                line += char(c);
                continue;
            }
            arrivals += line.find("\"kind\":\"observation_arrival\"") != std::string::npos;
            checks += line.find("\"kind\":\"warning_check\"") != std::string::npos;
            line.clear();
        }
        std::fclose(f);
    }
    for (int k = 0; k < g_orvex_observation_event_count; ++k)
        waiting += !g_orvex_observation_event_queue[std::size_t(k)].sent;
    std::printf("ORVEX outbox %s: %d observation_arrival packet(s), %d warning_check(s); %d "
                "report(s) waiting for the wall clock.\n",
                orvex_outbox_path(), arrivals, checks, waiting);
}

// The image exports, through the same save commands as the desktop keys. False when one
// failed (its status line is printed to stderr).
bool save_images(const RunOptions& o) {
    bool ok = true;
    auto save = [&](const std::string& path, void (*command)(void*), const char* failure) {
        FixedPathPlatform answer(path);
        set_platform(&answer);
        command(nullptr);
        set_platform(nullptr);
        const bool failed = std::strncmp(g_status, failure, std::strlen(failure)) == 0;
        std::fprintf(failed ? stderr : stdout, "%s\n", g_status);
        ok = ok && !failed;
    };
    if (!o.max_wave_png.empty()) {
        g_wave_layer_mode = o.wave_layer;
        save(o.max_wave_png, save_max_wave_png_dialog, "Failed to save max-wave PNG.");
    }
    if (!o.slip_map_png.empty())
        save(o.slip_map_png, save_finite_fault_usgs_png_dialog,
             "Failed to save finite-fault USGS-style PNG.");
    return ok;
}

int cmd_run(const RunOptions& o) {
    if (int rc = start(o.grid)) return rc;
    g_orvex_transmit_mode = o.transmit_limit ? 1 : 0;
    // The outbox goes with the run's other results, set before any reset empties it.
    if (!orvex_set_outbox_directory(o.out.c_str())) {
        std::fprintf(stderr, "Error: output folder path too long: %s\n", o.out.c_str());
        return 1;
    }
    g_orvex_calc_start_delay_s = o.orvex_start_delay_s;

    if (!o.overrides.empty()) {
        if (!load_land_override_csv(&g_grid, o.overrides.c_str())) {
            std::fprintf(stderr, "Error: could not open override file: %s\n", o.overrides.c_str());
            return 1;
        }
        rebuild_mask_and_reset();
    }
    std::size_t loaded = 0;
    if (!o.preset.empty()) {
        if (!load_preset_file(o.preset.c_str(), &loaded)) {
            std::fprintf(stderr, "Error: could not open preset file: %s\n", o.preset.c_str());
            return 1;
        }
        std::printf("Loaded preset and applied %zu source point(s); rebuilt %d from slip+depth.\n",
                    loaded, g_last_preset_recalculated_from_slip);
    }
    for (const std::string& s : o.sources) {
        const std::size_t before = g_sources.count;
        if (!load_sources_csv(&g_sources, s.c_str())) {
            std::fprintf(stderr, "Error: could not open source file: %s\n", s.c_str());
            return 1;
        }
        loaded += g_sources.count - before;
    }
    if (o.demo_source) loaded += std::size_t(add_demo_source());
    if (!o.quick_ff.empty()) {
        if (int rc = place_quick_ff(o)) return rc;
    }
    driver_reset_run();
    if (!o.save_preset.empty()) {
        if (!save_current_preset_file(o.save_preset.c_str())) {
            std::fprintf(stderr, "Error: could not write preset file: %s\n", o.save_preset.c_str());
            return 1;
        }
        std::printf("Saved preset: %s\n", o.save_preset.c_str());
    }

    for (std::size_t k = 0; k < o.stations.size(); ++k) {
        const int idx = o.stations[k] - 1;
        if (idx >= int(g_grid.station_count) || !station_is_enabled(&g_grid, idx)) {
            std::fprintf(stderr, "kaitoro-cli: station %d is not an enabled station (1..%u)\n",
                         o.stations[k], g_grid.station_count);
            return 2;
        }
        time_series_add_station(idx, k == 0 ? 1 : 0);
    }

    std::error_code ec;
    std::filesystem::create_directories(o.out, ec);
    if (ec) {
        std::fprintf(stderr, "Error: could not create output folder: %s: %s\n", o.out.c_str(),
                     ec.message().c_str());
        return 1;
    }

    const long long total =
        o.steps >= 0 ? o.steps : (long long)std::ceil(o.hours * 3600.0 / kModelStepSeconds);
    std::printf("Grid %s: %u x %u cells, %d enabled stations; %zu source point(s).\n",
                o.grid.c_str(), g_grid.nx, g_grid.ny, count_enabled_stations(&g_grid),
                g_sources.count);
    const bool tty = isatty(2);
    const auto t0 = std::chrono::steady_clock::now();
    auto elapsed = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    };
    g_running = 1;
    long long done = 0;
    for (; done < total && g_running; ++done) {
        advance_one_step();
        if (tty && (done % 20 == 0 || done + 1 == total))
            progress(done + 1, total, double(done + 1) / std::max(elapsed(), 1e-9));
    }
    if (tty) std::fputc('\n', stderr);
    const double secs = elapsed();
    if (!g_running && done < total) std::printf("%s\n", g_status);
    g_running = 0;

    CliPlatform cli_platform(o.out);
    set_platform(&cli_platform);
    save_station_csv_dialog(nullptr);
    std::printf("%s\n", g_status);
    if (g_ts_rec_count > 0) {
        save_time_series_dialog(nullptr);
        std::printf("%s\n", g_status);
    }
    set_platform(nullptr);

    const bool images_ok = save_images(o);
    print_outbox_summary();
    std::printf("Model time %d s (%s), %lld steps in %.2f s, %.1f steps/s\n", g_time_s,
                format_hms(g_time_s).c_str(), done, secs, secs > 0 ? double(done) / secs : 0.0);
    driver_shutdown();
    return images_ok ? 0 : 1;
}

std::string json_escape(const std::string& s) {
    std::string out;
    for (unsigned char c : s) {
        if (c == '"' || c == '\\') out += '\\', out += char(c);
        else if (c < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else out += char(c);
    }
    return out;
}

int cmd_info(const RunOptions& o) {
    if (int rc = start(o.grid)) return rc;
    const GridData& g = g_grid;
    std::size_t enabled = 0, disabled = 0, virt = 0;
    for (std::uint32_t i = 0; i < g.station_count; ++i) {
        if (g.station_flags[i] == 0) ++disabled;
        else if (g.station_flags[i] == 2) ++virt;
        else ++enabled;
    }
    int hidden_rows = 0, first_hidden = -1;
    for (std::uint32_t y = 0; y < g.ny; ++y)
        if (g.hidden[std::size_t(y) * g.nx + g.nx - 1]) {
            ++hidden_rows;
            if (first_hidden < 0) first_hidden = int(y);
        }
    std::size_t land = 0, solid = 0, sea = 0, raw_land = 0;
    for (std::size_t c = 0; c < g.cell_count(); ++c) {
        land += g.land[c];
        solid += g.solid[c];
        sea += !g.solid[c];
        raw_land += g.raw_land[c];
    }
    std::printf("{\n  \"grid\": \"%s\",\n  \"nx\": %u,\n  \"ny\": %u,\n  \"cells\": %zu,\n",
                json_escape(o.grid).c_str(), g.nx, g.ny, g.cell_count());
    std::printf(
        "  \"stations\": {\"total\": %u, \"enabled\": %zu, \"disabled\": %zu, \"virtual\": %zu},\n",
        g.station_count, enabled, disabled, virt);
    std::printf("  \"hidden_rows\": %d,\n  \"hidden_from_row\": %d,\n", hidden_rows, first_hidden);
    std::printf(
        "  \"cells_by_mask\": {\"raw_land\": %zu, \"land\": %zu, \"solid\": %zu, \"sea\": %zu},\n",
        raw_land, land, solid, sea);
    std::printf("  \"land_overrides\": %d,\n  \"status\": \"%s\",\n", count_land_overrides(&g),
                json_escape(g_status).c_str());
    std::printf("  \"stations_per_zone\": [");
    bool first = true;
    for (int z = 1; z <= 93; ++z) {
        int n = 0;
        for (std::uint32_t i = 0; i < g.station_count; ++i)
            n += (g.station_flags[i] != 0 && g.station_zone[i] == z);
        if (n == 0 && z == kZoneOutside) continue;
        std::printf("%s\n    {\"zone\": %d, \"name\": \"%s\", \"stations\": %d}", first ? "" : ",",
                    z, json_escape(forecast_zone_name_from_id(z)).c_str(), n);
        first = false;
    }
    std::printf("\n  ]\n}\n");
    driver_shutdown();
    return 0;
}

}  // namespace

int cli_main(int argc, char** argv) {
    if (argc < 2 || !std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h")) {
        std::fputs(kUsage, argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    const std::string cmd = argv[1];
    try {
        if (cmd == "run") return cmd_run(parse_run_options(argc, argv, false));
        if (cmd == "info") return cmd_info(parse_run_options(argc, argv, true));
        throw UsageError{"unknown command: " + cmd};
    } catch (const UsageError& e) {
        std::fprintf(stderr, "kaitoro-cli: %s\n\n%s", e.message.c_str(), kUsage);
        return 2;
    }
}

}  // namespace kaitoro::cli
