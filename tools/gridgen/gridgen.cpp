// Builds Kaitoro's bundled grid (tsunami_data.bin, kma_zone_table.csv, coast_override.csv and
// a preview PNG) from a fine land mask rasterised by GMT from GSHHG and from ETOPO5 relief.
//
// Deterministic: the same inputs give the same bytes. Every choice that depends on an order
// (ties, swaps, paths) is broken by cell index or station number, never by container order.
//
// Build: g++ -std=c++20 -O2 gridgen.cpp -lz -o gridgen (generate.sh does this).
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <map>
#include <numbers>
#include <queue>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace {

// ---- Georeference: the Mercator grid the program's observation mapping assumes ----------------

constexpr int kNx = 851;
constexpr int kNy = 539;
constexpr double kRefLon = 135.79684;
constexpr double kRefCol = 425.0;
constexpr double kRefRow = 270.0;
constexpr double kRefMerc = 0.6724051;
constexpr double kEarthKm = 6371.009;
constexpr double kCellKm = 5.72096;
constexpr double kDeg = std::numbers::pi / 180.0;

double cell_lon(double x) {
    return kRefLon + (x - kRefCol) * kCellKm / kEarthKm / kDeg;
}
double cell_lat(double y) {
    double m = (y - kRefRow) * kCellKm / kEarthKm + kRefMerc;
    return (2.0 * std::atan(std::exp(m)) - std::numbers::pi / 2.0) / kDeg;
}
double grid_x(double lon) {
    return (lon - kRefLon) * kDeg * kEarthKm / kCellKm + kRefCol;
}
double grid_y(double lat) {
    double t = std::tan(lat * kDeg * 0.5 + std::numbers::pi / 4.0);
    return (std::log(t) - kRefMerc) * kEarthKm / kCellKm + kRefRow;
}
double km_per_cell(double y) {
    return std::max(0.01, kCellKm * std::cos(cell_lat(y) * kDeg));
}

int cell_of(int x, int y) {
    return y * kNx + x;
}
bool in_grid(int x, int y) {
    return x >= 0 && y >= 0 && x < kNx && y < kNy;
}

// The nearest grid cell to a point, clamped into the grid.
std::pair<int, int> nearest_cell(double lat, double lon) {
    int x = int(std::floor(grid_x(lon) + 0.5));
    int y = int(std::floor(grid_y(lat) + 0.5));
    return {std::clamp(x, 0, kNx - 1), std::clamp(y, 0, kNy - 1)};
}

[[noreturn]] void die(const std::string& msg) {
    std::fprintf(stderr, "gridgen: %s\n", msg.c_str());
    std::exit(1);
}

std::vector<char> read_bytes(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    if (!f) die("cannot open " + path);
    return std::vector<char>(std::istreambuf_iterator<char>(f), {});
}

// ---- Inputs ---------------------------------------------------------------------------------

// GSHHG land mask from `gmt grdlandmask -r` dumped bottom row first: 1 land (lakes count as
// land), 0 ocean.
struct FineMask {
    double west = 0, south = 0, inc = 0;
    int cols = 0, rows = 0;
    std::vector<char> v;
    bool land(int i, int j) const { return v[std::size_t(j) * cols + i] != 0; }
};

// ETOPO5 relief on its 5-minute lattice (longitude i/12 from 0, latitude -90 + j/12), bottom
// row first. The file's own longitude axis is stored with a slightly stretched spacing; the
// data themselves are the standard 4320 x 2161 lattice, so the lattice is used here.
struct Relief {
    static constexpr int kCols = 4320;
    static constexpr int kRows = 2161;
    std::vector<float> v;
    double node(int i, int j) const {
        i = ((i % kCols) + kCols) % kCols;
        j = std::clamp(j, 0, kRows - 1);
        return v[std::size_t(j) * kCols + i];
    }
    double at(double lat, double lon) const {
        double fx = lon * 12.0, fy = (lat + 90.0) * 12.0;
        int i0 = int(std::floor(fx)), j0 = int(std::floor(fy));
        double tx = fx - i0, ty = fy - j0;
        return (node(i0, j0) * (1 - tx) + node(i0 + 1, j0) * tx) * (1 - ty) +
               (node(i0, j0 + 1) * (1 - tx) + node(i0 + 1, j0 + 1) * tx) * ty;
    }
};

struct LatLon {
    double lat, lon;
};

struct Polygon {
    std::string name;
    std::vector<LatLon> pts;
};

struct ZonePath {
    int zone = 0;
    std::string label;
    std::vector<LatLon> pts;
    std::vector<std::pair<double, double>> g;  // grid coordinates of pts
};

struct SmallIsland {
    int zone = 0;
    LatLon at{};
    std::string label;
};

struct Waterway {
    std::string name;
    LatLon a{}, b{};
};

struct FixedRow {
    int station_no;
    int zone;
    std::string source;
};

struct Tables {
    std::vector<Polygon> japan, korea;
    std::vector<ZonePath> paths;
    std::vector<SmallIsland> islands;
    std::vector<Waterway> waterways;
    std::vector<FixedRow> fixed;
};

std::string trim(const std::string& s) {
    std::size_t a = s.find_first_not_of(" \t\r\n");
    if (a == std::string::npos) return "";
    std::size_t b = s.find_last_not_of(" \t\r\n");
    return s.substr(a, b - a + 1);
}

bool parse_point(const std::string& line, LatLon* p) {
    std::istringstream in(line);
    return bool(in >> p->lat >> p->lon);
}

// zone_coasts.txt: regions (which coasts carry stations) and zone paths (stretches of coast
// traced from one zone boundary to the next), plus small islands kept as land.
void read_zone_table(const std::string& path, Tables* t) {
    std::ifstream f(path);
    if (!f) die("cannot open " + path);
    std::string raw;
    int lineno = 0;
    enum { kNone, kJapan, kKorea, kPath } block = kNone;
    while (std::getline(f, raw)) {
        ++lineno;
        std::string line = trim(raw.substr(0, raw.find('#')));
        if (line.empty()) continue;
        std::istringstream in(line);
        std::string word;
        in >> word;
        auto where = [&] { return path + ":" + std::to_string(lineno); };
        if (word == "region") {
            std::string which, name;
            in >> which;
            std::getline(in, name);
            if (which == "JP") {
                t->japan.push_back({trim(name), {}});
                block = kJapan;
            } else if (which == "KR") {
                t->korea.push_back({trim(name), {}});
                block = kKorea;
            } else {
                die(where() + ": unknown region " + which);
            }
        } else if (word == "path") {
            ZonePath p;
            if (!(in >> p.zone)) die(where() + ": path needs a zone");
            std::getline(in, p.label);
            p.label = trim(p.label);
            t->paths.push_back(p);
            block = kPath;
        } else if (word == "island" || word == "keep") {
            SmallIsland s;
            if (!(in >> s.zone >> s.at.lat >> s.at.lon)) die(where() + ": bad island line");
            std::getline(in, s.label);
            s.label = trim(s.label);
            if (word == "keep") t->islands.push_back(s);
            ZonePath p;
            p.zone = s.zone;
            p.label = s.label;
            p.pts.push_back(s.at);
            t->paths.push_back(p);
            block = kNone;
        } else {
            LatLon p;
            if (!parse_point(line, &p)) die(where() + ": expected a keyword or 'lat lon'");
            if (block == kJapan)
                t->japan.back().pts.push_back(p);
            else if (block == kKorea)
                t->korea.back().pts.push_back(p);
            else if (block == kPath)
                t->paths.back().pts.push_back(p);
            else
                die(where() + ": point outside a block");
        }
    }
    for (auto& p : t->paths) {
        if (p.zone < 1 || p.zone > 93 || p.zone == 67) die("bad zone in path " + p.label);
        if (p.pts.empty()) die("empty path " + p.label);
        for (auto& q : p.pts) p.g.emplace_back(grid_x(q.lon), grid_y(q.lat));
    }
}

