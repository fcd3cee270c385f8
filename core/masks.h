// Visible land mask, solver solid mask, per-cell land overrides and the strait tests.
#pragma once

#include "core/grid.h"

namespace kaitoro {

struct Simulation;

void rebuild_land_mask_from_coast_stations(GridData* grid);
void rebuild_solid_mask(GridData* grid);

void set_land_override(GridData* grid, int x, int y, int mode);
void clear_land_overrides(GridData* grid);
int count_land_overrides(const GridData* grid);
int save_land_override_csv(const char* path, const GridData* grid);
int load_land_override_csv(GridData* grid, const char* path);

// Solid test in solver coordinates (grid coordinates + pad). True outside the solver domain.
bool solver_solid_at_or_outside(const GridData* grid, const Simulation* sim, int sx, int sy);
// The same test with the solver geometry given directly (pad, snx, sny), for code that
// precomputes it before a Simulation exists.
bool solver_solid_at_or_outside_geom(const GridData* grid, int pad, int snx, int sny, int sx,
                                     int sy);

bool visible_cell_is_strait_transmission_zone(const GridData* grid, int pad, int sx, int sy);
bool diagonal_move_crosses_strait_transmission_zone(const GridData* grid, const Simulation* sim,
                                                    int sx, int sy, int dx, int dy);

}  // namespace kaitoro
