#include "render/slip_map.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <new>
#include <unordered_map>

#include "core/safe_file.h"
#include "core/driver.h"
#include "core/platform.h"
#include "core/sources.h"
#include "core/status.h"
#include "render/png.h"
#include "render/scene.h"
#include "source_design/source_cell.h"

namespace kaitoro {

namespace {

constexpr double kDegToRad = M_PI / 180.0;

// Map panel: outline box and raster.
constexpr int kMapLeft = 60, kMapTop = 92, kMapRight = 770, kMapBottom = 850;
constexpr int kMapRasterX = 61, kMapRasterY = 93, kMapRasterW = 709, kMapRasterH = 757;
// Fault-plane panel.
constexpr int kPlaneLeft = 820, kPlaneTop = 92, kPlaneRight = 1460, kPlaneBottom = 850;
constexpr int kPlaneRasterX = 821, kPlaneRasterY = 93, kPlaneRasterW = 639, kPlaneRasterH = 757;

constexpr std::uint32_t kLandRgb = 0xE9E1CF;       // (233, 225, 207)
constexpr std::uint32_t kCoastlineRgb = 0x6D5A3A;  // (109, 90, 58)
constexpr std::uint32_t kDarkText = 0x202020;      // (32, 32, 32)
constexpr std::uint32_t kLabelText = 0x303030;     // (48, 48, 48)
constexpr std::uint32_t kSoftText = 0x404040;      // (64, 64, 64)

std::uint8_t round_channel(double v) {
    const long r = std::lround(v);
    return std::uint8_t(std::clamp(r, 0L, 255L));
}

std::uint32_t pack(double r, double g, double b) {
    return std::uint32_t(round_channel(r)) << 16 | std::uint32_t(round_channel(g)) << 8 |
           round_channel(b);
}

void put(Rgb24Canvas* c, int x, int y, std::uint32_t rgb) {
    if (x < 0 || y < 0 || x >= c->width || y >= c->height) return;
    std::uint8_t* p = c->at(x, y);
    p[0] = std::uint8_t(rgb >> 16);
    p[1] = std::uint8_t(rgb >> 8);
    p[2] = std::uint8_t(rgb);
}

// Slip colour of a fraction of the largest slip, with the ends the callers use.
std::uint32_t slip_fraction_rgb(double t) {
    if (!(t > 0.0)) return 0xFFFFFF;
    if (t >= 1.0) return 0xA50F15;
    return finite_fault_usgs_slip_rgb(float(t));
}

std::uint32_t water_rgb(float d) {
    if (d < 0.0f) return 0xD9ECFF;  // (217, 236, 255)
    const double u = std::min(double(std::min(d, 11000.0f)) / 8000.0, 1.0);
    if (u < 0.33) {
        const double v = u / 0.33;
        return pack(217 - 48 * v, 236 - 26 * v, 255 - 12 * v);
    }
    if (u < 0.66) {
        const double v = (u - 0.33) / 0.33;
        return pack(169 - 77 * v, 210 - 57 * v, 243 - 32 * v);
    }
    const double v = std::min((u - 0.66) / 0.34, 1.0);
    return pack(92 - 61 * v, 153 - 75 * v, 211 - 90 * v);
}

// A patch's footprint for the smoothing: centre, strike axes, extents and normalisers.
struct Footprint {
    double cx, cy;          // centre
    double s, c;            // sine and cosine of the strike
    double half_u, half_v;  // half extents of the patch rectangle
    double norm_u, norm_v;  // Gaussian normalisers along and across
    double inside_factor;
    double slip;  // mean slip of the patch
};

// Accumulates the smoothed slip of every footprint into a raster whose pixel (i, j) stands
// for the point (x0 + i * step_x, y0 + j * step_y), then paints qualifying pixels.
struct SmoothRaster {
    int w, h;
    double x0, y0, step_x, step_y;
    std::vector<double> sum_w, max_w, sum_ws;

