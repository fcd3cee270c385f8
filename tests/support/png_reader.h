// Reads PNG files back with an independent decoder (Python's zlib and struct), checking every
// chunk CRC, the zlib Adler-32 and the stream's end, for tests of the program's PNG writer.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace kaitoro::testing {

struct DecodedPng {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgb;                              // rows top to bottom, R G B
    std::vector<std::pair<std::string, std::uint32_t>> chunks;  // type and data length

    std::uint32_t pixel(int x, int y) const {
        const std::uint8_t* p = &rgb[(std::size_t(y) * width + x) * 3];
        return std::uint32_t(p[0]) << 16 | std::uint32_t(p[1]) << 8 | p[2];
    }
};

bool python3_available();
// False with the decoder's complaint in `error` when the file is not a valid RGB8 PNG.
bool decode_png(const std::string& path, DecodedPng* out, std::string* error);

}  // namespace kaitoro::testing
