#include "tests/support/png_reader.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstring>

#include "tests/support/synthetic_grid.h"

namespace kaitoro::testing {

namespace {

const char kDecoder[] = R"PY(
import struct, sys, zlib
src, dst = sys.argv[1], sys.argv[2]
data = open(src, 'rb').read()
if data[:8] != b'\x89PNG\r\n\x1a\n':
    sys.exit('bad signature')
pos, idat, ihdr, seen = 8, b'', None, []
while True:
    if pos + 12 > len(data):
        sys.exit('truncated chunk at %d' % pos)
    n, = struct.unpack('>I', data[pos:pos + 4])
    kind = data[pos + 4:pos + 8]
    body = data[pos + 8:pos + 8 + n]
    if len(body) != n:
        sys.exit('truncated %r' % kind)
    crc, = struct.unpack('>I', data[pos + 8 + n:pos + 12 + n])
    if zlib.crc32(kind + body) & 0xffffffff != crc:
        sys.exit('CRC mismatch in %r' % kind)
    seen.append((kind.decode('ascii'), n))
    pos += 12 + n
    if kind == b'IHDR':
        ihdr = struct.unpack('>IIBBBBB', body)
    elif kind == b'IDAT':
        idat += body
    elif kind == b'IEND':
        break
if pos != len(data):
    sys.exit('bytes after IEND')
if seen[0][0] != 'IHDR' or ihdr is None:
    sys.exit('IHDR is not first')
w, h, depth, ctype, comp, filt, inter = ihdr
if (depth, ctype, comp, filt, inter) != (8, 2, 0, 0, 0):
    sys.exit('unexpected IHDR %r' % (ihdr,))
d = zlib.decompressobj()
raw = d.decompress(idat)  # the Adler-32 is checked at the end of the stream
if not d.eof or d.unused_data:
    sys.exit('zlib stream not properly ended')
stride = 3 * w
if len(raw) != (stride + 1) * h:
    sys.exit('image data has %d bytes, expected %d' % (len(raw), (stride + 1) * h))
out = bytearray()
prev = bytearray(stride)
for y in range(h):
    f = raw[y * (stride + 1)]
    row = bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
    if f == 0:  # no prediction: the row is stored as it is
        out += row
        prev = row
        continue
    for i in range(stride):
        a = row[i - 3] if i >= 3 else 0
        b = prev[i]
        c = prev[i - 3] if i >= 3 else 0
        if f == 0: p = 0
        elif f == 1: p = a
        elif f == 2: p = b
        elif f == 3: p = (a + b) // 2
        elif f == 4:
            pa, pb, pc = abs(b - c), abs(a - c), abs(a + b - 2 * c)
            p = a if pa <= pb and pa <= pc else (b if pb <= pc else c)
        else: sys.exit('bad filter %d' % f)
        row[i] = (row[i] + p) & 255
    out += row
    prev = row
with open(dst, 'wb') as o:
    o.write(struct.pack('<II', w, h))
    o.write(bytes(out))
for kind, n in seen:
    print(kind, n)
)PY";

std::string run_capture(const std::string& cmd, int* code) {
    std::string out;
    FILE* p = popen((cmd + " 2>&1").c_str(), "r");
    if (!p) {
        *code = -1;
        return out;
    }
    std::array<char, 4096> buf;
    std::size_t n;
    while ((n = fread(buf.data(), 1, buf.size(), p)) > 0) out.append(buf.data(), n);
    const int st = pclose(p);
    *code = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    return out;
}

}  // namespace

bool python3_available() {
    static int cached = -1;
    if (cached < 0) {
        int code = 0;
        run_capture("python3 -c 'import zlib'", &code);
        cached = code == 0 ? 1 : 0;
    }
    return cached == 1;
}

bool decode_png(const std::string& path, DecodedPng* out, std::string* error) {
    TempDir dir;
    const std::string script = dir.file("decode.py"), raw = dir.file("pixels.bin");
    write_text_file(script, kDecoder);
    int code = 0;
    const std::string text =
        run_capture("python3 '" + script + "' '" + path + "' '" + raw + "'", &code);
    if (code != 0) {
        if (error) *error = text.empty() ? "decoder failed" : text;
        return false;
    }
    const std::string bytes = read_file_text(raw);
    if (bytes.size() < 8) {
        if (error) *error = "decoder wrote no pixels";
        return false;
    }
    std::uint32_t wh[2];
    std::memcpy(wh, bytes.data(), 8);
    out->width = int(wh[0]);
    out->height = int(wh[1]);
    out->rgb.assign(bytes.begin() + 8, bytes.end());
    out->chunks.clear();
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t eol = text.find('\n', pos);
        const std::string line = text.substr(pos, eol - pos);
        const std::size_t sp = line.find(' ');
        if (sp != std::string::npos)
            out->chunks.push_back(
                {line.substr(0, sp), std::uint32_t(std::stoul(line.substr(sp + 1)))});
        if (eol == std::string::npos) break;
        pos = eol + 1;
    }
    return true;
}

}  // namespace kaitoro::testing
