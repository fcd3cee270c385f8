#include "core/gauges.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "core/geo.h"
#include "core/safe_file.h"

namespace kaitoro {

GaugeSet g_gauges;

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegToRad = kPi / 180.0;
constexpr double kEarthRadiusKm = 6371.009;

std::string trim(const std::string& s) {
    std::size_t a = 0, b = s.size();
    while (a < b && (s[a] == ' ' || s[a] == '\t')) ++a;
    while (b > a && (s[b - 1] == ' ' || s[b - 1] == '\t' || s[b - 1] == '\r')) --b;
    return s.substr(a, b - a);
}

bool degrees(const std::string& text, double limit, double* out) {
    if (text.empty()) return false;
    char* end = nullptr;
    errno = 0;
    const double v = std::strtod(text.c_str(), &end);
    if (*end != '\0' || !std::isfinite(v) || errno == ERANGE || std::fabs(v) > limit) return false;
    *out = v;
    return true;
}

}  // namespace

bool gauge_parse_spec(const std::string& text, Gauge* out, std::string* why) {
    const std::size_t c2 = text.rfind(',');
    const std::size_t c1 =
        c2 == std::string::npos || c2 == 0 ? std::string::npos : text.rfind(',', c2 - 1);
    if (c1 == std::string::npos) {
        *why = "needs NAME,LAT,LON";
        return false;
    }
    Gauge g;
    g.name = trim(text.substr(0, c1));
    if (g.name.empty()) {
        *why = "the gauge needs a name";
        return false;
    }
    for (unsigned char ch : g.name)
        if (ch < 0x20 || ch == 0x7F || ch == '"') {
            *why = "the name '" + g.name + "' holds a quote or control character";
            return false;
        }
    const std::string lat = trim(text.substr(c1 + 1, c2 - c1 - 1));
    const std::string lon = trim(text.substr(c2 + 1));
    if (!degrees(lat, 90, &g.lat_deg)) {
        *why = "latitude '" + lat + "' is not a number of degrees within [-90, 90]";
        return false;
    }
    if (!degrees(lon, 360, &g.lon_deg)) {
        *why = "longitude '" + lon + "' is not a number of degrees within [-360, 360]";
        return false;
    }
    *out = std::move(g);
    return true;
}

bool gauges_load_csv(const char* path, std::vector<Gauge>* out, std::vector<std::string>* rejected,
                     std::string* error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        *error = std::strerror(errno ? errno : ENOENT);
        return false;
    }
    std::string raw;
    for (int line_no = 1; std::getline(in, raw); ++line_no) {
        if (line_no == 1 && raw.compare(0, 3, "\xEF\xBB\xBF") == 0) raw.erase(0, 3);
        const std::string line = trim(raw);
        if (line.empty() || line[0] == '#') continue;
        std::string lower = line.substr(0, 5);
        for (char& c : lower) c = char(std::tolower(static_cast<unsigned char>(c)));
        if (lower == "name,") continue;
        Gauge g;
        std::string why;
        if (gauge_parse_spec(line, &g, &why))
            out->push_back(std::move(g));
        else
            rejected->push_back("line " + std::to_string(line_no) + ": " + why);
    }
    return true;
}

double gauge_distance_km(double lat1, double lon1, double lat2, double lon2) {
    const double p1 = lat1 * kDegToRad, p2 = lat2 * kDegToRad;
    const double dp = p2 - p1, dl = (lon2 - lon1) * kDegToRad;
    const double a = std::sin(dp / 2) * std::sin(dp / 2) +
                     std::cos(p1) * std::cos(p2) * std::sin(dl / 2) * std::sin(dl / 2);
    return 2 * kEarthRadiusKm * std::asin(std::min(1.0, std::sqrt(a)));
}

