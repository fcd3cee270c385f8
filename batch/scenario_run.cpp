#include "batch/scenario_run.h"

#include <chrono>
#include <cmath>

#include "batch/runner.h"
#include "core/driver.h"
#include "core/solver.h"
#include "core/stations.h"

namespace kaitoro {

bool scenario_run_loaded(const Scenario& s, ScenarioRecord* out, std::string* error) {
    std::vector<Subfault> subfaults;
    if (!scenario_subfaults(s, &subfaults, error)) return false;
    scenario_fill_record(s, out);
    const double m0 = fault_table_moment_nm(subfaults);
    out->mw = moment_magnitude_from_nm(m0);
    if (s.kind == ScenarioKind::FaultFile) {
        // Where the moment is: the moment-weighted centroid stands for the event in lookups.
        double w = 0, lat = 0, lon = 0, depth = 0;
        for (const Subfault& f : subfaults) {
            const double m = f.fault.length_km * f.fault.width_km * std::fabs(f.fault.slip_m);
            w += m;
            lat += m * f.fault.lat_deg;
            lon += m * f.fault.lon_deg;
            depth += m * f.fault.depth_km;
        }
        if (w > 0) {
            out->lat = lat / w;
            out->lon = lon / w;
            out->depth_km = depth / w;
        }
    }
    const FaultSourceResult added =
        fault_sources_add_to_current(subfaults, FaultSourceOptions{}, "scenario");
    if (added.points == 0) {
        *error = "the source puts no displacement of 0.0005 m or more into any sea cell";
        return false;
    }
    driver_reset_run();

    const long long steps = std::llround(std::ceil(s.hours * 3600.0 / kModelStepSeconds));
    const auto t0 = std::chrono::steady_clock::now();
    g_running = 1;
    for (long long k = 0; k < steps && g_running; ++k) advance_one_step();
    g_running = 0;
    out->solver_s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();

    for (std::uint32_t u = 0; u < g_grid.station_count; ++u) {
        const int i = int(u);
        int zone = 0;
        float max_m = 0;
        int arrival = 0;
        int gx = 0, gy = 0;
        // The stations the station table lists: enabled, in a forecast zone, on the grid.
        if (!get_station_info(i, &gx, &gy, nullptr, nullptr, &zone, nullptr, nullptr, &max_m,
                              &arrival))
            continue;
        if (zone < 1 || zone > 93 || zone == 67) continue;
        out->stations.push_back({i + 1, zone, gx, gy, double(max_m), arrival});
    }
    const std::vector<ForecastZoneRow> zones = forecast_zone_rows(&g_grid, &g_sim);
    for (int z = 1; z <= 93; ++z) {
        if (z == 67) continue;
        const ForecastZoneRow& r = zones[std::size_t(z)];
        out->zones.push_back({z, double(r.max_m), r.station_no, r.arrival_s, r.station_count});
    }
    out->status = "done";
    return true;
}

}  // namespace kaitoro
