// The wave colour of a height, prepared once and then inlined into the per-cell loops of the
// frame and the max-wave image (it runs for every sea cell of every frame).
#pragma once

#include <cmath>
#include <cstdint>

namespace kaitoro {

std::uint32_t wave_color_custom(float value);  // the custom cell scale at a scaled value

namespace wave_color_detail {

inline constexpr float kStopHeight[9] = {-1.0f, 0.0f, 0.5f, 1.0f, 2.0f, 5.0f, 10.0f, 15.0f, 20.0f};
inline constexpr std::uint32_t kStopRgb[9] = {0x0037ff, 0x78dcff, 0x3cffd2, 0x14f050, 0xe6ff28,
                                              0xff2823, 0xd700aa, 0x9600be, 0x46005f};

// Each stop's channels as floats, and each channel's rise to the next stop.
struct StopTable {
    float base[9][3];
    float rise[9][3];
    constexpr StopTable() : base{}, rise{} {
        for (int i = 0; i < 9; ++i)
            for (int ch = 0; ch < 3; ++ch) {
                const int shift = 16 - 8 * ch;
                base[i][ch] = float(kStopRgb[i] >> shift & 255);
                rise[i][ch] = i < 8 ? float(int(kStopRgb[i + 1] >> shift & 255) -
                                            int(kStopRgb[i] >> shift & 255))
                                    : 0.0f;
            }
    }
};
inline constexpr StopTable kStops;

// base + rise * t + 0.5 truncated. For t in [0, 1] the sum lies between the two stops' channels
// (rounding is monotone and exact at t = 1), so the result is always within 0..255.
inline std::uint32_t channel(float base, float rise, float t) {
    return std::uint32_t(int(base + rise * t + 0.5f));
}

inline std::uint32_t lerp(int i, float t) {
    const float* b = kStops.base[i];
    const float* r = kStops.rise[i];
    return channel(b[0], r[0], t) << 16 | channel(b[1], r[1], t) << 8 | channel(b[2], r[2], t);
}

}  // namespace wave_color_detail

// The cell scale in force, captured once.
struct WaveColorScale {
    float coeff = 1.0f;
    float lookup_div = 20.0f;  // F: the built-in scale looks up v * 20 / F
    bool custom = false;
};

inline std::uint32_t wave_color_with(const WaveColorScale& scale, float height_m) {
    using namespace wave_color_detail;
    const float v = height_m * scale.coeff;
    if (scale.custom && !std::isnan(height_m)) return wave_color_custom(v);
    if (std::isnan(v)) return kStopRgb[1];
    if (v < 0.0f) {
        if (v <= -1.0f) return kStopRgb[0];
        return lerp(0, v + 1.0f);
    }
    const float s = v * 20.0f / scale.lookup_div;
    if (s >= 20.0f) return kStopRgb[8];
    if (s == 0.0f) return kStopRgb[1];
    // Interval (h[i], h[i+1]] of the stops 0, 0.5, 1, 2, 5, 10, 15, 20, found without branches.
    const int i = 1 + (s > 0.5f) + (s > 1.0f) + (s > 2.0f) + (s > 5.0f) + (s > 10.0f) + (s > 15.0f);
    float t = (s - kStopHeight[i]) / (kStopHeight[i + 1] - kStopHeight[i]);
    if (t > 1.0f) t = 1.0f;
    return lerp(i, t);
}

}  // namespace kaitoro
