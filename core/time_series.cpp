#include "core/time_series.h"

#include "core/safe_file.h"

#include <cstdio>
#include <new>
#include <optional>
#include <string>

#include "core/driver.h"
#include "core/platform.h"
#include "core/stations.h"
#include "core/status.h"

namespace kaitoro {

std::vector<TimeSeriesRecorder> g_ts_recorders;
std::size_t g_ts_rec_count = 0;
std::size_t g_ts_rec_capacity = 0;
int g_ts_station_i = -1;

namespace {

constexpr std::size_t kFirstRecorderCapacity = 8;
constexpr std::size_t kFirstSampleCapacity = 4096;

// Recording needs a station that still exists on the map: a later mask change or a
// disabled flag leaves the recorder in place but stops it from taking samples.
bool recorder_station_usable(int station_index) {
    if (!station_is_enabled(&g_grid, station_index)) return false;
    if ((std::size_t)station_index >= g_grid.station_cell.size()) return false;
    return g_grid.cell_valid(g_grid.station_cell[station_index]);
}

// Resizing a vector of recorders moves them (their move is noexcept), so a failed growth
// leaves the set exactly as it was.
bool grow_recorders(std::size_t new_capacity) {
    try {
        g_ts_recorders.resize(new_capacity);
    } catch (const std::bad_alloc&) {
        return false;
    }
    g_ts_rec_capacity = new_capacity;
    return true;
}

void record_into(TimeSeriesRecorder& rec) {
    const int i = rec.station_index;
    const float level = station_observed_height_m(&g_grid, &g_sim, i);
    const float rise = level > 0.0f ? level : 0.0f;
    const float peak = (std::size_t)i < g_sim.station_max_m.size() ? g_sim.station_max_m[i] : 0.0f;

    // Pausing and stepping can bring us back to the same model time; keep one sample per time.
    if (rec.count > 0 && rec.last_time_s == g_time_s) {
        TimeSeriesSample& s = rec.samples[rec.count - 1];
        s.level_m = level;
        s.positive_rise_m = rise;
        s.peak_positive_rise_m = peak;
        return;
    }
    if (rec.count >= rec.capacity) {
        const std::size_t new_capacity = rec.capacity ? rec.capacity * 2 : kFirstSampleCapacity;
        try {
            rec.samples.resize(new_capacity);
        } catch (const std::bad_alloc&) {
            set_status("Time-series recorder ran out of memory. Recording stopped for station #%d.",
                       i + 1);
            return;
        }
        rec.capacity = new_capacity;
    }
    rec.samples[rec.count++] = TimeSeriesSample{g_time_s, level, rise, peak};
    rec.last_time_s = g_time_s;
}

struct StationFacts {
    int grid_x = 0, grid_y = 0, sample_x = 0, sample_y = 0, zone_id = 0;
};

StationFacts station_facts(int station_index) {
    StationFacts f;
    if (!get_station_info(station_index, &f.grid_x, &f.grid_y, &f.sample_x, &f.sample_y, &f.zone_id,
                          nullptr, nullptr, nullptr, nullptr))
        f = StationFacts{};
    return f;
}

bool recorder_writable(const TimeSeriesRecorder* rec) {
    return rec && rec->station_index >= 0 && rec->count > 0 && rec->count <= rec->samples.size();
}

std::string svg_escape(const char* text) {
    std::string out;
    for (const char* p = text; *p; ++p) {
        switch (*p) {
            case '"':
                out += "&quot;";
                break;
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            default:
                out += *p;
        }
    }
    return out;
}

// Plot area of the graph, in canvas pixels.
constexpr int kPlotLeft = 92, kPlotRight = 946, kPlotTop = 58, kPlotBottom = 486;
constexpr int kPlotWidth = kPlotRight - kPlotLeft;   // 854
constexpr int kPlotHeight = kPlotBottom - kPlotTop;  // 428

constexpr char kSvgStyle[] =
    "text{font-family:'Meiryo UI','Yu Gothic UI','Malgun Gothic',sans-serif;font-size:14px;"
    "fill:#222}.small{font-size:12px;fill:#555}.title{font-size:20px;font-weight:700}"
    ".axis{stroke:#222;stroke-width:1.2}.grid{stroke:#ddd;stroke-width:1}"
    ".zero{stroke:#777;stroke-width:1.2;stroke-dasharray:5 4}"
    ".level{fill:none;stroke:#d7372f;stroke-width:2}"
    ".peak{fill:none;stroke:#444;stroke-width:1.7;stroke-dasharray:6 5}";

}  // namespace

void time_series_free() {
    std::vector<TimeSeriesRecorder>().swap(g_ts_recorders);
    g_ts_rec_count = 0;
    g_ts_rec_capacity = 0;
    g_ts_station_i = -1;
}

void time_series_reset_recordings() {
    for (std::size_t k = 0; k < g_ts_rec_count; ++k) {
        g_ts_recorders[k].count = 0;
        g_ts_recorders[k].last_time_s = -1;
    }
}

void time_series_add_station(int station_index, int replace) {
    if (station_index < 0 || (std::uint32_t)station_index >= g_grid.station_count) return;
    if (!station_is_enabled(&g_grid, station_index)) return;
    int zone_id = 0;
    if (!get_station_info(station_index, nullptr, nullptr, nullptr, nullptr, &zone_id, nullptr,
                          nullptr, nullptr, nullptr))
        return;
    const int station_no = station_index + 1;

    if (replace) {
        time_series_free();
        if (!grow_recorders(kFirstRecorderCapacity)) {
            set_status("Could not allocate another time-series station recorder.");
            return;
        }
    } else {
        for (std::size_t k = 0; k < g_ts_rec_count; ++k) {
            if (g_ts_recorders[k].station_index == station_index) {
                g_ts_station_i = station_index;
                set_status("Station #%d is already selected. Multi selected: %zu station(s).",
                           station_no, g_ts_rec_count);
                return;
            }
        }
        if (g_ts_rec_count >= g_ts_rec_capacity) {
            const std::size_t new_capacity =
                g_ts_rec_capacity ? g_ts_rec_capacity * 2 : kFirstRecorderCapacity;
            if (!grow_recorders(new_capacity)) {
                set_status("Could not allocate another time-series station recorder.");
                return;
            }
        }
    }

    TimeSeriesRecorder& rec = g_ts_recorders[g_ts_rec_count++];
    rec = TimeSeriesRecorder{};
    rec.station_index = station_index;
    g_ts_station_i = station_index;
    record_into(rec);

    if (replace) {
        set_status(
            "Time-series station selected: #%d, station_id %d, %s. Recording starts at "
            "t=%d s.",
            station_no, zone_id, forecast_zone_name_from_id(zone_id), g_time_s);
    } else {
        set_status(
            "Added time-series station: #%d, station_id %d, %s. Multi selected: %zu "
            "station(s).",
            station_no, zone_id, forecast_zone_name_from_id(zone_id), g_ts_rec_count);
    }
}

void time_series_record_current() {
    for (std::size_t k = 0; k < g_ts_rec_count; ++k) {
        TimeSeriesRecorder& rec = g_ts_recorders[k];
        if (!recorder_station_usable(rec.station_index)) continue;
        record_into(rec);
    }
}

int write_time_series_csv_for_recorder(const char* path, const TimeSeriesRecorder* rec) {
    if (!path || !recorder_writable(rec)) return 0;
    SafeFile out(path);
    if (!out) return 0;
    std::FILE* f = out.get();
    const StationFacts st = station_facts(rec->station_index);
    std::fprintf(f, "# station_no,%d\n", rec->station_index + 1);
    std::fprintf(f, "# forecast_zone_id,%d\n", st.zone_id);
    std::fputs("# forecast_zone_name,\"", f);
    for (const char* p = forecast_zone_name_from_id(st.zone_id); *p; ++p) {
        if (*p == '"') std::fputc('"', f);
        std::fputc(*p, f);
    }
    std::fputs("\"\n", f);
    std::fprintf(f, "# grid_x,%d\n# grid_y,%d\n# sample_grid_x,%d\n# sample_grid_y,%d\n", st.grid_x,
                 st.grid_y, st.sample_x, st.sample_y);
    std::fputs("# note,level_m is signed sea-level change. positive_rise_m ignores drawdown.\n", f);
    std::fputs(
        "time_s,time_min,time_hr,level_m,level_cm,positive_rise_m,positive_rise_cm,"
        "peak_positive_rise_m,peak_positive_rise_cm\n",
        f);
    for (std::size_t k = 0; k < rec->count; ++k) {
        const TimeSeriesSample& s = rec->samples[k];
        std::fprintf(f, "%d,%.6f,%.6f,%.8f,%.5f,%.8f,%.5f,%.8f,%.5f\n", s.time_s, s.time_s / 60.0,
                     s.time_s / 3600.0, (double)s.level_m, s.level_m * 100.0,
                     (double)s.positive_rise_m, s.positive_rise_m * 100.0,
                     (double)s.peak_positive_rise_m, s.peak_positive_rise_m * 100.0);
    }
    return out.commit() ? 1 : 0;
}

int write_time_series_svg_for_recorder(const char* path, const TimeSeriesRecorder* rec) {
    if (!path || !recorder_writable(rec)) return 0;
    SafeFile out(path);
    if (!out) return 0;
    std::FILE* f = out.get();
    const StationFacts st = station_facts(rec->station_index);
    const TimeSeriesSample* samples = rec->samples.data();
    const std::size_t n = rec->count;

    // Value range: always include 0 so drawdown and rise read against the same baseline.
    double lo = 0.0, hi = 0.0;
    for (std::size_t k = 0; k < n; ++k) {
        if (samples[k].level_m < lo) lo = samples[k].level_m;
        if (samples[k].level_m > hi) hi = samples[k].level_m;
        if (samples[k].peak_positive_rise_m > hi) hi = samples[k].peak_positive_rise_m;
    }
    double margin = (hi - lo) * 0.12;
    if (margin < 0.05) margin = 0.05;
    const double bottom = lo - margin;
    const double top = hi + margin;
    const double range = top - bottom;

    // Time range in minutes; a single sample (or no progress) still gets a one-minute axis.
    const double t0 = samples[0].time_s / 60.0;
    const double span =
        samples[n - 1].time_s > samples[0].time_s ? samples[n - 1].time_s / 60.0 - t0 : 1.0;

    auto y_of = [&](double v) { return kPlotBottom - (int)((v - bottom) * kPlotHeight / range); };
    auto x_of = [&](double minutes) {
        return kPlotLeft + (int)((minutes - t0) * kPlotWidth / span);
    };

    std::fputs("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n", f);
    std::fputs(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"980\" height=\"560\" "
        "viewBox=\"0 0 980 560\">\n",
        f);
    std::fputs("<rect x=\"0\" y=\"0\" width=\"980\" height=\"560\" fill=\"#ffffff\"/>\n", f);
    std::fprintf(f, "<style>%s</style>\n", kSvgStyle);
    std::fprintf(
        f, "<text x=\"92\" y=\"30\" class=\"title\">Station #%d sea-level time series</text>\n",
        rec->station_index + 1);
    std::fprintf(f,
                 "<text x=\"92\" y=\"50\" class=\"small\">station_id %d: %s | grid %d,%d sample "
                 "%d,%d | samples %zu</text>\n",
                 st.zone_id, svg_escape(forecast_zone_name_from_id(st.zone_id)).c_str(), st.grid_x,
                 st.grid_y, st.sample_x, st.sample_y, n);

    for (int k = 0; k <= 5; ++k) {
        const double v = bottom + k * range / 5.0;
        const int y = y_of(v);
        std::fprintf(f, "<line class=\"grid\" x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\"/>\n",
                     kPlotLeft, y, kPlotRight, y);
        std::fprintf(f, "<text class=\"small\" x=\"10\" y=\"%d\">%.2f m</text>\n", y + 4, v);
    }
    for (int k = 0; k <= 6; ++k) {
        const double tm = t0 + k * span / 6.0;
        const int x = x_of(tm);
        std::fprintf(f, "<line class=\"grid\" x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\"/>\n", x,
                     kPlotTop, x, kPlotBottom);
        std::fprintf(
            f, "<text class=\"small\" x=\"%d\" y=\"508\" text-anchor=\"middle\">%.1f</text>\n", x,
            tm);
    }
    if (bottom < 0.0 && top > 0.0) {
        const int y = y_of(0.0);
        std::fprintf(f, "<line class=\"zero\" x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\"/>\n",
                     kPlotLeft, y, kPlotRight, y);
    }
    std::fprintf(f, "<line class=\"axis\" x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\"/>\n", kPlotLeft,
                 kPlotTop, kPlotLeft, kPlotBottom);
    std::fprintf(f, "<line class=\"axis\" x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\"/>\n", kPlotLeft,
                 kPlotBottom, kPlotRight, kPlotBottom);

    std::fputs("<polyline class=\"level\" points=\"", f);
    for (std::size_t k = 0; k < n; ++k)
        std::fprintf(f, "%d,%d ", x_of(samples[k].time_s / 60.0), y_of(samples[k].level_m));
    std::fputs("\"/>\n", f);
    std::fputs("<polyline class=\"peak\" points=\"", f);
    for (std::size_t k = 0; k < n; ++k)
        std::fprintf(f, "%d,%d ", x_of(samples[k].time_s / 60.0),
                     y_of(samples[k].peak_positive_rise_m));
    std::fputs("\"/>\n", f);

    std::fputs(
        "<text x=\"519\" y=\"536\" text-anchor=\"middle\">time after simulation start "
        "(min)</text>\n",
        f);
    std::fputs(
        "<text x=\"22\" y=\"272\" text-anchor=\"middle\" transform=\"rotate(-90 22 272)\">"
        "water level change (m)</text>\n",
        f);
    std::fputs("<rect x=\"102\" y=\"72\" width=\"16\" height=\"3\" fill=\"#d7372f\"/>\n", f);
    std::fputs("<text class=\"small\" x=\"124\" y=\"76\">live signed level</text>\n", f);
    std::fputs(
        "<line x1=\"282\" y1=\"73\" x2=\"298\" y2=\"73\" stroke=\"#444\" stroke-width=\"2\" "
        "stroke-dasharray=\"6 5\"/>\n",
        f);
    std::fputs("<text class=\"small\" x=\"306\" y=\"76\">peak positive rise</text>\n", f);
    std::fputs("</svg>\n", f);

    return out.commit() ? 1 : 0;
}

std::string make_station_timeseries_path(const std::string& base, int station_no,
                                         const char* suffix, const char* extension) {
    const std::size_t slash = base.find_last_of("/\\");
    const std::size_t name_start = slash == std::string::npos ? 0 : slash + 1;
    const std::size_t dot = base.rfind('.');
    std::string stem = base;
    if (dot != std::string::npos && dot >= name_start) stem = base.substr(0, dot < 259 ? dot : 259);
    char tail[64];
    std::snprintf(tail, sizeof tail, "_station_%04d", station_no);
    return stem + tail + (suffix ? suffix : "") + (extension ? extension : "");
}

void save_time_series_dialog(void* window) {
    if (g_ts_rec_count == 0) {
        set_status(
            "No time-series station selected. Hover a station marker and press T first. "
            "Use Shift+T to add more.");
        platform().beep(BeepKind::Warning);
        return;
    }
    bool any_samples = false;
    for (std::size_t k = 0; k < g_ts_rec_count; ++k)
        if (g_ts_recorders[k].count > 0) any_samples = true;
    if (!any_samples) time_series_record_current();

    const bool single = g_ts_rec_count == 1;
    FileDialogRequest req;
    req.filters = {{"CSV files", "*.csv"}, {"All files", "*.*"}};
    req.confirm_overwrite = true;
    req.path_must_exist = true;
    if (single) {
        char name[64];
        std::snprintf(name, sizeof name, "station_%04d_timeseries.csv",
                      g_ts_recorders[0].station_index + 1);
        req.title = "Save selected station time series CSV + SVG graph";
        req.default_name = name;
    } else {
        req.title = "Save multi-station time series set";
        req.default_name = "selected_stations_timeseries.csv";
    }
    const std::optional<std::string> chosen = platform().save_file_dialog(req);
    if (!chosen) return;
    const std::size_t write_mark = write_failures().size();

    if (single) {
        const TimeSeriesRecorder* rec = &g_ts_recorders[0];
        std::string svg_path = path_insert_before_extension(*chosen, "_graph", ".csv");
        svg_path = svg_path.substr(0, svg_path.rfind('.')) + ".svg";
        const int csv_ok = write_time_series_csv_for_recorder(chosen->c_str(), rec);
        const int svg_ok = write_time_series_svg_for_recorder(svg_path.c_str(), rec);
        if (!csv_ok) {
            set_status("Failed to save selected station time series.");
            platform().beep(BeepKind::Error);
        } else if (!svg_ok) {
            set_status("Saved time series CSV, but SVG graph failed.");
        } else {
            set_status("Saved time series CSV and SVG graph: %s", svg_path.c_str());
        }
    } else {
        int saved = 0, failed = 0;
        for (std::size_t k = 0; k < g_ts_rec_count; ++k) {
            const TimeSeriesRecorder* rec = &g_ts_recorders[k];
            const int station_no = rec->station_index + 1;
            const std::string csv_path =
                make_station_timeseries_path(*chosen, station_no, "", ".csv");
            const std::string svg_path =
                make_station_timeseries_path(*chosen, station_no, "_graph", ".svg");
            const int csv_ok = write_time_series_csv_for_recorder(csv_path.c_str(), rec);
            const int svg_ok = write_time_series_svg_for_recorder(svg_path.c_str(), rec);
            if (csv_ok && svg_ok)
                ++saved;
            else
                ++failed;
        }
        if (failed > 0) {
            set_status("Saved %d station time-series pair(s), failed %d.", saved, failed);
            platform().beep(BeepKind::Warning);
        } else {
            set_status("Saved %d station time-series CSV+SVG pairs using base name: %s", saved,
                       chosen->c_str());
        }
    }
    warn_write_failures_since(write_mark);
    platform().request_repaint();
}

}  // namespace kaitoro
