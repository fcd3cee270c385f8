// Loads the generated grid through the program's own loader and start-up override step, and
// reports what a user would get: how many stations keep the zone the generator intended (the
// loader's correction tables and smoothing passes may change some), whether the visible land
// mask keeps every sea cell of the file, the observation points, and the known places.
//
// Usage: verify_grid DATA_DIR GRIDGEN_DIR   (exit status 0 when every check passes)
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "core/geo.h"
#include "core/grid.h"
#include "core/masks.h"
#include "core/stations.h"

using namespace kaitoro;

namespace {

struct FileGrid {
    std::uint32_t nx = 0, ny = 0, count = 0;
    std::vector<float> depth;
    std::vector<std::int32_t> cell, zone;
};

FileGrid read_raw(const std::string& path) {
    FileGrid f;
    std::ifstream in(path, std::ios::binary);
    char magic[16];
    in.read(magic, 16);
    in.read(reinterpret_cast<char*>(&f.nx), 4);
    in.read(reinterpret_cast<char*>(&f.ny), 4);
    in.read(reinterpret_cast<char*>(&f.count), 4);
    const std::size_t cells = std::size_t(f.nx) * f.ny;
    f.depth.resize(cells);
    in.read(reinterpret_cast<char*>(f.depth.data()), std::streamsize(cells * 4));
    in.seekg(std::streamoff(cells), std::ios::cur);
    f.cell.resize(f.count);
    f.zone.resize(f.count);
    in.read(reinterpret_cast<char*>(f.cell.data()), std::streamsize(f.count * 4));
    in.read(reinterpret_cast<char*>(f.zone.data()), std::streamsize(f.count * 4));
    if (!in) {
        std::fprintf(stderr, "verify_grid: cannot read %s\n", path.c_str());
        std::exit(1);
    }
    return f;
}

std::vector<std::string> data_lines(const std::string& path) {
    std::ifstream in(path);
    if (!in) {
        std::fprintf(stderr, "verify_grid: cannot open %s\n", path.c_str());
        std::exit(1);
    }
    std::vector<std::string> out;
    std::string line;
    while (std::getline(in, line)) {
        line = line.substr(0, line.find('#'));
        if (line.find_first_not_of(" \t\r") != std::string::npos) out.push_back(line);
    }
    return out;
}

double km_per_cell_at(float gy) {
    float lat = 0, lon = 0;
    latlon_from_grid_xy(0.0f, gy, &lat, &lon);
    return std::max(0.01, 5.72096 * std::cos(lat * 3.14159265358979 / 180.0));
}

// Nearest enabled station (optionally of one zone) to a point; returns the index or -1.
int nearest_station(const GridData& g, float gx, float gy, int zone, double* km) {
    int best = -1;
    double bd = 1e300;
    for (std::uint32_t i = 0; i < g.station_count; ++i) {
        if (!station_is_enabled(&g, int(i)) || !g.cell_valid(g.station_cell[i])) continue;
        if (zone > 0 && g.station_zone[i] != zone) continue;
        const double dx = g.station_cell[i] % int(g.nx) - gx,
                     dy = g.station_cell[i] / int(g.nx) - gy;
        const double d = dx * dx + dy * dy;
        if (d < bd) bd = d, best = int(i);
    }
    *km = std::sqrt(bd) * km_per_cell_at(gy);
    return best;
}

struct Obs {
    const char* code;
    float lat, lon;
    int zone;
};

const Obs kObs[] = {
    {"WAKKANAI", 45.4167f, 141.6833f, 5},
    {"ABASHIRI", 44.0167f, 144.2833f, 1},
    {"KUSHIRO", 42.9833f, 144.3667f, 2},
    {"NEMURO", 43.3333f, 145.5833f, 2},
    {"HAKODATE", 41.7667f, 140.7167f, 4},
    {"AOMORI", 40.8333f, 140.7333f, 7},
    {"HACHINOHE", 40.5333f, 141.5333f, 9},
    {"MIYAKO", 39.6333f, 141.9667f, 10},
    {"KAMAISHI", 39.2667f, 141.8833f, 10},
    {"OFUNATO", 39.0667f, 141.7167f, 10},
    {"AYUKAWA", 38.3f, 141.5f, 11},
    {"SENDAI", 38.2667f, 141.0167f, 11},
    {"ONAHAMA", 36.9333f, 140.9167f, 12},
    {"CHOSHI", 35.7333f, 140.8667f, 16},
    {"TOKYO", 35.65f, 139.7667f, 18},
    {"YOKOHAMA", 35.45f, 139.65f, 18},
    {"IZU_OSHIMA_OKADA", 34.782f, 139.393f, 19},
    {"TOSHIMA", 34.52f, 139.282f, 19},
    {"NIIJIMA", 34.377f, 139.257f, 19},
    {"SHIKINEJIMA", 34.326f, 139.217f, 19},
    {"KOZUSHIMA", 34.205f, 139.134f, 19},
    {"MIYAKEJIMA_AKO", 34.075f, 139.48f, 19},
    {"MIKURAJIMA", 33.875f, 139.602f, 19},
    {"HACHIJOJIMA_YAENE", 33.109f, 139.775f, 19},
    {"AOGASHIMA", 32.458f, 139.763f, 19},
    {"OMAEZAKI", 34.6f, 138.2167f, 22},
    {"NAGOYA", 35.0833f, 136.8833f, 24},
    {"OSAKA", 34.65f, 135.4333f, 36},
    {"KOBE", 34.6833f, 135.2f, 34},
    {"HIROSHIMA", 34.35f, 132.4667f, 42},
    {"UWAJIMA", 33.2167f, 132.5667f, 45},
    {"KOCHI", 33.5f, 133.5667f, 47},
    {"KAGOSHIMA", 31.5833f, 130.5667f, 61},
    {"NAZE", 28.3833f, 129.5f, 63},
    {"NAHA", 26.2167f, 127.6667f, 64},
    {"ISHIGAKI", 24.3333f, 124.1667f, 66},
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: verify_grid DATA_DIR GRIDGEN_DIR\n");
        return 2;
    }
    const std::string data = argv[1], tools = argv[2];
    const std::string bin = data + "/tsunami_data.bin";
    int failures = 0;

