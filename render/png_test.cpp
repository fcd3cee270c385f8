#include "render/png.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/support/png_reader.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

using testing::DecodedPng;
using testing::TempDir;

std::vector<std::uint8_t> pattern(int w, int h) {
    std::vector<std::uint8_t> px(std::size_t(w) * h * 3);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            std::uint8_t* p = &px[(std::size_t(y) * w + x) * 3];
            p[0] = std::uint8_t(x * 7 + y);
            p[1] = std::uint8_t(y * 13);
            p[2] = std::uint8_t(x ^ y);
        }
    return px;
}

std::uint32_t be32(const std::string& s, std::size_t at) {
    return std::uint32_t((unsigned char)s[at]) << 24 |
           std::uint32_t((unsigned char)s[at + 1]) << 16 |
           std::uint32_t((unsigned char)s[at + 2]) << 8 | std::uint32_t((unsigned char)s[at + 3]);
}

// The stored-block headers of the zlib stream inside the file's single IDAT chunk.
struct Block {
    int final;
    unsigned len, nlen;
};
std::vector<Block> stored_blocks(const std::string& file) {
    // Signature 8 + IHDR chunk 25 = 33: IDAT length, "IDAT", then the zlib stream.
    const std::uint32_t n = be32(file, 33);
    const std::string z = file.substr(41, n);
    std::vector<Block> blocks;
    std::size_t pos = 2;
    while (pos + 5 <= z.size() - 4) {
        Block b{(unsigned char)z[pos] & 1,
                (unsigned char)z[pos + 1] | unsigned((unsigned char)z[pos + 2]) << 8,
                (unsigned char)z[pos + 3] | unsigned((unsigned char)z[pos + 4]) << 8};
        blocks.push_back(b);
        pos += 5 + b.len;
        if (b.final) break;
    }
    return blocks;
}

TEST(PngChecksums, MatchTheStandardCheckValues) {
    const char* digits = "123456789";
    EXPECT_EQ(png_crc32(0, reinterpret_cast<const std::uint8_t*>(digits), 9), 0xCBF43926u);
    // Continuing from a previous result gives the CRC of the whole.
    const std::uint32_t part = png_crc32(0, reinterpret_cast<const std::uint8_t*>(digits), 4);
    EXPECT_EQ(png_crc32(part, reinterpret_cast<const std::uint8_t*>(digits) + 4, 5), 0xCBF43926u);
    const char* wiki = "Wikipedia";
    EXPECT_EQ(png_adler32(1, reinterpret_cast<const std::uint8_t*>(wiki), 9), 0x11E60398u);
    // Long runs of 0xFF exercise the deferred modulo.
    std::vector<std::uint8_t> ff(100000, 0xFF);
    std::uint32_t a = 1, b = 0;
    for (std::uint8_t v : ff) {
        a = (a + v) % 65521;
        b = (b + a) % 65521;
    }
    EXPECT_EQ(png_adler32(1, ff.data(), ff.size()), b << 16 | a);
}

TEST(PngWriter, StoredBlocksSplitAt65535BytesAndDecodeToTheSamePixels) {
    // (3w + 1)h + 6 + 5 ceil((3w + 1)h / 65535)
    EXPECT_EQ(png_idat_length(851, 539), std::size_t(2554) * 539 + 6 + 5 * 22);
    EXPECT_EQ(png_idat_length(1700, 980), std::size_t(5101) * 980 + 6 + 5 * 77);

    TempDir dir;
    struct Case {
        int w, h;
        std::vector<unsigned> lens;
    } cases[] = {
        {1, 1, {4}},
        {5, 3, {48}},
        {851, 7, {17878}},
        {1456, 15, {65535}},              // raw size exactly 65535: one final block
        {21845, 1, {65535, 1}},           // 65536: a second block of one byte
        {1000, 44, {65535, 65535, 974}},  // 132044 bytes
    };
    for (const Case& c : cases) {
        const auto px = pattern(c.w, c.h);
        const std::string path = dir.file("b.png");
        ASSERT_EQ(png_write_rgb24_file(path.c_str(), px.data(), c.w, c.h), 1);
        const std::string file = testing::read_file_text(path);
        EXPECT_EQ(be32(file, 33), png_idat_length(c.w, c.h));
        const auto blocks = stored_blocks(file);
        ASSERT_EQ(blocks.size(), c.lens.size()) << c.w;
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            EXPECT_EQ(blocks[i].len, c.lens[i]);
            EXPECT_EQ(blocks[i].nlen, (~c.lens[i]) & 0xFFFFu);
            EXPECT_EQ(blocks[i].final, i + 1 == blocks.size() ? 1 : 0);
        }
        DecodedPng png;
        std::string err;
        ASSERT_TRUE(testing::decode_png(path, &png, &err)) << err;
        EXPECT_EQ(png.width, c.w);
        EXPECT_EQ(png.height, c.h);
        EXPECT_EQ(png.rgb, px);
        EXPECT_EQ(png.chunks, (std::vector<std::pair<std::string, std::uint32_t>>{
                                  {"IHDR", 13}, {"IDAT", be32(file, 33)}, {"IEND", 0}}));
    }
}

TEST(PngWriter, FailuresReturnZero) {
    const auto px = pattern(4, 4);
    TempDir dir;
    EXPECT_EQ(png_write_rgb24_file(dir.file("no/such/dir.png").c_str(), px.data(), 4, 4), 0);
    EXPECT_EQ(png_write_rgb24_file(dir.file("zero.png").c_str(), px.data(), 0, 4), 0);
    EXPECT_EQ(png_write_rgb24_file(dir.file("neg.png").c_str(), px.data(), 4, -1), 0);
    // A device that refuses every byte: the short write is noticed.
    std::FILE* full = std::fopen("/dev/full", "wb");
    if (full) {
        std::fclose(full);
        EXPECT_EQ(png_write_rgb24_file("/dev/full", px.data(), 4, 4), 0);
    }
}

}  // namespace
}  // namespace kaitoro
