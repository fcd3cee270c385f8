#include "tests/support/reference_step.h"

#include <algorithm>
#include <cmath>

#include "core/masks.h"

namespace kaitoro::testing {

namespace {

struct Ref {
    const GridData* grid;
    Simulation* sim;
    int snx, sny, pad, nx, ny;

    bool outside(int sx, int sy) const { return sx < 0 || sy < 0 || sx >= snx || sy >= sny; }
    bool solid_or_outside(int sx, int sy) const {
        return outside(sx, sy) || solver_solid_at_or_outside(grid, sim, sx, sy);
    }
    float prev(int sx, int sy) const { return sim->eta_prev[std::size_t(sy) * snx + sx]; }
    bool grid_solid(int gx, int gy) const {
        return !grid->solid.empty() && grid->solid[std::size_t(gy) * nx + gx] != 0;
    }

    float coastal_absorbing_ghost_value(int sx, int sy) const {
        const float e = prev(sx, sy);
        if (!g_coast_reflection_absorb_enabled) return e;
        const int gx = sx - pad, gy = sy - pad;
        if (!grid->in_grid(gx, gy)) return e;
        const std::size_t g = std::size_t(gy) * nx + gx;
        if (grid_solid(gx, gy)) return e;
        if (!grid->hidden.empty() && grid->hidden[g]) return e;
        if (!grid->land_override.empty() && grid->land_override[g] == 0) return e;
        bool coast = false;
        if (gx - 1 >= 0 && grid_solid(gx - 1, gy)) coast = true;
        if (gx + 1 < nx && grid_solid(gx + 1, gy)) coast = true;
        if (gy - 1 >= 0 && grid_solid(gx, gy - 1)) coast = true;
        if (gy + 1 < ny && grid_solid(gx, gy + 1)) coast = true;
        if (!coast) return e;
        return e * coastal_reflection_keep_per_step();
    }

    // Returns the neighbour's value and whether it was blocked.
    float neighbor_or_self_blocked(int sx, int sy, int dx, int dy, bool* blocked) const {
        const int tx = sx + dx, ty = sy + dy;
        *blocked = false;
        if (solid_or_outside(tx, ty)) *blocked = true;
        if (!*blocked && dx != 0 && dy != 0) {
            if (solid_or_outside(sx + dx, sy) || solid_or_outside(sx, sy + dy)) {
                if (!diagonal_move_crosses_strait_transmission_zone(grid, sim, sx, sy, dx, dy))
                    *blocked = true;
            }
        }
        if (!*blocked && prev(tx, ty) >= 50.0f) *blocked = true;
        if (*blocked) return coastal_absorbing_ghost_value(sx, sy);
        return prev(tx, ty);
    }

    float wave_flux_term_to_neighbor(int sx, int sy, int dx, int dy) const {
        bool blocked = false;
        const float value = neighbor_or_self_blocked(sx, sy, dx, dy, &blocked);
        const float d_p = solver_depth_m(grid, sim, sx, sy);
        float coef;
        const double row = double(sy - pad);
        if (blocked) {
            coef = scaled_coupling(std::clamp(d_p, 1.0f, 7000.0f) / 18000.0f, row);
        } else {
            const float d_n = solver_depth_m(grid, sim, sx + dx, sy + dy);
            coef = std::clamp(std::sqrt(std::min(d_n, 7000.0f) * std::min(d_p, 7000.0f)), 1.0f,
                              7000.0f) /
                   18000.0f;
            // Edges between rows take the factor of the row between them.
            coef = scaled_coupling(coef, row + 0.5 * dy);
        }
        const float w = (dx != 0 && dy != 0) ? 0.70710677f : 1.0f;
        return (value - prev(sx, sy)) * w * coef;
    }

    float damping(int gx, int gy) const {
        if (grid->in_grid(gx, gy)) return 0.99982303f;
        const int kx = gx < 0 ? -gx : (gx >= nx ? gx - nx + 1 : 0);
        const int ky = gy < 0 ? -gy : (gy >= ny ? gy - ny + 1 : 0);
        const int k = std::min(std::max(kx, ky), pad);
        const float q = float(k) / float(pad);
        const float f = 1.0f - 0.46f * q * q;
        if (f < 0.35f) return 0.34993806f;
        return std::min(f, 1.0f) * 0.99982303f;
    }
};

}  // namespace

void reference_simulate_one_step(const GridData* grid, Simulation* sim, int t_s) {
    Ref ref{grid, sim, int(sim->snx), int(sim->sny), int(sim->pad), int(sim->nx), int(sim->ny)};
    std::copy(sim->eta.begin(), sim->eta.end(), sim->eta_prev.begin());

    static const int kOrder[8][2] = {{-1, -1}, {0, -1}, {1, -1}, {-1, 0},
                                     {1, 0},   {-1, 1}, {0, 1},  {1, 1}};
    for (int sy = 0; sy < ref.sny; ++sy) {
        for (int sx = 0; sx < ref.snx; ++sx) {
            const std::size_t i = std::size_t(sy) * ref.snx + sx;
            const int gx = sx - ref.pad, gy = sy - ref.pad;
            const bool is_grid = grid->in_grid(gx, gy);
            const std::size_t g = is_grid ? std::size_t(gy) * ref.nx + gx : 0;
            const std::size_t b = g + ref.nx;

            if (solver_solid_at_or_outside(grid, sim, sx, sy) || sim->eta_prev[i] >= 50.0f) {
                sim->eta[i] = 100.0f;
                sim->rate[i] = 0.0f;
                if (is_grid) {
                    sim->height[b] = 0.0f;
                    sim->max_height[b] = 0.0f;
                    sim->arrival_s[b] = 0;
                }
                continue;
            }

            float sum = 0.0f;
            for (const auto& d : kOrder) sum += ref.wave_flux_term_to_neighbor(sx, sy, d[0], d[1]);
            sum += sim->rate[i];

            const float damp = ref.damping(gx, gy);
            const float r = sum * damp;
            float e = (sim->eta_prev[i] + r) * damp;
            sim->rate[i] = r;
            if (!is_grid) {
                sim->eta[i] = e;
                continue;
            }

            if (sim->source_height[g] != 0.0f && t_s != 0) {
                const int ramp = std::max(1, g_source_ramp_seconds);
                const float p = float(double(t_s) - double(sim->source_delay_s[g])) / float(ramp);
                float target;
                if (p <= 0.0f)
                    target = 0.0f;
                else if (p < 1.0f)
                    target = sim->source_height[g] * p * p * (3.0f - 2.0f * p);
                else
                    target = sim->source_height[g];
                if (std::fabs(target - sim->source_applied[g]) > 1e-7f) {
                    e += target - sim->source_applied[g];
                    sim->source_applied[g] = target;
                }
            }

            if (gx == 332 && gy == 225) {
                e *= 0.31622776f;
                sim->rate[i] *= 0.31622776f;
            }

            sim->eta[i] = e;
            sim->height[b] = e;
            const float pos = e > 0.0f ? e : 0.0f;
            if (pos > sim->max_height[b]) sim->max_height[b] = pos;

            if (sim->arrival_s[b] == 0 && pos > 0.0f) {
                float h =
                    grid->effective_depth_m.empty() ? grid->depth_m[g] : grid->effective_depth_m[g];
                h = !(h >= 1.0f) ? 1.0f : std::min(h, 7000.0f);
                if (pos * station_shoreline_equiv_factor(h) >= 0.05f) sim->arrival_s[b] = t_s;
            }
        }
    }
}

}  // namespace kaitoro::testing
