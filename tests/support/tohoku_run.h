// The real workload: the bundled grid with the bundled Tohoku-like finite fault, placed the
// way `kaitoro-cli run --quick-ff data/examples/tohoku2011_like_ff.csv --epicenter 38.10,142.86
// --strike 193` places it.
#pragma once

namespace kaitoro::testing {

// Resets every global, starts the program on the bundled grid and places the fault: g_grid,
// g_sim and g_sources are ready at model time 0. Returns false when a step fails.
bool start_tohoku_like_run();

}  // namespace kaitoro::testing
