#include "render/colors.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "core/text_input.h"
#include "core/platform.h"
#include "core/safe_file.h"

namespace kaitoro {

ColorKeyframe g_cell_color_keys[kMaxColorKeyframes];
int g_cell_color_key_count = 0;
int g_cell_color_custom_enabled = 0;
int g_cell_color_smooth = 0;
ColorKeyframe g_coast_color_keys[kMaxColorKeyframes];
int g_coast_color_key_count = 0;
int g_coast_color_custom_enabled = 0;
int g_coast_color_smooth = 0;
int g_coast_color_step = 0;
float g_wave_display_coeff = 1.0f;
void (*g_set_control_text_hook)(void* window, int control_id, const char* text) = nullptr;

const char kBuiltinCellColorText[] =
    "-1.0,#0037ff\r\n0.0,#78dcff\r\n0.5,#3cffd2\r\n1.0,#14f050\r\n2.0,#e6ff28\r\n5.0,#ff2823\r\n"
    "10.0,#d700aa\r\n15.0,#9600be\r\n20.0,#46005f\r\n";
const char kBuiltinCoastColorText[] =
    "0.05,#99ff80\r\n0.10,#00ff00\r\n0.20,#fff280\r\n0.50,#ffe600\r\n1.00,#ff8080\r\n"
    "2.00,#ff0000\r\n3.00,#e580ff\r\n4.00,#cc00ff\r\n5.00,#8b00ad\r\n8.00,#460057\r\n"
    "10.0,#000000\r\n";

namespace {

int clamp_channel(int c) {
    return c < 0 ? 0 : (c > 255 ? 255 : c);
}

std::uint32_t pack_rgb(int r, int g, int b) {
    return (std::uint32_t(clamp_channel(r)) << 16) | (std::uint32_t(clamp_channel(g)) << 8) |
           std::uint32_t(clamp_channel(b));
}

std::uint32_t key_rgb(const ColorKeyframe& k) {
    return pack_rgb(k.r, k.g, k.b);
}

// One channel between two stops, rounded the way every scale rounds.
int lerp_channel(int a, int b, float t) {
    const float ca = float(clamp_channel(a)), cb = float(clamp_channel(b));
    const float v = ca + (cb - ca) * t + 0.5f;
    // Truncation toward zero; the clamp makes the sign irrelevant.
    return clamp_channel(int(v));
}

// The built-in coast thresholds of kBuiltinCoastColorText.
constexpr float kCoastThreshold[11] = {0.05f, 0.10f, 0.20f, 0.50f, 1.00f, 2.00f,
                                       3.00f, 4.00f, 5.00f, 8.00f, 10.0f};
constexpr std::uint32_t kCoastRgb[11] = {0x99ff80, 0x00ff00, 0xfff280, 0xffe600, 0xff8080, 0xff0000,
                                         0xe580ff, 0xcc00ff, 0x8b00ad, 0x460057, 0x000000};

// Reads a decimal float (sign, digits, point, digits, exponent) without depending on the
// process locale. Returns the number of characters consumed, 0 when there is no number.
std::size_t scan_decimal_float(const char* p, float* out) {
    std::size_t i = 0;
    bool negative = false;
    if (p[i] == '+' || p[i] == '-') negative = p[i++] == '-';
    const std::size_t mantissa_start = i;
    std::size_t digits = 0;
    while (p[i] >= '0' && p[i] <= '9') ++i, ++digits;
    if (p[i] == '.') {
        ++i;
        while (p[i] >= '0' && p[i] <= '9') ++i, ++digits;
    }
    if (digits == 0) return 0;
    std::size_t end = i;
    bool exponent_negative = false;
    if (p[i] == 'e' || p[i] == 'E') {
        std::size_t j = i + 1;
        if (p[j] == '+' || p[j] == '-') exponent_negative = p[j++] == '-';
        if (p[j] >= '0' && p[j] <= '9') {
            while (p[j] >= '0' && p[j] <= '9') ++j;
            end = j;
        } else {
            exponent_negative = false;
        }
    }
    float v = 0.0f;
    if (std::from_chars(p + mantissa_start, p + end, v).ec == std::errc::result_out_of_range) {
        // Out of range saturates like strtof: overflow to infinity, underflow to zero.
        long double wide = 0;
        if (std::from_chars(p + mantissa_start, p + end, wide).ec == std::errc())
            v = std::fabs(wide) > 1 ? HUGE_VALF : 0.0f;
        else
            v = exponent_negative ? 0.0f : HUGE_VALF;
    }
    *out = negative ? -v : v;
    return end;
}

int hex_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

std::uint32_t color_keyframes_rgb32(const ColorKeyframe* keys, int count, int smooth, float value) {
    if (!keys || count < 1) return 0;
    if (value <= keys[0].height) return key_rgb(keys[0]);
    if (value >= keys[count - 1].height) return key_rgb(keys[count - 1]);
    for (int i = 0; i + 1 < count; ++i) {
        const ColorKeyframe& a = keys[i];
        const ColorKeyframe& b = keys[i + 1];
        if (!(a.height <= value && value <= b.height)) continue;
        const float d = b.height - a.height;
        float t = 0.0f;
        if (d > 0.0f) {
            t = (value - a.height) / d;
            // Keys far apart overflow float (inf / inf); the wide quotient is the true one.
            if (t != t) t = float((double(value) - a.height) / (double(b.height) - a.height));
            t = t < 0.0f ? 0.0f : (t > 1.0f ? 1.0f : t);
        }
        if (smooth) t = t * t * (3.0f - 2.0f * t);
        return pack_rgb(lerp_channel(a.r, b.r, t), lerp_channel(a.g, b.g, t),
                        lerp_channel(a.b, b.b, t));
    }
    // Only a value that is not a number gets here.
    return key_rgb(keys[0]);
}

std::uint32_t wave_color_custom(float value) {
    return color_keyframes_rgb32(g_cell_color_keys, g_cell_color_key_count, g_cell_color_smooth,
                                 value);
}

WaveColorScale wave_color_scale_current() {
    WaveColorScale s;
    s.coeff = g_wave_display_coeff;
    s.custom = g_cell_color_custom_enabled && g_cell_color_key_count > 1;
    const float c = g_wave_display_coeff;
    if (c > 0.0001f) {
        s.lookup_div = 20.0f / c;
        if (s.lookup_div < 0.01f) s.lookup_div = 0.01f;
    }
    return s;
}

std::uint32_t tsunami_wave_color_log(float height_m) {
    return wave_color_with(wave_color_scale_current(), height_m);
}

int coast_marker_color_rgb32(float value, std::uint32_t* rgb_out) {
    float v = value;
    if (!(v >= 0.0f)) v = 0.0f;  // negative (and not-a-number) counts as 0
    if (g_coast_color_custom_enabled && g_coast_color_key_count > 1) {
        const ColorKeyframe* keys = g_coast_color_keys;
        const int n = g_coast_color_key_count;
        if (v < keys[0].height) return 0;
        if (g_coast_color_step) {
            int last = 0;
            for (int i = 0; i < n; ++i)
                if (keys[i].height <= v) last = i;
            *rgb_out = key_rgb(keys[last]);
        } else {
            *rgb_out = color_keyframes_rgb32(keys, n, g_coast_color_smooth, v);
        }
        return 1;
    }
    if (v < kCoastThreshold[0]) return 0;
    int i = 0;
    while (i < 10 && v >= kCoastThreshold[i + 1]) ++i;
    *rgb_out = kCoastRgb[i];
    return 1;
}

int parse_color_keyframes_text(const char* text, ColorKeyframe* keys_out, int* count_out,
                               char* message_out) {
    auto fail = [&](const char* fmt, auto... args) {
        if (message_out) std::snprintf(message_out, kColorMessageSize, fmt, args...);
        return 0;
    };
    if (!text || !*text) return fail("%s", "Need at least two settings.");
    int count = 0;
    const char* p = text;
    for (;;) {
        while (*p == ' ' || *p == '\t' || *p == '\r' || *p == '\n' || *p == ';') ++p;
        if (!*p) break;
        float height = 0.0f;
        const std::size_t used = scan_decimal_float(p, &height);
        // A height beyond float range reads as infinity: no usable height, and a settings file
        // holding one would save as "inf" and be refused whole at the next start.
        if (used == 0 || !std::isfinite(height))
            return fail("Expected height number near: %.24s", p);
        p += used;
        const char* hash = std::strchr(p, '#');
        if (!hash) return fail("Missing #RRGGBB color after height %.3g", double(height));
        int nib[6];
        for (int k = 0; k < 6; ++k) {
            // A NUL ends the text early and is not a hex digit, so the scan stops there.
            nib[k] = hex_value(hash[1 + k]);
            if (nib[k] < 0) return fail("Bad color near height %.3g. Use #RRGGBB.", double(height));
        }
        if (count >= kMaxColorKeyframes)
            return fail("Too many settings. Max is %d.", kMaxColorKeyframes);
        keys_out[count].height = height;
        keys_out[count].r = nib[0] * 16 + nib[1];
        keys_out[count].g = nib[2] * 16 + nib[3];
        keys_out[count].b = nib[4] * 16 + nib[5];
        ++count;
        p = hash + 7;
        // The rest of the line after the colour is a comment.
        while (*p && *p != '\n' && *p != ';') ++p;
    }
    if (count < 2) return fail("%s", "Need at least two settings.");
    for (int i = 0; i < count; ++i)
        for (int j = i + 1; j < count; ++j)
            if (keys_out[i].height > keys_out[j].height) {
                const ColorKeyframe t = keys_out[i];
                keys_out[i] = keys_out[j];
                keys_out[j] = t;
            }
    for (int k = 0; k + 1 < count; ++k)
        if (std::fabs(keys_out[k + 1].height - keys_out[k].height) < 1e-6f)
            return fail("Duplicate height %.3g.", double(keys_out[k + 1].height));
    *count_out = count;
    return 1;
}

void append_color_settings_line(char* buffer, const char* line) {
    const std::size_t have = std::strlen(buffer);
    if (have > std::size_t(kColorBlockBufferSize - 2)) return;
    std::size_t len = std::strlen(line);
    while (len > 0 && (line[len - 1] == '\r' || line[len - 1] == '\n')) --len;
    if (len + have + 2 < std::size_t(kColorBlockBufferSize)) {
        std::memcpy(buffer + have, line, len);
        buffer[have + len] = '\n';
        buffer[have + len + 1] = '\0';
        return;
    }
    const std::size_t room = std::size_t(kColorBlockBufferSize - 2) - have;
    std::memcpy(buffer + have, line, len < room ? len : room);
    buffer[kColorBlockBufferSize - 2] = '\n';
    buffer[kColorBlockBufferSize - 1] = '\0';
}

void write_color_keyframes_file_block(std::FILE* file, const char* begin_tag, const char* end_tag,
                                      const ColorKeyframe* keys, int count,
                                      const char* default_text) {
    std::fprintf(file, "%s\n", begin_tag);
    if (keys && count > 0) {
        for (int i = 0; i < count; ++i)
            std::fprintf(file, "%.9g,#%02x%02x%02x\n", double(keys[i].height),
                         clamp_channel(keys[i].r), clamp_channel(keys[i].g),
                         clamp_channel(keys[i].b));
    } else if (default_text) {
        const char* p = default_text;
        while (*p) {
            const char* e = p;
            while (*e && *e != '\n') ++e;
            std::size_t len = std::size_t(e - p);
            if (len > 0 && p[len - 1] == '\r') --len;
            if (len > 0) std::fprintf(file, "%.*s\n", int(len), p);
            p = *e ? e + 1 : e;
        }
    }
    std::fprintf(file, "%s\n", end_tag);
}

void color_settings_default_path(char* path_out) {
    const std::string exe = platform().executable_path();
    const std::size_t slash = exe.find_last_of("\\/");
    if (exe.empty() || exe.size() > 259 || slash == std::string::npos) {
        std::snprintf(path_out, kColorPathSize, "%s", kColorSettingsFileName);
        return;
    }
    std::snprintf(path_out, kColorPathSize, "%.*s%s", int(slash + 1), exe.c_str(),
                  kColorSettingsFileName);
}

int auto_save_color_settings() {
    char path[kColorPathSize];
    color_settings_default_path(path);
    SafeFile out(path);
    if (!out) return 0;
    std::FILE* f = out.get();
    std::fprintf(f, "TSUNAMI_COLOR_SETTINGS_V1\n");
    std::fprintf(f, "cell_enabled=%d\n", g_cell_color_custom_enabled ? 1 : 0);
    std::fprintf(f, "cell_smooth=%d\n", g_cell_color_smooth ? 1 : 0);
    std::fprintf(f, "coast_enabled=%d\n", g_coast_color_custom_enabled ? 1 : 0);
    // Step wins over smooth, as on loading, so the file never holds both.
    std::fprintf(f, "coast_smooth=%d\n", g_coast_color_smooth && !g_coast_color_step ? 1 : 0);
    std::fprintf(f, "coast_step=%d\n", g_coast_color_step ? 1 : 0);
    std::fprintf(f, "\n");
    write_color_keyframes_file_block(f, "CELL_BEGIN", "CELL_END",
                                     g_cell_color_custom_enabled ? g_cell_color_keys : nullptr,
                                     g_cell_color_key_count, kBuiltinCellColorText);
    std::fprintf(f, "\n");
    write_color_keyframes_file_block(f, "COAST_BEGIN", "COAST_END",
                                     g_coast_color_custom_enabled ? g_coast_color_keys : nullptr,
                                     g_coast_color_key_count, kBuiltinCoastColorText);
    return out.commit() ? 1 : 0;
}

namespace {

bool starts_with(const char* s, const char* prefix) {
    return std::strncmp(s, prefix, std::strlen(prefix)) == 0;
}

// Trims spaces, tabs, CR and LF at both ends, in place; returns the first kept character.
char* trim_line(char* s) {
    while (*s == ' ' || *s == '\t' || *s == '\r' || *s == '\n') ++s;
    std::size_t n = std::strlen(s);
    while (n > 0 && (s[n - 1] == ' ' || s[n - 1] == '\t' || s[n - 1] == '\r' || s[n - 1] == '\n'))
        s[--n] = '\0';
    return s;
}

}  // namespace

int auto_load_color_settings() {
    char path[kColorPathSize];
    color_settings_default_path(path);
    return load_color_settings_file(path, nullptr);
}

int load_color_settings_file(const char* path, std::string* error) {
    std::FILE* f = open_regular_file(path);
    if (!f) {
        if (error) *error = std::string("cannot open: ") + std::strerror(errno);
        return 0;
    }
    bool recognised = false;  // the header, a key or a block: the file is a settings file

    int cell_enabled = 1, coast_enabled = 1;  // a missing key means on
    int cell_smooth = 0, coast_smooth = 0, coast_step = 0;
    std::string cell_buf(kColorBlockBufferSize, '\0'), coast_buf(kColorBlockBufferSize, '\0');
    bool cell_has = false, coast_has = false;
    enum { Outside, InCell, InCoast } state = Outside;

    char raw[512];
    while (read_line(f, raw, sizeof raw)) {
        char* s = skip_bom(raw);
        s = trim_line(s);
        if (state == Outside) {
            if (!*s || *s == '#') continue;
            long long v = 0;  // read wide: 4294967296 must not wrap to 0 (off)
            const bool known = !std::strcmp(s, "TSUNAMI_COLOR_SETTINGS_V1") ||
                               starts_with(s, "cell_") || starts_with(s, "coast_") ||
                               !std::strcmp(s, "CELL_BEGIN") || !std::strcmp(s, "COAST_BEGIN");
            recognised = recognised || known;
            if (!std::strcmp(s, "CELL_BEGIN"))
                state = InCell;
            else if (!std::strcmp(s, "COAST_BEGIN"))
                state = InCoast;
            else if (starts_with(s, "cell_enabled=") && std::sscanf(s, "cell_enabled=%lld", &v) == 1)
                cell_enabled = v != 0;
            else if (starts_with(s, "cell_smooth=") && std::sscanf(s, "cell_smooth=%lld", &v) == 1)
                cell_smooth = v != 0;
            else if (starts_with(s, "coast_enabled=") &&
                     std::sscanf(s, "coast_enabled=%lld", &v) == 1)
                coast_enabled = v != 0;
            else if (starts_with(s, "coast_smooth=") && std::sscanf(s, "coast_smooth=%lld", &v) == 1)
                coast_smooth = v != 0;
            else if (starts_with(s, "coast_step=") && std::sscanf(s, "coast_step=%lld", &v) == 1)
                coast_step = v != 0;
            continue;
        }
        const bool cell = state == InCell;
        recognised = true;
        if (!std::strcmp(s, cell ? "CELL_END" : "COAST_END")) {
            state = Outside;
            continue;
        }
        if (!*s || *s == '#') continue;
        append_color_settings_line(cell ? cell_buf.data() : coast_buf.data(), s);
        (cell ? cell_has : coast_has) = true;
    }
    std::fclose(f);
    if (error && !recognised) {
        *error = "not a colour settings file (no TSUNAMI_COLOR_SETTINGS_V1 header, keys or blocks)";
        return 0;
    }

    ColorKeyframe scratch[kMaxColorKeyframes];
    char message[kColorMessageSize];
    int n = 0;
    if (cell_enabled && cell_has) {
        if (!parse_color_keyframes_text(cell_buf.c_str(), scratch, &n, message)) {
            if (error) *error = std::string("cell scale: ") + message;
            return 0;
        }
        std::memcpy(g_cell_color_keys, scratch, sizeof scratch);
        g_cell_color_key_count = n;
        g_cell_color_custom_enabled = 1;
    } else {
        g_cell_color_key_count = 0;
        g_cell_color_custom_enabled = 0;
    }
    int coast_count = 0, coast_on = 0;
    if (coast_enabled && coast_has) {
        if (!parse_color_keyframes_text(coast_buf.c_str(), scratch, &n, message)) {
            if (error) *error = std::string("coast scale: ") + message;
            return 0;
        }
        std::memcpy(g_coast_color_keys, scratch, sizeof scratch);
        coast_count = n;
        coast_on = 1;
    }
    g_coast_color_step = coast_step;
    g_coast_color_smooth = coast_smooth && !coast_step;
    g_coast_color_key_count = coast_count;
    g_coast_color_custom_enabled = coast_on;
    g_cell_color_smooth = cell_smooth;
    return 1;
}

std::string color_edit_text(int coast) {
    const ColorKeyframe* keys = coast ? g_coast_color_keys : g_cell_color_keys;
    const int count = coast ? g_coast_color_key_count : g_cell_color_key_count;
    const int enabled = coast ? g_coast_color_custom_enabled : g_cell_color_custom_enabled;
    if (!enabled || count <= 0) return coast ? kBuiltinCoastColorText : kBuiltinCellColorText;
    std::string out;
    for (int i = 0; i < count && i < kMaxColorKeyframes; ++i) {
        char line[96];
        std::snprintf(line, sizeof line, "%.4g,#%02x%02x%02x\r\n", double(keys[i].height),
                      clamp_channel(keys[i].r), clamp_channel(keys[i].g), clamp_channel(keys[i].b));
        if (out.size() + std::strlen(line) >= std::size_t(kColorEditTextSize)) break;
        out += line;
    }
    return out;
}

void settings_set_color_edit_texts(void* settings_window) {
    if (!g_set_control_text_hook) return;
    g_set_control_text_hook(settings_window, kCellColorEditId, color_edit_text(0).c_str());
    g_set_control_text_hook(settings_window, kCoastColorEditId, color_edit_text(1).c_str());
}

}  // namespace kaitoro
