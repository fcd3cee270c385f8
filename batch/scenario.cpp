#include "batch/scenario.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <numbers>
#include <set>
#include <sstream>

namespace kaitoro {

namespace {

enum Col {
    kId,
    kFault,
    kLat,
    kLon,
    kMw,
    kDepth,
    kStrike,
    kDip,
    kRake,
    kLength,
    kWidth,
    kSlip,
    kHours,
    kTrueSpeed,
    kColCount
};
const char* const kColNames[kColCount] = {
    "id",      "fault",    "lat",       "lon",      "mw",     "depth_km", "strike_deg",
    "dip_deg", "rake_deg", "length_km", "width_km", "slip_m", "hours",    "true_speed"};

std::string trim(const std::string& s) {
    std::size_t a = 0, b = s.size();
    while (a < b && (s[a] == ' ' || s[a] == '\t' || s[a] == '\r')) ++a;
    while (b > a && (s[b - 1] == ' ' || s[b - 1] == '\t' || s[b - 1] == '\r')) --b;
    return s.substr(a, b - a);
}

std::vector<std::string> split(const std::string& line) {
    std::vector<std::string> out;
    std::size_t start = 0;
    for (;;) {
        const std::size_t comma = line.find(',', start);
        out.push_back(trim(line.substr(start, comma - start)));
        if (comma == std::string::npos) return out;
        start = comma + 1;
    }
}

bool number(const std::string& text, const char* name, double lo, double hi, double* out,
            std::string* why) {
    char* end = nullptr;
    errno = 0;
    const double v = std::strtod(text.c_str(), &end);
    if (text.empty() || *end || !std::isfinite(v) || errno == ERANGE) {
        *why = std::string(name) + " '" + text + "' is not a number";
        return false;
    }
    if (v < lo || v > hi) {
        char buf[160];
        std::snprintf(buf, sizeof buf, "%s %s is outside [%g, %g]", name, text.c_str(), lo, hi);
        *why = buf;
        return false;
    }
    *out = v;
    return true;
}

bool id_ok(const std::string& id) {
    if (id.empty() || id.size() > 64) return false;
    for (char c : id)
        if (!std::isalnum((unsigned char)c) && c != '-' && c != '_' && c != '.' && c != ':')
            return false;
    return true;
}

// One subfault through the fault-table reader, so a rectangle is checked by exactly the rules
// (ranges, top edge below the sea floor) a fault table's line is.
bool rectangle_fault(const double v[9], OkadaFault* out, std::string* why) {
    std::string text = "lat,lon,depth_km,strike_deg,dip_deg,rake_deg,length_km,width_km,slip_m\n";
    char buf[64];
    for (int k = 0; k < 9; ++k) {
        std::snprintf(buf, sizeof buf, "%s%.17g", k ? "," : "", v[k]);
        text += buf;
    }
    FaultTable t;
    fault_table_parse(text + "\n", &t);
    if (t.subfaults.size() == 1) {
        *out = t.subfaults[0].fault;
        return true;
    }
    // "line 2: reason" from the one-line table: keep the reason.
    const std::string r = t.rejected.empty() ? "not a valid fault" : t.rejected[0];
    const std::size_t colon = r.find(": ");
    *why = colon == std::string::npos ? r : r.substr(colon + 2);
    return false;
}

std::string fmt(double v) {
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.10g", v);
    return buf;
}

}  // namespace

InterfaceRupture interface_rupture_from_mw(double mw) {
    InterfaceRupture r;
    r.length_km = std::pow(10.0, -2.477 + 0.585 * mw);
    r.width_km = std::pow(10.0, -0.882 + 0.351 * mw);
    const double m0 = std::pow(10.0, 1.5 * mw + 9.1);
    r.slip_m = m0 / (kFaultRigidityPa * r.length_km * 1e3 * r.width_km * 1e3);
    return r;
}

void scenario_table_parse(const std::string& text, const std::string& base_dir,
                          ScenarioTable* table) {
    std::istringstream in(text);
    std::string raw;
    int line_no = 0;
    int cols[kColCount];
    bool have_header = false;
    std::vector<int> header;  // column index per field, -1 ignored
    std::set<std::string> ids;
    auto reject = [&](const std::string& why) {
        table->errors.push_back("line " + std::to_string(line_no) + ": " + why);
    };
    while (std::getline(in, raw)) {
        ++line_no;
        if (line_no == 1 && raw.compare(0, 3, "\xEF\xBB\xBF") == 0) raw.erase(0, 3);
        const std::string line = trim(raw);
        if (line.empty() || line[0] == '#') continue;
        const std::vector<std::string> f = split(line);
        if (!have_header) {
            for (int& c : cols) c = -1;
            header.assign(f.size(), -1);
            for (std::size_t k = 0; k < f.size(); ++k) {
                std::string name = f[k];
                for (char& ch : name) ch = char(std::tolower((unsigned char)ch));
                for (int c = 0; c < kColCount; ++c)
                    if (name == kColNames[c]) {
                        if (cols[c] >= 0) {
                            reject("column " + name + " appears twice");
                            return;
                        }
                        cols[c] = int(k);
                        header[k] = c;
                    }
            }
            if (cols[kId] < 0) {
                reject("the header has no id column");
                return;
            }
            have_header = true;
            continue;
        }
        if (f.size() != header.size()) {
            reject(std::to_string(f.size()) + " fields, the header has " +
                   std::to_string(header.size()));
            continue;
        }
        auto cell = [&](int c) { return cols[c] >= 0 ? f[std::size_t(cols[c])] : std::string(); };
        Scenario s;
        s.line = line_no;
        s.id = cell(kId);
        std::string why;
        if (!id_ok(s.id)) {
            reject("id '" + s.id + "' must be 1-64 letters, digits or -_.:");
            continue;
        }
        if (ids.count(s.id)) {
            reject("id " + s.id + " appears twice");
            continue;
        }
        double v = 0;
        if (!cell(kHours).empty()) {
            if (!number(cell(kHours), "hours", 0, kScenarioMaxHours, &v, &why) || v <= 0) {
                reject(why.empty() ? "hours must be above 0" : why);
                continue;
            }
            s.hours = v;
        }
        const std::string ts = cell(kTrueSpeed);
        if (!ts.empty() && ts != "0" && ts != "1") {
            reject("true_speed '" + ts + "' is not 0 or 1");
            continue;
        }
        s.true_speed = ts == "1";
        const std::string tail =
            ";hours=" + fmt(s.hours) + ";true_speed=" + (s.true_speed ? "1" : "0");

        if (!cell(kFault).empty()) {
            s.kind = ScenarioKind::FaultFile;
            const std::string p = cell(kFault);
            s.fault_path = (p[0] == '/' || base_dir.empty()) ? p : base_dir + "/" + p;
            s.params = "fault=" + p + tail;
        } else if (!cell(kMw).empty()) {
            s.kind = ScenarioKind::Magnitude;
            double lat, lon, mw, depth = 20, strike = 195, dip = 15, rake = 90;
            if (!number(cell(kLat), "lat", -90, 90, &lat, &why) ||
                !number(cell(kLon), "lon", -180, 360, &lon, &why) ||
                !number(cell(kMw), "mw", 5.0, 9.6, &mw, &why) ||
                (!cell(kDepth).empty() &&
                 !number(cell(kDepth), "depth_km", 0, 700, &depth, &why)) ||
                (!cell(kStrike).empty() &&
                 !number(cell(kStrike), "strike_deg", -360, 720, &strike, &why)) ||
                (!cell(kDip).empty() && !number(cell(kDip), "dip_deg", 1, 90, &dip, &why)) ||
                (!cell(kRake).empty() &&
                 !number(cell(kRake), "rake_deg", -360, 360, &rake, &why))) {
                reject(why);
                continue;
            }
            const InterfaceRupture r = interface_rupture_from_mw(mw);
            // A wide rupture cannot break the sea floor: its centroid sinks until the top edge
            // reaches it, keeping the size the moment needs.
            const double half_drop = 0.5 * r.width_km * std::sin(dip * std::numbers::pi / 180.0);
            const double vals[9] = {lat,         lon,        std::max(depth, half_drop),
                                    strike,      dip,        rake,
                                    r.length_km, r.width_km, r.slip_m};
            if (!rectangle_fault(vals, &s.fault, &why)) {
                reject(why);
                continue;
            }
            s.mw = mw;
            s.params = "mw=" + fmt(mw) + ";lat=" + fmt(lat) + ";lon=" + fmt(lon) +
                       ";depth_km=" + fmt(depth) + ";strike_deg=" + fmt(strike) +
                       ";dip_deg=" + fmt(dip) + ";rake_deg=" + fmt(rake) + tail;
        } else {
            s.kind = ScenarioKind::Rectangle;
            static const int kRect[9] = {kLat,  kLon,    kDepth, kStrike, kDip,
                                         kRake, kLength, kWidth, kSlip};
            double vals[9];
            std::string missing;
            for (int k = 0; k < 9; ++k) {
                const std::string c = cell(kRect[k]);
                if (c.empty())
                    missing += (missing.empty() ? "" : ",") + std::string(kColNames[kRect[k]]);
                else if (!number(c, kColNames[kRect[k]], -1e9, 1e9, &vals[k], &why))
                    break;
            }
            if (!why.empty()) {
                reject(why);
                continue;
            }
            if (!missing.empty()) {
                reject("no source: give fault, or lat,lon,mw, or a rectangle (missing " + missing +
                       ")");
                continue;
            }
            if (!rectangle_fault(vals, &s.fault, &why)) {
                reject(why);
                continue;
            }
            s.params = "rect=";
            for (int k = 0; k < 9; ++k) s.params += (k ? "," : "") + fmt(vals[k]);
            s.params += tail;
        }
        ids.insert(s.id);
        table->scenarios.push_back(std::move(s));
    }
    if (!have_header) {
        line_no = 0;
        reject("no header line");
    }
}

bool scenario_table_load(const std::string& path, ScenarioTable* table, std::string* error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        *error = std::strerror(errno);
        return false;
    }
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) {
        *error = "read error";
        return false;
    }
    const std::size_t slash = path.rfind('/');
    scenario_table_parse(text.str(), slash == std::string::npos ? "" : path.substr(0, slash),
                         table);
    return true;
}

bool scenario_subfaults(const Scenario& s, std::vector<Subfault>* out, std::string* error) {
    out->clear();
    if (s.kind != ScenarioKind::FaultFile) {
        Subfault sf;
        sf.fault = s.fault;
        sf.line = s.line;
        out->push_back(sf);
        return true;
    }
    FaultTable t;
    if (!fault_table_load(s.fault_path.c_str(), &t, error)) {
        *error = "could not open fault table: " + s.fault_path + ": " + *error;
        return false;
    }
    if (t.subfaults.empty()) {
        *error = s.fault_path + ": no valid subfault" +
                 (t.rejected.empty() ? "" : " (" + t.rejected[0] + ")");
        return false;
    }
    *out = std::move(t.subfaults);
    return true;
}

}  // namespace kaitoro