// waterways.txt: "name | latA lonA | latB lonB": two sea points that real water connects.
void read_waterways(const std::string& path, Tables* t) {
    std::ifstream f(path);
    if (!f) die("cannot open " + path);
    std::string raw;
    while (std::getline(f, raw)) {
        std::string line = trim(raw.substr(0, raw.find('#')));
        if (line.empty()) continue;
        std::vector<std::string> parts;
        std::stringstream ss(line);
        std::string part;
        while (std::getline(ss, part, '|')) parts.push_back(trim(part));
        Waterway w;
        if (parts.size() != 3 || !parse_point(parts[1], &w.a) || !parse_point(parts[2], &w.b))
            die("bad waterway line: " + line);
        w.name = parts[0];
        t->waterways.push_back(w);
    }
}

// fixed_station_rows.txt: "station_no zone source": the station numbers whose zone the loader
// sets by itself, as it finally leaves them.
void read_fixed_rows(const std::string& path, Tables* t) {
    std::ifstream f(path);
    if (!f) die("cannot open " + path);
    std::string raw;
    while (std::getline(f, raw)) {
        std::string line = trim(raw.substr(0, raw.find('#')));
        if (line.empty()) continue;
        std::istringstream in(line);
        FixedRow r;
        if (!(in >> r.station_no >> r.zone >> r.source)) die("bad fixed row: " + line);
        t->fixed.push_back(r);
    }
}

// ---- Geometry helpers ---------------------------------------------------------------------------

bool inside(const Polygon& poly, double lat, double lon) {
    bool in = false;
    const auto& p = poly.pts;
    for (std::size_t i = 0, j = p.size() - 1; i < p.size(); j = i++) {
        if ((p[i].lat > lat) != (p[j].lat > lat)) {
            double x = p[j].lon + (lat - p[j].lat) / (p[i].lat - p[j].lat) * (p[i].lon - p[j].lon);
            if (lon < x) in = !in;
        }
    }
    return in;
}

bool inside_any(const std::vector<Polygon>& polys, double lat, double lon) {
    for (const auto& p : polys)
        if (inside(p, lat, lon)) return true;
    return false;
}

double seg_dist2(double px, double py, double ax, double ay, double bx, double by) {
    double dx = bx - ax, dy = by - ay;
    double len2 = dx * dx + dy * dy;
    double t = len2 > 0 ? ((px - ax) * dx + (py - ay) * dy) / len2 : 0.0;
    t = std::clamp(t, 0.0, 1.0);
    double qx = ax + t * dx - px, qy = ay + t * dy - py;
    return qx * qx + qy * qy;
}

double path_dist2(const ZonePath& p, double x, double y) {
    if (p.g.size() == 1) {
        double dx = p.g[0].first - x, dy = p.g[0].second - y;
        return dx * dx + dy * dy;
    }
    double best = 1e300;
    for (std::size_t i = 0; i + 1 < p.g.size(); ++i)
        best = std::min(best, seg_dist2(x, y, p.g[i].first, p.g[i].second, p.g[i + 1].first,
                                        p.g[i + 1].second));
    return best;
}

constexpr int kDx[4] = {1, -1, 0, 0};
constexpr int kDy[4] = {0, 0, 1, -1};

// ---- The grid being built -----------------------------------------------------------------------

enum class Region : std::uint8_t { kOther, kJapan, kKorea };

struct Build {
    std::vector<double> land_frac;           // per cell, share of GSHHG land
    std::vector<std::uint8_t> sea;           // per cell, 1 = sea in the file
    std::vector<std::int8_t> override_mode;  // -1 none, 0 water (the shipped overrides)
    std::vector<double> elevation;           // ETOPO5 at the cell centre, metres
    std::vector<float> depth;                // what the file stores
    std::vector<Region> region;              // per cell
    std::vector<std::uint8_t> station_free;  // coastal cells left without a station (channels)
    std::vector<std::uint8_t> on_waterway;   // cells of the listed straits' connecting paths
    std::vector<int> stations;               // cells, in final station-number order
    std::vector<int> zone;                   // per station in that order
    std::map<int, int> zone_of_cell;         // intended zone by cell
    std::vector<std::string> report;
    std::vector<std::pair<std::string, std::vector<int>>> opened_waterways;
    int basins_filled = 0, basin_cells_filled = 0;
    std::vector<std::string> basin_notes;
    int islands_kept = 0;
    std::vector<std::string> island_notes;
    int swaps = 0;
    std::vector<std::string> swap_notes;
};

void say(Build* b, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
void say(Build* b, const char* fmt, ...) {
    char buf[1024];
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(buf, sizeof buf, fmt, ap);
    va_end(ap);
    b->report.emplace_back(buf);
    std::printf("%s\n", buf);
}

// Share of each grid cell that GSHHG calls land, from the fine mask samples whose centres fall
// inside the cell.
void compute_land_fraction(const FineMask& m, Build* b) {
    b->land_frac.assign(std::size_t(kNx) * kNy, 0.0);
    std::vector<int> i_lo(kNx + 1), j_lo(kNy + 1);
    for (int x = 0; x <= kNx; ++x)
        i_lo[x] = std::clamp(int(std::ceil((cell_lon(x - 0.5) - m.west) / m.inc - 0.5)), 0, m.cols);
    for (int y = 0; y <= kNy; ++y)
        j_lo[y] =
            std::clamp(int(std::ceil((cell_lat(y - 0.5) - m.south) / m.inc - 0.5)), 0, m.rows);
    for (int y = 0; y < kNy; ++y) {
        for (int x = 0; x < kNx; ++x) {
            long land = 0, all = 0;
            for (int j = j_lo[y]; j < j_lo[y + 1]; ++j)
                for (int i = i_lo[x]; i < i_lo[x + 1]; ++i) {
                    land += m.land(i, j);
                    ++all;
                }
            if (all == 0) die("fine mask does not cover the grid");
            b->land_frac[cell_of(x, y)] = double(land) / double(all);
        }
    }
}

// Islands that carry a forecast zone but are smaller than half a cell would vanish under the
// half-cell rule; of the 3 x 3 cells around each, the one with the largest land share is kept
// as land (unless one is land already).
void keep_small_islands(const Tables& t, Build* b) {
    for (const auto& s : t.islands) {
        auto [cx, cy] = nearest_cell(s.at.lat, s.at.lon);
        bool has_land = false;
        int best = -1;
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx) {
                int x = cx + dx, y = cy + dy;
                if (!in_grid(x, y)) continue;
                int c = cell_of(x, y);
                if (!b->sea[c]) has_land = true;
                if (best < 0 || b->land_frac[c] > b->land_frac[best]) best = c;
            }
        if (has_land) continue;
        if (best < 0 || b->land_frac[best] <= 0.0) {
            b->island_notes.push_back("  " + s.label + ": no land in GSHHG near the point");
            continue;
        }
        b->sea[best] = 0;
        ++b->islands_kept;
        char buf[256];
        std::snprintf(buf, sizeof buf, "  %s (zone %d): cell %d,%d kept as land (%.0f%% land)",
                      s.label.c_str(), s.zone, best % kNx, best / kNx, b->land_frac[best] * 100);
        b->island_notes.emplace_back(buf);
    }
}

