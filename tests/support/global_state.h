// Puts every global of the program back to its start-up value, so tests never depend on
// the order they run in.
#pragma once

#include "core/grid.h"

namespace kaitoro::testing {

void reset_all_globals();
// reset_all_globals, then installs `grid` as g_grid and creates g_sim for it.
void install_grid(GridData grid);

}  // namespace kaitoro::testing
