// kaitoro-cli run: one scenario without a window, writing what the desktop's save commands write.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "cli/options.h"
#include "core/driver.h"
#include "core/gauges.h"
#include "core/geo.h"
#include "core/masks.h"
#include "core/platform.h"
#include "core/safe_file.h"
#include "core/sources.h"
#include "core/stations.h"
#include "core/status.h"
#include "core/time_series.h"
#include "export/run_exports.h"
#include "feed/arrivals.h"
#include "quick_ff/ff_csv.h"
#include "quick_ff/ff_grid.h"
#include "quick_ff/placement.h"
#include "render/max_wave.h"
#include "render/scene.h"
#include "render/slip_map.h"
#include "source_design/fault_table.h"
#include "source_design/preset.h"
#include "source_design/source_cell.h"

namespace kaitoro::cli {

namespace {

// Answers every save dialog with the dialog's own default name inside the output folder, so
// the headless run writes exactly what the desktop save commands write.
// Answers the next save dialog with one chosen path (the image options name their file).
class FixedPathPlatform : public HeadlessPlatform {
public:
    explicit FixedPathPlatform(std::string path) : path_(std::move(path)) {}
    std::optional<std::string> save_file_dialog(const FileDialogRequest&) override {
        return path_;
    }

private:
    std::string path_;
};

class CliPlatform : public HeadlessPlatform {
public:
    explicit CliPlatform(std::string dir) : dir_(std::move(dir)) {}
    std::optional<std::string> save_file_dialog(const FileDialogRequest& req) override {
        return dir_ + "/" + req.default_name;
    }
    void beep(BeepKind) override {}
    // A failed write is named once, by the run's own summary, not also as a box on stderr.
    MessageAnswer message_box(const std::string&, const std::string&, MessageIcon,
                              MessageButtons) override {
        return MessageAnswer::Ok;
    }

private:
    std::string dir_;
};


// A smooth 4 m uplift ellipse off Sanriku, long axis along the trench (north-south).
int add_demo_source() {
    float cx, cy;
    grid_xy_from_latlon(38.3f, 143.2f, &cx, &cy);
    int added = 0;
    for (int dy = -30; dy <= 30; ++dy)
        for (int dx = -12; dx <= 12; ++dx) {
            const float r2 = float(dx * dx) / 144.0f + float(dy * dy) / 900.0f;
            if (r2 > 1.0f) continue;
            const int x = int(std::lround(cx)) + dx, y = int(std::lround(cy)) + dy;
            if (!g_grid.in_grid(x, y) || g_grid.solid[std::size_t(y) * g_grid.nx + x]) continue;
            source_list_append(&g_sources, x, y, 4.0f * (1.0f - r2), 0);
            ++added;
        }
    return added;
}

// The source's Mw as every summary line shows it: a fault table's standard Mw is labelled so.
std::string source_mw_text() {
    bool standard = false;
    const double m0 = displayed_source_moment_nm(&standard);
    char buf[64];
    if (standard)
        std::snprintf(buf, sizeof buf, "standard Mw %.2f", moment_magnitude_from_nm(m0));
    else
        std::snprintf(buf, sizeof buf, "Mw %.2f", double(moment_magnitude_from_m0(m0)));
    return buf;
}

// Loads a finite-fault grid and places it as the desktop placement does: the options given
// override the patch size from the file, the epicentre is the grid's delay-0 cell.
int place_quick_ff(const RunOptions& o) {
    QuickFfLoadResult loaded;
    if (!quick_ff_load_csv_file(o.quick_ff.c_str(), &loaded)) {
        std::fprintf(stderr, "Error: could not open quick finite-fault file: %s\n",
                     o.quick_ff.c_str());
        return 1;
    }
    if (loaded.cells == 0) {
        std::fprintf(stderr, "Error: %s: %s\n", o.quick_ff.c_str(), kQuickFfNoCellsMessage);
        return 1;
    }
    // Lines read in a way the user may not have meant, as the desktop's status line says.
    for (const std::string& note : loaded.notes)
        std::printf("Quick finite fault %s: %s.\n", o.quick_ff.c_str(), note.c_str());
    if (o.strike) g_fault_strike_deg = float(wrap_degrees_360(*o.strike));
    if (o.patch_length) g_fault_stamp_length_km = float(std::clamp(*o.patch_length, 5.0, 600.0));
    if (o.patch_width) set_fault_width_km_value(float(*o.patch_width));
    if (o.depth) g_source_depth_km = float(*o.depth);

    float fx, fy;
    grid_xy_from_latlon(float(o.epicenter_lat), float(o.epicenter_lon), &fx, &fy);
    const long gx = std::lround(fx), gy = std::lround(fy);
    if (!std::isfinite(fx) || !std::isfinite(fy) || !g_grid.in_grid(gx, gy)) {
        std::fprintf(stderr, "Error: epicenter %.4f,%.4f lies outside the grid (x=%.1f y=%.1f)\n",
                     o.epicenter_lat, o.epicenter_lon, double(fx), double(fy));
        return 1;
    }
    int patches = 0;
    for (const QuickFfCell& c : g_quick_ff_rows) patches += quick_ff_cell_active(c);
    const int placed = quick_ff_apply_at(int(gx), int(gy));
    if (placed == 0) {
        std::fprintf(stderr,
                     "Error: the finite fault in %s placed no source cells (%d active patch(es) "
                     "at x=%ld y=%ld)\n",
                     o.quick_ff.c_str(), patches, gx, gy);
        return 1;
    }
    int er, ec;
    quick_ff_find_epicenter_cell(&er, &ec, nullptr, nullptr);
    std::printf(
        "Quick finite fault %s: %d x %d grid, %d patch(es) of %.1f x %.1f km, strike %.0f, "
        "depth %.1f km; epicenter cell %s at x=%ld y=%ld; %d source cell(s) placed; %s.\n",
        o.quick_ff.c_str(), g_quick_ff_grid_rows, g_quick_ff_grid_cols, patches,
        double(g_fault_stamp_length_km), double(g_fault_width_km), double(g_fault_strike_deg),
        double(g_source_depth_km), quick_ff_cell_name(er, ec).c_str(), gx, gy, placed,
        source_mw_text().c_str());
    return 0;
}

// Each fault table as one more dislocation source. Rejected lines are listed on stderr; a
// table that cannot be read or holds no valid subfault stops the run.
int add_fault_tables(const RunOptions& o) {
    for (const std::string& path : o.faults) {
        FaultTable t;
        std::string error;
        if (!fault_table_load(path.c_str(), &t, &error)) {
            std::fprintf(stderr, "Error: could not open fault table: %s: %s\n", path.c_str(),
                         error.c_str());
            return 1;
        }
        for (const std::string& r : t.rejected)
            std::fprintf(stderr, "%s: %s\n", path.c_str(), r.c_str());
        if (t.subfaults.empty()) {
            std::fprintf(stderr, "Error: %s: no valid subfault\n", path.c_str());
            return 1;
        }
        const FaultSourceResult r =
            fault_sources_add_to_current(t.subfaults, FaultSourceOptions{}, "load fault table");
        const double m0 = fault_table_moment_nm(t.subfaults);
        const std::string name = t.meta("name");
        std::printf("Fault table %s%s%s%s: %zu subfault(s), %zu line(s) rejected; %zu source "
                    "point(s): %zu uplift (max %.2f m), %zu subsidence (min %.2f m); standard "
                    "M0 %.3e N m, Mw %.2f.\n",
                    path.c_str(), name.empty() ? "" : " (", name.c_str(), name.empty() ? "" : ")",
                    t.subfaults.size(), t.rejected.size(), r.points, r.uplift,
                    double(r.max_uplift_m), r.subsidence, double(r.max_subsidence_m), m0,
                    moment_magnitude_from_nm(m0));
    }
    return 0;
}

// The gauges of --gauge and --gauges, each on its nearest sea cell; one line per gauge says
// where. A file that cannot be read, or a gauge with no sea cell near it, stops the run.
int place_gauges(const RunOptions& o) {
    g_gauges = GaugeSet{};
    for (const std::string& text : o.gauges) {
        Gauge g;
        std::string why;
        gauge_parse_spec(text, &g, &why);  // checked when the options were read
        g_gauges.gauges.push_back(std::move(g));
    }
    for (const std::string& path : o.gauge_files) {
        std::vector<std::string> rejected;
        std::string error;
        if (!gauges_load_csv(path.c_str(), &g_gauges.gauges, &rejected, &error)) {
            std::fprintf(stderr, "Error: could not open gauge file: %s: %s\n", path.c_str(),
                         error.c_str());
            return 1;
        }
        for (const std::string& r : rejected) std::fprintf(stderr, "%s: %s\n", path.c_str(), r.c_str());
    }
    for (Gauge& g : g_gauges.gauges) {
        if (!gauge_place(&g, g_grid)) {
            std::fprintf(stderr,
                         "Error: gauge %s (%.4f, %.4f) has no sea cell within %d cells of it\n",
                         g.name.c_str(), g.lat_deg, g.lon_deg, kGaugeSearchCells);
            return 1;
        }
        const std::size_t c = std::size_t(g.cell_y) * g_grid.nx + std::size_t(g.cell_x);
        std::printf("Gauge %s (%.4f, %.4f): cell x=%d y=%d (%.4f, %.4f), depth %.0f m, %.1f km "
                    "away.\n",
                    g.name.c_str(), g.lat_deg, g.lon_deg, g.cell_x, g.cell_y, g.cell_lat_deg,
                    g.cell_lon_deg, double(g_grid.depth_m[c]), g.distance_km);
    }
    return 0;
}

// Both gauge files into the output folder; false when either could not be written.
bool save_gauges(const RunOptions& o) {
    if (g_gauges.gauges.empty()) return true;
    const std::string series = o.out + "/gauges.csv", cells = o.out + "/gauge_cells.csv";
    const bool ok = gauges_write_csv(g_gauges, series.c_str()) &&
                    gauges_write_cells_csv(g_gauges, g_grid, g_sim.arrival_s, cells.c_str());
    if (ok)
        std::printf("Saved gauge records: %s (%zu gauge(s), %zu time(s)) and %s\n",
                    series.c_str(), g_gauges.gauges.size(), g_gauges.time_s.size(), cells.c_str());
    else
        std::fprintf(stderr, "Error: could not write the gauge records into %s\n", o.out.c_str());
    return ok;
}

std::string format_hms(int t) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%02d:%02d:%02d", t / 3600, t / 60 % 60, t % 60);
    return buf;
}

void progress(long long done, long long total, double rate) {
    const int width = 30;
    const int filled = total > 0 ? int(width * done / total) : width;
    std::fprintf(stderr, "\r[%.*s%*s] %3d%%  t=%s  %.0f steps/s ", filled,
                 "##############################", width - filled, "",
                 total > 0 ? int(100 * done / total) : 100, format_hms(g_time_s).c_str(), rate);
    std::fflush(stderr);
}

// What the feed wrote, and what is still waiting for the wall clock.
void print_outbox_summary() {
    int arrivals = 0, checks = 0, waiting = 0;
    if (std::FILE* f = std::fopen(orvex_outbox_path(), "rb")) {
        std::string line;
        for (int c; (c = std::fgetc(f)) != EOF;) {
            if (c != '\n') {
                line += char(c);
                continue;
            }
            arrivals += line.find("\"kind\":\"observation_arrival\"") != std::string::npos;
            checks += line.find("\"kind\":\"warning_check\"") != std::string::npos;
            line.clear();
        }
        std::fclose(f);
    }
    for (int k = 0; k < g_orvex_observation_event_count; ++k)
        waiting += !g_orvex_observation_event_queue[std::size_t(k)].sent;
    std::printf("ORVEX outbox %s: %d observation_arrival packet(s), %d warning_check(s); %d "
                "report(s) waiting for the wall clock.\n",
                orvex_outbox_path(), arrivals, checks, waiting);
    if (g_orvex_event_queue_full) std::printf("%s\n", orvex_queue_full_text());
}

// The image exports, through the same save commands as the desktop keys. False when one
// failed (its status line is printed to stderr).
bool save_images(const RunOptions& o) {
    bool ok = true;
    auto save = [&](const std::string& path, void (*command)(void*), const char* failure) {
        FixedPathPlatform answer(path);
        set_platform(&answer);
        command(nullptr);
        set_platform(nullptr);
        const bool failed = std::strncmp(g_status, failure, std::strlen(failure)) == 0;
        std::fprintf(failed ? stderr : stdout, "%s\n", g_status);
        ok = ok && !failed;
    };
    if (!o.max_wave_png.empty()) {
        g_wave_layer_mode = o.wave_layer;
        save(o.max_wave_png, save_max_wave_png_dialog, "Failed to save max-wave PNG.");
    }
    if (!o.slip_map_png.empty())
        save(o.slip_map_png, save_finite_fault_usgs_png_dialog,
             "Failed to save finite-fault USGS-style PNG.");
    return ok;
}

// What the source was built from, for the NetCDF file's attributes.
std::string describe_source(const RunOptions& o) {
    std::string d;
    auto add = [&](const std::string& part) { d += (d.empty() ? "" : "; ") + part; };
    if (!o.preset.empty()) add("preset " + o.preset);
    for (const std::string& s : o.sources) add("source CSV " + s);
    if (o.demo_source) add("demo uplift off Sanriku");
    if (!o.quick_ff.empty()) {
        char buf[96];
        std::snprintf(buf, sizeof buf, " at %.4f,%.4f", o.epicenter_lat, o.epicenter_lon);
        add("finite fault " + o.quick_ff + buf + (o.okada ? " as dislocations" : ""));
    }
    for (const std::string& f : o.faults) add("fault table " + f);
    char count[64];
    std::snprintf(count, sizeof count, "%zu source point(s)", g_sources.count);
    add(count);
    return d;
}

}  // namespace

