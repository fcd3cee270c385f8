// Scenario tables along a trench: the grid of positions and magnitudes a warning centre's
// precomputed database covers.
//
// A trench file is a polyline of points on the plate interface, one per line, with a header
// naming lat,lon,depth_km,dip_deg (any order; '#' comments). Vertices run so that the plate
// dips to the right of the direction of travel: the direction is then the fault's strike by
// the right-hand rule.
#pragma once

#include <string>
#include <vector>

namespace kaitoro {

struct TrenchVertex {
    double lat = 0, lon = 0, depth_km = 0, dip_deg = 0;
};

// False when the file cannot be read, or has fewer than two valid vertices; `error` then says
// why, naming the first bad line.
bool trench_load(const std::string& path, std::vector<TrenchVertex>* out, std::string* error);
bool trench_parse(const std::string& text, std::vector<TrenchVertex>* out, std::string* error);

struct TrenchScenarioOptions {
    double mw_min = 7.5, mw_max = 9.0, mw_step = 0.25;
    double spacing_km = 50;
    double hours = 3;
    bool true_speed = false;
    std::string id_prefix = "trench";
};

// The table text: positions every spacing_km along the polyline from its first vertex (depth
// and dip interpolated, strike from the segment), each with every magnitude of the range.
// `count` receives the number of scenarios.
std::string trench_scenario_table(const std::vector<TrenchVertex>& trench,
                                  const TrenchScenarioOptions& o, int* count);

}  // namespace kaitoro