bool water_for_connectivity(const Build& b, int c) {
    return b.sea[c] || b.override_mode[c] == 0;
}

// Opens each listed waterway the mask closed: when its two ends do not meet through sea inside
// the box around them, the fewest land cells (preferring the wettest) become water overrides.
void open_waterways(const Tables& t, Build* b) {
    for (const auto& w : t.waterways) {
        auto snap = [&](LatLon p) {
            auto [cx, cy] = nearest_cell(p.lat, p.lon);
            int best = -1;
            double bd = 1e300;
            for (int dy = -4; dy <= 4; ++dy)
                for (int dx = -4; dx <= 4; ++dx) {
                    int x = cx + dx, y = cy + dy;
                    if (!in_grid(x, y) || !b->sea[cell_of(x, y)]) continue;
                    double d = double(dx * dx + dy * dy);
                    if (d < bd) bd = d, best = cell_of(x, y);
                }
            if (best < 0) die("waterway " + w.name + ": no sea near an end");
            return best;
        };
        int a = snap(w.a), z = snap(w.b);
        int x0 = std::min(a % kNx, z % kNx) - 4, x1 = std::max(a % kNx, z % kNx) + 4;
        int y0 = std::min(a / kNx, z / kNx) - 4, y1 = std::max(a / kNx, z / kNx) + 4;
        // Dijkstra over the box: sea costs nothing, land costs 1000 plus its land share.
        std::map<int, long> dist;
        std::map<int, int> prev;
        using Item = std::pair<long, int>;
        std::priority_queue<Item, std::vector<Item>, std::greater<Item>> q;
        dist[a] = 0;
        q.push({0, a});
        while (!q.empty()) {
            auto [d, c] = q.top();
            q.pop();
            if (d != dist[c]) continue;
            if (c == z) break;
            int cx = c % kNx, cy = c / kNx;
            for (int k = 0; k < 4; ++k) {
                int x = cx + kDx[k], y = cy + kDy[k];
                if (!in_grid(x, y) || x < x0 || x > x1 || y < y0 || y > y1) continue;
                int n = cell_of(x, y);
                long step = water_for_connectivity(*b, n) ? 0 : 1000 + long(b->land_frac[n] * 999);
                auto it = dist.find(n);
                if (it == dist.end() || d + step < it->second) {
                    dist[n] = d + step;
                    prev[n] = c;
                    q.push({d + step, n});
                }
            }
        }
        if (!dist.count(z)) die("waterway " + w.name + ": ends not joined in the box");
        std::vector<int> opened;
        for (int c = z;; c = prev[c]) {
            b->on_waterway[c] = 1;
            if (!water_for_connectivity(*b, c)) opened.push_back(c);
            if (c == a) break;
        }
        std::sort(opened.begin(), opened.end());
        for (int c : opened) b->override_mode[c] = 0;
        b->opened_waterways.push_back({w.name, opened});
    }
}

// Whether the two ends of every listed strait still meet through water inside their box.
void check_waterways_open(const Tables& t, const Build& b) {
    for (const auto& w : t.waterways) {
        auto snap = [&](LatLon p) {
            auto [cx, cy] = nearest_cell(p.lat, p.lon);
            int best = -1, bd = 1 << 30;
            for (int dy = -4; dy <= 4; ++dy)
                for (int dx = -4; dx <= 4; ++dx) {
                    int x = cx + dx, y = cy + dy;
                    if (!in_grid(x, y) || !water_for_connectivity(b, cell_of(x, y))) continue;
                    if (dx * dx + dy * dy < bd) bd = dx * dx + dy * dy, best = cell_of(x, y);
                }
            return best;
        };
        int a = snap(w.a), z = snap(w.b);
        if (a < 0 || z < 0) die("waterway " + w.name + " lost its ends");
        int x0 = std::min(a % kNx, z % kNx) - 4, x1 = std::max(a % kNx, z % kNx) + 4;
        int y0 = std::min(a / kNx, z / kNx) - 4, y1 = std::max(a / kNx, z / kNx) + 4;
        std::set<int> seen{a};
        std::vector<int> todo{a};
        bool met = false;
        while (!todo.empty() && !met) {
            int c = todo.back();
            todo.pop_back();
            met = c == z;
            for (int k = 0; k < 4; ++k) {
                int x = c % kNx + kDx[k], y = c / kNx + kDy[k];
                if (!in_grid(x, y) || x < x0 || x > x1 || y < y0 || y > y1) continue;
                int n = cell_of(x, y);
                if (water_for_connectivity(b, n) && seen.insert(n).second) todo.push_back(n);
            }
        }
        if (!met) die("waterway " + w.name + " closed again");
    }
}

// Sea that does not reach the open ocean through sea or opened waterways (lagoons the half-cell
// rule cut off, and lakes GSHHG files as ocean) is made land: the program's own flood fill
// would turn it into land anyway, and no station should sit in it.
void fill_enclosed_basins(Build* b) {
    std::vector<std::uint8_t> seen(b->sea.size(), 0);
    std::deque<int> q;
    for (int y = 0; y < kNy; ++y)
        for (int x = 0; x < kNx; ++x) {
            if (x != 0 && y != 0 && x != kNx - 1 && y != kNy - 1) continue;
            int c = cell_of(x, y);
            if (water_for_connectivity(*b, c) && !seen[c]) seen[c] = 1, q.push_back(c);
        }
    while (!q.empty()) {
        int c = q.front();
        q.pop_front();
        for (int k = 0; k < 4; ++k) {
            int x = c % kNx + kDx[k], y = c / kNx + kDy[k];
            if (!in_grid(x, y)) continue;
            int n = cell_of(x, y);
            if (!seen[n] && water_for_connectivity(*b, n)) seen[n] = 1, q.push_back(n);
        }
    }
    // Report the basins by size, largest first.
    std::vector<std::uint8_t> done(b->sea.size(), 0);
    std::vector<std::tuple<int, int, int>> basins;  // -size, first cell, region
    for (int c = 0; c < kNx * kNy; ++c) {
        if (!b->sea[c] || seen[c] || done[c]) continue;
        int size = 0;
        std::deque<int> bq{c};
        done[c] = 1;
        while (!bq.empty()) {
            int e = bq.front();
            bq.pop_front();
            ++size;
            for (int k = 0; k < 4; ++k) {
                int x = e % kNx + kDx[k], y = e / kNx + kDy[k];
                if (!in_grid(x, y)) continue;
                int n = cell_of(x, y);
                if (b->sea[n] && !seen[n] && !done[n]) done[n] = 1, bq.push_back(n);
            }
        }
        basins.emplace_back(-size, c, int(b->region[c]));
        ++b->basins_filled;
        b->basin_cells_filled += size;
    }
    std::sort(basins.begin(), basins.end());
    for (std::size_t i = 0; i < basins.size() && i < 12; ++i) {
        auto [neg, c, r] = basins[i];
        char buf[200];
        std::snprintf(buf, sizeof buf, "  %4d cells at %.3fN %.3fE (cell %d,%d)%s", -neg,
                      cell_lat(c / kNx), cell_lon(c % kNx), c % kNx, c / kNx,
                      r == int(Region::kJapan)   ? " Japan"
                      : r == int(Region::kKorea) ? " Korea"
                                                 : "");
        b->basin_notes.emplace_back(buf);
    }
    for (int c = 0; c < kNx * kNy; ++c)
        if (b->sea[c] && !seen[c]) b->sea[c] = 0;
}

