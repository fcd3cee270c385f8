#include "source_design/fault_table.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "core/driver.h"
#include "core/geo.h"
#include "core/status.h"
#include "core/text_input.h"
#include "source_design/source_cell.h"
#include "source_design/undo.h"

namespace kaitoro {

double g_fault_table_moment_nm = 0;
int g_fault_table_subfaults = 0;
int g_fault_horizontal_term = 0;

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegToRad = kPi / 180.0;
constexpr double kEarthRadiusKm = 6371.009;
constexpr double kMinHeight = 0.0005;

const char* const kRequired[] = {"lat",    "lon",     "depth_km",  "strike_deg", "dip_deg",
                                 "rake_deg", "length_km", "width_km", "slip_m"};
enum Column { kLat, kLon, kDepth, kStrike, kDip, kRake, kLength, kWidth, kSlip, kRupture,
              kReference, kIgnored };

std::string trim(const std::string& s) {
    std::size_t a = 0, b = s.size();
    while (a < b && (s[a] == ' ' || s[a] == '\t')) ++a;
    while (b > a && (s[b - 1] == ' ' || s[b - 1] == '\t' || s[b - 1] == '\r')) --b;
    return s.substr(a, b - a);
}

std::string lower(std::string s) {
    for (char& c : s) c = char(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

std::vector<std::string> split_commas(const std::string& line) {
    std::vector<std::string> out;
    std::size_t start = 0;
    for (;;) {
        const std::size_t comma = line.find(',', start);
        out.push_back(trim(line.substr(start, comma - start)));
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    return out;
}

std::string strip_bom(const std::string& s) {
    return s.compare(0, 3, "\xEF\xBB\xBF") == 0 ? s.substr(3) : s;
}

// Column of each header field, or an empty vector when the line is no fault-table header.
std::vector<Column> header_columns(const std::string& line, std::string* why) {
    static const char* const kNames[] = {"lat",      "lon",       "depth_km", "strike_deg",
                                         "dip_deg",  "rake_deg",  "length_km", "width_km",
                                         "slip_m",   "rupture_s", "reference"};
    std::vector<Column> cols;
    bool seen[11] = {};
    for (const std::string& raw : split_commas(strip_bom(line))) {
        const std::string name = lower(raw);
        Column c = kIgnored;
        for (int k = 0; k < 11; ++k)
            if (name == kNames[k]) c = Column(k);
        if (c != kIgnored) {
            if (seen[c]) {
                if (why) *why = "column " + name + " appears twice";
                return {};
            }
            seen[c] = true;
        }
        cols.push_back(c);
    }
    std::string missing;
    for (int k = 0; k < 9; ++k)
        if (!seen[k]) missing += (missing.empty() ? "" : ",") + std::string(kRequired[k]);
    if (!missing.empty()) {
        if (why) *why = "not a fault-table header (missing " + missing + ")";
        return {};
    }
    return cols;
}

// A finite number within [lo, hi]; the message names the column and the text.
bool number_in(const std::string& text, const char* column, double lo, double hi, bool lo_open,
               double* out, std::string* why) {
    char* end = nullptr;
    errno = 0;
    const double v = text.empty() ? 0.0 : std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(v) || errno == ERANGE) {
        *why = std::string(column) + " '" + text + "' is not a number";
        return false;
    }
    if (v > hi || v < lo || (lo_open && v == lo)) {
        char buf[160];
        std::snprintf(buf, sizeof buf, "%s %s is outside %c%g, %g]", column, text.c_str(),
                      lo_open ? '(' : '[', lo, hi);
        *why = buf;
        return false;
    }
    *out = v;
    return true;
}

// Moves a surface point by (east, north) kilometres.
void offset_latlon(double* lat, double* lon, double east_km, double north_km) {
    *lat += north_km / kEarthRadiusKm / kDegToRad;
    *lon += east_km / (kEarthRadiusKm * std::cos(*lat * kDegToRad)) / kDegToRad;
}

bool parse_subfault(const std::vector<Column>& cols, const std::vector<std::string>& fields,
                    Subfault* out, std::string* why) {
    if (fields.size() != cols.size()) {
        *why = std::to_string(fields.size()) + " fields, the header has " +
               std::to_string(cols.size());
        return false;
    }
    double v[9] = {};
    double rupture = 0;
    std::string reference = "centroid";
    static const double kLo[9] = {-90, -180, 0, -360, 0, -360, 0, 0, -200};
    static const double kHi[9] = {90, 360, 700, 720, 90, 360, 2000, 2000, 200};
    static const bool kOpen[9] = {false, false, false, false, true, false, true, true, false};
    for (std::size_t k = 0; k < cols.size(); ++k) {
        const Column c = cols[k];
        if (c == kIgnored) continue;
        if (c == kReference) {
            reference = lower(fields[k]);
            if (reference.empty()) reference = "centroid";
            if (reference != "centroid" && reference != "top_center" && reference != "top_corner") {
                *why = "reference '" + fields[k] + "' is not centroid, top_center or top_corner";
                return false;
            }
        } else if (c == kRupture) {
            if (!fields[k].empty() &&
                !number_in(fields[k], "rupture_s", 0, 86400, false, &rupture, why))
                return false;
        } else if (!number_in(fields[k], kRequired[c], kLo[c], kHi[c], kOpen[c], &v[c], why)) {
            return false;
        }
    }
    OkadaFault& f = out->fault;
    f.lat_deg = v[kLat];
    f.lon_deg = v[kLon];
    f.depth_km = v[kDepth];
    f.strike_deg = std::fmod(v[kStrike] + 720.0, 360.0);
    f.dip_deg = v[kDip];
    f.rake_deg = v[kRake];
    f.length_km = v[kLength];
    f.width_km = v[kWidth];
    f.slip_m = v[kSlip];
    out->rupture_s = rupture;

    // Down dip (horizontally) and along strike, as east/north unit vectors.
    const double st = std::sin(f.strike_deg * kDegToRad), ct = std::cos(f.strike_deg * kDegToRad);
    const double sd = std::sin(f.dip_deg * kDegToRad), cd = std::cos(f.dip_deg * kDegToRad);
    if (reference != "centroid") {
        const double down = 0.5 * f.width_km * cd;
        const double along = reference == "top_corner" ? 0.5 * f.length_km : 0.0;
        offset_latlon(&f.lat_deg, &f.lon_deg, down * ct + along * st, -down * st + along * ct);
        f.depth_km += 0.5 * f.width_km * sd;
    }
    const double top = f.depth_km - 0.5 * f.width_km * sd;
    if (top < -1e-6) {
        char buf[160];
        std::snprintf(buf, sizeof buf,
                      "the top edge would be %.2f km above the sea floor (centroid depth %.2f km, "
                      "width %.2f km, dip %.2f)",
                      -top, f.depth_km, f.width_km, f.dip_deg);
        *why = buf;
        return false;
    }
    return true;
}

}  // namespace

std::string FaultTable::meta(const std::string& key) const {
    const std::string k = lower(key);
    for (const auto& [name, value] : metadata)
        if (lower(name) == k) return value;
    return "";
}

bool fault_table_header_line(const std::string& line) {
    return !header_columns(trim(line), nullptr).empty();
}

void fault_table_parse(const std::string& text, FaultTable* table) {
    *table = FaultTable{};
    std::vector<Column> cols;
    bool header_seen = false, leading = true;
    std::istringstream in(strip_bom(text));
    std::string raw;
    for (int line_no = 1; std::getline(in, raw); ++line_no) {
        // Reasons quote the input, which may be any bytes: keep the message whole UTF-8.
        auto reject = [&](const std::string& why) {
            std::string msg = "line " + std::to_string(line_no) + ": ";
            utf8_append_valid(&msg, why.c_str());
            table->rejected.push_back(msg);
        };
        if (raw.size() > std::size_t(kFaultTableMaxLine)) {
            reject("longer than " + std::to_string(kFaultTableMaxLine) + " characters");
            leading = false;
            continue;
        }
        const std::string line = trim(raw);
        if (line.empty()) continue;
        if (line[0] == '#') {
            // "# key: value" before the header is metadata; any other comment is a comment.
            const std::size_t colon = line.find(':');
            if (leading && !header_seen && colon != std::string::npos) {
                const std::string key = trim(line.substr(1, colon - 1));
                const bool word = !key.empty() && std::all_of(key.begin(), key.end(), [](char c) {
                    return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-';
                });
                if (word) table->metadata.emplace_back(key, trim(line.substr(colon + 1)));
            }
            continue;
        }
        leading = false;
        if (!header_seen) {
            std::string why;
            cols = header_columns(line, &why);
            header_seen = true;
            if (cols.empty()) reject(why);
            continue;
        }
        if (cols.empty()) {
            reject("no usable header line before this line");
            continue;
        }
        Subfault s;
        std::string why;
        s.line = line_no;
        if (parse_subfault(cols, split_commas(line), &s, &why)) table->subfaults.push_back(s);
        else reject(why);
    }
    if (!header_seen) table->rejected.push_back("no header line (lat,lon,depth_km,...)");
}

bool fault_table_load(const char* path, FaultTable* table, std::string* error) {
    *table = FaultTable{};
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) {
        if (error)
            *error = std::filesystem::exists(path, ec) ? "not a regular file"
                                                       : "no such file";
        return false;
    }
    std::ifstream f(path, std::ios::binary);
    if (!f) {
        if (error) *error = std::strerror(errno);
        return false;
    }
    std::ostringstream text;
    text << f.rdbuf();
    fault_table_parse(text.str(), table);
    return true;
}

double fault_table_moment_nm(const std::vector<Subfault>& subfaults) {
    double m0 = 0;
    for (const Subfault& s : subfaults)
        m0 += kFaultRigidityPa * (s.fault.length_km * 1e3) * (s.fault.width_km * 1e3) *
              std::fabs(s.fault.slip_m);
    return m0;
}

double moment_magnitude_from_nm(double m0) {
    return m0 > 0 ? (std::log10(m0) - 9.1) * 2.0 / 3.0 : 0.0;
}

FaultSourceResult fault_sources_append(const std::vector<Subfault>& subfaults,
                                       const FaultSourceOptions& options, SourceList* list) {
    FaultSourceResult res;
    const int nx = int(g_grid.nx), ny = int(g_grid.ny);
    if (nx == 0 || ny == 0 || subfaults.empty()) return res;
    const std::size_t cells = std::size_t(nx) * std::size_t(ny);
    std::vector<double> uz(cells, 0.0), ue, un;
    if (options.horizontal_term) {
        ue.assign(cells, 0.0);
        un.assign(cells, 0.0);
    }
    std::vector<float> strongest(cells, 0.0f);
    std::vector<int> owner(cells, -1);
    const bool have_solid = g_grid.solid.size() == cells;

    for (std::size_t k = 0; k < subfaults.size(); ++k) {
        const OkadaFault& f = subfaults[k].fault;
        if (f.slip_m == 0.0) continue;
        float cx, cy;
        grid_xy_from_latlon(float(f.lat_deg), float(f.lon_deg), &cx, &cy);
        if (!std::isfinite(cx) || !std::isfinite(cy)) continue;
        // The field is cut at the subfault's reach, where it is below 1/1000 of its peak; the
        // outer 30 % fade out with a cosine so the source has no step at its edge.
        const double reach_km = okada_fault_reach_km(f);
        const double reach_cells =
            reach_km / double(cell_km_at_row(std::clamp(cy, 0.0f, float(ny)))) + 2;
        const int x0 = std::max(0, int(std::floor(cx - reach_cells)));
        const int x1 = std::min(nx - 1, int(std::ceil(cx + reach_cells)));
        const int y0 = std::max(0, int(std::floor(cy - reach_cells)));
        const int y1 = std::min(ny - 1, int(std::ceil(cy + reach_cells)));
        const double cos_lat = std::cos(f.lat_deg * kDegToRad);
#pragma omp parallel for schedule(dynamic, 4)
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x) {
                const std::size_t c = std::size_t(y) * nx + x;
                if (have_solid && g_grid.solid[c]) continue;
                float lat, lon;
                latlon_from_grid_xy(float(x), float(y), &lat, &lon);
                const double r_km =
                    kEarthRadiusKm * kDegToRad *
                    std::hypot(double(lat) - f.lat_deg, (double(lon) - f.lon_deg) * cos_lat);
                if (r_km >= reach_km) continue;
                const double fade = r_km <= 0.7 * reach_km
                                        ? 1.0
                                        : 0.5 * (1.0 + std::cos(kPi * (r_km - 0.7 * reach_km) /
                                                                (0.3 * reach_km)));
                double e, n, z;
                okada_fault_displacement_enu(f, lat, lon, &e, &n, &z);
                z *= fade;
                uz[c] += z;
                if (options.horizontal_term) {
                    ue[c] += e * fade;
                    un[c] += n * fade;
                }
                if (std::fabs(z) > strongest[c]) {
                    strongest[c] = float(std::fabs(z));
                    owner[c] = int(k);
                }
            }
    }

