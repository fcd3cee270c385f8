// The "Assign forecast zone" window: opened when Shift is released after Shift-hovering station
// markers, it applies one zone id and name to the whole batch.
#pragma once

#include <vector>

#include "shell/tool_window.h"

namespace kaitoro {

inline constexpr int kZoneAssignWidth = 420;
inline constexpr int kZoneAssignHeight = 210;

enum : int {
    kZoneIdEdit = 2090,
    kZoneNameEdit = 2091,
    kZoneApply = 2092,
    kZoneCancel = 2093,
};

extern ControlWindow* g_zone_assign_hwnd;
extern const ToolWindowDef g_zone_assign_window_def;

// The controls for the current batch and its first station g_zone_assign_station_i.
std::vector<ControlSpec> zone_assign_window_controls();
// Closes any earlier window and opens one for the batch.
void zone_assign_window_open();
void zone_assign_window_destroy();
void zone_assign_window_command(ControlWindow* window, int id);

void zone_assign_window_reset_globals();

}  // namespace kaitoro
