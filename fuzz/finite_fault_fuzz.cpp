// Finite-fault CSV in every form it loads (matrix, list, reference tokens, comment keys):
// no cell or patch size holds a value that is not a finite number.
#include "fuzz/fuzz_common.h"
#include "quick_ff/ff_csv.h"
#include "quick_ff/ff_grid.h"
#include "source_design/source_cell.h"

using namespace kaitoro;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string path = fuzz::write_input("ff.csv", data, size);
    QuickFfLoadResult r;
    FUZZ_CHECK(quick_ff_load_csv_file(path.c_str(), &r));
    for (const QuickFfCell& c : g_quick_ff_rows) {
        FUZZ_CHECK(std::isfinite(c.slip_m) && std::isfinite(c.dip_deg));
        FUZZ_CHECK(std::isfinite(c.along_offset) && std::isfinite(c.dip_offset));
    }
    FUZZ_CHECK(std::isfinite(g_fault_stamp_length_km) && std::isfinite(g_fault_width_km));
    return 0;
}
