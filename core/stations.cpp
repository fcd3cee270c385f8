#include "core/stations.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "core/driver.h"
#include "core/platform.h"
#include "core/safe_file.h"
#include "core/status.h"

namespace kaitoro {

namespace {

// JMA tsunami forecast zones, id 1..66 at index id - 1.
const char* const JMA_FORECAST_ZONE_NAMES[66] = {
    "オホーツク海沿岸",      // 1
    "北海道太平洋沿岸東部",  // 2
    "北海道太平洋沿岸中部",  // 3
    "北海道太平洋沿岸西部",  // 4
    "北海道日本海沿岸北部",  // 5
    "北海道日本海沿岸南部",  // 6
    "陸奥湾",                // 7
    "青森県日本海沿岸",      // 8
    "青森県太平洋沿岸",      // 9
    "岩手県",                // 10
    "宮城県",                // 11
    "福島県",                // 12
    "秋田県",                // 13
    "山形県",                // 14
    "茨城県",                // 15
    "千葉県九十九里・外房",  // 16
    "千葉県内房",            // 17
    "東京湾内湾",            // 18
    "伊豆諸島",              // 19
    "小笠原諸島",            // 20
    "相模湾・三浦半島",      // 21
    "静岡県",                // 22
    "愛知県外海",            // 23
    "伊勢・三河湾",          // 24
    "三重県南部",            // 25
    "新潟県上中下越",        // 26
    "佐渡",                  // 27
    "富山県",                // 28
    "石川県能登",            // 29
    "石川県加賀",            // 30
    "福井県",                // 31
    "京都府",                // 32
    "兵庫県北部",            // 33
    "兵庫県瀬戸内海沿岸",    // 34
    "淡路島南部",            // 35
    "大阪府",                // 36
    "和歌山県",              // 37
    "鳥取県",                // 38
    "島根県出雲・石見",      // 39
    "隠岐",                  // 40
    "岡山県",                // 41
    "広島県",                // 42
    "香川県",                // 43
    "愛媛県瀬戸内海沿岸",    // 44
    "愛媛県宇和海沿岸",      // 45
    "徳島県",                // 46
    "高知県",                // 47
    "山口県瀬戸内海沿岸",    // 48
    "山口県日本海沿岸",      // 49
    "福岡県瀬戸内海沿岸",    // 50
    "福岡県日本海沿岸",      // 51
    "佐賀県北部",            // 52
    "長崎県西方",            // 53
    "壱岐・対馬",            // 54
    "有明・八代海",          // 55
    "熊本県天草灘沿岸",      // 56
    "大分県瀬戸内海沿岸",    // 57
    "大分県豊後水道沿岸",    // 58
    "宮崎県",                // 59
    "鹿児島県東部",          // 60
    "鹿児島県西部",          // 61
    "種子島・屋久島地方",    // 62
    "奄美群島・トカラ列島",  // 63
    "沖縄本島地方",          // 64
    "大東島地方",            // 65
    "宮古島・八重山地方",    // 66
};

// KMA coastal zones, id 68..93 at index id - 68.
const char* const KMA_COASTAL_ZONE_NAMES[26] = {
    "강원 북부 해안",       // 68
    "강원 중부 해안",       // 69
    "강원 남부 해안",       // 70
    "경북 북부 해안",       // 71
    "경북 남부 해안",       // 72
    "울산 해안",            // 73
    "부산 해안",            // 74
    "거제시 동부 해안",     // 75
    "경남 중부 남해 해안",  // 76
    "경남 서부 남해 해안",  // 77
    "제주도 북부 해안",     // 78
    "제주도 동부 해안",     // 79
    "제주도 남부 해안",     // 80
    "제주도 서부 해안",     // 81
    "전남 동부 남해 해안",  // 82
    "전남 서부 남해 해안",  // 83
    "전남 남부 서해 해안",  // 84
    "전남 중부 서해 해안",  // 85
    "전남 북부 서해 해안",  // 86
    "전북 남부 서해 해안",  // 87
    "전북 북부 서해 해안",  // 88
    "충남 남부 서해 해안",  // 89
    "충남 북부 서해 해안",  // 90
    "인천.경기 남부 해안",  // 91
    "인천.경기 북부 해안",  // 92
    "울릉도 해안",          // 93
};

constexpr double kArrivalThresholdM = 0.05;

// The cell whose water level stands for station i: the sample cell when the mask rebuild
// found one, the station's own cell otherwise. May be negative or out of range.
long long station_sample_cell_of(const GridData* grid, int i) {
    if ((std::size_t)i < grid->station_sample_cell.size()) return grid->station_sample_cell[i];
    if ((std::size_t)i < grid->station_cell.size()) return grid->station_cell[i];
    return -1;
}

long long station_cell_of(const GridData* grid, int i) {
    if ((std::size_t)i < grid->station_cell.size()) return grid->station_cell[i];
    return -1;
}

int station_zone_of(const GridData* grid, int i) {
    if ((std::size_t)i < grid->station_zone.size()) return grid->station_zone[i];
    return 0;
}

float station_max_of(const Simulation* sim, int i) {
    if (sim && (std::size_t)i < sim->station_max_m.size()) return sim->station_max_m[i];
    return 0.0f;
}

int station_arrival_of(const Simulation* sim, int i) {
    if (sim && (std::size_t)i < sim->station_arrival_s.size()) return sim->station_arrival_s[i];
    return 0;
}

float clamp_depth(float d) {
    if (!(d >= 1.0f)) return 1.0f;  // also catches NaN
    return d > 7000.0f ? 7000.0f : d;
}

void put_quoted(std::FILE* f, const char* text) {
    std::fputc('"', f);
    for (const char* p = text; *p; ++p) {
        if (*p == '"') std::fputc('"', f);
        std::fputc(*p, f);
    }
    std::fputc('"', f);
}

void put_bom(std::FILE* f) {
    std::fputs("\xEF\xBB\xBF", f);
}

}  // namespace

std::string path_insert_before_extension(const std::string& path, const char* insert,
                                         const char* ext_if_none) {
    const std::size_t slash = path.find_last_of("/\\");
    const std::size_t name_start = slash == std::string::npos ? 0 : slash + 1;
    const std::size_t dot = path.rfind('.');
    if (dot == std::string::npos || dot < name_start) return path + insert + ext_if_none;
    return path.substr(0, dot) + insert + path.substr(dot);
}

bool station_is_enabled(const GridData* grid, int i) {
    if (!grid || i < 0 || (std::uint32_t)i >= grid->station_count) return false;
    if (grid->station_flags.empty()) return true;
    return (std::size_t)i < grid->station_flags.size() && grid->station_flags[i] != 0;
}

int count_enabled_stations(const GridData* grid) {
    if (!grid) return 0;
    if (grid->station_flags.empty()) return (int)grid->station_count;
    int n = 0;
    for (std::uint32_t i = 0; i < grid->station_count && i < grid->station_flags.size(); ++i)
        if (grid->station_flags[i] != 0) ++n;
    return n;
}

namespace {

// The solver cell whose eta stands for station i, or -1 when the station cannot report: not
// enabled, no usable sample cell, or a sample cell that is hidden, solid or off the solver.
long long station_solver_index(const GridData* grid, const Simulation* sim, int i) {
    if (!station_is_enabled(grid, i)) return -1;
    const long long cell = station_sample_cell_of(grid, i);
    if (!grid->cell_valid(cell)) return -1;
    if ((std::size_t)cell < grid->hidden.size() && grid->hidden[cell]) return -1;
    if ((std::size_t)cell < grid->solid.size() && grid->solid[cell]) return -1;
    const long long sx = cell % grid->nx + sim->pad;
    const long long sy = cell / grid->nx + sim->pad;
    if (sx >= sim->snx || sy >= sim->sny) return -1;
    const std::size_t s = (std::size_t)sy * sim->snx + (std::size_t)sx;
    if (s >= sim->eta.size()) return -1;
    return (long long)s;
}

// The factor that turns eta at station i's sample cell into the shoreline-equivalent height.
float station_height_factor(const GridData* grid, const Simulation* sim, long long cell) {
    float depth = 1.0f;
    if ((std::size_t)cell < grid->effective_depth_m.size())
        depth = grid->effective_depth_m[cell];
    else if ((std::size_t)cell < grid->depth_m.size())
        depth = grid->depth_m[cell];
    const float h = clamp_depth(depth);
    // The step keeps this factor per cell (a pow each); use it when it is for this depth.
    const SolverPlan& p = sim->plan;
    if ((std::size_t)cell < p.arrival_factor.size() &&
        (std::size_t)cell < p.arrival_factor_depth.size() && p.arrival_factor_depth[cell] == h &&
        p.arrival_factor[cell] != 0.0f)
        return p.arrival_factor[cell];
    return station_shoreline_equiv_factor(h);
}

void build_station_sampling(const GridData* grid, Simulation* sim) {
    StationSampling& s = sim->station_sampling;
    struct Entry {
        std::uint32_t solver_index, station;
        float factor;
    };
    std::vector<Entry> entries;
    const std::size_t tracked = std::min(sim->station_max_m.size(), sim->station_arrival_s.size());
    for (std::uint32_t u = 0; u < grid->station_count && u < tracked; ++u) {
        const long long si = station_solver_index(grid, sim, int(u));
        if (si < 0) continue;
        const float f = station_height_factor(grid, sim, station_sample_cell_of(grid, int(u)));
        entries.push_back(Entry{std::uint32_t(si), u, f});
    }
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        return a.solver_index < b.solver_index;
    });
    s.station.resize(entries.size());
    s.solver_index.resize(entries.size());
    s.factor.resize(entries.size());
    for (std::size_t k = 0; k < entries.size(); ++k) {
        s.station[k] = entries[k].station;
        s.solver_index[k] = entries[k].solver_index;
        s.factor[k] = entries[k].factor;
    }
    s.row_start.assign(std::size_t(sim->sny) + 1, 0);
    for (std::size_t r = 0, k = 0; r <= sim->sny; ++r) {
        while (k < s.solver_index.size() && s.solver_index[k] / sim->snx < r) ++k;
        s.row_start[r] = std::uint32_t(k);
    }
    s.eta.assign(entries.size(), 0.0f);
    s.sampled_from = nullptr;
    s.grid = grid;
    s.station_count = grid->station_count;
    s.built_after_reset = sim->resets;
}

}  // namespace

