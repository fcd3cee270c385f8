#include "cli/options.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "core/driver.h"
#include "core/gauges.h"
#include "core/platform.h"
#include "core/solver.h"
#include "export/animation.h"
#include "core/text_input.h"
#include "feed/arrivals.h"
#include "render/colors.h"

namespace kaitoro::cli {

const char kUsage[] =
    "usage: kaitoro-cli run  [GRID] [options]   run a scenario and write result tables\n"
    "       kaitoro-cli info [GRID] [--grid PATH] print the grid's facts as JSON\n"
    "       kaitoro-cli validate [options]      run the event library against recorded\n"
    "                                           tsunamis and write docs/validation.md\n"
    "       kaitoro-cli scenarios --trench FILE --mw MIN:MAX:STEP --spacing-km KM [options]\n"
    "                                           write a scenario table along a trench\n"
    "       kaitoro-cli batch TABLE --db FILE [options]  run every scenario into a database\n"
    "       kaitoro-cli merge --db FILE SHARD|DIR...     fold cluster shards into a database\n"
    "       kaitoro-cli lookup --db FILE --epicenter LAT,LON --mw M [--count N] [--json]\n"
    "                                           the nearest scenarios' forecast-zone heights\n"
    "       kaitoro-cli summary --db FILE --out DIR [--grid PATH]\n"
    "                                           per zone and station maxima and exceedances\n"
    "       kaitoro-cli demo [--out DIR] [--grid PATH] [--hours H]\n"
    "                                           the 2011 Tohoku tsunami with every output\n"
    "                                           (default out/demo, 9 model hours)\n"
    "\n"
    "GRID defaults to data/tsunami_data.bin beside the program's source tree, else\n"
    "tsunami_data.bin in the working directory.\n"
    "\n"
    "run options:\n"
    " sources (the earthquake):\n"
    "  --grid PATH            grid data file (same as GRID)\n"
    "  --overrides CSV        land overrides (grid_x,grid_y,mode) instead of the default search\n"
    "  --sources CSV          source points (grid_x,grid_y,height_m,delay_s); repeatable\n"
    "  --demo-source          add a 4 m uplift patch off the Sanriku coast\n"
    "  --preset FILE          load a preset (source and source-design settings) first; the\n"
    "                         other source options add to its source\n"
    "  --quick-ff FILE        place a finite-fault patch grid CSV (the editor's matrix file or\n"
    "                         any form it loads) with its delay-0 cell at --epicenter\n"
    "  --epicenter LAT,LON    epicentre in degrees for --quick-ff (e.g. 38.1,142.9)\n"
    "  --strike DEG           strike of the finite fault, clockwise from north (default 0)\n"
    "  --patch-length KM      patch length along strike (default: the file's, else 40)\n"
    "  --patch-width KM       patch width down dip (default: the file's, else 20)\n"
    "  --depth KM             depth of the fault at the epicentre (default 20)\n"
    "  --fault FILE           add a fault table (lat,lon,depth_km,strike_deg,dip_deg,rake_deg,\n"
    "                         length_km,width_km,slip_m[,rupture_s,reference]) as an elastic-\n"
    "                         dislocation (Okada 1985) source: uplift and subsidence; repeatable\n"
    " run (how long, what to record):\n"
    "  --hours H              model hours to run (default 2)\n"
    "  --steps N              model steps of 15 s to run (instead of --hours)\n"
    "  --no-transmit-limit    run past the 60 h transmit-only limit\n"
    "  --station N            record the time series of station number N; repeatable\n"
    "  --gauge NAME,LAT,LON   record the sea-surface height every step at the sea cell nearest\n"
    "                         to that point (the run says which cell and how far); repeatable.\n"
    "                         All gauges go to gauges.csv (time_s, one column per gauge) and\n"
    "                         gauge_cells.csv (cell, depth, distance, arrival) in the output folder\n"
    "  --gauges CSV           add the gauges of a file of name,lat,lon lines; repeatable\n"
    " outputs:\n"
    "  --out DIR              output folder (default out)\n"
    "  --max-wave-png FILE    after the run, write the max-wave image (the O key's) to FILE\n"
    "  --colors FILE          colour scales for images from a settings file (default: built-in)\n"
    "  --wave-layer 0|1|2     wave layer of that image: 2 adds arrival contours (default 0)\n"
    "  --slip-map-png FILE    write the finite-fault slip map of the placed patches to FILE\n"
    "  --save-preset FILE     save the applied source and the settings as a preset\n"
    "  --netcdf FILE          write CF NetCDF-4 results: max height, arrival time, depth, land\n"
    "                         mask on the grid's lat/lon, and the stations with the --station\n"
    "                         series\n"
    "  --snapshot-every MIN   add sea-surface snapshots eta(time, y, x) to --netcdf every MIN\n"
    "                         minutes of model time (a multiple of 0.25)\n"
    "  --geojson FILE         write the stations and forecast zones as GeoJSON\n"
    "  --animate FILE         write an animation of the wave, FILE.mp4 (H.264) or FILE.gif\n"
    "  --frame-every MIN      one animation frame every MIN minutes of model time (default 5)\n"
    " feed (the ORVEX outbox):\n"
    "  --orvex-start-delay S  ORVEX start delay in seconds, 0..604800 (default 0); reports are\n"
    "                         released when wall-clock time plus S reaches their model time,\n"
    "                         so 604800 releases every report as soon as it is computed.\n"
    "                         The outbox orvex_ws_outbox.jsonl is written into the output folder.\n"
    " modes (beyond the documented model):\n"
    "  --true-speed           scale every coupling so waves travel at sqrt(g h) at each\n"
    "                         latitude (off: the documented depth/18000 coupling)\n"
    "  --okada                place the --quick-ff patches as dislocation subfaults instead of\n"
    "                         the slip-to-height stamps\n"
    "  --horizontal-term      with --fault or --okada, add the sea-floor slope term of Tanioka\n"
    "                         and Satake (1996): horizontal motion times the depth gradient\n"
    "\n"
    "validate options (each event of the library that has observations runs in the documented\n"
    "mode and with --true-speed, its fault table as the source, gauges at the observation points):\n"
    "  --event TEXT           only events whose name contains TEXT; repeatable\n"
    "  --hours H              at most H model hours per run (default: half an hour past the\n"
    "                         event's latest observed time)\n"
    "  --out DIR              where validation.md and validation/*.png go (default docs)\n"
    "  --events DIR           the event library (default data/events)\n"
    "  --observations CSV     the observations (default validation/observations.csv)\n"
    "  --grid PATH            grid data file\n"
    "  --work DIR             keep the runs' files in DIR (default: a temporary folder, removed)\n"
    "  --keep-runs            do not remove the temporary folder\n"
    "\n"
    "scenario tables (CSV with a header; one scenario per line): id, then one source form:\n"
    "  fault (a fault-table path), or lat,lon,mw (an interface rupture sized by Strasser et\n"
    "  al. 2010; optional depth_km 20, strike_deg 195, dip_deg 15, rake_deg 90), or\n"
    "  lat,lon,depth_km,strike_deg,dip_deg,rake_deg,length_km,width_km,slip_m; plus optional\n"
    "  hours (default 3, at most 60) and true_speed (0 or 1).\n"
    "\n"
    "scenarios options:\n"
    "  --trench FILE          polyline lat,lon,depth_km,dip_deg, the plate dipping to the right\n"
    "  --mw MIN:MAX:STEP      magnitudes at every position (e.g. 7.5:9.0:0.25)\n"
    "  --spacing-km KM        distance between positions along the trench\n"
    "  --hours H              model hours per scenario (default 3)\n"
    "  --true-speed           mark every scenario to run at the true long-wave speed\n"
    "  --id-prefix TEXT       scenario id prefix (default: the trench file's name)\n"
    "  --out FILE             the table (default: standard output)\n"
    "\n"
    "batch options:\n"
    "  --db FILE              result database (SQLite), created when missing; finished\n"
    "                         scenarios are skipped, so a stopped batch resumes\n"
    "  --jobs N               scenarios at once, one process each (default: the core count)\n"
    "  --grid PATH            grid data file\n"
    "  --retry-failed         run failed scenarios again\n"
    "  --slice K/N            run only rows whose index modulo N is K\n"
    "  --slurm                submit a Slurm job array instead (sbatch): each task runs a slice\n"
    "                         into DIR/shard_<task>.sqlite, merged with `merge`\n"
    "  --array-size N         tasks of the array (default: scenarios, at most 64)\n"
    "  --partition NAME       Slurm partition; --time-limit T  time limit per task (sbatch --time)\n"
    "  --shard-dir DIR        shard folder on a shared file system (default DB.shards)\n"
    "  --wait                 wait for the array to end, then merge its shards into --db\n";

bool OptionCursor::next() {
    if (++i_ >= argc_) return false;
    arg_ = argv_[i_];
    return true;
}

bool OptionCursor::is(const char* name) {
    if (std::find(known_.begin(), known_.end(), name) == known_.end()) known_.push_back(name);
    return arg_ == name;
}

const char* OptionCursor::value() {
    if (i_ + 1 >= argc_) throw UsageError{arg_ + " needs a value"};
    return argv_[++i_];
}

void OptionCursor::unknown(const std::string& prefix) const {
    const std::string near = arg_.rfind("-", 0) == 0 ? nearest_option(arg_, known_) : "";
    throw UsageError{prefix + arg_ + (near.empty() ? "" : "; did you mean " + near + "?")};
}

namespace {
std::size_t edit_distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t up = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] != b[j - 1])});
            diagonal = up;
        }
    }
    return row[b.size()];
}
}  // namespace

