// Fault tables: every subfault taken is finite and inside the ranges the dislocation needs,
// and every rejection message is whole UTF-8.
#include "fuzz/fuzz_common.h"
#include "source_design/fault_table.h"

using namespace kaitoro;

namespace {
bool whole_utf8(const std::string& s) {
    std::string copy;
    utf8_append_valid(&copy, s.c_str());
    return copy == s;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string path = fuzz::write_input("faults.csv", data, size);
    FaultTable t;
    std::string error;
    FUZZ_CHECK(fault_table_load(path.c_str(), &t, &error));
    for (const Subfault& s : t.subfaults) {
        const OkadaFault& f = s.fault;
        FUZZ_CHECK(std::isfinite(f.lat_deg) && std::isfinite(f.lon_deg) &&
                   std::isfinite(f.slip_m) && std::isfinite(s.rupture_s));
        FUZZ_CHECK(f.dip_deg > 0 && f.dip_deg <= 90 && f.length_km > 0 && f.width_km > 0);
        FUZZ_CHECK(f.depth_km - 0.5 * f.width_km * std::sin(f.dip_deg * M_PI / 180) > -1e-5);
        FUZZ_CHECK(f.strike_deg >= 0 && f.strike_deg < 360);
    }
    for (const std::string& r : t.rejected) FUZZ_CHECK(whole_utf8(r));
    FUZZ_CHECK(std::isfinite(fault_table_moment_nm(t.subfaults)));
    return 0;
}