float station_observed_height_m(const GridData* grid, const Simulation* sim, int i) {
    if (!grid || !sim) return 0.0f;
    const long long s = station_solver_index(grid, sim, i);
    if (s < 0) return 0.0f;
    const float eta = sim->eta[std::size_t(s)];
    if (eta >= kWallThreshold) return 0.0f;
    return eta * station_height_factor(grid, sim, station_sample_cell_of(grid, i));
}

void update_station_stats(const GridData* grid, Simulation* sim, int t_s) {
    if (!grid || !sim) return;
    StationSampling& s = sim->station_sampling;
    if (!station_sampling_current(grid, *sim)) build_station_sampling(grid, sim);
    // A station whose height is not above zero (or NaN, or on a wall) rises by 0, which changes
    // neither its maximum nor its arrival (they never fall below 0); a record is written only in
    // the rare step that changes it.
    if (s.sampled_from != sim->eta.data())
        for (std::size_t k = 0; k < s.station.size(); ++k) s.eta[k] = sim->eta[s.solver_index[k]];
    s.sampled_from = nullptr;
    float* max_m = sim->station_max_m.data();
    std::int32_t* arrival_s = sim->station_arrival_s.data();
    for (std::size_t k = 0; k < s.station.size(); ++k) {
        const float e = s.eta[k];
        const float value = e * s.factor[k];
        const float rise = e < kWallThreshold && value > 0.0f ? value : 0.0f;
        const std::uint32_t u = s.station[k];
        if (rise > max_m[u]) max_m[u] = rise;
        if (arrival_s[u] == 0 && rise >= kArrivalThresholdM) arrival_s[u] = t_s;
    }
}

