#include "render/max_wave.h"

#include <algorithm>
#include <new>

#include "core/safe_file.h"
#include "core/driver.h"
#include "core/platform.h"
#include "core/status.h"
#include "render/colors.h"
#include "render/png.h"
#include "render/scene.h"
#include "render/viewport.h"

namespace kaitoro {

namespace {

int near_mark(int t, int period) {
    const int m = t % period;
    return m < period - m ? m : period - m;
}

std::uint8_t clamp_byte(double v) {
    const int i = int(v);  // truncation toward zero
    return std::uint8_t(i < 0 ? 0 : (i > 255 ? 255 : i));
}

bool valid_sea(const GridData* grid, int invert, int x, int y) {
    if (!grid->in_grid(x, y)) return false;
    const std::size_t c = std::size_t(y) * grid->nx + x;
    return !cell_is_hidden(grid, c) && !display_cell_is_land(grid, c, invert);
}

}  // namespace

int arrival_contour_class(const GridData* grid, const Simulation* sim, int invert, int x, int y) {
    if (sim->nx != grid->nx || sim->arrival_s.size() < std::size_t(grid->nx) * (grid->ny + 2) ||
        grid->land.size() != grid->cell_count() || !valid_sea(grid, invert, x, y))
        return 0;
    const int t = sim->arrival_s[sim->bordered_index(x, y)];
    if (t < 1) return 0;
    if (near_mark(t, 3600) < 31) return 3;
    if (near_mark(t, 1800) < 31) return 2;
    if (near_mark(t, 600) < 31) return 1;
    const int b = t / 600;
    // Right, left, then the next row and the previous row of the array.
    static const int kDx[4] = {1, -1, 0, 0}, kDy[4] = {0, 0, 1, -1};
    for (int k = 0; k < 4; ++k) {
        const int nx = x + kDx[k], ny = y + kDy[k];
        if (!valid_sea(grid, invert, nx, ny)) continue;
        const int tn = sim->arrival_s[sim->bordered_index(nx, ny)];
        if (tn < 1 || tn / 600 == b) continue;
        const int bn = tn / 600;
        if (b % 6 == 0 || bn % 6 == 0) return 3;
        if (b % 3 == 0 || bn % 3 == 0) return 2;
        return 1;
    }
    return 0;
}

void arrival_contour_row(const GridData* grid, const Simulation* sim, int invert, int y,
                         std::uint8_t* classes) {
    const int w = int(grid->nx), h = int(grid->ny);
    std::fill(classes, classes + std::max(w, 0), std::uint8_t(0));
    if (y < 0 || y >= h || sim->nx != grid->nx ||
        sim->arrival_s.size() < std::size_t(w) * (h + 2) || grid->land.size() != grid->cell_count())
        return;
    const bool inv = invert != 0;
    const bool have_hidden = grid->hidden.size() == grid->cell_count();
    // Sea in display terms and not hidden; rows outside the grid are never sea.
    auto sea_row = [&](int row) -> const std::uint8_t* {
        return row >= 0 && row < h ? &grid->land[std::size_t(row) * w] : nullptr;
    };
    auto hidden_row = [&](int row) -> const std::uint8_t* {
        return have_hidden && row >= 0 && row < h ? &grid->hidden[std::size_t(row) * w] : nullptr;
    };
    const std::uint8_t* land[3] = {sea_row(y - 1), sea_row(y), sea_row(y + 1)};
    const std::uint8_t* hid[3] = {hidden_row(y - 1), hidden_row(y), hidden_row(y + 1)};
    auto sea = [&](int r, int x) {
        return land[r] && (land[r][x] != 0) == inv && !(hid[r] && hid[r][x]);
    };
    // Bordered rows: grid row y is array row y + 1, with spare rows above and below.
    const std::int32_t* arr[3] = {&sim->arrival_s[std::size_t(y) * w],
                                  &sim->arrival_s[std::size_t(y + 1) * w],
                                  &sim->arrival_s[std::size_t(y + 2) * w]};
    for (int x = 0; x < w; ++x) {
        if (!sea(1, x)) continue;
        const int t = arr[1][x];
        if (t < 1) continue;
        if (near_mark(t, 3600) < 31) {
            classes[x] = 3;
            continue;
        }
        if (near_mark(t, 1800) < 31) {
            classes[x] = 2;
            continue;
        }
        if (near_mark(t, 600) < 31) {
            classes[x] = 1;
            continue;
        }
        const int b = t / 600;
        // Right, left, then the next row and the previous row of the array.
        const int nr[4] = {1, 1, 2, 0}, nx[4] = {x + 1, x - 1, x, x};
        for (int k = 0; k < 4; ++k) {
            if (nx[k] < 0 || nx[k] >= w || !sea(nr[k], nx[k])) continue;
            const int tn = arr[nr[k]][nx[k]];
            if (tn < 1 || tn / 600 == b) continue;
            const int bn = tn / 600;
            classes[x] = (b % 6 == 0 || bn % 6 == 0) ? 3 : (b % 3 == 0 || bn % 3 == 0) ? 2 : 1;
            break;
        }
    }
}

int arrival_contour_for_grid_cell(int x, int y) {
    return arrival_contour_class(&g_grid, &g_sim, g_invert_landsea_display, x, y);
}

std::uint32_t contour_blend_rgb32(std::uint32_t rgb, int contour_class) {
    if (contour_class < 1 || contour_class > 3) return rgb;
    const double r = double(rgb >> 16 & 255), g = double(rgb >> 8 & 255), b = double(rgb & 255);
    double nr, ng, nb;
    if (contour_class == 3) {  // 82 % white
        nr = r * 0.18 + 209.1;
        ng = g * 0.18 + 209.1;
        nb = b * 0.18 + 209.1;
    } else if (contour_class == 2) {  // 55 % of (245, 250, 255)
        nr = r * 0.45 + 134.75;
        ng = g * 0.45 + 137.5;
        nb = b * 0.45 + 140.25;
    } else {  // 28 % of (215, 235, 255)
        nr = r * 0.72 + 60.2;
        ng = g * 0.72 + 65.8;
        nb = b * 0.72 + 71.4;
    }
    return std::uint32_t(clamp_byte(nr + 0.5)) << 16 | std::uint32_t(clamp_byte(ng + 0.5)) << 8 |
           clamp_byte(nb + 0.5);
}

bool build_max_wave_raster(const GridData* grid, const Simulation* sim, int flip_x, int flip_y,
                           int invert, int layer_mode, std::vector<std::uint8_t>* rgb) {
    const int w = int(grid->nx), h = int(grid->ny);
    if (w <= 0 || h <= 0 || grid->land.size() != grid->cell_count()) return false;
    try {
        rgb->assign(std::size_t(w) * h * 3, 0);
    } catch (const std::bad_alloc&) {
        return false;
    }
    const bool have_max = sim->max_height.size() >= std::size_t(w) * (h + 2);
    const WaveColorScale scale = wave_color_scale_current();
    for (int row = 0; row < h; ++row) {
        const int y = flip_y ? h - 1 - row : row;
        std::uint8_t* out = rgb->data() + std::size_t(row) * w * 3;
        std::vector<std::uint8_t> classes(std::size_t(w), 0);
        if (layer_mode == 2) arrival_contour_row(grid, sim, invert, y, classes.data());
        for (int col = 0; col < w; ++col, out += 3) {
            const int x = flip_x ? w - 1 - col : col;
            const std::size_t c = std::size_t(y) * w + x;
            std::uint32_t colour;
            if (display_cell_is_land(grid, c, invert)) {
                colour = 0x24242A;
            } else if (cell_is_hidden(grid, c)) {
                colour = 0x08101C;
            } else {
                colour = 0x05142D;
                if (have_max) {
                    const float m = sim->max_height[sim->bordered_index(x, y)];
                    if (m >= kWaveVisibleM) colour = wave_color_with(scale, m);
                }
                if (layer_mode == 2) colour = contour_blend_rgb32(colour, classes[std::size_t(x)]);
            }
            out[0] = std::uint8_t(colour >> 16);
            out[1] = std::uint8_t(colour >> 8);
            out[2] = std::uint8_t(colour);
        }
    }
    return true;
}

int write_max_wave_png(const char* path) {
    std::vector<std::uint8_t> rgb;
    if (!build_max_wave_raster(&g_grid, &g_sim, g_display_flip_x, g_display_flip_y,
                               g_invert_landsea_display, g_wave_layer_mode, &rgb))
        return 0;
    return png_write_rgb24_file(path, rgb.data(), int(g_grid.nx), int(g_grid.ny));
}

void save_max_wave_png_dialog(void* window) {
    FileDialogRequest req;
    req.title = "Save max wave PNG";
    req.filters = {{"PNG image", "*.png"}, {"All files", "*.*"}};
    req.default_name = "max_wave_height.png";
    req.max_path = 260;
    req.confirm_overwrite = true;
    req.path_must_exist = true;
    const std::optional<std::string> path = platform().save_file_dialog(req);
    if (!path) return;
    const std::size_t write_mark = write_failures().size();
    if (write_max_wave_png(path->c_str()))
        set_status("Saved %s PNG: %s",
                   g_wave_layer_mode == 2 ? "max-wave + arrival-contour" : "max-wave",
                   path->c_str());
    else
        set_status("Failed to save max-wave PNG.");
    warn_write_failures_since(write_mark);
    platform().request_repaint();
}

}  // namespace kaitoro
