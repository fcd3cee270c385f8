#include "source_design/preset.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "core/text_input.h"
#include "core/driver.h"
#include "core/fatal.h"
#include "core/platform.h"
#include "core/safe_file.h"
#include "core/sources.h"
#include "core/status.h"
#include "source_design/brush.h"
#include "source_design/node_tune.h"
#include "source_design/source_cell.h"
#include "source_design/undo.h"

namespace kaitoro {

int g_last_preset_recalculated_from_slip = 0;

static float s_wave_display_coeff_standin = 1.0f;
static float s_wave_overlay_alpha_standin = 0.0f;
float* g_preset_wave_display_coeff = &s_wave_display_coeff_standin;
float* g_preset_wave_overlay_alpha = &s_wave_overlay_alpha_standin;

namespace {

constexpr float kEps = kSourceZeroEps;
constexpr char kHeader[] = "# kaitoro_preset_v1";
constexpr char kRowsComment[] =
    "# rows: PARAM,key,value or "
    "SOURCE,grid_x,grid_y,height_m,delay_s,slip_m[,dip_deg,moment_area_factor,fault_id,patch_id,"
    "strike_deg,depth_km,width_km,length_km]";
constexpr char kSourceHeader[] =
    "SOURCE_HEADER,grid_x,grid_y,height_m,delay_s,slip_m,dip_deg,moment_area_factor,fault_id,"
    "patch_id,strike_deg,depth_km,width_km,length_km";

bool dip_in_range(float d) {
    return std::isfinite(d) && d >= 5.0f && d <= 60.0f;
}
bool factor_in_range(float f) {
    return std::isfinite(f) && f > 0.01f && f < 100.0f;
}

// abs(slip), 0 below the zero threshold, 0 for subsidence; what every stored slip looks like.
float normalized_slip(float slip, float height) {
    if (height < -kEps || !std::isfinite(slip)) return 0.0f;
    const float s = std::fabs(slip);
    return s < kEps ? 0.0f : s;
}

void append_line(std::string& out, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
void append_line(std::string& out, const char* fmt, ...) {
    char buf[512];
    va_list ap;
    va_start(ap, fmt);
    const int n = std::vsnprintf(buf, sizeof buf, fmt, ap);
    va_end(ap);
    if (n > 0) out.append(buf, std::min(std::size_t(n), sizeof buf - 1));
    out += '\n';
}

// --- Reading ----------------------------------------------------------------------------------

// A value limited to [lo, hi]; false (setting untouched) for a value that is not a number.
bool limited(double v, double lo, double hi, float* out) {
    if (v != v) return false;
    *out = float(std::clamp(v, lo, hi));
    return true;
}

void apply_param(const char* key, double v) {
    // Stored as float: a value beyond float range would become infinity, so it counts as not
    // a number wherever it is stored as given (clamped settings take it as their bound).
    const bool finite = std::isfinite(v) && std::fabs(v) <= double(FLT_MAX);
    auto is = [key](const char* name) { return std::strcmp(key, name) == 0; };
    if (is("new_source_height_m")) {
        if (finite) g_new_source_height_m = float(v);
    } else if (is("new_source_delay_s")) {
        if (finite) g_new_source_delay_s = round_half_away(v);
    } else if (is("brush_radius_cells")) {
        // Older files carry the brush radius instead of the width: the width that projects to
        // that radius at the current dip.
        if (!finite) return;
        const int r = std::clamp(round_half_away(v), 2, 120);
        double w = 2.0 * r * double(kCellKmAtRow270) / dip_cos_floor(clamped_fault_dip_deg());
        w = std::isfinite(w) ? std::clamp(w, 1.0, 800.0) : 20.0;
        set_fault_width_km_value(float(w));
    } else if (is("fault_width_km")) {
        set_fault_width_km_value(float(v != v ? v : std::clamp(v, -1e30, 1e30)));
    } else if (is("subsidence_ratio")) {
        limited(v, 0.0, 1.0, &g_subsidence_ratio);
    } else if (is("fault_dip_deg")) {
        limited(v, 5.0, 60.0, &g_fault_dip_deg);
    } else if (is("strike_slip_mix")) {
        limited(v, 0.0, 1.0, &g_strike_slip_mix);
    } else if (is("fault_strike_deg")) {
        if (finite) g_fault_strike_deg = float(wrap_degrees_360(v));
    } else if (is("strike_smoothing_strength")) {
        limited(v, 0.0, 5.0, &g_strike_smoothing_strength);
    } else if (is("source_depth_km")) {
        limited(v, 0.0, 700.0, &g_source_depth_km);
    } else if (is("rupture_velocity_km_s")) {
        limited(v, 0.1, 8.0, &g_rupture_velocity_km_s);
    } else if (is("rupture_delay_cursor_s")) {
        if (finite) g_rupture_delay_cursor_s = float(v);
    } else if (is("source_profile_mode")) {
        if (finite) g_source_profile_mode = round_half_away(v) != 0 ? 1 : 0;
    } else if (is("strike_slip_sense")) {
        if (finite) g_strike_slip_sense = round_half_away(v) < 0 ? -1 : 1;
    } else if (is("bilateral_rupture")) {
        if (finite) g_bilateral_rupture = round_half_away(v) != 0 ? 1 : 0;
    } else if (is("wave_display_coeff")) {
        limited(v, 0.05, 20.0, g_preset_wave_display_coeff);
    } else if (is("wave_overlay_alpha")) {
        limited(v, 0.0, 1.0, g_preset_wave_overlay_alpha);
    } else if (is("fault_stamp_length_km")) {
        g_fault_stamp_length_km = finite ? float(std::clamp(v, 5.0, 600.0)) : 40.0f;
    } else if (is("subsidence_side")) {
        if (finite) g_subsidence_side = round_half_away(v) < 0 ? -1 : 1;
    }
}

void read_param_row(const char* rest) {
    char key[96];
    double v;
    if (std::sscanf(rest, " %95[^,] , %lf", key, &v) != 2) return;
    char* k = key;
    while (*k == ' ' || *k == '\t') ++k;
    std::size_t n = std::strlen(k);
    while (n > 0 && (k[n - 1] == ' ' || k[n - 1] == '\t')) k[--n] = '\0';
    apply_param(k, v);
}

// A node as a fresh append would make it.
SourcePoint new_node(int x, int y, float h, int delay) {
    SourcePoint p;
    p.grid_x = x;
    p.grid_y = y;
    p.height_m = h;
    p.slip_m = h > kEps ? h : 0.0f;
    p.delay_s = delay;
    return p;
}

struct PresetReader {
    std::vector<SourcePoint> nodes;
    int rebuilt = 0;

    void add(const SourcePoint& p) {
        try {
            nodes.push_back(p);
        } catch (const std::bad_alloc&) {
            tsunami_fatal("out of memory");
        }
    }

    void source_row(const char* rest) {
        int x, y, delay, fault_id = 0, patch_id = 0;
        long long lx = 0, ly = 0, ldelay = 0, lfault = 0, lpatch = 0;
        float h, slip = 0, dip = 0, factor = 0, strike = 0, depth = 0, width = 0, length = 0;
        const int n = std::sscanf(
            rest, " %lld , %lld , %f , %lld , %f , %f , %f , %lld , %lld , %f , %f , %f , %f", &lx,
            &ly, &h, &ldelay, &slip, &dip, &factor, &lfault, &lpatch, &strike, &depth, &width,
            &length);
        if (n < 4 || !std::isfinite(h)) return;  // a height that is not a number moves no water
        // Integers beyond int range make the row invalid rather than wrap onto another cell.
        if (!narrow_to_int(lx, &x) || !narrow_to_int(ly, &y) || !narrow_to_int(ldelay, &delay) ||
            !narrow_to_int(lfault, &fault_id) || !narrow_to_int(lpatch, &patch_id))
            return;
        SourcePoint p = new_node(x, y, h, delay);
        const bool dip_ok = n >= 6 && dip_in_range(dip);
        if (dip_ok) p.dip_deg = dip;
        if (n >= 7 && factor_in_range(factor)) p.moment_area_factor = factor;
        if (n >= 8) p.fault_id = fault_id;
        if (n >= 9) p.patch_id = patch_id;
        if (n >= 10 && std::isfinite(strike)) p.strike_deg = float(wrap_degrees_360(strike));
        if (n >= 11 && std::isfinite(depth)) p.depth_km = std::clamp(depth, 0.0f, 700.0f);
        if (n >= 12 && std::isfinite(width)) p.width_km = std::clamp(width, 1.0f, 800.0f);
        if (n >= 13 && std::isfinite(length)) p.length_km = std::clamp(length, 5.0f, 600.0f);

        // A slip carried by a direct fault node rebuilds the height with today's rules;
        // automatic secondaries keep theirs (they are dropped after loading anyway).
        if (n >= 5 && std::isfinite(slip) && std::fabs(slip) > kEps && (n < 9 || patch_id >= 0)) {
            const float d = dip_ok ? p.dip_deg : clamped_fault_dip_deg();
            float z = 0.0f;
            if (n >= 11) z = std::isfinite(depth) ? p.depth_km : g_source_depth_km;
            p.height_m = preset_recompute_height_from_slip_depth(slip, d, z);
            if (!std::isfinite(p.height_m)) return;  // a slip too large for any height
            p.slip_m = normalized_slip(slip, 0.0f);
            ++rebuilt;
        } else {
            if (n >= 5) p.slip_m = normalized_slip(slip, p.height_m);
            source_apply_current_fault_metadata(&p);
        }
        add(p);
    }

    bool plain_row(const char* line) {
        int x, y, delay;
        long long lx, ly, ldelay;
        float h;
        char extra;
        if (std::sscanf(line, " %lld , %lld , %f , %lld %c", &lx, &ly, &h, &ldelay, &extra) != 4)
            return false;
        if (!std::isfinite(h) || !narrow_to_int(lx, &x) || !narrow_to_int(ly, &y) ||
            !narrow_to_int(ldelay, &delay))
            return false;
        SourcePoint p = new_node(x, y, h, delay);
        source_apply_current_fault_metadata(&p);
        add(p);
        return true;
    }
};

}  // namespace

void preset_reset_globals() {
    g_last_preset_recalculated_from_slip = 0;
    s_wave_display_coeff_standin = 1.0f;
    s_wave_overlay_alpha_standin = 0.0f;
    g_preset_wave_display_coeff = &s_wave_display_coeff_standin;
    g_preset_wave_overlay_alpha = &s_wave_overlay_alpha_standin;
}

int save_current_preset_file(const char* path) {
    std::string out = "\xEF\xBB\xBF";
    out += kHeader;
    out += '\n';
    out += kRowsComment;
    out += '\n';
    const double width = fault_width_km_sanitized();
    const struct {
        const char* key;
        double value;
    } params[] = {
        {"new_source_height_m", g_new_source_height_m},
        {"new_source_delay_s", double(g_new_source_delay_s)},
        {"brush_radius_cells", double(fault_width_radius_cells_int_at_y())},
        {"fault_width_km", width},
        {"subsidence_ratio", g_subsidence_ratio},
        {"fault_dip_deg", g_fault_dip_deg},
        {"strike_slip_mix", g_strike_slip_mix},
        {"fault_strike_deg", g_fault_strike_deg},
        {"strike_smoothing_strength", g_strike_smoothing_strength},
        {"source_depth_km", g_source_depth_km},
        {"rupture_velocity_km_s", g_rupture_velocity_km_s},
        {"rupture_delay_cursor_s", g_rupture_delay_cursor_s},
        {"source_profile_mode", double(g_source_profile_mode)},
        {"strike_slip_sense", double(g_strike_slip_sense)},
        {"bilateral_rupture", double(g_bilateral_rupture)},
        {"wave_display_coeff", *g_preset_wave_display_coeff},
        {"wave_overlay_alpha", *g_preset_wave_overlay_alpha},
        {"fault_stamp_length_km", g_fault_stamp_length_km},
        {"subsidence_side", double(g_subsidence_side)},
    };
    for (const auto& p : params) append_line(out, "PARAM,%s,%.12g", p.key, p.value);
    out += kSourceHeader;
    out += '\n';
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        const SourcePoint& p = g_sources.items[i];
        const float dip = node_dip_or_global(p);
        append_line(
            out, "SOURCE,%d,%d,%.9g,%d,%.9g,%.9g,%.9g,%d,%d,%.9g,%.9g,%.9g,%.9g", p.grid_x,
            p.grid_y, double(p.height_m), p.delay_s, double(normalized_slip(p.slip_m, p.height_m)),
            double(dip), double(node_area_factor_or_default(p, dip)), p.fault_id, p.patch_id,
            double(p.strike_deg), double(p.depth_km), double(p.width_km), double(p.length_km));
    }

