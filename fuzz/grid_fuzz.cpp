// The grid file: any bytes either load into consistent arrays or end in one of the loader's
// documented fatal messages (taken here as an exception, not a crash).
#include "fuzz/fuzz_common.h"

using namespace kaitoro;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string path = fuzz::write_input("grid.bin", data, size);
    try {
        const GridData g = load_grid_data(path.c_str());
        const std::size_t cells = g.cell_count();
        FUZZ_CHECK(g.depth_m.size() == cells && g.land.size() == cells && g.solid.size() == cells);
        FUZZ_CHECK(g.station_cell.size() == g.station_count);
        FUZZ_CHECK(g.station_zone.size() == g.station_count);
        for (float d : g.effective_depth_m) FUZZ_CHECK(!std::isinf(d));
    } catch (const fuzz::FatalExit&) {
    }
    return 0;
}
