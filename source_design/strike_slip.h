// The long-segment repaint at the end of a stroke: a strike-slip fault moves the sea floor as
// one segment, with lobes of opposite sign at its two ends and a weaker antisymmetric band
// along it, rather than as a row of small quadrant patterns.
#pragma once

#include <cstddef>

namespace kaitoro {

// Paints the pattern along the straight line from the stroke's first cell (x0, y0) to its last
// (x1, y1). A pure strike-slip source first drops the nodes the stroke's dabs added (from
// start_count on) and overwrites; a mixed one merges. Returns the affected cells, 0 when the
// stroke does not qualify.
int repaint_strike_slip_long_segment(int x0, int y0, int x1, int y1, float start_cursor_s,
                                     std::size_t start_count);

}  // namespace kaitoro
