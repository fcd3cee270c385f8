// Unrecoverable errors: print "Error: ..." to stderr and exit with status 1.
#pragma once

#include <cstddef>
#include <new>
#include <stdexcept>
#include <vector>

namespace kaitoro {

[[noreturn]] void tsunami_fatal(const char* message);
// When set, called with the message instead of printing it and exiting; it must not return
// (the fuzzers throw from it, so the documented exit is not taken for a crash).
extern void (*g_tsunami_fatal_hook)(const char* message);
// Appends the system error text of errno: "Error: %s: %s\n".
[[noreturn]] void tsunami_fatal_errno(const char* message);

// Zero-filled allocation that must not fail: the vector gets n value-initialised elements,
// or the program ends with "out of memory".
template <class T>
void tsunami_xcalloc(std::vector<T>& v, std::size_t n) {
    try {
        v.assign(n, T{});
    } catch (const std::bad_alloc&) {
        tsunami_fatal("out of memory");
    } catch (const std::length_error&) {
        tsunami_fatal("out of memory");
    }
}

}  // namespace kaitoro
