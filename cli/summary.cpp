// kaitoro-cli summary: the ensemble per forecast zone and per station: the highest wave over
// all scenarios, the scenario behind it, how many scenarios reach 0.2, 1 and 3 m; as CSV
// tables and as a map with the zones in their height colours.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>

#include "batch/result_store.h"
#include "cli/options.h"
#include "core/driver.h"
#include "core/safe_file.h"
#include "core/stations.h"
#include "render/canvas.h"
#include "render/png.h"

namespace kaitoro::cli {

namespace {

struct Tally {
    double max_m = 0;
    const std::string* scenario = nullptr;
    int arrival_s = 0;
    int scenarios = 0, ge02 = 0, ge1 = 0, ge3 = 0;
    int zone = 0, grid_x = -1, grid_y = -1;

    // Strictly higher wins: among equal maxima the first scenario by id stays.
    void add(double m, int arrival, const std::string& id) {
        ++scenarios;
        ge02 += m >= 0.2;
        ge1 += m >= 1.0;
        ge3 += m >= 3.0;
        if (m > max_m) {
            max_m = m;
            scenario = &id;
            arrival_s = arrival;
        }
    }
};

std::string quoted(const char* s) {
    std::string out = "\"";
    for (; *s; ++s) out += *s == '"' ? std::string("\"\"") : std::string(1, *s);
    return out + "\"";
}

std::string tally_tail(const Tally& t) {
    char buf[256];
    std::snprintf(buf, sizeof buf, "%.6g,%s,%d,%d,%d,%d,%d,%s,%s\n", t.max_m,
                  t.scenario ? t.scenario->c_str() : "", t.arrival_s, t.scenarios, t.ge02, t.ge1,
                  t.ge3, tsunami_height_color_bin(float(t.max_m)),
                  tsunami_height_color_hex(float(t.max_m)));
    return buf;
}

bool write_text(const std::string& path, const std::string& text) {
    SafeFile f(path.c_str());
    return f && std::fwrite(text.data(), 1, text.size(), f.get()) == text.size() && f.commit();
}

std::uint32_t hex_rgb(const char* hex) {
    return hex[0] == '#' ? std::uint32_t(std::strtoul(hex + 1, nullptr, 16)) : 0xFFFFFF;
}

// The grid's land and sea, north up, with every station drawn in its zone's colour.
bool write_map(const std::string& path, const std::map<int, Tally>& zones,
               const std::map<int, Tally>& stations, int scenario_count) {
    constexpr int kScale = 2;
    const int w = int(g_grid.nx) * kScale, h = int(g_grid.ny) * kScale;
    Rgb24Canvas c;
    if (!rgb24_canvas_create(&c, w, h)) return false;
    for (int y = 0; y < int(g_grid.ny); ++y)
        for (int x = 0; x < int(g_grid.nx); ++x) {
            const bool land = g_grid.solid[std::size_t(y) * g_grid.nx + std::size_t(x)] != 0;
            const int top = (int(g_grid.ny) - 1 - y) * kScale;
            rgb24_fill_rect_rgb(&c, x * kScale, top, x * kScale + kScale - 1, top + kScale - 1,
                                land ? 0xD8D4C8 : 0xE4EEF6);
        }
    // Quiet zones first, so the coloured ones stay on top where stations crowd.
    for (int pass = 0; pass < 2; ++pass)
        for (const auto& [no, t] : stations) {
            const auto z = zones.find(t.zone);
            if (z == zones.end() || t.grid_x < 0) continue;
            const char* hex = tsunami_height_color_hex(float(z->second.max_m));
            const bool quiet = hex[0] != '#';
            if (quiet != (pass == 0)) continue;
            const int cx = t.grid_x * kScale, cy = (int(g_grid.ny) - 1 - t.grid_y) * kScale;
            const int r = quiet ? 1 : 3;
            rgb24_fill_rect_rgb(&c, cx - r, cy - r, cx + r, cy + r,
                                quiet ? 0x9A9A9A : hex_rgb(hex));
        }
    static const float kBins[12] = {0, 0.05f, 0.1f, 0.2f, 0.5f, 1, 2, 3, 4, 5, 8, 10};
    const int lx = 16, ly = 16;
    rgb24_fill_rect_rgb(&c, lx - 8, ly - 8, lx + 330, ly + 42 + 12 * 24, 0xFFFFFF);
    rgb24_draw_rect_outline(&c, lx - 8, ly - 8, lx + 330, ly + 42 + 12 * 24);
    char title[96];
    std::snprintf(title, sizeof title, "Highest zone wave over %d scenario(s)", scenario_count);
    rgb24_draw_text(&c, lx, ly, title, 18, 1, 0x111111);
    for (int k = 0; k < 12; ++k) {
        const int y = ly + 40 + k * 24;
        const char* hex = tsunami_height_color_hex(kBins[k]);
        rgb24_fill_rect_rgb(&c, lx, y, lx + 30, y + 16, hex[0] == '#' ? hex_rgb(hex) : 0x9A9A9A);
        rgb24_draw_text(&c, lx + 40, y - 1, tsunami_height_color_bin(kBins[k]), 16, 0, 0x111111);
    }
    // Whole or nothing: the image goes to a side file that replaces the target when complete.
    const std::string partial = path + ".partial";
    if (!png_write_rgb24_file(partial.c_str(), c.pixels.data(), w, h)) {
        std::remove(partial.c_str());
        return false;
    }
    return std::rename(partial.c_str(), path.c_str()) == 0;
}

}  // namespace

int cmd_summary(int argc, char** argv) {
    std::string db, out, grid;
    for (OptionCursor c(argc, argv); c.next();) {
        if (c.is("--db"))
            db = c.value();
        else if (c.is("--out"))
            out = c.value();
        else if (c.is("--grid"))
            grid = c.value();
        else
            c.unknown("unknown option for summary: ");
    }
    if (db.empty() || out.empty()) throw UsageError{"summary needs --db FILE --out DIR"};
    if (grid.empty()) grid = default_grid_path();

    ResultStore store;
    std::string error;
    std::vector<ScenarioRecord> rows;
    if (!store.open_read_only(db, &error) || !store.read_all(&rows, true, &error)) {
        std::fprintf(stderr, "Error: %s\n", error.c_str());
        return 1;
    }
    std::map<int, Tally> zones, stations;
    for (int z = 1; z <= 93; ++z)
        if (z != 67) zones[z].zone = z;
    int done = 0, failed = 0;
    for (const ScenarioRecord& r : rows) {
        if (r.status != "done") {
            ++failed;
            continue;
        }
        ++done;
        for (const ZoneResult& z : r.zones)
            if (zones.count(z.zone_id)) zones[z.zone_id].add(z.max_height_m, z.arrival_s, r.id);
        for (const StationResult& s : r.stations) {
            Tally& t = stations[s.station_no];
            t.zone = s.zone_id;
            t.grid_x = s.grid_x;
            t.grid_y = s.grid_y;
            t.add(s.max_height_m, s.arrival_s, r.id);
        }
    }
    if (done == 0) {
        std::fprintf(stderr, "Error: %s holds no finished scenario\n", db.c_str());
        return 1;
    }
    std::error_code ec;
    std::filesystem::create_directories(out, ec);
    if (ec) {
        std::fprintf(stderr, "Error: could not create output folder: %s: %s\n", out.c_str(),
                     ec.message().c_str());
        return 1;
    }
    const char* kCounts =
        "scenarios,scenarios_ge_0.2m,scenarios_ge_1m,scenarios_ge_3m,color_bin,color_hex\n";
    std::string zt =
        "\xEF\xBB\xBF"
        "forecast_zone_id,forecast_zone_name,max_height_m,"
        "scenario_of_max,arrival_s," +
        std::string(kCounts);
    for (const auto& [id, t] : zones)
        zt +=
            std::to_string(id) + "," + quoted(forecast_zone_name_from_id(id)) + "," + tally_tail(t);
    std::string st =
        "\xEF\xBB\xBF"
        "station_no,forecast_zone_id,grid_x,grid_y,max_height_m,"
        "scenario_of_max,arrival_s," +
        std::string(kCounts);
    for (const auto& [no, t] : stations)
        st += std::to_string(no) + "," + std::to_string(t.zone) + "," + std::to_string(t.grid_x) +
              "," + std::to_string(t.grid_y) + "," + tally_tail(t);
    const std::string zpath = out + "/zone_summary.csv", spath = out + "/station_summary.csv",
                      mpath = out + "/zone_summary_map.png";
    for (const auto& [path, text] : {std::pair{zpath, zt}, std::pair{spath, st}})
        if (!write_text(path, text)) {
            std::fprintf(stderr, "Error: could not write %s\n", path.c_str());
            return 1;
        }
    std::printf("Summary of %d finished scenario(s) (%d failed left out): %s, %s\n", done, failed,
                zpath.c_str(), spath.c_str());
    if (int rc = start(grid)) return rc;
    const bool ok = write_map(mpath, zones, stations, done);
    driver_shutdown();
    if (!ok) {
        std::fprintf(stderr, "Error: could not write %s\n", mpath.c_str());
        return 1;
    }
    std::printf("Map: %s\n", mpath.c_str());
    return 0;
}

}  // namespace kaitoro::cli
