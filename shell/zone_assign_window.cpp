#include "shell/zone_assign_window.h"

#include <cstdio>
#include <string>

#include "core/platform.h"
#include "core/stations.h"
#include "feed/zone_assign.h"
#include "shell/settings.h"

namespace kaitoro {

ControlWindow* g_zone_assign_hwnd = nullptr;

// The close box only closes: the batch stays until the next Shift release or a new batch.
static void zone_close_box(ControlWindow* w) {
    w->destroy_window();
}
static void zone_destroyed(ControlWindow* w) {
    if (g_zone_assign_hwnd == w) g_zone_assign_hwnd = nullptr;
}

const ToolWindowDef g_zone_assign_window_def = {
    "TsunamiZoneAssignWindow",
    "Assign forecast zone",
    kZoneAssignWidth,
    kZoneAssignHeight,
    zone_assign_window_command,
    nullptr,
    nullptr,
    zone_close_box,
    zone_destroyed,
};

std::vector<ControlSpec> zone_assign_window_controls() {
    const int f = g_zone_assign_station_i;
    int zone = 0;
    std::string name;
    zone_assign_initial_fields(f, &zone, &name);
    int gx = -1, gy = -1, sx = -1, sy = -1;
    if (!get_station_info(f, &gx, &gy, &sx, &sy, nullptr, nullptr, nullptr, nullptr, nullptr))
        gx = gy = sx = sy = -1;
    char target[96], cells[96];
    std::snprintf(target, sizeof target, "Target: %d station(s), first Obs #%d",
                  g_shift_zone_assign_count, f + 1);
    std::snprintf(cells, sizeof cells, "first grid %d,%d  sample %d,%d", gx, gy, sx, sy);
    return {
        {0, ControlKind::Label, target, 16, 12, 380, 24},
        {0, ControlKind::Label, cells, 16, 38, 380, 24},
        {0, ControlKind::Label, "Zone id", 16, 68, 80, 24},
        {kZoneIdEdit, ControlKind::Edit, std::to_string(zone), 100, 66, 80, 24},
        {0, ControlKind::Label, "Zone name", 16, 102, 80, 24},
        {kZoneNameEdit, ControlKind::Edit, name, 100, 100, 280, 24},
        {kZoneApply, ControlKind::Button, "Apply", 100, 142, 110, 28},
        {kZoneCancel, ControlKind::Button, "Cancel", 225, 142, 110, 28},
    };
}

void zone_assign_window_open() {
    zone_assign_window_destroy();
    ControlWindow* w = shell_create_tool_window(&g_zone_assign_window_def);
    if (!w) return;
    g_zone_assign_hwnd = w;
    w->set_controls(zone_assign_window_controls());
}

void zone_assign_window_destroy() {
    if (g_zone_assign_hwnd) g_zone_assign_hwnd->destroy_window();
    g_zone_assign_hwnd = nullptr;
}

void zone_assign_window_command(ControlWindow* w, int id) {
    if (id == kZoneApply) {
        zone_assign_apply(w->control_text(kZoneIdEdit).c_str(),
                          w->control_text(kZoneNameEdit).c_str());
        settings_refresh();
        platform().request_repaint();
    } else if (id == kZoneCancel) {
        shift_zone_assign_clear();
    } else {
        return;
    }
    w->destroy_window();
}

void zone_assign_window_reset_globals() {
    g_zone_assign_hwnd = nullptr;
}

}  // namespace kaitoro