    SmoothRaster(int w_, int h_, double x0_, double y0_, double sx, double sy)
        : w(w_),
          h(h_),
          x0(x0_),
          y0(y0_),
          step_x(sx),
          step_y(sy),
          sum_w(std::size_t(w_) * h_, 0.0),
          max_w(std::size_t(w_) * h_, 0.0),
          sum_ws(std::size_t(w_) * h_, 0.0) {}

    // Patches are added in list order, so every pixel sums them in that order.
    void add(const Footprint& f) {
        // Bounding box of the cut-off ellipse r^2 <= 16: |u| <= 4 nu, |v| <= 4 nv.
        const double ex = std::fabs(f.s) * 4 * f.norm_u + std::fabs(f.c) * 4 * f.norm_v;
        const double ey = std::fabs(f.c) * 4 * f.norm_u + std::fabs(f.s) * 4 * f.norm_v;
        auto range = [](double lo, double hi, double origin, double step, int n, int* a, int* b) {
            double i0 = (lo - origin) / step, i1 = (hi - origin) / step;
            if (i0 > i1) std::swap(i0, i1);
            *a = int(std::max(0.0, std::floor(i0) - 1));
            *b = int(std::min(double(n - 1), std::ceil(i1) + 1));
        };
        int i_lo, i_hi, j_lo, j_hi;
        range(f.cx - ex, f.cx + ex, x0, step_x, w, &i_lo, &i_hi);
        range(f.cy - ey, f.cy + ey, y0, step_y, h, &j_lo, &j_hi);
        for (int j = j_lo; j <= j_hi; ++j) {
            const double dy = y0 + j * step_y - f.cy;
            for (int i = i_lo; i <= i_hi; ++i) {
                const double dx = x0 + i * step_x - f.cx;
                const double u = f.s * dx + f.c * dy;
                const double v = f.c * dx - f.s * dy;
                const double ru = u / f.norm_u, rv = v / f.norm_v;
                const double r2 = ru * ru + rv * rv;
                if (r2 > 16.0) continue;
                double wgt = std::exp(-r2 / 2.0);
                if (std::fabs(u) <= f.half_u && std::fabs(v) <= f.half_v) wgt *= f.inside_factor;
                const std::size_t k = std::size_t(j) * w + i;
                sum_w[k] += wgt;
                max_w[k] = std::max(max_w[k], wgt);
                sum_ws[k] += wgt * f.slip;
            }
        }
    }

    bool painted(std::size_t k) const { return sum_w[k] > 0.1 && max_w[k] > 0.035; }

    // True when the painted slip reaches the raster's edge, i.e. it is cut off there.
    bool touches_edge() const {
        for (int i = 0; i < w; ++i)
            if (painted(std::size_t(i)) || painted(std::size_t(h - 1) * w + i)) return true;
        for (int j = 0; j < h; ++j)
            if (painted(std::size_t(j) * w) || painted(std::size_t(j) * w + w - 1)) return true;
        return false;
    }