    const FileGrid file = read_raw(bin);
    GridData g = load_grid_data(bin.c_str());
    if (!load_land_override_csv(&g, (data + "/coast_override.csv").c_str())) {
        std::printf("FAIL: coast_override.csv did not load\n");
        ++failures;
    }
    rebuild_solid_mask(&g);
    std::printf("Loaded %s: %u x %u, %u stations, %d land overrides\n", bin.c_str(), g.nx, g.ny,
                g.station_count, count_land_overrides(&g));

    // The generator's copy of the loader's fixed rows against the loader's own tables.
    std::map<int, int> loader_final;
    for (int s : zone48_station_list()) loader_final[s] = 48;
    for (const auto& r : single_station_zone_table()) loader_final[r.station_no] = r.zone_id;
    for (int s : zone49_station_list()) loader_final[s] = 49;
    std::map<int, int> copy_final, copy_kma;
    for (const auto& line : data_lines(tools + "/fixed_station_rows.txt")) {
        std::istringstream in(line);
        int no = 0, zone = 0;
        std::string source;
        in >> no >> zone >> source;
        (source == "kma" ? copy_kma : copy_final)[no] = zone;
    }
    if (copy_final != loader_final) {
        std::printf("FAIL: fixed_station_rows.txt differs from the loader's tables\n");
        ++failures;
    }
    std::map<int, int> embedded;
    for (const auto& r : kma_zone_table()) embedded[r.station_no] = r.zone_id;
    std::map<int, int> shipped;
    for (const auto& line : data_lines(data + "/kma_zone_table.csv")) {
        int no = 0, zone = 0;
        if (std::sscanf(line.c_str(), "%d,%d", &no, &zone) == 2) shipped[no] = zone;
    }
    if (embedded != shipped) {
        std::printf(
            "FAIL: the library embeds another KMA table than data/kma_zone_table.csv "
            "(reconfigure the build)\n");
        ++failures;
    }
    for (auto& [no, zone] : copy_kma)
        if (!embedded.count(no) || embedded[no] != zone) {
            std::printf("FAIL: KMA row %d -> %d missing from the table\n", no, zone);
            ++failures;
        }
    int fixed_off = 0;
    for (auto& [no, zone] : loader_final)
        if (std::uint32_t(no) <= g.station_count && file.zone[no - 1] != zone) ++fixed_off;
    for (auto& [no, zone] : embedded)
        if (std::uint32_t(no) <= g.station_count && file.zone[no - 1] != zone) ++fixed_off;
    std::printf("Correction rows landing on a station of another zone: %d of %zu\n", fixed_off,
                loader_final.size() + embedded.size());
    if (fixed_off) ++failures;

