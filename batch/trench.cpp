#include "batch/trench.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <numbers>
#include <sstream>

namespace kaitoro {

namespace {

constexpr double kEarthRadiusKm = 6371.009;
constexpr double kRad = std::numbers::pi / 180.0;

// Local east/north kilometres from a to b (equirectangular about their mean latitude: exact to
// a fraction of a percent over the tens of kilometres between vertices).
void east_north_km(const TrenchVertex& a, const TrenchVertex& b, double* e, double* n) {
    const double mean = 0.5 * (a.lat + b.lat) * kRad;
    *e = (b.lon - a.lon) * kRad * kEarthRadiusKm * std::cos(mean);
    *n = (b.lat - a.lat) * kRad * kEarthRadiusKm;
}

std::string fmt(const char* f, double v) {
    char buf[48];
    std::snprintf(buf, sizeof buf, f, v);
    return buf;
}

}  // namespace

bool trench_parse(const std::string& text, std::vector<TrenchVertex>* out, std::string* error) {
    out->clear();
    std::istringstream in(text);
    std::string line;
    int line_no = 0;
    int col[4] = {-1, -1, -1, -1};
    static const char* const kNames[4] = {"lat", "lon", "depth_km", "dip_deg"};
    static const double kLo[4] = {-90, -180, 0, 1}, kHi[4] = {90, 360, 700, 90};
    bool header = false;
    std::size_t fields = 0;
    while (std::getline(in, line)) {
        ++line_no;
        if (line_no == 1 && line.compare(0, 3, "\xEF\xBB\xBF") == 0) line.erase(0, 3);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.find_first_not_of(" \t") == std::string::npos ||
            line[line.find_first_not_of(" \t")] == '#')
            continue;
        std::vector<std::string> f;
        std::stringstream ss(line);
        for (std::string cell; std::getline(ss, cell, ',');) {
            const std::size_t a = cell.find_first_not_of(" \t"), b = cell.find_last_not_of(" \t");
            f.push_back(a == std::string::npos ? "" : cell.substr(a, b - a + 1));
        }
        const std::string where = "line " + std::to_string(line_no) + ": ";
        if (!header) {
            for (std::size_t k = 0; k < f.size(); ++k)
                for (int c = 0; c < 4; ++c)
                    if (f[k] == kNames[c]) col[c] = int(k);
            for (int c = 0; c < 4; ++c)
                if (col[c] < 0) {
                    *error = where + "the header needs lat,lon,depth_km,dip_deg";
                    return false;
                }
            header = true;
            fields = f.size();
            continue;
        }
        if (f.size() != fields) {
            *error = where + std::to_string(f.size()) + " fields, the header has " +
                     std::to_string(fields);
            return false;
        }
        double v[4];
        for (int c = 0; c < 4; ++c) {
            const std::string& t = f[std::size_t(col[c])];
            char* end = nullptr;
            v[c] = std::strtod(t.c_str(), &end);
            if (t.empty() || *end || !std::isfinite(v[c]) || v[c] < kLo[c] || v[c] > kHi[c]) {
                *error = where + kNames[c] + " '" + t + "' is not a number in [" +
                         fmt("%g", kLo[c]) + ", " + fmt("%g", kHi[c]) + "]";
                return false;
            }
        }
        out->push_back({v[0], v[1], v[2], v[3]});
    }
    if (out->size() < 2) {
        *error = "a trench needs at least two vertices";
        return false;
    }
    return true;
}

bool trench_load(const std::string& path, std::vector<TrenchVertex>* out, std::string* error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        *error = path + ": " + std::strerror(errno);
        return false;
    }
    std::ostringstream text;
    text << in.rdbuf();
    if (!trench_parse(text.str(), out, error)) {
        *error = path + ": " + *error;
        return false;
    }
    return true;
}

std::string trench_scenario_table(const std::vector<TrenchVertex>& trench,
                                  const TrenchScenarioOptions& o, int* count) {
    std::vector<double> mws;
    // Counted in whole steps so 7.5:9.0:0.25 ends at 9.0 despite rounding.
    const long steps = std::lround(std::floor((o.mw_max - o.mw_min) / o.mw_step + 1e-9));
    for (long k = 0; k <= steps; ++k) mws.push_back(o.mw_min + double(k) * o.mw_step);

    std::string out = "# Rectangular interface ruptures every " + fmt("%g", o.spacing_km) +
                      " km along the trench, Mw " + fmt("%.2f", o.mw_min) + " to " +
                      fmt("%.2f", o.mw_max) + " step " + fmt("%g", o.mw_step) +
                      "; length, width and slip from Mw (Strasser et al. 2010, interface events).\n"
                      "id,lat,lon,depth_km,strike_deg,dip_deg,rake_deg,mw,hours,true_speed\n";
    int n = 0;
    double along = 0;  // km from the first vertex to the current segment's start
    double next = 0;   // km of the next position
    for (std::size_t k = 0; k + 1 < trench.size(); ++k) {
        const TrenchVertex& a = trench[k];
        const TrenchVertex& b = trench[k + 1];
        double e, nn;
        east_north_km(a, b, &e, &nn);
        const double len = std::hypot(e, nn);
        const double strike = std::fmod(std::atan2(e, nn) / kRad + 360.0, 360.0);
        const bool last = k + 2 == trench.size();
        while (len > 0 && (next < along + len || (last && next <= along + len + 1e-9))) {
            const double t = (next - along) / len;
            const double lat = a.lat + t * (b.lat - a.lat), lon = a.lon + t * (b.lon - a.lon);
            const double depth = a.depth_km + t * (b.depth_km - a.depth_km);
            const double dip = a.dip_deg + t * (b.dip_deg - a.dip_deg);
            for (double mw : mws) {
                char row[256];
                std::snprintf(row, sizeof row,
                              "%s_k%04ld_m%.2f,%.4f,%.4f,%.1f,%.1f,%.1f,90,%.2f,%g,%d\n",
                              o.id_prefix.c_str(), std::lround(next), mw, lat, lon, depth, strike,
                              dip, mw, o.hours, o.true_speed ? 1 : 0);
                out += row;
                ++n;
            }
            next += o.spacing_km;
        }
        along += len;
    }
    if (count) *count = n;
    return out;
}

}  // namespace kaitoro
