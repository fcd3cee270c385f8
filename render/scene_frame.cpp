// Pixel work of the scene: the cached base map and the frame with the wave layer.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "render/colors.h"
#include "render/max_wave.h"
#include "render/scene.h"

namespace kaitoro {

namespace {

constexpr std::uint32_t kSeaFlat = 0x112C58;  // (17, 44, 88)
constexpr std::uint32_t kSeaNegative =
    0x1A7C56;  // (26, 124, 86): water forced onto a cell above sea level
constexpr std::uint32_t kCoast = 0xD6C474;  // (214, 196, 116)
constexpr std::uint32_t kLand = 0xB2A25E;   // (178, 162, 94)

std::uint32_t bathymetry_rgb(float d) {
    if (d < 0.0f) return kSeaNegative;
    const float f = std::min(d, 7000.0f) / 7000.0f;
    auto ch = [](float v) { return std::uint32_t(std::clamp(int(v), 0, 255)); };
    return ch((1.0f - f) * 18.0f + 8.0f) << 16 | ch((1.0f - f) * 82.0f + 42.0f) << 8 |
           ch(f * 128.0f + 86.0f);
}

std::uint32_t blend_rgb(std::uint32_t base, std::uint32_t wave, float alpha) {
    if (alpha >= 0.999f) return wave;
    const float keep = 1.0f - alpha;
    auto ch = [&](int shift) {
        const float v =
            float(base >> shift & 255) * keep + float(wave >> shift & 255) * alpha + 0.5f;
        return std::uint32_t(std::clamp(int(v), 0, 255)) << shift;
    };
    return ch(16) | ch(8) | ch(0);
}

}  // namespace

void build_base_map(const GridData* grid, int flip_x, int flip_y, int bathymetry, int invert,
                    std::uint32_t* out) {
    const int w = int(grid->nx), h = int(grid->ny);
    if (w <= 0 || h <= 0 || grid->land.size() != grid->cell_count()) return;
    const bool inv = invert != 0;
    auto is_land = [&](int x, int y) { return (grid->land[std::size_t(y) * w + x] != 0) != inv; };
    for (int y = 0; y < h; ++y) {
        const int row = flip_y ? h - 1 - y : y;
        std::uint32_t* line = out + std::size_t(row) * w;
        for (int x = 0; x < w; ++x) {
            const std::size_t c = std::size_t(y) * w + x;
            std::uint32_t colour;
            if (!is_land(x, y)) {
                colour = bathymetry ? bathymetry_rgb(grid->depth_m[c]) : kSeaFlat;
            } else {
                const bool coast =
                    (x > 0 && !is_land(x - 1, y)) || (x + 1 < w && !is_land(x + 1, y)) ||
                    (y > 0 && !is_land(x, y - 1)) || (y + 1 < h && !is_land(x, y + 1));
                colour = coast ? kCoast : kLand;
            }
            line[flip_x ? w - 1 - x : x] = colour;
        }
    }
}

void build_frame(const GridData* grid, const Simulation* sim, const std::uint32_t* base, int flip_x,
                 int flip_y, int invert, int transmit_mode, int layer_mode, float alpha,
                 std::uint32_t* out) {
    const int w = int(grid->nx), h = int(grid->ny);
    if (w <= 0 || h <= 0) return;
    std::memcpy(out, base, std::size_t(w) * h * sizeof(std::uint32_t));
    if (transmit_mode || !(alpha > 0.001f) || grid->land.size() != grid->cell_count()) return;
    const std::size_t bordered = std::size_t(w) * (h + 2);
    const bool live = layer_mode == 0;
    const std::vector<float>& field = live ? current_height(*sim) : sim->max_height;
    const bool have_field = sim->nx == grid->nx && field.size() >= bordered;
    if (!have_field && layer_mode != 2) return;
    const bool inv = invert != 0;
    const bool have_hidden = grid->hidden.size() == grid->cell_count();
    const bool opaque = alpha >= 0.999f;
    const WaveColorScale scale = wave_color_scale_current();
    for (int y = 0; y < h; ++y) {
        const int row = flip_y ? h - 1 - y : y;
        std::uint32_t* line = out + std::size_t(row) * w;
        const std::uint8_t* land = &grid->land[std::size_t(y) * w];
        const std::uint8_t* hidden = have_hidden ? &grid->hidden[std::size_t(y) * w] : nullptr;
        const float* values = have_field ? &field[std::size_t(y + 1) * w] : nullptr;
        std::vector<std::uint8_t> classes;
        if (layer_mode == 2) {
            classes.assign(std::size_t(w), 0);
            arrival_contour_row(grid, sim, invert, y, classes.data());
        }
        std::uint32_t* dst = flip_x ? line + (w - 1) : line;
        const std::ptrdiff_t step = flip_x ? -1 : 1;
        if (opaque && layer_mode != 2) {
            // The common case, kept lean: an opaque overlay of one field.
            for (int x = 0; x < w; ++x, dst += step) {
                if ((land[x] != 0) != inv || (hidden && hidden[x])) continue;
                const float v = values[x];
                if (live ? std::fabs(v) >= kWaveVisibleM : v >= kWaveVisibleM)
                    *dst = wave_color_with(scale, v);
            }
            continue;
        }
        for (int x = 0; x < w; ++x, dst += step) {
            if ((land[x] != 0) != inv || (hidden && hidden[x])) continue;
            std::uint32_t& px = *dst;
            bool coloured = false;
            std::uint32_t wave = px;
            if (values) {
                const float v = values[x];
                if (live ? std::fabs(v) >= kWaveVisibleM : v >= kWaveVisibleM) {
                    wave = wave_color_with(scale, v);
                    coloured = true;
                }
            }
            if (layer_mode == 2) {
                const int k = classes[std::size_t(x)];
                if (k > 0) {
                    wave = contour_blend_rgb32(wave, k);
                    coloured = true;
                }
            }
            if (coloured) px = opaque ? wave : blend_rgb(px, wave, alpha);
        }
    }
}

}  // namespace kaitoro