    void paint(Rgb24Canvas* canvas, int px0, int py0, double max_slip) const {
        for (int j = 0; j < h; ++j)
            for (int i = 0; i < w; ++i) {
                const std::size_t k = std::size_t(j) * w + i;
                if (!painted(k)) continue;
                const double t = std::min(sum_ws[k] / sum_w[k] / max_slip, 1.0);
                put(canvas, px0 + i, py0 + j, slip_fraction_rgb(t));
            }
    }
};

void strike_sin_cos(float strike_deg, double* s, double* c) {
    const double th = wrap_degrees_360(strike_deg) * kDegToRad;
    *s = std::sin(th);
    *c = std::cos(th);
}

// Map footprint in cells: length along strike, projected width across.
void map_footprint_cells(const SlipPatch& p, double* len, double* wid) {
    const double k = cell_km_at_row(p.cy());
    double cos_dip;
    if (p.dip_deg < 5.0f)
        cos_dip = std::cos(5.0 * kDegToRad);
    else
        cos_dip = std::max(std::cos(std::min(double(p.dip_deg), 60.0) * kDegToRad), 0.25);
    *len = std::max(double(p.length_km) / k, 1.6);
    *wid = std::max(cos_dip * double(p.width_km) / k, 1.4);
}

int draw_text(Rgb24Canvas* c, int x, int y, const char* text, CanvasTextStyle style, int bold,
              std::uint32_t rgb) {
    return rgb24_draw_text_gdi(c, x, y, text, style, bold, rgb);
}

// A text at its usual place and size when it fits on the canvas; a wider one (a large slip,
// a long value) is set smaller, down to 12 pixels, and then moved left so that every
// character stays on the image.
int draw_text_fitted(Rgb24Canvas* c, int x, int y, const char* text, CanvasTextStyle style,
                     int bold, std::uint32_t rgb) {
    int size = style == CanvasTextStyle::Small18 ? 18 : style == CanvasTextStyle::Medium20 ? 20 : 24;
    if (style == CanvasTextStyle::Small18) bold = 0;
    if (style == CanvasTextStyle::Heading24) bold = 1, rgb = 0x111111;
    const int room = c->width - x;
    int w = rgb24_text_width(text, size, bold);
    if (w < 0 || w <= room) return draw_text(c, x, y, text, style, bold, rgb);
    while (size > 12 && w > room) w = rgb24_text_width(text, --size, bold);
    if (w > room) x = std::max(0, c->width - w);
    return rgb24_draw_text(c, x, y, text, size, bold, rgb);
}

void draw_map_panel(const SlipMapModel& m, Rgb24Canvas* canvas) {
    rgb24_fill_rect(canvas, kMapLeft, kMapTop, kMapRight, kMapBottom);
    rgb24_draw_rect_outline(canvas, kMapLeft, kMapTop, kMapRight, kMapBottom);

    const GridData& g = g_grid;
    const int nx = int(g.nx), ny = int(g.ny);
    const bool have_grid = nx > 0 && ny > 0 && g.land.size() == g.cell_count();
    const std::vector<float>& depth =
        g.effective_depth_m.size() == g.cell_count() ? g.effective_depth_m : g.depth_m;
    const double step_x = m.span_x / 708.0, step_y = m.span_y / 756.0;
    auto grid_x = [&](int i) { return m.xmin + (i + 0.5) * step_x; };
    auto grid_y = [&](int j) { return m.ymax - (j + 0.5) * step_y; };

    // Base map, then the coastline between land and water cells.
    std::vector<int> cell_of(std::size_t(kMapRasterW) * kMapRasterH, -1);
    for (int j = 0; j < kMapRasterH; ++j) {
        const double fy = std::floor(grid_y(j));
        for (int i = 0; i < kMapRasterW; ++i) {
            const double fx = std::floor(grid_x(i));
            std::uint32_t rgb = 0xFFFFFF;
            if (have_grid && fx >= 0 && fy >= 0 && fx < nx && fy < ny) {
                const std::size_t c = std::size_t(fy) * nx + std::size_t(fx);
                cell_of[std::size_t(j) * kMapRasterW + i] = int(c);
                const bool water = (g.land[c] == 0) != (g_invert_landsea_display != 0);
                rgb = water ? water_rgb(c < depth.size() ? depth[c] : 0.0f) : kLandRgb;
            }
            put(canvas, kMapRasterX + i, kMapRasterY + j, rgb);
        }
    }
    if (have_grid) {
        for (int j = 1; j + 1 < kMapRasterH; ++j)
            for (int i = 1; i + 1 < kMapRasterW; ++i) {
                const int c = cell_of[std::size_t(j) * kMapRasterW + i];
                if (c < 0) continue;
                const int x = c % nx, y = c / nx;
                if (x < 1 || y < 1 || x > nx - 2 || y > ny - 2) continue;
                const bool land = g.land[std::size_t(c)] != 0;
                bool edge = false;
                for (int dy = -1; dy <= 1 && !edge; ++dy)
                    for (int dx = -1; dx <= 1 && !edge; ++dx)
                        if ((dx || dy) && (g.land[std::size_t(y + dy) * nx + x + dx] != 0) != land)
                            edge = true;
                if (edge) put(canvas, kMapRasterX + i, kMapRasterY + j, kCoastlineRgb);
            }
    }

    // Smoothed slip over the map.
    SmoothRaster raster(kMapRasterW, kMapRasterH, grid_x(0), grid_y(0), step_x, -step_y);
    for (const SlipPatch& p : m.patches) {
        Footprint f;
        double len, wid;
        map_footprint_cells(p, &len, &wid);
        f.cx = p.cx();
        f.cy = p.cy();
        strike_sin_cos(p.strike_deg, &f.s, &f.c);
        f.half_u = len / 2;
        f.half_v = wid / 2;
        f.norm_u = std::max(0.48 * len, 1.8);
        f.norm_v = std::max(0.58 * wid, 1.6);
        f.inside_factor = 1.8;
        f.slip = p.mean_slip();
        raster.add(f);
    }
    raster.paint(canvas, kMapRasterX, kMapRasterY, m.max_slip_m);

    int px, py;
    slip_map_panel_pixel(m, m.epicenter_x, m.epicenter_y, &px, &py);
    for (int shift : {0, -1}) {
        rgb24_draw_line(canvas, px - 8 + shift, py - 8, px + 8 + shift, py + 8);
        rgb24_draw_line(canvas, px - 8 + shift, py + 8, px + 8 + shift, py - 8);
    }
    draw_text(canvas, 72, 102, "Map view", CanvasTextStyle::Heading24, 1, 0x111111);
}

void draw_fault_plane_panel(const SlipMapModel& m, Rgb24Canvas* canvas) {
    rgb24_fill_rect(canvas, kPlaneLeft, kPlaneTop, kPlaneRight, kPlaneBottom);
    rgb24_draw_rect_outline(canvas, kPlaneLeft, kPlaneTop, kPlaneRight, kPlaneBottom);

    const std::size_t n = m.patches.size();
    double sum_sin = 0, sum_cos = 0, mx = 0, my = 0, mean_depth = 0;
    for (const SlipPatch& p : m.patches) {
        sum_sin += std::sin(double(p.strike_deg) * kDegToRad);
        sum_cos += std::cos(double(p.strike_deg) * kDegToRad);
        mx += p.cx();
        my += p.cy();
        mean_depth += p.depth_km;
    }
    mx /= double(n);
    my /= double(n);
    mean_depth /= double(n);
    const double theta = std::atan2(sum_sin, sum_cos);
    const double s = std::sin(theta), c = std::cos(theta);
    const double k = cell_km_at_row(float(my));

    std::vector<double> a(n), b(n);
    double mean_b = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const double dx = (m.patches[i].cx() - mx) * k, dy = (m.patches[i].cy() - my) * k;
        a[i] = s * dx + c * dy;
        b[i] = c * dx - s * dy;
        mean_b += b[i];
    }
    mean_b /= double(n);
    double covariance = 0;
    for (std::size_t i = 0; i < n; ++i)
        covariance += (m.patches[i].depth_km - mean_depth) * (b[i] - mean_b);
    if (covariance < 0)  // b grows with depth, so deep is down in the panel
        for (double& v : b) v = -v;