bool touches_land(const Build& b, int c) {
    int cx = c % kNx, cy = c / kNx;
    for (int k = 0; k < 4; ++k) {
        int x = cx + kDx[k], y = cy + kDy[k];
        if (in_grid(x, y) && !b.sea[cell_of(x, y)]) return true;
    }
    return false;
}

bool is_station_cell(const Build& b, int c) {
    return b.sea[c] && !b.station_free[c] && touches_land(b, c);
}

// The program builds its visible land mask by flooding from the grid edge through cells that
// are neither land nor stations, so water reached only through a channel lined with stations on
// both banks would turn into land there. For each such basin the cheapest channel into it is
// found (each station on it costs one); when that costs at most half the basin's sea cells the
// channel's stations are left off, otherwise the basin is too small to be worth its stations
// and becomes land in the file, as the program would show it anyway.
struct BasinFix {
    int stations_left_off = 0, basins_opened = 0, basins_filled = 0, cells_filled = 0;
    std::vector<std::string> notes;
};

BasinFix keep_basins_reachable(Build* b) {
    const int n_cells = kNx * kNy;
    BasinFix fix;
    auto water = [&](int c) { return water_for_connectivity(*b, c); };
    for (int round = 0; round < 100000; ++round) {
        std::vector<std::uint8_t> barrier(n_cells), reached(n_cells, 0);
        for (int c = 0; c < n_cells; ++c) barrier[c] = !water(c) || is_station_cell(*b, c);
        std::deque<int> q;
        for (int y = 0; y < kNy; ++y)
            for (int x = 0; x < kNx; ++x) {
                if (x != 0 && y != 0 && x != kNx - 1 && y != kNy - 1) continue;
                int c = cell_of(x, y);
                if (!barrier[c] && !reached[c]) reached[c] = 1, q.push_back(c);
            }
        while (!q.empty()) {
            int c = q.front();
            q.pop_front();
            for (int k = 0; k < 4; ++k) {
                int x = c % kNx + kDx[k], y = c / kNx + kDy[k];
                if (!in_grid(x, y)) continue;
                int n = cell_of(x, y);
                if (!reached[n] && !barrier[n]) reached[n] = 1, q.push_back(n);
            }
        }
        // Override cells are water whatever the flood does; only the file's sea can be lost.
        // The largest basin goes first (the first in cell order among equals), so a small pocket
        // never decides the fate of a bay behind it.
        auto grow = [&](int from, std::vector<std::uint8_t>* mark) {
            std::vector<int> cells{from};
            (*mark)[from] = 1;
            for (std::size_t i = 0; i < cells.size(); ++i) {
                int c = cells[i];
                for (int k = 0; k < 4; ++k) {
                    int x = c % kNx + kDx[k], y = c / kNx + kDy[k];
                    if (!in_grid(x, y)) continue;
                    int n = cell_of(x, y);
                    if (!(*mark)[n] && !barrier[n] && !reached[n])
                        (*mark)[n] = 1, cells.push_back(n);
                }
            }
            return cells;
        };
        std::vector<std::uint8_t> seen(n_cells, 0);
        int start = -1, best_size = 0;
        for (int c = 0; c < n_cells; ++c) {
            if (barrier[c] || reached[c] || !b->sea[c] || seen[c]) continue;
            int size = 0;
            for (int e : grow(c, &seen)) size += b->sea[e];
            if (size > best_size) best_size = size, start = c;
        }
        if (start < 0) return fix;

        std::vector<std::uint8_t> in_basin(n_cells, 0);
        std::vector<int> basin = grow(start, &in_basin);
        std::vector<int> dist(n_cells, INT32_MAX), prev(n_cells, -1);
        for (int c : basin) dist[c] = 0;
        const int sea_cells = best_size;
        // Cheapest water path from the basin to reached water (0-1 breadth-first search).
        std::deque<int> dq(basin.begin(), basin.end());
        int goal = -1;
        while (!dq.empty()) {
            int c = dq.front();
            dq.pop_front();
            if (reached[c]) {
                goal = c;
                break;
            }
            for (int k = 0; k < 4; ++k) {
                int x = c % kNx + kDx[k], y = c / kNx + kDy[k];
                if (!in_grid(x, y)) continue;
                int n = cell_of(x, y);
                if (!water(n)) continue;
                int w = is_station_cell(*b, n) ? 1 : 0;
                if (dist[c] + w < dist[n]) {
                    dist[n] = dist[c] + w;
                    prev[n] = c;
                    if (w)
                        dq.push_back(n);
                    else
                        dq.push_front(n);
                }
            }
        }
        const int cost = goal < 0 ? INT32_MAX : dist[goal];
        // A basin on a listed strait's path stays water whatever its channel costs.
        bool on_waterway = false;
        for (int c : basin) on_waterway |= b->on_waterway[c] != 0;
        char buf[200];
        if (goal >= 0 && (cost * 2 <= sea_cells || on_waterway)) {
            for (int c = goal; c >= 0 && dist[c] > 0; c = prev[c])
                if (is_station_cell(*b, c)) b->station_free[c] = 1;
            fix.stations_left_off += cost;
            ++fix.basins_opened;
            std::snprintf(buf, sizeof buf,
                          "  %4d sea cells at %.2fN %.2fE: channel opened, %d station(s) left off",
                          sea_cells, cell_lat(start / kNx), cell_lon(start % kNx), cost);
        } else {
            for (int c : basin)
                if (b->sea[c]) b->sea[c] = 0;
            ++fix.basins_filled;
            fix.cells_filled += sea_cells;
            std::snprintf(
                buf, sizeof buf, "  %4d sea cells at %.2fN %.2fE: made land (%s)", sea_cells,
                cell_lat(start / kNx), cell_lon(start % kNx),
                goal < 0 ? "no water path left"
                         : ("a channel would cost " + std::to_string(cost) + " stations").c_str());
        }
        if (sea_cells >= 3) fix.notes.emplace_back(buf);
    }
    die("basin handling did not converge");
}

// ---- Zones ----------------------------------------------------------------------------------

int zone_for_cell(const Tables& t, const Build& b, int c) {
    if (b.region[c] == Region::kOther) return 67;
    double x = c % kNx, y = c / kNx;
    bool korea = b.region[c] == Region::kKorea;
    int best_zone = 0;
    double best = 1e300;
    for (const auto& p : t.paths) {
        if ((p.zone >= 68) != korea) continue;
        double d = path_dist2(p, x, y);
        if (d < best) best = d, best_zone = p.zone;
    }
    return best_zone;
}

