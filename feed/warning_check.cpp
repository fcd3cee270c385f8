#include "feed/warning_check.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "core/driver.h"
#include "core/stations.h"
#include "feed/arrivals.h"
#include "feed/json_text.h"
#include "feed/observation_points.h"

namespace kaitoro {

std::array<std::int32_t, kOrvexZoneSlots> g_orvex_last_sent_forecast_active;
std::array<std::int32_t, kOrvexZoneSlots> g_orvex_last_sent_forecast_rank;
std::array<std::int32_t, kOrvexZoneSlots> g_orvex_last_sent_forecast_arrival_5min_s;
int g_orvex_next_warning_check_h = kOrvexFirstCheckHour;
std::vector<std::int32_t> g_orvex_wave_zone_map;
std::size_t g_orvex_wave_zone_map_cells = 0;
int (*g_orvex_landsea_inversion_hook)() = nullptr;

namespace {

// Zone ids accumulated per check; the message lists 1..93.
constexpr int kZoneIds = 1000;

struct ZoneTables {
    std::array<float, kZoneIds> observed_max{};
    std::array<float, kZoneIds> forecast_max{};
    std::array<std::int32_t, kZoneIds> observed_arrival{};
    std::array<std::int32_t, kZoneIds> forecast_arrival{};
    std::array<std::int32_t, kZoneIds> changed{};
};

const char kCheckTimerRule[] =
    "3-hour warning_check through 36h; upgrade-only mode; transmit only forecast "
    "advisory-or-higher upgrade changes";

bool accumulated_zone(int z) {
    return z >= 1 && z < kZoneIds && z != kZoneOutside;
}

// The zone a station reports under: a hand-made override first, then the grid's own.
// Returns -1 when the station lies beyond the zone array.
int station_zone_for_check(std::uint32_t s) {
    if (const int o = station_zone_override_of(int(s))) return o;
    if (s >= g_grid.station_zone.size()) return -1;
    return g_grid.station_zone[s];
}

void lower_arrival(std::int32_t& slot, int a) {
    if (a > 0 && (slot == 0 || a < slot)) slot = a;
}

}  // namespace

HeightStep orvex_height_step(float v) {
    if (!(v >= 0.05f)) return {0.0f, 0, "0m"};
    if (v == 0.05f) return {0.05f, 1, "0.05m"};
    if (v <= 0.2f) return {0.2f, 1, "0.2m"};
    if (v <= 1.0f) return {1.0f, 2, "1m"};
    if (v <= 3.0f) return {3.0f, 3, "3m"};
    if (v <= 5.0f) return {5.0f, 4, "5m"};
    if (v <= 10.0f) return {10.0f, 5, "10m"};
    return {11.0f, 6, "10m+"};
}

int orvex_arrival_5min(int a) {
    if (a <= 0) return 0;
    return int(((long long)a + 299) / 300 * 300);
}

void orvex_free_wave_zone_map() {
    g_orvex_wave_zone_map = {};
    g_orvex_wave_zone_map_cells = 0;
}

void orvex_warning_check_reset() {
    g_orvex_last_sent_forecast_active.fill(0);
    g_orvex_last_sent_forecast_rank.fill(0);
    g_orvex_last_sent_forecast_arrival_5min_s.fill(0);
    g_orvex_next_warning_check_h = kOrvexFirstCheckHour;
}

void orvex_build_wave_zone_map() {
    const GridData& g = g_grid;
    if (g.station_cell.empty() || g.station_zone.empty() || g.nx == 0 || g.ny == 0) return;
    const std::size_t n = g.cell_count();
    if (g_orvex_wave_zone_map.size() == n) {
        std::fill(g_orvex_wave_zone_map.begin(), g_orvex_wave_zone_map.end(), 0);
    } else {
        g_orvex_wave_zone_map.assign(n, 0);
    }
    g_orvex_wave_zone_map_cells = n;
    std::vector<std::int32_t>& map = g_orvex_wave_zone_map;

    // Each cell is queued once at most, so the queue never outgrows the grid.
    std::vector<std::int32_t> queue;
    queue.reserve(n);
    auto seed = [&](long long cell, int zone) {
        if (!g.cell_valid(cell) || map[std::size_t(cell)] != 0) return;
        map[std::size_t(cell)] = zone;
        queue.push_back(std::int32_t(cell));
    };
    for (std::uint32_t s = 0; s < g.station_count && s < g.station_cell.size(); ++s) {
        if (!station_is_enabled(&g, int(s))) continue;
        const int z = station_zone_for_check(s);
        if (orvex_is_real_zone(z)) seed(g.station_cell[s], z);
    }
    for (int i = 0; i < g_orvex_observation_point_count; ++i) {
        const ObservationPoint& p = g_orvex_observation_points[std::size_t(i)];
        if (orvex_is_real_zone(p.zone_id)) seed(p.cell, p.zone_id);
    }

    const int nx = int(g.nx), ny = int(g.ny);
    for (std::size_t head = 0; head < queue.size(); ++head) {
        const int cell = queue[head];
        const int x = cell % nx, y = cell / nx;
        const int zone = map[std::size_t(cell)];
        const int nbr[4][2] = {{x + 1, y}, {x - 1, y}, {x, y + 1}, {x, y - 1}};
        for (const auto& q : nbr) {
            if (q[0] < 0 || q[1] < 0 || q[0] >= nx || q[1] >= ny) continue;
            const std::size_t c = std::size_t(q[1]) * std::size_t(nx) + std::size_t(q[0]);
            if (map[c] != 0) continue;
            map[c] = zone;
            queue.push_back(std::int32_t(c));
        }
    }
}

void orvex_export_snapshot(int hour, int sim_s) {
    orvex_ensure_observation_points_loaded();
    ZoneTables t;
    const GridData& g = g_grid;

    for (std::uint32_t s = 0; s < g.station_count; ++s) {
        if (!station_is_enabled(&g, int(s))) continue;
        const int z = station_zone_for_check(s);
        if (!accumulated_zone(z)) continue;
        const float m = s < g_sim.station_max_m.size() ? g_sim.station_max_m[s] : 0.0f;
        t.observed_max[std::size_t(z)] = std::max(t.observed_max[std::size_t(z)], m);
        if (s < g_sim.station_arrival_s.size())
            lower_arrival(t.observed_arrival[std::size_t(z)], g_sim.station_arrival_s[s]);
    }

    for (int i = 0; i < g_orvex_observation_point_count; ++i) {
        const int z = orvex_observation_zone_id_for_export(i);
        if (!accumulated_zone(z)) continue;
        const ObservationPoint& p = g_orvex_observation_points[std::size_t(i)];
        float pk = std::max(orvex_observation_live_signed_m(i), 0.0f);
        const long long s = (long long)p.mapped_station_no - 1;
        if (p.cell < 0 && p.mapped_station_no >= 1 && s < (long long)g.station_count &&
            std::size_t(s) < g_sim.station_max_m.size())
            pk = std::max(pk, g_sim.station_max_m[std::size_t(s)]);
        float& running = g_orvex_observation_peak_m[std::size_t(i)];
        running = std::max(running, pk);
        t.observed_max[std::size_t(z)] = std::max(t.observed_max[std::size_t(z)], running);
        lower_arrival(t.observed_arrival[std::size_t(z)],
                      g_orvex_observation_arrival_s[std::size_t(i)]);
    }

    orvex_build_wave_zone_map();

    const bool inverted = g_orvex_landsea_inversion_hook && g_orvex_landsea_inversion_hook();
    const std::size_t cells = std::min(g.cell_count(), g_orvex_wave_zone_map.size());
    for (std::size_t c = 0; c < cells; ++c) {
        const int z = g_orvex_wave_zone_map[c];
        if (!accumulated_zone(z)) continue;
        const bool land = c < g.land.size() && g.land[c] != 0;
        if (land != inverted) continue;
        if (c < g.hidden.size() && g.hidden[c]) continue;
        const std::size_t b = c + g.nx;  // bordered arrays carry a spare row below the grid
        if (b < g_sim.max_height.size())
            t.forecast_max[std::size_t(z)] =
                std::max(t.forecast_max[std::size_t(z)], g_sim.max_height[b]);
        if (b < g_sim.arrival_s.size())
            lower_arrival(t.forecast_arrival[std::size_t(z)], g_sim.arrival_s[b]);
    }

    int changed_count = 0;
    for (int z = 1; z <= 93; ++z) {
        if (z == kZoneOutside) continue;
        const HeightStep fs = orvex_height_step(t.forecast_max[std::size_t(z)]);
        const int fa5 = orvex_arrival_5min(t.forecast_arrival[std::size_t(z)]);
        bool changed;
        if (fs.step < 0.2f)
            changed = false;
        else if (!g_orvex_last_sent_forecast_active[std::size_t(z)])
            changed = true;
        else if (g_orvex_last_sent_forecast_rank[std::size_t(z)] < fs.rank)
            changed = true;
        else if (g_orvex_last_sent_forecast_rank[std::size_t(z)] > fs.rank)
            changed = false;
        else
            changed = fa5 > 0 && fa5 != g_orvex_last_sent_forecast_arrival_5min_s[std::size_t(z)];
        t.changed[std::size_t(z)] = changed ? 1 : 0;
        changed_count += changed ? 1 : 0;
    }
    if (changed_count == 0) return;

    JsonLine j;
    j.raw_member("schema", "1");
    j.string_member("type", "orvex.tsunami");
    j.string_member("kind", "warning_check");
    j.int_member("sim_s", sim_s);
    j.int_member("completed_h", hour);
    j.int_member("computed_model_s", g_time_s);
    j.int_member("real_sync_time_s", orvex_sync_time_s());
    j.int_member("calc_start_delay_s", g_orvex_calc_start_delay_s);
    j.int_member("effective_time_s", (long long)hour * 3600);
    j.string_member("effective_time", orvex_time_text(hour * 3600).c_str());
    j.string_member("timer_rule", kCheckTimerRule);
    j.string_member("bulletin_class", "forecast_warning_check");
    j.raw_member("event_driven", "false");
    j.raw_member("is_3hour_check", "true");
    j.string_member("origin_time", "1日 00:00");
    j.string_member("issue_time", orvex_time_text(sim_s).c_str());
    j.string_member("forecast_height_rule", "ceil 0.05/0.2/1/3/5/10/10+; omit below 0.05m");
    j.raw_member("arrival_round_min", "5");
    j.int_member("changed_zone_count", changed_count);
    j.raw_member("advisory_update_only", "true");
    j.raw_member("upgrade_only", "true");
    j.raw_member("check_interval_h", "3");
    j.raw_member("forecast_until_h", "36");
    j.raw_member("zone_forecast_included", "true");
    j.begin_array("zones");
    for (int z = 1; z <= 93; ++z) {
        if (z == kZoneOutside) continue;
        const std::size_t zi = std::size_t(z);
        const HeightStep os = orvex_height_step(t.observed_max[zi]);
        const HeightStep fs = orvex_height_step(t.forecast_max[zi]);
        const int oa = t.observed_arrival[zi], fa = t.forecast_arrival[zi];
        const int oa5 = orvex_arrival_5min(oa), fa5 = orvex_arrival_5min(fa);
        j.begin_object();
        j.int_member("zone", z);
        j.string_member("name", orvex_zone_tts_name_from_id(z));
        j.string_member("height_step", os.text);
        j.int_member("height_rank", os.rank);
        j.string_member("forecast_height_step", fs.text);
        j.int_member("forecast_height_rank", fs.rank);
        j.number_member("forecast_raw_max_m", "%.3f", t.forecast_max[zi]);
        j.int_member("forecast_first_arrival_s", fa);
        j.int_member("forecast_first_arrival_5min_s", fa5);
        j.string_member("forecast_first_arrival_time", fa > 0 ? orvex_time_text(fa5).c_str() : "0");
        j.string_member("forecast_basis", "wavefield_zone_map");
        j.string_member("decision_mode", "upgrade_only");
        j.bool_member("update_changed", t.changed[zi] != 0);
        j.string_member("upgrade_decision", fs.step >= 1.0f ? "upgrade_or_keep_to_height" : "none");
        j.int_member("upgrade_effective_s", 0);
        j.string_member("downgrade_decision", "none");
        j.int_member("downgrade_effective_s", (long long)hour * 3600);
        j.string_member("warning_decision", "none");
        j.int_member("decision_effective_s", (long long)hour * 3600);
        j.number_member("raw_max_m", "%.3f", t.observed_max[zi]);
        j.number_member("observed_raw_max_m", "%.3f", t.observed_max[zi]);
        j.string_member("observed_height_step", os.text);
        j.int_member("observed_height_rank", os.rank);
        j.int_member("first_arrival_s", oa);
        j.int_member("first_arrival_5min_s", oa5);
        j.string_member("first_arrival_time", oa > 0 ? orvex_time_text(oa5).c_str() : "0");
        j.string_member("downgrade_basis", "observation_points");
        j.end_object();
    }
    j.end_array();

    // A lost message leaves the last-sent state alone, so the next check compares against
    // what the receiver really has.
    if (!orvex_append_outbox_line(j.finish())) return;
    for (int z = 1; z <= 93; ++z) {
        if (z == kZoneOutside) continue;
        const std::size_t zi = std::size_t(z);
        const HeightStep fs = orvex_height_step(t.forecast_max[zi]);
        g_orvex_last_sent_forecast_active[zi] = fs.step >= 0.2f ? 1 : 0;
        g_orvex_last_sent_forecast_rank[zi] = fs.rank;
        g_orvex_last_sent_forecast_arrival_5min_s[zi] = orvex_arrival_5min(t.forecast_arrival[zi]);
    }
}

void orvex_run_due_warning_checks() {
    while (g_orvex_next_warning_check_h <= kOrvexLastCheckHour &&
           (long long)g_orvex_next_warning_check_h * 3600 <= g_time_s) {
        const int hour = g_orvex_next_warning_check_h;
        g_orvex_next_warning_check_h += kOrvexCheckIntervalHours;
        orvex_export_snapshot(hour, hour * 3600);
    }
}

}  // namespace kaitoro