    // Zones after loading against the zones the generator wrote.
    int same = 0;
    std::vector<std::string> changed;
    for (std::uint32_t i = 0; i < g.station_count; ++i) {
        if (g.station_zone[i] == file.zone[i]) {
            ++same;
            continue;
        }
        const int c = g.station_cell[i];
        char buf[160];
        float lat = 0, lon = 0;
        latlon_from_grid_xy(float(c % int(g.nx)), float(c / int(g.nx)), &lat, &lon);
        std::snprintf(buf, sizeof buf, "  station %u at %d,%d (%.2fN %.2fE): zone %d -> %d", i + 1,
                      c % int(g.nx), c / int(g.nx), lat, lon, file.zone[i], g.station_zone[i]);
        changed.emplace_back(buf);
    }
    const double share = g.station_count ? 100.0 * same / g.station_count : 0.0;
    std::printf("Stations carrying the intended zone after loading: %d of %u (%.2f%%)\n", same,
                g.station_count, share);
    std::printf("Stations the loader's corrections and smoothing changed: %zu\n", changed.size());
    for (const auto& s : changed) std::printf("%s\n", s.c_str());
    if (share < 99.0) ++failures;

    // The visible land mask must keep the file's sea and the overrides' water.
    int sea_lost = 0, land_opened = 0;
    for (std::size_t c = 0; c < g.cell_count(); ++c) {
        const bool water = file.depth[c] > 0 || g.land_override[c] == 0;
        if (water && g.land[c]) ++sea_lost;
        if (!water && !g.land[c] && !g.hidden[c]) ++land_opened;
    }
    std::printf(
        "Sea cells of the file that start-up turns into land: %d; land cells it opens: %d\n",
        sea_lost, land_opened);
    if (sea_lost || land_opened) ++failures;

    int disabled = 0;
    std::map<int, int> per_zone;
    for (std::uint32_t i = 0; i < g.station_count; ++i) {
        if (!station_is_enabled(&g, int(i)))
            ++disabled;
        else
            ++per_zone[g.station_zone[i]];
    }
    std::printf("Disabled stations: %d\nEnabled stations per zone:", disabled);
    int empty = 0;
    for (int z = 1; z <= 93; ++z) {
        if ((z - 1) % 12 == 0) std::printf("\n ");
        std::printf(" %2d:%-4d", z, per_zone[z]);
        if (z != 67 && per_zone[z] == 0) ++empty;
    }
    std::printf("\nEmpty forecast zones: %d\n", empty);
    if (empty) ++failures;

    std::printf("Observation points:\n");
    for (const auto& p : kObs) {
        float gx = 0, gy = 0;
        grid_xy_from_latlon(p.lat, p.lon, &gx, &gy);
        if (p.zone == 19) {
            const int c0 = int(std::floor(gx + 0.5f)), r0 = int(std::floor(gy + 0.5f));
            bool found = false;
            for (int y = r0 - 34; y <= r0 + 34 && !found; ++y)
                for (int x = c0 - 34; x <= c0 + 34 && !found; ++x) {
                    if ((x - c0) * (x - c0) + (y - r0) * (y - r0) > 34 * 34 || !g.in_grid(x, y))
                        continue;
                    const std::size_t c = std::size_t(y) * g.nx + x;
                    found = !g.hidden[c] && !g.solid[c] && g.effective_depth_m[c] > 0;
                }
            std::printf("  %-18s zone 19: sea cell within 34 cells: %s\n", p.code,
                        found ? "yes" : "NO");
            failures += !found;
            continue;
        }
        double km = 0;
        const int s = nearest_station(g, gx, gy, p.zone, &km);
        const bool ok = s >= 0 && km <= 10.0;
        std::printf("  %-18s zone %2d: station %5d at %5.1f km%s\n", p.code, p.zone, s + 1, km,
                    ok ? "" : "  FAIL");
        failures += !ok;
    }

    int wrong = 0, places = 0;
    for (const auto& line : data_lines(tools + "/known_places.txt")) {
        std::istringstream in(line);
        float lat = 0, lon = 0;
        std::string zones, name;
        in >> lat >> lon >> zones;
        std::getline(in, name);
        float gx = 0, gy = 0;
        grid_xy_from_latlon(lat, lon, &gx, &gy);
        double km = 0;
        const int s = nearest_station(g, gx, gy, 0, &km);
        ++places;
        bool ok = false;
        std::stringstream zs(zones);
        std::string z;
        while (std::getline(zs, z, '/')) ok |= s >= 0 && g.station_zone[s] == std::atoi(z.c_str());
        if (!ok) {
            ++wrong;
            std::printf("  known place%s: nearest station %d has zone %d, expected %s\n",
                        name.c_str(), s + 1, s >= 0 ? g.station_zone[s] : -1, zones.c_str());
        }
    }
    std::printf("Known places whose nearest station has another zone: %d of %d\n", wrong, places);
    failures += wrong;

    free_grid_data(&g);
    std::printf("%s\n", failures ? "VERIFY FAILED" : "All checks passed.");
    return failures ? 1 : 0;
}
