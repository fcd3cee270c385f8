#include "feed/zone_assign.h"

#include "core/safe_file.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/driver.h"
#include "core/platform.h"
#include "core/stations.h"
#include "core/status.h"
#include "core/text_input.h"

namespace kaitoro {

int g_shift_zone_assign_active = 0;
std::array<std::uint8_t, kStationZoneOverrideSlots> g_shift_zone_assign_selected;
std::array<std::int32_t, kStationZoneOverrideSlots> g_shift_zone_assign_station_list;
int g_shift_zone_assign_count = 0;
int g_zone_assign_station_i = -1;

namespace {

constexpr int kMaxZoneId = 999;

bool assignable(int s) {
    return s >= 0 && s < kStationZoneOverrideSlots && (std::uint32_t)s < g_grid.station_count;
}

// Cut at a character boundary, invalid bytes replaced: the name goes out in CSV and JSON.
void copy_truncated(char* dst, std::size_t size, const char* src) { utf8_copy(dst, size, src); }

}  // namespace

void shift_zone_assign_clear() {
    g_shift_zone_assign_active = 0;
    g_shift_zone_assign_selected.fill(0);
    g_shift_zone_assign_count = 0;
}

void shift_zone_assign_touch(int s, int left_button) {
    if (!assignable(s)) return;
    if (!g_shift_zone_assign_active) {
        shift_zone_assign_clear();
        g_shift_zone_assign_active = 1;
        g_shift_zone_assign_selected[std::size_t(s)] = 1;
        g_shift_zone_assign_station_list[0] = s;
        g_shift_zone_assign_count = 1;
    } else if (!g_shift_zone_assign_selected[std::size_t(s)] &&
               g_shift_zone_assign_count < kStationZoneOverrideSlots) {
        g_shift_zone_assign_selected[std::size_t(s)] = 1;
        g_shift_zone_assign_station_list[std::size_t(g_shift_zone_assign_count++)] = s;
    }
    if (left_button)
        set_status("Shift zone batch: %d station(s). Release Shift to assign all.",
                   g_shift_zone_assign_count);
}

bool shift_zone_assign_release() {
    if (g_shift_zone_assign_active && g_shift_zone_assign_count > 0) {
        g_zone_assign_station_i = g_shift_zone_assign_station_list[0];
        return true;
    }
    shift_zone_assign_clear();
    return false;
}

void zone_assign_initial_fields(int f, int* zone_id, std::string* name) {
    int zone = 0;
    if (const int o = station_zone_override_of(f))
        zone = o;
    else if (f >= 0 && (std::uint32_t)f < g_grid.station_count &&
             (std::size_t)f < g_grid.station_zone.size())
        zone = g_grid.station_zone[std::size_t(f)];
    std::string current;
    if (f >= 0 && f < kStationZoneOverrideSlots && g_station_zone_override_name[std::size_t(f)][0])
        current = g_station_zone_override_name[std::size_t(f)].data();
    else
        current = forecast_zone_name_from_id(zone);
    *zone_id = zone != 0 ? zone : kZoneOutside;
    *name = current.empty() ? "custom_zone" : current;
}

int zone_assign_apply(const char* id_text, const char* name_text) {
    char id_buf[64];
    copy_truncated(id_buf, sizeof id_buf, id_text);
    int z = std::atoi(id_buf);
    if (z <= 0) z = kZoneOutside;
    if (z > kMaxZoneId) z = kMaxZoneId;
    char name[96];
    copy_truncated(name, sizeof name, name_text);
    const char* stored = name[0] ? name : forecast_zone_name_from_id(z);

    station_zone_override_ensure_initialized();
    for (int k = 0; k < g_shift_zone_assign_count; ++k) {
        const int s = g_shift_zone_assign_station_list[std::size_t(k)];
        if (!assignable(s)) continue;
        g_station_zone_override_id[std::size_t(s)] = z;
        copy_truncated(g_station_zone_override_name[std::size_t(s)].data(), 96, stored);
        if ((std::size_t)s < g_grid.station_zone.size()) g_grid.station_zone[std::size_t(s)] = z;
        set_status("Assigned Obs #%d to zone %d: %s", s + 1, z,
                   g_station_zone_override_name[std::size_t(s)].data());
    }
    set_status("Assigned %d station(s) to zone %d: %s", g_shift_zone_assign_count, z, stored);
    shift_zone_assign_clear();
    platform().request_repaint();
    return z;
}

int zone_assign_write_csv(const char* path) {
    station_zone_override_ensure_initialized();
    std::string text =
        "\xEF\xBB\xBF"
        "station_no,grid_index,grid_x,grid_y,zone_id,zone_name\n";
    int rows = 0;
    const std::uint32_t n =
        std::min<std::uint32_t>(g_grid.station_count, kStationZoneOverrideSlots);
    for (std::uint32_t s = 0; s < n; ++s) {
        const int id = g_station_zone_override_id[s];
        if (id <= 0) continue;
        int cell = -1, x = -1, y = -1;
        if (s < g_grid.station_cell.size() && g_grid.station_cell[s] >= 0 && g_grid.nx > 0) {
            cell = g_grid.station_cell[s];
            x = cell % int(g_grid.nx);
            y = cell / int(g_grid.nx);
        }
        char head[96];
        std::snprintf(head, sizeof head, "%u,%d,%d,%d,%d,", s + 1, cell, x, y, id);
        text += head;
        // Names are kept as UTF-8 throughout, so they go out byte for byte.
        text += '"';
        for (const char* p = g_station_zone_override_name[s].data(); *p; ++p) {
            if (*p == '"') text += '"';
            text += *p;
        }
        text += "\"\n";
        ++rows;
    }
    SafeFile out(path);
    if (!out) return -1;
    const bool ok = std::fwrite(text.data(), 1, text.size(), out.get()) == text.size();
    if (!ok || !out.commit()) return -1;
    return rows;
}

void zone_assign_export_csv_dialog() {
    FileDialogRequest req;
    req.title = "Export temporary zone assignments";
    req.filters = {{"Zone assignment CSV", "*.csv"}};
    req.default_name = "zone_assignments.csv";
    req.default_extension = "csv";
    req.confirm_overwrite = true;
    const auto path = platform().save_file_dialog(req);
    if (!path) return;
    const std::size_t write_mark = write_failures().size();
    warn_write_failures_since(write_mark);
    const int rows = zone_assign_write_csv(path->c_str());
    if (rows < 0) {
        set_status("Failed to export zone assignments.");
        return;
    }
    set_status("Exported %d zone assignment row(s): %s", rows, path->c_str());
    platform().request_repaint();
}

void zone_assign_reset_for_tests() {
    g_shift_zone_assign_active = 0;
    g_shift_zone_assign_selected.fill(0);
    g_shift_zone_assign_station_list.fill(0);
    g_shift_zone_assign_count = 0;
    g_zone_assign_station_i = -1;
}

}  // namespace kaitoro
