// The exports a headless run takes while it runs: NetCDF snapshots and animation frames at
// their model-time intervals, then the grids, stations and GeoJSON at the end. The run loop
// calls run_exports_after_step once per model step and nothing else.
#pragma once

#include <string>

#include "export/animation.h"
#include "export/netcdf_export.h"

namespace kaitoro {

struct RunExportOptions {
    std::string netcdf;        // empty: none
    std::string geojson;       // empty: none
    std::string animate;       // .mp4 or .gif; empty: none
    int snapshot_every_s = 0;  // 0: no eta snapshots
    int frame_every_s = 300;
    NetcdfRunInfo info;  // history and source description for the NetCDF file
};

class RunExports {
  public:
    // Opens the writers and takes the time-0 snapshot and frame.
    bool begin(const RunExportOptions& options);
    // Takes a snapshot or a frame when g_time_s reached one of their times.
    bool after_step();
    // Closes everything; the files appear now or not at all.
    bool finish();
    // Each failure, naming its file, one per line.
    const std::string& errors() const { return errors_; }
    int frames() const { return animation_.frames(); }
    // Wall time the run spent in each writer (for the NetCDF file: snapshots and the final
    // write; for the animation: drawing, piping and waiting for the encoder).
    double netcdf_seconds() const { return netcdf_s_; }
    double animation_seconds() const { return animation_s_; }

  private:
    bool note(bool ok, const std::string& why);
    RunExportOptions o_;
    NetcdfWriter netcdf_;
    AnimationWriter animation_;
    std::string errors_;
    bool failed_ = false;
    double netcdf_s_ = 0, animation_s_ = 0;
};

}  // namespace kaitoro
