// Finite-fault cells and placed patches as tests set them up by hand.
#pragma once

#include "core/sources.h"
#include "quick_ff/ff_grid.h"

namespace kaitoro::testing {

// One cell of the finite-fault grid; a positive slip enables it.
inline void set_quick_ff_cell(int r, int c, float slip, int delay, float dip = 15) {
    QuickFfCell& cell = *quick_ff_cell_at(r, c);
    cell.slip_m = slip;
    cell.delay_s = delay;
    cell.dip_deg = dip;
    cell.enabled = slip > 0;
}

// A 5 x 5 square of source points around (x, y) carrying one fault and patch id, depth 20 km.
inline void add_fault_patch(int fault, int patch, int x, int y, float slip, int delay,
                            float dip = 15, float strike = 0, float width = 20, float length = 40) {
    for (int dy = -2; dy <= 2; ++dy)
        for (int dx = -2; dx <= 2; ++dx) {
            source_list_append(&g_sources, x + dx, y + dy, 1.0f, delay);
            SourcePoint& p = g_sources[g_sources.count - 1];
            p.slip_m = slip;
            p.fault_id = fault;
            p.patch_id = patch;
            p.dip_deg = dip;
            p.strike_deg = strike;
            p.width_km = width;
            p.length_km = length;
            p.depth_km = 20;
        }
}

}  // namespace kaitoro::testing
