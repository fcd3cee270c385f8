// kaitoro-cli info: the grid's facts as JSON.
#include <cstdio>
#include <string>

#include "cli/options.h"
#include "core/driver.h"
#include "core/masks.h"
#include "core/stations.h"
#include "core/status.h"

namespace kaitoro::cli {

std::string json_escape(const std::string& s) {
    std::string out;
    for (unsigned char c : s) {
        if (c == '"' || c == '\\') out += '\\', out += char(c);
        else if (c < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else out += char(c);
    }
    return out;
}

int cmd_info(const RunOptions& o) {
    if (int rc = start(o.grid)) return rc;
    const GridData& g = g_grid;
    std::size_t enabled = 0, disabled = 0, virt = 0;
    for (std::uint32_t i = 0; i < g.station_count; ++i) {
        if (g.station_flags[i] == 0) ++disabled;
        else if (g.station_flags[i] == 2) ++virt;
        else ++enabled;
    }
    int hidden_rows = 0, first_hidden = -1;
    for (std::uint32_t y = 0; y < g.ny; ++y)
        if (g.hidden[std::size_t(y) * g.nx + g.nx - 1]) {
            ++hidden_rows;
            if (first_hidden < 0) first_hidden = int(y);
        }
    std::size_t land = 0, solid = 0, sea = 0, raw_land = 0;
    for (std::size_t c = 0; c < g.cell_count(); ++c) {
        land += g.land[c];
        solid += g.solid[c];
        sea += !g.solid[c];
        raw_land += g.raw_land[c];
    }
    std::printf("{\n  \"grid\": \"%s\",\n  \"nx\": %u,\n  \"ny\": %u,\n  \"cells\": %zu,\n",
                json_escape(o.grid).c_str(), g.nx, g.ny, g.cell_count());
    std::printf(
        "  \"stations\": {\"total\": %u, \"enabled\": %zu, \"disabled\": %zu, \"virtual\": %zu},\n",
        g.station_count, enabled, disabled, virt);
    std::printf("  \"hidden_rows\": %d,\n  \"hidden_from_row\": %d,\n", hidden_rows, first_hidden);
    std::printf(
        "  \"cells_by_mask\": {\"raw_land\": %zu, \"land\": %zu, \"solid\": %zu, \"sea\": %zu},\n",
        raw_land, land, solid, sea);
    std::printf("  \"land_overrides\": %d,\n  \"status\": \"%s\",\n", count_land_overrides(&g),
                json_escape(g_status).c_str());
    std::printf("  \"stations_per_zone\": [");
    bool first = true;
    for (int z = 1; z <= 93; ++z) {
        int n = 0;
        for (std::uint32_t i = 0; i < g.station_count; ++i)
            n += (g.station_flags[i] != 0 && g.station_zone[i] == z);
        if (n == 0 && z == kZoneOutside) continue;
        std::printf("%s\n    {\"zone\": %d, \"name\": \"%s\", \"stations\": %d}", first ? "" : ",",
                    z, json_escape(forecast_zone_name_from_id(z)).c_str(), n);
        first = false;
    }
    std::printf("\n  ]\n}\n");
    driver_shutdown();
    return 0;
}

}  // namespace kaitoro::cli