std::string nearest_option(const std::string& typed, const std::vector<std::string>& known) {
    std::string best;
    std::size_t best_distance = 3;  // more than two edits is another word, not a slip
    for (const std::string& k : known) {
        std::size_t d = edit_distance(typed, k);
        // "--true" for "--true-speed": a name cut short is as good as one slip.
        if (typed.size() >= 4 && k.rfind(typed, 0) == 0) d = std::min<std::size_t>(d, 1);
        if (d < best_distance) best_distance = d, best = k;
    }
    return best;
}

std::string source_tree_path(const char* relative) {
#ifdef KAITORO_SOURCE_TREE
    const std::string p = std::string(KAITORO_SOURCE_TREE) + "/" + relative;
    std::error_code ec;  // a folder (data/events) counts too
    if (std::filesystem::exists(p, ec)) return p;
#endif
    return relative;
}

const char kShortUsage[] =
    "usage: kaitoro-cli run [GRID] [options]   run a scenario and write result tables\n"
    "       kaitoro-cli demo [--out DIR]        the 2011 Tohoku tsunami with every output\n"
    "       kaitoro-cli COMMAND [options]       also info, validate, scenarios, batch, merge,\n"
    "                                           lookup and summary\n"
    "       kaitoro-cli --help                  every command and option\n"
    "\n"
    "First time? Run the demonstration: kaitoro-cli demo   (results in out/demo)\n";

