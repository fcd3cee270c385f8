// The main window's behaviour: panel buttons and their layout, the run timer, every mouse rule
// and every key of the command table. The front end forwards its events here with plain
// values (window pixels, key codes, modifier flags); results show on the status line and
// through platform().request_repaint().
#pragma once

#include <cstdint>

namespace kaitoro {

inline constexpr char kMainWindowClass[] = "KaitoroWindowClass";
inline constexpr char kMainWindowCaption[] = "Kaitoro - Default Coast Mask + Strong Absorber";
inline constexpr int kMainWindowWidth = 1280;
inline constexpr int kMainWindowHeight = 760;
// The smallest client area that shows the panel's text above its three rows of buttons.
inline constexpr int kMainWindowMinWidth = 760;
inline constexpr int kMainWindowMinHeight = 680;
inline constexpr int kMainTimerId = 1;
inline constexpr int kMainTimerPeriodMs = 16;
inline constexpr int kUiFontPixelHeight = 16;

// Keys beyond those of node tune (Windows virtual-key numbering).
enum : int {
    kKeyEnter = 0x0D,
    kKeyShift = 0x10,
    kKeyControl = 0x11,
    kKeySpace = 0x20,
    kKeyComma = 0xBC,   // the ,/< key
    kKeyPeriod = 0xBE,  // the ./> key
};

struct PanelButtonDef {
    int id;
    const char* label;
};
inline constexpr int kPanelButtonCount = 9;
enum : int {
    kButtonRunPause = 1001,
    kButtonStep = 1002,
    kButtonReset = 1003,
    kButtonClearSources = 1004,
    kButtonLoadSources = 1005,
    kButtonSaveCsv = 1006,
    kButtonSaveGraph = 1007,
    kButtonSettings = 1008,
    kButtonKeyGuide = 1009,
};
extern const PanelButtonDef g_panel_button_defs[kPanelButtonCount];

struct PixelRect {
    int x, y, w, h;
};
// Where panel button i goes in a client area: a 3 x 3 block at the bottom right, inside the
// information panel, never above y = 330.
PixelRect panel_button_rect(int index, int client_w, int client_h);

// The user-interface font: the first installed family of this list (the Windows families first,
// then families that show Japanese, Korean and Chinese on Linux), else the last entry.
extern const char* const g_ui_font_families[];
extern const int g_ui_font_family_count;
const char* choose_ui_font_family(bool (*installed)(const char* family));

// Window state of this folder.
extern int g_debug_key_armed;
extern int g_pan_dragging;
extern int g_pan_last_mouse_x, g_pan_last_mouse_y;
extern int g_client_w, g_client_h;  // the main window's client area as last reported

// --- events ---------------------------------------------------------------------------------
// Create and resize: the client size; the viewport follows.
void main_window_create(int client_w, int client_h);
void main_window_resize(int client_w, int client_h);
// Destroy: closes the tool windows; the front end stops its timer and ends the event loop.
void main_window_destroy();
// Returns 1 when the window should be repainted.
int main_window_timer(int timer_id);
void main_window_mouse_move(int x, int y, int left_down, int shift, int ctrl);
void main_window_left_down(int x, int y, int shift, int ctrl);
void main_window_left_up(int x, int y);
// `forward` for a turn away from the user. Returns 0 when the wheel was not taken (no Ctrl).
int main_window_wheel(int x, int y, int forward, int ctrl);
void main_window_capture_lost();
// Returns 1 when the key was taken; 0 sends it on to the toolkit's default handling.
int main_window_key_down(int key, int shift, int ctrl);
int main_window_key_up(int key);
void main_window_button_command(int id);

// The commands behind several keys and buttons.
void main_window_toggle_run(int from_button);
void main_window_clear_sources(int record_undo);
void open_or_raise_settings_window();
void open_or_raise_quick_ff_editor();

// The "Key guide" text, lines joined with LF: the documented guide, then the keys it leaves
// out under "More keys".
const char* key_guide_text();

void shell_reset_globals();

}  // namespace kaitoro
