#include "core/masks.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "core/safe_file.h"
#include "core/solver.h"
#include "core/text_input.h"

namespace kaitoro {

namespace {

float clampf(float v, float lo, float hi) { return !(v >= lo) ? lo : (v > hi ? hi : v); }

// Station flags as mask building sees them: no flags array means every station is a file
// station (flags 1).
int station_flags_of(const GridData* g, std::uint32_t i) {
    return g->station_flags.empty() ? 1 : g->station_flags[i];
}

bool has_override(const GridData* g) { return !g->land_override.empty(); }
bool is_hidden(const GridData* g, std::size_t c) { return !g->hidden.empty() && g->hidden[c]; }

// Visits the border of the square of radius r around (cx, cy), clipped to the grid, row by
// row and left to right; the top and bottom rows are whole, the others only their two ends.
// The visitor returns false to stop early.
template <class Visit>
void visit_ring(const GridData* g, int cx, int cy, int r, Visit&& visit) {
    const int nx = int(g->nx), ny = int(g->ny);
    for (int y = cy - r; y <= cy + r; ++y) {
        if (y < 0 || y >= ny) continue;
        const bool whole = (y == cy - r || y == cy + r);
        if (whole) {
            for (int x = std::max(0, cx - r); x <= std::min(nx - 1, cx + r); ++x)
                if (!visit(x, y)) return;
        } else {
            if (cx - r >= 0 && !visit(cx - r, y)) return;
            if (r > 0 && cx + r < nx && !visit(cx + r, y)) return;
        }
    }
}

// Mean depth of nearby natural water, for a cell the user forced to water.
float forced_water_depth(const GridData* g, int cx, int cy) {
    const int nx = int(g->nx);
    for (int r = 1; r <= 96; ++r) {
        double sum = 0;
        int n = 0;
        visit_ring(g, cx, cy, r, [&](int x, int y) {
            const std::size_t c = std::size_t(y) * nx + x;
            if (g->land[c] || g->solid[c]) return true;
            if (has_override(g) && g->land_override[c] == 0) return true;
            if (is_hidden(g, c) || !(g->depth_m[c] > 0)) return true;
            sum += clampf(g->depth_m[c], 50.0f, 7000.0f);
            return ++n < 32;
        });
        if (n > 0) return clampf(float(sum / n), 50.0f, 7000.0f);
    }
    return 50.0f;
}

int nearest_open_sample_cell(const GridData* g, int cell) {
    const int nx = int(g->nx);
    const int cx = cell % nx, cy = cell / nx;
    for (int r = 0; r <= 16; ++r) {
        int best = -1;
        long long best_d2 = 0;
        visit_ring(g, cx, cy, r, [&](int x, int y) {
            const std::size_t c = std::size_t(y) * nx + x;
            if (g->solid[c] || g->land[c]) return true;
            const long long d2 = (long long)(x - cx) * (x - cx) + (long long)(y - cy) * (y - cy);
            if (best < 0 || d2 < best_d2) best = int(c), best_d2 = d2;
            return true;
        });
        if (best >= 0) return best;
    }
    return cell;
}

}  // namespace

void rebuild_land_mask_from_coast_stations(GridData* g) {
    if (!g || g->land.empty() || g->raw_land.empty() ||
        (g->station_cell.empty() && g->station_count > 0))
        return;
    const int nx = int(g->nx), ny = int(g->ny);
    const std::size_t cells = g->cell_count();

    std::vector<std::uint8_t> barrier(g->raw_land);
    if (has_override(g))
        for (std::size_t c = 0; c < cells; ++c) {
            if (g->land_override[c] == 1) barrier[c] = 1;
            else if (g->land_override[c] == 0) barrier[c] = 0;
        }
    for (std::uint32_t i = 0; i < g->station_count; ++i) {
        const int f = station_flags_of(g, i);
        if (f != 0 && f != 2 && g->cell_valid(g->station_cell[i])) barrier[g->station_cell[i]] = 1;
    }

    // Everything the open sea cannot reach from the grid border is land: lakes, basins.
    std::vector<std::uint8_t> reached(cells, 0);
    std::vector<std::int32_t> stack;
    auto reach = [&](std::size_t c) {
        if (!barrier[c] && !reached[c]) reached[c] = 1, stack.push_back(std::int32_t(c));
    };
    for (int x = 0; x < nx; ++x) reach(std::size_t(x)), reach(std::size_t(ny - 1) * nx + x);
    for (int y = 0; y < ny; ++y) reach(std::size_t(y) * nx), reach(std::size_t(y) * nx + nx - 1);
    // One division per visited cell: dividing twice was most of the fill's time.
    while (!stack.empty()) {
        const std::size_t c = std::size_t(stack.back());
        stack.pop_back();
        const int y = int(c / std::size_t(nx)), x = int(c - std::size_t(y) * std::size_t(nx));
        if (x > 0) reach(c - 1);
        if (x + 1 < nx) reach(c + 1);
        if (y > 0) reach(c - std::size_t(nx));
        if (y + 1 < ny) reach(c + std::size_t(nx));
    }
    for (std::size_t c = 0; c < cells; ++c) g->land[c] = reached[c] ? 0 : 1;

    for (std::uint32_t i = 0; i < g->station_count; ++i)
        if (station_flags_of(g, i) != 0 && g->cell_valid(g->station_cell[i]))
            g->land[g->station_cell[i]] = 0;
    if (has_override(g))
        for (std::size_t c = 0; c < cells; ++c) {
            if (g->land_override[c] == 1) g->land[c] = 1;
            else if (g->land_override[c] == 0) g->land[c] = 0;
        }
    if (!g->hidden.empty())
        for (std::size_t c = 0; c < cells; ++c)
            if (g->hidden[c] && !(has_override(g) && g->land_override[c] == 1)) g->land[c] = 0;
}

void rebuild_solid_mask(GridData* g) {
    if (!g || g->land.empty() || g->solid.empty()) return;
    const int nx = int(g->nx), ny = int(g->ny);
    const std::size_t cells = g->cell_count();

    for (std::size_t c = 0; c < cells; ++c) {
        std::uint8_t s = g->land[c];
        if (has_override(g)) {
            if (g->land_override[c] == 0) s = 0;
            else if (g->land_override[c] == 1) s = 1;
        }
        g->solid[c] = s;
    }
    // A station opens the water around it, so a gauge in a narrow harbour still connects.
    for (std::uint32_t i = 0; i < g->station_count; ++i) {
        const std::int32_t sc = i < g->station_cell.size() ? g->station_cell[i] : -1;
        if (station_flags_of(g, i) == 0 || !g->cell_valid(sc)) continue;
        const int x0 = sc % nx, y0 = sc / nx;
        for (int y = std::max(0, y0 - 1); y <= std::min(ny - 1, y0 + 1); ++y)
            for (int x = std::max(0, x0 - 1); x <= std::min(nx - 1, x0 + 1); ++x) {
                const std::size_t c = std::size_t(y) * nx + x;
                if (!g->land[c]) g->solid[c] = 0;
            }
    }
    if (!g->hidden.empty())
        for (std::size_t c = 0; c < cells; ++c)
            if (g->hidden[c] && !(has_override(g) && g->land_override[c] == 1)) g->solid[c] = 0;

    if (g->effective_depth_m.size() != cells) g->effective_depth_m.assign(cells, 0.0f);
    for (std::size_t c = 0; c < cells; ++c)
        g->effective_depth_m[c] = clampf(g->depth_m[c], 1.0f, 7000.0f);
    if (has_override(g))
        for (std::size_t c = 0; c < cells; ++c)
            if (g->land_override[c] == 0)
                g->effective_depth_m[c] = forced_water_depth(g, int(c % nx), int(c / nx));

    if (g->station_sample_cell.size() != g->station_count) return;
    for (std::uint32_t i = 0; i < g->station_count; ++i) {
        const std::int32_t sc = i < g->station_cell.size() ? g->station_cell[i] : -1;
        g->station_sample_cell[i] = sc;
        if (station_flags_of(g, i) != 0 && g->cell_valid(sc) && g->solid[sc])
            g->station_sample_cell[i] = nearest_open_sample_cell(g, sc);
    }
}

void set_land_override(GridData* g, int x, int y, int mode) {
    if (!g || !has_override(g) || !g->in_grid(x, y)) return;
    g->land_override[std::size_t(y) * g->nx + x] = std::int8_t(mode >= 1 ? 1 : (mode == 0 ? 0 : -1));
}

void clear_land_overrides(GridData* g) {
    if (g) std::fill(g->land_override.begin(), g->land_override.end(), std::int8_t(-1));
}

int count_land_overrides(const GridData* g) {
    if (!g) return 0;
    int n = 0;
    for (std::int8_t v : g->land_override) n += (v == 0 || v == 1);
    return n;
}

int save_land_override_csv(const char* path, const GridData* g) {
    if (!g || !has_override(g)) return 0;
    SafeFile out(path);
    if (!out) return 0;
    std::FILE* f = out.get();
    std::fputs("grid_x,grid_y,mode\n", f);
    for (std::uint32_t y = 0; y < g->ny; ++y)
        for (std::uint32_t x = 0; x < g->nx; ++x) {
            const std::int8_t v = g->land_override[std::size_t(y) * g->nx + x];
            if (v == 0 || v == 1) std::fprintf(f, "%u,%u,%s\n", x, y, v == 1 ? "land" : "water");
        }
    return out.commit() ? 1 : 0;
}

int load_land_override_csv(GridData* g, const char* path) {
    if (!g || !has_override(g)) return 0;
    std::FILE* f = open_regular_file(path);
    if (!f) return 0;
    clear_land_overrides(g);
    char line[256];
    bool first = true;
    while (read_line(f, line, sizeof line)) {
        const bool is_first = first;
        first = false;
        const char* p = is_first ? skip_bom(line) : line;
        while (*p == ' ' || *p == '\t') ++p;
        if (*p == '\0' || *p == '\n' || *p == '\r' || *p == '#') continue;
        if (is_first && std::strstr(p, "grid_x")) continue;
        long long lx = 0, ly = 0;
        int x = 0, y = 0;
        char mode[64];
        if (std::sscanf(p, "%lld , %lld , %63[^, \t\r\n]", &lx, &ly, mode) != 3) continue;
        // Read wide: a coordinate beyond int range is an invalid line, not a wrapped cell.
        if (!narrow_to_int(lx, &x) || !narrow_to_int(ly, &y)) continue;
        int m;
        auto is = [&](std::initializer_list<const char*> words) {
            for (const char* w : words)
                if (std::strcmp(mode, w) == 0) return true;
            return false;
        };
        if (is({"1", "land", "LAND", "l", "L"})) m = 1;
        else if (is({"0", "water", "WATER", "w", "W"})) m = 0;
        else if (is({"-1", "clear", "CLEAR", "none"})) m = -1;
        else continue;
        if (!g->in_grid(x, y)) continue;
        set_land_override(g, x, y, m);
    }
    std::fclose(f);
    rebuild_land_mask_from_coast_stations(g);
    return 1;
}

bool solver_solid_at_or_outside_geom(const GridData* g, int pad, int snx, int sny, int sx,
                                     int sy) {
    if (sx < 0 || sy < 0 || sx >= snx || sy >= sny) return true;
    const int nx = int(g->nx), ny = int(g->ny);
    const int gx = sx - pad, gy = sy - pad;
    if (gx >= 0 && gy >= 0 && gx < nx && gy < ny) {
        const std::size_t c = std::size_t(gy) * nx + gx;
        if (is_hidden(g, c)) return false;
        return g->solid[c] != 0;
    }
    if (gx >= nx && gy >= 0 && gy < ny && is_hidden(g, std::size_t(gy) * nx + (nx - 1)))
        return false;
    return g->solid[std::size_t(std::clamp(gy, 0, ny - 1)) * nx + std::clamp(gx, 0, nx - 1)] != 0;
}

bool solver_solid_at_or_outside(const GridData* g, const Simulation* sim, int sx, int sy) {
    return solver_solid_at_or_outside_geom(g, int(sim->pad), int(sim->snx), int(sim->sny), sx,
                                           sy);
}

bool visible_cell_is_strait_transmission_zone(const GridData* g, int pad, int sx, int sy) {
    const int nx = int(g->nx);
    const int x = sx - pad, y = sy - pad;
    if (!g->in_grid(x, y)) return false;
    const std::size_t c = std::size_t(y) * nx + x;
    if (g->solid[c] || is_hidden(g, c)) return false;
    if (has_override(g) && g->land_override[c] == 0) return true;

    auto solid_or_beyond = [&](int xx, int yy) {
        return !g->in_grid(xx, yy) || g->solid[std::size_t(yy) * nx + xx] != 0;
    };
    const bool L = solid_or_beyond(x - 1, y), R = solid_or_beyond(x + 1, y);
    const bool D = solid_or_beyond(x, y - 1), U = solid_or_beyond(x, y + 1);
    if ((U && D) || (L && R) || (int(L) + int(R) + int(U) + int(D) >= 2)) return true;

    if (has_override(g))
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx) {
                if ((dx || dy) && g->in_grid(x + dx, y + dy) &&
                    g->land_override[std::size_t(y + dy) * nx + (x + dx)] == 0)
                    return true;
            }

