// Source CSV: every point appended carries a finite height.
#include "core/sources.h"
#include "fuzz/fuzz_common.h"

using namespace kaitoro;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string path = fuzz::write_input("sources.csv", data, size);
    SourceList list;
    FUZZ_CHECK(load_sources_csv(&list, path.c_str()) == 1);
    for (std::size_t i = 0; i < list.count; ++i) {
        FUZZ_CHECK(std::isfinite(list[i].height_m) && std::isfinite(list[i].slip_m));
    }
    return 0;
}
