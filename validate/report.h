// The validation report: a Markdown page with a summary, one table per event (a row per gauge)
// and, per event and mode, a scatter figure of simulated against observed values drawn on the
// program's own canvas.
#pragma once

#include <string>
#include <vector>

#include "validate/observations.h"
#include "validate/picking.h"

namespace kaitoro {

// The two ways every event is run.
enum ValidationMode { kModeDocumented = 0, kModeTrueSpeed = 1, kModeCount = 2 };
const char* validation_mode_name(int mode);  // "documented", "true speed"
const char* validation_mode_slug(int mode);  // "documented", "true_speed"

struct GaugeResult {
    Observation obs;
    bool placed = false;
    int cell_x = -1, cell_y = -1;
    double depth_m = 0, distance_km = 0;
    GaugePicks sim[kModeCount];
};

struct EventResult {
    std::string name, file, citation, slug;
    double mw = 0;     // the table's standard Mw
    double hours = 0;  // model hours of each run
    bool ran[kModeCount] = {};
    std::vector<GaugeResult> gauges;
};

// The four comparisons: first arrival, onset at 25 %, peak time (minutes) and maximum (m).
enum Quantity { kFirstArrival = 0, kOnset25, kPeakTime, kMaxHeight, kQuantityCount };
const char* quantity_name(int q);
// Observed and simulated value of one quantity at one gauge in one mode.
ObsSim quantity_pair(const GaugeResult& g, int quantity, int mode);
PairStats event_stats(const EventResult& e, int quantity, int mode);

// The figure's file name inside the figure folder: "<slug>_<mode slug>.png".
std::string validation_figure_name(const EventResult& e, int mode);
// Draws the figure (times on the left, heights on log axes on the right, 1:1 lines) and writes
// it whole or not at all; false when it could not be written.
bool validation_write_figure(const EventResult& e, int mode, const char* path);

// The whole Markdown page. `figure_dir` is the figures' folder relative to the page;
// `command` is the command line that made it.
std::string validation_report_markdown(const std::vector<EventResult>& events,
                                       const std::string& figure_dir, const std::string& command,
                                       const std::string& observations_path);

}  // namespace kaitoro
