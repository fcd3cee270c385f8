// One scenario in this process: its dislocation source on the loaded grid, the model run for
// its hours, and the station and forecast-zone results the store keeps.
#pragma once

#include <string>

#include "batch/result_store.h"
#include "batch/scenario.h"

namespace kaitoro {

// Needs the grid started. Fills `out` (status "done", solver_s, Mw from the source's standard
// moment, the stations of the station table and the zones 1..66, 68..93); false with `error`
// when the scenario puts nothing into the sea or its fault file cannot be read.
bool scenario_run_loaded(const Scenario& s, ScenarioRecord* out, std::string* error);

}  // namespace kaitoro
