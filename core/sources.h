// Source points (initial sea-surface displacements) and the source CSV reader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/grid.h"
#include "core/solver.h"

namespace kaitoro {

inline constexpr float kSourceZeroEps = 0.0005f;  // magnitudes below this count as zero

struct SourcePoint {
    std::int32_t grid_x = 0;
    std::int32_t grid_y = 0;
    float height_m = 0;
    float slip_m = 0;
    float dip_deg = 0;
    float moment_area_factor = 1;
    std::int32_t fault_id = 0;
    std::int32_t patch_id = 0;
    float strike_deg = 0;
    float depth_km = 0;
    float width_km = 0;
    float length_km = 0;
    std::int32_t delay_s = 0;
};

// A growable list with the documented growth (64 on the first append, then doubling):
// `items` always holds `capacity` elements, of which the first `count` are in use.
struct SourceList {
    std::vector<SourcePoint> items;
    std::size_t count = 0;
    std::size_t capacity = 0;

    SourcePoint& operator[](std::size_t i) { return items[i]; }
    const SourcePoint& operator[](std::size_t i) const { return items[i]; }
};

extern SourceList g_sources;

void source_list_append(SourceList* list, int x, int y, float height_m, int delay_s);
void source_list_clear(SourceList* list);
void source_list_free(SourceList* list);

// Slip normalisation: subsidence gets 0, everything else |slip| (0 below 0.0005).
void source_point_normalize_slip(SourcePoint* p);
void normalize_source_slips(SourceList* list);

bool parse_source_csv_line(const char* line, int* x, int* y, float* height_m, int* delay_s);
int load_sources_csv(SourceList* list, const char* path);

void apply_sources_to_simulation(const GridData* grid, Simulation* sim, const SourceList* list);
void add_source_grid(const GridData* grid, Simulation* sim, int x, int y, float height_m,
                     int delay_s);

// The "Load source CSV" command.
void load_source_csv_dialog(void* window);
// The command after its dialog, also what kaitoro-cli --sources runs, so both read a file the
// same way: a fault table (by its header), or source points that take the current fault
// metadata, then the whole-source reset and the status line. Returns the number of source
// points added, or -1 when the file cannot be opened.
long load_source_csv_file(const char* path);

// Source design lives above the core; when linked in it fills these, and the command uses
// them for its undo step, the fault metadata of new points and the whole-source reset.
// Unset, the command keeps no undo step, leaves new points as appended, and resets the run
// with driver_reset_run.
extern void (*g_source_undo_push_hook)(const char* label);
extern void (*g_source_apply_metadata_hook)(SourcePoint* point);
extern void (*g_reset_state_preserve_sources_hook)();
// The load dialog also takes fault tables (recognised by their header line); when linked in,
// this loads one and returns true, or returns false for any other file.
extern bool (*g_fault_table_load_hook)(const char* path);

}  // namespace kaitoro
