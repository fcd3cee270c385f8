#include "feed/arrivals.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "core/driver.h"
#include "core/platform.h"
#include "core/safe_file.h"
#include "core/solver.h"
#include "core/stations.h"
#include "core/status.h"
#include "core/text_input.h"
#include "feed/json_text.h"
#include "feed/point_mapping.h"
#include "feed/warning_check.h"

namespace kaitoro {

std::array<ObservationEvent, kOrvexEventCapacity> g_orvex_observation_event_queue;
int g_orvex_observation_event_count = 0;
std::array<std::int32_t, kOrvexMaxObservationPoints> g_orvex_observation_arrival_s;
std::array<float, kOrvexMaxObservationPoints> g_orvex_observation_peak_m;
std::array<std::int32_t, kOrvexMaxObservationPoints> g_orvex_observation_last_queued_peak_dm;
std::array<std::uint8_t, kOrvexMaxObservationPoints> g_orvex_observation_first_queued;
int g_orvex_calc_start_delay_s = 0;
char g_orvex_outbox_path_buf[260] = "";
int g_orvex_event_queue_full = 0;

namespace {

constexpr long long kTimeCap = 2147483000;

// Every event before this index has been sent; the release scan starts here.
int g_first_unsent_event = 0;

const char kSpeedRule[] =
    "fixed_wall_clock_1x: 1 observation/model second per 1 external monotonic clock second";
const char kTimerRule[] =
    "fixed external wall-clock 1x scheduled observation-point reports; first arrivals and later "
    "observation value updates are both batched to 5-minute model-time buckets; independent "
    "from 3-hour warning_check";
const char kHeightRule[] =
    "first observation threshold uses positive rise >= +0.05m at the mapped sample cell; "
    "mapped/display x/y are rebuilt from CSV lat/lon when available, while sample_grid_x/y "
    "remains station/sample debug only; initial drawdown/subsidence does not lock arrival; "
    "first-arrival reports are delayed to the next 5-minute observation bulletin bucket but "
    "observed_time_s remains the true threshold-crossing time; after arrival every observation "
    "point is emitted every 5 minutes, but observed_time_s / observation_time_s remain fixed to "
    "the first positive arrival time even when peak_updated is true; rise and explicit booleans "
    "peak_updated / individual_peak_updated / max_updated mark whether that observation point "
    "newly updated its displayed positive peak by 0.1m; packet_meaningful_update marks whether "
    "any observation in the whole packet updated its displayed peak; height_m reports the "
    "larger of live level and recorded positive peak, while level_m remains live";
const char kPacketRule[] =
    "packet_meaningful_update is true if at least one observation record in this 5-minute "
    "packet newly updates the displayed positive peak by at least one 0.1m step; it is false "
    "only when no observation in the packet updates its peak. Per-observation judgement is "
    "exposed by peak_updated, individual_peak_updated, max_updated, is_new_individual_max, and "
    "mirrored by rise: + means updated, 0 means regular resend";

// The station a point without a cell of its own is bound to, or -1.
int cellless_station_of(const ObservationPoint& p) {
    if (p.cell >= 0 || p.mapped_station_no < 1) return -1;
    const long long s = (long long)p.mapped_station_no - 1;
    return s < (long long)g_grid.station_count ? int(s) : -1;
}

bool station_in_arrays(const ObservationPoint& p, int* s_out) {
    const long long s = (long long)p.mapped_station_no - 1;
    if (p.mapped_station_no < 1 || s >= (long long)g_grid.station_count) return false;
    *s_out = int(s);
    return true;
}

void copy_field(char* dst, std::size_t size, const char* src) { utf8_copy(dst, size, src); }

int round_up_to_bucket(int a) {
    return int(((long long)a + kOrvexReportBucketSeconds - 1) / kOrvexReportBucketSeconds *
               kOrvexReportBucketSeconds);
}

void write_record(JsonLine& j, const ObservationEvent& e, int sync) {
    const int i = e.point;
    int col = 0, row = 0;
    const bool from_latlon =
        g_grid.nx != 0 && g_grid.ny != 0 && orvex_rounded_cell_in_grid(e.lat, e.lon, &col, &row);
    int z = e.forecast_zone_id;
    if (z < 1) z = orvex_observation_zone_id_for_export(i);
    const int o = e.observed_s >= 1 ? e.observed_s : e.report_s;
    const bool peak_reported = e.peak_dm > std::abs(e.live_dm);
    const float height = peak_reported ? float(e.peak_dm) / 10.0f : float(e.live_dm) / 10.0f;
    const float level = float(e.live_dm) / 10.0f;
    const float drawdown = level < 0.0f ? -level : 0.0f;
    const float peak = float(e.peak_dm) / 10.0f;
    const bool updated = e.peak_updated != 0;
    const char* rise = e.peak_updated >= 1 ? "+" : e.peak_updated == 0 ? "0" : "-";
    const char* rise_state = e.peak_updated >= 1   ? "rising"
                             : e.peak_updated == 0 ? "steady"
                                                   : "falling";

    j.begin_object();
    j.int_member("obs_index", i + 1);
    j.int_member("obs_index0", i);
    j.int_member("obs_no", i + 1);
    j.int_member("queue_obs_index", i + 1);
    j.int_member("queue_obs_index0", i);
    j.string_member("obs_id", e.code);
    j.string_member("queue_obs_id", e.code);
    j.string_member("name", e.name);
    j.string_member("agency", e.agency);
    j.number_member("lat", "%.4f", e.lat);
    j.number_member("lon", "%.4f", e.lon);
    j.number_member("gauge_lat", "%.4f", e.lat);
    j.number_member("gauge_lon", "%.4f", e.lon);
    j.string_member("coordinate_source", from_latlon ? "csv_latlon_display_station_sampling"
                                                     : "existing_station_id_grid_coordinate");
    j.int_member("sim_station_no", e.station_no);
    j.int_member("csv_station_no", e.station_no);
    j.raw_member("csv_station_no_duplicate", "false");
    j.int_member("mapped_grid_x", e.point_x);
    j.int_member("mapped_grid_y", e.point_y);
    j.int_member("grid_x", e.point_x);
    j.int_member("grid_y", e.point_y);
    j.int_member("display_grid_x", e.point_x);
    j.int_member("display_grid_y", e.point_y);
    j.number_member("mapped_depth_m", "%.1f", e.mapped_depth_m);
    j.int_member("sample_grid_x", e.sample_x);
    j.int_member("sample_grid_y", e.sample_y);
    j.string_member("sample_source", "existing_station_sample_index");
    j.string_member("mapped_coordinate_role",
                    from_latlon
                        ? "display_from_csv_latlon_sampling_from_existing_station_or_local_cell"
                        : "existing_station_index_from_sim_station_no");
    j.string_member("sample_coordinate_role", "existing_station_sample_index_debug");
    j.string_member("legacy_station_no_role", "primary_existing_station_mapping");
    j.raw_member("event_record_bound_to_observation", "true");
    j.bool_member("virtual_coast_cell", e.virtual_coast_cell != 0);
    j.int_member("preferred_zone_id", e.preferred_zone_id);
    j.int_member("forecast_zone_id", z);
    j.string_member("forecast_zone_name", orvex_zone_tts_name_from_id(z));
    j.int_member("observed_time_s", o);
    j.int_member("observation_time_s", o);
    j.string_member("observed_time", orvex_time_text(std::max(o, 0)).c_str());
    j.int_member("report_bucket_s", e.report_s);
    j.int_member("scheduled_bulletin_s", e.report_s);
    j.string_member("update_time", orvex_time_text(sync).c_str());
    j.number_member("height_m", "%.1f", height);
    j.formatted_string_member("height_label", "%.1fm", height);
    j.number_member("reported_height_m", "%.1f", height);
    j.string_member("reported_height_source", peak_reported ? "positive_peak" : "live_level");
    j.string_member("rise", rise);
    j.string_member("rise_state", rise_state);
    j.bool_member("peak_updated", updated);
    j.bool_member("individual_peak_updated", updated);
    j.bool_member("max_updated", updated);
    j.bool_member("is_new_individual_max", updated);
    j.int_member("peak_delta_dm", e.peak_delta_dm);
    j.number_member("peak_delta_m", "%.1f", float(e.peak_delta_dm) / 10.0f);
    j.string_member("peak_update_scope", "individual_observation_point");
    j.number_member("rise_m", "%.1f", level);
    j.formatted_string_member("rise_label", "%.1fm", level);
    j.number_member("level_m", "%.1f", level);
    j.formatted_string_member("level_label", "%.1fm", level);
    j.number_member("drawdown_m", "%.1f", drawdown);
    j.formatted_string_member("drawdown_label", "%.1fm", drawdown);
    j.number_member("peak_m", "%.1f", peak);
    j.formatted_string_member("peak_label", "%.1fm", peak);
    j.number_member("raw_live_m", "%.3f", e.live_m);
    j.number_member("raw_rise_m", "%.3f", e.live_m);
    j.number_member("raw_level_m", "%.3f", e.live_m);
    j.number_member("raw_peak_m", "%.3f", e.peak_m);
    j.string_member("report_reason", e.kind == 2 ? "height_update_at_observation_point"
                                                 : "first_arrival_at_observation_point");
    j.raw_member("arrival_threshold_m", "0.05");
    j.string_member("arrival_condition", "positive_rise_only_no_initial_drawdown");
    j.end_object();
}

}  // namespace

const char* orvex_queue_full_text() {
    return "ORVEX report queue full (16384 reports): later reports are not sent.";
}

int orvex_decimetres(float level_m) {
    const float mag = std::fabs(level_m);
    if (!(mag >= kOrvexArrivalThresholdM)) return 0;
    const int dm = std::max(1, int(std::floor(mag * 10.0f + 0.5f)));
    return level_m < 0.0f ? -dm : dm;
}

float orvex_observation_live_signed_m(int i) {
    if (i < 0 || i >= g_orvex_observation_point_count) return 0.0f;
    const ObservationPoint& p = g_orvex_observation_points[std::size_t(i)];
    if (p.cell >= 0) {
        const GridData& g = g_grid;
        if (!g.cell_valid(p.cell)) return 0.0f;
        const std::size_t c = std::size_t(p.cell);
        if (c < g.hidden.size() && g.hidden[c]) return 0.0f;
        if (c < g.solid.size() && g.solid[c]) return 0.0f;
        const std::size_t sx = c % g.nx + g_sim.pad, sy = c / g.nx + g_sim.pad;
        if (sx >= g_sim.snx || sy >= g_sim.sny) return 0.0f;
        const std::size_t si = sy * g_sim.snx + sx;
        if (si >= g_sim.eta.size()) return 0.0f;
        const float e = g_sim.eta[si];
        if (e >= kWallThreshold) return 0.0f;
        return e * output_shoaling_factor() *
               station_shoreline_equiv_factor(visible_effective_depth_m(&g, p.cell));
    }
    int s = -1;
    if (station_in_arrays(p, &s)) return station_observed_height_m(&g_grid, &g_sim, s);
    return 0.0f;
}

void orvex_realtime_start_if_needed() {
    if (g_orvex_realtime_active) return;
    Platform& pf = platform();
    g_orvex_realtime_start_ms = pf.tick_count_ms();
    g_orvex_realtime_active = 1;
    std::int64_t counter = 0, freq = 0;
    const bool ok_counter = pf.performance_counter(&counter);
    const bool ok_freq = pf.performance_frequency(&freq);
    g_orvex_realtime_qpc_valid = (ok_counter && ok_freq && freq >= 1) ? 1 : 0;
    g_orvex_realtime_start_qpc = counter;
    g_orvex_realtime_qpc_freq = freq;
}

int orvex_realtime_elapsed_s() {
    if (!g_orvex_realtime_active) return 0;
    Platform& pf = platform();
    long long elapsed = 0;
    std::int64_t now = 0;
    if (g_orvex_realtime_qpc_valid && g_orvex_realtime_qpc_freq >= 1 &&
        pf.performance_counter(&now)) {
        const std::int64_t d = now - g_orvex_realtime_start_qpc;
        elapsed = d > 0 ? d / g_orvex_realtime_qpc_freq : 0;
    } else {
        const std::uint64_t ticks = pf.tick_count_ms();
        elapsed = ticks > g_orvex_realtime_start_ms
                      ? (long long)((ticks - g_orvex_realtime_start_ms) / 1000)
                      : 0;
    }
    return int(std::min(elapsed, kTimeCap));
}

int orvex_sync_time_s() {
    const long long t = (long long)g_orvex_calc_start_delay_s + orvex_realtime_elapsed_s();
    return int(std::clamp(t, 0LL, kTimeCap));
}

int orvex_queue_observation_report(int point, int report_s, int observed_s, float live_m,
                                   float peak_m, int kind) {
    if (point < 0 || point >= g_orvex_observation_point_count || report_s < 1) return 0;
    if (g_orvex_observation_event_count >= kOrvexEventCapacity) {
        // The limit stands, but it is never reached silently.
        if (!g_orvex_event_queue_full) set_status("%s", orvex_queue_full_text());
        g_orvex_event_queue_full = 1;
        return 0;
    }
    orvex_realtime_start_if_needed();

    const int live_dm = orvex_decimetres(live_m);
    const int peak_dm = orvex_decimetres(peak_m);
    if (!(std::fabs(live_m) >= kOrvexArrivalThresholdM) &&
        !(std::fabs(peak_m) >= kOrvexArrivalThresholdM))
        return 0;
    if (live_dm == 0 && peak_dm < 1) return 0;

    for (int k = g_orvex_observation_event_count - 1; k >= 0; --k) {
        const ObservationEvent& q = g_orvex_observation_event_queue[std::size_t(k)];
        if (q.point != point) continue;
        if (q.report_s != report_s) break;
        if (q.kind == kind && q.live_dm == live_dm && q.peak_dm == peak_dm) return 0;
    }

    const std::size_t pi = std::size_t(point);
    const ObservationPoint& p = g_orvex_observation_points[pi];
    const int peak_delta = peak_dm - g_orvex_observation_last_queued_peak_dm[pi];
    const int peak_updated = (peak_delta > 0 && peak_dm > 0) ? 1 : 0;

    ObservationEvent& e =
        g_orvex_observation_event_queue[std::size_t(g_orvex_observation_event_count)];
    e = ObservationEvent{};
    e.point = point;
    e.report_s = report_s;
    e.observed_s = observed_s;
    e.live_m = live_m;
    e.peak_m = peak_m;
    e.live_dm = live_dm;
    e.peak_dm = peak_dm;
    e.peak_updated = peak_updated;
    e.peak_delta_dm = peak_updated ? peak_delta : 0;
    e.kind = kind;
    copy_field(e.code, sizeof e.code, p.code);
    copy_field(e.name, sizeof e.name, p.name);
    copy_field(e.agency, sizeof e.agency, p.agency);
    e.lat = p.lat;
    e.lon = p.lon;
    e.station_no = p.mapped_station_no;
    e.point_cell = p.cell;
    e.point_x = p.x;
    e.point_y = p.y;
    int s = -1;
    if (station_in_arrays(p, &s)) {
        const std::size_t su = std::size_t(s);
        long long sample = -1;
        if (!g_grid.station_sample_cell.empty()) {
            if (su < g_grid.station_sample_cell.size()) sample = g_grid.station_sample_cell[su];
        } else if (su < g_grid.station_cell.size()) {
            sample = g_grid.station_cell[su];
        }
        e.sample_cell = sample < 0 ? -1 : int(sample);
    } else {
        e.sample_cell = p.cell;
    }
    if (g_grid.cell_valid(e.sample_cell)) {
        e.sample_x = int(e.sample_cell % (long long)g_grid.nx);
        e.sample_y = int(e.sample_cell / (long long)g_grid.nx);
    } else {
        e.sample_x = e.sample_y = -1;
    }
    e.virtual_coast_cell = p.virtual_coast_cell;
    e.mapped_depth_m = p.mapped_depth_m;
    e.preferred_zone_id = p.zone_id;
    e.forecast_zone_id = orvex_observation_zone_id_for_export(point);
    e.sent = 0;
    ++g_orvex_observation_event_count;

    g_orvex_observation_last_queued_peak_dm[pi] =
        std::max(g_orvex_observation_last_queued_peak_dm[pi], peak_dm);
    return 1;
}

void orvex_cache_computed_observation_arrivals() {
    const int now = g_time_s;
    for (int i = 0; i < g_orvex_observation_point_count; ++i) {
        const std::size_t pi = std::size_t(i);
        const ObservationPoint& p = g_orvex_observation_points[pi];
        const float h = orvex_observation_live_signed_m(i);
        float pk = std::max(h, 0.0f);
        const int s = cellless_station_of(p);
        if (s >= 0 && std::size_t(s) < g_sim.station_max_m.size())
            pk = std::max(pk, g_sim.station_max_m[std::size_t(s)]);
        g_orvex_observation_peak_m[pi] = std::max(g_orvex_observation_peak_m[pi], pk);
        const float peak = g_orvex_observation_peak_m[pi];

        int a = g_orvex_observation_arrival_s[pi];
        if (a < 1) {
            const int station_arrival = (s >= 0 && std::size_t(s) < g_sim.station_arrival_s.size())
                                            ? g_sim.station_arrival_s[std::size_t(s)]
                                            : 0;
            if (station_arrival > 0) {
                a = station_arrival;  // the station already knows; not stored
            } else if (h >= kOrvexArrivalThresholdM || peak >= kOrvexArrivalThresholdM) {
                g_orvex_observation_arrival_s[pi] = now;
                a = now;
                if (now <= 0) continue;
            } else {
                continue;
            }
        }
        if (a > now) continue;
        const int bucket = round_up_to_bucket(a);
        if (!g_orvex_observation_first_queued[pi] && bucket <= now) {
            if (orvex_queue_observation_report(i, bucket, a, h, peak, 1))
                g_orvex_observation_first_queued[pi] = 1;
        } else if (g_orvex_observation_first_queued[pi] && now % kOrvexReportBucketSeconds == 0 &&
                   now != bucket) {
            // The arrival bucket is reported once, by the first-arrival report; a later pass
            // at the same model time (the timer tick, the writer's own pass) adds no update.
            orvex_queue_observation_report(i, now, a, h, peak, 2);
        }
    }
}

void orvex_export_observation_arrivals() {
    orvex_ensure_observation_points_loaded();
    if (g_orvex_observation_point_count > 0) orvex_cache_computed_observation_arrivals();
    if (!g_orvex_realtime_active || g_orvex_realtime_start_ms == 0 ||
        g_orvex_observation_point_count <= 0 || g_orvex_observation_event_count <= 0)
        return;

    const int elapsed = orvex_realtime_elapsed_s();
    const int sync =
        int(std::clamp((long long)g_orvex_calc_start_delay_s + elapsed, 0LL, kTimeCap));
    std::vector<int> due;
    bool any_update = false, any_peak = false;
    int earliest = 0;
    for (int k = g_first_unsent_event; k < g_orvex_observation_event_count; ++k) {
        ObservationEvent& e = g_orvex_observation_event_queue[std::size_t(k)];
        if (e.sent || e.report_s <= 0 || e.report_s > sync) continue;
        if (e.live_dm == 0 && e.peak_dm < 1) {
            e.sent = 1;  // nothing to tell
            continue;
        }
        if (due.empty() || e.report_s < earliest) earliest = e.report_s;
        any_update = any_update || e.kind == 2;
        any_peak = any_peak || e.peak_updated != 0;
        due.push_back(k);
    }
    auto advance_first_unsent = [] {
        while (g_first_unsent_event < g_orvex_observation_event_count &&
               g_orvex_observation_event_queue[std::size_t(g_first_unsent_event)].sent)
            ++g_first_unsent_event;
    };
    if (due.empty()) {
        advance_first_unsent();
        return;
    }

    JsonLine j;
    j.raw_member("schema", "1");
    j.string_member("type", "orvex.tsunami");
    j.string_member("kind", "observation_arrival");
    j.string_member("bulletin_class", "observation_point_event");
    j.raw_member("event_driven", "false");
    j.raw_member("is_3hour_check", "false");
    j.int_member("sim_s", sync);
    j.int_member("computed_model_s", g_time_s);
    j.int_member("real_elapsed_s", elapsed);
    j.int_member("real_sync_time_s", sync);
    j.int_member("realtime_speed_factor", 1);
    j.string_member("realtime_speed_rule", kSpeedRule);
    j.int_member("calc_start_delay_s", g_orvex_calc_start_delay_s);
    j.int_member("effective_time_s", earliest);
    j.string_member("effective_time", orvex_time_text(earliest).c_str());
    j.string_member("issue_time", orvex_time_text(sync).c_str());
    j.string_member("origin_time", "1日 00:00");
    j.string_member("timer_rule", kTimerRule);
    j.string_member("height_rule", kHeightRule);
    j.string_member("packet_meaningful_update_rule", kPacketRule);
    j.int_member("observation_count", (long long)due.size());
    j.bool_member("contains_height_updates", any_update);
    j.bool_member("packet_meaningful_update", any_peak);
    j.begin_array("observations");
    for (int k : due) write_record(j, g_orvex_observation_event_queue[std::size_t(k)], sync);
    j.end_array();

    // Not openable now: the events stay due and go out with a later tick.
    if (!orvex_append_outbox_line(j.finish())) return;
    for (int k : due) g_orvex_observation_event_queue[std::size_t(k)].sent = 1;
    advance_first_unsent();
    set_status("Sent ORVEX observation_arrival: %d observation(s), sync %ds, model %.2fh.%s%s",
               int(due.size()), sync, double(g_time_s) / 3600.0,
               g_orvex_event_queue_full ? " " : "",
               g_orvex_event_queue_full ? orvex_queue_full_text() : "");
}

const char* orvex_outbox_path() {
    if (g_orvex_outbox_path_buf[0]) return g_orvex_outbox_path_buf;
    const std::string exe = platform().executable_path();
    const std::size_t sep = exe.find_last_of("\\/");
    if (!exe.empty() && exe.size() <= 259 && sep != std::string::npos) {
        std::snprintf(g_orvex_outbox_path_buf, sizeof g_orvex_outbox_path_buf, "%s%s",
                      exe.substr(0, sep + 1).c_str(), kOrvexOutboxName);
    } else {
        std::snprintf(g_orvex_outbox_path_buf, sizeof g_orvex_outbox_path_buf, "%s",
                      kOrvexOutboxName);
    }
    return g_orvex_outbox_path_buf;
}

int orvex_set_outbox_directory(const char* dir) {
    std::string path = dir ? dir : "";
    if (!path.empty() && path.back() != '/' && path.back() != '\\') path += '/';
    path += kOrvexOutboxName;
    if (path.size() >= sizeof g_orvex_outbox_path_buf) return 0;
    std::memcpy(g_orvex_outbox_path_buf, path.c_str(), path.size() + 1);
    return 1;
}

ssize_t (*g_orvex_outbox_write_hook)(int fd, const void* data, std::size_t size) = nullptr;

namespace {

// Cuts the file back to the end of its last line feed, so a fragment left by a killed
// writer or a short write is never glued to the next packet.
bool cut_to_last_complete_line(int fd) {
    struct stat st {};
    if (fstat(fd, &st) != 0) return false;
    off_t end = st.st_size;
    char buf[4096];
    while (end > 0) {
        const off_t start = end > off_t(sizeof buf) ? end - off_t(sizeof buf) : 0;
        const ssize_t n = pread(fd, buf, std::size_t(end - start), start);
        if (n != end - start) return false;
        for (ssize_t k = n; k > 0; --k)
            if (buf[k - 1] == '\n') {
                const off_t keep = start + k;
                return keep == st.st_size || ftruncate(fd, keep) == 0;
            }
        end = start;
    }
    return st.st_size == 0 || ftruncate(fd, 0) == 0;
}

}  // namespace

bool orvex_append_outbox_line(const std::string& line) {
    const char* path = orvex_outbox_path();
    const int fd = ::open(path, O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0) {
        note_write_failure(path);
        return false;
    }
    // The outbox holds complete lines only: one write() per packet (stdio would split a
    // 500 KB packet into several), and whatever a failed or short write left is cut off
    // again before anything else is appended.
    bool ok = cut_to_last_complete_line(fd);
    if (ok) {
        const ssize_t n = g_orvex_outbox_write_hook
                              ? g_orvex_outbox_write_hook(fd, line.data(), line.size())
                              : ::write(fd, line.data(), line.size());
        ok = n == ssize_t(line.size());
        if (!ok) cut_to_last_complete_line(fd);
    }
    ok = ::close(fd) == 0 && ok;
    if (!ok) note_write_failure(path);
    return ok;
}

void orvex_reset_export_state() {
    g_orvex_event_queue_full = 0;
    if (std::FILE* f = std::fopen(orvex_outbox_path(), "wb")) std::fclose(f);
    orvex_warning_check_reset();
    g_orvex_observation_event_count = 0;
    g_first_unsent_event = 0;
    g_orvex_observation_arrival_s.fill(0);
    g_orvex_observation_peak_m.fill(0.0f);
    g_orvex_observation_last_queued_peak_dm.fill(0);
    g_orvex_observation_first_queued.fill(0);
    orvex_free_wave_zone_map();
    g_orvex_realtime_active = 0;
    g_orvex_realtime_start_ms = 0;
    g_orvex_realtime_start_qpc = 0;
    g_orvex_realtime_qpc_valid = 0;
}

void orvex_export_tick() {
    orvex_ensure_observation_points_loaded();
    if (g_orvex_observation_point_count > 0) orvex_cache_computed_observation_arrivals();
    orvex_export_observation_arrivals();
    orvex_run_due_warning_checks();
}

void orvex_arrivals_reset_for_tests() {
    g_orvex_outbox_write_hook = nullptr;
    g_orvex_event_queue_full = 0;
    g_orvex_observation_event_count = 0;
    g_first_unsent_event = 0;
    g_orvex_observation_arrival_s.fill(0);
    g_orvex_observation_peak_m.fill(0.0f);
    g_orvex_observation_last_queued_peak_dm.fill(0);
    g_orvex_observation_first_queued.fill(0);
    g_orvex_calc_start_delay_s = 0;
    g_orvex_outbox_path_buf[0] = '\0';
}

}  // namespace kaitoro
