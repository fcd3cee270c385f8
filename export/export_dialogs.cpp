#include "export/export_dialogs.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/driver.h"
#include "core/platform.h"
#include "core/sources.h"
#include "core/stations.h"
#include "core/status.h"
#include "export/animation.h"
#include "export/geojson_export.h"
#include "export/netcdf_export.h"

namespace kaitoro {

namespace {

std::optional<std::string> ask(const char* title, std::vector<FileFilter> filters, const char* name,
                               const char* ext) {
    FileDialogRequest req;
    req.title = title;
    req.filters = std::move(filters);
    req.default_name = name;
    req.default_extension = ext;
    req.confirm_overwrite = true;
    req.path_must_exist = true;
    return platform().save_file_dialog(req);
}

void report(bool ok, const char* saved, const std::string& path, const std::string& why) {
    if (ok) {
        set_status("%s: %s", saved, path.c_str());
    } else {
        set_status("Failed: %s", why.c_str());
        platform().beep(BeepKind::Warning);
    }
    platform().request_repaint();
}

}  // namespace

void save_netcdf_dialog() {
    const auto path =
        ask("Save results as CF NetCDF", {{"NetCDF files", "*.nc"}, {"All files", "*.*"}},
            "tsunami_results.nc", "nc");
    if (!path) return;
    NetcdfRunInfo info;
    info.history = "kaitoro desktop: settings window, Export NetCDF";
    info.source_description = std::to_string(g_sources.count) + " source point(s)";
    std::string why;
    const bool ok = write_netcdf_results(*path, info, &why);
    report(ok, "Saved NetCDF", *path, why);
}

void save_geojson_dialog() {
    const auto path = ask("Save stations and zones as GeoJSON",
                          {{"GeoJSON files", "*.geojson"}, {"All files", "*.*"}},
                          "tsunami_stations.geojson", "geojson");
    if (!path) return;
    std::string why;
    report(write_geojson_results(*path, &why), "Saved GeoJSON", *path, why);
}

void save_animation_dialog() {
    const int end_s = g_time_s;
    if (end_s <= 0) {
        set_status("Run the model first: the animation replays the run up to the current time.");
        platform().beep(BeepKind::Warning);
        return;
    }
    const auto path =
        ask("Save wave animation",
            {{"MP4 video", "*.mp4"}, {"GIF animation", "*.gif"}, {"All files", "*.*"}},
            "tsunami_animation.mp4", "mp4");
    if (!path) return;
    AnimationFormat format;
    if (!animation_format_for_path(*path, &format)) {
        report(false, "", *path, "an animation name must end in .mp4 or .gif: " + *path);
        return;
    }
    // The replay runs on the live globals and the saved state is moved back afterwards, so
    // the window shows exactly what it showed before.
    Simulation saved = g_sim;
    AnimationWriter writer;
    bool ok = writer.open(*path, &g_grid);
    reset_simulation(&g_grid, &g_sim);
    apply_sources_to_simulation(&g_grid, &g_sim, &g_sources);
    ok = ok && writer.add_frame(0);
    for (int t = kModelStepSeconds; ok && t <= end_s; t += kModelStepSeconds) {
        simulate_one_step(&g_grid, &g_sim, t);
        update_station_stats(&g_grid, &g_sim, t);
        if (t % kDesktopFrameEverySeconds == 0 || t == end_s) ok = writer.add_frame(t);
    }
    ok = ok && writer.finish();
    g_sim = std::move(saved);
    if (ok)
        set_status("Saved animation (%d frames, 0 to %d min): %s", writer.frames(), end_s / 60,
                   path->c_str());
    else
        set_status("Failed: %s", writer.error().c_str());
    if (!ok) platform().beep(BeepKind::Warning);
    platform().request_repaint();
}

}  // namespace kaitoro
