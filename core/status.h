// The one status line every command reports through.
#pragma once

namespace kaitoro {

inline constexpr char kDefaultStatus[] = "Ready. Use the panel buttons or open Settings.";

extern char g_status[256];

// printf-style into g_status, truncated to 255 characters.
void set_status(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

}  // namespace kaitoro
