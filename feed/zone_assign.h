// Hand assignment of forecast zones to coastal stations: the Shift-hover batch, applying a
// zone to the batch, and the CSV export of every assignment. The window itself lives in the
// desktop front end and calls these.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "feed/observation_points.h"

namespace kaitoro {

extern int g_shift_zone_assign_active;
extern std::array<std::uint8_t, kStationZoneOverrideSlots> g_shift_zone_assign_selected;
extern std::array<std::int32_t, kStationZoneOverrideSlots> g_shift_zone_assign_station_list;
extern int g_shift_zone_assign_count;
extern int g_zone_assign_station_i;  // first station of the batch shown in the window, -1

// The mouse is over station s while Shift is held; `left_button` when it was a click.
void shift_zone_assign_touch(int s, int left_button);
// Shift was released: true when the assignment window should open for the batch (and
// g_zone_assign_station_i names its first station); otherwise the batch is cleared.
bool shift_zone_assign_release();
void shift_zone_assign_clear();

// What the window shows first for station f: the zone for the id field ("%d", 67 when there
// is none) and the name ("custom_zone" when there is none).
void zone_assign_initial_fields(int f, int* zone_id, std::string* name);
// Apply: the id and name as typed. Assigns the batch, sets the status, clears the batch.
// Returns the zone id applied.
int zone_assign_apply(const char* id_text, const char* name_text);

// Writes the override table to `path`. Returns the number of rows, or -1 when the file
// cannot be created (nothing is written then).
int zone_assign_write_csv(const char* path);
// The "Export zone assignment CSV" command: save dialog, file, status, repaint.
void zone_assign_export_csv_dialog();

void zone_assign_reset_for_tests();

}  // namespace kaitoro
