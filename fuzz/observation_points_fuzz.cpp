// Observation points: names are whole UTF-8, coordinates finite, and a JSON line built
// from every point parses.
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "feed/json_text.h"
#include "feed/observation_points.h"
#include "fuzz/fuzz_common.h"

using namespace kaitoro;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool in_scratch = chdir(fuzz::scratch_dir().c_str()) == 0;
    FUZZ_CHECK(in_scratch);
    fuzz::write_input(kOrvexObservationCsvName, data, size);
    orvex_load_observation_points();
    JsonLine j;
    j.begin_array("observations");
    for (int i = 0; i < g_orvex_observation_point_count; ++i) {
        const ObservationPoint& p = g_orvex_observation_points[std::size_t(i)];
        FUZZ_CHECK(fuzz::valid_utf8(p.code) && fuzz::valid_utf8(p.name) &&
                   fuzz::valid_utf8(p.agency));
        FUZZ_CHECK(std::isfinite(p.lat) && std::isfinite(p.lon));
        j.begin_object();
        j.string_member("obs_id", p.code);
        j.string_member("name", p.name);
        j.string_member("agency", p.agency);
        j.number_member("lat", "%.4f", p.lat);
        j.int_member("forecast_zone_id", p.zone_id);
        j.end_object();
    }
    j.end_array();
    FUZZ_CHECK(nlohmann::json::accept(j.finish()));
    return 0;
}
