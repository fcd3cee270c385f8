#include "export/run_exports.h"

#include <chrono>

#include "core/driver.h"
#include "export/geojson_export.h"

namespace kaitoro {

namespace {
// Runs f and adds its wall time to *seconds.
template <class F>
auto timed(double* seconds, F f) {
    const auto t0 = std::chrono::steady_clock::now();
    auto r = f();
    *seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    return r;
}
}  // namespace

bool RunExports::note(bool ok, const std::string& why) {
    if (!ok) {
        errors_ += "Error: " + why + "\n";
        failed_ = true;
    }
    return ok;
}

bool RunExports::begin(const RunExportOptions& options) {
    o_ = options;
    o_.info.snapshots = o_.snapshot_every_s > 0;
    if (!o_.netcdf.empty() &&
        note(timed(&netcdf_s_, [&] { return netcdf_.open(o_.netcdf, &g_grid, o_.info); }),
             netcdf_.error()) &&
        o_.info.snapshots)
        note(timed(&netcdf_s_, [&] { return netcdf_.add_snapshot(&g_grid, &g_sim, g_time_s); }),
             netcdf_.error());
    if (!o_.animate.empty() &&
        note(timed(&animation_s_, [&] { return animation_.open(o_.animate, &g_grid); }),
             animation_.error()))
        note(timed(&animation_s_, [&] { return animation_.add_frame(g_time_s); }),
             animation_.error());
    return !failed_;
}

bool RunExports::after_step() {
    const int t = g_time_s;
    if (netcdf_.is_open() && o_.snapshot_every_s > 0 && t % o_.snapshot_every_s == 0)
        note(timed(&netcdf_s_, [&] { return netcdf_.add_snapshot(&g_grid, &g_sim, t); }),
             netcdf_.error());
    if (animation_.is_open() && o_.frame_every_s > 0 && t % o_.frame_every_s == 0)
        note(timed(&animation_s_, [&] { return animation_.add_frame(t); }), animation_.error());
    return !failed_;
}

bool RunExports::finish() {
    if (netcdf_.is_open())
        note(timed(&netcdf_s_, [&] { return netcdf_.finish(&g_grid, &g_sim); }), netcdf_.error());
    if (animation_.is_open())
        note(timed(&animation_s_, [&] { return animation_.finish(); }), animation_.error());
    if (!o_.geojson.empty()) {
        std::string why;
        note(write_geojson_results(o_.geojson, &why), why);
    }
    return !failed_;
}

}  // namespace kaitoro