// The fewest swaps that put every fixed row on a station of its zone: a swap between two fixed
// rows that want each other's zones settles both; otherwise the nearest station number of the
// wanted zone that no fixed row claims is brought in. Then, when fewer Korean stations lie
// between the first and the last KMA row than the KMA table needs, the nearest Korean stations
// outside are swapped in. Returns the number of swaps; notes go to `notes` when given.
int arrange_numbering(const Tables& t, const std::map<int, int>& zone_of_cell,
                      std::vector<int>* order, std::vector<std::string>* notes,
                      int kma_rows_needed) {
    std::vector<int>& st = *order;
    const int n = int(st.size());
    auto zone_at = [&](int no) { return zone_of_cell.at(st[no - 1]); };
    std::map<int, int> want;  // station number -> zone
    for (const auto& r : t.fixed) {
        if (r.station_no > n)
            die("fixed row " + std::to_string(r.station_no) + " is beyond the station count");
        auto it = want.find(r.station_no);
        if (it != want.end() && it->second != r.zone) die("fixed rows disagree on a station");
        want[r.station_no] = r.zone;
    }
    int swaps = 0;
    auto settled = [&](int no) { return zone_at(no) == want.at(no); };
    auto do_swap = [&](int a, int c, const char* why) {
        if (notes) {
            char buf[200];
            std::snprintf(buf, sizeof buf, "  swap %d <-> %d (%s): zone %d <-> %d", a, c, why,
                          zone_at(a), zone_at(c));
            notes->emplace_back(buf);
        }
        std::swap(st[a - 1], st[c - 1]);
        ++swaps;
    };
    for (auto& [no, z] : want) {
        if (settled(no)) continue;
        for (auto& [other, oz] : want) {
            if (other == no || settled(other)) continue;
            if (zone_at(other) == z && zone_at(no) == oz) {
                do_swap(no, other, "pair of fixed rows");
                break;
            }
        }
    }
    for (auto& [no, z] : want) {
        if (settled(no)) continue;
        int best = -1;
        for (int d = 1; d < n && best < 0; ++d) {
            for (int cand : {no - d, no + d}) {
                if (cand < 1 || cand > n || want.count(cand)) continue;
                if (zone_at(cand) == z) {
                    best = cand;
                    break;
                }
            }
        }
        if (best < 0) die("no station of zone " + std::to_string(z) + " for a fixed row");
        do_swap(no, best, "fixed row");
    }
    for (auto& [no, z] : want)
        if (!settled(no)) die("fixed row not settled");

    // Korean stations for the KMA table between its first and last fixed rows.
    int first = INT32_MAX, last = 0, kma_fixed = 0;
    for (const auto& r : t.fixed)
        if (r.source == "kma")
            first = std::min(first, r.station_no), last = std::max(last, r.station_no), ++kma_fixed;
    auto korean_free = [&](int no) { return zone_at(no) >= 68 && !want.count(no); };
    auto count_in_range = [&] {
        int k = 0;
        for (int no = first + 1; no < last; ++no) k += korean_free(no);
        return k;
    };
    int deficit = kma_rows_needed - kma_fixed - count_in_range();
    while (deficit > 0) {
        // The Korean station outside the range nearest to it, and the nearest station inside the
        // range that is neither Korean nor a fixed row.
        int outside = -1;
        for (int d = 1; outside < 0 && (last + d <= n || first - d >= 1); ++d) {
            if (last + d <= n && korean_free(last + d))
                outside = last + d;
            else if (first - d >= 1 && korean_free(first - d))
                outside = first - d;
        }
        if (outside < 0) die("not enough Korean stations for the KMA table");
        int inside = -1;
        int edge = outside > last ? last - 1 : first + 1, step = outside > last ? -1 : 1;
        for (int no = edge; no > first && no < last; no += step)
            if (zone_at(no) < 68 && !want.count(no)) {
                inside = no;
                break;
            }
        if (inside < 0) die("no room for Korean stations in the KMA range");
        do_swap(inside, outside, "KMA table range");
        --deficit;
    }
    return swaps;
}

// ---- Output ---------------------------------------------------------------------------------

void put_u32(std::vector<std::uint8_t>* out, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) out->push_back(std::uint8_t(v >> (8 * i)));
}

void write_file(const std::string& path, const std::string& bytes) {
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    if (!f) die("cannot write " + path);
    f.write(bytes.data(), std::streamsize(bytes.size()));
    if (!f) die("write failed: " + path);
}

std::string grid_file_bytes(const Build& b) {
    std::vector<std::uint8_t> out;
    const char magic[17] = "TSUNAMI_SIM_V1\0\0";
    out.insert(out.end(), magic, magic + 16);
    put_u32(&out, kNx);
    put_u32(&out, kNy);
    put_u32(&out, std::uint32_t(b.stations.size()));
    for (float d : b.depth) {
        std::uint32_t u;
        std::memcpy(&u, &d, 4);
        put_u32(&out, u);
    }
    for (std::size_t c = 0; c < b.depth.size(); ++c) out.push_back(b.sea[c] ? 0 : 1);
    for (int c : b.stations) put_u32(&out, std::uint32_t(c));
    for (int z : b.zone) put_u32(&out, std::uint32_t(z));
    return std::string(out.begin(), out.end());
}

void png_chunk(std::string* out, const char* type, const std::string& data) {
    auto be32 = [&](std::uint32_t v) {
        for (int i = 3; i >= 0; --i) out->push_back(char(v >> (8 * i)));
    };
    be32(std::uint32_t(data.size()));
    std::string td = std::string(type, 4) + data;
    out->append(td);
    be32(std::uint32_t(crc32(0, reinterpret_cast<const Bytef*>(td.data()), uInt(td.size()))));
}

std::string png_bytes(int w, int h, const std::vector<std::uint8_t>& rgb) {
    std::string raw;
    raw.reserve(std::size_t(h) * (w * 3 + 1));
    for (int y = 0; y < h; ++y) {
        raw.push_back(0);
        raw.append(reinterpret_cast<const char*>(&rgb[std::size_t(y) * w * 3]), std::size_t(w) * 3);
    }
    uLongf zlen = compressBound(uLong(raw.size()));
    std::string z(zlen, '\0');
    if (compress2(reinterpret_cast<Bytef*>(z.data()), &zlen,
                  reinterpret_cast<const Bytef*>(raw.data()), uLong(raw.size()), 9) != Z_OK)
        die("zlib failed");
    z.resize(zlen);
    std::string out = "\x89PNG\r\n\x1a\n";
    std::string ihdr;
    for (std::uint32_t v : {std::uint32_t(w), std::uint32_t(h)})
        for (int i = 3; i >= 0; --i) ihdr.push_back(char(v >> (8 * i)));
    ihdr += std::string("\x08\x02\x00\x00\x00", 5);
    png_chunk(&out, "IHDR", ihdr);
    png_chunk(&out, "IDAT", z);
    png_chunk(&out, "IEND", "");
    return out;
}

std::array<std::uint8_t, 3> zone_colour(int zone) {
    if (zone == 67) return {225, 225, 225};
    // Neighbouring zone ids get far-apart hues (golden-ratio steps), so boundaries show.
    double h = std::fmod(zone * 0.6180339887, 1.0) * 6.0;
    double s = (zone % 2) ? 0.95 : 0.7, v = (zone % 3 == 0) ? 0.8 : 1.0;
    int i = int(h);
    double f = h - i, p = v * (1 - s), qv = v * (1 - s * f), tv = v * (1 - s * (1 - f));
    double r, g, bl;
    switch (i % 6) {
        case 0:
            r = v, g = tv, bl = p;
            break;
        case 1:
            r = qv, g = v, bl = p;
            break;
        case 2:
            r = p, g = v, bl = tv;
            break;
        case 3:
            r = p, g = qv, bl = v;
            break;
        case 4:
            r = tv, g = p, bl = v;
            break;
        default:
            r = v, g = p, bl = qv;
            break;
    }
    return {std::uint8_t(r * 255), std::uint8_t(g * 255), std::uint8_t(bl * 255)};
}

