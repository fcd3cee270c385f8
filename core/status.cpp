#include "core/status.h"

#include <cstdarg>
#include <cstdio>

namespace kaitoro {

char g_status[256] = "Ready. Use the panel buttons or open Settings.";

void set_status(const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(g_status, sizeof g_status, fmt, ap);
    va_end(ap);
}

}  // namespace kaitoro
