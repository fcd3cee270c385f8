#include "source_design/source_cell.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>

#include "core/driver.h"
#include "source_design/fault_table.h"

namespace kaitoro {

float g_new_source_height_m = 1.0f;
int g_new_source_delay_s = 15;
float g_fault_dip_deg = 15.0f;
float g_source_depth_km = 20.0f;
float g_fault_width_km = 20.0f;
float g_subsidence_ratio = 0.45f;
int g_subsidence_side = 1;
float g_strike_slip_mix = 0.0f;
int g_strike_slip_sense = 1;
int g_source_profile_mode = 1;
float g_fault_strike_deg = 0.0f;
int g_active_stamp_fault_id = -1;
int g_active_stamp_patch_id = 0;
float g_fault_stamp_length_km = 40.0f;

SourceCellIndex g_source_cell_index;

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegToRad = kPi / 180.0;
constexpr float kEps = kSourceZeroEps;

bool is_secondary(const SourcePoint& p) {
    return p.fault_id > 0 && p.patch_id < 0;
}

}  // namespace

void source_cell_reset_globals() {
    g_new_source_height_m = 1.0f;
    g_new_source_delay_s = 15;
    g_fault_dip_deg = 15.0f;
    g_source_depth_km = 20.0f;
    g_fault_width_km = 20.0f;
    g_subsidence_ratio = 0.45f;
    g_subsidence_side = 1;
    g_strike_slip_mix = 0.0f;
    g_strike_slip_sense = 1;
    g_source_profile_mode = 1;
    g_fault_strike_deg = 0.0f;
    g_active_stamp_fault_id = -1;
    g_active_stamp_patch_id = 0;
    g_fault_stamp_length_km = 40.0f;
    source_cell_index_free();
}

// --- Limits -----------------------------------------------------------------------------------

int round_half_away(double v) {
    if (!(v == v)) return 0;
    const double r = std::round(v);
    if (r >= double(INT_MAX)) return INT_MAX;
    if (r <= double(INT_MIN)) return INT_MIN;
    return int(r);
}

double wrap_degrees_360(double v) {
    double w = std::fmod(v, 360.0);
    if (w < 0) w += 360.0;
    if (w >= 360.0) w = 0.0;  // -1e-20 + 360 rounds to 360
    return w;
}

float clamped_fault_dip_deg() {
    const float d = g_fault_dip_deg;
    if (!(d >= 5.0f)) return 5.0f;
    return d > 60.0f ? 60.0f : d;
}

float clamped_source_depth_km() {
    const float d = g_source_depth_km;
    if (!(d >= 0.0f)) return 0.0f;
    return d > 700.0f ? 700.0f : d;
}

float fault_width_km_sanitized() {
    float w = g_fault_width_km;
    if (!std::isfinite(w))
        w = 20.0f;
    else if (w < 1.0f)
        w = 1.0f;
    else if (w > 800.0f)
        w = 800.0f;
    g_fault_width_km = w;
    return w;
}

// A mix that is not a number counts as pure thrust rather than poisoning every height.
static float mix_or_zero() {
    return g_strike_slip_mix == g_strike_slip_mix ? g_strike_slip_mix : 0.0f;
}
float thrust_share() {
    return std::clamp(1.0f - mix_or_zero(), 0.0f, 1.0f);
}
float strike_slip_share() {
    return std::clamp(mix_or_zero(), 0.0f, 1.0f);
}

static double limited_dip(double dip_deg) {
    if (!(dip_deg >= 5.0)) return 5.0;
    return dip_deg > 60.0 ? 60.0 : dip_deg;
}

double dip_sin(double dip_deg) {
    return std::sin(limited_dip(dip_deg) * kDegToRad);
}

double dip_cos_floor(double dip_deg) {
    return std::max(std::cos(limited_dip(dip_deg) * kDegToRad), 0.25);
}

static bool dip_valid(float d) {
    return std::isfinite(d) && d >= 5.0f && d <= 60.0f;
}

float node_dip_or_global(const SourcePoint& p) {
    return dip_valid(p.dip_deg) ? p.dip_deg : clamped_fault_dip_deg();
}