    double amin = std::numeric_limits<double>::max(), amax = -amin, bmin = amin, bmax = -amin;
    for (std::size_t i = 0; i < n; ++i) {
        const double A = std::max(double(m.patches[i].length_km), 1.0);
        const double B = std::max(double(m.patches[i].width_km), 1.0);
        amin = std::min(amin, a[i] - A / 2);
        amax = std::max(amax, a[i] + A / 2);
        bmin = std::min(bmin, b[i] - B / 2);
        bmax = std::max(bmax, b[i] + B / 2);
    }
    std::vector<Footprint> feet;
    feet.reserve(n);
    for (std::size_t i = 0; i < n; ++i) {
        const double A = std::max(double(m.patches[i].length_km), 1.0);
        const double B = std::max(double(m.patches[i].width_km), 1.0);
        // Panel x is along strike and y down dip: with s = 1, c = 0 the footprint's u is the
        // along offset and v the (negated) down-dip offset.
        feet.push_back(Footprint{a[i],
                                 b[i],
                                 1.0,
                                 0.0,
                                 A / 2,
                                 B / 2,
                                 std::max(0.48 * A, 2.8),
                                 std::max(0.48 * B, 2.3),
                                 1.9,
                                 m.patches[i].mean_slip()});
    }
    double pa = std::max(0.1 * (amax - amin), 10.0), pb = std::max(0.1 * (bmax - bmin), 8.0);
    // The smoothing spreads a patch about 1.2 patch lengths from its centre, which the margin
    // of a small fault (one patch) does not hold: widen the margins until the slip no longer
    // runs into the panel's edge. A fault that already fits is drawn at its usual scale.
    for (int attempt = 0;; ++attempt) {
        const double scale = std::min(620.0 / std::max(amax - amin + 2 * pa, 1.0),
                                      738.0 / std::max(bmax - bmin + 2 * pb, 1.0));
        SmoothRaster raster(kPlaneRasterW, kPlaneRasterH, amin - pa + 0.5 / scale,
                            bmin - pb + 0.5 / scale, 1.0 / scale, 1.0 / scale);
        for (const Footprint& f : feet) raster.add(f);
        if (attempt == 8 || !raster.touches_edge()) {
            raster.paint(canvas, kPlaneRasterX, kPlaneRasterY, m.max_slip_m);
            break;
        }
        pa *= 1.5;
        pb *= 1.5;
    }

