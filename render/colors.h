// Colour scales: heights in metres to 0x00RRGGBB colours, the user's custom keyframe scales,
// their settings text and the settings file next to the executable.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "render/wave_color_inline.h"

namespace kaitoro {

inline constexpr int kMaxColorKeyframes = 32;
inline constexpr int kColorMessageSize = 256;       // parser message buffer, NUL included
inline constexpr int kColorBlockBufferSize = 8192;  // one block of the settings file
inline constexpr int kColorPathSize = 260;
inline constexpr int kColorEditTextSize = 4096;
inline constexpr char kColorSettingsFileName[] = "tsunami_color_settings.ini";

// Settings-window controls that hold the two scale texts.
inline constexpr int kCellColorEditId = 2072;
inline constexpr int kCoastColorEditId = 2073;

struct ColorKeyframe {
    float height = 0;
    std::int32_t r = 0, g = 0, b = 0;  // readers clamp to 0..255
};

extern ColorKeyframe g_cell_color_keys[kMaxColorKeyframes];
extern int g_cell_color_key_count;
extern int g_cell_color_custom_enabled;
extern int g_cell_color_smooth;
extern ColorKeyframe g_coast_color_keys[kMaxColorKeyframes];
extern int g_coast_color_key_count;
extern int g_coast_color_custom_enabled;
extern int g_coast_color_smooth;
extern int g_coast_color_step;
extern float g_wave_display_coeff;  // scales wave heights before colouring; never saved

extern const char kBuiltinCellColorText[];
extern const char kBuiltinCoastColorText[];

// Keys sorted ascending, count >= 2.
std::uint32_t color_keyframes_rgb32(const ColorKeyframe* keys, int count, int smooth, float value);
// Colour of a wave height for the sea overlay and the max-wave image.
std::uint32_t tsunami_wave_color_log(float height_m);
// The current cell scale, for loops that colour many cells with wave_color_with().
WaveColorScale wave_color_scale_current();
// Coast marker colour of a value; 0 when no marker is drawn for it.
int coast_marker_color_rgb32(float value, std::uint32_t* rgb_out);

// Parses "height,#RRGGBB" lines into at most 32 sorted keyframes. Returns 1, or 0 with a
// message in message_out (kColorMessageSize bytes); on failure keys_out may hold partial data
// and count_out is untouched.
int parse_color_keyframes_text(const char* text, ColorKeyframe* keys_out, int* count_out,
                               char* message_out);
// Appends one line and a LF to a kColorBlockBufferSize-byte buffer, truncating at the end.
void append_color_settings_line(char* buffer, const char* line);
// One CELL/COAST block: the keyframes when keys is set and count > 0, else the built-in text.
void write_color_keyframes_file_block(std::FILE* file, const char* begin_tag, const char* end_tag,
                                      const ColorKeyframe* keys, int count,
                                      const char* default_text);
// The settings file beside the executable (kColorPathSize bytes), or the bare name.
void color_settings_default_path(char* path_out);
int auto_save_color_settings();
int auto_load_color_settings();
// Reads a colour settings file by the rules of auto_load_color_settings (which calls it with
// the file beside the executable). With `error` set the reading is strict, for a file the user
// names: a file without the header, a key or a block is refused, and every failure (cannot
// open, a block that does not parse) leaves its reason in *error. 1 when read and applied.
int load_color_settings_file(const char* path, std::string* error);

// The text an edit box shows for a scale: the custom keyframes, or the built-in text.
std::string color_edit_text(int coast);
// Fills the two colour edit boxes of the settings window through the control-text hook.
void settings_set_color_edit_texts(void* settings_window);
// Set by the desktop program: writes the text of a control of a window.
extern void (*g_set_control_text_hook)(void* window, int control_id, const char* text);

}  // namespace kaitoro