int get_station_info(int i, int* grid_x, int* grid_y, int* sample_x, int* sample_y, int* zone_id,
                     float* observed_m, float* observed_positive_m, float* max_m, int* arrival_s) {
    const GridData* grid = &g_grid;
    if (!station_is_enabled(grid, i)) return 0;
    const long long cell = station_cell_of(grid, i);
    if (!grid->cell_valid(cell)) return 0;
    long long sample = station_sample_cell_of(grid, i);
    if (!grid->cell_valid(sample)) sample = cell;
    const float observed = station_observed_height_m(grid, &g_sim, i);
    if (grid_x) *grid_x = int(cell % grid->nx);
    if (grid_y) *grid_y = int(cell / grid->nx);
    if (sample_x) *sample_x = int(sample % grid->nx);
    if (sample_y) *sample_y = int(sample / grid->nx);
    if (zone_id) *zone_id = station_zone_of(grid, i);
    if (observed_m) *observed_m = observed;
    if (observed_positive_m) *observed_positive_m = observed > 0.0f ? observed : 0.0f;
    if (max_m) *max_m = station_max_of(&g_sim, i);
    if (arrival_s) *arrival_s = station_arrival_of(&g_sim, i);
    return 1;
}

const char* forecast_zone_name_from_id(int id) {
    if (id >= 1 && id <= 66) return JMA_FORECAST_ZONE_NAMES[id - 1];
    if (id == kZoneOutside) return "outside_forecast_zone";
    if (id >= 68 && id <= 93) return KMA_COASTAL_ZONE_NAMES[id - 68];
    return "unknown";
}

