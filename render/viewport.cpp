#include "render/viewport.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "core/driver.h"
#include "source_design/node_tune.h"

namespace kaitoro {

double g_view_zoom = 1.0;
double g_view_pan_x = 0.0;
double g_view_pan_y = 0.0;
int g_view_x = 0, g_view_y = 0;
int g_view_w = 1, g_view_h = 1;
int g_display_flip_x = 0;
int g_display_flip_y = 1;

void viewport_reset_globals() {
    g_view_zoom = 1.0;
    g_view_pan_x = g_view_pan_y = 0.0;
    g_view_x = g_view_y = 0;
    g_view_w = g_view_h = 1;
    g_display_flip_x = 0;
    g_display_flip_y = 1;
}

// Grid size as the mapping divides by it; an absent grid counts as one cell.
static int grid_w() {
    return std::max<int>(1, int(g_grid.nx));
}
static int grid_h() {
    return std::max<int>(1, int(g_grid.ny));
}

void viewport_map_area(int client_w, int client_h, int* map_w, int* map_h) {
    *map_w = client_w - kInfoPanelWidthPx < 10 ? client_w : client_w - kInfoPanelWidthPx;
    *map_h = std::max(client_h, 10);
}

double viewport_fit_scale(int client_w, int client_h) {
    int wm, hm;
    viewport_map_area(client_w, client_h, &wm, &hm);
    return std::max(0.1, std::min(double(wm) / grid_w(), double(hm) / grid_h()));
}

void compute_viewport(int client_w, int client_h) {
    int wm, hm;
    viewport_map_area(client_w, client_h, &wm, &hm);
    const double fit = viewport_fit_scale(client_w, client_h);
    if (!(g_view_zoom >= 1.0)) g_view_zoom = 1.0;
    if (g_view_zoom > 64.0) g_view_zoom = 64.0;
    const double scale = fit * g_view_zoom;
    g_view_w = std::max(1, int(grid_w() * scale + 0.5));
    g_view_h = std::max(1, int(grid_h() * scale + 0.5));

    auto clamp_pan = [](double& pan, int drawn, int area) {
        if (drawn > area) {
            const double lim = (drawn - area) / 2.0;
            if (!(pan == pan)) pan = 0.0;
            pan = std::clamp(pan, -lim, lim);
        } else {
            pan = 0.0;
        }
    };
    clamp_pan(g_view_pan_x, g_view_w, wm);
    clamp_pan(g_view_pan_y, g_view_h, hm);
    g_view_x = int((wm - g_view_w) * 0.5 + g_view_pan_x + 0.5);
    g_view_y = int((hm - g_view_h) * 0.5 + g_view_pan_y + 0.5);
}

int screen_to_grid(int sx, int sy, int* gx, int* gy) {
    if (g_grid.nx == 0 || g_grid.ny == 0) return 0;
    if (sx < g_view_x || sy < g_view_y || (long long)sx >= (long long)g_view_x + g_view_w ||
        (long long)sy >= (long long)g_view_y + g_view_h)
        return 0;
    const int w = int(g_grid.nx), h = int(g_grid.ny);
    int x = int(double(sx - g_view_x) * w / g_view_w);
    int y = int(double(sy - g_view_y) * h / g_view_h);
    x = std::clamp(x, 0, w - 1);
    y = std::clamp(y, 0, h - 1);
    if (g_display_flip_x) x = w - 1 - x;
    if (g_display_flip_y) y = h - 1 - y;
    *gx = x;
    *gy = y;
    return 1;
}

// Integer division truncating toward zero, as the drawing code has always done it.
static int span_edge(long long origin, long long d, long long drawn, long long cells) {
    return int(origin + d * drawn / cells);
}

void viewport_cell_rect(int x, int y, int* left, int* top, int* right, int* bottom) {
    const long long w = grid_w(), h = grid_h();
    const long long dx = g_display_flip_x ? w - 1 - x : x;
    const long long dy = g_display_flip_y ? h - 1 - y : y;
    *left = span_edge(g_view_x, dx, g_view_w, w);
    *right = span_edge(g_view_x, dx + 1, g_view_w, w);
    *top = span_edge(g_view_y, dy, g_view_h, h);
    *bottom = span_edge(g_view_y, dy + 1, g_view_h, h);
}

void viewport_cell_center(int x, int y, int* cx, int* cy) {
    int l, t, r, b;
    viewport_cell_rect(x, y, &l, &t, &r, &b);
    *cx = (l + r) / 2;
    *cy = (t + b) / 2;
}

int viewport_marker_base_size() {
    const int mw = int(double(g_view_w) / grid_w() + 0.5);
    const int mh = int(double(g_view_h) / grid_h() + 0.5);
    return std::max(1, std::min(mw, mh));
}

int viewport_marker_radius(int lo) {
    return std::clamp((viewport_marker_base_size() - 1) / 2, lo, 32);
}

void viewport_install_node_tune_hooks() {
    g_node_tune_view.screen_to_grid = screen_to_grid;
    g_node_tune_view.cell_center = viewport_cell_center;
    g_node_tune_view.marker_base_size = viewport_marker_base_size;
}

}  // namespace kaitoro
