#include "shell/tool_window.h"

#include <cstdarg>
#include <cstdio>

namespace kaitoro {

ShellWindows g_shell_windows;

ControlWindow* shell_create_tool_window(const ToolWindowDef* def) {
    return g_shell_windows.create_tool_window ? g_shell_windows.create_tool_window(def) : nullptr;
}

void set_child_textf(ControlWindow* w, int id, const char* fmt, ...) {
    if (!w) return;
    char buf[256];
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(buf, sizeof buf, fmt, ap);
    va_end(ap);
    w->set_control_text(id, buf);
}

}  // namespace kaitoro
