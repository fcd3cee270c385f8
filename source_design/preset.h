// Preset files: the whole source design (settings and every node with its fault parameters) in
// one text file, first line "# kaitoro_preset_v1". The reader also takes plain source CSV rows.
#pragma once

#include <cstddef>

namespace kaitoro {

// Number of nodes of the last load whose height was rebuilt from slip and depth.
extern int g_last_preset_recalculated_from_slip;

// Two display settings travel in presets but belong to the renderer, which sits above this
// folder. The composition root points these at the renderer's globals; until then they point
// at stand-ins here holding the renderer's defaults (display coefficient 1, opacity 0).
extern float* g_preset_wave_display_coeff;
extern float* g_preset_wave_overlay_alpha;

// 1 on success, 0 when the file cannot be written (nothing is left behind then).
int save_current_preset_file(const char* path);
// 1 on success, 0 when the file cannot be opened (then nothing changes). Replaces the source,
// restarts the model with it; *out_count gets the number of nodes read (may be null).
int load_preset_file(const char* path, std::size_t* out_count);

// The settings window's "Save current preset" and "Load preset now" commands: the dialog, the
// undo step of a load, the file operation and the status line.
void save_current_preset_dialog();
void load_preset_dialog();

void preset_reset_globals();

}  // namespace kaitoro