float node_area_factor_or_default(const SourcePoint& p, float dip_deg) {
    const float f = p.moment_area_factor;
    if (std::isfinite(f) && f > 0.01f && f < 100.0f) return f;
    return float(1.0 / dip_cos_floor(dip_deg));
}

// --- Shared physics -----------------------------------------------------------------------

float thrust_tsunami_depth_factor_at_km(float depth_km) {
    static constexpr float kDepth[] = {0, 10, 20, 40, 60, 70, 100, 150, 200};
    static constexpr float kFactor[] = {1.0f,  0.95f, 0.85f,  0.5f, 0.25f,
                                        0.15f, 0.03f, 0.003f, 0.0f};
    const float d = std::min(depth_km, 700.0f);
    if (!(d > 0.0f)) return 1.0f;
    if (d > 200.0f) return 0.0f;
    int i = 1;
    while (i < 8 && kDepth[i] < d) ++i;
    const float lo = kDepth[i - 1], hi = kDepth[i];
    const float t = (d - lo) / std::max(hi - lo, 0.001f);
    const float s = t * t * t * (t * (6.0f * t - 15.0f) + 10.0f);
    return std::clamp(kFactor[i - 1] + (kFactor[i] - kFactor[i - 1]) * s, 0.0f, 1.0f);
}

float strike_slip_depth_decay(float depth_km) {
    if (depth_km > 10.0f) return std::min(1.0f, std::exp(-0.07489331f * (depth_km - 10.0f)));
    return 1.0f;
}

float fault_width_radius_cells_at_y(float y) {
    const double w = fault_width_km_sanitized();
    const double r = dip_cos_floor(clamped_fault_dip_deg()) * w * 0.5 / cell_km_at_row(y);
    return float(std::clamp(r, 2.0, 120.0));
}

int fault_width_radius_cells_int_at_y() {
    const double w = fault_width_km_sanitized();
    const double r = dip_cos_floor(clamped_fault_dip_deg()) * w * 0.5 / kCellKmAtRow270;
    return std::clamp(round_half_away(std::clamp(r, 2.0, 120.0)), 2, 120);
}

int set_fault_width_km_value(float w) {
    g_fault_width_km = w;
    fault_width_km_sanitized();
    return fault_width_radius_cells_int_at_y();
}

float fault_plane_cell_depth_km(int x0, int y0, int x, int y, float dx, float dy,
                                float offset_cells) {
    const double dip = clamped_fault_dip_deg();
    const double tan_d = dip_sin(dip) / dip_cos_floor(dip);
    const double along_dip =
        std::max(0.0, double(x - x0) * dx + double(y - y0) * dy + double(offset_cells));
    const double z = clamped_source_depth_km() + along_dip * cell_km_at_row(float(y)) * tan_d;
    return float(std::clamp(z, 0.0, 700.0));
}

// The height the current shares give a slip at a dip and depth, before any cut-off.
static float height_from_slip_raw(float s, float dip_deg, float depth_km) {
    const float vertical =
        float(s * dip_sin(dip_deg)) * thrust_share() * thrust_tsunami_depth_factor_at_km(depth_km);
    const float strike = s * strike_slip_share() * 0.18f * strike_slip_depth_decay(depth_km);
    return vertical + strike;
}

float preset_recompute_height_from_slip_depth(float slip, float dip_deg, float depth_km) {
    if (!(std::fabs(slip) > kEps)) return 0.0f;
    float d = depth_km;
    if (d < 0.0f)
        d = 0.0f;
    else
        d = std::min(d, 700.0f);
    const float h = height_from_slip_raw(std::fabs(slip), dip_deg, d);
    return std::fabs(h) < kEps ? 0.0f : h;
}

float source_peak_height_estimate_m() {
    return height_from_slip_raw(g_new_source_height_m, clamped_fault_dip_deg(),
                                std::min(g_source_depth_km, 700.0f));
}

// --- Cell-to-node index -----------------------------------------------------------------------

static std::int32_t cell_of_node(const SourcePoint& p) {
    if (!g_grid.in_grid(p.grid_x, p.grid_y)) return -1;
    return std::int32_t(std::size_t(p.grid_y) * g_grid.nx + std::size_t(p.grid_x));
}