namespace {

struct HeightBin {
    double below;  // upper bound, exclusive
    const char* bin;
    const char* hex;
};

// The last row is the catch-all; a NaN or non-positive height lands in the first.
constexpr HeightBin kHeightBins[] = {
    {0.05, "0-5cm", "none"},       {0.1, "5-10cm", "#99ff80"},      {0.2, "10-20cm", "#00ff00"},
    {0.5, "20-50cm", "#fff280"},   {1.0, "50-100cm", "#ffe600"},    {2.0, "100-200cm", "#ff8080"},
    {3.0, "200-300cm", "#ff0000"}, {4.0, "300-400cm", "#e580ff"},   {5.0, "400-500cm", "#cc00ff"},
    {8.0, "500-800cm", "#8b00ad"}, {10.0, "800-1000cm", "#460057"}, {0.0, "1000cm+", "#000000"},
};
constexpr int kHeightBinCount = int(sizeof kHeightBins / sizeof kHeightBins[0]);

const HeightBin& height_bin_of(float h) {
    if (!(h > 0.0f)) return kHeightBins[0];
    for (int k = 0; k < kHeightBinCount - 1; ++k)
        if (h < kHeightBins[k].below) return kHeightBins[k];
    return kHeightBins[kHeightBinCount - 1];
}

}  // namespace

const char* tsunami_height_color_bin(float h) {
    return height_bin_of(h).bin;
}
const char* tsunami_height_color_hex(float h) {
    return height_bin_of(h).hex;
}

void write_station_file(const char* path, const GridData* grid, const Simulation* sim) {
    if (!path || !grid) return;
    SafeFile out(path);
    if (!out) return;
    std::FILE* f = out.get();
    put_bom(f);
    std::fputs(
        "station_no,grid_index,grid_x,grid_y,sample_grid_index,sample_grid_x,sample_grid_y,"
        "forecast_zone_id,forecast_zone_name,max_height_m,arrival_s,color_bin,color_hex\n",
        f);
    const int nx = (int)grid->nx;
    for (std::uint32_t u = 0; u < grid->station_count; ++u) {
        const int i = (int)u;
        if (!station_is_enabled(grid, i)) continue;
        const int zone = station_zone_of(grid, i);
        if (zone <= 0 || zone == kZoneOutside || zone > 93) continue;
        const long long cell = station_cell_of(grid, i);
        if (!grid->cell_valid(cell)) continue;
        const long long sample = station_sample_cell_of(grid, i);
        int sx = -1, sy = -1;
        if (grid->cell_valid(sample)) {
            sx = int(sample % nx);
            sy = int(sample / nx);
        }
        const float max_m = station_max_of(sim, i);
        std::fprintf(f, "%d,%lld,%d,%d,%lld,%d,%d,%d,", i + 1, cell, int(cell % nx), int(cell / nx),
                     sample, sx, sy, zone);
        put_quoted(f, forecast_zone_name_from_id(zone));
        std::fprintf(f, ",%.6g,%d,%s,%s\n", (double)max_m, station_arrival_of(sim, i),
                     tsunami_height_color_bin(max_m), tsunami_height_color_hex(max_m));
    }
    out.commit();
}