int cmd_run(const RunOptions& o) {
    // Read when the solver plan is built, which start-up and every reset do.
    g_true_wave_speed = o.true_speed ? 1 : 0;
    if (int rc = start(o.grid, o.colors)) return rc;
    std::printf("Colours: %s\n", o.colors.empty() ? "built-in scales" : o.colors.c_str());
    g_fault_horizontal_term = o.horizontal_term ? 1 : 0;
    g_quick_ff_okada = o.okada ? 1 : 0;
    clear_write_failures();
    g_orvex_transmit_mode = o.transmit_limit ? 1 : 0;
    // The outbox goes with the run's other results, set before any reset empties it.
    if (!orvex_set_outbox_directory(o.out.c_str())) {
        std::fprintf(stderr, "Error: output folder path too long: %s\n", o.out.c_str());
        return 1;
    }
    g_orvex_calc_start_delay_s = o.orvex_start_delay_s;

    if (!o.overrides.empty()) {
        if (!load_land_override_csv(&g_grid, o.overrides.c_str())) {
            std::fprintf(stderr, "Error: could not open override file: %s\n", o.overrides.c_str());
            return 1;
        }
        rebuild_mask_and_reset();
    }
    std::size_t loaded = 0;
    if (!o.preset.empty()) {
        if (!load_preset_file(o.preset.c_str(), &loaded)) {
            std::fprintf(stderr, "Error: could not open preset file: %s\n", o.preset.c_str());
            return 1;
        }
        std::printf("Loaded preset and applied %zu source point(s); rebuilt %d from slip+depth.\n",
                    loaded, g_last_preset_recalculated_from_slip);
    }
    for (const std::string& s : o.sources) {
        // The desktop's own command, so the points carry the same fault metadata.
        const long added = load_source_csv_file(s.c_str());
        if (added < 0) {
            std::fprintf(stderr, "Error: could not open source file: %s\n", s.c_str());
            return 1;
        }
        if (added == 0) {
            std::fprintf(stderr, "Error: no usable source line in source file: %s\n", s.c_str());
            return 2;
        }
        loaded += std::size_t(added);
    }
    if (o.demo_source) loaded += std::size_t(add_demo_source());
    if (!o.quick_ff.empty()) {
        if (int rc = place_quick_ff(o)) return rc;
    }
    if (int rc = add_fault_tables(o)) return rc;
    driver_reset_run();
    if (!o.save_preset.empty()) {
        if (!save_current_preset_file(o.save_preset.c_str())) {
            std::fprintf(stderr, "Error: could not write preset file: %s\n", o.save_preset.c_str());
            return 1;
        }
        std::printf("Saved preset: %s\n", o.save_preset.c_str());
    }

    for (std::size_t k = 0; k < o.stations.size(); ++k) {
        const int idx = o.stations[k] - 1;
        if (idx >= int(g_grid.station_count) || !station_is_enabled(&g_grid, idx)) {
            std::fprintf(stderr, "kaitoro-cli: station %d is not an enabled station (1..%u)\n",
                         o.stations[k], g_grid.station_count);
            return 2;
        }
        time_series_add_station(idx, k == 0 ? 1 : 0);
    }

    if (int rc = place_gauges(o)) return rc;

    std::error_code ec;
    std::filesystem::create_directories(o.out, ec);
    if (ec) {
        std::fprintf(stderr, "Error: could not create output folder: %s: %s\n", o.out.c_str(),
                     ec.message().c_str());
        return 1;
    }

    const long long total =
        o.steps >= 0 ? o.steps : (long long)std::ceil(o.hours * 3600.0 / kModelStepSeconds);
    std::printf("Grid %s: %u x %u cells, %d enabled stations; %zu source point(s), %s.\n",
                o.grid.c_str(), g_grid.nx, g_grid.ny, count_enabled_stations(&g_grid),
                g_sources.count, source_mw_text().c_str());
    std::printf("Wave speed: %s.\n", g_true_wave_speed
                                         ? "true long-wave speed sqrt(g h) at each latitude"
                                         : "documented coupling (depth/18000)");
    RunExportOptions export_options;
    export_options.netcdf = o.netcdf;
    export_options.geojson = o.geojson;
    export_options.animate = o.animate;
    export_options.snapshot_every_s = o.snapshot_every_s;
    export_options.frame_every_s = o.frame_every_s;
    export_options.info.history = o.command_line;
    export_options.info.source_description = describe_source(o);
    RunExports exports;
    if (!exports.begin(export_options)) {
        std::fprintf(stderr, "%s", exports.errors().c_str());
        return 1;
    }
    const bool tty = isatty(2);
    const auto t0 = std::chrono::steady_clock::now();
    auto elapsed = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    };
    g_running = 1;
    long long done = 0;
    const bool gauges = !g_gauges.gauges.empty();
    if (gauges) gauges_record(&g_gauges, g_sim, g_time_s);
    for (; done < total && g_running; ++done) {
        advance_one_step();
        if (gauges) gauges_record(&g_gauges, g_sim, g_time_s);
        if (!exports.after_step()) break;
        if (tty && (done % 20 == 0 || done + 1 == total))
            progress(done + 1, total, double(done + 1) / std::max(elapsed(), 1e-9));
    }
    if (tty) std::fputc('\n', stderr);
    const double secs = elapsed();
    if (!g_running && done < total) std::printf("%s\n", g_status);
    g_running = 0;

    CliPlatform cli_platform(o.out);
    set_platform(&cli_platform);
    save_station_csv_dialog(nullptr);
    std::printf("%s\n", g_status);
    if (g_ts_rec_count > 0) {
        save_time_series_dialog(nullptr);
        std::printf("%s\n", g_status);
    }
    set_platform(nullptr);

    const bool gauges_ok = save_gauges(o);
    const bool images_ok = save_images(o) && gauges_ok;
    const bool exports_ok = exports.finish();
    if (!exports_ok) std::fprintf(stderr, "%s", exports.errors().c_str());
    if (exports_ok && !o.netcdf.empty())
        std::printf("Saved NetCDF: %s (%.2f s writing)\n", o.netcdf.c_str(),
                    exports.netcdf_seconds());
    if (exports_ok && !o.geojson.empty()) std::printf("Saved GeoJSON: %s\n", o.geojson.c_str());
    if (exports_ok && !o.animate.empty())
        std::printf("Saved animation: %s (%d frames, %.2f s drawing and encoding)\n",
                    o.animate.c_str(), exports.frames(), exports.animation_seconds());
    print_outbox_summary();
    std::printf("Model time %d s (%s), %lld steps in %.2f s, %.1f steps/s\n", g_time_s,
                format_hms(g_time_s).c_str(), done, secs, secs > 0 ? double(done) / secs : 0.0);
    if (o.after_run) o.after_run();
    driver_shutdown();
    // The save commands keep their status texts; every file that was not written is named
    // here and the run fails, so a script never takes a missing table for a result.
    for (const std::string& path : write_failures())
        std::fprintf(stderr, "Error: could not write file: %s\n", path.c_str());
    return images_ok && exports_ok && write_failures().empty() ? 0 : 1;
}

}  // namespace kaitoro::cli
