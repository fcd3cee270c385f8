// The program's windows as the shell sees them. The main window's behaviour, the settings window,
// the finite-fault editor and the zone assignment window all live here as plain code; the
// desktop front end only creates widgets from the control tables below, forwards their events
// and answers the few questions the shell asks (a control's text, which control has the focus).
// Tests drive the same code through a fake window.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kaitoro {

enum class ControlKind {
    Label,          // static text, wraps inside its box
    Edit,           // single-line edit with a border, scrolls horizontally
    MultiLineEdit,  // multi-line edit (finite-fault cells, colour scales)
    Button,         // push button; pressing it is a command with the control's id
};

// One child control. Id 0 is a static text nobody addresses later; several may exist.
struct ControlSpec {
    int id = 0;
    ControlKind kind = ControlKind::Label;
    std::string text;                // UTF-8
    int x = 0, y = 0, w = 0, h = 0;  // client pixels
    bool vertical_scroll = false;    // multi-line edits: always show the scroll bar
};

// A tool window created by the front end. Everything is addressed by control id.
class ControlWindow {
  public:
    virtual ~ControlWindow() = default;
    // Destroys every child control and creates these instead (first build, page switch,
    // reopening the editor after the grid changed shape).
    virtual void set_controls(const std::vector<ControlSpec>& controls) = 0;
    virtual bool has_control(int id) = 0;
    // "" for a control that does not exist.
    virtual std::string control_text(int id) = 0;
    // Ignored for a control that does not exist. Multi-line edits take "\r\n" or "\n".
    virtual void set_control_text(int id, const std::string& utf8) = 0;
    // Background of an edit, 0x00RRGGBB.
    virtual void set_control_color(int id, std::uint32_t rgb) = 0;
    // Id of the control holding the keyboard focus, 0 when none of this window's controls does.
    virtual int focused_control() = 0;
    // Shows the window and brings it to the front.
    virtual void raise_window() = 0;
    // Closes the window for good. The window's `destroyed` handler runs before this returns;
    // the object itself may go away later, so callers must drop their pointer.
    virtual void destroy_window() = 0;
};

// What a kind of tool window is: its frame and its event handlers. The front end calls the
// handlers; unset ones mean "nothing to do".
struct ToolWindowDef {
    const char* window_class = "";
    const char* title = "";
    int width = 0, height = 0;  // client size in pixels
    void (*command)(ControlWindow* w, int id) = nullptr;
    // The text of an edit changed (by the user or by the program).
    void (*edit_changed)(ControlWindow* w, int id) = nullptr;
    // A key the focused control did not take; key codes as in source_design/node_tune.h.
    // Returns 1 when used.
    int (*key_down)(ControlWindow* w, int key) = nullptr;
    // The frame's close box. The handler destroys the window when it should close.
    void (*close_box)(ControlWindow* w) = nullptr;
    // The window is going away (any path).
    void (*destroyed)(ControlWindow* w) = nullptr;
};

// The few window operations the shell needs from the front end. Unset entries do nothing
// (headless runs and tests of other folders).
struct ShellWindows {
    // Creates and shows a tool window owned by the main window; nullptr when it failed.
    ControlWindow* (*create_tool_window)(const ToolWindowDef* def) = nullptr;
    void (*quit)() = nullptr;        // destroy the main window and end the event loop
    void (*focus_main)() = nullptr;  // keyboard focus back to the main window
    void (*capture_mouse)() = nullptr;
    void (*release_mouse)() = nullptr;
};
extern ShellWindows g_shell_windows;

ControlWindow* shell_create_tool_window(const ToolWindowDef* def);

// printf-style text into a control, cut at 255 bytes.
void set_child_textf(ControlWindow* w, int id, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));

}  // namespace kaitoro
