// Coast overrides: every cell set lies in the grid, and what is saved loads back the same.
#include "core/masks.h"
#include "fuzz/fuzz_common.h"

using namespace kaitoro;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static GridData g = fuzz::small_grid();
    const std::string path = fuzz::write_input("coast_override.csv", data, size);
    FUZZ_CHECK(load_land_override_csv(&g, path.c_str()) == 1);
    const std::vector<std::int8_t> loaded = g.land_override;
    for (std::int8_t v : loaded) FUZZ_CHECK(v >= -1 && v <= 1);
    const std::string saved = fuzz::scratch_dir() + "/saved_override.csv";
    if (save_land_override_csv(saved.c_str(), &g)) {
        FUZZ_CHECK(load_land_override_csv(&g, saved.c_str()) == 1);
        FUZZ_CHECK(g.land_override == loaded);
    }
    return 0;
}