std::string default_grid_path() {
#ifdef KAITORO_DEFAULT_GRID
    if (file_exists(KAITORO_DEFAULT_GRID)) return KAITORO_DEFAULT_GRID;
#endif
    return "tsunami_data.bin";
}

double parse_number(const char* opt, const char* text) {
    // Decimal only: strtod would also take "0x10", "inf" and "nan".
    for (const char* p = text; *p; ++p)
        if (!std::strchr("0123456789+-.eE", *p)) throw UsageError{std::string(opt) + " needs a number"};
    char* end = nullptr;
    const double v = std::strtod(text, &end);
    if (!*text || *end || !std::isfinite(v)) throw UsageError{std::string(opt) + " needs a number"};
    return v;
}

// Minutes of model time as whole model steps (15 s), above 0.
static int parse_minutes(const std::string& opt, const char* text) {
    const double m = parse_number(opt.c_str(), text);
    const double s = m * 60.0;
    if (!(m > 0) || s > 1e8 || s != std::floor(s) || long(s) % kModelStepSeconds != 0)
        throw UsageError{opt + " needs minutes above 0, a multiple of 0.25"};
    return int(s);
}

namespace {
// Model time is counted in int seconds: a run may not go past it.
constexpr double kMaxRunSeconds = 2147483647.0 - 3600.0;
}