// The map north up: sea shaded by depth, land by height, overrides magenta, stations by zone.
std::vector<std::uint8_t> render(const Build& b, int x0, int y0, int x1, int y1, int scale) {
    int w = (x1 - x0 + 1) * scale, h = (y1 - y0 + 1) * scale;
    std::vector<std::uint8_t> rgb(std::size_t(w) * h * 3);
    std::map<int, int> zone_by_cell;
    for (std::size_t i = 0; i < b.stations.size(); ++i) zone_by_cell[b.stations[i]] = b.zone[i];
    for (int y = y0; y <= y1; ++y)
        for (int x = x0; x <= x1; ++x) {
            int c = cell_of(x, y);
            std::array<std::uint8_t, 3> col;
            if (b.override_mode[c] == 0) {
                col = {255, 0, 255};
            } else if (b.sea[c]) {
                auto it = zone_by_cell.find(c);
                if (it != zone_by_cell.end()) {
                    col = zone_colour(it->second);
                } else if (b.station_free[c]) {
                    col = {0, 0, 0};
                } else {
                    double f = std::min(double(b.depth[c]), 7000.0) / 7000.0;
                    f = std::sqrt(f);
                    col = {std::uint8_t((1 - f) * 150 + 10), std::uint8_t((1 - f) * 170 + 40),
                           std::uint8_t((1 - f) * 60 + 150)};
                }
            } else {
                double e = std::clamp(-double(b.depth[c]), 0.0, 2500.0) / 2500.0;
                col = {std::uint8_t(120 + e * 80), std::uint8_t(110 + e * 60),
                       std::uint8_t(80 + e * 50)};
                if (b.region[c] == Region::kOther)
                    col = {std::uint8_t(col[0] * 0.75), std::uint8_t(col[1] * 0.75),
                           std::uint8_t(col[2] * 0.75)};
            }
            for (int sy = 0; sy < scale; ++sy)
                for (int sx = 0; sx < scale; ++sx) {
                    int px = (x - x0) * scale + sx, py = (y1 - y) * scale + sy;
                    std::memcpy(&rgb[(std::size_t(py) * w + px) * 3], col.data(), 3);
                }
        }
    // At small scales a one-cell station would be a speck: draw stations and overrides again as
    // larger squares so the zones and the opened straits show.
    if (scale <= 2) {
        auto blob = [&](int c, int half, std::array<std::uint8_t, 3> col) {
            int x = c % kNx, y = c / kNx;
            if (x < x0 || x > x1 || y < y0 || y > y1) return;
            int cx = (x - x0) * scale + scale / 2, cy = (y1 - y) * scale + scale / 2;
            for (int py = cy - half; py < cy + half; ++py)
                for (int px = cx - half; px < cx + half; ++px)
                    if (px >= 0 && py >= 0 && px < w && py < h)
                        std::memcpy(&rgb[(std::size_t(py) * w + px) * 3], col.data(), 3);
        };
        for (std::size_t i = 0; i < b.stations.size(); ++i)
            blob(b.stations[i], 2, zone_colour(b.zone[i]));
        for (int c = 0; c < kNx * kNy; ++c)
            if (b.override_mode[c] == 0) blob(c, 4, {255, 0, 255});
    }
    return rgb;
}

std::string csv_kma_table(const Tables& t, const Build& b, int* rows_out) {
    // All five quoted rows plus Korean stations between the first and the last, evenly spread,
    // 431 rows in all.
    constexpr int kRows = 431;  // the KMA table's length
    std::map<int, int> fixed_kma;
    for (const auto& r : t.fixed)
        if (r.source == "kma") fixed_kma[r.station_no] = r.zone;
    if (fixed_kma.empty()) die("no KMA rows among the fixed rows");
    int first = fixed_kma.begin()->first, last = fixed_kma.rbegin()->first;
    std::set<int> jma_fixed;
    for (const auto& r : t.fixed)
        if (r.source != "kma") jma_fixed.insert(r.station_no);
    std::vector<int> candidates;
    for (int no = first + 1; no < last; ++no)
        if (b.zone[no - 1] >= 68 && !fixed_kma.count(no) && !jma_fixed.count(no))
            candidates.push_back(no);
    int need = kRows - int(fixed_kma.size());
    if (int(candidates.size()) < need)
        die("only " + std::to_string(candidates.size()) + " Korean stations between " +
            std::to_string(first) + " and " + std::to_string(last));
    std::set<int> rows;
    for (auto& [no, z] : fixed_kma) {
        if (b.zone[no - 1] != z) die("KMA fixed row not on its zone");
        rows.insert(no);
    }
    for (int k = 0; k < need; ++k)
        rows.insert(candidates[std::size_t((long(k) * long(candidates.size())) / need)]);
    std::string out = "station_no,zone_id\n";
    for (int no : rows) out += std::to_string(no) + "," + std::to_string(b.zone[no - 1]) + "\n";
    *rows_out = int(rows.size());
    return out;
}

struct ObsPoint {
    const char* code;
    double lat, lon;
    int zone;
    bool izu;
};

const ObsPoint kObsPoints[] = {
    {"WAKKANAI", 45.4167, 141.6833, 5, false},
    {"ABASHIRI", 44.0167, 144.2833, 1, false},
    {"KUSHIRO", 42.9833, 144.3667, 2, false},
    {"NEMURO", 43.3333, 145.5833, 2, false},
    {"HAKODATE", 41.7667, 140.7167, 4, false},
    {"AOMORI", 40.8333, 140.7333, 7, false},
    {"HACHINOHE", 40.5333, 141.5333, 9, false},
    {"MIYAKO", 39.6333, 141.9667, 10, false},
    {"KAMAISHI", 39.2667, 141.8833, 10, false},
    {"OFUNATO", 39.0667, 141.7167, 10, false},
    {"AYUKAWA", 38.3, 141.5, 11, false},
    {"SENDAI", 38.2667, 141.0167, 11, false},
    {"ONAHAMA", 36.9333, 140.9167, 12, false},
    {"CHOSHI", 35.7333, 140.8667, 16, false},
    {"TOKYO", 35.65, 139.7667, 18, false},
    {"YOKOHAMA", 35.45, 139.65, 18, false},
    {"IZU_OSHIMA_OKADA", 34.782, 139.393, 19, true},
    {"TOSHIMA", 34.52, 139.282, 19, true},
    {"NIIJIMA", 34.377, 139.257, 19, true},
    {"SHIKINEJIMA", 34.326, 139.217, 19, true},
    {"KOZUSHIMA", 34.205, 139.134, 19, true},
    {"MIYAKEJIMA_AKO", 34.075, 139.48, 19, true},
    {"MIKURAJIMA", 33.875, 139.602, 19, true},
    {"HACHIJOJIMA_YAENE", 33.109, 139.775, 19, true},
    {"AOGASHIMA", 32.458, 139.763, 19, true},
    {"OMAEZAKI", 34.6, 138.2167, 22, false},
    {"NAGOYA", 35.0833, 136.8833, 24, false},
    {"OSAKA", 34.65, 135.4333, 36, false},
    {"KOBE", 34.6833, 135.2, 34, false},
    {"HIROSHIMA", 34.35, 132.4667, 42, false},
    {"UWAJIMA", 33.2167, 132.5667, 45, false},
    {"KOCHI", 33.5, 133.5667, 47, false},
    {"KAGOSHIMA", 31.5833, 130.5667, 61, false},
    {"NAZE", 28.3833, 129.5, 63, false},
    {"NAHA", 26.2167, 127.6667, 64, false},
    {"ISHIGAKI", 24.3333, 124.1667, 66, false},
};