    draw_text(canvas, 832, 102, "Interpolated fault-plane view", CanvasTextStyle::Heading24, 1,
              0x111111);
    draw_text(canvas, 834, 824, "Along strike", CanvasTextStyle::Small18, 0, kLabelText);
    draw_text(canvas, 1310, 108, "Shallow / up-dip", CanvasTextStyle::Small18, 0, kLabelText);
    draw_text(canvas, 1318, 822, "Deep / down-dip", CanvasTextStyle::Small18, 0, kLabelText);
    rgb24_draw_line_rgb(canvas, 1432, 140, 1432, 802, kLabelText);
    rgb24_draw_line_rgb(canvas, 1432, 802, 1425, 789, kLabelText);
    rgb24_draw_line_rgb(canvas, 1432, 802, 1439, 789, kLabelText);
}

void draw_colour_bar(const SlipMapModel& m, Rgb24Canvas* canvas) {
    rgb24_fill_rect(canvas, 1510, 150, 1565, 780);
    rgb24_draw_rect_outline(canvas, 1510, 150, 1565, 780);
    for (int r = 151; r <= 779; ++r)
        rgb24_fill_rect_rgb(canvas, 1511, r, 1564, r, slip_fraction_rgb(1.0 - (r - 151) / 628.0));
    rgb24_draw_text(canvas, 1506, 114, "Slip (m)", 22, 1, kDarkText);
    for (int k = 0; k <= 5; ++k) {
        const int o = int(std::lround(630.0 * k / 5.0));
        rgb24_fill_rect_rgb(canvas, 1569, 779 - o, 1581, 781 - o, kLabelText);
        char label[32];
        std::snprintf(label, sizeof label, "%.1f", double(k) * m.max_slip_m / 5.0);
        draw_text_fitted(canvas, 1587, 771 - o, label, CanvasTextStyle::Small18, 0, kDarkText);
    }
}

}  // namespace

std::uint32_t finite_fault_usgs_slip_rgb(float t) {
    static const double kT[7] = {0.00, 0.15, 0.35, 0.55, 0.72, 0.88, 1.00};
    static const int kRgb[7][3] = {{255, 255, 255}, {255, 247, 188}, {254, 227, 145},
                                   {254, 196, 79},  {252, 141, 60},  {227, 74, 51},
                                   {165, 15, 21}};
    double v = t;
    if (!(v > 0.0)) v = 0.0;
    if (v > 1.0) v = 1.0;
    int i = 0;
    while (i < 5 && v > kT[i + 1]) ++i;
    const double f = (v - kT[i]) / (kT[i + 1] - kT[i]);
    return pack(kRgb[i][0] + (kRgb[i + 1][0] - kRgb[i][0]) * f,
                kRgb[i][1] + (kRgb[i + 1][1] - kRgb[i][1]) * f,
                kRgb[i][2] + (kRgb[i + 1][2] - kRgb[i][2]) * f);
}

