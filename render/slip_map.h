// The finite-fault slip map: a report-style 1700 x 980 PNG of the current fault patches, with
// a smoothed map view, an interpolated fault-plane view, a colour bar and summary texts.
#pragma once

#include <cstdint>
#include <vector>

#include "render/canvas.h"

namespace kaitoro {

// One (fault id, patch id) group of source points.
struct SlipPatch {
    std::int32_t fault_id = 0;
    std::int32_t patch_id = 0;
    std::int32_t count = 0;
    float sum_x = 0, sum_y = 0;  // grid cells
    float slip_sum = 0;          // sum of |slip|, metres
    std::int32_t min_delay_s = 0;
    float strike_deg = 0;
    float dip_deg = 0;  // 5..60
    float depth_km = 0;
    float width_km = 0;   // 1..800
    float length_km = 0;  // 5..600

    float cx() const { return sum_x / float(count); }
    float cy() const { return sum_y / float(count); }
    float mean_slip() const { return slip_sum / float(count); }
};

// Everything the picture is laid out from.
struct SlipMapModel {
    std::vector<SlipPatch> patches;
    float max_slip_m = 0.01f;                       // largest |slip| of the points, at least 0.01
    double xmin = 0, xmax = 0, ymin = 0, ymax = 0;  // map extent, grid cells
    double span_x = 1, span_y = 1;
    double epicenter_x = 0, epicenter_y = 0;  // grid cells
};

// Slip colour scale, t in [0, 1], packed 0xRRGGBB.
std::uint32_t finite_fault_usgs_slip_rgb(float t);

// Groups the qualifying source points of g_sources; false when there is none.
bool slip_map_collect(SlipMapModel* model);
// Map extent and epicentre of the collected patches.
void slip_map_layout(SlipMapModel* model);
// Draws the whole picture onto a 1700 x 980 canvas.
void slip_map_draw(const SlipMapModel& model, Rgb24Canvas* canvas);

// Window pixel of a grid point in the map panel.
void slip_map_panel_pixel(const SlipMapModel& model, double gx, double gy, int* px, int* py);

// Builds and writes the image. 1 on success; 0 when there is no qualifying source point,
// memory runs out or the file cannot be written.
int write_finite_fault_usgs_png(const char* path);
// The save command: file dialog, image, status line.
void save_finite_fault_usgs_png_dialog(void* window);

}  // namespace kaitoro