RunOptions parse_run_options(int argc, char** argv, bool info) {
    RunOptions o;
    for (int i = 0; i < argc; ++i) o.command_line += (i ? " " : "") + std::string(argv[i]);
    for (OptionCursor c(argc, argv); c.next();) {
        const std::string& a = c.arg();
        if (c.is("--grid")) o.grid = c.value();
        else if (c.positional() && o.grid.empty()) o.grid = a;
        else if (info) c.unknown("unknown option for info: ");
        else if (c.is("--overrides")) o.overrides = c.value();
        else if (c.is("--sources")) o.sources.push_back(c.value());
        else if (c.is("--demo-source")) o.demo_source = true;
        else if (c.is("--preset")) o.preset = c.value();
        else if (c.is("--save-preset")) o.save_preset = c.value();
        else if (c.is("--station")) {
            const double n = parse_number("--station", c.value());
            if (n < 1 || n > 2147483647.0 || n != std::floor(n))
                throw UsageError{"--station needs a station number"};
            o.stations.push_back(int(n));
        } else if (c.is("--hours")) {
            o.hours = parse_number("--hours", c.value());
            if (o.hours < 0) throw UsageError{"--hours must not be negative"};
            if (o.hours * 3600.0 > kMaxRunSeconds)
                throw UsageError{"--hours must be at most " +
                                 std::to_string(int(kMaxRunSeconds / 3600.0))};
        } else if (c.is("--steps")) {
            const double n = parse_number("--steps", c.value());
            if (n < 0 || n != std::floor(n)) throw UsageError{"--steps needs a whole number"};
            if (n * kModelStepSeconds > kMaxRunSeconds)
                throw UsageError{"--steps must be at most " +
                                 std::to_string((long long)(kMaxRunSeconds / kModelStepSeconds))};
            o.steps = (long long)n;
        } else if (c.is("--no-transmit-limit")) o.transmit_limit = false;
        else if (c.is("--out")) o.out = c.value();
        else if (c.is("--max-wave-png")) o.max_wave_png = c.value();
        else if (c.is("--colors")) o.colors = c.value();
        else if (c.is("--slip-map-png")) o.slip_map_png = c.value();
        else if (c.is("--wave-layer")) {
            const std::string v = c.value();
            if (v != "0" && v != "1" && v != "2") throw UsageError{"--wave-layer needs 0, 1 or 2"};
            o.wave_layer = v[0] - '0';
        }
        else if (c.is("--orvex-start-delay")) {
            const double n = parse_number("--orvex-start-delay", c.value());
            if (n < 0 || n > kOrvexMaxStartDelaySeconds || n != std::floor(n))
                throw UsageError{"--orvex-start-delay must be an integer from 0 to 604800 seconds"};
            o.orvex_start_delay_s = int(n);
        }
        else if (c.is("--quick-ff")) o.quick_ff = c.value();
        else if (c.is("--fault")) o.faults.push_back(c.value());
        else if (c.is("--true-speed")) o.true_speed = true;
        else if (c.is("--gauge")) {
            o.gauges.push_back(c.value());
            Gauge g;
            std::string why;
            if (!gauge_parse_spec(o.gauges.back(), &g, &why)) throw UsageError{"--gauge " + why};
        }
        else if (c.is("--gauges")) o.gauge_files.push_back(c.value());
        else if (c.is("--okada")) o.okada = true;
        else if (c.is("--horizontal-term")) o.horizontal_term = true;
        else if (c.is("--epicenter")) {
            const std::string v = c.value();
            const std::size_t comma = v.find(',');
            if (comma == std::string::npos) throw UsageError{"--epicenter needs LAT,LON"};
            o.epicenter_lat = parse_number("--epicenter", v.substr(0, comma).c_str());
            o.epicenter_lon = parse_number("--epicenter", v.substr(comma + 1).c_str());
            if (std::fabs(o.epicenter_lat) > 90 || std::fabs(o.epicenter_lon) > 360)
                throw UsageError{"--epicenter needs a latitude and longitude in degrees"};
            o.has_epicenter = true;
        } else if (c.is("--strike")) o.strike = parse_number("--strike", c.value());
        else if (c.is("--patch-length")) {
            o.patch_length = parse_number("--patch-length", c.value());
            if (*o.patch_length <= 0) throw UsageError{"--patch-length must be above 0 km"};
        } else if (c.is("--patch-width")) {
            o.patch_width = parse_number("--patch-width", c.value());
            if (*o.patch_width <= 0) throw UsageError{"--patch-width must be above 0 km"};
        } else if (c.is("--depth")) {
            o.depth = parse_number("--depth", c.value());
            if (*o.depth < 0 || *o.depth > 700) throw UsageError{"--depth must be 0 to 700 km"};
        }
        else if (c.is("--netcdf")) o.netcdf = c.value();
        else if (c.is("--geojson")) o.geojson = c.value();
        else if (c.is("--animate")) o.animate = c.value();
        else if (c.is("--snapshot-every")) o.snapshot_every_s = parse_minutes(a, c.value());
        else if (c.is("--frame-every")) o.frame_every_s = parse_minutes(a, c.value());
        else c.unknown("unknown option: ");
    }
    if (!o.quick_ff.empty() && !o.has_epicenter) throw UsageError{"--quick-ff needs --epicenter"};
    if (o.quick_ff.empty() && (o.has_epicenter || o.strike || o.patch_length || o.patch_width ||
                               o.depth))
        throw UsageError{"--epicenter, --strike, --patch-*, --depth need --quick-ff"};
    if (o.okada && o.quick_ff.empty()) throw UsageError{"--okada needs --quick-ff"};
    if (o.horizontal_term && o.faults.empty() && !o.okada)
        throw UsageError{"--horizontal-term needs --fault or --okada"};
    if (o.snapshot_every_s > 0 && o.netcdf.empty())
        throw UsageError{"--snapshot-every needs --netcdf"};
    if (!o.animate.empty()) {
        AnimationFormat format;
        if (!animation_format_for_path(o.animate, &format))
            throw UsageError{"--animate needs a file name ending in .mp4 or .gif"};
    }
    if (o.grid.empty()) o.grid = default_grid_path();
    return o;
}

int start(const std::string& grid_path, const std::string& colors_path) {
    // The desktop rewrites tsunami_color_settings.ini beside the program after every colour
    // edit; reading it here would change this program's images behind the user's back.
    g_auto_load_color_settings_hook = [] { return 0; };
    if (!colors_path.empty()) {
        std::string why;
        if (!load_color_settings_file(colors_path.c_str(), &why)) {
            std::fprintf(stderr, "Error: --colors %s: %s\n", colors_path.c_str(), why.c_str());
            return 2;
        }
    }
    // The real reason (missing, a directory, no permission), in the loader's own words.
    std::FILE* f = open_regular_file(grid_path.c_str());
    if (!f) {
        std::fprintf(stderr, "Error: could not open data file: %s: %s\n", grid_path.c_str(),
                     std::strerror(errno));
        return 1;
    }
    std::fclose(f);
    char* args[] = {const_cast<char*>("kaitoro-cli"), const_cast<char*>(grid_path.c_str())};
    return driver_startup(2, args);
}

}  // namespace kaitoro::cli
