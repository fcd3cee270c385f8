#include "export/geojson_export.h"

#include <cstdio>

#include "core/driver.h"
#include "core/safe_file.h"
#include "core/stations.h"
#include "export/station_rows.h"
#include "feed/json_text.h"

namespace kaitoro {

namespace {

void append_f(std::string* out, const char* fmt, double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, fmt, v);
    *out += buf;
}

void append_i(std::string* out, long long v) {
    *out += std::to_string(v);
}

void append_position(std::string* out, const StationRow& s) {
    *out += '[';
    append_f(out, "%.6f", s.lon);
    *out += ',';
    append_f(out, "%.6f", s.lat);
    *out += ']';
}

// Height, bin and colour as the tables print them ("%.6g" metres).
void append_height_members(std::string* out, float max_m) {
    *out += ",\"max_height_m\":";
    append_f(out, "%.6g", double(max_m));
    *out += ",\"color_bin\":";
    orvex_json_escape(out, tsunami_height_color_bin(max_m));
    *out += ",\"color_hex\":";
    orvex_json_escape(out, tsunami_height_color_hex(max_m));
}

}  // namespace

std::string geojson_results_text(const GridData* grid, const Simulation* sim) {
    const std::vector<StationRow> stations = collect_station_rows(grid, sim);
    std::string out = "{\"type\":\"FeatureCollection\",\"features\":[";
    bool first = true;
    auto begin_feature = [&] {
        out += first ? "\n" : ",\n";
        first = false;
    };
    for (const StationRow& s : stations) {
        begin_feature();
        out += "{\"type\":\"Feature\",\"geometry\":{\"type\":\"Point\",\"coordinates\":";
        append_position(&out, s);
        out += "},\"properties\":{\"feature\":\"station\",\"station_no\":";
        append_i(&out, s.index + 1);
        out += ",\"grid_x\":";
        append_i(&out, s.grid_x);
        out += ",\"grid_y\":";
        append_i(&out, s.grid_y);
        out += ",\"forecast_zone_id\":";
        append_i(&out, s.zone_id);
        out += ",\"forecast_zone_name\":";
        orvex_json_escape(&out, forecast_zone_name_from_id(s.zone_id));
        append_height_members(&out, s.max_m);
        out += ",\"arrival_s\":";
        append_i(&out, s.arrival_s);
        out += "}}";
    }
    for (const ZoneRow& z : collect_zone_rows(stations)) {
        if (z.members.empty()) continue;  // no geometry to show
        begin_feature();
        out += "{\"type\":\"Feature\",\"geometry\":{\"type\":\"MultiPoint\",\"coordinates\":[";
        for (std::size_t k = 0; k < z.members.size(); ++k) {
            if (k) out += ',';
            append_position(&out, stations[std::size_t(z.members[k])]);
        }
        out += "]},\"properties\":{\"feature\":\"forecast_zone\",\"forecast_zone_id\":";
        append_i(&out, z.zone_id);
        out += ",\"forecast_zone_name\":";
        orvex_json_escape(&out, forecast_zone_name_from_id(z.zone_id));
        append_height_members(&out, z.max_m);
        out += ",\"station_no_of_max\":";
        append_i(&out, z.station_no_of_max);
        out += ",\"arrival_s\":";
        append_i(&out, z.arrival_s);
        out += ",\"station_count\":";
        append_i(&out, (long long)z.members.size());
        out += "}}";
    }
    out += "\n]}\n";
    return out;
}

bool write_geojson_results(const std::string& path, std::string* error) {
    const std::string text = geojson_results_text(&g_grid, &g_sim);
    SafeFile out(path.c_str());
    const bool ok =
        out && std::fwrite(text.data(), 1, text.size(), out.get()) == text.size() && out.commit();
    if (!ok && error) *error = "could not write GeoJSON file " + path;
    return ok;
}

}  // namespace kaitoro
