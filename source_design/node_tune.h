// Node tune: select individual source nodes on the map and edit their slip, height, delay and
// position, delete them, zero their height or overwrite them with the brush values. Edits apply
// to a selection set with a primary node, whose values the status line shows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/sources.h"

namespace kaitoro {

extern int g_node_tune_mode;
extern std::vector<std::uint8_t> g_node_tune_selected;  // one flag per node, like g_sources
extern std::size_t g_node_tune_selected_capacity;       // flags allocated
extern int g_selected_source_i;                         // primary node, -1 = none
extern int g_node_tune_box_select_active;
extern int g_node_tune_box_start_x, g_node_tune_box_start_y;  // window pixels
extern int g_node_tune_box_cur_x, g_node_tune_box_cur_y;

// Key codes follow the Windows virtual-key numbering, onto which every toolkit's keys map;
// letters are their upper-case ASCII codes ('A', 'C', 'E', 'F', 'U').
enum : int {
    kKeyBackspace = 0x08,
    kKeyTab = 0x09,
    kKeyEscape = 0x1B,
    kKeyPageUp = 0x21,
    kKeyPageDown = 0x22,
    kKeyLeft = 0x25,
    kKeyUp = 0x26,
    kKeyRight = 0x27,
    kKeyDown = 0x28,
    kKeyDelete = 0x2E,
    kKeyPlusEquals = 0xBB,  // the main keyboard's =/+ key, not the keypad's
    kKeyMinus = 0xBD,       // the main keyboard's -/_ key
    kKeyBracketLeft = 0xDB,
    kKeyBracketRight = 0xDD,
};

// Markers are picked by their position on screen, which the viewport owns; the viewport sits
// above this folder, so the composition root installs its mapping here. Unset, no window pixel
// lies on the map.
struct NodeTuneViewHooks {
    int (*screen_to_grid)(int sx, int sy, int* gx, int* gy) = nullptr;
    void (*cell_center)(int x, int y, int* sx, int* sy) = nullptr;
    int (*marker_base_size)() = nullptr;  // on-screen cell size in pixels, at least 1
};
extern NodeTuneViewHooks g_node_tune_view;

int node_tune_ensure_selection_capacity();
void node_tune_sync_selected_bounds();
std::size_t node_tune_selected_count();
void node_tune_select_only(long i);
void node_tune_select_current_if_empty();
void node_tune_show_selected_status(const char* prefix);

void node_tune_adjust_delay(int step_s);
void node_tune_adjust_slip(float step_m);
void node_tune_adjust_height(float step_m);
void node_tune_move_selected(int dx, int dy);
void node_tune_delete_selected();
void node_tune_height_zero();
void node_tune_copy_brush_values();
float node_tune_auto_surface_height_from_slip(const SourcePoint* node, float new_slip,
                                              float old_slip);

// E in the main window while the mode is off: drops a brush stroke in progress.
void node_tune_mode_on();
// 1 when the key was consumed; 0 at once while the mode is off.
int node_tune_handle_key(int key, int shift, int ctrl);

// Index of the node whose marker centre is nearest to the window pixel within the pick radius
// (later nodes win ties), or -1.
long node_tune_pick_marker(int sx, int sy);
int node_tune_pick_radius_px();
// Mouse entry points, window pixels. The press starts a box select with Shift (the front end
// then holds the capture); move and release return 1 when a box select consumed them.
void node_tune_mouse_press(int sx, int sy, int shift, int ctrl);
int node_tune_mouse_move(int sx, int sy);
int node_tune_mouse_release(int sx, int sy);

void node_tune_reset_globals();

}  // namespace kaitoro
