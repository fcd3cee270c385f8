// kaitoro-cli lookup: the database forecast of a warning centre. For an event's epicentre and
// magnitude, the nearest stored scenarios and, per forecast zone, the highest of their zone
// heights with that scenario's arrival time.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <string>

#include "batch/result_store.h"
#include "cli/options.h"
#include "core/stations.h"

namespace kaitoro::cli {

namespace {

// One 50 km step along the trench weighs as much as one 0.25 magnitude step: the grid a
// generated table covers.
constexpr double kKmPerUnit = 50.0, kMwPerUnit = 0.25;

double great_circle_km(double lat1, double lon1, double lat2, double lon2) {
    const double r = std::numbers::pi / 180.0;
    const double dlat = (lat2 - lat1) * r, dlon = (lon2 - lon1) * r;
    const double a =
        std::sin(dlat / 2) * std::sin(dlat / 2) +
        std::cos(lat1 * r) * std::cos(lat2 * r) * std::sin(dlon / 2) * std::sin(dlon / 2);
    return 2 * 6371.009 * std::asin(std::min(1.0, std::sqrt(a)));
}

std::string hms(int t) {
    if (t <= 0) return "-";
    char buf[32];
    std::snprintf(buf, sizeof buf, "%02d:%02d:%02d", t / 3600, t / 60 % 60, t % 60);
    return buf;
}

struct Pick {
    const ScenarioRecord* r;
    double km, dmw, score;
};

struct ZoneForecast {
    int zone = 0;
    double max_m = 0;
    int arrival_s = 0;
    const ScenarioRecord* from = nullptr;
};

}  // namespace

int cmd_lookup(int argc, char** argv) {
    std::string db;
    double lat = 0, lon = 0, mw = 0;
    bool have_epi = false, have_mw = false, json = false;
    int count = 3;
    for (OptionCursor c(argc, argv); c.next();) {
        if (c.is("--db"))
            db = c.value();
        else if (c.is("--json"))
            json = true;
        else if (c.is("--mw")) {
            mw = parse_number("--mw", c.value());
            if (mw < 0 || mw > 10) throw UsageError{"--mw must be 0 to 10"};
            have_mw = true;
        } else if (c.is("--count")) {
            const double n = parse_number("--count", c.value());
            if (n < 1 || n > 100 || n != std::floor(n))
                throw UsageError{"--count must be 1 to 100"};
            count = int(n);
        } else if (c.is("--epicenter")) {
            const std::string v = c.value();
            const std::size_t comma = v.find(',');
            if (comma == std::string::npos) throw UsageError{"--epicenter needs LAT,LON"};
            lat = parse_number("--epicenter", v.substr(0, comma).c_str());
            lon = parse_number("--epicenter", v.substr(comma + 1).c_str());
            if (std::fabs(lat) > 90 || std::fabs(lon) > 360)
                throw UsageError{"--epicenter needs a latitude and longitude in degrees"};
            have_epi = true;
        } else
            c.unknown("unknown option for lookup: ");
    }
    if (db.empty() || !have_epi || !have_mw)
        throw UsageError{"lookup needs --db FILE --epicenter LAT,LON --mw M"};

    ResultStore store;
    std::string error;
    std::vector<ScenarioRecord> rows;
    if (!store.open_read_only(db, &error) || !store.read_all(&rows, false, &error)) {
        std::fprintf(stderr, "Error: %s\n", error.c_str());
        return 1;
    }
    std::vector<Pick> picks;
    for (const ScenarioRecord& r : rows) {
        if (r.status != "done") continue;
        const double km = great_circle_km(lat, lon, r.lat, r.lon);
        const double dmw = r.mw - mw;
        picks.push_back({&r, km, dmw, km / kKmPerUnit + std::fabs(dmw) / kMwPerUnit});
    }
    if (picks.empty()) {
        std::fprintf(stderr, "Error: %s holds no finished scenario\n", db.c_str());
        return 1;
    }
    std::stable_sort(picks.begin(), picks.end(),
                     [](const Pick& a, const Pick& b) { return a.score < b.score; });
    picks.resize(std::min<std::size_t>(picks.size(), std::size_t(count)));

    std::vector<ZoneForecast> zones;
    for (int z = 1; z <= 93; ++z) {
        if (z == 67) continue;
        ZoneForecast f;
        f.zone = z;
        for (const Pick& p : picks)
            for (const ZoneResult& zr : p.r->zones)
                if (zr.zone_id == z && zr.max_height_m > f.max_m) {
                    f.max_m = zr.max_height_m;
                    f.arrival_s = zr.arrival_s;
                    f.from = p.r;
                }
        // Zones below the first colour bin are not part of a forecast.
        if (f.max_m >= 0.05) zones.push_back(f);
    }

    if (json) {
        std::printf("{\"epicenter\":{\"lat\":%.6g,\"lon\":%.6g},\"mw\":%.6g,\"scenarios\":[", lat,
                    lon, mw);
        for (std::size_t k = 0; k < picks.size(); ++k) {
            const ScenarioRecord& r = *picks[k].r;
            std::printf(
                "%s{\"id\":\"%s\",\"lat\":%.6g,\"lon\":%.6g,\"mw\":%.4g,"
                "\"distance_km\":%.1f,\"mw_difference\":%.2f}",
                k ? "," : "", json_escape(r.id).c_str(), r.lat, r.lon, r.mw, picks[k].km,
                picks[k].dmw);
        }
        std::printf("],\"zones\":[");
        for (std::size_t k = 0; k < zones.size(); ++k) {
            const ZoneForecast& f = zones[k];
            std::printf(
                "%s{\"zone_id\":%d,\"name\":\"%s\",\"max_height_m\":%.6g,\"arrival_s\":%d,"
                "\"color_bin\":\"%s\",\"color_hex\":\"%s\",\"scenario\":\"%s\"}",
                k ? "," : "", f.zone, json_escape(forecast_zone_name_from_id(f.zone)).c_str(),
                f.max_m, f.arrival_s, tsunami_height_color_bin(float(f.max_m)),
                tsunami_height_color_hex(float(f.max_m)), json_escape(f.from->id).c_str());
        }
        std::printf("]}\n");
        return 0;
    }
    std::printf(
        "Database forecast for Mw %.2f at %.3f N %.3f E: %zu nearest of %zu scenario(s) "
        "in %s\n",
        mw, lat, lon, picks.size(), rows.size(), db.c_str());
    std::printf("  %-32s %11s %5s %6s\n", "scenario", "distance_km", "Mw", "dMw");
    for (const Pick& p : picks)
        std::printf("  %-32s %11.1f %5.2f %+6.2f\n", p.r->id.c_str(), p.km, p.r->mw, p.dmw);
    std::printf(
        "Forecast zones reaching 0.05 m (highest of these scenarios; arrival at the "
        "zone's highest station):\n");
    std::printf("  %4s %8s %8s %-10s %-32s %s\n", "zone", "max_m", "arrival", "bin", "scenario",
                "name");
    for (const ZoneForecast& f : zones)
        std::printf("  %4d %8.2f %8s %-10s %-32s %s\n", f.zone, f.max_m, hms(f.arrival_s).c_str(),
                    tsunami_height_color_bin(float(f.max_m)), f.from->id.c_str(),
                    forecast_zone_name_from_id(f.zone));
    if (zones.empty()) std::printf("  (no zone reaches 0.05 m)\n");
    return 0;
}

}  // namespace kaitoro::cli
