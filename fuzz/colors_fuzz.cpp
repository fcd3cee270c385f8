// Colour settings: keys hold finite heights, every colour lookup is defined behaviour, and
// what is saved loads back to the same scales.
#include <cstring>

#include "core/platform.h"
#include "fuzz/fuzz_common.h"
#include "render/colors.h"

using namespace kaitoro;

namespace {
class ScratchPlatform : public HeadlessPlatform {
  public:
    std::string executable_path() override { return fuzz::scratch_dir() + "/kaitoro"; }
};

std::string snapshot() {
    std::string s;
    auto add = [&](const void* p, std::size_t n) { s.append(static_cast<const char*>(p), n); };
    add(g_cell_color_keys, sizeof(ColorKeyframe) * std::size_t(g_cell_color_key_count));
    add(g_coast_color_keys, sizeof(ColorKeyframe) * std::size_t(g_coast_color_key_count));
    for (int v : {g_cell_color_custom_enabled, g_cell_color_smooth, g_coast_color_custom_enabled,
                  g_coast_color_smooth, g_coast_color_step})
        add(&v, sizeof v);
    return s;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static ScratchPlatform platform_;
    set_platform(&platform_);
    char path[kColorPathSize];
    color_settings_default_path(path);
    std::FILE* f = std::fopen(path, "wb");
    FUZZ_CHECK(f);
    if (size) std::fwrite(data, 1, size, f);
    std::fclose(f);
    g_cell_color_key_count = g_coast_color_key_count = 0;
    if (!auto_load_color_settings()) return 0;
    for (int k = 0; k < g_cell_color_key_count; ++k)
        FUZZ_CHECK(std::isfinite(g_cell_color_keys[k].height));
    for (float v : {-1e30f, -1.0f, 0.0f, 0.3f, 5.0f, 1e30f})
        color_keyframes_rgb32(g_cell_color_keys, g_cell_color_key_count, 1, v);
    const std::string before = snapshot();
    FUZZ_CHECK(auto_save_color_settings() == 1);
    FUZZ_CHECK(auto_load_color_settings() == 1);
    FUZZ_CHECK(snapshot() == before);
    return 0;
}
