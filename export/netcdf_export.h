// CF-1.8 NetCDF-4 results: the max-height, arrival, depth and land grids on the model's
// Mercator cells, optional sea-surface snapshots during the run, and the stations as a
// discrete-sampling-geometry timeSeries with the recorded series of the picked stations.
//
// The file is built under "<path>.partial" and renamed over the target only when every
// write and the close succeeded, so readers never see half a file.
#pragma once

#include <string>

#include "core/grid.h"
#include "core/solver.h"

namespace kaitoro {

inline constexpr float kNetcdfFloatFill = -9999.0f;
inline constexpr int kNetcdfIntFill = -1;

struct NetcdfRunInfo {
    std::string history;             // the command line (or the desktop command) that made it
    std::string source_description;  // what the source was built from
    bool snapshots = false;          // defines eta(time, y, x)
};

class NetcdfWriter {
  public:
    NetcdfWriter() = default;
    ~NetcdfWriter();  // without a successful finish the partial file is removed
    NetcdfWriter(const NetcdfWriter&) = delete;
    NetcdfWriter& operator=(const NetcdfWriter&) = delete;

    // Creates the partial file and defines every variable for this grid.
    bool open(const std::string& path, const GridData* grid, const NetcdfRunInfo& info);
    bool is_open() const { return ncid_ >= 0; }
    // Appends one eta snapshot (the displayed sea-surface height) at model time t_s.
    bool add_snapshot(const GridData* grid, const Simulation* sim, int t_s);
    // Writes the grids, the station results and the recorded series; closes and renames.
    bool finish(const GridData* grid, const Simulation* sim);
    // What failed, naming the file.
    const std::string& error() const { return error_; }

  private:
    bool check(int status, const char* what);
    void abandon();

    int ncid_ = -1;
    std::string path_, partial_, error_;
    std::size_t snapshots_ = 0, stations_ = 0;
    int var_time_ = -1, var_eta_ = -1;
};

// The whole file in one call (no snapshots): what the desktop export writes. Returns false
// with the reason in *error.
bool write_netcdf_results(const std::string& path, const NetcdfRunInfo& info, std::string* error);

}  // namespace kaitoro