// The distance in km between a point and a cell, on the grid's own scale at the point's row.
double km_between(double gx, double gy, int c) {
    double dx = c % kNx - gx, dy = c / kNx - gy;
    return std::sqrt(dx * dx + dy * dy) * km_per_cell(gy);
}

int check_observation_points(Build* bp) {
    const Build& b = *bp;
    int failures = 0;
    for (const auto& p : kObsPoints) {
        double gx = grid_x(p.lon), gy = grid_y(p.lat);
        char buf[256];
        if (p.izu) {
            int c0 = int(std::floor(gx + 0.5)), r0 = int(std::floor(gy + 0.5));
            double best = 1e300;
            for (int y = r0 - 34; y <= r0 + 34; ++y)
                for (int x = c0 - 34; x <= c0 + 34; ++x) {
                    if (!in_grid(x, y) || (x - c0) * (x - c0) + (y - r0) * (y - r0) > 34 * 34)
                        continue;
                    int c = cell_of(x, y);
                    if (!b.sea[c] && b.override_mode[c] != 0) continue;
                    best = std::min(best, km_between(gx, gy, c));
                }
            bool ok = best < 1e299;
            if (!ok) ++failures;
            std::snprintf(buf, sizeof buf,
                          "  %-18s zone 19: sea cell within 34 cells: %s (nearest %.1f km)", p.code,
                          ok ? "yes" : "NO", best);
        } else {
            double best = 1e300;
            int best_no = 0;
            for (std::size_t i = 0; i < b.stations.size(); ++i) {
                if (b.zone[i] != p.zone) continue;
                double d = km_between(gx, gy, b.stations[i]);
                if (d < best) best = d, best_no = int(i) + 1;
            }
            bool ok = best <= 10.0;
            if (!ok) ++failures;
            std::snprintf(buf, sizeof buf, "  %-18s zone %2d: station %4d at %5.1f km %s", p.code,
                          p.zone, best_no, best, ok ? "ok" : "TOO FAR");
        }
        say(bp, "%s", buf);
    }
    return failures;
}

struct KnownPlace {
    double lat, lon;
    std::vector<int> zones;
    std::string name;
};

std::vector<KnownPlace> read_known_places(const std::string& path) {
    std::ifstream f(path);
    if (!f) die("cannot open " + path);
    std::vector<KnownPlace> out;
    std::string raw;
    while (std::getline(f, raw)) {
        std::string line = trim(raw.substr(0, raw.find('#')));
        if (line.empty()) continue;
        std::istringstream in(line);
        KnownPlace k;
        std::string zones;
        if (!(in >> k.lat >> k.lon >> zones)) die("bad known place: " + line);
        std::getline(in, k.name);
        k.name = trim(k.name);
        std::stringstream zs(zones);
        std::string z;
        while (std::getline(zs, z, '/')) k.zones.push_back(std::atoi(z.c_str()));
        out.push_back(k);
    }
    return out;
}

// The zone of the station nearest to each known coastal town.
int check_known_places(const std::vector<KnownPlace>& places, Build* b) {
    int wrong = 0;
    for (const auto& k : places) {
        double gx = grid_x(k.lon), gy = grid_y(k.lat);
        double best = 1e300;
        std::size_t bi = 0;
        for (std::size_t i = 0; i < b->stations.size(); ++i) {
            double d = km_between(gx, gy, b->stations[i]);
            if (d < best) best = d, bi = i;
        }
        int z = b->zone[bi];
        if (std::find(k.zones.begin(), k.zones.end(), z) == k.zones.end()) {
            ++wrong;
            say(b, "  %-40s expected zone %d, nearest station %zu (%.1f km) has zone %d",
                k.name.c_str(), k.zones[0], bi + 1, best, z);
        }
    }
    return wrong;
}

struct Options {
    std::string mask, etopo, zones, waterways, fixed, places, out;
    double mask_west = 0, mask_south = 0, mask_inc = 0;
    int mask_cols = 0, mask_rows = 0;
    double min_depth = 10.0;
    std::vector<std::array<int, 5>> crops;  // x0 y0 x1 y1 scale, written as crop_N.png in out
    std::string crop_dir;
};

Options parse_args(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        auto next = [&]() -> std::string {
            if (i + 1 >= argc) die("missing value for " + a);
            return argv[++i];
        };
        if (a == "--mask")
            o.mask = next();
        else if (a == "--mask-geometry") {
            // west/south/inc/cols/rows
            std::string g = next();
            if (std::sscanf(g.c_str(), "%lf/%lf/%lf/%d/%d", &o.mask_west, &o.mask_south,
                            &o.mask_inc, &o.mask_cols, &o.mask_rows) != 5)
                die("bad --mask-geometry");
        } else if (a == "--etopo")
            o.etopo = next();
        else if (a == "--zones")
            o.zones = next();
        else if (a == "--waterways")
            o.waterways = next();
        else if (a == "--fixed-rows")
            o.fixed = next();
        else if (a == "--known-places")
            o.places = next();
        else if (a == "--out")
            o.out = next();
        else if (a == "--min-depth")
            o.min_depth = std::atof(next().c_str());
        else if (a == "--crop-dir")
            o.crop_dir = next();
        else if (a == "--crop") {
            std::array<int, 5> c{};
            if (std::sscanf(next().c_str(), "%d,%d,%d,%d,%d", &c[0], &c[1], &c[2], &c[3], &c[4]) !=
                5)
                die("bad --crop x0,y0,x1,y1,scale");
            o.crops.push_back(c);
        } else
            die("unknown argument " + a);
    }
    if (o.mask.empty() || o.etopo.empty() || o.zones.empty() || o.waterways.empty() ||
        o.fixed.empty() || o.places.empty() || o.out.empty() || o.mask_cols <= 0)
        die("usage: gridgen --mask F --mask-geometry W/S/INC/COLS/ROWS --etopo F --zones F "
            "--waterways F --fixed-rows F --known-places F --out DIR");
    return o;
}

}  // namespace