void source_cell_index_free() {
    g_source_cell_index = SourceCellIndex{};
}

void source_cell_index_sync() {
    SourceCellIndex& ix = g_source_cell_index;
    if (ix.nx != g_grid.nx || ix.ny != g_grid.ny || ix.first_node.size() != g_grid.cell_count()) {
        ix.nx = g_grid.nx;
        ix.ny = g_grid.ny;
        ix.first_node.assign(g_grid.cell_count(), -1);
        ix.node_cell.clear();
    }
    const std::size_t n = g_sources.count;
    const std::size_t m = ix.node_cell.size();
    const std::size_t common = std::min(n, m);
    std::size_t i = 0;
    while (i < common && ix.node_cell[i] == cell_of_node(g_sources.items[i])) ++i;
    if (i == n && i == m) return;

    // Everything from the first difference on is re-indexed; entries of earlier nodes stay,
    // and since an entry holds the lowest index at its cell, an entry >= i has no earlier node.
    for (std::size_t j = i; j < m; ++j) {
        const std::int32_t c = ix.node_cell[j];
        if (c >= 0 && ix.first_node[std::size_t(c)] >= std::int32_t(i))
            ix.first_node[std::size_t(c)] = -1;
    }
    ix.node_cell.resize(i);
    for (std::size_t j = i; j < n; ++j) {
        const std::int32_t c = cell_of_node(g_sources.items[j]);
        ix.node_cell.push_back(c);
        if (c >= 0 && ix.first_node[std::size_t(c)] < 0)
            ix.first_node[std::size_t(c)] = std::int32_t(j);
    }
}

// The index entry of a cell of the grid; the index must have been synced.
static long node_at_cell(std::size_t c) {
    if (g_source_cell_index.first_node.size() != g_grid.cell_count()) source_cell_index_sync();
    return g_source_cell_index.first_node[c];
}

long source_find_node_at(int x, int y) {
    if (!g_grid.in_grid(x, y)) return -1;
    source_cell_index_sync();
    return node_at_cell(std::size_t(y) * g_grid.nx + std::size_t(x));
}

// Appends through the list's own growth rule and keeps the index in step.
static SourcePoint& append_node(std::size_t c, int x, int y, float h, int d) {
    source_list_append(&g_sources, x, y, h, d);
    const std::int32_t idx = std::int32_t(g_sources.count - 1);
    SourceCellIndex& ix = g_source_cell_index;
    if (ix.node_cell.size() == std::size_t(idx)) {
        ix.node_cell.push_back(std::int32_t(c));
        if (ix.first_node[c] < 0) ix.first_node[c] = idx;
    }  // otherwise the next sync catches up
    return g_sources.items[std::size_t(idx)];
}

// --- Cell operations ------------------------------------------------------------------------

void source_apply_current_fault_metadata(SourcePoint* node) {
    if (!node) return;
    const float dip = clamped_fault_dip_deg();
    node->dip_deg = dip;
    float f = 1.0f;
    if (g_source_profile_mode != 0) f = float(1.0 / dip_cos_floor(dip));
    if (!std::isfinite(f) || f < 0.01f) f = 1.0f;
    node->moment_area_factor = f;
    if (g_active_stamp_fault_id >= 0) {
        node->fault_id = g_active_stamp_fault_id;
        node->patch_id = g_active_stamp_patch_id;
        node->strike_deg = g_fault_strike_deg;
        node->depth_km = g_source_depth_km;
        node->width_km = fault_width_km_sanitized();
        node->length_km = g_fault_stamp_length_km;
    }
}

// The slip a brush write of height h carries: none for subsidence, else the slip input.
static float brush_slip_for(float h) {
    if (h < -kEps) return 0.0f;
    const float s = std::fabs(g_new_source_height_m);
    if (s != 0.0f) return s;
    return h > kEps ? h : 0.0f;
}

// A larger new slip pulls the stored one strongly, a smaller one weakly.
static float merged_slip(float s0, float b, float new_height) {
    float s;
    if (new_height < -kEps)
        s = 0.0f;
    else if (s0 == 0.0f)
        s = b;
    else if (b <= 0.0f)
        s = std::fabs(s0);
    else {
        const float a = std::fabs(s0);
        s = a + (b - a) * (b > a ? 0.65f : 0.25f);
    }
    return s < kEps ? 0.0f : s;
}