    // Tanioka and Satake: a seafloor slope moving sideways lifts the water by u_h . grad(depth).
    // The gradient is taken between sea cells only; a land neighbour makes it one-sided.
    if (options.horizontal_term && g_grid.depth_m.size() == cells) {
        auto sea = [&](int x, int y) {
            return x >= 0 && y >= 0 && x < nx && y < ny &&
                   !(have_solid && g_grid.solid[std::size_t(y) * nx + x]) &&
                   g_grid.depth_m[std::size_t(y) * nx + x] > 0.0f;
        };
        auto depth = [&](int x, int y) { return double(g_grid.depth_m[std::size_t(y) * nx + x]); };
        auto slope = [&](int x, int y, int dx, int dy, double step_m) {
            const bool a = sea(x - dx, y - dy), b = sea(x + dx, y + dy);
            if (a && b) return (depth(x + dx, y + dy) - depth(x - dx, y - dy)) / (2 * step_m);
            if (b) return (depth(x + dx, y + dy) - depth(x, y)) / step_m;
            if (a) return (depth(x, y) - depth(x - dx, y - dy)) / step_m;
            return 0.0;
        };
        for (int y = 0; y < ny; ++y) {
            const double step_m = double(cell_km_at_row(float(y))) * 1000.0;
            for (int x = 0; x < nx; ++x) {
                const std::size_t c = std::size_t(y) * nx + x;
                if (owner[c] < 0 || !sea(x, y)) continue;
                uz[c] += ue[c] * slope(x, y, 1, 0, step_m) + un[c] * slope(x, y, 0, 1, step_m);
            }
        }
    }