bool slip_map_collect(SlipMapModel* model) {
    model->patches.clear();
    model->max_slip_m = 0.01f;
    std::unordered_map<std::uint64_t, std::size_t> index;
    bool any = false;
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        const SourcePoint& pt = g_sources[i];
        const float slip = std::fabs(pt.slip_m);
        if (pt.fault_id < 1 || pt.patch_id < 1 || !(slip > 0.0005f)) continue;
        any = true;
        const std::uint64_t key =
            std::uint64_t(std::uint32_t(pt.fault_id)) << 32 | std::uint32_t(pt.patch_id);
        auto [it, fresh] = index.try_emplace(key, model->patches.size());
        if (fresh) {
            SlipPatch p;
            p.fault_id = pt.fault_id;
            p.patch_id = pt.patch_id;
            p.min_delay_s = pt.delay_s;
            p.strike_deg = pt.strike_deg;
            float dip = pt.dip_deg;
            if (!(dip >= 5.0f && dip <= 60.0f)) dip = clamped_fault_dip_deg();
            p.dip_deg = dip;
            p.depth_km = pt.depth_km;
            float width = pt.width_km;
            if (width <= 0.0f) width = fault_width_km_sanitized();
            p.width_km = std::isfinite(width) ? std::clamp(width, 1.0f, 800.0f) : 20.0f;
            float length = pt.length_km;
            if (length <= 0.0f) length = g_fault_stamp_length_km;
            p.length_km = std::isfinite(length) ? std::clamp(length, 5.0f, 600.0f) : 40.0f;
            model->patches.push_back(p);
        }
        SlipPatch& p = model->patches[it->second];
        ++p.count;
        p.sum_x += float(pt.grid_x);
        p.sum_y += float(pt.grid_y);
        p.slip_sum += slip;
        p.min_delay_s = std::min(p.min_delay_s, pt.delay_s);
        model->max_slip_m = std::max(model->max_slip_m, slip);
    }
    return any;
}

void slip_map_layout(SlipMapModel* m) {
    double xmin = std::numeric_limits<double>::max(), xmax = -xmin, ymin = xmin, ymax = -xmin;
    int min_delay = std::numeric_limits<int>::max();
    for (const SlipPatch& p : m->patches) {
        double len, wid, s, c;
        map_footprint_cells(p, &len, &wid);
        strike_sin_cos(p.strike_deg, &s, &c);
        const double ex = std::fabs(s) * len / 2 + std::fabs(c) * wid / 2;
        const double ey = std::fabs(c) * len / 2 + std::fabs(s) * wid / 2;
        xmin = std::min(xmin, p.cx() - ex);
        xmax = std::max(xmax, p.cx() + ex);
        ymin = std::min(ymin, p.cy() - ey);
        ymax = std::max(ymax, p.cy() + ey);
        min_delay = std::min(min_delay, p.min_delay_s);
    }
    auto widen = [](double* lo, double* hi) {
        const double span = *hi - *lo;
        if (!(span > 0)) {
            *lo = -40;
            *hi = 41;
            return;
        }
        const double pad = std::max(0.3 * span, 40.0);
        *lo -= pad;
        *hi += pad;
    };
    widen(&xmin, &xmax);
    widen(&ymin, &ymax);
    m->xmin = xmin;
    m->xmax = xmax;
    m->ymin = ymin;
    m->ymax = ymax;
    m->span_x = std::max(xmax - xmin, 1.0);
    m->span_y = std::max(ymax - ymin, 1.0);

    double ex = 0, ey = 0;
    int count = 0;
    for (const SlipPatch& p : m->patches)
        if (p.min_delay_s == min_delay) {
            ex += p.cx();
            ey += p.cy();
            ++count;
        }
    m->epicenter_x = count ? ex / count : 0;
    m->epicenter_y = count ? ey / count : 0;
}

