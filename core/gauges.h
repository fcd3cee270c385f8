// Virtual gauges: the sea-surface height at chosen points, recorded every model step, so an
// offshore instrument (a DART buoy, a GPS buoy, a cabled pressure gauge) or a tide gauge can be
// compared with the model like with like. A gauge sits on the sea (non-solid) cell nearest to
// its point; where that is, and how far from the point, is part of the result.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/grid.h"
#include "core/solver.h"

namespace kaitoro {

struct Gauge {
    std::string name;
    double lat_deg = 0, lon_deg = 0;  // the point asked for
    int cell_x = -1, cell_y = -1;     // the sea cell it records, -1 when none was found
    double cell_lat_deg = 0, cell_lon_deg = 0;
    double distance_km = 0;      // point to cell centre, along the great circle
    std::vector<float> level_m;  // one sample per recorded time
};

struct GaugeSet {
    std::vector<Gauge> gauges;
    std::vector<std::int32_t> time_s;  // the recorded model times, shared by every gauge
};

extern GaugeSet g_gauges;

// The search for a sea cell stops this many cells from the point's own cell.
inline constexpr int kGaugeSearchCells = 40;

// "NAME,LAT,LON": the name is everything before the last two commas. False with a reason when
// the name is empty or holds a quote or control character, or a coordinate is no finite number
// in degrees.
bool gauge_parse_spec(const std::string& text, Gauge* out, std::string* why);
// A gauge list file: one NAME,LAT,LON per line; blank lines, '#' comments, a UTF-8 byte-order
// mark, CRLF and a header line starting "name," are accepted. False when the file cannot be
// read; each bad line is listed in `rejected` as "line N: reason".
bool gauges_load_csv(const char* path, std::vector<Gauge>* out, std::vector<std::string>* rejected,
                     std::string* error);

// Great-circle distance in km on the program's sphere (6371.009 km).
double gauge_distance_km(double lat1, double lon1, double lat2, double lon2);
// Puts the gauge on the nearest non-solid cell within kGaugeSearchCells of its point; false
// (cell -1) when there is none, for instance a point far outside the grid.
bool gauge_place(Gauge* gauge, const GridData& grid);

// Empties every gauge's record and the shared times (the gauges stay).
void gauges_reset_records(GaugeSet* set);
// Appends one sample per gauge: the wave height of its cell at `time_s` (0 for an unplaced
// gauge). A second call at the same time replaces that sample.
void gauges_record(GaugeSet* set, const Simulation& sim, std::int32_t time_s);

// The series as CSV: "time_s,NAME,..." then one line per recorded time, heights in metres with
// four decimals. Written whole or not at all; false when it could not be written.
bool gauges_write_csv(const GaugeSet& set, const char* path);
// Where each gauge sits: name, the point, the cell and its depth, the distance, the model's
// arrival stamp of that cell (s, empty when none) and the record's maximum. Whole or nothing.
bool gauges_write_cells_csv(const GaugeSet& set, const GridData& grid,
                            const std::vector<std::int32_t>& bordered_arrival_s, const char* path);

// A name as a CSV field: quoted (inner quotes doubled) when it holds a comma or a quote.
std::string gauge_csv_field(const std::string& name);

}  // namespace kaitoro