    for (int y = 0; y < ny; ++y)
        for (int x = 0; x < nx; ++x) {
            const std::size_t c = std::size_t(y) * nx + x;
            const double h = uz[c];
            if (owner[c] < 0 || !(std::fabs(h) >= kMinHeight)) continue;
            const Subfault& s = subfaults[std::size_t(owner[c])];
            source_list_append(list, x, y, float(h), int(std::lround(s.rupture_s)));
            SourcePoint& p = (*list)[list->count - 1];
            p.slip_m = 0.0f;
            p.fault_id = kFaultTableFaultId;
            p.patch_id = owner[c] + 1;
            p.dip_deg = float(s.fault.dip_deg);
            p.strike_deg = float(s.fault.strike_deg);
            p.depth_km = float(s.fault.depth_km);
            p.width_km = float(s.fault.width_km);
            p.length_km = float(s.fault.length_km);
            ++res.points;
            if (h > 0) {
                ++res.uplift;
                res.max_uplift_m = std::max(res.max_uplift_m, float(h));
            } else {
                ++res.subsidence;
                res.max_subsidence_m = std::min(res.max_subsidence_m, float(h));
            }
        }
    return res;
}

bool source_has_fault_table_points() {
    for (std::size_t i = 0; i < g_sources.count; ++i)
        if (g_sources[i].fault_id == kFaultTableFaultId) return true;
    return false;
}