    SafeFile file(path);
    if (!file) return 0;
    const bool wrote = std::fwrite(out.data(), 1, out.size(), file.get()) == out.size();
    return (wrote && file.commit()) ? 1 : 0;
}

int load_preset_file(const char* path, std::size_t* out_count) {
    std::FILE* f = open_regular_file(path);
    if (!f) return 0;
    PresetReader reader;
    char buf[512];
    while (read_line(f, buf, sizeof buf)) {
        const char* p = skip_bom(buf);
        while (*p == ' ' || *p == '\t') ++p;
        if (*p == '\0' || *p == '\n' || *p == '\r' || *p == '#') continue;
        if (std::strncmp(p, "PARAM,", 6) == 0)
            read_param_row(p + 6);
        else if (std::strncmp(p, "SOURCE,", 7) == 0)
            reader.source_row(p + 7);
        else
            reader.plain_row(p);
    }
    std::fclose(f);

    source_list_clear(&g_sources);
    g_selected_source_i = -1;
    // The old selection means nothing for the new nodes.
    std::fill(g_node_tune_selected.begin(), g_node_tune_selected.end(), std::uint8_t(0));
    for (const SourcePoint& t : reader.nodes) {
        source_list_append(&g_sources, t.grid_x, t.grid_y, t.height_m, t.delay_s);
        SourcePoint& p = g_sources.items[g_sources.count - 1];
        p.slip_m = normalized_slip(t.slip_m, t.height_m);
        source_apply_current_fault_metadata(&p);
        p.dip_deg = dip_in_range(t.dip_deg) ? t.dip_deg : clamped_fault_dip_deg();
        p.moment_area_factor = factor_in_range(t.moment_area_factor)
                                   ? t.moment_area_factor
                                   : float(1.0 / dip_cos_floor(p.dip_deg));
        p.fault_id = t.fault_id;
        p.patch_id = t.patch_id;
        p.strike_deg = t.strike_deg;
        p.depth_km = t.depth_km;
        p.width_km = t.width_km;
        p.length_km = t.length_km;
    }
    if (out_count) *out_count = reader.nodes.size();
    g_last_preset_recalculated_from_slip = reader.rebuilt;

    if (g_grid.nx > 0 && g_grid.ny > 0) {
        std::size_t kept = 0;
        for (std::size_t i = 0; i < g_sources.count; ++i) {
            const SourcePoint& p = g_sources.items[i];
            if (p.fault_id > 0 && p.patch_id < 0) continue;  // automatic secondary
            g_sources.items[kept++] = p;
        }
        g_sources.count = kept;
        normalize_source_slips(&g_sources);
    }
    reset_state_preserve_sources();
    return 1;
}

void save_current_preset_dialog() {
    FileDialogRequest req;
    req.title = "Save current preset";
    req.filters = {{"Preset CSV", "*.csv"}, {"All files", "*.*"}};
    req.default_name = "tsunami_preset.csv";
    req.default_extension = "csv";
    req.confirm_overwrite = true;
    const auto path = platform().save_file_dialog(req);
    if (!path) return;
    const std::size_t write_mark = write_failures().size();
    if (save_current_preset_file(path->c_str()))
        set_status("Saved preset: %s", path->c_str());
    else
        set_status("Failed to save preset.");
    warn_write_failures_since(write_mark);
}

void load_preset_dialog() {
    FileDialogRequest req;
    req.title = "Load preset and apply now";
    req.filters = {{"Preset/Source CSV", "*.csv"}, {"All files", "*.*"}};
    req.file_must_exist = true;
    req.path_must_exist = true;
    const auto path = platform().open_file_dialog(req);
    if (!path) return;
    source_undo_push("load preset");
    std::size_t count = 0;
    if (load_preset_file(path->c_str(), &count))
        set_status("Loaded preset and applied %zu source point(s); rebuilt %d from slip+depth.",
                   count, g_last_preset_recalculated_from_slip);
    else
        set_status("Failed to load preset.");
    platform().request_repaint();
}

}  // namespace kaitoro
