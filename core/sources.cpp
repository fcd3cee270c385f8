#include "core/sources.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "core/driver.h"
#include "core/fatal.h"
#include "core/platform.h"
#include "core/status.h"
#include "core/text_input.h"

namespace kaitoro {

SourceList g_sources;

void source_list_append(SourceList* list, int x, int y, float height_m, int delay_s) {
    if (list->count == list->capacity) {
        const std::size_t cap = list->capacity ? list->capacity * 2 : 64;
        try {
            list->items.resize(cap);
        } catch (const std::bad_alloc&) {
            tsunami_fatal("out of memory");
        }
        list->capacity = cap;
    }
    SourcePoint p;
    p.grid_x = x;
    p.grid_y = y;
    p.height_m = height_m;
    p.slip_m = height_m > kSourceZeroEps ? height_m : 0.0f;
    p.delay_s = delay_s;
    list->items[list->count++] = p;
}

void source_list_clear(SourceList* list) { list->count = 0; }

void source_list_free(SourceList* list) {
    list->items = {};
    list->count = 0;
    list->capacity = 0;
}

void source_point_normalize_slip(SourcePoint* p) {
    if (p->height_m < -kSourceZeroEps) {
        p->slip_m = 0.0f;
    } else {
        const float s = std::fabs(p->slip_m);
        p->slip_m = s < kSourceZeroEps ? 0.0f : s;
    }
}

void normalize_source_slips(SourceList* list) {
    for (std::size_t i = 0; i < list->count; ++i) source_point_normalize_slip(&list->items[i]);
}

bool parse_source_csv_line(const char* line, int* x, int* y, float* height_m, int* delay_s) {
    int n = 0;
    long long lx = 0, ly = 0, ldelay = 0;
    if (std::sscanf(line, " %lld , %lld , %f , %lld%n", &lx, &ly, height_m, &ldelay, &n) != 4)
        return false;
    // Integers are read wide so one beyond int range makes the line invalid instead of
    // wrapping onto some other cell. "nan" and "inf" parse as numbers but no displacement can
    // be either; a height beyond float range reads as infinity and is refused here too.
    if (!narrow_to_int(lx, x) || !narrow_to_int(ly, y) || !narrow_to_int(ldelay, delay_s) ||
        !std::isfinite(*height_m))
        return false;
    for (const char* p = line + n; *p; ++p)
        if (*p != ' ' && *p != '\t' && *p != '\r' && *p != '\n') return false;
    return true;
}

int load_sources_csv(SourceList* list, const char* path) {
    std::FILE* f = open_regular_file(path);
    if (!f) return 0;
    char line[512];
    bool first = true;
    while (read_line(f, line, sizeof line)) {
        const bool is_first = first;
        first = false;
        const char* p = is_first ? skip_bom(line) : line;
        while (*p == ' ' || *p == '\t') ++p;
        if (*p == '\0' || *p == '\n' || *p == '\r' || *p == '#') continue;
        if (is_first && std::strstr(p, "grid_x")) continue;
        int x, y, delay;
        float h;
        if (parse_source_csv_line(p, &x, &y, &h, &delay)) source_list_append(list, x, y, h, delay);
    }
    std::fclose(f);
    return 1;
}

void add_source_grid(const GridData* grid, Simulation* sim, int x, int y, float height_m,
                     int delay_s) {
    if (!grid->in_grid(x, y)) return;
    const std::size_t c = std::size_t(y) * grid->nx + x;
    if (!grid->solid.empty() && grid->solid[c]) return;
    if (sim->source_height.size() <= c) return;
    const float cur = sim->source_height[c];
    float h = height_m;
    // Points of one rupture time on one cell add up; a later point with another time wins.
    if (cur != 0.0f && sim->source_delay_s[c] == delay_s) h = height_m + cur;
    sim->source_height[c] = h;
    solver_sources_changed(sim);
    sim->source_delay_s[c] = delay_s;
    sim->source_applied[c] = 0.0f;
}

void apply_sources_to_simulation(const GridData* grid, Simulation* sim, const SourceList* list) {
    for (std::size_t i = 0; i < list->count; ++i) {
        const SourcePoint& p = list->items[i];
        add_source_grid(grid, sim, p.grid_x, p.grid_y, p.height_m, p.delay_s);
    }
}

void (*g_source_apply_metadata_hook)(SourcePoint*) = nullptr;
void (*g_source_undo_push_hook)(const char* label) = nullptr;
void (*g_reset_state_preserve_sources_hook)() = nullptr;
bool (*g_fault_table_load_hook)(const char* path) = nullptr;

void load_source_csv_dialog(void*) {
    FileDialogRequest req;
    req.title = "Load source CSV";
    req.filters = {{"CSV source files", "*.csv"}, {"All files", "*.*"}};
    if (g_fault_table_load_hook) req.filters.push_back({"Fault tables", "*.csv"});
    req.file_must_exist = true;
    req.path_must_exist = true;
    const auto path = platform().open_file_dialog(req);
    if (!path) return;
    load_source_csv_file(path->c_str());
    platform().request_repaint();
}

long load_source_csv_file(const char* path) {
    const std::size_t before = g_sources.count;
    // Whatever filter was chosen, the file's own header decides what it is.
    if (g_fault_table_load_hook && g_fault_table_load_hook(path))
        return long(g_sources.count) - long(before);

    if (g_source_undo_push_hook) g_source_undo_push_hook("load source CSV");
    if (!load_sources_csv(&g_sources, path)) {
        set_status("Failed to load source CSV.");
        return -1;
    }
    for (std::size_t i = before; i < g_sources.count; ++i) {
        if (g_source_apply_metadata_hook) g_source_apply_metadata_hook(&g_sources[i]);
        source_point_normalize_slip(&g_sources[i]);
    }
    if (g_reset_state_preserve_sources_hook) g_reset_state_preserve_sources_hook();
    else driver_reset_run();
    set_status("Loaded %zu source(s) from CSV.", g_sources.count - before);
    return long(g_sources.count - before);
}

}  // namespace kaitoro