double displayed_source_moment_nm(bool* standard) {
    const bool table = g_fault_table_moment_nm > 0 && source_has_fault_table_points();
    if (standard) *standard = table;
    if (!table) return current_seismic_moment_nm();
    // Only the other points count by the documented rule; none at all is no moment, not the
    // empty-source estimate.
    bool others = false;
    for (std::size_t i = 0; i < g_sources.count && !others; ++i)
        others = g_sources[i].fault_id != kFaultTableFaultId;
    return g_fault_table_moment_nm + (others ? current_seismic_moment_nm() : 0.0);
}

double displayed_source_mw(bool* standard) {
    bool table = false;
    const double m0 = displayed_source_moment_nm(&table);
    if (standard) *standard = table;
    return table ? moment_magnitude_from_nm(m0) : double(moment_magnitude_from_m0(m0));
}

FaultSourceResult fault_sources_add_to_current(const std::vector<Subfault>& subfaults,
                                               const FaultSourceOptions& options,
                                               const char* undo_label) {
    source_undo_push(undo_label);
    const double m0 = fault_table_moment_nm(subfaults);
    const FaultSourceResult r = fault_sources_append(subfaults, options, &g_sources);
    if (!source_has_fault_table_points()) {
        g_fault_table_moment_nm = 0;
        g_fault_table_subfaults = 0;
    }
    if (r.points > 0) {
        g_fault_table_moment_nm += m0;
        g_fault_table_subfaults += int(subfaults.size());
    }
    reset_state_preserve_sources();
    return r;
}

