// What every reader harness shares: the input as a file on disk (the readers take paths),
// the grid loader's documented fatal exit turned into an exception, and the checks that
// turn a broken invariant into a crash libFuzzer reports.
#pragma once

#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "core/fatal.h"
#include "core/grid.h"
#include "core/text_input.h"

namespace kaitoro::fuzz {

struct FatalExit {};

inline void throw_on_fatal(const char*) {
    throw FatalExit{};
}

// A private scratch folder for this process, made once.
inline const std::string& scratch_dir() {
    static const std::string dir = [] {
        char tmpl[] = "/tmp/kaitoro-fuzz-XXXXXX";
        if (!mkdtemp(tmpl)) std::abort();
        g_tsunami_fatal_hook = throw_on_fatal;
        return std::string(tmpl);
    }();
    return dir;
}

inline std::string write_input(const char* name, const std::uint8_t* data, std::size_t size) {
    const std::string path = scratch_dir() + "/" + name;
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) std::abort();
    if (size) std::fwrite(data, 1, size, f);
    std::fclose(f);
    return path;
}

#define FUZZ_CHECK(cond)                                                                       \
    do {                                                                                       \
        if (!(cond)) {                                                                         \
            std::fprintf(stderr, "invariant broken: %s (%s:%d)\n", #cond, __FILE__, __LINE__); \
            std::abort();                                                                      \
        }                                                                                      \
    } while (0)

inline bool valid_utf8(const char* s) {
    while (*s) {
        const int len = utf8_char_length(s);
        if (!len) return false;
        s += len;
    }
    return true;
}

// A small open-sea grid with a land strip and a few stations, as the loader reads it.
inline GridData small_grid() {
    const std::uint32_t nx = 40, ny = 30, stations = 3;
    std::string b("TSUNAMI_SIM_V1\0\0", 16);
    for (std::uint32_t v : {nx, ny, stations}) b.append(reinterpret_cast<const char*>(&v), 4);
    for (std::uint32_t c = 0; c < nx * ny; ++c) {
        const float d = c / nx < 3 ? -10.0f : 100.0f;
        b.append(reinterpret_cast<const char*>(&d), 4);
    }
    b.append(nx * ny, '\0');
    for (std::int32_t cell : {3 * 40 + 5, 3 * 40 + 20, 3 * 40 + 30})
        b.append(reinterpret_cast<const char*>(&cell), 4);
    for (std::int32_t zone : {11, 12, 12}) b.append(reinterpret_cast<const char*>(&zone), 4);
    const std::string path =
        write_input("small_grid.bin", reinterpret_cast<const std::uint8_t*>(b.data()), b.size());
    return load_grid_data(path.c_str());
}

}  // namespace kaitoro::fuzz
