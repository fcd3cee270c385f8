// Arrival contours and the max-wave image of the whole grid.
#pragma once

#include <cstdint>
#include <vector>

#include "core/grid.h"
#include "core/solver.h"

namespace kaitoro {

inline constexpr float kWaveVisibleM = 0.002f;  // heights below this keep the base colour

// Contour class of a cell of g_grid / g_sim: 0 none, 1 ten-minute, 2 half-hour, 3 hour line.
int arrival_contour_for_grid_cell(int x, int y);
// The same for any grid, simulation and land/sea inversion.
int arrival_contour_class(const GridData* grid, const Simulation* sim, int invert, int x, int y);
// The classes of every cell of grid row y (nx entries), as arrival_contour_class gives them.
void arrival_contour_row(const GridData* grid, const Simulation* sim, int invert, int y,
                         std::uint8_t* classes);
// A colour lightened by its contour class (class 0 leaves it unchanged).
std::uint32_t contour_blend_rgb32(std::uint32_t rgb, int contour_class);

// True when a cell counts as land on the map: the land mask, swapped by the inversion.
inline bool display_cell_is_land(const GridData* grid, std::size_t cell, int invert) {
    return (grid->land[cell] != 0) != (invert != 0);
}
inline bool cell_is_hidden(const GridData* grid, std::size_t cell) {
    return !grid->hidden.empty() && grid->hidden[cell] != 0;
}

// The max-wave raster (RGB24, grid width x height, display orientation). False when memory
// runs out or there is no grid.
bool build_max_wave_raster(const GridData* grid, const Simulation* sim, int flip_x, int flip_y,
                           int invert, int layer_mode, std::vector<std::uint8_t>* rgb);

// The max-wave image of g_grid / g_sim with the current display settings. 1 on success.
int write_max_wave_png(const char* path);
// The save command (key O): file dialog, image, status line, repaint.
void save_max_wave_png_dialog(void* window);

}  // namespace kaitoro