int fault_table_load_into_source(const char* path, const FaultSourceOptions& options,
                                 FaultTable* table_out) {
    FaultTable local;
    FaultTable& t = table_out ? *table_out : local;
    std::string error;
    if (!fault_table_load(path, &t, &error)) {
        set_status("Failed to load fault table: %s.", error.c_str());
        return -1;
    }
    if (t.subfaults.empty()) {
        set_status("Fault table: no valid subfault, source unchanged (%zu line(s) rejected%s%s).",
                   t.rejected.size(), t.rejected.empty() ? "" : "; ",
                   t.rejected.empty() ? "" : t.rejected.front().c_str());
        return 0;
    }
    const int points =
        int(fault_sources_add_to_current(t.subfaults, options, "load fault table").points);
    bool standard = false;
    const double mw = moment_magnitude_from_nm(displayed_source_moment_nm(&standard));
    set_status("Loaded fault table: %zu subfault(s), %d source point(s), standard Mw %.2f; %zu "
               "line(s) rejected%s%s.",
               t.subfaults.size(), points, mw, t.rejected.size(),
               t.rejected.empty() ? "" : ", first ",
               t.rejected.empty() ? "" : t.rejected.front().c_str());
    return points;
}

bool fault_table_load_if_table(const char* path) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) return false;
    std::ifstream f(path, std::ios::binary);
    std::string line;
    for (int n = 0; n < 1000 && std::getline(f, line); ++n) {
        const std::string t = trim(strip_bom(line));
        if (t.empty() || t[0] == '#') continue;
        if (!fault_table_header_line(t)) return false;
        fault_table_load_into_source(path, FaultSourceOptions{}, nullptr);
        return true;
    }
    return false;
}

}  // namespace kaitoro