int main(int argc, char** argv) {
    Options opt = parse_args(argc, argv);
    Tables t;
    read_zone_table(opt.zones, &t);
    read_waterways(opt.waterways, &t);
    read_fixed_rows(opt.fixed, &t);

    FineMask mask;
    mask.west = opt.mask_west, mask.south = opt.mask_south, mask.inc = opt.mask_inc;
    mask.cols = opt.mask_cols, mask.rows = opt.mask_rows;
    mask.v = read_bytes(opt.mask);
    if (mask.v.size() != std::size_t(mask.cols) * mask.rows)
        die("mask size does not match its geometry");

    Relief relief;
    {
        std::vector<char> raw = read_bytes(opt.etopo);
        if (raw.size() != std::size_t(Relief::kCols) * Relief::kRows * 4)
            die("unexpected ETOPO5 size");
        relief.v.resize(raw.size() / 4);
        std::memcpy(relief.v.data(), raw.data(), raw.size());
    }

    Build b;
    const int n_cells = kNx * kNy;
    compute_land_fraction(mask, &b);
    b.sea.assign(n_cells, 0);
    b.override_mode.assign(n_cells, -1);
    b.elevation.assign(n_cells, 0.0);
    b.region.assign(n_cells, Region::kOther);
    b.station_free.assign(n_cells, 0);
    b.on_waterway.assign(n_cells, 0);
    for (int c = 0; c < n_cells; ++c) {
        b.sea[c] = b.land_frac[c] < 0.5;
        double lat = cell_lat(c / kNx), lon = cell_lon(c % kNx);
        b.elevation[c] = relief.at(lat, lon);
        if (inside_any(t.korea, lat, lon))
            b.region[c] = Region::kKorea;
        else if (inside_any(t.japan, lat, lon))
            b.region[c] = Region::kJapan;
    }
    int sea_by_rule = 0;
    for (int c = 0; c < n_cells; ++c) sea_by_rule += b.sea[c];

    keep_small_islands(t, &b);
    open_waterways(t, &b);
    fill_enclosed_basins(&b);
    BasinFix basin_fix = keep_basins_reachable(&b);
    check_waterways_open(t, b);

    // Depths.
    b.depth.assign(n_cells, 0.0f);
    int min_depth_cells = 0;
    for (int c = 0; c < n_cells; ++c) {
        double e = b.elevation[c];
        if (b.sea[c]) {
            double d = -e;
            if (d < opt.min_depth) d = opt.min_depth, ++min_depth_cells;
            b.depth[c] = float(std::round(d * 10.0) / 10.0);
        } else {
            b.depth[c] = e > 0 ? float(-std::round(e * 10.0) / 10.0) : 0.0f;
        }
    }

    // Stations in row-major order from row 0; Japan and Korea carry their forecast zones, the
    // other coasts zone 67.
    std::vector<int> order;
    for (int c = 0; c < n_cells; ++c)
        if (is_station_cell(b, c)) {
            b.zone_of_cell[c] = zone_for_cell(t, b, c);
            order.push_back(c);
        }
    say(&b, "Grid %d x %d, cell %.5f km at the equator", kNx, kNy, kCellKm);
    say(&b, "Sea cells by the half-cell rule: %d of %d", sea_by_rule, n_cells);
    say(&b, "Small islands kept as land: %d", b.islands_kept);
    for (auto& s : b.island_notes) say(&b, "%s", s.c_str());
    say(&b, "Enclosed basins made land: %d (%d cells); largest:", b.basins_filled,
        b.basin_cells_filled);
    for (auto& s : b.basin_notes) say(&b, "%s", s.c_str());
    int sea_final = 0;
    for (int c = 0; c < n_cells; ++c) sea_final += b.sea[c];
    say(&b, "Sea cells in the file: %d; at the minimum depth %.0f m: %d", sea_final, opt.min_depth,
        min_depth_cells);
    say(&b, "Waterways:");
    int override_count = 0;
    for (auto& [name, cells] : b.opened_waterways) {
        std::string list;
        for (int c : cells) list += " " + std::to_string(c % kNx) + "," + std::to_string(c / kNx);
        say(&b, "  %-32s %s", name.c_str(),
            cells.empty() ? "open in the mask" : ("opened by water overrides at" + list).c_str());
        override_count += int(cells.size());
    }
    say(&b,
        "Basins behind station-lined channels: %d opened (%d coastal cells left without a "
        "station), %d small ones made land (%d cells); those of 3 cells or more:",
        basin_fix.basins_opened, basin_fix.stations_left_off, basin_fix.basins_filled,
        basin_fix.cells_filled);
    for (auto& s : basin_fix.notes) say(&b, "%s", s.c_str());

    constexpr int kKmaRows = 431;
    b.swaps = arrange_numbering(t, b.zone_of_cell, &order, &b.swap_notes, kKmaRows);
    b.stations = order;
    for (int c : order) b.zone.push_back(b.zone_of_cell.at(c));
    say(&b, "Stations: %zu (Japan %ld, Korea %ld, other coasts %ld)", order.size(),
        std::count_if(b.zone.begin(), b.zone.end(), [](int z) { return z < 67; }),
        std::count_if(b.zone.begin(), b.zone.end(), [](int z) { return z >= 68; }),
        std::count_if(b.zone.begin(), b.zone.end(), [](int z) { return z == 67; }));
    say(&b, "Swaps of the row-major order for the fixed rows: %d", b.swaps);
    for (auto& s : b.swap_notes) say(&b, "%s", s.c_str());

    std::map<int, int> per_zone;
    for (int z : b.zone) ++per_zone[z];
    std::string line;
    int empty = 0;
    say(&b, "Stations per zone:");
    for (int z = 1; z <= 93; ++z) {
        if (z == 67) continue;
        char buf[32];
        std::snprintf(buf, sizeof buf, " %2d:%-4d", z, per_zone[z]);
        line += buf;
        if (per_zone[z] == 0) ++empty;
        if (line.size() > 90) say(&b, "%s", line.c_str()), line.clear();
    }
    if (!line.empty()) say(&b, "%s", line.c_str());
    say(&b, "Empty zones: %d", empty);

    say(&b, "Observation points:");
    int obs_fail = check_observation_points(&b);
    say(&b, "Observation point checks failed: %d", obs_fail);
    auto places = read_known_places(opt.places);
    say(&b, "Known places (%zu):", places.size());
    int places_wrong = check_known_places(places, &b);
    say(&b, "Known places on another zone: %d", places_wrong);

    int kma_rows = 0;
    std::string kma = csv_kma_table(t, b, &kma_rows);
    say(&b, "KMA table rows: %d", kma_rows);

    std::string ov = "grid_x,grid_y,mode\n";
    for (int c = 0; c < n_cells; ++c)
        if (b.override_mode[c] == 0)
            ov += std::to_string(c % kNx) + "," + std::to_string(c / kNx) + ",water\n";

    write_file(opt.out + "/tsunami_data.bin", grid_file_bytes(b));
    write_file(opt.out + "/kma_zone_table.csv", kma);
    write_file(opt.out + "/coast_override.csv", ov);
    write_file(opt.out + "/grid_preview.png",
               png_bytes(kNx * 2, kNy * 2, render(b, 0, 0, kNx - 1, kNy - 1, 2)));
    for (std::size_t i = 0; i < opt.crops.size(); ++i) {
        auto c = opt.crops[i];
        std::string dir = opt.crop_dir.empty() ? opt.out : opt.crop_dir;
        write_file(dir + "/crop_" + std::to_string(i) + ".png",
                   png_bytes((c[2] - c[0] + 1) * c[4], (c[3] - c[1] + 1) * c[4],
                             render(b, c[0], c[1], c[2], c[3], c[4])));
    }
    std::string rep;
    for (auto& s : b.report) rep += s + "\n";
    write_file(opt.out + "/grid_report.txt", rep);
    return (empty > 0 || obs_fail > 0) ? 2 : 0;
}