static void mirror_cell(std::size_t c, float h, int d, bool restart_ramp) {
    Simulation& sim = g_sim;
    if (c < sim.source_height.size()) sim.source_height[c] = h;
    solver_sources_changed(&sim);
    if (c < sim.source_delay_s.size()) sim.source_delay_s[c] = d;
    if (restart_ramp && c < sim.source_applied.size()) sim.source_applied[c] = 0.0f;
}

static bool cell_solid(std::size_t c) {
    return c < g_grid.solid.size() && g_grid.solid[c];
}

namespace source_cell_detail {

int footprint_only(int x, int y, int d) {
    if (!g_grid.in_grid(x, y)) return 0;
    const std::size_t c = std::size_t(y) * g_grid.nx + std::size_t(x);
    const long i = node_at_cell(c);
    const float b = std::fabs(g_new_source_height_m);
    if (i < 0) {
        SourcePoint& p = append_node(c, x, y, 0.0f, d);
        p.slip_m = b < kEps ? 0.0f : b;
        source_apply_current_fault_metadata(&p);
        mirror_cell(c, 0.0f, d, true);
        return 1;
    }
    SourcePoint& p = g_sources.items[std::size_t(i)];
    const int d0 = p.delay_s;
    p.slip_m = merged_slip(p.slip_m, b, p.height_m);
    p.delay_s = d0 < 1 ? d : (d >= 1 ? std::min(d, d0) : d0);
    // The ramp of a footprint cell is left alone: its height did not change.
    if (!cell_solid(c)) mirror_cell(c, p.height_m, p.delay_s, false);
    return 1;
}

int set_height(int x, int y, float h, int d) {
    if (!g_grid.in_grid(x, y)) return 0;
    const std::size_t c = std::size_t(y) * g_grid.nx + std::size_t(x);
    if (cell_solid(c)) return h < -kEps ? 0 : footprint_only(x, y, d);
    if (std::fabs(h) < kEps) return footprint_only(x, y, d);

    const long i = node_at_cell(c);
    const float b = brush_slip_for(h);
    if (i < 0) {
        SourcePoint& p = append_node(c, x, y, h, d);
        p.slip_m = (h < -kEps || b < kEps) ? 0.0f : b;
        source_apply_current_fault_metadata(&p);
        mirror_cell(c, h, d, true);
        return 1;
    }
    SourcePoint& p = g_sources.items[std::size_t(i)];
    const float h0 = p.height_m, s0 = p.slip_m;
    const int d0 = p.delay_s;
    float hn = h;
    if (g_source_profile_mode != 0 && std::fabs(h0) >= kEps) {
        if ((h > 0.0f) == (h0 > 0.0f))
            hn = std::fabs(h) > std::fabs(h0) ? h : h0;
        else
            hn = std::fabs(h) > 1.08f * std::fabs(h0) ? h : h0;  // only a clearly stronger flip
    }
    const float sn = merged_slip(s0, b, hn);
    // The earliest positive start wins; 0 counts as not set.
    const int dn = d0 > 0 ? (d == 0 ? d0 : std::min(d, d0)) : d;
    if (std::fabs(hn - h0) < 0.00005f && std::fabs(sn - s0) < kEps && dn == d0) return 0;
    p.height_m = hn;
    p.slip_m = sn;
    p.delay_s = dn;
    mirror_cell(c, hn, dn, true);
    return 1;
}

int set_height_force(int x, int y, float h, int d) {
    if (!g_grid.in_grid(x, y)) return 0;
    const std::size_t c = std::size_t(y) * g_grid.nx + std::size_t(x);
    if (cell_solid(c)) return h < -kEps ? 0 : footprint_only(x, y, d);
    if (std::fabs(h) < kEps) return footprint_only(x, y, d);
    const float b = brush_slip_for(h);
    const float slip = (h < -kEps || b < kEps) ? 0.0f : b;
    const long i = node_at_cell(c);
    if (i < 0) {
        SourcePoint& p = append_node(c, x, y, h, d);
        p.slip_m = slip;
        source_apply_current_fault_metadata(&p);
    } else {
        SourcePoint& p = g_sources.items[std::size_t(i)];
        p.height_m = h;
        p.delay_s = d;
        p.slip_m = slip;
    }
    mirror_cell(c, h, d, true);
    return 1;
}

}  // namespace source_cell_detail