    auto wall = [&](int xx, int yy) {
        if (!g->in_grid(xx, yy)) return true;
        const std::size_t cc = std::size_t(yy) * nx + xx;
        return g->solid[cc] && !is_hidden(g, cc);
    };
    struct Dir {
        bool wall, water;
    };
    auto look = [&](int dx, int dy) {
        Dir d{false, false};
        for (int k = 1; k <= 2; ++k) {
            const int xx = x + dx * k, yy = y + dy * k;
            if (wall(xx, yy)) d.wall = true;
            else d.water = true;  // an open cell is a grid cell that is not a wall
        }
        return d;
    };
    const Dir l = look(-1, 0), r = look(1, 0), d = look(0, -1), u = look(0, 1);
    if (l.wall && r.wall && u.water && d.water) return true;
    if (u.wall && d.wall && l.water && r.water) return true;

    int walls = 0, open = 0;
    for (int dy = -2; dy <= 2; ++dy)
        for (int dx = -2; dx <= 2; ++dx) {
            if (wall(x + dx, y + dy)) ++walls;
            else ++open;
        }
    const int water_dirs = int(l.water) + int(r.water) + int(u.water) + int(d.water);
    return walls >= 5 && open >= 5 && water_dirs >= 2;
}

bool diagonal_move_crosses_strait_transmission_zone(const GridData* g, const Simulation* sim,
                                                    int sx, int sy, int dx, int dy) {
    const int pad = int(sim->pad);
    return visible_cell_is_strait_transmission_zone(g, pad, sx, sy) ||
           visible_cell_is_strait_transmission_zone(g, pad, sx + dx, sy + dy) ||
           visible_cell_is_strait_transmission_zone(g, pad, sx + dx, sy) ||
           visible_cell_is_strait_transmission_zone(g, pad, sx, sy + dy);
}

}  // namespace kaitoro
