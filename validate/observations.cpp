#include "validate/observations.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace kaitoro {

namespace {

std::optional<double> number(const std::string& text) {
    if (text.empty()) return std::nullopt;
    char* end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (*end != '\0' || !std::isfinite(v)) return std::nullopt;
    return v;
}

}  // namespace

std::vector<std::string> csv_fields(const std::string& line) {
    std::vector<std::string> out(1);
    bool quoted = false;
    for (std::size_t k = 0; k < line.size(); ++k) {
        const char c = line[k];
        if (quoted) {
            if (c == '"' && k + 1 < line.size() && line[k + 1] == '"') {
                out.back() += '"';
                ++k;
            } else if (c == '"') {
                quoted = false;
            } else {
                out.back() += c;
            }
        } else if (c == '"') {
            quoted = true;
        } else if (c == ',') {
            out.emplace_back();
        } else if (c != '\r') {
            out.back() += c;
        }
    }
    return out;
}

bool observations_load(const char* path, std::vector<Observation>* out,
                       std::vector<std::string>* rejected, std::string* error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        *error = std::strerror(errno ? errno : ENOENT);
        return false;
    }
    static const char* const kColumns[] = {"event",
                                           "gauge",
                                           "type",
                                           "lat",
                                           "lon",
                                           "obs_first_arrival_min",
                                           "obs_onset25_min",
                                           "obs_max_m",
                                           "max_qualifier",
                                           "obs_time_of_max_min"};
    int col[10];
    std::string line;
    if (!std::getline(in, line)) {
        *error = "empty file";
        return false;
    }
    if (line.compare(0, 3, "\xEF\xBB\xBF") == 0) line.erase(0, 3);
    const std::vector<std::string> header = csv_fields(line);
    for (int k = 0; k < 10; ++k) {
        col[k] = -1;
        for (std::size_t h = 0; h < header.size(); ++h)
            if (header[h] == kColumns[k]) col[k] = int(h);
        if (col[k] < 0) {
            *error = std::string("no column ") + kColumns[k];
            return false;
        }
    }
    for (int line_no = 2; std::getline(in, line); ++line_no) {
        if (line.empty() || line == "\r") continue;
        const std::vector<std::string> f = csv_fields(line);
        auto field = [&](int k) { return std::size_t(col[k]) < f.size() ? f[col[k]] : ""; };
        Observation o;
        o.event = field(0);
        o.gauge = field(1);
        o.type = field(2);
        const auto lat = number(field(3)), lon = number(field(4));
        if (!lat || !lon || std::fabs(*lat) > 90 || std::fabs(*lon) > 360 || o.gauge.empty()) {
            rejected->push_back("line " + std::to_string(line_no) + ": no gauge name or position");
            continue;
        }
        o.lat = *lat;
        o.lon = *lon;
        o.first_arrival_min = number(field(5));
        o.onset25_min = number(field(6));
        o.max_m = number(field(7));
        o.max_qualifier = field(8);
        o.time_of_max_min = number(field(9));
        o.line = line_no;
        out->push_back(std::move(o));
    }
    return true;
}

bool observation_matches_event(const Observation& o, const std::string& name) {
    if (name.empty() || o.event.compare(0, name.size(), name) != 0) return false;
    return o.event.size() == name.size() || o.event[name.size()] == ' ' ||
           o.event[name.size()] == '(';
}

}  // namespace kaitoro
