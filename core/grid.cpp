#include "core/grid.h"

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <unordered_map>

#include "core/fatal.h"
#include "core/masks.h"
#include "core/solver.h"
#include "core/text_input.h"

namespace kaitoro {

extern const unsigned char kma_zone_table_csv[];
extern const std::size_t kma_zone_table_csv_size;

namespace {

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

template <class T>
void read_array_or_die(std::FILE* f, std::vector<T>& v) {
    if (v.empty()) return;
    if (std::fread(v.data(), sizeof(T), v.size(), f) != v.size())
        tsunami_fatal("data file body is truncated");
}

std::vector<ZoneCorrection> parse_kma_table() {
    std::vector<ZoneCorrection> rows;
    std::string text(reinterpret_cast<const char*>(kma_zone_table_csv), kma_zone_table_csv_size);
    std::size_t pos = 0;
    while (pos < text.size()) {
        std::size_t end = text.find('\n', pos);
        if (end == std::string::npos) end = text.size();
        const std::string line = text.substr(pos, end - pos);
        pos = end + 1;
        int station = 0, zone = 0;
        if (std::sscanf(line.c_str(), " %d , %d", &station, &zone) == 2)
            rows.push_back({station, zone});
    }
    return rows;
}

bool cell_valid(const GridData& g, std::int32_t cell) { return g.cell_valid(cell); }

// Stations by 5 x 5 cell block, so "every station within 5 cells" looks at nine blocks
// instead of every station (the smoothing passes were quadratic in the station count).
class StationIndex {
  public:
    explicit StationIndex(const GridData& g) : nx_(int(g.nx)) {
        for (std::uint32_t j = 0; j < g.station_count; ++j) {
            const std::int32_t cj = g.station_cell[j];
            if (cj < 0) continue;
            blocks_[key(cj % nx_ / kBlock, cj / nx_ / kBlock)].push_back(j);
        }
    }
    // Calls f(j) for every station that may lie within 5 cells of (x, y), x and y >= 0.
    template <class F>
    void for_near(int x, int y, F f) const {
        const long long bx = x / kBlock, by = y / kBlock;
        for (long long dy = -1; dy <= 1; ++dy)
            for (long long dx = -1; dx <= 1; ++dx) {
                const auto it = blocks_.find(key(bx + dx, by + dy));
                if (it == blocks_.end()) continue;
                for (std::uint32_t j : it->second) f(j);
            }
    }

