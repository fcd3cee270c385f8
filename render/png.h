// A minimal PNG writer: 24-bit RGB, no filtering, the pixels stored uncompressed inside a
// valid zlib stream. Both image exports of the program use it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace kaitoro {

inline constexpr std::size_t kPngStoredBlockMax = 65535;

// CRC-32 of the PNG standard (reflected 0xEDB88320, start 0xFFFFFFFF, final complement);
// `crc` is a previous result to continue from (0 to start).
std::uint32_t png_crc32(std::uint32_t crc, const std::uint8_t* data, std::size_t length);
// Adler-32 of zlib; `adler` is a previous result to continue from (1 to start).
std::uint32_t png_adler32(std::uint32_t adler, const std::uint8_t* data, std::size_t length);

// Length of the IDAT data (the zlib stream) for an image of this size.
std::size_t png_idat_length(std::uint32_t width, std::uint32_t height);

// One chunk: length, type, data, CRC over type and data. Returns 1, or 0 on a short write.
int png_write_chunk(std::FILE* file, const char* type, const std::uint8_t* data,
                    std::uint32_t length);
// A complete PNG of an RGB24 raster (rows top to bottom, no padding). Returns 1, or 0 when
// the file cannot be opened, a write falls short or memory runs out (a partial file stays).
int png_write_rgb24_file(const char* path, const std::uint8_t* raster, int width, int height);

}  // namespace kaitoro
