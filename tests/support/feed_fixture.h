// Shared set-up for the report-feed tests: a synthetic grid, observation points placed on
// chosen cells, water levels written straight into the wave field, a stepped fake clock and
// an outbox in a temporary folder read back with a real JSON parser.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "core/driver.h"
#include "core/geo.h"
#include "core/solver.h"
#include "feed/arrivals.h"
#include "feed/observation_points.h"
#include "feed/point_mapping.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro::testing {

using Json = nlohmann::ordered_json;

// Every member of `expected` (JSON text) is in `actual` with the same type and value.
inline void expect_fields(const Json& actual, const char* expected) {
    const Json want = Json::parse(expected);
    for (const auto& [k, v] : want.items())
        EXPECT_EQ(actual.contains(k) ? actual[k].dump() : "(missing)", v.dump()) << k;
}

class FeedTest : public ::testing::Test {
  protected:
    void SetUp() override {
        reset_all_globals();
        use_fake_platform();
    }
    void TearDown() override { reset_all_globals(); }

    void use_fake_platform() {
        fake.exe_path = dir.file("kaitoro");
        set_platform(&fake);
    }
    void install(const GridSpec& layout) {
        install_grid(load_spec(layout));
        use_fake_platform();
    }
    // A point whose coordinates round to cell (x, y). Returns its index.
    int add_point(int x, int y, const char* code = "P", const char* agency = "JMA",
                  const char* name = nullptr) {
        float lat = 0, lon = 0;
        latlon_from_grid_xy(float(x), float(y), &lat, &lon);
        orvex_add_observation_point(code, name ? name : code, agency, lat, lon);
        g_orvex_observation_points_loaded = 1;  // no CSV, no built-in list
        return g_orvex_observation_point_count - 1;
    }
    void map_points() { orvex_map_observation_points_to_stations(); }
    // Writes eta at the point's cell so that its shoreline-equivalent level is `level_m`.
    void set_level(int point, float level_m) {
        const int cell = g_orvex_observation_points[std::size_t(point)].cell;
        ASSERT_GE(cell, 0);
        const float factor =
            station_shoreline_equiv_factor(visible_effective_depth_m(&g_grid, cell));
        const int x = cell % int(g_grid.nx), y = cell / int(g_grid.nx);
        g_sim.eta[g_sim.solver_index_of_cell(x, y)] = level_m / factor;
    }
    // One model step as the driver takes it: the wall clock starts with the first step.
    void step_to(int t_s) {
        orvex_realtime_start_if_needed();
        g_time_s = t_s;
        orvex_export_tick();
    }
    std::string outbox_path() const { return dir.file("orvex_ws_outbox.jsonl"); }
    std::vector<std::string> outbox_raw_lines() const {
        std::ifstream in(outbox_path(), std::ios::binary);
        std::vector<std::string> lines;
        std::string all((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::size_t start = 0;
        while (start < all.size()) {
            const std::size_t nl = all.find('\n', start);
            EXPECT_NE(nl, std::string::npos) << "packet without its line feed";
            if (nl == std::string::npos) break;
            lines.push_back(all.substr(start, nl - start));
            start = nl + 1;
        }
        return lines;
    }
    std::vector<Json> outbox() const {
        std::vector<Json> out;
        for (const std::string& l : outbox_raw_lines()) out.push_back(Json::parse(l));
        return out;
    }
    FakePlatform fake;
    TempDir dir;
};

}  // namespace kaitoro::testing