bool gauge_place(Gauge* gauge, const GridData& grid) {
    gauge->cell_x = gauge->cell_y = -1;
    float fx, fy;
    grid_xy_from_latlon(float(gauge->lat_deg), float(gauge->lon_deg), &fx, &fy);
    if (!std::isfinite(fx) || !std::isfinite(fy)) return false;
    const long cx = std::lround(fx), cy = std::lround(fy);
    double best = 1e300;
    // Every cell of the square is measured: a ring-by-ring stop would miss a nearer cell in a
    // later ring once cells shrink east-west with latitude.
    for (long y = cy - kGaugeSearchCells; y <= cy + kGaugeSearchCells; ++y)
        for (long x = cx - kGaugeSearchCells; x <= cx + kGaugeSearchCells; ++x) {
            if (!grid.in_grid(x, y) || grid.solid[std::size_t(y) * grid.nx + std::size_t(x)])
                continue;
            float lat, lon;
            latlon_from_grid_xy(float(x), float(y), &lat, &lon);
            const double d = gauge_distance_km(gauge->lat_deg, gauge->lon_deg, lat, lon);
            if (d < best) {
                best = d;
                gauge->cell_x = int(x);
                gauge->cell_y = int(y);
                gauge->cell_lat_deg = lat;
                gauge->cell_lon_deg = lon;
            }
        }
    gauge->distance_km = gauge->cell_x >= 0 ? best : 0;
    return gauge->cell_x >= 0;
}

void gauges_reset_records(GaugeSet* set) {
    set->time_s.clear();
    for (Gauge& g : set->gauges) g.level_m.clear();
}

void gauges_record(GaugeSet* set, const Simulation& sim, std::int32_t time_s) {
    const bool same = !set->time_s.empty() && set->time_s.back() == time_s;
    if (!same) set->time_s.push_back(time_s);
    for (Gauge& g : set->gauges) {
        float h = 0;
        if (g.cell_x >= 0) {
            h = current_height_at(sim, sim.bordered_index(g.cell_x, g.cell_y));
        }
        if (same && !g.level_m.empty())
            g.level_m.back() = h;
        else
            g.level_m.push_back(h);
    }
}

std::string gauge_csv_field(const std::string& name) {
    if (name.find_first_of(",\"") == std::string::npos) return name;
    std::string q = "\"";
    for (char c : name) {
        if (c == '"') q += '"';
        q += c;
    }
    return q + "\"";
}

bool gauges_write_csv(const GaugeSet& set, const char* path) {
    SafeFile file(path);
    if (!file) return false;
    std::FILE* f = file.get();
    std::fputs("time_s", f);
    for (const Gauge& g : set.gauges) std::fprintf(f, ",%s", gauge_csv_field(g.name).c_str());
    std::fputc('\n', f);
    for (std::size_t k = 0; k < set.time_s.size(); ++k) {
        std::fprintf(f, "%d", set.time_s[k]);
        for (const Gauge& g : set.gauges)
            std::fprintf(f, ",%.4f", k < g.level_m.size() ? double(g.level_m[k]) : 0.0);
        std::fputc('\n', f);
    }
    return file.commit();
}

bool gauges_write_cells_csv(const GaugeSet& set, const GridData& grid,
                            const std::vector<std::int32_t>& bordered_arrival_s, const char* path) {
    SafeFile file(path);
    if (!file) return false;
    std::FILE* f = file.get();
    std::fputs(
        "name,lat,lon,cell_x,cell_y,cell_lat,cell_lon,depth_m,distance_km,arrival_s,"
        "max_m\n",
        f);
    for (const Gauge& g : set.gauges) {
        std::fprintf(f, "%s,%.4f,%.4f", gauge_csv_field(g.name).c_str(), g.lat_deg, g.lon_deg);
        if (g.cell_x < 0) {
            std::fputs(",,,,,,,,\n", f);
            continue;
        }
        const std::size_t c = std::size_t(g.cell_y) * grid.nx + std::size_t(g.cell_x);
        const std::size_t b = std::size_t(g.cell_y + 1) * grid.nx + std::size_t(g.cell_x);
        float peak = 0;
        for (float v : g.level_m) peak = std::max(peak, v);
        std::fprintf(f, ",%d,%d,%.4f,%.4f,%.1f,%.2f,", g.cell_x, g.cell_y, g.cell_lat_deg,
                     g.cell_lon_deg, c < grid.depth_m.size() ? double(grid.depth_m[c]) : 0.0,
                     g.distance_km);
        if (b < bordered_arrival_s.size() && bordered_arrival_s[b] > 0)
            std::fprintf(f, "%d", bordered_arrival_s[b]);
        std::fprintf(f, ",%.4f\n", double(peak));
    }
    return file.commit();
}

}  // namespace kaitoro
