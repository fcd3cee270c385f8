// The ensemble runner: every scenario of a table in its own process (the program's state is
// global, one scenario per process), several at a time, each writing its result to the store.
// The same path runs a laptop's batch and each task of a cluster job array.
#pragma once

#include <string>
#include <vector>

#include "batch/result_store.h"
#include "batch/scenario.h"

namespace kaitoro {

struct BatchPlan {
    std::string exe;  // this program, run as `exe run-scenario TABLE --id ID --db DB --grid G`
    std::string table, db, grid;
    int jobs = 1;
    int slice_index = 0, slice_count = 1;  // this process runs rows k with k % count == index
    bool retry_failed = false;
    bool progress_tty = false;  // a rewritten progress line instead of one line per scenario
};

struct BatchCounts {
    int selected = 0;  // rows of this slice
    int skipped = 0;   // already in the store with the same parameters
    int done = 0, failed = 0;
    bool interrupted = false;
};

// The rows of `table` this plan runs, in table order, after the store's finished ones.
std::vector<const Scenario*> batch_pending(const BatchPlan& plan, const ScenarioTable& table,
                                           ResultStore* store, BatchCounts* counts);

// Runs them; a scenario whose process fails is recorded as failed with the last lines it
// printed, and the rest go on. SIGINT or SIGTERM stops launching, passes SIGTERM on and
// waits for the running ones: whatever had not finished is simply run by the next batch.
// False only when the store cannot be written or no process can be started.
bool batch_run(const BatchPlan& plan, const std::vector<const Scenario*>& pending,
               ResultStore* store, BatchCounts* counts, std::string* error);

// The record of a scenario that could not produce a result.
ScenarioRecord scenario_failure_record(const Scenario& s, const std::string& error);
// The parameter columns every record of `s` carries.
void scenario_fill_record(const Scenario& s, ScenarioRecord* r);

}  // namespace kaitoro
