// Presets: no non-finite height, slip or setting enters the state, and a saved preset loads
// back to the same nodes.
#include "core/driver.h"
#include "core/sources.h"
#include "fuzz/fuzz_common.h"
#include "source_design/brush.h"
#include "source_design/preset.h"
#include "source_design/source_cell.h"

using namespace kaitoro;

namespace {
struct Node {
    int x, y, delay;
    bool operator==(const Node&) const = default;
};
std::vector<Node> nodes() {
    std::vector<Node> out;
    for (std::size_t i = 0; i < g_sources.count; ++i) {
        const SourcePoint& p = g_sources[i];
        FUZZ_CHECK(std::isfinite(p.height_m) && std::isfinite(p.slip_m));
        FUZZ_CHECK(std::isfinite(p.dip_deg) && std::isfinite(p.strike_deg));
        out.push_back({p.grid_x, p.grid_y, p.delay_s});
    }
    FUZZ_CHECK(std::isfinite(g_new_source_height_m) && std::isfinite(g_fault_width_km));
    FUZZ_CHECK(std::isfinite(g_rupture_delay_cursor_s) && std::isfinite(g_fault_strike_deg));
    return out;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool ready = [] {
        g_grid = fuzz::small_grid();
        return true;
    }();
    (void)ready;
    const std::string path = fuzz::write_input("preset.csv", data, size);
    std::size_t n = 0;
    FUZZ_CHECK(load_preset_file(path.c_str(), &n) == 1);
    const std::vector<Node> first = nodes();
    const std::string saved = fuzz::scratch_dir() + "/saved_preset.csv";
    FUZZ_CHECK(save_current_preset_file(saved.c_str()) == 1);
    FUZZ_CHECK(load_preset_file(saved.c_str(), &n) == 1);
    FUZZ_CHECK(nodes() == first);
    return 0;
}
