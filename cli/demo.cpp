// kaitoro-cli demo: one real event with every output the program has, for a first look. It is
// an ordinary `run` with its options chosen, plus three named coasts and a list of the files.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "cli/options.h"
#include "core/driver.h"
#include "core/geo.h"
#include "core/grid.h"
#include "core/solver.h"
#include "core/stations.h"
#include "feed/arrivals.h"

namespace kaitoro::cli {

namespace fs = std::filesystem;

namespace {

constexpr const char* kEventFile = "data/events/tohoku2011_satake2013.csv";
// Long enough for the wave to go round Kyushu and reach Busan (about 8 h 20 min).
constexpr double kDefaultHours = 9.0;

// A place on each coast the wave reaches: where it starts, the sea it enters by the
// Tsugaru Strait, and Korea.
struct Place {
    const char* name;
    float lat, lon;
    int station_no = 0;  // the enabled station nearest to it, 0 when none
};

// The enabled station whose cell lies nearest to each place, in grid cells.
void pick_stations(std::vector<Place>* places) {
    for (Place& p : *places) {
        float gx, gy;
        grid_xy_from_latlon(p.lat, p.lon, &gx, &gy);
        double best = 1e300;
        for (std::uint32_t i = 0; i < g_grid.station_count; ++i) {
            if (!station_is_enabled(&g_grid, int(i))) continue;
            const std::int32_t cell = g_grid.station_cell[i];
            const double dx = double(cell % std::int32_t(g_grid.nx)) - gx;
            const double dy = double(cell / std::int32_t(g_grid.nx)) - gy;
            if (dx * dx + dy * dy < best) best = dx * dx + dy * dy, p.station_no = int(i) + 1;
        }
    }
}

std::string hms(int t) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%d:%02d:%02d", t / 3600, t / 60 % 60, t % 60);
    return buf;
}

// What a file of the demo holds and what opens it, by its name.
std::string describe(const std::string& name, const std::vector<Place>& places) {
    for (const Place& p : places) {
        char stem[64];
        std::snprintf(stem, sizeof stem, "selected_stations_timeseries_station_%04d", p.station_no);
        if (name == std::string(stem) + ".csv")
            return std::string("sea level every 15 s at ") + p.name + " (spreadsheet)";
        if (name == std::string(stem) + "_graph.svg")
            return std::string("graph of that sea level at ") + p.name + " (web browser)";
    }
    static const std::pair<const char*, const char*> kFiles[] = {
        {"tsunami_station_points.csv",
         "every coastal station: maximum height, arrival time, forecast zone (spreadsheet)"},
        {"tsunami_station_points_forecast_zones.csv",
         "the highest wave of each forecast zone and its colour bin (spreadsheet)"},
        {"max_wave.png", "maximum wave height map with arrival-time contours (image viewer)"},
        {"orvex_ws_outbox.jsonl",
         "ORVEX arrival reports and warning checks, one JSON object a line (jq, text editor)"},
        {"tohoku2011.nc",
         "CF NetCDF: max height, arrival time, depth and the station series (ncdump, Panoply, "
         "xarray)"},
        {"tohoku2011.geojson", "stations and forecast zones with their results (QGIS, geojson.io)"},
        {"tohoku2011.mp4", "the wave, one frame every 5 model minutes (video player)"},
    };
    for (const auto& [file, what] : kFiles)
        if (name == file) return what;
    return "written by this run";
}

}  // namespace

int cmd_demo(int argc, char** argv) {
    std::string out = "out/demo", grid;
    double hours = kDefaultHours;
    for (OptionCursor c(argc, argv); c.next();) {
        if (c.is("--out"))
            out = c.value();
        else if (c.is("--grid"))
            grid = c.value();
        else if (c.is("--hours")) {
            hours = parse_number("--hours", c.value());
            if (hours <= 0 || hours > 60)
                throw UsageError{"--hours must be above 0 and at most 60"};
        } else
            c.unknown("unknown option for demo: ");
    }
    if (grid.empty()) grid = default_grid_path();
    const std::string event = source_tree_path(kEventFile);
    if (!file_exists(event.c_str())) {
        std::fprintf(stderr, "Error: the demonstration's event file is missing: %s\n",
                     event.c_str());
        return 1;
    }

    std::vector<Place> places = {{"Miyako (Iwate, Pacific coast)", 39.641f, 141.957f},
                                 {"Fukaura (Aomori, Japan Sea coast)", 40.646f, 139.928f},
                                 {"Busan, Nakdong estuary (Korea)", 35.09f, 128.80f}};
    if (int rc = start(grid)) return rc;
    pick_stations(&places);
    driver_shutdown();

    RunOptions o;
    o.grid = grid;
    o.faults = {event};
    o.true_speed = true;
    o.hours = hours;
    o.out = out;
    o.max_wave_png = out + "/max_wave.png";
    o.wave_layer = 2;
    o.orvex_start_delay_s = kOrvexMaxStartDelaySeconds;
    o.netcdf = out + "/tohoku2011.nc";
    o.geojson = out + "/tohoku2011.geojson";
    o.animate = out + "/tohoku2011.mp4";
    for (int i = 0; i < argc; ++i) o.command_line += (i ? " " : "") + std::string(argv[i]);
    for (const Place& p : places)
        if (p.station_no > 0) o.stations.push_back(p.station_no);

    std::printf(
        "Kaitoro demonstration: the 2011 Tohoku-oki earthquake from the event library (%s),\n"
        "run for %g model hours at the true long-wave speed (--true-speed) so the wave reaches "
        "Korea.\n"
        "ORVEX start delay %d s, the largest: every report is released as soon as it is "
        "computed,\ninstead of waiting for the wall clock to catch up with model time.\n",
        kEventFile, hours, kOrvexMaxStartDelaySeconds);
    for (const Place& p : places)
        std::printf("Time series of %s: station %d.\n", p.name, p.station_no);
    std::fflush(stdout);

    o.after_run = [&places] {
        for (const Place& p : places) {
            if (p.station_no < 1) continue;
            const std::size_t i = std::size_t(p.station_no - 1);
            const int arrival = g_sim.station_arrival_s[i];
            if (arrival > 0)
                std::printf("%s, station %d: first arrival at %s model time, highest %.2f m.\n",
                            p.name, p.station_no, hms(arrival).c_str(),
                            double(g_sim.station_max_m[i]));
            else
                std::printf("%s, station %d: no arrival within the run.\n", p.name, p.station_no);
        }
    };

    const auto begun = fs::file_time_type::clock::now() - std::chrono::seconds(2);
    const int rc = cmd_run(o);
    std::printf(
        "Slip map: not drawn. It shows finite-fault patches placed with --quick-ff; this "
        "event is a\nsubfault table of elastic dislocations. For one, try: kaitoro-cli run "
        "--quick-ff\ndata/examples/tohoku2011_like_ff.csv --epicenter 38.1,142.9 "
        "--slip-map-png slip.png\n");

    // Every file this run wrote, found on disk rather than assumed.
    std::vector<std::string> written;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(out, ec)) {
        std::error_code e2;
        if (entry.is_regular_file(e2) && entry.last_write_time(e2) >= begun)
            written.push_back(entry.path().filename().string());
    }
    std::sort(written.begin(), written.end());
    std::size_t width = 0;
    for (const std::string& w : written) width = std::max(width, w.size());
    std::printf("\nFiles written into %s:\n", out.c_str());
    for (const std::string& w : written)
        std::printf("  %-*s  %s\n", int(width), w.c_str(), describe(w, places).c_str());
    return rc;
}

}  // namespace kaitoro::cli