  private:
    static constexpr int kBlock = 5;
    static long long key(long long bx, long long by) { return by * (1LL << 32) + bx; }
    int nx_;
    std::unordered_map<long long, std::vector<std::uint32_t>> blocks_;
};

void set_zone(GridData& g, int station_no, int zone) {
    if (station_no >= 1 && std::uint32_t(station_no) <= g.station_count)
        g.station_zone[std::size_t(station_no) - 1] = zone;
}

// Gives isolated outside-zone stations the zone their Japanese neighbours agree on.
void smooth_outside_zone_stations(GridData& g) {
    const int nx = int(g.nx);
    const StationIndex index(g);
    for (std::uint32_t i = 0; i < g.station_count; ++i) {
        const std::int32_t ci = g.station_cell[i];
        if (g.station_zone[i] != kZoneOutside || !cell_valid(g, ci) || ci % nx >= nx - 2) continue;
        const int xi = ci % nx, yi = ci / nx;
        int hist[67] = {};
        int jp = 0, outside = 0, kr = 0;
        index.for_near(xi, yi, [&](std::uint32_t j) {
            const std::int32_t cj = g.station_cell[j];
            if (j == i) return;
            const long long dx = cj % nx - xi, dy = cj / nx - yi;
            if (dx * dx + dy * dy > 25) return;
            const int z = g.station_zone[j];
            if (z >= 1 && z <= 66) {
                ++hist[z];
                ++jp;
            } else if (z == kZoneOutside) {
                ++outside;
            } else if (z >= 68 && z <= 100) {
                ++kr;
            }
        });
        int best = 0, best_count = 0;
        for (int z = 1; z <= 66; ++z)
            if (hist[z] > best_count) best = z, best_count = hist[z];
        if (jp >= 4 && outside <= 2 && jp >= kr && best_count * 100 >= jp * 70)
            g.station_zone[i] = best;
    }
}

// A zone-45 station surrounded by zone 42 across the narrow inland sea follows its
// neighbours.
void smooth_zone45_to_42(GridData& g) {
    const int nx = int(g.nx);
    const StationIndex index(g);
    for (std::uint32_t i = 0; i < g.station_count; ++i) {
        const std::int32_t ci = g.station_cell[i];
        if (g.station_zone[i] != 45 || ci < 0) continue;
        const int xi = ci % nx, yi = ci / nx;
        int n42 = 0, n45 = 0, other = 0;
        index.for_near(xi, yi, [&](std::uint32_t j) {
            const std::int32_t cj = g.station_cell[j];
            if (j == i) return;
            const long long dx = cj % nx - xi, dy = cj / nx - yi;
            if (dx * dx + dy * dy > 25) return;
            const int z = g.station_zone[j];
            if (z == 42) ++n42;
            else if (z == 45) ++n45;
            else if (z >= 1 && z <= 66) ++other;
        });
        if (n42 >= 4 && n45 <= 1 && n45 + other <= n42) g.station_zone[i] = 42;
    }
}

void apply_zone_corrections(GridData& g) {
    for (int s : zone48_station_list()) set_zone(g, s, 48);
    for (const auto& row : single_station_zone_table()) set_zone(g, row.station_no, row.zone_id);
    for (const auto& row : kma_zone_table()) set_zone(g, row.station_no, row.zone_id);
    smooth_outside_zone_stations(g);
    smooth_zone45_to_42(g);
    for (int s : zone49_station_list()) set_zone(g, s, 49);
}

void derive_station_flags_and_hidden_strip(GridData& g) {
    const int nx = int(g.nx), ny = int(g.ny);
    for (std::uint32_t i = 0; i < g.station_count; ++i) {
        const std::int32_t c = g.station_cell[i];
        const bool valid = cell_valid(g, c);
        const bool enabled = valid && (g.station_zone[i] != kZoneOutside || c % nx < nx - 2);
        g.station_flags[i] = enabled ? 1 : 0;
        if (!enabled && valid) g.hidden[std::size_t(c / nx) * nx + (nx - 1)] = 1;
    }
    // Widen the strip by two rows each way, and always close the two northern rows, so the
    // open east boundary has no one-row teeth that would ring.
    auto edge = [&](int y) -> std::uint8_t& { return g.hidden[std::size_t(y) * nx + (nx - 1)]; };
    for (int y = 0; y < ny; ++y) {
        bool mark = y + 2 >= ny;
        for (int k = std::max(0, y - 2); !mark && k <= std::min(ny - 1, y + 2); ++k)
            mark = edge(k) != 0;
        if (mark) edge(y) = 1;
    }
}

}  // namespace

const std::vector<ZoneCorrection>& kma_zone_table() {
    static const std::vector<ZoneCorrection> table = parse_kma_table();
    return table;
}

const std::vector<int>& zone48_station_list() {
    static const std::vector<int> list = {1463, 1483, 1500, 1501, 1502, 1524};
    return list;
}

const std::vector<ZoneCorrection>& single_station_zone_table() {
    static const std::vector<ZoneCorrection> table = {
        {2683, 28}, {1141, 58}, {1031, 59}, {1047, 56}, {2378, 33}, {2649, 12}, {2209, 18},
        {1610, 35}, {1637, 35}, {1247, 45}, {1245, 44}, {1266, 44}, {3861, 5},  {3862, 4},
        {1647, 83}, {2169, 17}, {1543, 42}, {1559, 42}, {1560, 42}, {1561, 42}, {1562, 42},
        {1582, 42}, {1603, 48}, {1604, 48}, {1628, 48}, {1629, 48}, {4891, 6},  {1068, 45},
        {1084, 45}, {1095, 45}, {1431, 48}, {1432, 48}, {1433, 48}, {1450, 48}, {1469, 48},
        {1489, 48}, {1490, 48}, {1491, 48}, {1503, 48}, {1504, 42}, {1505, 42}, {1525, 48},
        {1526, 42}, {1527, 42}, {1541, 48}, {1542, 42}, {1557, 48}, {1558, 42}, {1580, 48},
        {1581, 42},
    };
    return table;
}

const std::vector<int>& zone49_station_list() {
    static const std::vector<int> list = {1500, 1501, 1502, 1524};
    return list;
}

GridData load_grid_data(const char* path) {
    // A directory is a file that cannot be opened, not a truncated one.
    File f(open_regular_file(path));
    if (!f) tsunami_fatal_errno("could not open data file");

    unsigned char magic[16];
    if (std::fread(magic, 1, 16, f.get()) != 16) tsunami_fatal("data file is truncated");
    // Compared as two overlapping 8-byte words: bytes 0..7 and 6..13.
    static const char kMagic[] = "TSUNAMI_SIM_V1";
    std::uint64_t a, b, ea, eb;
    std::memcpy(&a, magic, 8);
    std::memcpy(&b, magic + 6, 8);
    std::memcpy(&ea, kMagic, 8);
    std::memcpy(&eb, kMagic + 6, 8);
    if (a != ea || b != eb) tsunami_fatal("data file magic does not match TSUNAMI_SIM_V1");

    GridData g;
    for (std::uint32_t* field : {&g.nx, &g.ny, &g.station_count}) {
        unsigned char w[4];
        if (std::fread(w, 1, 4, f.get()) != 4) tsunami_fatal("data file header is truncated");
        *field = std::uint32_t(w[0]) | std::uint32_t(w[1]) << 8 | std::uint32_t(w[2]) << 16 |
                 std::uint32_t(w[3]) << 24;
    }
    if (g.nx == 0 || g.ny == 0 || g.nx > kMaxGridDim || g.ny > kMaxGridDim)
        tsunami_fatal("invalid grid dimensions in data file");

    const std::size_t cells = g.cell_count();
    const std::size_t stations = g.station_count;
    // What the header promises must be in the file before anything is allocated: a hostile
    // 28-byte header would otherwise ask for gigabytes first and fail only afterwards.
    struct stat st {};
    const std::uint64_t body = std::uint64_t(cells) * (sizeof(float) + 1) +
                               std::uint64_t(stations) * 2 * sizeof(std::int32_t);
    if (fstat(fileno(f.get()), &st) != 0 || st.st_size < 28 ||
        std::uint64_t(st.st_size) - 28 < body)
        tsunami_fatal("data file body is truncated");
    tsunami_xcalloc(g.depth_m, cells);
    tsunami_xcalloc(g.effective_depth_m, cells);
    tsunami_xcalloc(g.raw_land, cells);
    tsunami_xcalloc(g.land, cells);
    tsunami_xcalloc(g.solid, cells);
    tsunami_xcalloc(g.land_override, cells);
    tsunami_xcalloc(g.hidden, cells);
    tsunami_xcalloc(g.hidden_depth_m, cells);
    tsunami_xcalloc(g.station_cell, stations);
    tsunami_xcalloc(g.station_sample_cell, stations);
    tsunami_xcalloc(g.station_zone, stations);
    tsunami_xcalloc(g.station_flags, stations);

    read_array_or_die(f.get(), g.depth_m);
    {
        // The per-cell byte layer is not used, but it must be there: read it to detect a
        // truncated file.
        std::vector<std::uint8_t> ignored;
        tsunami_xcalloc(ignored, cells);
        read_array_or_die(f.get(), ignored);
    }
    read_array_or_die(f.get(), g.station_cell);
    read_array_or_die(f.get(), g.station_zone);

    apply_zone_corrections(g);
    derive_station_flags_and_hidden_strip(g);

    for (std::size_t c = 0; c < cells; ++c) {
        g.raw_land[c] = g.depth_m[c] > 0 ? 0 : 1;  // NaN is land
        g.land[c] = g.raw_land[c];
        g.land_override[c] = -1;
    }
    rebuild_land_mask_from_coast_stations(&g);
    rebuild_solid_mask(&g);
    return g;
}

void free_grid_data(GridData* grid) { *grid = GridData{}; }

// NaN depths (land in the file) clamp to the low end.
static float clampf(float v, float lo, float hi) { return !(v >= lo) ? lo : (v > hi ? hi : v); }

float visible_effective_depth_m(const GridData* grid, int cell) {
    if (!grid || !grid->cell_valid(cell) || grid->depth_m.empty()) return 1.0f;
    const float d = grid->effective_depth_m.empty() ? grid->depth_m[std::size_t(cell)]
                                                    : grid->effective_depth_m[std::size_t(cell)];
    return clampf(d, 1.0f, 7000.0f);
}

float solver_depth_m(const GridData* grid, const Simulation* sim, int sx, int sy) {
    const int nx = int(grid->nx), ny = int(grid->ny);
    const int gx = sx - int(sim->pad), gy = sy - int(sim->pad);
    auto eff = [&](std::size_t c) {
        const float d = grid->effective_depth_m.empty() ? grid->depth_m[c]
                                                        : grid->effective_depth_m[c];
        return clampf(d, 1.0f, 7000.0f);
    };
    auto hidden_at = [&](std::size_t c) { return !grid->hidden.empty() && grid->hidden[c]; };
    auto hidden_depth = [&](std::size_t c) {
        return clampf(grid->hidden_depth_m.empty() ? 0.0f : grid->hidden_depth_m[c], 4000.0f,
                      7000.0f);
    };
    if (gx >= 0 && gy >= 0 && gx < nx && gy < ny) {
        const std::size_t c = std::size_t(gy) * nx + gx;
        return hidden_at(c) ? hidden_depth(c) : eff(c);
    }
    if (gx >= nx && gy >= 0 && gy < ny) {
        const std::size_t edge = std::size_t(gy) * nx + (nx - 1);
        if (hidden_at(edge)) return hidden_depth(edge);
    }
    const std::size_t c = std::size_t(std::clamp(gy, 0, ny - 1)) * nx + std::clamp(gx, 0, nx - 1);
    if (!grid->solid.empty() && grid->solid[c]) return 6000.0f;
    return eff(c);
}

}  // namespace kaitoro