int set_source_cell_height(int x, int y, float height_m, int delay_s) {
    source_cell_index_sync();
    return source_cell_detail::set_height(x, y, height_m, delay_s);
}

int set_source_cell_height_force(int x, int y, float height_m, int delay_s) {
    source_cell_index_sync();
    return source_cell_detail::set_height_force(x, y, height_m, delay_s);
}

int set_source_cell_footprint_only(int x, int y, int delay_s) {
    source_cell_index_sync();
    return source_cell_detail::footprint_only(x, y, delay_s);
}

// --- Moment -----------------------------------------------------------------------------------

// The area one brush dab would cover: what an empty source stands for.
static double empty_source_area_km2() {
    const double r = fault_width_radius_cells_at_y(270.0f);
    double area = std::max(0.001, kPi * r * r * double(kCellKmAtRow270) * double(kCellKmAtRow270));
    if (g_source_profile_mode != 0) area /= dip_cos_floor(clamped_fault_dip_deg());
    return area;
}

// Nodes that stand for fault surface: not automatic secondaries, not subsidence, and carrying
// either a slip or an uplift.
static bool counts_for_moment(const SourcePoint& p) {
    if (is_secondary(p) || p.height_m < -kEps) return false;
    // Points made from a fault table carry the table's standard moment instead.
    if (p.fault_id == kFaultTableFaultId && g_fault_table_moment_nm > 0) return false;
    return !(std::fabs(p.slip_m) <= kEps && p.height_m <= kEps);
}

static double node_area_km2(const SourcePoint& p) {
    const double k = cell_km_at_row(float(p.grid_y));
    return k * k * node_area_factor_or_default(p, node_dip_or_global(p));
}

float current_source_moment_horizontal_area_km2() {
    if (g_sources.count == 0) return float(empty_source_area_km2());
    double sum = 0;
    bool any = false;
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        const SourcePoint& p = g_sources.items[i];
        if (!counts_for_moment(p)) continue;
        sum += node_area_km2(p);
        any = true;
    }
    if (!any || !(sum > 0)) return 0.0f;
    return float(std::max(0.001, sum));
}

double current_seismic_moment_nm() {
    if (g_sources.count == 0) {
        return 2.0 * kRigidityPa * std::max(1.0, empty_source_area_km2() * 1e6) *
               std::fabs(double(g_new_source_height_m));
    }
    double m0 = 0;
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        const SourcePoint& p = g_sources.items[i];
        if (!counts_for_moment(p)) continue;
        double slip;
        if (std::fabs(p.slip_m) > kEps)
            slip = std::fabs(p.slip_m);
        else if (p.height_m > kEps)
            slip = p.height_m;
        else
            continue;
        m0 += kRigidityPa * std::max(1.0, node_area_km2(p) * 1e6) * slip;
    }
    return 2.0 * m0;
}

float moment_magnitude_from_m0(double m0) {
    if (!(m0 > 0)) return 0.0f;
    return float((std::log10(m0) - 9.1) * 2.0 / 3.0);
}

float current_moment_magnitude() {
    return moment_magnitude_from_m0(current_seismic_moment_nm());
}

const char* subsidence_side_name() {
    static const char* const kCompass[16] = {"N", "NNE", "NE", "ENE", "E", "ESE", "SE", "SSE",
                                             "S", "SSW", "SW", "WSW", "W", "WNW", "NW", "NNW"};
    static char buf[96];
    const bool left = g_subsidence_side <= 0;
    const double dir = wrap_degrees_360(double(g_fault_strike_deg) + (left ? -90.0 : 90.0));
    const int idx = int(std::floor((dir + 11.25) / 22.5)) & 15;
    std::snprintf(buf, sizeof buf, "%s of strike, toward %s", left ? "left" : "right",
                  kCompass[idx]);
    return buf;
}

}  // namespace kaitoro
