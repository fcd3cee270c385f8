// A deliberately plain transcription of the wave step: every neighbour asks the mask and depth
// rules afresh, nothing is cached. Slow; it exists so the optimised step has something
// independent to be compared against.
#pragma once

#include "core/grid.h"
#include "core/solver.h"

namespace kaitoro::testing {

void reference_simulate_one_step(const GridData* grid, Simulation* sim, int t_s);

}  // namespace kaitoro::testing
