#include "render/png.h"

#include "core/safe_file.h"

#include <algorithm>
#include <array>
#include <new>
#include <vector>

namespace kaitoro {

namespace {

constexpr std::array<std::uint32_t, 256> make_crc_table() {
    std::array<std::uint32_t, 256> t{};
    for (std::uint32_t n = 0; n < 256; ++n) {
        std::uint32_t c = n;
        for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        t[n] = c;
    }
    return t;
}
constexpr std::array<std::uint32_t, 256> kCrcTable = make_crc_table();

void put_be32(std::uint8_t* p, std::uint32_t v) {
    p[0] = std::uint8_t(v >> 24);
    p[1] = std::uint8_t(v >> 16);
    p[2] = std::uint8_t(v >> 8);
    p[3] = std::uint8_t(v);
}

std::size_t filtered_size(std::uint32_t width, std::uint32_t height) {
    return (std::size_t(width) * 3 + 1) * height;
}

std::size_t stored_blocks(std::size_t total) {
    return total == 0 ? 1 : (total + kPngStoredBlockMax - 1) / kPngStoredBlockMax;
}

}  // namespace

std::uint32_t png_crc32(std::uint32_t crc, const std::uint8_t* data, std::size_t length) {
    std::uint32_t c = crc ^ 0xFFFFFFFFu;
    for (std::size_t i = 0; i < length; ++i) c = kCrcTable[(c ^ data[i]) & 0xFF] ^ (c >> 8);
    return c ^ 0xFFFFFFFFu;
}

std::uint32_t png_adler32(std::uint32_t adler, const std::uint8_t* data, std::size_t length) {
    constexpr std::uint32_t kMod = 65521;
    std::uint32_t a = adler & 0xFFFF, b = adler >> 16;
    while (length > 0) {
        // 5552 bytes is the most that can be summed before the 32-bit sums could overflow.
        const std::size_t n = length < 5552 ? length : 5552;
        for (std::size_t i = 0; i < n; ++i) {
            a += data[i];
            b += a;
        }
        a %= kMod;
        b %= kMod;
        data += n;
        length -= n;
    }
    return (b << 16) | a;
}

std::size_t png_idat_length(std::uint32_t width, std::uint32_t height) {
    const std::size_t total = filtered_size(width, height);
    return total + 6 + 5 * stored_blocks(total);
}

int png_write_chunk(std::FILE* file, const char* type, const std::uint8_t* data,
                    std::uint32_t length) {
    std::uint8_t head[8];
    put_be32(head, length);
    for (int i = 0; i < 4; ++i) head[4 + i] = std::uint8_t(type[i]);
    if (std::fwrite(head, 1, 8, file) != 8) return 0;
    if (length > 0 && std::fwrite(data, 1, length, file) != length) return 0;
    std::uint8_t tail[4];
    put_be32(tail, png_crc32(png_crc32(0, head + 4, 4), data, length));
    if (std::fwrite(tail, 1, 4, file) != 4) return 0;
    return 1;
}

int png_write_rgb24_file(const char* path, const std::uint8_t* raster, int width, int height) {
    if (!path || !raster || width <= 0 || height <= 0) return 0;
    const std::uint32_t w = std::uint32_t(width), h = std::uint32_t(height);
    const std::size_t idat_len = png_idat_length(w, h);
    if (idat_len > 0x7FFFFFFFu) return 0;  // a PNG chunk holds at most 2^31 - 1 bytes

    // The zlib stream is built in one buffer, the filter bytes inserted as the rows are copied.
    std::vector<std::uint8_t> z;
    try {
        z.resize(idat_len);
    } catch (const std::bad_alloc&) {
        return 0;
    }

    SafeFile file(path);
    if (!file) return 0;
    std::FILE* f = file.get();
    static const std::uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
    if (std::fwrite(kSignature, 1, 8, f) != 8) {
        return 0;
    }
    std::uint8_t ihdr[13];
    put_be32(ihdr, w);
    put_be32(ihdr + 4, h);
    ihdr[8] = 8;   // bit depth
    ihdr[9] = 2;   // truecolour
    ihdr[10] = 0;  // deflate
    ihdr[11] = 0;  // adaptive filtering, every row filter None
    ihdr[12] = 0;  // no interlace
    if (!png_write_chunk(f, "IHDR", ihdr, 13)) {
        return 0;
    }

    const std::size_t row_bytes = std::size_t(w) * 3;
    const std::size_t total = filtered_size(w, h);
    std::size_t out = 0;
    z[out++] = 0x78;
    z[out++] = 0x01;
    std::uint32_t adler = 1;
    std::size_t done = 0;        // filtered bytes emitted so far
    std::size_t block_left = 0;  // data bytes still to go in the current stored block
    // Emits filtered bytes, opening a new stored block whenever the current one is full.
    auto emit = [&](const std::uint8_t* src, std::size_t n) {
        adler = png_adler32(adler, src, n);
        while (n > 0) {
            if (block_left == 0) {
                const std::size_t len =
                    total - done < kPngStoredBlockMax ? total - done : kPngStoredBlockMax;
                z[out++] = done + len == total ? 1 : 0;
                z[out++] = std::uint8_t(len & 0xFF);
                z[out++] = std::uint8_t(len >> 8);
                z[out++] = std::uint8_t(~len & 0xFF);
                z[out++] = std::uint8_t((~len >> 8) & 0xFF);
                block_left = len;
            }
            const std::size_t take = n < block_left ? n : block_left;
            std::copy(src, src + take, z.begin() + std::ptrdiff_t(out));
            out += take;
            src += take;
            n -= take;
            block_left -= take;
            done += take;
        }
    };
    static const std::uint8_t kFilterNone = 0;
    for (std::uint32_t y = 0; y < h; ++y) {
        emit(&kFilterNone, 1);
        emit(raster + std::size_t(y) * row_bytes, row_bytes);
    }
    put_be32(&z[out], adler);
    out += 4;

    bool ok = out == idat_len && png_write_chunk(f, "IDAT", z.data(), std::uint32_t(out));
    ok = ok && png_write_chunk(f, "IEND", nullptr, 0);
    return (ok && file.commit()) ? 1 : 0;
}

}  // namespace kaitoro
