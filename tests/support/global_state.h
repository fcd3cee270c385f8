// Puts every global of the program back to its start-up value, so tests never depend on
// the order they run in.
#pragma once

#include <string>

#include "core/grid.h"

namespace kaitoro::testing {

void reset_all_globals();
// reset_all_globals, then installs `grid` as g_grid and creates g_sim for it.
void install_grid(GridData grid);
// Starts the program as "kaitoro <grid_path>" would; driver_startup's result.
int start_program(const std::string& grid_path);

}  // namespace kaitoro::testing