std::vector<ForecastZoneRow> forecast_zone_rows(const GridData* grid, const Simulation* sim) {
    std::vector<ForecastZoneRow> zones(94);
    for (std::uint32_t u = 0; u < grid->station_count; ++u) {
        const int i = (int)u;
        if (!station_is_enabled(grid, i)) continue;
        const int zone = station_zone_of(grid, i);
        if (zone < 1 || zone > 93 || zone == kZoneOutside) continue;
        ForecastZoneRow& z = zones[zone];
        ++z.station_count;
        // Strictly greater: among equal maxima the first station in index order stays.
        const float m = station_max_of(sim, i);
        if (m > z.max_m) {
            z.max_m = m;
            z.station_no = i + 1;
            z.cell = station_cell_of(grid, i);
            z.arrival_s = station_arrival_of(sim, i);
        }
    }
    return zones;
}

void write_forecast_zone_file(const char* path, const GridData* grid, const Simulation* sim) {
    if (!path || !grid) return;
    SafeFile out(path);
    if (!out) return;
    std::FILE* f = out.get();

    const std::vector<ForecastZoneRow> zones = forecast_zone_rows(grid, sim);

    put_bom(f);
    std::fputs(
        "forecast_zone_id,forecast_zone_name,max_height_m,max_height_cm,station_no_of_max,"
        "grid_index,grid_x,grid_y,arrival_s,station_count,color_bin,color_hex\n",
        f);
    const int nx = (int)grid->nx;
    for (int zone = 1; zone <= 93; ++zone) {
        if (zone == kZoneOutside) continue;
        const ForecastZoneRow& z = zones[zone];
        int x = -1, y = -1;
        if (grid->cell_valid(z.cell)) {
            x = int(z.cell % nx);
            y = int(z.cell / nx);
        }
        std::fprintf(f, "%d,", zone);
        put_quoted(f, forecast_zone_name_from_id(zone));
        std::fprintf(f, ",%.6g,%.6g,%d,%lld,%d,%d,%d,%d,%s,%s\n", (double)z.max_m,
                     (double)z.max_m * 100.0, z.station_no, z.cell, x, y, z.arrival_s,
                     z.station_count, tsunami_height_color_bin(z.max_m),
                     tsunami_height_color_hex(z.max_m));
    }
    out.commit();
}

std::string forecast_zone_path_for(const std::string& station_path) {
    return path_insert_before_extension(station_path, "_forecast_zones", ".csv");
}

void save_station_csv_dialog(void* window) {
    FileDialogRequest req;
    req.title = "Save station + forecast-zone CSV";
    req.filters = {{"CSV files", "*.csv"}, {"All files", "*.*"}};
    req.default_name = "tsunami_station_points.csv";
    req.confirm_overwrite = true;
    req.path_must_exist = true;
    req.max_path = 260;
    const std::optional<std::string> chosen = platform().save_file_dialog(req);
    if (!chosen) return;
    const std::size_t write_mark = write_failures().size();

    const std::string zone_path = forecast_zone_path_for(*chosen);
    write_station_file(chosen->c_str(), &g_grid, &g_sim);
    write_forecast_zone_file(zone_path.c_str(), &g_grid, &g_sim);
    set_status("Saved station CSV and forecast-zone CSV: %s", zone_path.c_str());
    warn_write_failures_since(write_mark);
    platform().request_repaint();
}

}  // namespace kaitoro
