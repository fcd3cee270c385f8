// The source cell model: the design settings, how slip, dip, depth and width become a sea-surface
// height, the three cell operations every editing tool writes through, and the seismic moment.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/geo.h"
#include "core/sources.h"

namespace kaitoro {

// --- Design settings (edited by keys and the settings window, carried in presets) ------------

extern float g_new_source_height_m;    // 1.0: the slip input in metres, not a height
extern int g_new_source_delay_s;       // 15: base delay added to the rupture delay cursor
extern float g_fault_dip_deg;          // 15: clamped to [5, 60] on every use
extern float g_source_depth_km;        // 20: top of the fault plane; [0, 700] on use
extern float g_fault_width_km;         // 20: down-dip width; sanitised on use, stored back
extern float g_subsidence_ratio;       // 0.45: subsidence lobes relative to the uplift
extern int g_subsidence_side;          // 1: +1 right of strike, -1 left
extern float g_strike_slip_mix;        // 0: strike-slip fraction 0..1
extern int g_strike_slip_sense;        // 1: +1 or -1
extern int g_source_profile_mode;      // 1 curved reverse-fault, 0 flat brush
extern float g_fault_strike_deg;       // 0: clockwise from grid north (+y)
extern int g_active_stamp_fault_id;    // -1, or the fault group a placement is painting
extern int g_active_stamp_patch_id;    // 0
extern float g_fault_stamp_length_km;  // 40

inline constexpr float kCellKmAtRow270 = 4.63344f;    // the calibrated centre cell size
inline constexpr double kRigidityPa = 30000001024.0;  // 3.0e10 as the float the moment uses

// Nearest integer, halves away from zero, saturating at the int range (NaN gives 0).
int round_half_away(double v);
// v brought into [0, 360).
double wrap_degrees_360(double v);

// Effective values of the settings, with the limits every reader applies.
float clamped_fault_dip_deg();     // [5, 60]; anything not at least 5 (NaN too) reads as 5
float clamped_source_depth_km();   // [0, 700]; negative (or NaN) reads as 0
float fault_width_km_sanitized();  // non-finite -> 20, [1, 800]; written back
float thrust_share();              // clamp(1 - mix, 0, 1)
float strike_slip_share();         // clamp(mix, 0, 1)
// sin and cos of a dip with the same limits; `cos_dip_floor` is cos raised to at least 0.25,
// the form every divisor uses.
double dip_sin(double dip_deg);
double dip_cos_floor(double dip_deg);
// A node's own dip when it is finite and within [5, 60], else the clamped global dip.
float node_dip_or_global(const SourcePoint& p);
// A node's area factor when finite and strictly inside (0.01, 100), else 1 / cos(dip) floored.
float node_area_factor_or_default(const SourcePoint& p, float dip_deg);

// --- Shared physics ---------------------------------------------------------------------------

float thrust_tsunami_depth_factor_at_km(float depth_km);
// The strike-slip part fades below 10 km: min(1, exp(-0.07489331 (z - 10))) for z > 10, else 1.
float strike_slip_depth_decay(float depth_km);
float fault_width_radius_cells_at_y(float y);
int fault_width_radius_cells_int_at_y();
int set_fault_width_km_value(float w);
float fault_plane_cell_depth_km(int x0, int y0, int x, int y, float dx, float dy,
                                float offset_cells);
float preset_recompute_height_from_slip_depth(float slip, float dip_deg, float depth_km);
// The peak height shown in status lines: the rule above with the slip input taken as it is (no
// absolute value, no cut-offs), the global dip and the source depth.
float source_peak_height_estimate_m();

// --- Cell operations (return 1 when the list or the simulation mirror changed) --------------

void source_apply_current_fault_metadata(SourcePoint* node);
int set_source_cell_height(int x, int y, float height_m, int delay_s);
int set_source_cell_height_force(int x, int y, float height_m, int delay_s);
int set_source_cell_footprint_only(int x, int y, int delay_s);

// --- Moment ---------------------------------------------------------------------------------

float current_source_moment_horizontal_area_km2();
double current_seismic_moment_nm();
float moment_magnitude_from_m0(double m0);  // (log10(M0) - 9.1) * 2/3, 0 when M0 <= 0
float current_moment_magnitude();
const char* subsidence_side_name();

// --- Cell-to-node index -------------------------------------------------------------------
//
// Every cell write looks for "the node at this cell", and the first node in list order wins.
// Scanning the list per cell makes a large dab over a large source quadratic, so a per-cell
// index holds the lowest node index at each cell. Any module may append to, clear or edit
// g_sources directly; the index notices by comparing its per-node record of cells with the list
// (cheap next to a dab) and re-indexes from the first difference, so it can never go stale.

struct SourceCellIndex {
    std::uint32_t nx = 0, ny = 0;
    std::vector<std::int32_t> first_node;  // per grid cell: lowest node index there, or -1
    std::vector<std::int32_t> node_cell;   // per indexed node: its cell, or -1 off the grid
};
extern SourceCellIndex g_source_cell_index;

void source_cell_index_sync();
void source_cell_index_free();
// Lowest index of a node at (x, y), or -1 (also off the grid). Syncs first.
long source_find_node_at(int x, int y);

// Puts every setting above back to its start value and drops the index.
void source_cell_reset_globals();

// The cell operations without the index check, for tools that have synced once and then
// write many cells (a dab, a repaint).
namespace source_cell_detail {
int set_height(int x, int y, float height_m, int delay_s);
int set_height_force(int x, int y, float height_m, int delay_s);
int footprint_only(int x, int y, int delay_s);
}  // namespace source_cell_detail

}  // namespace kaitoro