void slip_map_panel_pixel(const SlipMapModel& m, double gx, double gy, int* px, int* py) {
    *px = int(std::lround((gx - m.xmin) * 708.0 / m.span_x + kMapRasterX));
    *py = int(std::lround((m.ymax - gy) * 756.0 / m.span_y + kMapRasterY));
}

void slip_map_draw(const SlipMapModel& m, Rgb24Canvas* canvas) {
    rgb24_fill_rect(canvas, 0, 0, canvas->width - 1, canvas->height - 1);
    rgb24_fill_rect_rgb(canvas, 0, 0, canvas->width - 1, 75, 0xF7F7F7);
    rgb24_draw_text(canvas, 60, 20, "USGS-STYLE FINITE FAULT MODEL", 34, 1, 0x111111);
    draw_text_fitted(canvas, 62, 55,
              "Smoothed finite-fault export from direct stamp patches | smoothed map overlay + "
              "interpolated fault-plane view",
              CanvasTextStyle::Medium20, 0, kSoftText);
    draw_map_panel(m, canvas);
    draw_fault_plane_panel(m, canvas);
    draw_colour_bar(m, canvas);

    char line[160];
    std::snprintf(line, sizeof line, "Patches: %d", int(m.patches.size()));
    draw_text_fitted(canvas, 1510, 820, line, CanvasTextStyle::Medium20, 1, kDarkText);
    std::snprintf(line, sizeof line, "Maximum slip: %.2f m", double(m.max_slip_m));
    draw_text_fitted(canvas, 1510, 848, line, CanvasTextStyle::Medium20, 1, kDarkText);
    draw_text_fitted(canvas, 1510, 876, "X: Epicenter", CanvasTextStyle::Medium20, 1, 0x4D007A);
    const double mw = moment_magnitude_from_m0(current_seismic_moment_nm());
    std::snprintf(line, sizeof line,
                  "Mw: %.2f  |  X: Epicenter = minimum rupture-delay patch centroid", mw);
    draw_text_fitted(canvas, 60, 900, line, CanvasTextStyle::Medium20, 0, kDarkText);
    draw_text_fitted(canvas, 60, 928,
              "Both panels use Gaussian/interpolated slip smoothing to bridge unnatural "
              "patch-to-patch gaps. In the fault-plane panel, the vertical axis is "
              "depth-oriented: top = shallow/up-dip, bottom = deep/down-dip.",
              CanvasTextStyle::Small18, 0, kSoftText);
}

int write_finite_fault_usgs_png(const char* path) {
    SlipMapModel model;
    try {
        if (!slip_map_collect(&model)) return 0;
        slip_map_layout(&model);
        Rgb24Canvas canvas;
        if (!rgb24_canvas_create(&canvas, kCanvasWidth, kCanvasHeight)) return 0;
        slip_map_draw(model, &canvas);
        return png_write_rgb24_file(path, canvas.pixels.data(), canvas.width, canvas.height);
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

void save_finite_fault_usgs_png_dialog(void* window) {
    FileDialogRequest req;
    req.title = "Save finite-fault USGS-style map + fault-plane PNG";
    req.filters = {{"PNG image", "*.png"}, {"All files", "*.*"}};
    req.default_name = "finite_fault_usgs_style_map_faultplane.png";
    req.confirm_overwrite = true;
    req.path_must_exist = true;
    req.max_path = 260;
    const std::optional<std::string> path = platform().save_file_dialog(req);
    if (!path) return;
    const std::size_t write_mark = write_failures().size();
    if (write_finite_fault_usgs_png(path->c_str()))
        set_status("Saved finite-fault USGS-style PNG: %s", path->c_str());
    else
        set_status(
            "Failed to save finite-fault USGS-style PNG. Make sure direct finite-fault patches "
            "exist.");
    warn_write_failures_since(write_mark);
    platform().request_repaint();
}

}  // namespace kaitoro
