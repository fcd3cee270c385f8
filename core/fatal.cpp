#include "core/fatal.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace kaitoro {

void (*g_tsunami_fatal_hook)(const char* message) = nullptr;

void tsunami_fatal(const char* message) {
    if (g_tsunami_fatal_hook) g_tsunami_fatal_hook(message);
    std::fprintf(stderr, "Error: %s\n", message);
    std::fflush(stderr);
    std::exit(1);
}

void tsunami_fatal_errno(const char* message) {
    const int err = errno;
    if (g_tsunami_fatal_hook) g_tsunami_fatal_hook(message);
    std::fprintf(stderr, "Error: %s: %s\n", message, std::strerror(err));
    std::fflush(stderr);
    std::exit(1);
}

}  // namespace kaitoro
